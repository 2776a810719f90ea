"""The package as it is installed."""

import re
from pathlib import Path

import veloperation


def test_version_is_that_of_the_library() -> None:
    cmake = (Path(__file__).parents[2] / "CMakeLists.txt").read_text()
    version = re.search(r"project\(VelOperation VERSION ([0-9.]+)", cmake)
    assert version is not None
    assert veloperation.__version__ == version[1]
