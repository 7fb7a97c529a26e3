"""Tests as people have them, turned into curves."""

from __future__ import annotations

import hashlib
import os
from collections.abc import Mapping
from typing import Any

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


def tests_of(slot: str, given: Any) -> list[dict[str, Any]]:
    """The curves of one keyword: a test, or a list of tests."""
    single = not isinstance(given, list) or (len(given) in (2, 3) and all(map(_plain, given)))
    tests = [given] if single else given
    found = [curve_of(slot, test) for test in tests]
    if not single and slot == "creep":  # the library names the others
        taken: dict[str, int] = {}
        for one in found:
            name = one.get("name", slot)
            taken[name] = taken.get(name, 0) + 1
            one["name"] = name if taken[name] == 1 else f"{name}_{taken[name]}"
    return found


def _plain(values: Any) -> bool:
    """A column of numbers, not a test by itself."""
    if isinstance(values, (list, np.ndarray)):
        return np.ndim(values) == 1 and not any(map(is_path, values[:1]))
    return np.isscalar(values) and not is_path(values)


def curve_of(slot: str, test: Any) -> dict[str, Any]:
    """What the extension takes for a test: the text of a file, named columns, or arrays."""
    if is_path(test):
        return _file(slot, os.fspath(test))
    if is_frame(test):
        return {"slot": slot, "table": _columns(test), "metadata": dict(getattr(test, "attrs", {}))}
    if isinstance(test, Mapping):
        return {"slot": slot, "table": [(str(name), _column(values)) for name, values in test.items()]}
    if is_series(test):
        columns = [test.index.to_numpy(), test.to_numpy()]
    elif isinstance(test, np.ndarray) and test.ndim == 2:
        columns = list(test.T if test.shape[1] in (2, 3) else test)
    elif isinstance(test, (tuple, list)):
        columns = list(test)
    else:
        raise BadInput(
            f"curve {slot}: {type(test).__name__} is no test; give a pair (x, y), a frame, a series or a file"
        )
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
        curve["companion" if np.ndim(columns[2]) else "stress"] = columns[2]
    return curve


def _file(slot: str, path: str) -> dict[str, Any]:
    try:
        if path.lower().endswith((".xlsx", ".xlsm", ".xls", ".ods")):
            import pandas as pd

            # As the sheet would be saved, so that a preamble and a row of units are found as in any file.
            content = pd.read_excel(path, header=None).to_csv(index=False, header=False).encode()
        else:
            with open(path, "rb") as file:
                content = file.read()
    except FileNotFoundError:
        raise MissingFile(f"{path}: there is no such file") from None
    except (OSError, ValueError, ImportError) as error:
        raise BadData(f"{path}: {error}") from None
    stem = os.path.splitext(os.path.basename(path))[0]
    digest = hashlib.sha256(content).hexdigest()
    curve = {"slot": slot, "text": content, "source": path, "sha256": digest}
    return {**curve, "name": stem} if slot == "creep" else curve


def _columns(frame: Any) -> list[tuple[str, Any]]:
    if any(name is not None for name in frame.index.names):
        frame = frame.reset_index()
    names = [" ".join(map(str, name)) if isinstance(name, tuple) else str(name) for name in frame.columns]
    return [(name, _column(frame.iloc[:, i])) for i, name in enumerate(names)]


def _column(values: Any) -> Any:
    """Numbers as they are; a column with anything else in it as texts."""
    try:
        return np.asarray(values, dtype=float)
    except (TypeError, ValueError):
        return ["" if one is None or one != one else str(one) for one in values]
