// Numbers as people read them.

const inWords = new Intl.NumberFormat("en");

// A count in a sentence: 26,000,000.
export function formatCount(count: number): string {
    return inWords.format(count);
}

export function countOf(count: number, one: string, many: string): string {
    return `${formatCount(count)} ${count === 1 ? one : many}`;
}

// A sample with all the digits that its type is worth.
export function formatSample(value: number | bigint, type: string): string {
    if (typeof value === "bigint" || Number.isInteger(value)) return value.toString();
    if (type === "Float32")
        for (let digits = 6; digits < 9; ++digits) {
            const rounded = Number(value.toPrecision(digits));
            if (Math.fround(rounded) === value) return rounded.toString();
        }
    return value.toString();
}

// The same in the room of a list: integers are exact, others have six digits, or as many as tell apart what lies this far
// from one another.
export function formatShort(value: number | bigint, distance = 0.01): string {
    if (typeof value === "bigint" || Number.isInteger(value)) return value.toString();
    const digits = Math.floor(Math.log10(Math.abs(value))) - Math.floor(Math.log10(distance)) + 1;
    return Number(value.toPrecision(Math.min(Math.max(digits, 6), 17))).toString();
}

export interface Ticks {
    values: number[];
    labels: string[];
    // What all labels have left out, such as "1234567890 +"; "" if nothing.
    offset: string;
}

const longestLabel = 9;

// Round numbers from least to greatest, about `wanted` of them, with labels that tell them apart.
export function makeTicks(least: number, greatest: number, wanted: number): Ticks {
    const span = greatest - least;
    const power = 10 ** Math.floor(Math.log10(span / wanted));
    const rough = span / wanted / power;
    const step = power * (rough <= 1 ? 1 : rough <= 2 ? 2 : rough <= 5 ? 5 : 10);
    const values: number[] = [];
    // Counting instead of adding ends even where a step is less than the numbers' own resolution.
    for (let i = 0, start = Math.ceil(least / step); i <= 2 * wanted + 2; ++i) {
        const value = (start + i) * step;
        if (value > greatest) break;
        if (value >= least && value !== values[values.length - 1]) values.push(value);
    }
    const labels = labelTicks(values, step);
    if (values.length < 2 || Math.max(...labels.map((label) => label.length)) <= longestLabel)
        return { values, labels, offset: "" };
    const origin = values[0];
    return {
        values,
        labels: labelTicks(
            values.map((value) => value - origin),
            step,
        ),
        offset: `${formatShort(origin)} +`,
    };
}

function labelTicks(values: number[], step: number): string[] {
    const greatest = Math.max(...values.map(Math.abs), step);
    if (greatest >= 1e7 || greatest < 1e-4) {
        // As many digits as the step needs beside the greatest number.
        const digits = Math.max(0, Math.floor(Math.log10(greatest)) - Math.floor(Math.log10(step) + 1e-9));
        return values.map((value) => (value === 0 ? "0" : value.toExponential(Math.min(digits, 15))));
    }
    const decimals = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
    return values.map((value) => value.toFixed(Math.min(decimals, 20)).replace(/^-(0\.?0*)$/, "$1"));
}
