"""Results of plans."""

from __future__ import annotations

import contextlib
import dataclasses
import os
from collections.abc import Callable
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

from veloperation import _core
from veloperation._arrays import stream_of
from veloperation._packages import need
from veloperation._table import as_html, as_text

if TYPE_CHECKING:
    from veloperation._sources import Source

Progress = Callable[[int, float | None], object]

_DTYPES = {"c": "i1", "C": "u1", "s": "i2", "S": "u2", "i": "i4", "I": "u4", "l": "i8", "L": "u8"}
_DTYPES |= {"e": "f2", "f": "f4", "g": "f8", "b": "?", "tdm": "M8[ms]"}
_UNITS = {"s": "s", "m": "ms", "u": "us", "n": "ns"}
_SHOWN = 10


@dataclasses.dataclass(frozen=True)
class Warning:
    """Something in the samples, or in the plan, that may not be expected.

    Examples
    --------
    >>> import veloperation as vel
    >>> plan = vel.Plan()
    >>> plan["total"] = vel.op.IntegralAdd(plan.input("v", vel.Float64), delta_time=1.0)
    >>> result = plan.replay({"v": [1.0, 1.0, float("nan"), 1.0]}, warnings=True).read()
    >>> print(result.warnings[0])
    total: the total of IntegralAdd starts again from 0 behind a missing sample (first in row 3; 1 in all)
    """

    channel: str
    """The channel's name."""
    what: str
    """What there is."""
    first_row: int
    """The row of the first one, from 1; 0: it is true of the plan, whatever the rows."""
    rows: int
    """How many rows it concerns."""

    def __str__(self) -> str:
        return (f"{self.channel}: " if self.channel else "") + self._told

    @property
    def _told(self) -> str:
        first = f"first in row {self.first_row}; " if self.first_row else ""
        return self.what + (f" ({first}{self.rows} in all)" if self.rows else "")


def _warnings(given: list[tuple[str, str, int, int]], are_there: bool) -> list[Warning]:
    if not are_there:
        raise _core.Error("warnings: nobody has looked out for them\n  replay with warnings=True")
    return [Warning(*warning) for warning in given]


class SchemaOf:
    """The schema of a result, for pyarrow."""

    def __init__(self, made: _core.EngineResult) -> None:
        self._made = made

    def __arrow_c_schema__(self) -> object:
        return self._made.schema()


def next_table(made: _core.EngineResult) -> Any:
    """Give the next table of a result that is read once, for pyarrow; None at the end."""
    stream = made.next_table()
    return None if stream is None else need("pyarrow").RecordBatchReader._import_from_c_capsule(stream).read_all()


class Replaying:
    """A replay that has begun, and the files that it reads, if they are ours to read."""

    def __init__(self, core: _core.EngineResult, source: Source | None = None) -> None:
        self.core = core
        self.source = source

    def own_errors(self) -> contextlib.AbstractContextManager[None]:
        """Raise what has gone wrong in the files as it was, where the engine reports it."""
        return contextlib.nullcontext() if self.source is None else self.source.own_errors()

    def warnings(self) -> list[tuple[str, str, int, int]]:
        """Give the warnings so far."""
        own = [] if self.source is None else [dataclasses.astuple(warning) for warning in self.source.warnings]
        return self.core.warnings() + own


def refuse_same_files(result: str, read: list[str]) -> None:
    written = "/dev/stdout" if result == "-" else result
    for file in read:
        source = "/dev/stdin" if file == "-" else file
        if os.path.isfile(source) and os.path.exists(written) and os.path.samefile(source, written):
            raise _core.Error(f"{written}: this is the file that is read as {source}\n  write to another one")


@dataclasses.dataclass(frozen=True)
class Pages:
    """What pages of a result are made of."""

    plan: _core.EnginePlan
    replaced: str
    """Settings, for people."""
    sources: list[str]
    """The files that a page must not replace."""
    again: Callable[[Progress | None], Replaying]
    """Begins the replay once more."""


