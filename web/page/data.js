"use strict";

/** The room of the data: what was given, how the tool read it, and what it is. */
const DataRoom = (() => {
  const MANY = 7;        // files at once that are taken for specimens
  let looks = new Map(); // by what was asked: {file, error}
  let place = null;

  // --- how the tool reads a file

  /** What the tool understands of a file, as a curve or of itself. */
  async function look(file, curve = null, reading = Work.now.reading) {
    const args = ["look", file.name, ...(curve ? ["--as", curve] : []), ...Families.readingArgs(reading)];
    const key = JSON.stringify([file.id, args]);
    if (!looks.has(key)) {
      if (looks.size > 200) looks = new Map();
      looks.set(key,
        Bench.ask(args, { [file.name]: Work.contents(file) })
          .then((answer) => ({ read: answer.files[0] }), (error) => ({ error: error.message })));
    }
    return looks.get(key);
  }

  // --- taking files

  const entry = (name, contents, more = {}) => ({
    id: Work.keep(contents),
    name,
    role: null,
    used: true,
    weight: "",
    range: ["", ""],
    leftOut: {},
    curve: null,
    ...more
  });

  /** Files by name and contents; results are opened, many files are specimens. */
  async function take(given, { together = false } = {}) {
    const documents = given.filter(([name, text]) => /\.json$/i.test(name) && isText(text));
    for (const [name, text] of documents) Stored.open(name, text);
    const tables = given.filter((one) => !documents.includes(one));
    if (tables.length >= MANY && !together) return Many.offer(tables);
    const taken = Work.now.files.map((file) => file.name);
    const added = [];
    for (const [name, contents, more] of tables) {
      const one = entry(fileName(name, taken), contents, more);
      taken.push(one.name);
      added.push(one);
    }
    let family = Work.now.family;
    for (const one of added) {
      const { read } = await look(one, null, { columns: {}, select: {}, decimal: "", separator: "", headerLine: "" });
      if (!read) continue;
      if (Families.usedFiles(Work.now).length === 0 && one === added[0]) {
        family = Families.proposedFamily(one.name, read.may_be, family);
      }
      one.role = Families.proposedRole(one.name, read.may_be, family);
    }
    for (const one of added) one.role ??= Object.keys(Families.FAMILIES[family].curves)[0];
    if (added.length > 0) {
      Work.change((work) => {
        work.family = family;
        work.files.push(...added);
      });
    }
    if (added.length > 0)
      announce(`${plural(added.length, "file")} added: ${added.map((one) => one.name).join(", ")}`);
  }

  /** Another family: files that it cannot take as what they were are taken as what it knows. */
  async function chooseFamily(family) {
    const { curves } = Families.FAMILIES[family];
    const roles = new Map();
    for (const file of Work.now.files.filter((one) => one.used && !(one.role in curves))) {
      const { read } = await look(file);
      roles.set(file.id, Families.proposedRole(file.name, read?.may_be ?? [], family));
    }
    Work.change((work) => {
      work.family = family;
      for (const file of work.files)
        if (roles.get(file.id)) Object.assign(file, { role: roles.get(file.id), leftOut: {}, curve: null });
    });
  }

  async function takeFiles(files) {
    take(await Promise.all([...files].map(async (file) => [file.name, await contentsOf(file)])));
  }

  async function takeBundled(names, options = {}) {
    const given = await Promise.all(names.map(
      async (name) =>
        ([`${name}.csv`, (await Bench.run(["data", name, "--to", "-"])).out, { bundled: name, ...options }])));
    return take(given);
  }

  function listen() {
    const drops = (event) => [...(event.dataTransfer?.types ?? [])].includes("Files");
    addEventListener("dragover", (event) => {
      if (!drops(event)) return;
      event.preventDefault();
      document.body.classList.add("dropping");
    });
    addEventListener("dragleave", (event) => event.relatedTarget || document.body.classList.remove("dropping"));
    addEventListener("drop", (event) => {
      document.body.classList.remove("dropping");
      if (!drops(event)) return;
      event.preventDefault();
      takeFiles(event.dataTransfer.files);
    });
    addEventListener("paste", (event) => {
      if (/^(input|textarea)$/i.test(event.target.tagName ?? "")) return;
      const text = event.clipboardData.getData("text/plain");
      if (event.clipboardData.files.length > 0)
        takeFiles(event.clipboardData.files);
      else if (text.trim())
        take([["pasted.csv", text]]);
    });
  }

  // --- what one sees

  const change = (file, act) => Work.change((work) => act(work.files.find((one) => one.id === file.id)));

  /** The text of a file, to be mended by hand. */
  function editText(file) {
    const contents = Work.contents(file);
    const area = node("textarea", {
      class: "text",
      spellcheck: "false",
      "aria-label": `Text of ${file.name}`,
      value: isText(contents) ? contents : "",
      rows: 22
    });
    const made = sheet(file.name,
      isText(contents) ? "" : node("p", {}, "This file is no text in UTF-8. What is written here takes its place."),
      node("p", {},
        "Names and units of columns stand in the row above the numbers: stress_MPa, Force (kN). Lines that " +
          "begin with # are notes, such as # stress_MPa: 500. What is changed here has to be saved for the " +
          "command line."),
      area, node("div", { class: "controls" }, button("Use this text", "use-text", () => {
        change(
          file, (one) => Object.assign(one, { id: Work.keep(area.value), edited: true, leftOut: {}, curve: null }));
        made.close();
      }), button("Save as a file", "save-text", () => saveFile(file.name, area.value))));
  }

  function paste() {
    const area = node("textarea", {
      class: "text",
      rows: 14,
      "data-name": "paste-area",
      "aria-label": "Columns",
      placeholder: "strain\tstress_MPa\n0\t0\n0.1\t0.21\n…"
    });
    const name = node("input", { type: "text", value: "pasted.csv", "data-name": "paste-name" });
    const made = sheet("Paste columns", node("p", {}, "Columns of a spreadsheet, their names in the first row."),
      area, field("Name", name), node("div", { class: "controls" }, button("Add", "paste-add", () => {
        if (area.value.trim()) take([[name.value || "pasted.csv", area.value]]);
        made.close();
      })));
    area.focus();
  }

  function fileCard(file) {
    const { curves } = Families.FAMILIES[Work.now.family];
    const used = file.used && file.role in curves;
    const told = node("p", { class: "told", "data-told": file.id }, "…");
    const roles = [
      ...Object.keys(curves)
        .filter((curve) => Families.CURVES[curve])
        .map((curve) => [curve, Families.CURVES[curve]]),
      ["", "not used"]
    ];
    const name = `role-${file.name}`;
    const card = node("li", { class: `file${used ? "" : " unused"}`, "data-file": file.name },
      node("div", { class: "head" }, node("strong", { title: file.name }, file.name),
        choice(roles, used ? file.role : "", name,
          (role) => change(file,
            (one) => {
              Object.assign(one, { used: role !== "", role: role || one.role, leftOut: {}, curve: null });
            }),
          { "aria-label": `What ${file.name} is` }),
        node("button", {
          type: "button",
          class: "quiet",
          title: `Remove ${file.name}`,
          "aria-label": `Remove ${file.name}`,
          "data-name": `remove-${file.name}`,
          onclick: () => Work.change((work) => (work.files = work.files.filter((one) => one.id !== file.id)))
        },
          "×")),
      told,
      node("details", { "data-keep": `file-${file.name}` }, node("summary", {}, "Weight, range, columns, text"),
        used ? node("div", { class: "fields" },
                 field("Weight",
                   typed(file.weight, `weight-${file.name}`,
                     (value) => change(file, (one) => (one.weight = value.trim())),
                     { inputmode: "decimal", "aria-label": `Weight of ${file.name}` }),
                   { option: "--weight" }),
                 ...[0, 1].map((end) => field(end === 0 ? "Use from" : "to",
                                 typed(file.range[end], `range-${end}-${file.name}`,
                                   (value) => change(file, (one) => (one.range[end] = value.trim())), {
                                     inputmode: "decimal",
                                     "aria-label": `${end === 0 ? "First" : "Last"} abscissa used of ${file.name}`
                                   }),
                                 { option: "--range" })))
             : "",
        node("div", {
          class: "table columns",
          "data-columns": file.id,
          tabindex: 0,
          role: "region",
          "aria-label": `Columns of ${file.name}`
        }),
        node("div", { class: "controls" }, button("Edit text", `edit-${file.name}`, () => editText(file)),
          button("Make a curve of a record", `prepare-${file.name}`, () => prepare(file)),
          file.edited || !file.bundled
            ? button("Save", `save-${file.name}`, () => saveFile(file.name, Work.contents(file)))
            : "")));
    fill(file, card, used);
    return card;
  }

  async function fill(file, card, used) {
    const { read, error } = await look(file, used ? Families.lookRole(file.role) : null);
    const told = card.querySelector(".told");
    const plain = error ? await look(file) : { read };
    if (error) {
      told.textContent = error;
      told.classList.add("error");
      card.querySelector("details").open = true; // the remedies
    } else {
      const { curve } = read;
      told.textContent = curve ? curve.understood
        : read.may_be.length > 0
        ? `may be: ${read.may_be.map((one) => Families.CURVES[one.curve] ?? one.curve).join(", ")}`
        : "no curve is known with these columns";
      for (const note of curve?.notes ?? []) told.append(node("span", { class: "note" }, note));
      if (curve && curve.y_unit === "" && Families.FAMILIES[Work.now.family].curves[file.role] !== undefined)
        offerUnit(file, curve, told);
      if (curve?.unused.length > 0) {
        told.after(node("details", { class: "dropped", "data-keep": `unused-${file.name}` },
          node("summary", {}, `${plural(curve.unused.length, "row")} without a point`),
          node("ul", {}, ...curve.unused.map(({ line, reason }) => node("li", {}, `line ${line}: ${reason}`)))));
      }
    }
    const columns = card.querySelector(".columns");
    const table = plain.read?.columns;
    if (!table) return columns.remove();
    const cell = (value) => node("td", { class: "number" }, value === null ? "–" : numberText(value, 5));
    columns.append(node("table", {},
      node("thead", {},
        node(
          "tr", {}, ...["Column", "Unit", "From", "To", "Numbers"].map((head) => node("th", { scope: "col" }, head)))),
      node("tbody", {},
        ...table.map(
          (one) => node("tr", {},
            node("td", {}, one.name,
              (read?.curve?.columns ?? []).includes(one.name) ? node("span", { class: "badge good" }, "used") : ""),
            node("td", {}, one.unit), cell(one.smallest), cell(one.largest),
            node("td", { class: "number" }, String(one.numbers)))))));
  }

  /** Where a stress names no unit, one may be given; it becomes a line of the file, as the tool reads it. */
  function offerUnit(file, curve, told) {
    const column = curve.columns[1];
    const stress = /stress|modulus/i.test(column) ||
      ["uniaxial", "equibiaxial", "pure_shear", "simple_shear"].includes(file.role);
    if (!stress || !isText(Work.contents(file))) return;
    const units = ["", "MPa", "kPa", "Pa", "GPa", "psi", "bar", "N/mm2"];
    told.append(" ",
      node("label", { class: "inline" }, `${column} names no unit: `,
        choice(
          units.map((unit) => [unit, unit || "none"]), "", `unit-${file.name}`, (unit) => change(file, (one) => {
            const text = Work.contents(file);
            Object.assign(one,
              { id: Work.keep(`${text}${text.endsWith("\n") ? "" : "\n"}# unit of stress: ${unit}\n`), edited: true });
          }))));
  }

  /** Force and travel into a curve, by the options of the tool. */
  function prepare(file) {
    const values = { "--zero": false };
    const said = node("p", { class: "error", role: "alert" });
    const out = `${file.name.replace(/\.[^.]*$/, "")}_curve.csv`;
    const options = Families.optionsOf("prepare").filter((option) => option.names.length > 0 &&
        !["--out", "--average", "--plot", "--quiet", "--column", "--select", "--decimal", "--separator",
          "--header-line"]
           .includes(option.name));
    const made = sheet(`A curve from ${file.name}`,
      node("p", {}, "Steps are taken in the order of this list, each where it is asked for."),
      node("div", { class: "fields wide" },
        ...options.map((option) => Controls.forOption(
                         option, values[option.name] ?? "", (value) => (values[option.name] = value)))),
      said, node("div", { class: "controls" }, button("Make the curve", "prepare-run", async () => {
        const args = [
          "prepare", file.name,
          ...Object.entries(values).filter(([, value]) => value !== "" && value !== false).flatMap(
            ([name, value]) => (value === true ? [name] : [name, value])),
          ...Families.readingArgs(Work.now.reading)
        ];
        const { code, out: text, err } = await Bench.run(args, { [file.name]: Work.contents(file) });
        if (code !== 0) return (said.textContent = words(err));
        Work.note((work) => (work.files.find((one) => one.id === file.id).used = false));
        await take([[out, text, { edited: true }]]);
        return made.close();
      })));
  }

  /** Options of reading that hold for all files of a fit. */
  async function readingControls() {
    const box =
      node("details", { class: "reading", "data-keep": "reading" }, node("summary", {}, "How files are read"));
    const { reading, family, files } = Work.now;
    const { roles } = Bench.commands.find((one) => one.command === Families.FAMILIES[family].command);
    const plain = await Promise.all(files.filter((file) => file.used).map((file) => look(file)));
    const columns =
      [...new Map(plain.flatMap(({ read }) => read?.columns ?? []).map((one) => [one.name, one])).values()];
    const set = (act) => Work.change((work) => act(work.reading));
    const names = [["", "by its name"], ...columns.map((one) => [one.name, one.name])];
    const fields = roles.map((role) => field(`Column of ${role.replaceAll("_", " ")}`,
                               choice(names, reading.columns[role] ?? "", `column-${role}`, (name) => set((one) => {
                                 if (name === "")
                                   delete one.columns[role];
                                 else
                                   one.columns[role] = name;
                               })),
                               { option: "--column" }));
    for (const [name, key] of [["--decimal", "decimal"], ["--separator", "separator"]]) {
      const option = Families.optionsOf("look").find((one) => one.name === name);
      fields.push(field(option.help,
        choice([["", "told by the file"], ...option.words.map((word) => [word, word])], reading[key], key,
          (value) => set((one) => (one[key] = value))),
        { option: name }));
    }
    fields.push(field("Line that names the columns",
      typed(reading.headerLine, "header-line", (value) => set((one) => (one.headerLine = value.trim())),
        { inputmode: "numeric" }),
      { option: "--header-line" }));
    box.append(node("div", { class: "fields" }, ...fields));
    box.open = Object.keys(reading.columns).length > 0 || reading.decimal !== "" || reading.separator !== "" ||
      reading.headerLine !== "";
    const measured = plain.flatMap(({ read }) => (read?.may_be ?? []).flatMap(({ x, y }) => [x, y]));
    const several = columns.filter((one) => one.values.length > 0 && !measured.includes(one.name));
    const selects = several.map((one) => field(`Only rows where ${one.name} is`,
                                  choice([["", "any value"], ...one.values.map((value) => [value, value])],
                                    reading.select[one.name] ?? "", `select-${one.name}`, (value) => set((all) => {
                                      if (value === "")
                                        delete all.select[one.name];
                                      else
                                        all.select[one.name] = value;
                                    })),
                                  { option: "--select" }));
    return [...(selects.length > 0 ? [node("div", { class: "fields" }, ...selects)] : []), box];
  }

  let turn = 0;
  async function render() {
    const mine = ++turn;
    const { files } = Work.now;
    const list = node("ul", { class: "files" }, ...files.map(fileCard));
    const picker = node("input",
      { type: "file", multiple: true, hidden: true, id: "file-picker", onchange: () => takeFiles(picker.files) });
    const reading = files.length > 0 ? await readingControls() : [];
    if (mine !== turn) return;
    refill(place, node("h2", {}, "Data"),
      files.length > 0
        ? list
        : node("p", { class: "empty" },
            "Drop files of curves anywhere, paste columns of a spreadsheet, or take a published curve. Nothing " +
            "leaves this machine."),
      ...reading,
      node("div", { class: "controls" }, picker, button("Choose files", "choose-files", () => picker.click()),
        button("Paste columns", "paste", paste), button("Published curves", "published", () => Guide.published()),
        button("Many specimens", "many", () => Many.offer([]))));
  }

  return {
    look,
    take,
    takeFiles,
    takeBundled,
    chooseFamily,
    listen,
    entry,
    start(section) { place = section; },
    render,
  };
})();
