#!/usr/bin/env python3
"""Runs trainings with the console command. Their start weights are random, so that only the form of the progress lines
can be compared; all other text is compared to the byte.

usage: training_runs.py --command PATH [TEST...]
"""

from __future__ import annotations

import argparse
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from typing import Callable

sys.dont_write_bytecode = True
sys.path.insert(0, os.fspath(Path(__file__).resolve().parents[1]))

import comparison  # noqa: E402
from console_template import describe_difference, line_matches  # noqa: E402

HERE = Path(__file__).resolve().parent
DATA = HERE.parent / "shared" / "silica"
COMMAND = Path()
TIMEOUT = 120.0  # for machines that are busy or instrument the command

PROPERTIES = """\
symmFunc      chebyshev
elemWeight    0
numRadius     3
numAngle      2
rcutRadius    3.5
rcutAngle     3.0
models        2
layers        2
nodes         4
epochs        3
epochsOnlyE   1
epochsApproxF 2
rmseEnergy    1e-30
rmseForce     1e-30
maxForce      0
"""

# A loss and a learning rate that move in the course of the training.
MOVING = """\
lbfgs             0
coefEnergyFinal   30
learnRateSchedule cosine
learnRate         0.01
learnRateFinal    0.0001
"""

# More epochs than any test waits for.
ENDLESS = """\
lbfgs         0
epochs        1000000000
learnRate     1e-6
learnRateFinal 1e-6
"""


def read(path: Path) -> str:
    return path.read_text(encoding="utf-8")


class TrainingRun(unittest.TestCase):
    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory(prefix="melta-train-")
        self.addCleanup(scratch.cleanup)
        self.directory = Path(scratch.name)
        self.take("melta.train")

    def take(self, name: str) -> None:
        (self.directory / name).write_text(read(DATA / name), encoding="utf-8")

    def set_properties(self, extra: str = "") -> None:
        (self.directory / "melta.prop").write_text(PROPERTIES + extra, encoding="utf-8")

    def run_command(self, *words: str) -> tuple[str, int]:
        result = subprocess.run(
            [os.fspath(COMMAND), "--omp", "1", *words],
            cwd=self.directory,
            capture_output=True,
            text=True,
            timeout=TIMEOUT,
            check=False,
        )
        self.assertEqual(result.stderr, "")
        return result.stdout, result.returncode

    def train(self) -> str:
        output, status = self.run_command("--train")
        self.assertEqual(status, 0, output)
        return output

    def assert_form(self, name: str, output: str) -> None:
        difference = describe_difference(read(HERE / "templates" / name), output)
        self.assertEqual(difference, "", f"\n{difference}\n")

    def assert_files(self, *names: str) -> None:
        self.assertEqual(sorted(path.name for path in self.directory.iterdir()), sorted(names))

    def assert_network_files(self) -> None:
        """Both files of a network for this data: ranges as the data have them, and weights of this shape."""
        expected = "3 0 1 0\n3 2 3.50000000e+00 3.00000000e+00\n0\n2 4 5 2\n2\n"
        expected += "Si 2.24058330e-03 7.82619640e-02 14\nO 2.32571363e-03 7.82744810e-02 8\n"
        tolerance = comparison.Tolerance("melta.data", 1e-4, 1e-8)
        difference = comparison.describe_difference(
            "melta.data", expected, read(self.directory / "melta.data"), tolerance
        )
        self.assertEqual(difference, "", f"\n{difference}\n")
        numbers = read(self.directory / "melta.data_e").split()
        self.assertEqual(len(numbers), 2 * 2 * (4 * 12 + 4 + 4 * 4 + 4 + 4 + 1))
        self.assertTrue(all(abs(float(number)) < 1e6 for number in numbers))


