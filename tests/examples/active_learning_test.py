#!/usr/bin/env python3
"""Tests of examples/active-learning/run_loop.py.

usage: active_learning_test.py --command PATH [--lmp PATH] [--package PATH --python PATH] stand_in|select|md|pw

With "stand_in" the parts of the script and whole loops with the true melta, in which a small program plays the part of
pw.x; with "select" and "md" those in which melta-data chooses and in which lmp_melta makes the configurations. With
"pw" one loop with the true pw.x. Where something is not installed or built the status is 77: ctest shows it as skipped.
"""

from __future__ import annotations

import argparse
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from typing import Sequence

sys.dont_write_bytecode = True
sys.path.insert(0, os.fspath(Path(__file__).resolve().parents[1] / "support"))

from script_module import load_script  # noqa: E402

EXAMPLES = Path(__file__).resolve().parents[2] / "examples"
EXAMPLE = EXAMPLES / "active-learning"
SCRIPT = EXAMPLE / "run_loop.py"
STATUS_SKIPPED = 77
PSEUDO_FILE = "Si.pz-vbc.UPF"
LATTICE = 5.4  # Angstrom

# From the command line: the melta and the lmp_melta to test; the folder of the Python package, and its interpreter.
COMMAND = LMP = PACKAGE = PYTHON = Path()

run_loop = load_script(SCRIPT)


def block(number: int) -> str:
    """A configuration of one atom."""
    atom = f"Si {number}.0 0.0 0.0 0.0 0.1 0.2 0.3 0.0 0.0 0.0 0.0 0.0\n"
    return f"1 0 -1.{number}\n9.0 0.0 0.0\n0.0 9.0 0.0\n0.0 0.0 9.0\n{atom}"


def blocks_of(path: Path) -> list[str]:
    blocks: list[str] = run_loop.split_blocks(path.read_text(encoding="utf-8"))
    return blocks


class DirectoryTest(unittest.TestCase):
    def setUp(self) -> None:
        directory = tempfile.TemporaryDirectory(prefix="melta loop ")  # blanks in a path have to do no harm
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)

    def write(self, name: str, text: str) -> Path:
        path = self.directory / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        return path


# ---------------------------------------------------------------------------------------------
# Parts
# ---------------------------------------------------------------------------------------------


class AppendingTest(DirectoryTest):
    def test_earlier_data_come_first_and_stay(self) -> None:
        earlier = self.write("earlier", block(1) + block(2))
        new = [self.write("new.1", block(3)), self.write("new.2", block(4) + block(5))]

        count = run_loop.append_data(earlier, new, self.directory / "all")

        self.assertEqual(count, 3)
        self.assertEqual((self.directory / "all").read_text(), "".join(block(i) for i in range(1, 6)))
        self.assertEqual(earlier.read_text(), block(1) + block(2))

    def test_incomplete_data_are_refused_before_anything_is_written(self) -> None:
        earlier = self.write("earlier", block(1))
        new = self.write("new", block(2) + block(3)[:-60].rsplit("\n", 1)[0] + "\n")

        with self.assertRaisesRegex(run_loop.LoopError, "ends within configuration 2"):
            run_loop.append_data(earlier, [new], self.directory / "all")

        self.assertEqual(sorted(path.name for path in self.directory.iterdir()), ["earlier", "new"])

    def test_a_missing_line_end_does_not_join_configurations(self) -> None:
        earlier = self.write("earlier", block(1).rstrip("\n"))
        new = self.write("new", block(2))

        run_loop.append_data(earlier, [new], self.directory / "all")

        self.assertEqual((self.directory / "all").read_text(), block(1) + block(2))


