#!/usr/bin/env python3
"""Tests of tools/melta-kim: installs a trained model and runs it in stock LAMMPS.

usage: melta_kim_test.py --command FILE --library FILE --data DIR

The cases that run LAMMPS are skipped where it is not installed.
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

TOOL = Path(__file__).resolve().parents[2] / "tools" / "melta-kim"
BOHR = 0.5291772
options: argparse.Namespace

SETTINGS = """\
models 2
nodes 8
numRadius 8
numAngle 6
rcutRadius 4.5
rcutAngle 4.5
lbfgs 8
epochs 40
epochsOnlyE 0
epochsApproxF 0
geomsEpoch 0
"""

NVE = """\
kim init Silicon metal
lattice diamond 5.431
region box block 0 2 0 2 0 2
create_box 1 box
create_atoms 1 box
mass 1 28.085
kim interactions Si
velocity all create 600 4321
timestep 0.001
thermo 20
thermo_style custom step temp pe ke etotal
thermo_modify format float %.15g norm no
fix 1 all nve
run 200
"""


def run(*words: object, cwd: Path, expected: int = 0) -> subprocess.CompletedProcess[str]:
    env = {
        **os.environ,
        "OMP_NUM_THREADS": "1",
        "KIM_API_PORTABLE_MODELS_DIR": os.fspath(Case.models),
        "KIM_API_CONFIGURATION_FILE": os.fspath(Case.place / "kim.config"),
    }
    result = subprocess.run([str(word) for word in words], cwd=cwd, text=True, capture_output=True, env=env, check=False)
    if result.returncode != expected:
        raise AssertionError(f"{words}: status {result.returncode}\n{result.stdout}\n{result.stderr}")
    return result


class Case(unittest.TestCase):
    place: Path
    models: Path

    @classmethod
    def setUpClass(cls) -> None:
        Case.place = Path(tempfile.mkdtemp(prefix="melta-kim-"))
        cls.addClassCleanup(shutil.rmtree, Case.place)
        Case.models = Case.place / "models"
        # The user's collection of the tests, not that of whoever runs them.
        (Case.place / "kim.config").write_text(
            "".join(f"{kind}-dir = {Case.place}/user\n" for kind in ("model-drivers", "portable-models", "simulator-models"))
        )
        for name in ("melta.train", "melta.test"):
            shutil.copy(options.data / name, Case.place)
        (Case.place / "melta.prop").write_text(SETTINGS)
        run(options.command, "--train", "--omp", "1", cwd=Case.place)
        run(options.command, "--test-with-bias", cwd=Case.place)
        run(options.command, "--export", cwd=Case.place)

    def setUp(self) -> None:
        for folder in (Case.models, Case.place / "user"):
            shutil.rmtree(folder, ignore_errors=True)

    def tool(self, *words: object, expected: int = 0) -> subprocess.CompletedProcess[str]:
        return run(TOOL, *words, "--library", options.library, cwd=Case.place, expected=expected)

    def install(self, name: str = "Silicon") -> None:
        self.tool("install", "ffield.melta", name, "--collection", Case.models)

    def lammps(self, text: str, expected: int = 0) -> str:
        if shutil.which("lmp") is None:
            self.skipTest("LAMMPS is not installed")
        (Case.place / "in.lammps").write_text(text)
        result = run("lmp", "-in", "in.lammps", cwd=Case.place, expected=expected)
        return result.stdout + result.stderr


class CollectionTest(Case):
    def test_a_folder_of_ones_own(self) -> None:
        result = self.tool("install", "ffield.melta", "Silicon", "--collection", "models")

        self.assertEqual(
            result.stdout,
            f"installed Silicon: Si, influence distance 4.5 Angstrom, in {Case.models}\n"
            f"for KIM to find it: export KIM_API_PORTABLE_MODELS_DIR={Case.models}\n",
        )
        self.assertEqual(self.tool("list").stdout, f"Silicon: Si, in {Case.models}\n")
        self.assertEqual(self.tool("remove", "Silicon", "--collection", "models").stdout, f"removed Silicon from {Case.models}\n")
        self.assertEqual(list(Case.models.iterdir()), [])

    def test_the_collection_of_the_user(self) -> None:
        user = Case.place / "user"

        self.assertEqual(
            self.tool("install", "ffield.melta", "Silicon").stdout,
            f"installed Silicon: Si, influence distance 4.5 Angstrom, in {user}\n",
        )
        self.assertEqual(self.tool("list", "--collection", "user").stdout, f"Silicon: Si, in {user}\n")
        self.tool("remove", "Silicon")
        self.assertEqual(self.tool("list").stdout, "")

    def test_an_installed_model_is_replaced(self) -> None:
        self.install()
        (Case.models / "Silicon" / "ffield.melta").write_text("old")
        self.assertIn("Silicon: unusable: ", self.tool("list").stdout)

        self.install()

        self.assertEqual((Case.models / "Silicon" / "ffield.melta").read_bytes(), (Case.place / "ffield.melta").read_bytes())
        self.assertEqual([path.name for path in Case.models.iterdir()], ["Silicon"])

    def test_what_others_installed_is_left_alone(self) -> None:
        other = Case.models / "Other"
        other.mkdir(parents=True)
        for words in (("install", "ffield.melta", "Other"), ("remove", "Other")):
            result = self.tool(*words, "--collection", "models", expected=1)
            self.assertEqual(result.stderr, f"melta-kim: is no model that melta-kim installed: {other}\n")
        self.assertTrue(other.is_dir())

    def test_names_that_kim_does_not_take(self) -> None:
        for name in ("9Lives", "a-b", "a/b", "..", ""):
            result = self.tool("install", "ffield.melta", name, expected=1)
            self.assertIn("a name has letters, digits and _", result.stderr)

    def test_force_fields_that_are_not_sound(self) -> None:
        text = (Case.place / "ffield.melta").read_text()
        for name, damaged in (("none", None), ("half", text[: len(text) // 2]), ("species", text.replace("Si", "X1"))):
            if damaged is not None:
                (Case.place / name).write_text(damaged)
            result = self.tool("install", name, "Silicon", expected=1)
            self.assertRegex(result.stderr, r"\Amelta-kim: (cannot|KIM has no species X1)")
            self.assertFalse((Case.place / "user" / "Silicon").exists())

    def test_command_lines_that_make_no_sense(self) -> None:
        for words in ((), ("install",), ("remove",), ("upgrade",), ("list", "more")):
            result = run(TOOL, *words, cwd=Case.place, expected=2)
            self.assertIn("usage: melta-kim install", result.stderr)
        self.assertIn("usage: melta-kim install", run(TOOL, "--help", cwd=Case.place).stdout)


class LammpsTest(Case):
    def write_cell(self) -> int:
        """The first geometry of the testing data, whose cell is a cuboid; the number of its atoms."""
        lines = (Case.place / "melta.test").read_text().splitlines()
        count = int(lines[0].split()[0])
        sides = [float(lines[1 + k].split()[k]) * BOHR for k in range(3)]
        for k in range(3):
            self.assertEqual([float(x) for i, x in enumerate(lines[1 + k].split()[:3]) if i != k], [0.0, 0.0])
        text = f"cell\n\n{count} atoms\n1 atom types\n"
        text += "".join(f"0 {side:.12g} {axis}lo {axis}hi\n" for side, axis in zip(sides, "xyz"))
        text += "\nMasses\n\n1 28.085\n\nAtoms # atomic\n\n"
        for number, line in enumerate(lines[4 : 4 + count], 1):
            text += f"{number} 1 " + " ".join(f"{float(x) * BOHR:.12g}" for x in line.split()[1:4]) + "\n"
        (Case.place / "cell.data").write_text(text)
        return count

    def test_energies_and_forces_are_those_of_the_command(self) -> None:
        self.install()
        count = self.write_cell()

        output = self.lammps(
            "kim init Silicon metal\nread_data cell.data\nkim interactions Si\n"
            "dump 1 all custom 1 dump.text id fx fy fz\ndump_modify 1 sort id format float %.10g\n"
            "thermo_style custom pe\nthermo_modify format float %.12g norm no\nrun 0\n"
        )

        energy = re.search(r"PotEng\s+(\S+)", output)
        assert energy is not None
        table = (Case.place / "melta.etot").read_text().splitlines()[1].split()
        self.assertAlmostEqual(float(energy.group(1)) / count, float(table[1]), delta=2.0e-5)
        rows = (Case.place / "melta.force").read_text().splitlines()[1 : 1 + 3 * count]
        dump = (Case.place / "dump.text").read_text().splitlines()[9:]
        forces = [float(x) for line in dump for x in line.split()[1:4]]
        self.assertEqual(len(forces), 3 * count)
        for force, row in zip(forces, rows):
            self.assertAlmostEqual(force, float(row.split()[1]), delta=2.0e-4)

    def test_energy_is_conserved(self) -> None:
        self.install()

        output = self.lammps(NVE)

        rows = [line.split() for line in output.splitlines() if re.fullmatch(r"\s*\d+( +-?[\d.e+-]+){4}\s*", line)]
        self.assertEqual(len(rows), 11)
        kinetic = [float(row[3]) for row in rows]
        total = [float(row[4]) for row in rows]
        # Heat goes to and fro while the sum stays.
        self.assertGreater(max(kinetic) - min(kinetic), 1.0)
        self.assertLess(max(total) - min(total), 0.02)

    def test_wrong_bytes_end_lammps_in_its_own_way(self) -> None:
        self.install()
        text = (Case.place / "ffield.melta").read_text()
        for damaged in ("", text[: len(text) // 3], text.replace("e", "x", 50)):
            (Case.models / "Silicon" / "ffield.melta").write_text(damaged)

            output = self.lammps(NVE, expected=1)

            self.assertRegex(output, r"(?m)^melta: ")
            self.assertIn("ERROR: ", output)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    for option in ("command", "library", "data"):
        parser.add_argument(f"--{option}", type=Path, required=True)
    options = parser.parse_args()
    unittest.main(argv=[__file__])
