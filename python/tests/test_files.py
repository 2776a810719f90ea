"""Recordings and results in files: every format gives the same samples, and no failure loses any."""

import hashlib
import os
import re
import signal
import struct
import subprocess
import sys
import threading
import time
from datetime import UTC, date, datetime, timedelta
from decimal import Decimal
from pathlib import Path
from typing import Any, Literal

import numpy as np
import numpy.typing as npt
import pyarrow as pa
import pyarrow.csv
import pyarrow.ipc
import pyarrow.parquet as pq
import pytest
from asammdf import MDF, Signal

import veloperation as vel
from veloperation.__main__ import main
from veloperation._replay import replay_files

ROOT = Path(__file__).parents[2]
PAGE = (ROOT / "docs/formats.md").read_text("utf-8")
START = datetime(2024, 3, 30, 12, tzinfo=UTC)
KINDS = ["csv", "parquet", "arrow", "stream", "mf4"]


def write_mdf(
    file: Path,
    *groups: list[Signal],
    names: tuple[str, ...] = (),
    compression: Literal[0, 2] = 2,
    start: datetime = START,
) -> None:
    mdf = MDF(version="4.10")
    mdf.start_time = start
    for i, group in enumerate(groups):
        mdf.append(group, acq_name=names[i] if names else None, common_timebase=True)
    assert mdf.save(file, overwrite=True, compression=compression) == file  # it adds .mf4 to other names
    mdf.close()


def signals_of(table: pa.Table) -> list[Signal]:
    times = table["time"].to_numpy()
    signals = []
    for name in table.column_names[1:]:
        column = table[name].combine_chunks()
        missing = column.is_null().to_numpy(zero_copy_only=False)
        samples = column.fill_null(0).to_numpy()
        signals.append(Signal(samples, times, name=name, invalidation_bits=missing if missing.any() else None))
    return signals


