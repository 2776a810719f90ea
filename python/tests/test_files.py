"""Recordings and results in files: every format gives the same samples, and no failure loses any."""

import contextlib
import hashlib
import os
import re
import resource
import signal
import struct
import subprocess
import sys
import time
from collections.abc import Callable
from datetime import UTC, date, datetime, timedelta
from decimal import Decimal
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt
import pyarrow as pa
import pyarrow.csv
import pyarrow.ipc
import pyarrow.parquet as pq
import pytest
from asammdf import MDF, Signal

import veloperation as vel
from veloperation._replay import replay_files

ROOT = Path(__file__).parents[2]
PAGE = (ROOT / "docs/formats.md").read_text("utf-8")
START = datetime(2024, 3, 30, 12, tzinfo=UTC)
KINDS = ["csv", "parquet", "arrow", "stream", "mf4"]


def write_mdf(file: Path, *groups: list[Signal], names: tuple[str, ...] = (), compression: int = 2) -> None:
    mdf = MDF(version="4.10")
    mdf.start_time = START
    for i, group in enumerate(groups):
        mdf.append(group, acq_name=names[i] if names else None, common_timebase=True)
    mdf.save(file, overwrite=True, compression=compression)
    mdf.close()


def write(table: pa.Table, file: Path, kind: str) -> Path:
    """Write the same table in any format."""
    match kind:
        case "csv":
            pyarrow.csv.write_csv(table, file, pyarrow.csv.WriteOptions(quoting_style="needed"))
        case "parquet":
            pq.write_table(table, file, row_group_size=1000)
        case "arrow" | "stream":
            begin = pa.ipc.new_file if kind == "arrow" else pa.ipc.new_stream
            with begin(file, table.schema) as writer:
                writer.write_table(table, 1000)
        case "mf4":
            times = table["time"].to_numpy()
            signals = []
            for name in table.column_names[1:]:
                column = table[name].combine_chunks()
                missing = column.is_null().to_numpy(zero_copy_only=False)
                samples = column.fill_null(0).to_numpy()
                signals.append(Signal(samples, times, name=name, invalidation_bits=missing if missing.any() else None))
            write_mdf(file, signals)
    return file


def replay(
    arguments: list[str], limit: int | None = None, **more: Any
) -> "subprocess.CompletedProcess[str] | subprocess.Popen[str]":
    def limit_files() -> None:
        if limit is not None:
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

    command = [sys.executable, "-W", "error", "-m", "veloperation", "replay", *arguments]
    return subprocess.Popen(command, text=True, stderr=subprocess.PIPE, preexec_fn=limit_files, **more)  # noqa: PLW1509


def run(arguments: list[str], limit: int | None = None) -> tuple[int, str]:
    process = replay(arguments, limit)
    assert isinstance(process, subprocess.Popen)
    _, said = process.communicate(timeout=60)
    return process.returncode, said


def hash_of(file: Path) -> str:
    return hashlib.sha256(file.read_bytes()).hexdigest()


def test_the_drive_is_the_same_in_every_format(tmp_path: Path) -> None:
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
        parts = [write(table[:5000], tmp_path / "one", kind), write(table[5000:], tmp_path / "two", kind)]
        for files in ([file], parts):
            names = [str(name) for name in files]
            code, said = run([str(plan), *names, "--status", "-o", str(tmp_path / "result.csv")])
            assert code == 0
            assert hash_of(tmp_path / "result.csv") == hash_of(expected), names
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


def last_before(times: npt.NDArray[Any], samples: npt.NDArray[Any], at: npt.NDArray[Any]) -> npt.NDArray[Any]:
    found = np.searchsorted(times, at + 1e-9, "right") - 1
    return np.where(found < 0, np.nan, samples[np.maximum(found, 0)])


@pytest.mark.parametrize("kind", ["Float64", "Time"])
def test_groups_of_several_rates_come_onto_the_raster(kind: str, tmp_path: Path) -> None:
    random = np.random.default_rng(3)
    fast = np.cumsum(random.uniform(0.003, 0.02, 30_000))
    slow = 1.05 + np.arange(1000) * 0.25
    late = fast[-1] + np.arange(3.0)  # one of them when the fast ones end
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
    at = first + np.arange(int((late[-1] - first) / 0.1 + 1e-9) + 1) * 0.1
    assert len(result) == len(at)
    if kind == "Float64":
        assert np.allclose(result["t"], at, rtol=0, atol=1e-12)
    else:
        since = (result["t"] - np.datetime64(START.replace(tzinfo=None))) / np.timedelta64(1, "s")
        assert np.abs(since - at).max() < 2e-6
    speed = result["speed"]
    v = MDF(tmp_path / "log.mf4").get("v", group=0).samples
    near = np.abs(fast[np.searchsorted(fast, at).clip(max=len(fast) - 1)] - at) < 1e-6  # equal but for rounding
    expected = np.where(at - fast[-1] > 0.5, np.nan, last_before(fast, v, at))
    assert np.array_equal(speed[~near], expected[~near], equal_nan=True)
    inside = (at >= slow[0]) & (at < slow[-1])
    assert np.allclose(result["wave"][inside], np.interp(at[inside], slow, np.sin(slow)), rtol=0, atol=1e-6)
    assert np.isnan(result["wave"][at < slow[0]]).all()
    assert np.isnan(result["wave"][at > slow[-1] + 1e-6]).all()
    step = result["step"].astype(float).filled(np.nan)
    steps = last_before(slow, np.where(bad, np.nan, np.arange(1000.0)), at)
    steps[at - slow[-1] > 0.5] = np.nan
    assert np.array_equal(step, steps, equal_nan=True)
    assert result["note"][np.flatnonzero(at > slow[7])[0]] == "bad"
    ends = last_before(late, np.array([5.0, 6.0, 7.0]), at)
    ends[at - last_before(late, late, at) > 0.5] = np.nan
    for row in np.flatnonzero(np.isnan(ends[2:])) + 2:  # held
        held = ends[row - 2 : row][~np.isnan(ends[row - 2 : row])]
        assert result["end"][row] is np.ma.masked or result["end"][row] in (5, 6)
        assert bool(np.ma.getmaskarray(result["end"])[row]) == (len(held) == 0)
    assert np.array_equal(result["end"].filled(0)[~np.isnan(ends)], ends[~np.isnan(ends)])
    replay_files(vel.Plan.parse(inputs), [tmp_path / "log.mf4"], tmp_path / "result.parquet")
    assert pq.read_schema(tmp_path / "result.parquet").field("speed").metadata[b"unit"] == b"m/s"
