"""scripts/release makes the same files everywhere, and refuses each fault that is planted."""

import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile

import pytest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))
import project_facts  # noqa: E402

CONTACT = "Ravelo Maintainers <maintainers@raveloopt.dev>"
CHANGELOG = """# Changelog

All notable changes.

## [Unreleased]

## [2.1.0] - 2026-03-01

### Added

- A thing that takes
  two lines.

### Fixed

- Another.

## [2.0.0] - 2026-02-01

### Added

- Everything.
"""
DEBIAN = {
    "debian/control": f"Source: raveloopt\nMaintainer: {CONTACT}\n",
    "debian/changelog": "raveloopt (2.1.0) unstable; urgency=medium\n\n  * Release.\n\n"
    f" -- {CONTACT}  Sun, 01 Mar 2026 00:00:00 +0000\n",
    "debian/copyright": "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n\n"
    "Files: *\nCopyright: 2026 Somebody\nLicense: Expat\n text\n\n"
    "Files: docs/images/*\nCopyright: 2020 A Photographer\nLicense: CC0-1.0\n",
}
CONTACT_FILES = ["cmake/RaveloPackages.cmake", "SECURITY.md", "debian/control", "debian/changelog"]

pytestmark = pytest.mark.skipif(shutil.which("git") is None, reason="there is no git")


def git(folder, *arguments, date="2026-03-01T12:00:00Z"):
    environment = dict(os.environ, GIT_CONFIG_GLOBAL="/dev/null", GIT_CONFIG_NOSYSTEM="1",
                       GIT_AUTHOR_DATE=date, GIT_COMMITTER_DATE=date)
    names = ["-c", "user.name=Somebody", "-c", "user.email=somebody@raveloopt.dev"]
    subprocess.run(["git", *names, *arguments], cwd=folder, env=environment, check=True, capture_output=True)


def write(folder, files):
    for name, text in files.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_text(text, encoding="utf-8")


def commit(folder):
    git(folder, "add", "--all")
    git(folder, "commit", "--quiet", "--message", "Change")


def release(folder, *arguments):
    command = [sys.executable, folder / "scripts/release", *arguments]
    return subprocess.run(command, capture_output=True, text=True, check=False)


@pytest.fixture(scope="module")
def template(tmp_path_factory):
    folder = tmp_path_factory.mktemp("template") / "project"
    write(folder, {
        "CMakeLists.txt": 'cmake_minimum_required(VERSION 3.25)\nproject(RaveloOpt VERSION 2.1.0 DESCRIPTION "x" LANGUAGES C)\n',
        "cmake/RaveloPackages.cmake": f'set(RAVELO_PACKAGE_CONTACT "{CONTACT}" CACHE STRING "Who answers")\n',
        "SECURITY.md": f"Write to {CONTACT}.\n",
        "CHANGELOG.md": CHANGELOG,
        ".gitignore": "/out/\n",
        "docs/images/photo.jpg": "pixels",
        "docs/größe.md": "a name that is not ASCII\n",
        **DEBIAN,
    })
    shutil.copyfile(ROOT / "LICENSE", folder / "LICENSE")
    for name in ("release", "project_facts.py", "install-dependencies", "set-contact"):
        (folder / "scripts").mkdir(exist_ok=True)
        shutil.copy(ROOT / "scripts" / name, folder / "scripts" / name)
    git(folder, "init", "--quiet", "--initial-branch=main")
    commit(folder)
    return folder


@pytest.fixture
def project(template, tmp_path):
    folder = tmp_path / "project"
    shutil.copytree(template, folder)
    return folder


def test_the_files_depend_on_the_commit_alone(project, tmp_path, monkeypatch):
    made = release(project, "2.1.0")
    assert made.returncode == 0, made.stderr
    elsewhere = tmp_path / "a folder of another name"
    git(tmp_path, "clone", "--quiet", project, elsewhere)
    os.utime(elsewhere / "LICENSE", (0, 0))
    os.chmod(elsewhere / "LICENSE", 0o600)
    monkeypatch.setenv("TZ", "Asia/Tokyo")
    monkeypatch.setenv("LC_ALL", "C")
    assert release(elsewhere, "2.1.0", "--output", str(tmp_path / "files")).returncode == 0
    names = ["SHA256SUMS", "raveloopt-2.1.0.spdx.json", "raveloopt-2.1.0.tar.xz"]
    assert sorted(os.listdir(project / "out/release")) == names
    for name in names:
        assert (project / "out/release" / name).read_bytes() == (tmp_path / "files" / name).read_bytes(), name
    subprocess.run(["sha256sum", "--check", "--quiet", "SHA256SUMS"], cwd=tmp_path / "files", check=True)


