"""melta.ase.Calculator."""

from __future__ import annotations

import copy

import ase.calculators.test
import numpy as np
import pytest
from ase import Atoms
from ase.build import bulk
from ase.calculators.calculator import PropertyNotImplementedError, all_properties
from ase.calculators.singlepoint import SinglePointCalculator
from ase.constraints import UnitCellFilter
from ase.eos import EquationOfState
from ase.io import read, write
from ase.md.verlet import VelocityVerlet
from ase.md.velocitydistribution import MaxwellBoltzmannDistribution
from ase.neb import NEB
from ase.optimize import BFGS
from ase.units import fs
from conftest import salt

import melta
from melta.ase import Calculator


@pytest.fixture
def atoms(silicon):
    """Eight atoms out of their places."""
    found = bulk("Si", a=5.4, cubic=True)
    found.rattle(0.1, seed=3)
    found.calc = Calculator(silicon)
    return found


def test_results(atoms):
    energy = atoms.get_potential_energy()

    assert atoms.get_potential_energy(force_consistent=True) == energy
    assert atoms.get_potential_energies().sum() == pytest.approx(energy)
    assert atoms.get_forces().shape == (8, 3)
    np.testing.assert_allclose(atoms.get_stresses().sum(axis=0), atoms.get_stress(), atol=1e-9)
    results = atoms.calc.results
    assert results["energy_std"] > 0.0
    assert results["forces_std"].shape == (8,)
    assert results["novelty"].shape == (8,)


def test_forces_equal_finite_differences(atoms):
    forces = atoms.get_forces()

    numeric = atoms.calc.calculate_numerical_forces(atoms, d=1e-3)

    np.testing.assert_allclose(forces, numeric, atol=5e-3)


def test_stress_equals_finite_differences(atoms):
    # A triclinic cell, so that all components count.
    atoms.set_cell(atoms.cell.array @ (np.eye(3) + 0.02 * np.arange(9).reshape(3, 3) / 8), scale_atoms=True)
    stress = atoms.get_stress()

    numeric = atoms.calc.calculate_numerical_stress(atoms, d=1e-3)

    np.testing.assert_allclose(stress, numeric, atol=1e-3)
    assert np.abs(stress).max() > 0.01


def test_gradient_test_of_ase(atoms, capsys):
    ase.calculators.test.gradient_test(atoms, [0, 5])

    # Its steps go down to where energies, in single precision, do not differ any more; the best one counts.
    errors = [float(line.split()[1]) for line in capsys.readouterr().out.splitlines()[1:]]
    assert min(errors) < 2e-3


def test_no_stress_without_a_volume(silicon):
    dimer = Atoms("Si2", [[0, 0, 0], [0, 0, 2.3]], calculator=Calculator(silicon))

    assert np.isfinite(dimer.get_potential_energy())
    np.testing.assert_allclose(dimer.get_forces().sum(axis=0), 0.0, atol=1e-5)
    with pytest.raises(PropertyNotImplementedError):
        dimer.get_stress()


def test_charges(charged, atoms):
    structure = salt(1)
    model = Atoms(structure.labels, structure.positions, cell=structure.cell, pbc=True, calculator=Calculator(charged))

    expected = melta.Potential(charged).charges(structure.positions, structure.labels, structure.cell)
    np.testing.assert_allclose(model.get_charges(), expected, atol=1e-6)
    assert np.isfinite(model.get_potential_energy())
    with pytest.raises(PropertyNotImplementedError):
        atoms.get_charges()


def test_stress_with_baseline_equals_finite_differences(charged):
    structure = salt(2)
    model = Atoms(structure.labels, structure.positions, cell=structure.cell, pbc=True, calculator=Calculator(charged))

    np.testing.assert_allclose(
        model.get_stress(), model.calc.calculate_numerical_stress(model, d=1e-3), atol=1e-3
    )
    np.testing.assert_allclose(
        model.get_forces(), model.calc.calculate_numerical_forces(model, d=1e-3), atol=5e-3
    )


def test_calculates_again_only_after_changes(atoms):
    atoms.get_potential_energy()
    results = atoms.calc.results
    atoms.get_forces()
    assert atoms.calc.results is results

    atoms.positions[0, 0] += 0.01

    atoms.get_forces()
    assert atoms.calc.results is not results


@pytest.mark.parametrize("change", ["positions", "cell", "pbc", "numbers"])
def test_every_change_counts(atoms, charged, change):
    if change == "numbers":
        structure = salt(1)
        atoms = Atoms(structure.labels, structure.positions, cell=structure.cell, pbc=True)
        atoms.calc = Calculator(charged)
    before = atoms.get_potential_energy()
    if change == "positions":
        atoms.positions[0, 0] += 0.05
    elif change == "cell":
        atoms.cell[0, 0] += 0.05
    elif change == "pbc":
        atoms.pbc[2] = False
    else:
        atoms.numbers[:2] = atoms.numbers[1::-1]

    assert atoms.calc.calculation_required(atoms, ["energy"])
    after = atoms.get_potential_energy()
    assert after != before
    fresh = atoms.copy()
    fresh.calc = Calculator(atoms.calc.potential)
    assert fresh.get_potential_energy() == pytest.approx(after, rel=1e-6)


