#!/usr/bin/env python3
"""Spoils good input files in the ways that users do, and compares the message with which the command stops.

usage: stop_messages.py --command PATH [TABLE...]

Each row of the tables beside this file is one run: it has to end with status 1, with nothing on the standard error, and
with the message of the row in its only line that begins with "[STOP] ", the last one. The good files of a group have to
run to the end, so that the spoilt ones stop because of what is spoilt.
"""

from __future__ import annotations

import argparse
import os
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Sequence

import baselines
import data_files
import heads
import properties
import walks
from rows import Files, Group, Row

TIMEOUT = 60.0
MARK = "[STOP] "

TABLES = {
    "properties": properties.GROUPS,
    "data_files": data_files.GROUPS,
    "heads": heads.GROUPS,
    "walks": walks.GROUPS,
    "baselines": baselines.GROUPS,
}


def run(command: Path, words: Sequence[str], files: Files) -> subprocess.CompletedProcess[str]:
    with tempfile.TemporaryDirectory(prefix="melta-stop-") as scratch:
        for name, text in files.items():
            (Path(scratch) / name).write_text(text, encoding="utf-8")
        return subprocess.run(
            [os.fspath(command), "--omp", "1", *words],
            cwd=scratch,
            capture_output=True,
            text=True,
            errors="backslashreplace",
            timeout=TIMEOUT,
            check=False,
        )


def spoil(files: Files, row: Row) -> Files:
    spoilt = dict(files)
    for edit in row.edits:
        edit(spoilt)
    return spoilt


def judge_stop(result: subprocess.CompletedProcess[str], message: str) -> str:
    """What is wrong, or an empty text."""
    if result.stderr:
        return f"output on the standard error: {result.stderr!r}"
    lines = result.stdout.split("\n")
    stops = [line for line in lines if line.startswith(MARK)]
    if stops != [MARK + message] or lines[-2:] != [MARK + message, ""]:
        return f"stops with {stops}, last line {lines[-2:]}"
    return "" if result.returncode == 1 else f"status {result.returncode}"


def judge_group(command: Path, group: Group) -> list[str]:
    complaints = []
    result = run(command, group.words, group.files)
    if result.returncode != 0 or result.stderr or MARK in result.stdout:
        complaints.append(f"the good files stop: {result.stdout[-200:]!r}")
    for row in group.rows:
        complaint = judge_stop(run(command, group.words, spoil(group.files, row)), row.message)
        if complaint:
            complaints.append(f"expected {row.message!r}: {complaint}")
    return complaints


def main() -> int:
    parser = argparse.ArgumentParser(description="Compares the messages with which the command stops.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    parser.add_argument("tables", nargs="*", metavar="TABLE", help="all if none is given")
    options = parser.parse_args()

    num_failed = 0
    for group in [group for name in options.tables or TABLES for group in TABLES[name]]:
        complaints = judge_group(options.command.resolve(), group)
        num_failed += len(complaints)
        for complaint in complaints:
            print(f"FAILED {group.name}: {complaint}", flush=True)
        print(f"{group.name}: {len(group.rows)} messages")
    return 1 if num_failed > 0 else 0


if __name__ == "__main__":
    sys.exit(main())
