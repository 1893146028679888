"""What the tables of stop messages are made of: good files, and rows that spoil them."""

from __future__ import annotations

import re
import sys
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Callable, Iterator, Optional, Sequence, Union

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT))

from comparison import Tolerance  # noqa: E402


@dataclass(frozen=True)
class Shut:
    """A file that nobody may read, or, with the name ".", a working directory that nobody may write in."""

    text: str = ""
    mode: int = 0


@dataclass(frozen=True)
class Link:
    target: str


@dataclass(frozen=True)
class Folder:
    pass


@dataclass(frozen=True)
class Locked:
    """With the name ".": the working directory while another run works in it."""


Entry = Union[str, Shut, Link, Folder, Locked]
Files = dict[str, Entry]
Edit = Callable[[Files], None]


@dataclass(frozen=True)
class Row:
    """A mistake, and the message that tells of it."""

    edits: tuple[Edit, ...]
    message: str
    words: Optional[Sequence[str]] = None  # in place of those of the group
    memory: Optional[int] = None  # MiB of addresses that the command may have


@dataclass(frozen=True)
class Group:
    """Rows that spoil the same good files for the same words of the command line."""

    name: str
    words: Sequence[str]
    files: Files
    rows: Sequence[Row]
    is_one_test: bool = False  # for rows that a loop makes, which are many and fast
    stdin: str = ""
    tolerance: Tolerance = Tolerance("*", 2e-3, 1e-4)  # of numbers with a point: the last digit of "%.3e" may differ

    def named_rows(self) -> Iterator[tuple[str, Row]]:
        """The message makes the name, and a number where rows of the group share it."""
        counts: dict[str, int] = {}
        for row in self.rows:
            name = make_name(row.message)
            counts[name] = counts.get(name, 0) + 1
            yield (name if counts[name] == 1 else f"{name}.{counts[name]}"), row


def make_name(message: str) -> str:
    """The beginning of a message, with no characters that are not for names of tests."""
    return re.sub(r"[^A-Za-z0-9.]+", "_", message.replace("#", "number of "))[:80].strip("_.")


def row(edits: Union[Edit, tuple[Edit, ...]], message: str, words: Optional[Sequence[str]] = None) -> Row:
    return Row(edits if isinstance(edits, tuple) else (edits,), message, words)


def short_of(memory: int, edits: Union[Edit, tuple[Edit, ...]], message: str) -> Row:
    """The same with so many MiB of memory."""
    return replace(row(edits, message), memory=memory)


def say(message: str, *words: str) -> Row:
    """Good files, and words of the command line that spoil the run."""
    return Row((), message, words)


def take(folder: str, *names: str) -> Files:
    """Files of a directory below that of the console tests."""
    return {name: (ROOT / folder / name).read_text(encoding="utf-8") for name in names}


# ---------------------------------------------------------------------------------------------
# Edits
# ---------------------------------------------------------------------------------------------


def text_of(files: Files, name: str) -> str:
    entry = files[name]
    assert isinstance(entry, str), "no text to change"
    return entry


def add(file: str, line: str) -> Edit:
    """Appends a line, to a file that need not be there."""

    def edit(files: Files) -> None:
        files[file] = (text_of(files, file) if file in files else "") + line + "\n"

    return edit


def put(file: str, text: Entry) -> Edit:
    """Writes a whole file."""

    def edit(files: Files) -> None:
        files[file] = text

    return edit


def line(file: str, number: int, text: str) -> Edit:
    """Replaces a line, counted from 1."""

    def edit(files: Files) -> None:
        lines = text_of(files, file).splitlines()
        lines[number - 1] = text
        files[file] = "".join(f"{text}\n" for text in lines)

    return edit


def keep(file: str, count: int) -> Edit:
    """Keeps the first lines only."""

    def edit(files: Files) -> None:
        lines = text_of(files, file).splitlines(keepends=True)
        assert count < len(lines), "nothing is cut"
        files[file] = "".join(lines[:count])

    return edit


def drop(file: str) -> Edit:
    def edit(files: Files) -> None:
        del files[file]

    return edit


def shut(file: str, mode: int = 0) -> Edit:
    """Takes the right to read a file away, or, of ".", the right to write in the working directory."""

    def edit(files: Files) -> None:
        files[file] = Shut("" if file == "." else text_of(files, file), mode)

    return edit


def link(file: str, target: str) -> Edit:
    """A link in place of a file, such as one to a full disk."""
    return put(file, Link(target))


def folder(file: str) -> Edit:
    """A directory in place of a file."""
    return put(file, Folder())
