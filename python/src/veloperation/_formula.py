"""Formulas: what operators and calls on channels stand for."""

from __future__ import annotations

import datetime
import math
import re
from collections.abc import Mapping, Sequence
from typing import TYPE_CHECKING, Any

import numpy as np

from veloperation import _core
from veloperation._vocabulary import operations

if TYPE_CHECKING:
    from veloperation._plan import Plan


class Channel:
    """A channel of a plan that is being built, or a formula over channels.

    Operators and the functions of `veloperation.op` make formulas of channels; ``plan["name"] = formula`` makes a
    channel of a formula. Arithmetic, comparisons, shifts and bits are those of formulas: ``+ - * / % << >> & |``,
    ``< <= > >= == !=`` and ``-``. Between conditions, which comparisons are, ``&``, ``|`` and ``~`` are "and", "or" and
    "not". ``**`` is Power, ``^`` is BitwiseXOr, `abs` is Abs.

    Examples
    --------
    >>> import veloperation as vel
    >>> plan = vel.Plan()
    >>> distance, time = plan.input("distance", vel.Float64), plan.input("time", vel.Float64)
    >>> distance / time
    distance / time
    >>> (distance / time > 10) & ~(time < 0.5)
    (distance / time > 10) && !(time < 0.5)
    >>> vel.op.UpperLimit(distance, 10.0, hysteresis=1.0)
    UpperLimit(distance, 10.0, hysteresis = 1.0)
    """

    __hash__ = object.__hash__
    __array_ufunc__ = None  # NumPy would make an array of formulas

    def __init__(
        self, plan: Plan, text: str, *, binding: int = 0, is_condition: bool = False, call: Call | None = None
    ) -> None:
        self._plan = plan
        self._text = text
        self._binding = binding
        self._is_condition = is_condition
        self._call = call

    def __repr__(self) -> str:
        return self._text

    def __bool__(self) -> bool:
        raise TypeError(
            "a channel is neither true nor false: write & | ~ in place of and, or, not, and a < b < c as two conditions"
        )

    def as_type(self, sample_type: str) -> Channel:
        """Choose the type of a call's result, as ``as`` does in formulas.

        Parameters
        ----------
        sample_type : SampleType or str
            One that the operation has for these operands.

        Returns
        -------
        Channel
            The formula with that type.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> vel.op.Cast(plan.input("raw", vel.UInt16)).as_type(vel.Float32)
        Cast(raw) as Float32
        """
        if self._call is None:
            raise _core.Error(f"{self._text}: only a call has a type to choose\n  write: vel.op.Cast(...).as_type(...)")
        return Channel(self._plan, f"{self._text} as {sample_type}", binding=1, call=self._call)

    def __add__(self, other: Operand) -> Channel:
        return _binary(self, "+", other)

    def __radd__(self, other: Operand) -> Channel:
        return _binary(other, "+", self)

    def __sub__(self, other: Operand) -> Channel:
        return _binary(self, "-", other)

    def __rsub__(self, other: Operand) -> Channel:
        return _binary(other, "-", self)

    def __mul__(self, other: Operand) -> Channel:
        return _binary(self, "*", other)

    def __rmul__(self, other: Operand) -> Channel:
        return _binary(other, "*", self)

    def __truediv__(self, other: Operand) -> Channel:
        return _binary(self, "/", other)

    def __rtruediv__(self, other: Operand) -> Channel:
        return _binary(other, "/", self)

    def __mod__(self, other: Operand) -> Channel:
        return _binary(self, "%", other)

    def __rmod__(self, other: Operand) -> Channel:
        return _binary(other, "%", self)

    def __lshift__(self, other: Operand) -> Channel:
        return _binary(self, "<<", other)

    def __rshift__(self, other: Operand) -> Channel:
        return _binary(self, ">>", other)

    def __and__(self, other: Operand) -> Channel:
        return _bits(self, "&", other)

    def __rand__(self, other: Operand) -> Channel:
        return _bits(other, "&", self)

    def __or__(self, other: Operand) -> Channel:
        return _bits(self, "|", other)

    def __ror__(self, other: Operand) -> Channel:
        return _bits(other, "|", self)

    def __lt__(self, other: Operand) -> Channel:
        return _binary(self, "<", other, is_condition=True)

    def __le__(self, other: Operand) -> Channel:
        return _binary(self, "<=", other, is_condition=True)

    def __gt__(self, other: Operand) -> Channel:
        return _binary(self, ">", other, is_condition=True)

    def __ge__(self, other: Operand) -> Channel:
        return _binary(self, ">=", other, is_condition=True)

    def __eq__(self, other: Operand) -> Channel:  # type: ignore[override]
        return _binary(self, "==", other, is_condition=True)

    def __ne__(self, other: Operand) -> Channel:  # type: ignore[override]
        return _binary(self, "!=", other, is_condition=True)

    def __neg__(self) -> Channel:
        return Channel(self._plan, "-" + _inner(self, 2), binding=2)

    def __pos__(self) -> Channel:
        return self

    def __invert__(self) -> Channel:
        if self._is_condition:
            return Channel(self._plan, "!" + _inner(self, 2), binding=2, is_condition=True)
        return _one("BitwiseNot", [self])

    def __abs__(self) -> Channel:
        return _one("Abs", [self])

    def __pow__(self, other: Operand) -> Channel:
        return _one("Power", [self, other])

    def __rpow__(self, other: Operand) -> Channel:
        return _one("Power", [other, self])

    def __xor__(self, other: Operand) -> Channel:
        return _one("BitwiseXOr", [self, other])


