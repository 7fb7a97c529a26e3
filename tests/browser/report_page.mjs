// Opens pages of --report in a browser, as their readers do: from a file, offline, on a desk and on a phone, by day and
// by night. Holds a ruler to their charts, clicks and drags in them, and fails when something is missing or elsewhere,
// is fetched, or complains.
// Usage: node report_page.mjs XEMFIT DATA_DIR CHROMIUM
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import { Browser } from "./browser.mjs";

const [xemfit, data, chromium] = process.argv.slice(2);
const DESK = { width: 1280, height: 900 };
const PHONE = { width: 390, height: 844, touch: true };
const folder = mkdtempSync(join(tmpdir(), "xemfit-report-"));
const bundled = (name) => join(data, `treloar1944_${name}.csv`);

function makePage(name, ...fit) {
  const path = join(folder, `${name}.html`);
  execFileSync(xemfit, ["hyper", "fit", "--model", ...fit, "--quiet", "--report", path]);
  return pathToFileURL(path).href;
}

/** Neo-Hookean, with scatter that repeats itself and one point far off. */
function manyPoints(count) {
  const rows = Array.from({ length: count }, (_, i) => {
    const stretch = 1 + (2 * (i + 1)) / count;
    const scatter = i === 20000 ? 0.9 : 0.03 * Math.sin(12.9898 * i) * Math.cos(78.233 * i);
    return `${stretch - 1},${0.4 * (stretch - stretch ** -2) + scatter}`;
  });
  const path = join(folder, "many.csv");
  writeFileSync(path, `strain,stress_MPa\n${rows.join("\n")}\n`);
  return path;
}

// --- what one sees

/** Ticks, centres of marks and corners of lines of a chart, in pixels of its plot; nothing that the script remembers. */
const see = (page, which = 0) => page.evaluate((index) => {
  const chart = document.querySelectorAll("svg.chart")[index];
  const plot = chart.querySelector(".plot");
  const number = (one, name) => Number(one.getAttribute(name));
  const start = { x: number(plot, "x"), y: number(plot, "y") };
  const ticks = (axis) => [...chart.querySelectorAll(`.tick.${axis}`)].map((one) => ({
    text: one.textContent, at: number(one, axis) - start[axis],
  }));
  const corners = (path) => [...(path.getAttribute("d") ?? "").matchAll(/[ML](-?[\d.]+) (-?[\d.]+)/g)];
  const places = (kind) => [...plot.querySelectorAll(`path.${kind}`)].map((path) => (
    corners(path).map(([, x, y]) => [Number(x), Number(y)])));
  const box = plot.getBoundingClientRect();
  return {
    x: ticks("x"), y: ticks("y"), marks: places("marks"), lines: places("line"),
    box: { left: box.left, top: box.top, width: number(plot, "width"), height: number(plot, "height") },
  };
}, which);

const DIGITS = "⁰¹²³⁴⁵⁶⁷⁸⁹";

/** "−2·10⁻³" */
function readNumber(text) {
  const [, sign, factor, exponent] = /^(−?)(?:([\d.]+)·)?(?:10([⁻⁰¹²³⁴⁵⁶⁷⁸⁹]+))$/.exec(text) ?? [];
  if (exponent === undefined) return Number(text.replace("−", "-"));
  const power = exponent.replace(/./g, (c) => (c === "⁻" ? "-" : DIGITS.indexOf(c)));
  return Number(`${sign && "-"}${factor ?? 1}e${power}`);
}

/** What a reader measures with a ruler between the outermost numbers of an axis. */
function ruler(ticks, logarithmic) {
  const scale = logarithmic ? Math.log10 : (value) => value;
  const [first, last] = [ticks[0], ticks.at(-1)];
  const [from, to] = [first, last].map((tick) => scale(readNumber(tick.text)));
  assert.ok(ticks.length > 1 && to !== from, "an axis has numbers");
  const perPixel = (to - from) / (last.at - first.at);
  return {
    pixel: (value) => first.at + (scale(value) - from) / perPixel,
    value: (pixel) => (logarithmic ? (v) => 10 ** v : (v) => v)(from + (pixel - first.at) * perPixel),
  };
}

