"""TOML of plain values."""

from __future__ import annotations

import datetime
import json
from collections.abc import Mapping, Sequence
from typing import Any

import numpy as np


def key(name: str) -> str:
    """Write a key."""
    return name if name.isascii() and name.replace("_", "a").replace("-", "a").isalnum() else value(name)


def value(given: Any) -> str:
    """Write a value: a text, number, flag, duration, list or table of them."""
    if isinstance(given, np.generic):
        given = given.item()
    if isinstance(given, datetime.timedelta):
        given = f"{given.total_seconds()!r} s"
    if isinstance(given, bool):
        return "true" if given else "false"
    if isinstance(given, int):
        return str(given) if -(2**63) <= given < 2**63 else f'"{given}"'
    if isinstance(given, float):
        return repr(given)
    if isinstance(given, str):
        return json.dumps(given, ensure_ascii=False).replace("\x7f", "\\u007F")
    if isinstance(given, Mapping):
        return "{ " + ", ".join(f"{key(name)} = {value(inner)}" for name, inner in given.items()) + " }"
    if isinstance(given, np.ndarray):
        given = given.tolist()
    if isinstance(given, Sequence):
        return "[" + ", ".join(map(value, given)) + "]"
    raise TypeError(f"a plan has texts, numbers, flags, durations and lists of them, not {type(given).__name__}")


def table(heading: str, entries: Mapping[str, Any]) -> str:
    """Write a table without the entries that are None; nothing if there are no others."""
    lines = [f"{key(name)} = {value(given)}\n" for name, given in entries.items() if given is not None]
    return f"{heading}\n{''.join(lines)}\n" if lines else ""
