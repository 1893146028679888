"""The mode --evaluate of the command: what ASE reads in its file, and that it agrees with --test and with the package."""

from __future__ import annotations

import shutil

import ase.io
import melta
import numpy as np
import pytest
from ase import Atoms
from ase.build import bulk
from conftest import run, salt

from melta import datafile, formats


def evaluate(model, tmp_path, frames=None):
    """Frames of the input with the results of the model of a directory."""
    for path in model.iterdir():
        shutil.copy(path, tmp_path)
    if frames is not None:
        ase.io.write(tmp_path / "in.xyz", frames, format="extxyz")
    output = run(tmp_path, "--evaluate", "in.xyz", "out.xyz")
    found = ase.io.read(tmp_path / "out.xyz", ":", format="extxyz")
    assert f"Number of Geometries     = {len(found)}\n" in output
    assert f"Number of Atoms          = {sum(map(len, found))}\n" in output
    return found, output


def compute(model, atoms, *properties):
    cell = np.array(atoms.cell) if atoms.pbc.any() else None
    potential = melta.Potential(model)
    return potential.compute(atoms.positions, atoms.numbers, cell, atoms.pbc if cell is not None else None, properties)


def test_agreement_with_the_tables_of_the_test(silicon, tmp_path):
    formats.write_extxyz(tmp_path / "in.xyz", datafile.read(silicon / "melta.test"))

    found, _ = evaluate(silicon, tmp_path)
    run(tmp_path, "--test-with-bias")

    totals = np.loadtxt(tmp_path / "melta.etot", skiprows=1)[:, 1]
    energies = np.loadtxt(tmp_path / "melta.eatom", skiprows=1)[:, 1]
    forces = np.loadtxt(tmp_path / "melta.force", skiprows=1)[:, 1]
    np.testing.assert_allclose([atoms.get_potential_energy() / len(atoms) for atoms in found], totals, rtol=1e-6)
    np.testing.assert_allclose(np.concatenate([a.get_potential_energies() for a in found]), energies, rtol=1e-6)
    np.testing.assert_allclose(np.concatenate([atoms.get_forces().ravel() for atoms in found]), forces, atol=1e-4)


@pytest.mark.parametrize("pbc", [(True, True, True), (True, True, False), (False, True, False), False])
def test_agreement_with_the_package(silicon, tmp_path, pbc):
    random = np.random.default_rng(5)
    frames = []
    for size in (1, 2):
        atoms = bulk("Si", cubic=True) * (size, 1, 1)
        atoms.positions += random.normal(0.0, 0.08, atoms.positions.shape)
        atoms.pbc = pbc
        frames.append(atoms)

    found, output = evaluate(silicon, tmp_path, frames)

    spreads, forces_spreads, novel = [], [], 0
    for one, atoms in zip(found, frames, strict=True):
        names = ("energy", "energies", "forces", "virial", "energy_std", "forces_std", "novelty", "excess")
        expected = compute(silicon, atoms, *names)
        assert (one.pbc == atoms.pbc).all()
        assert one.get_potential_energy() == pytest.approx(expected["energy"], rel=1e-7)
        np.testing.assert_allclose(one.get_potential_energies(), expected["energies"], atol=1e-4)
        np.testing.assert_allclose(one.get_forces(), expected["forces"], atol=1e-4)
        np.testing.assert_allclose(one.arrays["forces_std"], expected["forces_std"], atol=1e-4)
        assert one.info["energy_std"] == pytest.approx(expected["energy_std"], abs=1e-4)
        assert one.info["excess"] == pytest.approx(expected["excess"], abs=1e-3)
        assert ("stress" in one.calc.results) == atoms.pbc.all()
        if atoms.pbc.all():
            np.testing.assert_allclose(one.get_stress(), -expected["virial"] / atoms.get_volume(), atol=1e-5)
        spreads.append(expected["energy_std"] / len(atoms))
        forces_spreads.append(expected["forces_std"].max())
        novel += int(one.arrays["novelty"].sum())
    lines = dict(line.strip().split(" = ") for line in output.splitlines() if " = " in line)
    lines = {key.strip(): float(value.split()[0]) for key, value in lines.items()}
    assert lines["Largest Spread of Energy"] == pytest.approx(max(spreads), rel=1e-2)
    assert lines["Largest Spread of Force"] == pytest.approx(max(forces_spreads), rel=1e-2)
    assert lines["Number of Novel Atoms"] == novel


def test_charges_and_entries_that_stay(charged, tmp_path):
    frames = [Atoms(one.labels, one.positions, cell=one.cell, pbc=True) for one in map(salt, range(3))]
    for place, atoms in enumerate(frames):
        atoms.info.update({"config_type": "a b", "place": place, "virial": np.eye(3)})
        atoms.new_array("unknown", np.arange(8))

    found, _ = evaluate(charged, tmp_path, frames)

    for place, (one, atoms) in enumerate(zip(found, frames, strict=True)):
        charges = compute(charged, atoms, "charges")["charges"]
        np.testing.assert_allclose(one.get_initial_charges(), charges, atol=1e-5)
        assert one.info["place"] == place
        assert one.info["config_type"] == "a b"
        assert "virial" not in one.info
        assert "unknown" not in one.arrays


def test_elements_that_the_model_does_not_know(silicon, tmp_path):
    with pytest.raises(AssertionError, match="element that the model does not know in line 4: in.xyz"):
        evaluate(silicon, tmp_path, [Atoms("SiGe", [[0, 0, 0], [2.4, 0, 0]])])
    assert not (tmp_path / "out.xyz").exists()
