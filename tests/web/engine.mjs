// The tool inside the page against the tool of this system: the same commands on the bundled curves and on bad files, and
// what the page promises besides. The page is opened as its users do, from a file, without a network.
// Usage: node engine.mjs PAGE XEMFIT CHROMIUM
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readdirSync, readFileSync, rmSync, statSync, symlinkSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, dirname, join, resolve } from "node:path";
import { fileURLToPath, pathToFileURL } from "node:url";
import { Browser } from "../browser/browser.mjs";

const [pagePath, tool, chromium] = process.argv.slice(2);
const xemfit = resolve(tool);
const data = join(dirname(fileURLToPath(import.meta.url)), "../../data");
const folder = mkdtempSync(join(tmpdir(), "xemfit-web-"));
for (const name of readdirSync(data)) symlinkSync(resolve(data, name), join(folder, `data:${basename(name, ".csv")}`));

const LARGEST_PAGE = 3e6;
const READY_WITHIN = 2000;
const AGREEMENT = 1e-6;  // of a standard error, or of the value where that is larger
const RUNS = 100;

const words = (line) => line.split(" ");
const FITS = [
  "hyper fit --model ogden:2 --uniaxial data:treloar1944_uniaxial --equibiaxial data:treloar1944_equibiaxial --pure-shear data:treloar1944_pure_shear",
  "hyper fit --model polynomial:2 --uniaxial data:silicone_uniaxial --volumetric data:silicone_volumetric",
  "volume fit --terms 2 data:silicone_volumetric",
  "prony fit --terms 3 data:polymer_relaxation",
  "prony shift data:dma_pvb_raw --reference-temperature 60",
  "creep fit --type both data:metal_creep_500MPa",
  "cyclic fit --family hyperbolic --stiffness data:seed_idriss1970_sand_stiffness --damping data:seed_idriss1970_sand_damping",
  "forming curve --tensile data:sgcc_flow_curve@angle_deg=0 --law swift --yield hill1979:2.2",
  "retention fit --model van-genuchten data:unsoda_retention --select soil=4670",
].map(words);

const FILES = {
  "empty.csv": "",
  "words.csv": "strain,stress_MPa\na,b\n",
  "two.csv": "strain,stress_MPa\n0.1,0.2\n0.2,0.35\n",
  "späne & <b>.csv": "strain,stress_MPa\n0.1,x\n",
};
const BAD = [
  "hyper fit --model ogden:2",
  "hyper fit --model ogdne:2 --uniaxial two.csv",
  "hyper fit --model ogden:2 --uniaxial missing.csv",
  "hyper fit --model ogden:2 --uniaxial empty.csv",
  "hyper fit --model ogden:2 --uniaxial words.csv",
  "hyper fit --model polynomial:3 --uniaxial two.csv",
  "hyper fit --model polynomial:1 --uniaxial two.csv --residual no",
  "creep fit --type both data:metal_creep_500MPa --engine export",
  "frobnicate",
  "",
].map((line) => line === "" ? [] : words(line)).concat([["volume", "fit", "späne & <b>.csv"]]);
for (const [name, text] of Object.entries(FILES)) writeFileSync(join(folder, name), text);

function native(args) {
  const begun = performance.now();
  const run = spawnSync(xemfit, args, { cwd: folder, encoding: "utf8", env: { ...process.env, OPENBLAS_NUM_THREADS: "1" } });
  return { code: run.status, out: run.stdout, err: run.stderr, milliseconds: performance.now() - begun };
}

const inPage = (page, args, files = {}, want = []) => page.evaluate(async (call) => {
  const begun = performance.now();
  const answer = await window.xemfit.run(call);
  return { ...answer, milliseconds: performance.now() - begun };
}, { args, files, want });

function assertAgree(own, other, what) {
  assert.deepEqual(own.parameters.map((one) => one.name), other.parameters.map((one) => one.name), what);
  own.parameters.forEach((one, i) => {
    const reference = other.parameters[i];
    const unit = Math.max(Math.abs(reference.value), reference.standard_error ?? 0);
    const difference = Math.abs(one.value - reference.value);
    assert.ok(difference <= AGREEMENT * unit, `${what}: ${one.name} ${one.value}, here ${reference.value}`);
  });
  assert.deepEqual(own.inputs, other.inputs, what);
  assert.deepEqual(own.curves.map((one) => one.measures?.points), other.curves.map((one) => one.measures?.points), what);
}

