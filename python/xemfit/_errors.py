"""What can go wrong, by kind."""

from __future__ import annotations

from typing import Any


class Error(Exception):
    """Any refusal of the library. The message names curve, row, value and remedy."""

    exit_code = 1  #: of the command-line tool for the same refusal
    status = "failed"


class BadInput(Error, ValueError):
    """A model, an option, a count or a name makes no sense."""

    exit_code = 2
    status = "refused"


class BadData(Error, ValueError):
    """A curve is missing, malformed or unfit for the model."""

    exit_code = 3
    status = "bad data"


class MissingFile(BadData, FileNotFoundError):
    """There is no such file."""


class NotConverged(Error, RuntimeError):
    """No minimum was reached.

    Attributes
    ----------
    result : Fit or None
        Where the solver stopped, if it got anywhere.
    """

    exit_code = 4
    status = "not converged"
    result: Any = None


class NotIdentifiable(BadData):
    """The data determine none of the free parameters."""


class WorkerLost(Error):
    """The process that fitted a specimen ended without an answer, twice."""

    exit_code = -1
    status = "stopped"
