"""ASE's own tests of calculators, with ours.

ASE tests what holds for any calculator with its potential for metals, EMT. A small model learns that potential and takes
its place. Left out are tests that compare with numbers of EMT itself, that want double precision, that use parts of EMT
which are none of a calculator, and relaxations, which lead elsewhere with each training.
"""

from __future__ import annotations

import importlib.util
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from ase import Atoms
from ase.build import bulk, molecule
from ase.calculators.emt import EMT
from conftest import SMALL, in_new_directory, run

from melta import datafile
from melta.structure import Structure

METALS = ("Al", "Cu", "Ag", "Au", "Ni", "Pd", "Pt")
MOLECULES = ("H2", "N2", "O2", "CO", "H2O", "NH3", "CH4", "C2H6")
FILES = (
    "atoms/test_deprecated_get_set.py",
    "calculator/test_traj.py",
    "constraints/test_fixcom.py",
    "constraints/test_main.py",
    "emt/test_emt.py",
    "md/test_md.py",
    "neb/test_shared_calculator_neb.py",
    "standardization/test_properties.py",
    "test_forcecurve.py",
    "test_loggingcalc.py",
    "test_mixingcalc.py",
    "test_singlepointcalc.py",
    "vibrations/test_pickle2json.py",
)


def structure_of(atoms: Atoms) -> Structure:
    atoms.calc = EMT()
    forces, energy = atoms.get_forces(), atoms.get_potential_energy()
    return Structure(atoms.get_chemical_symbols(), atoms.cell.array, atoms.positions, float(energy), forces)


def data() -> list[Structure]:
    """Metals, some with a foreign atom, and molecules, all distorted."""
    random, found = np.random.default_rng(1), []
    for name in METALS:
        for i in range(6):
            atoms = bulk(name, cubic=True)
            atoms.set_cell(atoms.cell.array @ (np.eye(3) + random.normal(0.0, 0.02, (3, 3))), scale_atoms=True)
            atoms.positions += random.normal(0.0, 0.08, (4, 3))
            if i > 3:
                atoms.symbols[0] = METALS[3 * i % len(METALS)]
            found.append(structure_of(atoms))
    for name in MOLECULES:
        for _ in range(4):
            atoms = molecule(name, vacuum=4.0, pbc=True)
            atoms.positions += random.normal(0.0, 0.03, atoms.positions.shape)
            found.append(structure_of(atoms))
    return found


@pytest.fixture(scope="module")
def metals():
    """Directory of a model of the elements that ASE's tests use."""

    def fill(directory: Path) -> None:
        datafile.write(directory / "melta.train", data())
        (directory / "melta.prop").write_text(SMALL.format(epochs=60, more="maxForce 100"))
        run(directory, "--train")

    directory = in_new_directory(fill)
    yield directory
    shutil.rmtree(directory)


def test_tests_of_ase(metals):
    if importlib.util.find_spec("ase.test") is None:
        pytest.skip("ASE was installed without its tests")
    folder = Path(importlib.util.find_spec("ase.test").origin).parent
    files = [name for name in FILES if (folder / name).is_file()]
    paths = [str(Path(__file__).parent), os.environ.get("PYTHONPATH", "")]
    environment = {**os.environ, "MELTA_MODEL": str(metals), "PYTHONPATH": os.pathsep.join(paths)}
    options = ["-q", "--tb=short", "-p", "no:cacheprovider", "-p", "melta_as_emt"]

    command = [sys.executable, "-B", "-m", "pytest", *options, *files]
    done = subprocess.run(command, cwd=folder, capture_output=True, text=True, env=environment, timeout=200)

    assert done.returncode == 0, done.stdout[-5000:] + done.stderr
    assert int(re.search(r"(\d+) passed", done.stdout).group(1)) >= len(files)
    assert int(re.search(r"evaluated by melta: (\d+)", done.stdout).group(1)) > 50
