// Works on the built page in a browser as its users do: from a file, offline, with mouse and keys. Fails when a number,
// a word or a file is missing, when something is fetched, or when the browser complains.
// Usage: node page.mjs PAGE XEMFIT CHROMIUM [NAME], where PAGE is out/xemfit.html and NAME chooses among the checks
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";

import { Browser } from "../browser/browser.mjs";

const [place, xemfit, chromium, only = ""] = process.argv.slice(2);
const address = /^https?:/.test(place) ? place : pathToFileURL(resolve(place)).href;
const DESK = {
  width: 1440,
  height: 1000
};
const PHONE = {
  width: 320,
  height: 700,
  touch: true
};
const folder = mkdtempSync(join(tmpdir(), "xemfit-page-"));

const wait = (ms) => new Promise((done) => setTimeout(done, ms));
async function until(page, what, test, ...values) {
  for (let i = 0; i < 600; ++i) {
    if (await page.evaluate(test, ...values)) return;
    await wait(50);
  }
  assert.fail(
    `never: ${what}; the page says ${await page.evaluate(() => document.getElementById("error").textContent)}`);
}
const text = (page, selector) => page.evaluate((which) => document.querySelector(which)?.innerText ?? "", selector);
const press = (page, name) => page.press(`[data-name="${name}"]`);
const type = (page, name, value) => page.evaluate((which, what) => {
  const field = document.querySelector(`[data-name="${which}"]`);
  field.focus();
  field.value = what;
  field.dispatchEvent(new Event("input", { bubbles: true }));
  field.dispatchEvent(new Event("change", { bubbles: true }));
}, name, value);
const busy = () => document.getElementById("body").getAttribute("aria-busy") === "true";

/** Waits until what was asked for is shown. */
async function settled(page) {
  await wait(450);
  await until(page, "the fit ends", `() => !(${busy})()`);
  await wait(100);
}

/** Drops files with any name and contents where people drop them. */
const drop = (page, files) => page.evaluate((given) => {
  const transfer = new DataTransfer();
  for (const [name, contents] of given)
    transfer.items.add(new File([typeof contents === "string" ? contents : new Uint8Array(contents)], name));
  document.body.dispatchEvent(new DragEvent("drop", { bubbles: true, cancelable: true, dataTransfer: transfer }));
}, files);

/** What a button saves, as text. */
async function saved(page, name, file) {
  const path = join(folder, file);
  rmSync(path, { force: true });
  await press(page, name);
  for (let i = 0; i < 100 && !(existsSync(path) && readFileSync(path).length > 0); ++i) await wait(50);
  return readFileSync(path, "utf8");
}

const documentNow = async (page) => JSON.parse(await saved(page, "save-json", "fit.json"));
const forget = async (page) => {
  await press(page, "forget");
  await press(page, "forget-now");
  await wait(100);
};

/** The command line that the page shows, run by the tool in a folder with the files, gives the same document. */
async function sameAsTool(page, files = {}) {
  const lines = (await text(page, '#saving pre[aria-label="Command line"]')).trim().split("\n");
  const own = mkdtempSync(join(folder, "run-"));
  for (const [name, contents] of Object.entries(files)) writeFileSync(join(own, name), contents);
  const line = lines.join("\n").replaceAll(/^xemfit /gm, `'${resolve(xemfit)}' `);
  execFileSync("sh", ["-e", "-c", line], { cwd: own, stdio: "pipe" });
  const expected = JSON.parse(readFileSync(join(own, "fit.json"), "utf8"));
  const shown = await documentNow(page);
  assert.equal(shown.parameters.length, expected.parameters.length);
  for (const [i, one] of expected.parameters.entries()) {
    const tolerance = 1e-6 * Math.max(one.standard_error ?? 0, Math.abs(one.value ?? 0));
    assert.ok(Math.abs(one.value - shown.parameters[i].value) <= tolerance,
      `${one.name}: ${shown.parameters[i].value}, by the tool ${one.value}`);
  }
  return shown;
}

// --- checks

const FAMILIES = ["rubber", "volumetric", "relaxation", "shift", "creep", "cyclic", "hardening", "retention"];

async function checkFamilies(page) {
  for (const family of FAMILIES) {
    await forget(page);
    await press(page, `tour-${family}`);
    await until(
      page, `${family} is fitted`, () => document.querySelectorAll("#figure svg.chart .marks[d^=M]").length > 0);
    await press(page, "tour-end");
    await settled(page);
    const shown = await sameAsTool(page);
    for (const { name, meaning } of shown.parameters) {
      assert.ok((await text(page, "#result-parameters")).includes(name), `${family} shows ${name}`);
      assert.notEqual(await text(page, `[data-name="value-${name}"]`), meaning);
    }
    assert.equal(await text(page, "#error"), "", family);
  }
}

