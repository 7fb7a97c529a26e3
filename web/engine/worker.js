// One run of the tool after the other, each in an instance of its own of the compiled program, with files of its own in
// memory: nothing is left of a run but its answer. createXemfit is what emscripten writes around the program.
"use strict";

const WORKING_FOLDER = "/work";
const DATA_FOLDER = "/share/xemfit/data";
const STREAMS = ["/streams/in", "/streams/out", "/streams/err"];

// What the shell of a system says of a program that has ended by itself.
const ABORTED = 134;

let program;

const bytesOf = (contents) => typeof contents === "string" ? new TextEncoder().encode(contents)
  : contents instanceof Uint8Array ? contents : new Uint8Array(contents);

/** Text where the bytes are UTF-8, else the bytes. */
function textOrBytes(bytes) {
  try {
    return new TextDecoder("utf-8", { fatal: true, ignoreBOM: true }).decode(bytes);
  } catch {
    return bytes;
  }
}

function write(fs, path, contents) {
  fs.mkdirTree(path.slice(0, path.lastIndexOf("/")) || "/");
  fs.writeFile(path, bytesOf(contents));
}

const inFolder = (name) => name.startsWith("/") ? name : `${WORKING_FOLDER}/${name}`;

/** Files in place of a terminal: the tool reads and writes as many bytes at once as it likes. */
function redirectStreams(fs, input) {
  STREAMS.forEach((path, number) => {
    write(fs, path, number === 0 ? input : "");
    fs.close(fs.getStream(number));
    fs.open(path, number === 0 ? "r" : "a");
  });
}

/** A file by its name, or all files below a folder. */
function collect(fs, name, found) {
  const { exists, object } = fs.analyzePath(inFolder(name));
  if (!exists) return;
  if (!fs.isDir(object.mode)) {
    found[name] = textOrBytes(fs.readFile(inFolder(name)));
    return;
  }
  const folder = name.replace(/\/+$/, "");
  for (const entry of fs.readdir(inFolder(name))) {
    if (entry !== "." && entry !== "..") collect(fs, `${folder}/${entry}`, found);
  }
}

async function run({ args, files = {}, want = [] }) {
  const tool = await createXemfit({
    thisProgram: "xemfit",
    instantiateWasm(imports, receive) {
      WebAssembly.instantiate(program.module, imports).then((instance) => receive(instance, program.module));
      return {};
    },
  });
  const fs = tool.FS;
  fs.ignorePermissions = true;  // one user, whose mask emscripten sets so that nobody may read what it writes
  fs.mkdirTree(WORKING_FOLDER);
  for (const [name, contents] of Object.entries(program.curves)) write(fs, `${DATA_FOLDER}/${name}.csv`, contents);
  for (const [name, contents] of Object.entries(files)) {
    if (name !== "-") write(fs, inFolder(name), contents);
  }
  redirectStreams(fs, files["-"] ?? "");
  fs.chdir(WORKING_FOLDER);

  const answer = { code: ABORTED, out: "", err: "", files: {} };
  let last = "";
  try {
    answer.code = tool.callMain(args);
  } catch (error) {
    last = `xemfit: ended before it had an answer: ${error?.message ?? error}\n`;
  }
  const said = (number) => new TextDecoder().decode(fs.readFile(STREAMS[number]));
  answer.out = said(1);
  answer.err = said(2) + last;
  for (const name of want) collect(fs, name, answer.files);
  return answer;
}

onmessage = async ({ data }) => {
  if (data.program) {
    program = data.program;
    postMessage({ ready: true });
    return;
  }
  try {
    postMessage({ answer: await run(data.call) });
  } catch (error) {
    postMessage({ failure: `${error?.message ?? error}` });
  }
};
