"""The pieces of the guide run, one after the other."""

import re

from conftest import ROOT, frame_named


def test_the_guides_pieces_run(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "frame.rvl").write_bytes(frame_named("422_progressive"))
    for number in (1, 2, 4):
        (tmp_path / f"shot.{number:04}.rvl").write_bytes(frame_named("422_progressive"))
    pieces = re.findall(r"^```python\n(.*?)^```", (ROOT / "docs/python.md").read_text(), re.MULTILINE | re.DOTALL)
    assert len(pieces) >= 7
    names = {}
    for piece in pieces:
        exec(piece, names)
    assert names["canvas"][:64, :96].any() and (names["canvas"][63::-1, :96] == names["canvas"][64:, 96:]).all()
    assert not names["canvas"][:64, 96:].any()
    assert names["shot"].missing == [3] and names["last"].shape == (32, 48, 2)
    assert names["report"].failed > 0
