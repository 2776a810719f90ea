"""Plans: channels and operations on them."""

from __future__ import annotations

from collections.abc import Mapping, Sequence


class Channel:
    """A channel of a plan."""


Operand = Channel | float


def call(name: str, operands: Sequence[object], parameters: Mapping[str, object]) -> object:
    """Make the channel of an operation on channels and numbers, in the plan of its operands."""
    raise NotImplementedError
