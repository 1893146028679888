"""melta.Potential and melta.Evaluator."""

from __future__ import annotations

import pickle
import threading

import numpy as np
import pytest
from conftest import run, salt

import melta
from melta import datafile

PROPERTIES = ("energy", "energies", "forces", "stress", "virials", "energy_std", "forces_std", "model_forces", "novelty")


@pytest.fixture(scope="module")
def potential(silicon):
    return melta.Potential(silicon)


@pytest.fixture(scope="module")
def tested(silicon):
    """Structures of melta.test."""
    return list(datafile.read(silicon / "melta.test"))


def arguments(structure):
    return structure.positions, structure.labels, structure.cell


def table(path):
    """Columns of a table of --test."""
    return np.loadtxt(path, skiprows=1).T


def test_what_the_model_is(potential):
    assert potential.elements == ["Si"]
    assert potential.num_models == 3
    assert potential.cutoff == 5.0
    assert potential.descriptor == "chebyshev"
    assert not potential.has_charges
    assert potential.has_histograms


def test_agrees_with_the_test_of_the_command(silicon, potential, tested):
    run(silicon, "--test")
    reference, energies = table(silicon / "melta.etot")
    forces = table(silicon / "melta.force")[1].reshape(-1, 3)

    found = potential.compute_many([arguments(one) for one in tested])

    # The table leaves out the mean energy of the element, from both columns.
    errors = [(one["energy"] - data.energy) / len(data.labels) for one, data in zip(found, tested)]
    np.testing.assert_allclose(errors, energies - reference, atol=2e-6)
    np.testing.assert_allclose(np.concatenate([one["forces"] for one in found]), forces, atol=2e-5, rtol=1e-5)


def test_exported_file_gives_the_same(silicon, potential, tested):
    run(silicon, "--export")

    exported = melta.Potential(silicon / "ffield.melta")

    assert exported.energy(*arguments(tested[0])) == potential.energy(*arguments(tested[0]))


def test_forces_are_the_slope_of_the_energy(potential, tested):
    positions, labels, cell = arguments(tested[3])
    forces = potential.forces(positions, labels, cell)
    step = 1e-3
    for atom, axis in ((0, 0), (3, 1), (7, 2)):
        ends = []
        for sign in (1, -1):
            moved = positions.copy()
            moved[atom, axis] += sign * step
            ends.append(potential.energy(moved, labels, cell))
        assert -(ends[0] - ends[1]) / (2 * step) == pytest.approx(forces[atom, axis], abs=5e-3, rel=1e-3)


def test_stress_is_the_slope_of_the_energy(potential, tested):
    positions, labels, cell = arguments(tested[3])
    stress = potential.stress(positions, labels, cell)
    step = 1e-3
    for place, (i, j) in enumerate([(0, 0), (1, 1), (2, 2), (1, 2), (0, 2), (0, 1)]):
        ends = []
        for sign in (1, -1):
            strain = np.eye(3)
            strain[i, j] += sign * step / 2
            strain[j, i] += sign * step / 2
            ends.append(potential.energy(positions @ strain, labels, cell @ strain))
        slope = (ends[0] - ends[1]) / (2 * step) / abs(np.linalg.det(cell))
        assert slope == pytest.approx(stress[place], abs=1e-3, rel=1e-3)


def test_shares_add_up(potential, tested):
    found = potential.compute(*arguments(tested[1]), properties=PROPERTIES + ("virial",))

    assert found["energies"].sum() == pytest.approx(found["energy"], rel=1e-12)
    np.testing.assert_allclose(found["virials"].sum(axis=0), found["virial"], atol=1e-9)
    np.testing.assert_allclose(found["forces"].sum(axis=0), 0.0, atol=1e-4)
    np.testing.assert_allclose(found["model_forces"].mean(axis=0), found["forces"], atol=1e-5)
    spread = np.sqrt(((found["model_forces"] - found["forces"]) ** 2).sum(axis=2).mean(axis=0))
    np.testing.assert_allclose(found["forces_std"], spread, atol=1e-5)
    assert found["energy_std"] == pytest.approx(np.std(found["model_energies"]))
    assert found["novelty"].dtype == bool


def test_descriptors(silicon, potential, tested):
    training = [potential.descriptors(*arguments(one)) for one in datafile.read(silicon / "melta.train")]

    assert all(one.shape == (8, potential.num_descriptors) for one in training)
    assert min(one.min() for one in training) == pytest.approx(-1.0, abs=1e-4)
    assert max(one.max() for one in training) == pytest.approx(1.0, abs=1e-4)
    for structure in tested[:3]:
        found = potential.compute(*arguments(structure), properties=("descriptors", "excess"))
        assert max(np.abs(found["descriptors"]).max() - 1.0, 0.0) == pytest.approx(found["excess"], abs=1e-6)
        moved = potential.descriptors(structure.positions + 0.7, structure.labels, structure.cell)
        np.testing.assert_allclose(moved, found["descriptors"], atol=2e-4)


