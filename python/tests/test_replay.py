"""Plans over tables: what comes out is the same, whoever makes the table and however it is cut."""

import csv
import subprocess
import threading
from collections.abc import Iterator
from datetime import UTC, datetime, timedelta
from itertools import pairwise
from pathlib import Path
from typing import Any

import duckdb
import numpy as np
import numpy.typing as npt
import pandas as pd
import polars as pl
import pyarrow as pa
import pyarrow.csv
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

import veloperation as vel

ROOT = Path(__file__).parents[2]
INPUTS = """
[[inputs]]
name = "t"
type = "Time"
[[inputs]]
name = "v"
type = "Float64"
[[inputs]]
name = "count"
type = "UInt16"
[[inputs]]
name = "level"
type = "SInt8"
hold = 2
"""
COMPUTED = """
[compute]
highest = "Max(v, window = 5)"
smooth = "FilterButterworthLowPass(v, order = 2, sample_rate = 10, corner1 = 1)"
total = "IntegralAdd(v, t)"
next = "count + 1"
event = "Count(count, 0)"
high = "v > 2 && count > 3"
"""
PLANS = {
    "plain": '[plan]\nkeep = "all"\n',
    "rows_when": '[plan]\nkeep = "all"\nrows_when = "high"\n',
    "rows_before_change": '[plan]\nkeep = "all"\nrows_before_change = "level"\n',
    "raster": '[plan]\nkeep = "all"\n[raster]\ntime = "t"\nperiod = 0.3\nmax_gap = 1\n',
}
START = datetime(2024, 3, 30, tzinfo=UTC)
SCHEMA = pa.schema(
    {
        "t": pa.timestamp("us", "UTC"),
        "v": pa.float64(),
        "count": pa.int64(),
        "level": pa.dictionary(pa.int8(), pa.int32()),
        "note": pa.string(),
        "kind": pa.dictionary(pa.int16(), pa.string()),
    }
)


def bits(result: vel.Result) -> dict[str, Any]:
    """Give the columns so that equal ones are equal to the last bit, but for what lies beneath gaps."""
    columns: dict[str, Any] = {}
    for name in result.columns:
        column = result[name]
        if column.dtype == object:
            columns[name] = column.tolist()
        elif isinstance(column, np.ma.MaskedArray):
            columns[name] = (column.dtype, np.ma.getmaskarray(column).tobytes(), column.filled(0).tobytes())
        else:
            columns[name] = (column.dtype, column.tobytes())
    return columns


@st.composite
def tables(draw: st.DrawFn) -> pa.Table:
    rows = draw(st.integers(0, 40))

    def column(values: st.SearchStrategy[Any]) -> list[Any]:
        return draw(st.lists(st.none() | values, min_size=rows, max_size=rows))

    steps = draw(st.lists(st.integers(1, 900), min_size=rows, max_size=rows))
    times = [START + timedelta(milliseconds=int(step)) for step in np.cumsum(steps)]
    arrays = [
        times,
        column(st.floats(-5, 5)),
        column(st.integers(0, 6)),
        column(st.integers(-3, 3)),
        column(st.sampled_from(["", "a", "some longer text"])),
        column(st.sampled_from(["x", "y"])),
    ]
    encoded = [
        pa.array(values, field.type.value_type).dictionary_encode().cast(field.type)
        if pa.types.is_dictionary(field.type)
        else pa.array(values, field.type)
        for values, field in zip(arrays, SCHEMA, strict=True)
    ]
    return pa.table(encoded, SCHEMA)


@pytest.mark.parametrize("kind", PLANS)
@settings(deadline=None, max_examples=60)
@given(tables(), st.lists(st.integers(0, 40), max_size=6), st.integers(0, 9))
def test_cuts_and_slices_change_no_bit(kind: str, table: pa.Table, cuts: list[int], before: int) -> None:
    plan = vel.Plan.parse(PLANS[kind] + INPUTS + COMPUTED)
    whole = bits(plan.replay(table, status=True).read())
    padded = pa.concat_tables([table.slice(0, before), table]).combine_chunks()
    sliced = padded.slice(min(before, len(table)))
    ends = [0, *sorted(min(cut, len(table)) for cut in cuts), len(table)]
    pieces = [sliced.slice(begin, end - begin) for begin, end in pairwise(ends)]
    batches = [batch for piece in pieces for batch in (piece.to_batches() or [pa.RecordBatch.from_pylist([], SCHEMA)])]
    reader = pa.RecordBatchReader.from_batches(SCHEMA, iter(batches))
    assert bits(plan.replay(reader, status=True).read()) == whole

    session = plan.start(status=True)
    parts = [pa.table(session.feed(batch)) for batch in batches]
    parts.append(pa.table(session.end()))
    joined = pa.concat_tables(parts).to_pydict()
    assert joined == pa.table(plan.replay(table, status=True)).to_pydict()


