// The page: what it says of the recording, the panels with the axis below them, and all that mouse and keys do.

import { element, setText } from "./dom.js";
import { countOf, formatCount, formatSample } from "./numbers.js";
import { Panel, plotPixels } from "./panel.js";
import { gutter, Plot, type Stage } from "./plot.js";
import { hasInfinite, hasMissing, hasRefused, type Recording } from "./recording.js";
import { currentTheme } from "./theme.js";
import { Clock } from "./times.js";
import { View, type VisibleSteps } from "./view.js";

const zoomOfButton = 2;
const panOfButton = 0.25;
const axisHeight = 44;
const leastDrag = 4;
const narrowestPlot = 240;
const printedWidth = 680;

export class Page {
    private readonly stage: Stage;
    private readonly panels: Panel[];
    private readonly axis: Plot;
    private readonly status = element("p", { class: "status", role: "status" });
    private readonly reading = element("p", { class: "reading" });
    private readonly plots = element("div", { class: "plots", tabindex: "0", role: "group" });
    private readonly cursorLine = element("div", { class: "cursor", hidden: "" });
    private readonly selection = element("div", { class: "selection", hidden: "" });
    private readonly thumb = element("div", { class: "thumb" });
    private readonly track = element(
        "div",
        {
            class: "track",
            role: "scrollbar",
            "aria-label": "Visible range",
            "aria-valuemin": "0",
            "aria-valuemax": "100",
        },
        this.thumb,
    );
    private steps: VisibleSteps;
    private width = 600;
    private cursor: number | null = null;
    // Where keys have put the cursor: rows may have one x.
    private cursorBin: number | null = null;
    private frame = 0;

    constructor(
        private readonly recording: Recording,
        root: HTMLElement,
    ) {
        const { description } = recording;
        this.stage = {
            recording,
            view: new View(recording),
            clock: new Clock(description.x.time?.zone ?? ""),
            theme: currentTheme(),
        };
        this.steps = this.view.stepsFor(plotPixels(this.width));
        this.panels = description.panels.map(
            ({ title, unit, channels }) =>
                new Panel(
                    this.stage,
                    title,
                    unit,
                    channels.map((index) => recording.channels[index]),
                    () => this.steps,
                ),
        );
        this.plots.setAttribute(
            "aria-label",
            "Plots. Keys: + and - zoom, arrows move, 0 shows all, comma and full stop move the cursor",
        );
        this.plots.id = "plots";
        this.track.setAttribute("aria-controls", "plots");
        const axisPlace = element("div", { class: recording.axisKind === "time" ? "axis" : "axis numbers" });
        this.plots.append(...this.panels.map((panel) => panel.root), axisPlace, this.cursorLine, this.selection);
        this.axis = new Plot(
            this.stage,
            axisPlace,
            this.width,
            axisHeight,
            { valueRange: () => null, draw: () => {} },
            true,
        );
        axisPlace.append(element("p", { class: "x-title" }, this.xTitle()));
        root.replaceChildren(...this.header(), this.plots, ...this.details());
        document.title = description.title || "VelOperation";

        this.followSize();
        this.followPointer();
        this.followKeys();
        this.followTrack();
        this.followTheme();
        this.changed();
    }

    private get view(): View {
        return this.stage.view;
    }

    // ---- What the page says ----

    private header(): HTMLElement[] {
        const { description } = this.recording;
        const button = (label: string, name: string, action: () => void) => {
            const made = element("button", { type: "button", "aria-label": name, title: name }, label);
            made.addEventListener("click", action);
            return made;
        };
        const tools = element(
            "div",
            { class: "tools" },
            element(
                "div",
                { class: "buttons", role: "group", "aria-label": "Visible range" },
                button("+", "Zoom in", () => this.move(() => this.view.zoom(zoomOfButton))),
                button("−", "Zoom out", () => this.move(() => this.view.zoom(1 / zoomOfButton))),
                button("←", "Move left", () => this.move(() => this.view.pan(-panOfButton))),
                button("→", "Move right", () => this.move(() => this.view.pan(panOfButton))),
                button("Show all", "Show all", () => this.move(() => this.view.reset())),
            ),
            this.reading,
            this.track,
        );
        const header = element(
            "header",
            {},
            element("h1", { title: description.title }, description.title || "Result"),
            this.status,
        );
        for (const note of this.notes()) header.append(element("p", { class: "note" }, note));
        const key = this.key();
        if (key) header.append(key);
        return [header, tools];
    }

