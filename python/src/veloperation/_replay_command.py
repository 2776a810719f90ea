"""Replays one recording on the command line: the command ``replay``."""

from __future__ import annotations

import argparse
import contextlib
import signal
import sys
import time
from typing import Any, Self

from veloperation import _core
from veloperation._plan import Plan
from veloperation._replay import replay_files
from veloperation._result import Warning

DESCRIPTION = """Computes a plan over one recording in MDF 4, Parquet, Arrow IPC or CSV, and writes the result as
Parquet, Arrow IPC or CSV."""
_FAILED = 1
_INTERRUPTED = 130  # as shells say it: 128 and the number of SIGINT
_BAR = 50


def add_to(parser: argparse.ArgumentParser) -> None:
    """Add the arguments of the command."""
    parser.description = DESCRIPTION
    parser.add_argument("plan", metavar="PLAN", help="TOML: inputs, computed channels, parameters")
    parser.add_argument(
        "recordings",
        metavar="RECORDING",
        nargs="*",
        default=["-"],
        help="the files of one recording; - (default): CSV from standard input",
    )
    parser.add_argument(
        "-o",
        "--output",
        metavar="RESULT",
        default="-",
        help="a file whose name ends with .parquet, .arrow or .csv; - (default): CSV to standard output",
    )
    parser.add_argument(
        "--set", action="append", default=[], metavar="NAME=VALUE", help="another value for a setting of the plan"
    )
    parser.add_argument("--status", action="store_true", help="adds a column of statuses for each computed channel")
    parser.add_argument("-q", "--quiet", action="store_true", help="no summary")
    parser.add_argument("--strict", action="store_true", help="ends with 1 if there are warnings; the result is kept")


class _Signals:
    """Signals end the replay as the end of the recording does, so that the result has all whole rows."""

    def __init__(self) -> None:
        self.came = False
        self._before: dict[int, Any] = {}

    def __enter__(self) -> Self:
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            if number != signal.SIGHUP or signal.getsignal(number) is not signal.SIG_IGN:  # as nohup wants it
                self._before[number] = signal.signal(number, self._take)
        return self

    def __exit__(self, *_: object) -> None:
        for number, handler in self._before.items():
            signal.signal(number, handler)

    def _take(self, *_: object) -> None:
        self.came = True


class _Progress:
    """A bar on a terminal."""

    def __init__(self) -> None:
        self._is_shown = sys.stderr.isatty()
        self._next = 0.0

    def __call__(self, _: int, share: float | None) -> None:
        now = time.monotonic()
        if not self._is_shown or share is None or now < self._next:
            return
        self._next = now + 0.1
        filled = int(share * _BAR)
        sys.stderr.write(f"\r[{'#' * filled}{'.' * (_BAR - filled)}] {int(share * 100):3} %")
        sys.stderr.flush()

    def clear(self) -> None:
        if self._is_shown:
            sys.stderr.write("\r\x1b[K")


def settings_of(texts: list[str]) -> dict[str, str]:
    """Read the values of ``--set``."""
    settings = {}
    for text in texts:
        name, equals, value = text.partition("=")
        if not name or not equals:
            raise _core.Error(f'--set: "{text}" is not a setting\n  write, for example: --set corner=8')
        settings[name] = value
    return settings


def _show(warning: Warning) -> None:
    channel = f'channel "{warning.channel}": ' if warning.channel else ""
    sys.stderr.write(f"warning: {channel}{warning._told}\n")


def _replay(options: argparse.Namespace) -> int:
    if options.recordings.count("-") > 1:
        raise _core.Error("python -m veloperation: standard input is named twice\n  name it once")
    if not options.output:
        raise _core.Error("--output: the name is empty\n  name a file, or - for standard output")
    plan = Plan.load(options.plan, settings_of(options.set))
    progress = _Progress()
    looks = not options.quiet or options.strict
    with _Signals() as signals:
        try:
            # Packages that read files may print: that is no part of a result on standard output.
            with contextlib.redirect_stdout(sys.stderr):
                summary = replay_files(
                    plan,
                    options.recordings,
                    options.output,
                    status=options.status,
                    count=looks,
                    progress=progress,
                    is_stopped=lambda: signals.came,
                )
        finally:
            progress.clear()
    if not options.quiet:
        sys.stderr.write(summary.text)
    for warning in summary.warnings if looks else []:
        _show(warning)
    if signals.came:
        return _INTERRUPTED
    return _FAILED if options.strict and summary.warnings else 0


def run(options: argparse.Namespace) -> int:
    """Run the command. Gives its exit code: 0 done, 1 something failed, 130 ended by a signal."""
    try:
        return _replay(options)
    except _core.Error as error:
        sys.stderr.write(f"{error}\n")
    except MemoryError:
        sys.stderr.write("python -m veloperation: out of memory\n  choose shorter windows, or fewer channels\n")
    except KeyboardInterrupt:
        return _INTERRUPTED
    return _FAILED