class TableTest(unittest.TestCase):
    def test_rows(self) -> None:
        rows = [
            run_loop.Row(0, 16, 0, 0.0289, 0.4821, run_loop.Walks(4000, 2000, 2000), 0.654),
            run_loop.Row(1, 56, 2, 0.0044, 0.1289, run_loop.Walks(4000, 2000, 500), None),
        ]

        text = run_loop.turn_table.format_table(rows)
        lines = [[cell.strip() for cell in line.split("|")[1:-1]] for line in text.splitlines()]

        self.assertEqual(lines[0], list(run_loop.turn_table.HEAD))
        self.assertEqual(lines[2], ["start", "16", "28.9", "0.482", "0.654", "2000 of 4000", "2000 (100%)"])
        self.assertEqual(lines[3], ["after turn 1", "56 - 2", "4.4", "0.129", "", "2000 of 4000", "500 (25%)"])

    def test_all_lines_are_equally_long(self) -> None:
        table = run_loop.turn_table.format_table([run_loop.Row(0, 16, 0, 0.1, 0.1, run_loop.Walks(10, 0, 0))], "md")

        self.assertEqual(len({len(line) for line in table.splitlines()}), 1, table)
        self.assertRegex(table.splitlines()[1], r"^\| -+ \|( -+: \|){6}$")


class ChoiceTest(unittest.TestCase):
    def test_chosen_geometries_are_evenly_spaced(self) -> None:
        self.assertEqual(run_loop.choosing.evenly_spaced(list(range(100)), 4), [12, 37, 62, 87])

    def test_few_geometries_are_all_chosen(self) -> None:
        self.assertEqual(run_loop.choosing.evenly_spaced([1, 2, 3], 4), [1, 2, 3])
        self.assertEqual(run_loop.choosing.evenly_spaced([], 4), [])


def frame_text(step: int, spreads: Sequence[float], box: str = "pp pp pp\n1 6\n0 5\n0 5") -> str:
    """A frame of a dump with an atom for each spread."""
    atoms = "".join(f"{i} Si {i}.5 2 3 {spread}\n" for i, spread in enumerate(spreads, start=1))
    head = f"ITEM: TIMESTEP\n{step}\nITEM: NUMBER OF ATOMS\n{len(spreads)}\nITEM: BOX BOUNDS {box}\n"
    return f"{head}ITEM: ATOMS id element x y z c_spread\n{atoms}"


class DumpTest(DirectoryTest):
    def test_frames_and_their_spread(self) -> None:
        dump = self.write("md.dump", frame_text(0, [0.1, 0.2]) + frame_text(10, [0.4, 0.3]))

        frames = list(run_loop.dynamics.read_frames(dump))

        self.assertEqual([(frame.step, frame.spread) for frame in frames], [(0, 0.2), (10, 0.4)])
        self.assertEqual([line.split() for line in frames[1].atoms], [["Si", "1.5", "2", "3"], ["Si", "2.5", "2", "3"]])
        self.assertEqual([float(word) for line in frames[1].cell for word in line.split()], [5, 0, 0, 0, 5, 0, 0, 0, 5])

    def test_a_tilted_box(self) -> None:
        # The bounds go around vectors (4 0 0), (1 5 0), (-2 0.5 6).
        box = "xy xz yz pp pp pp\n-2 5 1\n0 5.5 -2\n0 6 0.5"

        frame = next(run_loop.dynamics.read_frames(self.write("md.dump", frame_text(0, [0.1], box))))

        cell = [float(word) for line in frame.cell for word in line.split()]
        self.assertEqual(cell, [4, 0, 0, 1, 5, 0, -2, 0.5, 6])

    def test_a_frame_that_is_cut_short_does_not_count(self) -> None:
        text = frame_text(0, [0.1, 0.2]) + frame_text(10, [0.4, 0.3])
        for lost in (1, 2, 9):
            dump = self.write("md.dump", "\n".join(text.splitlines()[:-lost]) + "\n")
            self.assertEqual(len(list(run_loop.dynamics.read_frames(dump))), 1)

    def test_other_columns_are_a_failure(self) -> None:
        dump = self.write("md.dump", frame_text(0, [0.1]).replace("c_spread", "c_1"))

        with self.assertRaisesRegex(run_loop.dynamics.DynamicsError, "has no c_spread"):
            list(run_loop.dynamics.read_frames(dump))

    def test_uncertain_frames_become_geometries(self) -> None:
        self.write("md.dump", frame_text(0, [0.1]) + frame_text(10, [0.4]) + frame_text(20, [0.2]))

        run_loop.dynamics.write_uncertain(self.directory, 0.15, 0.3)

        self.assertEqual([path.name for path in (self.directory / "dft_geom").iterdir()], ["geom.1"])
        lines = (self.directory / "dft_geom" / "geom.1").read_text(encoding="utf-8").splitlines()
        self.assertEqual((lines[0], lines[5]), ("CELL_PARAMETERS {angstrom}", "ATOMIC_POSITIONS {angstrom}"))
        self.assertEqual(lines[6].split(), ["Si", "1.5", "2", "3"])