    private notes(): string[] {
        const { description, whyRows } = this.recording;
        const notes: string[] = [];
        const { name } = description.x;
        if (whyRows) notes.push(`${name} ${whyRows}, so the axis shows row numbers.`);
        if (description.rowsWithoutX)
            notes.push(
                `${countOf(description.rowsWithoutX, "row has", "rows have")} no finite sample in ${name} and are not shown.`,
            );
        if (this.stage.clock.warning) notes.push(this.stage.clock.warning);
        if (!description.panels.length) notes.push("The plan has no panels.");
        return notes;
    }

    // Explains the marks that this recording needs.
    private key(): HTMLElement | null {
        let marks = 0;
        for (const channel of this.recording.channels) marks |= channel.marksOf(0, this.recording.bins);
        const entries: [number, string, string][] = [
            [hasMissing, "▬", "samples are missing (bar at the bottom; in bands, dots)"],
            [hasRefused, "◇", "refused: the operation had no result for this row, and the channel kept its last value"],
            [hasInfinite, "▲", "infinite, beyond any axis"],
        ];
        const used = entries.filter(([bit]) => marks & bit);
        if (!used.length) return null;
        return element(
            "p",
            { class: "key" },
            ...used.map(([, symbol, text]) =>
                element("span", {}, element("span", { "aria-hidden": "true" }, `${symbol} `), text),
            ),
        );
    }

    private xTitle(): string {
        const { axisKind, description } = this.recording;
        if (axisKind === "row") return "Row";
        const title = description.x.title || description.x.name;
        return axisKind === "time" && this.stage.clock.zone ? `${title} (${this.stage.clock.zone})` : title;
    }

    private details(): HTMLElement[] {
        const { summary, plan, channels, madeBy } = this.recording.description;
        const details = (title: string, ...content: Node[]) =>
            element("details", {}, element("summary", {}, title), ...content);
        const made: HTMLElement[] = [];
        if (summary) made.push(details("Summary", element("pre", {}, summary)));
        const rows = channels.map(({ name, type, formula }) =>
            element(
                "tr",
                {},
                element("th", { scope: "row" }, name),
                element("td", {}, type),
                element("td", { class: "formula" }, formula),
            ),
        );
        const head = ["Channel", "Type", "Formula"].map((title) => element("th", { scope: "col" }, title));
        made.push(
            details(
                "Channels",
                element("table", {}, element("thead", {}, element("tr", {}, ...head)), element("tbody", {}, ...rows)),
            ),
        );
        if (plan.text) made.push(details(plan.name ? `Plan: ${plan.name}` : "Plan", element("pre", {}, plan.text)));
        const gestures: [string, string][] = [
            ["Wheel, or + and -", "zoom; the wheel zooms around the pointer, and scrolls the page beside the plots"],
            ["Drag", "zoom to what you mark"],
            ["Shift and drag, or drag the axis or the bar", "move"],
            ["← →", "move; with Shift by a whole screen"],
            ["Double click, or 0", "show all"],
            ["Pointer, or , and .", "move the cursor, which reads all channels; Escape takes it away"],
            ["Click on a channel", "switch it off or on"],
        ];
        const list = element("dl", {});
        for (const [gesture, effect] of gestures) list.append(element("dt", {}, gesture), element("dd", {}, effect));
        made.push(details("Mouse and keys", list));
        return [...made, element("footer", {}, madeBy ? `Made by ${madeBy}` : "")];
    }

