// Makes pages for the odd cases: what a writer of pages would write for these samples.

import { readFileSync } from "node:fs";
import type { ColumnType, Description } from "../src/recording.js";

// A sample: a number, or what befell it.
export type Sample = number | bigint | "missing" | "refused" | "infinite";

export interface ChannelOfRows {
    name: string;
    type?: ColumnType;
    samples: Sample[];
    isBoolean?: boolean;
    formula?: string;
}

export interface Rows {
    title?: string;
    xName?: string;
    x?: number[];
    isSorted?: boolean;
    zone?: string;
    rowsPerBin?: number;
    rowsWithoutX?: number;
    rowsOutside?: number;
    channels: ChannelOfRows[];
    // Panels by the indices of their channels; one for all if left out.
    panels?: { title: string; unit: string; channels: number[] }[];
    change?: (description: Description) => unknown;
}

const bytesOf: Record<ColumnType, (values: (number | bigint)[]) => ArrayBuffer> = {
    SInt8: (values) => Int8Array.from(values as number[]).buffer,
    UInt8: (values) => Uint8Array.from(values as number[]).buffer,
    SInt16: (values) => Int16Array.from(values as number[]).buffer,
    UInt16: (values) => Uint16Array.from(values as number[]).buffer,
    SInt32: (values) => Int32Array.from(values as number[]).buffer,
    UInt32: (values) => Uint32Array.from(values as number[]).buffer,
    SInt64: (values) => BigInt64Array.from(values.map(BigInt)).buffer,
    UInt64: (values) => BigUint64Array.from(values.map(BigInt)).buffer,
    Float32: (values) => Float32Array.from(values as number[]).buffer,
    Float64: (values) => Float64Array.from(values as number[]).buffer,
};

export function makePage(viewer: string, rows: Rows): string {
    const rowsPerBin = rows.rowsPerBin ?? 1;
    const count = rows.channels[0]?.samples.length ?? rows.x?.length ?? 0;
    const bins = Math.ceil(count / rowsPerBin);
    const columns: ColumnType[] = [];
    const texts: string[] = [];
    const add = (type: ColumnType, values: (number | bigint)[]) => {
        columns.push(type);
        texts.push(Buffer.from(bytesOf[type](values)).toString("base64"));
        return columns.length - 1;
    };
    const eachBin = <Item, Result>(items: Item[], join: (bin: Item[]) => Result) =>
        Array.from({ length: bins }, (_, bin) => join(items.slice(bin * rowsPerBin, (bin + 1) * rowsPerBin)));

    const channels = rows.channels.map(({ name, type = "Float64", samples, isBoolean = false, formula = "" }) => {
        let held: number | bigint = 0;
        const numbers = samples.map((sample) => {
            if (typeof sample !== "string") held = sample;
            return sample === "refused" ? held : sample;
        });
        const finite = eachBin(numbers, (bin) => bin.filter((sample) => typeof sample !== "string"));
        const marks = eachBin(samples, (bin) =>
            bin.reduce<number>(
                (all, sample) =>
                    all | (sample === "missing" ? 2 : sample === "infinite" ? 8 : 1) | (sample === "refused" ? 4 : 0),
                0,
            ),
        );
        // Math.min knows no 64-bit integers.
        const extreme = (bin: (number | bigint)[], isBetter: (a: number | bigint, b: number | bigint) => boolean) =>
            bin.reduce((best, sample) => (isBetter(sample, best) ? sample : best), bin[0] ?? 0);
        const least = finite.map((bin) => extreme(bin, (a, b) => a < b));
        const greatest = finite.map((bin) => extreme(bin, (a, b) => a > b));
        return {
            name,
            type,
            formula,
            isBoolean,
            least: add(type, least),
            greatest: rowsPerBin === 1 ? null : add(type, greatest),
            marks: add("UInt8", marks),
        };
    });
    const x = rows.x;
    const description: Description = {
        format: 1,
        title: rows.title ?? "A test",
        madeBy: "a test",
        plan: { name: "test.toml", text: "# a plan <b>with</b> markup\n[compute]\n" },
        summary: `${count} rows`,
        rows: count,
        rowsPerBin,
        bins,
        rowsWithoutX: rows.rowsWithoutX ?? 0,
        rowsOutside: rows.rowsOutside ?? 0,
        x: {
            name: rows.xName ?? "time",
            title: rows.xName ?? "Time [s]",
            time: rows.zone === undefined ? null : { zone: rows.zone },
            isSorted: rows.isSorted ?? true,
            isRow: false,
            first: x
                ? add(
                      "Float64",
                      eachBin(x, (bin) => bin[0]),
                  )
                : null,
            last:
                x && rowsPerBin > 1
                    ? add(
                          "Float64",
                          eachBin(x, (bin) => bin[bin.length - 1]),
                      )
                    : null,
        },
        panels: rows.panels ?? [{ title: "All", unit: "", channels: channels.map((_, index) => index) }],
        channels,
        columns,
    };
    rows.change?.(description);
    const elements = texts.map(
        (text, i) => `<script type="text/plain" class="column" id="column-${i}">${text}</script>`,
    );
    const json = JSON.stringify(description).replaceAll("<", "\\u003c");
    elements.unshift(`<script type="application/json" id="recording">${json}</script>`);
    return readFileSync(viewer, "utf8").replace("<!--DATA-->", () => elements.join("\n"));
}
