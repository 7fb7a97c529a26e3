"use strict";

/** Many specimens by the present settings: fitted over a pool of workers, then summed up as `xemfit batch` does. */
const Many = (() => {
  const MOST_WORKERS = 8;

  /** Rows of a CSV file with quotes as in RFC 4180. */
  function csvRows(text) {
    const rows = [[]];
    for (const [, quoted, plain, end] of text.matchAll(/(?:"((?:[^"]|"")*)"|([^",\r\n]*))(,|\r?\n|$)/g)) {
      rows.at(-1).push(quoted === undefined ? plain : quoted.replaceAll('""', '"'));
      if (end === "") break;
      if (end !== ",") rows.push([]);
    }
    return rows.filter((row) => row.length > 1 || row[0]);
  }
  const csvCell = (text) => (/[",\r\n]|^[\s#]|\s$/.test(text) ? `"${text.replaceAll('"', '""')}"` : text);

  /** Files of one specimen each: [{name, files}]. Several curves of one have a name in common. */
  async function specimensOf(tables, family) {
    const names = [];
    const files = tables.map(([name, contents]) => {
      names.push(fileName(name, names));
      return DataRoom.entry(names.at(-1), contents);
    });
    const present = [...new Set(Families.usedFiles(Work.now).map((file) => file.role))];
    for (const file of files) {
      const { read } = await DataRoom.look(file, null);
      const proposed = Families.proposedRole(file.name, read?.may_be ?? [], family);
      file.role = present.length === 1 ? present[0]
                                       : proposed ?? present[0] ?? Object.keys(Families.FAMILIES[family].curves)[0];
    }
    const isOneCurve = new Set(files.map((file) => file.role)).size === 1;
    const groups = new Map();
    for (const file of files) {
      const stem = file.name.replace(/\.[^.]*$/, "");
      const key = isOneCurve ? stem : stem.replace(/[_\-. ][^_\-. ]*$/, "");
      groups.set(key, [...(groups.get(key) ?? []), file]);
    }
    return [...groups].map(([name, own]) => ({ name, files: own }));
  }

  /** The present settings for other files, without what concerns single points. */
  function workFor(files) {
    const { weight = "", range = ["", ""] } = Families.usedFiles(Work.now)[0] ?? {};
    return { ...structuredClone({ ...Work.now, kept: [] }), files: files.map((file) => ({ ...file, weight, range })) };
  }

  /** The list has a column for each curve of a specimen, such as "uniaxial_1". */
  const columnsOf = (files) => files.map((file, i) => (
    `${file.role}_${files.slice(0, i).filter((one) => one.role === file.role).length + 1}`));

  /** Recipe and list for `xemfit batch`. */
  function recipeFor(specimens) {
    const columns = [...new Set(specimens.flatMap(({ files }) => columnsOf(files)))];
    const { files } = specimens.reduce((most, one) => (one.files.length > most.files.length ? one : most));
    const args = Families.fitArgs(workFor(files)).map((word) => {
      const at = files.findIndex(({ name }) => name === word || word.endsWith(`=${name}`));
      if (at >= 0) return `${word.slice(0, word.length - files[at].name.length)}{${columnsOf(files)[at]}}`;
      return /[\s'"#\\]/.test(word) ? `"${word}"` : word;
    });
    const fileIn = (own, column) => own[columnsOf(own).indexOf(column)]?.name ?? "";
    const row = ({ name, files: own }) => [name, ...columns.map((column) => fileIn(own, column))];
    const rows = [["specimen", ...columns], ...specimens.map(row)];
    return { recipe: `${args.join(" ")}\n`, list: `${rows.map((cells) => cells.map(csvCell).join(",")).join("\n")}\n` };
  }

  function offer(tables) {
    const place = node("div", { class: "many" });
    const picker = node("input", {
      type: "file",
      multiple: true,
      "data-name": "many-files",
      "aria-label": "Files of specimens",
      onchange: async () =>
        prepare(await Promise.all([...picker.files].map(async (file) => [file.name, await contentsOf(file)])))
    });
    const controller = new AbortController();
    const made = sheet("Many specimens",
      node("p", {},
        "Every specimen is fitted by the settings that stand on the page now. Several curves of one specimen " +
        "begin with its name: A1_uniaxial.csv, A1_pure_shear.csv."),
      tables.length === 0 ? picker : "", place);
    made.classList.add("large");
    made.addEventListener("close", () => controller.abort());
    const prepare = async (given) => {
      let { family } = Work.now;
      if (Families.usedFiles(Work.now).length === 0) {
        const first = DataRoom.entry(fileName(given[0][0], []), given[0][1]);
        const { read } = await DataRoom.look(first, null);
        family = Families.proposedFamily(first.name, read?.may_be ?? [], family);
        if (family !== Work.now.family) Work.change((work) => (work.family = family));
      }
      const specimens = await specimensOf(given, family);
      const lack = Families.lacking(workFor(specimens[0].files));
      const args = shellLine(Families.fitArgs(workFor(specimens[0].files)));
      place.replaceChildren(
        node("p", {}, `${plural(specimens.length, "specimen")} in ${plural(given.length, "file")}. The first by:`),
        node("pre", { class: "shell" }, args),
        lack ? node("p", { class: "error" }, `${lack} Close this sheet, choose, and drop the files again.`)
             : node("div", { class: "controls" },
                 button("Fit them all", "many-run", () => run(specimens, place, controller.signal)),
                 given.length < 40 ? button("No, these are curves of one fit", "many-not", () => {
                   made.close();
                   DataRoom.take(given, { together: true });
                 }) : ""));
    };
    if (tables.length > 0) prepare(tables);
  }

  async function run(specimens, place, closed) {
    const stop = new AbortController();
    closed.addEventListener("abort", () => stop.abort());
    const workers = Math.min(navigator.hardwareConcurrency || 2, MOST_WORKERS, specimens.length);
    const pool = xemfitEngine.start({ workers });
    const bar = node("progress", { max: specimens.length, value: 0, "aria-label": "Specimens fitted" });
    bar.value = 0;
    const told = node("p", { role: "status" }, `0 of ${specimens.length}`);
    const cancel = button("Cancel", "many-cancel", () => stop.abort());
    const failures = node("ul", { class: "failures" });
    place.replaceChildren(node("div", { class: "controls" }, bar, told, cancel), failures);
    const counts = { done: 0, failed: 0 };
    let next = 0;
    const one = async ({ name, files }) => {
      const answer = await pool.run({
        args: [...Families.fitArgs(workFor(files)), "--json", "fit.json", "--quiet"],
        files: Families.filesOf(files),
        want: ["fit.json"]
      },
        { signal: stop.signal });
      ++counts.done;
      if (answer.code !== 0) {
        ++counts.failed;
        failures.append(node("li", {}, node("strong", {}, name), ` ${words(answer.err)}`));
      }
      bar.value = counts.done;
      told.textContent =
        `${counts.done} of ${specimens.length}${counts.failed > 0 ? `, ${counts.failed} not fitted` : ""}`;
    };
    const worker = async () => {
      while (next < specimens.length && !stop.signal.aborted) await one(specimens[next++]);
    };
    try {
      await pool.ready;
      await Promise.all(Array.from({ length: workers }, worker));
      told.textContent += "; summing up …";
      await sumUp(specimens, place, pool, stop.signal, failures);
    } catch (error) {
      told.textContent =
        error.name === "AbortError" ? `cancelled after ${counts.done} of ${specimens.length}` : error.message;
      cancel.replaceWith(button("Begin again", "many-again", () => run(specimens, place, closed)));
    } finally {
      pool.stop?.();
    }
  }

  async function sumUp(specimens, place, pool, signal, failures) {
    const { recipe, list } = recipeFor(specimens);
    const files = Object.assign(
      { "recipe.txt": recipe, "specimens.csv": list }, ...specimens.map((one) => Families.filesOf(one.files)));
    const args =
      ["batch", "recipe.txt", "--list", "specimens.csv", "--summary", "summary.csv", "--report", "overview.html"];
    const want = ["summary.csv", "overview.html"];
    const { code, err, files: made } = await pool.run({ args, files, want }, { signal });
    const summary = made["summary.csv"];
    if (!summary) {
      place.append(node("p", { class: "error" }, words(err)));
      return;
    }
    const [head, ...rows] = csvRows(summary);
    const isNumber = (cell) => cell !== "" && Number.isFinite(Number(cell));
    const cell = (text) =>
      node("td", { class: isNumber(text) ? "number" : null }, isNumber(text) ? numberText(Number(text), 5) : text);
    const statuses = head.indexOf("status");
    const count = (status) => rows.filter((row) => row[statuses] === status).length;
    const bad = rows.filter((row) => !["fitted", "doubtful", "summary"].includes(row[statuses])).length;
    place.replaceChildren(node("p", { role: "status", class: "done" },
                            `${count("fitted")} fitted, ${count("doubtful")} doubtful, ${bad} not fitted${
                              code === 0 || code === 3 ? "" : `; ${words(err)}`}`),
      node("div", { class: "controls" },
        button("Summary (CSV)", "save-summary", () => saveFile("summary.csv", summary, "text/csv")),
        button(
          "Overview page", "save-overview", () => saveFile("overview.html", made["overview.html"], "text/html")),
        button("Recipe", "save-many-recipe", () => saveFile("recipe.txt", recipe)),
        button("List", "save-list", () => saveFile("specimens.csv", list, "text/csv"))),
      failures.childElementCount > 0 ? node("details", { open: true }, node("summary", {}, "Not fitted"), failures)
                                     : "",
      made["overview.html"] ? node("iframe", {
        sandbox: "allow-scripts",
        title: "Overview of all specimens",
        srcdoc: made["overview.html"],
        class: "report"
      })
                            : "",
      node("details", {}, node("summary", {}, "Summary table"),
        node("div", { class: "table", tabindex: 0, role: "region", "aria-label": "Summary" },
          node("table", { id: "many-summary" },
            node("thead", {}, node("tr", {}, ...head.map((text) => node("th", { scope: "col" }, text)))),
            node("tbody", {}, ...rows.map((row) => node("tr", {}, ...row.map(cell))))))),
      node("p", {}, "The same on the command line, in the folder of the files:"),
      textBlock(shellLine(args), "many-command", { label: "Batch command" }));
    announce(`${count("fitted")} of ${specimens.length} specimens fitted`);
  }

  return { offer };
})();
