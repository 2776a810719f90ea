"""Times a fleet of recordings: one after the other, on processes of this machine, and on one and two workers of Dask.

Usage: python_fleet.py [RECORDINGS [FOLDER]]. The interpreter is that of build/python/venv. FOLDER gets the recordings,
4 MB each, and the results. All ways must give the same results, and fail on the three broken recordings alone.
"""

import hashlib
import os
import shutil
import sys
import tempfile
import time
from collections.abc import Callable
from pathlib import Path

import distributed
import pyarrow as pa
import pyarrow.csv
import pyarrow.parquet as pq
from python_plans import drive

import veloperation as vel

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


def one_by_one(plan: vel.Plan, files: list[Path], out: Path, counts: bool) -> None:
    """Replay without a fleet, as a loop in a script does."""
    out.mkdir()
    for file in files:
        try:
            pq.write_table(pa.table(plan.replay(vel.open(file), warnings=counts)), out / f"{file.stem}.parquet")
        except (vel.Error, pa.ArrowInvalid):
            (out / f"{file.stem}.parquet").unlink(missing_ok=True)


def on_dask(workers: int, work: Callable[[distributed.Client], float]) -> float:
    """Begin a cluster, with all workers ready, and give what `work` gives."""
    with (
        distributed.LocalCluster(n_workers=workers, threads_per_worker=1, dashboard_address=":0") as cluster,
        distributed.Client(cluster) as client,
    ):
        client.run(__import__, "veloperation")
        return work(client)


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
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 500
    folder = Path(tempfile.mkdtemp(dir=sys.argv[2] if len(sys.argv) > 2 else None))
    plan = vel.Plan.load(ROOT / "examples/drive/plan.toml")
    files = make_recordings(folder, count)
    hashes: set[str] = set()

    def timed(work: Callable[[], object], out: Path | None = None) -> float:
        start = time.perf_counter()
        work()
        seconds = time.perf_counter() - start
        if out:
            assert len(list(out.glob("drive*.parquet"))) == count - BROKEN
            hashes.add(hash_of(out))
            shutil.rmtree(out)
        return seconds

    def fleet(executor: object, counts: bool, out: Path = folder / "out") -> Callable[[], object]:
        def work() -> None:
            done = vel.fleet.replay(plan, files, out, executor, count=counts)  # type: ignore[arg-type]
            assert len(done.failed) == BROKEN

        return work

    out = folder / "out"
    print(f"{count} recordings of {ROWS} rows; load before: {os.getloadavg()[0]:.1f}")
    print("| statuses | a loop | one Dask worker | two Dask workers | ratio | one process | two processes | ratio |")
    print("|---|---:|---:|---:|---:|---:|---:|---:|")
    for counts in (True, False):
        figures = [timed(lambda: one_by_one(plan, files, out, counts), out)]  # noqa: B023
        for workers in (1, 2):
            figures.append(on_dask(workers, lambda c: timed(fleet(c.get_executor(), counts), out)))  # noqa: B023
        figures.append(figures[1] / figures[2])
        figures += [timed(fleet(1, counts), out), timed(fleet(2, counts), out)]
        figures.append(figures[4] / figures[5])
        cells = [f"{figure:.2f}" if place in (3, 6) else f"{figure:.1f} s" for place, figure in enumerate(figures)]
        print(f"| {'counted' if counts else 'not counted'} | {' | '.join(cells)} |", flush=True)
    fleet(2, False)()
    again, verified = (
        timed(fleet(2, False)),
        timed(lambda: vel.fleet.replay(plan, files, out, 2, count=False, verify=True)),
    )
    print(f"a second run: {again:.1f} s, with verify: {verified:.1f} s; load after: {os.getloadavg()[0]:.1f}")
    assert len(hashes) == 1
    shutil.rmtree(folder)


if __name__ == "__main__":
    main()
