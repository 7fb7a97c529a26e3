"use strict";

/** Up to `digits` digits, with a power of ten where asked for and where zeros would hide the number. */
function numberText(value, digits = 6, power = false) {
  if (value === 0) return "0";
  const size = Math.abs(value);
  const minus = value < 0 ? "−" : "";
  if (!power && size >= 1e-3 && size < 1e6) return minus + Number(size.toPrecision(digits));
  const [mantissa, exponent] = size.toExponential(digits - 1).split("e");
  const tens = "10" + String(Number(exponent)).replace(/./g, (c) => (c === "-" ? "⁻" : "⁰¹²³⁴⁵⁶⁷⁸⁹"[c]));
  return minus + (Number(mantissa) === 1 ? tens : `${Number(mantissa)}·${tens}`);
}

/**
 * A chart in SVG: points and lines by the ten thousand over linear or logarithmic axes, to be zoomed and moved by
 * mouse, fingers and keys. It asks for nothing but its data; what it looks like is written in chart.css.
 *
 *   const chart = new Chart({
 *     x: { label: "strain", logarithmic: false, home: () => [0, 2] },  // what is shown until someone zooms
 *     y: { label: "stress (MPa)", logarithmic: false, home: () => [0, 5] },
 *     series: [{ x, y, colour: "var(--curve-0)", mark: 0 }, { x, y, colour: "var(--curve-0)", dash: "7 5" }],
 *     notes: [{ x: 0, y: 0.2, text: "plane strain", colour: "var(--curve-0)" }],
 *     zeroLine: false,
 *     onView: (chart) => {},        // after every drawing
 *     onPoint: (x) => {},           // the abscissa under the pointer, or null
 *     onSelect: null,               // a function takes what is dragged out, ranges { x, y } of which one may be null, in
 *                                   // the place of zooming; it can be set and taken away later
 *     onKey: () => false,           // true: the key was meant for someone else
 *   });
 *   parent.append(chart.element);
 *   chart.resize(width, height);    // and again whenever its place changes
 *
 * A series may have a `look`, a class of its own for chart.css. One with `mark` is drawn as points, any other as a line that breaks where an ordinate is null; `hidden` can be
 * set on series and notes, followed by draw(). What cannot be told apart on the screen is drawn once: of points that
 * cover each other one, of a line through the same column of pixels its ends and extremes. `chart.thinned` tells how
 * many points that left.
 */
