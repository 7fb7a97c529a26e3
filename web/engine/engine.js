// The tool in this page: commands are answered by workers, which get the program and the bundled curves from elements of
// the page. Nothing is asked of any network.
"use strict";

const xemfitEngine = (() => {
  const textOf = (id) => document.getElementById(id).textContent;

  /** What the build has compressed and written as text. */
  async function unpacked(id) {
    const letters = atob(textOf(id).trim());
    const packed = new Uint8Array(letters.length);
    for (let i = 0; i < letters.length; ++i) packed[i] = letters.charCodeAt(i);
    const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate"));
    return new Response(stream).arrayBuffer();
  }

  /** A function whose value is computed once, when it is first asked for. */
  const once = (compute) => {
    let value;
    return () => (value ??= compute());
  };

  const program = once(async () => {
    const [module, curves] = await Promise.all([
      unpacked("xemfit-program").then((bytes) => WebAssembly.compile(bytes)),
      unpacked("xemfit-curves").then((bytes) => JSON.parse(new TextDecoder().decode(bytes))),
    ]);
    return { module, curves };
  });
  const workerAddress = once(() =>
    URL.createObjectURL(new Blob([textOf("xemfit-worker")], { type: "text/javascript" })));

  async function startedWorker() {
    const given = await program();
    const worker = new Worker(workerAddress());
    await new Promise((resolve, reject) => {
      worker.onmessage = resolve;
      worker.onerror = (event) => reject(new Error(event.message || "the browser has started no worker"));
      worker.postMessage({ program: given });
    });
    return worker;
  }

  /** One answer of a worker to one call. */
  const answerOf = (worker, call) => new Promise((resolve, reject) => {
    worker.onmessage = ({ data }) => data.answer ? resolve(data.answer) : reject(new Error(data.failure));
    worker.onerror = (event) => reject(new Error(event.message));
    worker.postMessage({ call });
  });

  const whenStopped = () => new DOMException("The tool was stopped", "AbortError");
  const aborted = (signal) => signal.reason ?? new DOMException("The run was cancelled", "AbortError");

  /** Words and files as they can be handed to a worker. */
  async function checked({ args, files = {}, want = [] }) {
    if (!Array.isArray(args)) throw new TypeError("args must be an array of words, as they are typed behind xemfit");
    const contents = await Promise.all(Object.values(files).map((one) => one instanceof Blob ? one.arrayBuffer() : one));
    const names = Object.keys(files);
    return {
      args: args.map(String), want: [...want].map(String),
      files: Object.fromEntries(names.map((name, i) => [name, contents[i]])),
    };
  }

  /**
   * As many workers as are given, each started when it is needed. Calls are taken up in the order in which they were made.
   *   ready            kept when the first of them can compute
   *   run(call, {signal})
   *     call           {args: words behind xemfit, files: name -> text, bytes or Blob ("-": standard input),
   *                     want: names of files, or of folders, to bring back}
   *     signal         of an AbortController: ends the run, and its worker with it
   *     promises       {code, out, err, files: name -> text, or bytes where they are not UTF-8}
   *   stop()           ends all of it
   */
  function start({ workers = 1 } = {}) {
    const idle = [];
    const waiting = [];
    const running = new Map();  // job -> its worker
    let count = 1;
    let stopped = false;

    const ready = startedWorker().then(release, (error) => {
      --count;
      throw error;
    });

    function release(worker) {
      if (stopped) return worker.terminate();
      idle.push(worker);
      next();
    }

    function next() {
      while (waiting.length > 0 && (idle.length > 0 || count < workers)) take(waiting.shift());
    }

    async function take(job) {
      let worker = idle.pop();
      if (!worker) ++count;
      try {
        worker ??= await startedWorker();
      } catch (error) {
        --count;
        job.reject(error);
        return;
      }
      if (stopped) job.reject(whenStopped());
      if (stopped || job.settled) {
        release(worker);
        return;
      }
      running.set(job, worker);
      try {
        job.resolve(await answerOf(worker, job.call));
        running.delete(job);
        release(worker);
      } catch (error) {
        cancel(job, error);
      }
    }

    /** Whatever has become of it; a worker that was at it is not used again. */
    function cancel(job, reason) {
      const at = waiting.indexOf(job);
      if (at >= 0) waiting.splice(at, 1);
      if (running.has(job)) {
        running.get(job).terminate();
        running.delete(job);
        --count;
      }
      job.reject(reason);
      next();
    }

    async function run(call, { signal } = {}) {
      if (signal?.aborted) throw aborted(signal);
      const job = { call: await checked(call) };
      if (signal?.aborted) throw aborted(signal);
      if (stopped) throw whenStopped();
      const onAbort = () => cancel(job, aborted(signal));
      const answer = new Promise((resolve, reject) => {
        job.resolve = resolve;
        job.reject = reject;
      }).finally(() => {
        job.settled = true;
        signal?.removeEventListener("abort", onAbort);
      });
      signal?.addEventListener("abort", onAbort);
      waiting.push(job);
      next();
      return answer;
    }

    function stop() {
      stopped = true;
      for (const job of [...waiting, ...running.keys()]) cancel(job, whenStopped());
      for (const worker of idle.splice(0)) worker.terminate();
    }

    return { ready, run, stop };
  }

  return { start };
})();

window.xemfit = (() => {
  const { ready, run } = xemfitEngine.start();
  // Browsers compile a function well only once it has run for a while, for all workers of a page: a fit that nobody waits
  // for makes the first that somebody waits for twice as quick.
  ready.then(async () => {
    const spare = xemfitEngine.start();
    await spare.run({ args: ["hyper", "fit", "--model", "ogden:1", "--uniaxial", "data:treloar1944_uniaxial"] });
    spare.stop();
  }).catch(() => {});  // whoever waits for `ready` learns of it
  return { ready, run };
})();
