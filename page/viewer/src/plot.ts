// One plot: uPlot's canvas, axes and grid, on which channels are drawn. All plots have the same width and the same x.

import uPlot from "uplot";
import { makeTicks, type Ticks } from "./numbers.js";
import type { Recording } from "./recording.js";
import type { Theme } from "./theme.js";
import type { Clock } from "./times.js";
import type { View } from "./view.js";

// Room for the numbers on the left, and for half a label of the axis on the right.
export const gutter = 92;
export const margin = 36;
const pixelsPerTime = 90;
const pixelsPerNumber = 60;
const pixelsPerLine = 34;
const font = "11px system-ui, sans-serif";

// What all plots share.
export interface Stage {
    recording: Recording;
    view: View;
    clock: Clock;
    theme: Theme;
}

export interface Drawing {
    // Least and greatest of the axis of values; null if there is none.
    valueRange(): { least: number; greatest: number } | null;
    draw(context: CanvasRenderingContext2D, area: uPlot.BBox, scale: number): void;
}

export class Plot {
    private readonly chart: uPlot;
    private ticks: Ticks | null = null;

    constructor(
        private readonly stage: Stage,
        parent: HTMLElement,
        width: number,
        height: number,
        private readonly drawing: Drawing,
        hasTimeLabels = false,
    ) {
        const isTime = stage.recording.axisKind === "time";
        const grid = { stroke: () => stage.theme.grid, width: 1 };
        const x: uPlot.Axis = {
            font,
            stroke: () => stage.theme.text,
            grid: hasTimeLabels ? { show: false } : grid,
            ticks: hasTimeLabels ? { ...grid, size: 5 } : { show: false },
            size: hasTimeLabels ? 42 : 0,
            space: pixelsPerTime,
            values: hasTimeLabels ? (_, splits, __, ___, step) => this.labelX(splits, step) : () => [],
        };
        // uPlot finds round times; numbers of any size need ticks of our own, on an axis from 0 to 1.
        if (!isTime) {
            x.splits = () => {
                const { view } = this.stage;
                return this.xTicks().values.map((value) => view.shareOf(value));
            };
        }
        const y: uPlot.Axis = {
            font,
            stroke: () => stage.theme.text,
            grid,
            ticks: { show: false },
            size: gutter,
            splits: () => (this.ticks ? this.ticks.values.map((value) => this.shareOfValue(value)) : []),
            values: () => this.ticks?.labels ?? [],
        };
        this.chart = new uPlot(
            {
                width,
                height,
                padding: hasTimeLabels ? [0, margin, 0, 0] : [6, margin, 6, 0],
                tzDate: stage.clock.zoneDate,
                scales: {
                    x: { time: isTime, range: () => (isTime ? [stage.view.least, stage.view.greatest] : [0, 1]) },
                    y: { range: () => [0, 1] },
                },
                axes: [x, y],
                // uPlot needs a series to show axes. The channels draw themselves, since a step is a range.
                series: [{}, { paths: () => null, points: { show: false } }],
                cursor: { show: false },
                legend: { show: false },
                hooks: {
                    draw: [
                        (chart) => {
                            chart.ctx.save();
                            this.drawOn(chart);
                            chart.ctx.restore();
                        },
                    ],
                },
            },
            [
                [0, 1],
                [0, 1],
            ],
            parent,
        );
    }

    // The part of the plot where the pointer reads x.
    get over(): HTMLElement {
        return this.chart.over;
    }

    resize(width: number, height: number): void {
        if (this.chart.width !== width || this.chart.height !== height) this.chart.setSize({ width, height });
    }

    redraw(): void {
        const range = this.drawing.valueRange();
        this.ticks = range && makeTicks(range.least, range.greatest, Math.max(2, this.chart.height / pixelsPerLine));
        this.chart.redraw(true, true);
    }

    private shareOfValue(value: number): number {
        const range = this.drawing.valueRange();
        return range ? (value - range.least) / (range.greatest - range.least) : 0;
    }

    private xTicks(): Ticks {
        const { view } = this.stage;
        return makeTicks(
            view.least,
            view.greatest,
            Math.max(1, (this.chart.width - gutter - margin) / pixelsPerNumber),
        );
    }

    private labelX(splits: number[], step: number): string[] {
        if (this.stage.recording.axisKind === "time") return this.stage.clock.labels(splits, step);
        const ticks = this.xTicks();
        if (ticks.offset) ticks.labels[0] += `\n${ticks.offset}`;
        return ticks.labels;
    }

    private drawOn(chart: uPlot): void {
        const { ctx, bbox } = chart;
        const scale = uPlot.pxRatio;
        if (this.ticks?.offset) {
            ctx.font = `${11 * scale}px system-ui, sans-serif`;
            ctx.fillStyle = this.stage.theme.faint;
            ctx.textAlign = "left";
            ctx.textBaseline = "top";
            ctx.fillText(this.ticks.offset, bbox.left + 4 * scale, bbox.top + 2 * scale);
        }
        this.drawing.draw(ctx, bbox, scale);
    }
}
