#!/usr/bin/env python3
"""Runs the console command and lets things happen to it that come from outside: signals, other runs in its directory,
limits of the machine.

usage: outer_events.py --command PATH [TEST...]
"""

from __future__ import annotations

import argparse
import os
import resource
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
SHARED = HERE.parent / "shared" / "silica"
COMMAND = Path()
TIMEOUT = 60.0
FILE_SIZE = 10  # bytes

PROPERTIES = """\
symmFunc chebyshev
elemWeight 0
numRadius 3
numAngle 2
rcutRadius 3.5
rcutAngle 3.0
models 2
layers 2
nodes 4
maxForce 0
rmseEnergy 1e-30
rmseForce 1e-30
"""
# More epochs than any test waits for; the fit has no targets that it could reach either.
ENDLESS = "lbfgs 0\nepochs 1000000000\nlearnRate 1e-6\nlearnRateFinal 1e-6\nclassicalTry 1000000000\n"
ENDLESS_WALK = "maxSteps 1000000000\nnumGeoms 1000000000\nunknownGeoms 1\ntemperature 300\n"


class OuterEvents(unittest.TestCase):
    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory(prefix="melta-run-")
        self.addCleanup(scratch.cleanup)
        self.directory = Path(scratch.name)
        self.log = self.directory / "log"

    def prepare_training(self, extra: str = ENDLESS) -> None:
        shutil.copy(SHARED / "melta.train", self.directory)
        (self.directory / "melta.prop").write_text(PROPERTIES + extra, encoding="utf-8")

    def prepare_walk(self) -> None:
        for name in ("melta.data", "melta.data_e", "melta.gdist"):
            shutil.copy(SHARED / name, self.directory)
        cell = "".join(f"{'Si' if i % 2 else 'O'} {2.4 * (i % 2)} {2.4 * (i // 2 % 2)} {2.4 * (i // 4)}\n" for i in range(8))
        (self.directory / "melta.metro").write_text(
            ENDLESS_WALK + "GEOMETRY\n8\n4.8 0 0\n0 4.8 0\n0 0 4.8\n" + cell, encoding="utf-8"
        )

    def prepare_fit(self) -> None:
        self.prepare_training("classicalTry 1000000000\nepochs 1\n")

    def start(self, word: str, prepare: Optional[Callable[[], None]] = None) -> subprocess.Popen[bytes]:
        with self.log.open("wb") as stream:
            process = subprocess.Popen(
                [os.fspath(COMMAND), "--omp", "1", word], cwd=self.directory, stdout=stream, preexec_fn=prepare
            )
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process: subprocess.Popen[bytes]) -> None:
        if process.poll() is None:
            process.kill()
        process.wait()

    def wait_for_steps(self) -> None:
        """Until the run is in its loop: three lines of progress are in the log."""
        limit = time.monotonic() + TIMEOUT
        while self.log.read_text(encoding="utf-8").count("\n  #.") < 3:
            self.assertLess(time.monotonic(), limit, "the run does not get on")
            time.sleep(0.01)

    def run_command(self, *words: str, prepare: Optional[Callable[[], None]] = None) -> tuple[str, int]:
        result = subprocess.run(
            [os.fspath(COMMAND), *words],
            cwd=self.directory,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=TIMEOUT,
            check=False,
            preexec_fn=prepare,
        )
        self.assertEqual(result.stderr, "")
        return result.stdout, result.returncode


