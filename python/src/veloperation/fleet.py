"""Many recordings through one plan: one task for each recording, on the processors of one machine or on a cluster."""

from __future__ import annotations

import contextlib
import dataclasses
import hashlib
import json
import os
import queue
import re
import signal
import stat
import threading
import time
import tomllib
import uuid
from collections.abc import Callable, Generator, Mapping, Sequence
from concurrent.futures import BrokenExecutor, Executor, Future
from pathlib import Path
from typing import TYPE_CHECKING, Any

from veloperation import _core
from veloperation._packages import need
from veloperation._plan import Plan
from veloperation._replay import Summary, open_result, replay_files
from veloperation._vocabulary import operations

if TYPE_CHECKING:
    from multiprocessing.connection import Connection

__all__ = ["Manifest", "Outcome", "replay"]

FilePath = str | os.PathLike[str]

_MANIFEST = "manifest.parquet"
_KEY = "veloperation.fleet"
_FORM = 1  # of the record in a result; another form counts as none
_SUBMITTED = 2000  # an executor gets at most so many tasks at a time, however many recordings there are
_ROWS_AT_ONCE = 10_000  # of the manifest
_RECORDED = ("rows", "seconds", "statuses", "warnings", "key")  # of an outcome, in the metadata of its result


@dataclasses.dataclass(frozen=True)
class Outcome:
    r"""What became of one recording: a row of the manifest.

    Examples
    --------
    >>> import pathlib, tempfile
    >>> import veloperation as vel
    >>> folder = pathlib.Path(tempfile.mkdtemp())
    >>> _ = (folder / "log.csv").write_text("v\n1\n2\n")
    >>> plan = vel.Plan()
    >>> plan["twice"] = plan.input("v", vel.Float64) * 2
    >>> outcome = vel.fleet.replay(plan, [folder / "log.csv"], folder / "results", 1).outcomes[0]
    >>> outcome.rows, outcome.statuses["twice"]
    (2, {'computed': 2, 'no value': 0, 'refused': 0, 'held': 0})
    """

    recording: tuple[str, ...]
    """Its files."""
    result: str | None = None
    """The name of its result in the folder of results; None after an error."""
    rows: int | None = None
    """How many rows were computed: those of the recording, or of the plan's raster."""
    seconds: float | None = None
    """How long the replay took."""
    statuses: dict[str, dict[str, int]] = dataclasses.field(default_factory=dict)
    """For each computed channel how many samples have which status, if they were counted."""
    warnings: tuple[str, ...] = ()
    """What there is to warn of, if they were counted."""
    error: str | None = None
    """Why there is no result."""
    key: str | None = None
    """A hash of all that the result depends on: the recording's bytes, plan, settings, options, library version."""
    reused: bool = False
    """Whether an earlier run made the result."""


@dataclasses.dataclass(frozen=True)
class Manifest:
    """What `replay` returns: one `Outcome` for each recording, in the order of the recordings.

    Examples
    --------
    >>> import tempfile
    >>> import veloperation as vel
    >>> plan = vel.Plan()
    >>> plan["twice"] = plan.input("v", vel.Float64) * 2
    >>> manifest = vel.fleet.replay(plan, ["none.csv"], tempfile.mkdtemp(), 1)
    >>> manifest
    1 recording: 0 computed, 0 unchanged, 1 failed
    >>> print(manifest.failed[0].error)
    /...none.csv: No such file or directory
    """

    folder: Path
    """The folder of the results."""
    outcomes: tuple[Outcome, ...]
    seconds: float
    """How long the run took."""

    @property
    def stale(self) -> tuple[str, ...]:
        """The results in the folder that this run does not name, as their recordings failed or were not given.

        Nothing deletes them.
        """
        named = {outcome.result for outcome in self.outcomes} | {_MANIFEST}
        return tuple(sorted(file.name for file in self.folder.glob("*.parquet") if file.name not in named))

    @property
    def failed(self) -> tuple[Outcome, ...]:
        """The recordings without a result."""
        return tuple(outcome for outcome in self.outcomes if outcome.error is not None)

    def __repr__(self) -> str:
        reused = sum(outcome.reused for outcome in self.outcomes)
        computed = len(self.outcomes) - reused - len(self.failed)
        name = "recording" if len(self.outcomes) == 1 else "recordings"
        return f"{len(self.outcomes)} {name}: {computed} computed, {reused} unchanged, {len(self.failed)} failed"


