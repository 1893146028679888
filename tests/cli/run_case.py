#!/usr/bin/env python3
"""Runs the console command on the cases of this directory and compares everything that it does.

usage: run_case.py --command PATH [--regenerate] CASE...

A case is a directory with

  arguments         the words of the command line, one in each line; a line "---" begins the next run
  input/            the files of the working directory (optional)
  inputs            lines "NAME FROM": files of the working directory that cases share (optional)
  stdin             the standard input (optional); that of the second run is "stdin.2"
  tolerance         lines "FILE-PATTERN RELATIVE ABSOLUTE" for numbers that may vary (optional)
  read_only         exists if the working directory cannot be written
  expected/         what has to come out:
    stdout            the standard output; that of the second run is "stdout.2"
    status            the exit status, 0 if missing; "status.2"
    removed           the names of input files that have to be gone (optional)
    empty_directories the names of directories without any file (optional)
    any other file    a file that is new or changed; all other input files have to stay as they are
  outputs           lines "NAME FROM": files of expected/ that cases share (optional)

NAME is the name in input/ or expected/, FROM that of a file below the directory of all cases, such as
"shared/silica/melta.data". A file may not stand in the case as well.

The command runs on a copy of the input with an empty environment. Nothing may appear on the standard error. The exit
status of this program is 0 if all cases pass, 77 if one had to be skipped, and 1 otherwise. With --regenerate the
expectations of failing cases are rewritten instead, and references that do not hold any more go; review the difference.
"""

from __future__ import annotations

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
from contextlib import contextmanager
from pathlib import Path
from typing import Iterator, Optional, Sequence

from comparison import CaseError, describe_difference, find_tolerance, mask_times
from console_case import (
    Case,
    Outcome,
    decode,
    encode,
    find_empty_directories,
    numbered,
    read_tree,
    write_expectation,
)

STATUS_SKIPPED = 77
UNPRIVILEGED_ID = 65534

# Sanitizers and coverage tools are steered from outside; the command itself reads no environment.
PASSED_VARIABLES = ("ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS", "GCOV_PREFIX", "LD_LIBRARY_PATH")


class CaseSkipped(Exception):
    """This machine cannot run the case."""


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
