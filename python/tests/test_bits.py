"""Every row of every operation gives through Python the bits that the C++ side has recorded."""

import json
import string
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt
import pytest

import veloperation as vel
from veloperation._columns import DTYPES, NO_VALUES

ROOT = Path(__file__).parents[2]
CHARACTERS = string.ascii_uppercase + string.ascii_lowercase + string.digits + "+-"


class Checks:
    """Fowler, Noll and Vo's hash of numbers of 64 bits, as a character at a time."""

    def __init__(self) -> None:
        self.value = 0xCBF29CE484222325

    def add(self, number: int) -> None:
        for byte in number.to_bytes(8, "little"):
            self.value = ((self.value ^ byte) * 0x100000001B3) & 0xFFFFFFFFFFFFFFFF

    def character(self) -> str:
        return CHARACTERS[self.value >> 16 & 63]


def column(numbers: list[int], letter: str, *, has_mask: bool) -> npt.NDArray[Any]:
    dtype = DTYPES[letter]
    samples = np.array(numbers, np.dtype(f"u{dtype.itemsize}")).view(dtype)
    return np.ma.masked_equal(samples, NO_VALUES[letter]) if has_mask and dtype.kind != "f" else samples


def results_of(row: dict[str, Any], life: dict[str, Any], results: int, *, aware: bool) -> list[list[int]]:
    """Give the bits of the results, row by row; checks the statuses on the way."""
    signature: str = row["signature"]
    parameters = dict(life["parameters"])
    own = {"own_result_over_gaps": True} if row["name"] in ("Min", "Max") else {}
    try:
        operation = vel.Operation(row["name"], signature, aware=aware, **own, **parameters)
    except vel.Error as error:
        if "has no effect here" not in str(error):  # then it never computes
            assert "never computes in this form" in str(error)
            empty = [np.array(NO_VALUES[letter]).view(f"u{DTYPES[letter].itemsize}") for letter in signature[:results]]
            return [[int(sample) for sample in empty]] * len(life["operands"])
        del parameters["delay"]
        operation = vel.Operation(row["name"], signature, aware=aware, **parameters)
    operands = list(zip(*life["operands"], strict=True))
    columns = [
        column(list(numbers), letter, has_mask=aware)
        for numbers, letter in zip(operands, signature[results:], strict=True)
    ]
    computed, status = operation(*columns, status=True)
    answers = [answer == "1" for answer in life["answers"][2:]][1 if aware else 0 :: 2]
    for code, answer in zip(status, answers, strict=True):
        assert code == vel.Status.NO_VALUE or (code == vel.Status.COMPUTED) == answer
    made = [np.ma.getdata(result) for result in (computed if results > 1 else [computed])]
    return [list(map(int, numbers)) for numbers in zip(*(one.view(f"u{one.itemsize}") for one in made), strict=True)]


def checks_of(row: dict[str, Any], life: dict[str, Any]) -> str:
    entry = next(e for e in vel.operations(row["name"]) if e.results + e.operands == len(row["signature"]))
    plain, aware = (results_of(row, life, entry.results, aware=aware) for aware in (False, True))
    checks = Checks()
    for answer in life["answers"][:2]:
        checks.add(int(answer))
    text = ""
    answers = iter(life["answers"][2:])
    for forms in zip(plain, aware, strict=True):
        for numbers in forms:
            checks.add(int(next(answers)))
            for number in numbers:
                checks.add(number)
        text += checks.character()
    return text


@pytest.fixture(scope="module")
def samples() -> list[dict[str, Any]]:
    tool = ROOT / "build/release/checks/bits"
    lines = subprocess.run([tool, "--samples"], capture_output=True, check=True, text=True).stdout.splitlines()
    return [json.loads(line) for line in lines]


def test_every_row_has_the_recorded_bits(samples: list[dict[str, Any]]) -> None:
    recorded = dict(line.rsplit(" ", 1) for line in (ROOT / "checks/bits.txt").read_text().splitlines())
    is_same_library = recorded["math library"] == samples[0]["math_library"]
    wrong = []
    for row in samples[1:]:
        title = f"{row['name']} {row['signature']}"
        if row["reads_clock"]:
            continue
        first, last = (checks_of(row, life) for life in row["lives"])
        if not row["uses_math_library"] or is_same_library:
            wrong += [title] if first != recorded[title][: len(first)] else []
        wrong += [title + ", last life"] if last != row["lives"][1]["checks"] else []
    assert not wrong
    assert len(samples) > 700
