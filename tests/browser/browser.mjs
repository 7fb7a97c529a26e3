// A browser without a window, led by what it itself understands over a pipe: the DevTools protocol. Needs chromium and
// node and nothing else.
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

const SWITCHES = [
  "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
  "--disable-component-update", "--disable-sync", "--hide-scrollbars", "--remote-debugging-pipe",
];

export class Browser {
  #process;
  #profile;
  #waiting = new Map();
  #listeners = new Map();
  #calls = 0;

  constructor(chromium) {
    this.#profile = mkdtempSync(join(tmpdir(), "xemfit-browser-"));
    this.#process = spawn(chromium, [...SWITCHES, `--user-data-dir=${this.#profile}`], {
      stdio: ["ignore", "ignore", "ignore", "pipe", "pipe"],
    });
    this.ended = new Promise((resolve) => this.#process.on("exit", resolve));
    let received = Buffer.alloc(0);
    this.#process.stdio[4].on("data", (bytes) => {
      received = Buffer.concat([received, bytes]);
      for (let end = received.indexOf(0); end >= 0; end = received.indexOf(0)) {
        this.#hear(JSON.parse(received.subarray(0, end)));
        received = received.subarray(end + 1);
      }
    });
  }

  call(method, params = {}, sessionId = undefined) {
    const id = ++this.#calls;
    this.#process.stdio[3].write(JSON.stringify({ id, method, params, sessionId }) + "\0");
    return new Promise((resolve, reject) => this.#waiting.set(id, { resolve, reject, method }));
  }

  #hear(message) {
    if (message.id) {
      const { resolve, reject, method } = this.#waiting.get(message.id);
      this.#waiting.delete(message.id);
      return message.error ? reject(new Error(`${method}: ${message.error.message}`)) : resolve(message.result);
    }
    this.#listeners.get(message.sessionId)?.(message.method, message.params);
  }

  /** Opens an address in a window of its own and waits until it is loaded and drawn. */
  async open(address, { width, height, touch = false, dark = false }) {
    const { targetId } = await this.call("Target.createTarget", { url: "about:blank" });
    const { sessionId } = await this.call("Target.attachToTarget", { targetId, flatten: true });
    const page = new Page((method, params) => this.call(method, params, sessionId));
    this.#listeners.set(sessionId, (method, params) => page.hear(method, params));
    await page.load(address, { width, height, touch, dark });
    return page;
  }

  async close() {
    this.call("Browser.close").catch(() => {});
    await this.ended;
    rmSync(this.#profile, { recursive: true, force: true, maxRetries: 5, retryDelay: 100 });
  }
}

class Page {
  complaints = [];
  requests = [];

  constructor(call) {
    this.call = call;
    this.loaded = new Promise((resolve) => (this.isLoaded = resolve));
  }

  hear(method, params) {
    if (method === "Page.loadEventFired") this.isLoaded();
    if (method === "Network.requestWillBeSent") this.requests.push(params.request.url);
    if (method === "Runtime.exceptionThrown") this.complaints.push(params.exceptionDetails.exception?.description);
    if (method === "Runtime.consoleAPICalled") this.complaints.push(params.args.map((one) => one.value).join(" "));
    if (method === "Log.entryAdded") this.complaints.push(params.entry.text);
  }

  async load(address, { width, height, touch, dark }) {
    for (const domain of ["Page", "Runtime", "Network", "Log"]) await this.call(`${domain}.enable`);
    await this.call("Performance.enable", { timeDomain: "threadTicks" });
    await this.call("Emulation.setDeviceMetricsOverride", {
      width, height, deviceScaleFactor: touch ? 2 : 1, mobile: touch,
    });
    await this.call("Emulation.setTouchEmulationEnabled", { enabled: touch });
    await this.call("Emulation.setEmulatedMedia", {
      features: [{ name: "prefers-color-scheme", value: dark ? "dark" : "light" }],
    });
    await this.call("Page.navigate", { url: address });
    await this.loaded;
    await this.frame();
  }

  /** What a function returns inside the page. */
  async evaluate(code, ...values) {
    const { result, exceptionDetails } = await this.call("Runtime.evaluate", {
      expression: `(${code})(...${JSON.stringify(values)})`, awaitPromise: true, returnByValue: true,
    });
    if (exceptionDetails) throw new Error(exceptionDetails.exception?.description ?? exceptionDetails.text);
    return result.value;
  }

  /** Seconds of computing that the page has cost so far, however busy the machine is. */
  async effort() {
    const { metrics } = await this.call("Performance.getMetrics");
    return metrics.find((metric) => metric.name === "TaskDuration").value;
  }

  frame() {
    return this.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => done()))));
  }

  async press(selector) {
    await this.evaluate((which) => document.querySelector(which).click(), selector);
    await this.frame();
  }

  mouse(type, x, y, more = {}) {
    return this.call("Input.dispatchMouseEvent", { type, x, y, ...more });
  }

  async drag([fromX, fromY], [toX, toY]) {
    const held = { button: "left", buttons: 1, clickCount: 1 };
    await this.mouse("mouseMoved", fromX, fromY);
    await this.mouse("mousePressed", fromX, fromY, held);
    await this.mouse("mouseMoved", (fromX + toX) / 2, (fromY + toY) / 2, held);
    await this.mouse("mouseMoved", toX, toY, held);
    await this.mouse("mouseReleased", toX, toY, held);
    await this.frame();
  }

  /** Fingers, each given by where it begins and where it ends. */
  async fingers(...ways) {
    const at = (share) => ways.map(([[fromX, fromY], [toX, toY]], id) => (
      { x: fromX + share * (toX - fromX), y: fromY + share * (toY - fromY), id }));
    await this.call("Input.dispatchTouchEvent", { type: "touchStart", touchPoints: at(0) });
    for (const share of [0.25, 0.5, 0.75, 1]) {
      await this.call("Input.dispatchTouchEvent", { type: "touchMove", touchPoints: at(share) });
      await this.frame();
    }
    await this.call("Input.dispatchTouchEvent", { type: "touchEnd", touchPoints: [] });
    await this.frame();
  }

  async paper() {
    const { data } = await this.call("Page.printToPDF", { paperWidth: 8.27, paperHeight: 11.69 });
    return Buffer.from(data, "base64");
  }
}
