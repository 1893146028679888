"""What melta-data check makes of values: faults that are planted into real data are found, with their places."""

from __future__ import annotations

import numpy as np
import pytest
from conftest import EXAMPLE, salt
from planting import (
    BOHR,
    BUNDLED,
    CHARGE,
    ENERGY,
    ENOUGH,
    FORCE,
    POSITION,
    RYDBERG,
    RYDBERG_PER_BOHR,
    SETS,
    Planter,
    errors,
    needs_sets,
    of_kind,
    published,
    require,
)

from melta.doctor import energies, examination, reading, temperature, twins, work
from melta.doctor.findings import Rank

# ---------------------------------------------------------------------------------------------
# Units and signs
# ---------------------------------------------------------------------------------------------

MIXED_UNITS = [
    (lambda p: p.scale_energies(RYDBERG), "energies in eV"),
    (lambda p: p.scale_energies(0.5), "energies in Hartree"),
    (lambda p: p.scale_atoms(FORCE, 0.5), "forces in Hartree/Bohr"),
    (lambda p: p.scale_atoms(FORCE, RYDBERG_PER_BOHR), "forces in eV/Angstrom"),
]


@pytest.mark.parametrize("plant, words", MIXED_UNITS)
def test_wrong_units_of_the_bundled_data(diagnose, plant, words):
    planter = Planter(BUNDLED)
    plant(planter)

    found = [one for one in errors(diagnose(planter)) if one.kind == "units"]

    assert any(words in one.advice for one in found)
    assert all(one.line >= 1 for one in found)


@needs_sets
@pytest.mark.parametrize("name", ["InP", "Si"])
@pytest.mark.parametrize("plant, words", MIXED_UNITS)
def test_wrong_units_of_published_sets(diagnose, name, plant, words):
    planter = Planter(published(name))
    plant(planter)

    assert any(words in one.advice for one in errors(diagnose(planter)) if one.kind == "units")


@needs_sets
@pytest.mark.parametrize("plant", [MIXED_UNITS[0][0], MIXED_UNITS[3][0]])
@pytest.mark.parametrize("name", ["CarbonChain", "Li"])
def test_wrong_units_without_small_displacements(diagnose, name, plant):
    planter = Planter(published(name))
    plant(planter)

    assert [one for one in errors(diagnose(planter)) if one.kind == "units"]


@pytest.mark.parametrize("name", ["bundled", *(pytest.param(name, marks=needs_sets) for name in SETS)])
def test_lengths_in_angstrom(diagnose, name):
    planter = Planter(BUNDLED if name == "bundled" else published(name), ENOUGH).scale_lengths(BOHR)

    report = diagnose(planter)

    assert any("look like Angstrom" in one.advice for one in errors(report) if one.kind == "units")
    assert of_kind(report, "close-atoms") == []  # one cause, one finding


def test_lengths_converted_twice(planter, diagnose):
    planter.scale_lengths(1.0 / BOHR)

    found = errors(diagnose(planter))

    assert any("converted twice" in one.advice for one in found)


def test_one_structure_in_other_units(planter, diagnose):
    planter.scale_lengths(BOHR, [11])

    report = diagnose(planter)

    require(report, Rank.ERROR, "units", planter.head_line(11), 11, "Angstrom")


@pytest.mark.parametrize("name", ["bundled", *(pytest.param(name, marks=needs_sets) for name in SETS)])
def test_gradients_instead_of_forces(diagnose, name):
    planter = Planter(BUNDLED if name == "bundled" else published(name)).scale_atoms(FORCE, -1.0)

    (found,) = of_kind(diagnose(planter), "gradients")

    assert found.rank == Rank.ERROR
    assert "change their sign" in found.advice
    assert found.line == 1 or found.count > 1


