"""Signal operations for measurement and data logging, on NumPy and Arrow."""

from veloperation._core import Error, __version__
from veloperation._op import op
from veloperation._operation import Operation, Status

__all__ = ["Error", "Operation", "Status", "__version__", "op"]
