"""Many specimens, one after the other on as many processors as there are."""

from __future__ import annotations

import concurrent.futures as futures
import ctypes
import math
import multiprocessing
import os
import pickle
import sys
import time
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any, Optional, Union

from . import _core
from ._errors import BadInput, Error, NotConverged, WorkerLost
from ._fit import fit
from ._recipe import Recipe, recipe_of
from ._result import Fit

_LARGEST_CHUNK = 64
_CHUNKS_PER_WORKER = 4
_AHEAD = 2  # chunks per worker that are given out

Answer = Union[Fit, Any]


class _ModelOf:
    """A recipe that is a model: the specimen holds the tests."""

    def __init__(self, model: str, options: dict[str, Any]):
        self.model = model
        self.options = options

    def __call__(self, specimen: Mapping[str, Any]) -> Fit:
        return fit(self.model, **{**self.options, **specimen})


def _one_thread() -> None:
    """Processes share the cores already."""
    try:
        ctypes.CDLL("libopenblas.so.0").openblas_set_num_threads(1)
    except (OSError, AttributeError):
        pass


def _answers(function: Callable[[Any], Any], specimens: Sequence[Any]) -> list[Any]:
    """In a worker: what became of some specimens. An error is the answer of its specimen."""
    answers: list[Any] = []
    for specimen in specimens:
        try:
            answer = function(specimen)
        except Exception as error:
            answer = error
        answers.append(answer if isinstance(answer, Fit) else _portable(answer))
    return answers


def _portable(answer: Any) -> Any:
    """The answer itself if it can go to another process and comes back as it was."""
    try:
        pickle.loads(pickle.dumps(answer))
        return answer
    except Exception as error:
        what = f"{type(answer).__name__}: {answer}" if isinstance(answer, Exception) else f"{type(answer).__name__}: {error}"
        return Error(what)


_work: tuple[Any, Any] = (None, None)  # of this worker process


def _begin(function: Any, specimens: Any) -> None:
    global _work
    _work = (function, specimens)
    _one_thread()


def _chunk_of_own(begin: int, end: int) -> list[Any]:
    function, specimens = _work
    return _answers(function, specimens[begin:end])


class _Progress:
    """A line that tells how far the work is, in a terminal or a notebook."""

    def __init__(self, total: int, wanted: Optional[bool]):
        self.total = total
        self.finished = self.failed = 0
        self._started = self._shown = time.monotonic()
        self._notebook = None
        self._wanted = wanted
        if wanted is not False and "IPython" in sys.modules:
            shell = sys.modules["IPython"].get_ipython()
            if shell is not None and hasattr(shell, "kernel"):
                self._notebook = sys.modules["IPython"].display.display({"text/plain": ""}, raw=True, display_id=True)
        self._active = bool(wanted) or wanted is None and (self._notebook is not None or sys.stderr.isatty())

    def __str__(self) -> str:
        seconds = max(time.monotonic() - self._started, 1e-9)
        left = seconds / max(self.finished, 1) * (self.total - self.finished)
        share = self.finished / max(self.total, 1)
        bar = "█" * round(24 * share) + "░" * (24 - round(24 * share))
        failed = f", {self.failed} failed" if self.failed else ""
        return f"{bar} {self.finished} of {self.total} specimens{failed}, {self.finished / seconds:.3g}/s, {left:.0f} s left"

    def add(self, answers: Sequence[Any]) -> None:
        self.finished += len(answers)
        self.failed += sum(isinstance(one, Exception) for one in answers)
        last = self.finished == self.total
        if not self._active or not last and time.monotonic() - self._shown < 0.2:
            return
        self._shown = time.monotonic()
        if self._notebook is not None:
            self._notebook.update({"text/plain": str(self)}, raw=True)
        else:
            print(f"\r{self}\x1b[K", end="\n" if last else "", file=sys.stderr, flush=True)


def _cores() -> int:
    return len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 1


class _Crew:
    """Who does the work: an executor, or processes of our own, which are replaced when they die."""

    def __init__(self, executor: Any, function: Any, specimens: Sequence[Any], workers: int):
        self._function = function
        self._specimens = specimens
        self.is_own = executor is None
        if executor is not None and hasattr(executor, "get_executor"):  # a client of Dask
            workers = max(1, sum(executor.nthreads().values()))
            executor = executor.get_executor(pure=False)
        self._executor = executor
        self.workers = workers if self.is_own else getattr(executor, "_max_workers", None) or workers

    def submit(self, begin: int, end: int) -> Any:
        if not self.is_own:
            return self._executor.submit(_answers, self._function, self._specimens[begin:end])
        if self._executor is None:
            self._executor = self._pool(self.workers)
        return self._executor.submit(_chunk_of_own, begin, end)

    def alone(self, begin: int, end: int) -> Any:
        """For work that has ended a worker: what it ends now is its own."""
        if not self.is_own:
            return self.submit(begin, end).result()
        with self._pool(1) as pool:
            return pool.submit(_chunk_of_own, begin, end).result()

    def close(self) -> None:
        if self.is_own and self._executor is not None:
            self._executor.shutdown(cancel_futures=True)
            self._executor = None

    def _pool(self, workers: int) -> futures.ProcessPoolExecutor:
        # Children that are forked have function and specimens already.
        methods = multiprocessing.get_all_start_methods()
        context = multiprocessing.get_context("fork" if "fork" in methods else None)
        return futures.ProcessPoolExecutor(workers, context, _begin, (self._function, self._specimens))


