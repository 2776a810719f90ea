"""Signal operations for measurement and data logging, on NumPy and Arrow."""

from veloperation import op
from veloperation._core import Error, __version__
from veloperation._operation import Operation, Status
from veloperation._vocabulary import OperationInfo, OperationTable, ParameterInfo, operations

__all__ = [
    "Error",
    "Operation",
    "OperationInfo",
    "OperationTable",
    "ParameterInfo",
    "Status",
    "__version__",
    "op",
    "operations",
]