class WholeTrainings(TrainingRun):
    def test_lbfgs_with_in_situ_test(self) -> None:
        self.take("melta.test")
        self.set_properties("lbfgs 8\ninsituTest 1\n")

        output = self.train()

        self.assert_form("lbfgs_with_in_situ_test.txt", output)
        self.assert_files("melta.train", "melta.test", "melta.prop", "melta.data", "melta.data_e", "melta.gdist")
        self.assert_network_files()

    def test_mini_batches_of_adam(self) -> None:
        self.set_properties("lbfgs 0\nbatchs 4\ndirectSF 1\nepochsStore 2\n")

        output = self.train()

        self.assert_form("mini_batches_of_adam.txt", output)
        self.assert_files("melta.train", "melta.prop", "melta.data", "melta.data_e", "melta.gdist")
        self.assert_network_files()

    def test_best_networks_of_a_moving_loss(self) -> None:
        self.take("melta.test")
        (self.directory / "melta.test").rename(self.directory / "melta.valid")
        self.set_properties("insituValid 1\nkeepBest 1\n" + MOVING)

        output = self.train()

        best = re.compile(r"(networks of epoch )[123](, the best)")
        self.assert_form("best_networks_of_a_moving_loss.txt", best.sub(r"\1N\2", output))
        model = ("melta.data", "melta.data_e", "melta.data_e.course", "melta.gdist")
        self.assert_files("melta.train", "melta.valid", "melta.prop", *model)
        self.assert_network_files()
        self.assertEqual(read(self.directory / "melta.data_e.course"), "1.000000000 9.999999776e-03\n")

    def test_validation_data(self) -> None:
        expected = read(HERE / "templates" / "lbfgs_with_in_situ_test.txt")
        for name, other in (("TESTING data", "VALIDATION data"), ("(for test data)", "(for validation data)")):
            self.assertIn(name, expected)
            expected = expected.replace(name, other)
        self.take("melta.test")
        (self.directory / "melta.test").rename(self.directory / "melta.valid")
        self.set_properties("lbfgs 8\ninsituValid 1\n")

        difference = describe_difference(expected, self.train())

        self.assertEqual(difference, "", f"\n{difference}\n")

    def test_without_testing_data(self) -> None:
        self.set_properties("lbfgs 8\nepochs 1\ninsituTest 1\n")

        output = self.train()

        self.assert_form("without_testing_data.txt", output)

    def test_super_epochs(self) -> None:
        self.set_properties("lbfgs 0\nepochs 1\nepochsOnlyE 0\nepochsApproxF 0\ngeomsEpoch 3\n")

        output = self.train()

        self.assert_form("super_epochs.txt", output)

    def test_restart(self) -> None:
        self.set_properties("lbfgs 8\n")
        self.train()
        self.set_properties("lbfgs 8\nepochs 1\nrestart 1\n")

        output = self.train()

        self.assert_form("restart.txt", output)
        self.assert_network_files()

    def test_repulsion_belongs_to_the_model(self) -> None:
        self.take("melta.test")
        repelling = "lbfgs 8\ninsituTest 1\nwithZBL 1\n"
        self.set_properties(repelling)

        output = self.train()

        self.assertIn("    ReaxFF Potential    = No\n    ZBL Repulsion       = Yes\n", output)
        self.assertIn("  * Find the radii of the ZBL repulsion: inner, outer / Angstrom\n", output)
        radii = read(self.directory / "melta.zbl")
        self.assertEqual([line.split()[:2] for line in radii.splitlines()[1:]], [["Si", "Si"], ["Si", "O"], ["O", "O"]])
        self.assertTrue(read(self.directory / "melta.data").startswith("3 0 1 92\n"))
        # The test adds again what both sets have been freed of.
        last_line = [line for line in output.split("\n") if line.startswith("  @")][-1]
        tested, status = self.run_command("--test")
        self.assertEqual(status, 0, tested)
        force = float(tested.split("RMSE(Force) :")[1].split()[0])
        self.assertAlmostEqual(float(last_line.split("RMSE(F):")[1].split()[0]), force, delta=1.1e-3 * force)
        # A restart stays with the radii, whatever the keys would make of the data.
        self.set_properties(repelling + "restart 1\nrouterZBL 2.5\n")
        self.assertNotIn("Find the radii", self.train())
        self.assertEqual(read(self.directory / "melta.zbl"), radii)
        exported, status = self.run_command("--export")
        self.assertEqual(status, 0, exported)
        force_field = read(self.directory / "ffield.melta")
        self.assertTrue(force_field.startswith(read(self.directory / "melta.data") + radii))

    def test_without_the_switch_there_is_no_repulsion(self) -> None:
        self.set_properties("lbfgs 8\nepochs 1\nrouterZBL 2\n")

        output = self.train()

        self.assertNotIn("ZBL", output)
        self.assert_files("melta.train", "melta.prop", "melta.data", "melta.data_e", "melta.gdist")

    def test_the_network_can_be_tested(self) -> None:
        self.take("melta.test")
        self.set_properties("lbfgs 8\ninsituTest 1\n")
        last_line = [line for line in self.train().split("\n") if line.startswith("  @")][-1]

        output, status = self.run_command("--test")

        self.assertEqual(status, 0)
        force = float(output.split("RMSE(Force) :")[1].split()[0])
        self.assertAlmostEqual(float(last_line.split("RMSE(F):")[1].split()[0]), force, delta=1.1e-3 * force)


