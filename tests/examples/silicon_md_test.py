#!/usr/bin/env python3
"""Tests of examples/silicon-md/run.py.

usage: silicon_md_test.py --command PATH --library PATH

The example as a whole, trained and run for a moment. The status is 77, which ctest shows as skipped, where LAMMPS or the
compiled model of the KIM API is not there.
"""

from __future__ import annotations

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from typing import Sequence

sys.dont_write_bytecode = True
sys.path.insert(0, os.fspath(Path(__file__).resolve().parents[1] / "support"))

from script_module import load_script  # noqa: E402

SCRIPT = Path(__file__).resolve().parents[2] / "examples" / "silicon-md" / "run.py"
STATUS_SKIPPED = 77

OPTIONS = argparse.Namespace()  # from the command line

example = load_script(SCRIPT)


class NumbersTest(unittest.TestCase):
    def test_a_cubic_polynomial_is_found_again(self) -> None:
        x = [-0.3, -0.1, 0.0, 0.2, 0.3]
        found = example.fit_cubic(x, [1.0 - 2.0 * a + 0.5 * a**2 + 3.0 * a**3 for a in x])

        for number, expected in zip(found, [1.0, -2.0, 0.5, 3.0]):
            self.assertAlmostEqual(number, expected, places=9)

    def test_the_crystal_of_a_parabola(self) -> None:
        volume, modulus = 5.43**3 / 8.0, 97.0
        energies = [
            0.5 * modulus / example.GPA * (lattice**3 / 8.0 - volume) ** 2 / volume for lattice in example.LATTICES
        ]

        lattice, found = example.crystal_of(energies)

        self.assertAlmostEqual(lattice, 5.43, places=6)
        self.assertAlmostEqual(found, modulus, places=4)

    def test_the_frequency_of_a_spring(self) -> None:
        # 10 eV/Angstrom^2 and 28.085 u: sqrt(10 * 1.602177e-19 / 1e-20 / (28.085 * 1.660539e-27)) / 2 pi
        self.assertAlmostEqual(example.phonon_of(-10.0 * example.DISPLACEMENT), 9.3286, places=3)


class ExampleTest(unittest.TestCase):
    def test_ends_in_physics(self) -> None:
        with tempfile.TemporaryDirectory(prefix="melta md ") as name:
            words = [sys.executable, "-B", SCRIPT, "--work", name, "--epochs", "15", "--steps", "100"]
            words += ["--melta", OPTIONS.command.resolve(), "--library", OPTIONS.library]
            # Busy machines make threads wait for each other.
            environment = {**os.environ, "OMP_NUM_THREADS": "1"}
            done = subprocess.run(
                [str(word) for word in words], capture_output=True, text=True, check=False, env=environment
            )

            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            rows = re.findall(r"^\| ([a-z].*?) \| ([\d.]+) \| ([\d.]*) ?\|$", done.stdout, re.MULTILINE)
            self.assertEqual(len(rows), 4, done.stdout)
            self.assertLess(abs(float(rows[3][1]) - 5.4), 0.2, done.stdout)
            for (_, model, dft), tolerance in zip(rows, (0.01, 0.15, 0.1)):
                self.assertLess(abs(float(model) / float(dft) - 1.0), tolerance, done.stdout)
            self.assertIn((Path(name) / "table.md").read_text(), done.stdout)
            if "no picture" not in done.stdout:
                self.assertIn("<svg", (Path(name) / "silicon-md.svg").read_text())


def main(words: Sequence[str]) -> int:
    global OPTIONS
    parser = argparse.ArgumentParser(description="Tests the example of molecular dynamics.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    parser.add_argument("--library", default="", help="the compiled model of the KIM API")
    OPTIONS = parser.parse_args(words)
    if not OPTIONS.library or shutil.which("lmp") is None:
        print("SKIPPED: LAMMPS or the model of the KIM API is not there")
        return STATUS_SKIPPED
    suite = unittest.defaultTestLoader.loadTestsFromModule(sys.modules[__name__])
    return 0 if unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
