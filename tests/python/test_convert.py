"""The command melta-data, and what it chooses."""

from __future__ import annotations

import os
import shutil
from pathlib import Path

import ase.io
import numpy as np
import pytest
from ase import Atoms
from ase.calculators.singlepoint import SinglePointCalculator
from conftest import EXAMPLE, run, salt

from melta import convert, datafile, formats, plausibility, selection


def convert_files(*arguments) -> int:
    return convert.main(["convert", *map(str, arguments)])


def read(path):
    return list(datafile.read(path))


@pytest.fixture
def salts(tmp_path):
    """An extended XYZ file of twenty structures in four groups."""
    structures = [salt(seed) for seed in range(20)]
    for place, structure in enumerate(structures):
        structure.group = "abcd"[place % 4]
    formats.write_extxyz(tmp_path / "salts.extxyz", structures)
    return tmp_path / "salts.extxyz"


def energies(structures):
    return [round(structure.energy, 6) for structure in structures]


def test_into_a_directory(salts, tmp_path, capsys):
    assert convert_files(salts, tmp_path) == 0

    training, testing = read(tmp_path / "melta.train"), read(tmp_path / "melta.test")
    assert (len(training), len(testing)) == (18, 2)
    assert sorted(energies(training + testing)) == sorted(energies(formats.read(salts)))
    assert capsys.readouterr().out == (
        f"read:      20 structures of {salts}\n"
        f"written:   18 structures to {tmp_path}/melta.train, 0 with stress\n"
        f"written:   2 structures to {tmp_path}/melta.test, 0 with stress\n"
    )


def test_seeds(salts, tmp_path):
    chosen = []
    for seed in (1, 1, 2):
        convert_files(salts, tmp_path, "--seed", seed, "--test-fraction", 0.3)
        chosen.append(energies(read(tmp_path / "melta.test")))
    assert chosen[0] == chosen[1] != chosen[2]
    assert len(chosen[2]) == 6


def test_groups_are_not_divided(salts, tmp_path):
    groups = {energy: one.group for one in formats.read(salts) for energy in energies([one])}

    assert convert_files(salts, tmp_path, "--by-group", "--test-fraction", 0.5) == 0

    training, testing = read(tmp_path / "melta.train"), read(tmp_path / "melta.test")
    assert len(training) == len(testing) == 10
    assert not {groups[e] for e in energies(training)} & {groups[e] for e in energies(testing)}


def test_groups_by_name(salts, tmp_path):
    groups = {energy: one.group for one in formats.read(salts) for energy in energies([one])}

    assert convert_files(salts, tmp_path / "train", "--test", tmp_path / "test", "--test-groups", "b,d") == 0

    assert {groups[e] for e in energies(read(tmp_path / "test"))} == {"b", "d"}
    assert {groups[e] for e in energies(read(tmp_path / "train"))} == {"a", "c"}


def test_several_files_and_duplicates(salts, tmp_path, capsys):
    shutil.copy(salts, tmp_path / "again.extxyz")

    assert convert_files(salts, tmp_path / "again.extxyz", tmp_path / "out") == 0
    assert len(read(tmp_path / "out")) == 20
    assert "left out:  20 that stood there before\n" in capsys.readouterr().out

    assert convert_files(salts, tmp_path / "again.extxyz", tmp_path / "out", "--keep-duplicates") == 0
    assert len(read(tmp_path / "out")) == 40


def test_filters(salts, tmp_path):
    largest = sorted(np.linalg.norm(one.forces, axis=1).max() for one in formats.read(salts))
    limit = (largest[7] + largest[8]) / 2

    convert_files(salts, tmp_path / "out", "--max-force", limit)
    assert len(read(tmp_path / "out")) == 8

    convert_files(salts, tmp_path / "out", "--every", 7)
    assert len(read(tmp_path / "out")) == 3

    assert convert_files(salts, EXAMPLE / "melta.test", tmp_path / "out", "--elements", "Na,Cl,K") == 0
    assert len(read(tmp_path / "out")) == 20


def test_there_and_back(tmp_path):
    assert convert_files(EXAMPLE / "melta.test", tmp_path / "a.extxyz") == 0
    assert convert_files(tmp_path / "a.extxyz", tmp_path / "melta.test") == 0

    for one, other in zip(read(tmp_path / "melta.test"), read(EXAMPLE / "melta.test"), strict=True):
        assert one.labels == other.labels
        for name in ("cell", "positions", "energy", "forces"):
            np.testing.assert_allclose(getattr(one, name), getattr(other, name), rtol=1e-12, atol=1e-13)


def test_the_command_reads_what_is_written(silicon, tmp_path):
    assert convert_files(EXAMPLE / "melta.test", tmp_path / "a.extxyz") == 0
    assert convert_files(tmp_path / "a.extxyz", tmp_path / "melta.test") == 0
    for name in ("melta.data", "melta.data_e"):
        shutil.copy(silicon / name, tmp_path)

    run(tmp_path, "--test")
    run(silicon, "--test")

    for name in ("melta.etot", "melta.force"):
        ours, theirs = (np.loadtxt(path / name, skiprows=1) for path in (tmp_path, silicon))
        np.testing.assert_allclose(ours, theirs, atol=2e-5)


def test_structures_without_values(tmp_path, capsys):
    bare = Atoms("Si", cell=[3, 3, 3], pbc=True)
    ready = Atoms("Si", cell=[3.1, 3, 3], pbc=True)
    ready.calc = SinglePointCalculator(ready, energy=-1.0, forces=[[0, 0, 0.1]])
    ase.io.write(tmp_path / "a.traj", [bare, ready])

    assert convert_files(tmp_path / "a.traj", tmp_path / "out") == 0
    assert len(read(tmp_path / "out")) == 1
    assert "left out:  1 without energy or forces\n" in capsys.readouterr().out
    assert convert_files(tmp_path / "a.traj", tmp_path / "out.xyz") == 0
    assert len(ase.io.read(tmp_path / "out.xyz", ":")) == 2


