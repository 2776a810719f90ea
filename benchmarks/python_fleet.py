"""Times a fleet of recordings: one after the other, on processes of this machine, and on one and two workers of Dask.

Usage: python_fleet.py [RECORDINGS [FOLDER]]. The interpreter is that of build/python/venv. FOLDER gets the recordings,
4 MB each, and the results. All ways must give the same results, and fail on the three broken recordings alone.
"""

import contextlib
import hashlib
import os
import shutil
import sys
import tempfile
import time
from collections.abc import Callable, Iterator
from concurrent.futures import Executor
from pathlib import Path

import distributed
import pyarrow as pa
import pyarrow.csv
import pyarrow.parquet as pq
from python_plans import drive

import veloperation as vel
from veloperation._replay import replay_files

ROOT = Path(__file__).parents[1]
ROWS = 100_000
BROKEN = 3


def make_recordings(folder: Path, count: int) -> list[Path]:
    """Write equal recordings, and a cell that is no number into some of them."""
    first = folder / "drive000.csv"
    pa.csv.write_csv(pa.table(drive(ROWS)), first)
    files = [first]
    for number in range(1, count):
        files.append(folder / f"drive{number:03}.csv")
        shutil.copyfile(first, files[-1])
    for number in range(BROKEN):
        with files[(number + 1) * count // (BROKEN + 1)].open("a") as file:
            file.write("1,2,x,4,5\n")
    return files


def one_by_one(plan: vel.Plan, files: list[Path], out: Path, *, count: bool) -> None:
    """Replay without a fleet, as a loop in a script does."""
    out.mkdir()
    for file in files:
        try:
            replay_files(plan, [file], out / f"{file.stem}.parquet", count=count)
        except vel.Error as error:
            if "is not a number" not in str(error):
                raise


@contextlib.contextmanager
def dask(workers: int) -> Iterator[Executor]:
    """Begin a cluster whose workers are ready."""
    with (
        distributed.LocalCluster(n_workers=workers, threads_per_worker=1, dashboard_address=":0") as cluster,
        distributed.Client(cluster) as client,
    ):
        client.run(__import__, "veloperation._replay")
        yield client.get_executor()


def processor_seconds() -> float:
    """Count this process and its children that have ended."""
    now = os.times()
    return now.user + now.system + now.children_user + now.children_system


def hash_of(out: Path) -> str:
    """Hash the values of all results."""
    made = hashlib.sha256()
    for file in sorted(out.glob("drive*.parquet")):
        for column in pq.read_table(file).columns:
            for array in (column.is_null(), column.fill_null(0)):
                made.update(array.to_numpy())
    return made.hexdigest()


def main() -> None:
    """Run all ways in turn, and print a table."""
    count_of_recordings = int(sys.argv[1]) if len(sys.argv) > 1 else 500
    folder = Path(tempfile.mkdtemp(dir=sys.argv[2] if len(sys.argv) > 2 else None))
    plan = vel.Plan.load(ROOT / "examples/drive/plan.toml")
    files = make_recordings(folder, count_of_recordings)
    out = folder / "out"
    hashes: set[str] = set()

    def timed(executor: Executor | int | None, **options: bool) -> float:
        start = time.perf_counter()
        if executor is None:
            one_by_one(plan, files, out, **options)
        else:
            assert len(vel.fleet.replay(plan, files, out, executor, **options).failed) == BROKEN
        return time.perf_counter() - start

    def show(
        name: str, begin: Callable[[], contextlib.AbstractContextManager[Executor | int | None]], count: bool
    ) -> None:
        before = processor_seconds()
        with begin() as executor:
            seconds = timed(executor, count=count)
        used = processor_seconds() - before
        assert len(list(out.glob("drive*.parquet"))) == count_of_recordings - BROKEN
        hashes.add(hash_of(out))
        shutil.rmtree(out)
        statuses = "counted" if count else "not counted"
        print(f"| {name} | {statuses} | {seconds:.1f} s | {used:.1f} s | {os.getloadavg()[0]:.1f} |", flush=True)

    print(f"{count_of_recordings} recordings of {ROWS} rows\n")
    print("| | statuses | time | processor time | load |\n|---|---|---:|---:|---:|")
    show("a loop", contextlib.nullcontext, True)
    show("one Dask worker", lambda: dask(1), True)
    show("two Dask workers", lambda: dask(2), True)
    show("one process", lambda: contextlib.nullcontext(1), True)
    show("two processes", lambda: contextlib.nullcontext(2), True)
    show("a loop", contextlib.nullcontext, False)
    show("two Dask workers", lambda: dask(2), False)
    timed(2, count=False)
    again, verified = timed(2, count=False), timed(2, count=False, verify=True)
    print(f"\nA second run takes {again:.1f} s, with verify {verified:.1f} s.")
    assert len(hashes) == 1
    shutil.rmtree(folder)


if __name__ == "__main__":
    main()