CHARGE_PROPERTIES = """\
withCharge    1
coefCharge    2.0
rmseCharge    1e-30
"""


class ChargeTrainings(TrainingRun):
    """The networks of charges, which are trained beside those of energies."""

    def setUp(self) -> None:
        super().setUp()
        self.take("melta.test")
        for name in ("melta.train", "melta.test"):
            self.add_charges(self.directory / name)

    @staticmethod
    def add_charges(path: Path) -> None:
        lines = read(path).split("\n")
        for number, line in enumerate(lines):
            fields = line.split()
            if fields and fields[0] in ("Si", "O"):
                charge = 0.3 if fields[0] == "Si" else -0.6
                fields[8] = f"{charge + 0.01 * (number % 5):.4f}"
                lines[number] = " ".join(fields)
        path.write_text("\n".join(lines), encoding="utf-8")

    def train_charges(self) -> str:
        output, status = self.run_command("--train-charge")
        self.assertEqual(status, 0, output)
        return output

    def test_whole_model(self) -> None:
        self.set_properties("lbfgs 8\ninsituTest 1\n" + CHARGE_PROPERTIES)

        self.train()
        output = self.train_charges()

        self.assert_form("charges.txt", output)
        self.assert_files(
            "melta.train", "melta.test", "melta.prop", "melta.data", "melta.data_e", "melta.data_q", "melta.gdist"
        )
        numbers = read(self.directory / "melta.data_q").split()
        self.assertEqual(len(numbers), 2 * 2 * (4 * 12 + 4 + 4 * 4 + 4 + 4 + 1))

        last_line = [line for line in output.split("\n") if line.startswith("  @")][-1]
        output, status = self.run_command("--test")
        self.assertEqual(status, 0, output)
        error = float(output.split("RMSE(Charge):")[1].split()[0])
        self.assertAlmostEqual(float(last_line.split("RMSE(Q):")[1].split()[0]), error, delta=1.1e-3 * error)
        rows = [line.split() for line in read(self.directory / "melta.charge").splitlines()]
        self.assertEqual(rows[0], ["Charge(DFT)", "Charge(NNP)"])
        squares = [(float(row[0]) - float(row[1])) ** 2 for row in rows[1:]]
        self.assertAlmostEqual((sum(squares) / len(squares)) ** 0.5, error, delta=1e-4 * error)

    def test_best_networks_of_charges(self) -> None:
        self.set_properties("insituTest 1\nkeepBest 1\n" + MOVING + CHARGE_PROPERTIES)
        self.train()
        self.train_charges()
        self.set_properties("insituTest 1\nkeepBest 1\nrestart 1\n" + MOVING + CHARGE_PROPERTIES)

        output = self.train_charges()

        rates = [float(line.split(":")[1].split()[0]) for line in output.split("\n") if line.startswith("  @")]
        self.assertEqual(len(rates), 3, output)
        kept = float(output.split("the best on the testing data: ")[1].split(".\n")[0])
        self.assertLessEqual(kept, min(2.0 * rate**2 for rate in rates) * 1.003)
        for kind in ("e", "q"):
            course = read(self.directory / f"melta.data_{kind}.course")
            self.assertEqual(course, "1.000000000 9.999999776e-03\n")

    def test_needs_withCharge(self) -> None:
        self.set_properties("lbfgs 8\n")

        output, status = self.run_command("--train-charge")

        self.assertEqual(
            (output, status), ("[STOP] you have to let withCharge be 1, for charge training: melta.prop\n", 1)
        )

    def test_writes_the_template_of_charges(self) -> None:
        self.run_command("--train-charge")

        self.assertIn("withCharge", read(self.directory / "melta.prop"))

    def test_a_test_needs_the_networks_of_charges(self) -> None:
        self.set_properties("lbfgs 8\n" + CHARGE_PROPERTIES)
        self.train()

        output, status = self.run_command("--test")

        self.assertEqual(status, 1)
        self.assertTrue(output.endswith("\n[STOP] cannot open file: melta.data_q\n"), output)
        self.assertFalse((self.directory / "melta.charge").exists())