def test_the_archive_has_what_is_committed(project):
    assert release(project, "2.1.0").returncode == 0
    with tarfile.open(project / "out/release/raveloopt-2.1.0.tar.xz") as archive:
        entries = {entry.name: entry for entry in archive}
        committed = subprocess.run(["git", "ls-files", "-z"], cwd=project, check=True, capture_output=True).stdout.decode()
        assert sorted(entries) == sorted(f"raveloopt-2.1.0/{name}" for name in committed.split("\0") if name)
        assert entries["raveloopt-2.1.0/scripts/release"].mode == 0o755
        assert entries["raveloopt-2.1.0/LICENSE"].mode == 0o644
        for name, entry in entries.items():
            assert entry.uid == entry.gid == 0 and entry.mtime == 1772366400
            assert archive.extractfile(entry).read() == (project / name.split("/", 1)[1]).read_bytes()


def test_the_bill_of_materials_names_every_file_and_package(project):
    made = release(project, "2.1.0")
    assert made.returncode == 0, made.stderr
    document = json.loads((project / "out/release/raveloopt-2.1.0.spdx.json").read_text(encoding="utf-8"))
    archive = (project / "out/release/raveloopt-2.1.0.tar.xz").read_bytes()
    assert document["spdxVersion"] == "SPDX-2.3" and document["dataLicense"] == "CC0-1.0"
    assert document["creationInfo"]["created"] == "2026-03-01T12:00:00Z"
    package, *dependencies = document["packages"]
    assert package["checksums"][0]["checksumValue"] == hashlib.sha256(archive).hexdigest()
    assert package["supplier"] == "Organization: Ravelo Maintainers (maintainers@raveloopt.dev)"
    assert package["licenseConcluded"] == "CC0-1.0 AND MIT"
    for entry in document["files"]:
        content = (project / entry["fileName"]).read_bytes()
        sums = {item["algorithm"]: item["checksumValue"] for item in entry["checksums"]}
        assert sums == {"SHA1": hashlib.sha1(content).hexdigest(), "SHA256": hashlib.sha256(content).hexdigest()}
        assert entry["licenseConcluded"] == ("CC0-1.0" if "images" in entry["fileName"] else "MIT")
    # The verification code of SPDX: the SHA-1 of the sorted SHA-1 sums of all files.
    sums = sorted(entry["checksums"][0]["checksumValue"] for entry in document["files"])
    code = hashlib.sha1("".join(sums).encode()).hexdigest()
    assert package["packageVerificationCode"]["packageVerificationCodeValue"] == code
    names = {item["name"] for item in dependencies}
    assert {"libtbb-dev", "g++", "libgtest-dev"} <= names
    identities = [item["SPDXID"] for item in [document, *document["packages"], *document["files"]]]
    assert len(set(identities)) == len(identities)
    assert all(re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", identity) for identity in identities)
    for relation in document["relationships"]:
        assert relation["spdxElementId"] in identities and relation["relatedSpdxElement"] in identities


def replaced(name, old, new):
    def plant(folder):
        text = (folder / name).read_text(encoding="utf-8")
        assert old in text
        write(folder, {name: text.replace(old, new, 1)})
        commit(folder)
    return plant


def with_old_tag(folder):
    git(folder, "tag", "v2.1.0")
    write(folder, {"new.txt": "later"})
    commit(folder)


CHANGES = "CHANGELOG.md"
FAULTS = {
    "an untracked file": (lambda folder: write(folder, {"new.txt": "x"}), "not clean: ?? new.txt"),
    "a changed file": (lambda folder: write(folder, {"LICENSE": "x"}), "not clean: M LICENSE"),
    "no repository": (lambda folder: shutil.rmtree(folder / ".git"), "not a git repository"),
    "a tag on another commit": (with_old_tag, "v2.1.0 is on another commit"),
    "another version of CMake": (replaced("CMakeLists.txt", "2.1.0", "2.1.1"), "the version is 2.1.1, not 2.1.0"),
    "an older changelog": (replaced(CHANGES, "## [2.1.0]", "## [2.0.9]"), "newest version is 2.0.9"),
    "unreleased changes": (replaced(CHANGES, "eased]\n", "eased]\n\n### Added\n\n- More.\n"), "1 changes are unreleased"),
    "a heading without a date": (replaced(CHANGES, "[2.0.0] - 2026-02-01", "[2.0.0]"), "'## [2.0.0]' is neither"),
    "a date that is to come": (replaced(CHANGES, "2026-03-01", "2999-03-01"), "which is yet to come"),
    "another maintainer": (replaced("debian/control", "maintainers@", "others@"), "debian/control: does not name"),
    "another address for reports": (replaced("SECURITY.md", "maintainers@", "others@"), "SECURITY.md: does not name"),
    "somebody else's entry": (replaced("debian/changelog", "maintainers@", "others@"), "debian/changelog: does not name"),
    "another version of Debian": (replaced("debian/changelog", "(2.1.0)", "(2.0.0)"), "the newest version is 2.0.0, not 2.1.0"),
    "unreleased for Debian": (replaced("debian/changelog", "unstable", "UNRELEASED"), "newest version is UNRELEASED"),
    "a licence without a name": (replaced("debian/copyright", "Expat", "Mystery"), "the licence Mystery has no name"),
}


@pytest.mark.parametrize("fault", FAULTS)
def test_a_planted_fault_is_refused(project, fault):
    plant, message = FAULTS[fault]
    plant(project)
    refused = release(project, "2.1.0")
    assert refused.returncode == 1 and message in refused.stderr
    # It is the only one that is found.
    assert len(refused.stderr.splitlines()) == 1, refused.stderr
    assert not (project / "out").exists()


CONTACTS = {
    "Somebody <somebody@example.org>": "a placeholder: no mail reaches example.org",
    "Somebody <somebody@mail.invalid>": "a placeholder: no mail reaches mail.invalid",
    "Somebody <somebody@localhost>": "must be 'Name <address>'",
    "Somebody": "must be 'Name <address>'",
    "<somebody@raveloopt.dev>": "must be 'Name <address>'",
}


@pytest.mark.parametrize("contact", CONTACTS)
def test_a_contact_that_nobody_reads_is_refused(project, contact):
    for path in (project / name for name in CONTACT_FILES):
        path.write_text(path.read_text(encoding="utf-8").replace(CONTACT, contact), encoding="utf-8")
    commit(project)
    refused = release(project, "2.1.0")
    assert refused.returncode == 1 and not (project / "out").exists()
    assert CONTACTS[contact] in refused.stderr and len(refused.stderr.splitlines()) == 1


# These need no repository, so the form is read in this process.
FORMS = {
    "a date that does not exist": ("2026-02-01", "2026-02-31", "2026-02-31, which does not exist"),
    "dates in disorder": ("2026-02-01", "2026-04-01", "2.0.0 is dated later"),
    "versions in disorder": ("[2.0.0]", "[2.2.0]", "2.2.0 is not older"),
    "an unknown kind of change": ("### Fixed", "### Improved", "'### Improved' is not one of"),
    "a kind twice": ("### Fixed", "### Added", "'### Added' is there twice"),
    "a kind without changes": ("- Another.\n", "", "'### Fixed' has no entry"),
    "a change of no kind": ("### Added\n", "", "a change is under no kind"),
    "text instead of a list": ("- Everything.", "- Much.\nAnd more.", "not an entry of a list"),
    "another title": ("# Changelog", "News", "the first line is not"),
}


@pytest.mark.parametrize("fault", FORMS)
def test_a_planted_fault_of_the_form_is_found(fault):
    old, new, message = FORMS[fault]
    assert old in CHANGELOG and not project_facts.Changelog(CHANGELOG).problems
    problem, = project_facts.Changelog(CHANGELOG.replace(old, new, 1)).problems
    assert problem.startswith("CHANGELOG.md:") and message in problem


def test_set_contact_changes_every_file_that_names_the_contact(project):
    subprocess.run([project / "scripts/set-contact", "Somebody Else <else@raveloopt.dev>"], check=True)
    commit(project)
    assert release(project, "2.1.0", "--check").returncode == 0
    for name in CONTACT_FILES:
        text = (project / name).read_text(encoding="utf-8")
        assert "else@raveloopt.dev" in text and CONTACT not in text


def test_all_faults_are_listed_at_once(project):
    write(project, {"new.txt": "x", "CHANGELOG.md": CHANGELOG.replace("2.1.0", "2.0.5"), CONTACT_FILES[0]: ""})
    refused = release(project, "2.2.0", "--check")
    problems = ("the version is 2.1.0, not 2.2.0", "newest version is 2.0.5", "RAVELO_PACKAGE_CONTACT is not set", "?? new.txt")
    for words in problems:
        assert words in refused.stderr


def test_the_projects_own_changelog_has_the_form():
    checked = release(ROOT, "--form")
    assert checked.returncode == 0, checked.stderr


def test_reports_go_to_the_contact_of_the_packages():
    section = (ROOT / "SECURITY.md").read_text(encoding="utf-8").split("## Reporting a vulnerability")[1]
    variable = (ROOT / CONTACT_FILES[0]).read_text(encoding="utf-8")
    contact = re.search(r'^set\(RAVELO_PACKAGE_CONTACT "([^"]*)"', variable, re.MULTILINE)
    assert "in private" in section and contact[1] in section