@pytest.mark.parametrize(
    "options, message",
    [
        (["--every", 0], "--every is not positive."),
        (["--test-fraction", 2], "--test-fraction is not between 0 and 1."),
        (["--test-fraction", "nan"], "--test-fraction is not between 0 and 1."),
        (["--vacuum", 0], "--vacuum is not positive."),
        (["--elements", "Si"], "there are no structures left."),
        (["--by-group"], "structures for testing need a file: --test FILE, or a directory as OUT."),
        (["--test", "t", "--test-fraction", 1], "there are no structures for this file: "),
    ],
)
def test_failures(salts, tmp_path, capsys, monkeypatch, options, message):
    monkeypatch.chdir(tmp_path)

    assert convert_files(salts, tmp_path / "out", *options) == 1

    assert message in capsys.readouterr().err
    assert sorted(path.name for path in tmp_path.iterdir()) == ["salts.extxyz"]


def test_missing_input(tmp_path, capsys):
    assert convert_files(tmp_path / "none", tmp_path / "out") == 1
    assert f"melta-data: cannot read the file: {tmp_path}/none: No such file" in capsys.readouterr().err


@pytest.mark.parametrize("factor, word", [(1 / 0.5291772, "in Bohr?"), (0.5291772, "not in Angstrom?"), (1.0, "")])
def test_lengths_in_other_units(tmp_path, capsys, factor, word):
    structures = [salt(seed) for seed in range(4)]
    for one in structures:
        one.cell, one.positions = factor * one.cell, factor * one.positions
    formats.write_extxyz(tmp_path / "a.extxyz", structures)

    assert convert_files(tmp_path / "a.extxyz", tmp_path / "out", "--strict") == (1 if word else 0)

    assert word in capsys.readouterr().err
    assert (tmp_path / "out").exists() == (not word)


def test_forces_in_other_units():
    structures = [salt(seed) for seed in range(4)]
    assert plausibility.complaints(structures) == []
    for one in structures:
        one.forces = 1e4 * one.forces
    assert "forces in other units" in plausibility.complaints(structures)[0]
    for one in structures:
        one.forces = 0.0 * one.forces
    assert "all forces vanish" in plausibility.complaints(structures)[0]


def test_bundled_data_look_right():
    assert plausibility.complaints(read(EXAMPLE / "melta.train")) == []


def test_nearest_neighbours_through_the_faces_of_the_cell():
    one = salt(0)
    one.positions = np.array([[0.1, 0, 0], [5.5, 0, 0]])
    one.labels = ["Na", "Cl"]
    one.cell = np.diag([5.6, 5.6, 5.6])

    assert plausibility.nearest_ratio(one) == pytest.approx(0.2 / (1.66 + 1.02))


@pytest.mark.parametrize("fraction", [0.0, 0.01, 0.5, 0.99, 1.0])
def test_parts_of_a_split(fraction):
    structures = [salt(seed) for seed in range(5)]

    training, testing = selection.split_at_random(structures, fraction, 3)

    assert len(training) + len(testing) == 5
    assert bool(testing) == (fraction > 0.0)
    assert bool(training) == (fraction < 1.0)
    assert all(any(one is other for other in structures) for one in training + testing)


@pytest.mark.parametrize("source", ["salts", "bundled", "with stress", "cluster"])
def test_import_of_the_command_writes_the_same(salts, tmp_path, source):
    frames = tmp_path / "in.extxyz"
    if source == "salts":
        frames = salts
    else:
        structures = list(datafile.read(EXAMPLE / "melta.test"))
        for one in structures if source == "with stress" else []:
            one.stress = np.array([1.0, -2.0, 3.0, 0.4, -0.5, 0.6]) * float(one.energy) * 1e-5
        formats.write_extxyz(frames, structures)
    if source == "cluster":
        frames.write_text(
            "3\nProperties=species:S:1:forces:R:3:pos:R:3:charges:R:1 energy=-12.25\n"
            "O 0.1 0.2 -0.3 0 0 0 -0.8\nH -0.1 0 0.1 0.96 0.1 0 0.4\nH 0 -0.2 0.2 -0.24 0.93 0.05 0.4\n"
        )
    assert convert_files(frames, tmp_path / "expected", "--keep-duplicates") == 0

    output = run(tmp_path, "--import", str(frames))

    assert (tmp_path / "melta.train").read_text() == (tmp_path / "expected").read_text()
    assert f"Number of Geometries     = {len(read(tmp_path / 'expected'))}\n" in output


@pytest.mark.skipif(not os.environ.get("MELTA_SHARED_DATA"), reason="MELTA_SHARED_DATA names no folder")
@pytest.mark.parametrize("name", ["Si", "Li"])
def test_import_of_published_data(tmp_path, name):
    source = Path(os.environ["MELTA_SHARED_DATA"]) / name

    run(tmp_path, "--import", str(source / "train.extxyz"))

    for one, other in zip(read(tmp_path / "melta.train"), read(source / "melta.train"), strict=True):
        assert one.labels == other.labels
        assert one.energy == pytest.approx(other.energy, rel=1e-9)
        np.testing.assert_allclose(one.forces, other.forces, atol=1e-6)
        np.testing.assert_allclose(one.positions, other.positions, atol=2e-6)