    private describeView(): string {
        const { description } = this.recording;
        if (description.rowsOutside && !this.recording.bins) return "No row lies in the part that was chosen.";
        if (!this.recording.bins)
            return description.rowsWithoutX ? "No row can be shown." : "The recording has no rows.";
        const rows = countOf(description.rows, "row", "rows");
        const { rowsPerStep, level } = this.steps;
        if (rowsPerStep === 1) return `${rows}. Each step is one row.`;
        const steps = `${rows}. Each step shows ${formatCount(rowsPerStep)} rows as their least and greatest`;
        if (level > 0) return `${steps}; zoom in for more.`;
        return `${steps}. Single rows are not in this page: make it with a larger --page-size.`;
    }

    // ---- Drawing ----

    private move(change: () => void): void {
        change();
        this.changed();
    }

    // Draws anew before the next frame.
    private changed(): void {
        this.steps = this.view.stepsFor(plotPixels(this.width));
        for (const panel of this.panels) panel.invalidate();
        setText(this.status, this.describeView());
        this.request();
    }

    private request(): void {
        if (this.frame) return;
        this.frame = requestAnimationFrame(() => {
            this.frame = 0;
            this.axis.redraw();
            for (const panel of this.panels) panel.redrawIfSeen();
            this.showCursor();
            this.showTrack();
        });
    }

    private setWidth(width: number): void {
        this.width = width;
        for (const panel of this.panels) panel.resize(width);
        this.axis.resize(width, axisHeight);
        this.changed();
    }

    private followSize(): void {
        const measured = this.plots.querySelector(".plot") ?? this.plots;
        new ResizeObserver(() => {
            const width = Math.max(narrowestPlot, Math.floor(measured.clientWidth));
            if (width !== this.width && measured.clientWidth) this.setWidth(width);
        }).observe(measured);
        const seen = new IntersectionObserver(
            (entries) => {
                for (const entry of entries) {
                    const panel = this.panels.find(({ root }) => root === entry.target);
                    if (panel) panel.isVisible = entry.isIntersecting;
                }
                this.request();
            },
            { rootMargin: "300px" },
        );
        for (const panel of this.panels) seen.observe(panel.root);
        addEventListener("beforeprint", () => {
            this.stage.theme = currentTheme(true);
            this.setWidth(printedWidth);
            for (const panel of this.panels) panel.redrawNow();
            this.axis.redraw();
        });
        addEventListener("afterprint", () => {
            this.stage.theme = currentTheme(false);
            this.setWidth(Math.max(narrowestPlot, Math.floor(measured.clientWidth)));
        });
    }

    private followTheme(): void {
        const follow = () => {
            this.stage.theme = currentTheme();
            this.changed();
        };
        matchMedia("(prefers-color-scheme: dark)").addEventListener("change", follow);
        // Another screen, or another zoom of the browser.
        addEventListener("resize", () => this.request());
    }

    // ---- Cursor ----

    private setCursor(x: number | null): void {
        this.cursor = x;
        this.cursorBin = null;
        this.request();
    }

    private cursorStep(): number | null {
        if (this.cursor === null) return null;
        if (this.cursorBin !== null) return this.steps.stepOf(this.cursorBin);
        return this.steps.nearest(this.cursor);
    }

    private showCursor(): void {
        const step = this.cursorStep();
        for (const panel of this.panels) panel.read(this.steps, step);
        setText(this.reading, step === null ? "" : this.describeStep(step));
        let share = this.cursor === null ? -1 : this.view.shareOf(this.cursor);
        if (step !== null && this.steps.rowsPerStep === 1) {
            const [bin] = this.steps.binsOf(step);
            const shareOfRow = this.view.shareOf(this.recording.firstX(bin));
            if (shareOfRow >= 0 && shareOfRow <= 1) share = shareOfRow;
        }
        this.cursorLine.hidden = step === null || share < 0 || share > 1;
        this.cursorLine.style.transform = `translateX(${gutter + share * plotPixels(this.width)}px)`;
    }

    private describeStep(step: number): string {
        const [firstBin, endBin] = this.steps.binsOf(step);
        const { recording } = this;
        const { isRow } = recording.description.x;
        const firstRow = isRow ? recording.firstX(firstBin) : recording.firstRow(firstBin);
        const lastRow = isRow ? recording.lastX(endBin - 1) : recording.lastRow(endBin - 1);
        const rows =
            firstRow === lastRow
                ? `row ${formatCount(firstRow)}`
                : `rows ${formatCount(firstRow)} to ${formatCount(lastRow)}`;
        if (recording.axisKind === "row" || isRow) return rows;
        const first = this.describeX(recording.firstX(firstBin));
        const last = this.describeX(recording.lastX(endBin - 1));
        const title = recording.description.x.title || recording.description.x.name;
        return `${title}: ${first === last ? first : `${first} … ${last}`}, ${rows}`;
    }