async function checkFits(page) {
  for (const fit of FITS) {
    const here = native([...fit, "--json", "out.json"]);
    assert.equal(here.code, 0, here.err);
    const there = await inPage(page, [...fit, "--json", "out.json"], {}, ["out.json", "none.json"]);
    assert.equal(there.code, 0, there.err);
    assert.deepEqual(Object.keys(there.files), ["out.json"]);
    const label = `${fit[0]} ${fit[1]}`;
    assertAgree(JSON.parse(there.files["out.json"]), JSON.parse(readFileSync(join(folder, "out.json"), "utf8")), label);
    console.log(`web: ${label}: ${there.milliseconds.toFixed(0)} ms, as a process ${here.milliseconds.toFixed(0)} ms`);
  }
}

/** Specimens one after the other: the same table but for what a fit cost. */
async function checkBatch(page) {
  const curve = readFileSync(join(data, "polymer_relaxation.csv"), "utf8");
  const files = {
    "recipe.txt": "prony fit --terms 3 {specimen}.csv\n", "tests/A1.csv": curve, "tests/A2.csv": curve.replace(/1\n/, "2\n"),
    "tests/A10.csv": FILES["words.csv"],
  };
  mkdirSync(join(folder, "tests"));
  for (const [name, text] of Object.entries(files)) writeFileSync(join(folder, name), text);
  const args = words("batch recipe.txt tests --summary summary.csv --report batch.html -q");
  const here = native(args);
  const there = await inPage(page, args, files, ["summary.csv", "batch.html"]);
  assert.deepEqual({ code: there.code, err: there.err }, { code: here.code, err: here.err });
  const table = (text) => text.trim().split("\n").map((line) => line.split(","));
  const [own, other] = [there.files["summary.csv"], readFileSync(join(folder, "summary.csv"), "utf8")].map(table);
  assert.deepEqual(own.map((row) => row.slice(0, 5)), other.map((row) => row.slice(0, 5)));
  assert.ok(there.files["batch.html"].includes("A10"));
}

async function checkRefusals(page) {
  const codes = new Set();
  for (const args of BAD) {
    const here = native(args);
    const { code, out, err } = await inPage(page, args, FILES);
    assert.deepEqual({ code, out, err }, { code: here.code, out: here.out, err: here.err }, args.join(" "));
    codes.add(code);
  }
  for (const code of [2, 3, 4]) assert.ok(codes.has(code), `no refusal with ${code} among ${[...codes]}`);
  const plot = await inPage(page, [...FITS[2], "--plot", "fit.png"]);
  assert.equal(plot.code, 1);
  assert.match(plot.err, /a browser cannot run gnuplot/);
}

/** Answers in turn, bytes and standard input as they are, and nothing left for the next. */
async function checkCalls(page) {
  const answers = await page.evaluate(async () => {
    const order = [];
    const calls = ["one", "two", "three"].map((name, i) => window.xemfit.run({
      args: i === 1 ? ["data", "--to", "all", "--all"] : ["data", "treloar1944_uniaxial", "--to", "-"],
      files: { [`${name}.csv`]: name, [`${name}.bin`]: new Uint8Array([255, 0, i]), "sub/x.csv": new Blob([name]) },
      want: ["one.csv", "two.csv", "three.csv", `${name}.bin`, "sub", "all"],
    }).then((answer) => {
      order.push(i);
      for (const [file, content] of Object.entries(answer.files)) {
        if (content instanceof Uint8Array) answer.files[file] = [...content];
      }
      return answer;
    }));
    return { answers: await Promise.all(calls), order };
  });
  assert.deepEqual(answers.order, [0, 1, 2]);
  answers.answers.forEach(({ code, files }, i) => {
    const name = ["one", "two", "three"][i];
    assert.equal(code, 0);
    assert.equal(files[`${name}.csv`], name);
    assert.deepEqual(files[`${name}.bin`], [255, 0, i]);
    assert.equal(files["sub/x.csv"], name);
    const others = Object.keys(files).filter((file) => !file.startsWith("all/"));
    assert.deepEqual(others.sort(), [`${name}.bin`, `${name}.csv`, "sub/x.csv"].sort());
    assert.equal(Object.keys(files).filter((file) => file.startsWith("all/")).length, i === 1 ? readdirSync(data).length : 0);
  });
  const curve = readFileSync(join(data, "silicone_volumetric.csv"), "utf8");
  const piped = await inPage(page, words("volume fit --terms 2 - --json -"), { "-": curve });
  assert.equal(piped.code, 0, piped.err);
  assert.equal(JSON.parse(piped.out).inputs[0].file, "standard input");
}

