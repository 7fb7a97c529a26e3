"""Fits and comparisons."""

from __future__ import annotations

import html
import inspect
from collections.abc import Iterator, Sequence
from typing import Any, Optional, Union

import numpy as np

from . import _core
from ._errors import BadInput, Error, NotConverged
from ._inputs import SLOTS, tests_of
from ._models import CATALOGUE, table_html
from ._result import Fit

_OPTIONS = {
    "residual": "``\"absolute\"`` or ``\"relative\"``: measured - fitted, or 1 - fitted / measured",
    "engine": "``\"best\"``, or ``\"export\"``: exactly what the library's exported function returns",
    "hold": "dict: parameters by name that keep a value",
    "start": "dict: starting values by name, tried besides the automatic ones",
    "bounds": "dict of pairs (lower, upper): intervals of parameters; None leaves a side open",
    "range": "pair, or dict of pairs by curve: abscissae that are used",
    "weight": "dict: factors on the residuals of curves",
    "level": "float: of all intervals",
    "bootstrap": "int: intervals from so many resamplings of the residuals, too",
    "seed": "int: of the resampling",
    "band": "bool: keep the confidence band of the fitted curves in the document and the picture",
}
_SETTINGS = {
    "columns": "dict: the column of a role, of ``\"x\"`` or of ``\"y\"``, in files and frames",
    "select": "dict: values of columns, of files and frames with several tests",
    "decimal": "``\"comma\"`` or ``\"point\"``, where a file can be read in two ways",
    "stress_unit": "unit of stresses, moduli or pressures given as arrays; for relaxation it says that they are moduli",
    "time_unit": "unit of times given as arrays",
    "frequency_unit": "unit of frequencies given as arrays; rad/s for angular ones",
    "suction_unit": "unit of suctions given as arrays",
    "diameter_unit": "unit of grain diameters given as arrays",
    "volumetric_terms": "int: terms of the volumetric energy that is fitted alongside",
    "condition_limit": "float: engine export, limit of the linear solve's condition number",
    "instantaneous": "``\"free\"``, ``\"first\"``, a modulus, or ``\"ratio\"`` for values that are divided by it already",
    "stress": "float or list: the stress of each creep test",
    "keep_tertiary": "bool: fit points of an accelerating last stage like the others",
    "form": "cyclic: ``\"ordinate\"``, ``\"strain\"``, ``\"log-strain\"`` or ``\"stress\"`` is compared",
    "strain_measure": "tensile test: ``\"plastic\"``, ``\"true\"`` or ``\"engineering\"``",
    "stress_measure": "tensile test: ``\"true\"`` or ``\"engineering\"``",
    "youngs_modulus": "tensile test: removes the elastic strain",
    "proof_strain": "tensile test: points below this plastic strain are left out",
    "water": "retention: ``\"content\"`` or ``\"saturation\"``",
    "porosity": "retention: for the grading and for saturations",
    "particle_density": "retention, in Mg/m3: for the grading",
    "conductivity": "retention: saturated hydraulic conductivity, which adds the curve of conductivity",
    "exponent": "retention: of Arya and Paris, for the grading",
    "points": "retention: ``\"measured\"``, ``\"grading\"`` or ``\"both\"`` are fitted",
}


def _collect(given: dict[str, Any]) -> tuple[list[dict[str, Any]], dict[str, Any]]:
    """Curves and keywords of a call."""
    curves: list[dict[str, Any]] = []
    keywords: dict[str, Any] = {}
    for name, value in given.items():
        if value is None:
            continue
        if name in SLOTS:
            curves += tests_of(SLOTS[name], value)
        elif name in _OPTIONS or name in _SETTINGS:
            keywords[name] = value
        else:
            raise TypeError(f"{name} is neither a curve nor an option; the curves are {', '.join(SLOTS)}")
    _place(curves, keywords)
    return curves, keywords


