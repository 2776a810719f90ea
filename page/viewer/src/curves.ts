// How channels are drawn on a canvas. Lengths are pixels of the canvas.

import { hasInfinite, hasMissing, hasRefused, hasSample, type Steps } from "./recording.js";
import type { VisibleSteps } from "./view.js";

export interface Area {
    left: number;
    top: number;
    width: number;
    height: number;
    // Pixels of the canvas for one of the page.
    scale: number;
}

export interface Pen {
    context: CanvasRenderingContext2D;
    area: Area;
    steps: VisibleSteps;
}

export interface Style {
    colour: string;
    dash: number[];
}

// Steps wider than this are drawn as boxes, since nobody knows where in them their values lie.
const widestPoint = 4;
// Rows that lie this far apart get a dot each.
const leastDistanceOfDots = 14;
const markSize = 4;

// Least and greatest of what is visible, added to a range.
export function extend(range: [number, number], channel: Steps, steps: VisibleSteps): void {
    for (let step = steps.begin; step < steps.end; ++step) {
        if (!(channel.marks[step] & hasSample)) continue;
        // A step beyond the edge counts only if its line can be seen.
        if (steps.lasts[step - steps.begin] < 0 && !(channel.marks[step + 1] & hasSample)) continue;
        if (channel.least[step] < range[0]) range[0] = channel.least[step];
        if (channel.greatest[step] > range[1]) range[1] = channel.greatest[step];
    }
}

// A held curve keeps each sample until the next row, as integers do.
export function drawCurve(
    pen: Pen,
    channel: Steps,
    isHeld: boolean,
    style: Style,
    yOf: (value: number) => number,
): void {
    const { context, area, steps } = pen;
    const { begin, end, firsts, lasts } = steps;
    const isRows = steps.rowsPerStep === 1;
    const pixelsPerStep = area.width / Math.max(1, end - begin);
    const isBoxes = isHeld || (!isRows && pixelsPerStep > widestPoint * area.scale);
    const lines = new Path2D();
    const fills = new Path2D();
    const dots = new Path2D();
    const radius = 2.2 * area.scale;
    const leftOf = (step: number) =>
        area.left + area.width * (isBoxes ? firsts[step - begin] : (firsts[step - begin] + lasts[step - begin]) / 2);
    const rightOf = (step: number) => {
        if (!isBoxes) return leftOf(step);
        return area.left + area.width * (isHeld && step + 1 < end ? firsts[step + 1 - begin] : lasts[step - begin]);
    };

    for (let step = begin; step < end; ++step) {
        if (!(channel.marks[step] & hasSample)) continue;
        const runBegin = step;
        while (step < end && channel.marks[step] & hasSample) ++step;
        const isAlone = step === runBegin + 1;
        const path = isRows ? lines : fills;
        for (let i = runBegin; i < step; ++i) {
            const x = leftOf(i);
            const y = yOf(channel.greatest[i]);
            if (i === runBegin) path.moveTo(x, y);
            else path.lineTo(x, y);
            if (isBoxes) path.lineTo(rightOf(i), y);
        }
        if (!isRows) {
            for (let i = step - 1; i >= runBegin; --i) {
                const y = yOf(channel.least[i]);
                path.lineTo(rightOf(i), y);
                if (isBoxes) path.lineTo(leftOf(i), y);
            }
            path.closePath();
        }
        if (isAlone || (isRows && pixelsPerStep > leastDistanceOfDots * area.scale))
            for (let i = runBegin; i < step; ++i)
                for (const value of isRows ? [channel.least[i]] : [channel.least[i], channel.greatest[i]]) {
                    const y = yOf(value);
                    dots.moveTo(leftOf(i) + radius, y);
                    dots.arc(leftOf(i), y, radius, 0, 2 * Math.PI);
                }
    }
    context.strokeStyle = style.colour;
    context.fillStyle = style.colour;
    context.lineWidth = (isRows ? 1.25 : 1) * area.scale;
    context.lineJoin = "bevel";
    context.setLineDash(style.dash.map((length) => length * area.scale));
    if (isRows) context.stroke(lines);
    else {
        context.globalAlpha = 0.5;
        context.fill(fills);
        context.globalAlpha = 1;
        context.stroke(fills);
    }
    context.setLineDash([]);
    context.fill(dots);
}

