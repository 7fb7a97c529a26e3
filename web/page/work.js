"use strict";

/**
 * What the analyst has done so far, as one plain object that undo, local storage and saved documents share. Contents of
 * files never change and stand beside it.
 *
 *   Work.now.family, Work.now.files ...
 *   Work.change((work) => { work.family = "creep"; });
 *   Work.onChange(() => {});
 */
const Work = (() => {
  const KEY = "xemfit-bench";
  const MOST_STEPS = 100;
  const listeners = [];
  let contents = new Map(); // by id of a file
  let past = [];
  let future = [];
  let storing = 0;
  let forgets = false;

  const fresh = () => ({
    family: "rubber",
    files: [], // {id, name, role, used, weight, range: [from, to], leftOut: {line: [x, y]}, curve}
    reading: { columns: {}, select: {}, decimal: "", separator: "", headerLine: "" },
    models: {},     // by family: {name: terms as typed}
    options: {},    // by command
    parameters: {}, // by family: {name: {hold, value, from, to}}
    kept: [],       // {title, work, result, figure}
    live: true,
  });
  let now = fresh();

  const tell = (what) => listeners.forEach((listener) => listener(what));
  const encoded = (bytes) => btoa(bytes.reduce((text, byte) => text + String.fromCharCode(byte), ""));
  const decoded = (text) => Uint8Array.from(atob(text), (c) => c.charCodeAt(0));

  /** All of it, as text for a document or the browser's storage. */
  function packed(work = now) {
    const files = {};
    for (const { id } of work.files) {
      const one = contents.get(id);
      files[id] = isText(one) ? one : { base64: encoded(one) };
    }
    return { work, files };
  }

  function unpack({ work, files }) {
    for (const [id, one] of Object.entries(files)) contents.set(Number(id), isText(one) ? one : decoded(one.base64));
    return { ...fresh(), ...work };
  }

  function store() {
    clearTimeout(storing);
    if (forgets) return;
    storing = setTimeout(() => {
      try {
        localStorage.setItem(KEY, JSON.stringify(packed()));
        tell("stored");
      } catch {
        tell("not stored");
      }
    }, 400);
  }

  function take(work) {
    now = work;
    store();
    tell("changed");
  }

  return {
    get now() { return now; },
    get canUndo() { return past.length > 0; },
    get canRedo() { return future.length > 0; },
    onChange(listener) { listeners.push(listener); },
    /** One step that can be undone. */
    change(act) {
      const before = structuredClone(now);
      act(now);
      past = [...past.slice(1 - MOST_STEPS), before];
      future = [];
      forgets = false;
      take(now);
    },
    /** What was found out, which is no step of its own. */
    note(act) {
      act(now);
      store();
    },
    undo() {
      if (past.length === 0) return;
      future.push(now);
      take(past.pop());
    },
    redo() {
      if (future.length === 0) return;
      past.push(now);
      take(future.pop());
    },
    contents: (file) => contents.get(file.id),
    /** The id under which contents are found from now on. */
    keep(text) {
      const id = Math.max(0, ...contents.keys()) + 1;
      contents.set(id, text);
      return id;
    },
    packed,
    unpack,
    /** Everything as a document holds it, as one step. */
    open(document) {
      const work = unpack(document);
      past = [...past.slice(1 - MOST_STEPS), now];
      future = [];
      take(work);
    },
    restore() {
      try {
        const stored = localStorage.getItem(KEY);
        if (stored) now = unpack(JSON.parse(stored));
        return Boolean(stored);
      } catch {
        return false;
      }
    },
    /** Nothing of it stays in the browser. */
    forget() {
      clearTimeout(storing);
      try {
        localStorage.removeItem(KEY);
      } catch {
        // A browser that keeps nothing has nothing to forget.
      }
      [past, future, contents] = [[], [], new Map()];
      take(fresh());
      clearTimeout(storing);
      forgets = true;
    },
  };
})();
