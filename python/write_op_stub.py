"""Writes op.pyi, what type checkers read of the operations, from the vocabulary and the reference.

Called by the build: write_op_stub.py OUTPUT. The package must be importable.
"""

import sys
from pathlib import Path

from veloperation import _reference
from veloperation._vocabulary import OperationInfo, ParameterInfo, operations

TIMES = {"s", "ms", "samples"}


def type_of(parameter: ParameterInfo) -> str:
    """Say what a parameter may be."""
    if parameter.unit.startswith("[["):
        return "ArrayLike"
    if parameter.unit == "true or false":
        return "bool"
    return "float | str | timedelta" if parameter.unit in TIMES else "float"


def function(entry: OperationInfo, *, is_overload: bool) -> str:
    """Declare an operation."""
    names = _reference.channel_names(entry)
    arguments = [f"{name}: Operand" for name in names[entry.results :]]
    arguments += ["/"] if entry.operands else []
    arguments += ["*"] if entry.parameters else []
    for parameter in entry.parameters:
        arguments.append(f"{parameter.name}: {type_of(parameter)}{'' if parameter.default == 'required' else ' = ...'}")
    result = "Channel" if entry.results == 1 else f"tuple[{', '.join(['Channel'] * entry.results)}]"
    overload = "@overload\n" if is_overload else ""
    return f"{overload}def {entry.name}({', '.join(arguments)}) -> {result}: ...\n"


def main() -> None:
    """Write the file."""
    text = (
        '"""The operations as functions of channels of a plan."""\n\n'
        "from datetime import timedelta\nfrom typing import overload\n\n"
        "from numpy.typing import ArrayLike\n\n"
        "from veloperation._plan import Channel, Operand\n\n"
    )
    for entry in sorted(operations(), key=lambda entry: entry.name):
        text += function(entry, is_overload=len(operations(entry.name)) > 1)
    Path(sys.argv[1]).write_text(text, "utf-8")


main()