def test_producers_and_consumers_agree() -> None:
    plan = vel.Plan(keep=["note"])
    v, count, t = plan.input("v", vel.Float64), plan.input("count", vel.UInt16), plan.input("t", vel.Time)
    plan["slope"] = vel.op.Differential(v, t)
    plan["more"] = count + 1
    times = np.datetime64("2024-03-31T00:59:59", "us") + np.arange(6) * np.timedelta64(250_000, "us")
    values = np.array([1.0, 2.5, np.nan, 4.0, 8.0, -1.0])
    counts = np.ma.MaskedArray(np.arange(6, dtype=np.uint16), np.arange(6) == 3)
    notes = ["a", None, "", "x" * 20, "b", "c"]
    mapping = {"v": values, "count": counts, "t": times, "note": notes}
    table = pa.table({"v": values, "count": pa.array(counts.filled(), mask=counts.mask), "t": times, "note": notes})
    frame_of_arrow = table  # noqa: F841, which DuckDB finds by name
    frame = pd.DataFrame({"v": values, "count": [0, 1, 2, None, 4, 5], "t": times, "note": notes})
    producers = {
        "mapping": mapping,
        "strided": {**mapping, "v": np.repeat(values, 2)[::2]},
        "pyarrow": table,
        "batch": table.to_batches()[0],
        "struct": table.to_struct_array().combine_chunks(),
        "polars": pl.DataFrame(table),
        "pandas": frame,
        "duckdb": duckdb.sql("select * from frame_of_arrow"),
    }
    expected = None
    for name, data in producers.items():
        found = pl.DataFrame(plan.replay(data)).select(
            pl.col("slope", "more"), pl.col("t").dt.epoch("us"), pl.col("note").cast(pl.String)
        )
        expected = found if expected is None else expected
        assert found.equals(expected), name
    assert expected is not None
    assert expected["slope"].to_list() == [None, 6.0, None, None, 16.0, -36.0]
    assert expected["more"].to_list() == [1, 2, 3, None, 5, 6]
    result = plan.replay(table)  # noqa: F841, which DuckDB finds by name
    relation = duckdb.sql("select sum(more) from result")
    assert relation is not None
    assert relation.fetchall() == [(17,)]
    assert pd.DataFrame.from_arrow(plan.replay(table))["slope"].isna().sum() == 3  # type: ignore[attr-defined]
    assert pa.table(plan.replay(table)).schema.field("t").type == pa.timestamp("us")


@pytest.mark.parametrize(
    ("kind", "column", "expected"),
    [
        ("UInt8", pa.array([0, 254, None], pa.int64()), [0, 254, None]),
        ("UInt16", pa.array([True, None, False]), [1, None, 0]),
        ("SInt16", pa.array([1.0, np.nan, -32767.0]), [1, None, -32767]),
        ("UInt64", pa.array([2**63, None], pa.uint64()), [2**63, None]),
        ("Float64", pa.array([2**53, -(2**63)], pa.int64()), [2.0**53, -(2.0**63)]),
        ("Float32", pa.array([0.5, np.inf, 16777216.0]), [0.5, np.inf, 16777216.0]),
        ("Float32", pa.array(np.array([1.5, 6e-8, np.nan, np.inf], np.float16)), [1.5, 2**-24, None, np.inf]),
        ("Float64", pa.array([1500, None], pa.duration("ms")), [1.5, None]),
        ("Float64", pa.nulls(2), [None, None]),
        ("Float64", pa.array([946684800_000_000_001, -1], pa.timestamp("ns")), [1e-9, -946684800.000000001]),
        ("Float64", pa.array([2**63 - 1, -(2**63)], pa.timestamp("s")), [2.0**63 - 946684800, -(2.0**63) - 946684800]),
        ("Time", pa.array([10957, None], pa.date32()), [0.0, None]),
        ("Float32", pa.DictionaryArray.from_arrays([1, None, 0, 1], pa.array([2.0, None])), [None, None, 2.0, None]),
    ],
)
def test_values_that_fit_exactly_convert(kind: str, column: pa.Array, expected: list[Any]) -> None:
    plan = vel.Plan()
    plan["y"] = plan.input("x", kind) if kind == "x" else vel.op.Assignment(plan.input("x", kind))
    assert pa.table(plan.replay(pa.table({"x": column})))["y"].to_pylist() == expected