Operand = Channel | float

# How a formula binds, from the strongest: 0 a name, a number or a call, 1 "as", 2 a sign, 3 a product, 4 a sum,
# 6 a comparison, 9 all else.
_BINDING = {"*": 3, "/": 3, "%": 3, "+": 4, "-": 4, "<": 6, "<=": 6, ">": 6, ">=": 6, "==": 6, "!=": 6}
_LOOSE = 9


class Call:
    """A call of an operation, whose results may get names together."""

    def __init__(self, name: str, operands: Sequence[Operand], parameters: Mapping[str, Any]) -> None:
        self.name = name
        self.operands = operands
        self.parameters = parameters


def call(name: str, operands: Sequence[Any], parameters: Mapping[str, Any]) -> Channel | tuple[Channel, ...]:
    """Make the formula of an operation on channels and numbers; for several results a channel for each."""
    plans = {id(operand._plan): operand._plan for operand in operands if isinstance(operand, Channel)}
    if not plans:
        raise TypeError(f"op.{name} takes channels of a plan; for columns write vel.Operation({name!r}, ...)")
    if len(plans) > 1:
        raise _core.Error(f"{name}: the operands are channels of different plans\n  add them to one plan")
    plan = next(iter(plans.values()))
    written = [_inner(operand, _LOOSE) for operand in operands]
    written += [f"{key} = {_parameter(key, value)}" for key, value in parameters.items()]
    made = Call(name, operands, parameters)
    results = operations(name)[0].results
    text = f"{name}({', '.join(written)})"
    if results == 1:
        return Channel(plan, text, call=made, is_condition=name in {"LogicalAnd", "LogicalOr", "LogicalXOr"})
    return tuple(Channel(plan, text, call=made, binding=-1) for _ in range(results))


def quoted_name(name: str) -> str:
    """Write the name of a channel as formulas have it."""
    return name if re.fullmatch(r"[A-Za-z_][A-Za-z0-9_]*", name) else f"`{name}`"


def pairs_of(value: Any) -> list[list[float]]:
    """Make a curve or a table of what has rows of two numbers."""
    return [[float(x), float(y)] for x, y in value]


def _one(name: str, operands: Sequence[Operand]) -> Channel:
    made = call(name, operands, {})
    assert isinstance(made, Channel)
    return made


def _binary(left: Operand, sign: str, right: Operand, *, is_condition: bool = False) -> Channel:
    plan = left._plan if isinstance(left, Channel) else None
    if isinstance(right, Channel):
        if plan is not None and plan is not right._plan:
            raise _core.Error(f"{sign}: the operands are channels of different plans\n  add them to one plan")
        plan = right._plan
    elif not isinstance(left, Channel) or not isinstance(right, int | float | np.number | np.bool_):
        return NotImplemented  # type: ignore[no-any-return]
    if not isinstance(left, Channel | int | float | np.number | np.bool_):
        return NotImplemented
    assert plan is not None
    binding = _BINDING.get(sign, _LOOSE)
    # Of sums and of products the left one needs no brackets. All else gets them.
    inner = {3: (3, 2), 4: (4, 3), 6: (4, 4)}.get(binding, (2, 2))
    text = f"{_inner(left, inner[0])} {sign} {_inner(right, inner[1])}"
    return Channel(plan, text, binding=binding, is_condition=is_condition)


def _bits(left: Operand, sign: str, right: Operand) -> Channel:
    """Combine bits, or conditions."""
    are_conditions = all(isinstance(side, Channel) and side._is_condition for side in (left, right))
    return _binary(left, sign * 2 if are_conditions else sign, right, is_condition=are_conditions)


def _inner(operand: Any, binding: int) -> str:
    """Write an operand, in brackets if it binds less than what is around it."""
    if not isinstance(operand, Channel):
        return _number(operand)
    if operand._binding < 0:
        raise _core.Error(
            f"{operand._text}: its results have no names yet\n"
            '  name them together: plan["lowest", "highest", "mean"] = vel.op.Statistics(...)'
        )
    return f"({operand._text})" if operand._binding > binding else operand._text


def _number(value: Any) -> str:
    if isinstance(value, np.generic):
        value = value.item()
    if isinstance(value, bool):
        return str(int(value))
    if isinstance(value, int):
        return f"({value})" if value < 0 else str(value)
    if isinstance(value, float):
        if not math.isfinite(value):
            raise _core.Error(f"{value} is no number of a formula\n  plan.constant without a value never has a sample")
        return f"({value!r})" if value < 0 else repr(value)
    raise TypeError(f"a formula has channels and numbers, not {type(value).__name__}")


def _parameter(key: str, value: Any) -> str:
    """Write the value of a parameter."""
    if isinstance(value, np.generic):
        value = value.item()
    if isinstance(value, Channel):
        return value._text
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, int | float):
        return repr(value)
    if isinstance(value, datetime.timedelta):
        return f"'{value.total_seconds()!r} s'"
    if isinstance(value, str):
        return value if key == "when_refused" else f"'{value}'"
    return "[" + ", ".join(f"[{x!r}, {y!r}]" for x, y in pairs_of(value)) + "]"
