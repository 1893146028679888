"""melta-data select: which structures are taken."""

from __future__ import annotations

import re
import shutil

import numpy as np
import pytest
from conftest import EXAMPLE
from conftest import run as run_command

import melta
from melta import convert, datafile, formats, select
from melta.structure import DataError, Structure

LATTICE = 5.4
SITES = np.array(
    [[0, 0, 0], [0, 2, 2], [2, 0, 2], [2, 2, 0], [1, 1, 1], [1, 3, 3], [3, 1, 3], [3, 3, 1]], dtype=float
)
TURN = np.array([[0.0, -1.0, 0.0], [1.0, 0.0, 0.0], [0.0, 0.0, 1.0]])


@pytest.fixture(scope="module")
def potential(silicon):
    return melta.Potential(silicon)


def silicon_cell(seed: int, size: float) -> Structure:
    """Eight atoms of the crystal, displaced at random by about size, Angstrom."""
    shifts = np.random.default_rng(seed).normal(0.0, size, (8, 3))
    return Structure(["Si"] * 8, LATTICE * np.eye(3), LATTICE / 4 * SITES + shifts)


def squeezed(structure: Structure, factor: float) -> Structure:
    """The same at another length of all."""
    return Structure(structure.labels, factor * structure.cell, factor * structure.positions)


@pytest.fixture(scope="module")
def frames():
    """Thirty structures that differ a little, and at place 17 a squeezed one."""
    structures = [silicon_cell(seed, 0.05) for seed in range(30)]
    structures[17] = squeezed(structures[17], 0.93)
    return structures


def places(potential, candidates, count, known=(), **conditions):
    return select.choose(potential, candidates, known, count, select.Conditions(**conditions))[0]


def run(*arguments) -> int:
    return convert.main(["select", *map(str, arguments)])


def write(path, structures):
    formats.write_extxyz(path, structures)
    return path


def test_the_farthest_comes_first(potential, frames):
    known = [silicon_cell(seed, 0.05) for seed in range(100, 110)]

    assert places(potential, frames, 1, known) == [17]
    assert places(potential, frames, 1) == [17]
    assert places(potential, frames, 1, [*known, frames[17]]) != [17]


def test_distances_are_those_of_a_plain_search(potential, frames):
    known = [silicon_cell(seed, 0.02) for seed in range(200, 203)]

    chosen, distances = select.choose(potential, frames, known, 6)

    def describe(structure):
        return potential.descriptors(structure.positions, structure.labels, structure.cell).astype(float)

    atoms = [describe(structure) for structure in frames]
    reference = np.concatenate([describe(structure) for structure in known])
    for place, distance in zip(chosen, distances):
        apart = [max(np.linalg.norm(reference - atom, axis=1).min() for atom in one) for one in atoms]
        assert np.argmax(apart) == place
        assert distance == pytest.approx(apart[place], rel=1e-9)
        reference = np.concatenate([reference, atoms[place]])
    assert distances == sorted(distances, reverse=True)


def test_the_order_of_the_frames_does_not_matter(potential, frames):
    def chosen_of(candidates, known):
        return [candidates[place].positions.tobytes() for place in places(potential, candidates, 8, known)]

    expected = chosen_of(frames, frames[3:5])
    for seed in range(5):
        order = np.random.default_rng(seed).permutation(len(frames))
        assert chosen_of([frames[place] for place in order], frames[3:5]) == expected


def test_neither_does_it_where_two_are_equally_far(potential):
    # Two alone are equally far from their mean.
    pair = [Structure(["Si"], length * np.eye(3), np.zeros((1, 3))) for length in (2.6, 2.8)]

    chosen = [candidates[places(potential, candidates, 1)[0]] for candidates in (pair, pair[::-1])]

    assert chosen[0] is chosen[1]


def test_a_shorter_choice_is_the_beginning_of_a_longer_one(potential, frames):
    assert places(potential, frames, 12)[:5] == places(potential, frames, 5)


def test_what_is_the_same_is_taken_once(potential, frames):
    one = frames[0]
    turned = Structure(one.labels, one.cell @ TURN, one.positions @ TURN)
    moved = Structure(one.labels, one.cell, one.positions + [0.7, 0.0, -1.1])
    swapped = Structure(one.labels, one.cell, one.positions[::-1])
    double = Structure(one.labels * 2, np.diag([2, 1, 1]) @ one.cell, np.concatenate([one.positions] * 2))
    double.positions[8:, 0] += LATTICE

    assert len(places(potential, [one, one, turned, moved, swapped, double], 6)) == 1
    assert places(potential, [one, turned, moved, swapped, double], 6, [one]) == []


def test_least_distance(potential, frames):
    distances = select.choose(potential, frames, [], 30)[1]
    limit = (distances[9] + distances[10]) / 2

    assert len(distances) == 30
    assert len(places(potential, frames, 30, min_distance=limit)) == 10


def test_spread(potential, frames):
    spreads = np.array([potential.spread(one.positions, one.labels, one.cell)[1].max() for one in frames])
    low, high = np.quantile(spreads, [0.3, 0.8])

    chosen = places(potential, frames, 30, min_spread=low, max_spread=high)

    assert sorted(chosen) == np.flatnonzero((spreads >= low) & (spreads <= high)).tolist()
    assert places(potential, frames, 30, min_spread=2 * spreads.max()) == []


def test_an_unknown_element_is_farther_than_all(charged):
    potential = melta.Potential(charged)
    sodium = [Structure(["Na"] * 2, 8.0 * np.eye(3), np.array([[0.0, 0, 0], [length, 0, 0]])) for length in (2.0, 3.0)]
    chlorine = Structure(["Cl"] * 2, 8.0 * np.eye(3), np.array([[0.0, 0, 0], [3.1, 0, 0]]))

    chosen, distances = select.choose(potential, [sodium[0], sodium[1], chlorine], [sodium[1]], 3)

    assert (chosen[0], distances[0]) == (2, np.inf)
    assert chosen[1:] == [0]


