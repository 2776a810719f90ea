// A panel of the plan: its curves on one plot, its Booleans as bands on another, and beside each the list of channels.

import type uPlot from "uplot";
import { drawBand, drawCurve, drawMarks, drawMissing, extend, isMissingIn, type Pen } from "./curves.js";
import { element, setText } from "./dom.js";
import { formatSample, formatShort } from "./numbers.js";
import { gutter, margin, Plot, type Stage } from "./plot.js";
import { type Channel, hasInfinite, hasMissing, hasRefused } from "./recording.js";
import { colourOf, dashOf } from "./theme.js";
import type { VisibleSteps } from "./view.js";

const curveHeight = 190;
const laneHeight = 24;
const bandHeight = 14;

class Row {
    isShown = true;
    readonly item: HTMLLIElement;
    readonly button: HTMLButtonElement;
    private readonly value: HTMLElement;
    private readonly swatch: SVGElement;

    constructor(
        readonly channel: Channel,
        readonly index: number,
        unit: string,
        onToggle: () => void,
    ) {
        const { name, formula, type } = channel.description;
        const space = "http://www.w3.org/2000/svg";
        this.swatch = document.createElementNS(space, "svg");
        this.swatch.setAttribute("viewBox", "0 0 20 10");
        this.swatch.setAttribute("aria-hidden", "true");
        const line = document.createElementNS(space, "path");
        line.setAttribute("d", "M0 5H20");
        this.swatch.append(line);
        const hint = `${name} (${type}${unit && `, ${unit}`})${formula && `\n= ${formula}`}`;
        this.button = element("button", { type: "button", "aria-pressed": "true", title: hint });
        this.button.append(this.swatch, element("span", { class: "name" }, name));
        this.button.addEventListener("click", () => {
            this.isShown = !this.isShown;
            this.button.setAttribute("aria-pressed", String(this.isShown));
            onToggle();
        });
        this.value = element("span", { class: "value" });
        this.item = element("li", { class: "channel" }, this.button, this.value);
    }

    paint(stage: Stage): void {
        this.swatch.style.stroke = colourOf(stage.theme, this.index);
        this.swatch.style.strokeDasharray = dashOf(this.index).join(" ");
    }

    // `distance`: how far apart values are that the plot can show apart.
    read(steps: VisibleSteps, step: number | null, distance: number): void {
        if (step === null) {
            setText(this.value, "");
            return;
        }
        const [firstBin, endBin] = steps.binsOf(step);
        const marks = this.channel.marksOf(firstBin, endBin);
        const extremes = this.channel.extremes(firstBin, endBin);
        const some = steps.rowsPerStep > 1 && (extremes || (marks & (marks - 1)) !== 0) ? "some " : "";
        const words: string[] = [];
        if (marks & hasMissing) words.push(`${some}missing`);
        if (marks & hasRefused) words.push(`${some}refused`);
        if (marks & hasInfinite) words.push(`${some}infinite`);
        const describe = (format: (value: number | bigint) => string) => {
            if (!extremes) return words.join(", ");
            const texts = new Set([format(extremes[0]), format(extremes[1])]);
            return [[...texts].join(" … "), ...words].join(", ");
        };
        setText(
            this.value,
            describe((value) => formatShort(value, distance)),
        );
        this.value.title = describe((value) => formatSample(value, this.channel.description.type));
    }
}

// Rows of the list with their plot: all curves, or all bands.
class Part {
    readonly root: HTMLElement;
    readonly plot: Plot;
    private steps: VisibleSteps | null = null;
    private range: { least: number; greatest: number } | null = null;

    constructor(
        private readonly stage: Stage,
        private readonly rows: Row[],
        private readonly areBands: boolean,
    ) {
        const place = element("div", { class: "plot" });
        this.root = element(
            "div",
            { class: areBands ? "part bands" : "part" },
            place,
            element("ul", { class: "channels", "aria-label": "Channels" }, ...rows.map((row) => row.item)),
        );
        this.plot = new Plot(stage, place, 400, this.height, {
            valueRange: () => this.range,
            draw: (context, area, scale) => this.draw(context, area, scale),
        });
    }

    get height(): number {
        return this.areBands ? this.rows.length * laneHeight + 12 : curveHeight;
    }

    redraw(steps: VisibleSteps): void {
        this.steps = steps;
        this.range = this.areBands ? null : this.valueRange();
        for (const row of this.rows) row.paint(this.stage);
        this.plot.redraw();
    }

    read(steps: VisibleSteps, step: number | null): void {
        const distance = this.range ? (this.range.greatest - this.range.least) / curveHeight : 1;
        for (const row of this.rows) row.read(steps, step, distance);
    }

    private get shown(): Row[] {
        return this.rows.filter((row) => row.isShown);
    }