class LogTest(unittest.TestCase):
    def test_errors_of_a_test(self) -> None:
        log = "  RMSE(Etot)  :  2.5e-02 eV/atom\n  RMSE(Eatom) :  1.0e+02 eV\n  RMSE(Force) :  3.1e-01 eV/Angstrom\n"

        self.assertEqual(run_loop.errors_of(log), (0.025, 0.31))

    def test_a_test_without_errors_is_a_failure(self) -> None:
        with self.assertRaisesRegex(run_loop.LoopError, "has printed no errors"):
            run_loop.errors_of("  RMSE(Etot)  :  2.5e-02 eV/atom\n")

    def test_refused_geometries(self) -> None:
        self.assertEqual(run_loop.count_refused("    Rejected Geometries = 3  (Force > 1.000e+01 eV/A)\n"), 3)
        self.assertEqual(run_loop.count_refused(""), 0)


class PseudoDirectoryTest(DirectoryTest):
    TEMPLATE = "  pseudo_dir = '/nowhere'\nATOMIC_SPECIES\nSi 28.0855 Si.UPF\n"

    def test_directory_is_replaced(self) -> None:
        self.write("Si.UPF", "")

        text = run_loop.with_pseudo_dir(self.TEMPLATE, self.directory)

        self.assertEqual(text, self.TEMPLATE.replace("/nowhere", str(self.directory.resolve())))

    def test_missing_pseudopotential(self) -> None:
        for directory in (None, self.directory):
            with self.subTest(directory=directory):
                with self.assertRaisesRegex(run_loop.LoopError, "no pseudopotential Si.UPF in .*--pseudo-dir"):
                    run_loop.with_pseudo_dir(self.TEMPLATE, directory)


class DataTest(unittest.TestCase):
    """The data of the example are what its README says."""

    def test_data_are_those_of_the_silicon_example(self) -> None:
        silicon = {text for name in ("melta.train", "melta.test") for text in blocks_of(EXAMPLES / "silicon" / name)}

        self.assertLessEqual(set(blocks_of(EXAMPLE / "melta.train")), silicon)
        self.assertLessEqual(set(blocks_of(EXAMPLE / "melta.test")), silicon)

    def test_test_data_are_hotter_and_not_those_of_the_start(self) -> None:
        start, test = (
            [float(text.split()[2]) for text in blocks_of(EXAMPLE / name)] for name in ("melta.train", "melta.test")
        )

        self.assertEqual((len(start), len(test)), (16, 38))
        self.assertLess(max(start), min(test))

    def test_calculations_are_those_of_the_silicon_example(self) -> None:
        text = (EXAMPLES / "silicon" / "make_data.py").read_text(encoding="utf-8")
        template = text.split('INPUT_TEMPLATE = """\\\n')[1].split("{cell}")[0]

        template = template.format(pseudo_dir="/usr/share/espresso/pseudo")
        self.assertEqual((EXAMPLE / "pw.in").read_text(encoding="utf-8")[: len(template)], template)