def _is_own_failure(error: BaseException) -> bool:
    """An error of the work, not of who did it: such as a function that cannot be sent."""
    return isinstance(error, (pickle.PicklingError, TypeError, AttributeError))


def _run(crew: _Crew, count: int, size: int, progress: _Progress) -> list[Any]:
    answers: list[Any] = [None] * count
    todo = [(begin, min(begin + size, count)) for begin in range(0, count, size)][::-1]
    given: dict[Any, tuple[int, int]] = {}
    lost: list[tuple[int, int]] = []

    def take(chunk: tuple[int, int], found: list[Any]) -> None:
        answers[slice(*chunk)] = found
        progress.add(found)

    def gather(future: Any) -> bool:
        """False when whoever had the chunk is gone."""
        chunk = given.pop(future)
        try:
            take(chunk, future.result())
        except Exception as error:
            if _is_own_failure(error):
                raise
            lost.append(chunk)
            return not isinstance(error, futures.BrokenExecutor)
        return True

    while todo or given:
        sound = True
        try:
            while todo and len(given) < _AHEAD * crew.workers:
                future = crew.submit(*todo[-1])
                given[future] = todo.pop()
        except futures.BrokenExecutor:
            sound = False
            lost.append(todo.pop())
        done = futures.wait(given, return_when=futures.FIRST_COMPLETED).done if given else ()
        sound = all([gather(future) for future in done]) and sound
        if not sound and crew.is_own:  # the others of that pool are gone as well
            for future in list(given):
                gather(future)
            crew.close()
    for chunk in lost:
        take(chunk, _second_try(crew, *chunk))
    return answers


def _second_try(crew: _Crew, begin: int, end: int) -> list[Any]:
    """A lost chunk once more; if it is lost again, its specimens one by one, so that it costs no others."""
    try:
        return crew.alone(begin, end)
    except Exception as error:
        if end - begin > 1:
            return [answer for at in range(begin, end) for answer in _second_try(crew, at, at + 1)]
        return [WorkerLost(f"its process ended without an answer: {error}")]


class Batch(Sequence):
    """What became of the specimens, in their order: results or, where a fit failed, its error.

    Attributes
    ----------
    names : list of str
    """

    def __init__(self, names: Sequence[str], answers: Sequence[Answer]):
        self.names = list(names)
        self._answers = list(answers)

    def __len__(self) -> int:
        return len(self._answers)

    def __getitem__(self, key: Any) -> Any:
        if isinstance(key, str):
            if key not in self.names:
                raise KeyError(f"there is no specimen {key}")
            return self._answers[self.names.index(key)]
        if isinstance(key, slice):
            return Batch(self.names[key], self._answers[key])
        return self._answers[key]

    def __iter__(self) -> Iterator[Answer]:
        return iter(self._answers)

    @property
    def errors(self) -> dict[str, Exception]:
        """What did not fit, by specimen."""
        return {name: one for name, one in zip(self.names, self._answers) if isinstance(one, Exception)}

    @property
    def summary(self) -> Any:
        """The summary with the usual gates, see `summarise`."""
        return self.summarise()

    def summarise(
        self,
        min_r2: Optional[float] = None,
        max_dropped: Optional[float] = None,
        allow_unclear: Optional[bool] = None,
    ) -> Any:
        """The table that the tool writes, as a pandas frame: a row per specimen, below them mean and scatter.

        Parameters
        ----------
        min_r2, max_dropped, allow_unclear
            Which fits are doubtful and do not count, as for the tool.

        Returns
        -------
        pandas.DataFrame
            ``attrs["units"]`` has the units of the columns.
        """
        import pandas as pd

        gates = {"min_r2": min_r2, "max_dropped": max_dropped, "allow_unclear": allow_unclear}
        found = _core.summarise([self._told(*one) for one in zip(self.names, self._answers)], gates)
        told = pd.DataFrame(found["rows"], columns=["specimen", "status", "exit_code", "model", "outlier_in", "message"])
        numbers = pd.DataFrame({name: values for name, values, _, _ in found["columns"]})
        statistics = pd.DataFrame({name: row for name, _, row, _ in found["columns"]})
        statistics.insert(0, "specimen", found["statistics"])
        statistics.insert(1, "status", "summary")
        ends = told[["outlier_in", "message"]]
        frame = pd.concat([told.drop(columns=ends.columns), numbers, ends], axis=1)
        frame = pd.concat([frame, statistics], ignore_index=True)[frame.columns]
        frame["exit_code"] = frame["exit_code"].astype("Int64")
        frame.attrs["units"] = {name: unit for name, _, _, unit in found["columns"] if unit}
        return frame

    @staticmethod
    def _told(name: str, answer: Answer) -> tuple[Any, ...]:
        if isinstance(answer, Fit):
            return name, 0, "", answer._core
        if isinstance(answer, NotConverged) and answer.result is not None:
            return name, answer.exit_code, str(answer), answer.result._core
        if isinstance(answer, Exception):
            return name, getattr(answer, "exit_code", 1), str(answer), None
        raise BadInput(f"specimen {name}: {type(answer).__name__} is no result of a fit, so that there is no summary")

    def __repr__(self) -> str:
        return f"<batch of {len(self)} specimens, {len(self.errors)} failed>"

    def _repr_html_(self) -> str:
        return self.summary.to_html(index=False, na_rep="", max_rows=40)