def test_trend_of_cells_without_small_displacements(diagnose):
    planter = Planter(BUNDLED, 100, 150)  # each has a cell of its own
    assert of_kind(diagnose(planter), "gradients") == []
    planter.scale_atoms(FORCE, -1.0)

    report = diagnose(planter)

    found = require(report, Rank.ERROR, "gradients", 1, None, "pair functions", "change their sign")
    assert found.count == 1
    planter.scale_atoms(FORCE, -RYDBERG_PER_BOHR)
    assert any("forces in eV/Angstrom" in one.advice for one in errors(diagnose(planter)))


@needs_sets
def test_energies_of_all_electrons_in_hartree(diagnose):
    planter = Planter(published("CarbonChain")).scale_energies(0.5).scale_atoms(FORCE, 0.5)

    found = of_kind(diagnose(planter), "units")

    assert [one.rank for one in found] == [Rank.WARNING]
    assert "Hartree" in found[0].advice


def test_work_of_a_spring():
    """Energies of independent springs are the work of their forces, and half of them is half the work."""
    rest = np.random.default_rng(1).uniform(0.0, 8.0, (6, 3))
    records = []
    for seed in range(8):
        shift = np.random.default_rng(seed).normal(0.0, 0.05, (6, 3))
        shift -= shift.mean(axis=0)
        structure = salt(0)
        structure.labels, structure.cell, structure.positions = ["Si"] * 6, 8.0 * np.eye(3), rest + shift
        structure.energy, structure.forces = 3.0 * float((shift**2).sum()), -6.0 * shift
        records.append(reading.Record(seed, 1, structure, True, False, np.zeros((6, 12))))

    total = work.balance(work.find_steps(records))

    assert total.num_steps == 28
    assert total.ratio == pytest.approx(1.0, abs=1e-9)
    for record in records:
        record.structure.energy *= -0.5
    assert work.balance(work.find_steps(records)).ratio == pytest.approx(-0.5, abs=1e-9)
    assert "Hartree" in work.explain(0.52)
    assert work.explain(5.0) == ""


# ---------------------------------------------------------------------------------------------
# Single structures
# ---------------------------------------------------------------------------------------------


def test_atoms_too_close(planter, diagnose):
    first = planter.lines[planter.atom_line(8, 2) - 1].split()
    planter.change(planter.atom_line(8, 5), lambda words: words.__setitem__(POSITION, first[POSITION]))
    planter.scale(planter.atom_line(8, 5), 1, 1.01)

    found = require(diagnose(planter), Rank.ERROR, "close-atoms", planter.atom_line(8, 5), 8, "atoms 2 (Si) and 5 (Si)")
    assert float(found.found.split(" are ")[1].split()[0]) < 0.2


def test_atoms_close_to_images(planter, diagnose):
    cell = planter.head_line(8) + 3
    planter.change(cell, lambda words: words.__setitem__(slice(0, 3), ["0", "0", "2.0"]))

    report = diagnose(planter)

    (found,) = of_kind(report, "close-atoms")
    assert (found.rank, found.structure) == (Rank.ERROR, 8)
    assert [one.line for one in of_kind(report, "cell-small")] == [planter.head_line(8) + 1]


def test_cells_without_volume(planter, diagnose):
    place = planter.head_line(8)
    planter.lines[place + 1] = planter.lines[place]

    require(diagnose(planter), Rank.ERROR, "cell", place + 1, 8, "no volume")


def test_cells_too_flat_to_be_searched(planter, diagnose):
    planter.scale(planter.head_line(8) + 3, slice(0, 3), 5.0e-5)

    report = diagnose(planter)

    require(report, Rank.WARNING, "not-searched", planter.head_line(8) + 1, 8, "too flat")
    require(report, Rank.ERROR, "cell-small", planter.head_line(8) + 1, 8)


def test_left_handed_cells(planter, diagnose):
    place = planter.head_line(8)
    planter.lines[place], planter.lines[place + 1] = planter.lines[place + 1], planter.lines[place]

    require(diagnose(planter), Rank.WARNING, "cell-left", place + 1, 8, "left-handed")


