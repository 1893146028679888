#!/usr/bin/env python3
"""Spoils good input files in the ways that users do, and compares what the command says and leaves behind.

usage: stop_messages.py --list
       stop_messages.py --command PATH [--unlimited] [--regenerate] [NAME...]

Each row of the tables beside this file is one run and one test, GROUP.ROW; some long groups are one test, GROUP. A run
has to end with status 1, with nothing on the standard error, and with the message of the row as the last line,
"[STOP] MESSAGE". The whole output and what becomes of the files have to be those of expected/GROUP (golden.py has its
format): to the byte, but for measured times and the last digits of numbers. The test GROUP.good runs the good files of
a group to the end, so that the spoilt ones stop because of what is spoilt. NAME is a group or a test.

The exit status is 0 if all pass, 77 if one had to be skipped, and 1 otherwise. --regenerate rewrites what groups of
failing rows expect; a message and a status it does not change. Review the difference. --unlimited skips the rows that
limit the memory, for commands that are built with sanitizers.
"""

from __future__ import annotations

import argparse
import fcntl
import os
import re
import resource
import shutil
import sys
import tempfile
from contextlib import contextmanager
from pathlib import Path
from typing import Callable, Iterator, Optional, Sequence

import baselines
import data_files
import heads
import properties
import surroundings
import walks
from rows import Files, Folder, Group, Link, Locked, Row, Shut

# The modules of the directory above, which rows has made known.
from comparison import CaseError, Tolerance, describe_difference
from console_case import Outcome, decode, encode, find_empty_directories
from golden import Golden, read_goldens, write_goldens
from run_case import STATUS_SKIPPED, UNPRIVILEGED_ID, CaseSkipped, CommandRunner

TIMEOUT = 60.0
MARK = "[STOP] "
GOOD = "good"
THREADS = ("--omp", "1")  # unless a row says otherwise
UNSPOILT = Row((), "")

# What is different each time.
FREE_MEMORY = re.compile(r"(?<=but only )\d+(?= MiB are free)")
SOME = "<some>"
DIRECTORY = "<directory>"

GROUPS = [
    *properties.GROUPS,
    *data_files.GROUPS,
    *heads.GROUPS,
    *walks.GROUPS,
    *baselines.GROUPS,
    *surroundings.GROUPS,
]


# ---------------------------------------------------------------------------------------------
# Files
# ---------------------------------------------------------------------------------------------


def spoil(group: Group, row: Row) -> Files:
    spoilt = dict(group.files)
    for edit in row.edits:
        edit(spoilt)
    return spoilt


def lay_out(directory: Path, files: Files) -> None:
    for name, entry in files.items():
        path = directory / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if isinstance(entry, Link):
            path.symlink_to(entry.target)
        elif isinstance(entry, Folder):
            path.mkdir()
        elif name != ".":
            text, mode = (entry.text, entry.mode) if isinstance(entry, Shut) else (entry, 0o644)
            path.write_bytes(encode(text))
            path.chmod(mode)


@contextmanager
def scratch_of(files: Files) -> Iterator[Path]:
    """A directory with the files that is removed in the end."""
    directory = Path(tempfile.mkdtemp(prefix="melta-stop-")).resolve()
    descriptor = os.open(directory, os.O_RDONLY | os.O_DIRECTORY)
    try:
        lay_out(directory, files)
        if isinstance(files.get("."), Locked):
            fcntl.flock(descriptor, fcntl.LOCK_EX)
        directory.chmod(0o555 if isinstance(files.get("."), Shut) else 0o755)
        yield directory
    finally:
        os.close(descriptor)
        directory.chmod(0o755)
        shutil.rmtree(directory)


def read_back(directory: Path) -> dict[str, str]:
    """The texts of all files that can be read and are no links."""
    paths = [path for path in sorted(directory.rglob("*")) if path.is_file() and not path.is_symlink()]
    readable = [path for path in paths if path.stat().st_mode & 0o400]
    return {path.relative_to(directory).as_posix(): decode(path.read_bytes()) for path in readable}