# ---------------------------------------------------------------------------------------------
# Loops
# ---------------------------------------------------------------------------------------------

# A stand-in for pw.x: springs between the atoms and their places in the crystal. It notes each call, and does what the
# files beside it ask for.
STAND_IN = """\
#!{python} -B
import sys, time
from pathlib import Path
here = Path(__file__).resolve().parent
with open(here / "calls", "a") as calls:
    calls.write(str(Path.cwd()) + "\\n")
number = len((here / "calls").read_text().splitlines())
if (here / "slow").exists():
    time.sleep(0.4)
if (here / "broken").exists() or number == 2:
    sys.exit(3)
LATTICE, BOHR, SPRING = 5.4, 0.529177210903, 0.02
quarter = LATTICE / 4
sites = [(0, 0, 0), (0, 2, 2), (2, 0, 2), (2, 2, 0), (1, 1, 1), (1, 3, 3), (3, 1, 3), (3, 3, 1)]
lines = Path(sys.argv[sys.argv.index("-in") + 1]).read_text().splitlines()
first = next(i for i, line in enumerate(lines) if line.startswith("ATOMIC_POSITIONS")) + 1
atoms = [[float(word) for word in line.split()[1:4]] for line in lines[first : first + 8]]
energy, positions, forces = -31.7, "", ""
for site, atom in zip(sites, atoms):
    shift = [x - quarter * n for x, n in zip(atom, site)]
    shift = [(d - LATTICE * round(d / LATTICE)) / BOHR for d in shift]
    energy += 0.5 * SPRING * sum(d * d for d in shift)
    forces += " ".join(repr(-SPRING * d) for d in shift) + "\\n"
    positions += '<atom name="Si">' + " ".join(repr(x / BOHR) for x in atom) + "</atom>"
edge = repr(LATTICE / BOHR)
cell = f"<a1>{{edge}} 0 0</a1><a2>0 {{edge}} 0</a2><a3>0 0 {{edge}}</a3>"
Path("tmpdir/si.save").mkdir(parents=True, exist_ok=True)
Path("tmpdir/si.save/data-file-schema.xml").write_text(
    "<espresso><output><convergence_info><scf_conv><convergence_achieved>true</convergence_achieved></scf_conv>"
    f"</convergence_info><atomic_structure><atomic_positions>{{positions}}</atomic_positions><cell>{{cell}}</cell>"
    f"</atomic_structure><total_energy><etot>{{energy!r}}</etot></total_energy><forces>{{forces}}</forces>"
    "</output></espresso>"
)
"""


class LoopTest(DirectoryTest):
    """A loop on a share of the data of the example, with trainings and walks that are as short as can be."""

    def setUp(self) -> None:
        super().setUp()
        self.inputs = self.directory / "input"
        shutil.copytree(EXAMPLE, self.inputs, ignore=shutil.ignore_patterns("work", "*.py"))
        for name, count in (("melta.train", 4), ("melta.test", 3)):
            (self.inputs / name).write_text("".join(blocks_of(EXAMPLE / name)[:count]), encoding="utf-8")
        self.replace("adam.prop", "epochs         2000", "epochs 20")
        self.replace("adam.prop", "models         8", "models 1")
        self.replace("lbfgs.prop", "epochs         100", "epochs 5")
        self.replace("melta.metro", "maxSteps        500", "maxSteps 50")
        self.replace("melta.metro", "numGeoms        500", "numGeoms 50")
        # So little training makes any potential: each step of a walk is taken, and no force is too large to be learned.
        self.replace("melta.metro", "temperature     4000.0", "temperature 1.0e8")
        self.replace("melta.metro", "upperEnergy     0.8", "upperEnergy 1.0e6")
        self.replace("melta.metro", "lowerEnergy     0.1", "lowerEnergy 1.0e6")
        self.replace("adam.prop", "coefEnergy     20", "coefEnergy 20\nmaxForce 0")
        self.replace("lbfgs.prop", "coefEnergy     20", "coefEnergy 20\nmaxForce 0")
        self.work = self.directory / "work"

    def replace(self, name: str, old: str, new: str) -> None:
        text = (self.inputs / name).read_text(encoding="utf-8")
        self.assertEqual(text.count(old), 1, name)
        (self.inputs / name).write_text(text.replace(old, new), encoding="utf-8")

    def words(self, *options: str) -> list[str]:
        places = ["--melta", str(COMMAND), "--input", str(self.inputs), "--work", str(self.work)]
        return [sys.executable, "-B", str(SCRIPT), *places, *options]

    def run_loop(self, *options: str) -> "subprocess.CompletedProcess[str]":
        return subprocess.run(
            self.words(*options), stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=240, check=False
        )

    def assert_done(self, done: "subprocess.CompletedProcess[str]") -> None:
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)

    def data(self, turn: int) -> str:
        return (self.work / f"turn-{turn}" / "melta.train").read_text(encoding="utf-8")

    def table(self) -> list[list[str]]:
        lines = (self.work / "table.md").read_text(encoding="utf-8").splitlines()
        return [[cell.strip() for cell in line.split("|")[1:-1]] for line in lines[2:]]


