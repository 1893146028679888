"""python -m melta: numbers, files and warnings."""

from __future__ import annotations

from types import SimpleNamespace

import numpy as np
import pytest
from ase.build import bulk, molecule
from ase.io import read, write
from ase.units import GPa, _amu, _e

from melta.ase import Calculator
from melta.plot import style
from melta.structure import DataError
from melta.tasks import command, eos, md, phonons, structures
from melta.tasks.elastic import Elasticity, elastic_constants, stress_of
from melta.tasks.relax import relax
from melta.tasks.trust import Trust
from melta.tasks.vacancy import vacancy


@pytest.fixture(scope="module")
def crystal(silicon):
    """Two atoms of silicon, a little squeezed."""
    found = bulk("Si", a=5.35)
    found.calc = Calculator(silicon)
    return found


def test_structures_by_name_and_from_files(tmp_path):
    write(tmp_path / "one.vasp", bulk("Cu", cubic=True))

    assert len(structures.atoms_of(str(tmp_path / "one.vasp"))) == 4
    assert structures.atoms_of("Si:diamond").get_volume() == pytest.approx(5.43**3 / 4)
    salt = structures.atoms_of("NaCl:rocksalt:5.6")
    assert salt.get_chemical_formula() == "ClNa" and salt.get_volume() == pytest.approx(5.6**3 / 4)


@pytest.mark.parametrize("word", ["nothing", "Si:what", "Xx:fcc", "Si:fcc:x", "NaCl:rocksalt", "a:b:c:d"])
def test_structures_that_are_none(word):
    with pytest.raises(DataError):
        structures.atoms_of(word)


def test_file_that_is_no_structure(tmp_path):
    (tmp_path / "one.xyz").write_text("nothing\n")

    with pytest.raises(DataError, match="cannot read a structure"):
        structures.atoms_of(str(tmp_path / "one.xyz"))


def test_supercells_keep_images_apart():
    cell = bulk("Si")
    found = cell.repeat(structures.repeats(cell, 10.0))

    heights = 1.0 / np.linalg.norm(np.linalg.inv(found.cell.array), axis=0)
    assert (heights >= 10.0).all() and (heights < 13.2).all()
    assert all(count % 2 == 1 for count in structures.repeats(cell, 10.0, only_odd=True))
    with pytest.raises(DataError, match="not periodic"):
        structures.supercell(molecule("H2O"), 10.0)


def test_lattice_of_the_conventional_cell():
    assert structures.lattice_text(bulk("Si")) == "FCC a 5.4300"
    assert structures.lattice_text(bulk("Si", cubic=True)) == "CUB a 5.4300"


def test_relaxation(crystal, tmp_path):
    watch = Trust()
    before = crystal.positions.copy()
    found = relax(crystal, watch)

    assert found.is_converged and found.forces[-1] <= 0.01 < found.forces[0]
    assert found.energies[-1] < found.energies[0]
    assert np.abs(found.atoms.get_stress()).max() * found.atoms.get_volume() < 0.03
    assert watch.structures == len(found.energies)
    np.testing.assert_array_equal(crystal.positions, before)
    again = read(found.write(str(tmp_path / "one")))
    assert again.get_potential_energy() == pytest.approx(found.atoms.get_potential_energy())


def test_relaxation_of_atoms_alone(crystal):
    moved = crystal.copy()
    moved.rattle(0.1, seed=1)
    moved.calc = crystal.calc
    found = relax(moved, with_cell=False)

    np.testing.assert_array_equal(found.atoms.cell.array, crystal.cell.array)
    assert np.linalg.norm(found.atoms.get_forces(), axis=1).max() <= 0.01
    short = relax(moved, steps=1)
    assert not short.is_converged and "WARNING: not converged" in short.lines()[0]


def test_bulk_modulus_in_two_ways(crystal, tmp_path):
    state = eos.equation_of_state(crystal)
    elasticity = elastic_constants(crystal)

    modulus, _ = elasticity.moduli()
    assert state.modulus / GPa == pytest.approx(modulus, rel=0.1)
    assert 50.0 < modulus < 150.0
    assert 5.2 < (8.0 * state.volume) ** (1.0 / 3.0) < 5.6
    assert elasticity.is_cubic()
    np.testing.assert_allclose(eos.birch_murnaghan(state.volumes, state), state.energies, atol=2e-3)
    assert np.argmin(state.energies) not in (0, len(state.energies) - 1)
    rows = np.loadtxt(state.write(str(tmp_path / "one")), delimiter=",", skiprows=1)
    np.testing.assert_allclose(rows, np.transpose([state.volumes, state.energies]), atol=1e-6)
    written = np.loadtxt(elasticity.write(str(tmp_path / "two")), delimiter=",", skiprows=1)
    np.testing.assert_allclose(written, elasticity.constants, atol=1e-4)


