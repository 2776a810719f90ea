"""Times operations in Python beside the C++ engine, pandas, polars, SciPy and loops compiled by numba.

Called by `make bench-python`: python_operations.py REPLAY_COLUMNS README PICTURE. All subjects of a task run in turns,
and the least processor time of each counts: another program can only make a figure larger. The first round warms up and
does not count. Writes the table into the page, and draws the picture.
"""

from __future__ import annotations

import datetime
import os
import re
import subprocess
import sys
import tempfile
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

os.environ["POLARS_MAX_THREADS"] = "1"  # processor time counts all threads

import matplotlib
import numba
import numpy as np
import numpy.typing as npt
import pandas as pd
import polars as pl
import scipy.ndimage
import scipy.signal

import veloperation as vel

ROWS = 10_000_000
ROUNDS = 4
Samples = npt.NDArray[np.float64]
Subjects = dict[str, Callable[[], Any]]


@numba.njit  # type: ignore[untyped-decorator]
def numba_maximum(x: Samples, window: int) -> Samples:
    """Keep the samples that can still become the largest, in a ring."""
    result = np.empty_like(x)
    ring = np.empty(window + 1, np.int64)
    first, count = 0, 0
    for i in range(len(x)):
        while count and x[ring[(first + count - 1) % (window + 1)]] <= x[i]:
            count -= 1
        ring[(first + count) % (window + 1)] = i
        count += 1
        if ring[first] <= i - window:
            first = (first + 1) % (window + 1)
            count -= 1
        result[i] = x[ring[first]]
    return result


@numba.njit  # type: ignore[untyped-decorator]
def numba_mean(x: Samples, window: int) -> Samples:
    """Keep a running sum."""
    result = np.empty_like(x)
    total = 0.0
    for i in range(len(x)):
        total += x[i]
        if i >= window:
            total -= x[i - window]
        result[i] = total / min(i + 1, window)
    return result


@numba.njit  # type: ignore[untyped-decorator]
def numba_filter(b: Samples, a: Samples, x: Samples) -> Samples:
    """Filter in direct form, as lfilter does."""
    result = np.empty_like(x)
    state = np.zeros(len(b))
    for i in range(len(x)):
        y = b[0] * x[i] + state[0]
        for k in range(1, len(b) - 1):
            state[k - 1] = b[k] * x[i] + state[k] - a[k] * y
        state[len(b) - 2] = b[len(b) - 1] * x[i] - a[len(b) - 1] * y
        result[i] = y
    return result


@numba.njit  # type: ignore[untyped-decorator]
def numba_hysteresis(x: Samples, limit: float, width: float) -> npt.NDArray[np.uint16]:
    """Switch on above the limit, and off below it by the width."""
    result = np.empty(len(x), np.uint16)
    state = 0
    for i in range(len(x)):
        if x[i] > limit:
            state = 1
        elif x[i] < limit - width:
            state = 0
        result[i] = state
    return result


@numba.njit  # type: ignore[untyped-decorator]
def numba_edges(x: Samples, threshold: float) -> int:
    """Count samples above the threshold that follow one that is not."""
    count = 0
    before = 0.0
    for i in range(len(x)):
        if x[i] > threshold and before <= threshold:
            count += 1
        before = x[i]
    return count


def pandas_hysteresis(x: pd.Series, limit: float, width: float) -> pd.Series:
    """Fill the band between the limits with what was before."""
    known = pd.Series(np.where(x > limit, 1.0, np.where(x < limit - width, 0.0, np.nan)))
    return known.ffill()


def polars_hysteresis(x: pl.Series, limit: float, width: float) -> pl.Series:
    """Fill the band between the limits with what was before."""
    known = pl.when(pl.col("x") > limit).then(1).when(pl.col("x") < limit - width).then(0)
    return x.to_frame("x").select(known.forward_fill())["literal"]