const NOISE = [0.3, -0.7, 0.9, -0.2, 0.5, -0.8, 0.1, 0.6, -0.4, -0.1];
const rubber = (modulus, count = 20) => `strain,stress_MPa\n${
  Array
    .from({ length: count },
      (_, i) => {
        const l = 1 + 0.1 * (i + 1);
        return `${(l - 1).toFixed(3)},${(modulus * (l - l ** -2) + 0.003 * NOISE[i % NOISE.length]).toFixed(6)}`;
      })
    .join("\n")}\n`;
const HOSTILE = "<img src=x onerror=alert(1)>'\"; $(touch x) é=@.csv";

async function checkFilesAndPoints(page) {
  await forget(page);
  await drop(page, [["probe_ut.csv", rubber(0.4)]]);
  await until(page, "the file is read",
    () => document.querySelector(".told")?.textContent.startsWith("20 rows of strain and stress_MPa"));
  await press(page, "model-neo-hooke");
  await settled(page);
  const whole = await sameAsTool(page, { "probe_ut.csv": rubber(0.4) });
  assert.ok(Math.abs(whole.parameters[0].value - 0.2) < 0.003, "half the modulus that was planted");

  // Dragged over the last third: grey, listed, fitted without, in the command line; and back again.
  await press(page, "leave-out");
  const box = await page.evaluate(() => {
    const chart = document.querySelector("#figure svg.chart");
    chart.scrollIntoView({ block: "center" });
    const { left, top, width, height } = chart.querySelector(".plot .ground").getBoundingClientRect();
    return { left, top, width, height };
  });
  const at = (x, y) => [box.left + x * box.width, box.top + y * box.height];
  await page.drag(at(0.7, 0.03), at(0.999, 0.97));
  await settled(page);
  const fewer = await sameAsTool(page, { "probe_ut.csv": rubber(0.4) });
  const out = fewer.dropped.map((one) => one.row);
  assert.ok(out.length >= 5 && out.length <= 7 && out.at(-1) === 21, `lines ${out} are left out`);
  assert.match(await text(page, ".left-out-list"), /uniaxial, lines 1\d-21/);
  const marks = (look) => page.evaluate(
    (which) => (document.querySelector(`#figure .marks.${which}`).getAttribute("d") ?? "").split("M").length - 1,
    look);
  assert.equal(await marks("left-out"), out.length, "they stay in sight");
  await press(page, "undo");
  await settled(page);
  assert.equal((await documentNow(page)).dropped.length, 0, "undo takes them back");

  // The same by keys alone.
  const key = async (name) => {
    for (const kind of ["keyDown", "keyUp"])
      await page.call("Input.dispatchKeyEvent", {
        type: kind,
        key: name,
        code: name === " " ? "Space" : name,
        text: kind === "keyDown" && name === " " ? " " : undefined
      });
    await page.frame();
  };
  await page.evaluate(() => document.querySelector("#figure svg.chart").focus());
  for (const name of ["ArrowRight", "ArrowRight", " "]) await key(name);
  await settled(page);
  assert.match(await text(page, "#status"), /neo-hooke: converged/, "the result is told to those who do not see it");
  assert.deepEqual((await documentNow(page)).dropped.map((one) => one.row), [3], "the second point is left out");

  // Held, kept to compare, saved with everything, opened again elsewhere.
  await press(page, "keep");
  await type(page, "value-C10", "0.19");
  await press(page, "hold-C10");
  await settled(page);
  const held = await documentNow(page);
  assert.deepEqual([held.parameters[0].value, held.parameters[0].held], [0.19, true]);
  assert.ok(await page.evaluate(() => document.querySelectorAll("#figure .line.kept[d^=M]").length > 0),
    "the fit before is drawn, too");
  await forget(page);
  await drop(page, [["fit.json", JSON.stringify(held)]]);
  await settled(page);
  const again = await documentNow(page);
  assert.deepEqual([again.parameters, again.dropped], [held.parameters, held.dropped]);
  assert.ok((await text(page, "#kept")).includes("neo-hooke"));

  // A document of the command line has no files: its curves come back from it.
  const { workbench, ...plain } = held;
  await forget(page);
  await drop(page, [["fit.json", JSON.stringify(plain)]]);
  await settled(page);
  const rebuilt = await documentNow(page);
  assert.deepEqual([rebuilt.parameters, rebuilt.measures.points], [held.parameters, held.measures.points]);
  for (const [name, file, start] of [["save-curves", "fit_curves.csv", "# command: hyper fit"],
         ["save-report", "fit.html", "<!DOCTYPE html>"], ["save-svg", "fit.svg", "<svg"],
         ["save-png", "fit.png", "\ufffdPNG"]]) {
    assert.ok((await saved(page, name, file)).startsWith(start), file);
  }
  await press(page, "card-calculix");
  await until(page, "the card", () => document.querySelector("dialog pre")?.textContent.includes("*HYPERELASTIC"));
  await press(page, "close-sheet");
}