// Refused samples: diamonds on the curve, or at the bottom where there is none. Infinite ones: triangles at the top.
export function drawMarks(pen: Pen, channel: Steps, style: Style, yOf: (value: number) => number): void {
    const { context, area, steps } = pen;
    const size = markSize * area.scale;
    const diamonds = new Path2D();
    const triangles = new Path2D();
    const bottom = area.top + area.height;
    let lastDiamond = -Infinity;
    let lastTriangle = -Infinity;
    for (let step = steps.begin; step < steps.end; ++step) {
        const marks = channel.marks[step];
        if (!(marks & (hasRefused | hasInfinite))) continue;
        const x = area.left + area.width * middleOf(steps, step);
        // Marks that would hide one another are drawn once.
        if (marks & hasRefused && x - lastDiamond > 1.5 * size) {
            const y = marks & hasSample ? yOf(channel.greatest[step]) : bottom - size;
            diamonds.moveTo(x - size, y);
            diamonds.lineTo(x, y - size);
            diamonds.lineTo(x + size, y);
            diamonds.lineTo(x, y + size);
            diamonds.closePath();
            lastDiamond = x;
        }
        if (marks & hasInfinite && x - lastTriangle > 1.5 * size) {
            triangles.moveTo(x - size, area.top + 1.6 * size);
            triangles.lineTo(x, area.top);
            triangles.lineTo(x + size, area.top + 1.6 * size);
            triangles.closePath();
            lastTriangle = x;
        }
    }
    context.strokeStyle = style.colour;
    context.lineWidth = 1.5 * area.scale;
    context.stroke(diamonds);
    context.fillStyle = style.colour;
    context.fill(triangles);
}

function middleOf(steps: VisibleSteps, step: number): number {
    return (steps.firsts[step - steps.begin] + steps.lasts[step - steps.begin]) / 2;
}

// Pieces of the visible steps where `kindOf` stays the same. A piece ends where the next one begins.
function forPieces(pen: Pen, kindOf: (step: number) => number, draw: (kind: number, x: number, width: number) => void) {
    const { area, steps } = pen;
    for (let step = steps.begin; step < steps.end; ) {
        const pieceBegin = step;
        const kind = kindOf(step);
        while (step < steps.end && kindOf(step) === kind) ++step;
        const isLast = step === steps.end;
        const x0 = Math.max(0, steps.firsts[pieceBegin - steps.begin]);
        const x1 = Math.min(1, isLast ? steps.lasts[step - 1 - steps.begin] : steps.firsts[step - steps.begin]);
        if (x1 >= x0) draw(kind, area.left + area.width * x0, Math.max(area.width * (x1 - x0), area.scale));
    }
}

export function isMissingIn(channel: Steps, steps: VisibleSteps): boolean {
    for (let step = steps.begin; step < steps.end; ++step) if (channel.marks[step] & hasMissing) return true;
    return false;
}

// Where samples are missing: bars of this height, above the bottom of the area by `above`.
export function drawMissing(pen: Pen, channel: Steps, style: Style, above: number, height: number): void {
    const { context, area } = pen;
    context.fillStyle = style.colour;
    forPieces(
        pen,
        (step) => channel.marks[step] & hasMissing,
        (kind, x, width) => {
            if (kind) context.fillRect(x, area.top + area.height - above - height, width, height);
        },
    );
}

// The band of a Boolean: filled where it is 1, pale where a step has both, a line where it is 0, dots where it is missing.
export function drawBand(pen: Pen, channel: Steps, style: Style, top: number, height: number): void {
    const { context, area } = pen;
    const line = area.scale;
    context.fillStyle = style.colour;
    const kindOf = (step: number) =>
        channel.marks[step] & hasSample ? 1 + channel.least[step] + channel.greatest[step] : 0;
    forPieces(pen, kindOf, (kind, x, width) => {
        if (kind === 3) context.fillRect(x, top, width, height);
        if (kind === 2) {
            context.globalAlpha = 0.45;
            context.fillRect(x, top, width, height);
            context.globalAlpha = 1;
        }
        if (kind !== 0) context.fillRect(x, top + height - line, width, line);
    });
    forPieces(
        pen,
        (step) => channel.marks[step] & hasMissing,
        (kind, x, width) => {
            for (let dot = 0; kind && dot < width; dot += 6 * line)
                context.fillRect(x + dot, top + height / 2 - line, Math.min(2 * line, width), 2 * line);
        },
    );
}