def _place(curves: list[dict[str, Any]], keywords: dict[str, Any]) -> None:
    """What is said of arrays goes with each of them."""
    units = {name[: -len("_unit")]: keywords.pop(name) for name in list(keywords) if name.endswith("_unit")}
    water = keywords.pop("water", None)
    stresses = keywords.pop("stress", None)
    tests = [curve for curve in curves if curve["slot"] == "creep"]
    if stresses is not None:
        stresses = np.atleast_1d(np.asarray(stresses, dtype=float))
        if len(stresses) != len(tests):
            raise BadInput(f"stress: {len(stresses)} values for {len(tests)} creep tests")
        for curve, stress in zip(tests, stresses):
            curve["stress"] = float(stress)
    for curve in tests:
        if "x" in curve and "stress" not in curve:
            raise BadInput("creep: the stress of the test is missing; give stress=, or (time, strain, stress)")
        curve["stress_unit"] = units.get("stress", "")
    for curve in curves:
        if "x" in curve:
            curve["units"] = units
            if water is not None and curve["slot"] == "retention":
                curve["water"] = water


def fit(model: str, **tests: Any) -> Fit:
    curves, keywords = _collect(tests)
    try:
        core = _core.fit(str(model), curves, keywords)
    except Error as error:
        raise type(error)(f"{error}{_sources(str(error), curves)}") from None
    result = Fit(core)
    if not core.converged:
        stopped = NotConverged(
            f"the fit did not converge: {core.status}; fewer terms, held values or another test may help"
        )
        stopped.result = result
        raise stopped
    return result


def _sources(message: str, curves: list[dict[str, Any]]) -> str:
    """Where the curves of a message come from."""
    named = [
        f"{name} is from {curve['source']}"
        for curve in curves
        for name in [curve.get("name", curve["slot"])]
        if "source" in curve and f"curve {name}" in message
    ]
    return f" ({', '.join(named)})" if named else ""


class Comparison(Sequence):
    """Several models fitted to the same tests.

    Attributes
    ----------
    proposed : Fit
        The one with the fewest parameters among those that the data support.
    table : pandas.DataFrame
        A row per model: free parameters, R², AICc, its difference to the smallest, and what speaks against it.
    notes : list of str
    """

    def __init__(self, answer: dict[str, Any]):
        self._rows: list[tuple[str, Any, str, int, float]] = [
            (label, None if core is None else Fit(core), outcome, free, difference)
            for label, core, outcome, free, difference in answer["rows"]
        ]
        self._proposed: int = answer["proposed"]
        self.notes: list[str] = answer["notes"]

    @property
    def proposed(self) -> Fit:
        return self._rows[self._proposed][1]

    @property
    def labels(self) -> list[str]:
        return [row[0] for row in self._rows]

    @property
    def table(self) -> Any:
        import pandas as pd

        columns = ["free_parameters", "r2", "aicc", "difference", "status", "proposed"]
        return pd.DataFrame(self._cells(), index=pd.Index(self.labels, name="model"), columns=columns)

    def _cells(self) -> list[tuple[Any, ...]]:
        def cells(i: int) -> tuple[Any, ...]:
            _, result, outcome, free, difference = self._rows[i]
            r2, aicc = (result.measures.r2, result.measures.aicc) if result else (np.nan, np.nan)
            return free if result else None, r2, aicc, difference, outcome, i == self._proposed

        return [cells(i) for i in range(len(self._rows))]

    def __len__(self) -> int:
        return len(self._rows)

    def __getitem__(self, key: Any) -> Any:
        """The fit of a model by position or label; None where it failed."""
        if isinstance(key, str):
            if key not in self.labels:
                raise KeyError(f"there is no model {key}; there are {', '.join(self.labels)}")
            key = self.labels.index(key)
        return [row[1] for row in self._rows][key]

    def __iter__(self) -> Iterator[Optional[Fit]]:
        return (row[1] for row in self._rows)

    def plot(self, ax: Any = None, **options: Any) -> Any:
        """The picture of the proposed model."""
        return self.proposed.plot(ax, **options)

    def __repr__(self) -> str:
        lines = [f"{'model':20} {'free':>4} {'R2':>10} {'AICc':>10} {'difference':>10}"]
        for label, (free, r2, aicc, difference, outcome, proposed) in zip(self.labels, self._cells()):
            mark = "  <- proposed" if proposed else ""
            lines.append(f"{label:20} {free or '-':>4} {r2:10.6f} {aicc:10.2f} {difference:10.2f}  {outcome}{mark}")
        return "\n".join(lines)

    def _repr_html_(self) -> str:
        rows = [
            (label, free or "–", f"{r2:.6f}", f"{aicc:.2f}", f"{difference:.2f}", outcome, "proposed" if proposed else "")
            for label, (free, r2, aicc, difference, outcome, proposed) in zip(self.labels, self._cells())
        ]
        table = table_html(("model", "free", "R²", "AICc", "difference", "", ""), rows)
        return table + "".join(f"<p>{html.escape(note)}</p>" for note in self.notes) + self.proposed._repr_html_()


