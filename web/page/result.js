"use strict";

/** The room of the result: runs the fit, shows what came out, and lets points be left out in its charts. */
const ResultRoom = (() => {
  const WANTED = ["xemfit-fit.json", "xemfit-curves.csv", "xemfit-report.html"]; // names that no input has
  const MOST_ROWS = 600;
  let parts = {};
  let running = null; // {controller, turn}
  let turn = 0;
  let timer = 0;
  let shownPanels = [];
  let last = null; // {work, args, files, answer, result, figure, page}
  let view = { selecting: false, cursor: null };

  // --- running

  /** The same fit has the same key. */
  const keyOf = (work) => JSON.stringify([Families.fitArgs(work), Families.usedFiles(work).map((file) => file.id)]);

  function schedule() {
    clearTimeout(timer);
    if (Families.lacking(Work.now))
      fit();
    else if (last && !running && keyOf(Work.now) === last.key && parts.error.hidden)
      show();
    else if (Work.now.live)
      timer = setTimeout(fit, 300);
    renderBar();
  }

  async function fit() {
    clearTimeout(timer);
    const lack = Families.lacking(Work.now);
    running?.controller.abort();
    running = null;
    const mine = ++turn;
    if (lack) {
      last = null;
      view = { selecting: false, cursor: null };
      parts.body.replaceChildren(welcome(lack));
      ModelRoom.told(null);
      Saving.render(null);
      return renderBar();
    }
    const work = structuredClone(Work.now);
    const args = Families.fitArgs(work);
    const files = Families.filesOf(Families.usedFiles(work));
    const controller = new AbortController();
    running = { controller, turn: mine };
    renderBar();
    try {
      const answer = await Bench.fit([...args, "--json", WANTED[0], "--curves", WANTED[1], "--report", WANTED[2]],
        files, WANTED, controller.signal);
      if (mine !== turn) return undefined;
      running = null;
      await take({
        key: keyOf(work),
        work,
        args,
        files,
        answer,
        written: { json: answer.files[WANTED[0]], curves: answer.files[WANTED[1]], report: answer.files[WANTED[2]] }
      });
    } catch (error) {
      if (mine !== turn) return undefined;
      running = null;
      if (error.name === "AbortError")
        sayError("Cancelled; what is shown is the fit before. Any change, or Fit, begins anew.");
      else
        sayError(`The engine failed: ${error.message}`);
    }
    return renderBar();
  }

  function cancel() {
    if (!running) return;
    const { controller } = running;
    controller.abort();
  }

  async function take(run) {
    const { answer: { code, err }, written } = run;
    const filesOf = ({ work }) => Families.usedFiles(work).map((file) => file.id).join();
    if (last && filesOf(last) !== filesOf(run)) view = { selecting: false, cursor: null };
    clearErrors();
    if (err.trim()) sayError(words(err), run.work);
    if (!written.json) {
      if (last) {
        parts.body.classList.add("old");
        parts.error.append(node("small", {}, "\nBelow stands the result before."));
      } else {
        parts.body.replaceChildren();
      }
      announce(words(err), true);
      return;
    }
    const result = JSON.parse(written.json);
    const page = new DOMParser().parseFromString(written.report, "text/html");
    const figure = JSON.parse(page.getElementById("figure-data")?.textContent ?? '{"panels":[]}');
    last = { ...run, result, page, figure };
    noteCurves(result);
    await show();
    ModelRoom.told(result);
    Saving.render(last);
    const { r2 } = result.measures;
    announce(`${result.model}: ${result.status}${r2 === null ? "" : `, R² ${shareText(r2, 5)}`}${
      code === 0 ? "" : `; ${words(err)}`}`);
  }

  function noteCurves(result) {
    Work.note((work) => {
      for (const { curve, file } of result.inputs) {
        const own = work.files.find((one) => one.name === file);
        if (own && !(own.role === "storage" && own.curve)) own.curve = curve;
      }
    });
  }

  /** A number below 1 never reads 1. */
  const shareText = (r2, digits) =>
    (r2 === null || r2 === undefined ? "–" : Math.min(r2, r2 < 1 ? 1 - 10 ** -digits : 1).toFixed(digits));

  // --- errors stand where they can be mended

  function clearErrors() {
    parts.error.hidden = true;
    parts.error.textContent = "";
    parts.body.classList.remove("old");
    for (const one of document.querySelectorAll(".said")) one.remove();
    for (const one of document.querySelectorAll("[aria-invalid]")) one.removeAttribute("aria-invalid");
  }

  function sayError(text, work = Work.now) {
    parts.error.hidden = false;
    parts.error.textContent = text;
    const mark = (place) => {
      place.querySelector("input, select")?.setAttribute("aria-invalid", "true");
      place.closest("details")?.setAttribute("open", "");
      place.append(node("span", { class: "said error" }, text));
    };
    const all = [...document.querySelectorAll(".settings [data-option]")];
    const has = (word) => new RegExp(`\\b${word.replace(/^--/, "").replaceAll("-", "[- ]")}\\b`).test(text);
    const option = /--[a-z][a-z-]*/.exec(text)?.[0] ?? all.map((one) => one.dataset.option).find(has);
    const file = work.files.find((one) => text.includes(one.name));
    const card = file && document.querySelector(`[data-file="${CSS.escape(file.name)}"]`);
    const named = [...document.querySelectorAll("tr[data-parameter]")].find(
      ({ dataset: { parameter } }) => (new RegExp(`(parameter |for ")${parameter}\\b`).test(text) ||
        Object.values(work.parameters[work.family]?.[parameter] ?? {})
          .some((value) => value && text.includes(`"${value}:`))));
    const fields = all.filter((one) => one.dataset.option === option);
    const field = fields.find((one) => named?.contains(one)) ?? fields.find((one) => card?.contains(one)) ??
      (card ? null : fields[0]);
    const isSaid = /--[a-z]/.test(text) && !field && fields.length > 0 && !fields[0].closest(".file, .reading");
    if (isSaid) mark(fields[0]);
    const place = field ?? card ?? named?.querySelector("td[data-option]") ?? fields[0];
    if (place) mark(place);
  }

  // --- what one sees

  function welcome(lack) {
    return node("section", { class: "welcome" }, node("h2", {}, "From test curves to parameters"), node("p", {}, lack),
      Families.usedFiles(Work.now).length > 0 && Families.modelsOf(Work.now.family).length > 0
        ? node("div", { class: "controls" },
            button("Compare those that need no number of terms", "compare-usual",
              () => Work.change((work) => (work.models[work.family] = Families.usualModels(work.family)))))
        : "",
      node("p", {}, "Two minutes each, on published curves:"),
      node("div", { class: "controls tours" },
        ...Guide.tours().map(([family, title]) => button(title, `tour-${family}`, () => Guide.tour(family)))));
  }

  function renderBar() {
    const busy = running !== null;
    const box = node("input", {
      type: "checkbox",
      checked: Work.now.live,
      "data-name": "live",
      onchange: () => Work.change((work) => (work.live = box.checked))
    });
    const run = button("Fit", "fit", fit);
    const stop = button("Cancel", "cancel", cancel);
    stop.disabled = !busy;
    const keep = button("Keep to compare", "keep", keepIt);
    keep.disabled = !last;
    run.classList.add("primary");
    refill(parts.bar, run, stop, node("label", { class: "inline" }, box, "fit again when something changes"), keep,
      node("span", { class: busy ? "busy" : "idle" }, busy ? "fitting …" : ""));
    parts.body.setAttribute("aria-busy", busy);
  }

  /** Elements of the tool's own page, made anew of what a page may show. */
  function adopted(source) {
    const TAGS = [
      "SECTION", "H2", "H3", "P", "DIV", "TABLE", "THEAD", "TBODY", "TR", "TH", "TD", "DL", "DT", "DD", "UL", "LI",
      "PRE", "SPAN", "DETAILS", "SUMMARY", "CODE"
    ];
    if (source.nodeType === Node.TEXT_NODE) return document.createTextNode(source.data);
    if (source.nodeType !== Node.ELEMENT_NODE || !TAGS.includes(source.tagName)) return document.createTextNode("");
    const made = document.createElement(source.tagName);
    for (const name of ["class", "scope", "colspan"])
      if (source.hasAttribute(name)) made.setAttribute(name, source.getAttribute(name));
    const shade = /^background:(rgba\([\d.,]+\))$/.exec(source.getAttribute("style") ?? "");
    if (shade) made.style.background = shade[1];
    if (made.className === "table")
      Object.entries({ tabindex: 0, role: "region", "aria-label": "Table" }).forEach(
        ([name, value]) => made.setAttribute(name, value));
    const children = [...source.childNodes];
    made.append(...children.slice(0, MOST_ROWS).map(adopted));
    if (children.length > MOST_ROWS)
      made.append(
        node("tr", {}, node("td", { colspan: 3 }, `and more; all of them stand in the report page and in JSON`)));
    return made;
  }

  /** By the legend of each curve: at which lines of its file its points stand, and what is not used. */
  async function linesOf({ result, figure, work }) {
    const lines = {};
    for (const { curve, file: name } of result.inputs) {
      const file = work.files.find((one) => one.name === name);
      const shown = result.curves.find((one) => one.name === curve);
      if (!file || !shown) continue;
      const base = curve.replace(/_\d+$/, "");
      const { read } =
        await DataRoom.look(file, base in Families.CURVES ? base : file.role, work.reading);
      const drops =
        new Map(result.dropped.filter((one) => one.curve === curve).map(({ row, reason }) => [row, reason]));
      const used = read?.curve?.lines.map((line, i) => ({ line, i })).filter(({ line }) => !drops.has(line)) ?? [];
      if (used.length !== shown.x.length || used.length === 0) continue;
      const scale = (from, to) => {
        const ratios =
          used.map(({ i }, k) => to[k] / from[i]).filter((ratio) => Number.isFinite(ratio) && ratio !== 0);
        return ratios.every((ratio) => Math.abs(ratio / ratios[0] - 1) < 1e-6) ? ratios[0] : NaN;
      };
      const factors = [scale(read.curve.x, shown.x), scale(read.curve.y, shown.measured)];
      const rows = new Map(read.curve.lines.map((line, i) => [line, i]));
      const place = (line) => {
        const i = rows.get(line);
        const [x, y] = file.leftOut[curve]?.[line] ??
          (i === undefined ? [] : [read.curve.x[i] * factors[0], read.curve.y[i] * factors[1]]);
        return Number.isFinite(x) && Number.isFinite(y) ? { x, y } : {};
      };
      // Where the tool has put the points in another order, nobody can tell them apart.
      if (!factors.some(Number.isFinite) && file.role !== "tensile_test") continue;
      const legends =
        figure.panels.flatMap((panel) => panel.curves)
          .filter((one) => result.curves[one.index]?.name === curve && one.points[0].length === used.length);
      for (const legend of legends) {
        lines[legend.name] = {
          file,
          curve,
          used: used.map(({ line }) => line),
          dropped:
            [...drops].map(([line, reason]) => ({ line, reason, byHand: /--leave-out/.test(reason), ...place(line) }))
        };
      }
    }
    return lines;
  }

  function leaveOut(lines) {
    return (byCurve, out) => Work.change((work) => {
      for (const [legend, chosen] of Object.entries(byCurve)) {
        const { file, curve } = lines[legend];
        const own = work.files.find((one) => one.id === file.id);
        const left = (own.leftOut[curve] ??= {});
        for (const [line, at] of Object.entries(chosen)) {
          if (out)
            left[line] = at;
          else
            delete left[line];
        }
      }
    });
  }

  function comparison(result) {
    if (!result.comparison) return "";
    const number = (value, digits) =>
      node("td", { class: "number" }, value === null || value === undefined ? "–" : value.toFixed(digits));
    const use = (model) => button("Use", `use-${model}`, () => Work.change((work) => {
      const [name, terms = ""] = model.split(":");
      work.models[work.family] = { [name]: terms };
    }));
    return node("section", { id: "comparison" }, node("h2", {}, "Comparison"),
      node("div", { class: "table", tabindex: 0, role: "region", "aria-label": "Comparison" },
        node("table", {},
          node("thead", {},
            node("tr", {},
              ...["Model", "Free", "R²", "AICc", "Difference", "", ""].map(
                (head, i) => node("th", { scope: "col", class: i > 0 && i < 5 ? "number" : null }, head)))),
          node("tbody", {},
            ...result.comparison.map(
              (one) => node("tr", { class: one.proposed ? "proposed" : null }, node("th", { scope: "row" }, one.model),
                number(one.free_parameters, 0), node("td", { class: "number" }, shareText(one.r2, 6)),
                number(one.aicc, 2), number(one.difference, 2),
                node("td", {}, one.proposed ? node("span", { class: "badge good" }, "proposed") : one.status),
                node("td", {}, use(one.model))))))),
      node("p", {}, node("small", {}, "What follows is the proposed model's. Use makes a model the only one.")));
  }

  function leftOutList({ work }) {
    const files = Families.usedFiles(work);
    const items = files.flatMap((file) => Families.leftOutBy(file, files).flatMap(
      ([curve, lines]) => Families.lineRanges(lines).map((run) => ({ file, curve, run }))));
    if (items.length === 0) return "";
    const back = ({ file, run }) => Work.change((all) => {
      const [from, to = from] = run.split("-").map(Number);
      const own = all.files.find((one) => one.id === file.id);
      for (const left of Object.values(own.leftOut))
        for (const line of Object.keys(left))
          if (line >= from && line <= to) delete left[line];
    });
    return node("div", { class: "controls left-out-list" }, node("span", {}, "Left out:"),
      ...items.map((item) => button(`${item.curve}, ${item.run.includes("-") ? "lines" : "line"} ${item.run} ×`,
                     `back-${item.curve}-${item.run}`, () => back(item))),
      button(
        "Take all back", "back-all", () => Work.change((all) => all.files.forEach((one) => (one.leftOut = {})))));
  }

  async function show() {
    const { result, page, figure } = last;
    const mine = turn;
    const lines = await linesOf(last);
    if (mine !== turn) return;
    const { kept } = Work.now;
    const charts = node("section", { id: "figure" });
    const panels = figure.panels.map((panel, i) => new BenchPanel(structuredClone(panel), {
      relative: figure.relative,
      lines,
      kept,
      leaveOut: leaveOut(lines),
      selecting: view.selecting,
      onSelecting: (on) => {
        view = { selecting: on, cursor: null };
        for (const other of panels)
          if (other.selector && other.selecting !== on) other.setSelecting(on);
      },
      onCursor: (cursor) => (view = { ...view, cursor: { panel: i, cursor } }),
    }));
    for (const gone of shownPanels) gone.leave();
    shownPanels = last.panels = panels;
    const focused = parts.body.contains(document.activeElement) && document.activeElement.closest("svg.chart");
    const at = focused ? [...parts.body.querySelectorAll("svg.chart")].indexOf(focused) : -1;
    charts.append(...panels.map((panel) => panel.element), leftOutList(last));
    const head = page.querySelector("header");
    const badges = adopted(head.querySelector(".badges") ?? page.createElement("p"));
    const tiles = adopted(head.querySelector(".tiles") ?? page.createElement("p"));
    const sections = [...page.querySelectorAll("main > section")].filter(
      (one) => !["figure", "reproduce", "use"].includes(one.id) && !(one.id === "overview" && result.comparison));
    const made = sections.map((one) => {
      const section = adopted(one);
      section.id = `result-${one.id}`;
      return section;
    });
    const order = [
      "result-notes", "result-overview", "result-parameters", "result-derived", "result-stability",
      "result-correlation", "result-curves", "result-dropped"
    ];
    const isWide = (one) => ["result-notes", "result-parameters", "result-overview"].includes(one.id);
    made.sort((a, b) => (order.indexOf(a.id) + 99) % 99 - (order.indexOf(b.id) + 99) % 99);
    refill(parts.body,
      node("div", { class: "title" },
        node("h2", {},
          result.terms > 0 && !result.model.includes(":") ? `${result.model}:${result.terms}` : result.model),
        badges),
      tiles, charts, keptTable(), comparison(result), ...made.filter(isWide),
      node("div", { class: "tables" }, ...made.filter((one) => !isWide(one))));
    if (at >= 0) parts.body.querySelectorAll("svg.chart")[at]?.focus({ preventScroll: true });
    if (view.selecting && view.cursor) panels[view.cursor.panel]?.resume(view.cursor.cursor);
  }

  // --- fits kept beside

  function keepIt() {
    const { result, figure, work } = last;
    const label = result.terms > 0 ? `${result.model}:${result.terms}` : result.model;
    const { kept, ...plain } = structuredClone(work);
    Work.change((now) => {
      now.kept.push({
        title: label,
        work: plain,
        measures: result.measures,
        status: result.status,
        parameters: result.parameters,
        figure: {
          panels:
            figure.panels.map(({ title, x, y, curves }) =>
                                ({ title, x, y, curves: curves.map(({ stable, unstable }) => ({ stable, unstable })) }))
        }
      });
    });
  }

  function keptTable() {
    const { kept } = Work.now;
    if (kept.length === 0) return "";
    const rows = kept.map(
      (one, k) => node("tr", {}, node("th", { scope: "row" }, BenchPanel.keptSample(k), ` ${one.title}`),
        node("td", {},
          one.parameters.map(({ name, value }) => `${name} ${value === null ? "–" : numberText(value, 4)}`)
            .join("  ")),
        node("td", { class: "number" }, shareText(one.measures.r2, 5)),
        node("td", { class: "number" }, one.measures.aicc === null ? "–" : one.measures.aicc.toFixed(2)),
        node("td", {},
          node("div", { class: "controls" },
            button("Go back to it", `kept-back-${k}`,
              () => Work.change((work) => Object.assign(work, structuredClone(one.work), { kept: work.kept }))),
            button("Remove", `kept-remove-${k}`, () => Work.change((work) => work.kept.splice(k, 1)))))));
    return node("section", { id: "kept" }, node("h2", {}, "Kept to compare"),
      node("div", { class: "table", tabindex: 0, role: "region", "aria-label": "Kept fits" },
        node("table", {},
          node("thead", {},
            node(
              "tr", {}, ...["Fit", "Parameters", "R²", "AICc", ""].map((head) => node("th", { scope: "col" }, head)))),
          node("tbody", {}, ...rows))));
  }

  return {
    start(bar, error, body) {
      parts = { bar, error, body };
      renderBar();
    },
    schedule,
    fit,
    cancel,
    /** What is shown now, or null. */
    get last() { return last; },
    redraw: () => last && show(),
  };
})();
