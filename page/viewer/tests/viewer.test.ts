// The page in a real browser. Pages of real recordings come from velreplay; those of odd cases from makePage.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { pathToFileURL } from "node:url";
import { type Browser, chromium, type Page } from "playwright-core";
import { makePage, type Rows, type Sample } from "./pages.js";

// Where this runs: the root of the source tree.
const build = process.env.VEL_BUILD ?? "build/release";
const viewer = "build/page/viewer.html";

let browser: Browser;
const windows = new Map<string, Page>();
let folder: string;
let opened = 0;

before(async () => {
    folder = mkdtempSync(join(tmpdir(), "page-"));
    // Root, as in containers, has no sandbox.
    const args = process.getuid?.() === 0 ? ["--no-sandbox"] : [];
    browser = await chromium.launch({ executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium", args });
});
after(async () => {
    await browser?.close();
    rmSync(folder, { recursive: true });
});

// A window for each time zone, since windows take longer to open than pages.
async function windowIn(timezoneId: string): Promise<Page> {
    let page = windows.get(timezoneId);
    if (!page) {
        page = await browser.newPage({ viewport: { width: 1300, height: 900 }, timezoneId });
        await page.addInitScript(recordLabels);
        windows.set(timezoneId, page);
    }
    return page;
}

// Opens a page from disk, does something with it, and insists that the browser had nothing to say and nothing to load.
async function withPage(file: string, act: (page: Page) => Promise<void>, timezoneId = "America/New_York") {
    const page = await windowIn(timezoneId);
    page.removeAllListeners();
    const heard: string[] = [];
    page.on("console", (message) => heard.push(`console: ${message.text()}`));
    page.on("pageerror", (error) => heard.push(`error: ${error.message}`));
    page.on("dialog", (dialog) => {
        heard.push(`dialog: ${dialog.message()}`);
        dialog.dismiss();
    });
    page.on("request", (request) => heard.push(`request: ${request.url()}`));
    const url = pathToFileURL(file).href;
    await page.goto(url);
    await page.waitForFunction(() => document.querySelector("canvas, [role=alert]"));
    await settle(page);
    await act(page);
    await settle(page);
    assert.deepEqual(heard, [`request: ${url}`]);
}

function withRows(rows: Rows, act: (page: Page) => Promise<void>, timezoneId?: string) {
    const file = join(folder, `${++opened}.html`);
    writeFileSync(file, makePage(viewer, rows));
    return withPage(file, act, timezoneId);
}

// In the page: keeps what is written on each canvas since it was cleared.
function recordLabels() {
    const { fillText, clearRect } = CanvasRenderingContext2D.prototype;
    CanvasRenderingContext2D.prototype.fillText = function (text, x, y) {
        const canvas = this.canvas as HTMLCanvasElement & { labels?: [string, number][] };
        canvas.labels?.push([text, x]);
        fillText.call(this, text, x, y);
    };
    CanvasRenderingContext2D.prototype.clearRect = function (...area) {
        (this.canvas as HTMLCanvasElement & { labels?: [string, number][] }).labels = [];
        clearRect.apply(this, area);
    };
}

// The labels of the axis of x, with their shares of its width.
function labelsOfX(page: Page): Promise<[string, number][]> {
    return page.locator(".axis canvas").evaluate((element) => {
        const over = element.parentElement?.querySelector(".u-over") as HTMLElement;
        const { labels = [] } = element as HTMLCanvasElement & { labels?: [string, number][] };
        return labels.map(([text, x]): [string, number] => [text, (x - over.offsetLeft) / over.offsetWidth]);
    });
}

// Until the next frames are drawn.
function settle(page: Page): Promise<void> {
    return page.evaluate(
        () =>
            new Promise<void>((done) => requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done, 20)))),
    );
}

const statusOf = (page: Page) => page.locator(".status").innerText();
const readingOf = (page: Page) => page.locator(".reading").innerText();

