// The result that a page carries: a description in JSON, and columns of numbers in base64, one for each element.

export interface Description {
    format: number;
    title: string;
    madeBy: string;
    plan: { name: string; text: string };
    summary: string;
    rows: number;
    rowsPerBin: number;
    bins: number;
    rowsWithoutX: number;
    rowsOutside: number;
    x: {
        name: string;
        title: string;
        time: null | { zone: string };
        isSorted: boolean;
        // There is no channel along the axis: x is the number of the row.
        isRow: boolean;
        first: number | null;
        last: number | null;
    };
    panels: { title: string; unit: string; channels: number[] }[];
    channels: ChannelDescription[];
    columns: ColumnType[];
}

export interface ChannelDescription {
    name: string;
    type: string;
    formula: string;
    isBoolean: boolean;
    least: number;
    greatest: number | null;
    marks: number;
}

// The bits of a step's marks.
export const hasSample = 1;
export const hasMissing = 2;
export const hasRefused = 4;
export const hasInfinite = 8;

const knownFormat = 1;

const columnTypes = {
    SInt8: Int8Array,
    UInt8: Uint8Array,
    SInt16: Int16Array,
    UInt16: Uint16Array,
    SInt32: Int32Array,
    UInt32: Uint32Array,
    SInt64: BigInt64Array,
    UInt64: BigUint64Array,
    Float32: Float32Array,
    Float64: Float64Array,
};
export type ColumnType = keyof typeof columnTypes;
type Column = InstanceType<(typeof columnTypes)[ColumnType]>;

// What the page says instead of a picture.
export class PageError extends Error {}

export function readDescription(text: string): Description {
    let description: Description;
    try {
        description = JSON.parse(text);
    } catch {
        throw new PageError("The description in this page is damaged. Make the page again.");
    }
    if (description?.format !== knownFormat)
        throw new PageError(
            `This page has format ${description?.format}, but its viewer knows format ${knownFormat} alone. ` +
                "Make the page again, with a viewer and a writer of one version.",
        );
    return description;
}

function bytesOfBase64(text: string): Uint8Array<ArrayBuffer> {
    const characters = atob(text);
    const bytes = new Uint8Array(characters.length);
    for (let i = 0; i < bytes.length; ++i) bytes[i] = characters.charCodeAt(i);
    return bytes;
}

// Numbers as Float64, in which all types but the 64-bit integers are exact.
function toFloat64(column: Column): Float64Array {
    if (column instanceof Float64Array) return column;
    if (!(column instanceof BigInt64Array || column instanceof BigUint64Array)) return Float64Array.from(column);
    const numbers = new Float64Array(column.length);
    for (let i = 0; i < numbers.length; ++i) numbers[i] = Number(column[i]);
    return numbers;
}

// A channel's steps, each of so many bins. Where a step has no finite sample, least and greatest mean nothing.
export interface Steps {
    readonly least: Float64Array;
    readonly greatest: Float64Array;
    readonly marks: Uint8Array;
}

function joinPairs(fine: Steps): Steps {
    const length = Math.ceil(fine.marks.length / 2);
    const least = new Float64Array(length);
    const greatest = new Float64Array(length);
    const marks = new Uint8Array(length);
    for (let i = 0; i < length; ++i) {
        const a = 2 * i;
        const b = Math.min(a + 1, fine.marks.length - 1);
        marks[i] = fine.marks[a] | fine.marks[b];
        if (!(fine.marks[a] & hasSample)) {
            least[i] = fine.least[b];
            greatest[i] = fine.greatest[b];
        } else if (!(fine.marks[b] & hasSample)) {
            least[i] = fine.least[a];
            greatest[i] = fine.greatest[a];
        } else {
            least[i] = Math.min(fine.least[a], fine.least[b]);
            greatest[i] = Math.max(fine.greatest[a], fine.greatest[b]);
        }
    }
    return { least, greatest, marks };
}

export class Channel {
    readonly marks: Uint8Array;
    private readonly least: Column;
    private readonly greatest: Column;
    private readonly levels: Steps[] = [];

    constructor(
        readonly description: ChannelDescription,
        column: (index: number) => Column,
    ) {
        this.least = column(description.least);
        this.greatest = description.greatest === null ? this.least : column(description.greatest);
        const marks = column(description.marks);
        if (!(marks instanceof Uint8Array)) throw new PageError("The description in this page is damaged.");
        this.marks = marks;
    }

