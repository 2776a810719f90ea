"""What the reference of the operations says, as docstrings."""

from __future__ import annotations

import ast
import dataclasses
import functools
import importlib.resources
import itertools
import re
import textwrap

import numpy as np

from veloperation._columns import DTYPES, NO_VALUES
from veloperation._vocabulary import OperationInfo, operations

WIDTH = 116
COUNTS = {1: "one operand", 2: "two operands", 3: "three operands"}


@dataclasses.dataclass
class Section:
    """The reference's section of one operation."""

    summary: str
    cells: dict[str, str]
    remarks: list[str]
    examples: list[str]


@functools.cache
def sections() -> dict[str, Section]:
    """Read the reference: sections by heading."""
    page = importlib.resources.files("veloperation").joinpath("operations.md").read_text("utf-8")
    found = {}
    for part in re.split(r"^### ", page, flags=re.MULTILINE)[1:]:
        heading, _, text = part.partition("\n")
        text = text.partition("\n## ")[0]  # what introduces the next chapter
        paragraphs = [paragraph.strip() for paragraph in text.split("\n\n")]
        paragraphs = [paragraph for paragraph in paragraphs if paragraph]
        table = next((paragraph for paragraph in paragraphs if paragraph.startswith("| | |")), None)
        if table is None:
            continue
        rows = [line.strip("| ").split(" | ", 1) for line in table.splitlines()[2:]]
        place = paragraphs.index(table)
        found[heading] = Section(
            " ".join(paragraphs[:place]),
            {name: _plain(text) for name, text in rows},
            [
                _plain(text if re.search(r"^[-|0-9 ]", text, re.MULTILINE) else text.replace("\n", " "))
                for text in paragraphs[place + 1 :]
                if not text.startswith("Example")
            ],
            [text.replace("\n", " ") for text in paragraphs[place + 1 :] if text.startswith("Example")],
        )
    return found


def section(entry: OperationInfo) -> Section:
    """Find the section of an operation."""
    is_alone = len(operations(entry.name)) == 1
    return sections()[entry.name if is_alone else f"{entry.name} ({COUNTS[entry.operands]})"]


def channel_names(entry: OperationInfo) -> list[str]:
    """Name the results, then the operands, as words that Python takes for names."""
    _, _, text = section(entry).cells["Signature"].partition(": ")
    names = [re.sub(r"\W+", "_", name.strip()).strip("_") for name in text.split(",")]
    count = entry.results + entry.operands
    if len(names) != count or len(set(names)) != count or not all(name.isidentifier() for name in names):
        names = [f"result{i + 1}" for i in range(entry.results)] + [f"operand{i + 1}" for i in range(entry.operands)]
    return names


def docstring(name: str) -> str:
    """Describe an operation, in all of its forms."""
    forms = operations(name)
    parts = [" ".join(section(entry).summary for entry in forms), ""]
    parts += ["Parameters", "----------"]
    for entry in forms:
        suffix = "" if len(forms) == 1 else f", with {COUNTS[entry.operands]}"
        for operand in channel_names(entry)[entry.results :]:
            parts.append(f"{operand} : channel or number{suffix}")
        for parameter in entry.parameters:
            parts.append(f"{parameter.name} : {parameter.default}{suffix}")
            parts.append(_indented(f"In {parameter.unit}: {parameter.meaning}."))
    parts += ["", "Returns", "-------"]
    for entry in forms:
        suffix = "" if len(forms) == 1 else f", with {COUNTS[entry.operands]}"
        for result in channel_names(entry)[: entry.results]:
            parts.append(f"{result} : channel{suffix}")
    parts += ["", "Notes", "-----"]
    for entry in forms:
        if len(forms) > 1:
            parts += [f"*With {COUNTS[entry.operands]}*", ""]
        for title, text in section(entry).cells.items():
            if title != "Parameters":
                parts += [_filled(f"**{title}**: {text}"), ""]
        for remark in section(entry).remarks:
            parts += [_filled(remark), ""]
    code = [line for entry in forms for example in section(entry).examples for line in _code(name, example)]
    if not forms[0].operands:
        code = [f'>>> bool(vel.Operation("{name}", "D")(rows=1) > 0)', "True"]
    parts += ["Examples", "--------", ">>> import veloperation as vel", *code]
    return "\n".join(parts).rstrip() + "\n"


def _plain(text: str) -> str:
    text = text.replace("<br>", "\n").replace("\\|", "|")
    return re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", text)


def _filled(text: str) -> str:
    return "\n".join(
        textwrap.fill(line, WIDTH, break_long_words=False, break_on_hyphens=False) for line in text.splitlines()
    )


def _indented(text: str) -> str:
    return textwrap.indent(_filled(text), "    ")


EXAMPLE = re.compile(r"Example( \(plain\))?: `(\w+)`(?: with `\{ ([^`]*) \}`)?(?: and NoValue (\S+))?: (.*)")


def _code(name: str, example: str) -> list[str]:
    """Write an example as a call of Python, with the results that the reference gives."""
    parts = EXAMPLE.fullmatch(example)
    if parts is None:
        raise ValueError(f"{name}: {example}")
    plain, signature, parameters, no_value, steps = parts.groups()
    kept = list(itertools.takewhile(lambda step: not no_value or plain or no_value not in step, steps.split("; ")))
    if all(step.endswith(" refused") for step in kept):  # such an operation is not even made
        return []
    entry = next(entry for entry in operations(name) if entry.results + entry.operands == len(signature))
    operands: list[list[str]] = [[] for _ in range(entry.operands)]
    results: list[list[str]] = [[] for _ in range(entry.results)]
    for step in kept:
        given, _, made = step.partition(" → ")
        for column, text in zip(operands, _cells(given), strict=True):
            column.append({"NoValue": "None", "NaN": "None"}.get(text, f'float("{text}")' if "inf" in text else text))
        for index, (column, letter) in enumerate(zip(results, signature, strict=False)):
            if made in ("no write", "refused"):
                column.append(column[-1] if column else _shown("NoValue", letter))
            else:
                text = made if made == "NoValue" else _cells(made)[index]
                column.append(_shown("NoValue" if not plain and text == str(NO_VALUES[letter]) else text, letter))
    given = "".join(f", {_as_python(text)}" for text in re.split(r", (?=\w+ =)", parameters or "") if text)
    options = ", aware=False" if plain else ""
    if name in ("Min", "Max") and entry.operands == 1 and not plain and "NoValue" in steps:
        options += ", own_result_over_gaps=True"
    made = [f"[{', '.join(column)}]" for column in results]
    call = "operation(" + ", ".join(f"[{', '.join(column)}]" for column in operands) + ")"
    lines = [f'>>> operation = vel.Operation("{name}", "{signature}"{options}{given})']
    if entry.results == 1:
        return [*lines, f">>> {call}.tolist()", made[0]]
    return [*lines, f">>> [result.tolist() for result in {call}]", f"[{', '.join(made)}]"]


def _cells(text: str) -> list[str]:
    return text[1:-1].split(", ") if text.startswith("(") else [text]


def _shown(text: str, letter: str) -> str:
    """Say how Python shows a sample."""
    if DTYPES[letter].kind != "f":
        return "None" if text == "NoValue" else text
    number = float("nan") if text == "NoValue" else float(text)
    return repr(float(np.float32(number)) if letter == "F" else number)


def _as_python(text: str) -> str:
    name, _, value = text.partition(" = ")
    value = {"true": "True", "false": "False"}.get(value, value)
    ast.literal_eval(value)
    return f"{name}={value}"
