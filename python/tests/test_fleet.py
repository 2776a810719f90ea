"""Fleets: wherever the tasks run, and whatever dies meanwhile, the results are the same, whole, and made once."""

import dataclasses
import hashlib
import multiprocessing
import os
import resource
import shutil
import signal
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from concurrent.futures import Executor, ThreadPoolExecutor
from pathlib import Path
from typing import Any

import distributed
import numpy as np
import pyarrow as pa
import pyarrow.parquet as pq
import pytest

import veloperation as vel

ROOT = Path(__file__).parents[2]
LONG_ROWS = 150_000
PLAN = """
[settings]
window = 50
[[inputs]]
name = "v"
type = "Float64"
[compute]
highest = "Max(v, window = window)"
smooth = "FilterButterworthLowPass(v, order = 4, sample_rate = 10, corner1 = 1)"
"""


def bits(table: pa.Table) -> str:
    """Hash all values, and where there are none."""
    parts = [array.to_numpy() for column in table.columns for array in (column.is_null(), column.fill_null(0))]
    return hashlib.sha256(b"".join(part.tobytes() for part in parts)).hexdigest()


def results(out: Path) -> dict[str, str]:
    return {file.name: bits(pq.read_table(file)) for file in sorted(out.glob("*-*.parquet"))}


def manifest(out: Path) -> list[dict[str, Any]]:
    rows: list[dict[str, Any]] = pq.read_table(out / "manifest.parquet").to_pylist()
    return rows


def write(file: Path, first: float, rows: int = 100) -> Path:
    file.parent.mkdir(parents=True, exist_ok=True)
    values = np.random.default_rng(rows).normal(size=rows) + first
    np.savetxt(file, values, "%.6f", header="v", comments="")
    return file


@pytest.fixture(scope="module")
def cluster() -> Iterator[distributed.LocalCluster]:
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=":0") as made:  # type: ignore[no-untyped-call]
        yield made


@pytest.fixture(scope="module")
def client(cluster: distributed.LocalCluster) -> Iterator[distributed.Client]:
    with distributed.Client(cluster) as made:  # type: ignore[no-untyped-call]
        yield made


def executor_of(client: distributed.Client) -> Executor:
    made: Executor = client.get_executor()  # type: ignore[no-untyped-call]
    return made


def test_all_executors_give_the_bits_of_one_replay_after_the_other(tmp_path: Path, client: distributed.Client) -> None:
    plan = vel.Plan.load(ROOT / "examples/drive/plan.toml")
    header, *lines = (ROOT / "build/release/examples/drive-result/recording.csv").read_text().splitlines(keepends=True)
    files = []
    for number in range(6):
        files.append(tmp_path / f"drive{number}.csv")
        files[-1].write_text(header + "".join(lines[number * 1500 : (number + 1) * 1500]))
    broken = tmp_path / "broken.csv"
    broken.write_text(header + "".join(lines[:5000]) + "1,2,3\n")
    recordings: list[Path | list[Path]] = [*files[:4], files[4:], broken, tmp_path / "none.csv"]
    expected = [
        bits(pa.table(plan.replay(vel.open(*(name if isinstance(name, list) else [name]))))) for name in recordings[:5]
    ]

    seen = []
    executors: list[Executor | int] = [2, ThreadPoolExecutor(2), executor_of(client)]
    for number, executor in enumerate(executors):
        out = tmp_path / f"out{number}"
        done = vel.fleet.replay(plan, recordings, out, executor)
        assert repr(done) == "7 recordings: 5 computed, 0 unchanged, 2 failed"
        assert [bits(pq.read_table(out / str(outcome.result))) for outcome in done.outcomes[:5]] == expected
        rows = manifest(out)
        assert [row["rows"] for row in rows] == [1500] * 4 + [3000] + [None] * 2
        assert all(0 < row["seconds"] < 60 for row in rows[:5])
        assert "broken.csv:5002" in rows[5]["error"]
        assert "none.csv" in rows[6]["error"]
        assert sorted(os.listdir(out)) == sorted([*(row["result"] for row in rows[:5]), "manifest.parquet"])
        seen.append([{**row, "seconds": None} for row in rows])
    assert seen[1:] == seen[:-1]


