"""Results of fits."""

from __future__ import annotations

import html
import json
import os
from collections.abc import Iterator
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path
from typing import Any, Optional, Union

import numpy as np

from . import _core
from ._errors import BadInput, MissingFile
from ._models import CATALOGUE, table_html

PathLike = Union[str, "os.PathLike[str]"]


@dataclass(frozen=True)
class Parameter:
    """A fitted parameter.

    Attributes
    ----------
    standard_error : float
        NaN when held or not identifiable.
    interval : tuple of float
        Of the level of the fit.
    held, at_bound, identifiable : bool
        Kept at a value; pushed against a bound of its range; determined by the data.
    bootstrap_interval : tuple of float or None
        From resampled residuals, where that was asked for.
    """

    name: str
    value: float
    standard_error: float
    interval: tuple[float, float]
    unit: str
    held: bool
    at_bound: bool
    identifiable: bool
    bootstrap_interval: Optional[tuple[float, float]] = None

    def __float__(self) -> float:
        return self.value

    def __str__(self) -> str:
        unit = f" {self.unit}" if self.unit else ""
        return f"{self.name} = {self.value:.6g} ± {self.standard_error:.2g}{unit}{self._remark()}"

    def _remark(self) -> str:
        if not self.identifiable and not self.held:
            return " (not identifiable)"
        return " (held)" if self.held else " (at its bound)" if self.at_bound else ""


class Parameters(tuple):
    """Parameters in their order; a name finds one."""

    def __getitem__(self, key: Any) -> Any:
        if not isinstance(key, str):
            return super().__getitem__(key)
        for one in self:
            if one.name == key:
                return one
        raise KeyError(f"there is no parameter {key}; there are {', '.join(self.names)}")

    @property
    def names(self) -> list[str]:
        return [one.name for one in self]

    @property
    def values(self) -> np.ndarray:
        return np.array([one.value for one in self])

    def to_frame(self) -> Any:
        """As a pandas frame, a row per parameter."""
        import pandas as pd

        rows = [(p.value, p.standard_error, *p.interval, p.unit, p.held, p.at_bound, p.identifiable) for p in self]
        columns = ["value", "standard_error", "lower", "upper", "unit", "held", "at_bound", "identifiable"]
        return pd.DataFrame(rows, index=pd.Index(self.names, name="parameter"), columns=columns)

    def __repr__(self) -> str:
        return "\n".join(str(one) for one in self)

    def _repr_html_(self) -> str:
        header = ("parameter", "value", "standard error", "interval", "unit", "")
        rows = [
            (p.name, f"{p.value:.6g}", _number(p.standard_error), _interval(p.interval), p.unit, p._remark().strip(" ()"))
            for p in self
        ]
        return table_html(header, rows)


def _number(value: float) -> str:
    return f"{value:.3g}" if np.isfinite(value) else "–"


def _interval(ends: tuple[float, float]) -> str:
    return f"{ends[0]:.4g} … {ends[1]:.4g}" if np.all(np.isfinite(ends)) else "–"


@dataclass(frozen=True)
class Measures:
    """R², root-mean-square error and others, of measured - fitted in the unit of the data."""

    points: int
    dropped: int
    sse: float
    rmse: float
    r2: float
    aicc: float
    objective: float
    unit: str


class Curve:
    """A curve of a result: what was measured, and the fitted law as a function.

    Calling it with a number or an array of abscissae evaluates the law.

    Attributes
    ----------
    name : str
    x, measured, fitted : numpy.ndarray
        The points of the fit, which cannot be changed; empty for a curve that was not measured.
    companion : numpy.ndarray
        Lateral strains where the model used them.
    conditions : dict
        What was constant during the test, such as the stress of a creep test.
    measures : Measures or None
    """

    def __init__(self, core: Any, name: str, data: Optional[dict[str, Any]]):
        self._core = core
        self.name = name
        data = data or {}
        nothing = np.empty(0)
        self.x: np.ndarray = data.get("x", nothing)
        self.measured: np.ndarray = data.get("measured", nothing)
        self.fitted: np.ndarray = data.get("fitted", nothing)
        self.companion: np.ndarray = data.get("companion", nothing)
        self.conditions: dict[str, float] = data.get("conditions", {})
        self.measures = Measures(**data["measures"]) if data else None

    def __call__(self, x: Any) -> Any:
        values = self._core.evaluate(self.name, x)
        return float(values) if values.ndim == 0 else values

    def band(self, x: Any) -> tuple[np.ndarray, np.ndarray]:
        """Lower and upper end of the confidence band of the law at `x`; NaN where there is none."""
        return self._core.band(self.name, x)

    @property
    def residual(self) -> np.ndarray:
        """Measured - fitted."""
        return self.measured - self.fitted

    @property
    def stable_range(self) -> tuple[float, float]:
        """Abscissae between which the model is stable, infinite where there is no limit."""
        return self._core.stable_range(self.name)

    def to_frame(self) -> Any:
        """The points as a pandas frame: x, measured, fitted."""
        import pandas as pd

        columns = {"x": self.x, "measured": self.measured, "fitted": self.fitted}
        return pd.DataFrame({name: values for name, values in columns.items() if len(values)})

    def __repr__(self) -> str:
        return f"<curve {self.name}: {len(self.x)} points>"


