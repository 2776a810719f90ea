"""One operation on columns."""

from __future__ import annotations

import enum
from typing import Any

import numpy as np
import numpy.typing as npt

from veloperation import _core
from veloperation._columns import DTYPES, NO_VALUES, column

Column = npt.NDArray[Any]


class Status(enum.IntEnum):
    """What became of one sample.

    Examples
    --------
    >>> import numpy as np
    >>> import veloperation as vel
    >>> quotient, status = vel.Operation("Divide", "DDD")([6.0, 1.0, np.nan], [2.0, 0.0, 1.0], status=True)
    >>> quotient
    array([ 3.,  3., nan])
    >>> [vel.Status(code).name for code in status]
    ['COMPUTED', 'REFUSED', 'NO_VALUE']
    """

    COMPUTED = 0
    """The operation has computed."""
    NO_VALUE = 1
    """The result has no sample: an operand has none, or the operation says so."""
    REFUSED = 2
    """The operation did not compute from these samples, and the result stays as it was."""
    HELD = 3
    """There is no sample, and the last one stands in for it. In plans only."""


class Operation:
    """An operation on columns of samples, which goes on from call to call.

    Calling it with a column for each operand computes the result. The state stays: a recording may come in pieces of
    any sizes, and the results are the same.

    Parameters
    ----------
    name : str
        The operation, as `operations` lists it.
    signature : str
        A letter for each result, then one for each operand: ``B W L Q`` are UInt8 to UInt64, ``b w l q`` SInt8 to
        SInt64, ``F`` is Float32 and ``D`` Float64.
    aware : bool, default True
        Whether gaps are known as such: the result has a gap where an operand has one, if the reference says nothing
        else. With False the plain form takes every sample for a number.
    own_result_over_gaps : bool, default False
        Whether extremes of windows show the operation's own result where no sample but gaps has counted, in place of a
        gap.
    sample_period : float, str or datetime.timedelta, optional
        The time from row to row, in seconds or as ``"10 ms"``. With it parameters that count samples may be durations,
        and those that ask for this time need not be given.
    **parameters
        The operation's parameters by name: numbers, True or False, durations (``"10 s"``, `datetime.timedelta`), and
        for curves and tables pairs of numbers, as lists or as an array with two columns.

    Raises
    ------
    Error
        If there is no such operation on these types, or if a parameter is missing, unknown or makes no sense. The
        message says what there is.

    Notes
    -----
    **Columns** are arrays of one dimension and of exactly the operand's type; they are read in place, whatever their
    strides, unless they are unaligned. A number stands for a column that is the same in every row. Lists are converted.
    Columns with Arrow's interface work, too.

    **Gaps** are NaN in floating columns; in integer columns they are the mask of a `numpy.ma.MaskedArray`, or Arrow's
    nulls. The result has them in the same form: floating results are plain arrays with NaN, integer results are masked
    arrays, whose fill value stands for a gap. With ``aware=False``, which has no gaps, all results are plain arrays.
    Within an operation an integer gap is the lowest value of a signed and the highest of an unsigned type. So a result
    with that value is a gap, and an operand with that value that is no gap is refused.

    **Threads.** Python's lock is released while the operation computes. Several operations may work in several threads.
    A call for an operation that is at work raises `RuntimeError`.

    Examples
    --------
    >>> import numpy as np
    >>> import veloperation as vel
    >>> maximum = vel.Operation("Max", "DD", window=2)
    >>> maximum(np.array([1.0, 3.0, 2.0]))
    array([1., 3., 3.])
    >>> maximum(np.array([1.0, np.nan]))  # goes on
    array([ 2., nan])

    A characteristic curve, and a duration in the place of a number of samples:

    >>> curve = vel.Operation("Linea", "DD", points=[[0, -40], [5, 120]])
    >>> curve([0.0, 2.5, 7.0])
    array([-40.,  40., 120.])
    >>> vel.Operation("Max", "DD", window="20 ms", sample_period=0.01)([3.0, 2.0, 1.0])
    array([3., 3., 2.])

    Several results come as a tuple:

    >>> bits = vel.Operation("Extract8Bits", "WWWWWWWWB")(np.array([5], np.uint8))
    >>> [int(bit[0]) for bit in bits]
    [1, 0, 1, 0, 0, 0, 0, 0]
    """

    def __init__(
        self,
        name: str,
        signature: str,
        *,
        aware: bool = True,
        own_result_over_gaps: bool = False,
        sample_period: object = None,
        **parameters: object,
    ) -> None:
        self._core = _core.Operation(name, signature, aware, own_result_over_gaps, sample_period, parameters)
        self._name = name
        self._signature = signature
        self._aware = aware
        self._given = {**({} if sample_period is None else {"sample_period": sample_period}), **parameters}
        results = self._core.results
        self._results = signature[:results]
        self._operands = signature[results:]

    @property
    def name(self) -> str:
        """The operation's name."""
        return self._name

    @property
    def signature(self) -> str:
        """The letters of the results' and the operands' types."""
        return self._signature

    @property
    def aware(self) -> bool:
        """Whether gaps are known as such."""
        return self._aware

    def __repr__(self) -> str:
        given = "".join(f", {key}={value!r}" for key, value in self._given.items())
        return f'Operation("{self._name}", "{self._signature}"{"" if self._aware else ", aware=False"}{given})'

    def __call__(self, *operands: object, status: bool = False, rows: int | None = None) -> Any:
        """Compute the next rows.

        Parameters
        ----------
        *operands : array_like
            A column for each operand, all of one length; numbers stand for columns that are the same in every row.
        status : bool, default False
            Whether to return the status of each row, too.
        rows : int, optional
            How many rows to compute. Needed where no operand says so: if all are numbers, or if there are none.

        Returns
        -------
        result : numpy.ndarray or tuple of numpy.ndarray
            The column of the result; a tuple if the operation has several.
        status : numpy.ndarray of numpy.uint8
            With ``status=True``: a code of `Status` for each row.

        Raises
        ------
        Error
            If the columns have another number, type or length than they should, or if an integer that is no gap has the
            value that stands for one. Nothing is computed then.
        RuntimeError
            If the operation is at work in another thread.

        Examples
        --------
        >>> import numpy as np
        >>> import veloperation as vel
        >>> rising = vel.Operation("PosEdge", "WD", threshold=1.0)
        >>> print(rising(np.array([0.0, 2.0, np.nan])))
        [0 1 --]
        """
        place = f"{self._name} {self._signature}"
        if len(operands) != len(self._operands):
            raise _core.Error(f"{place}: takes {len(self._operands)} operands, not {len(operands)}")
        columns = [
            column(operand, letter, self._aware, f"{place}: operand {number}")
            for number, (operand, letter) in enumerate(zip(operands, self._operands, strict=True), 1)
        ]
        lengths = {len(array) for array in columns if array.ndim}
        if rows is not None:
            lengths.add(rows)
        if len(lengths) > 1:
            raise _core.Error(f"{place}: columns have different lengths: {', '.join(map(str, sorted(lengths)))}")
        if not lengths:
            raise _core.Error(f"{place}: no operand says how many rows there are\n  add: rows=")
        count = lengths.pop()
        if count < 0:
            raise _core.Error(f"{place}: rows is negative")
        results: list[Any] = [np.empty(count, DTYPES[letter]) for letter in self._results]
        statuses = np.empty(count, np.uint8) if status else None
        have_gaps = self._core.execute(
            [array if array.ndim else np.broadcast_to(array, count) for array in columns], results, statuses, count
        )
        shown = [self._shown(*each) for each in zip(results, self._results, have_gaps, strict=True)]
        result = shown[0] if len(shown) == 1 else tuple(shown)
        return (result, statuses) if status else result

    def reset(self) -> None:
        """Begin anew: the next row is as the first one.

        Examples
        --------
        >>> import veloperation as vel
        >>> maximum = vel.Operation("Max", "DD")
        >>> maximum([5.0, 1.0])
        array([5., 5.])
        >>> maximum.reset()
        >>> maximum([1.0])
        array([1.])
        """
        self._core.reset()

    def _shown(self, result: Column, letter: str, has_gaps: bool) -> Column:
        if result.dtype.kind == "f" or not self._aware:
            return result
        no_value = NO_VALUES[letter]
        return np.ma.MaskedArray(result, result == no_value if has_gaps else np.ma.nomask, fill_value=no_value)
