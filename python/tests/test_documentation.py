"""What help says: that it is there, that its examples run, and that it is what the reference says."""

import doctest
import inspect
import re
from pathlib import Path
from typing import Any

import pytest

import veloperation as vel
from veloperation import _reference

DOCS = Path(__file__).parents[2] / "docs"
FLAGS = doctest.NORMALIZE_WHITESPACE | doctest.ELLIPSIS
NAMES = sorted({entry.name for entry in vel.operations()})


def run_examples(text: str, name: str, names: dict[str, Any]) -> int:
    test = doctest.DocTestParser().get_doctest(text, names, name, None, 0)
    messages: list[str] = []
    doctest.DocTestRunner(optionflags=FLAGS).run(test, out=messages.append)
    assert not messages, "".join(messages)
    return len(test.examples)


def public() -> list[tuple[str, Any]]:
    found: list[tuple[str, Any]] = []
    names = {name: getattr(vel, name) for name in vel.__all__}
    names |= {f"fleet.{name}": getattr(vel.fleet, name) for name in vel.fleet.__all__}
    for name, thing in names.items():
        if inspect.isclass(thing) or inspect.isroutine(thing):
            found.append((name, thing))
        if inspect.isclass(thing):
            for member, value in vars(thing).items():
                if inspect.isroutine(value) and (member == "__call__" or not member.startswith("_")):
                    found.append((f"{name}.{member}", value))
    return found


@pytest.mark.parametrize(("name", "thing"), public(), ids=lambda value: value if isinstance(value, str) else "")
def test_public_names_have_examples_that_run(name: str, thing: Any) -> None:
    text = inspect.getdoc(thing)
    assert text
    assert run_examples(text, name, {}) > 0


@pytest.mark.parametrize("name", NAMES)
def test_operations_say_what_the_reference_says(name: str) -> None:
    page = (DOCS / "operations.md").read_text("utf-8")
    text = getattr(vel.op, name).__doc__
    said = " ".join(text.split())
    forms = vel.operations(name)
    for entry in forms:
        count = {1: "one operand", 2: "two operands", 3: "three operands"}[entry.operands] if len(forms) > 1 else ""
        heading = f"### {name} ({count})\n" if count else f"### {name}\n"
        section = page.split(heading)[1].split("\n### ")[0].split("\n## ")[0]
        summary = section.split("| | |")[0].strip()
        assert " ".join(summary.split()) in said
        for title in ("Computes", "NoValue-aware", "Refuses", "State"):
            cell = re.search(rf"^\| {title} \| (.*) \|$", section, re.MULTILINE)
            assert cell is not None
            words = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", cell[1]).replace("<br>", " ").replace("\\|", "|")
            assert f"**{title}**: {' '.join(words.split())}" in said
        for parameter in entry.parameters:
            assert f"`{parameter.name}`" in section
            assert f"{parameter.name} : {parameter.default}" in text
            assert parameter.meaning in said
        for paragraph in page.split(heading)[1].split("\n### ")[0].partition("\n## ")[2].split("\n\n")[1:]:
            assert not paragraph or " ".join(paragraph.split()) not in said  # it introduces the next chapter
    assert run_examples(text, name, {}) > 1


def test_operations_are_found_and_no_others() -> None:
    assert dir(vel.op) == sorted(NAMES)
    assert vel.op.Max.__name__ == "Max"
    assert str(inspect.signature(vel.op.PosEdge)) == "(operand, /, *, threshold=Ellipsis, initial_value=Ellipsis)"
    with pytest.raises(AttributeError, match="Maxx"):
        vel.op.__getattr__("Maxx")
    assert len(_reference.sections()) == len(vel.operations())
    table = repr(vel.operations()).splitlines()
    assert len(table) == len(vel.operations()) + 2
    assert vel.operations()._repr_html_().count("<tr>") == len(vel.operations()) + 1
