"use strict";

// Draws the panels of a report with uPlot: measured points, the model's line, its unstable ranges dashed, and below them
// the residuals. All numbers come from the page; nothing is fitted or evaluated here.
(() => {
  const CHART_HEIGHT = { wide: 420, narrow: 320 };
  const RESIDUAL_HEIGHT = 170;
  const PAPER_WIDTH = 660;
  const AXIS_WIDTH = 70;
  const FONT = '12px system-ui, "DejaVu Sans", sans-serif';
  const RATIO = uPlot.pxRatio; // pixels of a canvas to one of the page
  const INK = "#44505c";
  const GRID = "#e6eaee";

  // --- numbers

  const superscript = (exponent) => String(exponent).replace(/./g, (c) => (c === "-" ? "⁻" : "⁰¹²³⁴⁵⁶⁷⁸⁹"[c]));

  function numberText(value, digits = 6) {
    if (value === 0) return "0";
    const size = Math.abs(value);
    if (size >= 1e-3 && size < 1e6) return String(Number(value.toPrecision(digits)));
    const [mantissa, exponent] = value.toExponential(digits - 1).split("e");
    const factor = Number(mantissa);
    const power = "10" + superscript(Number(exponent));
    return factor === 1 ? power : `${factor}·${power}`;
  }

  const decades = (min, max) => Math.log10(max / min);

  function logarithmicTicks(min, max) {
    const ticks = [];
    for (let exponent = Math.floor(Math.log10(min)); exponent <= Math.log10(max); ++exponent) {
      for (let digit = 1; digit < 10; ++digit) {
        const tick = Number(`${digit}e${exponent}`);
        if (tick >= min && tick <= max) ticks.push(tick);
      }
    }
    return ticks;
  }

  /** Which of the ticks of a logarithmic axis bear a label when there is room for about `room` of them. */
  function labelled(ticks, min, max, room) {
    const span = decades(min, max);
    const digits = span * 9 <= room ? "123456789" : span * 3 <= room ? "125" : "1";
    const every = Math.max(1, Math.ceil(span / room));
    return ticks.map((tick) => {
      const [mantissa, exponent] = tick.toExponential().split("e");
      return digits.includes(mantissa[0]) && Number(exponent) % every === 0 ? tick : null;
    });
  }

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

  /** What a panel shows before anyone zooms: every point, and of the lines what stays near them. */
  function homeRange(curves, axis, logarithmic, fromZero) {
    const side = axis === "x" ? 0 : 1;
    const extent = new Extent(logarithmic);
    for (const curve of curves) extent.add(curve.points[side]);
    const span = extent.max - extent.min;
    const near = axis === "y" && !logarithmic && span > 0 ? [extent.min - span, extent.max + span] : [];
    const nothingMeasured = extent.empty;
    for (const curve of curves) {
      for (const line of [curve.stable, curve.unstable]) {
        if (!logarithmic || nothingMeasured) extent.add(line[side], ...near);
      }
    }
    if (fromZero && !logarithmic) extent.add([0]);
    return extent.padded(axis === "x" ? 0.03 : 0.05);
  }

  function residualRange(curves) {
    const extent = new Extent(false).add([0]);
    for (const curve of curves) extent.add(curve.errors[1]);
    const [min, max] = extent.padded(0.08);
    return min === max ? [-1, 1] : [min === 0 ? -0.08 * max : min, max === 0 ? -0.08 * min : max];
  }

  // --- drawing

  const FAR = 1e5; // pixels beyond which a canvas loses precision

  function position(u, value, scale) {
    if (value === null || (u.scales[scale].distr === 3 && value <= 0)) return null;
    return Math.min(Math.max(u.valToPos(value, scale, true), -FAR), FAR);
  }

  function eachPosition(u, series, visit) {
    const [xs, ys] = u.data[series];
    for (let i = 0; i < xs.length; ++i) visit(position(u, xs[i], "x"), position(u, ys[i], "y"));
  }

  function linePath(u, series) {
    const stroke = new Path2D();
    let drawing = false;
    eachPosition(u, series, (x, y) => {
      if (x === null || y === null) {
        drawing = false;
      } else if (drawing) {
        stroke.lineTo(x, y);
      } else {
        stroke.moveTo(x, y);
        drawing = true;
      }
    });
    return { stroke, fill: null, clip: null, flags: 0 };
  }

  const MARKS = [
    (path, x, y, r) => path.arc(x, y, r, 0, 2 * Math.PI),
    (path, x, y, r) => path.rect(x - 0.85 * r, y - 0.85 * r, 1.7 * r, 1.7 * r),
    (path, x, y, r) => polygon(path, [[x, y - 1.1 * r], [x + 1.1 * r, y + 0.8 * r], [x - 1.1 * r, y + 0.8 * r]]),
    (path, x, y, r) => polygon(path, [[x, y - 1.2 * r], [x + 1.2 * r, y], [x, y + 1.2 * r], [x - 1.2 * r, y]]),
    (path, x, y, r) => polygon(path, [[x, y + 1.1 * r], [x + 1.1 * r, y - 0.8 * r], [x - 1.1 * r, y - 0.8 * r]]),
  ];

  function polygon(path, corners) {
    corners.forEach(([x, y], i) => (i === 0 ? path.moveTo(x, y) : path.lineTo(x, y)));
    path.closePath();
  }

  const marksPath = (mark) => (u, series) => {
    const marks = new Path2D();
    eachPosition(u, series, (x, y) => {
      if (x === null || y === null) return;
      const one = new Path2D();
      mark(one, x, y, 4.2 * RATIO);
      marks.addPath(one);
    });
    return { stroke: marks, fill: marks, clip: null, flags: 0 };
  };

  const FACETS = [{ scale: "x", auto: false }, { scale: "y", auto: false }];
  const line = (curve, dash) => ({
    stroke: curve.colour, width: 2, dash, facets: FACETS, paths: linePath, points: { show: false },
  });
  const marks = (curve) => ({
    stroke: curve.colour, fill: curve.colour + "40", width: 1.2, facets: FACETS,
    paths: marksPath(MARKS[curve.index % MARKS.length]), points: { show: false },
  });

  function axisOptions(axis, logarithmic, spacing) {
    const options = {
      scale: axis.scale, label: axis.label, font: FONT, labelFont: FONT, stroke: INK, labelSize: 22,
      space: spacing, size: axis.scale === "y" ? AXIS_WIDTH : 34,
      grid: { stroke: GRID, width: 1 }, ticks: { stroke: GRID, width: 1, size: 5 },
      values: (u, ticks) => ticks.map((tick) => (tick === null ? "" : numberText(tick))),
    };
    if (logarithmic) {
      // Within less than a decade the ticks of a linear axis tell more.
      const room = (u) => (axis.scale === "y" ? u.height - 64 : u.width - AXIS_WIDTH) / spacing;
      options.splits = (u, index, min, max) =>
        decades(min, max) > 0.7 ? logarithmicTicks(min, max) : evenTicks(min, max, room(u));
      options.filter = (u, ticks) => {
        const { min, max } = u.scales[axis.scale];
        return decades(min, max) > 0.7 ? labelled(ticks, min, max, room(u)) : ticks;
      };
    }
    return options;
  }

  function evenTicks(min, max, room) {
    const rough = (max - min) / Math.max(room, 2);
    const power = Math.pow(10, Math.floor(Math.log10(rough)));
    const step = [1, 2, 5, 10].find((digit) => digit * power >= rough) * power;
    const ticks = [];
    for (let i = Math.ceil(min / step); i * step <= max; ++i) ticks.push(Number((i * step).toPrecision(12)));
    return ticks;
  }

  // --- elements

  function element(tag, attributes = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
    made.append(...children);
    return made;
  }

  function button(text, name, pressed, act) {
    const made = element("button", { type: "button", "data-name": name }, text);
    if (pressed !== null) made.setAttribute("aria-pressed", pressed);
    made.addEventListener("click", () => {
      if (pressed === null) return act();
      const now = made.getAttribute("aria-pressed") !== "true";
      made.setAttribute("aria-pressed", now);
      act(now);
    });
    return made;
  }

  /** Two fingers zoom and move what they hold. */
  function pinchable(u) {
    const area = u.over;
    let start = null;
    const grip = (touches) => {
      const box = area.getBoundingClientRect();
      const [a, b] = [touches[0], touches[1]].map((t) => [t.clientX - box.left, t.clientY - box.top]);
      return { x: (a[0] + b[0]) / 2, y: (a[1] + b[1]) / 2, size: Math.hypot(a[0] - b[0], a[1] - b[1]) };
    };
    area.addEventListener("touchstart", (event) => {
      if (event.touches.length !== 2) return;
      event.preventDefault();
      start = { grip: grip(event.touches), scales: ["x", "y"].map((k) => ({ ...u.scales[k] })) };
    }, { passive: false });
    area.addEventListener("touchmove", (event) => {
      if (!start || event.touches.length !== 2) return;
      event.preventDefault();
      const now = grip(event.touches);
      const factor = start.grip.size / Math.max(now.size, 1);
      const size = { x: area.clientWidth, y: area.clientHeight };
      u.batch(() => {
        for (const scale of start.scales) {
          const key = scale === start.scales[0] ? "x" : "y";
          const logarithmic = scale.distr === 3;
          const [low, high] = [scale.min, scale.max].map((v) => (logarithmic ? Math.log10(v) : v));
          const share = (at) => (key === "x" ? at / size.x : 1 - at / size.y);
          const held = low + share(start.grip[key]) * (high - low);
          const span = (high - low) * factor;
          const from = held - share(now[key]) * span;
          const [min, max] = [from, from + span].map((v) => (logarithmic ? Math.pow(10, v) : v));
          u.setScale(key, { min, max });
        }
      });
    }, { passive: false });
    area.addEventListener("touchend", () => (start = null));
  }

  // --- a panel

  /** A curve for comparison is drawn like the others, in grey and dotted. */
  const overlaid = ({ name, points }, place) => ({
    name, points, index: place + 2, colour: "#808080", residual: [], stable: points, unstable: [[], []], dash: [2, 4],
  });

  class Panel {
    constructor(panel, relative, parent) {
      panel.curves.push(...panel.overlays.map(overlaid));
      this.panel = panel;
      this.shown = panel.curves.map(() => true);
      this.measured = true;
      this.fitted = true;
      this.logarithmic = { x: panel.x.logarithmic, y: panel.y.logarithmic };
      this.relative = relative;
      this.hasResiduals = panel.curves.some((curve) => curve.residual.length > 0);
      this.chartPlace = element("div", { class: "chart" });
      this.residualPlace = element("div", { class: "chart residual" });
      this.readout = element("p", { class: "readout", "aria-live": "off" });
      this.root = element("div", { class: "panel" });
      if (panel.title) this.root.append(element("h3", {}, panel.title));
      this.root.append(this.controls(), this.chartPlace, this.readout, this.residualPlace);
      parent.append(this.root);
      this.build();
    }

    controls() {
      const { panel } = this;
      const bar = element("div", { class: "controls" });
      panel.curves.forEach((curve, i) => {
        const chip = button(curve.name, `curve-${i}`, true, (on) => this.show(() => (this.shown[i] = on)));
        const sample = element("span", { class: "sample" });
        sample.style.background = curve.colour;
        chip.prepend(sample);
        bar.append(chip);
      });
      bar.append(element("span", { class: "space" }));
      const add = (...all) => {
        const made = button(...all);
        made.classList.add("switch");
        bar.append(made);
        return made;
      };
      if (panel.curves.some((curve) => curve.points[0].length > 0)) {
        add("Measured", "measured", true, (on) => this.show(() => (this.measured = on)));
        add(panel.lines[0].toUpperCase() + panel.lines.slice(1), "fitted", true, (on) => this.show(() => (this.fitted = on)));
      }
      for (const key of ["x", "y"]) {
        const made = add(`Log ${key}`, `log-${key}`, this.logarithmic[key], (on) => {
          this.logarithmic[key] = on;
          this.build();
        });
        const side = key === "x" ? 0 : 1;
        made.disabled = !panel.curves.some((c) => [c.points, c.stable].some((l) => l[side].some((v) => v > 0)));
      }
      if (this.hasResiduals) {
        add("Relative residuals", "relative", this.relative, (on) => {
          this.relative = on;
          this.build();
        });
      }
      add("Reset zoom", "reset", null, () => this.reset());
      return bar;
    }

    show(change) {
      change();
      for (const u of this.plots()) {
        u.series.forEach((series, i) => i > 0 && (series.show = this.visible(series.role)));
        u.redraw(true, false);
      }
    }

    visible({ curve, measured }) {
      return this.shown[curve] && (measured ? this.measured : this.fitted);
    }

    plots() {
      return [this.chart, this.residuals].filter(Boolean);
    }

    get visibleCurves() {
      const visible = this.panel.curves.filter((curve, i) => this.shown[i]);
      return visible.length > 0 ? visible : this.panel.curves;
    }

    /** Draws anew, because uPlot keeps the kind of an axis for life. */
    build() {
      for (const u of this.plots()) u.destroy();
      this.residuals = null;
      for (const curve of this.panel.curves) curve.errors = this.errors(curve);
      this.chart = this.buildChart();
      if (this.hasResiduals) this.residuals = this.buildResiduals();
      this.root.charts = this.plots();
      this.say();
    }

    buildChart() {
      const { panel } = this;
      const series = [{}];
      const data = [null];
      const add = (drawn, values, role) => {
        series.push({ ...drawn, role, show: this.visible(role) });
        data.push(values);
      };
      panel.curves.forEach((curve, i) => add(marks(curve), curve.points, { curve: i, measured: true }));
      panel.curves.forEach((curve, i) => {
        add(line(curve, curve.dash), curve.stable, { curve: i, measured: false });
        add(line(curve, [7, 5]), curve.unstable, { curve: i, measured: false });
      });
      const home = { x: () => this.home("x"), y: () => this.home("y") };
      return this.plot(this.chartPlace, series, data, home, this.logarithmic, [panel.x.label, panel.y.label]);
    }

    buildResiduals() {
      const { panel } = this;
      const series = [{}];
      const data = [null];
      panel.curves.forEach((curve, i) => {
        const role = { curve: i, measured: true };
        series.push({ ...marks(curve), role, show: this.visible(role) });
        data.push(curve.errors);
      });
      const home = { x: () => this.home("x"), y: () => residualRange(this.visibleCurves) };
      const kinds = { x: this.logarithmic.x, y: false };
      const unit = this.relative ? "%" : panel.y.unit;
      const label = "residual" + (unit ? ` (${unit})` : "");
      return this.plot(this.residualPlace, series, data, home, kinds, [panel.x.label, label]);
    }

    /** Residuals at their abscissae: measured - fitted, or 1 - fitted / measured in per cent. */
    errors(curve) {
      const [x, y] = curve.points;
      if (curve.residual.length === 0) return [[], []];
      return [x, curve.residual.map((value, i) => {
        if (value === null || !this.relative) return value;
        return y[i] === 0 ? null : (100 * value) / y[i];
      })];
    }

    home(axis) {
      return homeRange(this.visibleCurves, axis, this.logarithmic[axis], this.panel[axis].fromZero);
    }

    plot(place, series, data, home, logarithmic, labels) {
      const main = place === this.chartPlace;
      const scale = (key) => ({ time: false, auto: false, distr: logarithmic[key] ? 3 : 1, log: 10, range: home[key] });
      const u = new uPlot({
        ...this.size(place), mode: 2, series,
        legend: { show: false }, scales: { x: scale("x"), y: scale("y") },
        axes: [
          axisOptions({ scale: "x", label: labels[0] }, logarithmic.x, 64),
          axisOptions({ scale: "y", label: labels[1] }, logarithmic.y, main ? 34 : 26),
        ],
        padding: [8, 14, 0, 0],
        cursor: {
          points: { show: false }, y: main, drag: { x: true, y: main, uni: main ? 24 : null, dist: 4 },
          dataIdx: () => null,
        },
        hooks: {
          setScale: [(self, key) => key === "x" && this.follow(self)],
          setCursor: [(self) => main && this.say(self)],
          drawAxes: [(self) => !main && zeroLine(self)],
          draw: [(self) => main && this.drawMarks(self)],
        },
      }, data, place);
      pinchable(u);
      return u;
    }

    /** Named points, with names on alternate sides so that neighbours leave each other room. */
    drawMarks(u) {
      const { ctx, bbox } = u;
      ctx.save();
      ctx.beginPath();
      ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
      ctx.clip();
      ctx.font = FONT.replace("12px", `${12 * RATIO}px`);
      ctx.lineWidth = 2 * RATIO;
      ctx.setLineDash([]);
      this.panel.marks.forEach(({ x, y, label, index }, i) => {
        const owner = this.panel.curves.findIndex((curve) => curve.index === index);
        const [left, top] = [position(u, x, "x"), position(u, y, "y")];
        if (left === null || top === null || !this.visible({ curve: owner, measured: false })) return;
        ctx.strokeStyle = ctx.fillStyle = this.panel.curves[owner].colour;
        ctx.beginPath();
        ctx.arc(left, top, 4 * RATIO, 0, 2 * Math.PI);
        ctx.stroke();
        ctx.textAlign = i % 2 === 0 ? "left" : "right";
        ctx.fillText(label, left + (i % 2 === 0 ? 8 : -8) * RATIO, top + 14 * RATIO);
      });
      ctx.restore();
    }

    size(place) {
      const paper = Panel.onPaper ? PAPER_WIDTH : 0;
      const width = paper || Math.max(this.root.clientWidth, 240);
      const height = width < 560 ? CHART_HEIGHT.narrow : CHART_HEIGHT.wide;
      return { width, height: place === this.chartPlace ? height : RESIDUAL_HEIGHT };
    }

    resize() {
      this.chart.setSize(this.size(this.chartPlace));
      if (this.residuals) this.residuals.setSize(this.size(this.residualPlace));
    }

    /** Chart and residuals share their abscissa. */
    follow(self) {
      const { min, max } = self.scales.x;
      for (const u of this.plots()) {
        if (u !== self && (u.scales.x.min !== min || u.scales.x.max !== max)) u.setScale("x", { min, max });
      }
    }

    reset() {
      for (const u of this.plots()) {
        u.batch(() => {
          u.setScale("x", { min: null, max: null });
          u.setScale("y", { min: null, max: null });
        });
      }
    }

    say(u) {
      if (!u || !(u.cursor.left >= 0)) {
        this.readout.textContent = "Drag or pinch to zoom, double-click to see all. Dashed: unstable.";
        if (!this.panel.curves.some((curve) => curve.unstable[0].length > 0)) {
          this.readout.textContent = "Drag or pinch to zoom, double-click to see all.";
        }
        return;
      }
      const x = u.posToVal(u.cursor.left, "x");
      const parts = this.panel.curves.flatMap((curve, i) => {
        const value = this.shown[i] ? (valueAt(curve.stable, x) ?? valueAt(curve.unstable, x)) : null;
        return value === null ? [] : [`${curve.name} ${numberText(value, 4)}`];
      });
      this.readout.textContent = [`${this.panel.x.label}: ${numberText(x, 4)}`, ...parts].join("   ·   ");
    }
  }

  function zeroLine(u) {
    const y = u.valToPos(0, "y", true);
    u.ctx.save();
    u.ctx.strokeStyle = INK;
    u.ctx.lineWidth = RATIO;
    u.ctx.setLineDash([]);
    u.ctx.beginPath();
    u.ctx.moveTo(u.bbox.left, y);
    u.ctx.lineTo(u.bbox.left + u.bbox.width, y);
    u.ctx.stroke();
    u.ctx.restore();
  }

  /** The drawn line between its points. */
  function valueAt([xs, ys], x) {
    for (let i = 1; i < xs.length; ++i) {
      if (ys[i - 1] === null || ys[i] === null || (xs[i - 1] - x) * (xs[i] - x) > 0 || xs[i] === xs[i - 1]) continue;
      return ys[i - 1] + ((ys[i] - ys[i - 1]) * (x - xs[i - 1])) / (xs[i] - xs[i - 1]);
    }
    return null;
  }

  // --- the page

  const figure = JSON.parse(document.getElementById("figure-data").textContent);
  const section = document.getElementById("figure");
  const panels = figure.panels.map((panel) => new Panel(panel, figure.relative, section));
  const resizeAll = () => panels.forEach((panel) => panel.resize());

  let width = section.clientWidth;
  new ResizeObserver(() => {
    if (Panel.onPaper || section.clientWidth === width) return;
    width = section.clientWidth;
    resizeAll();
  }).observe(section);
  const toPaper = (onPaper) => {
    Panel.onPaper = onPaper;
    resizeAll();
  };
  window.addEventListener("beforeprint", () => toPaper(true));
  window.addEventListener("afterprint", () => toPaper(false));
})();
