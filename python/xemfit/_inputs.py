"""Tests as people have them, turned into curves."""

from __future__ import annotations

import os
from collections.abc import Mapping
from typing import Any, Optional

import numpy as np

from . import _core
from ._errors import BadData, BadInput, MissingFile
from ._models import CATALOGUE

#: Curves by the name that the catalogue has for them, and the tool's word where it is another one.
SLOTS = {curve.name: curve.name for model in CATALOGUE for curve in model.curves}
SLOTS.update(grading="grading", tensile="tensile_test")


def is_frame(test: Any) -> bool:
    return hasattr(test, "columns") and hasattr(test, "iloc")


def is_series(test: Any) -> bool:
    return hasattr(test, "index") and hasattr(test, "to_numpy") and not is_frame(test) and not isinstance(test, tuple)


def is_path(test: Any) -> bool:
    return isinstance(test, (str, os.PathLike))


def _is_column(values: Any) -> bool:
    return np.ndim(values) == 1 and not is_path(values)


def tests_of(slot: str, given: Any) -> list[dict[str, Any]]:
    """The curves of one keyword: a test, or a list of tests."""
    single = not isinstance(given, list) or (len(given) in (2, 3) and all(map(_plain, given)))
    tests = [given] if single else given
    found = [curve_of(slot, test) for test in tests]
    if not single:
        taken: dict[str, int] = {}
        for one in found:
            name = one.get("name", slot)
            taken[name] = taken.get(name, 0) + 1
            one["name"] = name if taken[name] == 1 else f"{name}_{taken[name]}"
    return found


def _plain(values: Any) -> bool:
    """A column of numbers, not a test by itself."""
    return isinstance(values, (list, np.ndarray)) and np.ndim(values) == 1 or np.isscalar(values) and not is_path(values)


def curve_of(slot: str, test: Any) -> dict[str, Any]:
    """A curve with "slot", "x" and "y" from arrays, a pair, a series or an array of columns."""
    if is_series(test):
        columns = [test.index.to_numpy(), test.to_numpy()]
    elif isinstance(test, np.ndarray) and test.ndim == 2:
        columns = list(test.T if test.shape[1] in (2, 3) else test)
    elif isinstance(test, (tuple, list)):
        columns = list(test)
    else:
        raise BadInput(f"curve {slot}: {type(test).__name__} is no test; give a pair (x, y), a frame, a series or a file")
    if len(columns) not in (2, 3):
        raise BadInput(f"curve {slot}: a test is a pair (x, y), not {len(columns)} columns")
    try:
        x, y = (np.asarray(one, dtype=float) for one in columns[:2])
    except (TypeError, ValueError) as error:
        raise BadData(f"curve {slot}: these are not numbers: {error}") from None
    if x.ndim != 1 or y.ndim != 1:
        raise BadData(f"curve {slot}: abscissae and ordinates have one dimension, not {x.ndim} and {y.ndim}")
    curve: dict[str, Any] = {"slot": slot, "x": x, "y": y}
    if len(columns) == 3:
        third = columns[2]
        curve["stress" if np.ndim(third) == 0 else "lateral"] = third if np.ndim(third) else float(third)
    return curve