async function xRange(page, chart = 0) {
  const { x, box } = await see(page, chart);
  const measure = ruler(x, false);
  return [measure.value(0), measure.value(box.width)];
}

const figureOf = (page) => page.evaluate(() => JSON.parse(document.getElementById("figure-data").textContent));
const press = (page, name) => page.press(`[data-name="${name}"]`);
const readout = (page) => page.evaluate(() => document.querySelector(".readout").textContent);

function assertNear(actual, expected, tolerance, message) {
  assert.ok(Math.abs(actual - expected) <= tolerance, `${message}: ${actual} instead of ${expected}`);
}

// --- checks

async function checkContents(page) {
  assert.match(await page.evaluate(() => document.title), /polynomial:2/);
  for (const [section, text] of [
    ["figure", "Measured and fitted"], ["parameters", "C11"], ["curves", "equibiaxial"], ["correlation", "1.00"],
    ["reproduce", "--model polynomial:2"], ["use", "initial shear modulus"],
  ]) {
    const shown = await page.evaluate((id) => document.getElementById(id).innerText, section);
    assert.ok(shown.includes(text), `section ${section} shows ${text}`);
  }
  const overflow = await page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
  assert.ok(overflow <= 0, `the page is ${overflow} pixels wider than the window`);
}

/** Every mark, and the ends of every line, where the axes say that the numbers are. */
async function checkPlaces(page, logarithmic) {
  const { panels: [{ curves }] } = await figureOf(page);
  const relative = (value, i, curve) => (100 * value) / curve.points[1][i];
  const shown = [await see(page, 0), await see(page, 1)];
  const [x, y] = [ruler(shown[0].x, logarithmic), ruler(shown[0].y, logarithmic)];
  const [errorX, errorY] = [ruler(shown[1].x, logarithmic), ruler(shown[1].y, false)];
  const isRelative = await page.evaluate(() => document.querySelector('[data-name="relative"]').ariaPressed === "true");
  curves.forEach((curve, c) => {
    assert.equal(shown[0].marks[c].length, curve.points[0].length);
    curve.points[0].forEach((abscissa, i) => {
      const error = isRelative ? relative(curve.residual[i], i, curve) : curve.residual[i];
      for (const [actual, expected, what] of [
        [shown[0].marks[c][i], [x.pixel(abscissa), y.pixel(curve.points[1][i])], "point"],
        [shown[1].marks[c][i], [errorX.pixel(abscissa), errorY.pixel(error)], "residual"],
      ]) {
        assertNear(actual[0], expected[0], 0.5, `${what} ${i} of ${curve.name} along x`);
        assertNear(actual[1], expected[1], 0.5, `${what} ${i} of ${curve.name} along y`);
      }
    });
    const [end] = shown[0].lines[2 * c].slice(-1);
    const [lineX, lineY] = curve.stable;
    assertNear(end[0], x.pixel(lineX.at(-1)), 0.5, `end of the line of ${curve.name} along x`);
    assertNear(end[1], y.pixel(lineY.at(-1)), 0.5, `end of the line of ${curve.name} along y`);
  });
}

async function checkButtons(page) {
  const counts = async () => {
    const [chart, residuals] = [await see(page, 0), await see(page, 1)];
    const drawn = (paths) => paths.map((path) => Number(path.length > 0)).join("");
    return `${drawn(chart.marks)} ${drawn(chart.lines)} ${drawn(residuals.marks)}`;
  };
  const all = await counts();
  for (const [name, expected] of [
    ["curve-0", "01 0011 01"], ["measured", "00 1111 00"], ["fitted", "11 0000 11"],
  ]) {
    await press(page, name);
    assert.equal(await counts(), expected, `${name} hides what it names`);
    await press(page, name);
    assert.equal(await counts(), all, `${name} shows it again`);
  }
  await checkPlaces(page, false);
  await press(page, "relative");
  await press(page, "log-x");
  await press(page, "log-y");
  await checkPlaces(page, true);
  await press(page, "log-x");
  await press(page, "log-y");
}

