"""Writes op.pyi, what type checkers read of the operations, from the vocabulary and the reference.

Called by the build: write_op_stub.py OUTPUT. The package must be importable.
"""

import sys
from pathlib import Path

from veloperation import _reference
from veloperation._vocabulary import OperationInfo, ParameterInfo, operations

TIMES = {"s", "ms", "samples"}
ROW_TIMES = {"sample_period", "sample_rate", "delta_time"}  # which the plan may say
COMMON = """
class _Common(TypedDict, total=False):
    no_value_aware: bool
    no_value: float
    own_result_over_gaps: bool
    hold: float | str | timedelta
    reset_when: Channel
    reset_on_change: Channel
    when_refused: Literal["keep", "no_value"]

"""


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
        is_needed = parameter.default == "required" and parameter.name not in ROW_TIMES
        arguments.append(f"{parameter.name}: {type_of(parameter)}{'' if is_needed else ' = ...'}")
    arguments.append("**common: Unpack[_Common]")
    result = "Channel" if entry.results == 1 else f"tuple[{', '.join(['Channel'] * entry.results)}]"
    overload = "@overload\n" if is_overload else ""
    return f"{overload}def {entry.name}({', '.join(arguments)}) -> {result}: ...\n"


def main() -> None:
    """Write the file."""
    text = (
        '"""The operations as functions of channels of a plan."""\n\n'
        "from datetime import timedelta\nfrom typing import Literal, TypedDict, Unpack, overload\n\n"
        "from numpy.typing import ArrayLike\n\n"
        "from veloperation._plan import Channel, Operand\n\n" + COMMON
    )
    for entry in sorted(operations(), key=lambda entry: entry.name):
        text += function(entry, is_overload=len(operations(entry.name)) > 1)
    Path(sys.argv[1]).write_text(text, "utf-8")


main()