def find_changes(files: Files, outcome: Outcome) -> dict[str, list[str]]:
    laid = {name: entry for name, entry in files.items() if isinstance(entry, str)}
    changes: dict[str, list[str]] = {f"gone {name}": [] for name in laid if name not in outcome.files}
    changes |= {f"new {name}/": [] for name in outcome.empty_directories if name not in files}
    for name, text in outcome.files.items():
        if laid.get(name) != text:
            changes[f"{'changed' if name in laid else 'new'} {name}"] = text.split("\n")
    return changes


# ---------------------------------------------------------------------------------------------
# Runs
# ---------------------------------------------------------------------------------------------


class RowRunner(CommandRunner):
    """Runs the command on what a row makes of the good files."""

    def __init__(self, command: Path, is_limited: bool) -> None:
        super().__init__(command, TIMEOUT)
        self.is_limited = is_limited

    def run_files(self, group: Group, files: Files, row: Row = UNSPOILT) -> Outcome:
        with scratch_of(files) as directory:
            circumstances = self.obtain_identity_for(directory, files)
            if row.memory is not None:
                circumstances["preexec_fn"] = self.obtain_limit(row.memory)
            words = [*THREADS, *(group.words if row.words is None else row.words)]
            output, status = self.run_once(words, encode(group.stdin), directory, circumstances)
            output = FREE_MEMORY.sub(SOME, output.replace(os.fspath(directory), DIRECTORY))
            return Outcome([output], [status], read_back(directory), find_empty_directories(directory))

    def obtain_identity_for(self, directory: Path, files: Files) -> dict[str, object]:
        """Who runs the command: permissions do not bind the superuser."""
        if os.geteuid() != 0 or not any(isinstance(entry, Shut) for entry in files.values()):
            return {}
        identity: dict[str, object] = {"user": UNPRIVILEGED_ID, "group": UNPRIVILEGED_ID, "extra_groups": []}
        self.check_identity(directory, identity)
        return identity

    def obtain_limit(self, mebibytes: int) -> Callable[[], None]:
        if not self.is_limited:
            raise CaseSkipped("this command does not run with little memory")
        return lambda: limit_memory(mebibytes)


def limit_memory(mebibytes: int) -> None:
    """For the process that becomes the command. What the number of processors and the stacks of threads take is made
    the same on all machines: OpenBLAS begins with a buffer for each processor."""
    stack = 8 << 20
    hard = resource.getrlimit(resource.RLIMIT_STACK)[1]
    resource.setrlimit(resource.RLIMIT_STACK, (stack if hard == resource.RLIM_INFINITY else min(stack, hard), hard))
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    resource.setrlimit(resource.RLIMIT_AS, (mebibytes << 20, mebibytes << 20))


def require_good(runner: RowRunner, group: Group) -> list[str]:
    """Runs the good files and gives the lines of the output."""
    outcome = runner.run_files(group, group.files)
    output = outcome.outputs[0]
    if outcome.statuses[0] != 0 or MARK in output:
        raise CaseError(f"the good files stop:\n{output}")
    return output.split("\n")


def run_row(runner: RowRunner, group: Group, row: Row) -> Golden:
    """Fails unless the run stops with the message of the row."""
    files = spoil(group, row)
    outcome = runner.run_files(group, files, row)
    output = outcome.outputs[0]
    lines = output.split("\n")
    stops = [line for line in lines if line.startswith(MARK)]
    if stops != [MARK + row.message] or lines[-2:] != [MARK + row.message, ""]:
        raise CaseError(f"expected {row.message!r} as the last line of the output:\n{output}")
    if outcome.statuses[0] != 1:
        raise CaseError(f"exit status {outcome.statuses[0]}, expected 1")
    return Golden(lines[:-1], find_changes(files, outcome))


