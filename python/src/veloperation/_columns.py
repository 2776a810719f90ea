"""Columns of samples: what users have, as the engine reads it."""

from __future__ import annotations

from typing import Any, cast

import numpy as np
import numpy.typing as npt

from veloperation import _core

DTYPES = {
    letter: np.dtype(code)
    for letter, code in zip("BWLQbwlqFD", ["u1", "u2", "u4", "u8", "i1", "i2", "i4", "i8", "f4", "f8"], strict=True)
}
FORMATS = dict(zip("CSILcsilfg", DTYPES.values(), strict=True))
FORMATS |= {"e": np.dtype("f2"), "b": np.dtype("?")}
NO_VALUES = {letter: dtype.type(_core.no_value(letter)) for letter, dtype in DTYPES.items()}


def column(given: object, letter: str, aware: bool, place: str) -> npt.NDArray[Any]:
    """Make an array that the engine can read of an operand: of its type, aligned, gaps as NoValue.

    A number becomes an array without a dimension.
    """
    dtype = DTYPES[letter]
    values, mask = _values(given, dtype, place)
    if values.ndim > 1:
        raise _core.Error(f"{place} has {values.ndim} dimensions\n  give one column at a time")
    if values.dtype == np.bool_ and letter == "W":
        values = values.astype(np.uint16)
    if values.dtype != dtype:
        raise _core.Error(
            f'{place} has the type {values.dtype}, but "{letter}" is {dtype}\n'
            f"  convert it (.astype(numpy.{dtype})), or choose another signature"
        )
    if not dtype.isnative:
        raise _core.Error(f"{place} has the bytes of its numbers in another order\n  convert it")
    if dtype.kind != "f":
        values = _with_gaps(values, mask, letter, aware, place)
    elif mask is not None and mask.any():
        values = np.where(mask, NO_VALUES[letter], values)
    return np.require(values, requirements="A")


def _values(given: object, dtype: np.dtype[Any], place: str) -> tuple[npt.NDArray[Any], npt.NDArray[np.bool_] | None]:
    """Give the samples and which of them are gaps; None: none, but for NaN."""
    if isinstance(given, np.ma.MaskedArray):
        return given.data, None if given.mask is np.ma.nomask else np.ma.getmaskarray(given)
    if isinstance(given, np.ndarray):
        return given, None
    if _has_arrow(given):
        try:
            form, values, missing = cast(tuple[str, Any, Any], _core.numpy_operand(given))
        except _core.Error as error:
            raise _core.Error(str(error).replace("column", place, 1)) from None
        return values.view(FORMATS[form]), None if missing is None else missing.view(np.bool_)
    array = np.asarray(given)
    if hasattr(given, "dtype"):  # of one's own choice
        return array, None
    mask = None
    if array.dtype == np.object_:  # None among numbers
        mask = np.array([value is None for value in array.flat], bool).reshape(array.shape)
        array = np.where(mask, 0, array)
    try:
        converted = array.astype(dtype) if array.size else np.empty(array.shape, dtype)
    except (TypeError, ValueError, OverflowError) as error:
        raise _core.Error(f"{place} has no numbers\n  {error}") from error
    if dtype.kind != "f" and not np.array_equal(converted, array):
        raise _core.Error(f"{place} has numbers that {dtype} has not")
    return converted, mask


def _has_arrow(given: object) -> bool:
    """Tell whether Arrow says more of the data than NumPy does, as of gaps."""
    if isinstance(getattr(given, "dtype", None), np.dtype):  # Series of pandas that hold arrays
        return False
    return hasattr(given, "__arrow_c_array__") or hasattr(given, "__arrow_c_stream__")


def _with_gaps(
    values: npt.NDArray[Any], mask: npt.NDArray[np.bool_] | None, letter: str, aware: bool, place: str
) -> npt.NDArray[Any]:
    """Put NoValue into the gaps of integers, and refuse it elsewhere."""
    if not aware:
        if mask is not None and mask.any():
            raise _core.Error(f"{place} has gaps, which the plain form does not know\n  leave out: aware=False")
        return values
    no_value = NO_VALUES[letter]
    wrong = values == no_value
    if mask is not None:
        wrong &= ~mask
    if wrong.any():
        raise _core.Error(
            f"{place} has at index {int(np.argmax(wrong))} the value {no_value}, which stands for a gap\n"
            "  mask it if it is one (numpy.ma.masked_equal); else choose a wider type, or aware=False"
        )
    return values if mask is None or not mask.any() else np.where(mask, no_value, values)
