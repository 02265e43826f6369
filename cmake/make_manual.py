#!/usr/bin/python3
"""Makes the manual page of a header in C from its comments, and an alias of the page for every function.

The header is written as those of capi/ are: a comment before each item, and one before or after each member.
"""
import argparse
import pathlib
import re
import sys

COMMENT = r"/\*\*(?!<)(?P<comment>(?:(?!\*/).)*)\*/\s*"
ITEM = re.compile(
    COMMENT + r"(?:"
    r"typedef\s+(?P<kind>enum|struct)\s+(?P<type>\w+)\s*\{(?P<body>.*?)\n\}\s*\w+;"
    r"|\#define\s+(?P<macro>\w+)(?P<value>(?:[^\n]*\\\n)*[^\n]*)"
    r"|(?:RAVELO_NODISCARD\s+)?RAVELO_API\s+(?P<result>[\w\s]+?\*?)\s*(?P<function>\w+)\((?P<parameters>[^)]*)\)"
    r"\s*RAVELO_NOEXCEPT;)", re.S)
MEMBER = re.compile(
    r"(?:/\*\*(?!<)(?P<before>(?:(?!\*/).)*)\*/\s*)?"
    r"(?P<code>[A-Za-z_][^;,/]*?)\s*(?:[;,]|(?=/\*\*<)|$)\s*"
    r"(?:/\*\*<(?P<after>(?:(?!\*/).)*)\*/\s*)?", re.S)


def plain(comment):
    """The lines of a comment without its frame."""
    return "\n".join(re.sub(r"^\s*\* ?", "", line).rstrip() for line in (comment or "").split("\n")).strip()


def escaped(text):
    return text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq").replace("`", "\\(ga")


def protected(line):
    return "\\&" + line if line.startswith((".", "'")) else line


def prose(text):
    """A paragraph: quoted code and names of functions are bold."""
    pieces = re.split(r"(`[^`]+`|\bravelo_\w+\b|tbb::\w+)", " ".join(text.split()))
    shown = "".join(f"\\fB\\%{escaped(piece.strip('`'))}\\fR" if i % 2 else piece.replace("\\", "\\e")
                    for i, piece in enumerate(pieces))
    # Each sentence begins a line, as the formatter likes it.
    return "\n".join(protected(line) for line in re.split(r"(?<=[.:;]) (?=[A-Z])", shown))


def code(text):
    return [".PP", ".in +4n", ".nf"] + [protected(escaped(line)) for line in text.strip("\n").split("\n")] + [".fi", ".in"]


def paragraphs(text):
    """A description with its code, without parameters and results."""
    lines = []
    for block in re.split(r"(@code.*?@endcode)", text, flags=re.S):
        if block.startswith("@code"):
            lines += code(block[len("@code"):-len("@endcode")])
            continue
        for paragraph in filter(None, (part.strip() for part in block.split("\n\n"))):
            lines += [".PP", prose(paragraph)]
    return lines


def member_lines(item):
    for found in MEMBER.finditer(item["body"].strip()):
        yield ".TP"
        yield "\\fB" + escaped(" ".join(found["code"].split())) + "\\fR"
        yield prose(plain(found["before"] or found["after"])) or "\\&"


def prototype(item):
    parameters = [" ".join(part.split()) for part in item["parameters"].split(",")]
    lines, line = [], f"{' '.join(item['result'].split())} {item['function']}("
    for i, parameter in enumerate(parameters):
        piece = parameter + (");" if i + 1 == len(parameters) else ",")
        if len(line) + len(piece) > 70:
            lines.append(line.rstrip())
            line = "        "
        line += piece + " "
    return [f"\\fB{escaped(part)}\\fR" for part in lines + [line.rstrip()]]


def function_lines(item):
    text = plain(item["comment"])
    head, *tags = re.split(r"^@(?=param|return)", text, flags=re.M)
    yield ".SS " + item["function"] + "()"
    yield from paragraphs(head)
    for tag in tags:
        kind, rest = tag.split(None, 1)
        if kind == "param":
            name, rest = rest.split(None, 1)
            yield from (".TP", f"\\fI{name}\\fR")
        else:
            yield from (".TP", "Returns")
        yield prose(rest)


def type_lines(items):
    for item in items:
        yield f".SS {item['kind']} {item['type']}"
        yield from paragraphs(plain(item["comment"]))
        yield from member_lines(item)


def macro_lines(items):
    for item in items:
        yield from (".TP", f"\\fB{item['macro']}\\fR", prose(plain(item["comment"])))


def page(header, items, options):
    functions = [item for item in items if item["function"]]
    names = ", ".join(escaped(name) for name in [options.name] + [item["function"] for item in functions])
    about = re.match(r"/\*\*\s*\n \* @file\n(.*?)\*/", header, re.S)
    summary, *rest = plain(about[1]).split("\n\n", 1)
    lines = [f'.TH {escaped(options.name.upper())} 3 "" "RaveloOpt {options.version}" "RaveloOpt"', ".SH NAME",
             f"{names} \\- {prose(summary.split(': ', 1)[1]).rstrip('.')}"]
    lines += [".SH SYNOPSIS", ".nf", f"\\fB#include <{pathlib.Path(options.header).name}>\\fR", ".PP"]
    for item in functions:
        lines += prototype(item) + [".PP"]
    lines[-1:] = [".fi", ".PP", f"Compile and link with \\fBpkg\\-config \\-\\-cflags \\-\\-libs {escaped(options.package)}\\fR."]
    lines += [".SH DESCRIPTION", prose(summary)] + paragraphs("".join(rest))
    lines.append(".SH FUNCTIONS")
    for item in functions:
        lines += function_lines(item)
    for title, kind in (("STRUCTURES", "struct"), ("ENUMERATIONS", "enum")):
        chosen = [item for item in items if item["kind"] == kind]
        lines += [f".SH {title}", *type_lines(chosen)] if chosen else []
    lines += [".SH MACROS", *macro_lines(item for item in items if item["macro"])]
    if options.example:
        lines += [".SH EXAMPLES"] + code(options.example.read_text())
    lines += [".SH BUGS", f"Please report them to {escaped(options.contact)}.", ".SH SEE ALSO"]
    references = [re.fullmatch(r"(.+)\((\d)\)", text) for text in options.see_also]
    lines += [f".BR {escaped(found[1])} ({found[2]})" + ("," if found is not references[-1] else "") for found in references]
    return "\n".join(lines) + "\n", [item["function"] for item in functions]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("header")
    parser.add_argument("--name", required=True)
    parser.add_argument("--package", required=True)
    parser.add_argument("--version", required=True)
    parser.add_argument("--contact", required=True, help="who gets reports")
    parser.add_argument("--folder", required=True, type=pathlib.Path)
    parser.add_argument("--see-also", nargs="+", default=[])
    parser.add_argument("--example", type=pathlib.Path)
    options = parser.parse_args()
    header = pathlib.Path(options.header).read_text()
    items = [found.groupdict() for found in ITEM.finditer(header) if not (found["macro"] or "").endswith(("_API", "_NODISCARD"))]
    text, functions = page(header, items, options)
    if not functions:
        sys.exit(f"make_manual: {options.header}: no function with a comment")
    options.folder.mkdir(parents=True, exist_ok=True)
    (options.folder / f"{options.name}.3").write_text(text)
    for function in functions:
        (options.folder / f"{function}.3").write_text(f".so man3/{options.name}.3\n")


main()