def test_known_elements_are_those_of_the_model(potential):
    oxygen = Structure(["O"], LATTICE * np.eye(3), np.zeros((1, 3)))
    with pytest.raises(melta.Error, match="does not know the element: O"):
        places(potential, [oxygen], 1)


def test_folders_of_geometries(silicon, frames, tmp_path, capsys):
    (tmp_path / "found").mkdir()
    for number, frame in enumerate(frames, start=1):
        formats.write_cards(tmp_path / "found" / f"geom.{number}", frame)
    (tmp_path / "found" / "other").write_text("")

    options = ["--model", silicon, "--known", EXAMPLE / "melta.train"]
    assert run(3, tmp_path / "found", tmp_path / "next" / "dft_geom", *options) == 0

    shown = capsys.readouterr().out.splitlines()
    assert shown[0] == f"read:      30 structures of {tmp_path}/found"
    assert shown[1].startswith("known:     ")
    assert re.fullmatch(r"chosen:    3 structures, the last at a distance of [\d.]+", shown[2])
    assert shown[3] == f"written:   3 structures to {tmp_path}/next/dft_geom"
    written = [next(formats.read(tmp_path / "next" / "dft_geom" / f"geom.{number}")) for number in (1, 2, 3)]
    np.testing.assert_allclose(written[0].positions, frames[17].positions, atol=1e-8)
    np.testing.assert_allclose(written[0].cell, frames[17].cell, atol=1e-8)
    assert written[0].labels == frames[17].labels
    assert not (tmp_path / "next" / "dft_geom" / "geom.4").exists()


def test_geometries_that_are_there_stay(silicon, frames, tmp_path, capsys):
    source = write(tmp_path / "in.extxyz", frames)
    (tmp_path / "geom.1").write_text("mine")

    assert run(3, source, tmp_path, "--model", silicon) == 1

    assert "there are files geom.N in this folder already" in capsys.readouterr().err
    assert (tmp_path / "geom.1").read_text() == "mine"


def test_data_with_energies(silicon, tmp_path):
    assert run(5, silicon / "melta.test", tmp_path / "melta.train", "--model", silicon) == 0

    energies = {one.energy for one in datafile.read(silicon / "melta.test")}
    chosen = [one.energy for one in datafile.read(tmp_path / "melta.train")]
    assert len(set(chosen)) == 5
    assert all(min(abs(energy - other) for other in energies) < 1e-9 for energy in chosen)


def test_dumps_of_lammps(silicon, frames, tmp_path):
    text = ""
    for step, frame in enumerate(frames):
        text += f"ITEM: TIMESTEP\n{step}\nITEM: NUMBER OF ATOMS\n8\nITEM: BOX BOUNDS pp pp pp\n"
        text += "".join(f"0.0 {edge}\n" for edge in np.diag(frame.cell))
        text += "ITEM: ATOMS id element x y z c_spread\n"
        for number, place in enumerate(frame.positions, start=1):
            text += f"{number} Si {place[0]} {place[1]} {place[2]} 0.1\n"
    (tmp_path / "md.dump").write_text(text)

    assert run(2, tmp_path / "md.dump", tmp_path / "out.extxyz", "--model", silicon) == 0

    written = list(formats.read(tmp_path / "out.extxyz"))
    assert [one.labels for one in written] == [["Si"] * 8] * 2
    np.testing.assert_allclose(written[0].positions, frames[17].positions, atol=1e-9)


@pytest.mark.parametrize(
    "options, complaint",
    [
        ([0, "in.extxyz", "out.extxyz"], "the number of structures is not positive."),
        ([1, "in.extxyz", "out.extxyz", "--min-distance", "-1"], "--min-distance is negative."),
        ([1, "in.extxyz", "out.extxyz", "--min-spread", "2", "--max-spread", "1"], "--min-spread is larger"),
        ([1, "in.extxyz", "out.extxyz", "--min-spread", "1e9"], "there are no structures left."),
        ([1, "in.extxyz", "out.extxyz", "--model", "."], "melta.data"),
        ([1, "nothing.extxyz", "out.extxyz"], "cannot read the file: nothing.extxyz"),
        ([1, "empty", "out.extxyz"], "there are no files geom.N in this folder: empty"),
        ([1, "in.extxyz", "melta.train"], "there is no energy"),
        ([1, "in.extxyz", "in.extxyz/out"], "cannot make the folder: in.extxyz/out"),
    ],
)
def test_what_cannot_be_done_is_said(silicon, frames, tmp_path, capsys, monkeypatch, options, complaint):
    monkeypatch.chdir(tmp_path)
    write(tmp_path / "in.extxyz", frames[:3])
    (tmp_path / "empty").mkdir()

    assert run("--model", silicon, *options) == 1

    assert complaint in capsys.readouterr().err
    assert not (tmp_path / "out.extxyz").exists() and not (tmp_path / "melta.train").exists()


def test_one_network_has_no_spread(silicon, frames, tmp_path):
    shutil.copytree(silicon, tmp_path / "one", ignore=shutil.ignore_patterns("melta.data*"))
    settings = (silicon / "melta.prop").read_text().replace("models 3", "models 1").replace("epochs 40", "epochs 2")
    (tmp_path / "one" / "melta.prop").write_text(settings)
    run_command(tmp_path / "one", "--train")

    with pytest.raises(DataError, match="one network, which has no spread"):
        places(melta.Potential(tmp_path / "one"), frames, 1, min_spread=0.1)
