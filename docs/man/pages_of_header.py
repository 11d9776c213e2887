#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Write a manual page, section 3, for each function that a header exports, from the comments of the header.

    pages_of_header.py HEADER OUTPUT_DIRECTORY --version VERSION --date YYYY-MM-DD

A function's page has the text of its comment, with @param, @return and @note in sections of their own, and what the
comment of its group says about all of them. A function without a comment is an error. Prints the names of the pages,
separated by semicolons.
"""
import argparse
import pathlib
import re
import sys

COMMENT = re.compile(r"/\*(?P<doc>\*?)(?P<text>(?:[^*]|\*(?!/))*)\*/")
FUNCTION = re.compile(r"\s*SRCWATCH_API\s+(?P<declaration>[^;{]*?\b(?P<name>\w+)\((?P<arguments>[^)]*)\));")
RULE = re.compile(r"^-{20,}$")
SYNOPSIS_WIDTH = 72


class Page:
    def __init__(self, name, declaration, comment, group):
        self.name = name
        self.declaration = " ".join(declaration.split())
        self.group_title, self.group_text = group
        self.text, self.parameters, self.returns, self.notes = split_comment(comment)

    def summary(self):
        return re.split(r"(?<=[.:;])\s", self.text[0] + " ")[0].strip().rstrip(".:;")


def lines_of(comment):
    """The comment's lines without the asterisks in front of them."""
    lines = [re.sub(r"^\s*\* ?", "", line).rstrip() for line in comment.strip().splitlines()]
    while lines and not lines[-1].strip():
        lines.pop()
    return lines


def paragraphs_of(lines):
    """Paragraphs as one line each; the rows of a table together as a list; an indented "name  text" as a pair."""
    paragraphs = []
    going_on = False  # True if the next line belongs to the last paragraph
    for line in lines:
        indent = len(line) - len(line.lstrip())
        item = re.fullmatch(r"(\w+)  +(.*)", line.strip()) if 0 < indent <= 3 else None
        if " | " in line:
            if going_on and isinstance(paragraphs[-1], list):
                paragraphs[-1].append(line)
            else:
                paragraphs.append([line])
        elif item:
            paragraphs.append(item.groups())
        elif going_on and isinstance(paragraphs[-1], tuple) and indent > 3:
            paragraphs[-1] = (paragraphs[-1][0], f"{paragraphs[-1][1]} {line.strip()}")
        elif going_on and isinstance(paragraphs[-1], str):
            paragraphs[-1] += " " + line.strip()
        elif line.strip():
            paragraphs.append(line.strip())
        going_on = bool(line.strip())
    return paragraphs


def split_comment(comment):
    """The plain paragraphs, [(parameter, text)], the results and the notes of a comment."""
    text = "\n".join(lines_of(comment))
    text = re.sub(r"(?<!^)(?<!\n)\s+@(param|return|note)\b", r"\n@\1", text)
    parts = re.split(r"^@(param|return|note)\s+", text, flags=re.M)
    parameters, returns, notes = [], [], []
    for kind, body in zip(parts[1::2], parts[2::2]):
        paragraph = " ".join(body.split())
        if kind == "param":
            parameters.append(tuple(paragraph.split(" ", 1)))
        else:
            (returns if kind == "return" else notes).append(paragraph)
    return paragraphs_of(parts[0].splitlines()), parameters, returns, notes


def pages_of(header):
    group = ("", [])
    comment = None
    for match in COMMENT.finditer(header):
        comment = match["text"] if match["doc"] else None
        lines = lines_of(match["text"])
        if lines and RULE.match(lines[0].strip()):
            body = [line for line in lines if not RULE.match(line.strip())]
            end = next((number for number, line in enumerate(body) if not line.strip()), len(body))
            group = (" ".join(line.strip() for line in body[:end]), paragraphs_of(body[end:]))
        function = FUNCTION.match(header, match.end())
        if function and comment is not None:
            yield Page(function["name"], function["declaration"], comment, group)


def escape(text):
    text = text.replace("\\", r"\e").replace("-", r"\-").replace("'", r"\(aq")
    text = re.sub(r"\b(srcwatch_\w+|get_hdmi_count)\(\)", r"\\fB\1\\fP(3)", text)
    text = re.sub(r"\b(SRCWATCH_[A-Z_]+[A-Z])\b", r"\\fB\1\\fP", text)
    return re.sub(r"^([.'])", r"\\&\1", text)


