#!/usr/bin/env python3
"""Checks the habits of the C++ sources that no compiler checks.

usage: lint_sources.py <src directory>

Prints one line for each finding, in the form "file:line: text", and ends with status 1 if there is any.
"""

from __future__ import annotations

import re
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator

# The higher the number, the higher the floor. Nobody includes a file of a floor above.
FLOORS = {
    "base": 0,
    "config": 1,
    "structure": 2,
    "symmfunc": 3,
    "network": 4,
    "modelio": 5,
    "baseline": 5,
    "potential": 6,
    "training": 7,
    "testing": 7,
    "evaluation": 7,
    "sampling": 7,
    "dfttools": 8,
    "driver": 9,
}

MAX_LINES = 700
# The one file that prints and ends the process, and the one value that holds memory of its own.
REPORTING = "base/Reporting.cpp"
ALLOCATOR = "base/AlignedBuffer.hpp"
# Names and signs that a message may begin with, beside a lower-case letter.
MESSAGE_START = re.compile(r"[a-z#%]|(?:Adam's|Behler|HDNNP|L-BFGS|MPI|NaN|Rcut|Rs) ")

TOKEN = re.compile(
    r"""(?P<raw>\bR"(?P<mark>[^()\\\s]{0,16})\(.*?\)(?P=mark)")"""
    r"""|(?P<comment>//[^\n]*|/\*.*?\*/)"""
    r"""|(?P<string>"(?:\\.|[^"\\\n])*")"""
    r"""|(?P<char>(?<!\w)'(?:\\.|[^'\\\n])+')""",
    re.DOTALL,
)
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]+"([^"]+)"', re.MULTILINE)
LITERALS = re.compile(r'\s*((?:"(?:\\.|[^"\\\n])*"\s*)+)')
LITERAL = re.compile(r'"((?:\\.|[^"\\\n])*)"')

FREE_CALL = r"(?<![\w.>:])(?:::|std::)?"
PRINTING = (
    (re.compile(FREE_CALL + r"(v?printf|puts|putchar)\s*\("), "prints; use printOut"),
    (re.compile(r"\bstd::(cout|cerr|clog)\b"), "prints; use printOut"),
    (re.compile(r"\b(stdout|stderr)\b"), "prints; use printOut or flushOut"),
    (
        re.compile(FREE_CALL + r"(exit|_exit|_Exit|quick_exit|abort|terminate)\s*\("),
        "ends the process; use stopWithMessage",
    ),
)
RAW_ALLOCATION = (
    (re.compile(r"\b(new)\b\s*[\w:(]"), "is raw allocation; let a value own the memory"),
    (re.compile(r"\b(delete)\b\s*(?:\[\s*\])?\s*[\w:*(]"), "is raw allocation; let a value own the memory"),
    (
        re.compile(FREE_CALL + r"(malloc|calloc|realloc|free|aligned_alloc|posix_memalign)\s*\("),
        "is raw allocation; let a value own the memory",
    ),
)
OVERRUNS = (
    (re.compile(FREE_CALL + r"(v?sprintf|strcpy|strcat|gets)\s*\("), "can overrun its buffer"),
)
SCAN_CALL = re.compile(r"\bv?[fs]?scanf\s*\(")
UNBOUNDED_FIELD = re.compile(r"(?<!%)(?:%%)*%(?:l?s|\[)")


@dataclass(frozen=True)
class Finding:
    path: str
    line: int
    text: str

    def __str__(self) -> str:
        return f"{self.path}:{self.line}: {self.text}"


def blank(text: str) -> str:
    """Spaces in place of everything but line breaks, so that positions stay."""
    return re.sub(r"[^\n]", " ", text)


def without(text: str, *kinds: str) -> str:
    """The text with the tokens of these kinds blanked."""

    def replace(match: re.Match[str]) -> str:
        return blank(match.group()) if any(match.group(kind) for kind in kinds) else match.group()

    return TOKEN.sub(replace, text)


def line_of(text: str, position: int) -> int:
    return text.count("\n", 0, position) + 1


def floor_of(path: str) -> int | None:
    """The floor of a file that is given relative to src, or None for a folder that is not known."""
    return FLOORS.get(path.partition("/")[0])


def check_includes(path: str, text: str, root: Path) -> Iterator[Finding]:
    floor = floor_of(path)
    if floor is None:
        yield Finding(path, 1, "lies in a folder that has no place in the order of includes")
        return
    for match in INCLUDE.finditer(without(text, "comment")):
        included, line = match.group(1), line_of(text, match.start(1))
        if included.startswith("hwy/"):
            continue
        if included.startswith("melta/") and (root.parent / "include" / included).is_file():
            continue
        if not (root / included).is_file():
            yield Finding(path, line, f'"{included}" is no file of src (quoted includes start at src)')
            continue
        included_floor = floor_of(included)
        if included_floor is not None and included_floor > floor:
            yield Finding(path, line, f'"{included}" stands above this file')


def check_patterns(path: str, text: str) -> Iterator[Finding]:
    code = without(text, "raw", "comment", "string", "char")
    rules = OVERRUNS
    if path != REPORTING:
        rules += PRINTING
    if path != ALLOCATOR:
        rules += RAW_ALLOCATION
    for pattern, reason in rules:
        for match in pattern.finditer(code):
            yield Finding(path, line_of(code, match.start()), f"{match.group(1)} {reason}")


def literal_after(code: str, position: int) -> str | None:
    """The string literal that begins here, its adjacent parts joined; None when there is something else."""
    match = LITERALS.match(code, position)
    return "".join(LITERAL.findall(match.group(1))) if match else None


def check_messages(path: str, text: str) -> Iterator[Finding]:
    code = without(text, "comment")
    for match in re.finditer(r"\bstopWithMessage\s*\(", code):
        message = literal_after(code, match.end())
        if message is None:
            continue
        line = line_of(code, match.start())
        if message.endswith("\\n"):
            yield Finding(path, line, f'the message "{message}" ends with a line break')
        if not MESSAGE_START.match(message):
            yield Finding(path, line, f'the message "{message}" does not begin in lower case')


def check_scans(path: str, text: str) -> Iterator[Finding]:
    code = without(text, "comment")
    for match in SCAN_CALL.finditer(code):
        end = code.find(";", match.end())
        for literal in LITERAL.findall(code[match.end() : end]):
            if UNBOUNDED_FIELD.search(literal):
                yield Finding(path, line_of(code, match.start()), f'"{literal}" reads text without a width')


def check_size(path: str, text: str) -> Iterator[Finding]:
    num_lines = len(text.splitlines())
    if num_lines > MAX_LINES:
        yield Finding(path, num_lines, f"{num_lines} lines, more than {MAX_LINES}")


def lint(root: Path) -> list[Finding]:
    findings: list[Finding] = []
    for file in sorted(root.rglob("*.[ch]pp")):
        path, text = file.relative_to(root).as_posix(), file.read_text(encoding="utf-8")
        findings += check_includes(path, text, root)
        findings += check_patterns(path, text)
        findings += check_messages(path, text)
        findings += check_scans(path, text)
        findings += check_size(path, text)
    return findings


def main(arguments: list[str]) -> int:
    if len(arguments) != 1 or not Path(arguments[0]).is_dir():
        print(__doc__, file=sys.stderr)
        return 2
    findings = lint(Path(arguments[0]))
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
