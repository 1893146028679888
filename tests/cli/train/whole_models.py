#!/usr/bin/env python3
"""Checks that the files of a model agree and stay good, whatever trainings do and whatever stands in their way.

usage: whole_models.py --command PATH [TEST...]
"""

from __future__ import annotations

import os
import subprocess
import sys
import threading
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, os.fspath(Path(__file__).resolve().parent))

import training_runs  # noqa: E402
from training_runs import CHARGE_PROPERTIES, ChargeTrainings, TrainingRun, read  # noqa: E402


def blocks_of(text: str) -> list[list[str]]:
    """The geometries of a data file."""
    lines = text.splitlines()
    blocks = []
    while lines and lines[0].split():
        length = int(lines[0].split()[0]) + 4
        blocks.append(lines[:length])
        lines = lines[length:]
    return blocks


class Agreement(TrainingRun):
    """Networks of one kind survive the training of the other."""

    def setUp(self) -> None:
        super().setUp()
        self.take("melta.test")
        for name in ("melta.train", "melta.test"):
            ChargeTrainings.add_charges(self.directory / name)
        self.set_properties("lbfgs 8\nepochs 20\n" + CHARGE_PROPERTIES)

    def run_well(self, *words: str) -> str:
        output, status = self.run_command(*words)
        self.assertEqual(status, 0, output)
        return output

    def begin_with(self, label: str) -> None:
        """Lets the first atom of the training data be of this element."""
        path = self.directory / "melta.train"
        text = []
        for block in blocks_of(read(path)):
            atoms = sorted(block[4:], key=lambda line: line.split()[0] != label)
            text += block[:4] + atoms
        path.write_text("\n".join(text) + "\n", encoding="utf-8")

    def errors(self) -> list[float]:
        """Of energy, force and charge."""
        output = self.run_well("--test")
        names = ("RMSE(Etot)  :", "RMSE(Force) :", "RMSE(Charge):")
        return [float(output.split(name)[1].split()[0]) for name in names]

    def test_order_of_the_elements(self) -> None:
        for mode in ("--train-charge", "--train"):
            with self.subTest(mode):
                self.begin_with("Si")
                self.run_well("--train")
                self.run_well("--train-charge")
                before = self.errors()
                self.begin_with("O")

                self.run_well(mode)

                self.assertTrue(read(self.directory / "melta.data").splitlines()[6].startswith("O "))
                after = self.errors()
                kept = [0, 1] if mode == "--train-charge" else [2]
                for i in kept:
                    self.assertAlmostEqual(after[i], before[i], delta=2e-4 * before[i])

    def test_other_functions(self) -> None:
        self.run_well("--train")
        energies = read(self.directory / "melta.data_e")
        self.set_properties("lbfgs 8\nnumRadius 4\n" + CHARGE_PROPERTIES)

        output = self.run_well("--train-charge")

        self.assertIn(
            "  * WARNING: the energy networks do not fit this model any more, and are kept in the file: "
            "melta.data_e.kept\n\n",
            output,
        )
        self.assertEqual(read(self.directory / "melta.data_e.kept"), energies)
        self.assertFalse((self.directory / "melta.data_e").exists())


