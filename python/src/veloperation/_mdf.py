"""Recordings in MDF 4 files."""

from __future__ import annotations

import dataclasses
import shutil
import tempfile
import time
import tomllib
import traceback
from collections.abc import Iterator
from typing import Any, BinaryIO

import numpy as np
import numpy.typing as npt

from veloperation import _core, _toml
from veloperation._packages import need
from veloperation._result import SchemaOf, Warning, next_table
from veloperation._sources import File, Wanted, reading

_FRAGMENT_BYTES = 1 << 22
_READER_SECONDS = 4.0  # asammdf's reader of records prints its speed to standard output if one lives for ten
_REMOTE_MASTER = 1 << 3
_TEXT_TYPES = {6: "latin-1", 7: "utf-8", 8: "utf-16-le", 9: "utf-16-be"}
_TEXT_CONVERSIONS = (7, 8, 10, 11)  # values and ranges to texts, texts to texts, bits to texts
_RANGES_TO_VALUES = 6
_NANOSECONDS = 1_000_000_000
_SECONDS_TO_2000 = 946_684_800


@dataclasses.dataclass(frozen=True)
class _Channel:
    """A channel of the file, and the column that it becomes."""

    column: str
    group: int
    index: int


@dataclasses.dataclass(frozen=True)
class Start:
    """When the first file of a recording begins."""

    nanoseconds: int
    """Since 1970, in UTC or, without a zone, of the logger's clock."""
    has_zone: bool


