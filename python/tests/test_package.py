"""The package as it is installed."""

import re
import subprocess
import sys
from pathlib import Path

import veloperation


def test_version_is_that_of_the_library() -> None:
    cmake = (Path(__file__).parents[2] / "CMakeLists.txt").read_text()
    version = re.search(r"project\(VelOperation VERSION ([0-9.]+)", cmake)
    assert version is not None
    assert veloperation.__version__ == version[1]


def test_needs_numpy_alone() -> None:
    code = """
import sys, numpy
before = set(sys.modules)
import veloperation as vel
assert vel.Operation("Max", "DD")([1.0, 2.0]).tolist() == [1.0, 2.0]
print(*sorted({name.split(".")[0] for name in set(sys.modules) - before} - sys.stdlib_module_names - {"numpy"}))
"""
    told = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True).stdout
    assert told.split() == ["veloperation"]
