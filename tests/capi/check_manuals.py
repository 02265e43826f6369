"""Holds the manual pages of the C interface against the header: every function, type, member and value is there.

    check_manuals.py HEADER PAGE
"""
import pathlib
import re
import shutil
import subprocess
import sys

header, page = map(pathlib.Path, sys.argv[1:])
# Without comments and without what the preprocessor has for compilers.
code = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
code = re.sub(r"^#(?:[^\n]*\\\n)*[^\n]*$", "", code, flags=re.M)
names = set(re.findall(r"\b(ravelo_\w+)\s*\(", code)) | set(re.findall(r"\b(RAVELO_\w+) =", code))
names |= set(re.findall(r"(\w+)(?:\[\w+\])?;", code)) - {"RAVELO_NOEXCEPT"}
names |= set(re.findall(r"^#define (RAVELO_(?:\w+_INIT|DEFAULT_\w+|NO_\w+_LIMIT))\b", header.read_text(), flags=re.M))

text = page.read_text().replace("\\%", "").replace("\\-", "-").replace("\\fB", "\\fB ")
# Names that are only mentioned in a sentence do not count.
described = re.findall(r"^(?:\\fB|\.SS ).*$", text, flags=re.M)
problems = [f"{name} is missing" for name in sorted(names)
            if not any(re.search(rf"\b{name}\b", line) for line in described)]
if len(names) < 20:
    problems.append(f"only {len(names)} names are in {header}")
for function in re.findall(r"RAVELO_API[^;]*?\b(\w+)\(", code):
    alias = page.with_name(f"{function}.3")
    if not alias.exists() or alias.read_text() != f".so man3/{page.name}\n":
        problems.append(f"{alias.name} does not lead to {page.name}")
if shutil.which("man"):
    shown = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", str(page)], capture_output=True, text=True)
    problems += shown.stderr.splitlines()
    if shown.returncode:
        problems.append(f"man ends with {shown.returncode}")
if problems:
    sys.exit("\n".join(f"{page.name}: {problem}" for problem in problems))
print(f"{page.name}: {len(names)} names")