async function rowsPerStep(page: Page): Promise<number> {
    const status = await statusOf(page);
    if (status.includes("Each step is one row")) return 1;
    return Number((/Each step shows ([\d,]+) rows/.exec(status)?.[1] ?? "").replaceAll(",", ""));
}

// The first plot, on the page: where its x begins, and how wide it is.
async function plotBox(page: Page, index = 0) {
    const box = await page.locator(".u-over").nth(index).boundingBox();
    assert(box);
    return box;
}

async function pointAt(page: Page, share: number): Promise<void> {
    const box = await plotBox(page);
    await page.mouse.move(box.x + box.width * share, box.y + box.height / 2);
    await settle(page);
}

// What the list says of each channel at the cursor: by name, the text with all digits.
async function readChannels(page: Page): Promise<Map<string, string>> {
    const entries = await page
        .locator(".channel")
        .evaluateAll((items) =>
            items.map((item): [string, string] => [
                item.querySelector(".name")?.textContent ?? "",
                (item.querySelector(".value") as HTMLElement).title,
            ]),
        );
    return new Map(entries);
}

// The pixels of a canvas with about this colour, between two shares of its plot's width: how many there are, and how far
// below the top of the plot they lie on average.
function findPixels(page: Page, canvas: number, colour: string, from = 0, to = 1) {
    return page
        .locator("canvas")
        .nth(canvas)
        .evaluate(
            (element, { colour, from, to }) => {
                const over = element.parentElement?.querySelector(".u-over") as HTMLElement;
                const copy = document.createElement("canvas");
                copy.width = Math.max(1, Math.round(over.offsetWidth * (to - from)));
                copy.height = over.offsetHeight;
                const context = copy.getContext("2d", { willReadFrequently: true }) as CanvasRenderingContext2D;
                const left = Math.round(over.offsetLeft + over.offsetWidth * from);
                context.drawImage(element as HTMLCanvasElement, -left, -over.offsetTop);
                const { data } = context.getImageData(0, 0, copy.width, copy.height);
                const wanted = [1, 3, 5].map((i) => Number.parseInt(colour.slice(i, i + 2), 16));
                let count = 0;
                let sum = 0;
                for (let i = 0; i < data.length; i += 4)
                    if (data[i + 3] > 60 && wanted.every((value, j) => Math.abs(data[i + j] - value) < 24)) {
                        ++count;
                        sum += Math.floor(i / 4 / copy.width) + 0.5;
                    }
                return { count, below: sum / count, height: copy.height };
            },
            { colour, from, to },
        );
}
async function countPixels(page: Page, canvas: number, colour: string, from = 0, to = 1): Promise<number> {
    return (await findPixels(page, canvas, colour, from, to)).count;
}
const blue = "#0072b2";
const orange = "#d55e00";

// velreplay's example: its page, and the rows of its result.
function makeDrive(...options: string[]): { file: string; rows: Map<string, string>[] } {
    const file = join(folder, "drive.html");
    const result = join(folder, "drive.csv");
    const recording = `${build}/examples/drive-result/recording.csv`;
    const files = ["examples/drive/plan.toml", recording, "-o", result, "--page", file];
    execFileSync(`${build}/velreplay/velreplay`, ["-q", ...files, ...options]);
    const [head, ...lines] = readFileSync(result, "utf8").trim().split("\n");
    const names = head.split(",");
    const rows = lines.map((line) => new Map(line.split(",").map((cell, i) => [names[i], cell])));
    return { file, rows };
}

// Compares what the cursor reads with the rows of the result that it names.
async function compareAtCursor(page: Page, rows: Map<string, string>[]): Promise<number> {
    const reading = await readingOf(page);
    const match = /rows? ([\d,]+)(?: to ([\d,]+))?$/.exec(reading);
    assert(match, reading);
    const [first, last] = [match[1], match[2] ?? match[1]].map((text) => Number(text.replaceAll(",", "")));
    const read = await readChannels(page);
    let compared = 0;
    for (const [name, text] of read) {
        const cells = rows.slice(first - 1, last).map((row) => row.get(name));
        if (cells[0] === undefined) continue;
        const samples = cells.filter((cell) => cell !== "").map(Number);
        const [values, ...words] = text.split(", ");
        if (samples.length === 0) assert.match(text, /^(some )?missing/, `${name} at ${reading}`);
        else {
            const ends = values.split(" … ").map(Number);
            assert.equal(ends[0], Math.min(...samples), `${name} at ${reading}`);
            assert.equal(ends[ends.length - 1], Math.max(...samples), `${name} at ${reading}`);
            assert.equal(words.includes("some missing"), samples.length < cells.length, `${name} at ${reading}`);
        }
        ++compared;
    }
    return compared;
}

