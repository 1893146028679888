"""What the tables of stop messages are made of: good files, and rows that spoil them."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Sequence, Union

ROOT = Path(__file__).resolve().parents[1]

Files = dict[str, str]
Edit = Callable[[Files], None]


@dataclass(frozen=True)
class Row:
    """A mistake, and the message that tells of it."""

    edits: tuple[Edit, ...]
    message: str


@dataclass(frozen=True)
class Group:
    """Rows that spoil the same good files for the same words of the command line."""

    name: str
    words: Sequence[str]
    files: Files
    rows: Sequence[Row]


def row(edits: Union[Edit, tuple[Edit, ...]], message: str) -> Row:
    return Row(edits if isinstance(edits, tuple) else (edits,), message)


def take(folder: str, *names: str) -> Files:
    """Files of a directory below that of the console tests."""
    return {name: (ROOT / folder / name).read_text(encoding="utf-8") for name in names}


# ---------------------------------------------------------------------------------------------
# Edits
# ---------------------------------------------------------------------------------------------


def add(file: str, line: str) -> Edit:
    """Appends a line, to a file that need not be there."""

    def edit(files: Files) -> None:
        files[file] = files.get(file, "") + line + "\n"

    return edit


def put(file: str, text: str) -> Edit:
    """Writes a whole file."""

    def edit(files: Files) -> None:
        files[file] = text

    return edit


def line(file: str, number: int, text: str) -> Edit:
    """Replaces a line, counted from 1."""

    def edit(files: Files) -> None:
        lines = files[file].splitlines()
        lines[number - 1] = text
        files[file] = "".join(f"{text}\n" for text in lines)

    return edit


def keep(file: str, count: int) -> Edit:
    """Keeps the first lines only."""

    def edit(files: Files) -> None:
        lines = files[file].splitlines(keepends=True)
        assert count < len(lines), "nothing is cut"
        files[file] = "".join(lines[:count])

    return edit


def drop(file: str) -> Edit:
    def edit(files: Files) -> None:
        del files[file]

    return edit
