"""The catalogue of models."""

from __future__ import annotations

import html
from dataclasses import dataclass
from typing import Any, Optional

from . import _core
from ._errors import BadInput


@dataclass(frozen=True)
class CurveInfo:
    """A curve that a model explains; units are told by kind, such as "stress"."""

    name: str
    x: str
    x_unit: str
    y: str
    y_unit: str
    companion: str
    logarithmic: bool


@dataclass(frozen=True)
class ParameterInfo:
    """A parameter of a model, and the range that a fit keeps it in."""

    name: str
    unit: str
    lower: float
    upper: float
    meaning: str


@dataclass(frozen=True)
class Model:
    """What is to be known of a model before a fit."""

    name: str
    title: str
    family: str
    fewest_terms: int
    most_terms: int
    usual_terms: int
    variants: tuple[str, ...]
    curves: tuple[CurveInfo, ...]
    parameters: tuple[ParameterInfo, ...]
    formula: str
    source: str
    export: str
    page: str

    @property
    def spelled(self) -> str:
        """How the model is asked for: ``"ogden:N"``, ``"yeoh[:N]"``, ``"creep:primary|secondary|both"``."""
        if self.variants:
            return self.name + ":" + "|".join(self.variants)
        if self.most_terms == 0:
            return self.name
        return self.name + ("[:N]" if self.usual_terms > 0 else ":N")

    def with_terms(self, terms: int = 0) -> tuple[ParameterInfo, ...]:
        """The parameters of so many terms; 0 stands for the usual number."""
        return tuple(ParameterInfo(**one) for one in _core.parameters(self.name, terms))

    def __str__(self) -> str:
        lines = [f"{self.spelled}: {self.title} ({self.source})", "", f"    {self.formula}", ""]
        lines += [f"{one.name}{f' ({one.unit})' if one.unit else ''}: {one.meaning}" for one in self.parameters]
        return "\n".join(lines)


class Catalogue(tuple):
    """Models in the order of their families; a name finds one."""

    def __getitem__(self, key: Any) -> Any:
        if not isinstance(key, str):
            return super().__getitem__(key)
        for model in self:
            if model.name == key.split(":")[0]:
                return model
        raise KeyError(key)

    def to_frame(self) -> Any:
        """The catalogue as a pandas frame."""
        import pandas as pd

        rows = [(m.spelled, m.family, ", ".join(p.name for p in m.parameters), m.formula, m.source) for m in self]
        return pd.DataFrame(rows, columns=["model", "family", "parameters", "formula", "source"])

    def __repr__(self) -> str:
        return "\n".join(f"{m.spelled:32} {m.family:12} {m.source}" for m in self)

    def _repr_html_(self) -> str:
        cells = [(m.spelled, m.title, m.family, m.formula, m.source) for m in self]
        return table_html(("model", "", "family", "formula", "source"), cells)


def table_html(header: tuple[str, ...], rows: Any) -> str:
    """A table of texts."""
    head = "".join(f"<th>{html.escape(one)}</th>" for one in header)
    body = "".join("<tr>" + "".join(f"<td>{html.escape(str(one))}</td>" for one in row) + "</tr>" for row in rows)
    return f'<table class="dataframe"><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>'


def _all() -> Catalogue:
    def model(info: dict[str, Any]) -> Model:
        info["variants"] = tuple(info["variants"])
        info["curves"] = tuple(CurveInfo(**one) for one in info["curves"])
        info["parameters"] = tuple(ParameterInfo(**one) for one in info["parameters"])
        return Model(**info)

    return Catalogue(model(info) for info in _core.models())


CATALOGUE = _all()


def models(*names: str, family: Optional[str] = None) -> Catalogue:
    """The catalogue: what can be fitted, with parameters, ranges, formulas and sources.

    Parameters
    ----------
    *names : str
        Models to tell about; all when left out.
    family : str, optional
        Only the models of one family.

    Returns
    -------
    Catalogue
        A tuple of `Model`, which also finds a model by its name.

    Examples
    --------
    >>> [model.name for model in models(family="cyclic")][:2]
    ['power', 'hyperbolic']
    """
    if family is not None and family not in _core.families():
        raise BadInput(f"family: {family!r} is not one of {', '.join(_core.families())}")
    try:
        chosen = [CATALOGUE[name] for name in names] if names else list(CATALOGUE)
    except KeyError as unknown:
        raise BadInput(f"there is no model {unknown}; models() lists them") from None
    return Catalogue(one for one in chosen if family in (None, one.family))