test("a drive opens from disk, its curves are those of the result, and zooming in shows finer steps", async () => {
    const drive = makeDrive();
    await withPage(drive.file, async (page) => {
        assert.equal(await page.title(), "New European Driving Cycle");
        assert.deepEqual(await page.locator("h2").allInnerTexts(), [
            "Speed [km/h]",
            "Acceleration [m/s²]",
            "Distance [km]",
            "Engine speed [1/min]",
            "Gear",
            "Slip [%]",
            "States",
        ]);
        let compared = 0;
        let steps = await rowsPerStep(page);
        assert(steps > 1);
        for (let zooms = 0; steps > 1; ++zooms) {
            for (const share of [0.02, 0.35, 0.8]) {
                await pointAt(page, share);
                compared += await compareAtCursor(page, drive.rows);
            }
            assert(zooms < 20, "zooming in never shows single rows");
            await page.keyboard.press("+");
            await settle(page);
            const finer = await rowsPerStep(page);
            assert(finer <= steps);
            steps = finer;
        }
        for (const share of [0, 0.1, 0.5, 0.9, 1]) {
            await pointAt(page, share);
            compared += await compareAtCursor(page, drive.rows);
        }
        assert(compared > 150, `${compared} comparisons`);
        await page.getByText("Plan: ").click();
        assert.equal(
            await page.locator("details[open] pre").textContent(),
            readFileSync("examples/drive/plan.toml", "utf8"),
        );
    });
});

test("a page with too little room for all rows says so, and its steps are those of the result", async () => {
    const drive = makeDrive("--page-size", "500kB");
    assert(statSync(drive.file).size <= 500_000);
    await withPage(drive.file, async (page) => {
        for (let i = 0; i < 8; ++i) await page.keyboard.press("+");
        await settle(page);
        assert.match(
            await statusOf(page),
            /^11,801 rows\. Each step shows \d+ rows .* Single rows are not in this page/,
        );
        let compared = 0;
        for (const share of [0.1, 0.4, 0.9]) {
            await pointAt(page, share);
            compared += await compareAtCursor(page, drive.rows);
        }
        assert(compared >= 30);
    });
});

const count = 20000;
const wave = (row: number) => 50 * Math.sin(row / 1000);
const waves: Rows = {
    x: Array.from({ length: count }, (_, row) => row / 10),
    channels: [
        { name: "wave", samples: Array.from({ length: count }, (_, row) => wave(row)) },
        { name: "half", samples: Array.from({ length: count }, (_, row) => wave(row) / 2) },
        {
            name: "state",
            type: "UInt8",
            isBoolean: true,
            samples: Array.from({ length: count }, (_, row) => Number(wave(row) > 0)),
        },
    ],
};

// The visible range, read at both ends of the plot.
async function visibleRange(page: Page): Promise<[number, number]> {
    const ends: number[] = [];
    for (const share of [0, 1]) {
        await pointAt(page, share);
        const numbers = (await readingOf(page)).match(/: ([-\d.]+)(?: … ([-\d.]+))?,/);
        assert(numbers);
        ends.push(share === 0 ? Number(numbers[1]) : Number(numbers[2] ?? numbers[1]));
    }
    return [ends[0], ends[1]];
}

