#!/usr/bin/env python3
"""Runs trainings on a terminal: a line of status may stand there below what they print, and is gone in the end.

usage: terminal_runs.py --command PATH [TEST...]
"""

from __future__ import annotations

import argparse
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from typing import Callable, Optional

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))

from comparison import mask_times  # noqa: E402
from outer_events import ENDLESS, PROPERTIES  # noqa: E402

SHARED = HERE.parent / "shared" / "silica"
COMMAND = Path()
TIMEOUT = 60.0
STATUS = b"time left: "
WHOLE_STATUS = re.compile(rb"time left: \d+( days|:\d\d:\d\d) \(\d+%\) \| \d+ MiB \| best test: E \S+ F \S+\r")
ERASER = b"\r\x1b[K"

# With one geometry and stored networks nothing is random.
SMALL = PROPERTIES + "insituTest 1\nepochsOnlyE 2\nepochsApproxF 0\n"
ADAM = "lbfgs 0\nepochs 60\nlearnRate 1e-3\n"
STORES = "epochsStore 3\n"  # lines of their own between those of the status
LBFGS = "lbfgs 8\nepochs 30\n"


class Terminal:
    """The few things that a terminal does with what a program writes to it."""

    def __init__(self) -> None:
        self.lines = [""]
        self.column = 0

    def take(self, text: str) -> None:
        for part in re.findall(r"\x1b\[K|.", text, re.DOTALL):
            line = self.lines[-1]
            if part == "\x1b[K":
                self.lines[-1] = line[: self.column]
            elif part == "\r":
                self.column = 0
            elif part == "\n":
                self.lines.append("")
            else:
                assert part.isprintable(), f"unknown control character {part!r}"
                self.lines[-1] = line[: self.column].ljust(self.column) + part + line[self.column + 1 :]
                self.column += 1


def screen_of(written: bytes) -> str:
    terminal = Terminal()
    terminal.take(written.decode())
    return "\n".join(terminal.lines)


class TerminalRuns(unittest.TestCase):
    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory(prefix="melta-terminal-")
        self.addCleanup(scratch.cleanup)
        self.directory = Path(scratch.name)

    def prepare(self, name: str, keys: str) -> Path:
        directory = self.directory / name
        directory.mkdir()
        lines = (SHARED / "melta.train").read_text(encoding="utf-8").splitlines(keepends=True)
        geometry = "".join(lines[: 4 + int(lines[0].split()[0])])
        for file in ("melta.train", "melta.test"):
            (directory / file).write_text(geometry, encoding="utf-8")
        (directory / "melta.prop").write_text(SMALL + keys, encoding="utf-8")
        return directory

    def run_piped(self, directory: Path) -> str:
        environment = {"TERM": "xterm"}
        result = subprocess.run([os.fspath(COMMAND), "--omp", "1", "--train"], cwd=directory, env=environment,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=TIMEOUT, check=False)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertNotIn(STATUS, result.stdout)
        self.assertNotIn(b"\x1b", result.stdout)
        return result.stdout.decode()

    def run_on_terminal(self, directory: Path, kind: str = "xterm", errors: Optional[int] = None,
                        act: Callable[[subprocess.Popen[bytes], bytes], None] = lambda process, written: None,
                        ) -> tuple[bytes, int]:
        """All that was written, and the status; `act` is called with what has been written so far."""
        ours, theirs = pty.openpty()
        process = subprocess.Popen([os.fspath(COMMAND), "--omp", "1", "--train"], cwd=directory, env={"TERM": kind},
                                   stdin=theirs, stdout=theirs, stderr=theirs if errors is None else errors)
        os.close(theirs)
        written, limit = b"", time.monotonic() + TIMEOUT
        try:
            while time.monotonic() < limit:
                if select.select([ours], [], [], 0.1)[0]:
                    written += os.read(ours, 65536)
                act(process, written)
        except OSError:  # nobody has the other end open any more
            pass
        finally:
            os.close(ours)
            if time.monotonic() >= limit:
                process.kill()
        return written, process.wait()

    def assert_without_trace(self, written: bytes) -> str:
        """Status was shown, and has gone. Returns what is seen."""
        self.assertTrue(STATUS in written and ERASER in written)
        screen = screen_of(written)
        self.assertNotIn(STATUS.decode(), screen)
        return screen

    def test_screen_is_what_a_pipe_gets(self) -> None:
        for name, keys in (("adam", ADAM), ("lbfgs", LBFGS), ("super", ADAM + "superEpochs 2\n")):
            with self.subTest(name):
                first = self.prepare(name, keys + STORES)
                self.run_piped(first)
                with (first / "melta.prop").open("a", encoding="utf-8") as file:
                    file.write("restart 1\n")
                second = shutil.copytree(first, self.directory / f"{name}-2")

                piped = self.run_piped(first)
                written, status = self.run_on_terminal(second)

                self.assertEqual(status, 0)
                screen = self.assert_without_trace(written)
                self.assertEqual(mask_times(screen), mask_times(piped))

    def test_stop(self) -> None:
        directory = self.prepare("stop", ENDLESS.replace("learnRate 1e-6", "learnRate 1e30"))
        (directory / "melta.prop").write_text(SMALL + "lbfgs 0\nepochs 100\nlearnRate 1e30\nlearnRateFinal 1e30\n",
                                              encoding="utf-8")

        written, status = self.run_on_terminal(directory)

        self.assertEqual(status, 1)
        screen = self.assert_without_trace(written)
        self.assertEqual(screen.splitlines()[-1][:28], "[STOP] the training diverged")

    def test_signal(self) -> None:
        directory = self.prepare("signal", ENDLESS)
        sent = []

        def interrupt(process: subprocess.Popen[bytes], written: bytes) -> None:
            if WHOLE_STATUS.search(written) and not sent:
                sent.append(process.send_signal(signal.SIGINT))

        written, status = self.run_on_terminal(directory, act=interrupt)

        self.assertTrue(sent)
        self.assertEqual(status, 0)
        screen = self.assert_without_trace(written)
        self.assertEqual(screen.count("\n\n  Exited by user.\n\n"), 1)
        self.assertTrue(screen.endswith("\n\n"))

    def test_other_terminals_and_files(self) -> None:
        for name, kind, with_file in (("dumb", "dumb", False), ("none", "", False), ("file", "xterm", True)):
            with self.subTest(name), tempfile.TemporaryFile() as file:
                directory = self.prepare(name, ADAM)

                written, status = self.run_on_terminal(directory, kind, file.fileno() if with_file else None)

                self.assertEqual(status, 0)
                self.assertNotIn(STATUS, written)
                self.assertNotIn(b"\x1b", written)
                self.assertIn(b"All epochs have been done.", written)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--command", type=Path, required=True)
    options, rest = parser.parse_known_args()
    COMMAND = options.command.resolve()
    unittest.main(argv=[sys.argv[0], *rest])