const Chart = (() => {
  const ROOM = { top: 8, right: 14, bottom: 46 };
  const TICK_SPACE = { x: 72, y: 30 };
  const MOST_MARKS = 3000;
  const DENSE = 600; // marks that are drawn so pale that lines stand out
  const FAR = 1e6; // pixels beyond which a browser loses precision
  const SELECTS_BOTH = 24; // pixels; what is dragged out less than this far is not zoomed
  const CLICKED = 9; // pixels around a click
  const ZOOM_STEP = 1.25;

  // --- axes

  /** Between values and pixels, of which there are `length` from the left or from the bottom. */
  class Scale {
    constructor({ label, logarithmic, home }, upwards) {
      Object.assign(this, { label, logarithmic, home, upwards, length: 1 });
      this.reset();
    }
    reset() {
      this.range = this.home();
    }
    get range() {
      return [this.min, this.max];
    }
    set range([min, max]) {
      const [from, to] = [this.forward(min), this.forward(max)];
      const tooClose = 1e-9 * Math.max(Math.abs(from), Math.abs(to));
      if (!Number.isFinite(from) || !Number.isFinite(to) || to - from <= tooClose) return;
      Object.assign(this, { min, max, from, to });
    }
    forward(value) {
      if (!this.logarithmic) return value;
      return value > 0 ? Math.log10(value) : NaN;
    }
    pixel(value) {
      const share = (this.forward(value) - this.from) / (this.to - this.from);
      return (this.upwards ? 1 - share : share) * this.length;
    }
    value(pixel) {
      const share = this.upwards ? 1 - pixel / this.length : pixel / this.length;
      const place = this.from + share * (this.to - this.from);
      return this.logarithmic ? Math.pow(10, place) : place;
    }
    /** What one sees after `factor` of the pixels fill all of them and `held` has moved to `pixel`. */
    stretched(factor, held, pixel) {
      const at = (end) => this.value(held + (end - pixel) * factor);
      return this.upwards ? [at(this.length), at(0)] : [at(0), at(this.length)];
    }
    /** Values with a tick, and of these the ones with a number. */
    ticks(space) {
      const room = Math.max(2, this.length / space);
      if (!this.logarithmic || this.to - this.from < 0.7) {
        const all = evenTicks(this.min, this.max, room);
        return { all, labelled: all };
      }
      return logarithmicTicks(this.from, this.to, room);
    }
  }

  function evenTicks(min, max, room) {
    const rough = (max - min) / room;
    const power = Math.pow(10, Math.floor(Math.log10(rough)));
    const step = [1, 2, 2.5, 5, 10].find((digit) => digit * power >= rough * 0.999) * power;
    const ticks = [];
    for (let i = Math.ceil(min / step); i * step <= max; ++i) ticks.push(Number((i * step).toPrecision(12)));
    return ticks;
  }

  /** Every decade as long as that can be read, every digit within few of them. */
  function logarithmicTicks(from, to, room) {
    const span = to - from;
    const drawn = span > 2 * room ? "1" : "123456789";
    const fits = (closest) => Math.log10(closest) * room >= 0.7 * span;
    const numbered = fits(10 / 9) ? "123456789" : fits(2) ? "125" : "1";
    const every = Math.ceil(span / room);
    const ticks = { all: [], labelled: [] };
    for (let exponent = Math.floor(from); exponent <= to; ++exponent) {
      for (const digit of drawn) {
        const tick = Number(`${digit}e${exponent}`);
        if (Math.log10(tick) < from || Math.log10(tick) > to) continue;
        ticks.all.push(tick);
        if (numbered.includes(digit) && exponent % every === 0) ticks.labelled.push(tick);
      }
    }
    return ticks;
  }

  /** Numbers of ticks; on a logarithmic axis all of them as powers of ten when one of them needs it. */
  function tickTexts(scale, ticks) {
    const powers = scale.logarithmic && ticks.some((tick) => tick < 1e-3 || tick >= 1e6);
    return ticks.map((tick) => numberText(tick, 6, powers));
  }

  // --- what is drawn of many points

  const OUTLINES = [
    (r) => `m${-r} 0a${r} ${r} 0 1 0 ${2 * r} 0a${r} ${r} 0 1 0 ${-2 * r} 0z`,
    (r) => polygon([[-0.85, -0.85], [0.85, -0.85], [0.85, 0.85], [-0.85, 0.85]], r),
    (r) => polygon([[0, -1.1], [1.1, 0.8], [-1.1, 0.8]], r),
    (r) => polygon([[0, -1.2], [1.2, 0], [0, 1.2], [-1.2, 0]], r),
    (r) => polygon([[0, 1.1], [1.1, -0.8], [-1.1, -0.8]], r),
  ];
  const round = (pixel) => Math.round(pixel * 10) / 10;

  /** Relative to the centre, and back to it at the end. */
  function polygon(corners, r) {
    const steps = corners.map(([x, y], i) => {
      const [fromX, fromY] = i === 0 ? [0, 0] : corners[i - 1];
      return `${i === 0 ? "m" : "l"}${round((x - fromX) * r)} ${round((y - fromY) * r)}`;
    });
    return steps.join("") + "z";
  }
  const outline = (mark, r) => OUTLINES[mark % OUTLINES.length](r);

  /** Of points [left, top], those of which none covers another; what is far from all others is always among them. */
  function apart(points, width, height, most) {
    let kept = points;
    for (let cell = 1; kept.length > most; cell *= 1.4) {
      const columns = Math.ceil(width / cell) + 1;
      const taken = new Uint8Array(columns * (Math.ceil(height / cell) + 1));
      kept = kept.filter(([left, top]) => {
        const place = Math.floor(top / cell) * columns + Math.floor(left / cell);
        const free = taken[place] === 0;
        taken[place] = 1;
        return free;
      });
    }
    return kept;
  }

  /** The points of a series on the screen: path, how many it draws, and how many there are. */
  function marksPath(series, x, y) {
    const seen = [];
    for (let i = 0; i < series.x.length; ++i) {
      const [left, top] = [x.pixel(series.x[i]), y.pixel(series.y[i])];
      if (left >= 0 && left <= x.length && top >= 0 && top <= y.length) seen.push([left, top]);
    }
    const kept = apart(seen, x.length, y.length, MOST_MARKS);
    const shape = outline(series.mark, kept.length < DENSE / 4 ? 4.2 : kept.length <= DENSE ? 3.2 : 2.2);
    const path = kept.map(([left, top]) => `M${round(left)} ${round(top)}${shape}`).join("");
    return { path, drawn: kept.length, of: seen.length };
  }

  /** Neighbours in the same column of pixels become up to four: the first, the lowest, the highest and the last. */
  function linePath(series, x, y) {
    const parts = [];
    let run = null;
    let pen = "M";
    const close = () => {
      if (!run) return;
      for (const [, left, top] of [...new Set([run.first, run.low, run.high, run.last])].sort((a, b) => a[0] - b[0])) {
        parts.push(`${pen}${round(left)} ${round(top)}`);
        pen = "L";
      }
      run = null;
    };
    const near = (pixel) => Math.min(Math.max(pixel, -FAR), FAR);
    for (let i = 0; i < series.x.length; ++i) {
      const point = [i, near(x.pixel(series.x[i])), near(y.pixel(series.y[i]))];
      if (Number.isNaN(point[1]) || Number.isNaN(point[2])) {
        close();
        pen = "M";
        continue;
      }
      const column = Math.round(Math.min(Math.max(point[1], -1), x.length + 1));
      if (!run || run.column !== column) {
        close();
        run = { column, first: point, low: point, high: point, last: point };
      }
      if (point[2] > run.low[2]) run.low = point;
      if (point[2] < run.high[2]) run.high = point;
      run.last = point;
    }
    close();
    return parts.join("");
  }

  // --- elements

  function set(element, attributes) {
    for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  }

  function svg(tag, attributes = {}, ...children) {
    const made = document.createElementNS("http://www.w3.org/2000/svg", tag);
    set(made, attributes);
    made.append(...children);
    return made;
  }

  const numbers = (values) => Float64Array.from(values, (value) => value ?? NaN);

  class Chart {
    #parts = {};
    #pointers = new Map();
    #grip = null;
    #selection = null;
    #before = null;

    constructor({ x, y, series, notes = [], zeroLine = false, onView = () => {}, onPoint = () => {}, onSelect = null,
      onKey = () => false }) {
      Object.assign(this, { zeroLine, onView, onPoint, onSelect, onKey, width: 0, height: 0, left: 0 });
      this.x = new Scale(x, false);
      this.y = new Scale(y, true);
      this.series = series.map((one) => ({ ...one, x: numbers(one.x), y: numbers(one.y) }));
      this.notes = notes;
      this.thinned = { drawn: 0, of: 0 };
      this.element = this.#build();
      this.#listen();
    }

    /** What a legend shows of a series: its mark, its line or both. */
    static sample({ colour, mark, dash }) {
      const made = svg("svg", { class: "sample", viewBox: "0 0 22 12", width: 22, height: 12, "aria-hidden": "true" });
      made.style.color = colour;
      if (dash !== undefined) made.append(svg("path", { class: "line", d: "M0 6H22", "stroke-dasharray": dash }));
      if (mark !== undefined) made.append(svg("path", { class: "marks", d: "M11 6" + outline(mark, 4.2) }));
      return made;
    }

    /** What is shown; an axis without a range keeps its own. */
    show({ x, y }) {
      if (x) this.x.range = x;
      if (y) this.y.range = y;
      this.draw();
    }

    /** Everything again. */
    reset() {
      this.x.reset();
      this.y.reset();
      this.draw();
    }

    setLogarithmic(axis, logarithmic) {
      this[axis].logarithmic = logarithmic;
      this[axis].reset();
    }

    /** Other ordinates for a series. */
    setOrdinates(index, y) {
      this.series[index].y = numbers(y);
    }

    /** Other points for a series. */
    setPoints(index, x, y) {
      Object.assign(this.series[index], { x: numbers(x), y: numbers(y) });
    }

    /** Room that the numbers and the label of y need. Charts above each other line up when all get the most. */
    get leftNeeded() {
      const texts = tickTexts(this.y, this.y.ticks(TICK_SPACE.y).labelled);
      const longest = Math.max(...texts.map((text) => text.length), 1);
      return 34 + 6.8 * longest;
    }

    resize(width, height, left = this.leftNeeded) {
      Object.assign(this, { width, height, left });
      this.draw();
    }

    draw() {
      if (this.width === 0) return;
      const { root, plot, series, hair } = this.#parts;
      const [right, bottom] = [this.width - ROOM.right, this.height - ROOM.bottom];
      this.x.length = Math.max(1, right - this.left);
      this.y.length = Math.max(1, bottom - ROOM.top);
      const size = { width: this.x.length, height: this.y.length };
      set(root, { viewBox: `0 0 ${this.width} ${this.height}`, width: this.width, height: this.height });
      set(plot, { x: this.left, y: ROOM.top, ...size });
      hair.setAttribute("y2", size.height);
      this.#drawAxes();
      this.thinned = { drawn: 0, of: 0 };
      this.series.forEach((one, i) => this.#drawSeries(one, series[i]));
      this.#drawNotes();
      this.point(null);
      this.onView(this);
    }

    /** All of it for paper, and then again what was shown. */
    showAll(all) {
      if (all) this.#before = { x: this.x.range, y: this.y.range };
      if (all) this.reset();
      else if (this.#before) this.show(this.#before);
    }

    /** A hair line at an abscissa; none for null. */
    point(x) {
      const at = x === null ? NaN : this.x.pixel(x);
      const { hair } = this.#parts;
      hair.style.display = at >= 0 && at <= this.x.length ? "" : "none";
      if (!Number.isNaN(at)) hair.setAttribute("transform", `translate(${at} 0)`);
    }

    #build() {
      const parts = this.#parts;
      parts.fineGrid = svg("path", { class: "grid fine" });
      parts.grid = svg("path", { class: "grid" });
      parts.zero = svg("path", { class: "zero" });
      parts.series = this.series.map((one) => {
        const isLine = one.mark === undefined;
        const made = svg("path", { class: `${isLine ? "line" : "marks"} ${one.look ?? ""}` });
        if (isLine && one.dash) made.setAttribute("stroke-dasharray", one.dash);
        made.style.color = one.colour;
        return made;
      });
      parts.notes = svg("g", { class: "notes" });
      parts.hair = svg("line", { class: "hair", y1: 0 });
      parts.selection = svg("rect", { class: "selection" });
      parts.axes = svg("g", { class: "axes" });
      // An inner svg cuts off what reaches beyond it, and has its own pixels.
      const ground = svg("rect", { class: "ground", width: "100%", height: "100%" });
      parts.plot = svg("svg", { class: "plot" }, ground, parts.fineGrid, parts.grid, parts.zero, ...parts.series,
        parts.notes, parts.hair, parts.selection);
      parts.hair.style.display = parts.selection.style.display = "none";
      parts.root = svg("svg", { class: "chart", role: "img", tabindex: 0,
        "aria-label": `Chart of ${this.y.label} over ${this.x.label}` }, parts.plot, parts.axes);
      return parts.root;
    }

    #drawAxes() {
      const { fineGrid, grid, zero, axes } = this.#parts;
      const { x, y, left } = this;
      const [xTicks, yTicks] = [x.ticks(TICK_SPACE.x), y.ticks(TICK_SPACE.y)];
      const bottom = ROOM.top + y.length;
      const rule = (which) => xTicks[which].map((tick) => `M${round(x.pixel(tick))} 0V${y.length}`).join("") +
        yTicks[which].map((tick) => `M0 ${round(y.pixel(tick))}H${x.length}`).join("");
      fineGrid.setAttribute("d", rule("all"));
      grid.setAttribute("d", rule("labelled"));
      zero.setAttribute("d", this.zeroLine ? `M0 ${round(y.pixel(0))}H${x.length}` : "");
      const text = (kind, at, words) => svg("text", { class: kind, ...at }, words);
      axes.replaceChildren(
        svg("path", { d: `M${left} ${ROOM.top}V${bottom}H${left + x.length}` }),
        ...tickTexts(x, xTicks.labelled).map((words, i) =>
          text("tick x", { x: round(left + x.pixel(xTicks.labelled[i])), y: bottom + 17 }, words)),
        ...tickTexts(y, yTicks.labelled).map((words, i) =>
          text("tick y", { x: left - 7, y: round(ROOM.top + y.pixel(yTicks.labelled[i])) }, words)),
        text("label", { x: left + x.length / 2, y: this.height - 6 }, x.label),
        text("label", { transform: `translate(13 ${ROOM.top + y.length / 2}) rotate(-90)` }, y.label));
    }

    #drawSeries(one, path) {
      if (one.hidden) {
        path.removeAttribute("d");
      } else if (one.mark === undefined) {
        path.setAttribute("d", linePath(one, this.x, this.y));
      } else {
        const marks = marksPath(one, this.x, this.y);
        path.setAttribute("d", marks.path);
        path.classList.toggle("dense", marks.drawn > DENSE);
        this.thinned.drawn += marks.drawn;
        this.thinned.of += marks.of;
      }
    }

    #drawNotes() {
      const isDrawable = (note) => Number.isFinite(this.x.pixel(note.x) + this.y.pixel(note.y));
      const shown = this.notes.filter((note) => !note.hidden && isDrawable(note));
      this.#parts.notes.replaceChildren(...shown.map((note) => {
        const [left, top] = [this.x.pixel(note.x), this.y.pixel(note.y)];
        const room = note.text.length * 7 < this.x.length - left;
        const made = svg("g", { transform: `translate(${round(left)} ${round(top)})` }, svg("circle", { r: 4.5 }),
          svg("text", { x: room ? 9 : -9, y: top + 24 < this.y.length ? 17 : -9, "text-anchor": room ? "start" : "end" }, note.text));
        made.style.color = note.colour;
        return made;
      }));
    }

    // --- mouse, fingers, keys

    #listen() {
      const { root, plot } = this.#parts;
      const on = (target, event, act) => target.addEventListener(event, act, { passive: false });
      on(plot, "pointerdown", (event) => this.#press(event));
      on(plot, "pointermove", (event) => this.#move(event));
      on(plot, "pointerup", (event) => this.#release(event));
      on(plot, "pointercancel", (event) => this.#release(event));
      on(plot, "pointerleave", () => this.#selection || this.#grip || this.onPoint(null));
      on(plot, "dblclick", () => this.reset());
      // A trackpad's pinch comes as a wheel with this key. Without it the page scrolls.
      on(plot, "wheel", (event) => {
        if (!event.ctrlKey && !event.metaKey) return;
        event.preventDefault();
        this.#stretch(Math.pow(ZOOM_STEP, event.deltaY / 60), this.#at(event));
      });
      on(root, "keydown", (event) => this.#key(event));
    }

    /** Where in the plot, in pixels of the drawing. */
    #at(event) {
      const box = this.#parts.root.getBoundingClientRect();
      const scale = this.width / box.width;
      return { x: (event.clientX - box.left) * scale - this.left, y: (event.clientY - box.top) * scale - ROOM.top };
    }

    #press(event) {
      if (event.button !== 0) return;
      this.#parts.plot.setPointerCapture(event.pointerId);
      const at = this.#at(event);
      this.onPoint(this.x.value(at.x));
      if (event.pointerType === "mouse" || this.onSelect) {
        this.#selection = { from: at, to: at };
      } else {
        this.#pointers.set(event.pointerId, at);
        this.#takeHold();
      }
    }

    #move(event) {
      const at = this.#at(event);
      if (this.#pointers.has(event.pointerId)) {
        this.#pointers.set(event.pointerId, at);
        this.#pull();
        return;
      }
      if (this.#selection) {
        this.#selection.to = at;
        this.#drawSelection();
      }
      this.onPoint(at.x >= 0 && at.x <= this.x.length ? this.x.value(at.x) : null);
    }

    #release(event) {
      if (this.#pointers.delete(event.pointerId)) this.#takeHold();
      const selection = this.#selection;
      if (!selection) return;
      this.#selection = null;
      this.#drawSelection();
      if (event.type !== "pointerup") return;
      const { x, y } = this.#selected(selection);
      const around = ({ to }) => ({ x: [to.x - CLICKED, to.x + CLICKED], y: [to.y - CLICKED, to.y + CLICKED] });
      if (this.onSelect) this.onSelect(this.#ranges(x || y ? { x, y } : around(selection)));
      else if (x || y) this.show(this.#ranges({ x, y }));
    }

    #ranges({ x, y }) {
      return {
        x: x && [this.x.value(x[0]), this.x.value(x[1])],
        y: y && [this.y.value(y[1]), this.y.value(y[0])],
      };
    }

    /** Pixels from and to which a drag goes; nothing along an axis that it does not mean. */
    #selected({ from, to }) {
      const along = (axis) => {
        const length = this[axis].length;
        return [from[axis], to[axis]].map((pixel) => Math.min(Math.max(pixel, 0), length)).sort((a, b) => a - b);
      };
      const [x, y] = [along("x"), along("y")];
      const [wide, high] = [x[1] - x[0], y[1] - y[0]];
      if (Math.max(wide, high) < 5) return {};
      return { x: wide >= SELECTS_BOTH || wide >= high ? x : null, y: high >= SELECTS_BOTH || high > wide ? y : null };
    }

    #drawSelection() {
      const { selection } = this.#parts;
      const { x, y } = this.#selection ? this.#selected(this.#selection) : {};
      selection.style.display = x || y ? "" : "none";
      const [left, right] = x ?? [0, this.x.length];
      const [top, bottom] = y ?? [0, this.y.length];
      set(selection, { x: left, y: top, width: right - left, height: bottom - top });
    }

    // One finger moves along x (up and down it scrolls the page), two stretch and move both axes.

    #held() {
      const [a, b = a] = [...this.#pointers.values()];
      return { x: (a.x + b.x) / 2, y: (a.y + b.y) / 2, size: Math.max(Math.hypot(a.x - b.x, a.y - b.y), 20) };
    }

    #takeHold() {
      this.#grip = this.#pointers.size === 0 ? null : { ...this.#held(), view: { x: this.x.range, y: this.y.range } };
    }

    #pull() {
      const now = this.#held();
      const start = this.#grip;
      const factor = start.size / now.size;
      this.x.range = start.view.x;
      this.y.range = start.view.y;
      const x = this.x.stretched(factor, start.x, now.x);
      this.show({ x, y: this.#pointers.size > 1 ? this.y.stretched(factor, start.y, now.y) : undefined });
    }

    #stretch(factor, at) {
      this.show({ x: this.x.stretched(factor, at.x, at.x), y: this.y.stretched(factor, at.y, at.y) });
    }

    #key(event) {
      if (this.onKey(event)) {
        event.preventDefault();
        return;
      }
      const centre = { x: this.x.length / 2, y: this.y.length / 2 };
      const slide = (axis, share) => () =>
        this.show({ [axis]: this[axis].stretched(1, centre[axis], centre[axis] + share * this[axis].length) });
      const act = {
        "+": () => this.#stretch(1 / ZOOM_STEP, centre), "-": () => this.#stretch(ZOOM_STEP, centre),
        "0": () => this.reset(),
        ArrowLeft: slide("x", 0.1), ArrowRight: slide("x", -0.1), ArrowUp: slide("y", 0.1), ArrowDown: slide("y", -0.1),
      }[event.key];
      if (!act || event.ctrlKey || event.metaKey || event.altKey) return;
      event.preventDefault();
      act();
    }
  }
  return Chart;
})();