test("wheel, drag, keys, buttons and the bar choose what is visible", async () => {
    await withRows(waves, async (page) => {
        const near = (actual: [number, number], expected: [number, number], tolerance: number) => {
            for (const i of [0, 1])
                assert(Math.abs(actual[i] - expected[i]) <= tolerance, `${actual} instead of ${expected}`);
        };
        const box = await plotBox(page);
        const at = (share: number): [number, number] => [box.x + box.width * share, box.y + 60];
        const drag = async (from: [number, number], to: [number, number]) => {
            await page.mouse.move(...from);
            await page.mouse.down();
            await page.mouse.move((from[0] + to[0]) / 2, to[1], { steps: 3 });
            await page.mouse.move(...to);
            await page.mouse.up();
            await settle(page);
        };
        near(await visibleRange(page), [0, 1999.9], 2);

        await drag(at(0.25), at(0.5));
        near(await visibleRange(page), [500, 1000], 3);
        // The bar: a quarter of it is the visible part.
        const thumb = await page.locator(".thumb").boundingBox();
        assert(thumb);
        const middle = thumb.y + thumb.height / 2;
        await drag([thumb.x + 20, middle], [thumb.x + 20 + thumb.width, middle]);
        near(await visibleRange(page), [1000, 1500], 6);
        await page.keyboard.down("Shift");
        await drag(at(0.2), at(0.6));
        await page.keyboard.up("Shift");
        near(await visibleRange(page), [800, 1300], 6);

        // What lies under the pointer stays there.
        await pointAt(page, 0.3);
        const before = await readingOf(page);
        await page.mouse.wheel(0, -500);
        await pointAt(page, 0.31);
        await pointAt(page, 0.3);
        const after = await readingOf(page);
        const xOf = (reading: string) => Number(/: ([-\d.]+)/.exec(reading)?.[1]);
        assert(Math.abs(xOf(before) - xOf(after)) < 2, `${before} became ${after}`);
        const [least, greatest] = await visibleRange(page);
        assert(greatest - least < 300);

        await page.mouse.dblclick(...at(0.5));
        await settle(page);
        near(await visibleRange(page), [0, 1999.9], 2);
        for (const [key, range] of [
            ["+", [500, 1500]],
            ["ArrowRight", [750, 1750]],
            ["ArrowLeft", [500, 1500]],
            ["-", [0, 1999.9]],
            ["+", [500, 1500]],
            ["0", [0, 1999.9]],
        ] as [string, [number, number]][]) {
            await page.keyboard.press(key);
            await settle(page);
            near(await visibleRange(page), range, 3);
        }
        await page.getByRole("button", { name: "Zoom in" }).click();
        await page.getByRole("button", { name: "Move right" }).click();
        near(await visibleRange(page), [750, 1750], 3);
        await page.getByRole("button", { name: "Show all" }).click();
        near(await visibleRange(page), [0, 1999.9], 2);

        // Steps of the cursor by key.
        await page.keyboard.press(",");
        await settle(page);
        const back = await readingOf(page);
        await page.keyboard.press(".");
        await settle(page);
        assert.notEqual(await readingOf(page), back);
        await page.keyboard.press("Escape");
        await settle(page);
        assert.equal(await readingOf(page), "");

        // Nobody gets out of the recording, or lost in it.
        for (let i = 0; i < 60; ++i) await page.keyboard.press("+");
        await settle(page);
        assert.match(await statusOf(page), /one row/);
        for (let i = 0; i < 90; ++i) await page.keyboard.press("-");
        await settle(page);
        near(await visibleRange(page), [0, 1999.9], 2);
    });
});

