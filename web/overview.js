"use strict";

// The page of a batch: all curves over the same axes in one chart, a histogram per parameter, and a table that sorts.
{
  const HEIGHT = { wide: 420, narrow: 320, histogram: 220 };
  const COUNTED = "var(--curve-0)";
  const DOUBTFUL = "var(--curve-1)";
  const CHOSEN = "var(--curve-3)";
  const page = JSON.parse(document.getElementById("figure-data").textContent);
  const rows = [...document.querySelectorAll("#specimen-table tbody tr")];
  const PAPER_WIDTH = 660;

  /** A chart takes the width of its place, and that of paper when the page is printed. */
  function follow(place, chart, height, paperWidth = PAPER_WIDTH) {
    const resize = (width) => width !== chart.width && chart.resize(width, height(width));
    const fit = () => resize(Math.max(place.clientWidth, 240));
    new ResizeObserver(fit).observe(place);
    window.addEventListener("beforeprint", () => {
      chart.showAll(true);
      resize(paperWidth);
    });
    window.addEventListener("afterprint", () => {
      chart.showAll(false);
      fit();
    });
  }

  // --- all curves

  const values = (curves, kind, side) => curves.flatMap((curve) => curve[kind][side]);

  /** Every measured point, and of the fitted lines what is near them. */
  function homeRange(picture, axis) {
    const { curves } = picture;
    const side = axis === "x" ? 0 : 1;
    const { logarithmic } = picture[axis];
    const usable = (all) => all.filter((value) => value !== null && (!logarithmic || value > 0));
    const counted = curves.filter((curve) => curve.counted);
    const shown = counted.length > 0 ? counted : curves;
    let all = usable(values(shown, "points", side));
    if (all.length === 0) all = usable(values(shown, "line", side));
    if (all.length === 0) return logarithmic ? [1, 10] : [0, 1];
    const [min, max] = all.reduce(([least, most], value) => [Math.min(least, value), Math.max(most, value)],
      [Infinity, -Infinity]);
    if (logarithmic) return [min / 1.1, max * 1.1];
    const air = 0.04 * (max - min || Math.abs(max) || 1);
    return [min - air, max + air];
  }

  function showCurves(picture, place) {
    const { curves } = picture;
    const merged = (counted) => {
      const some = curves.filter((curve) => curve.counted === counted);
      return { kind: counted ? "counted" : "doubtful", measured: true, colour: counted ? COUNTED : DOUBTFUL,
        mark: counted ? 0 : 2, x: values(some, "points", 0), y: values(some, "points", 1) };
    };
    const line = ({ counted, line: [x, y] }) => (
      { kind: counted ? "counted" : "doubtful", look: "pale", colour: counted ? COUNTED : DOUBTFUL, x, y });
    const chosen = [{ colour: CHOSEN, mark: 0, x: [], y: [] }, { colour: CHOSEN, look: "chosen", x: [], y: [] }];
    const series = [merged(true), merged(false), ...curves.map(line), ...chosen];
    const axis = (name) => ({ ...picture[name], home: () => homeRange(picture, name) });
    const chart = new Chart({ x: axis("x"), y: axis("y"), series });
    const shown = { measured: true, counted: true, doubtful: true };
    const change = (what) => (on) => {
      shown[what] = on;
      for (const one of chart.series) one.hidden = one.kind && !(shown[one.kind] && (shown.measured || !one.measured));
      chart.draw();
    };
    const chip = (text, what, sample) => {
      const made = toggle(text, what, true, change(what));
      if (sample) made.prepend(Chart.sample(sample));
      return made;
    };
    const controls = element("div", { class: "controls" }, chip("Counted", "counted", { colour: COUNTED, mark: 0, dash: "" }));
    if (curves.some((curve) => !curve.counted)) {
      controls.append(chip("Doubtful", "doubtful", { colour: DOUBTFUL, mark: 2, dash: "" }));
    }
    controls.append(chip("Measured", "measured"), button("Reset zoom", "reset", () => chart.reset()));
    const words = element("p", { class: "readout" });
    place.append(element("div", { class: "panel" }, controls, chart.element, words));
    follow(place, chart, (width) => (width < 560 ? HEIGHT.narrow : HEIGHT.wide));
    const [marks, fitted] = [chart.series.length - 2, chart.series.length - 1];
    return (specimen, name) => {
      const own = curves.filter((curve) => curve.specimen === specimen);
      chart.setPoints(marks, values(own, "points", 0), values(own, "points", 1));
      const broken = own.map(({ line: [x, y] }) => [[...x, null], [...y, null]]);
      chart.setPoints(fitted, broken.flatMap(([x]) => x), broken.flatMap(([, y]) => y));
      words.textContent = name;
      chart.draw();
    };
  }

  // --- histograms

  /** Edges of equal bins, as many as the scatter of the middle half asks for (Freedman and Diaconis 1981). */
  function binEdges(all) {
    const sorted = [...all].sort((a, b) => a - b);
    const [least, most] = [sorted[0], sorted[sorted.length - 1]];
    const quartile = (share) => sorted[Math.round(share * (sorted.length - 1))];
    const wanted = 2 * (quartile(0.75) - quartile(0.25)) / Math.cbrt(sorted.length);
    const span = most - least || Math.abs(most) || 1;
    const count = Math.min(Math.max(Math.ceil(span / (wanted || span)), 5), 40);
    return Array.from({ length: count + 1 }, (_, i) => least + (span * i) / count);
  }

  function showHistogram({ label, values: all }, place) {
    const edges = binEdges(all);
    const counts = edges.slice(1).map((upper, i) => all.filter((value) => (
      (value >= edges[i] && value < upper) || (i === edges.length - 2 && value >= upper))).length);
    const x = [edges[0], ...edges.slice(1).flatMap((upper, i) => [edges[i], upper]), edges[edges.length - 1]];
    const y = [0, ...counts.flatMap((count) => [count, count]), 0];
    const air = 0.05 * (edges[edges.length - 1] - edges[0]);
    const chart = new Chart({
      x: { label, logarithmic: false, home: () => [edges[0] - air, edges[edges.length - 1] + air] },
      y: { label: "specimens", logarithmic: false, home: () => [0, 1.08 * Math.max(...counts)] },
      series: [{ colour: COUNTED, look: "area", x, y }],
    });
    const box = element("div", { class: "histogram" }, chart.element);
    place.append(box);
    follow(box, chart, () => HEIGHT.histogram, 310);
  }

  // --- the table

  /** Numbers by size, names as people count: A2 before A10. Empty cells come last either way. */
  function compare(a, b, up) {
    const [p, q] = [Number(a.replace("−", "-")), Number(b.replace("−", "-"))];
    const [noA, noB] = [a === "–" || a === "", b === "–" || b === ""];
    if (noA || noB) return noA - noB;
    const order = Number.isNaN(p) || Number.isNaN(q) ? a.localeCompare(b, "en", { numeric: true }) : p - q;
    return up ? order : -order;
  }

  function makeSortable(table) {
    const heads = [...table.tHead.rows[0].cells];
    heads.forEach((head, column) => {
      const sort = () => {
        const up = head.getAttribute("aria-sort") !== "ascending";
        for (const other of heads) other.removeAttribute("aria-sort");
        head.setAttribute("aria-sort", up ? "ascending" : "descending");
        const text = (row) => row.cells[column].textContent;
        table.tBodies[0].append(...rows.sort((a, b) => compare(text(a), text(b), up)));
      };
      head.replaceChildren(button(head.textContent, `sort-${column}`, sort));
    });
  }

  const figure = document.getElementById("figure");
  const choose = page.pictures.map((picture) => showCurves(picture, figure));
  const histograms = element("div", { class: "histograms" });
  document.getElementById("histograms")?.append(histograms);
  for (const one of page.histograms) showHistogram(one, histograms);
  makeSortable(document.getElementById("specimen-table"));
  for (const row of rows) {
    row.addEventListener("click", () => {
      for (const other of rows) other.classList.toggle("chosen", other === row);
      for (const show of choose) show(Number(row.dataset.specimen), row.cells[0].textContent);
    });
  }
}