def test_a_second_run_makes_what_is_missing_or_changed(tmp_path: Path) -> None:
    files = [write(tmp_path / f"{number}.csv", number) for number in range(4)]
    files[3].write_text("v\nx\n")
    out = tmp_path / "out"

    def computed(plan: str | Path = PLAN, **options: Any) -> str:
        made = vel.Plan.parse(plan) if isinstance(plan, str) else plan
        with ThreadPoolExecutor(2) as executor:
            done = vel.fleet.replay(made, files, out, executor, **options)
        assert [row["error"] is None for row in manifest(out)] == [outcome.error is None for outcome in done.outcomes]
        assert all(outcome.seconds for outcome in done.outcomes if not outcome.error)
        return "".join("=" if one.reused else "!" if one.error else "+" for one in done.outcomes)

    assert computed() == "+++!"
    first = results(out)
    assert computed() == computed(verify=True) == computed("# a remark\n" + PLAN) == "===!"
    date = files[0].stat()
    files[0].write_text(files[0].read_text().replace("1", "2"))
    os.utime(files[0], ns=(date.st_atime_ns, date.st_mtime_ns))
    assert computed() == "===!"
    assert computed(verify=True) == "+==!"
    os.utime(files[1])
    assert computed(verify=True) == "===!"
    assert computed() == "=+=!"
    assert [name[0] for name, hashed in results(out).items() if hashed != first[name]] == ["0"]

    # The manifest is a summary alone; results that are missing, cut or not ours are made again.
    (out / "manifest.parquet").unlink()
    found = {name[0]: out / name for name in results(out)}
    found["0"].unlink()
    os.truncate(found["1"], found["1"].stat().st_size - 5)
    pq.write_table(pa.table({"v": [1]}), found["2"])
    write(files[3], 3)
    assert computed() == "++++"

    assert computed(settings={"window": 10}) == "++++"
    assert computed(settings={"window": 10}) == "===="
    assert computed(PLAN.replace("order = 4", "order = 2")) == "++++"
    assert computed() == computed(status=True) == "++++"
    assert manifest(out)[0]["statuses"]
    files[3].unlink()
    assert computed() == "+++!"
    with ThreadPoolExecutor(2) as executor:
        done = vel.fleet.replay(vel.Plan.parse(PLAN), files[1:], out, executor)
    assert [name[0] for name in done.stale] == ["0", "3"]


def test_names_of_results_do_not_depend_on_other_recordings(tmp_path: Path) -> None:
    odd = "día <1> #\n" + "long" * 55 + ".csv"
    files = [write(tmp_path / name, 1) for name in ("a/log.csv", "b/log.csv", f"a/{odd}", "a/-.csv", "a/.csv")]
    plan = vel.Plan.parse(PLAN)
    with ThreadPoolExecutor(2) as executor:
        done = vel.fleet.replay(plan, files, tmp_path / "out", executor)
        again = vel.fleet.replay(plan, files[:0:-1], tmp_path / "out", executor)
    assert not done.failed
    names = [str(outcome.result) for outcome in done.outcomes]
    assert len(set(names)) == len(results(tmp_path / "out")) == len(files)
    assert [outcome.result for outcome in again.outcomes] == names[:0:-1]
    assert all(outcome.reused for outcome in again.outcomes)
    assert [name[:4] for name in names[:2]] == ["log-", "log-"]


class Older(ThreadPoolExecutor):
    """Stands in for workers with another version."""

    def submit(self, work: Any, task: Any) -> Any:  # type: ignore[override]
        return super().submit(work, dataclasses.replace(task, version="0.9"))