@pytest.mark.parametrize(
    ("kind", "column", "message"),
    [
        ("UInt8", pa.array([1, 2, 256]), r'column "x", row 3: 256 is no UInt8 exactly'),
        ("UInt8", pa.array([1, 255]), r'column "x", row 2: 255 is the NoValue of the type UInt8'),
        ("SInt32", pa.array([1.0, 0.5]), r"row 2: 0.5 is no SInt32 exactly"),
        ("SInt64", pa.array([2.0**63]), r"row 1: 9.* is no SInt64 exactly"),
        ("Float32", pa.array([0.1]), r"row 1: 0.1 is no Float32 exactly"),
        ("Float64", pa.array([2**53 + 1]), r"9007199254740993 is no Float64 exactly"),
        ("Float64", pa.array([2**63 - 1]), r"9223372036854775807 is no Float64 exactly"),
        ("Float64", pa.array(["1"]), r'column "x": values of the type string are no samples'),
        ("Float64", pa.array([1], pa.decimal128(5, 2)), "decimal"),
        ("UInt16", pa.array([1], pa.timestamp("s")), "it holds times"),
        ("Time", pa.array([1.0]), "it holds numbers"),
        ("UInt8", pa.DictionaryArray.from_arrays([0, 1], pa.array([1, 300])), "row 2: 300 is no UInt8"),
    ],
)
def test_others_are_refused_by_name(kind: str, column: pa.Array, message: str) -> None:
    plan = vel.Plan()
    plan.input("x", kind)
    with pytest.raises(vel.Error, match=message):
        plan.replay(pa.table({"x": column})).read()


def test_no_value_means_a_gap_where_the_plan_says_so() -> None:
    plan = vel.Plan(recording={"on_no_value": "missing"})
    plan["y"] = plan.input("x", vel.UInt8) + 1
    result = plan.replay({"x": np.array([1, 255], np.uint8)}, warnings=True).read()
    assert result["y"].tolist() == [2, None]
    assert str(result.warnings[0]) == "x: cells that hold 255, its NoValue, count as missing (first in row 2; 1 in all)"


def test_rows_before_a_bad_value_come_first() -> None:
    plan = vel.Plan()
    plan.input("x", vel.UInt8)
    stream = pa.RecordBatchReader.from_stream(plan.replay({"x": np.append(np.zeros(100_000), 300.0)}))
    rows = len(stream.read_next_batch()) + len(stream.read_next_batch())
    assert rows == 100_000
    with pytest.raises(pa.ArrowInvalid, match=r'column "x", row 100001: 300 is no UInt8'):
        stream.read_next_batch()

    session = plan.start()
    assert len(session.feed({"x": [1.0]})) == 1
    with pytest.raises(vel.Error, match=r"row 3: 0.5 is no UInt8"):
        session.feed({"x": [1.0, 0.5]})
    with pytest.raises(vel.Error, match='"x" has the type int64, and had the type float64'):
        session.feed({"x": [7]})
    assert session.feed({"x": [7.0]})["x"].tolist() == [7.0]


def test_a_step_in_time_ends_a_session_behind_the_rows_before_it() -> None:
    plan = vel.Plan()
    t = plan.input("t", vel.Float64)
    plan.choose(raster={"time": t, "period": 1, "max_step": 10})
    session = plan.start()
    assert session.feed({"t": [0.0, 2.0, 100.0]})["t"].tolist() == [0.0, 1.0, 2.0]
    for _ in range(2):
        with pytest.raises(vel.Error, match=r"row 3 of the recording: the time steps by 98 s"):
            session.feed({"t": [101.0]})


def test_inputs_are_passed_on_without_a_copy_and_times_as_they_came() -> None:
    plan = vel.Plan()
    t = plan.input("t", vel.Time)
    plan["seconds"] = t + 0
    plan["twice"] = plan.input("v", vel.Float64) * 2
    values = np.arange(100_000.0)
    table = pa.table({"t": pa.array(np.arange(100_000), pa.timestamp("ns", "Europe/Berlin")), "v": values})
    result = pa.table(plan.replay(table))
    given = table["v"].chunk(0).buffers()[1].address
    assert [chunk.buffers()[1].address for chunk in result["v"].chunks] == [given] * result["v"].num_chunks
    assert result["t"].type == table["t"].type
    assert result.schema.metadata[b"veloperation.rounded"].startswith(b"t: nanoseconds")
    assert vel.Plan.parse(str(plan)).replay(result.select(["t", "v"])).read()["twice"][-1] == 199_998.0


