"""The page of a result: the same as velreplay's."""

import subprocess
from pathlib import Path

import pyarrow as pa
import pytest

import veloperation as vel

ROOT = Path(__file__).parents[2]
REPLAY = ROOT / "build/release/velreplay/velreplay"


def test_is_velreplays_and_needs_data_that_can_be_read_again(tmp_path: Path) -> None:
    page = tmp_path / "page.html"
    plan = vel.Plan()
    plan["twice"] = plan.input("v", vel.Float64) * 2
    table = pa.table({"v": [1.0, 2.0, None]})
    kept = plan.replay(table).read()
    try:
        kept.page(page)
    except vel.Error as error:
        assert "make page" in str(error)  # noqa: PT017 - or there is a page
        assert not page.exists()
        pytest.skip("the package was built without pages")
    first = page.read_bytes()
    plan.replay(table).page(page)
    assert page.read_bytes() == first
    with_unit = table.cast(pa.schema([pa.field("v", pa.float64(), metadata={"title": "a", "unit": "m/s²"})]))
    plan.replay(with_unit).page(page)
    assert '[0],"title":"","unit":"m/s²"' in page.read_text("utf-8")
    kept.page(page, begin=2)
    assert b'"rows":2' in page.read_bytes()

    once = plan.replay(table.to_reader())
    once.page(page)
    with pytest.raises(vel.Error, match="read once"):
        once.read()
    with pytest.raises(vel.Error, match="had 3 rows, and have 0 when"):
        plan.replay(table.to_reader()).read().page(page)
    assert page.read_bytes() == first  # the older page stays

    drive = ROOT / "examples/drive/plan.toml"
    recording = ROOT / "build/release/examples/drive-result/recording.csv"
    vel.Plan.load(drive, settings={"speed_limit": 90.0}).replay(vel.open(recording)).page(page)
    here = tmp_path / "velreplay.html"
    options = ["-q", "--set", "speed_limit=90.0", "-o", tmp_path / "r.csv", "--page", here]
    subprocess.run([str(argument) for argument in (REPLAY, drive, recording, *options)], check=True)
    assert here.read_bytes() == page.read_bytes()


def test_replaces_nothing_that_is_read(tmp_path: Path) -> None:
    recording = tmp_path / "recording.csv"
    recording.write_text("v\n1\n2\n")
    link = tmp_path / "link.html"
    link.symlink_to(recording)
    plan = vel.Plan()
    plan["twice"] = plan.input("v", vel.Float64) * 2
    with pytest.raises(vel.Error, match="this is the file that is read as"):
        plan.replay(vel.open(recording)).page(link)
    assert recording.read_text() == "v\n1\n2\n"
    for wrong, message in (({"size": "5MB"}, "'5MB' is no number of bytes"), ({"begin": 2, "end": 1}, "end: what is")):
        with pytest.raises(vel.Error, match=message):
            plan.replay(vel.open(recording)).page(tmp_path / "page.html", **wrong)