@dataclasses.dataclass(frozen=True)
class _Task:
    """All that a worker needs to replay one recording. It travels to other machines, so it consists of plain values."""

    run: str  # differs between runs, since Dask may answer equal calls with an earlier answer
    version: str
    plan: str
    plan_key: str
    status: bool
    count: bool
    verify: bool
    recording: tuple[str, ...]
    result: str


@dataclasses.dataclass(frozen=True)
class _File:
    """A file of a recording, as it was when it was read."""

    size: int
    mtime_ns: int
    sha256: str = ""

    @classmethod
    def of(cls, name: str) -> _File:
        found = os.stat(name)
        if not stat.S_ISREG(found.st_mode):
            raise _core.Error(f"{name}: this is not a regular file, so changes would go unnoticed")
        return cls(found.st_size, found.st_mtime_ns)

    def with_hash(self, name: str) -> _File:
        with open(name, "rb") as file:
            return dataclasses.replace(self, sha256=hashlib.file_digest(file, "sha256").hexdigest())

    def is_still(self, name: str) -> bool:
        with contextlib.suppress(OSError):
            found = _File.of(name)
            return (self.size, self.mtime_ns) == (found.size, found.mtime_ns)
        return False


def replay(
    plan: Plan | FilePath,
    recordings: Sequence[FilePath | Sequence[FilePath]],
    out: FilePath,
    executor: Executor | int | None = None,
    *,
    settings: Mapping[str, object] | None = None,
    status: bool = False,
    count: bool = True,
    verify: bool = False,
    progress: Callable[[int, int], object] | None = None,
) -> Manifest:
    r"""Replay each recording by itself, and write its result into a folder.

    A result appears whole or not at all. A recording that fails is a row of the manifest with an error, and the others
    go on. A second run computes what is missing, has failed or has changed.

    Parameters
    ----------
    plan : Plan, str or os.PathLike
        The plan, or its file. It may not read the system's clock.
    recordings : sequence
        The recordings. Each is a file, or a list of files that are one recording together.
    out : str or os.PathLike
        The folder of the results, which is made if it is missing.
    executor : concurrent.futures.Executor or int, optional
        What runs the tasks: ``client.get_executor()`` of Dask distributed, for example. A number stands for so many
        processes of this machine; without it there is one for each processor. A script that uses processes needs
        ``if __name__ == "__main__":``.
    settings : mapping, optional
        Values that replace those of the plan's table ``[settings]``.
    status : bool, default False
        As of `Plan.replay`.
    count : bool, default True
        Whether the manifest has the numbers of the statuses and the warnings. The replay takes longer with them.
    verify : bool, default False
        Whether to tell by its bytes (SHA-256) that a recording has not changed, rather than by its size and time.
    progress : callable, optional
        Called as ``progress(done, recordings)`` with two numbers. An exception that it raises ends the run.

    Returns
    -------
    Manifest
        What became of each recording. The same is in the file ``manifest.parquet`` of the folder.

    Raises
    ------
    Error
        If the plan is wrong or reads the system's clock, or if the list of recordings is wrong.

    Examples
    --------
    >>> import pathlib, tempfile
    >>> import veloperation as vel
    >>> folder = pathlib.Path(tempfile.mkdtemp())
    >>> _ = (folder / "monday.csv").write_text("v\n1\n2\n")
    >>> _ = (folder / "tuesday.csv").write_text("v\n3\nx\n")
    >>> plan = vel.Plan()
    >>> plan["twice"] = plan.input("v", vel.Float64) * 2
    >>> vel.fleet.replay(plan, sorted(folder.glob("*.csv")), folder / "results", 1)
    2 recordings: 1 computed, 0 unchanged, 1 failed
    """
    begin = time.perf_counter()
    folder = Path(out).absolute()
    text = _text_of(plan, settings)
    folder.mkdir(parents=True, exist_ok=True)
    tasks = _tasks(text, _recordings(recordings, folder), folder, status=status, count=count, verify=verify)
    # With `verify` the workers decide, as the files have to be read.
    outcomes = [None if verify else _made_before(task) for task in tasks]
    left = [number for number, outcome in enumerate(outcomes) if outcome is None]
    done = len(tasks) - len(left)
    try:
        if progress:
            progress(done, len(tasks))
        with contextlib.closing(_run(tasks, left, executor)) as run:
            for number, outcome in run:
                outcomes[number] = outcome
                done += 1
                if progress:
                    progress(done, len(tasks))
    finally:
        ended = tuple(
            outcome or _made_before(task) or Outcome(task.recording, error="not computed: the run was ended")
            for task, outcome in zip(tasks, outcomes, strict=True)
        )
        _write(ended, folder / _MANIFEST)
    return Manifest(folder, ended, time.perf_counter() - begin)