def compare(actual: Golden, expected: Golden, tolerance: Tolerance) -> None:
    texts = [describe_difference("output", "\n".join(expected.output), "\n".join(actual.output), tolerance)]
    for name in sorted({*actual.changes, *expected.changes}):
        if name not in expected.changes or name not in actual.changes:
            texts.append(f"{'unexpected' if name in actual.changes else 'missing'}: {name}")
        else:
            wanted, found = ("\n".join(golden.changes[name]) for golden in (expected, actual))
            texts.append(describe_difference(name, wanted, found, tolerance))
    if any(texts):
        raise CaseError("\n".join(filter(None, texts)))


# ---------------------------------------------------------------------------------------------
# Tests
# ---------------------------------------------------------------------------------------------


def check_test(runner: RowRunner, group: Group, name: str, row: Optional[Row]) -> None:
    if row is None:
        require_good(runner, group)
        return
    expected = read_goldens(group.name).get(name)
    actual = run_row(runner, group, row)
    if expected is None:
        raise CaseError("there is no expectation; --regenerate writes it")
    compare(actual, expected, group.tolerance)


def regenerate(runner: RowRunner, group: Group) -> None:
    """Writes the expectations of all rows unless they are met, so that nothing changes within a tolerance."""
    old = read_goldens(group.name)
    good = require_good(runner, group)
    goldens: dict[str, Golden] = {}
    for name, row in group.named_rows():
        actual = goldens[name] = run_row(runner, group, row)
        try:
            compare(actual, old.get(name, Golden()), group.tolerance)
            goldens[name] = old[name]
        except CaseError:
            print(f"rewritten: {group.name}.{name}", flush=True)
    if goldens != old:
        write_goldens(group.name, good, goldens)


def list_tests() -> Iterator[tuple[str, Group, str, Optional[Row]]]:
    for group in GROUPS:
        yield f"{group.name}.{GOOD}", group, GOOD, None
        for name, row in group.named_rows():
            yield f"{group.name}.{name}", group, name, row


def name_test(title: str, group: Group) -> str:
    return group.name if group.is_one_test else title


def run_tests(runner: RowRunner, wanted: Sequence[str]) -> int:
    tests = [test for test in list_tests() if not wanted or test[0] in wanted or test[1].name in wanted]
    num_failed = num_skipped = 0
    for title, group, name, row in tests:
        try:
            check_test(runner, group, name, row)
        except CaseSkipped as reason:
            num_skipped += 1
            print(f"SKIPPED {title}: {reason}")
        except CaseError as error:
            num_failed += 1
            print(f"FAILED {title}\n{error}", flush=True)
    print(f"{len(tests)} tests, {num_failed} failed, {num_skipped} skipped")
    if num_failed > 0 or not tests:
        return 1
    return STATUS_SKIPPED if num_skipped > 0 else 0


def main() -> int:
    parser = argparse.ArgumentParser(description="Compares what the command says about mistakes in its input.")
    parser.add_argument("--command", type=Path, help="the command to test")
    parser.add_argument("--list", action="store_true", help="print the names of the tests")
    parser.add_argument("--regenerate", action="store_true", help="rewrite the expectations of failing rows")
    parser.add_argument("--unlimited", action="store_true", help="skip rows that limit the memory")
    parser.add_argument("names", nargs="*", metavar="NAME", help="of groups or tests; all if none is given")
    options = parser.parse_args()

    if options.list:
        print("\n".join(dict.fromkeys(name_test(title, group) for title, group, *_ in list_tests())))
        return 0
    if options.command is None:
        parser.error("--command is missing")
    runner = RowRunner(options.command, not options.unlimited)
    if options.regenerate:
        for group in [group for group in GROUPS if not options.names or group.name in options.names]:
            regenerate(runner, group)
        return 0
    return run_tests(runner, options.names)


if __name__ == "__main__":
    sys.exit(main())