def test_charges(charged):
    potential = melta.Potential(charged)
    structure = salt(3)

    charges = potential.charges(*arguments(structure))

    assert charges.shape == (8,)
    assert np.isfinite(charges).all()
    assert np.abs(charges).max() > 0.01
    np.testing.assert_allclose(
        potential.charges(structure.positions, [11 if label == "Na" else 17 for label in structure.labels], structure.cell),
        charges,
    )


def test_layouts_and_types_of_arrays(potential, tested):
    positions, labels, cell = arguments(tested[2])
    energy = potential.energy(positions, labels, cell)

    assert potential.energy(np.asfortranarray(positions), labels, np.asfortranarray(cell)) == energy
    assert potential.energy(positions.tolist(), [14] * len(labels), cell.tolist()) == energy
    wide = np.zeros((len(labels), 6))
    wide[:, ::2] = positions
    assert potential.energy(wide[:, ::2], labels, cell) == energy


def test_periodic_images_and_moves_change_nothing(potential, tested):
    positions, labels, cell = arguments(tested[2])
    energy = potential.energy(positions, labels, cell)

    far = positions + np.array([[3], [-2], [0], [1]] * 2) * cell[1]

    assert potential.energy(far, labels, cell) == pytest.approx(energy, rel=1e-7)
    repeated = np.concatenate([positions, positions + cell[0]])
    double = cell * np.array([[2], [1], [1]])
    assert potential.energy(repeated, labels * 2, double) == pytest.approx(2 * energy, rel=1e-7)


def test_cluster_is_the_same_as_a_wide_cell(potential):
    positions = np.array([[0.0, 0, 0], [2.3, 0, 0], [0, 2.4, 0], [1, 1, 30.0]])
    wide = potential.compute(positions, [14] * 4, np.diag([60.0] * 3))

    cluster = potential.compute(positions, [14] * 4)

    assert cluster["energy"] == pytest.approx(wide["energy"], rel=1e-7)
    np.testing.assert_allclose(cluster["forces"], wide["forces"], atol=1e-5)


def test_slab_is_periodic_along_two_directions(potential, tested):
    positions, labels, cell = arguments(tested[2])
    tall = cell.copy()
    tall[2] = np.cross(cell[0], cell[1])
    tall[2] *= 40 / np.linalg.norm(tall[2])

    slab = potential.energy(positions, labels, cell, pbc=(True, True, False))

    assert slab == pytest.approx(potential.energy(positions, labels, tall), rel=1e-7)


@pytest.mark.parametrize("threads", [1, 2, 5])
def test_many_structures_with_threads(potential, tested, threads):
    found = potential.compute_many([arguments(one) for one in tested], PROPERTIES, threads)

    assert len(found) == len(tested)
    for one, structure in zip(found, tested):
        alone = potential.compute(*arguments(structure), properties=PROPERTIES)
        for name in PROPERTIES:
            np.testing.assert_array_equal(one[name], alone[name])


