"""The sample types of channels."""

from __future__ import annotations

import enum


class SampleType(enum.StrEnum):
    """A type of samples. `veloperation.Float64` and the others are its members.

    Examples
    --------
    >>> import veloperation as vel
    >>> str(vel.Float64)
    'Float64'
    """

    UInt8 = "UInt8"
    UInt16 = "UInt16"
    UInt32 = "UInt32"
    UInt64 = "UInt64"
    SInt8 = "SInt8"
    SInt16 = "SInt16"
    SInt32 = "SInt32"
    SInt64 = "SInt64"
    Float32 = "Float32"
    Float64 = "Float64"
    Time = "Time"


UInt8 = SampleType.UInt8
UInt16 = SampleType.UInt16
UInt32 = SampleType.UInt32
UInt64 = SampleType.UInt64
SInt8 = SampleType.SInt8
SInt16 = SampleType.SInt16
SInt32 = SampleType.SInt32
SInt64 = SampleType.SInt64
Float32 = SampleType.Float32
Float64 = SampleType.Float64
Time = SampleType.Time