class Fit:
    """A fitted or stored model.

    ``fit["mu1"]`` is a parameter; ``fit.curve("uniaxial")(x)`` evaluates the law; `plot` draws it. A fit is plain data:
    it can be copied, pickled, and stored by `to_json`.
    """

    def __init__(self, core: Any, command: str = ""):
        self._held = core
        self._command = command

    @property
    def _core(self) -> Any:
        if isinstance(self._held, tuple):
            self._held = _core.unpack(self._held)
        return self._held

    # -- What was fitted

    @property
    def model(self) -> str:
        """Name of the model, such as ``"ogden"``."""
        return self._core.model

    @property
    def terms(self) -> int:
        """Order or number of terms; 0 where a model has none."""
        return self._core.terms

    @property
    def label(self) -> str:
        """Model and terms as they are asked for, such as ``"ogden:3"``."""
        return self._core.label

    @property
    def formula(self) -> str:
        return self._core.formula

    @property
    def residual(self) -> str:
        """``"absolute"`` or ``"relative"``."""
        return self._core.residual

    @property
    def version(self) -> str:
        """Of the library that fitted."""
        return self._core.version

    @property
    def options(self) -> dict[str, Any]:
        """Those of the fit, as its document tells them."""
        return self._document["options"]

    # -- What came out

    @property
    def converged(self) -> bool:
        return self._core.converged

    @property
    def status(self) -> str:
        """In words."""
        return self._core.status

    @property
    def iterations(self) -> int:
        return self._core.iterations

    @cached_property
    def parameters(self) -> Parameters:
        """All parameters, by position or name."""
        return Parameters(Parameter(*one) for one in self._core.parameters)

    @property
    def covariance(self) -> np.ndarray:
        """In the order of the parameters; NaN where undefined."""
        return self._core.covariance

    @property
    def correlation(self) -> np.ndarray:
        """In the order of the parameters; NaN where undefined."""
        return self._core.correlation

    @cached_property
    def measures(self) -> Measures:
        """Of all curves together."""
        return Measures(**self._core.measures)

    @cached_property
    def curves(self) -> dict[str, Curve]:
        """The curves of the fit by name."""
        return {data["name"]: Curve(self._core, data["name"], data) for data in self._core.curves}

    def curve(self, name: Optional[str] = None) -> Curve:
        """A curve of the fit, or one that the model explains though it was not measured.

        Parameters
        ----------
        name : str, optional
            May be left out where there is one.
        """
        if name is None:
            if len(self.curves) == 1:
                return next(iter(self.curves.values()))
            raise BadInput(f"name one of the curves {', '.join(self.curves)}")
        if name in self.curves:
            return self.curves[name]
        try:
            explained = [curve.name for curve in CATALOGUE[self.model].curves]
        except KeyError:
            explained = []
        if name in explained:
            return Curve(self._core, name, None)
        raise BadInput(f"there is no curve {name}; there are {', '.join(dict.fromkeys([*self.curves, *explained]))}")

    @property
    def notes(self) -> list[str]:
        """What a careful person would say about the result."""
        return self._core.notes

    @property
    def dropped(self) -> list[dict[str, Any]]:
        """Points that were not used: curve, row and reason."""
        return self._document["dropped"]

    @property
    def derived(self) -> dict[str, float]:
        """Further quantities by name, such as the initial shear modulus; `derived_units` has their units."""
        return {name: value for name, (value, _) in self._core.derived.items()}

    @property
    def derived_units(self) -> dict[str, str]:
        return {name: unit for name, (_, unit) in self._core.derived.items() if unit}

    @property
    def stability(self) -> Optional[dict[str, Any]]:
        """Nominal strains at which rubber stops being stable (None: nowhere), with the report; None for other models."""
        return self._document["stability"]

    @property
    def inputs(self) -> list[dict[str, Any]]:
        """The files that the curves came from, with their digests."""
        return self._document["inputs"]

    # -- What can be done with it

    def to_json(self, path: Optional[PathLike] = None) -> str:
        """The document that the tool writes and `load` reads.

        Parameters
        ----------
        path : path, optional
            Write it there, too.
        """
        text = self._core.to_json(self._command)
        if path is not None:
            Path(path).write_text(text, encoding="utf-8")
        return text

    def to_frame(self) -> Any:
        """Every measured and fitted point as a pandas frame: curve, x, measured, fitted."""
        import pandas as pd

        frames = [curve.to_frame().assign(curve=name) for name, curve in self.curves.items()]
        columns = ["curve", "x", "measured", "fitted"]
        return pd.concat(frames, ignore_index=True).reindex(columns=columns) if frames else pd.DataFrame(columns=columns)

    def card(self, target: str, name: str = "") -> str:
        """The material in the words of another program.

        Parameters
        ----------
        target : str
            ``"calculix"``, ``"ufl"`` or ``"text"``.
        name : str, optional
            Of the material; the model's when left out.

        Raises
        ------
        BadInput
            For what the target cannot express, in a sentence.
        """
        return self._core.card(target, name)

    def plot(self, ax: Any = None, **options: Any) -> Any:
        """Draw measured points and fitted curves, as the tool does.

        Parameters
        ----------
        ax : matplotlib axes or a sequence of them, optional
            Where to draw, an axes per panel; a new figure when left out.
        **options
            For ``matplotlib.pyplot.figure``.

        Returns
        -------
        matplotlib.figure.Figure
        """
        from ._plot import plot

        return plot(self, ax, **options)

    @cached_property
    def _document(self) -> dict[str, Any]:
        return json.loads(self._core.to_json(self._command))

    def __getitem__(self, name: str) -> Parameter:
        return self.parameters[name]

    def __iter__(self) -> Iterator[Parameter]:
        return iter(self.parameters)

    def __reduce__(self) -> Any:
        # Unpacked when it is looked at: of thousands that come from other processes few are.
        return Fit, (self._held if isinstance(self._held, tuple) else self._held.pack(), self._command)

    def __copy__(self) -> "Fit":
        return Fit(self._held, self._command)

    def __deepcopy__(self, memo: Any) -> "Fit":
        return self.__copy__()  # nothing in it can be changed

    def __eq__(self, other: Any) -> bool:
        return isinstance(other, Fit) and self.to_json() == other.to_json()

    __hash__ = None  # type: ignore[assignment]

    def _title(self) -> str:
        quality = f"R² = {self.measures.r2:.6g}, " if np.isfinite(self.measures.r2) else ""
        unit = f" {self.measures.unit}" if self.measures.unit else ""
        return f"{self.label}: {self.status}, {self.measures.points} points, {quality}RMSE = {self.measures.rmse:.3g}{unit}"

    def __repr__(self) -> str:
        lines = [self._title(), *(f"  {one}" for one in self.parameters)]
        return "\n".join([*lines, *(f"  note: {note}" for note in self.notes)])

    def _repr_html_(self) -> str:
        notes = "".join(f"<li>{html.escape(note)}</li>" for note in self.notes)
        notes = f"<ul>{notes}</ul>" if notes else ""
        picture = ""
        if any(len(curve.x) for curve in self.curves.values()):
            try:
                from ._plot import svg

                picture = svg(self)
            except ImportError:  # without matplotlib the table stands alone
                pass
        return f"<p><b>{html.escape(self._title())}</b></p>{self.parameters._repr_html_()}{notes}{picture}"


def load(file: PathLike) -> Fit:
    """A result that `Fit.to_json` or the tool has stored.

    Parameters
    ----------
    file : path or str
        The file, or the text of the document itself.

    Raises
    ------
    BadData
        For text that is no such document.
    """
    if isinstance(file, str) and file.lstrip().startswith("{"):
        return _loaded(file, "the document")
    try:
        text = Path(file).read_text(encoding="utf-8", errors="replace")
    except FileNotFoundError:
        raise MissingFile(f"{file}: there is no such file") from None
    return _loaded(text, os.fspath(file))


def _loaded(text: str, source: str) -> Fit:
    core = _core.load(text, source)
    return Fit(core, json.loads(text).get("command") or "")
