"use strict";

/**
 * From the work to a command line: which command a family has, by which option it takes each curve, and which option
 * names its models. What the options mean, their words and defaults come from the tool.
 */
const Families = (() => {
  // An empty option is a file without one; a file may hold two curves.
  const FAMILIES = {
    rubber: {
      title: "Rubber",
      command: "hyper fit",
      models: "--model",
      main: ["--stable", "--volumetric-terms"],
      curves: {
        uniaxial: "--uniaxial",
        equibiaxial: "--equibiaxial",
        pure_shear: "--pure-shear",
        simple_shear: "--simple-shear",
        volumetric: "--volumetric"
      }
    },
    volumetric: {
      title: "Rubber, volume alone",
      command: "volume fit",
      main: ["--terms"],
      model: "volumetric",
      curves: { volumetric: "" }
    },
    relaxation: {
      title: "Viscoelastic: Prony series",
      command: "prony fit",
      model: "prony",
      main: ["--terms", "--instantaneous", "--reference-temperature"],
      curves: { relaxation: "", storage: "", loss: "" }
    },
    shift: {
      title: "Viscoelastic: master curve",
      command: "prony shift",
      main: ["--reference-temperature", "--law", "--vertical"],
      curves: { storage: "", loss: "", relaxation: "" }
    },
    creep: {
      title: "Creep of metals",
      command: "creep fit",
      main: ["--type", "--stress", "--keep-tertiary"],
      model: "creep",
      curves: { creep: "" }
    },
    cyclic: {
      title: "Cyclic soil",
      command: "cyclic fit",
      models: "--family",
      main: ["--form", "--overlay"],
      curves: { stiffness: "--stiffness", damping: "--damping", stiffness_and_damping: "--stiffness --damping" }
    },
    hardening: {
      title: "Sheet metal",
      command: "forming curve",
      models: "--law",
      main: ["--yield", "--youngs-modulus", "--strain-measure", "--stress-measure"],
      curves: { tensile_test: "--tensile", flow_curve: "--hardening", measured_limits: "--limits" }
    },
    retention: {
      title: "Water retention",
      command: "retention fit",
      models: "--model",
      main: ["--points", "--porosity", "--conductivity"],
      curves: { retention: "", grading: "--grading" }
    },
  };
  const CURVES = {
    uniaxial: "uniaxial",
    equibiaxial: "equibiaxial",
    pure_shear: "pure shear",
    simple_shear: "simple shear",
    volumetric: "volumetric",
    relaxation: "relaxation over time",
    storage: "sweep over frequency",
    loss: "loss modulus alone",
    creep: "creep",
    stiffness: "stiffness",
    damping: "damping",
    stiffness_and_damping: "stiffness and damping",
    tensile_test: "tensile test",
    flow_curve: "flow curve",
    measured_limits: "measured limits",
    retention: "retention",
    grading: "grading",
  };
  // Ways in which people name files.
  const HINTS = {
    equibiaxial: /equi|biax|(^|[_\W])(eb|et|bt)([_\W]|$)/i,
    pure_shear: /pure|planar|plane|(^|[_\W])(ps|pt|pl)([_\W]|$)/i,
    simple_shear: /simple|(^|[_\W])ss([_\W]|$)/i,
    volumetric: /vol/i,
    uniaxial: /uni|tens|(^|[_\W])(ut|ua)([_\W]|$)/i,
    damping: /damp/i,
    stiffness: /stiff|modul/i,
    grading: /grad|grain|sieve/i,
    measured_limits: /limit|flc/i,
  };
  const PAIRS = ["--hold", "--start", "--weight", "--bounds", "--range", "--leave-out", "--column", "--select"];
  const ELSEWHERE = [
    ...PAIRS, "--decimal", "--separator", "--header-line", "--json", "--curves", "--plot", "--report", "--quiet",
    "--require-stable"
  ];
  const COMMON = ["--residual", "--level", "--band"];
  // What the bench asks for until someone says otherwise; it stands in the command line.
  const PRESET = { "--band": true };

  const optionsOf = (command) => Bench.commands.find((one) => one.command === command).options;

  /** Those for which the bench has a control: the ones that matter first, then the others. */
  function controlsOf(family) {
    const { command, curves, models, main } = FAMILIES[family];
    const taken = [...ELSEWHERE, ...Object.values(curves).flatMap((one) => one.split(" ")), models];
    const free = optionsOf(command).filter((option) => option.names.length > 0 && !taken.includes(option.name));
    const first = [...main, ...COMMON];
    return {
      main: first.map((name) => free.find((option) => option.name === name)).filter(Boolean),
      more: free.filter((option) => !first.includes(option.name)),
    };
  }

  const valuesOf = (work) => ({ ...PRESET, ...work.options[FAMILIES[work.family].command] });

  /** Models of a family that may be compared. */
  const modelsOf = (family) =>
    (FAMILIES[family].models ? Bench.catalogue.filter((model) => model.family === family &&
                                   !(family === "rubber" && model.name === "volumetric"))
                             : []);

  /** Those that need no number of terms, as the page chooses them: by name, with the usual number. */
  const usualModels = (family) => Object.fromEntries(modelsOf(
    family).filter(({ terms }) => terms.most === 0 ||
               terms.usual > 0).map(({ name, terms }) => [name, terms.usual > 0 ? String(terms.usual) : ""]));

  function chosenModels(work) {
    const chosen = work.models[work.family] ?? {};
    return Object.entries(chosen).map(([name, terms]) => (terms.trim() === "" ? name : `${name}:${terms.trim()}`));
  }

  /** A file's role among the curves of the family, as names of columns and of the file suggest. */
  function proposedRole(name, mayBe, family) {
    const own = Object.keys(FAMILIES[family].curves);
    const fit = mayBe.map((one) => one.curve).filter((curve) => own.includes(curve));
    if (fit.includes("storage")) return "storage";
    if (fit.includes("stiffness") && fit.includes("damping")) return "stiffness_and_damping";
    const possible = fit.length > 0 ? fit : own;
    return Object.keys(HINTS).find((curve) => possible.includes(curve) && HINTS[curve].test(name)) ?? fit[0] ?? null;
  }

  /** The family that knows what to do with a file, the present one first. */
  function proposedFamily(name, mayBe, present) {
    if (mayBe.some((one) => one.curve === "storage") && !["relaxation", "shift"].includes(present))
      return "relaxation";
    const order = [present, ...Object.keys(FAMILIES)];
    return mayBe.length === 0
      ? present
      : order.find((family) => mayBe.some((one) => one.curve in FAMILIES[family].curves)) ?? present;
  }

  function readingArgs(reading) {
    const pairs = (option, map) => Object.entries(map).filter(([, value]) => value !== "").flatMap(
      ([key, value]) => ([option, `${key}=${value}`]));
    const single = (option, value) => (value === "" ? [] : [option, value]);
    return [
      ...pairs("--column", reading.columns), ...pairs("--select", reading.select),
      ...single("--decimal", reading.decimal), ...single("--separator", reading.separator),
      ...single("--header-line", reading.headerLine)
    ];
  }

  /** 7,12-15 */
  function lineRanges(lines) {
    const sorted = lines.map(Number).sort((a, b) => a - b);
    const runs = [];
    for (const line of sorted) {
      if (runs.length > 0 && runs.at(-1)[1] === line - 1)
        runs.at(-1)[1] = line;
      else
        runs.push([line, line]);
    }
    return runs.map(([from, to]) => (from === to ? `${from}` : `${from}-${to}`));
  }

  const usedFiles = (work) => work.files.filter((file) => file.used && file.role in FAMILIES[work.family].curves);

  /** How results call the curve of a file: by its option and place, else as the last one said. */
  function curveName(file, files) {
    const isNamed = Object.values(FAMILIES).some(({ curves }) => curves[file.role]);
    if (!isNamed && file.curve) return file.curve;
    const place = files.filter((other) => other.role === file.role).findIndex((other) => other.id === file.id);
    return place <= 0 ? file.role : `${file.role}_${place + 1}`;
  }

  /** Lines that are left out by the curve that results call so now: of [curve, lines]. */
  function leftOutBy(file, files) {
    const all = Object.entries(file.leftOut).map(([curve, lines]) => [curve, Object.keys(lines)]).filter(
      ([, lines]) => lines.length > 0);
    return all.length === 1 && !["storage", "stiffness_and_damping"].includes(file.role)
      ? [[curveName(file, files), all[0][1]]]
      : all;
  }

  /** The command line of a fit, without what it writes. */
  function fitArgs(work) {
    const { command, curves, models } = FAMILIES[work.family];
    const files = usedFiles(work);
    const option = (name) => optionsOf(command).find((one) => one.name === name);
    const given =
      Object.entries(valuesOf(work)).filter(([name, value]) => (option(name) && value !== "" && value !== false));
    const bare = files.filter((file) => curves[file.role] === "").map((file) => file.name);
    const named = files.filter((file) => curves[file.role] !== "")
                    .flatMap((file) => curves[file.role].split(" ").flatMap((one) => ([
                      one, /[=@]/.test(file.name) && file.role === "tensile_test" ? `test=${file.name}` : file.name
                    ])));
    const chosen = models ? chosenModels(work).join(",") : "";
    const parameters = Object.entries(work.parameters[work.family] ?? {});
    const valued = parameters.filter(([, one]) => one.value?.trim());
    const perFile = (act) => files.flatMap((file) => (curves[file.role].includes(" ") ? file.role.split("_and_") : [
      curveName(file, files)
    ]).flatMap((curve) => act(file, curve)));
    return [
      ...command.split(" "),
      ...bare,
      ...(chosen ? [models, chosen] : []),
      ...named,
      ...given.flatMap(([name, value]) => (value === true ? [name]
                           : option(name).repeatable && option(name).words.length === 0
                           ? value.split(/\s+/).flatMap((one) => [name, one])
                           : [name, value])),
      ...valued.flatMap(([name, one]) => [one.hold ? "--hold" : "--start", `${name}=${one.value.trim()}`]),
      ...parameters.filter(([, one]) => one.from?.trim() || one.to?.trim()).flatMap(
        ([name, one]) => (["--bounds", `${name}=${(one.from ?? "").trim()}:${(one.to ?? "").trim()}`])),
      ...perFile((file, curve) => (file.weight ? ["--weight", `${curve}=${file.weight}`] : [])),
      ...perFile((file, curve) =>
                   (file.range.some((end) => end !== "") ? ["--range", `${curve}=${file.range.join(":")}`] : [])),
      ...files.flatMap((file) => leftOutBy(file, files).flatMap(
        ([curve, lines]) => (["--leave-out", `${curve}=${lineRanges(lines).join(",")}`]))),
      ...readingArgs(work.reading),
    ];
  }

  /** Why there is nothing to run yet; empty when there is. */
  function lacking(work) {
    const { command, models, curves } = FAMILIES[work.family];
    if (usedFiles(work).length === 0) {
      const wanted = [...new Set(Object.keys(curves).map((curve) => CURVES[curve]).filter(Boolean))];
      return `Give a curve: ${wanted.join(", ")}.`;
    }
    if (models && optionsOf(command).find((one) => one.name === models).required &&
      chosenModels(work).length === 0) {
      return "Choose a model, or several to compare.";
    }
    const missing = optionsOf(command).find(
      (one) => one.required && one.names.length > 0 && one.name !== models && !valuesOf(work)[one.name]);
    return missing ? `Give ${missing.name}: ${missing.help}.` : "";
  }

  /** The curve as which a file's columns are told. */
  const lookRole = (role) => role.split("_and_")[0];

  const filesOf = (files) => Object.fromEntries(files.map((file) => [file.name, Work.contents(file)]));

  return {
    FAMILIES,
    CURVES,
    controlsOf,
    valuesOf,
    usualModels,
    modelsOf,
    chosenModels,
    proposedRole,
    proposedFamily,
    readingArgs,
    lineRanges,
    usedFiles,
    curveName,
    leftOutBy,
    fitArgs,
    lacking,
    lookRole,
    filesOf,
    optionsOf
  };
})();
