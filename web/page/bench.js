"use strict";

// The analyst's bench: what its rooms share. Every number that the page shows comes from a command of xemfit.

const Bench = {
  fitter: null,    // a worker of its own for fits, so that files are read while one runs; started by the first
  catalogue: null, // models, as `xemfit models --json` tells them
  commands: null,  // with their options, as `xemfit list --json` tells them
};

/** An element with listeners: node("input", {value, onchange: () => {}}, ...children); no attribute for false and null. */
function node(tag, attributes = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith("on"))
      made.addEventListener(name.slice(2), value);
    else if (name === "value" || name === "checked")
      made[name] = value;
    else if (value !== false && value !== null && value !== undefined)
      made.setAttribute(name, value === true ? "" : value);
  }
  made.append(...children.filter((child) => child !== null && child !== undefined && child !== false));
  return made;
}

/** A control with its words above it, and below it what the tool says against its value. */
function field(label, control, { hint = "", option = "" } = {}) {
  const said = hint && node("small", {}, hint);
  return node("label", { class: "field", "data-option": option || null }, node("span", {}, label), control, said);
}

/** A choice of [value, words]. */
function choice(options, value, name, act, more = {}) {
  const made = node("select", { "data-name": name, onchange: () => act(made.value), ...more },
    ...options.map(([key, words]) => node("option", { value: key }, words)));
  made.value = value;
  return made;
}

/** A text field whose value is handed on a moment after the last key, and at once when it is left. */
function typed(value, name, act, more = {}) {
  let timer = 0;
  const hand = () => {
    clearTimeout(timer);
    // A decimal comma is meant where only a number can stand.
    const said = more.inputmode === "decimal" ? made.value.replace(/^(\s*-?\d*),(\d+\s*)$/, "$1.$2") : made.value;
    if (said !== made.handed) act((made.handed = said));
  };
  const made = node("input", {
    type: "text",
    autocomplete: "off",
    spellcheck: "false",
    "data-name": name,
    value,
    oninput: () => {
      clearTimeout(timer);
      timer = setTimeout(hand, 450);
    },
    onchange: hand,
    ...more
  });
  made.handed = value;
  return made;
}

const plural = (count, one) => `${count} ${one}${count === 1 ? "" : "s"}`;

/** Says something to those who do not see it; errors interrupt. */
function announce(text, isError = false) {
  document.getElementById(isError ? "alert" : "status").textContent = text;
}

// --- running commands

/** A command of the tool: {code, out, err, files}. */
Bench.run = (args, files = {}, want = []) => window.xemfit.run({ args, files, want });

/** The same for a fit, which an AbortSignal ends. */
Bench.fit = (args, files, want, signal) => {
  Bench.fitter ??= xemfitEngine.start({ workers: 1 });
  return Bench.fitter.run({ args, files, want }, { signal });
};

/** What a command writes to `--json -`, kept for the next time when it depends on its words alone. */
Bench.ask = async (args, files = {}) => {
  const { code, out, err } = await Bench.run([...args, "--json", "-"], files);
  if (code !== 0) throw new Error(words(err));
  return JSON.parse(out);
};

/** The tool's sentence without its name in front. */
const words = (err) => err.trim().replace(/^xemfit: /gm, "");

/** A command line as a shell reads it, word by word. */
function shellWord(word) {
  if (/^[\w@%+=:,./-]+$/.test(word)) return word;
  // eslint-disable-next-line no-control-regex
  if (!/[\u0000-\u001f\u007f]/.test(word)) return `'${word.replaceAll("'", "'\\''")}'`;
  const bytes = [...new TextEncoder().encode(word)];
  const plain = (byte) => byte >= 0x20 && byte < 0x7f && byte !== 0x27 && byte !== 0x5c;
  return `$'${
    bytes.map((byte) => (plain(byte) ? String.fromCharCode(byte) : `\\${byte.toString(8).padStart(3, "0")}`))
      .join("")}'`;
}
const shellLine = (args) => ["xemfit", ...args].map(shellWord).join(" ");

/** The words of a command line, quotes taken off. */
function shellWords(line) {
  const found = [...line.matchAll(/(?:'[^']*'|"[^"]*"|[^\s'"]+)+/g)].map(
    ([word]) => (word.replace(/'([^']*)'|"([^"]*)"/g, (_, one, two) => one ?? two)));
  return found[0] === "xemfit" ? found.slice(1) : found;
}

// --- files

const isText = (contents) => typeof contents === "string";

/** As text where it is UTF-8, else as it is. */
async function contentsOf(file) {
  const bytes = new Uint8Array(await file.arrayBuffer());
  try {
    return new TextDecoder("utf-8", { fatal: true, ignoreBOM: true }).decode(bytes);
  } catch {
    return bytes;
  }
}

/** A name that no command line takes for anything else, and that no other file has. */
function fileName(name, taken) {
  let clean = name.replace(/[/\\\0]/g, "_").replace(/^[-.]+/, "") || "curve.csv";
  const [, stem, end] = /^(.*?)(\.[^.]*)?$/s.exec(clean);
  for (let i = 2; taken.includes(clean); ++i) clean = `${stem}_${i}${end ?? ""}`;
  return clean;
}

function saveFile(name, contents, type = "text/plain") {
  const url = URL.createObjectURL(new Blob([contents], { type }));
  const link = node("a", { href: url, download: name });
  document.body.append(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(url), 10000);
  announce(`${name} saved`);
}

async function copyText(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    // A page from a file may not be allowed to; the old way asks nobody.
    const area = document.body.appendChild(node("textarea", { value: text }));
    area.select();
    document.execCommand("copy");
    area.remove();
  }
  announce("copied");
}

/** A text to copy or save, such as a command. */
function textBlock(text, name, { save = "", label = "" } = {}) {
  return node("div", { class: "block" }, node("pre", { class: "shell", tabindex: 0, "aria-label": label || name }, text),
    node("div", { class: "controls" }, button("Copy", `copy-${name}`, () => copyText(text)),
      save ? button("Save", `save-${name}`, () => saveFile(save, text)) : ""));
}

/** A sheet over the page; Escape closes it. */
function sheet(title, ...children) {
  const heading = node("h2", { id: "sheet-title" }, title);
  const made = node("dialog", { "aria-labelledby": "sheet-title", onclose: () => made.remove() },
    node("header", {}, heading, button("Close", "close-sheet", () => made.close())), ...children);
  document.body.append(made);
  made.showModal();
  return made;
}