test("curves lie where their values are, in all levels", async () => {
    await withRows(waves, async (page) => {
        await page.getByRole("button", { name: "half" }).click();
        for (let zooms = 0; zooms < 7; ++zooms) {
            const [first, last] = (await visibleRange(page)).map((x) => Math.round(x * 10));
            const values = waves.channels[0].samples.slice(first, last + 1) as number[];
            const [least, greatest] = [Math.min(...values), Math.max(...values)];
            const room = (greatest - least) * 0.06;
            const labels = await labelsOfX(page);
            assert(labels.length > 3);
            for (const [text, share] of labels) {
                const expected = (Number(text) * 10 - first) / (last - first);
                assert(Math.abs(share - expected) < 0.01, `${text} stands at ${share}, not ${expected}`);
            }
            // Some columns of pixels, since grid lines shine through one.
            for (const share of [0.1, 0.37, 0.81]) {
                const { width } = await plotBox(page);
                const { below, height } = await findPixels(page, 0, blue, share - 2.5 / width, share + 2.5 / width);
                const value = wave(first + (last - first) * share);
                const expected = height * (1 - (value - least + room) / (greatest - least + 2 * room));
                const where = `at ${share} of rows ${first} to ${last}`;
                assert(Math.abs(below - expected) < 3, `${below} instead of ${expected} ${where}`);
            }
            await page.keyboard.press("+");
            await settle(page);
        }
    });
});

test("channels are switched off and on by mouse and by keyboard", async () => {
    await withRows(waves, async (page) => {
        const inBlue = await countPixels(page, 0, blue);
        assert(inBlue > 500 && (await countPixels(page, 0, orange)) > 500);
        assert((await countPixels(page, 1, "#009e73")) > 3000, "the band of a state");
        const half = page.getByRole("button", { name: "half" });
        await half.click();
        await settle(page);
        assert.equal(await half.getAttribute("aria-pressed"), "false");
        assert.equal(await countPixels(page, 0, orange), 0);
        await page.getByRole("button", { name: "wave" }).focus();
        await page.keyboard.press("Space");
        await page.getByRole("button", { name: "state" }).press("Enter");
        await settle(page);
        assert.equal(await countPixels(page, 0, blue), 0);
        assert.equal(await countPixels(page, 1, "#009e73"), 0);
        await half.click();
        await settle(page);
        assert((await countPixels(page, 0, orange)) > 500);
    });
});

test("names and texts with markup are text, and long ones are cut", async () => {
    const name = "<script>alert(1)</script>";
    const long = "<img src=x onerror=alert(2)>".repeat(18);
    await withRows(
        {
            title: `${name}</title>`,
            xName: `</script>${name}`,
            x: [0, 1, 2],
            rowsWithoutX: 2,
            channels: [
                { name, samples: [1, 2, 3], formula: `</script>${name}` },
                { name: long, type: "UInt8", isBoolean: true, samples: [0, 1, 0] },
            ],
            panels: [{ title: long, unit: name, channels: [0, 1] }],
        },
        async (page) => {
            assert.equal(await page.locator("h1").textContent(), `${name}</title>`);
            assert.equal(await page.locator(".name").first().textContent(), name);
            assert.equal(await page.locator("td.formula").first().textContent(), `</script>${name}`);
            assert.match(
                (await page.locator(".note").textContent()) ?? "",
                /^2 rows have no finite sample in <\/script>/,
            );
            assert.equal(await page.locator("img, main script").count(), 0);
            const width = await page.evaluate(() => document.documentElement.scrollWidth);
            assert(width <= 1300, `the page is ${width} wide`);
        },
    );
});

