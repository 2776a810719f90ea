"""Times plans from Python beside the engine in C++, on the same columns, and prints a table of ratios.

Usage: python_plans.py BUILD [ROWS]. The interpreter is that of build/python/venv; BUILD has the target replay_columns.
"""

import subprocess
import sys
import tempfile
import time
from collections.abc import Callable
from functools import partial
from pathlib import Path

import numpy as np
import pyarrow as pa

import veloperation as vel

ROOT = Path(__file__).parents[1]
TURNS = 5
ARITHMETIC = """
[[inputs]]
name = "a"
type = "Float64"
[[inputs]]
name = "b"
type = "Float64"
[compute]
x = "a + b * 2"
y = "(a - b) / (a + b)"
"""


def drive(rows: int) -> dict[str, np.ndarray]:
    """Make the columns of a drive that never ends."""
    random = np.random.default_rng(1)
    seconds = np.arange(rows) * 0.1
    speed = 60 + 50 * np.sin(seconds / 40)
    speed[speed < 15] = 0
    return {
        "time": seconds,
        "speed_sensor": np.where(random.random(rows) < 0.01, np.nan, speed + random.normal(size=rows)),
        "engine_speed": (800 + speed * 34).astype(np.uint16),
        "wheel_count": (speed * 100).astype(np.uint16),
        "status": random.integers(0, 8, rows).astype(np.uint16),
    }


def arithmetic(rows: int) -> dict[str, np.ndarray]:
    """Make two columns of random numbers."""
    random = np.random.default_rng(1)
    return {"a": random.normal(size=rows), "b": random.normal(size=rows)}


def seconds_of(work: Callable[[], object]) -> float:
    """Time one call."""
    start = time.process_time()
    work()
    return time.process_time() - start


def stream(plan: vel.Plan, table: pa.Table) -> None:
    """Read a result without keeping it."""
    for _ in pa.RecordBatchReader.from_stream(plan.replay(table)):
        pass


def read(plan: vel.Plan, table: pa.Table) -> None:
    """Keep a result."""
    plan.replay(table).read()


def main() -> None:
    """Time all plans in turns, so that what else the machine does strikes all alike."""
    program = Path(sys.argv[1]) / "benchmarks/replay_columns"
    rows = int(sys.argv[2]) if len(sys.argv) > 2 else 10_000_000
    print(f"{rows} rows, least of {TURNS} turns; ns a row, and Python by C++\n")
    print("| plan | C++ | Python, streamed | ratio | C++, stored | Python, read() | ratio |")
    print("|---|---:|---:|---:|---:|---:|---:|")
    plans = [
        ("the drive", (ROOT / "examples/drive/plan.toml").read_text(), drive(rows)),
        ("arithmetic", ARITHMETIC, arithmetic(rows)),
    ]
    for name, text, columns in plans:
        with tempfile.TemporaryDirectory() as folder:
            plan, table = vel.Plan.parse(text), pa.table(columns)
            Path(folder, "plan.toml").write_text(text)
            with Path(folder, "columns").open("wb") as file:
                for column in columns.values():
                    column.tofile(file)
            command = [program, f"{folder}/plan.toml", f"{folder}/columns", str(rows), "1"]
            times: list[list[float]] = []
            for _ in range(TURNS):
                alone = subprocess.run(command, capture_output=True, text=True, check=True).stdout.split()
                python = [seconds_of(partial(stream, plan, table)), seconds_of(partial(read, plan, table))]
                times.append([float(alone[0]), python[0], float(alone[1]), python[1]])
        least = np.min(times, axis=0)
        cells = [f"{value / rows * 1e9:.1f}" for value in least]
        print(
            f"| {name} | {cells[0]} | {cells[1]} | {least[1] / least[0]:.2f} "
            f"| {cells[2]} | {cells[3]} | {least[3] / least[2]:.2f} |"
        )


if __name__ == "__main__":
    main()