    private valueRange(): { least: number; greatest: number } | null {
        const { steps } = this;
        if (!steps) return null;
        const range: [number, number] = [Infinity, -Infinity];
        for (const row of this.shown) extend(range, row.channel.level(steps.level), steps);
        if (range[0] > range[1]) return null;
        // Half of all numbers, so that their difference is one.
        const limit = Number.MAX_VALUE / 4;
        const least = Math.max(range[0], -limit);
        const greatest = Math.min(range[1], limit);
        const size = Math.max(Math.abs(least), Math.abs(greatest));
        if (greatest - least <= size * 1e-12) {
            const room = least === greatest ? Math.min(size, Math.max(size * 0.1, 1)) || 1 : size * 1e-12;
            return { least: least - room, greatest: greatest + room };
        }
        const room = (greatest - least) * 0.06;
        return { least: least - room, greatest: greatest + room };
    }

    private draw(context: CanvasRenderingContext2D, area: uPlot.BBox, scale: number): void {
        const { steps, stage } = this;
        if (!steps) return;
        const pen: Pen = { context, area: { ...area, scale }, steps };
        if (this.areBands) this.drawLaneNames(pen);
        context.beginPath();
        context.rect(area.left, area.top, area.width, area.height);
        context.clip();
        const drawn = this.shown.map((row) => ({
            channel: row.channel.level(steps.level),
            isHeld: !row.channel.description.type.startsWith("Float"),
            style: { colour: colourOf(stage.theme, row.index), dash: dashOf(row.index) },
            lane: this.rows.indexOf(row),
        }));
        if (this.areBands) {
            for (const { channel, style, lane } of drawn) {
                const top = area.top + (lane * laneHeight + (laneHeight - bandHeight) / 2) * scale;
                drawBand(pen, channel, style, top, bandHeight * scale);
                const marks: Pen = { ...pen, area: { ...pen.area, top, height: bandHeight * scale } };
                drawMarks(marks, channel, style, () => top + (bandHeight / 2) * scale);
            }
            return;
        }
        const { range } = this;
        const yOf = range
            ? (value: number) => area.top + area.height * (1 - (value - range.least) / (range.greatest - range.least))
            : () => area.top + area.height / 2;
        for (const { channel, isHeld, style } of drawn) drawCurve(pen, channel, isHeld, style, yOf);
        for (const { channel, style } of drawn) drawMarks(pen, channel, style, yOf);
        const missing = drawn.filter(({ channel }) => isMissingIn(channel, steps));
        const barHeight = Math.min(4, 32 / missing.length) * scale;
        missing.forEach(({ channel, style }, i) => {
            drawMissing(pen, channel, style, i * (barHeight + scale), barHeight);
        });
        if (!range) {
            context.font = `${12 * scale}px system-ui, sans-serif`;
            context.fillStyle = stage.theme.faint;
            context.textAlign = "center";
            context.textBaseline = "middle";
            const text = this.shown.length ? "no samples here" : "all channels are switched off";
            context.fillText(text, area.left + area.width / 2, area.top + area.height / 2);
        }
    }

    private drawLaneNames({ context, area }: Pen): void {
        context.font = `${11 * area.scale}px system-ui, sans-serif`;
        context.fillStyle = this.stage.theme.text;
        context.textAlign = "right";
        context.textBaseline = "middle";
        this.rows.forEach((row, lane) => {
            const y = area.top + (lane + 0.5) * laneHeight * area.scale;
            const text = shorten(context, row.channel.description.name, area.left - 10 * area.scale);
            context.fillText(text, area.left - 6 * area.scale, y);
        });
    }
}

function shorten(context: CanvasRenderingContext2D, text: string, width: number): string {
    let shortened = text.slice(0, 100);
    if (shortened === text && context.measureText(text).width <= width) return text;
    while (shortened && context.measureText(`${shortened}…`).width > width) shortened = shortened.slice(0, -1);
    return `${shortened}…`;
}

export class Panel {
    readonly root: HTMLElement;
    readonly parts: Part[] = [];
    isVisible = false;
    private isStale = true;
    private readonly rows: Row[];

    constructor(
        stage: Stage,
        title: string,
        unit: string,
        channels: Channel[],
        private readonly currentSteps: () => VisibleSteps,
    ) {
        this.rows = channels.map((channel, index) => new Row(channel, index, unit, () => this.redrawNow()));
        const heading = unit ? (title ? `${title} [${unit}]` : `[${unit}]`) : title;
        this.root = element("section", { class: "panel", "aria-label": heading || "Panel" });
        if (heading) this.root.append(element("h2", { title: heading }, heading));
        const bands = this.rows.filter((row) => row.channel.description.isBoolean);
        const curves = this.rows.filter((row) => !row.channel.description.isBoolean);
        if (curves.length || !bands.length) this.parts.push(new Part(stage, curves, false));
        if (bands.length) this.parts.push(new Part(stage, bands, true));
        this.root.append(...this.parts.map((part) => part.root));
    }

    // Says that the panel must be drawn again; it is, as soon as it can be seen.
    invalidate(): void {
        this.isStale = true;
    }

    redrawIfSeen(): void {
        if (this.isStale && this.isVisible) this.redrawNow();
    }

    redrawNow(): void {
        this.isStale = false;
        for (const part of this.parts) part.redraw(this.currentSteps());
    }

    resize(width: number): void {
        for (const part of this.parts) part.plot.resize(width, part.height);
    }

    read(steps: VisibleSteps, step: number | null): void {
        for (const part of this.parts) part.read(steps, step);
    }
}

export function plotPixels(width: number): number {
    return width - gutter - margin;
}