class Mdf(File):
    """An MDF 4 file. The rows are those of the one group that the plan reads; several groups come onto its raster."""

    def __init__(self, file: str, wanted: Wanted, start: object) -> None:
        super().__init__(file, wanted)
        asammdf = need("asammdf")
        self._mdf: Any = None
        self._joined: _Joined | None = None
        with reading(file):
            self._stream = self._open()
            try:
                # By name it would map the file into memory, which then seems to grow with the file.
                self._mdf = asammdf.MDF(self._stream, process_bus_logging=False)
                self._mdf.configure(read_fragment_size=_FRAGMENT_BYTES)
                self._begin(start)
            except BaseException as error:
                _quiet(error)
                self.close()
                raise

    def _begin(self, start: object) -> None:
        self.start = Start(self._mdf.header.abs_time, self._mdf.start_time.tzinfo is not None)
        self._first = start if isinstance(start, Start) else self.start
        if self._first.has_zone != self.start.has_zone:
            raise _core.Error(f"{self.file}: the start has a time zone in some files only\n  replay them separately")
        self._groups = self._find_groups()
        self._readers = [self._reader(group, channels) for group, channels in self._groups.items()]
        self._rows = sum(reader.rows for reader in self._readers)
        self._done = 0
        if len(self._readers) == 1:
            self.schema = self._readers[0].schema
            return
        if self.wanted.files > 1 and not self.wanted.is_raster_aligned:
            raise _core.Error(
                f"{self.file}: several files whose channels are from several groups need a raster that is aligned\n"
                "  add align = true to the plan's [raster]"
            )
        self._joined = _Joined(self, self._readers)
        self.schema = self._joined.schema

    def _open(self) -> BinaryIO:
        """Open the file. One that is not finished is finished in a copy."""
        stream = open(self.file, "rb")  # noqa: SIM115 - stays open while the rows are read
        mark = stream.read(16)
        stream.seek(0)
        if mark[8:9] != b"4":
            version = mark[8:].decode("latin-1").strip(" \0")
            stream.close()
            raise _core.Error(f"{self.file}: MDF {version} is not read, only MDF 4\n  convert it to that")
        if mark.startswith(b"MDF "):
            return stream
        self.warnings.append(
            Warning("", f"{self.file}: the logger has not finished the file; what is there has been read", 0, 0)
        )
        copy = tempfile.TemporaryFile()  # noqa: SIM115 - as well
        with stream:
            shutil.copyfileobj(stream, copy)
        copy.seek(0)
        return copy

    def close(self) -> None:
        if self._joined is not None:
            self._joined.close()
        if self._mdf is not None:
            self._mdf.close()
        self._stream.close()

    def batches(self) -> Iterator[Any]:
        for batch in self._readers[0].batches() if self._joined is None else self._joined.batches():
            self.share = self._done / self._rows if self._rows else None
            yield batch

    def count(self, rows: int) -> None:
        """Note rows that have been read, for the share."""
        self._done += rows

    # Which channels become which columns.

    def name_of(self, group: int) -> str:
        """Give the name of a group, for messages and for names of columns."""
        names = [one.channel_group.acq_name for one in self._mdf.groups]
        return names[group] if names[group] and names.count(names[group]) == 1 else str(group)

    def _master_of(self, group: int) -> int | None:
        found: int | None = self._mdf.masters_db.get(group)
        return found

    def _find(self, column: str) -> list[tuple[int, int]]:
        """Find the channels that a column may mean: "name", or "group/name" with the group's name or number."""
        found = [tuple(place) for place in self._mdf.channels_db.get(column, ())]
        if not found and "/" in column:
            group, _, name = column.partition("/")
            while not found and name:
                found = [
                    tuple(place)
                    for place in self._mdf.channels_db.get(name, ())
                    if group in (self._mdf.groups[place[0]].channel_group.acq_name, str(place[0]))
                ]
                more, _, name = name.partition("/")
                group += "/" + more
        return found

    def _find_groups(self) -> dict[int, list[_Channel]]:
        """Find the wanted channels, by group. The time of each group comes first."""
        columns = self.wanted.columns
        if self.wanted.keeps_all:
            columns += [name for name in self._mdf.channels_db if name not in columns]
        found = {column: self._find(column) for column in columns}
        times = [column for column in columns if found[column] and all(map(self._is_master, found[column]))]
        groups: dict[int, list[_Channel]] = {}
        for column in columns:
            if column not in times:
                group, index = self._one_of(column, [place for place in found[column] if not self._is_master(place)])
                groups.setdefault(group, []).append(_Channel(column, group, index))
        if not groups:
            places = found[times[0]] if times else []
            if len(places) != 1:
                raise _core.Error(f"{self.file}: the plan reads nothing but times, and there are {len(places)} groups")
            groups[places[0][0]] = []
        for column in times:
            self._place_time(column, [group for group, _ in found[column] if group in groups], groups)
        self._check(groups)
        return groups

    def _one_of(self, column: str, places: list[tuple[int, int]]) -> tuple[int, int]:
        """Give the one channel that a column means."""
        if not places:
            self._refuse_missing(column)
        if len(places) > 1:
            names = list(dict.fromkeys(f'"{self.name_of(group)}"' for group, _ in places))
            raise _core.Error(
                f'{self.file}: there are {len(places)} channels "{column}", in the groups {", ".join(names)}\n'
                + (
                    f'  name the group, too: column = "{self.name_of(places[0][0])}/{column}"'
                    if len(names) > 1
                    else "  rename one of them"
                )
            )
        return places[0]

    def _place_time(self, column: str, places: list[int], groups: dict[int, list[_Channel]]) -> None:
        for group in places:
            groups[group].insert(0, _Channel(column, group, self._mdf.masters_db[group]))
        if not places and column in self.wanted.columns:
            raise _core.Error(
                f'{self.file}: "{column}" is the time of groups from which the plan reads nothing else\n'
                f"  read the time of the others: {', '.join(self._times_of(groups))}"
            )

    def _check(self, groups: dict[int, list[_Channel]]) -> None:
        """Check that the groups can be read together."""
        if len(groups) > 1:
            if not self.wanted.raster_time:
                names = ", ".join(f'"{self.name_of(group)}" ({some[-1].column})' for group, some in groups.items())
                raise _core.Error(
                    f"{self.file}: the channels are from {len(groups)} groups, and each has times of its own: {names}\n"
                    '  give the plan a [raster], so that they get common times: time = "time", period = 0.1'
                )
            self._add_times(groups)
        for group in groups:
            if self._mdf.groups[group].channel_group.flags & _REMOTE_MASTER:
                raise _core.Error(
                    f'{self.file}: the group "{self.name_of(group)}" is stored by columns, which is not read\n'
                    "  store it by rows, with asammdf for example"
                )

    def _add_times(self, groups: dict[int, list[_Channel]]) -> None:
        """Read the time of each group as the time of the raster."""
        time = next(given.column for given in self.wanted.inputs if given.name == self.wanted.raster_time)
        if not any(self._is_master(place) for place in self._find(time)):
            raise _core.Error(
                f'{self.file}: the time of the raster, "{time}", is not the time of the groups\n'
                f"  read one of {', '.join(self._times_of(groups))} as the time"
            )
        for group, channels in groups.items():
            master = self._master_of(group)
            if master is None:
                raise _core.Error(f'{self.file}: the group "{self.name_of(group)}" has no time\n  do not read from it')
            channels[:] = [_Channel(time, group, master), *(one for one in channels if one.index != master)]

    def _is_master(self, place: tuple[int, ...]) -> bool:
        return self._master_of(place[0]) == place[1]

    def _times_of(self, groups: dict[int, list[_Channel]]) -> list[str]:
        masters = [(group, self._master_of(group)) for group in groups]
        return sorted({f'"{self._mdf.groups[group].channels[i].name}"' for group, i in masters if i is not None})

    def _refuse_missing(self, column: str) -> None:
        import difflib

        names = sorted(self._mdf.channels_db)
        similar = difflib.get_close_matches(column, names, 1)
        known = f'did you mean "{similar[0]}"?' if similar else "it has: " + " ".join(f'"{n}"' for n in names[:20])
        place = next((given.place for given in self.wanted.inputs if given.column == column), "keep")
        raise _core.Error(f'{place}: {self.file} has no channel "{column}"\n  {known}')

    def _reader(self, group: int, channels: list[_Channel]) -> _Group:
        times = {given.column for given in self.wanted.inputs if given.is_time}
        numbers = {given.column for given in self.wanted.inputs if not given.is_time}
        for channel in channels:
            if self._is_master((group, channel.index)) and channel.column in times & numbers:
                raise _core.Error(
                    f'{self.file}: the plan reads the time "{channel.column}" both as Time and as a number\n'
                    "  give both inputs the type Time, or both Float64"
                )
        return _Group(self, self._mdf, group, channels, times, times | numbers)

    def master(self, group: int, row: int) -> float:
        """Give the time of one row, in seconds of the file."""
        time: float = self._mdf.get_master(group, record_offset=row, record_count=1)[0]
        return time

    def nanoseconds_of(self, seconds: npt.NDArray[Any]) -> npt.NDArray[np.int64]:
        """Give times of this file as nanoseconds since 1970."""
        whole = np.floor(seconds)
        rest = np.rint((seconds - whole) * _NANOSECONDS)
        since_1970: npt.NDArray[np.int64] = whole.astype(np.int64) * _NANOSECONDS + rest.astype(np.int64)
        since_1970 += self.start.nanoseconds
        return since_1970

    def seconds_of(self, seconds: npt.NDArray[Any]) -> npt.NDArray[Any]:
        """Give times of this file as seconds since the start of the first one."""
        offset = self.start.nanoseconds - self._first.nanoseconds
        return seconds if offset == 0 else seconds + offset / _NANOSECONDS


