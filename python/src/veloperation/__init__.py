"""Signal operations for measurement and data logging, on NumPy and Arrow."""

from veloperation import fleet, op
from veloperation._core import Error, __version__
from veloperation._formula import Channel
from veloperation._operation import Operation, Status
from veloperation._plan import Plan
from veloperation._recording import Recording, open
from veloperation._result import Result, Session, Warning
from veloperation._types import (
    Float32,
    Float64,
    SampleType,
    SInt8,
    SInt16,
    SInt32,
    SInt64,
    Time,
    UInt8,
    UInt16,
    UInt32,
    UInt64,
)
from veloperation._vocabulary import OperationInfo, OperationTable, ParameterInfo, operations

__all__ = [
    "Channel",
    "Error",
    "Float32",
    "Float64",
    "Operation",
    "OperationInfo",
    "OperationTable",
    "ParameterInfo",
    "Plan",
    "Recording",
    "Result",
    "SInt8",
    "SInt16",
    "SInt32",
    "SInt64",
    "SampleType",
    "Session",
    "Status",
    "Time",
    "UInt8",
    "UInt16",
    "UInt32",
    "UInt64",
    "Warning",
    "__version__",
    "fleet",
    "op",
    "open",
    "operations",
]
