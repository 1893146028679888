"""What the doctor finds."""

from __future__ import annotations

from dataclasses import asdict, dataclass
from enum import IntEnum
from typing import Optional


class Rank(IntEnum):
    """How grave a finding is."""

    ERROR = 1  # a training would stop, or learn something wrong
    WARNING = 2  # it may well be wrong
    REMARK = 3  # good to know

    @property
    def word(self) -> str:
        return self.name.lower()


@dataclass
class Finding:
    """One thing that was found.

    kind
        Its name, such as ``close-atoms``; the documentation has a table of them.
    line
        Number of the line in the file, from 1; 0 where the file as a whole is meant.
    structure
        Number of the structure, from 0 as in the messages of the command; None where none or all are meant.
    found, expected, advice
        Sentences or parts of them, for people.
    count
        How many of the file it is about, where one finding stands for many.
    """

    rank: Rank
    kind: str
    line: int
    structure: Optional[int]
    found: str
    expected: str
    advice: str
    count: int = 1

    def as_dict(self) -> dict:
        return {**asdict(self), "rank": self.rank.word}


def sort(findings: list[Finding]) -> list[Finding]:
    """The gravest first, those of a kind together, in the order of the file."""
    first: dict[tuple, int] = {}
    for finding in findings:
        key = (finding.rank, finding.kind)
        first[key] = min(first.get(key, finding.line), finding.line)
    return sorted(findings, key=lambda one: (one.rank, first[one.rank, one.kind], one.kind, one.line))
