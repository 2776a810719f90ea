"""The pages about Python: what they show is what comes."""

import doctest
import re
from pathlib import Path
from typing import Any

import nbformat
import pytest
from nbclient import NotebookClient

ROOT = Path(__file__).parents[2]


def test_examples_of_plans_run() -> None:
    page = (ROOT / "docs/python-plans.md").read_text("utf-8")
    blocks = re.findall(r"^```python\n(.*?)^```", page, re.MULTILINE | re.DOTALL)
    test = doctest.DocTestParser().get_doctest("".join(blocks), {}, "python-plans.md", None, 0)
    messages: list[str] = []
    doctest.DocTestRunner(optionflags=doctest.NORMALIZE_WHITESPACE).run(test, out=messages.append)
    assert not messages, "".join(messages)
    assert len(test.examples) > 15


def texts_of(notebook: Any) -> list[str]:
    """Give what the cells print, which pictures are not part of."""
    return [
        output.get("text") or output["data"].get("text/plain", "")
        for cell in notebook.cells
        for output in cell.get("outputs", [])
        if "image/png" not in output.get("data", {})
    ]


@pytest.mark.filterwarnings("ignore::DeprecationWarning")
def test_the_notebook_of_the_drive_shows_what_comes() -> None:
    file = ROOT / "examples/drive/drive.ipynb"
    kept = nbformat.read(file, as_version=4)  # type: ignore[no-untyped-call]
    run = nbformat.read(file, as_version=4)  # type: ignore[no-untyped-call]
    NotebookClient(run, timeout=120, resources={"metadata": {"path": file.parent}}).execute()
    assert texts_of(run) == texts_of(kept)
    assert sum("image/png" in output.get("data", {}) for cell in run.cells for output in cell.get("outputs", [])) == 2
