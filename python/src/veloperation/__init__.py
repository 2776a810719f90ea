"""Signal operations for measurement and data logging, on NumPy and Arrow."""

from veloperation._core import Error, __version__
from veloperation._op import op

__all__ = ["Error", "__version__", "op"]