def test_net_force(planter, diagnose):
    planter.change(planter.atom_line(21, 3), lambda words: words.__setitem__(FORCE, ["0", "0", "0"]))

    require(diagnose(planter), Rank.ERROR, "net-force", planter.head_line(21), 21, "add up to")


@needs_sets
def test_net_force_of_one_atom_among_many(diagnose):
    planter = Planter(published("Si"), ENOUGH)
    line = planter.atom_line(21, 3)
    planter.scale(line, FORCE, -1.0)

    (found,) = of_kind(diagnose(planter), "net-force")

    assert (found.line, found.structure) == (planter.head_line(21), 21)


# ---------------------------------------------------------------------------------------------
# Structures that stand there twice
# ---------------------------------------------------------------------------------------------


def copy_structure(planter: Planter, structure: int) -> int:
    """Copies a structure to the end; returns the line of the copy."""
    start = planter.heads[structure]
    planter.heads.append(len(planter.lines))
    planter.lines += planter.lines[start : start + 4 + planter.count(structure)]
    return planter.heads[-1] + 1


def test_duplicate(planter, diagnose):
    line = copy_structure(planter, 17)

    require(diagnose(planter), Rank.WARNING, "duplicate", line, ENOUGH, f"structure 17 in line {planter.head_line(17)}")


def test_duplicate_in_another_order_and_place(planter, diagnose):
    line = copy_structure(planter, 17)
    first = planter.atom_line(ENOUGH, 0) - 1
    planter.lines[first:] = planter.lines[first:][::-1]
    for atom in range(planter.count(ENOUGH)):
        shift = [0.7, -1.1, 30.0]

        def move(words):
            words[POSITION] = [f"{float(word) + by:.12g}" for word, by in zip(words[POSITION], shift)]

        planter.change(planter.atom_line(ENOUGH, atom), move)

    require(diagnose(planter), Rank.WARNING, "duplicate", line, ENOUGH, "structure 17 in")


@pytest.mark.parametrize("what", ["energy", "forces"])
def test_contradiction(planter, diagnose, what):
    line = copy_structure(planter, 17)
    if what == "energy":
        planter.scale(line, 2, 1.0 + 1.0e-4)
    else:
        planter.scale_atoms(FORCE, 1.5, [ENOUGH])

    report = diagnose(planter)

    (found,) = [one for one in of_kind(report, "contradiction") if "same places" in one.found]
    assert (found.rank, found.line, found.structure) == (Rank.ERROR, line, ENOUGH)
    assert f"structure 17 in line {planter.head_line(17)}" in found.found


def test_contradiction_of_neighbors(diagnose):
    planter = Planter(BUNDLED)
    steps = work.find_steps(reading.read(BUNDLED).records)
    near = [step for step in steps if step.shift < 0.1]
    structure = near[0].first.index
    assert sum(structure in (step.first.index, step.second.index) for step in near) > 1
    planter.scale(planter.head_line(structure), 2, 1.0 + 1.0e-3)  # 0.1 eV for an atom

    require(diagnose(planter), Rank.ERROR, "contradiction", planter.head_line(structure), structure, "contradict it")


def test_small_shifts_are_no_duplicates(planter, diagnose):
    copy_structure(planter, 17)
    planter.scale(planter.atom_line(ENOUGH, 4), 1, 1.001)

    assert of_kind(diagnose(planter), "duplicate") == []


def test_fragments_at_other_distances_are_no_duplicates():
    structures = []
    for distance in (8.0, 9.0):
        structure = salt(0)
        structure.labels, structure.cell = ["H"] * 4, 30.0 * np.eye(3)
        structure.positions = np.array([[0, 0, 0], [0.75, 0, 0], [0, 0, distance], [0.75, 0, distance]])
        structures.append(reading.Record(len(structures), 1, structure, True, False, np.zeros((4, 12))))

    assert not twins.have_same_distances(*structures)
    assert twins.have_same_distances(structures[0], structures[0])


# ---------------------------------------------------------------------------------------------
# Energies
# ---------------------------------------------------------------------------------------------