def test_elastic_constants_give_the_stress_of_a_strain(crystal):
    found = elastic_constants(crystal)
    strain = np.array([0.002, -0.001, 0.001, 0.002, 0.001, -0.002])  # shears as engineers count them
    xx, yy, zz, yz, xz, xy = strain
    matrix = np.array([[xx, xy / 2, xz / 2], [xy / 2, yy, yz / 2], [xz / 2, yz / 2, zz]])

    stress = (stress_of(found.atoms, matrix) - stress_of(found.atoms, -matrix)) / 2 / GPa

    np.testing.assert_allclose(stress, found.constants @ strain, atol=0.02)


def test_moduli_of_an_isotropic_material():
    bulk_modulus, shear = 100.0, 40.0
    constants = np.zeros((6, 6))
    constants[:3, :3] = bulk_modulus - 2.0 / 3.0 * shear
    constants[range(3), range(3)] += 2.0 * shear
    constants[range(3, 6), range(3, 6)] = shear
    found = Elasticity(bulk("Si"), constants)

    assert found.moduli() == pytest.approx((bulk_modulus, shear))
    assert "not stable" not in " ".join(found.lines())
    assert "not stable" in " ".join(Elasticity(bulk("Si"), constants - 60.0 * np.eye(6)).lines())


def test_moduli_of_a_cubic_crystal():
    # Copper: C11 168.4, C12 121.4, C44 75.4 GPa; K 137.1, Voigt's shear modulus 54.6, Reuss's 40.1.
    constants = np.zeros((6, 6))
    constants[:3, :3] = 121.4
    constants[range(3), range(3)] = 168.4
    constants[range(3, 6), range(3, 6)] = 75.4

    assert Elasticity(bulk("Cu"), constants).moduli() == pytest.approx((137.07, (54.64 + 40.03) / 2), abs=0.05)


def test_dynamics(crystal, tmp_path):
    watch = Trust()
    found = md.dynamics(crystal, watch, temperature=200.0, steps=50, step=1.0, length=6.0)

    assert found.rows.shape == (51, 6) and watch.structures == 51
    np.testing.assert_allclose(found.rows[:, 0], np.arange(51.0))
    assert np.ptp(found.rows[:, 2]) < 0.1 * np.ptp(found.rows[:, 1])
    assert found.noise() < 1.0
    csv, frames = found.write(str(tmp_path / "one")).split()
    np.testing.assert_allclose(np.loadtxt(csv, delimiter=",", skiprows=1), found.rows, rtol=1e-6)
    assert len(read(frames, ":")) == len(found.frames) == 51


def test_drift_of_known_numbers():
    rows = np.zeros((11, 6))
    rows[:, 0] = np.arange(11) * 10.0  # fs
    rows[:, 2] = 1.0 + 2e-6 * rows[:, 0]

    assert md.Trajectory(rows, []).drift() == pytest.approx(2.0)
    assert md.Trajectory(rows, []).noise() == pytest.approx(0.0, abs=1e-6)


def test_phonons_of_the_centre_of_the_zone(crystal):
    found = phonons.phonons(crystal, length=9.0)

    gamma = next(values for _, name, values in found.corners if name == "Gamma")
    np.testing.assert_allclose(gamma[:3], 0.0, atol=0.05)
    # The two atoms swing against each other: omega^2 = 2 K / m.
    moved, step = found.atoms.copy(), 0.02
    moved.calc = crystal.calc
    forces = []
    for sign in (1, -1):
        moved.positions[0] = found.atoms.positions[0] + [sign * step, 0.0, 0.0]
        forces.append(moved.get_forces()[0, 0])
    constant = (forces[1] - forces[0]) / (2.0 * step) * _e * 1e20
    expected = np.sqrt(2.0 * constant / (28.085 * _amu)) / (2.0 * np.pi) * 1e-12
    np.testing.assert_allclose(gamma[3:], expected, rtol=0.02)
    assert phonons.THZ == pytest.approx(241.8, rel=1e-4)
    assert found.grid.max() < 1.2 * found.bands.max()