class StandInTest(LoopTest):
    OPTIONS = ("--walks", "1", "--geoms", "7")

    def setUp(self) -> None:
        super().setUp()
        self.write(PSEUDO_FILE, "")
        self.pw = self.write("pw.x", STAND_IN.format(python=sys.executable))
        self.pw.chmod(0o755)

    def words(self, *options: str) -> list[str]:
        return super().words("--pw", str(self.pw), "--pseudo-dir", str(self.directory), *self.OPTIONS, *options)

    def calls(self) -> list[str]:
        return (self.directory / "calls").read_text(encoding="utf-8").splitlines()

    def calculated(self) -> list[bytes]:
        """The geometries of the batches of turn 0, in their order."""
        folders = sorted(self.work.glob("turn-0/dft-*"), key=lambda path: int(path.name[len("dft-") :]))
        return [path.read_bytes() for folder in folders for path in run_loop.geometries_in(folder / "dft_geom")]


class StandInLoopTest(StandInTest):
    def test_two_turns(self) -> None:
        done = self.run_loop()

        self.assert_done(done)
        start = (self.inputs / "melta.train").read_text(encoding="utf-8")
        self.assertEqual(self.data(0), start)
        self.assertTrue(self.data(1).startswith(start))
        self.assertTrue(self.data(2).startswith(self.data(1)))
        # The second call of the stand-in fails, which costs no more than its own configuration.
        self.assertEqual([len(blocks_of(self.work / f"turn-{i}" / "melta.train")) for i in (0, 1, 2)], [4, 10, 17])
        self.assertEqual(len(set(blocks_of(self.work / "turn-2" / "melta.train"))), 17)
        self.assertEqual([row[0] for row in self.table()], ["start", "after turn 1", "after turn 2"])
        self.assertEqual([row[1] for row in self.table()], ["4", "10", "17"])
        self.assertIn((self.work / "table.md").read_text(encoding="utf-8"), done.stdout)

    def test_finished_work_is_not_repeated_and_turns_can_be_added(self) -> None:
        self.assert_done(self.run_loop("--turns", "1"))
        model = (self.work / "turn-1" / "melta.data_e").read_bytes()
        table = self.table()

        self.assert_done(self.run_loop("--turns", "1"))
        self.assertEqual(len(self.calls()), 7)
        self.assertEqual(self.table(), table)
        self.assert_done(self.run_loop("--turns", "2"))

        self.assertEqual(len(self.calls()), 14)
        self.assertEqual((self.work / "turn-1" / "melta.data_e").read_bytes(), model)
        self.assertEqual(self.table()[0], table[0])

    def test_stopped_run_goes_on(self) -> None:
        self.write("slow", "")
        process = subprocess.Popen(
            self.words("--turns", "1", "--jobs", "1"), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True
        )
        first, second = (self.work / "turn-0" / f"dft-{i}" for i in (1, 2))
        end = time.monotonic() + 120
        while not (second / "dft_out" / "out.1").exists() and time.monotonic() < end:
            time.sleep(0.02)
        process.send_signal(signal.SIGTERM)
        process.communicate(timeout=60)
        self.assertNotEqual(process.returncode, 0)
        self.assertEqual(sorted(path.name for path in self.work.glob("turn-0/dft-*/new.train")), ["new.train"])
        data = (first / "new.train").read_bytes()
        num_calls = len(self.calls())
        self.assertLessEqual(num_calls, 6, "a stopped run has waited for all calculations")
        time.sleep(1.5)
        self.assertEqual(len(self.calls()), num_calls, "calculations go on behind a stopped run")

        self.assert_done(self.run_loop("--turns", "1"))

        self.assertEqual((first / "new.train").read_bytes(), data)
        again = self.calls()[num_calls:]
        self.assertEqual(sorted(Path(call).parts[-3] for call in again), ["dft-2", "dft-2"])
        self.assertEqual(len(blocks_of(self.work / "turn-1" / "melta.train")), 4 + 6)

    def test_displaced_atoms_in_place_of_walks(self) -> None:
        self.assert_done(self.run_loop("--turns", "1", "--displace", "0.05"))

        # Batches that are written within one second would be alike.
        self.assertEqual(len(set(blocks_of(self.work / "turn-1" / "melta.train"))), 4 + 6)
        self.assertFalse(list(self.work.glob("turn-0/dft-*/dft_geom/*")))

    def test_other_settings_need_another_directory(self) -> None:
        self.assert_done(self.run_loop("--turns", "1"))
        self.replace("melta.metro", "1.0e8", "1.0e7")

        done = self.run_loop("--turns", "1", "--geoms", "3")

        self.assertEqual(done.returncode, 1)
        self.assertIn("was begun with another melta.metro, settings; take another directory", done.stderr)

    def test_failing_calculations(self) -> None:
        self.write("broken", "")

        done = self.run_loop()

        self.assertEqual(done.returncode, 1)
        self.assertIn("no calculation has succeeded, see", done.stderr)
        self.assertEqual(self.data(0), (self.inputs / "melta.train").read_text(encoding="utf-8"))
        self.assertFalse((self.work / "turn-1").exists())

    def test_failing_command(self) -> None:
        self.replace("adam.prop", "symmFunc ", "noSuchKey ")

        done = self.run_loop()

        self.assertEqual(done.returncode, 1)
        self.assertIn("melta --train adam.prop has failed in", done.stderr)
        self.assertIn("[STOP] unknown key word: noSuchKey", done.stderr)

    def test_missing_programs(self) -> None:
        for option, name in (("--melta", "melta"), ("--pw", "pw.x"), ("--lmp", "lmp_melta")):
            with self.subTest(option=option):
                done = self.run_loop("--source", "md", option, f"/nowhere/{name}")

                self.assertEqual(done.returncode, 1)
                self.assertIn(f"cannot find the command /nowhere/{name}", done.stderr)


    def test_without_melta_data_the_choice_is_evenly_spaced_and_said(self) -> None:
        done = self.run_loop("--turns", "1", "--choose", "farthest", "--melta-data", "/nowhere/melta-data")

        self.assert_done(done)
        self.assertIn("geometries are taken EVENLY SPACED", done.stdout)
        found = run_loop.geometries_in(self.work / "turn-0" / "walk-1" / "dft_geom")
        expected = [path.read_bytes() for path in run_loop.choosing.evenly_spaced(found, 7)]
        self.assertEqual(self.calculated(), expected)

    def test_limits_of_walks_need_melta_data(self) -> None:
        for options in (["--choose", "even"], ["--choose", "farthest", "--melta-data", "/nowhere/melta-data"]):
            with self.subTest(options=options):
                done = self.run_loop("--max-spread", "1.5", *options)

                self.assertEqual(done.returncode, 1)
                self.assertIn("limits of the spread of walks need --choose farthest", done.stderr)