@pytest.mark.parametrize("factor", [0.1, RYDBERG, 0.5])
def test_energy_far_off(planter, diagnose, factor):
    planter.scale(planter.head_line(25), 2, factor)

    require(diagnose(planter), Rank.ERROR, "energy-outlier", planter.head_line(25), 25, "Si8")


def test_energy_off(planter, diagnose):
    planter.scale(planter.head_line(25), 2, 0.93)

    report = diagnose(planter)

    require(report, Rank.WARNING, "energy-outlier", planter.head_line(25), 25, "eV for an atom off")


@needs_sets
def test_energy_off_among_compositions(diagnose):
    planter = Planter(published("InP"))
    # As for a cell with another atom.
    planter.scale(planter.head_line(300), 2, (planter.count(300) + 1) / planter.count(300) * 8.0)

    require(diagnose(planter), Rank.ERROR, "energy-outlier", planter.head_line(300), 300)


def test_energies_of_compositions_are_removed():
    records = reading.read(EXAMPLE / "melta.test").records
    for place, record in enumerate(records):
        labels = ["Si"] * 8 if place % 3 else ["Si"] * 4 + ["C"] * 4
        record.structure.labels = labels
        record.structure.energy = -100.0 * labels.count("Si") - 40.0 * labels.count("C")

    assert np.abs(energies.residuals(records)).max() < 1e-6


# ---------------------------------------------------------------------------------------------
# Missing values
# ---------------------------------------------------------------------------------------------


def test_missing_energy(planter, diagnose):
    planter.change(planter.head_line(25), lambda words: words.__setitem__(2, "0.0"))

    require(diagnose(planter), Rank.ERROR, "missing-energy", planter.head_line(25), 25, "the total energy is 0")


def test_energies_all_the_same(planter, diagnose):
    for structure in range(len(planter)):
        planter.change(planter.head_line(structure), lambda words: words.__setitem__(2, "-63.0"))

    require(diagnose(planter), Rank.ERROR, "same-energy", 1, None, f"all {ENOUGH}")


def test_missing_forces(planter, diagnose):
    planter.scale_atoms(FORCE, 0.0, [25])

    require(diagnose(planter), Rank.ERROR, "missing-forces", planter.atom_line(25, 0), 25, "not symmetric")


def test_forces_that_vanish_by_symmetry_are_right(diagnose):
    planter = Planter(BUNDLED, ENOUGH)
    planter.scale_atoms(FORCE, 0.0, [0])  # its atoms are where symmetry wants them

    assert of_kind(diagnose(planter), "missing-forces") == []


@pytest.mark.parametrize("c", [0, 1, 2])
def test_column_of_zero_forces(planter, diagnose, c):
    planter.scale_atoms(FORCE.start + c, 0.0)

    require(diagnose(planter), Rank.ERROR, "zero-column", planter.atom_line(0, 0), None, f"column {6 + c}")


def test_no_forces_at_all(planter, diagnose):
    planter.scale_atoms(FORCE, 0.0)

    require(diagnose(planter), Rank.ERROR, "zero-column", planter.atom_line(0, 0), None, "columns 6 to 8")


def test_column_of_zero_positions(planter, diagnose):
    planter.scale_atoms(POSITION.start + 2, 0.0)

    require(diagnose(planter), Rank.WARNING, "zero-column", planter.atom_line(0, 0), None, "column 4")


def test_flag_without_atomic_energies(planter, diagnose):
    planter.change(planter.head_line(25), lambda words: words.__setitem__(1, "1"))

    found = of_kind(diagnose(planter), "atomic-energies")

    assert [(one.rank, one.line, one.structure) for one in found][0] == (Rank.ERROR, planter.head_line(25), 25)
    assert [one.rank for one in found][1:] == [Rank.WARNING]  # all or none


def test_atomic_energies_without_flag(planter, diagnose):
    planter.change(planter.atom_line(25, 1), lambda words: words.__setitem__(ENERGY, "-7.5"))

    require(diagnose(planter), Rank.WARNING, "atomic-energies", planter.head_line(25), 25, "column 5")


