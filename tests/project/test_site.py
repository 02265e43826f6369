"""scripts/docs makes pages that are well-formed and linked, and warns of each fault that is planted."""

import os
import pathlib
import shutil
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent

try:
    import html5lib
    import markdown  # noqa: F401
except ImportError:
    pytest.skip("python3-markdown or python3-html5lib is missing", allow_module_level=True)


def docs(root, site):
    command = [sys.executable, root / "scripts/docs", "--pages", "--output", site]
    return subprocess.run(command, capture_output=True, text=True, check=False)


@pytest.fixture(scope="module")
def site(tmp_path_factory):
    folder = tmp_path_factory.mktemp("documents") / "site"
    made = docs(ROOT, folder)
    assert made.returncode == 0 and not made.stderr, made.stderr
    return folder


def test_every_document_has_a_page_that_parses(site):
    names = [path.name for path in (ROOT / "docs").glob("*.md")]
    pages = ["index.html", "SECURITY.html", "reference/python.html", *(f"docs/{name[:-3]}.html" for name in names)]
    for page in pages:
        with open(site / page, "rb") as file:
            tree = html5lib.HTMLParser(strict=True, namespaceHTMLElements=False).parse(file)
        assert tree.find("body/main//h1") is not None, page


def test_links_between_documents_lead_to_pages(site):
    text = (site / "index.html").read_text(encoding="utf-8")
    for target in ("docs/host-guide.html", "docs/farm.html", "SECURITY.html", "LICENSE.txt", "docs/images/sizes.jpg"):
        assert f'"{target}"' in text
    assert '"sequences.html"' in (site / "docs/farm.html").read_text(encoding="utf-8")
    assert (site / "docs/images/sizes.jpg").read_bytes() == (ROOT / "docs/images/sizes.jpg").read_bytes()


def test_the_reference_has_every_public_name_of_python(site):
    text = (site / "reference/python.html").read_text(encoding="utf-8")
    for name in ("info", "check", "decode", "decode_with_report", "encode", "Sequence", "Error", "Info",
                 "farm.sequence_array", "farm.map_frames", "farm.decode_sequence"):
        assert f'id="ravelo.{name}"' in text
    assert "max_read_factor: Optional[int] = None" in text
    assert "_new_arrays" not in text


@pytest.fixture
def copy(tmp_path):
    folder = tmp_path / "project"
    folder.mkdir()
    for name in ("docs", "python", "scripts", "cmake"):
        shutil.copytree(ROOT / name, folder / name)
    for name in ("README.md", "SECURITY.md", "CONTRIBUTING.md", "CHANGELOG.md", "LICENSE", "CMakeLists.txt"):
        shutil.copyfile(ROOT / name, folder / name)
    return folder


def add(folder, name, text):
    with open(folder / name, "a", encoding="utf-8") as file:
        file.write(text)


def test_each_planted_fault_is_a_warning(copy, tmp_path):
    add(copy, "README.md", "\n[gone](docs/gone.md)\n")
    add(copy, "docs/farm.md", "\n[here](sequences.md#no-such-heading)\n")
    add(copy, "docs/python.md", "\nA list:\n- without an empty line\n")
    add(copy, "SECURITY.md", "\n![picture](docs/images/gone.jpg)\n")
    add(copy, "docs/new.md", "# New\n")
    add(copy, "python/ravelo/farm.py", "\n\ndef bare(value: int) -> int:\n    return value\n")
    add(copy, "python/ravelo/farm.py", '\n\ndef vague(value: int) -> int:\n    """Something."""\n    return value\n')
    made = docs(copy, tmp_path / "site")
    assert made.returncode == 1
    expected = [
        "README.md: the link to docs/gone.md leads to no page of the site",
        "docs/farm.html: the link to sequences.html#no-such-heading leads to no heading",
        "docs/python.md: markup stays text: - without an empty line",
        "SECURITY.html: the link to docs/images/gone.jpg leads nowhere",
        "docs/new.md: the menu of the site does not name it",
        "ravelo.farm.bare: there is no docstring",
        "ravelo.farm.vague: its docstring says nothing about value",
    ]
    found = made.stderr.splitlines()
    for words in expected:
        assert f"warning: {words}" in found
    # And the link to the page that is not there.
    assert len(found) == len(expected) + 1, made.stderr


def test_a_folder_with_other_content_is_left_alone(tmp_path):
    (tmp_path / "precious").write_text("x")
    made = docs(ROOT, tmp_path)
    assert made.returncode != 0 and os.listdir(tmp_path) == ["precious"]
