#!/usr/bin/env python3
"""Installs the build into a temporary prefix and builds a host outside of the tree, by CMake and by pkg-config.

usage: consumer_test.py --build DIR --command FILE --data DIR --compiler FILE --shared FILE

The host has to print the energy and the forces that the command's own test tables show for the same geometry, and to
do so with a shared library, too, of which nobody sees more than the public names.
"""

from __future__ import annotations

import argparse
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
BOHR = 0.529177249
options: argparse.Namespace

SETTINGS = """\
models 3
nodes 6
numRadius 8
numAngle 6
rcutRadius 4.5
rcutAngle 4.5
lbfgs 8
epochs 4
epochsOnlyE 0
epochsApproxF 0
"""


def run(*words: object, cwd: Path | None = None, text: str = "", env: dict[str, str] | None = None) -> str:
    result = subprocess.run(
        [str(word) for word in words], cwd=cwd, input=text, text=True, capture_output=True,
        env={**os.environ, **(env or {})}, check=False,
    )
    if result.returncode != 0:
        raise AssertionError(f"{words}: status {result.returncode}\n{result.stdout}\n{result.stderr}")
    return result.stdout


class Consumer(unittest.TestCase):
    place: Path

    @classmethod
    def setUpClass(cls) -> None:
        cls.place = Path(tempfile.mkdtemp(prefix="melta-consumer-"))
        cls.addClassCleanup(shutil.rmtree, cls.place)
        cls.model = cls.place / "model"
        cls.model.mkdir()
        for name in ("melta.train", "melta.test"):
            shutil.copy(options.data / name, cls.model)
        (cls.model / "melta.prop").write_text(SETTINGS)
        run(options.command, "--train", cwd=cls.model)
        run(options.command, "--test-with-bias", cwd=cls.model)
        run("cmake", "--install", options.build, "--prefix", cls.place / "prefix")
        cls.prefix = cls.place / "prefix"

    def cell(self) -> tuple[str, int]:
        """The first geometry of the testing data as the host reads it, and its number of atoms."""
        lines = (self.model / "melta.test").read_text().splitlines()
        count = int(lines[0].split()[0])
        numbers = [str(float(field) * BOHR) for line in lines[1:4] for field in line.split()[:3]]
        text = [str(count), *numbers]
        for line in lines[4 : 4 + count]:
            fields = line.split()
            text += [fields[0], *(str(float(field) * BOHR) for field in fields[1:4])]
        return " ".join(text), count

    def check(self, host: Path, env: dict[str, str] | None = None) -> None:
        text, count = self.cell()
        output = run(host, self.model, text=text, env=env)
        numbers = {line.split()[0]: line.split()[1:] for line in output.splitlines()}
        table = (self.model / "melta.etot").read_text().splitlines()[1].split()
        self.assertAlmostEqual(float(numbers["energy"][0]) / count, float(table[1]), delta=2.0e-5)
        rows = (self.model / "melta.force").read_text().splitlines()[1 : 1 + 3 * count]
        forces = [float(x) for line in output.splitlines() if line.startswith("force") for x in line.split()[1:]]
        self.assertEqual(len(forces), 3 * count)
        for force, row in zip(forces, rows):
            self.assertAlmostEqual(force, float(row.split()[1]), delta=2.0e-4)
        self.assertEqual(len(numbers["virial"]), 6)

    def test_cmake_package(self) -> None:
        build = self.place / "build"
        run("cmake", "-S", HERE / "consumer", "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={options.compiler}", *options.flags)
        run("cmake", "--build", build)
        self.check(build / "consumer")

    def test_pkg_config(self) -> None:
        path = next(self.prefix.rglob("melta.pc")).parent
        words = run("pkg-config", "--cflags", "--libs", "melta", env={"PKG_CONFIG_PATH": str(path)}).split()
        host = self.place / "by-pkg-config"
        flags = [flag.partition("=")[2] for flag in options.flags if "CXX_FLAGS" in flag]
        run(options.compiler, *flags, HERE / "consumer" / "main.cpp", *words, "-o", host)
        self.check(host)

    def test_shared_library(self) -> None:
        host = self.place / "by-shared"
        flags = [flag.partition("=")[2] for flag in options.flags if "CXX_FLAGS" in flag]
        run(options.compiler, *flags, "-std=c++20", f"-I{self.prefix / 'include'}", HERE / "consumer" / "main.cpp",
            options.shared, f"-Wl,-rpath,{options.shared.parent}", "-o", host)
        self.check(host)

    def test_only_public_names_are_seen(self) -> None:
        names = run("nm", "-DC", "--defined-only", options.shared)
        own = [line for line in names.splitlines() if re.search(r"\bmelta::", line)]
        public = re.compile(r"melta::(Potential|PeriodicView|Error|version)\b")
        self.assertTrue(any("melta::Potential::evaluate" in line for line in own))
        self.assertEqual([line for line in own if not public.search(line)], [])

    def test_internal_headers_stay_home(self) -> None:
        headers = {path.name for path in (self.prefix / "include").rglob("*") if path.is_file()}
        self.assertEqual(headers, {path.name for path in (HERE.parents[1] / "include" / "melta").iterdir()})

    def test_a_missing_model_is_an_error_of_the_host(self) -> None:
        build = self.place / "missing"
        run("cmake", "-S", HERE / "consumer", "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={options.compiler}", *options.flags)
        run("cmake", "--build", build)
        result = subprocess.run([build / "consumer", self.place / "nowhere"], input="", text=True,
                                capture_output=True, check=False)
        self.assertEqual(result.returncode, 2)
        self.assertIn("error cannot open file: ", result.stdout)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("build", "command", "data", "compiler", "shared"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--flag", dest="flags", action="append", default=[])
    options = parser.parse_args()
    unittest.main(argv=[__file__])