def _text_of(plan: Plan | FilePath, settings: Mapping[str, object] | None) -> str:
    """Write the plan with its settings in place. Comments and forms of writing are no part of it."""
    if not isinstance(plan, Plan):
        plan = Plan.load(plan, settings)
    elif settings:
        plan = Plan.parse(str(plan), settings)
    text = plan.explain()
    for block in tomllib.loads(text).get("channels", []):
        for entry in operations(block["operation"]):
            if entry.operands == len(block["operands"]) and entry.reads_clock:
                name = block.get("name") or ", ".join(block["names"])
                raise _core.Error(
                    f'channel "{name}": {entry.name} reads the clock of the machine, so its results would differ from '
                    "run to run\n  take the form of the operation that has the time as an operand"
                )
    return text


def _recordings(given: Sequence[FilePath | Sequence[FilePath]], folder: Path) -> list[tuple[str, ...]]:
    if isinstance(given, str | os.PathLike):
        raise _core.Error("recordings: expected a list, but got one name\n  write [name]")
    recordings = [
        tuple(os.path.abspath(os.fspath(file)) for file in ([entry] if isinstance(entry, str | os.PathLike) else entry))
        for entry in given
    ]
    parents: dict[str, bool] = {}
    for recording in recordings:
        if not recording:
            raise _core.Error("recordings: a list of files is empty")
        for file in recording:
            parent = os.path.dirname(file)
            if parent not in parents:
                parents[parent] = os.path.isdir(parent) and os.path.samefile(parent, folder)
            if parents[parent]:
                raise _core.Error(f"{file}: it is in the folder of the results\n  write the results to another folder")
    return recordings


def _result_name(recording: tuple[str, ...]) -> str:
    """Name a result by its recording alone, so that no other recording changes it: recordings may have equal names."""
    name = os.path.basename(recording[0]).removesuffix(".gz")
    stem = re.sub(r"[^\w.-]", "_", name.rpartition(".")[0] or name).lstrip(".-")
    short = stem.encode()[:100].decode(errors="ignore")
    digest = hashlib.sha256(b"\0".join(map(os.fsencode, recording))).hexdigest()
    return f"{short or 'recording'}-{digest[:12]}.parquet"


def _tasks(
    plan: str, recordings: list[tuple[str, ...]], folder: Path, *, status: bool, count: bool, verify: bool
) -> list[_Task]:
    run = uuid.uuid4().hex
    key = _hash([_FORM, _core.__version__, plan, status, count])
    tasks: dict[str, _Task] = {}
    for recording in recordings:
        name = _result_name(recording)
        if name in tasks:
            raise _core.Error(f"{', '.join(recording)}: this recording is listed twice")
        tasks[name] = _Task(run, _core.__version__, plan, key, status, count, verify, recording, str(folder / name))
    return list(tasks.values())


def _hash(values: object) -> str:
    return hashlib.sha256(json.dumps(values).encode()).hexdigest()


def _made_before(task: _Task, files: Sequence[_File] | None = None) -> Outcome | None:
    """Give what the result says of itself, if it is of this recording and this plan.

    The metadata of a result tell what it was made of, so the manifest is only a summary: a run that is killed before
    it writes one loses nothing.
    """
    pa, parquet = need("pyarrow"), need("pyarrow.parquet")
    try:
        metadata = parquet.read_metadata(task.result).metadata or {}
        record: dict[str, Any] = json.loads(metadata[_KEY.encode()])
        if record["plan"] != task.plan_key:
            return None
        then = [_File(**file) for file in record["files"]]
        if files is None:
            pairs = zip(then, task.recording, strict=True)
            is_same = all(file.is_still(name) for file, name in pairs)
        else:
            is_same = [file.sha256 for file in files] == [file.sha256 for file in then]
        if not is_same:
            return None
        kept = {name: record["outcome"][name] for name in _RECORDED}
        kept["warnings"] = tuple(kept["warnings"])
        return Outcome(task.recording, os.path.basename(task.result), **kept, reused=True)
    except (OSError, pa.ArrowException, ValueError, KeyError, TypeError):
        return None


