"""``python -m veloperation fleet``."""

from __future__ import annotations

import argparse
import contextlib
import os
import sys
import time
from collections.abc import Iterator
from concurrent.futures import Executor

from veloperation import _core, fleet
from veloperation._replay_command import settings_of

DESCRIPTION = """Replays each recording by itself, and writes its result into a folder. A second run computes what is
missing, has failed or has changed. The folder's manifest.parquet says what became of each recording."""


def add_to(parser: argparse.ArgumentParser) -> None:
    """Add the arguments of the command."""
    parser.description = DESCRIPTION
    parser.fromfile_prefix_chars = "@"
    parser.add_argument("plan", metavar="PLAN", help="the plan, a file in TOML")
    parser.add_argument("out", metavar="OUT", help="the folder of the results")
    parser.add_argument(
        "recordings", metavar="RECORDING", nargs="+", help="a file; @FILE: all that FILE lists, one per line"
    )
    where = parser.add_mutually_exclusive_group()
    where.add_argument(
        "--processes", type=int, metavar="N", help="so many on this machine, instead of one per processor"
    )
    where.add_argument("--scheduler", metavar="ADDRESS", help="of a Dask cluster: tcp://host:8786")
    parser.add_argument(
        "--set",
        action="append",
        default=[],
        metavar="NAME=VALUE",
        help="replace a value of the plan's table [settings]",
    )
    parser.add_argument("--status", action="store_true", help="write and count what became of each sample")
    parser.add_argument("--no-count", action="store_true", help="do not count statuses and warnings, which is faster")
    parser.add_argument("--verify", action="store_true", help="compare recordings by their bytes, not by size and time")
    parser.add_argument("-q", "--quiet", action="store_true", help="no progress and no summary")


def run(arguments: argparse.Namespace) -> int:
    """Run the command. Gives its exit code: 0 done, 1 something failed, 130 ended by Ctrl-C."""
    shown = _Progress() if sys.stderr.isatty() and not arguments.quiet else None
    try:
        with _executor(arguments) as executor:
            manifest = fleet.replay(
                arguments.plan,
                arguments.recordings,
                arguments.out,
                executor,
                settings=settings_of(arguments.set),
                status=arguments.status,
                count=not arguments.no_count,
                verify=arguments.verify,
                progress=shown,
            )
    except KeyboardInterrupt:
        print(
            f"\nended; run again to go on, and see {os.path.join(arguments.out, 'manifest.parquet')}", file=sys.stderr
        )
        return 130
    except (_core.Error, OSError, ImportError) as error:
        print(error, file=sys.stderr)
        return 1
    for outcome in manifest.failed:
        what, names = str(outcome.error), ", ".join(outcome.recording)
        print(what if names in what else f"{names}: {what}", file=sys.stderr)
    if not arguments.quiet:
        print(f"{manifest}, {manifest.seconds:.1f} s", file=sys.stderr)
        if manifest.stale:
            print(f"{len(manifest.stale)} results in {arguments.out} are of no recording of this run", file=sys.stderr)
    return 1 if manifest.failed else 0


@contextlib.contextmanager
def _executor(arguments: argparse.Namespace) -> Iterator[Executor | int | None]:
    if arguments.scheduler is None:
        yield arguments.processes
        return
    try:
        from distributed import Client
    except ImportError as error:
        raise ImportError("a Dask cluster needs more packages: pip install 'veloperation[dask]'") from error
    with Client(arguments.scheduler) as client:  # type: ignore[no-untyped-call]
        yield client.get_executor()


class _Progress:
    """A line on the terminal, ten times a second at most."""

    def __init__(self) -> None:
        self._next = 0.0

    def __call__(self, done: int, recordings: int) -> None:
        now = time.monotonic()
        if now < self._next and done < recordings:
            return
        self._next = now + 0.1
        print(
            f"\r{done} of {recordings} recordings", end="\n" if done == recordings else "", file=sys.stderr, flush=True
        )
