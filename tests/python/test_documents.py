"""The pieces of the guide run, one after the other, and so do the lines of the README."""

import re

import ravelo
from conftest import ROOT, frame_named


def pieces_of(document):
    return re.findall(r"^```python\n(.*?)^```", (ROOT / document).read_text(), re.MULTILINE | re.DOTALL)


def test_the_readmes_five_lines_run(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "frame.rvl").write_bytes(frame_named("422_progressive"))
    # The second piece is for a cluster; scripts/test-farm runs it.
    lines, farm = pieces_of("README.md")
    assert len(lines.splitlines()) == len(farm.splitlines()) == 5 and "ravelo.farm" in farm
    names = {}
    exec(lines, names)
    assert names["small"].shape == (32, 48, 2) and names["report"].failed == 0
    copy = ravelo.decode((tmp_path / "copy.rvl").read_bytes(), form="rgba")
    assert copy.shape == names["picture"].shape
    # Index 4 loses little.
    assert abs(copy.astype(int) - names["picture"]).mean() < 2


def test_the_guides_pieces_run(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "frame.rvl").write_bytes(frame_named("422_progressive"))
    for number in (1, 2, 4):
        (tmp_path / f"shot.{number:04}.rvl").write_bytes(frame_named("422_progressive"))
    pieces = pieces_of("docs/python.md")
    assert len(pieces) >= 7
    names = {}
    for piece in pieces:
        exec(piece, names)
    assert names["canvas"][:64, :96].any() and (names["canvas"][63::-1, :96] == names["canvas"][64:, 96:]).all()
    assert not names["canvas"][:64, 96:].any()
    assert names["shot"].missing == [3] and names["last"].shape == (32, 48, 2)
    assert names["report"].failed > 0
