"""What stops the command in a line, and what it is likely to come from."""

from __future__ import annotations

import re

from ..datafile import FIELDS
from .fields import SPACE, FieldScanner, read_row

LONGEST_QUOTE = 60
COMPLETE_LINE = "a label and twelve numbers: position, energy, force, charge, energy and force of the charges"


class Fault(Exception):
    """What stops the command in a line; ``message`` has its words without the name of the file."""

    def __init__(self, line: int, message: str, found: str, expected: str, advice: str, kind: str = "unreadable"):
        super().__init__(message)
        self.line, self.message, self.found, self.expected, self.advice = line, message, found, expected, advice
        self.kind = kind


def quote(line: bytes) -> str:
    """A line for people."""
    text = line.strip(SPACE).decode("utf-8", errors="backslashreplace")
    text = "".join(c if c.isprintable() else f"\\x{ord(c):02x}" for c in text)
    return f'"{text[:LONGEST_QUOTE]}..."' if len(text) > LONGEST_QUOTE else f'"{text}"'


def fault_of_atom(lines: list[bytes], head: int, atom: int, count: int, message: str) -> Fault:
    """Why the line of an atom cannot be read; `head` is the place of the head, from 0, with its count of atoms."""
    place = head + 4 + atom
    line = lines[place]
    if is_block(lines, place):
        found = f"a head where atom {atom} should be: the head in line {head + 1} tells of {count} atoms"
        advice = f"correct the number of atoms in line {head + 1}, or add what is missing"
        return Fault(place + 1, message, found, f"{count} lines of atoms", advice, "atom-count")
    fields = FieldScanner(line)
    first = fields.word()
    if first is None:
        advice = "remove it, or add the atom"
        return Fault(place + 1, message, "a blank line within a structure", COMPLETE_LINE, advice)
    if FieldScanner(first).number() is not None:
        found, advice = f"no label in front: {quote(line)}", "put the symbol in front"
        return Fault(place + 1, message, found, COMPLETE_LINE, advice, "missing-label")
    readable = 1
    while fields.number() is not None:
        readable += 1
    found = f"{min(readable, FIELDS)} of {FIELDS} fields can be read: {quote(line)}"
    advice = "complete the line; 0 stands for what is not known"
    if re.search(rb"[0-9.][dD][+-]?[0-9]", line):
        advice = "write exponents with e instead of D"
    return Fault(place + 1, message, found, COMPLETE_LINE, advice)


def is_block(lines: list[bytes], place: int) -> bool:
    """Whether a structure seems to begin there: a count, three vectors, a label."""
    if place + 4 >= len(lines):
        return False
    words = lines[place].split(None, 1)
    if not words or not re.fullmatch(rb"[0-9]{1,9}", words[0]):
        return False
    vectors = lines[place + 1 : place + 4]
    if any(len(line.split()) != 3 or read_row(line, False, 3) is None for line in vectors):
        return False
    first = lines[place + 4].split(None, 1)
    return bool(first) and FieldScanner(first[0]).number() is None


def next_block(lines: list[bytes], place: int) -> int:
    """Where the next structure seems to begin, or the number of lines."""
    while place < len(lines) and not is_block(lines, place):
        place += 1
    return place


def count_blocks(lines: list[bytes], place: int) -> int:
    """How many structures seem to stand from there on."""
    found = 0
    place = next_block(lines, place)
    while place < len(lines):
        found += 1
        place = next_block(lines, place + 4 + int(lines[place].split(None, 1)[0]))
    return found