def roff_paragraphs(paragraphs):
    for paragraph in paragraphs:
        if isinstance(paragraph, tuple):
            yield from (".TP", f".I {paragraph[0]}", escape(paragraph[1]))
        elif isinstance(paragraph, list):
            yield from (".PP", *table(paragraph))
        else:
            yield from (".PP", escape(paragraph))


def table(rows):
    """A table whose last columns are as wide as the page and wrap; the second row rules off the titles."""
    cells = [[escape(cell.strip()) for cell in row.split("|")] for row in rows]
    yield from (".TS", " ".join(["l"] + ["lx"] * (len(cells[0]) - 1)) + ".")
    yield "\t".join(f"\\fB{cell}\\fP" for cell in cells[0])
    for first, *others in cells[2:]:
        yield f"{first}\t" + "\t".join(f"T{{\n{cell}\nT}}" for cell in others)
    yield ".TE"


def synopsis(declaration):
    """The declaration in bold, the names of its arguments in italics; in several lines where it is long."""
    head, arguments = declaration.rstrip(")").split("(", 1)
    lines = [[f"{head}("]]
    width = len(head)
    for number, argument in enumerate(arguments.split(",")):
        kind, name = re.fullmatch(r"\s*(.*?)(\w*)", argument).groups()
        if not kind:  # void
            kind, name = name, ""
        width += len(argument) + 2
        if number and width > SYNOPSIS_WIDTH:
            lines[-1][-1] += ","
            lines.append(["    "])
            width = len(argument) + 4
        elif number:
            lines[-1][-1] += ", "
        lines[-1][-1] += kind
        lines[-1] += [name, ""] if name else []
    lines[-1][-1] += ");"
    return [".BI " + " ".join(f'"{word}"' for word in line) for line in lines]


def roff(page, neighbours, header_name, version, date):
    if any(isinstance(paragraph, list) for paragraph in page.text):
        yield "'\\\" t"  # a table
    yield '.\\" SPDX-License-Identifier: Apache-2.0'
    yield f'.\\" Generated from {header_name}.'
    yield f'.TH {page.name} 3 {date} "srcwatch {version}" "srcwatch functions"'
    yield from (".ad l", ".nh")  # no name is hyphenated
    yield from (".SH NAME", f"{page.name} \\- {escape(page.summary()[:1].lower() + page.summary()[1:])}")
    yield from (".SH SYNOPSIS", ".nf", f".B #include <{header_name}>", ".PP")
    yield from synopsis(page.declaration)
    yield from (".fi", ".PP", "Link with \\fI\\-lsrcwatch\\-api\\fP.", ".SH DESCRIPTION")
    yield from list(roff_paragraphs(page.text))[1:]
    if page.parameters:
        yield ".SH PARAMETERS"
        for name, text in page.parameters:
            yield from (".TP", f".I {name}", escape(text))
    if page.group_title:
        yield from (".SH THE GROUP", f"\\fI{escape(page.group_title)}\\fP")
        yield from roff_paragraphs(page.group_text)
    if page.returns:
        yield ".SH RETURN VALUE"
        yield from (escape(text) for text in page.returns)
    if page.notes:
        yield ".SH NOTES"
        yield from (escape(text) for text in page.notes)
    yield ".SH SEE ALSO"
    others = [f"\\fB{name}\\fP(3)" for name in neighbours if name != page.name]
    yield ",\n".join([*others, "\\fBsrcwatch\\fP(7)"])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("header", type=pathlib.Path)
    parser.add_argument("output", type=pathlib.Path)
    parser.add_argument("--version", default="")
    parser.add_argument("--date", default="")
    arguments = parser.parse_args()

    header = arguments.header.read_text()
    pages = list(pages_of(header))
    without = set(match["name"] for match in FUNCTION.finditer(header)) - set(page.name for page in pages)
    if without:
        sys.exit(f"{arguments.header}: without a comment: {', '.join(sorted(without))}")
    arguments.output.mkdir(parents=True, exist_ok=True)
    for page in pages:
        neighbours = [other.name for other in pages if other.group_title == page.group_title]
        text = "\n".join(roff(page, neighbours, arguments.header.name, arguments.version, arguments.date))
        (arguments.output / f"{page.name}.3").write_text(text + "\n")
    print(";".join(f"{page.name}.3" for page in pages), end="")


if __name__ == "__main__":
    main()