class BadHeads(TrainingRun):
    """A head that no training has written spoils no networks."""

    def test_shapes(self) -> None:
        self.set_properties("lbfgs 8\n")
        self.train()
        path = self.directory / "melta.data"
        head = read(path).splitlines()
        self.assertEqual(head[3], "2 4 5 2")
        networks = read(self.directory / "melta.data_e")
        # The properties leave the shape to the head.
        lines = [line for line in training_runs.PROPERTIES.splitlines(True) if line.split()[0] not in SHAPE]
        (self.directory / "melta.prop").write_text("".join(lines), encoding="utf-8")
        for shape, item in (
            ("0 4 5 2", "#layers"),
            ("2 0 5 2", "#nodes"),
            ("2 4 5 0", "#models"),
            ("2 4 5 -3", "#models"),
            ("2 4 9 2", "activation"),
        ):
            head[3] = shape
            path.write_text("\n".join(head) + "\n", encoding="utf-8")
            for restart in ("", "restart 1\n"):
                with self.subTest(shape=shape, restart=restart):
                    (self.directory / "melta.prop").write_text("".join(lines) + restart, encoding="utf-8")

                    output, status = self.run_command("--train")

                    message = f"\n[STOP] incorrect {item} of energy's neural network: melta.data\n"
                    self.assertEqual(status, 1)
                    self.assertTrue(output.endswith(message), output)
                    self.assertEqual(read(self.directory / "melta.data_e"), networks)

    def test_messages_of_a_test(self) -> None:
        self.take("melta.test")
        self.set_properties("lbfgs 8\n")
        self.train()
        path = self.directory / "melta.data"
        head = read(path).splitlines()
        for shape, message in (
            ("2 0 5 2", "output size of neural network is not positive."),
            ("2 0 5 0", "incorrect #models of energy's neural network: melta.data"),
            ("0 4 5 2", "incorrect #layers of energy's neural network: melta.data"),
            ("2 4 5 1", "there is text behind the last number: melta.data_e"),
        ):
            head[3] = shape
            path.write_text("\n".join(head) + "\n", encoding="utf-8")
            with self.subTest(shape):
                output, status = self.run_command("--test")

                self.assertEqual(status, 1)
                self.assertTrue(output.endswith(f"\n[STOP] {message}\n"), output)


SHAPE = ("models", "layers", "nodes", "activ")


class EarlyRequests(TrainingRun):
    """A request to stop that comes while a training is still preparing."""

    def test_during_preparation(self) -> None:
        self.set_properties("lbfgs 8\n")
        self.train()
        networks = read(self.directory / "melta.data_e")
        data = read(self.directory / "melta.train")
        pipe = self.directory / "melta.train"
        pipe.unlink()
        os.mkfifo(pipe)
        (self.directory / "melta.EXIT").touch()  # left by an earlier run

        process = subprocess.Popen(
            [os.fspath(training_runs.COMMAND), "--omp", "1", "--train"],
            cwd=self.directory,
            stdout=subprocess.PIPE,
            text=True,
        )
        guard = threading.Timer(training_runs.TIMEOUT, process.kill)
        guard.start()
        self.addCleanup(guard.cancel)
        # Opens when the training has come to its data, and has taken the old file away before.
        with pipe.open("w", encoding="utf-8") as stream:
            self.assertFalse((self.directory / "melta.EXIT").exists())
            self.run_command("--stop")
            stream.write(data)
        output, _ = process.communicate()

        self.assertEqual(process.returncode, 0, output)
        self.assertIn("\n  Exited by user.\n\n  * There was no epoch, so that nothing is stored.\n\n", output)
        self.assertNotIn("Optimization", output)
        self.assertFalse((self.directory / "melta.EXIT").exists())
        self.assertEqual(read(self.directory / "melta.data_e"), networks)


class Divergence(TrainingRun):
    """What is not finite is never stored."""

    def assert_keeps_the_model(self, extra: str, message: str) -> None:
        names = ("melta.data", "melta.data_e", "melta.gdist")
        before = [read(self.directory / name) for name in names]
        self.set_properties(extra)

        output, status = self.run_command("--train")

        self.assertEqual(status, 1, output)
        self.assertTrue(output.endswith(f"[STOP] the training diverged: {message}\n"), output)
        self.assertNotIn("Converged.", output)
        self.assertEqual([read(self.directory / name) for name in names], before)

    def setUp(self) -> None:
        super().setUp()
        self.set_properties("lbfgs 8\n")
        self.train()

    def test_absurd_rate(self) -> None:
        self.assert_keeps_the_model("lbfgs 0\nepochs 50\nlearnRate 1e30\nlearnRateFinal 1e30\n", "loss")

    def test_absurd_energy(self) -> None:
        path = self.directory / "melta.train"
        lines = read(path).splitlines()
        lines[0] = " ".join([*lines[0].split()[:2], "1e307"])
        path.write_text("\n".join(lines) + "\n", encoding="utf-8")
        for optimizer in ("lbfgs 8\n", "lbfgs 0\n"):
            with self.subTest(optimizer):
                self.assert_keeps_the_model(optimizer, "loss")


if __name__ == "__main__":
    training_runs.main()