def test_one_evaluator_in_several_threads(potential, tested):
    evaluator = melta.Evaluator(potential)
    found = [None] * 8

    def work(place):
        found[place] = [evaluator.compute(*arguments(one))["energy"] for one in tested[:10]]

    threads = [threading.Thread(target=work, args=(place,)) for place in range(len(found))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()

    expected = [potential.energy(*arguments(one)) for one in tested[:10]]
    for energies in found:
        np.testing.assert_allclose(energies, expected, rtol=2e-8)


def test_lists_are_kept_while_they_hold(potential, tested):
    positions, labels, cell = arguments(tested[5])
    evaluator = melta.Evaluator(potential, skin=0.6)
    random = np.random.default_rng(1)
    position, box = positions.copy(), cell.copy()
    for step in range(60):
        position = position + random.normal(0.0, 0.01, position.shape)
        strain = np.eye(3) + random.normal(0.0, 0.002, (3, 3))
        position, box = position @ strain, box @ strain

        kept = evaluator.compute(position, labels, box, properties=("forces", "stress", "energy"))
        fresh = potential.compute(position, labels, box, properties=("forces", "stress", "energy"))

        assert kept["energy"] == pytest.approx(fresh["energy"], rel=2e-8)
        np.testing.assert_allclose(kept["forces"], fresh["forces"], atol=2e-5)
        np.testing.assert_allclose(kept["stress"], fresh["stress"], atol=1e-5)
    assert 1 < evaluator.builds < 30


def test_lists_follow_jumps_and_other_structures(potential, tested):
    evaluator = melta.Evaluator(potential, skin=1.0)
    for one in tested[:5]:
        positions, labels, cell = arguments(one)
        positions = positions.copy()
        positions[0] += cell[2]
        assert evaluator.compute(positions, labels, cell)["energy"] == pytest.approx(
            potential.energy(*arguments(one)), rel=2e-8
        )
    assert evaluator.compute(positions[:3], labels[:3], cell)["energy"] == pytest.approx(
        potential.energy(positions[:3], labels[:3], cell), rel=2e-8
    )


def test_box_of_a_cluster_grows_with_it(potential):
    evaluator = melta.Evaluator(potential)
    chain = np.array([[2.3 * i, 0.2 * (i % 2), 0.0] for i in range(6)])
    for pair in np.linspace(0.0, 12.0, 9):
        # Two halves move apart and turn, until the far end would meet the image of the other one.
        apart = chain + np.where(np.arange(6) < 3, 0.0, pair)[:, None] * np.array([1.0, 0.7, 0.4])

        kept = evaluator.compute(apart, [14] * 6)

        assert kept["energy"] == pytest.approx(potential.energy(apart, [14] * 6), rel=2e-8)


def test_pickle(potential, tested):
    copy = pickle.loads(pickle.dumps(potential))

    assert copy.energy(*arguments(tested[0])) == potential.energy(*arguments(tested[0]))


def test_missing_model(tmp_path):
    with pytest.raises(melta.Error, match="melta.data"):
        melta.Potential(tmp_path)
    with pytest.raises(melta.Error):
        melta.Potential(tmp_path / "no-such-file")


def test_broken_model(tmp_path, silicon):
    for name in ("melta.data", "melta.data_e"):
        text = (silicon / name).read_text()
        (tmp_path / name).write_text(text[: len(text) // 2])
    with pytest.raises(melta.Error):
        melta.Potential(tmp_path)


CELL = np.diag([5.4] * 3)


@pytest.mark.parametrize(
    "positions, numbers, cell, message",
    [
        (np.zeros((0, 3)), [], CELL, "number of atoms is not positive"),
        ([[np.nan, 0, 0]], [14], CELL, "finite"),
        ([[np.inf, 0, 0]], [14], CELL, "finite"),
        ([[0, 0, 0]], [14], np.zeros((3, 3)), "too small or too flat"),
        ([[0, 0, 0]], [14], 1e-5 * CELL, "too small or too flat"),
        ([[0, 0, 0]], [14], np.diag([1e-9, 1e6, 1e6]), "too small or too flat"),
        ([[0, 0, 0]], [14], 1e300 * CELL, "finite"),
        ([[0, 0, 0]], [14], np.nan * CELL, "finite"),
        ([[0, 0, 0]], [8], CELL, "does not know the atomic number: 8"),
        ([[0, 0, 0]], [-1], CELL, "does not know the atomic number"),
        ([[0, 0, 0]], ["O"], CELL, "does not know the element: O"),
    ],
)
def test_what_cannot_be_evaluated_is_an_error(potential, positions, numbers, cell, message):
    with pytest.raises(melta.Error, match=message):
        potential.energy(positions, numbers, cell)


@pytest.mark.parametrize(
    "positions, numbers, cell",
    [
        (np.zeros((2, 2)), [14, 14], CELL),
        (np.zeros(3), [14], CELL),
        (np.zeros((2, 3)), [14], CELL),
        (np.zeros((1, 3)), [[14]], CELL),
        (np.zeros((1, 3)), [14], np.zeros((2, 3))),
        (np.zeros((1, 3)), [14.5], CELL),
    ],
)
def test_wrong_shapes_are_value_errors(potential, positions, numbers, cell):
    with pytest.raises(ValueError):
        potential.energy(positions, numbers, cell)


def test_coinciding_atoms_do_not_end_the_interpreter(potential):
    try:
        energy = potential.energy(np.zeros((2, 3)), [14, 14], CELL)
    except melta.Error:
        return
    assert isinstance(energy, float)


def test_other_errors(potential):
    with pytest.raises(melta.Error, match="no charges"):
        potential.charges([[0, 0, 0]], [14], CELL)
    with pytest.raises(ValueError, match="unknown property: mass"):
        potential.compute([[0, 0, 0]], [14], CELL, properties=("mass",))
    with pytest.raises(ValueError, match="threads"):
        potential.compute_many([], threads=0)
    with pytest.raises(melta.Error, match="atomic number: 8"):
        potential.compute_many([([[0, 0, 0]], [14], CELL), ([[0, 0, 0]], [8], CELL)])
    with pytest.raises(melta.Error, match="skin"):
        melta.Evaluator(potential, skin=-1.0)
    with pytest.raises(melta.Error, match="skin"):
        melta.Evaluator(potential, skin=float("nan"))
