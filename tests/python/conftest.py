"""Models for the tests, trained for a moment by the command."""

from __future__ import annotations

import os
import shutil
import subprocess
import tempfile
from pathlib import Path

import numpy as np
import pytest

ROOT = Path(__file__).resolve().parents[2]
EXAMPLE = ROOT / "examples" / "silicon"
COMMAND = os.environ.get("MELTA_COMMAND", "melta")

SMALL = """\
symmFunc chebyshev
numRadius 8
numAngle 4
rcutRadius 5.0
rcutAngle 4.0
models 3
nodes 8
epochs {epochs}
lbfgs 0
batchs 16
learnRate 0.02
epochsOnlyE 0
epochsApproxF 0
geomsEpoch 0
{more}
"""


def run(directory: Path, *arguments: str) -> str:
    """Runs the command in the directory; returns what it prints."""
    done = subprocess.run([COMMAND, *arguments], cwd=directory, capture_output=True, text=True, timeout=120)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def in_new_directory(fill) -> Path:
    """A directory that pytest removes some runs later; fill(directory) puts a model there."""
    directory = Path(tempfile.mkdtemp(prefix="melta-python-"))
    try:
        fill(directory)
    except BaseException:
        shutil.rmtree(directory, ignore_errors=True)
        raise
    return directory


@pytest.fixture(scope="session")
def silicon():
    """Directory of a model of the bundled silicon data, with these data."""

    def fill(directory: Path) -> None:
        for name in ("melta.train", "melta.test"):
            shutil.copy(EXAMPLE / name, directory)
        (directory / "melta.prop").write_text(SMALL.format(epochs=40, more=""))
        run(directory, "--train")

    directory = in_new_directory(fill)
    yield directory
    shutil.rmtree(directory)


@pytest.fixture(scope="session")
def charged():
    """Directory of a model of Na and Cl with charges and with the ZBL repulsion under it."""
    from melta import datafile

    def fill(directory: Path) -> None:
        datafile.write(directory / "melta.train", [salt(seed) for seed in range(16)])
        more = "withCharge 1\nwithZBL 1\nelemWeight 0"
        (directory / "melta.prop").write_text(SMALL.format(epochs=5, more=more))
        run(directory, "--train")
        run(directory, "--train-charge")

    directory = in_new_directory(fill)
    yield directory
    shutil.rmtree(directory)


@pytest.fixture
def planter():
    """Some of the bundled structures, for faults in one of them."""
    from planting import BUNDLED, ENOUGH, FIRST, Planter

    return Planter(BUNDLED, ENOUGH, FIRST)


@pytest.fixture
def diagnose(tmp_path):
    """diagnose(planter): what the doctor of data says to its lines."""
    from melta.doctor import examination

    return lambda planter, **options: examination.examine(planter.write(tmp_path / "melta.train"), **options)


def salt(seed: int):
    """A distorted cell of eight atoms with made-up values, whose units are right."""
    from melta.structure import Structure

    random = np.random.default_rng(seed)
    places = np.array([[i, j, k] for i in (0, 1) for j in (0, 1) for k in (0, 1)], dtype=float)
    signs = (-1.0) ** places.sum(axis=1)
    shifts = random.normal(0.0, 0.1, (8, 3))
    return Structure(
        labels=["Na" if sign > 0 else "Cl" for sign in signs],
        cell=np.diag([5.6, 5.6, 5.6]) + random.normal(0.0, 0.05, (3, 3)),
        positions=2.8 * places + shifts,
        energy=-30.0 + float((shifts**2).sum()),
        forces=-2.0 * shifts + 2.0 * shifts.mean(axis=0),
        charges=0.8 * signs + random.normal(0.0, 0.02, 8),
    )
