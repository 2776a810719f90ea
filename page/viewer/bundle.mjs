// Makes the viewer: one HTML file with all its styles and code inline. Usage: node bundle.mjs FOLDER
// FOLDER holds node_modules; viewer.html, licences.txt and tests.mjs are written there.

import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join, resolve } from "node:path";

const folder = resolve(process.argv[2]);
const sources = import.meta.dirname ?? new URL(".", import.meta.url).pathname;
const packages = join(folder, "node_modules");
const esbuild = createRequire(join(folder, "package.json"))("esbuild");

const common = {
    absWorkingDir: sources,
    bundle: true,
    nodePaths: [packages],
    tsconfigRaw: {},
    write: false,
    logLevel: "warning",
};
const built = esbuild.buildSync({
    ...common,
    entryPoints: ["src/main.ts"],
    outdir: folder,
    minify: true,
    format: "iife",
    target: ["chrome111", "firefox115", "safari16.4"],
    charset: "utf8",
    legalComments: "none",
});
const textOf = (suffix) => built.outputFiles.find(({ path }) => path.endsWith(suffix)).text.trim();
const script = textOf(".js");
const style = textOf(".css");

const { version } = JSON.parse(readFileSync(join(packages, "uplot/package.json"), "utf8"));
const licences = `uPlot ${version}\n\n${readFileSync(join(packages, "uplot/LICENSE"), "utf8").trim()}\n`;

const insert = { "/*STYLE*/": style, "/*SCRIPT*/": script, LICENCES: licences.trim() };
insert["SCRIPT-HASH"] = `sha256-${createHash("sha256").update(script).digest("base64")}`;
const html = readFileSync(join(sources, "src/page.html"), "utf8").replace(
    /\/\*STYLE\*\/|\/\*SCRIPT\*\/|LICENCES|SCRIPT-HASH/g,
    (mark) => insert[mark],
);
// What would end a part of the page too soon, or be taken for the place of the data.
for (const [text, times] of [
    ["</script", 1],
    ["</style", 1],
    ["<!--DATA-->", 1],
    ["-->", 2],
]) {
    const found = html.split(text).length - 1;
    if (found !== times) throw new Error(`"${text}" stands ${found} times in the page instead of ${times}.`);
}
writeFileSync(join(folder, "viewer.html"), html);
writeFileSync(join(folder, "licences.txt"), licences);

esbuild.buildSync({
    ...common,
    entryPoints: ["tests/viewer.test.ts"],
    outfile: join(folder, "viewer.test.mjs"),
    write: true,
    platform: "node",
    format: "esm",
    target: "node18",
    external: ["playwright-core"],
});