def compare(models: Union[str, Sequence[str]], **tests: Any) -> Comparison:
    text = models if isinstance(models, str) else ",".join(models)
    return Comparison(_core.compare(text, *_collect(tests)))


def _describe() -> None:
    """The docstrings, and signatures that help and completion show, from the catalogue."""
    curves = ""
    for name, slot in SLOTS.items():
        about = next((c for model in CATALOGUE for c in model.curves if c.name == slot), None)
        if name == slot and about is None:
            curves += f"    {name} : test\n        grain diameter, share passing\n"
        elif about is not None and not (name == slot and slot in (SLOTS[k] for k in SLOTS if k != name)):
            curves += f"    {name} : test\n        {about.x}, {about.y}{' (and ' + about.companion + ')' if about.companion else ''}\n"
    options = "".join(f"    {name}\n        {text}\n" for name, text in {**_OPTIONS, **_SETTINGS}.items())
    families = ""
    for family in _core.families():
        names = [model.spelled for model in CATALOGUE if model.family == family]
        if family != "forming":
            families += f"        - {family}: ``{'``, ``'.join(names)}``\n"
    shared = f"""
    Each test is a file (CSV, or a workbook), a frame, whose columns are found by their names as in a file, a pair of
    arrays (x, y), an array of two columns or a pandas series, whose index is the abscissa. A list holds several tests of
    one kind. Everything left out is the library's choice.

    Parameters
    ----------
{{models}}{curves}{options}
"""
    fit.__doc__ = f"""Fit a model to test curves.
{shared.format(models=f'''    model : str
        Name, and after a colon the number of terms: ``"ogden:3"``. By family:

{families}''')}
    Returns
    -------
    Fit

    Raises
    ------
    BadInput, BadData
        A request that makes no sense; curves that cannot be used.
    NotConverged
        Its `result` tells where the solver stopped.

    Examples
    --------
    >>> import numpy as np
    >>> strain = np.linspace(0.1, 1.0, 10)
    >>> stretch = 1 + strain
    >>> found = fit("neo-hooke", uniaxial=(strain, 0.8 * (stretch - stretch**-2)))
    >>> round(found["C10"].value, 9)
    0.4
    """
    compare.__doc__ = f"""Fit several models to the same tests and propose one.
{shared.format(models='''    models : str or list of str
        Such as ``["neo-hooke", "yeoh", "ogden:1..3"]``, all of one family; ``"all"`` for those that need no number.
''')}
    Returns
    -------
    Comparison
    """
    kinds = inspect.Parameter
    keywords = [kinds(name, kinds.KEYWORD_ONLY, default=None) for name in (*SLOTS, *_OPTIONS, *_SETTINGS)]
    for function, first in ((fit, "model"), (compare, "models")):
        start = kinds(first, kinds.POSITIONAL_OR_KEYWORD)
        function.__signature__ = inspect.Signature([start, *keywords])  # type: ignore[attr-defined]


_describe()
