"""Replays from files to files."""

from __future__ import annotations

import contextlib
import dataclasses
import io
import os
import time
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import TYPE_CHECKING, Any

from veloperation import _core
from veloperation._packages import need
from veloperation._recording import Looks, open
from veloperation._result import Progress, SchemaOf, Warning, _warnings, next_table, refuse_same_files

if TYPE_CHECKING:
    from veloperation._plan import Plan

_STATUSES = ("computed", "no value", "refused", "held")
_PARQUET = (".parquet", ".pq")
_ARROW = (".arrow", ".ipc", ".feather")
_GROUP_ROWS = 1 << 18
_GROUP_BYTES = 1 << 25


@dataclasses.dataclass(frozen=True)
class Summary:
    """What a replay from files to a file has done."""

    rows: int
    """How many rows were computed: those of the recording, or of the plan's raster."""
    seconds: float
    """How long it took."""
    statuses: dict[str, dict[str, int]]
    """For each computed channel how often each status came. Empty if nobody counted them."""
    warnings: list[Warning]
    """What there is to warn of. Empty if nobody looked out for it."""
    text: str
    """Rows, time and statuses, as velreplay prints them."""


class _ResultFile(io.RawIOBase):
    """A file that gets its name when it is complete, for writers of bytes."""

    def __init__(self, name: str) -> None:
        self._file: _core.OutputFile | None = _core.OutputFile(name)
        self._size = 0

    def writable(self) -> bool:
        return True

    def tell(self) -> int:
        return self._size

    def write(self, data: Any) -> int:
        size = memoryview(data).nbytes
        if self._file is not None and not self._file.write(data):
            raise BrokenPipeError("nobody reads the result any more")
        self._size += size
        return size

    def keep(self) -> None:
        if self._file is not None:
            self._file.keep()
            self._file = None

    def discard(self) -> None:
        """Remove the file. What is written from now on goes nowhere."""
        if self._file is not None:
            self._file.discard()
            self._file = None


def replay_files(
    plan: Plan,
    recordings: Sequence[str | os.PathLike[str]],
    result: str | os.PathLike[str],
    *,
    status: bool = False,
    count: bool = True,
    progress: Progress | None = None,
    is_stopped: Callable[[], bool] | None = None,
    metadata: Callable[[Summary], Mapping[str, str]] | None = None,
) -> Summary:
    """Compute a plan over a recording in files and write the result to a file.

    Parameters
    ----------
    plan : Plan
        The plan.
    recordings : sequence of str or os.PathLike
        The files of one recording, as of `veloperation.open`.
    result : str or os.PathLike
        The file of the result. Its ending says its format: ``.parquet``, ``.arrow`` (also ``.ipc`` and ``.feather``) or
        ``.csv``. It appears at the end, complete; before that, and after a failure, the older file is there.
    status : bool, default False
        As of `Plan.replay`.
    count : bool, default True
        Whether to count statuses and to look out for warnings. The replay takes longer with them.
    progress : callable, optional
        As of `Plan.replay`.
    is_stopped : callable, optional
        Asked now and then. When it returns true, the recording counts as ended, and the result is kept.
    metadata : callable, optional
        Called when all rows are written. What it returns is added to the metadata of a Parquet file; an exception that
        it raises leaves the older file.

    Returns
    -------
    Summary
        The number of rows, the time, the statuses and the warnings.

    Raises
    ------
    Error
        If the plan, the recording or the result's name is wrong, or if the file cannot be written.
    """
    start = time.perf_counter()
    name = os.fspath(result)
    ending = "-" if name == "-" else os.path.splitext(name)[1].lower()
    if not ending and os.path.exists(name) and not os.path.isfile(name):  # a device or a pipe
        ending = ".csv"
    if ending not in ("-", ".csv", *_PARQUET, *_ARROW):
        raise _core.Error(
            f"{name}: the ending {ending!r} names no format of results\n  known here: .parquet .arrow .csv"
        )
    recording = open(*recordings)
    refuse_same_files(name, [*recording.files, plan._name])
    engine = plan._engine()
    is_text = ending in ("-", ".csv")
    made = recording._replay(engine, Looks(status, status or count, is_text), progress, is_stopped)

    def summary() -> Summary:
        statuses = {channel: dict(zip(_STATUSES, totals, strict=True)) for channel, totals in made.core.totals()}
        return Summary(
            made.core.rows_computed(),
            time.perf_counter() - start,
            statuses if status or count else {},
            _warnings(made.warnings(), True) if status or count else [],
            made.core.summary(time.perf_counter() - start),
        )

    with made.own_errors():
        if is_text:
            is_live = made.source is None and made.core.is_live()
            made.core.write_csv(name, engine, recording.options, is_live)
        else:
            extra = None if metadata is None else lambda: metadata(summary())
            _write(made.core, name, ending in _PARQUET, plan, made.core.units(), extra)
    return summary()


def _write(
    made: _core.EngineResult,
    name: str,
    is_parquet: bool,
    plan: Plan,
    units: dict[str, str],
    metadata: Callable[[], Mapping[str, str]] | None,
) -> None:
    pa = need("pyarrow")
    schema = pa.schema(SchemaOf(made))
    fields = []
    for field in schema:
        # Parquet loses the zone of times in dictionaries. Arrow files have one dictionary, and batches many.
        is_dictionary = field.name not in made.status_names() and pa.types.is_dictionary(field.type)
        if is_dictionary and (not is_parquet or pa.types.is_timestamp(field.type.value_type)):
            field = field.with_type(field.type.value_type)
        unit = {"unit": units[field.name]} if units.get(field.name) else {}
        fields.append(field.with_metadata({**(field.metadata or {}), **unit}))
    schema = pa.schema(
        fields,
        {
            **(schema.metadata or {}),
            "veloperation.version": _core.__version__,
            "veloperation.plan": str(plan),
        },
    )
    with open_result(name) as file:
        if is_parquet:
            writer = need("pyarrow.parquet").ParquetWriter(file, schema, compression="zstd")
        else:
            writer = pa.ipc.new_file(file, schema)
        with writer:
            _write_tables(made, writer, schema)
            if is_parquet and metadata is not None:
                writer.add_key_value_metadata(metadata())


@contextlib.contextmanager
def open_result(name: str) -> Iterator[_ResultFile]:
    """Open a file for pyarrow, which appears when the block ends without an exception."""
    file = _ResultFile(name)
    try:
        yield file
        file.keep()
    except (need("pyarrow").ArrowException, OSError) as error:
        raise _core.Error(f"{name}: cannot be written: {error}") from error
    finally:
        file.discard()


def _write_tables(made: _core.EngineResult, writer: Any, schema: Any) -> None:
    """Write tables in groups. Small ones would make Parquet slow, large ones need memory."""
    pa = need("pyarrow")
    tables: list[Any] = []

    def write_group() -> None:
        if tables:
            writer.write_table(pa.concat_tables(tables), _GROUP_ROWS)
            tables.clear()

    while (table := next_table(made)) is not None:
        tables.append(table.cast(schema))
        if sum(t.num_rows for t in tables) >= _GROUP_ROWS or sum(t.nbytes for t in tables) >= _GROUP_BYTES:
            write_group()
    write_group()
