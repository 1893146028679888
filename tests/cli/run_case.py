#!/usr/bin/env python3
"""Runs the console command on the cases of this directory and compares everything that it does.

usage: run_case.py --command PATH [--regenerate] CASE...

A case is a directory with

  arguments         the words of the command line, one in each line; a line "---" begins the next run
  input/            the files of the working directory (optional)
  stdin             the standard input (optional); that of the second run is "stdin.2"
  tolerance         lines "FILE-PATTERN RELATIVE ABSOLUTE" for numbers that may vary (optional)
  read_only         exists if the working directory cannot be written
  expected/         what has to come out:
    stdout            the standard output; that of the second run is "stdout.2"
    status            the exit status, 0 if missing; "status.2"
    removed           the names of input files that have to be gone (optional)
    empty_directories the names of directories without any file (optional)
    any other file    a file that is new or changed; all other input files have to stay as they are

The command runs on a copy of the input with an empty environment. Nothing may appear on the standard error. The exit
status of this program is 0 if all cases pass, 77 if one had to be skipped, and 1 otherwise. With --regenerate the
expectations of failing cases are rewritten instead; review the difference.
"""

from __future__ import annotations

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
from contextlib import contextmanager
from dataclasses import dataclass, field
from pathlib import Path
from typing import Iterator, Optional, Sequence

from comparison import (
    CaseError,
    Tolerance,
    describe_difference,
    find_tolerance,
    mask_times,
    read_tolerances,
)

RUN_SEPARATOR = "---"
CASE_ENTRIES = ("arguments", "input", "stdin", "tolerance", "read_only", "expected")
RESERVED_NAMES = ("stdout", "status", "removed", "empty_directories")
STATUS_SKIPPED = 77
UNPRIVILEGED_ID = 65534

# Sanitizers and coverage tools are steered from outside; the command itself reads no environment.
PASSED_VARIABLES = ("ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS", "GCOV_PREFIX", "LD_LIBRARY_PATH")


class CaseSkipped(Exception):
    """This machine cannot run the case."""


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


# ---------------------------------------------------------------------------------------------
# Running
# ---------------------------------------------------------------------------------------------


class CommandRunner:
    def __init__(self, command: Path, timeout: float) -> None:
        self.command = command.resolve()
        self.timeout = timeout

    def run(self, case: Case) -> Outcome:
        with scratch_copy(case) as directory:
            outcome = Outcome()
            identity = self.obtain_identity(case, directory)
            for run, words in enumerate(case.runs):
                stdin = encode(case.read_text(numbered("stdin", run)) or "")
                output, status = self.run_once(words, stdin, directory, identity)
                outcome.outputs.append(output)
                outcome.statuses.append(status)
            outcome.files = read_tree(directory)
            outcome.empty_directories = find_empty_directories(directory)
            return outcome

    def run_once(
        self, words: Sequence[str], stdin: bytes, directory: Path, identity: dict[str, object]
    ) -> tuple[str, int]:
        environment = {name: os.environ[name] for name in PASSED_VARIABLES if name in os.environ}
        try:
            result = subprocess.run(
                [os.fspath(self.command), *words],
                cwd=directory,
                env=environment,
                input=stdin,
                capture_output=True,
                timeout=self.timeout,
                check=False,
                **identity,
            )
        except subprocess.TimeoutExpired as error:
            raise CaseError(f"the command did not end within {self.timeout:g} s") from error
        except OSError as error:
            raise CaseError(f"cannot start the command: {error}") from error
        if result.stderr:
            raise CaseError(f"output on the standard error:\n{decode(result.stderr)}")
        return mask_times(decode(result.stdout)), result.returncode

    def obtain_identity(self, case: Case, directory: Path) -> dict[str, object]:
        """Who runs the command: permissions do not bind the superuser."""
        if not case.is_read_only:
            return {}
        if os.geteuid() != 0:
            if os.access(directory, os.W_OK):
                raise CaseSkipped("the working directory cannot be made read-only")
            return {}
        identity = {"user": UNPRIVILEGED_ID, "group": UNPRIVILEGED_ID, "extra_groups": []}
        self.check_identity(directory, identity)
        return identity

    def check_identity(self, directory: Path, identity: dict[str, object]) -> None:
        probe = 'test -x "$0" && ! test -w .'
        try:
            result = subprocess.run(["/bin/sh", "-c", probe, self.command], cwd=directory, check=False, **identity)
        except (OSError, subprocess.SubprocessError) as error:
            raise CaseSkipped(f"cannot run as another user: {error}") from error
        if result.returncode != 0:
            raise CaseSkipped("an unprivileged user cannot reach the command")