class Signals(OuterEvents):
    def assert_good_end(self, process: subprocess.Popen[bytes]) -> str:
        self.assertEqual(process.wait(TIMEOUT), 0)
        output = self.log.read_text(encoding="utf-8")
        self.assertEqual(output.count("\n\n  Exited by user.\n\n"), 1, output[-2000:])
        self.assertIn("\n  * Wall time: ", output.split("Exited by user.")[1])
        return output

    def test_trainings(self) -> None:
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            for extra in ("", "superEpochs 3\n", "batchs 2\n", "lbfgs 8\nrmseEnergy 1e-30\n"):
                with self.subTest(number=number, extra=extra):
                    self.prepare_training(ENDLESS + extra)
                    process = self.start("--train")
                    self.wait_for_steps()

                    process.send_signal(number)

                    output = self.assert_good_end(process)
                    self.assertTrue(output.split("Exited by user.\n\n")[1].startswith("  * Store the neural network"))
                    self.assertTrue((self.directory / "melta.data_e").exists())
                    (self.directory / "melta.data_e").unlink()

    def test_walk(self) -> None:
        self.prepare_walk()
        process = self.start("--metro")
        self.wait_for_steps()

        process.send_signal(signal.SIGTERM)

        output = self.assert_good_end(process)
        self.assertIn("\n\n  Exited by user.\n\n  Accepted / Total Geometries:\n", output)

    def test_classical_fit(self) -> None:
        self.prepare_fit()
        process = self.start("--classical")
        self.wait_for_steps()

        process.send_signal(signal.SIGINT)

        self.assert_good_end(process)
        self.assertTrue((self.directory / "melta.class").exists())

    def test_burst_is_one_request(self) -> None:
        self.prepare_training()
        process = self.start("--train")
        self.wait_for_steps()
        process.send_signal(signal.SIGSTOP)  # so that it cannot end in good order in between

        process.send_signal(signal.SIGTERM)
        process.send_signal(signal.SIGINT)
        process.send_signal(signal.SIGCONT)

        self.assert_good_end(process)

    def test_other_modes_end_at_once(self) -> None:
        process = subprocess.Popen([os.fspath(COMMAND), "--behler"], cwd=self.directory, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE)
        self.addCleanup(self.end, process)
        assert process.stdout is not None and process.stdin is not None
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stdin.close)
        process.stdout.read(1)

        process.send_signal(signal.SIGINT)

        self.assertEqual(process.wait(TIMEOUT), -signal.SIGINT)

    def test_ignored_hang_up_stays_ignored(self) -> None:
        self.prepare_training()
        process = self.start("--train", lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN) and None)
        self.wait_for_steps()

        process.send_signal(signal.SIGHUP)
        time.sleep(0.3)

        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGTERM)
        self.assert_good_end(process)

    def test_closed_output_ends_no_training(self) -> None:
        self.prepare_training("lbfgs 0\nepochs 200\n")
        reading, writing = os.pipe()
        process = subprocess.Popen([os.fspath(COMMAND), "--omp", "1", "--train"], cwd=self.directory, stdout=writing,
                                   restore_signals=True)
        self.addCleanup(self.end, process)
        os.close(writing)
        os.read(reading, 1)

        os.close(reading)

        self.assertEqual(process.wait(TIMEOUT), 0)
        self.assertTrue((self.directory / "melta.data_e").exists())


class Locks(OuterEvents):
    CHANGING = ("--train", "--train-charge", "--metro", "--split", "--classical")

    def test_second_run_is_refused(self) -> None:
        self.prepare_training(ENDLESS + "epochsStore 0\n")
        process = self.start("--train")
        self.wait_for_steps()
        before = sorted(path.name for path in self.directory.iterdir())

        for word in self.CHANGING:
            output, status = self.run_command("--omp", "1", word)

            refusal = f"[STOP] another run works in this directory: {self.directory.resolve()}\n"
            self.assertEqual((output, status), (refusal, 1), word)
        self.assertEqual(sorted(path.name for path in self.directory.iterdir()), before)
        self.assertIsNone(process.poll())

    def test_requests_and_templates_pass(self) -> None:
        self.prepare_training()
        process = self.start("--train")
        self.wait_for_steps()

        self.assertEqual(self.run_command("--metro-temp")[1], 0)
        self.assertEqual(self.run_command("--stop")[1], 0)

        self.assertEqual(process.wait(TIMEOUT), 0)

    def test_lock_dies_with_its_process(self) -> None:
        self.prepare_training()
        process = self.start("--train")
        self.wait_for_steps()
        process.kill()
        process.wait()

        self.prepare_training("lbfgs 8\nepochs 1\n")

        self.assertEqual(self.run_command("--train")[1], 0)


def limit_address_space() -> None:
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))


def limit_files() -> None:
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))