def test_property_without_calculation(atoms):
    calculator = atoms.calc

    assert calculator.get_property("energy", atoms, allow_calculation=False) is None
    energy = atoms.get_potential_energy()
    assert calculator.get_property("energy", atoms, allow_calculation=False) == energy
    atoms.positions[0, 0] += 0.01
    assert calculator.get_property("forces", atoms, allow_calculation=False) is None
    with pytest.raises(PropertyNotImplementedError):
        calculator.get_property("magmoms", atoms)


def test_results_are_not_those_of_the_calculator(atoms):
    forces = atoms.get_forces()
    expected = forces.copy()
    forces[:] = 0.0

    np.testing.assert_array_equal(atoms.get_forces(), expected)


def test_copy_has_no_calculator(atoms):
    atoms.get_potential_energy()

    assert atoms.copy().calc is None


def test_larger_cells_have_more_of_everything(atoms):
    atoms.get_potential_energy()
    double = atoms.repeat((2, 1, 1))
    double.calc = Calculator(atoms.calc.potential)

    assert double.get_potential_energy() == pytest.approx(2.0 * atoms.get_potential_energy(), rel=1e-6)
    np.testing.assert_allclose(double.get_forces(), np.tile(atoms.get_forces(), (2, 1)), atol=1e-4)
    np.testing.assert_allclose(double.get_stress(), atoms.get_stress(), atol=1e-5)


def test_results_are_kept_by_ase(atoms):
    atoms.get_stress()
    results = atoms.calc.results

    assert set(results) <= set(all_properties)
    assert "novelty" in results and results.get("forces_std").shape == (8,)
    assert results.get("charges") is None
    kept = SinglePointCalculator(atoms, **results)
    assert kept.get_potential_energy(atoms) == results["energy"]
    properties = atoms.get_properties(["energy", "forces", "stress"])
    np.testing.assert_array_equal(properties["forces"], results["forces"])
    again = copy.deepcopy(results)
    assert again["energy_std"] == results["energy_std"] and set(again) == set(results)


def test_band_with_one_calculator(atoms):
    images = [atoms.copy() for _ in range(3)]
    images[2].positions[0] += [0.4, 0.1, 0.0]
    for image in images:
        image.calc = atoms.calc
    band = NEB(images, allow_shared_calculator=True)
    band.interpolate()

    forces = band.get_forces()

    assert np.isfinite(forces).all() and np.abs(forces).max() > 0.0
    assert "energy" in images[1].calc.results


def test_unknown_element(silicon):
    with pytest.raises(melta.Error, match="atomic number: 8"):
        Atoms("O", cell=[5, 5, 5], pbc=True, calculator=Calculator(silicon)).get_potential_energy()


def test_dynamics_keep_energy_and_lists(atoms):
    MaxwellBoltzmannDistribution(atoms, temperature_K=300, rng=np.random.default_rng(1))
    start = atoms.get_total_energy()

    VelocityVerlet(atoms, 1 * fs).run(100)

    assert atoms.get_total_energy() == pytest.approx(start, abs=0.01 * len(atoms))
    assert atoms.calc.builds < 20


def test_relaxation_with_cell(atoms):
    BFGS(UnitCellFilter(atoms), logfile=None).run(fmax=0.02, steps=200)

    assert np.linalg.norm(atoms.get_forces(), axis=1).max() < 0.02
    assert np.abs(atoms.get_stress()).max() < 0.02


def test_equation_of_state(silicon):
    calculator = Calculator(silicon)
    volumes, energies = [], []
    for scale in np.linspace(0.97, 1.03, 7):
        cell = bulk("Si", a=5.4 * scale)
        cell.calc = calculator
        volumes.append(cell.get_volume())
        energies.append(cell.get_potential_energy())

    volume, _, modulus = EquationOfState(volumes, energies).fit()

    assert 17.0 < volume / 2 < 23.0
    assert modulus > 0.0


def test_copies_have_lists_of_their_own(atoms):
    other = atoms.copy()
    other.calc = copy.deepcopy(atoms.calc)

    assert other.get_potential_energy() == pytest.approx(atoms.get_potential_energy(), rel=2e-8)
    assert other.calc.builds == 1


def test_results_go_into_files(atoms, tmp_path):
    atoms.get_stress()
    for name in ("one.extxyz", "one.traj"):
        write(tmp_path / name, atoms)

        again = read(tmp_path / name)

        assert again.get_potential_energy() == pytest.approx(atoms.get_potential_energy())
        np.testing.assert_allclose(again.get_forces(), atoms.get_forces(), atol=1e-7)
        np.testing.assert_allclose(again.get_stress(), atoms.get_stress(), atol=1e-7)
