// Puts the page together: one file with styles, scripts, the program, the bundled curves and the licences.
// Usage: node assemble.mjs PROGRAM_FOLDER DATA_FOLDER LICENCES OUTPUT
//   PROGRAM_FOLDER  xemfit.js and xemfit.wasm, as emscripten made them
//   DATA_FOLDER     the bundled curves
//   LICENCES        the text of all licences of what is inside
// web/page/index.html has the places: <!-- styles -->, <!-- engine --> and <!-- scripts -->, and web/page/parts.json names the
// files of the first and the last, in their order. Scripts are plain: a later one may use what an earlier one declares.
import { readdirSync, readFileSync, writeFileSync } from "node:fs";
import { basename, dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { deflateSync } from "node:zlib";

const [programFolder, dataFolder, licencesFile, output] = process.argv.slice(2);
const engineFolder = dirname(fileURLToPath(import.meta.url));
const pageFolder = join(engineFolder, "../page");

const read = (...path) => readFileSync(join(...path), "utf8");

/** What ends an element must not stand inside of it; the sign it is hidden behind means nothing in a script's texts. */
const script = (attributes, text) => `<script${attributes}>${text.replace(/<(?=\/script|!--)/gi, "\\x3C")}</script>`;
const packed = (bytes) => deflateSync(bytes, { level: 9 }).toString("base64");
const element = (id, type, text) => script(` id="${id}" type="${type}"`, text);

const parts = JSON.parse(read(pageFolder, "parts.json"));
const curves = Object.fromEntries(readdirSync(dataFolder).filter((name) => name.endsWith(".csv")).sort()
  .map((name) => [basename(name, ".csv"), read(dataFolder, name)]));

const places = {
  styles: `<style>\n${parts.styles.map((name) => read(pageFolder, name)).join("\n")}</style>`,
  engine: [
    element("xemfit-program", "application/octet-stream", packed(readFileSync(join(programFolder, "xemfit.wasm")))),
    element("xemfit-curves", "application/octet-stream", packed(Buffer.from(JSON.stringify(curves)))),
    element("xemfit-worker", "text/plain", read(programFolder, "xemfit.js") + "\n" + read(engineFolder, "worker.js")),
    element("licences", "text/plain", read(licencesFile)),
  ].join("\n"),
  scripts: [join(engineFolder, "engine.js"), ...parts.scripts.map((name) => join(pageFolder, name))]
    .map((path) => script("", `\n${read(path)}`)).join("\n"),
};
const page = read(pageFolder, "index.html").replace(/<!-- (styles|engine|scripts) -->/g, (_, place) => places[place]);
writeFileSync(output, page);
console.log(`web: ${output}: ${(page.length / 1e6).toFixed(2)} MB`);
