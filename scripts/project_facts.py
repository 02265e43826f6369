"""What scripts/docs and scripts/release read of the project: its version, its contact, and the form of its changelog."""

import datetime
import pathlib
import re

CHANGE_KINDS = ("Added", "Changed", "Deprecated", "Removed", "Fixed", "Security")

# Domains that nobody can receive mail at (RFC 2606 and RFC 6761).
_RESERVED_DOMAIN = re.compile(r"(^|\.)(example\.(org|com|net)|example|invalid|test|local|localhost|localdomain)$", re.IGNORECASE)
_CONTACT = re.compile(r"^[^<>@]*[^<>@\s] <[^<>@\s]+@([^<>@\s]+\.[^<>@\s]+)>$")


def text_of(path):
    return pathlib.Path(path).read_text(encoding="utf-8")


def cmake_version(root):
    """The version that the root CMakeLists.txt states, or None."""
    match = re.search(r"^project\([^)]*?\bVERSION\s+(\d+\.\d+\.\d+)\b", text_of(root / "CMakeLists.txt"), re.MULTILINE)
    return match and match.group(1)


def contact(root):
    """RAVELO_PACKAGE_CONTACT, `Name <address>`, or None: who maintains the packages and gets reports of vulnerabilities."""
    match = re.search(r'^set\(RAVELO_PACKAGE_CONTACT "([^"]*)"', text_of(root / "cmake/RaveloPackages.cmake"), re.MULTILINE)
    return match and match.group(1)


def contact_problem(value):
    """Why nobody can be reached at a contact, or None."""
    if value is None:
        return "is not set in cmake/RaveloPackages.cmake"
    match = _CONTACT.match(value)
    if not match:
        return f"is '{value}'; it must be 'Name <address>'"
    if _RESERVED_DOMAIN.search(match.group(1)):
        return f"is '{value}', a placeholder: no mail reaches {match.group(1)}"
    return None


class Changelog:
    """A changelog in the form of Keep a Changelog: its versions, newest first, and what is wrong with the form."""

    def __init__(self, text):
        self.versions = []  # (version, date), dates as written
        self.unreleased = None  # number of entries, or None without such a section
        self.problems = []
        self._version = None
        self._kind = None
        self._kinds = set()
        self._entries = 0
        lines = text.split("\n")
        if lines[0] != "# Changelog":
            self._complain(1, "the first line is not '# Changelog'")
        for number, line in enumerate(lines[1:], 2):
            self._read(number, line)
        self._end_kind(len(lines))
        self._check_order()

    def _complain(self, number, text):
        self.problems.append(f"CHANGELOG.md:{number}: {text}")

    def _read(self, number, line):
        if line.startswith("## "):
            self._begin_version(number, line)
        elif line.startswith("### "):
            self._begin_kind(number, line[4:])
        elif line.startswith("#"):
            self._complain(number, f"'{line}' is neither a version (##) nor a kind of change (###)")
        elif self._version is not None and line.strip() and not re.match(r"\[[^]]+\]: ", line):
            self._read_entry(number, line)

    def _begin_version(self, number, line):
        self._end_kind(number)
        self._kinds = set()
        match = re.fullmatch(r"## \[(\d+\.\d+\.\d+)\] - (\d{4}-\d\d-\d\d)( \[YANKED\])?", line)
        if match:
            self._version = match.group(1)
            self.versions.append((match.group(1), match.group(2)))
        elif line == "## [Unreleased]":
            if self.versions or self.unreleased is not None:
                self._complain(number, "[Unreleased] is not the first section")
            self._version = "Unreleased"
            self.unreleased = 0
        else:
            self._version = "?"
            self._complain(number, f"'{line}' is neither '## [Unreleased]' nor '## [X.Y.Z] - YYYY-MM-DD'")

    def _begin_kind(self, number, kind):
        self._end_kind(number)
        if self._version is None:
            self._complain(number, f"'### {kind}' belongs to no version")
        if kind not in CHANGE_KINDS:
            self._complain(number, f"'### {kind}' is not one of {', '.join(CHANGE_KINDS)}")
        if kind in self._kinds:
            self._complain(number, f"'### {kind}' is there twice in one version")
        self._kinds.add(kind)
        self._kind = kind

    def _read_entry(self, number, line):
        if self._kind is None:
            self._complain(number, "a change is under no kind (### Added, ### Fixed, ...)")
            self._kind = "?"
        if line.startswith("- "):
            self._entries += 1
            if self._version == "Unreleased":
                self.unreleased += 1
        elif self._entries == 0 or not line.startswith("  "):
            self._complain(number, "a change is not an entry of a list ('- ', further lines by two blanks)")

    def _end_kind(self, number):
        if self._kind is not None and self._entries == 0:
            self._complain(number, f"'### {self._kind}' has no entry")
        self._kind = None
        self._entries = 0

    def _check_order(self):
        dates = []
        for version, written in self.versions:
            try:
                dates.append(datetime.date.fromisoformat(written))
            except ValueError:
                self.problems.append(f"CHANGELOG.md: {version} has the date {written}, which does not exist")
                return
        numbers = [tuple(map(int, version.split("."))) for version, _ in self.versions]
        for index in range(1, len(numbers)):
            if numbers[index - 1] <= numbers[index]:
                self.problems.append(f"CHANGELOG.md: {self.versions[index][0]} is not older than the version above it")
            if dates[index - 1] < dates[index]:
                self.problems.append(f"CHANGELOG.md: {self.versions[index][0]} is dated later than the version above it")
