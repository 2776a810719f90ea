"""``python -m veloperation``."""

from __future__ import annotations

import argparse
import sys
from typing import NoReturn

from veloperation import _core, _fleet_command, _replay_command

_COMMANDS = {"fleet": _fleet_command, "replay": _replay_command}  # each has add_to and run


class _Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        self.exit(1, f"{self.prog}: {message}\n  {self.prog} --help lists the arguments\n")


def main(arguments: list[str] | None = None) -> int:
    """Run a command. Gives its exit code."""
    parser = _Parser("python -m veloperation")
    parser.add_argument("--version", action="version", version=f"veloperation {_core.__version__}")
    parser.add_argument("command", choices=_COMMANDS)
    parser.add_argument("arguments", nargs=argparse.REMAINDER)
    given = parser.parse_args(arguments)
    command = _Parser(f"{parser.prog} {given.command}")
    _COMMANDS[given.command].add_to(command)
    return int(_COMMANDS[given.command].run(command.parse_intermixed_args(given.arguments)))


if __name__ == "__main__":
    sys.exit(main())
