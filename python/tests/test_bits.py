"""Every row of every operation gives through Python the bits that the C++ side has recorded."""

import json
import string
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt

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


def make(row: dict[str, Any], parameters: dict[str, Any], *, aware: bool) -> vel.Operation | None:
    """Make the operation; None where this form never computes."""
    own = {"own_result_over_gaps": True} if row["name"] in ("Min", "Max") else {}
    try:
        return vel.Operation(row["name"], row["signature"], aware=aware, **own, **parameters)
    except vel.Error as error:
        if "never computes in this form" in str(error):
            return None
        if aware and "has no effect here" in str(error):
            return make(row, {}, aware=True)
        raise


def results_of(row: dict[str, Any], life: dict[str, Any], results: int, *, aware: bool) -> list[list[int]]:
    """Give the bits of the results, row by row; check the statuses on the way."""
    letters: str = row["signature"]
    operation = make(row, life["parameters"], aware=aware)
    if operation is None:
        empty = [np.array(NO_VALUES[letter]).view(f"u{DTYPES[letter].itemsize}") for letter in letters[:results]]
        return [[int(sample) for sample in empty]] * len(life["operands"])
    operands = zip(zip(*life["operands"], strict=True), letters[results:], strict=True)
    columns = [column(list(numbers), letter, has_mask=aware) for numbers, letter in operands]
    computed, status = operation(*columns, status=True)
    for code, answer in zip(status, life["answers"][3 if aware else 2 :: 2], strict=True):
        assert code == vel.Status.NO_VALUE or (code == vel.Status.COMPUTED) == (answer == "1")
    made = [np.ma.getdata(result) for result in (computed if results > 1 else [computed])]
    return [list(map(int, numbers)) for numbers in zip(*(one.view(f"u{one.itemsize}") for one in made), strict=True)]


def checks_of(life: dict[str, Any], plain: list[list[int]], aware: list[list[int]]) -> str:
    """Hash the results as the record has them."""
    checks = Checks()
    answers = map(int, life["answers"])
    checks.add(next(answers))
    checks.add(next(answers))
    text = ""
    for forms in zip(plain, aware, strict=True):
        for numbers in forms:
            checks.add(next(answers))
            for number in numbers:
                checks.add(number)
        text += checks.character()
    return text


def test_every_row_has_the_recorded_bits() -> None:
    tool = ROOT / "build/release/checks/bits"
    lines = subprocess.run([tool, "--samples"], capture_output=True, check=True, text=True).stdout.splitlines()
    recorded = dict(line.rsplit(" ", 1) for line in (ROOT / "checks/bits.txt").read_text().splitlines())
    assert len(lines) == len(recorded)
    is_same_library = recorded["math library"] == json.loads(lines[0])["math_library"]
    wrong = []
    for line in lines[1:]:
        row = json.loads(line)
        if row["reads_clock"]:
            continue
        title = f"{row['name']} {row['signature']}"
        results = next(
            e.results for e in vel.operations(row["name"]) if e.results + e.operands == len(row["signature"])
        )
        for number, life in enumerate(row["lives"]):
            plain, aware = (results_of(row, life, results, aware=aware) for aware in (False, True))
            if plain != life["plain"] or aware != life["aware"]:
                wrong.append(f"{title}, life {number}")
            if number == 0 and (is_same_library or not row["uses_math_library"]):
                checks = checks_of(life, plain, aware)
                assert recorded[title].startswith(checks), title
    assert not wrong
