"""The operations as functions of channels of a plan: ``op.Max(channel, window=100)``.

``dir(op)`` lists them, and ``help(op.Max)`` says what the reference says. `veloperation.operations` shows them as a
table. An operation on columns, without a plan, is a `veloperation.Operation`.
"""

from __future__ import annotations

import functools
import inspect
from typing import Any

from veloperation import _plan, _reference
from veloperation._vocabulary import operations

_NAMES = list(dict.fromkeys(entry.name for entry in operations()))


def __dir__() -> list[str]:
    return _NAMES


@functools.cache
def __getattr__(name: str) -> Any:
    if name not in _NAMES:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")

    def operation(*operands: Any, **parameters: Any) -> Any:
        return _plan.call(name, operands, parameters)

    operation.__name__ = operation.__qualname__ = name
    operation.__doc__ = _reference.docstring(name)
    forms = operations(name)
    if len(forms) == 1:
        operation.__signature__ = _signature(name)  # type: ignore[attr-defined]
    return operation


def _signature(name: str) -> inspect.Signature:
    entry = operations(name)[0]
    kinds = inspect.Parameter
    return inspect.Signature(
        [kinds(operand, kinds.POSITIONAL_ONLY) for operand in _reference.channel_names(entry)[entry.results :]]
        + [
            kinds(
                parameter.name,
                kinds.KEYWORD_ONLY,
                default=kinds.empty if parameter.default == "required" else ...,
            )
            for parameter in entry.parameters
        ]
    )
