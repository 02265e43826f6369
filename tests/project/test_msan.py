"""scripts/test-msan changes lines in a copy of the sources, which have to be as it expects."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]


def test_the_lines_that_are_changed_are_there_once():
    script = (ROOT / "scripts" / "test-msan").read_text()
    changes = re.findall(r'^replace\("([^"]+)",\s+"([^"]+)"', script, re.MULTILINE)
    assert len(changes) == 3
    for source, text in changes:
        assert (ROOT / source).read_text().count(text.replace("\\n", "\n")) == 1, source
