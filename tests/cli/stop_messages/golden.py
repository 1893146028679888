"""What the rows of a group are expected to print and to leave behind: one file of text for each group.

  === the good files          the beginning of the output with good files, as much of it as rows share
  |...
  === NAME                    a row
  <<< COUNT                   the output begins with so many lines of that
  |...                        the rest of it
  > new NAME                  a file that has come, or "changed" or "gone"; a directory without files ends with "/"
  |...                        the text of the file

The output ends with the line of the stop.
"""

from __future__ import annotations

from dataclasses import dataclass, field
from pathlib import Path
from typing import Sequence

from rows import ROOT

# A module of that directory, which rows has made known.
from comparison import CaseError

HERE = ROOT / "stop_messages"
GOOD = "the good files"


@dataclass
class Golden:
    """Of one row: the lines of the output, and of each changed file its fate and its text."""

    output: list[str] = field(default_factory=list)
    changes: dict[str, list[str]] = field(default_factory=dict)


def path_of(group: str) -> Path:
    return HERE / "expected" / group


def read_goldens(group: str) -> dict[str, Golden]:
    """All rows of the group."""
    path = path_of(group)
    goldens: dict[str, Golden] = {}
    lines: list[str] = []
    for number, text in enumerate(path.read_text(encoding="utf-8").split("\n")[:-1] if path.is_file() else [], 1):
        kind, _, rest = text.partition(" ")
        if text.startswith("|"):
            lines.append(text[1:])
        elif kind == "===":
            if rest in goldens:
                raise CaseError(f"{path}:{number}: two expectations for one row")
            goldens[rest] = Golden()
            lines = goldens[rest].output
        elif kind == "<<<" and not lines and int(rest) <= len(goldens[GOOD].output):
            lines += goldens[GOOD].output[: int(rest)]
        elif kind == ">":
            lines = next(reversed(goldens.values())).changes.setdefault(rest, [])
        else:
            raise CaseError(f"{path}:{number}: cannot read the expectation: {text!r}")
    goldens.pop(GOOD, None)
    return goldens


def write_goldens(group: str, good: Sequence[str], goldens: dict[str, Golden]) -> None:
    shared = {name: count_shared(good, golden.output) for name, golden in goldens.items()}
    lines = [f"=== {GOOD}", *bar(good[: max(shared.values(), default=0)])]
    for name, golden in goldens.items():
        lines += [f"=== {name}", f"<<< {shared[name]}", *bar(golden.output[shared[name] :])]
        for change, text in golden.changes.items():
            lines += [f"> {change}", *bar(text)]
    path_of(group).parent.mkdir(exist_ok=True)
    path_of(group).write_text("".join(f"{line}\n" for line in lines), encoding="utf-8")


def count_shared(good: Sequence[str], output: Sequence[str]) -> int:
    """Lines at the beginning that are the same; the last line of the output is the stop."""
    count = 0
    while count < min(len(good), len(output) - 1) and good[count] == output[count]:
        count += 1
    return count


def bar(lines: Sequence[str]) -> list[str]:
    return [f"|{line}" for line in lines]