test("dates are those of the zone's clocks, over a change of the clocks too", async () => {
    // From 2026-03-29 00:30 to 01:29 UTC by minutes; at 01:00 UTC Berlin's clocks go from 02:00 to 03:00.
    const start = (Date.UTC(2026, 2, 29, 0, 30) - Date.UTC(2000, 0, 1)) / 1000;
    const rows = {
        x: Array.from({ length: 60 }, (_, row) => start + row * 60 + 0.25),
        channels: [{ name: "value", samples: Array.from({ length: 60 }, (_, row) => row) }],
    };
    const ends = async (page: Page) => {
        const texts: string[] = [];
        for (const share of [0, 30 / 59, 1]) {
            await pointAt(page, share);
            texts.push(await readingOf(page));
        }
        return texts;
    };
    await withRows({ ...rows, zone: "Europe/Berlin" }, async (page) => {
        assert.deepEqual(await ends(page), [
            "Time [s]: 2026-03-29 01:30:00.25 +01:00, row 1",
            "Time [s]: 2026-03-29 03:00:00.25 +02:00, row 31",
            "Time [s]: 2026-03-29 03:29:00.25 +02:00, row 60",
        ]);
        assert.equal(await page.locator(".x-title").innerText(), "Time [s] (Europe/Berlin)");

        const labels = await labelsOfX(page);
        const texts = labels.map(([text]) => text);
        assert(texts.includes("01:50") && texts.includes("2026-03-29"), `${texts}`);
        assert(!texts.some((text) => text.startsWith("02:")), `${texts}`);
        const [, share] = labels.find(([text]) => text === "03:00") ?? [];
        assert(share && Math.abs(share - 30 / 59) < 0.002, `03:00 stands at ${share}`);
        for (let i = 0; i < 30; ++i) await page.keyboard.press("+");
        await settle(page);
        const closer = (await labelsOfX(page)).map(([text]) => text);
        assert(closer.includes("01:59:30.25"), `${closer}`);
    });
    // Without a zone the clock of the browser must not matter.
    await withRows(
        { ...rows, zone: "" },
        async (page) => {
            assert.equal((await ends(page))[1], "Time [s]: 2026-03-29 01:00:00.25, row 31");
        },
        "Asia/Kathmandu",
    );
    await withRows({ ...rows, zone: "Mars/Olympus" }, async (page) => {
        assert.match(await page.locator(".note").innerText(), /does not know the time zone Mars\/Olympus/);
        assert.equal((await ends(page))[1], "Time [s]: 2026-03-29 01:00:00.25 +00:00, row 31");
    });
});

test("missing, refused and infinite samples are marked, and hold no curve", async () => {
    const samples = Array.from({ length: 101 }, (_, row): Sample => {
        if (row >= 40 && row < 60) return "missing";
        if (row === 20) return "refused";
        return row === 80 ? "infinite" : row;
    });
    const rows: Rows = { x: samples.map((_, row) => row), channels: [{ name: "value", samples }] };
    await withRows(rows, async (page) => {
        for (const [row, text] of [
            [20, "19, refused"],
            [50, "missing"],
            [80, "infinite"],
            [81, "81"],
        ] as [number, string][]) {
            await pointAt(page, row / 100);
            assert.equal((await readChannels(page)).get("value"), text);
        }
        const key = await page.locator(".key").innerText();
        for (const word of ["missing", "refused", "infinite"]) assert(key.includes(word), key);
        // A bar of 4 pixels, in the gap alone.
        const inGap = await countPixels(page, 0, blue, 0.42, 0.58);
        const width = (await plotBox(page)).width;
        assert(Math.abs(inGap - 4 * 0.16 * width) < 20, `${inGap} pixels in the gap`);
    });
    // Two rows in a step: what they hide is said.
    await withRows({ ...rows, rowsPerBin: 2 }, async (page) => {
        assert.match(await statusOf(page), /2 rows as their least and greatest.*Single rows are not in this page/);
        await pointAt(page, 0.8);
        assert.equal((await readChannels(page)).get("value"), "81, some infinite");
        await pointAt(page, 0.5);
        assert.equal((await readChannels(page)).get("value"), "missing");
    });
});

test("one row among many is seen from afar", async () => {
    const length = 20000;
    const samples = Array.from({ length }, (): Sample => 0);
    samples[5001] = 100;
    samples[10000] = -100;
    samples[15001] = "missing";
    samples[17503] = "refused";
    await withRows({ x: samples.map((_, row) => row), channels: [{ name: "value", samples }] }, async (page) => {
        const pixelsAt = (row: number) => findPixels(page, 0, blue, row / length - 0.006, row / length + 0.006);
        const { width } = await plotBox(page);
        const calm = await pixelsAt(2000);
        assert(Math.abs(calm.count - 0.012 * width) < 0.02 * width, `${calm.count} pixels of a flat curve`);
        for (const [row, isAbove] of [
            [5001, true],
            [10000, false],
        ] as [number, boolean][]) {
            const { count, below, height } = await pixelsAt(row);
            assert(count > calm.count + 0.3 * height, `row ${row} has ${count} pixels`);
            assert.equal(below < height / 2, isAbove);
        }
        const missing = await pixelsAt(15001);
        assert(missing.count > calm.count && missing.below > calm.below + 2, "the missing sample has no mark");
        assert((await pixelsAt(17503)).count > calm.count + 15, "the refused sample has no mark");
    });
    // Samples between gaps have no line; they are dots. Without them only the bars at the bottom would be left.
    const alone = Array.from({ length: 400 }, (_, row): Sample => (row % 2 ? 1 : "missing"));
    await withRows({ channels: [{ name: "value", samples: alone }] }, async (page) => {
        const { below, height } = await findPixels(page, 0, blue);
        assert(below < 0.8 * height, `the pixels lie at ${below} of ${height}`);
    });
});

