"use strict";

/** The room of the model: family, models, options of the fit, parameters with what may be said of them beforehand. */
const ModelRoom = (() => {
  let [modelPlace, parameterPlace] = [null, null];
  const described = new Map(); // parameters by "ogden:3"
  let last = null;             // the last result

  async function describe(label) {
    if (!described.has(label)) {
      described.set(label, Bench.ask(["models", label]).then((answer) => answer.models[0].parameters, () => null));
    }
    return described.get(label);
  }

  const optionsNow = () => Families.valuesOf(Work.now);
  const setOption = (name, value) => Work.change((work) => {
    const { command } = Families.FAMILIES[work.family];
    work.options[command] = { ...work.options[command], [name]: value };
  });

  // --- models

  function modelRow(model) {
    const { family, models } = Work.now;
    const terms = models[family]?.[model.name];
    const set = (act) => Work.change((work) => act((work.models[work.family] ??= {})));
    const usual = model.terms.usual || Math.max(model.terms.fewest, 1);
    const box = node("input", {
      type: "checkbox",
      checked: terms !== undefined,
      "data-name": `model-${model.name}`,
      onchange: () => set((chosen) => {
        if (box.checked)
          chosen[model.name] = model.terms.most > 0 ? String(usual) : "";
        else
          delete chosen[model.name];
      })
    });
    const count = terms !== undefined && model.terms.most > 0
      ? typed(terms, `terms-${model.name}`, (value) => set((chosen) => (chosen[model.name] = value)), {
          class: "terms",
          title: `${model.terms.fewest} to ${model.terms.most}, or a range such as 1..3`,
          "aria-label": `Terms of ${model.title}`,
          size: 4
        })
      : "";
    return node("li", {}, node("label", {}, box, node("span", {}, model.title)), count,
      node("details", { "data-keep": `about-${model.name}` },
        node("summary", { "aria-label": `About ${model.title}` }, "?"), node("p", { class: "formula" }, model.formula),
        node("p", {}, node("small", {}, model.source))));
  }

  function renderModel() {
    const { family } = Work.now;
    const models = Families.modelsOf(family);
    const { main, more } = Families.controlsOf(family);
    const values = optionsNow();
    const control = (option) =>
      Controls.forOption(option, values[option.name] ?? "", (value) => setOption(option.name, value));
    const single =
      Families.FAMILIES[family].model && Bench.catalogue.find((one) => one.name === Families.FAMILIES[family].model);
    refill(modelPlace, node("h2", {}, "Model"),
      field("Family",
        choice(Object.entries(Families.FAMILIES).map(([key, { title }]) => [key, title]), family, "family",
          DataRoom.chooseFamily)),
      models.length > 0 ? node("fieldset", {}, node("legend", {}, "Models; several are compared"),
                            node("ul", { class: "models" }, ...models.map(modelRow)))
                        : "",
      single ? node("p", { class: "formula" }, single.formula) : "",
      node("div", { class: "fields" }, ...main.map(control)),
      more.length > 0
        ? node("details", { "data-keep": "more-options" }, node("summary", {}, `More options (${more.length})`),
            node("div", { class: "fields" }, ...more.map(control)))
        : "");
  }

  // --- parameters

  /** Names of the parameters: of the last result where it is of these models, else of the one model that is chosen. */
  async function parametersNow() {
    const result = last; // it may be another one soon
    const { family } = Work.now;
    const { command, model } = Families.FAMILIES[family];
    const chosen = Families.chosenModels(Work.now);
    const values = optionsNow();
    const isLast =
      result && result.command === command && (chosen.length !== 1 || chosen[0].split(":")[0] === result.model);
    const label = isLast
      ? (result.terms > 0 && result.model !== "creep" ? `${result.model}:${result.terms}` : result.model)
      : chosen.length === 1 && !chosen[0].includes("..") ? chosen[0]
      : model && /^\d+$/.test(values["--terms"] ?? "")   ? `${model}:${values["--terms"]}`
                                                         : model ?? values["--law"];
    const about = label ? await describe(label) : null;
    const known = new Map((about ?? []).map((one) => [one.name, one]));
    if (!isLast) return { label, rows: (about ?? []).map((one) => ({ name: one.name, about: one })) };
    return {
      label,
      rows: result.parameters.map((one) => ({ name: one.name, fitted: one, about: known.get(one.name) }))
    };
  }

  function rangeWords(about) {
    if (!about || about.range.every((end) => end === null)) return "";
    const [from, to] = about.range.map((end) => (end === null ? null : numberText(end, 4)));
    return to === null ? `from ${from}` : from === null ? `up to ${to}` : `${from} to ${to}`;
  }

  function parameterRows({ name, fitted, about }) {
    const { family, parameters } = Work.now;
    const said = parameters[family]?.[name] ?? {};
    const set = (act) => Work.change((work) => act(((work.parameters[work.family] ??= {})[name] ??= {})));
    const box = node("input", {
      type: "checkbox",
      checked: said.hold === true,
      "data-name": `hold-${name}`,
      "aria-label": `Hold ${name}`,
      onchange: () => set((one) => {
        one.hold = box.checked;
        if (box.checked && !one.value?.trim() && fitted) one.value = String(Number(fitted.value.toPrecision(6)));
      })
    });
    const text = (key, label, placeholder, option) => node("td", { "data-option": option },
      typed(said[key] ?? "", `${key}-${name}`, (value) => set((one) => (one[key] = value)),
        { inputmode: "decimal", "aria-label": label, placeholder }));
    const unit = fitted?.unit || about?.unit || "";
    const range = rangeWords(about);
    return [
      node("tr", { "data-parameter": name }, node("th", { scope: "row" }, name),
        text("value", `${said.hold ? "Value" : "Start"} of ${name}`, fitted ? numberText(fitted.value, 5) : "start",
          said.hold ? "--hold" : "--start"),
        node("td", {}, box), text("from", `Lower bound of ${name}`, about?.range[0] ?? "", "--bounds"),
        text("to", `Upper bound of ${name}`, about?.range[1] ?? "", "--bounds")),
      node("tr", { class: "about" },
        node("td", { colspan: 5 }, [about?.meaning, unit && `in ${unit}`, range].filter(Boolean).join("; "))),
    ];
  }

  let turn = 0;
  async function renderParameters() {
    const mine = ++turn;
    const { label, rows } = await parametersNow();
    if (mine !== turn) return;
    const said = Work.now.parameters[Work.now.family] ?? {};
    const shown = new Set(rows.map((row) => row.name));
    const others =
      Object.entries(said).filter(([name, one]) => !shown.has(name) && Object.values(one).some((value) => value));
    refill(parameterPlace, node("h2", {}, "Parameters", label ? node("small", {}, ` of ${label}`) : ""),
      rows.length === 0 && others.length === 0
        ? node("p", { class: "empty" }, "They stand here once a model is chosen or fitted.")
        : node("div", { class: "table" },
            node("table", { class: "parameters" },
              node("thead", {},
                node("tr", {},
                  ...["", "Start or value", "Hold", "From", "To"].map((head) => node("th", { scope: "col" }, head)))),
              node("tbody", {}, ...[...rows, ...others.map(([name]) => ({ name }))].flatMap(parameterRows)))),
      Object.keys(said).length > 0 ? node("div", { class: "controls" },
                                       button("Clear holds, starts and bounds", "clear-parameters",
                                         () => Work.change((work) => delete work.parameters[work.family])))
                                   : "");
  }

  return {
    start(model, parameters) {
      [modelPlace, parameterPlace] = [model, parameters];
    },
    describe,
    render() {
      renderModel();
      return renderParameters();
    },
    told(result) {
      last = result;
      renderParameters();
    },
  };
})();
