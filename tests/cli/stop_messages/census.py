#!/usr/bin/env python3
"""Counts the messages with which the sources stop: each has a console test, or a reason why it cannot have one.

usage: census.py <src directory>

A message has a test if a row of a table beside this file or the expected output of a console case says it.
"""

from __future__ import annotations

import sys
from pathlib import Path
from typing import Iterable, Iterator

from messages import find_messages, find_silent_formats, pattern_of
from rows import ROOT
from stop_messages import GROUPS, MARK
from uncaused import UNCAUSED


def find_said() -> set[str]:
    """What rows and cases expect the command to say."""
    said = {row.message for group in GROUPS for row in group.rows}
    for path in [*ROOT.glob("*/*/expected/stdout*"), *ROOT.glob("shared/**/*.out")]:
        lines = path.read_text(encoding="utf-8", errors="surrogateescape").split("\n")
        said.update(line[len(MARK) :] for line in lines if line.startswith(MARK))
    return said


def judge(messages: dict[str, list[str]], said: Iterable[str], uncaused: Iterable[str]) -> Iterator[str]:
    """What is wrong, as lines for the reader."""
    texts, excused = sorted(said), set(uncaused)
    heard = {message for message in messages if any(map(pattern_of(message).fullmatch, texts))}
    for message, paths in messages.items():
        if message not in heard and message not in excused:
            yield f"{paths[0]}: neither a test nor a reason why there is none: {message}"
    for message in sorted(excused - messages.keys()):
        yield f"a reason for a message that no source has: {message}"
    for message in sorted(excused & heard):
        yield f"a reason why there is no test, but there is one: {message}"
    patterns = [pattern_of(message) for message in messages]
    for text in texts:
        if not any(pattern.fullmatch(text) for pattern in patterns):
            yield f"a test of a message that no source has: {text}"


def main() -> int:
    src = Path(sys.argv[1])
    messages = find_messages(src)
    complaints = [f"{path}: nobody says what becomes of the format: {text}" for path, text in find_silent_formats(src)]
    complaints += judge(messages, find_said(), (message for group in UNCAUSED.values() for message in group))
    for complaint in complaints:
        print(complaint)
    print(f"{len(messages)} messages, {sum(map(len, UNCAUSED.values()))} of them without a test")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
