"""A console case as its directory tells it; the head of run_case.py says what may stand there."""

from __future__ import annotations

import shutil
from dataclasses import dataclass, field
from pathlib import Path
from typing import Optional

from comparison import CaseError, Tolerance, find_tolerance, read_tolerances

RUN_SEPARATOR = "---"
CASE_ENTRIES = ("arguments", "input", "inputs", "tolerance", "read_only", "expected", "outputs")
RUN_EXPECTATIONS = ("stdout", "status")
LISTS = ("removed", "empty_directories")


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


def read_references(path: Path, root: Path) -> dict[str, str]:
    """The texts that a file of lines "NAME FROM" refers to, by their names; FROM is relative to the root."""
    texts: dict[str, str] = {}
    for line in path.read_text(encoding="utf-8").splitlines() if path.is_file() else []:
        words = line.split(" ")
        if len(words) != 2 or not all(words):
            raise CaseError(f"cannot read the reference: {line!r}")
        name, origin = words
        if not is_plain_name(name):
            raise CaseError(f"the name of a reference leaves its directory: {name}")
        if name in texts:
            raise CaseError(f"two references for one file: {name}")
        texts[name] = read_shared(root, origin)
    return texts


def is_plain_name(name: str) -> bool:
    return not any(part in ("", ".", "..") for part in name.split("/"))


def read_shared(root: Path, origin: str) -> str:
    path = (root / origin).resolve()
    if not is_plain_name(origin) or not path.is_relative_to(root):
        raise CaseError(f"a reference leaves the tree of the cases: {origin}")
    if not path.is_file():
        raise CaseError(f"a reference to no file: {origin}")
    return decode(path.read_bytes())


def unite(own: dict[str, str], shared: dict[str, str]) -> dict[str, str]:
    """Files of the case and files that it refers to; a file has one origin."""
    for name in shared:
        if name in own:
            raise CaseError(f"a reference for a file that the case has itself: {name}")
    return {**own, **shared}


def find_empty_directories(root: Path) -> list[str]:
    paths = (path for path in root.rglob("*") if path.is_dir() and not any(path.iterdir()))
    return sorted(path.relative_to(root).as_posix() for path in paths)


class Case:
    def __init__(self, directory: Path) -> None:
        self.directory = directory.resolve()
        self.runs = self.read_runs()
        self.check_entries()
        self.input_files = unite(read_tree(self.directory / "input"), self.read_references("inputs"))
        self.shared_expectations = self.read_references("outputs")
        self.is_read_only = (self.directory / "read_only").exists()
        self.tolerances: list[Tolerance] = read_tolerances(self.read_text("tolerance") or "")

    def read_text(self, name: str) -> Optional[str]:
        path = self.directory / name
        return decode(path.read_bytes()) if path.is_file() else None

    def read_references(self, name: str) -> dict[str, str]:
        """References are relative to the directory that holds all modes with their cases."""
        return read_references(self.directory / name, self.directory.parents[1])

    def check_entries(self) -> None:
        allowed = {*CASE_ENTRIES, *self.number_all("stdin")}
        for path in self.directory.iterdir():
            if path.name not in allowed:
                raise CaseError(f"unknown entry of the case: {path.name}")

    def number_all(self, name: str) -> list[str]:
        return [numbered(name, run) for run in range(len(self.runs))]

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

    def is_reserved(self, name: str) -> bool:
        return "/" not in name and (name in LISTS or name.split(".")[0] in RUN_EXPECTATIONS)

    def read_expectation(self) -> Outcome:
        texts = unite(read_tree(self.directory / "expected"), self.shared_expectations)
        expected = Outcome(empty_directories=sorted(texts.pop("empty_directories", "").splitlines()))
        for output, status in zip(self.number_all("stdout"), self.number_all("status")):
            if output not in texts:
                raise CaseError(f"the file expected/{output} is missing")
            expected.outputs.append(texts.pop(output))
            expected.statuses.append(int(texts.pop(status, "0")))
        expected.files = dict(self.input_files)
        for name in texts.pop("removed", "").splitlines():
            if expected.files.pop(name, None) is None:
                raise CaseError(f"no input file can be removed: {name}")
        self.check_expected_files(texts)
        expected.files.update(texts)
        self.check_tolerances(expected)
        return expected

    def check_expected_files(self, texts: dict[str, str]) -> None:
        for name, text in texts.items():
            if self.is_reserved(name):
                raise CaseError(f"an expectation of no run: {name}")
            if self.input_files.get(name) == text:
                raise CaseError(f"an expected change that changes nothing: {name}")

    def check_tolerances(self, expected: Outcome) -> None:
        names = [*expected.files, *self.number_all("stdout")]
        for rule in self.tolerances:
            if not any(find_tolerance([rule], name) for name in names):
                raise CaseError(f"tolerance for a file that is not expected: {rule.file_pattern}")


# ---------------------------------------------------------------------------------------------
# Writing
# ---------------------------------------------------------------------------------------------


def write_expectation(case: Case, outcome: Outcome) -> None:
    """Files that are as a reference says stay with it; the other references go."""
    texts = make_expectation(case, outcome)
    kept = {name for name, text in case.shared_expectations.items() if texts.get(name) == text}
    expected = case.directory / "expected"
    shutil.rmtree(expected, ignore_errors=True)
    for name, text in texts.items():
        if name not in kept:
            (expected / name).parent.mkdir(parents=True, exist_ok=True)
            (expected / name).write_bytes(encode(text))
    keep_references(case.directory / "outputs", kept)


def make_expectation(case: Case, outcome: Outcome) -> dict[str, str]:
    """What a case has to expect, by the names of the files."""
    texts = dict(zip(case.number_all("stdout"), outcome.outputs))
    for name, status in zip(case.number_all("status"), outcome.statuses):
        if status != 0:
            texts[name] = f"{status}\n"
    for name, text in outcome.files.items():
        if case.is_reserved(name):
            raise CaseError(f"the command has written a file with a reserved name: {name}")
        if case.input_files.get(name) != text:
            texts[name] = text
    removed = [name for name in case.input_files if name not in outcome.files]
    for name, names in (("removed", removed), ("empty_directories", outcome.empty_directories)):
        if names:
            texts[name] = "".join(f"{line}\n" for line in names)
    return texts


def keep_references(path: Path, names: set[str]) -> None:
    if not path.is_file():
        return
    lines = path.read_text(encoding="utf-8").splitlines()
    kept = [line for line in lines if line.split(" ")[0] in names]
    if kept:
        path.write_text("".join(f"{line}\n" for line in kept), encoding="utf-8")
    else:
        path.unlink()