class Engine:
    """The C++ engine, which times itself."""

    def __init__(self, program: str, samples: Path) -> None:
        self.program = program
        self.samples = samples

    def seconds(self, operation: str, signature: str, parameters: str, constant: float | None) -> float:
        """Run a plan of one operation."""
        kind = {"D": "Float64", "W": "UInt16"}[signature[0]]
        plan = '[[inputs]]\nname = "x"\ntype = "Float64"\n'
        if constant is not None:
            plan += f'[[constants]]\nname = "c"\ntype = "Float64"\nvalue = {constant}\n'
        operands = '"x"' if constant is None else '"x", "c"'
        plan += f'[[channels]]\nname = "y"\ntype = "{kind}"\noperation = "{operation}"\noperands = [{operands}]\n'
        plan += f"parameters = {{ {parameters} }}\n"
        file = self.samples.with_suffix(".toml")
        file.write_text(plan)
        command = [self.program, file, self.samples, str(ROWS), "1"]
        return float(subprocess.run(command, capture_output=True, check=True).stdout.split()[0])


def least_times(subjects: Subjects) -> dict[str, float]:
    """Take turns. A subject that returns a float has timed itself."""
    least = dict.fromkeys(subjects, float("inf"))
    for turn in range(ROUNDS + 1):
        for name, run in subjects.items():
            start = time.process_time()
            own = run()
            seconds = own if isinstance(own, float) else time.process_time() - start
            if turn > 0:
                least[name] = min(least[name], seconds)
    return least


def ours(operation: str, signature: str, constant: float | None = None, **parameters: Any) -> Callable[[Samples], Any]:
    """Make the operation anew for each run, as the other subjects do."""

    def run(x: Samples) -> Any:
        operands = [x] if constant is None else [x, constant]
        return vel.Operation(operation, signature, **parameters)(*operands)

    return run


def tasks(x: Samples, engine: Engine) -> dict[str, Subjects]:
    """All tasks, each with its subjects."""
    series, polar = pd.Series(x), pl.Series(x)
    b, a = scipy.signal.butter(4, 30.0, fs=1000.0)
    found: dict[str, Subjects] = {}
    for window in (10, 1000, 100_000):
        found[f"maximum of {window:,} rows"] = {
            "veloperation": lambda w=window: ours("Max", "DD", window=w)(x),
            "C++ engine": lambda w=window: engine.seconds("Max", "DD", f"window = {w}", None),
            "pandas": lambda w=window: series.rolling(w, min_periods=1).max(),
            "polars": lambda w=window: polar.rolling_max(w, min_samples=1),
            "numba": lambda w=window: numba_maximum(x, w),
            "scipy": lambda w=window: scipy.ndimage.maximum_filter1d(x, w),
        }
    found["mean of 1,000 rows"] = {
        "veloperation": lambda: ours("Average", "DD", window=1000)(x),
        "C++ engine": lambda: engine.seconds("Average", "DD", "window = 1000", None),
        "pandas": lambda: series.rolling(1000, min_periods=1).mean(),
        "polars": lambda: polar.rolling_mean(1000, min_samples=1),
        "numba": lambda: numba_mean(x, 1000),
    }
    found["low-pass of order 4"] = {
        "veloperation": lambda: ours("FilterButterworthLowPass", "DD", order=4, sample_rate=1000, corner1=30)(x),
        "C++ engine": lambda: engine.seconds(
            "FilterButterworthLowPass", "DD", "order = 4, sample_rate = 1000, corner1 = 30", None
        ),
        "numba": lambda: numba_filter(b, a, x),
        "scipy": lambda: scipy.signal.lfilter(b, a, x),
    }
    found["hysteresis"] = {
        "veloperation": lambda: ours("UpperLimit", "WDD", constant=1.0, hysteresis=2.0)(x),
        "C++ engine": lambda: engine.seconds("UpperLimit", "WDD", "hysteresis = 2.0", 1.0),
        "pandas": lambda: pandas_hysteresis(series, 1.0, 2.0),
        "polars": lambda: polars_hysteresis(polar, 1.0, 2.0),
        "numba": lambda: numba_hysteresis(x, 1.0, 2.0),
    }
    found["rising edges counted"] = {
        "veloperation": lambda: int(ours("PosEdge", "WD", threshold=1.0)(x).sum()),
        "C++ engine": lambda: engine.seconds("PosEdge", "WD", "threshold = 1.0", None),
        "pandas": lambda: int(((series > 1.0) & (series.shift(fill_value=0.0) <= 1.0)).sum()),
        "polars": lambda: int(((polar > 1.0) & (polar.shift(fill_value=0.0) <= 1.0)).sum()),
        "numba": lambda: int(numba_edges(x, 1.0)),
    }
    return found