class _Group:
    """The wanted channels of a group, as tables."""

    def __init__(
        self, file: Mdf, mdf: Any, group: int, channels: list[_Channel], times: set[str], read: set[str]
    ) -> None:
        self.group = group
        self.channels = channels
        self.rows: int = mdf.groups[group].channel_group.cycles_nr
        self._file = file
        self._mdf = mdf
        self._times = times
        self._read = read
        self._master = mdf.masters_db.get(group)
        pa = need("pyarrow")
        first = next(self._fragments(), None)
        fields = []
        for channel in channels:
            source = mdf.groups[group].channels[channel.index]
            unit = (source.conversion and source.conversion.unit) or source.unit or ""
            kind = self._column(channel, self._samples(channel, first)).type
            metadata = {"unit": unit} if unit and not self._is_time(channel) else None
            fields.append(pa.field(channel.column, kind, metadata=metadata))
        self.schema = pa.schema(fields)

    def _is_time(self, channel: _Channel) -> bool:
        return channel.index == self._master and channel.column in self._times

    def _fragments(self) -> Iterator[Any]:
        """Read records, some megabytes at a time. The public way, iter_get, reads the group once for each channel."""
        group = self._mdf.groups[self.group]
        done = 0
        while done < self.rows:
            begun = time.perf_counter()
            before = done
            for fragment in self._mdf._mdf._load_data(group, record_offset=done):
                yield fragment
                done += fragment.record_count
                if done >= self.rows or time.perf_counter() - begun > _READER_SECONDS:
                    break
            if done == before:
                break

    def _samples(self, channel: _Channel, fragment: Any) -> tuple[npt.NDArray[Any], npt.NDArray[Any] | None]:
        if channel.index == self._master and fragment is not None:
            return self._mdf._mdf.get_master(self.group, fragment, one_piece=True), None
        conversion = self._mdf.groups[self.group].channels[channel.index].conversion
        is_ranges = conversion is not None and conversion.conversion_type == _RANGES_TO_VALUES
        samples, invalid = self._mdf.get(
            group=self.group,
            index=channel.index,
            data=fragment,
            samples_only=True,
            ignore_invalidation_bits=True,
            raw=is_ranges,
        )
        return _values_of_ranges(conversion, samples) if is_ranges else samples, invalid

    def _column(self, channel: _Channel, given: tuple[npt.NDArray[Any], npt.NDArray[Any] | None]) -> Any:
        pa = need("pyarrow")
        samples, invalid = given
        source = self._mdf.groups[self.group].channels[channel.index]
        has_texts = source.conversion is not None and source.conversion.conversion_type in _TEXT_CONVERSIONS
        if has_texts or samples.dtype.kind in "SUO":
            if channel.column in self._read:
                raise _core.Error(
                    f'{self._file.file}: the channel "{channel.column}" has texts, which cannot be computed with\n'
                    '  keep it: keep = ["' + channel.column + '"] in [plan]'
                )
            coding = "utf-8" if has_texts else _TEXT_TYPES.get(source.data_type, "utf-8")
            return pa.array([_text(value, coding) for value in samples.tolist()], pa.large_string(), mask=invalid)
        parts = self._mdf.groups[self.group].channel_dependencies[channel.index]
        if parts or samples.ndim != 1 or samples.dtype.kind not in "iufb":
            raise _core.Error(
                f'{self._file.file}: the channel "{channel.column}" has a structure or an array in each row\n'
                "  read one of its parts, if the file has them as channels"
            )
        if channel.index == self._master:
            seconds = samples.astype(np.float64)
            if self._is_time(channel):
                kind = pa.timestamp("ns", "UTC" if self._file.start.has_zone else None)
                return pa.array(self._file.nanoseconds_of(seconds), pa.int64(), mask=invalid).cast(kind)
            samples = self._file.seconds_of(seconds)
        samples = np.ascontiguousarray(samples.astype(samples.dtype.newbyteorder("="), copy=False))
        return pa.array(samples, mask=None if invalid is None else np.asarray(invalid, bool))

    def batches(self) -> Iterator[Any]:
        """Read the rows."""
        pa = need("pyarrow")
        rows = 0
        for fragment in self._fragments():
            columns = [self._column(channel, self._samples(channel, fragment)) for channel in self.channels]
            batch = pa.RecordBatch.from_arrays(columns, schema=self.schema)
            rows += batch.num_rows
            self._file.count(batch.num_rows)
            yield batch
        if rows < self.rows:
            raise _core.Error(
                f"{self._file.file}: the file ends too early: {rows} of {self.rows} rows of the group "
                f'"{self._file.name_of(self.group)}" are there\n  fetch the whole file again'
            )