class Result:
    """The result of a plan: a table that is computed while it is read.

    It has Arrow's interface, so ``polars.DataFrame(result)``, ``pyarrow.table(result)`` and
    ``pandas.DataFrame.from_arrow(result)`` take it. Read like that, it is a stream: read once, and never in memory
    as a whole. `read` keeps it: from then on it may be read as often as wanted, also by columns.

    Examples
    --------
    >>> import pyarrow as pa
    >>> import veloperation as vel
    >>> plan = vel.Plan()
    >>> plan["twice"] = plan.input("v", vel.UInt16) * 2
    >>> result = plan.replay({"v": [1, 2]})
    >>> pa.table(result).column_names
    ['v', 'twice']
    >>> pa.table(result)
    Traceback (most recent call last):
    ...
    veloperation.Error: result: it has been read already, and a stream is read once
      call read() first, which keeps it, or replay again
    """

    def __init__(self, made: Replaying, has_warnings: bool, pages: Pages | None = None) -> None:
        self._made = made
        self._core = made.core
        self._has_warnings = has_warnings
        self._pages = pages
        self._columns: dict[str, npt.NDArray[Any]] = {}

    @property
    def columns(self) -> list[str]:
        """The names of the columns."""
        return [name for name, _ in self._core.fields()]

    @property
    def warnings(self) -> list[Warning]:
        """What there is to warn of so far, if the plan looks out for it: with ``warnings=True`` or ``status=True``."""
        return _warnings(self._made.warnings(), self._has_warnings)

    def read(self) -> Result:
        """Compute the whole result and keep it.

        Returns
        -------
        Result
            This one.

        Raises
        ------
        Error
            If a value of the recording is no sample, or if the result has been read as a stream.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> plan["twice"] = plan.input("v", vel.Float64) * 2
        >>> plan.replay({"v": [1.0, 2.0]}).read()
        v    twice
        ---  -----
        1.0  2.0
        2.0  4.0
        """
        with self._made.own_errors():
            self._core.read()
        return self

    def page(
        self,
        file: str | os.PathLike[str],
        *,
        size: int = 20_000_000,
        begin: object = None,
        end: object = None,
        progress: Progress | None = None,
    ) -> None:
        """Write the result as a page to look at in a browser, as velreplay's ``--page``.

        The page has the panels of the plan's table ``[plot]``, or one for each channel, the summary and the plan. A
        result that has not been read is read by this, as a stream. One that `read` has kept stays, and the plan is
        replayed over the same data.

        Parameters
        ----------
        file : str or os.PathLike
            The file, which ends in ``.html``. It appears when it is complete.
        size : int, default 20 MB
            How many bytes it may take. A recording with more rows than have room is shown by the least and the greatest
            sample of several rows.
        begin, end : optional
            The part of the axis to show: numbers, or texts of times as in the recording.
        progress : callable, optional
            As of `Plan.replay`.

        Raises
        ------
        Error
            If the file cannot be written, if a value of the recording is no sample, if the result has been read as a
            stream, or if the package was built without pages.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> plan["twice"] = plan.input("v", vel.Float64) * 2
        >>> plan.replay({"v": [1.0, 2.0]}).page("result.svg")
        Traceback (most recent call last):
        ...
        veloperation.Error: result.svg: a page is a file of HTML
          end the name with .html
        """
        pages = self._pages
        if pages is None:
            raise _core.Error("page: this is the result of a part of a recording\n  replay the whole recording")
        if not isinstance(size, int) or isinstance(size, bool) or size <= 0:
            raise _core.Error(f"page: the size {size!r} is no number of bytes\n  write, for example: size=20_000_000")
        refuse_same_files(os.fspath(file), pages.sources)
        bounds = ["" if bound is None else str(bound) for bound in (begin, end)]
        made, rows = self._made, None
        if made.core.is_kept():
            made, rows = pages.again(progress), made.core.rows_computed()
        with made.own_errors():
            made.core.write_page(os.fspath(file), size, pages.plan, bounds[0], bounds[1], pages.replaced, rows)

    def __len__(self) -> int:
        self.read()
        return self._core.rows()

    def __bool__(self) -> bool:
        return True

    def __getitem__(self, name: str) -> npt.NDArray[Any]:
        """Give a column as an array, and keep the result.

        Floating columns have NaN where there is no sample, times have NaT, texts None, and all others are masked
        arrays.
        """
        if name not in self._columns:
            if name not in self.columns:
                raise KeyError(f"the result has no column {name!r}; it has {', '.join(self.columns)}")
            self.read()
            self._columns[name] = self._array(name, 0, self._core.rows())
        return self._columns[name]

    def _array(self, name: str, begin: int, end: int) -> npt.NDArray[Any]:
        form: str
        values: Any
        missing: Any
        form, values, missing = self._core.column(self.columns.index(name), begin, end)
        if form == "":
            raise _core.Error(f'column "{name}": NumPy has no such values\n  take it from pyarrow or polars')
        if form == "U":
            texts = np.empty(len(values), object)
            texts[:] = values
            return texts
        array: npt.NDArray[Any]
        if form == "tdD":
            array = values.view(np.int32).astype("M8[D]")
        elif form.startswith(("ts", "tD")):
            array = values.view(f"{'M' if form[1] == 's' else 'm'}8[{_UNITS[form[2]]}]")
        else:
            array = values.view(_DTYPES[form])
        if array.dtype.kind in "fmM":
            if missing is not None:
                array[missing.view(bool)] = np.nan if array.dtype.kind == "f" else "NaT"
            return array
        return np.ma.MaskedArray(array, np.ma.nomask if missing is None else missing.view(bool))

    def __arrow_c_schema__(self) -> object:
        """Give the schema of the table."""
        return self._core.schema()

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        """Give the table as a stream. Other types than its own, which may be asked for, it does not make."""
        return self._core.stream()

    def _rows(self) -> tuple[list[str], list[list[str]]]:
        if not self._core.is_kept():
            return ["column", "type"], [[name, kind] for name, kind in self._core.fields()]
        columns = [self._cells(name) for name in self.columns]
        return self.columns, [list(row) for row in zip(*columns, strict=True)]

    def _cells(self, name: str) -> list[str]:
        count = self._core.rows()
        try:
            shown = self._array(name, 0, min(count, _SHOWN))
        except _core.Error:
            return ["..."] * min(count, _SHOWN)
        if isinstance(shown, np.ma.MaskedArray):
            return ["" if value is np.ma.masked else str(value) for value in shown]
        return ["" if value is None or value != value else str(value) for value in shown]

    def _rest(self) -> str:
        if not self._core.is_kept():
            return "not read yet"
        more = self._core.rows() - _SHOWN
        return f"... {more} more rows" if more > 0 else ""

    def __repr__(self) -> str:
        rest = self._rest()
        return as_text(*self._rows()) + (f"\n{rest}" if rest else "")

    def _repr_html_(self) -> str:
        return as_html(*self._rows()) + self._rest()


