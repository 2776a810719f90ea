// What of a recording is to be seen: a range of x, in steps that suit the width of the plots.

import { firstWhere, type Recording } from "./recording.js";

const stepsPerPixel = 1;
// Clocks have labels down to the millisecond.
const leastSeconds = 0.004;

export class View {
    readonly fullLeast: number;
    readonly fullGreatest: number;
    least: number;
    greatest: number;

    constructor(readonly recording: Recording) {
        const { bins } = recording;
        let least = bins ? recording.firstX(0) : 0;
        let greatest = bins ? recording.lastX(bins - 1) : 1;
        if (least === greatest) {
            const margin = Math.max(0.5, Math.abs(least) * 1e-9);
            least -= margin;
            greatest += margin;
        }
        this.least = this.fullLeast = least;
        this.greatest = this.fullGreatest = greatest;
    }

    get isWhole(): boolean {
        return this.least === this.fullLeast && this.greatest === this.fullGreatest;
    }

    reset(): void {
        this.show(this.fullLeast, this.fullGreatest);
    }

    // Shows a range, kept inside the recording and above what numbers of this size can tell apart.
    show(least: number, greatest: number): void {
        const fullSpan = this.fullGreatest - this.fullLeast;
        const size = Math.max(Math.abs(this.fullLeast), Math.abs(this.fullGreatest));
        const leastOfKind = this.recording.axisKind === "time" ? leastSeconds : 0;
        const leastSpan = Math.min(fullSpan, Math.max(fullSpan * 1e-10, size * 1e-13, leastOfKind));
        const span = Math.min(Math.max(greatest - least, leastSpan), fullSpan);
        const middle = least / 2 + greatest / 2;
        this.least = Math.min(Math.max(middle - span / 2, this.fullLeast), this.fullGreatest - span);
        this.greatest = span === fullSpan ? this.fullGreatest : this.least + span;
    }

    // Zooms in by a factor above 1, out by one below. What lies at x stays where it is.
    zoom(factor: number, x = this.least / 2 + this.greatest / 2): void {
        this.show(x - (x - this.least) / factor, x + (this.greatest - x) / factor);
    }

    // Moves by a share of the visible range.
    pan(share: number): void {
        const distance = (this.greatest - this.least) * share;
        this.show(this.least + distance, this.greatest + distance);
    }

    // Where x lies in the visible range: 0 at its beginning, 1 at its end.
    shareOf(x: number): number {
        return (x - this.least) / (this.greatest - this.least);
    }
    xAt(share: number): number {
        return this.least + (this.greatest - this.least) * share;
    }

    // The steps to draw on a plot of so many pixels, with one more on each side for the lines that leave it.
    stepsFor(pixels: number): VisibleSteps {
        const [firstBin, endBin] = this.recording.binsWithin(this.least, this.greatest);
        let level = 0;
        while ((endBin - firstBin) / 2 ** level > Math.max(pixels, 1) * stepsPerPixel) ++level;
        const size = 2 ** level;
        return new VisibleSteps(
            this,
            level,
            Math.max(0, Math.floor(firstBin / size) - 1),
            Math.min(Math.ceil(this.recording.bins / size), Math.ceil(endBin / size) + 1),
        );
    }
}

export class VisibleSteps {
    readonly rowsPerStep: number;
    // Where the first and the last row of each step lie: shares of the visible range.
    readonly firsts: Float64Array;
    readonly lasts: Float64Array;

    constructor(
        private readonly view: View,
        readonly level: number,
        readonly begin: number,
        readonly end: number,
    ) {
        const { recording } = view;
        this.rowsPerStep = recording.description.rowsPerBin * 2 ** level;
        const count = Math.max(0, end - begin);
        this.firsts = new Float64Array(count);
        this.lasts = new Float64Array(count);
        for (let i = 0; i < count; ++i) {
            const [firstBin, endBin] = this.binsOf(begin + i);
            this.firsts[i] = view.shareOf(recording.firstX(firstBin));
            this.lasts[i] = view.shareOf(recording.lastX(endBin - 1));
        }
    }

    // The bins of a step: from the first, up to but without the second.
    binsOf(step: number): [number, number] {
        const size = 2 ** this.level;
        return [step * size, Math.min((step + 1) * size, this.view.recording.bins)];
    }

    // The step nearest to x; null if there is none.
    nearest(x: number): number | null {
        const { recording } = this.view;
        if (recording.bins === 0) return null;
        const next = firstWhere(recording.bins, (bin) => recording.lastX(bin) >= x);
        const isBefore =
            next === recording.bins || (next > 0 && x - recording.lastX(next - 1) < recording.firstX(next) - x);
        return this.stepOf(isBefore ? next - 1 : next);
    }

    stepOf(bin: number): number {
        return Math.floor(bin / 2 ** this.level);
    }
}