def _quiet(error: BaseException) -> None:
    """Let a reader that has failed early end without noise: its destructor expects to have read the head."""
    for frame, _ in traceback.walk_tb(error.__traceback__):
        reader: Any = frame.f_locals.get("self")
        if type(reader).__name__ == "MDF4":
            for part in ("header", "identification"):
                setattr(reader, part, getattr(reader, part, None))


def _values_of_ranges(conversion: Any, raw: npt.NDArray[Any]) -> npt.NDArray[Any]:
    """Convert ranges to values. Of integers asammdf 8.8 finds the last one of each range alone."""
    if raw.dtype.kind not in "iu":
        converted: npt.NDArray[Any] = conversion.convert(raw)
        return converted
    lower, upper, values = (
        np.array([conversion[f"{name}_{i}"] for i in range((conversion.val_param_nr - 1) // 3)])
        for name in ("lower", "upper", "phys")
    )
    found = np.searchsorted(lower, raw, "right") - 1
    is_inside = (found >= 0) & (raw <= upper[found])
    return np.where(is_inside, values[found], conversion.default)


def _text(value: object, coding: str) -> str:
    if not isinstance(value, bytes):
        return str(value)
    if coding.startswith("utf-16") and len(value) % 2:  # NumPy drops zeros at the end
        value += b"\0"
    return value.decode(coding, "replace")


class _Joined:
    """Several groups on the plan's raster: the engine resamples each of them, and the rows are put side by side.

    The rows are at the raster's times then, so the raster of the plan itself changes nothing about them.
    """

    def __init__(self, file: Mdf, readers: list[_Group]) -> None:
        pa = need("pyarrow")
        self._file = file
        self._readers = readers
        self._plan = tomllib.loads(file.wanted.plan.explain())
        self._time = next(given for given in file.wanted.inputs if given.name == file.wanted.raster_time)
        self._refuse_differing_inputs()
        self._begin, self._end = self._extent()
        self._runs = [self._run(reader) for reader in readers]
        fields = [readers[0].schema.field(0)]
        for reader, run in zip(readers, self._runs, strict=True):
            made = pa.schema(SchemaOf(run))
            columns = self._inputs_of(reader)
            fields += [
                made.field(name).with_name(column).with_metadata(reader.schema.field(column).metadata)
                for name, column in columns.items()
            ]
            fields += [made.field(name) for name in self._kept_of(reader)]
        self.schema = pa.schema(fields)

    def _refuse_differing_inputs(self) -> None:
        first: dict[str, dict[str, Any]] = {}
        for given in self._plan["inputs"]:
            column = given.get("column", given["name"])
            before = first.setdefault(column, given)
            if column != self._time.column and any(
                before.get(key) != given.get(key) for key in ("type", "resample", "no_value")
            ):
                raise _core.Error(
                    f'{self._file.file}: two inputs read "{column}" from one of several groups, and in two ways\n'
                    "  give both the same type, no_value and resample"
                )

    def _inputs_of(self, reader: _Group) -> dict[str, str]:
        """Give the inputs from a group, with their columns. One for each column, without the time."""
        columns = {channel.column for channel in reader.channels[1:]}
        found: dict[str, str] = {}
        for given in self._file.wanted.inputs:
            if given.column in columns and given.column not in found.values():
                found[given.name] = given.column
        return found

    def _kept_of(self, reader: _Group) -> list[str]:
        return [c.column for c in reader.channels[1:] if c.column not in self._inputs_of(reader).values()]

    def _extent(self) -> tuple[float, float]:
        """Find the first and the last time of all groups, in seconds of the file."""
        ends = []
        for reader in self._readers:
            if reader.rows:
                for row in (0, reader.rows - 1):
                    ends.append(float(self._file.master(reader.group, row)))
        return (min(ends), max(ends)) if ends else (np.inf, -np.inf)

    def _run(self, reader: _Group) -> _core.EngineResult:
        """Resample a group: the plan's raster over the inputs that come from it, and nothing else."""
        names = {*self._inputs_of(reader), self._time.name}
        inputs = []
        for given in self._plan["inputs"]:
            if given["name"] in names:
                entries = {key: value for key, value in given.items() if key != "hold"}
                inputs.append(_toml.table("[[inputs]]", entries))
        keep = _toml.table("[plan]", {"keep": self._kept_of(reader)})
        tables = [_toml.table(f"[{name}]", self._plan[name]) for name in ("raster", "recording") if name in self._plan]
        plan = _core.EnginePlan.parse("\n".join([keep, *tables, *inputs]), self._file.file, {})
        pa = need("pyarrow")
        stream = pa.RecordBatchReader.from_batches(reader.schema, self._rows_of(reader))
        return plan.replay_data(stream, self._file.wanted.options, False, False, None, True)

    def _rows_of(self, reader: _Group) -> Iterator[Any]:
        """Read the rows of a group. Rows without samples extend it, so that the rasters of all groups are the same."""
        first, last = (
            (self._file.master(reader.group, row) for row in (0, reader.rows - 1)) if reader.rows else (np.inf, -np.inf)
        )
        if self._begin < first:
            yield self._row_without_samples(reader, self._begin)
        yield from reader.batches()
        if last < self._end:
            # Just behind the last row of the raster, in which the last sample still counts.
            rounding = 16 * np.finfo(float).eps * (abs(self._end) + self._file.start.nanoseconds / _NANOSECONDS)
            yield self._row_without_samples(reader, self._end + self._file.wanted.raster_period * 1e-6 + rounding)

    def _row_without_samples(self, reader: _Group, time: float) -> Any:
        pa = need("pyarrow")
        types = reader.schema.types
        seconds = np.array([time])
        if pa.types.is_timestamp(types[0]):
            stamp = pa.array(self._file.nanoseconds_of(seconds), pa.int64()).cast(types[0])
        else:
            stamp = pa.array(self._file.seconds_of(seconds))
        nulls = [pa.nulls(1, kind) for kind in types[1:]]
        return pa.RecordBatch.from_arrays([stamp, *nulls], schema=reader.schema)

    def close(self) -> None:
        """Let the runs go, which read from this: they would keep one another."""
        self._runs.clear()

    def batches(self) -> Iterator[Any]:
        """Put the rows of all groups side by side."""
        pa = need("pyarrow")
        parts: list[Any] = [None] * len(self._runs)
        while True:
            for i, run in enumerate(self._runs):
                while parts[i] is None or len(parts[i]) == 0:
                    table = next_table(run)
                    if table is None:
                        parts[i] = None
                        break
                    parts[i] = table.combine_chunks()
            if all(part is None for part in parts):
                break
            rows = min(0 if part is None else len(part) for part in parts)
            times = [None if part is None else part[self._time.name][:rows] for part in parts]
            if rows == 0 or any(time is None or not time.equals(times[0]) for time in times):
                raise _core.Error(
                    f"{self._file.file}: the times of the groups step in different places: there is no common raster\n"
                    "  replay the groups separately"
                )
            columns = [self._stamps(times[0])]
            for reader, part in zip(self._readers, parts, strict=True):
                for name in (*self._inputs_of(reader), *self._kept_of(reader)):
                    columns.append(part[name][:rows].combine_chunks())
            parts = [part[rows:] for part in parts]
            yield pa.RecordBatch.from_arrays(columns, schema=self.schema)
        for run in self._runs:
            self._file.warnings += [Warning(*warning) for warning in run.warnings()]

    def _stamps(self, times: Any) -> Any:
        """Give the times of the raster as the file has them. The engine has counted Time in seconds since 2000."""
        pa = need("pyarrow")
        kind = self.schema.types[0]
        if not pa.types.is_timestamp(kind):
            return times.combine_chunks()
        seconds = times.to_numpy()
        whole = np.floor(seconds)
        rest = np.rint((seconds - whole) * _NANOSECONDS).astype(np.int64)
        stamps = (whole.astype(np.int64) + _SECONDS_TO_2000) * _NANOSECONDS + rest
        return pa.array(stamps, pa.int64()).cast(kind)