def _replay_one(task: _Task, progress: Callable[[int, float | None], object] | None = None) -> Outcome:
    """Replay one recording. This runs in a worker."""
    try:
        if task.version != _core.__version__:
            raise _core.Error(
                f"this worker has veloperation {_core.__version__}, but the client has {task.version}\n"
                "  install the same version everywhere"
            )
        # Another client may have made it meanwhile.
        found = None if task.verify else _made_before(task)
        if found:
            return found
        files = [_File.of(name).with_hash(name) for name in task.recording]
        found = _made_before(task, files) if task.verify else None
        if found:
            return found
        outcome = None

        def metadata(summary: Summary) -> dict[str, str]:
            nonlocal outcome
            if not all(file.is_still(name) for name, file in zip(task.recording, files, strict=True)):
                raise _core.Error(f"{', '.join(task.recording)}: it changed while it was read\n  run again")
            outcome = Outcome(
                task.recording,
                os.path.basename(task.result),
                summary.rows,
                summary.seconds,
                summary.statuses,
                tuple(map(str, summary.warnings)),
                key=_hash([task.plan_key, [file.sha256 for file in files]]),
            )
            record = {
                "plan": task.plan_key,
                "files": [dataclasses.asdict(file) for file in files],
                "outcome": {name: getattr(outcome, name) for name in _RECORDED},
            }
            return {_KEY: json.dumps(record)}

        plan = Plan.parse(task.plan)
        replay_files(
            plan,
            task.recording,
            task.result,
            status=task.status,
            count=task.count,
            progress=progress,
            metadata=metadata,
        )
        assert outcome is not None
        return outcome
    except Exception as error:
        return Outcome(task.recording, error=_told(error))


def _told(error: BaseException) -> str:
    if isinstance(error, OSError) and error.filename is not None:
        return f"{error.filename}: {error.strerror}"
    return str(error) if isinstance(error, _core.Error) else f"{type(error).__name__}: {error}"


def _run(
    tasks: list[_Task], numbers: list[int], executor: Executor | int | None
) -> Generator[tuple[int, Outcome], None, None]:
    """Give the outcomes as they come."""
    if isinstance(executor, Executor):
        yield from _outcomes(tasks, numbers, lambda task: executor.submit(_replay_one, task), _SUBMITTED)
        return
    if not isinstance(executor, int | None):
        raise TypeError(
            f"executor: {type(executor).__name__} is not an executor\n  for a Dask client write client.get_executor()"
        )
    if executor is not None and executor < 1:
        raise _core.Error(f"executor: {executor} processes\n  there must be at least 1")
    if not numbers:
        return
    count = min(executor or len(os.sched_getaffinity(0)), len(numbers))
    processes = _Processes(count)
    try:
        # No task waits in the pool: when a process dies, the tasks that the pool has are lost.
        yield from _outcomes(tasks, numbers, processes.submit, count)
    except BaseException:
        processes.stop()
        raise
    processes.close()


def _outcomes(
    tasks: list[_Task], numbers: list[int], submit: Callable[[_Task], Future[Outcome]], most: int
) -> Generator[tuple[int, Outcome], None, None]:
    ended: queue.SimpleQueue[int] = queue.SimpleQueue()
    futures: dict[int, Future[Outcome]] = {}
    left = iter(numbers)
    try:
        while True:
            while len(futures) < most and (number := next(left, None)) is not None:
                try:
                    futures[number] = submit(tasks[number])
                except BrokenExecutor as error:
                    yield number, _died(tasks[number], error)
                    continue
                futures[number].add_done_callback(lambda _, number=number: ended.put(number))  # type: ignore[misc]
            if not futures:
                return
            number = ended.get()
            yield number, _outcome(tasks[number], futures.pop(number))
    finally:
        for future in futures.values():
            future.cancel()


def _outcome(task: _Task, future: Future[Outcome]) -> Outcome:
    if future.cancelled():
        return Outcome(task.recording, error="not computed: the executor cancelled it\n  run again")
    error = future.exception()
    if error is None:
        return future.result()
    if isinstance(error, BrokenExecutor):
        return _died(task, error)
    return Outcome(task.recording, error=_told(error))


def _died(task: _Task, error: BrokenExecutor) -> Outcome:
    return Outcome(
        task.recording, error=f"not computed: a worker died, perhaps with another recording\n  run again\n{error}"
    )