    private describeX(x: number): string {
        return this.recording.axisKind === "time" ? this.stage.clock.describe(x) : formatSample(x, "Float64");
    }

    // By steps, from the middle if there is no cursor yet.
    private moveCursor(count: number): void {
        const step = this.cursorStep() ?? this.steps.nearest(this.view.xAt(0.5));
        if (step === null) return;
        const { recording } = this;
        const last = Math.floor((recording.bins - 1) / 2 ** this.steps.level);
        const [firstBin, endBin] = this.steps.binsOf(Math.min(Math.max(step + count, 0), last));
        const x = recording.firstX(firstBin) / 2 + recording.lastX(endBin - 1) / 2;
        const span = this.view.greatest - this.view.least;
        if (x > this.view.greatest) this.view.show(x - span / 2, x + span / 2);
        if (x < this.view.least) this.view.show(x - span / 2, x + span / 2);
        this.cursor = x;
        this.cursorBin = firstBin;
        this.changed();
    }

    // ---- Mouse and keys ----

    private shareAt(clientX: number): number {
        const { left } = this.plots.getBoundingClientRect();
        return (clientX - left - gutter) / plotPixels(this.width);
    }

    private followPointer(): void {
        // Plots read the pointer; beside them the page scrolls and selects as any page does.
        const isOnPlot = (event: Event) => (event.target as Element).closest(".u-over") !== null;
        let drag: { kind: "zoom" | "move"; pointer: number; from: number; last: number; hasMoved: boolean } | null =
            null;

        this.plots.addEventListener(
            "wheel",
            (event) => {
                if (!isOnPlot(event)) return;
                event.preventDefault();
                const unit = event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? 1 : 33;
                if (Math.abs(event.deltaX) > Math.abs(event.deltaY) || event.shiftKey) {
                    const distance = (event.deltaX || event.deltaY) * unit;
                    this.move(() => this.view.pan(distance / plotPixels(this.width)));
                } else {
                    // A pinch on a touchpad comes as a wheel of small steps, with the control key.
                    const factor = Math.exp(-event.deltaY * unit * (event.ctrlKey ? 0.01 : 0.002));
                    this.move(() => this.view.zoom(factor, this.view.xAt(this.shareAt(event.clientX))));
                }
            },
            { passive: false },
        );
        this.plots.addEventListener("pointerdown", (event) => {
            if (!isOnPlot(event) || event.button > 1 || drag) return;
            event.preventDefault();
            this.plots.focus({ preventScroll: true });
            const isMove =
                event.shiftKey ||
                event.button === 1 ||
                event.pointerType === "touch" ||
                (event.target as Element).closest(".axis") !== null;
            drag = {
                kind: isMove ? "move" : "zoom",
                pointer: event.pointerId,
                from: event.clientX,
                last: event.clientX,
                hasMoved: false,
            };
            this.plots.setPointerCapture(event.pointerId);
        });
        this.plots.addEventListener("pointermove", (event) => {
            if (!drag) {
                const share = this.shareAt(event.clientX);
                if (share >= 0 && share <= 1) this.setCursor(this.view.xAt(share));
                return;
            }
            if (event.pointerId !== drag.pointer) return;
            if (Math.abs(event.clientX - drag.from) >= leastDrag) drag.hasMoved = true;
            if (!drag.hasMoved) return;
            if (drag.kind === "move") {
                const distance = (drag.last - event.clientX) / plotPixels(this.width);
                this.move(() => this.view.pan(distance));
            } else {
                this.showSelection(drag.from, event.clientX);
                this.setCursor(this.view.xAt(Math.min(Math.max(this.shareAt(event.clientX), 0), 1)));
            }
            drag.last = event.clientX;
        });
        const end = (event: PointerEvent) => {
            if (event.pointerId !== drag?.pointer) return;
            const { kind, from, hasMoved } = drag;
            drag = null;
            this.selection.hidden = true;
            if (event.type !== "pointerup") return;
            if (!hasMoved) this.setCursor(this.view.xAt(this.shareAt(event.clientX)));
            else if (kind === "zoom") {
                const ends = [this.shareAt(from), this.shareAt(event.clientX)].sort((a, b) => a - b);
                this.move(() =>
                    this.view.show(this.view.xAt(Math.max(0, ends[0])), this.view.xAt(Math.min(1, ends[1]))),
                );
            }
        };
        this.plots.addEventListener("pointerup", end);
        this.plots.addEventListener("pointercancel", end);
        this.plots.addEventListener("dblclick", (event) => {
            if (isOnPlot(event) || event.target === this.plots) this.move(() => this.view.reset());
        });
        addEventListener("keydown", (event) => {
            if (event.key !== "Escape") return;
            drag = null;
            this.selection.hidden = true;
            this.setCursor(null);
        });
    }