async function checkBadFilesAndHostileNames(page) {
  await forget(page);
  await drop(page, [["letter.csv", "Dear all,\nthis is no table.\n"], ["book.xlsx", [80, 75, 3, 4, 0, 255, 254]]]);
  await until(page, "both are refused",
    () => [...document.querySelectorAll(".told")].filter((one) => one.classList.contains("error")).length === 2);
  await press(page, "model-neo-hooke");
  await settled(page);
  assert.match(await text(page, "#error"), /letter\.csv|book\.xlsx/);
  for (const name of ["letter.csv", "book.xlsx"]) await press(page, `remove-${name}`);

  // As German instruments write it, pasted, and under a name that tries everything.
  await drop(
    page, [[HOSTILE, rubber(0.5).replaceAll(",", ";").replaceAll(".", ",").replace("stress_MPa", "stress_MPa")]]);
  await settled(page);
  assert.match(await text(page, ".told"), /decimal comma/);
  const name = await text(page, ".file strong");
  assert.equal(name, HOSTILE.replace("/", "_"));
  await sameAsTool(page, { [name]: rubber(0.5).replaceAll(",", ";").replaceAll(".", ",") });
  await press(page, "paste");
  await page.evaluate(
    (what) => (document.querySelector("[data-name=paste-area]").value = what), rubber(0.45).replaceAll(",", "\t"));
  await press(page, "paste-add");
  await settled(page);
  assert.equal((await documentNow(page)).curves.length, 2, "two replicates are fitted together");
  assert.equal(await page.evaluate(() => document.querySelectorAll("img, a[onerror]").length), 0);

  // A refusal stands where it can be mended.
  await type(page, "option--level", "2");
  await settled(page);
  assert.match(await text(page, '[data-option="--level"] .said'), /level/);
  await type(page, "option--level", "0.9");
  await settled(page);
  assert.equal(await text(page, "#error"), "");
  assert.match(await text(page, "#result-parameters"), /90 % from/);
}

async function checkCancel(page) {
  await forget(page);
  await drop(page, [["long_ut.csv", rubber(0.4, 400)]]);
  await until(page, "the file is read", () => document.querySelector(".told")?.textContent.startsWith("400 rows"));
  await press(page, "live");
  await press(page, "model-ogden");
  await type(page, "terms-ogden", "1..6");
  await type(page, "option--bootstrap", "5000");
  await press(page, "fit");
  await wait(300);
  assert.ok(await page.evaluate(busy), "a long fit runs");
  const before = Date.now();
  await page.frame();
  assert.ok(Date.now() - before < 500, "the page answers while it does");
  await press(page, "cancel");
  await until(page, "it is cancelled", () => /^Cancelled/.test(document.getElementById("error").textContent));
  await type(page, "terms-ogden", "1");
  await type(page, "option--bootstrap", "");
  await press(page, "live");
  await settled(page);
  assert.equal((await documentNow(page)).model, "ogden", "and the next one runs");
}

async function checkManySpecimens(page) {
  await forget(page);
  await press(page, "model-neo-hooke");
  const files = Array.from({ length: 50 },
    (_, i) => [`S${i + 1}.csv`, i === 24 ? "strain,stress_MPa\n0.1,broken\n" : rubber(0.4 + 0.002 * i)]);
  await drop(page, files);
  await until(page, "they are offered", () => document.querySelector('[data-name="many-run"]'));
  await press(page, "many-run");
  await until(page, "all are fitted", () => document.querySelector(".many .done"));
  assert.match(await text(page, ".many .done"), /49 fitted, 0 doubtful, 1 not fitted/);
  assert.match(await text(page, ".failures"), /S25 .*broken/);
  const summary =
    (await saved(page, "save-summary", "summary.csv")).trim().split("\n").map((line) => line.split(","));
  const column = summary[0].indexOf("C10");
  const row = (name) => Number(summary.find((cells) => cells[0] === name)[column]);
  assert.ok(Math.abs(row("S50") - row("S1") - 0.049) < 0.002, "each specimen has its own modulus");
  assert.ok(Math.abs(row("mean") - 0.2245) < 0.002, "and the mean is theirs");
  assert.ok(await page.evaluate(() => document.querySelector("dialog iframe").sandbox.value === "allow-scripts"));
  await press(page, "close-sheet");
}