    // The steps of 2^level bins each, made when they are first asked for.
    level(level: number): Steps {
        if (this.levels.length === 0) {
            const least = toFloat64(this.least);
            const greatest = this.greatest === this.least ? least : toFloat64(this.greatest);
            this.levels.push({ least, greatest, marks: this.marks });
        }
        while (this.levels.length <= level) this.levels.push(joinPairs(this.levels[this.levels.length - 1]));
        return this.levels[level];
    }

    // Least and greatest of bins as they are stored, so 64-bit integers are exact. Null: no finite sample.
    extremes(firstBin: number, endBin: number): [number, number] | [bigint, bigint] | null {
        let found: [number | bigint, number | bigint] | null = null;
        for (let bin = firstBin; bin < endBin; ++bin) {
            if (!(this.marks[bin] & hasSample)) continue;
            const least = this.least[bin];
            const greatest = this.greatest[bin];
            if (!found) found = [least, greatest];
            if (least < found[0]) found[0] = least;
            if (greatest > found[1]) found[1] = greatest;
        }
        return found as [number, number] | [bigint, bigint] | null;
    }

    marksOf(firstBin: number, endBin: number): number {
        let marks = 0;
        for (let bin = firstBin; bin < endBin; ++bin) marks |= this.marks[bin];
        return marks;
    }
}

// Seconds from 1970 to 2000, the beginning of the recording's times.
const secondsTo2000 = 946684800;

export type AxisKind = "number" | "time" | "row";

export class Recording {
    readonly channels: Channel[];
    readonly axisKind: AxisKind;
    // Why rows are the axis although the recording has an x.
    readonly whyRows: string = "";
    private readonly first: Float64Array | null = null;
    private readonly last: Float64Array | null = null;

    // `columnText` returns the base64 text of a column.
    constructor(
        readonly description: Description,
        columnText: (index: number) => string | null,
    ) {
        const { bins, columns, x } = description;
        const column = (index: number): Column => {
            const type = columnTypes[columns[index]];
            const text = columnText(index);
            if (!type || text === null)
                throw new PageError(`Column ${index} is missing in this page. Make the page again.`);
            let bytes: Uint8Array<ArrayBuffer>;
            try {
                bytes = bytesOfBase64(text);
            } catch {
                throw new PageError(`Column ${index} of this page is damaged. Make the page again.`);
            }
            const wanted = bins * type.BYTES_PER_ELEMENT;
            if (bytes.length !== wanted)
                throw new PageError(
                    `Column ${index} of this page has ${bytes.length} bytes instead of ${wanted}. Make the page again.`,
                );
            return new type(bytes.buffer);
        };
        this.channels = description.channels.map((channel) => new Channel(channel, column));
        this.axisKind = "row";
        if (x.first === null || bins === 0) return;
        const first = toFloat64(column(x.first));
        const last = x.last === null ? first : toFloat64(column(x.last));
        // Axes have no place for infinite numbers, and none between equal ones.
        if (!x.isSorted) this.whyRows = "goes back in places";
        else if (!Number.isFinite(last[bins - 1] - first[0])) this.whyRows = "reaches beyond what an axis can show";
        else if (description.rows > 1 && first[0] === last[bins - 1]) this.whyRows = "is the same in all rows";
        else {
            this.axisKind = x.time ? "time" : "number";
            const shift = x.time ? secondsTo2000 : 0;
            this.first = shift ? first.map((value) => value + shift) : first;
            this.last = first === last ? this.first : shift ? last.map((value) => value + shift) : last;
        }
    }

    get bins(): number {
        return this.description.bins;
    }

    // X of the first and of the last row of a bin.
    firstX(bin: number): number {
        return this.first ? this.first[bin] : this.firstRow(bin);
    }
    lastX(bin: number): number {
        return this.last ? this.last[bin] : this.lastRow(bin);
    }

    // Rows count from 1.
    firstRow(bin: number): number {
        return bin * this.description.rowsPerBin + 1;
    }
    lastRow(bin: number): number {
        return Math.min((bin + 1) * this.description.rowsPerBin, this.description.rows);
    }

    // The bins that reach into a range of x: from the first, up to but without the second.
    binsWithin(least: number, greatest: number): [number, number] {
        return [
            firstWhere(this.bins, (bin) => this.lastX(bin) >= least),
            firstWhere(this.bins, (bin) => this.firstX(bin) > greatest),
        ];
    }
}

// The first of so many sorted items for which `isReached` is true; their number if there is none.
export function firstWhere(length: number, isReached: (index: number) => boolean): number {
    let low = 0;
    let high = length;
    while (low < high) {
        const middle = (low + high) >>> 1;
        if (isReached(middle)) high = middle;
        else low = middle + 1;
    }
    return low;
}
