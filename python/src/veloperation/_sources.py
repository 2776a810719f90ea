"""Recordings in Parquet and Arrow IPC files, as streams of tables."""

from __future__ import annotations

import contextlib
import dataclasses
import os
from collections.abc import Callable, Iterator, Sequence
from typing import TYPE_CHECKING, Any

from veloperation import _core
from veloperation._packages import need

if TYPE_CHECKING:
    from veloperation._result import Warning

BATCH_ROWS = 1 << 16
_BUFFER_BYTES = 1 << 20
_STREAM_MARK = b"\xff\xff\xff\xff"


def format_of(file: str) -> str:
    """Tell the format of a file from its first bytes. What is not known, or cannot be opened, counts as CSV."""
    try:
        with contextlib.suppress(OSError):
            if not os.path.isfile(file):  # a pipe gives its bytes once, and its writer ends when it is closed
                return "CSV"
            with open(file, "rb") as opened:
                first = opened.read(16)
            if first.startswith((b"MDF ", b"UnFinMF ")):
                return "MDF"
            if first.startswith((b"PAR1", b"PARE")):
                return "Parquet"
            if first.startswith(b"ARROW1\0\0"):
                return "Arrow IPC file"
            if first.startswith(_STREAM_MARK):
                return "Arrow IPC stream"
    except ValueError:  # a name with a zero byte
        pass
    return "CSV"


@dataclasses.dataclass(frozen=True)
class Input:
    """A channel that the plan reads, and the column that it reads it from."""

    name: str
    column: str
    place: str
    is_time: bool


@dataclasses.dataclass(frozen=True)
class Wanted:
    """What a plan reads from a recording."""

    inputs: list[Input]
    keep: list[str]
    keeps_all: bool
    raster_time: str
    """The input that holds the time of the raster; empty without a raster."""
    raster_period: float
    is_raster_aligned: bool
    plan: _core.EnginePlan
    options: _core.CsvOptions
    files: int
    """How many files the recording has."""

    @classmethod
    def by(cls, plan: _core.EnginePlan, options: _core.CsvOptions, files: int) -> Wanted:
        """Give what a plan wants."""
        inputs = [Input(*given) for given in plan.inputs()]
        keep, keeps_all = plan.keep()
        time, period, is_aligned = plan.raster()
        return cls(inputs, keep, keeps_all, time, period, is_aligned, plan, options, files)

    @property
    def columns(self) -> list[str]:
        """The names of the columns, each once."""
        return list(dict.fromkeys([*(given.column for given in self.inputs), *self.keep]))


@contextlib.contextmanager
def reading(file: str) -> Iterator[None]:
    """Turn what goes wrong while a file is read into an error that names the file."""
    try:
        yield
    except (_core.Error, MemoryError):
        raise
    except Exception as error:
        text = str(error) or type(error).__name__
        raise _core.Error(f"{file}: the recording cannot be read: {text}\n  fetch the file again") from error


class File:
    """One file of a recording: its schema with the wanted columns, and its rows."""

    schema: Any

    def __init__(self, file: str, wanted: Wanted) -> None:
        self.file = file
        self.wanted = wanted
        self.share: float | None = None
        """How much of the file has been read, from 0 to 1, if that is known."""
        self.warnings: list[Warning] = []

    def batches(self) -> Iterator[Any]:
        """Read the rows."""
        raise NotImplementedError

    def close(self) -> None:
        """Close the file."""

    def _chosen(self, schema: Any) -> list[str] | None:
        """Give the columns to read; None: all, also where one is missing, so that the error can name the others."""
        columns = self.wanted.columns
        return None if self.wanted.keeps_all or not set(columns) <= set(schema.names) else columns


class Parquet(File):
    """A Parquet file, read page by page."""

    def __init__(self, file: str, wanted: Wanted) -> None:
        super().__init__(file, wanted)
        parquet = need("pyarrow.parquet")
        with reading(file):
            self._file = parquet.ParquetFile(file, buffer_size=_BUFFER_BYTES, pre_buffer=False)
            whole = self._file.schema_arrow
            self._columns = self._chosen(whole)
            self.schema = (
                whole
                if self._columns is None
                else need("pyarrow").schema([f for f in whole if f.name in self._columns], whole.metadata)
            )

    def batches(self) -> Iterator[Any]:
        done = 0
        rows = self._file.metadata.num_rows
        for batch in self._file.iter_batches(BATCH_ROWS, columns=self._columns, use_threads=False):
            done += batch.num_rows
            self.share = done / rows
            yield batch

    def close(self) -> None:
        self._file.close()


