"""``python -m veloperation``."""

import argparse
import sys

from veloperation import _fleet_command


def main() -> int:
    """Run a command."""
    parser = argparse.ArgumentParser("python -m veloperation")
    commands = parser.add_subparsers(required=True, metavar="COMMAND")
    command = commands.add_parser("fleet", help="replay many recordings")
    _fleet_command.add_to(command)
    command.set_defaults(run=_fleet_command.run)
    arguments = parser.parse_args()
    return int(arguments.run(arguments))


if __name__ == "__main__":
    sys.exit(main())