async function checkMouseAndKeys(page) {
  const before = await xRange(page);
  const { box } = await see(page);
  const at = (x, y) => [box.left + x * box.width, box.top + y * box.height];
  await page.drag(at(0.3, 0.5), at(0.6, 0.52));
  const zoomed = await xRange(page);
  const value = (share) => before[0] + share * (before[1] - before[0]);
  const pixel = (before[1] - before[0]) / box.width;
  assertNear(zoomed[0], value(0.3), 2 * pixel, "the view begins where the drag began");
  assertNear(zoomed[1], value(0.6), 2 * pixel, "and ends where it ended");
  const below = await xRange(page, 1);
  assertNear(below[0] + below[1], zoomed[0] + zoomed[1], pixel, "the residuals follow");
  assert.match(await readout(page), /nominal strain: .*uniaxial/);
  await page.evaluate(() => (
    document.querySelector("svg.chart").dispatchEvent(new KeyboardEvent("keydown", { key: "-" }))));
  assert.ok((await xRange(page))[1] > zoomed[1], "a key shows more");
  await press(page, "reset");
  const after = await xRange(page);
  assertNear(after[0] + after[1], before[0] + before[1], pixel, "and everything comes back");
}

async function checkFingers(page) {
  await page.evaluate(() => document.querySelector("svg.chart").scrollIntoView());
  const { box } = await see(page);
  const at = (x, y) => [box.left + x * box.width, box.top + y * box.height];
  const before = await xRange(page);
  await page.fingers([at(0.4, 0.5), at(0.2, 0.5)], [at(0.6, 0.5), at(0.8, 0.5)]);
  const zoomed = await xRange(page);
  const [size, whole] = [zoomed[1] - zoomed[0], before[1] - before[0]];
  assertNear(size / whole, 1 / 3, 0.05, "two fingers zoom by how far they move apart");
  await page.fingers([at(0.8, 0.5), at(0.5, 0.5)]);
  const moved = await xRange(page);
  assertNear((moved[0] - zoomed[0]) / size, 0.3, 0.05, "one finger moves the curve with it");
  await press(page, "reset");
}

async function checkPaper(page) {
  await page.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
  const width = await page.evaluate(() => Number(document.querySelector("svg.chart").getAttribute("width")));
  assert.ok(width < 690, `a chart of ${width} pixels is wider than paper`);
  await page.evaluate(() => window.dispatchEvent(new Event("afterprint")));
  assert.ok((await page.paper()).length > 10000);
}

async function checkNight(page) {
  const faint = await page.evaluate(() => {
    const probe = document.body.appendChild(document.createElement("i"));
    const lightness = (colour) => {
      probe.style.color = colour;
      const channels = getComputedStyle(probe).color.match(/\d+/g).map((c) => c / 255);
      const [r, g, b] = channels.map((c) => (c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4));
      return 0.2126 * r + 0.7152 * g + 0.0722 * b;
    };
    const ground = lightness("var(--card)");
    const contrast = (colour) => (lightness(colour) + 0.05) / (ground + 0.05);
    const names = ["ink", "quiet", "axis", "accent", "overlay", ...[0, 1, 2, 3, 4, 5, 6].map((i) => `curve-${i}`)];
    return names.filter((name) => contrast(`var(--${name})`) < 4.5);
  });
  assert.deepEqual(faint, [], "colours stand out on a dark ground");
}

async function checkManyPoints(page) {
  const seconds = await page.effort();
  assert.ok(seconds < 1, `60000 points cost ${seconds} s`);
  const note = () => page.evaluate(() => document.querySelector(".thinned").textContent);
  const { marks: [marks], x, y, box } = await see(page);
  assert.ok(marks.length > 1000 && marks.length <= 3000, `${marks.length} marks are drawn`);
  assert.match(await note(), /Of 60\D000 measured points here, \d\D\d{3} are drawn/);

  const { panels: [{ curves: [{ points }] }] } = await figureOf(page);
  const [toX, toY] = [ruler(x, false), ruler(y, false)];
  const far = [toX.pixel(points[0][20000]), toY.pixel(points[1][20000])];
  assert.ok(marks.some(([left, top]) => Math.hypot(left - far[0], top - far[1]) < 1), "a point apart is drawn");

  await page.drag([box.left + far[0] - 12, box.top + 100], [box.left + far[0] + 12, box.top + 101]);
  const [from, to] = await xRange(page);
  const there = points[0].filter((value) => value >= from && value <= to).length;
  assertNear((await see(page)).marks[0].length, there, 30, "closer up every point is drawn");
  assert.equal(await note(), "");
}