class Session:
    """A plan at work on data that come bit by bit, as `Plan.start` begins it. One thread at a time may call it.

    Examples
    --------
    >>> import veloperation as vel
    >>> plan = vel.Plan()
    >>> plan["highest"] = vel.op.Max(plan.input("v", vel.Float64))
    >>> session = plan.start()
    >>> [session.feed({"v": [v]})["highest"].item() for v in (1.0, 3.0, 2.0)]
    [1.0, 3.0, 3.0]
    """

    def __init__(self, made: _core.EngineSession, has_warnings: bool) -> None:
        self._core = made
        self._has_warnings = has_warnings

    @property
    def warnings(self) -> list[Warning]:
        """What there is to warn of so far, if the plan looks out for it: with ``warnings=True`` or ``status=True``."""
        return _warnings(self._core.warnings(), self._has_warnings)

    def feed(self, data: object) -> Result:
        """Compute the next rows.

        Parameters
        ----------
        data : table or mapping
            As of `Plan.replay`, with equal columns in each call.

        Returns
        -------
        Result
            The rows of the result that are complete now. With a raster or rows before a change some wait for more.

        Raises
        ------
        Error
            If a value is no sample. Nothing has been computed then, and the next call goes on as if this one had not
            been.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> plan["rising"] = vel.op.PosEdge(plan.input("v", vel.Float64), threshold=1.0)
        >>> session = plan.start()
        >>> print(session.feed({"v": [0.0, 2.0]})["rising"])
        [0 1]
        """
        return Result(Replaying(self._core.feed(stream_of(data))), self._has_warnings)

    def end(self) -> Result:
        """End the recording.

        Returns
        -------
        Result
            The rows that have waited for more.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan(rows_before_change="gear")
        >>> _ = plan.input("gear", vel.UInt8)
        >>> session = plan.start()
        >>> print(session.feed({"gear": [1, 1, 2, 2]})["gear"], session.end()["gear"])
        [1] [2]
        """
        return Result(Replaying(self._core.end()), self._has_warnings)
