"""The pages about Python: what they show is what comes."""

import doctest
import re
from pathlib import Path
from typing import Any

import nbformat
import pytest
from nbclient import NotebookClient

ROOT = Path(__file__).parents[2]


PAGES = [("README.md", 3), ("docs/python.md", 16), ("docs/python-plans.md", 16), ("docs/fleets.md", 15)]


@pytest.mark.parametrize(("name", "least"), PAGES)
def test_examples_run(name: str, least: int, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    monkeypatch.setenv("MPLBACKEND", "Agg")
    page = (ROOT / name).read_text("utf-8")
    blocks = re.findall(r"^```python\n(.*?)^```", page, re.MULTILINE | re.DOTALL)
    test = doctest.DocTestParser().get_doctest("".join(blocks), {}, name, None, 0)
    messages: list[str] = []
    doctest.DocTestRunner(optionflags=doctest.NORMALIZE_WHITESPACE).run(test, out=messages.append)
    assert not messages, "".join(messages)
    assert len(test.examples) >= least
    assert name != "docs/python.md" or (tmp_path / "speed.png").stat().st_size > 10_000


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