class StoppedTrainings(TrainingRun):
    def start(self) -> subprocess.Popen[bytes]:
        self.log = self.directory / "log"
        with self.log.open("wb") as stream:
            process = subprocess.Popen(
                [os.fspath(COMMAND), "--omp", "1", "--train"], cwd=self.directory, stdout=stream
            )
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process: subprocess.Popen[bytes]) -> None:
        if process.poll() is None:
            process.kill()
        process.wait()

    def wait_for(self, condition: Callable[[], bool]) -> None:
        limit = time.monotonic() + TIMEOUT
        while not condition():
            self.assertLess(time.monotonic(), limit, "nothing has happened")
            time.sleep(0.01)

    def wait_for_epoch(self, number: int) -> None:
        self.wait_for(lambda: f"\n  #.{number:6d} " in read(self.log))

    def test_stop_from_another_process(self) -> None:
        for extra in ("", "superEpochs 3\n", "batchs 2\n"):
            with self.subTest(extra):
                self.set_properties(ENDLESS + extra)
                process = self.start()
                self.wait_for_epoch(2)

                output, status = self.run_command("--stop")

                self.assertEqual((output, status), ("\n  * Training neural network will be stopped.\n\n", 0))
                self.assertEqual(process.wait(TIMEOUT), 0)
                tail = read(self.log).split("\n\n  Exited by user.\n\n")
                self.assertEqual(len(tail), 2)
                self.assertTrue(line_matches("  * Wall time: <full time>.", tail[1].split("\n")[2]), tail[1])
                self.assertTrue(tail[1].startswith("  * Store the neural network to the file.\n\n"), tail[1])
                self.assertFalse((self.directory / "melta.EXIT").exists())
                self.assert_network_files()

    def test_a_stale_stop_file_stops_nothing(self) -> None:
        (self.directory / "melta.EXIT").touch()
        self.set_properties("lbfgs 8\nepochs 2\n")

        output = self.train()

        self.assertIn("\n  All epochs have been done.\n\n", output)
        self.assertFalse((self.directory / "melta.EXIT").exists())

    def test_a_killed_training_leaves_a_complete_network(self) -> None:
        self.take("melta.test")
        self.set_properties(ENDLESS + "epochsStore 1\n")
        draw = random.Random(3)
        for _ in range(8):
            process = self.start()
            self.wait_for_epoch(2)
            time.sleep(draw.uniform(0.0, 0.03))

            process.send_signal(signal.SIGKILL)

            self.assertEqual(process.wait(TIMEOUT), -signal.SIGKILL)
            self.assert_network_files()
            output, status = self.run_command("--test")
            self.assertEqual(status, 0, output)
            for file in self.directory.glob("melta.data*"):
                file.unlink()


class Templates(unittest.TestCase):
    """The comparison has to fail on lines of another form."""

    LINE = "  #.     1  RMSE(E):<number>  RMSE(F):<number>  Loss:<number>  Time[ wall=<time> epoch=<time> ]"
    GOOD = "  #.     1  RMSE(E): 2.684e-01  RMSE(F): 7.951e-01  Loss: 1.442e-01  Time[ wall=00.01s epoch=00.01s ]"

    def test_accepts_the_form(self) -> None:
        self.assertTrue(line_matches(self.LINE, self.GOOD))
        self.assertEqual(describe_difference("a\n" + self.LINE + "\n", "a\n" + self.GOOD + "\n"), "")

    def test_refuses_other_forms(self) -> None:
        for old, new in (
            ("2.684e-01", "      nan"),
            ("2.684e-01", "2.68e-01"),
            ("2.684e-01", "2.6840e-01"),
            (" 2.684e-01", "2.684e-01"),
            ("7.951e-01", "      inf"),
            ("wall=00.01s", "wall=0.01s"),
            ("epoch=00.01s ]", "epoch=00.01s ] "),
            ("  #.     1", "  #.     2"),
            ("  #.     1", "  #.1"),
        ):
            self.assertFalse(line_matches(self.LINE, self.GOOD.replace(old, new)), new)

    def test_refuses_more_or_fewer_lines(self) -> None:
        self.assertNotEqual(describe_difference(self.LINE, self.GOOD + "\n"), "")
        self.assertNotEqual(describe_difference(self.LINE + "\n", self.GOOD), "")


def main() -> None:
    global COMMAND
    parser = argparse.ArgumentParser(description="Runs trainings with the console command.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    options, rest = parser.parse_known_args()
    COMMAND = options.command.resolve()
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
