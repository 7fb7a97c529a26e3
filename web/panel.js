"use strict";

/**
 * One set of axes of a figure, as the tool writes it in JSON: buttons that hide curves and change axes, the chart of
 * measured points and the model's lines, its unstable ranges dashed, the residuals below, and in words what is under
 * the pointer. All numbers come with the figure; nothing is fitted or evaluated here.
 *
 *   parent.append(new Panel(figure.panels[0], { relative: figure.relative }).element);
 *
 * Who extends it may add series to the chart (`besides`), to which curves the buttons do nothing, and buttons (`tools`).
 *
 * It takes the width of its place, and that of paper when the page is printed, until it is told to `leave` the page.
 */
const Panel = (() => {
  const HEIGHT = { wide: 420, narrow: 320, residuals: 180 };
  const PAPER_WIDTH = 660;
  const UNSTABLE = "7 5"; // dashes
  const BAND = "1 3";

  // --- ranges of axes

  class Extent {
    constructor(logarithmic) {
      this.logarithmic = logarithmic;
      this.min = Infinity;
      this.max = -Infinity;
    }
    add(values, lower = -Infinity, upper = Infinity) {
      for (const value of values) {
        if (value === null || (this.logarithmic && value <= 0)) continue;
        const moved = Math.min(Math.max(value, lower), upper);
        this.min = Math.min(this.min, moved);
        this.max = Math.max(this.max, moved);
      }
      return this;
    }
    get empty() {
      return !(this.min <= this.max);
    }
    padded(share) {
      if (this.empty) return this.logarithmic ? [1, 10] : [0, 1];
      if (this.logarithmic) {
        const factor = Math.pow(Math.max(this.max / this.min, 1.5), share);
        return [this.min / factor, this.max * factor];
      }
      const air = share * (this.max - this.min || Math.abs(this.max) || 1);
      const crosses = (end, moved) => end !== 0 && end * moved <= 0;
      return [
        crosses(this.min, this.min - air) ? 0 : this.min - air,
        crosses(this.max, this.max + air) ? 0 : this.max + air,
      ];
    }
  }

  /** What a panel shows before anyone zooms: every point and computed line, and of fitted ones what is near points. */
  function homeRange(curves, axis, logarithmic, fromZero) {
    const side = axis === "x" ? 0 : 1;
    const extent = new Extent(logarithmic);
    for (const curve of curves) extent.add(curve.points[side]).add(curve.dropped?.[side] ?? []);
    const span = extent.max - extent.min;
    const near = axis === "y" && !logarithmic && span > 0 ? [extent.min - span, extent.max + span] : [];
    for (const curve of curves) {
      // A line that was computed has no points to run away from.
      const isComputed = !isDrawn(curve.points);
      for (const line of [curve.stable, curve.unstable, curve.lower, curve.upper]) {
        if (!logarithmic || isComputed) extent.add(line[side], ...(isComputed ? [] : near));
      }
    }
    if (fromZero && !logarithmic) extent.add([0]);
    return extent.padded(axis === "x" ? 0.03 : 0.05);
  }

  function residualRange(curves, errors) {
    const extent = new Extent(false).add([0]);
    for (const curve of curves) extent.add(errors(curve));
    const [min, max] = extent.padded(0.08);
    return min === max ? [-1, 1] : [min === 0 ? -0.08 * max : min, max === 0 ? -0.08 * min : max];
  }

  /** The drawn line between its points. */
  function valueAt([xs, ys], x) {
    for (let i = 1; i < xs.length; ++i) {
      if (ys[i - 1] === null || ys[i] === null || (xs[i - 1] - x) * (xs[i] - x) > 0 || xs[i] === xs[i - 1]) continue;
      return ys[i - 1] + ((ys[i] - ys[i - 1]) * (x - xs[i - 1])) / (xs[i] - xs[i - 1]);
    }
    return null;
  }

  const capital = (text) => text[0].toUpperCase() + text.slice(1);
  const grouped = (count) => String(count).replace(/\B(?=(\d{3})+$)/g, "\u202f");

  const COLOURS = 7;
  const isDrawn = (line) => line[0].length > 0;

  /** A curve with what it looks like. */
  const styled = (curve) => ({ ...curve, colour: `var(--curve-${curve.index % COLOURS})`, dash: "" });
  /** A curve for comparison: like the others, but grey and dotted. */
  const overlaid = ({ name, points }, place) => ({
    name, points, index: place + 2, colour: "var(--overlay)", dash: "2 4",
    residual: [], stable: points, unstable: [[], []], lower: [[], []], upper: [[], []],
  });

  class Panel {
    constructor(panel, options = {}) {
      this.panel = panel;
      this.options = options;
      this.relative = options.relative ?? false;
      this.curves = [...panel.curves.map(styled), ...panel.overlays.map(overlaid)];
      this.shown = this.curves.map(() => true);
      this.measured = true;
      this.fitted = true;
      this.readout = element("p", { class: "readout" });
      this.thinned = element("p", { class: "thinned" });
      this.chart = this.makeChart();
      this.residuals = this.curves.some((curve) => curve.residual.length > 0) ? this.makeResiduals() : null;
      this.charts = [this.chart, this.residuals].filter(Boolean);
      this.element = element("div", { class: "panel" });
      if (panel.title) this.element.append(element("h3", {}, panel.title));
      this.element.append(this.controls(), this.chart.element, this.readout);
      if (this.residuals) this.element.append(this.residuals.element);
      this.element.append(this.thinned);
      this.point(null);
      this.fitPlace();
    }

    controls() {
      const { panel, curves } = this;
      const names = element("div", { class: "controls" });
      curves.forEach((curve, i) => {
        const chip = toggle(curve.name, `curve-${i}`, true, (on) => this.show(() => (this.shown[i] = on)));
        chip.prepend(Chart.sample({
          colour: curve.colour, mark: isDrawn(curve.points) ? curve.index : undefined,
          dash: isDrawn(curve.stable) ? curve.dash : isDrawn(curve.unstable) ? UNSTABLE : undefined,
        }));
        names.append(chip);
      });
      const switches = element("div", { class: "controls switches" });
      if (curves.some((curve) => isDrawn(curve.points))) {
        switches.append(
          toggle("Measured", "measured", true, (on) => this.show(() => (this.measured = on))));
        if (panel.lines) {
          switches.append(toggle(capital(panel.lines), "fitted", true, (on) => this.show(() => (this.fitted = on))));
        }
      }
      for (const axis of ["x", "y"]) {
        const side = axis === "x" ? 0 : 1;
        const isOn = this.chart[axis].logarithmic;
        const made = toggle(`Log ${axis}`, `log-${axis}`, isOn, (on) => this.setLogarithmic(axis, on));
        const isPositive = (line) => line[side].some((value) => value > 0);
        made.disabled = !curves.some((curve) => isPositive(curve.points) || isPositive(curve.stable));
        switches.append(made);
      }
      if (this.residuals) {
        switches.append(toggle("Relative residuals", "relative", this.relative, (on) => this.setRelative(on)));
      }
      switches.append(button("Reset zoom", "reset", () => this.reset()), ...this.tools());
      return element("div", {}, names, switches);
    }

    tools() {
      return [];
    }

    besides() {
      return [];
    }

    // --- charts

    makeChart() {
      const { panel, curves } = this;
      const marks = curves.map((curve, i) => ({
        curve: i, measured: true, colour: curve.colour, mark: curve.index, x: curve.points[0], y: curve.points[1],
      }));
      const line = (i, [x, y], dash) => ({ curve: i, measured: false, colour: curves[i].colour, dash, x, y });
      const band = (curve, i) => (panel.band ? [line(i, curve.lower, BAND), line(i, curve.upper, BAND)] : []);
      const all = (curve, i) => [
        ...band(curve, i), line(i, curve.stable, curve.dash), line(i, curve.unstable, UNSTABLE),
      ];
      const lines = curves.flatMap(all);
      const notes = panel.marks.map(({ x, y, label, index }) => {
        const owner = curves.findIndex((curve) => curve.index === index);
        return { x, y, text: label, curve: owner, measured: false, colour: curves[owner].colour };
      });
      const axis = (name) => ({
        label: panel[name].label, logarithmic: panel[name].logarithmic, home: () => this.home(name),
      });
      return new Chart({
        x: axis("x"), y: axis("y"), series: [...marks, ...lines, ...this.besides()], notes,
        onView: () => this.follow(this.chart), onPoint: (x) => this.point(x),
      });
    }

    makeResiduals() {
      const { panel, curves } = this;
      return new Chart({
        x: { label: panel.x.label, logarithmic: panel.x.logarithmic, home: () => this.home("x") },
        y: { label: this.residualLabel, logarithmic: false,
          home: () => residualRange(this.visibleCurves, (curve) => this.errors(curve)) },
        series: curves.map((curve, i) => ({
          curve: i, measured: true, colour: curve.colour, mark: curve.index,
          x: curve.residual.length > 0 ? curve.points[0] : [], y: this.errors(curve),
        })),
        zeroLine: true, onView: () => this.follow(this.residuals), onPoint: (x) => this.point(x),
      });
    }

    get residualLabel() {
      const unit = this.relative ? "%" : this.panel.y.unit;
      return "residual" + (unit ? ` (${unit})` : "");
    }

    /** measured - fitted, or 1 - fitted / measured in per cent. */
    errors(curve) {
      const measured = curve.points[1];
      return curve.residual.map((value, i) => {
        if (value === null || !this.relative) return value;
        return measured[i] === 0 ? null : (100 * value) / measured[i];
      });
    }

    get visibleCurves() {
      const visible = this.curves.filter((curve, i) => this.shown[i]);
      return visible.length > 0 ? visible : this.curves;
    }

    home(axis) {
      // The axes ask for it first while the chart is being made.
      const logarithmic = this.chart?.[axis].logarithmic ?? this.panel[axis].logarithmic;
      return homeRange(this.visibleCurves, axis, logarithmic, this.panel[axis].fromZero);
    }

    // --- what buttons do

    show(change) {
      change();
      for (const chart of this.charts) {
        for (const one of [...chart.series, ...chart.notes]) {
          if (one.curve === undefined) continue;
          one.hidden = !this.shown[one.curve] || !(one.measured ? this.measured : this.fitted);
        }
        chart.draw();
      }
    }

    setLogarithmic(axis, on) {
      this.chart.setLogarithmic(axis, on);
      if (axis === "x") this.residuals?.setLogarithmic(axis, on);
      this.redraw();
    }

    setRelative(on) {
      this.relative = on;
      this.curves.forEach((curve, i) => this.residuals.setOrdinates(i, this.errors(curve)));
      this.residuals.y.label = this.residualLabel;
      this.residuals.y.reset();
      this.redraw();
    }

    reset() {
      for (const chart of this.charts) chart.reset();
      this.redraw();
    }

    // --- charts together

    /** Chart and residuals share their abscissa, and begin at the same place. */
    follow(drawn) {
      const { min, max } = drawn.x;
      for (const chart of this.charts) {
        if (chart !== drawn && (chart.x.min !== min || chart.x.max !== max)) chart.show({ x: [min, max] });
      }
      if (this.leftNeeded > drawn.left) this.redraw();
      this.sayWhatIsThinned();
    }

    get leftNeeded() {
      return Math.max(...this.charts.map((chart) => chart.leftNeeded));
    }

    redraw(width = this.chart.width) {
      const left = this.leftNeeded;
      this.chart.resize(width, width < 560 ? HEIGHT.narrow : HEIGHT.wide, left);
      this.residuals?.resize(width, HEIGHT.residuals, left);
    }

    fitPlace() {
      let onPaper = false;
      const fit = () => {
        const width = onPaper ? PAPER_WIDTH : Math.max(this.element.clientWidth, 240);
        if (width !== this.chart.width) this.redraw(width);
      };
      const observer = new ResizeObserver(fit);
      observer.observe(this.element);
      const ended = new AbortController();
      this.leave = () => {
        observer.disconnect();
        ended.abort();
      };
      const to = (paper) => () => {
        onPaper = paper;
        for (const chart of this.charts) chart.showAll(paper);
        fit();
      };
      window.addEventListener("beforeprint", to(true), { signal: ended.signal });
      window.addEventListener("afterprint", to(false), { signal: ended.signal });
    }

    // --- words

    point(x) {
      for (const chart of this.charts) chart.point(x);
      if (x === null) {
        const dashed = this.curves.some((curve) => isDrawn(curve.unstable)) ? " Dashed: unstable." : "";
        const dotted = this.panel.band ? ` Dotted: ${this.panel.band}.` : "";
        this.readout.textContent = `Drag or pinch to zoom, double-click to see all.${dashed}${dotted}`;
        return;
      }
      const values = this.curves.flatMap((curve, i) => {
        const value = this.shown[i] ? (valueAt(curve.stable, x) ?? valueAt(curve.unstable, x)) : null;
        return value === null ? [] : [`${curve.name} ${numberText(value, 4)}`];
      });
      this.readout.textContent = [`${this.panel.x.label}: ${numberText(x, 4)}`, ...values].join("   ·   ");
    }

    sayWhatIsThinned() {
      const { drawn, of } = this.chart.thinned;
      const some = `Of ${grouped(of)} measured points here, ${grouped(drawn)} are drawn; the others lie beneath them.`;
      this.thinned.textContent = drawn === of ? "" : `${some} Zoom in to see more.`;
    }
  }
  return Panel;
})();