def test_atomic_energies_that_do_not_add_up(planter, diagnose):
    for structure in range(len(planter)):
        total = float(planter.lines[planter.heads[structure]].split()[2])
        planter.change(planter.head_line(structure), lambda words: words.__setitem__(1, "1"))
        for atom in range(8):
            planter.change(planter.atom_line(structure, atom), lambda words: words.__setitem__(ENERGY, total / 8))
    assert of_kind(diagnose(planter), "atomic-energies") == []
    planter.scale(planter.atom_line(25, 1), ENERGY, 1.01)

    require(diagnose(planter), Rank.WARNING, "atomic-energies", planter.head_line(25), 25, "add up to")


def test_charges_in_a_part(planter, diagnose):
    for structure in range(len(planter)):
        if structure != 25:
            planter.change(planter.atom_line(structure, 0), lambda words: words.__setitem__(CHARGE, "0.1"))

    require(diagnose(planter), Rank.WARNING, "charges", planter.head_line(25), 25, "no charges")


def test_forces_above_the_limit(planter, diagnose):
    planter.scale_atoms(FORCE, 100.0, [25])

    report = diagnose(planter)

    require(report, Rank.REMARK, "large-forces", planter.head_line(25), 25, "1 of 40")
    assert of_kind(diagnose(planter, max_force=0.0), "large-forces") == []


# ---------------------------------------------------------------------------------------------
# What the data cover
# ---------------------------------------------------------------------------------------------


def springs(kelvin: float, count: int) -> list:
    """Structures of atoms on springs at a temperature, around places at random."""
    random = np.random.default_rng(1)
    stiffness, places = 4.0, random.uniform(0.0, 8.0, (20, 3))
    records = []
    for index in range(count):
        shifts = random.normal(0.0, np.sqrt(temperature.BOLTZMANN * kelvin / stiffness), (20, 3))
        structure = salt(0)
        structure.labels, structure.cell, structure.positions = ["Si"] * 20, 8.0 * np.eye(3), places + shifts
        structure.forces = -stiffness * shifts
        records.append(reading.Record(index, 1, structure, True, False, np.zeros((20, 12))))
    return records


def test_temperature_of_springs():
    (found,) = temperature.find_temperatures(springs(600.0, 60))

    assert found.num_structures == 60
    assert found.temperature == pytest.approx(600.0, rel=0.05)
    assert found.displacement == pytest.approx(np.sqrt(3.0 * temperature.BOLTZMANN * 600.0 / 4.0), rel=0.05)
    assert temperature.find_temperatures(springs(600.0, temperature.LEAST_MEMBERS - 1)) == []


def test_atoms_that_leave_their_places_have_no_temperature():
    records = springs(600.0, 10)
    records[4].structure.positions[3] += 3.0

    assert temperature.find_temperatures(records) == []


def test_peaks_of_perfect_silicon():
    report = examination.examine(BUNDLED)

    row = report.coverage.distances["Si-Si"]
    assert row["peak"] == pytest.approx(2.34, abs=0.08)
    assert row["shortest"] < row["peak"]
    assert report.coverage.coordination["Si"].most_common(1)[0][0] == 4
    assert sum(report.coverage.coordination["Si"].values()) == report.coverage.num_atoms == 2048
    assert [one.num_structures for one in report.coverage.temperatures] == [81]


def test_coverage_that_is_missing(diagnose):
    planter = Planter(BUNDLED, ENOUGH)
    for structure in range(len(planter)):  # the same cell for all, with atoms at rest
        start, source = planter.heads[structure], planter.heads[0]
        planter.lines[start + 1 : start + 4] = planter.lines[source + 1 : source + 4]
    planter.scale_atoms(FORCE, 1e-3)

    found = " ".join(one.found for one in of_kind(diagnose(planter), "coverage"))

    assert "the same density" in found
    assert "19 of 20 structures have force components below" in found
