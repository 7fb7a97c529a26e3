"use strict";

/** Published curves, a tour through each family on them, and what there is to know about the page. */
const Guide = (() => {
  const READ = [
    "#data",
    "The tool has read the files and says what it understood: columns, units, rows. What a file is, its weight " +
    "and its range can be changed here; dropped files come here as well."
  ];
  const LEAVE = [
    "#figure",
    "Press “Leave out points” below the chart and drag over some: they turn grey, are listed, and the fit runs " +
    "again. Undo takes them back."
  ];
  const SAVE = [
    "#saving",
    "Command line, recipe, report page, solver card, picture: nothing ends here. JSON opens again with all settings."
  ];

  const TOURS = {
    rubber: {
      curves: ["treloar1944_uniaxial", "treloar1944_equibiaxial", "treloar1944_pure_shear"],
      models: { "mooney-rivlin": "", yeoh: "3", ogden: "1..3" },
      steps: [
        READ,
        [
          "#comparison",
          "Five candidates, fitted to the three tests together. Proposed is the simplest among the adequate ones. " +
          "“Use” takes one alone."
        ],
        [
          "#model",
          "Try Gent, or three terms of Ogden with relative residuals. “Stable” asks for parameters whose material " +
          "is stable over the measured strains."
        ],
        [
          "#parameters",
          "Hold a parameter, give a start or bounds; the range that the model allows stands below each."
        ],
        LEAVE, SAVE
      ]
    },
    volumetric: {
      curves: ["silicone_volumetric"],
      options: { "--terms": "1..3" },
      steps: [READ, ["#comparison", "One to three terms of the volumetric energy are compared."], LEAVE, SAVE]
    },
    relaxation: {
      curves: ["polymer_relaxation"],
      options: {},
      steps: [
        READ,
        ["#model", "Without a number of terms as many are taken as the data support. Type 4 to see the difference."],
        [
          "#result-parameters",
          "Shares and relaxation times with their intervals; a wide one says that the data hardly tell."
        ],
        LEAVE, SAVE
      ]
    },
    shift: {
      curves: ["dma_pvb_raw"],
      options: { "--reference-temperature": "60" },
      steps: [
        READ,
        ["#figure", "Sweeps at 21 temperatures before, the shift factors, and the master curve that they make."],
        [
          "#model",
          "Other reference temperatures, Arrhenius in the place of WLF, vertical shifts. The curves to save are " +
          "the master curve."
        ],
        SAVE
      ]
    },
    creep: {
      curves: ["metal_creep_500MPa"],
      options: { "--type": "both" },
      steps: [
        READ,
        [
          "#result-notes",
          "The accelerating last stage was found and left out; the note says so. One stress cannot tell the " +
          "stress exponents."
        ],
        LEAVE, SAVE
      ]
    },
    cyclic: {
      curves: ["seed_idriss1970_sand_stiffness", "seed_idriss1970_sand_damping"],
      models: { power: "", hyperbolic: "", ghe: "", darendeli: "" },
      steps: [
        READ,
        [
          "#comparison",
          "Four laws for stiffness and damping together. The proposal weighs agreement against the number of " +
          "parameters."
        ],
        ["#model", "“Overlay” draws published curves besides."], LEAVE, SAVE
      ]
    },
    hardening: {
      curves: ["sgcc_flow_curve"],
      select: { angle_deg: "0" },
      options: { "--yield": "hill1979:0.712/0.8/0.742,2" },
      steps: [
        ["#data", "The file holds three tests; the rows of one are chosen by the angle."],
        ["#result-overview", "Hardening laws compared on the flow curve, and what the proposed one is worth."],
        ["#figure", "The forming-limit curve that follows from the law and the yield criterion."], LEAVE, SAVE
      ]
    },
    retention: {
      curves: ["unsoda_retention"],
      select: { soil: "4521" },
      models: { "van-genuchten": "", "brooks-corey": "", kosugi: "" },
      steps: [
        ["#data", "Three soils in one file; one is chosen."], ["#comparison", "Three laws compared."],
        ["#model", "With a saturated conductivity, such as 25cm/d, the curve K(ψ) is drawn as well."], LEAVE, SAVE
      ]
    },
  };

  async function begin(family) {
    const { curves, models, options, select = {} } = TOURS[family];
    Work.change((work) => {
      Object.assign(work, { family, files: [], kept: [] });
      work.reading = { columns: {}, select, decimal: "", separator: "", headerLine: "" };
      work.parameters[family] = {};
      if (models) work.models[family] = models;
      work.options[Families.FAMILIES[family].command] = { ...options };
    });
    await DataRoom.takeBundled(curves);
  }

  async function tour(family) {
    document.querySelector(".tour")?.remove();
    await begin(family);
    const { steps } = TOURS[family];
    let at = 0;
    const text = node("p", { tabindex: -1 });
    const count = node("span", { class: "count" });
    const light = (selector) => {
      for (const one of document.querySelectorAll(".lit")) one.classList.remove("lit");
      const place = selector && document.querySelector(selector);
      place?.classList.add("lit");
      place?.scrollIntoView(
        { block: "nearest", behavior: matchMedia("(prefers-reduced-motion: reduce)").matches ? "auto" : "smooth" });
    };
    const end = () => {
      light(null);
      box.remove();
    };
    const show = (step) => {
      at = Math.min(Math.max(step, 0), steps.length - 1);
      const [place, said] = steps[at];
      text.textContent = said;
      count.textContent = `${at + 1} of ${steps.length}`;
      next.textContent = at + 1 === steps.length ? "Done" : "Next";
      light(place);
      text.focus({ preventScroll: true });
    };
    const next = button("Next", "tour-next", () => (at + 1 === steps.length ? end() : show(at + 1)));
    const box = node("aside",
      { class: "tour", "aria-label": "Tour", onkeydown: (event) => event.key === "Escape" && end() }, text,
      node("div", { class: "controls" }, next, button("Back", "tour-back", () => show(at - 1)),
        button("End", "tour-end", end), count));
    document.body.append(box);
    show(0);
  }

  async function published() {
    const { out } = await Bench.run(["data"]);
    const rows = [...out.matchAll(/^(\S+) {2,}(.*)$/gm)].slice(1).map(([, name, about]) => [name, about]);
    const boxes = rows.map(
      ([name]) => node("input", { type: "checkbox", value: name, "data-name": `data-${name}`, "aria-label": name }));
    const made =
      sheet("Published curves", node("p", {}, "They come with the page; their first lines name the source."),
        node("div", { class: "table" },
          node("table", {},
            node("tbody", {},
              ...rows.map(([name, about], i) => node("tr", {}, node("td", {}, boxes[i]),
                            node("th", { scope: "row" }, name), node("td", {}, about)))))),
        node("div", { class: "controls sticky" }, button("Add", "data-add", () => {
          const chosen = boxes.filter((box) => box.checked).map((box) => box.value);
          made.close();
          if (chosen.length > 0) DataRoom.takeBundled(chosen);
        })), node("h3", {}, "Tours"), node("div", { class: "controls" }, ...tours().map(
          ([family, title]) => button(title, `tour-${family}`, () => {
          made.close();
          tour(family);
        }))));
  }

  function about() {
    const licences = window.xemfitAbout ?? document.getElementById("licences")?.textContent ?? "";
    const made = sheet("About",
      node("p", {},
        `xemfit ${Bench.version}: laboratory curves into constitutive parameters, the same program as on the ` +
          "command line, with the same numbers."),
      node("h3", {}, "What stays on this machine"),
      node("p", {},
        "Everything. The page asks the network for nothing and is not allowed to; fits run in this browser. So " +
        "that a page left and opened again has the work, files and settings are kept in this browser's local " +
        "storage, until they are forgotten."),
      node("div", { class: "controls" },
        button("Forget everything now", "forget-about",
          () => {
            forget();
            made.close();
          })),
      node("h3", {}, "Keys"),
      node("ul", {},
        ...["Ctrl+Z, Ctrl+Shift+Z: undo, redo", "Ctrl+Enter: fit",
          "in a chart: arrows move, + and − zoom, 0 shows all",
          "in a chart with “Leave out points”: arrows choose a point, Space leaves it out or takes it back, Shift " +
          "with arrows goes on, Escape ends"]
          .map((key) => node("li", {}, key))),
      node("h3", {}, "Licences"),
      node("pre", { class: "prose licences", tabindex: 0 }, licences || "They come with the built page."));
  }

  function forget() {
    Work.forget();
    announce("forgotten: nothing of this work is kept in the browser");
  }

  const tours = () => Object.keys(TOURS).map((family) => [family, Families.FAMILIES[family].title]);
  return { tours, tour, published, about, forget };
})();