class SelectLoopTest(StandInTest):
    """Loops in which melta-data chooses."""

    def words(self, *options: str) -> list[str]:
        command = self.write("melta-data", f"#!/bin/sh\nexec '{PYTHON}' -m melta.convert \"$@\"\n")
        command.chmod(0o755)
        return super().words("--choose", "farthest", "--melta-data", str(command), *options)

    def setUp(self) -> None:
        super().setUp()
        self.replace("adam.prop", "models 1", "models 2")
        os.environ["PYTHONPATH"] = os.fspath(PACKAGE)
        self.addCleanup(os.environ.pop, "PYTHONPATH")

    def test_the_farthest_are_calculated(self) -> None:
        done = self.run_loop("--turns", "1")

        self.assert_done(done)
        self.assertIn("turn 0: 7 of ", done.stdout)
        chosen = [path.read_bytes() for path in run_loop.geometries_in(self.work / "turn-0" / "chosen")]
        self.assertEqual(self.calculated(), chosen)
        self.assertIn("known:     4 structures of melta.train", (self.work / "turn-0" / "chosen.log").read_text())
        self.assertEqual([row[1] for row in self.table()], ["4", "10"])

        self.assert_done(self.run_loop("--turns", "1"))
        self.assertEqual(len(self.calls()), 7)

    def test_nothing_within_the_limits_ends_the_loop(self) -> None:
        done = self.run_loop("--min-spread", "1e9")

        self.assert_done(done)
        self.assertIn("Nothing is found that the data do not cover", done.stdout)
        self.assertEqual(len(self.table()), 1)

    def test_a_failing_choice(self) -> None:
        self.replace("adam.prop", "models 2", "models 1")

        done = self.run_loop("--min-spread", "0.1")

        self.assertEqual(done.returncode, 1)
        self.assertIn("the model has one network, which has no spread.", done.stderr)


