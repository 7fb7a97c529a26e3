"""Recipes of the tool: the command for one specimen, with {specimen} where names differ."""

from __future__ import annotations

import os
import re
import shlex
from collections.abc import Mapping
from typing import Any, Optional

from ._errors import BadData, BadInput, MissingFile
from ._fit import _OPTIONS, _SETTINGS, compare, fit
from ._inputs import SLOTS
from ._models import CATALOGUE
from ._result import Fit

_PLACE = re.compile(r"\{([^{}]*)\}")
_FLAGS = {"--band", "--keep-tertiary"}
_PAIRS = {"hold", "start", "weight", "bounds", "range", "columns", "select"}
_NAMES = {"normalise": "instantaneous", "column": "columns"}

#: What fits, by command: the curve of the files without an option, and the option that says which model.
_COMMANDS = {
    "hyper fit": (None, "model", ""),
    "volume fit": ("volumetric", "terms", "volumetric"),
    "prony fit": ("relaxation", "terms", "prony"),
    "creep fit": ("creep", "type", "creep"),
    "cyclic fit": (None, "family", ""),
    "retention fit": ("retention", "model", ""),
}
_USUAL = {
    "creep fit": "creep:" + CATALOGUE["creep"].variants[-1],
    "prony fit": "prony",
    "retention fit": next(model.name for model in CATALOGUE if model.family == "retention"),
}


def _value(text: str) -> Any:
    """A number where the text is one."""
    for kind in (int, float):
        try:
            return kind(text)
        except ValueError:
            pass
    return text


def _ends(text: str) -> Any:
    """LO:HI, either side of which may be empty."""
    lower, colon, upper = text.partition(":")
    return (float(lower) if lower else None, float(upper) if upper else None) if colon else _value(text)


class Recipe:
    """A function of a specimen: a name, or a dictionary of what stands in braces."""

    def __init__(self, text: str, folder: str = "", source: str = "the recipe"):
        self.folder = folder
        self.source = source
        try:
            words = shlex.split(text, comments=True)
        except ValueError as error:
            raise BadInput(f"{source}: {error}") from None
        words = words[1:] if words[:1] == ["xemfit"] else words
        command = " ".join(words[:2])
        if command not in _COMMANDS:
            raise BadInput(f"{source}: begin with one of {', '.join(_COMMANDS)}, not with {command!r}")
        self._command = command
        self._options, self._files = self._parse(words[2:])

    def _parse(self, words: list[str]) -> tuple[list[tuple[str, str]], list[str]]:
        options, files = [], []
        words = [part for word in words for part in (word.split("=", 1) if word.startswith("--") else [word])]
        words.reverse()
        while words:
            word = words.pop()
            if not word.startswith("--") or word == "-":
                files.append(word)
            elif word in _FLAGS:
                options.append((word[2:].replace("-", "_"), ""))
            elif not words:
                raise BadInput(f"{self.source}: {word} needs a value")
            else:
                name = word[2:].replace("-", "_")
                options.append((_NAMES.get(name, name), words.pop()))
        return options, files

    def __call__(self, specimen: Any) -> Fit:
        values = dict(specimen) if isinstance(specimen, Mapping) else {"specimen": os.fspath(specimen)}
        curve, chooser, prefix = _COMMANDS[self._command]
        model = _USUAL.get(self._command, "")
        keywords: dict[str, Any] = {}
        for name, word in self._options:
            text = self._expand(word, values)
            if name == chooser:
                model = f"{prefix}:{text}" if prefix else text
            elif name in SLOTS:
                keywords.setdefault(SLOTS[name], []).append(self._path(text))
            elif name == "bootstrap":
                number, _, seed = text.partition(",")
                keywords.update(bootstrap=int(number), **({"seed": int(seed)} if seed else {}))
            elif name in _OPTIONS or name in _SETTINGS:
                keywords[name] = self._option(name, text, keywords.get(name))
            else:
                raise BadInput(f"{self.source}: --{name.replace('_', '-')} is for the tool alone")
        if self._files:
            if curve is None:
                raise BadInput(f"{self.source}: {self._files[0]} has no option that says what it is")
            keywords[curve] = [self._path(self._expand(file, values)) for file in self._files]
        if not model:
            raise BadInput(f"{self.source}: --{chooser} is missing")
        several = "," in model or ".." in model or model == "all"
        return compare(model, **keywords).proposed if several else fit(model, **keywords)

    def _option(self, name: str, text: str, before: Any) -> Any:
        if not text:
            return True
        if name == "stress" and self._command == "creep fit":
            return [float(part) for part in text.split(",")]
        if name not in _PAIRS:
            return _value(text)
        if "=" not in text:
            return _ends(text)
        pairs = dict(before or {})
        for part in text.split(","):
            key, _, value = part.rpartition("=")
            pairs[key] = value if name in ("columns", "select") else _ends(value)
        return pairs

    def _path(self, file: str) -> str:
        return os.path.join(self.folder, file)

    def _expand(self, word: str, values: Mapping[str, Any]) -> str:
        def value(place: re.Match[str]) -> str:
            if place[1] not in values:
                known = ", ".join(f"{{{name}}}" for name in values)
                raise BadInput(f"{self.source}: {place[0]} is not known; there is {known}")
            return str(values[place[1]])

        return _PLACE.sub(value, word)

    def specimens(self, folder: str) -> list[str]:
        """The specimens whose first file is in a folder, in the order of people: runs of digits count as numbers."""
        words = [*(word for name, word in self._options if name in SLOTS), *self._files]
        pattern = next((word for word in words if "{specimen}" in word), None)
        if pattern is None:
            raise BadInput(f"{self.source}: no input file has {{specimen}} in its name")
        self.folder = folder
        base, _, name = pattern.rpartition("/")
        before, _, after = name.partition("{specimen}")
        place = os.path.join(folder, base)
        found = [
            entry[len(before) : len(entry) - len(after)]
            for entry in (os.listdir(place) if os.path.isdir(place) else ())
            if entry.startswith(before) and entry.endswith(after) and len(entry) > len(before) + len(after)
        ]
        if not found:
            raise BadData(f"{folder}: no file is called {pattern}, as {self.source} wants it")
        return sorted(found, key=lambda one: [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", one)])


def recipe_of(recipe: Any) -> Optional[Recipe]:
    """A recipe of the tool, as text or file; None for the name of a model."""
    text = os.fspath(recipe)
    if "\n" not in text and os.path.isfile(text):
        folder = os.path.dirname(text)
        with open(text, encoding="utf-8") as file:
            return Recipe(file.read(), folder, text)
    if len(text.split()) > 1:
        return Recipe(text)
    if os.path.splitext(text)[1]:
        raise MissingFile(f"{text}: there is no such recipe")
    return None