/** Specimens S1 to S12, each stiffer than the one before, and one of noise. */
function makeBatch() {
  const rows = (stress) => Array.from({ length: 20 }, (_, i) => `${0.1 * (i + 1)},${stress(1 + 0.1 * (i + 1), i)}`);
  const write = (name, stress) => writeFileSync(join(folder, name), `strain,stress_MPa\n${rows(stress).join("\n")}\n`);
  for (let k = 1; k <= 12; ++k) write(`S${k}.csv`, (l) => 2 * (1 - l ** -3) * (0.4 * l + 0.1) * (1 + 0.01 * k));
  write("S13.csv", (_, i) => 1.2 + 0.6 * Math.sin(78.233 * i * i));
  writeFileSync(join(folder, "recipe"), "hyper fit --model polynomial:1 --uniaxial {specimen}.csv --report pages/{specimen}.html");
  const path = join(folder, "batch.html");
  const list = join(folder, "list.csv");
  writeFileSync(list, `specimen\n${Array.from({ length: 13 }, (_, i) => `S${i + 1}`).join("\n")}\n`);
  execFileSync(xemfit, ["batch", join(folder, "recipe"), "--list", list, "--quiet", "--report", path], { stdio: "pipe" });
  return pathToFileURL(path).href;
}

async function checkBatch(page) {
  const column = (index) => page.evaluate((i) => (
    [...document.querySelectorAll("#specimen-table tbody tr")].map((row) => row.cells[i].textContent)), index);
  const { marks, lines } = await see(page);
  assert.equal(marks[0].length, 12 * 20, "every counted point is drawn");
  assert.equal(marks[1].length, 20, "and every doubtful one");
  assert.equal(lines.filter((line) => line.length > 0).length, 13);
  const counts = await page.evaluate(() => document.querySelectorAll("#histograms svg.chart").length);
  assert.equal(counts, 2, "a histogram per parameter");
  await page.press("[data-name=sort-5]");  // C10
  const ascending = (await column(5)).map(Number);
  assert.deepEqual(ascending, [...ascending].sort((a, b) => a - b));
  await page.press("[data-name=sort-0]");
  await page.press("[data-name=sort-0]");
  assert.deepEqual((await column(0)).slice(0, 3), ["S13", "S12", "S11"], "names sort as people count");
  await page.press("tr[data-specimen='2'] td:nth-child(2)");
  const chosen = await see(page);
  assert.deepEqual(chosen.lines.at(-1), chosen.lines[2], "the chosen curve lies on its own");
  const links = await page.evaluate(() => [...document.querySelectorAll("td a")].map((a) => a.getAttribute("href")));
  assert.ok(links.includes("./pages/S7.html"), links.join(" "));
}

const browser = new Browser(chromium);
try {
  const [uniaxial, equibiaxial] = [bundled("uniaxial"), bundled("equibiaxial")];
  const fit = makePage("fit", "polynomial:2", "--uniaxial", uniaxial, "--equibiaxial", equibiaxial);
  const many = makePage("many", "polynomial:1", "--uniaxial", manyPoints(60000));
  for (const [name, address, window, ...checks] of [
    ["desk", fit, DESK, checkContents, checkButtons, checkMouseAndKeys, checkPaper],
    ["phone", fit, PHONE, checkContents, checkButtons, checkFingers],
    ["night", fit, { ...DESK, dark: true }, checkNight],
    ["many points", many, DESK, checkManyPoints],
    ["batch", makeBatch(), DESK, checkBatch],
    ["batch on a phone", pathToFileURL(join(folder, "batch.html")).href, PHONE, checkBatch],
  ]) {
    const page = await browser.open(address, window);
    for (const check of checks) await check(page);
    assert.deepEqual(page.complaints, []);
    const asked = page.requests.filter((url) => !url.startsWith("data:"));
    assert.deepEqual(asked, [address], "only the page itself is read");
    console.log(`report page: ${name} passed`);
  }
} finally {
  await browser.close();
  rmSync(folder, { recursive: true, force: true });
}