def test_streams_stay_lazy_and_small() -> None:
    plan = vel.Plan.parse(INPUTS + COMPUTED)
    batch = pa.record_batch(
        {"t": pa.array([0, 1], pa.timestamp("s")), "v": [1.0, 2.0], "count": [1, 2], "level": [0, 1]}
    )
    taken = 0

    def batches() -> Iterator[pa.RecordBatch]:
        nonlocal taken
        while True:
            taken += 1
            yield batch

    seen: list[tuple[int, float | None]] = []
    reader = pa.RecordBatchReader.from_batches(batch.schema, batches())
    stream = pa.RecordBatchReader.from_stream(
        plan.replay(reader, progress=lambda rows, share: seen.append((rows, share)))
    )
    for _ in range(20):
        stream.read_next_batch()
    assert taken <= 21
    assert seen == [(2 * number, None) for number in range(1, 21)]
    before = pa.total_allocated_bytes()
    for _ in range(2000):
        stream.read_next_batch()
    assert pa.total_allocated_bytes() <= before + 10_000


def test_a_producer_that_fails_and_consumers_that_go_away_leak_nothing() -> None:
    plan = vel.Plan.parse('[plan]\nkeep = "all"\n' + INPUTS + COMPUTED)
    owned = np.zeros(8)
    batch = pa.record_batch({"t": pa.array([0], pa.timestamp("s")), "v": [1.0], "count": [1], "level": [0]})

    def batches() -> Iterator[pa.RecordBatch]:
        yield batch
        raise ValueError("the sensor is gone")

    before = pa.total_allocated_bytes()
    for _ in range(50):
        with pytest.raises(vel.Error, match="the sensor is gone"):
            plan.replay(pa.RecordBatchReader.from_batches(batch.schema, batches())).read()
        result = plan.replay(batch)
        result.__arrow_c_stream__()  # a capsule that nobody takes
        with pytest.raises(vel.Error, match="read once"):
            result.read()
        half = pa.RecordBatchReader.from_stream(plan.replay(pa.table(batch)))
        first = half.read_next_batch()
        column = first.column("v")
        del half, first
        assert column.to_pylist() == [1.0]  # a child outlives its parents
        result = plan.replay(batch).read()
        one, other = pa.table(result), pa.table(result)
        del one, result
        assert other["highest"].to_pylist() == [1.0]
        del other, column
        plan.replay(batch)  # never read
        with pytest.raises(KeyboardInterrupt):
            plan.replay(batch, progress=interrupt).read()
        capsule = pa.table(batch).__arrow_c_stream__()
        pa.RecordBatchReader._import_from_c_capsule(capsule)
        with pytest.raises(vel.Error, match="taken already"):
            plan.replay(Offer(capsule))
        del capsule
        vel.Plan.parse('[[inputs]]\nname = "x"\ntype = "Float64"').replay({"x": owned})
    assert pa.total_allocated_bytes() == before


class Offer:
    def __init__(self, capsule: object) -> None:
        self.capsule = capsule

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return self.capsule


def interrupt(rows: int, share: float | None) -> None:
    raise KeyboardInterrupt


def test_memory_of_arrays_outlives_them_and_ends_with_the_result() -> None:
    plan = vel.Plan()
    plan.input("x", vel.Float64)
    result = plan.replay({"x": np.arange(1000.0)}).read()
    kept = pa.table(result)["x"]
    del result
    assert kept[999].as_py() == 999.0


def test_lists_stay_whole_and_are_not_taken_apart() -> None:
    table = pa.table(
        {"v": [1.0, 2.0], "l": [[1], [2, 3]], "s": [{"a": 1}, None], "d": pa.array([1, 2], pa.decimal64(5))}
    )
    plan = vel.Plan(keep="all")
    v = plan.input("v", vel.Float64)
    assert pa.table(plan.replay(table.slice(1))).to_pydict() == table.slice(1).to_pydict()
    plan["high"] = v > 1
    plan.choose(rows_when=plan["high"])
    with pytest.raises(vel.Error, match='column "l": the plan chooses rows, and those of the type list'):
        plan.replay(table)


@pytest.mark.parametrize("data", [{}, {"w": [1.0]}, {"v": [1.0], "x": [1.0, 2.0]}, {"v": [[1.0]]}, {"v": [object()]}])
def test_data_that_do_not_fit_are_told(data: dict[str, Any]) -> None:
    plan = vel.Plan()
    plan.input("v", vel.Float64)
    with pytest.raises(vel.Error):
        plan.replay(data)
    with pytest.raises(TypeError, match="no table"):
        plan.replay(42)