def test_a_recording_that_changes_while_it_is_read_fails(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    file = write(tmp_path / "v.csv", 1)
    real = vel.fleet.replay_files  # type: ignore[attr-defined]

    def append(plan: vel.Plan, recording: tuple[str, ...], *rest: Any, **options: Any) -> Any:
        with file.open("a") as log:
            log.write("1\n")
        return real(plan, recording, *rest, **options)

    monkeypatch.setattr(vel.fleet, "replay_files", append)
    with ThreadPoolExecutor(1) as executor:
        (outcome,) = vel.fleet.replay(vel.Plan.parse(PLAN), [file], tmp_path / "out", executor).outcomes
    assert "changed while it was read" in str(outcome.error)
    assert os.listdir(tmp_path / "out") == ["manifest.parquet"]


def test_what_cannot_be_right_is_refused_before_anything_is_computed(tmp_path: Path) -> None:
    file = write(tmp_path / "v.csv", 1)
    plan = vel.Plan.parse(PLAN)
    clock = vel.Plan.parse(PLAN + 'late = "MonoFlop(v > 3, duration = 2)"')
    for given, recordings, message in (
        (clock, [file], 'channel "late.*": MonoFlop reads the clock'),
        (plan, [file, tmp_path / "x/../v.csv"], "listed twice"),
        (plan, str(file), r"write \[name\]"),
        (plan, [[]], "list of files is empty"),
        (plan, [tmp_path / "out/manifest.parquet"], "in the folder of the results"),
        (tmp_path / "none.toml", [file], "cannot be read"),
    ):
        (tmp_path / "out").mkdir(exist_ok=True)
        with pytest.raises(vel.Error, match=message):
            vel.fleet.replay(given, recordings, tmp_path / "out")
    with pytest.raises(TypeError, match="get_executor"):
        vel.fleet.replay(plan, [file], tmp_path / "out", object())  # type: ignore[arg-type]
    assert os.listdir(tmp_path / "out") == ["manifest.parquet"]
    os.mkfifo(tmp_path / "pipe.csv")
    clock_free = vel.Plan.parse(PLAN + 'late = "MonoFlop(v, v, duration = 2)"')
    with Older(1) as executor:
        assert "this worker has" in str(vel.fleet.replay(clock_free, [file], tmp_path / "out", executor).failed)
    assert not vel.fleet.replay(clock_free, [file], tmp_path / "out", 1).failed
    assert "not a regular file" in str(vel.fleet.replay(plan, [tmp_path / "pipe.csv"], tmp_path / "out", 1).failed)


@pytest.fixture(scope="module")
def long(tmp_path_factory: pytest.TempPathFactory) -> tuple[Path, list[Path], dict[str, str]]:
    """Make recordings that take some seconds together, and what they give."""
    folder = tmp_path_factory.mktemp("long")
    plan = folder / "plan.toml"
    plan.write_text(PLAN)
    files = [write(folder / f"{number:02}.csv", number, LONG_ROWS) for number in range(24)]
    with ThreadPoolExecutor(2) as executor:
        done = vel.fleet.replay(plan, files, folder / "out", executor)
    assert not done.failed
    return plan, files, results(folder / "out")


def kill_once(pid_of: Callable[[], int]) -> Callable[[int, int], None]:
    killed: list[int] = []

    def progress(done: int, recordings: int) -> None:
        if done >= 3 and not killed:
            killed.append(pid_of())
            os.kill(killed[0], signal.SIGKILL)

    return progress


def test_a_killed_process_fails_what_is_in_work_and_nothing_else(
    tmp_path: Path, long: tuple[Path, list[Path], dict[str, str]]
) -> None:
    plan, files, expected = long
    others = multiprocessing.active_children()
    progress = kill_once(
        lambda: next(int(one.pid or 0) for one in multiprocessing.active_children() if one not in others)
    )
    done = vel.fleet.replay(plan, files, tmp_path, 2, progress=progress)
    assert 1 <= len(done.failed) <= 2
    assert all("a worker died" in str(outcome.error) for outcome in done.failed)
    assert len([name for name in os.listdir(tmp_path) if name.endswith(".part")]) <= 1  # of the killed one
    again = vel.fleet.replay(plan, files, tmp_path, 2)
    assert not again.failed
    # A process may die between its result and its answer.
    assert sum(not outcome.reused for outcome in again.outcomes) <= len(done.failed)
    assert results(tmp_path) == expected
    assert {one.pid for one in multiprocessing.active_children()} <= {one.pid for one in others}


def test_killed_workers_of_dask(
    tmp_path: Path,
    cluster: distributed.LocalCluster,
    client: distributed.Client,
    long: tuple[Path, list[Path], dict[str, str]],
) -> None:
    plan, files, expected = long
    pids = client.run(os.getpid)
    progress = kill_once(lambda: int(next(iter(pids.values()))))
    assert not vel.fleet.replay(plan, files, tmp_path / "out", executor_of(client), progress=progress).failed
    assert results(tmp_path / "out") == expected

    def poison() -> None:
        fleet: Any = vel.fleet

        def die(plan: object, recording: tuple[str, ...], *rest: object, **options: object) -> None:
            if recording[0].endswith("07.csv"):
                os.kill(os.getpid(), signal.SIGKILL)
            real(plan, recording, *rest, **options)

        real = fleet.replay_files
        fleet.replay_files = die

    client.wait_for_workers(2)
    client.run(poison)
    cluster.scheduler.allowed_failures = 0  # type: ignore[union-attr]
    shutil.rmtree(tmp_path / "out")
    done = vel.fleet.replay(plan, files, tmp_path / "out", executor_of(client))
    assert "KilledWorker" in str(done.outcomes[7].error)
    assert len(done.failed) <= 2
    assert not vel.fleet.replay(plan, files, tmp_path / "out", 2).failed
    assert results(tmp_path / "out") == expected


def begin(plan: Path, out: Path, files: list[Path], *options: str, most: int = 0) -> subprocess.Popen[str]:
    (out.parent / "files").write_text("\n".join(map(str, files)))
    command = [sys.executable, "-m", "veloperation", "fleet", str(plan), str(out), f"@{out.parent}/files", *options]

    def prepare() -> None:
        signal.signal(signal.SIGINT, signal.SIG_DFL)  # a shell's background ignores it
        if most:
            resource.setrlimit(resource.RLIMIT_FSIZE, (most, most))

    return subprocess.Popen(command, stderr=subprocess.PIPE, text=True, preexec_fn=prepare, start_new_session=True)


def are_gone(group: int) -> bool:
    try:
        os.killpg(group, 0)
    except ProcessLookupError:
        return True
    return False


@pytest.mark.parametrize("way", [signal.SIGKILL, signal.SIGINT])
def test_a_client_that_ends_early_leaves_whole_results_that_count(
    way: signal.Signals, tmp_path: Path, long: tuple[Path, list[Path], dict[str, str]]
) -> None:
    plan, files, expected = long
    out = tmp_path / "out"
    client = begin(plan, out, files)
    while len(list(out.glob("*-*.parquet"))) < 3:
        assert client.poll() is None
        time.sleep(0.002)
    if way == signal.SIGINT:
        os.killpg(client.pid, way)  # as the terminal does
    else:
        client.kill()
    begun = time.monotonic()
    assert "Traceback" not in client.communicate()[1]
    while not are_gone(client.pid):
        assert time.monotonic() - begun < 10
        time.sleep(0.01)
    assert client.returncode == (130 if way == signal.SIGINT else -9)
    made = results(out)
    assert 3 <= len(made) < 24
    assert made.items() <= expected.items()
    assert [name for name in os.listdir(out) if name.endswith(".part")] == []
    if way == signal.SIGINT:
        ended = [row["result"] for row in manifest(out) if row["error"] != "not computed: the run was ended"]
        assert sorted(ended) == sorted(made)
    done = vel.fleet.replay(plan, files, out, 2)
    assert repr(done) == f"24 recordings: {24 - len(made)} computed, {len(made)} unchanged, 0 failed"
    assert results(out) == expected


def test_two_clients_on_one_folder_make_what_one_makes(
    tmp_path: Path, long: tuple[Path, list[Path], dict[str, str]]
) -> None:
    plan, files, expected = long
    clients = [begin(plan, tmp_path / "out", order, "--processes", "1") for order in (files, files[::-1])]
    assert [(client.communicate()[1][:13], client.returncode) for client in clients] == [("24 recordings", 0)] * 2
    assert results(tmp_path / "out") == expected
    assert len(os.listdir(tmp_path / "out")) == 25
    rows = manifest(tmp_path / "out")
    assert sorted(row["result"] for row in rows) == sorted(expected)
    assert all(row["rows"] == LONG_ROWS and row["seconds"] > 0 and row["key"] for row in rows)


def test_a_full_disk_fails_the_results_that_have_no_room(
    tmp_path: Path, long: tuple[Path, list[Path], dict[str, str]]
) -> None:
    plan, files, expected = long
    small = write(tmp_path / "small.csv", 1)
    client = begin(plan, tmp_path / "out", [*files[:3], small], most=50_000)
    messages = client.communicate()[1]
    assert client.returncode == 1
    assert messages.count("File too large") == 3
    assert [name[:6] for name in sorted(os.listdir(tmp_path / "out"))] == ["manife", "small-"]
    assert len(vel.fleet.replay(plan, files[:3], tmp_path / "out", 1).stale) == 1
    assert results(tmp_path / "out").items() >= {name: expected[name] for name in sorted(expected)[:3]}.items()