/** A run that is cancelled ends at once, the next is answered, and several workers answer beside each other. */
async function checkCancelling(page) {
  const outcome = await page.evaluate(async (fit) => {
    const pool = xemfitEngine.start({ workers: 2 });
    await pool.ready;
    const controller = new AbortController();
    const call = { args: [...fit, "--bootstrap", "100000"] };
    const long = pool.run(call, { signal: controller.signal });
    const waiting = [1, 2, 3].map(() => pool.run({ args: ["--version"] }));
    await Promise.all(waiting);
    setTimeout(() => controller.abort(), 50);
    const begun = performance.now();
    const name = await long.then((answer) => answer.err, (error) => error.name);
    const milliseconds = performance.now() - begun;
    const after = await Promise.all([1, 2].map(() => pool.run({ args: ["--version"] })));
    const stopped = pool.run(call).catch((error) => error.name);
    await new Promise((done) => setTimeout(done, 50));
    pool.stop();
    return { name, milliseconds, after: after.map((one) => one.code), stopped: await stopped };
  }, FITS[0]);
  assert.equal(outcome.name, "AbortError");
  assert.ok(outcome.milliseconds < 1000, `${outcome.milliseconds} ms`);
  assert.deepEqual(outcome.after, [0, 0]);
  assert.equal(outcome.stopped, "AbortError");
}

/** Resident memory of all processes of the browser, in MB. */
async function memory() {
  const { processInfo } = await browser.call("SystemInfo.getProcessInfo");
  const pages = processInfo.map(({ id }) => Number(readFileSync(`/proc/${id}/statm`, "utf8").split(" ")[1]));
  return pages.reduce((sum, one) => sum + one, 0) * 4096 / 1e6;
}

async function checkMemory(page) {
  const several = (count) => page.evaluate(async (args, times) => {
    for (let i = 0; i < times; ++i) await window.xemfit.run({ args });
  }, FITS[2], count);
  await several(RUNS / 2);
  const before = await memory();
  await several(RUNS);
  const grown = await memory() - before;
  console.log(`web: memory after ${RUNS} runs: ${grown.toFixed(0)} MB more than the ${before.toFixed(0)} MB before`);
  assert.ok(grown < 150, `${grown} MB more after ${RUNS} runs`);
}

const size = statSync(pagePath).size;
assert.ok(size <= LARGEST_PAGE, `${size} bytes`);
const browser = new Browser(chromium);
try {
  const address = pathToFileURL(resolve(pagePath)).href;
  const page = await browser.open(address, { width: 1280, height: 900 });
  const milliseconds = await page.evaluate(() => window.xemfit.ready.then(() => performance.now()));
  console.log(`web: ${(size / 1e6).toFixed(2)} MB, ready ${milliseconds.toFixed(0)} ms after the page was opened`);
  assert.ok(milliseconds < READY_WITHIN);
  for (const check of [checkFits, checkBatch, checkRefusals, checkCalls, checkCancelling, checkMemory]) {
    await check(page);
    console.log(`web: ${check.name} passed`);
  }
  const refused = await page.evaluate(() => Promise.all(["https://example.com/", "http://localhost:9/"].map((url) =>
    fetch(url).then(() => "fetched", (error) => error.name))));
  assert.deepEqual(refused, ["TypeError", "TypeError"], "the content policy lets nothing out");
  const asked = page.requests.filter((url) => !/^(data|blob):/.test(url) && !/example|localhost/.test(url));
  assert.deepEqual(asked, [address], "only the page itself is read");
  assert.deepEqual(page.complaints.filter((text) => !/example|localhost/.test(text)), []);
} finally {
  await browser.close();
  rmSync(folder, { recursive: true, force: true });
}
