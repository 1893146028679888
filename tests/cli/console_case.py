"""A console case as its directory tells it; the head of run_case.py says what may stand there."""

from __future__ import annotations

import shutil
from dataclasses import dataclass, field
from pathlib import Path
from typing import Optional, Sequence

from comparison import CaseError, Tolerance, find_tolerance, read_tolerances

RUN_SEPARATOR = "---"
CASE_ENTRIES = ("arguments", "input", "stdin", "tolerance", "read_only", "expected")
RESERVED_NAMES = ("stdout", "status", "removed", "empty_directories")


def decode(data: bytes) -> str:
    return data.decode("utf-8", "surrogateescape")


def encode(text: str) -> bytes:
    return text.encode("utf-8", "surrogateescape")


def numbered(name: str, run: int) -> str:
    """Name of an entry for a run, counted from 0."""
    return name if run == 0 else f"{name}.{run + 1}"


@dataclass
class Outcome:
    """Consoles and working directory: what a case expects or what has come out."""

    outputs: list[str] = field(default_factory=list)
    statuses: list[int] = field(default_factory=list)
    files: dict[str, str] = field(default_factory=dict)
    empty_directories: list[str] = field(default_factory=list)


def read_tree(root: Path) -> dict[str, str]:
    """All files below a directory, by their names relative to it."""
    if not root.is_dir():
        return {}
    paths = sorted(path for path in root.rglob("*") if path.is_file())
    return {path.relative_to(root).as_posix(): decode(path.read_bytes()) for path in paths}


def find_empty_directories(root: Path) -> list[str]:
    paths = (path for path in root.rglob("*") if path.is_dir() and not any(path.iterdir()))
    return sorted(path.relative_to(root).as_posix() for path in paths)


class Case:
    def __init__(self, directory: Path) -> None:
        self.directory = directory
        self.check_entries()
        self.runs = self.read_runs()
        self.input_files = read_tree(directory / "input")
        self.is_read_only = (directory / "read_only").exists()
        self.tolerances: list[Tolerance] = read_tolerances(self.read_text("tolerance") or "")

    def read_text(self, name: str) -> Optional[str]:
        path = self.directory / name
        return decode(path.read_bytes()) if path.is_file() else None

    def check_entries(self) -> None:
        for path in self.directory.iterdir():
            if path.name.split(".")[0] not in CASE_ENTRIES:
                raise CaseError(f"unknown entry of the case: {path.name}")

    def read_runs(self) -> list[list[str]]:
        text = self.read_text("arguments")
        if text is None:
            raise CaseError("the file arguments is missing")
        runs: list[list[str]] = [[]]
        for word in text.removesuffix("\n").split("\n") if text else []:
            if word == RUN_SEPARATOR:
                runs.append([])
            else:
                runs[-1].append(word)
        return runs

    def read_list(self, name: str) -> list[str]:
        return sorted((self.read_text(f"expected/{name}") or "").splitlines())

    def is_reserved(self, name: str) -> bool:
        return name.split(".")[0] in RESERVED_NAMES and "/" not in name

    def read_expectation(self) -> Outcome:
        expected = Outcome(empty_directories=self.read_list("empty_directories"))
        for run in range(len(self.runs)):
            output = self.read_text(f"expected/{numbered('stdout', run)}")
            if output is None:
                raise CaseError(f"the file expected/{numbered('stdout', run)} is missing")
            expected.outputs.append(output)
            expected.statuses.append(int(self.read_text(f"expected/{numbered('status', run)}") or "0"))
        expected.files = dict(self.input_files)
        for name in self.read_list("removed"):
            if expected.files.pop(name, None) is None:
                raise CaseError(f"no input file can be removed: {name}")
        own = read_tree(self.directory / "expected").items()
        expected.files.update({name: text for name, text in own if not self.is_reserved(name)})
        self.check_tolerances(expected)
        return expected

    def check_tolerances(self, expected: Outcome) -> None:
        names = [*expected.files, *(numbered("stdout", run) for run in range(len(self.runs)))]
        for rule in self.tolerances:
            if not any(find_tolerance([rule], name) for name in names):
                raise CaseError(f"tolerance for a file that is not expected: {rule.file_pattern}")


def write_expectation(case: Case, outcome: Outcome) -> None:
    expected = case.directory / "expected"
    shutil.rmtree(expected, ignore_errors=True)
    expected.mkdir()
    for run in range(len(case.runs)):
        (expected / numbered("stdout", run)).write_bytes(encode(outcome.outputs[run]))
        if outcome.statuses[run] != 0:
            (expected / numbered("status", run)).write_text(f"{outcome.statuses[run]}\n", encoding="utf-8")
    for name, text in outcome.files.items():
        if case.is_reserved(name):
            raise CaseError(f"the command has written a file with a reserved name: {name}")
        if case.input_files.get(name) != text:
            (expected / name).parent.mkdir(parents=True, exist_ok=True)
            (expected / name).write_bytes(encode(text))
    write_list(expected / "removed", [name for name in case.input_files if name not in outcome.files])
    write_list(expected / "empty_directories", outcome.empty_directories)


def write_list(path: Path, names: Sequence[str]) -> None:
    if names:
        path.write_text("".join(f"{name}\n" for name in names), encoding="utf-8")