class FullDisks(OuterEvents):
    """Files that cannot grow say so, whether they are written at their place or replaced."""

    MODES = (
        (["--template"], "melta.prop"),
        (["--behler"], "melta.behler"),
        (["--metro-temp"], "melta.metro"),
        (["--split", "0.5"], "melta.train"),
        (["--test"], "melta.etot"),
        (["--export"], "ffield.melta"),
    )

    def test_files_that_cannot_grow(self) -> None:
        for words, name in self.MODES:
            with self.subTest(name):
                for path in SHARED.iterdir():
                    shutil.copy(path, self.directory)
                data = (self.directory / "melta.train").read_bytes()

                output, status = self.run_command("--omp", "1", *words, prepare=limit_files)

                self.assertTrue(output.endswith(f"[STOP] cannot write file: {name}\n"), output[-500:])
                self.assertEqual((output.count("[STOP]"), status), (1, 1))
                self.assertEqual((self.directory / "melta.train").read_bytes(), data)


class Limits(OuterEvents):
    def last_line_of(self, *words: str) -> str:
        output, status = self.run_command(*words, prepare=limit_address_space)
        self.assertEqual(status, 1, output)
        lines = output.split("\n")
        self.assertEqual(lines.pop(), "")
        self.assertEqual(output.count("[STOP]"), 1)
        return lines[-1]

    def test_descriptors_that_cannot_fit_stop_before_they_are_computed(self) -> None:
        self.prepare_training("rcutRadius 300\n")

        line = self.last_line_of("--omp", "2", "--train")

        self.assertRegex(
            line,
            r"^\[STOP\] not enough memory: symmetry functions take \d+ MiB, but only \d+ MiB are free; "
            r"reduce numRadius, numAngle, rcutRadius or rcutAngle, set geomsEpoch, or let Adam \(lbfgs 0\) "
            r"work with batchs and directSF 1$",
        )

    def test_distributions_that_cannot_fit(self) -> None:
        self.prepare_training("numRadius 1000000\n")

        line = self.last_line_of("--omp", "2", "--train")

        self.assertEqual(line, "[STOP] cannot allocate memory: distributions of symmetry functions")

    def test_networks_that_cannot_fit(self) -> None:
        self.prepare_training("layers 1000000\n")

        self.assertRegex(self.last_line_of("--omp", "2", "--train"), r"^\[STOP\] cannot allocate ")

    def test_data_that_cannot_fit(self) -> None:
        self.prepare_training("rcutRadius 30\n")
        side = 20
        atoms = "".join(
            f"Si {5 * (i % side)} {5 * (i // side % side)} {5 * (i // side**2)} 0 0 0 0 0 0 0 0 0\n" for i in range(side**3)
        )
        edge = 5 * side
        (self.directory / "melta.train").write_text(
            f"{side**3} 1 -1.0\n{edge} 0 0\n0 {edge} 0\n0 0 {edge}\n{atoms}", encoding="utf-8"
        )

        def limit() -> None:
            resource.setrlimit(resource.RLIMIT_AS, (768 << 20, 768 << 20))

        output, status = self.run_command("--omp", "1", "--train", prepare=limit)

        self.assertEqual(status, 1, output)
        self.assertTrue(output.endswith("\n[STOP] cannot allocate memory: neighbor lists\n"), output)

    def test_too_many_threads_are_limited(self) -> None:
        self.prepare_training("lbfgs 8\nepochs 1\n")

        output, status = self.run_command("--omp", "100000", "--train")

        self.assertEqual(status, 0)
        self.assertRegex(output, r"^  \* The number of threads is limited to \d+\.\n\n")

    def test_threads_under_a_limit_of_the_address_space(self) -> None:
        self.prepare_training("lbfgs 8\nepochs 1\n")

        for word in ("--train", "--classical"):
            output, status = self.run_command("--omp", "1000", word, prepare=limit_address_space)

            self.assertEqual(status, 0, output)

    def test_threads_that_cannot_be_made(self) -> None:
        self.prepare_training("lbfgs 8\nepochs 1\n")

        def limit() -> None:
            resource.setrlimit(resource.RLIMIT_AS, (512 << 20, 512 << 20))

        output, status = self.run_command("--omp", "64", "--train", prepare=limit)

        self.assertEqual((output, status), ("[STOP] cannot make 64 threads.\n", 1))


def main() -> None:
    global COMMAND
    parser = argparse.ArgumentParser(description="Lets things happen to runs of the console command.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    options, rest = parser.parse_known_args()
    COMMAND = options.command.resolve()
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