class MdLoopTest(StandInTest):
    """Loops in which dynamics make the configurations."""

    def setUp(self) -> None:
        super().setUp()
        self.replace("adam.prop", "models 1", "models 2")
        self.replace("in.md", "run           2000", "run 200")
        self.replace("in.md", "stop 0.8", "stop 1e6")

    def words(self, *options: str) -> list[str]:
        return super().words("--source", "md", "--lmp", str(LMP), "--min-spread", "1e-4", *options)

    def test_two_turns_of_dynamics(self) -> None:
        done = self.run_loop("--walks", "2")

        self.assert_done(done)
        self.assertEqual([row[1] for row in self.table()], ["4", "10", "17"])
        self.assertEqual(len(set(blocks_of(self.work / "turn-2" / "melta.train"))), 17)
        frames, of, steps = self.table()[0][5].split()
        self.assertEqual((int(frames), of, int(steps)), (82, "of", 400))
        dumps = [(self.work / "turn-0" / f"walk-{i}" / "md.dump").read_text(encoding="utf-8") for i in (1, 2)]
        self.assertNotEqual(dumps[0], dumps[1])

    def test_a_run_that_ends_at_its_limit_gives_what_it_has(self) -> None:
        self.replace("in.md", "stop 1e6", "stop 1e-5")

        done = self.run_loop("--turns", "1")

        self.assert_done(done)
        self.assertIn("the spread of forces exceeds", (self.work / "turn-0" / "walk-1" / "walk.log").read_text())

    def test_a_broken_input(self) -> None:
        self.replace("in.md", "timestep", "no-such-command")

        done = self.run_loop("--turns", "1")

        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, "in.md has failed in .*ERROR: Unknown command: no-such-command")