def _named(specimens: Any, names: Optional[Sequence[str]]) -> tuple[list[str], list[Any]]:
    if isinstance(specimens, Mapping):
        specimens, names = list(specimens.values()), names or [str(key) for key in specimens]
    elif hasattr(specimens, "to_dict") and hasattr(specimens, "columns"):
        specimens = specimens.to_dict("records")
    specimens = list(specimens)
    if names is None:
        names = [_name_of(one, i) for i, one in enumerate(specimens, start=1)]
    if len(names) != len(specimens):
        raise BadInput(f"names: {len(names)} for {len(specimens)} specimens")
    return [str(name) for name in names], specimens


def _name_of(specimen: Any, number: int) -> str:
    if isinstance(specimen, (str, os.PathLike)):
        return os.fspath(specimen)
    if isinstance(specimen, Mapping) and isinstance(specimen.get("specimen"), str):
        return specimen["specimen"]
    return str(number)


def batch(
    recipe: Union[str, "os.PathLike[str]", Callable[[Any], Any]],
    specimens: Any,
    executor: Any = None,
    *,
    names: Optional[Sequence[str]] = None,
    workers: Optional[int] = None,
    chunk: Optional[int] = None,
    progress: Optional[bool] = None,
    **options: Any,
) -> Batch:
    """Fit many specimens, on many processors.

    Parameters
    ----------
    recipe : str, path or callable
        A model, whose specimens are dictionaries of tests; a function of a specimen; or a recipe of the tool, as text or
        file, such as ``"hyper fit --model ogden:2 --uniaxial {specimen}.csv"``.
    specimens : sequence, mapping, frame or folder
        A mapping names them. For a recipe they are names, rows with what stands in braces, or the folder that holds
        their files.
    executor : optional
        None: processes of this machine. Else anything with ``submit`` in the manner of `concurrent.futures`, such as
        MPI's pool, or a client of Dask.
    names : sequence of str, optional
        Of the specimens, for the summary.
    workers : int, optional
        How many processes; as many as there are cores when left out.
    chunk : int, optional
        How many specimens a worker is given at a time.
    progress : bool, optional
        A line that tells how far the work is; in a terminal or a notebook when left out.
    **options
        For `fit`, where the recipe is a model.

    Returns
    -------
    Batch
        In the order of the specimens. A specimen that fails is its error, the others go on. When a worker dies, its
        specimens are tried once more; what ends a worker again is a `WorkerLost`.
    """
    function: Any = recipe if callable(recipe) else recipe_of(recipe) or _ModelOf(os.fspath(recipe), options)
    if options and not isinstance(function, _ModelOf):
        raise TypeError(f"only a model takes options of a fit: {', '.join(options)}")
    if isinstance(function, Recipe) and isinstance(specimens, (str, os.PathLike)):
        specimens = function.specimens(os.fspath(specimens))
    named, given = _named(specimens, names)
    crew = _Crew(executor, function, given, min(workers or _cores(), max(1, len(given))))
    size = chunk or max(1, min(_LARGEST_CHUNK, math.ceil(len(given) / (crew.workers * _CHUNKS_PER_WORKER))))
    try:
        return Batch(named, _run(crew, len(given), size, _Progress(len(given), progress)))
    finally:
        crew.close()
