"use strict";

/**
 * A panel of the report page on which points can be left out and taken back, by dragging or by keys, and over which
 * earlier fits can be laid.
 *
 *   const lines = { uniaxial: { used: [5, 6], dropped: [{ line, x, y, byHand }] } };
 *   new BenchPanel(figure.panels[0], { relative, lines, kept, leaveOut });
 *
 * `lines` tells by curve at which line of its file each point stands; `leaveOut({ uniaxial: { 5: [x, y] } }, out)` is
 * called with what was chosen.
 */
const BenchPanel = (() => {
  const KEPT_DASHES = ["9 4", "2 4", "9 4 2 4", "4 3", "12 5"];
  const KEPT_COLOURS = ["var(--curve-4)", "var(--curve-3)", "var(--curve-2)", "var(--curve-5)", "var(--curve-1)"];

  return class extends Panel {
    constructor(panel, options) {
      for (const curve of panel.curves) {
        const { dropped = [] } = options.lines[curve.name] ?? {};
        const placed = dropped.filter(({ x }) => x !== undefined);
        curve.dropped = [placed.map(({ x }) => x), placed.map(({ y }) => y)];
        curve.places = placed;
      }
      super(panel, options);
      this.chart.onKey = (event) => this.key(event);
      this.setSelecting(options.selecting ?? false);
    }

    /** What can be pointed at: every point with its line. */
    get points() {
      return this.curves.flatMap((curve) => {
        const lines = this.options.lines[curve.name];
        if (!lines) return [];
        const used = lines.used.map(
          (line, i) => ({ curve: curve.name, line, x: curve.points[0][i], y: curve.points[1][i], out: false }));
        const byHand = (curve.places ?? []).filter((one) => one.byHand);
        const left = byHand.map(({ line, x, y }) => ({ curve: curve.name, line, x, y, out: true }));
        return [...used, ...left].sort((a, b) => a.x - b.x);
      });
    }

    tools() {
      if (!this.panel.curves.some((curve) => this.options.lines[curve.name])) return [];
      this.selector = toggle("Leave out points", "leave-out", false, (on) => {
        this.setSelecting(on);
        this.options.onSelecting?.(on);
      });
      return [this.selector];
    }

    besides() {
      const grey = this.curves.map((curve, i) => ({
        curve: i,
        measured: true,
        look: "left-out",
        colour: "var(--overlay)",
        mark: curve.index,
        x: curve.dropped?.[0] ?? [],
        y: curve.dropped?.[1] ?? []
      }));
      const same = (other) => other.title === this.panel.title && other.x.label === this.panel.x.label &&
        other.y.label === this.panel.y.label;
      const kept = this.options.kept.flatMap(
        ({ figure }, k) => figure.panels.filter(same).flatMap(
          (panel) => panel.curves.flatMap((curve) => ([curve.stable, curve.unstable].map(([x, y]) => ({
            look: "kept",
            colour: KEPT_COLOURS[k % KEPT_COLOURS.length],
            dash: KEPT_DASHES[k % KEPT_DASHES.length],
            x,
            y
          }))))));
      return [...kept, ...grey, { look: "cursor", colour: "var(--accent)", mark: 0, x: [], y: [] }];
    }

    static keptSample(k) {
      return Chart.sample(
        { colour: KEPT_COLOURS[k % KEPT_COLOURS.length], dash: KEPT_DASHES[k % KEPT_DASHES.length] });
    }

    setSelecting(on) {
      this.selecting = on;
      this.selector?.setAttribute("aria-pressed", on);
      this.chart.onSelect = on ? (ranges) => this.select(ranges) : null;
      this.chart.element.classList.toggle("selecting", on);
      this.chart.element.setAttribute("role", on ? "application" : "img"); // its keys go to the page
      this.cursor = null;
      this.showCursor();
      this.point(null);
    }

    point(x) {
      super.point(x);
      if (x === null && this.selecting) {
        this.readout.textContent =
          "Drag over points, or click one, to leave it out; again to take it back. Keys: arrows choose a point, " +
          "Space leaves it out, Shift with arrows goes on.";
      }
    }

    /** All that lie within: out, or back when all of them are out. */
    select({ x, y }) {
      const within = (range, value) => !range || (value >= Math.min(...range) && value <= Math.max(...range));
      const isShown = (one) => this.shown[this.curves.findIndex((curve) => curve.name === one.curve)];
      this.turn(this.points.filter((one) => isShown(one) && within(x, one.x) && within(y, one.y)));
    }

    turn(points) {
      if (points.length === 0) return announce("there is no point there");
      const out = points.some((one) => !one.out);
      const chosen = points.filter((one) => one.out !== out);
      const byCurve = {};
      for (const { curve, line, x, y } of chosen) (byCurve[curve] ??= {})[line] = [x, y];
      this.options.leaveOut(byCurve, out);
      announce(`${plural(chosen.length, "point")} ${out ? "left out" : "taken back"}`);
      return undefined;
    }

    showCursor() {
      const at = this.chart.series.findIndex((one) => one.look === "cursor");
      const one = this.cursor === null ? null : this.points[this.cursor];
      this.chart.setPoints(at, one ? [one.x] : [], one ? [one.y] : []);
      this.chart.draw();
      if (!one) return;
      this.options.onCursor?.(this.cursor);
      const text = `${one.curve}, line ${one.line}: ${numberText(one.x, 4)}, ${numberText(one.y, 4)}${
        one.out ? ", left out" : ""}`;
      this.readout.textContent = text;
      announce(text);
    }

    /** Where the cursor was before the panel was drawn anew. */
    resume(cursor) {
      this.cursor = Math.min(cursor, this.points.length - 1);
      this.showCursor();
    }

    key(event) {
      if (!this.selecting || event.ctrlKey || event.metaKey || event.altKey) return false;
      const step = { ArrowRight: 1, ArrowUp: 1, ArrowLeft: -1, ArrowDown: -1 }[event.key];
      const { points } = this;
      if (step && points.length > 0) {
        const before = this.cursor;
        this.cursor = before === null ? 0 : Math.min(Math.max(before + step, 0), points.length - 1);
        this.showCursor();
        if (event.shiftKey && before !== null && before !== this.cursor && !points[this.cursor].out)
          this.turn([points[this.cursor]]);
        return true;
      }
      if ((event.key === " " || event.key === "Enter") && this.cursor !== null) {
        this.turn([points[this.cursor]]);
        return true;
      }
      if (event.key === "Escape") {
        this.setSelecting(false);
        this.options.onSelecting?.(false);
        return true;
      }
      return false;
    }
  };
})();