def test_an_empty_table_gives_an_empty_result_of_the_same_types() -> None:
    plan = vel.Plan.parse(PLANS["plain"] + INPUTS + COMPUTED)
    empty = pa.table(plan.replay(SCHEMA.empty_table()))
    assert len(empty) == 0
    assert empty.schema == pa.table(plan.replay(pa.table([[]] * 6, SCHEMA))).schema
    assert empty.schema.field("next").type == pa.uint16()


def test_eight_threads_do_what_one_does() -> None:
    plans = [vel.Plan.parse(text + INPUTS + COMPUTED) for text in PLANS.values()] * 2
    rows = 20_000
    random = np.random.default_rng(1)
    data = pa.table(
        {
            "t": pa.array(np.cumsum(random.integers(1, 900, rows)) + 1_000_000, pa.timestamp("ms", "UTC")),
            "v": random.normal(size=rows),
            "count": random.integers(0, 6, rows),
            "level": random.integers(-3, 3, rows),
        }
    )
    expected = [bits(plan.replay(data).read()) for plan in plans]
    found: list[Any] = [None] * len(plans)

    def work(index: int) -> None:
        found[index] = bits(plans[index].replay(data).read())

    threads = [threading.Thread(target=work, args=(index,)) for index in range(len(plans))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == expected


def velreplay(plan: Path, *recordings: Path) -> dict[str, list[str]]:
    program = ROOT / "build/release/velreplay/velreplay"
    done = subprocess.run([program, "-q", plan, *recordings], capture_output=True, text=True, check=True)
    header, *rows = csv.reader(done.stdout.splitlines())
    return {name: [row[column] for row in rows] for column, name in enumerate(header)}


def same_bits(column: npt.NDArray[Any], cells: list[str]) -> bool:
    if column.dtype == object:
        return bool(column.tolist() == cells)
    if isinstance(column, np.ma.MaskedArray):
        return bool(column.tolist() == [int(cell) if cell else None for cell in cells])
    return (
        np.array([float(cell) if cell else np.nan for cell in cells]).tobytes() == np.asarray(column, float).tobytes()
    )


def test_the_drive_has_the_bits_of_velreplay(tmp_path: Path) -> None:
    recording = ROOT / "build/release/examples/drive-result/recording.csv"
    file = ROOT / "examples/drive/plan.toml"
    plan = vel.Plan.load(file)
    expected = velreplay(file, recording)
    lines = recording.read_text().splitlines(keepends=True)
    parts = [tmp_path / "one.csv", tmp_path / "two.csv"]
    parts[0].write_text("".join(lines[:5000]))
    parts[1].write_text("".join([lines[0], *lines[5000:]]))
    for data in (vel.open(recording), vel.open(*parts), pyarrow.csv.read_csv(recording)):
        result = plan.replay(data).read()
        assert result.columns == list(expected)
        assert len(result) == len(lines) - 1
        assert [name for name in result.columns if not same_bits(result[name], expected[name])] == []
    built = vel.Plan.parse(str(plan))
    assert built == plan


def test_open_reads_texts_and_times_as_velreplay_does(tmp_path: Path) -> None:
    recording = tmp_path / "log.csv"
    recording.write_text("time;v;who\n31.03.2024 01:30;1,5;a\n31.03.2024 03:30;;b\n31.03.2024 03:40;255;c\n")
    plan = tmp_path / "plan.toml"
    plan.write_text(
        '[plan]\nkeep = ["who"]\nrows_before_change = "high"\n[recording]\ndecimal_comma = true\n'
        '[[inputs]]\nname = "t"\ncolumn = "time"\ntype = "Time"\nzone = "Europe/Berlin"\nformat = "%d.%m.%Y %H:%M"\n'
        '[[inputs]]\nname = "v"\ntype = "Float64"\n[compute]\nhigh = "Valid(v, 0) > 100"\n'
    )
    result = vel.Plan.load(plan).replay(vel.open(recording)).read()
    assert result["who"].tolist() == ["b", "c"]
    assert result["t"].tolist() == [datetime(2024, 3, 31, 1, 30), datetime(2024, 3, 31, 1, 40)]
    assert pa.table(result).schema.field("t").type == pa.timestamp("us", "Europe/Berlin")
    recording.write_text("time;v;who\nyesterday;1;a\n")
    with pytest.raises(vel.Error, match=r"log.csv:2, column 1"):
        vel.Plan.load(plan).replay(vel.open(recording)).read()
    with pytest.raises(vel.Error, match="cannot be opened"):
        vel.Plan.load(plan).replay(vel.open(tmp_path / "none.csv"))