/** Everything can be read and reached: contrast, names of controls, width. */
async function checkAccess(page) {
  await press(page, "tour-cyclic");
  await until(page, "the tour's fit", () => document.querySelector("#figure svg.chart"));
  await press(page, "tour-end");
  await settled(page);
  const faults = await page.evaluate(() => {
    const found = [];
    for (const one of document.querySelectorAll("details")) one.open = true;
    const numbers = (colour) => colour.match(/[\d.]+/g).map(Number);
    const light = ([r, g, b]) => [r, g, b]
                                   .map((c) => c / 255)
                                   .map((c) => (c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4))
                                   .reduce((sum, c, i) => sum + c * [0.2126, 0.7152, 0.0722][i], 0);
    const ground = (one) => {
      for (let up = one; up; up = up.parentElement) {
        const [r, g, b, a = 1] = numbers(getComputedStyle(up).backgroundColor);
        if (a === 1) return [r, g, b];
      }
      return [255, 255, 255];
    };
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (walker.nextNode()) {
      const one = walker.currentNode.parentElement;
      if (!walker.currentNode.data.trim() ||
        one.closest("svg, script, style, .unseen, .skip, [disabled], [hidden], .correlation") ||
        one.getClientRects().length === 0)
        continue;
      const [a, b] = [light(numbers(getComputedStyle(one).color)), light(ground(one))].sort((p, q) => q - p);
      if ((a + 0.05) / (b + 0.05) < 4.5)
        found.push(`contrast ${((a + 0.05) / (b + 0.05)).toFixed(1)}: ${walker.currentNode.data.slice(0, 40)}`);
    }
    for (const one of document.querySelectorAll("input:not([hidden]), select, button, textarea")) {
      const name = one.getAttribute("aria-label") || one.labels?.[0]?.textContent || one.textContent;
      if (!name?.trim()) found.push(`no name: ${one.outerHTML.slice(0, 90)}`);
    }
    const ids = [...document.querySelectorAll("[id]")].map((one) => one.id);
    for (const id of ids)
      if (ids.indexOf(id) !== ids.lastIndexOf(id)) found.push(`id twice: ${id}`);
    const wide = document.documentElement.scrollWidth - window.innerWidth;
    if (wide > 0) found.push(`${wide} pixels wider than the window`);
    return found;
  });
  assert.deepEqual(faults, []);
}

/** A page left and opened again has the work, until it is forgotten. */
async function checkMemory(browser) {
  const first = await browser.open(address, DESK);
  await ready(first);
  await forget(first);
  await press(first, "tour-retention");
  await until(first, "the tour's fit", () => document.querySelector("#figure svg.chart"));
  await settled(first);
  const before = await text(first, "#result-parameters");
  await wait(600);
  const second = await browser.open(address, DESK);
  await ready(second);
  await until(second, "the work is back", () => document.querySelector("#result-parameters"));
  assert.equal(await text(second, "#result-parameters"), before);
  await forget(second);
  const third = await browser.open(address, DESK);
  await ready(third);
  assert.equal(await third.evaluate(() => document.querySelectorAll(".file").length + localStorage.length), 0);
  return [first, second, third];
}

async function ready(page) {
  await page.call("Page.setDownloadBehavior", { behavior: "allow", downloadPath: folder });
  await until(page, "the page is ready", () => document.body.dataset.ready === "yes");
}

const browser = new Browser(chromium);
try {
  const checkClean = (page) => {
    assert.deepEqual(page.complaints, []);
    const asked = page.requests.filter((url) => !/^(data|blob|about):/.test(url));
    if (address.startsWith("file:")) assert.deepEqual(asked, [address], "only the page itself is read");
  };
  for (const [name, window, ...checks] of [["families", DESK, checkFamilies],
         ["files and points", DESK, checkFilesAndPoints],
         ["bad files and hostile names", DESK, checkBadFilesAndHostileNames],
         ["cancel", DESK, checkCancel],
         ["many specimens", DESK, checkManySpecimens],
         ["access on a phone", PHONE, forget, checkAccess],
         ["access by night", { ...DESK, dark: true }, forget, checkAccess],
  ]) {
    if (only && !name.includes(only)) continue;
    const page = await browser.open(address, window);
    await ready(page);
    for (const check of checks) await check(page);
    checkClean(page);
    console.log(`page: ${name} passed`);
  }
  for (const page of await checkMemory(browser)) checkClean(page);
  console.log("page: memory passed");
} finally {
  await browser.close();
  rmSync(folder, { recursive: true, force: true });
}