@contextmanager
def scratch_copy(case: Case) -> Iterator[Path]:
    """A copy of the case's input that is removed in the end."""
    directory = Path(tempfile.mkdtemp(prefix="melta-cli-"))
    try:
        for name, text in case.input_files.items():
            target = directory / name
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(encode(text))
        directory.chmod(0o555 if case.is_read_only else 0o755)
        yield directory
    finally:
        directory.chmod(0o755)
        shutil.rmtree(directory)


# ---------------------------------------------------------------------------------------------
# Judging
# ---------------------------------------------------------------------------------------------


def find_differences(case: Case, actual: Outcome) -> list[str]:
    """What is wrong with an outcome, as texts for the reader."""
    expected = case.read_expectation()
    differences = []
    for run, words in enumerate(case.runs):
        if actual.statuses[run] != expected.statuses[run]:
            line = " ".join(words)
            differences.append(
                f"exit status of run {run + 1} ({line}): {actual.statuses[run]}, expected {expected.statuses[run]}"
            )
        name = numbered("stdout", run)
        wanted = mask_times(expected.outputs[run])
        tolerance = find_tolerance(case.tolerances, name)
        differences.append(describe_difference(name, wanted, actual.outputs[run], tolerance))
    differences += find_file_differences(case, expected, actual)
    if actual.empty_directories != expected.empty_directories:
        differences.append(f"empty directories: {actual.empty_directories}, expected {expected.empty_directories}")
    return [text for text in differences if text]


def find_file_differences(case: Case, expected: Outcome, actual: Outcome) -> list[str]:
    missing = [f"missing file: {name}" for name in expected.files if name not in actual.files]
    unexpected = [f"unexpected file: {name}" for name in actual.files if name not in expected.files]
    changed = [
        describe_difference(name, text, actual.files[name], find_tolerance(case.tolerances, name))
        for name, text in expected.files.items()
        if name in actual.files
    ]
    return missing + unexpected + changed


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


def run_case(directory: Path, runner: CommandRunner) -> None:
    """Stops with CaseError if the case fails."""
    case = Case(directory)
    differences = find_differences(case, runner.run(case))
    if differences:
        raise CaseError("\n".join(differences))


def regenerate_case(directory: Path, runner: CommandRunner) -> None:
    """Rewrites the expectation unless it is met, so that nothing changes within a tolerance."""
    case = Case(directory)
    outcome = runner.run(case)
    try:
        is_met = not find_differences(case, outcome)
    except CaseError:
        is_met = False
    if not is_met:
        write_expectation(case, outcome)
        print(f"rewritten: {directory}")


def main(arguments: Optional[Sequence[str]] = None) -> int:
    parser = argparse.ArgumentParser(description="Runs console cases.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    parser.add_argument("--timeout", type=float, default=240.0, help="longest time of a run in seconds")
    parser.add_argument("--regenerate", action="store_true", help="rewrite the expectations of failing cases")
    parser.add_argument("cases", type=Path, nargs="+", help="directories of the cases")
    options = parser.parse_args(arguments)

    runner = CommandRunner(options.command, options.timeout)
    handle = regenerate_case if options.regenerate else run_case
    num_failed = 0
    num_skipped = 0
    for directory in options.cases:
        try:
            handle(directory, runner)
        except CaseSkipped as reason:
            num_skipped += 1
            print(f"SKIPPED {directory}: {reason}")
        except CaseError as error:
            num_failed += 1
            print(f"FAILED {directory}\n{error}")
    if num_failed > 0:
        return 1
    return STATUS_SKIPPED if num_skipped > 0 else 0


if __name__ == "__main__":
    sys.exit(main())
