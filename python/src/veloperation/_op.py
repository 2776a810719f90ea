"""The operations as functions of the channels of a plan."""

from __future__ import annotations

from veloperation import _core


class PlanOperation:
    """An operation on channels of a plan."""

    def __init__(self, name: str) -> None:
        self.__name__ = name

    def __call__(self, *operands: object, **parameters: object) -> object:
        """Add the operation to the plan of its operands, and return the channel of its result."""
        from veloperation import _plan

        return _plan.call(self.__name__, operands, parameters)


class _Operations:
    """All operations by name: ``op.Max``."""

    def __getattr__(self, name: str) -> PlanOperation:
        if name not in {entry.name for entry in _core.entries()}:
            raise AttributeError(name)
        return PlanOperation(name)


op = _Operations()
