"""Holds debian/ against the project and, given an installed tree, against what it installs.

    check_packages.py SOURCE                      names, versions and dependencies
    check_packages.py SOURCE TREE LIBDIR          every installed file is in one package
"""
import collections
import fnmatch
import pathlib
import re
import subprocess
import sys

PACKAGES = {"libraveloopt1", "libravelo1", "libravelo-encode1", "libraveloopt-dev", "raveloopt-tools", "python3-ravelo",
            "raveloopt-doc"}
TRIPLET = "x86_64-linux-gnu"

source = pathlib.Path(sys.argv[1])
debian = source / "debian"
problems = []


def expect(truth, problem):
    if not truth:
        problems.append(problem)


def paragraphs_of(path):
    """The fields of each paragraph of a control file."""
    for text in re.split(r"\n\s*\n", path.read_text().strip()):
        yield {found[1]: found[2].strip() for found in re.finditer(r"^([\w-]+):((?:.*\n?)(?:[ \t].*\n?)*)", text, re.M)}


def check_names():
    _, *binaries = paragraphs_of(debian / "control")
    names = {binary["Package"] for binary in binaries}
    expect(names == PACKAGES, f"debian/control: {sorted(names ^ PACKAGES)} are missing or too many")
    for binary in binaries:
        first, *rest = binary["Description"].split("\n")
        expect(len(first) <= 80 and rest, f"{binary['Package']}: a description of one line of at most 80, and more lines")
    for path in debian.iterdir():
        package, dot, kind = path.name.rpartition(".")
        if dot and path.is_file():
            expect(package in names, f"{path.name}: no package {package}")
    for binary in names - {"raveloopt-doc"}:
        expect((debian / f"{binary}.install").exists(), f"{binary}.install is missing")


def check_versions():
    version = re.search(r"project\(RaveloOpt VERSION (\S+)", (source / "CMakeLists.txt").read_text())[1]
    first = (debian / "changelog").read_text().split("\n")[0]
    expect(first.startswith(f"raveloopt ({version}) "), f"debian/changelog: '{first}' is not of version {version}")
    for name in (name for name in PACKAGES if name[-1].isdigit()):
        expect(name.endswith(version.split(".")[0]), f"{name}: the SONAME has another number")
        symbols = (debian / f"{name}.symbols").read_text().split("\n")[0].split()
        expect(symbols[1:] == [name, "#MINVER#"], f"{name}.symbols is about {symbols[1]}")


def check_contact():
    variable = (source / "cmake/RaveloPackages.cmake").read_text()
    contact = re.search(r'^set\(RAVELO_PACKAGE_CONTACT "([^"]*)"', variable, re.M)[1]
    general, *_ = paragraphs_of(debian / "control")
    about, *_ = paragraphs_of(debian / "copyright")
    newest = re.search(r"^ -- (.*)  ", (debian / "changelog").read_text(), re.M)
    for name, found in (("control", general["Maintainer"]), ("copyright", about["Upstream-Contact"]), ("changelog", newest[1])):
        expect(found == contact, f"debian/{name}: {found} is not RAVELO_PACKAGE_CONTACT; scripts/set-contact changes both")


def check_dependencies():
    """What scripts/install-dependencies installs for build and suite is what the source package asks for."""
    general, *_ = paragraphs_of(debian / "control")
    asked = {re.split(r"[ (<:]", entry.strip())[0] for entry in general["Build-Depends"].split(",") if entry.strip()}
    script = (source / "scripts/install-dependencies").read_text()
    groups = collections.defaultdict(str)
    for group, packages in re.findall(r"^ +(?:packagesOf)?\[(\w+)\]\+?=\"([^\"]*)\"", script, re.M):
        groups[group] += packages + " "
    installed = set(" ".join(groups[group] for group in ("library", "build", "test", "packages")).split())
    # Of debhelper, compiler and basic tools the source package says nothing or uses other names.
    asked = {{"debhelper-compat": "debhelper", "dh-sequence-python3": "dh-python"}.get(name, name) for name in asked}
    expect(asked <= installed, f"install-dependencies lacks {sorted(asked - installed)}")
    needed = set((groups["library"] + " " + groups["build"] + " " + groups["test"]).split()) - {"g++", "binutils", "dpkg-dev"}
    expect(needed <= asked, f"Build-Depends lacks {sorted(needed - asked)}")


def check_tests():
    names = [name for paragraph in paragraphs_of(debian / "tests/control") for name in paragraph["Tests"].split()]
    expect(names, "debian/tests/control names no test")
    for name in names:
        run = subprocess.run(["sh", "-n", debian / "tests" / name], capture_output=True, text=True)
        expect(run.returncode == 0, f"debian/tests/{name}: {run.stderr}")


def matches(path, pattern):
    """As in dh_install: a pattern is a file or a folder with all that it contains, and `*` ends at a slash."""
    parts, patterns = path.split("/"), pattern.split("/")
    return len(parts) >= len(patterns) and all(map(fnmatch.fnmatchcase, parts, patterns))


def check_tree(tree, libdir):
    patterns = [(path.stem, line.split()[0]) for path in sorted(debian.glob("*.install"))
                for line in path.read_text().split("\n") if line.strip()]
    used, number = collections.Counter(), 0
    for path in sorted(tree.rglob("*")):
        if path.is_dir() or "__pycache__" in path.parts:
            continue
        number += 1
        name = "usr/" + str(path.relative_to(tree))
        if not name.startswith("usr/lib/python3/"):
            name = re.sub(rf"^usr/{re.escape(libdir)}/", f"usr/lib/{TRIPLET}/", name)
        found = [entry for entry in patterns if matches(name, entry[1])]
        used.update(found)
        expect(len(found) == 1, f"{name} is in {' and '.join(package for package, _ in found) or 'no package'}")
    hasModule = (tree / "lib/python3").exists()
    for entry in patterns:
        expect(used[entry] or (entry[0] == "python3-ravelo" and not hasModule), f"{entry[0]}: nothing is installed as {entry[1]}")
    print(f"{number} files in {len({package for package, _ in used})} packages")


if len(sys.argv) == 2:
    for check in (check_names, check_versions, check_contact, check_dependencies, check_tests):
        check()
else:
    check_tree(pathlib.Path(sys.argv[2]), sys.argv[3])
if problems:
    sys.exit("\n".join(problems))
