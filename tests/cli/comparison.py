"""Compares what a command has written with what it should have written.

Text is compared to the byte. Two things may loosen that: measured times on the console are masked, and a case may
allow a tolerance for the numbers of a file.
"""

from __future__ import annotations

import difflib
import fnmatch
import math
import re
from dataclasses import dataclass
from typing import Optional, Sequence


class CaseError(Exception):
    """The case itself, or what it looks at, cannot be understood; it fails."""


# ---------------------------------------------------------------------------------------------
# Times
# ---------------------------------------------------------------------------------------------

COMPACT_TIME = r"\d+\.\d\d[smhd]"
FULL_TIME = r"\d+d \d+h \d+m \d+\.\d\ds"

# A line with the mark on the left has to match the pattern; its groups are the times.
TIME_LINES = (
    ("Time[", re.compile(rf"Time\[ wall=({COMPACT_TIME}) epoch=({COMPACT_TIME}) \]$")),
    ("Wall time", re.compile(rf"^  \* Wall time: ({FULL_TIME})\.$")),
)
MASKED_COMPACT_TIME = "00.00s"
MASKED_FULL_TIME = "0d 0h 0m 0.00s"


def mask_times(text: str) -> str:
    """Replaces the measured times of console output. Fails on a time that it cannot read."""
    return "\n".join(mask_line(line) for line in text.split("\n"))


def mask_line(line: str) -> str:
    for mark, pattern in TIME_LINES:
        if mark in line:
            match = pattern.search(line)
            if match is None:
                raise CaseError(f"no readable time in the line: {line!r}")
            line = mask_groups(line, match)
    return line


def mask_groups(line: str, match: re.Match[str]) -> str:
    for group in range(match.re.groups, 0, -1):
        is_full = "d " in match.group(group)
        mask = MASKED_FULL_TIME if is_full else MASKED_COMPACT_TIME
        line = line[: match.start(group)] + mask + line[match.end(group) :]
    return line


# ---------------------------------------------------------------------------------------------
# Numbers
# ---------------------------------------------------------------------------------------------

# The blanks before a number belong to it, since a longer number takes some of them. A unit may follow at once.
NUMBER = re.compile(r"( *)(?<![\w.])([-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?)(?:(?=eV\b)|(?!\w|\.\w))")


@dataclass(frozen=True)
class Tolerance:
    """Numbers a and b, the expected one, agree if |a - b| <= absolute + relative |b|."""

    file_pattern: str
    relative: float
    absolute: float

    def accepts(self, actual: float, expected: float) -> bool:
        return abs(actual - expected) <= self.absolute + self.relative * abs(expected)


def read_tolerances(text: str) -> list[Tolerance]:
    """Lines "FILE-PATTERN RELATIVE ABSOLUTE"; "#" begins a comment."""
    rules = []
    for line in text.splitlines():
        fields = line.split("#")[0].split()
        if not fields:
            continue
        try:
            pattern, relative, absolute = fields[0], float(fields[1]), float(fields[2])
        except (IndexError, ValueError) as error:
            raise CaseError(f"cannot read the tolerance: {line!r}") from error
        if len(fields) != 3 or not (0.0 <= relative < 1.0 and 0.0 <= absolute < math.inf):
            raise CaseError(f"cannot read the tolerance: {line!r}")
        rules.append(Tolerance(pattern, relative, absolute))
    return rules


def find_tolerance(rules: Sequence[Tolerance], name: str) -> Optional[Tolerance]:
    return next((rule for rule in rules if fnmatch.fnmatchcase(name, rule.file_pattern)), None)


def is_whole(token: str) -> bool:
    return token.lstrip("+-").isdigit()


def lines_agree(expected: str, actual: str, tolerance: Tolerance) -> bool:
    """Equal text, and numbers within the tolerance. Whole numbers are counts, so they have to be equal."""
    if expected == actual:
        return True
    if NUMBER.sub("\0", expected) != NUMBER.sub("\0", actual):
        return False
    for wanted, found in zip(NUMBER.findall(expected), NUMBER.findall(actual)):
        wanted_token, found_token = wanted[1], found[1]
        if is_whole(wanted_token) or is_whole(found_token):
            if wanted_token != found_token:
                return False
        elif not tolerance.accepts(float(found_token), float(wanted_token)):
            return False
    return True


# ---------------------------------------------------------------------------------------------
# Differences
# ---------------------------------------------------------------------------------------------


def describe_difference(name: str, expected: str, actual: str, tolerance: Optional[Tolerance] = None) -> str:
    """A unified diff, or an empty text when the two agree."""
    if expected == actual:
        return ""
    expected_lines = expected.split("\n")
    actual_lines = actual.split("\n")
    if tolerance is not None and len(expected_lines) == len(actual_lines):
        actual_lines = [
            wanted if lines_agree(wanted, found, tolerance) else found
            for wanted, found in zip(expected_lines, actual_lines)
        ]
    diff = difflib.unified_diff(expected_lines, actual_lines, f"expected {name}", f"actual {name}", lineterm="")
    return "\n".join(printable(line) for line in diff)


def printable(line: str) -> str:
    return line.encode("utf-8", "backslashreplace").decode("utf-8")
