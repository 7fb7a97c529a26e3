"""Pictures of results, which look like those of the tool."""

from __future__ import annotations

import io
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any, Optional

import matplotlib
import numpy as np
from matplotlib.figure import Figure

from ._errors import BadInput, Error
from ._models import CATALOGUE, CurveInfo
from ._result import Curve, Fit

#: Told apart with deficient colour vision, too: Okabe and Ito (2008). The tool has the same, in the same order.
COLOURS = ("#0072B2", "#D55E00", "#009E73", "#CC79A7", "#E69F00", "#56B4E9", "#000000")
MARKERS = ("o", "s", "^", "D", "v", "o", "s")

_LINE_POINTS = 400
_WIDE = 1e3  # an axis that spans more is logarithmic
_DENSE = 300  # more points than this hide a line beneath them


@dataclass
class _Panel:
    x: str
    y: str
    logarithmic: bool
    from_zero: bool
    curves: list[tuple[int, Curve]]


def _info(fit: Fit, name: str) -> CurveInfo:
    """What the catalogue says of a curve; tests of one kind have names of their own."""
    known = CATALOGUE[fit.model].curves if fit.model in [model.name for model in CATALOGUE] else ()
    for info in known:
        if name == info.name or name.startswith(info.name + "_"):
            return info
    return known[0] if known else CurveInfo(name, "x", "", "y", "", "", False)


def _unit_of(fit: Fit, kind: str) -> str:
    """The unit that stands for a kind of unit in this fit."""
    if not kind:
        return ""
    described = {info.name: info.unit for info in CATALOGUE[fit.model].with_terms(fit.terms)}
    units = (p.unit for p in fit.parameters if described.get(p.name) == kind and p.unit != kind)
    return next(units, "")


def _label(text: str, unit: str) -> str:
    return f"{text} ({unit})" if unit else text


def _panels(fit: Fit) -> list[_Panel]:
    panels: list[_Panel] = []
    for index, curve in enumerate(fit.curves.values()):
        info = _info(fit, curve.name)
        unit = curve.measures.unit if curve.measures else ""
        # Moduli that were not divided by the instantaneous one.
        y = info.y.split(" over ")[0] if unit and not info.y_unit else info.y
        x = _label(info.x, _unit_of(fit, info.x_unit))
        positive = curve.x[curve.x > 0]
        wide = info.x_unit == "time" and positive.size > 0 and positive.max() > _WIDE * positive.min()
        panel = _Panel(x, _label(y, unit or _unit_of(fit, info.y_unit)), info.logarithmic or wide, False, [])
        panel.from_zero = not panel.logarithmic and info.x.endswith("strain")
        same = next((one for one in panels if (one.x, one.y) == (panel.x, panel.y)), panel)
        if same is panel:
            panels.append(panel)
        same.logarithmic |= panel.logarithmic
        same.curves.append((index, curve))
    return panels


def _grid(curve: Curve, panel: _Panel, limits: Iterable[float]) -> np.ndarray:
    """Abscissae of the line, stability limits among them."""
    usable = curve.x[np.isfinite(curve.x) & ((curve.x > 0) | (not panel.logarithmic))]
    if usable.size == 0:
        return usable
    lowest, highest = usable.min(), usable.max()
    if panel.from_zero:
        lowest, highest = min(lowest, 0.0), max(highest, 0.0)
    spaced: Any = np.geomspace if panel.logarithmic else np.linspace
    inside = [limit for limit in limits if lowest < limit < highest]
    return np.unique([*spaced(lowest, highest, _LINE_POINTS), *inside])


def _draw(fit: Fit, panel: _Panel, ax: Any) -> None:
    unstable = False
    for index, curve in panel.curves:
        colour = COLOURS[index % len(COLOURS)]
        dense = len(curve.x) > _DENSE
        if len(curve.measured):
            ax.plot(curve.x, curve.measured, MARKERS[index % len(MARKERS)], color=colour, markersize=2 if dense else 5,
                    alpha=0.35 if dense else 1.0, zorder=2 if dense else 3, label=curve.name.replace("_", " "))
        lower, upper = curve.stable_range
        x = _grid(curve, panel, (lower, upper))
        try:
            y = curve(x)
        except Error:  # not a function of this abscissa: what was computed at the points
            x, y = curve.x, curve.fitted
        inside = (x >= lower) & (x <= upper)
        ax.plot(x, np.where(inside, y, np.nan), "-", color=colour, linewidth=1.8, zorder=2.5)
        if not inside.all():
            unstable = True
            beyond = np.where((x <= lower) | (x >= upper), y, np.nan)
            ax.plot(x, beyond, "--", color=colour, linewidth=1.8, zorder=2.5)
        if fit._core.band_wanted:
            ax.fill_between(x, *curve.band(x), color=colour, alpha=0.2, linewidth=0)
    sample = COLOURS[panel.curves[0][0] % len(COLOURS)] if len(panel.curves) == 1 else "#606060"
    ax.plot([], [], "-", color=sample, linewidth=1.8, label="fitted")
    if fit._core.band_wanted:
        ax.fill_between([], [], [], color=sample, alpha=0.3, linewidth=0, label=f"{100 * fit._core.level:.4g} % confidence band")
    if unstable:
        ax.plot([], [], "--", color=sample, linewidth=1.8, label="unstable")


