"use strict";

/** Opens stored results: those of this page with all of their work, those of the command line with what they tell. */
const Stored = (() => {
  /** A curve of a document as a file again, under the names that the catalogue gives its columns. */
  function rebuilt(document, { curve, columns }) {
    const one = document.curves.find((other) => other.name === curve);
    if (!one || one.measured.length === 0) return null;
    const told = Bench.catalogue.flatMap((model) => model.curves).find((other) => curve.startsWith(other.name));
    const cell = (text) => (/[",;\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text);
    const unit = document.measures.unit && told?.y_unit === "stress" && !columns[1]?.includes(document.measures.unit)
      ? `_${document.measures.unit}`
      : "";
    const isStretch = /stretch/i.test(columns[0] ?? "") && told?.x.includes("strain");
    const head = [isStretch ? "nominal_strain" : columns[0] ?? "x", `${columns[1] ?? "y"}${unit}`];
    const notes = Object.entries(one.conditions ?? {}).map(([key, value]) => `# ${key}: ${value}\n`).join("");
    return `${notes}${head.map(cell).join(",")}\n${one.x.map((x, i) => `${x},${one.measured[i]}`).join("\n")}\n`;
  }

  function fromTool(document) {
    const family = Object.keys(Families.FAMILIES).find((key) => Families.FAMILIES[key].command === document.command);
    if (!family) throw new Error(`results of ${document.command} are not opened here`);
    const { command, curves, models } = Families.FAMILIES[family];
    const files = [];
    const before = Work.now.files;
    for (const input of document.inputs) {
      const given = files.find((file) => file.name === input.file);
      if (given && given.role === "stiffness" && input.curve === "damping") given.role = "stiffness_and_damping";
      if (given) continue;
      const own = before.find((file) => file.name === input.file);
      const text = own ? null : rebuilt(document, input);
      if (!own && !text) continue;
      const base = input.curve.replace(/_\d+$/, "");
      const role = base in curves ? base : Object.keys(curves)[0];
      files.push(own ? { ...own, role, used: true, curve: input.curve, leftOut: {} }
                     : DataRoom.entry(fileName(input.file, files.map((file) => file.name)), text,
                         { role, curve: input.curve, edited: true }));
    }
    if (document.shift && files.some((file) => file.edited)) {
      throw new Error(`this document does not hold the sweeps that it was made from; drop ${
        files.map((file) => file.name).join(", ")} first, and then this again`);
    }
    const { options } = document;
    const parameters = {};
    for (const [name, value] of Object.entries(options.start)) parameters[name] = { value: String(value) };
    for (const [name, value] of Object.entries(options.hold)) parameters[name] = { value: String(value), hold: true };
    for (const [name, ends] of Object.entries(options.bounds)) {
      const [from, to] = ends.map((end) => (end === null ? "" : String(end)));
      parameters[name] = { ...parameters[name], from, to };
    }
    for (const file of files) {
      const range = options.range[file.curve] ?? options.range[""];
      if (range) file.range = range.map((end) => (end === null ? "" : String(end)));
    }
    const usual = Object.fromEntries(Families.optionsOf(command).map((option) => [option.name, option.default]));
    const set = {
      "--residual": options.residual,
      "--engine": options.engine === "best" ? "" : options.engine,
      "--band": options.band === true,
      "--level": options.level === usual["--level"] ? "" : String(options.level),
      "--bootstrap": options.bootstrap ? `${options.bootstrap},${options.seed}` : "",
      "--stable": options.stable === true
    };
    if ("--terms" in usual && document.terms) set["--terms"] = String(document.terms);
    if ("--law" in usual && !models) set["--law"] = document.model;
    if ("--reference-temperature" in usual && document.reference_temperature !== undefined)
      set["--reference-temperature"] = String(document.reference_temperature);
    const compared = document.comparison?.map((one) => one.model) ??
      [document.terms > 0 ? `${document.model}:${document.terms}` : document.model];
    const chosen = {};
    for (const [name, terms = ""] of compared.map((one) => one.split(":"))) {
      const [from] = (chosen[name] ?? terms).split("..");
      chosen[name] = from === terms ? terms : `${from}..${terms}`;
    }
    Work.change((work) => {
      Object.assign(work, { family, files });
      work.reading = { columns: {}, select: {}, decimal: "", separator: "", headerLine: "" };
      if (models) work.models[family] = chosen;
      work.options[command] = set;
      work.parameters[family] = parameters;
    });
    const isRebuilt = files.some((file) => file.edited && !before.includes(file));
    announce(
      isRebuilt ? "opened; the curves are those that the document holds" : "opened with the files that are here");
  }

  function open(name, text) {
    try {
      const document = JSON.parse(text);
      if (document.workbench)
        Work.open(document.workbench);
      else if (document.schema && document.options && document.inputs)
        fromTool(document);
      else
        throw new Error("this is no result that xemfit wrote with --json");
    } catch (error) {
      sheet(`${name} was not opened`, node("p", { class: "error" }, error.message));
    }
  }
  return { open };
})();

/** The room of what leaves the page: command, recipe, documents, cards, pictures. */
const Saving = (() => {
  let place = null;
  const DOCUMENT = "fit.json";

  /** Commands that repeat the fit in a folder, the published curves first. */
  function commandText({ args, work }) {
    const bundled =
      Families.usedFiles(work).filter((file) => file.bundled && !file.edited).map((file) => file.bundled);
    const first = bundled.length > 0 ? `${shellLine(["data", ...bundled])}\n` : "";
    return `${first}${shellLine([...args, "--json", DOCUMENT, "--report", "fit.html"])}`;
  }

  /** The same for every specimen: what names of files have in common stands for the specimen. */
  function recipe({ args, work }) {
    const names = Families.usedFiles(work).map((file) => file.name);
    const stems = names.map((name) => name.replace(/\.[^.]*$/, ""));
    let common = stems[0] ?? "";
    while (common && !stems.every((stem) => stem.startsWith(common))) common = common.slice(0, -1);
    if (stems.length > 1) common = common.replace(/[_\-. ]+$/, "");
    const quoted = (word) => (/^[^\s'"#\\]+$/.test(word) ? word : word.includes("'") ? `"${word}"` : `'${word}'`);
    const swapped = (word) => {
      const name = common && names.find((one) => word === one || word.endsWith(`=${one}`));
      return name ? word.slice(0, word.length - name.length) + name.replace(common, "{specimen}") : word;
    };
    const dropsLines = args.filter((word, i) => word !== "--leave-out" && args[i - 1] !== "--leave-out");
    return { text: `${dropsLines.map((word) => quoted(swapped(word))).join(" ")}\n`, specimen: common };
  }

  // --- pictures

  const COPIED = [
    "fill", "fill-opacity", "stroke", "stroke-width", "stroke-opacity", "stroke-dasharray", "stroke-linejoin",
    "font-family", "font-size", "text-anchor", "dominant-baseline", "paint-order", "display", "shape-rendering"
  ];

  /** A copy of an element that looks the same without its style sheets. */
  function styled(source) {
    const made = source.cloneNode(false);
    made.removeAttribute("class");
    made.removeAttribute("style");
    const look = getComputedStyle(source);
    if (source.tagName !== "svg")
      made.setAttribute(
        "style", COPIED.map((name) => `${name}:${look.getPropertyValue(name)}`).join(";").replaceAll('"', "'"));
    for (const child of source.childNodes)
      made.append(child.nodeType === Node.ELEMENT_NODE ? styled(child) : child.cloneNode());
    return made;
  }

  /** Charts and residuals one above the other, with their legends. */
  function picture(panels) {
    const NS = "http://www.w3.org/2000/svg";
    const make = (tag, attributes, text = "") => {
      const made = document.createElementNS(NS, tag);
      for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
      made.textContent = text;
      return made;
    };
    const { width } = panels[0].chart;
    const ink = getComputedStyle(document.body);
    const parts = [];
    let top = 12;
    for (const panel of panels) {
      let left = 16;
      panel.curves.forEach((curve, i) => {
        const sample = panel.element.querySelectorAll(".controls .sample")[i];
        if (!sample || !panel.shown[i]) return;
        const size = 44 + 7 * curve.name.length;
        if (left > 16 && left + size > width) [left, top] = [16, top + 20];
        const key = styled(sample);
        for (const [name, value] of Object.entries({ x: left, y: top, width: 22, height: 12 }))
          key.setAttribute(name, value);
        parts.push(key,
          make("text", { x: left + 28, y: top + 11, fill: ink.color, "font-family": "sans-serif", "font-size": 13 },
            curve.name));
        left += size;
      });
      top += 22;
      for (const chart of panel.charts) {
        const copy = styled(chart.element);
        for (const [name, value] of Object.entries({ x: 0, y: top, width: chart.width, height: chart.height }))
          copy.setAttribute(name, value);
        for (const name of ["tabindex", "role", "aria-label"]) copy.removeAttribute(name);
        parts.push(copy);
        top += chart.height + 10;
      }
    }
    const card = getComputedStyle(document.documentElement).getPropertyValue("--card").trim();
    const root = make("svg", { xmlns: NS, width, height: top, viewBox: `0 0 ${width} ${top}` });
    root.append(make("rect", { width, height: top, fill: card }), ...parts);
    return { text: new XMLSerializer().serializeToString(root), width, height: top };
  }

  async function savePng(panels) {
    const { text, width, height } = picture(panels);
    const image = new Image();
    image.src = `data:image/svg+xml;charset=utf-8,${encodeURIComponent(text)}`;
    await image.decode();
    const canvas = node("canvas", { width: 2 * width, height: 2 * height });
    const drawing = canvas.getContext("2d");
    drawing.scale(2, 2);
    drawing.drawImage(image, 0, 0);
    canvas.toBlob((blob) => saveFile("fit.png", blob, "image/png"), "image/png");
  }

  // --- cards and other commands

  async function showCard(last, target) {
    const { code, out, err } = await Bench.run(["card", DOCUMENT, "--for", target], { [DOCUMENT]: last.written.json });
    sheet(`Material card: ${target}`,
      code === 0
        ? textBlock(out, "card",
            { save: `${last.result.model}.${{ calculix: "inp", ufl: "py" }[target] ?? "txt"}`, label: "Material card" })
        : node("p", { class: "error" }, words(err)));
  }

  /** Any command of the tool, over the files that are here. */
  function console_(last) {
    const files = { ...Families.filesOf(Work.now.files), ...(last ? { [DOCUMENT]: last.written.json } : {}) };
    const usual = last?.result.stability !== undefined && last?.result.stability !== null
      ? "hyper check --parameters fit.json"
      : `eval fit.json --curve ${shellWord(last?.result.curves[0]?.name ?? "x")} --grid 1:100:10`;
    const line = node("input", {
      type: "text",
      class: "wide",
      "data-name": "command-line",
      "aria-label": "Command line",
      value: usual,
      spellcheck: "false"
    });
    const shown = node("div", { "aria-live": "polite" });
    const run = async () => {
      const args = shellWords(line.value);
      const all =
        Bench.commands.find((one) => `${args[0]} ${args[1]}` === one.command || args[0] === one.command)?.options ??
        [];
      const want =
        all.filter((option) => option.writes)
          .flatMap((option) => args.flatMap((word, i) => (option.names.includes(args[i - 1]) && word !== "-" ? [word]
                                                : option.names.some((name) => word.startsWith(`${name}=`))
                                                ? [word.slice(word.indexOf("=") + 1)]
                                                : [])));
      const answer = await Bench.run(args, files, want);
      shown.replaceChildren(node("p", {}, `Exit code ${answer.code}`),
        answer.err ? node("pre", { class: "error" }, answer.err) : "",
        answer.out ? textBlock(answer.out, "output", { save: "output.txt" }) : "",
        node("div", { class: "controls" }, ...Object.entries(answer.files).map(
          ([name, contents]) => button(`Save ${name}`, `save-out-${name}`, () => saveFile(name, contents)))));
    };
    line.addEventListener("keydown", (event) => event.key === "Enter" && run());
    sheet("Any command", node("p", {}, `Files here: ${Object.keys(files).join(", ") || "none"}.`),
      node("div", { class: "controls" }, line, button("Run", "run-command", run)), shown,
      node("details", {}, node("summary", {}, "Commands"),
        node("ul", {},
          ...Bench.commands.map((one) => node("li", {}, node("code", {}, one.command), ` ${one.about}`)))));
  }

  function showReport(page) {
    // Scripts of the page run, but cannot reach this one.
    const frame = node("iframe", { sandbox: "allow-scripts", title: "Report page", srcdoc: page, class: "report" });
    sheet("Report page", frame).classList.add("large");
  }

  function document_(last) {
    return `${JSON.stringify({ ...JSON.parse(last.written.json), workbench: Work.packed() }, null, 2)}\n`;
  }

  function render(last) {
    const open = button("Open a stored result", "open-json", () => picker.click());
    const picker = node("input", {
      type: "file",
      accept: ".json",
      hidden: true,
      id: "json-picker",
      onchange: () => DataRoom.takeFiles(picker.files)
    });
    const heading = node("h2", {}, "Save and repeat");
    if (!last)
      return refill(place, heading,
        node("div", { class: "controls" }, picker, open, button("Any command", "console", () => console_(null))));
    const { panels, written } = last;
    const made = recipe(last);
    const edited = Families.usedFiles(last.work).filter((file) => !file.bundled || file.edited);
    const targets = Families.optionsOf("card").find((option) => option.name === "--for").words;
    return refill(place, heading,
      node("div", { class: "controls" },
        button("JSON", "save-json", () => saveFile("fit.json", document_(last), "application/json")),
        button("Curves (CSV)", "save-curves", () => saveFile("fit_curves.csv", written.curves, "text/csv")),
        button("Report page", "save-report", () => saveFile("fit.html", written.report, "text/html")),
        button("Picture (SVG)", "save-svg", () => saveFile("fit.svg", picture(panels).text, "image/svg+xml")),
        button("Picture (PNG)", "save-png", () => savePng(panels))),
      node("div", { class: "controls" },
        ...targets.map((target) => button(`Card: ${target}`, `card-${target}`, () => showCard(last, target))),
        button("Show the report", "show-report", () => showReport(written.report)),
        button("Any command", "console", () => console_(last)), picker, open),
      node("h3", {}, "Command line"),
      edited.length > 0 ? node("p", {},
                            node("small", {},
                              `In the folder of ${edited.map((file) => file.name).join(", ")}${
                                edited.some((file) => file.edited) ? "; save those that were made here" : ""}.`))
                        : "",
      textBlock(commandText(last), "command", { label: "Command line" }),
      node("details", { "data-keep": "recipe" }, node("summary", {}, "The same for many specimens: xemfit batch"),
        node("p", {}, "recipe.txt, without what was left out by hand:"),
        textBlock(made.text, "recipe", { save: "recipe.txt", label: "Recipe" }),
        textBlock(
          shellLine(["batch", "recipe.txt", "tests", "--summary", "summary.csv", "--report", "overview.html"]),
          "batch", { label: "Batch command" })));
  }

  return {
    start(section) {
      place = section;
      render(null);
    },
    render,
    recipe,
    picture,
  };
})();