class _Processes:
    """Processes of this machine, which end when this one ends, in whatever way.

    When one of them dies, the pool of the standard library ends with all tasks that it has. Another pool goes on with
    the next task.
    """

    def __init__(self, count: int) -> None:
        self._count = count
        self._begin()

    def _begin(self) -> None:
        import multiprocessing
        from concurrent.futures import ProcessPoolExecutor

        # A forked copy would lack the threads of this process, and their locks would stay locked. The pipe tells the
        # processes when this one ends, as the system closes it then.
        context = multiprocessing.get_context("spawn")
        self._parent, self._open = context.Pipe(duplex=False)
        self._pool = ProcessPoolExecutor(
            self._count, mp_context=context, initializer=_begin_process, initargs=(self._parent,)
        )
        try:
            self._submit(os.getpid).result()
        except BaseException as error:
            self.stop()
            if not isinstance(error, BrokenExecutor):
                raise
            raise _core.Error(
                'the processes do not start\n  a script that starts them needs if __name__ == "__main__":'
            ) from error

    def submit(self, task: _Task) -> Future[Outcome]:
        try:
            return self._submit(_replay_in_process, task)
        except BrokenExecutor:
            self.stop()
            self._begin()
            return self._submit(_replay_in_process, task)

    def _submit(self, work: Callable[..., Any], *arguments: object) -> Future[Any]:
        # Ctrl-C comes to all processes, and this one answers it. Those that the pool starts here inherit the mask.
        mask = signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT})
        try:
            return self._pool.submit(work, *arguments)
        finally:
            signal.pthread_sigmask(signal.SIG_SETMASK, mask)

    def stop(self) -> None:
        """End the processes now. What they are at is not completed."""
        self._open.close()
        self.close()

    def close(self) -> None:
        """End the processes when they have done what they are at."""
        self._pool.shutdown(cancel_futures=True)
        self._open.close()
        self._parent.close()


_is_ended = threading.Event()
_at_work = threading.Lock()


def _begin_process(client: Connection) -> None:
    threading.Thread(target=_wait_for_end, args=(client,), daemon=True).start()
    # When a process dies, the pool terminates the others.
    signal.signal(signal.SIGTERM, lambda *_: threading.Thread(target=_end_process, daemon=True).start())


def _wait_for_end(client: Connection) -> None:
    import multiprocessing

    client.poll(None)  # until the other end of the pipe is closed
    _is_ended.set()
    parent = multiprocessing.parent_process()
    assert parent is not None
    parent.join()  # while it is there, the pool ends the processes
    _end_process()


def _end_process() -> None:
    _is_ended.set()
    _at_work.acquire(timeout=10)  # the replay sees the end at its next piece, and removes what it has written
    os._exit(0)


def _replay_in_process(task: _Task) -> Outcome:
    with _at_work:
        return _replay_one(task, _stop_at_end)


def _stop_at_end(rows: int, share: float | None) -> None:
    if _is_ended.is_set():
        raise _core.Error("not computed: the run was ended")


def _write(outcomes: tuple[Outcome, ...], file: Path) -> None:
    """Write the manifest."""
    pa, parquet = need("pyarrow"), need("pyarrow.parquet")
    counts = pa.struct({name: pa.int64() for name in ("computed", "no_value", "refused", "held")})
    schema = pa.schema(
        {
            "recording": pa.list_(pa.string()),
            "result": pa.string(),
            "rows": pa.int64(),
            "seconds": pa.float64(),
            "statuses": pa.map_(pa.string(), counts),
            "warnings": pa.list_(pa.string()),
            "error": pa.string(),
            "key": pa.string(),
            "reused": pa.bool_(),
        }
    )
    with open_result(os.fspath(file)) as sink, parquet.ParquetWriter(sink, schema, compression="zstd") as writer:
        for part in range(0, len(outcomes), _ROWS_AT_ONCE):
            rows = [_row(outcome, schema.names) for outcome in outcomes[part : part + _ROWS_AT_ONCE]]
            writer.write_table(pa.Table.from_pylist(rows, schema))


def _row(outcome: Outcome, names: list[str]) -> dict[str, object]:
    row = {name: getattr(outcome, name) for name in names}
    # Names of files are bytes, and may be no text.
    row["recording"] = [os.fsencode(name).decode("utf-8", "backslashreplace") for name in outcome.recording]
    if outcome.error:
        row["error"] = outcome.error.encode("utf-8", "backslashreplace").decode()
    row["statuses"] = [
        (channel, {status.replace(" ", "_"): number for status, number in numbers.items()})
        for channel, numbers in outcome.statuses.items()
    ]
    return row