def _cut(panel: _Panel, ax: Any) -> None:
    """A line that runs away is cut off one measured span beyond the points."""
    measured = np.concatenate([curve.measured for _, curve in panel.curves])
    measured = measured[np.isfinite(measured)]
    if measured.size and np.ptp(measured) > 0:
        bottom, top = ax.get_ylim()
        span = np.ptp(measured)
        ax.set_ylim(max(bottom, measured.min() - span), min(top, measured.max() + span))


def _title(fit: Fit, single: bool) -> str:
    measures = fit.measures
    if not np.isfinite(measures.r2):
        parts = [f"{_determination(c.measures.r2)} ({name})" for name, c in fit.curves.items() if c.measures and c.measures.points]
        return f"{fit.label}   R² = {', '.join(parts)}" if parts else fit.label
    unit = f" {measures.unit}" if single and measures.unit else ""
    return f"{fit.label}   R² = {_determination(measures.r2)}   RMSE = {measures.rmse:.3g}{unit}"


def _determination(r2: float) -> str:
    """Nothing below 1 reads 1."""
    return "0.9999" if r2 < 1.0 and f"{r2:.4f}" == "1.0000" else f"{r2:.4f}"


def _paint(fit: Fit, panels: list[_Panel], axes: list[Any]) -> None:
    for panel, ax in zip(panels, axes):
        _draw(fit, panel, ax)
        if panel.logarithmic:
            ax.set_xscale("log")
        _cut(panel, ax)
        ax.set_xlabel(panel.x)
        ax.set_ylabel(panel.y)
        ax.grid(True, color="#dddddd", linewidth=0.6)
        ax.set_axisbelow(True)
        for side in ("top", "right"):
            ax.spines[side].set_visible(False)
        ax.legend(loc="upper center", bbox_to_anchor=(0.5, -0.16), ncol=4, frameon=False, fontsize="small")


def plot(fit: Fit, ax: Any = None, **options: Any) -> Any:
    """Draw measured points and fitted curves; returns the figure."""
    panels = _panels(fit)
    if not panels:
        raise BadInput("this result has no curve to draw")
    if ax is not None:
        axes = list(np.atleast_1d(ax).flat)
        if len(axes) < len(panels):
            raise BadInput(f"this result has {len(panels)} panels; give as many axes, not {len(axes)}")
        _paint(fit, panels, axes)
        axes[0].set_title(_title(fit, len(panels) == 1), fontsize="medium")
        return axes[0].figure
    import matplotlib.pyplot as plt

    figure = plt.figure(**{"FigureClass": _Picture, "figsize": _size(panels), "layout": "constrained", **options})
    _fill(figure, fit, panels)
    return figure


def _size(panels: list[_Panel]) -> tuple[float, float]:
    return (6.4, 4.4) if len(panels) == 1 else (5.4 * len(panels), 4.4)


def _fill(figure: Any, fit: Fit, panels: list[_Panel]) -> None:
    axes = figure.subplots(1, len(panels), squeeze=False)[0]
    _paint(fit, panels, list(axes))
    figure.suptitle(_title(fit, len(panels) == 1), fontsize="medium")


class _Picture(Figure):
    """A figure that a notebook shows once: where a cell returns it, else at the end of the cell."""

    def _ipython_display_(self) -> None:
        import matplotlib.pyplot as plt
        from IPython.display import Image, display

        stream = io.BytesIO()
        self.savefig(stream, format="png")
        display(Image(stream.getvalue()))
        if "inline" in matplotlib.get_backend():
            plt.close(self)


def svg(fit: Fit, size: Optional[tuple[float, float]] = None) -> str:
    """The picture as text for a page."""
    panels = _panels(fit)
    figure = Figure(figsize=size or _size(panels), layout="constrained")
    _fill(figure, fit, panels)
    stream = io.StringIO()
    with matplotlib.rc_context({"svg.hashsalt": "xemfit", "svg.fonttype": "none"}):
        figure.savefig(stream, format="svg", metadata={"Date": None})
    text = stream.getvalue()
    return text[text.index("<svg") :]
