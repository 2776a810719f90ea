"""Arrays of NumPy as an Arrow table."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import numpy as np
import numpy.typing as npt

from veloperation import _core

_FORMATS = {"i1": "c", "u1": "C", "i2": "s", "u2": "S", "i4": "i", "u4": "I", "i8": "l", "u8": "L"}
_FORMATS |= {"f2": "e", "f4": "f", "f8": "g"}
_UNITS = {"s": "s", "ms": "m", "us": "u", "ns": "n"}

Buffers = tuple[str, str, object, list[object]]


class _Stream:
    """A capsule, as `replay` takes it."""

    def __init__(self, capsule: object) -> None:
        self._capsule = capsule

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return self._capsule


def stream_of(data: object) -> object:
    """Make what has Arrow's interface of a mapping of arrays; other data stay."""
    if not isinstance(data, Mapping) or hasattr(data, "__arrow_c_stream__"):
        return data
    columns = {str(name): _values(str(name), given) for name, given in data.items()}
    lengths = {len(values) for values, _ in columns.values()}
    if len(lengths) > 1:
        told = ", ".join(f"{name} {len(values)}" for name, (values, _) in columns.items())
        raise _core.Error(f"data: the columns have different lengths: {told}")
    buffers = [_buffers(name, values, mask) for name, (values, mask) in columns.items()]
    return _Stream(_core.stream_of_arrays(buffers, lengths.pop() if lengths else 0))


def _values(name: str, given: object) -> tuple[npt.NDArray[Any], npt.NDArray[np.bool_] | None]:
    """Give the values and which of them are missing; None: none."""
    mask = None
    if isinstance(given, np.ma.MaskedArray) and given.mask is not np.ma.nomask:
        mask = np.ma.getmaskarray(given)
    values = np.asarray(given)
    if values.ndim != 1:
        raise _core.Error(f'column "{name}" has {values.ndim} dimensions\n  give one column at a time')
    if values.dtype == np.object_ and any(value is None for value in values):
        mask = np.array([value is None for value in values])
        if not any(isinstance(value, str) for value in values):
            values = np.array([0 if value is None else value for value in values])
    return values, mask


def _buffers(name: str, values: npt.NDArray[Any], mask: npt.NDArray[np.bool_] | None) -> Buffers:
    """Give name, format, the bits of what is there, and the values."""
    kind = values.dtype.kind
    if kind in "UO":
        return _texts(name, values, mask)
    values = np.ascontiguousarray(values, values.dtype.newbyteorder("="))
    if kind == "b":
        values = values.astype(np.uint16)
    if kind in "mM":
        missing = np.isnat(values)
        if missing.any():
            mask = missing if mask is None else mask | missing
        unit, count = np.datetime_data(values.dtype)
        if unit not in _UNITS or count != 1:
            unit = "s" if unit in {"Y", "M", "W", "D", "h", "m", "s"} else "ns"
            values = values.astype(f"{kind}8[{unit}]")
        form = f"ts{_UNITS[unit]}:" if kind == "M" else f"tD{_UNITS[unit]}"
        values = values.view(np.int64)
    else:
        found = _FORMATS.get(values.dtype.str[1:])
        if found is None:
            raise _core.Error(f'column "{name}": values of the type {values.dtype} are no samples')
        form = found
    return name, form, _bits(mask), [values]


def _texts(name: str, values: npt.NDArray[Any], mask: npt.NDArray[np.bool_] | None) -> Buffers:
    present = [value if mask is None or not mask[row] else "" for row, value in enumerate(values.tolist())]
    if not all(isinstance(value, str) for value in present):
        raise _core.Error(f'column "{name}": objects are no samples\n  give an array of numbers, times or texts')
    texts = [value.encode() for value in present]
    ends = np.zeros(len(texts) + 1, np.int64)
    np.cumsum([len(text) for text in texts], out=ends[1:])
    return name, "U", _bits(mask), [ends, b"".join(texts)]


def _bits(mask: npt.NDArray[np.bool_] | None) -> object:
    return None if mask is None else np.packbits(~mask, bitorder="little")