test("keys reach every row, also where rows have one x", async () => {
    const samples = [1, 2, 3, 4, 5, 6];
    await withRows({ x: [0, 0, 0, 1, 1, 1], channels: [{ name: "value", samples }] }, async (page) => {
        for (let i = 0; i < samples.length; ++i) await page.keyboard.press(",");
        for (const value of samples) {
            await settle(page);
            assert.match(await readingOf(page), new RegExp(`row ${value}$`));
            assert.equal((await page.locator(".value").first().textContent())?.trim(), `${value}`);
            await page.keyboard.press(".");
        }
    });
});

test("odd recordings show something sensible", async () => {
    const ramp = (length: number) => Array.from({ length }, (_, row) => row);
    const one = (samples: Sample[], more: Partial<Rows> = {}): Rows => ({
        x: ramp(samples.length),
        channels: [{ name: "value", samples }],
        ...more,
    });
    const cases: {
        what: string;
        rows: Rows;
        status?: RegExp;
        note?: RegExp;
        last?: string;
        shown?: string;
        isBlank?: boolean;
    }[] = [
        { what: "no rows", rows: one([]), status: /The recording has no rows/, isBlank: true },
        {
            what: "no rows in the part",
            rows: { ...one([]), rowsOutside: 9 },
            status: /No row lies in the part/,
            isBlank: true,
        },
        { what: "one row", rows: one([7]), status: /^1 row\. /, last: "7" },
        { what: "one row far away", rows: one([7], { x: [1.7e18] }), last: "7" },
        { what: "nothing but missing", rows: one(["missing", "missing"]), last: "missing" },
        { what: "lone samples", rows: one([1, "missing", 2]), last: "2" },
        { what: "the same value", rows: one([5, 5, 5]), last: "5" },
        { what: "great values", rows: one([-1e300, 1e300]), last: "1e+300" },
        { what: "the greatest values", rows: one([-Number.MAX_VALUE, 0, 1]), last: "1" },
        { what: "neighbours far from zero", rows: one([1e15, 1e15 + 0.125]), last: "1000000000000000.1" },
        { what: "little changes far from zero", rows: one([1e9, 1e9 + 0.0021]), shown: "1000000000.0021" },
        { what: "tiny values", rows: one([5e-324, 1e-320]), last: "1e-320" },
        {
            what: "x goes back",
            rows: one([1, 2, 3], { x: [1, 0, 2], isSorted: false }),
            note: /time goes back/,
            last: "3",
        },
        { what: "equal x", rows: one([1, 2, 3], { x: [4, 4, 4] }), note: /time is the same in all rows/, last: "3" },
        { what: "repeated x", rows: one([1, 2, 3, 4], { x: [0, 1, 1, 1] }) },
        { what: "infinite x", rows: one([1, 2], { x: [0, Infinity] }), note: /time reaches beyond/, last: "2" },
        { what: "x in nanoseconds", rows: one([1, 2, 3], { x: [1.7e18, 1.7e18 + 1e3, 1.7e18 + 2e3] }), last: "3" },
        { what: "tiny x", rows: one([1, 2, 3], { x: [0, 1e-300, 2e-300] }), last: "3" },
        { what: "great x", rows: one([1, 2, 3], { x: [-1e308, 0, 1e308] }), note: /time reaches beyond/, last: "3" },
        { what: "times beyond all calendars", rows: one([1, 2], { x: [0, 1e18], zone: "Europe/Berlin" }), last: "2" },
        { what: "no x", rows: one([1, 2, 3], { x: undefined }), last: "3" },
        {
            what: "64-bit integers",
            rows: { x: [0, 1], channels: [{ name: "value", type: "SInt64", samples: [2n ** 62n, -(2n ** 63n) + 1n] }] },
            last: "-9223372036854775807",
        },
        {
            what: "unsigned 64-bit integers in steps",
            rows: {
                x: [0, 1, 2],
                rowsPerBin: 4,
                channels: [
                    { name: "value", type: "UInt64", samples: [2n ** 64n - 1n, 2n ** 64n - 3n, 2n ** 64n - 2n] },
                ],
            },
            last: "18446744073709551613 … 18446744073709551615",
        },
        {
            what: "300 channels in a panel",
            rows: {
                x: ramp(50),
                channels: Array.from({ length: 300 }, (_, i) => ({
                    name: `c${i}`,
                    samples: ramp(50).map((row) => row * i),
                })),
            },
        },
        {
            what: "40 panels",
            rows: {
                ...one(ramp(500)),
                panels: Array.from({ length: 40 }, (_, i) => ({ title: `Panel ${i}`, unit: "", channels: [0] })),
            },
        },
        { what: "no panels", rows: { ...one([1, 2]), panels: [] }, note: /no panels/, isBlank: true },
        {
            what: "a panel without channels",
            rows: one([1], { panels: [{ title: "", unit: "", channels: [] }] }),
            isBlank: true,
        },
    ];
    for (const { what, rows, status = /rows?\. Each step/, note, last, shown, isBlank = false } of cases) {
        await withRows(rows, async (page) => {
            assert.match(await statusOf(page), status, what);
            if (note) assert.match(await page.locator(".note").innerText(), note, what);
            else assert.equal(await page.locator(".note").count(), 0, what);
            if (isBlank) return;
            assert((await countPixels(page, 0, blue)) > 0, `${what}: nothing is drawn`);
            await pointAt(page, 1);
            if (last) assert.equal((await readChannels(page)).get("value"), last, what);
            if (shown) assert.equal(await page.locator(".value").innerText(), shown, what);
            for (const key of ["+", "ArrowRight", ".", "0"]) await page.keyboard.press(key);
            await page.locator(".panel").last().scrollIntoViewIfNeeded();
            await settle(page);
            const lastCanvas = (await page.locator("canvas").count()) - 2;
            assert((await countPixels(page, lastCanvas, blue)) > 0, `${what}: nothing is drawn at the end`);
        });
    }
});

test("a page that the viewer cannot read says so", async () => {
    const rows: Rows = { x: [0, 1], channels: [{ name: "value", samples: [1, 2] }] };
    const file = join(folder, "damaged.html");
    const whole = makePage(viewer, rows);
    for (const [page, words] of [
        [makePage(viewer, { ...rows, change: (description) => Object.assign(description, { format: 2 }) }), /format 2/],
        [
            makePage(viewer, { ...rows, change: (description) => Object.assign(description, { bins: 3 }) }),
            /bytes instead of/,
        ],
        [makePage(viewer, { ...rows, change: (description) => description.columns.pop() }), /Column \d is missing/],
        [makePage(viewer, { ...rows, change: (description) => Object.assign(description, { panels: 7 }) }), /damaged/],
        [whole.replace('id="column-1">', 'id="column-1">*'), /Column 1 .* damaged/],
        [whole.replace('"rows":', "rows:"), /description .* damaged/],
        [whole.replace('id="recording"', ""), /no recording/],
    ] as [string, RegExp][]) {
        writeFileSync(file, page);
        await withPage(file, async (opened) => {
            assert.match(await opened.locator("[role=alert]").innerText(), words);
        });
    }
});