class ArrowFile(File):
    """An Arrow IPC file or stream, read batch by batch."""

    def __init__(self, file: str, wanted: Wanted, is_stream: bool) -> None:
        super().__init__(file, wanted)
        pa = need("pyarrow")
        with reading(file):
            self._file = pa.OSFile(file)
            begin = pa.ipc.open_stream if is_stream else pa.ipc.open_file
            self._reader = begin(self._file)
            self._is_stream = is_stream
            chosen = self._chosen(self._reader.schema)
            if chosen is not None:
                fields = [i for i, name in enumerate(self._reader.schema.names) if name in chosen]
                self._file.close()  # the first reader may have read ahead
                self._file = pa.OSFile(file)
                self._reader = begin(self._file, options=pa.ipc.IpcReadOptions(included_fields=fields))
            self.schema = self._reader.schema

    def batches(self) -> Iterator[Any]:
        if self._is_stream:
            yield from self._reader
            return
        count = self._reader.num_record_batches
        for i in range(count):
            yield self._reader.get_batch(i)
            self.share = (i + 1) / count

    def close(self) -> None:
        self._file.close()


def open_file(file: str, kind: str, wanted: Wanted, start: object) -> File:
    """Open a file of this format. `start`: when the first file of the recording begins, if its format says that."""
    if kind == "Parquet":
        return Parquet(file, wanted)
    if kind == "MDF":
        from veloperation._mdf import Mdf

        return Mdf(file, wanted, start)
    return ArrowFile(file, wanted, kind.endswith("stream"))


class Source:
    """The files of a recording, one behind the other, as one stream of tables."""

    def __init__(
        self,
        files: Sequence[str],
        kind: str,
        wanted: Wanted,
        is_stopped: Callable[[], bool] | None,
        are_kept_texts: bool,
    ) -> None:
        self._files = list(files)
        self._kind = kind
        self._wanted = wanted
        self._is_stopped = is_stopped
        self._done = 0
        self._open = open_file(self._files[0], kind, wanted, None)
        self._start = getattr(self._open, "start", None)
        self.schema = self._open.schema
        self._texts = _casts(self.schema, wanted) if are_kept_texts else {}
        self._shown = self._with_texts(self.schema)
        self._warnings: list[Warning] = []
        self.failure: BaseException | None = None
        """What has gone wrong while a consumer read the stream."""

    @property
    def share(self) -> float | None:
        """How much of the recording has been read, by the number of files and rows."""
        if self._open.share is None:
            return None
        return min(1.0, (self._done + self._open.share) / len(self._files))

    @property
    def warnings(self) -> list[Warning]:
        """What there is to warn of so far."""
        return [*self._warnings, *self._open.warnings]

    @contextlib.contextmanager
    def own_errors(self) -> Iterator[None]:
        """Raise what has gone wrong here, and not what a consumer of the stream makes of it."""
        try:
            yield
        except _core.Error:
            if self.failure is not None:
                raise self.failure from None
            raise

    def stream(self) -> Any:
        """Give the stream of Arrow."""
        reader = need("pyarrow").RecordBatchReader
        return reader.from_batches(self._shown, self._guarded())

    def _guarded(self) -> Iterator[Any]:
        try:
            for batch in self._batches():
                if self._is_stopped is not None and self._is_stopped():
                    return
                yield self._cast(batch)
        except GeneratorExit:
            raise
        except BaseException as error:
            self.failure = error
            raise
        finally:
            self.close()

    def close(self) -> None:
        """Close the file that is open."""
        self._open.close()

    def __del__(self) -> None:  # of a result that nobody has read
        if hasattr(self, "_open"):
            self._open.close()

    def _batches(self) -> Iterator[Any]:
        while True:
            with reading(self._open.file):
                yield from self._open.batches()
            self._done += 1
            if self._done == len(self._files):
                self._done -= 1
                return
            self._warnings += self._open.warnings
            self._open.close()
            self._open = open_file(self._files[self._done], self._kind, self._wanted, self._start)
            self._check(self._open)

    def _check(self, opened: File) -> None:
        for field in self.schema:
            found = opened.schema.get_all_field_indices(field.name)
            if len(found) != 1:
                raise _core.Error(f"{opened.file}: the column {field.name!r} is missing\n  the first file has it")
            if not opened.schema.field(found[0]).type.equals(field.type):
                raise _core.Error(
                    f"{opened.file}: the column {field.name!r} has the type {opened.schema.field(found[0]).type}, and "
                    f"{field.type} in the first file\n  convert one of the files"
                )

    def _with_texts(self, schema: Any) -> Any:
        pa = need("pyarrow")
        return pa.schema([f.with_type(self._texts.get(i, f.type)) for i, f in enumerate(schema)], schema.metadata)

    def _cast(self, batch: Any) -> Any:
        pa = need("pyarrow")
        if batch.schema.names != self.schema.names:  # other files may have another order
            batch = batch.select(self.schema.names)
        columns = [
            column.cast(self._texts[i]) if i in self._texts else column for i, column in enumerate(batch.columns)
        ]
        return pa.RecordBatch.from_arrays(columns, schema=self._shown)


def _casts(schema: Any, wanted: Wanted) -> dict[int, Any]:
    """Give the kept columns that a result of texts has as texts."""
    pa = need("pyarrow")
    read = {given.column for given in wanted.inputs}
    casts = {}
    for i, field in enumerate(schema):
        kind = field.type
        if field.name in read or not (wanted.keeps_all or field.name in wanted.keep):
            continue
        if not (pa.types.is_nested(kind) or pa.types.is_binary(kind) or pa.types.is_large_binary(kind)):
            casts[i] = pa.large_string()
    return casts