def write(table: pa.Table, file: Path, kind: str) -> Path:
    """Write the same table in any format."""
    match kind:
        case "csv":
            pyarrow.csv.write_csv(table, file, pyarrow.csv.WriteOptions(quoting_style="needed"))
        case "parquet":
            pq.write_table(table, file, row_group_size=max(1000, len(table) // 10))
        case "arrow" | "stream":
            begin = pa.ipc.new_file if kind == "arrow" else pa.ipc.new_stream
            with begin(file, table.schema) as writer:
                writer.write_table(table, 1000)
        case "mf4":
            write_mdf(file, signals_of(table))
    return file


def begin(arguments: list[object], limit: int | None = None) -> subprocess.Popen[str]:
    """Begin the command. No file that it writes may become longer than the limit."""
    command = [sys.executable, "-W", "error", "-m", "veloperation", "replay", *map(str, arguments)]
    if limit is not None:
        command = ["prlimit", f"--fsize={limit}", *command]
    return subprocess.Popen(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def run(arguments: list[object], limit: int) -> tuple[int, str]:
    """Run the command, and give its exit code and what it says."""
    with begin(arguments, limit) as process:
        _, said = process.communicate(timeout=60)
    return process.returncode, said


def call(capture: pytest.CaptureFixture[str], *arguments: object) -> tuple[int, str]:
    """Run the command in this process."""
    capture.readouterr()
    try:
        code = main(["replay", *map(str, arguments)])
    except SystemExit as ended:
        code = int(ended.code or 0)
    return code, capture.readouterr().err


def wait_for_part(folder: Path) -> None:
    """Wait until some of a result has been written."""
    while not any(part.stat().st_size > 100_000 for part in folder.glob("*.part")):
        time.sleep(0.002)


def hash_of(file: Path) -> str:
    return hashlib.sha256(file.read_bytes()).hexdigest()


def test_the_drive_is_the_same_in_every_format(tmp_path: Path, capsys: pytest.CaptureFixture[str]) -> None:
    recording = ROOT / "build/release/examples/drive-result/recording.csv"
    velreplay = ROOT / "build/release/velreplay/velreplay"
    plan = ROOT / "examples/drive/plan.toml"
    expected = tmp_path / "expected.csv"
    told = subprocess.run(
        [velreplay, plan, recording, "--status", "-o", expected], check=True, capture_output=True, text=True
    ).stderr
    table = pyarrow.csv.read_csv(recording)
    whole = [write(table, tmp_path / f"whole.{kind}", kind) for kind in KINDS]
    computed = None
    for file, kind in zip(whole, KINDS, strict=True):
        parts = [write(half, tmp_path / f"{i}.{kind}", kind) for i, half in enumerate((table[:5000], table[5000:]))]
        for files in ([file], parts):
            code, said = call(capsys, plan, *files, "--status", "-o", tmp_path / "result.csv")
            assert code == 0
            assert hash_of(tmp_path / "result.csv") == hash_of(expected), files
            counts = re.compile(r"^\S+( +\d+)+$", re.MULTILINE)
            assert [m[0] for m in counts.finditer(said)] == [m[0] for m in counts.finditer(told)]
        for ending in (".parquet", ".arrow"):
            result = tmp_path / f"result{ending}"
            seen: list[tuple[int, float | None]] = []
            summary = replay_files(vel.Plan.load(plan), [file], result, progress=lambda *now, s=seen: s.append(now))
            assert summary.rows == len(table)
            assert seen[-1] == (len(table), 1.0 if kind != "stream" else None)
            found = pq.read_table(result) if ending == ".parquet" else pa.ipc.open_file(result).read_all()
            assert found.schema.metadata[b"veloperation.version"].decode() == vel.__version__
            assert vel.Plan.parse(found.schema.metadata[b"veloperation.plan"].decode()) == vel.Plan.load(plan)
            found = found.select([name for name in found.column_names if name not in ("time", "engine_speed")])
            computed = found if computed is None else computed
            assert found.combine_chunks().equals(computed.combine_chunks()), (kind, ending)


def test_groups_of_one_rate_give_the_bytes_of_one_table(tmp_path: Path) -> None:
    recording = ROOT / "build/release/examples/drive-result/recording.csv"
    table = pyarrow.csv.read_csv(recording)
    halves = [table.select(["time", *names]) for names in (table.column_names[1:3], table.column_names[3:])]
    write_mdf(tmp_path / "log.mf4", *(signals_of(half) for half in halves))
    text = (ROOT / "examples/drive/plan.toml").read_text("utf-8")
    raster = '[raster]\ntime = "time"\nperiod = 0.25\nmax_gap = "1 s"\n'
    plan = vel.Plan.parse(raster + text.replace('sample_period = "100 ms"\n', ""))
    hashes = set()
    for file in (recording, tmp_path / "log.mf4"):
        summary = replay_files(plan, [file], tmp_path / "result.csv", status=True)
        assert summary.rows == (len(table) - 1) * 2 // 5 + 1
        hashes.add(hash_of(tmp_path / "result.csv"))
    assert len(hashes) == 1


def last_before(times: npt.NDArray[Any], samples: npt.NDArray[Any], at: npt.NDArray[Any]) -> npt.NDArray[Any]:
    found = np.searchsorted(times, at + 1e-9, "right") - 1
    return np.where(found < 0, np.nan, samples[np.maximum(found, 0)])


@pytest.mark.parametrize("kind", ["Float64", "Time"])
def test_groups_of_several_rates_come_onto_the_raster(kind: str, tmp_path: Path) -> None:
    random = np.random.default_rng(3)
    fast = np.cumsum(random.uniform(0.003, 0.02, 30_000))
    slow = 1.05 + np.arange(1000) * 0.25
    last = fast[0] + (int((fast[-1] - fast[0]) / 0.1) + 4) * 0.1  # a row, which the last fast sample is still good for
    late = last - np.array([2.0, 1.0, 0.0])
    bad = np.arange(1000) % 50 == 7
    write_mdf(
        tmp_path / "log.mf4",
        [Signal(random.normal(size=len(fast)), fast, name="v", unit="m/s")],
        [
            Signal(np.arange(1000, dtype="u2"), slow, name="step", invalidation_bits=bad),
            Signal(np.sin(slow), slow, name="wave"),
            Signal(np.where(bad, b"bad", b"good"), slow, name="note", encoding="utf-8"),
        ],
        [Signal(np.array([1.0, 2.0, 3.0]), late, name="v"), Signal(np.array([5, 6, 7], "i1"), late, name="end")],
        names=("fast", "slow", "late"),
    )
    inputs = f"""
    [plan]
    keep = ["note"]
    [raster]
    time = "t"
    period = "100 ms"
    max_gap = 0.5
    [[inputs]]
    name = "t"
    column = "time"
    type = "{kind}"
    [[inputs]]
    name = "speed"
    column = "fast/v"
    type = "Float64"
    [[inputs]]
    name = "step"
    type = "UInt16"
    [[inputs]]
    name = "wave"
    type = "Float64"
    resample = "linear"
    [[inputs]]
    name = "end"
    type = "SInt8"
    hold = 2
    [compute]
    mean = "Average(wave, window = '1 s')"
    """
    result = vel.Plan.parse(inputs).replay(vel.open(tmp_path / "log.mf4"), warnings=True).read()
    first = fast[0]
    at = first + np.arange(round((last - first) / 0.1) + 1) * 0.1
    assert len(result) == len(at)
    if kind == "Float64":
        assert np.allclose(result["t"], at, rtol=0, atol=1e-12)
    else:
        since = (result["t"] - np.datetime64(START.replace(tzinfo=None))) / np.timedelta64(1, "s")
        assert np.abs(since - at).max() < 2e-6
    speed = result["speed"]
    v = MDF(tmp_path / "log.mf4").get("v", group=0).samples
    near = np.abs(fast[np.searchsorted(fast, at).clip(max=len(fast) - 1)] - at) < 1e-6  # equal but for rounding
    expected = np.where(at - fast[-1] > 0.5 + 1e-6, np.nan, last_before(fast, v, at))
    assert np.array_equal(speed[~near], expected[~near], equal_nan=True)
    inside = (at >= slow[0]) & (at < slow[-1])
    assert np.allclose(result["wave"][inside], np.interp(at[inside], slow, np.sin(slow)), rtol=0, atol=1e-6)
    assert np.isnan(result["wave"][at < slow[0]]).all()
    assert np.isnan(result["wave"][at > slow[-1] + 1e-6]).all()
    step = np.ma.filled(result["step"].astype(float), np.nan)
    steps = last_before(slow, np.where(bad, np.nan, np.arange(1000.0)), at)
    steps[at - slow[-1] > 0.5 + 1e-6] = np.nan
    assert np.array_equal(step, steps, equal_nan=True)
    assert result["note"][np.flatnonzero(at > slow[7])[0]] == "bad"
    ends = last_before(late, np.array([5.0, 6.0, 7.0]), at)
    ends[at - last_before(late, late, at) > 0.5 + 1e-6] = np.nan
    for row in np.flatnonzero(np.isnan(ends[2:])) + 2:  # held
        held = ends[row - 2 : row][~np.isnan(ends[row - 2 : row])]
        assert result["end"][row] is np.ma.masked or result["end"][row] in (5, 6)
        assert bool(np.ma.getmaskarray(result["end"])[row]) == (len(held) == 0)
    assert np.array_equal(np.ma.filled(result["end"], 0)[~np.isnan(ends)], ends[~np.isnan(ends)])
    replay_files(vel.Plan.parse(inputs), [tmp_path / "log.mf4"], tmp_path / "result.parquet")
    assert pq.read_schema(tmp_path / "result.parquet").field("speed").metadata[b"unit"] == b"m/s"


def test_files_of_mdf_go_on_in_time(tmp_path: Path) -> None:
    files = [tmp_path / "one.mf4", tmp_path / "two.mf4"]
    times = np.arange(2.0)
    for file, start in zip(files, (START, START + timedelta(seconds=10.5)), strict=True):
        write_mdf(file, [Signal(times, times, name="v")], start=start)
    plan = vel.Plan()
    plan.input("time", vel.Float64)
    assert plan.replay(vel.open(*files)).read()["time"].tolist() == [0.0, 1.0, 10.5, 11.5]
    plan = vel.Plan()
    plan.input("time", vel.Time)
    stamps = pa.table(plan.replay(vel.open(*files)))["time"]
    assert stamps.type == pa.timestamp("ns", "UTC")
    since = [stamp - START for stamp in stamps.cast(pa.timestamp("us", "UTC")).to_pylist()]
    assert since == [timedelta(seconds=seconds) for seconds in (0.0, 1.0, 10.5, 11.5)]
    write_mdf(files[1], [Signal(times, times, name="v")], start=START.replace(tzinfo=None))
    with pytest.raises(vel.Error, match=r"two.mf4: the start has a time zone in some files only"):
        plan.replay(vel.open(*files)).read()


def rows_of(heading: str) -> list[list[str]]:
    """Read the first table below a heading of the page."""
    section = PAGE.split(f"\n## {heading}\n")[1].split("\n## ")[0]
    rows = [line.strip("|").split("|") for line in section.splitlines() if line.startswith("|")]
    return [[cell.strip().strip("`") for cell in row] for row in rows[2:]]


def test_columns_become_what_the_page_says(tmp_path: Path) -> None:
    values: dict[str, Any] = {
        "bool": True,
        "int8": -3,
        "uint64": 7,
        "halffloat": np.float16(1.5),
        "float": 0.5,
        "double": 0.1,
        "date32[day]": date(2000, 1, 2),
        "timestamp[ns, tz=Europe/Berlin]": datetime(2000, 1, 1, 0, 0, 2, 500_000, UTC),
        "timestamp[ms]": datetime(2000, 1, 1, 0, 0, 2, 500_000),
        "duration[us]": timedelta(seconds=1.5),
        "dictionary<values=double, indices=int32, ordered=0>": 2.5,
        "decimal128(5, 2)": Decimal("1.25"),
        "string": "a",
        "binary": b"a",
        "list<element: int64>": [1, 2],
    }
    types = {
        "timestamp[ns, tz=Europe/Berlin]": pa.timestamp("ns", "Europe/Berlin"),
        "dictionary<values=double, indices=int32, ordered=0>": pa.dictionary(pa.int32(), pa.float64()),
        "decimal128(5, 2)": pa.decimal128(5, 2),
        "list<element: int64>": pa.list_(pa.field("element", pa.int64())),
        "duration[us]": pa.duration("us"),
    }
    rows = rows_of("Columns of Parquet and Arrow IPC")
    assert [row[0] for row in rows] == list(values)
    for name, is_input, example in rows:
        kind = types.get(name) or pa.type_for_alias(name)
        assert str(kind) == name
        dictionary = pa.types.is_dictionary(kind)
        column = pa.array([values[name], None], kind.value_type if dictionary else kind)
        table = pa.table({"x": column.dictionary_encode() if dictionary else column, "time": [0.0, 1.0]})
        for form in ("parquet", "arrow", "stream"):
            file = write(table, tmp_path / "log", form)
            plan = vel.Plan(keep=["x"])
            plan.input("time", vel.Float64)
            kept = pa.table(plan.replay(vel.open(file)))
            assert kept["x"].to_pylist() == table["x"].to_pylist()
            if name in ("binary", "list<element: int64>"):
                with pytest.raises(vel.Error, match=r'the column "x" has the type .*, and CSV holds texts'):
                    replay_files(plan, [file], tmp_path / "result.csv")
            else:
                replay_files(plan, [file], tmp_path / "result.csv")
                assert re.fullmatch(r"time,x\n0,[^,\n]+\n1,\n", (tmp_path / "result.csv").read_text())
            plan = vel.Plan()
            plan["y"] = vel.op.Assignment(plan.input("x", vel.Float64))
            if is_input == "yes":
                assert pa.table(plan.replay(vel.open(file)))["y"].to_pylist() == [float(example.split(" is ")[1]), None]
            else:
                with pytest.raises(vel.Error, match='"x"'):
                    plan.replay(vel.open(file)).read()


def test_channels_become_what_the_page_says(tmp_path: Path) -> None:
    steps = {"raw_0": 1.0, "phys_0": 10.0, "raw_1": 3.0, "phys_1": 20.0}
    texts = {"val_0": 1, "text_0": "on", "val_1": 2, "text_1": "off", "default_addr": b"?"}
    ranges = {"lower_0": 0, "upper_0": 1, "lower_1": 2, "upper_1": 3}
    given: dict[str, tuple[str, dict[str, Any] | None]] = {
        "unsigned integer": ("<u2", None),
        "signed integer, high byte first": (">i4", None),
        "float of 16 bits": ("<f2", None),
        "float of 64 bits": ("<f8", None),
        "flag": ("?", None),
        "linear conversion": ("<u1", {"a": 0.5, "b": 4.0}),
        "rational conversion": ("<u1", {"P1": 0, "P2": 2, "P3": 1, "P4": 0, "P5": 0, "P6": 1}),
        "formula": ("<u1", {"formula": "X1*X1"}),
        "table of values, interpolated": ("<u1", steps | {"interpolation": True}),
        "table of values": ("<u1", steps | {"interpolation": False}),
        "ranges of values": ("<u1", ranges | {"phys_0": 7.0, "phys_1": 9.0, "default": -1.0}),
        "values to texts": ("<u1", texts),
        "ranges to texts": ("<u1", ranges | {"text_0": "low", "text_1": "high", "default_addr": b"?"}),
        "text in UTF-8": ("utf-8", None),
        "text in UTF-16": ("utf-16-le", None),
        "text in Latin-1": ("latin-1", None),
    }
    rows = rows_of("Channels of MDF 4")
    assert [row[0] for row in rows] == [*given, "structure"]
    times = np.arange(2.0)
    for name, kind, example in rows[:-1]:
        stored, _, read = example.partition(", ")
        form, conversion = given[name]
        is_text = form.startswith(("utf", "latin"))
        samples = np.array([stored.encode(form)] * 2) if is_text else np.array([float(stored)] * 2).astype(form)
        encoding = form if is_text else None
        bad = None if is_text else np.array([False, True])
        made = Signal(samples, times, name="x", conversion=conversion, encoding=encoding, invalidation_bits=bad)
        write_mdf(tmp_path / "log.mf4", [made])
        plan = vel.Plan(keep=["x"])
        plan.input("time", vel.Float64)
        column = pa.table(plan.replay(vel.open(tmp_path / "log.mf4")))["x"]
        assert (str(column.type), str(column[0]), column[1].as_py() is None) == (kind, read, bad is not None), name
        plan = vel.Plan()
        plan.input("x", vel.Float64)
        if kind == "large_string":
            with pytest.raises(vel.Error, match=r'"x" has texts, which cannot be computed with\n  keep it'):
                plan.replay(vel.open(tmp_path / "log.mf4"))
        else:
            assert plan.replay(vel.open(tmp_path / "log.mf4")).read()["x"].tolist()[0] == float(read)
    parts = np.array([(0.0, 0.0), (1.0, 1.0)], [("a", "f8"), ("b", "f8")])
    write_mdf(tmp_path / "log.mf4", [Signal(parts, times, name="x")])
    with pytest.raises(vel.Error, match=r'"x" has a structure'):
        plan.replay(vel.open(tmp_path / "log.mf4"))
    plan = vel.Plan()
    plan.input("b", vel.Float64)
    assert plan.replay(vel.open(tmp_path / "log.mf4")).read()["b"].tolist() == [0.0, 1.0]


def write_as_loggers_do(file: Path, rows: int, lost: int, is_finished: bool) -> None:
    """Write an MDF file with the data last, and lose some bytes of it. Before it ends there is no length or counter."""
    times = np.arange(rows) * 0.1
    write_mdf(file, [Signal(np.arange(rows, dtype="f8"), times, name="v")], compression=0)
    image = bytearray(file.read_bytes())
    group, channels, data = (image.index(mark) for mark in (b"##DG", b"##CG", b"##DT"))
    (length,) = struct.unpack_from("<Q", image, data + 8)
    block = bytearray(image[data : data + length])
    image += b"\0" * (-len(image) % 8)
    struct.pack_into("<Q", image, group + 40, len(image))
    if is_finished:
        file.write_bytes(image + block[:-lost])
        return
    struct.pack_into("<Q", block, 8, 24)
    (links,) = struct.unpack_from("<Q", image, channels + 16)
    struct.pack_into("<Q", image, channels + 24 + 8 * links + 8, 0)
    image[:8] = b"UnFinMF "
    struct.pack_into("<H", image, 60, 0b101)
    file.write_bytes(image + block[:-lost])


def test_broken_and_empty_files_lose_nothing(tmp_path: Path) -> None:
    plan = vel.Plan()
    plan["sum"] = plan.input("v", vel.Float64) + plan.input("time", vel.Float64)
    table = pa.table({"time": np.arange(5000) * 0.1, "v": np.random.default_rng(1).normal(size=5000)})
    result = tmp_path / "result.parquet"
    for kind in KINDS[1:]:
        file = write(table[:0], tmp_path / f"log.{kind}", kind)
        empty = plan.replay(vel.open(file)).read()
        assert (len(empty), empty.columns) == (0, ["v", "time", "sum"]), kind
        replay_files(plan, [file], result)
        assert pq.read_table(result).column_names == empty.columns
        kept = hash_of(result)
        image = write(table, file, kind).read_bytes()
        for length in (len(image) - 5, len(image) // 2, 100, 20, 10):
            if kind == "stream" and length == len(image) - 5:
                continue  # only the mark of the end, which a stream may lack
            file.write_bytes(image[:length])
            with pytest.raises(vel.Error, match=f"log.{kind}: ") as error:
                replay_files(plan, [file], result)
            assert not list(tmp_path.glob("*.part")), error  # not even while the error lives
            assert hash_of(result) == kept
        file.unlink()
    assert list(tmp_path.iterdir()) == [result]

    write_as_loggers_do(file, 1000, 20, is_finished=True)
    with pytest.raises(vel.Error, match=r"log.mf4: the recording cannot be read: Incomplete"):
        replay_files(plan, [file], result)
    write_as_loggers_do(file, 1000, 20, is_finished=False)
    before = hash_of(file)
    summary = replay_files(plan, [file], result)
    assert pq.read_table(result)["v"].to_pylist() == list(range(998))
    assert [warning.what for warning in summary.warnings] == [
        f"{file}: the logger has not finished the file; what is there has been read"
    ]
    assert hash_of(file) == before


@pytest.mark.parametrize("ending", ["parquet", "arrow", "csv"])
def test_results_are_whole_or_the_older_ones(ending: str, tmp_path: Path, capsys: pytest.CaptureFixture[str]) -> None:
    rows = 400_000
    table = pa.table({"time": np.arange(rows) * 0.1, "v": np.random.default_rng(1).normal(size=rows)})
    pq.write_table(table, tmp_path / "log")
    plan = tmp_path / "plan.toml"
    plan.write_text(
        "".join(f'[[inputs]]\nname = "{name}"\ntype = "Float64"\n' for name in table.column_names)
        + '[compute]\nslow = "Max(v, window = 20000)"\nodd = "v * v * time"\n'
    )
    older = tmp_path / f"older.{ending}"
    older.write_text("older")
    older.chmod(0o640)
    result = tmp_path / f"result.{ending}"
    result.symlink_to(older.name)

    code, said = run([plan, tmp_path / "log", "-o", result], limit=1_000_000)
    assert code == 1
    assert "cannot be written: File too large" in said
    assert "raise the limit of file sizes" in said
    assert older.read_text() == "older"
    assert len(list(tmp_path.iterdir())) == 4

    process = begin([plan, tmp_path / "log", "-o", result])
    wait_for_part(tmp_path)
    assert process.poll() is None
    process.kill()
    process.communicate()
    assert older.read_text() == "older"
    for part in tmp_path.glob("*.part"):
        part.unlink()

    code, said = call(capsys, plan, tmp_path / "log", "-o", result)
    assert (code, said.splitlines()[0].split(",")[0]) == (0, f"{rows} rows")
    assert result.is_symlink()
    assert older.stat().st_mode & 0o777 == 0o640
    whole = older.read_bytes()
    assert len(list(tmp_path.iterdir())) == 4

    os.link(older, tmp_path / f"link.{ending}")
    code, said = call(capsys, plan, older, "-o", tmp_path / f"link.{ending}")
    assert code == 1
    assert "this is the file that is read as" in said
    assert older.read_bytes() == whole


def test_the_command_ends_as_velreplay_does(
    tmp_path: Path, capsys: pytest.CaptureFixture[str], monkeypatch: pytest.MonkeyPatch
) -> None:
    plan = tmp_path / "plan.toml"
    plan.write_text(
        '[settings]\nlimit = 2\n[[inputs]]\nname = "time"\ntype = "Float64"\n[[inputs]]\nname = "v"\ntype = "Float64"\n'
        '[compute]\ntotal = "IntegralAdd(v, time)"\nhigh = "v > limit"\n'
    )
    result = tmp_path / "result.csv"
    table = pa.table({"time": np.arange(5.0), "v": [1.0, 1.0, None, 3.0, 4.0]})
    files = {kind: write(table, tmp_path / f"log.{kind}", kind) for kind in KINDS}
    expected = [b"time,v,total,high", b"0,1,,0", b"1,1,1,0", b"2,,,", b"3,3,,1", b"4,4,3.5,1"]
    for file in files.values():
        code, said = call(capsys, plan, file, "--strict", "-o", result)
        assert code == 1
        assert 'warning: channel "total": the total of IntegralAdd starts again from 0 behind a missing sample' in said
        assert result.read_bytes().splitlines() == expected
    code, said = call(capsys, plan, "-q", files["mf4"], "--set", "limit=3.5", "-o", result)
    assert (code, said) == (0, "")
    assert result.read_bytes().splitlines()[4] == b"3,3,,0"

    os.mkfifo(tmp_path / "pipe")
    writer = threading.Thread(target=(tmp_path / "pipe").write_bytes, args=(files["csv"].read_bytes(),))
    writer.start()
    assert call(capsys, plan, "-q", tmp_path / "pipe", "-o", result) == (0, "")
    writer.join()
    assert result.read_bytes().splitlines() == expected

    for arguments, message in (
        ([files["mf4"], files["csv"]], "log.csv: its format is CSV, and that of .*log.mf4 is MDF"),
        ([files["mf4"], "--set", "limit"], '--set: "limit" is not a setting'),
        ([files["mf4"], "-o", "x.xls"], "x.xls: the ending '.xls' names no format"),
        ([files["mf4"], "-o", tmp_path / "none/x.csv"], "x.csv: cannot be written: No such file"),
        (["--what"], "unrecognized arguments: --what"),
    ):
        code, said = call(capsys, plan, *arguments)
        assert code == 1
        assert re.search(message, said), said
    with pytest.raises(vel.Error, match="skip is for CSV, and this is Parquet"):
        vel.Plan.load(plan).replay(vel.open(files["parquet"], skip=1))
    monkeypatch.setitem(sys.modules, "asammdf", None)
    with pytest.raises(vel.Error, match=r"pip install 'veloperation\[files\]'"):
        vel.Plan.load(plan).replay(vel.open(files["mf4"]))

    rows = 3_000_000
    pq.write_table(pa.table({"time": np.arange(float(rows)), "v": np.ones(rows)}), files["parquet"])
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        with begin([plan, files["parquet"], "-o", result]) as process:
            wait_for_part(tmp_path)
            process.send_signal(number)
            process.communicate(timeout=60)
        assert process.returncode == 130
        lines = result.read_bytes().splitlines()
        assert 1 < len(lines) <= rows
        assert lines[-1].startswith(f"{len(lines) - 2},1,".encode())
        assert not list(tmp_path.glob("*.part"))


@pytest.mark.skipif("sanitizers" in vel.__file__, reason="sanitizers keep what is free")
@pytest.mark.parametrize("kind", ["mf4", "parquet"])
def test_memory_does_not_grow_with_the_recording(kind: str, tmp_path: Path) -> None:
    plan = tmp_path / "plan.toml"
    names = ["time", "v", "w"]
    plan.write_text("".join(f'[[inputs]]\nname = "{name}"\ntype = "Float64"\n' for name in names))
    code = (
        "import sys; from veloperation.__main__ import main; main(sys.argv[1:]);"
        "print(*(line.split()[1] for line in open('/proc/self/status') if line.startswith('VmHWM')))"
    )
    peaks = []
    for rows in (500_000, 4_000_000):
        samples = np.random.default_rng(1).normal(size=rows)
        table = pa.table({"time": np.arange(rows) * 0.1, "v": samples, "w": -samples})
        file = tmp_path / f"log.{kind}"
        if kind == "mf4":
            write_mdf(file, signals_of(table), compression=0)
        else:
            write(table, file, kind)
        arguments = ["replay", "-q", str(plan), str(file), "-o", str(tmp_path / "result.parquet")]
        done = subprocess.run([sys.executable, "-c", code, *arguments], check=True, capture_output=True)
        peaks.append(int(done.stdout))
    assert peaks[1] < 1.2 * peaks[0], peaks