    private showSelection(fromX: number, toX: number): void {
        const shares = [this.shareAt(fromX), this.shareAt(toX)].map((share) => Math.min(Math.max(share, 0), 1));
        const left = gutter + Math.min(...shares) * plotPixels(this.width);
        this.selection.hidden = false;
        this.selection.style.left = `${left}px`;
        this.selection.style.width = `${Math.abs(shares[1] - shares[0]) * plotPixels(this.width)}px`;
    }

    private followKeys(): void {
        const actions: Record<string, (isFar: boolean) => void> = {
            "+": () => this.move(() => this.view.zoom(zoomOfButton)),
            "=": () => this.move(() => this.view.zoom(zoomOfButton)),
            "-": () => this.move(() => this.view.zoom(1 / zoomOfButton)),
            "0": () => this.move(() => this.view.reset()),
            ArrowLeft: (isFar) => this.move(() => this.view.pan(isFar ? -1 : -panOfButton)),
            ArrowRight: (isFar) => this.move(() => this.view.pan(isFar ? 1 : panOfButton)),
            ",": () => this.moveCursor(-1),
            ".": () => this.moveCursor(1),
        };
        addEventListener("keydown", (event) => {
            const action = actions[event.key];
            // Within the texts below, arrows scroll and select.
            const isText = (event.target as Element).closest?.("details, input") != null;
            if (!action || isText || event.ctrlKey || event.altKey || event.metaKey) return;
            event.preventDefault();
            action(event.shiftKey);
        });
    }

    // The bar above the plots: what of the recording is visible. Dragging moves it.
    private followTrack(): void {
        const move = (clientX: number, grip: number) => {
            const { left, width } = this.track.getBoundingClientRect();
            const share = (clientX - left - grip) / width;
            const { view } = this;
            const least = view.fullLeast + (view.fullGreatest - view.fullLeast) * share;
            this.move(() => view.show(least, least + (view.greatest - view.least)));
        };
        let grip: number | null = null;
        this.track.addEventListener("pointerdown", (event) => {
            event.preventDefault();
            const thumb = this.thumb.getBoundingClientRect();
            grip = event.target === this.thumb ? event.clientX - thumb.left : thumb.width / 2;
            this.track.setPointerCapture(event.pointerId);
            move(event.clientX, grip);
        });
        this.track.addEventListener("pointermove", (event) => {
            if (grip !== null) move(event.clientX, grip);
        });
        for (const type of ["pointerup", "pointercancel"] as const)
            this.track.addEventListener(type, () => {
                grip = null;
            });
    }

    private showTrack(): void {
        const { view } = this;
        const full = view.fullGreatest - view.fullLeast;
        const share = (view.greatest - view.least) / full;
        const left = (view.least - view.fullLeast) / full;
        this.thumb.style.left = `${left * 100}%`;
        this.thumb.style.width = `${share * 100}%`;
        this.track.setAttribute("aria-valuenow", String(Math.round((share < 1 ? left / (1 - share) : 0) * 100)));
    }
}