def test_vacancy(crystal, tmp_path):
    found = vacancy(crystal, length=8.0)

    assert len(found.relaxation.atoms) == len(found.crystal) - 1
    assert found.relaxed < found.unrelaxed
    far, moves = found.distances()
    assert moves[np.argsort(far)[:4]].min() > moves[np.argsort(far)[-4:]].max()
    share = found.crystal.get_potential_energy() / len(found.crystal)
    expected = found.relaxation.atoms.get_potential_energy() - (len(found.crystal) - 1) * share
    assert found.relaxed == pytest.approx(expected, abs=1e-4)
    assert vacancy(crystal, length=6.0, reservoir=share - 1.0).lines() != found.lines()
    assert len(read(found.write(str(tmp_path / "one")))) == len(found.relaxation.atoms)


def test_vacancies_that_mean_nothing(crystal):
    with pytest.raises(DataError, match="no atom 2 among 2"):
        vacancy(crystal, atom=2)
    with pytest.raises(DataError, match="reservoir"):
        vacancy(bulk("NaCl", "rocksalt", a=5.6))


def test_trust_warns_of_unknown_places(crystal):
    watch = Trust()
    crystal.get_potential_energy()
    watch.see(crystal)
    known = watch.lines()
    strange = crystal.copy()
    strange.set_cell(crystal.cell * 0.7, scale_atoms=True)
    strange.calc = crystal.calc
    strange.get_potential_energy()
    watch.see(strange)

    assert len(known) == 1 and known[0].startswith("largest spread")
    assert "1 of 2 structures" in watch.lines()[-1]


def test_trust_warns_of_a_large_spread():
    calculator = SimpleNamespace(potential=SimpleNamespace(num_models=2), results={})
    calculator.results = {"novelty": np.zeros(2, bool), "forces_std": np.array([0.1, 0.3]), "energy_std": 0.02}
    atoms = bulk("Si")
    atoms.calc = calculator
    for limit, warnings in ((0.2, 1), (0.4, 0)):
        watch = Trust(limit)
        watch.see(atoms)
        assert len(watch.warnings()) == warnings
        assert "10.00 meV/atom, 0.3000 eV/Angstrom" in watch.lines()[0]

    calculator.potential.num_models = 1
    watch = Trust()
    watch.see(atoms)
    assert "unknown" in watch.lines()[0]


COMMANDS = {
    "relax": ["melta-relax.extxyz"],
    "eos --points 7": ["melta-eos.csv"],
    "elastic": ["melta-elastic.csv"],
    "vacancy --length 6": ["melta-vacancy.extxyz"],
    "md --length 5 --steps 10": ["melta-md.csv", "melta-md.extxyz"],
    "phonons --length 5": ["melta-phonons.csv"],
}


@pytest.mark.parametrize("words", COMMANDS)
def test_commands(silicon, tmp_path, monkeypatch, capsys, words):
    monkeypatch.chdir(tmp_path)
    name, *more = words.split()

    assert command.main([name, "Si:diamond", "--model", str(silicon), *more]) == 0

    shown = capsys.readouterr().out
    pictures = [f"melta-{name}.png"] if style.is_available() else []
    assert ("no matplotlib" in shown) == (not pictures)
    assert sorted(path.name for path in tmp_path.iterdir()) == sorted(COMMANDS[words] + pictures)
    assert "largest spread" in shown and "nan" not in shown


def test_without_matplotlib(silicon, tmp_path, monkeypatch, capsys):
    monkeypatch.chdir(tmp_path)
    monkeypatch.setattr(style, "is_available", lambda: False)

    assert command.main(["relax", "Si:diamond", "--model", str(silicon)]) == 0

    assert "picture           none" in capsys.readouterr().out
    assert [path.name for path in tmp_path.iterdir()] == ["melta-relax.extxyz"]


@pytest.mark.parametrize(
    "words, message",
    [
        (["relax", "Si:diamond"], "cannot open file"),
        (["relax", "Si:nothing", "--model", "{}"], "cannot build"),
        (["relax", "Al:fcc", "--model", "{}"], "does not know the atomic number: 13"),
        (["eos", "Si:diamond", "--points", "3", "--model", "{}"], "5 points"),
        (["vacancy", "Si:diamond", "--atom", "7", "--model", "{}"], "no atom 7"),
    ],
)
def test_failures(silicon, tmp_path, monkeypatch, capsys, words, message):
    monkeypatch.chdir(tmp_path)

    assert command.main([word.format(silicon) for word in words]) == 1
    assert message in capsys.readouterr().err
    assert not list(tmp_path.iterdir())
