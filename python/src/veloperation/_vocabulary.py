"""The operations, as a table."""

from __future__ import annotations

import dataclasses
import functools

from veloperation import _core, _table


@dataclasses.dataclass(frozen=True)
class ParameterInfo:
    """A parameter of an operation.

    Examples
    --------
    >>> import veloperation as vel
    >>> vel.operations("Time")[0].parameters
    (ParameterInfo(name='sample_period', unit='s', default='required', meaning='time from row to row'),)
    """

    name: str
    unit: str
    """"operand" and "result" stand for the unit of the operand and of the result."""
    default: str
    """As text; "required" if there is none, "optional" if the operation goes without."""
    meaning: str


@dataclasses.dataclass(frozen=True)
class OperationInfo:
    """What an operation takes and makes.

    Examples
    --------
    >>> import veloperation as vel
    >>> edge = vel.operations("PosEdge")[0]
    >>> edge.summary
    '1 for the sample that rises above a threshold'
    >>> [parameter.name for parameter in edge.parameters]
    ['threshold', 'initial_value']
    """

    name: str
    results: int
    operands: int
    summary: str
    signatures: tuple[str, ...]
    """All type rows, with a letter for each result and operand; see `Operation`."""
    parameters: tuple[ParameterInfo, ...]
    reads_clock: bool
    """Whether it reads the system's clock."""


class OperationTable(tuple[OperationInfo, ...]):
    """Operations, which show as a table.

    Examples
    --------
    >>> import veloperation as vel
    >>> vel.operations("PosEdge")
    operation  results  operands  parameters                what it makes
    ---------  -------  --------  ------------------------  ---------------------------------------------
    PosEdge    1        1         threshold, initial_value  1 for the sample that rises above a threshold
    """

    __slots__ = ()

    def _cells(self) -> list[list[str]]:
        return [
            [
                entry.name,
                str(entry.results),
                str(entry.operands),
                ", ".join(parameter.name for parameter in entry.parameters),
                entry.summary,
            ]
            for entry in self
        ]

    def __repr__(self) -> str:
        return _table.as_text(_HEADER, self._cells())

    def _repr_html_(self) -> str:
        return _table.as_html(_HEADER, self._cells())


_HEADER = ["operation", "results", "operands", "parameters", "what it makes"]


@functools.cache
def _all() -> OperationTable:
    return OperationTable(
        OperationInfo(
            entry.name,
            entry.results,
            entry.operands,
            entry.summary,
            tuple(entry.signatures),
            tuple(
                ParameterInfo(parameter.name, parameter.unit, parameter.otherwise, parameter.meaning)
                for parameter in entry.parameters
            ),
            entry.reads_clock,
        )
        for entry in _core.entries()
    )


def operations(name: str = "") -> OperationTable:
    """List the operations.

    Parameters
    ----------
    name : str, optional
        The name of an operation, or a part of names. Capitals do not matter. A name that stands for two operations is
        there twice.

    Returns
    -------
    OperationTable
        A tuple of `OperationInfo`, in the order of the reference, which shows as a table.

    Examples
    --------
    >>> import veloperation as vel
    >>> vel.operations("integral")
    operation      results  operands  parameters                   what it makes
    -------------  -------  --------  ---------------------------  -----------------------------------------------------
    Integral       1        1         delta_time, initial_value    area of the last interval, trapezoid rule
    Integral       1        2         initial_value, initial_time  the same, over a time channel
    IntegralAdd    1        1         delta_time, initial_value    running total of the areas, trapezoid rule
    IntegralAdd    1        2         initial_value, initial_time  the same, over a time channel
    UpperIntegral  1        1         delta_time                   area of the last interval, rectangle under the sample
    UpperIntegral  1        2         initial_time                 the same, over a time channel
    """
    exact = OperationTable(entry for entry in _all() if entry.name == name)
    return exact or OperationTable(entry for entry in _all() if name.lower() in entry.name.lower())
