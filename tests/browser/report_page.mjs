// Opens pages of --report in a browser, as their readers do: from a file, offline, on a desk and on a phone. Clicks and
// drags in them, and fails when something is missing, is fetched, or complains.
// Usage: node report_page.mjs XEMFIT DATA_DIR WEB_DIR CHROMIUM
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";

const [xemfit, data, web, chromiumPath] = process.argv.slice(2);
const { chromium } = createRequire(join(web, "package.json"))("playwright-core");
const SWITCHES = [
  "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
  "--disable-component-update", "--disable-sync",
];
const SIZES = { desk: { width: 1280, height: 900 }, phone: { width: 390, height: 844 } };
const folder = mkdtempSync(join(tmpdir(), "xemfit-browser-"));

function makePage() {
  const path = join(folder, "fit.html");
  const curve = (name) => join(data, `treloar1944_${name}.csv`);
  execFileSync(xemfit, ["hyper", "fit", "--model", "polynomial:2", "--uniaxial", curve("uniaxial"), "--equibiaxial",
    curve("equibiaxial"), "--quiet", "--report", path]);
  return path;
}

/** Opens the page and collects what it complains about and what it asks for. */
async function open(context, path) {
  const page = await context.newPage();
  page.complaints = [];
  page.requests = [];
  page.on("console", (message) => page.complaints.push(message.text()));
  page.on("pageerror", (error) => page.complaints.push(error.message));
  page.on("request", (request) => page.requests.push(request.url()));
  await page.goto(pathToFileURL(path).href);
  return page;
}

async function checkContents(page) {
  assert.match(await page.title(), /polynomial:2/);
  for (const [section, text] of [
    ["figure", "Measured and fitted"], ["parameters", "C11"], ["curves", "equibiaxial"], ["correlation", "1.00"],
    ["reproduce", "--model polynomial:2"],
  ]) {
    assert.ok((await page.locator(`#${section}`).innerText()).includes(text), `section ${section} shows ${text}`);
  }
  const overflow = await page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
  assert.ok(overflow <= 0, `the page is ${overflow} pixels wider than the window`);
}

/** Pixels of the first chart (0) or the residuals (1) that have about the colour of a curve. */
const inked = (page, chart, colour) => page.evaluate(([which, [r, g, b]]) => {
  const canvas = document.querySelectorAll(".chart canvas")[which];
  const { width, height } = canvas;
  const copy = new OffscreenCanvas(width, height).getContext("2d", { willReadFrequently: true });
  copy.drawImage(canvas, 0, 0);
  const { data: pixels } = copy.getImageData(0, 0, width, height);
  let count = 0;
  for (let i = 0; i < pixels.length; i += 4) {
    count += Math.abs(pixels[i] - r) + Math.abs(pixels[i + 1] - g) + Math.abs(pixels[i + 2] - b) < 30;
  }
  return count;
}, [chart, colour]);
const UNIAXIAL = [0x00, 0x72, 0xb2];
const EQUIBIAXIAL = [0xd5, 0x5e, 0x00];

const range = (page, chart, axis) => page.evaluate(([which, key]) => {
  const { min, max } = document.querySelector(".panel").charts[which].scales[key];
  return [min, max];
}, [chart, axis]);

async function press(page, name) {
  await page.click(`[data-name="${name}"]`);
  await page.evaluate(() => new Promise(requestAnimationFrame));
}

async function checkCharts(page) {
  const whole = await inked(page, 0, UNIAXIAL);
  assert.ok(whole > 500 && (await inked(page, 0, EQUIBIAXIAL)) > 500, "both curves are drawn");
  assert.ok((await inked(page, 1, UNIAXIAL)) > 100, "residuals are drawn");

  await press(page, "curve-0");
  assert.equal(await inked(page, 0, UNIAXIAL), 0, "a curve can be hidden");
  assert.equal(await inked(page, 1, UNIAXIAL), 0, "and its residuals with it");
  assert.ok((await inked(page, 0, EQUIBIAXIAL)) > 500, "the other one stays");
  await press(page, "curve-0");
  assert.equal(await inked(page, 0, UNIAXIAL), whole, "and comes back");

  await press(page, "measured");
  const line = await inked(page, 0, UNIAXIAL);
  assert.ok(line > 0 && line < whole, "the line stays without the points");
  await press(page, "fitted");
  assert.equal(await inked(page, 0, UNIAXIAL), 0, "nothing stays without both");
  await press(page, "measured");
  await press(page, "fitted");

  assert.ok((await range(page, 0, "x"))[0] <= 0, "a linear axis begins at zero");
  await press(page, "log-x");
  await press(page, "log-y");
  assert.ok((await range(page, 0, "x"))[0] > 0 && (await range(page, 0, "y"))[0] > 0, "logarithmic axes do not");
  assert.deepEqual(await range(page, 1, "x"), await range(page, 0, "x"));
  assert.ok((await inked(page, 0, UNIAXIAL)) > 500, "curves are drawn on logarithmic axes");
  await press(page, "log-x");
  await press(page, "log-y");

  const errors = await range(page, 1, "y");
  await press(page, "relative");
  assert.notDeepEqual(await range(page, 1, "y"), errors, "relative residuals have another scale");
}

async function checkZoom(page) {
  const before = await range(page, 0, "x");
  const box = await page.locator(".chart .u-over").first().boundingBox();
  const at = (share) => [box.x + share * box.width, box.y + share * box.height];
  await page.mouse.move(...at(0.3));
  await page.mouse.down();
  await page.mouse.move(...at(0.6), { steps: 5 });
  await page.mouse.up();
  const [min, max] = await range(page, 0, "x");
  const share = (max - min) / (before[1] - before[0]);
  assert.ok(Math.abs(share - 0.3) < 0.02, `three tenths of the abscissa were asked for, ${share} are shown`);
  assert.deepEqual(await range(page, 1, "x"), [min, max], "the residuals follow");
  assert.match(await page.locator(".readout").innerText(), /nominal strain: .*uniaxial/);
  await press(page, "reset");
  assert.deepEqual(await range(page, 0, "x"), before);
}

async function checkPaper(page) {
  await page.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
  const width = await page.evaluate(() => document.querySelector(".chart canvas").getBoundingClientRect().width);
  assert.ok(width < 690, `a chart of ${width} pixels is wider than paper`);
  await page.evaluate(() => window.dispatchEvent(new Event("afterprint")));
  assert.ok((await page.pdf({ format: "A4" })).length > 10000);
}

let browser;
try {
  const path = makePage();
  browser = await chromium.launch({ executablePath: chromiumPath, args: SWITCHES }); // with a fresh profile
  for (const [name, viewport] of Object.entries(SIZES)) {
    const context = await browser.newContext({ viewport });
    const page = await open(context, path);
    const charts = (await page.locator(".panel").count()) > 0;
    await checkContents(page);
    if (charts) {
      await checkCharts(page);
      if (name === "desk") await checkZoom(page);
    } else {
      assert.equal(await page.locator("#figure svg, #residuals svg").count(), 2, "drawings take the place of charts");
    }
    if (charts && name === "desk") await checkPaper(page);
    assert.deepEqual(page.complaints, []);
    assert.deepEqual(page.requests.filter((url) => !url.startsWith("file:") && !url.startsWith("data:")), []);
    assert.equal(page.requests.filter((url) => url.startsWith("file:")).length, 1, "only the page itself is read");
    console.log(`report page: ${name} passed, ${charts ? "charts" : "drawings"}`);
  }
} finally {
  await browser?.close();
  rmSync(folder, { recursive: true, force: true });
}
