import "uplot/dist/uPlot.min.css";
import "./page.css";
import { element } from "./dom.js";
import { Page } from "./page.js";
import { PageError, Recording, readDescription } from "./recording.js";

function textOf(id: string): string | null {
    return document.getElementById(id)?.textContent ?? null;
}

const root = document.getElementById("page") as HTMLElement;
try {
    const text = textOf("recording");
    if (text === null) throw new PageError("There is no recording in this page.");
    new Page(new Recording(readDescription(text), (index) => textOf(`column-${index}`)), root);
} catch (error) {
    const words =
        error instanceof PageError
            ? error.message
            : `The data of this page are damaged (${error}). Make the page again.`;
    root.replaceChildren(element("p", { class: "error", role: "alert" }, words));
}