def check(x: Samples) -> None:
    """Let nobody win by other results."""
    x = x[:200_000]
    small = tasks(x, Engine("", Path()))
    for name, subjects in small.items():
        expected = subjects["veloperation"]()
        for peer, run in subjects.items():
            if peer == "C++ engine" or (peer == "scipy" and "maximum" in name):  # whose window lies around the sample
                continue
            made = np.ma.filled(np.ma.asarray(np.asarray(run(), float)), np.nan)
            wanted = np.asarray(np.ma.getdata(expected), float)
            known = slice(None)
            if name == "hysteresis":  # nobody knows the state before the first sample beyond the band
                known = slice(int(np.argmax((x > 1.0) | (x < -1.0))), None)
            if made.ndim:
                made, wanted = made[known], wanted[known]
            np.testing.assert_allclose(made, wanted, atol=1e-9)


def machine() -> str:
    """Say what has measured."""
    model = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    packages = ", ".join(f"{package.__name__} {package.__version__}" for package in (np, pd, pl, scipy, numba))
    return f"{model[1] if model else 'unknown'}, {os.cpu_count()} processors; {packages}; {datetime.date.today()}"


def draw(figures: dict[str, dict[str, float]], picture: str) -> None:
    """Draw times beside one another."""
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    colours = {"veloperation": "#222266", "C++ engine": "#8888cc", "numba": "#44aa77", "scipy": "#ddaa33"}
    colours |= {"polars": "#cc6677", "pandas": "#999999"}
    figure, axes = plt.subplots(figsize=(11, 5), layout="constrained")
    for index, (name, colour) in enumerate(colours.items()):
        places = [place + (index - 2.5) * 0.13 for place, times in enumerate(figures.values()) if name in times]
        values = [times[name] / ROWS * 1e9 for times in figures.values() if name in times]
        axes.bar(places, values, 0.13, label=name, color=colour)
    axes.set_xticks(range(len(figures)), [name.replace(" of ", "\nof ") for name in figures])
    axes.set_ylabel("ns for a row")
    axes.set_yscale("log")
    axes.grid(axis="y", alpha=0.3)
    axes.legend()
    figure.savefig(picture, dpi=100)


def main() -> None:
    """Measure, and write the page."""
    program, page, picture = sys.argv[1:]
    random = np.random.default_rng(5)
    x = 3 * np.sin(np.arange(ROWS) / 400) + random.normal(0, 0.5, ROWS)
    check(x)
    with tempfile.TemporaryDirectory() as folder:
        samples = Path(folder) / "samples.bin"
        x.tofile(samples)
        figures = {name: least_times(subjects) for name, subjects in tasks(x, Engine(program, samples)).items()}
    peers = ["C++ engine", "pandas", "polars", "numba", "scipy"]
    lines = [f"Measured on: {machine()}.", ""]
    lines += ["| task | veloperation | " + " | ".join(f"beside {peer}" for peer in peers) + " |"]
    lines.append("|---|---:|" + "---:|" * len(peers))
    for name, times in figures.items():
        own = times["veloperation"]
        cells = [f"{own / times[peer]:.2f}" if peer in times else "" for peer in peers]
        lines.append(f"| {name} | {own / ROWS * 1e9:.1f} ns | {' | '.join(cells)} |")
    begin, end = "<!-- results of make bench-python -->\n", "<!-- end of make bench-python -->\n"
    text = Path(page).read_text()
    before, rest = text.split(begin)
    table = "\n".join(lines) + "\n"
    print(table)
    Path(page).write_text(before + begin + table + end + rest.split(end)[1])
    draw(figures, picture)


if __name__ == "__main__":
    main()
