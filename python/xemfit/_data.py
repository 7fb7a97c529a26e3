"""The published curves that come with the package."""

from __future__ import annotations

from pathlib import Path
from typing import Optional, Union

from ._errors import BadInput

_FOLDER = Path(__file__).parent / "data"


def data(name: Optional[str] = None) -> Union[Path, list[str]]:
    """A published curve as a file; without a name, the names of all.

    Examples
    --------
    >>> data("treloar1944_uniaxial").name
    'treloar1944_uniaxial.csv'
    """
    names = sorted(file.stem for file in _FOLDER.glob("*.csv"))
    if name is None:
        return names
    if name not in names:
        raise BadInput(f"there is no published curve {name}; there are {', '.join(names)}")
    return _FOLDER / f"{name}.csv"