class PwLoopTest(LoopTest):
    """Two turns with stock pw.x; a single k-point makes the calculations short."""

    def test_two_turns(self) -> None:
        self.replace("pw.in", "3 3 3 1 1 1", "1 1 1 1 1 1")

        done = self.run_loop("--walks", "1", "--geoms", "2", "--pseudo-dir", str(pseudo_directory()))

        self.assert_done(done)
        blocks = blocks_of(self.work / "turn-2" / "melta.train")
        self.assertEqual([row[1] for row in self.table()], ["4", "6", "8"], done.stdout)
        self.assertEqual(blocks[:4], blocks_of(self.inputs / "melta.train"))
        self.assertEqual(len(set(blocks)), 8)
        for text in blocks[4:]:
            self.check_block(text)

    def check_block(self, text: str) -> None:
        """A cell of eight silicon atoms with an energy of silicon and forces that cancel."""
        lines = [line.split() for line in text.splitlines()]
        forces = [[float(word) for word in atom[5:8]] for atom in lines[4:]]
        self.assertEqual((lines[0][0], len(forces)), ("8", 8))
        self.assertLess(abs(float(lines[0][2]) + 63.0), 2.0)
        for row, line in enumerate(lines[1:4]):
            self.assertLess(abs(float(line[row]) * 0.5291772 - LATTICE), 1.0e-6)
        self.assertGreater(max(abs(force) for atom in forces for force in atom), 1.0e-4)
        for axis in range(3):
            self.assertLess(abs(sum(atom[axis] for atom in forces)), 1.0e-3)


def pseudo_directory() -> Path:
    """Where the pseudopotentials of the pw.x on PATH should be."""
    pw = shutil.which("pw.x") or "/"
    return Path(pw).resolve().parents[1] / "share" / "espresso" / "pseudo" if pw != "/" else Path(pw)


# Loops that need more than the command, by the word that asks for them.
SPECIAL = {"pw": PwLoopTest, "select": SelectLoopTest, "md": MdLoopTest}


def what_is_missing(test: str) -> str:
    """Why a test cannot run here, or nothing."""
    if test == "pw" and not (pseudo_directory() / PSEUDO_FILE).exists():
        return f"pw.x of Quantum ESPRESSO with {PSEUDO_FILE} is not installed"
    if test == "md" and not LMP.is_file():
        return "lmp_melta is not built"
    if test == "select":
        code = "import melta.select"
        environment = {**os.environ, "PYTHONPATH": os.fspath(PACKAGE)}
        if not PYTHON.is_file() or subprocess.run([PYTHON, "-B", "-c", code], env=environment, check=False).returncode:
            return "the Python package is not built"
    return ""


def main(words: Sequence[str]) -> int:
    global COMMAND, LMP, PACKAGE, PYTHON
    parser = argparse.ArgumentParser(description="Tests the example of active learning.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    parser.add_argument("--lmp", type=Path, default=Path(), help="the lmp_melta to test")
    parser.add_argument("--package", type=Path, default=Path(), help="folder of the Python package")
    parser.add_argument("--python", type=Path, default=Path(), help="interpreter of the Python package")
    parser.add_argument("test", choices=("stand_in", *SPECIAL))
    options = parser.parse_args(words)
    COMMAND, LMP, PACKAGE, PYTHON = options.command.resolve(), options.lmp, options.package, options.python
    if reason := what_is_missing(options.test):
        print(f"SKIPPED: {reason}")
        return STATUS_SKIPPED

    suite = unittest.TestSuite()
    for case in list(globals().values()):
        if not (isinstance(case, type) and issubclass(case, unittest.TestCase)):
            continue
        if case is SPECIAL.get(options.test) or (options.test == "stand_in" and case not in SPECIAL.values()):
            suite.addTests(unittest.defaultTestLoader.loadTestsFromTestCase(case))
    return 0 if unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
