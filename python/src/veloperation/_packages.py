"""Packages that only some functions need."""

from __future__ import annotations

import importlib
from typing import Any

from veloperation import _core


def need(module: str) -> Any:
    """Give a module of the extra ``files``, or say how to get it."""
    try:
        return importlib.import_module(module)
    except ImportError as error:
        package = module.partition(".")[0]
        raise _core.Error(f"{package} is needed for this file: {error}\n  pip install 'veloperation[files]'") from error
