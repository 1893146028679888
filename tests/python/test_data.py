"""Data files and other formats: what goes in comes out."""

from __future__ import annotations

import os
import tempfile
from pathlib import Path

import ase.io
import numpy as np
import pytest
from ase import Atoms
from ase.calculators.singlepoint import SinglePointCalculator
from conftest import EXAMPLE, salt
from hypothesis import given, settings
from hypothesis import strategies as st
from hypothesis.extra.numpy import arrays

from melta import datafile, formats
from melta.structure import ARRAYS, DataError, Structure, symbol_of

# The same examples each time, and nothing left behind.
settings.register_profile("here", deadline=None, database=None, derandomize=True)
settings.load_profile("here")

SHARED = os.environ.get("MELTA_SHARED_DATA", "")

# ---------------------------------------------------------------------------------------------
# Round trips
# ---------------------------------------------------------------------------------------------


def numbers(shape, limit=100.0):
    # What is written as a number that is not normal any more would come back as another.
    values = st.floats(-limit, limit).map(lambda value: value if abs(value) > 1e-200 else 0.0)
    return arrays(np.float64, shape, elements=values)


def maybe(strategy):
    return st.none() | strategy


@st.composite
def structures(draw, labels=("Si", "O", "H", "Pu")):
    count = draw(st.integers(1, 5))
    return Structure(
        labels=draw(st.lists(st.sampled_from(labels), min_size=count, max_size=count)),
        cell=np.diag(draw(arrays(np.float64, 3, elements=st.floats(1.0, 50.0)))) + draw(numbers((3, 3), 0.3)),
        positions=draw(numbers((count, 3))),
        energy=draw(st.floats(-1e5, 1e5).filter(lambda value: value == 0.0 or abs(value) > 1e-200)),
        forces=draw(numbers((count, 3))),
        energies=draw(maybe(numbers(count))),
        stress=draw(maybe(numbers(6, 1.0))),
        charges=draw(maybe(numbers(count, 4.0))),
        coulomb_energies=draw(maybe(numbers(count))),
        coulomb_forces=draw(maybe(numbers((count, 3)))),
    )


def require_same(found: Structure, expected: Structure, rtol=1e-13, atol=0.0) -> None:
    assert list(found.labels) == list(expected.labels)
    for name in ARRAYS:
        value, other = getattr(found, name), getattr(expected, name)
        if name in ("charges", "coulomb_energies", "coulomb_forces"):
            # Zeros say that they are not known.
            value = None if value is None or not np.any(value) else value
            other = None if other is None or not np.any(other) else other
        assert (value is None) == (other is None), name
        if value is not None:
            np.testing.assert_allclose(value, other, rtol=rtol, atol=atol, err_msg=name)


@settings(max_examples=60)
@given(st.lists(structures(labels=("Si", "Fe1", "Fe2", "O_x")), min_size=1, max_size=3))
def test_data_file_round_trip(listed):
    with tempfile.TemporaryDirectory() as directory:
        path = Path(directory) / "melta.train"
        assert datafile.write(path, listed) == len(listed)

        found = list(datafile.read(path))

        assert len(found) == len(listed)
        for one, other in zip(found, listed):
            require_same(one, other)
        assert os.listdir(directory) == ["melta.train"]


@settings(max_examples=60)
@given(st.lists(structures(), min_size=1, max_size=3))
def test_extended_xyz_round_trip(listed):
    with tempfile.TemporaryDirectory() as directory:
        path = Path(directory) / "data.extxyz"
        formats.write_extxyz(path, listed)

        found = list(formats.read(path))

        assert len(found) == len(listed)
        for one, other in zip(found, listed):
            require_same(one, other, rtol=1e-12, atol=1e-14)


@settings(max_examples=200)
@given(st.text(max_size=300) | st.lists(st.text("0123456789.e-+ \nSi", max_size=60)).map("\n".join))
def test_any_text_is_read_or_refused(text):
    with tempfile.TemporaryDirectory() as directory:
        path = Path(directory) / "melta.train"
        path.write_text(text, encoding="utf-8")
        try:
            for structure in datafile.read(path):
                assert len(structure.positions) == len(structure.labels)
        except DataError:
            pass


# ---------------------------------------------------------------------------------------------
# Data files
# ---------------------------------------------------------------------------------------------

BLOCK = """\
2 0 -15.8321 1e-4 2e-4 3e-4 4e-4 5e-4 6e-4
5.13 5.13 0.0
5.13 0.0  5.13
0.0  5.13 5.13
Si 0.000 0.000 0.000  0.0   0.5 -0.0034 0.0007  0.0  0.0  0.0 0.0 0.0
Si 2.580 2.560 2.565  0.0  -0.5  0.0034 -0.0007 0.0  0.0  0.0 0.0 0.0 more
"""


def read_text(tmp_path, text):
    path = tmp_path / "melta.train"
    path.write_text(text)
    return list(datafile.read(path))


def test_units_of_a_data_file(tmp_path):
    (one,) = read_text(tmp_path, BLOCK)

    assert one.energy == pytest.approx(-15.8321 * 13.6056919, rel=1e-8)
    assert one.cell[0, 0] == pytest.approx(5.13 * 0.5291772, rel=1e-7)
    assert one.positions[1, 0] == pytest.approx(2.58 * 0.5291772, rel=1e-7)
    assert one.forces[0, 0] == pytest.approx(0.5 * 25.711033, rel=1e-7)
    np.testing.assert_allclose(one.stress, np.arange(1, 7) * 1e-4 * 91.816, rtol=1e-4)
    assert one.energies is None
    assert one.charges is None


def test_heads(tmp_path):
    alone, flagged, short = read_text(
        tmp_path,
        BLOCK.replace("2 0 -15.8321 1e-4 2e-4 3e-4 4e-4 5e-4 6e-4", "2").replace("  0.0   0.5", " -1.5 0.5")
        + BLOCK.replace("2 0 ", "2 1 ")
        + BLOCK.replace(" 6e-4", ""),
    )

    assert alone.energy == pytest.approx(-1.5 * 13.6056919, rel=1e-8)
    assert alone.energies is not None
    assert flagged.energies is not None
    assert short.stress is None


@pytest.mark.parametrize("end", ["", "\n" + BLOCK, "# end\n" + BLOCK])
def test_end_of_a_data_file(tmp_path, end):
    assert len(read_text(tmp_path, BLOCK + end)) == 1


@pytest.mark.parametrize(
    "old, new, message",
    [
        ("2 0 -15", "0 0 -15", "the number of atoms is not positive: .*melta.train:1$"),
        ("2 0 -15", "nan 0 -15", "the number of atoms is not positive"),
        ("2 0 -15", "3 0 -15", "expected 13 fields, found 0: .*melta.train:7$"),
        ("5.13 5.13 0.0", "5.13 5.13", "expected a cell vector: .*:2$"),
        ("5.13 5.13 0.0", "5.13 5.13 x", "expected numbers: .*:2$"),
        ("0.0034 -0.0007 0.0", "0.0034 -0.0007 y", "expected numbers: .*:6$"),
        ("-15.8321", "nan", "energy has a number that is not finite: .*:1$"),
        ("2.580", "inf", "positions has a number that is not finite"),
    ],
)
def test_broken_data_files(tmp_path, old, new, message):
    with pytest.raises(DataError, match=message):
        read_text(tmp_path, BLOCK.replace(old, new, 1))


def test_what_is_not_written(tmp_path):
    path = tmp_path / "melta.train"
    path.write_text("old")
    for change, message in (
        ({"energy": None}, "no energy"),
        ({"forces": None}, "no energy"),
        ({"energy": float("nan")}, "not finite"),
        ({"labels": ["Na"] * 7 + ["Much too long"]}, "not usable"),
    ):
        structure = salt(1)
        for name, value in change.items():
            setattr(structure, name, value)
        with pytest.raises(DataError, match=message):
            datafile.write(path, [salt(2), structure])
    assert path.read_text() == "old"
    assert os.listdir(tmp_path) == ["melta.train"]
    with pytest.raises(DataError, match="cannot write the file"):
        datafile.write(tmp_path / "none" / "melta.train", [salt(1)])
    with pytest.raises(DataError, match="cannot read the file"):
        list(datafile.read(tmp_path / "none"))


@pytest.mark.parametrize("label, symbol", [("Fe2", "Fe"), ("O_1", "O"), ("Si", "Si"), ("Sixy", "Si"), ("H-", "H")])
def test_symbols(label, symbol):
    assert symbol_of(label) == symbol


# ---------------------------------------------------------------------------------------------
# The files of others
# ---------------------------------------------------------------------------------------------


def test_example_is_read():
    found = list(formats.read(EXAMPLE / "melta.test"))

    assert len(found) == 52
    assert all(one.labels == ["Si"] * 8 for one in found)


@pytest.mark.skipif(not SHARED or not Path(SHARED).is_dir(), reason="there are no published data sets here")
@pytest.mark.parametrize("name", ["Si", "Li"])
@pytest.mark.parametrize("kind", ["train", "test"])
def test_published_sets_agree_with_extended_xyz(name, kind):
    folder = Path(SHARED) / name
    ours = list(formats.read(folder / f"melta.{kind}.stress"))
    theirs = list(formats.read(folder / f"{kind}.extxyz"))

    assert len(ours) == len(theirs) > 0
    assert {one.group for one in theirs} > {""} or all(one.group for one in theirs)
    for one, other in zip(ours, theirs):
        # Lengths were made with a Bohr of more digits than ours; numbers stand there with nine.
        require_same(one, other, rtol=5e-8, atol=2e-7)


def with_results(**results):
    atoms = Atoms("SiO", [[0, 0, 0], [1.6, 0, 0.1]], cell=[[4, 0, 0], [0.5, 5, 0], [0, 0.1, 6]], pbc=True)
    atoms.calc = SinglePointCalculator(atoms, **results)
    return atoms


RESULTS = {
    "energy": -1.5,
    "forces": np.array([[0.1, 0.2, 0.3], [-0.1, -0.2, -0.3]]),
    "stress": np.array([0.01, 0.02, 0.03, 0.04, 0.05, 0.06]),
}


@pytest.mark.parametrize("name", ["a.traj", "a.extxyz", "a.db", "a.json"])
def test_formats_of_ase(tmp_path, name):
    for _ in range(2):
        atoms = with_results(**RESULTS)
        ase.io.write(tmp_path / name, atoms, append=name.endswith("db") and (tmp_path / name).exists())

    found = list(formats.read(tmp_path / name))

    one = found[-1]
    assert one.labels == ["Si", "O"]
    assert one.energy == pytest.approx(-1.5)
    np.testing.assert_allclose(one.cell, atoms.cell, atol=1e-7)
    np.testing.assert_allclose(one.forces, RESULTS["forces"], atol=1e-7)
    np.testing.assert_allclose(one.stress, RESULTS["stress"], atol=1e-7)


VASPRUN = """\
<?xml version="1.0" encoding="ISO-8859-1"?>
<modeling>
 <generator><i name="version" type="string">5.4.4 </i></generator>
 <kpoints><varray name="kpointlist"><v> 0 0 0 </v></varray><varray name="weights"><v> 1 </v></varray></kpoints>
 <atominfo>
  <atoms> 2 </atoms><types> 2 </types>
  <array name="atoms">
   <set><rc><c>Si</c><c>1</c></rc><rc><c>O </c><c>2</c></rc></set>
  </array>
 </atominfo>
 <structure name="initialpos">
  <crystal><varray name="basis"><v> 4.0 0.0 0.0 </v><v> 0.0 5.0 0.0 </v><v> 0.0 0.0 6.0 </v></varray></crystal>
  <varray name="positions"><v> 0.0 0.0 0.0 </v><v> 0.25 0.5 0.5 </v></varray>
 </structure>
 <calculation>
  <scstep><energy><i name="e_fr_energy"> -9.5 </i><i name="e_wo_entrp"> -9.4 </i><i name="e_0_energy"> -9.45 </i></energy></scstep>
  <structure>
   <crystal><varray name="basis"><v> 4.0 0.0 0.0 </v><v> 0.0 5.0 0.0 </v><v> 0.0 0.0 6.0 </v></varray></crystal>
   <varray name="positions"><v> 0.0 0.0 0.0 </v><v> 0.25 0.5 0.5 </v></varray>
  </structure>
  <varray name="forces"><v> 0.1 0.2 0.3 </v><v> -0.1 -0.2 -0.3 </v></varray>
  <varray name="stress"><v> 16.02176634 0.0 3.0 </v><v> 0.0 -10.0 0.0 </v><v> 3.0 0.0 20.0 </v></varray>
  <energy><i name="e_fr_energy"> -9.5 </i><i name="e_wo_entrp"> -9.4 </i><i name="e_0_energy"> -9.45 </i></energy>
 </calculation>
</modeling>
"""


def test_vasprun(tmp_path):
    (tmp_path / "vasprun.xml").write_text(VASPRUN)

    (one,) = formats.read(tmp_path / "vasprun.xml")

    assert one.labels == ["Si", "O"]
    assert one.energy == pytest.approx(-9.5)  # the one of the forces
    np.testing.assert_allclose(one.positions[1], [1.0, 2.5, 3.0])
    np.testing.assert_allclose(one.forces[0], [0.1, 0.2, 0.3])
    # kbar, positive under pressure, in the file.
    np.testing.assert_allclose(one.stress[:2], [-0.01, 10.0 / 1602.176634], rtol=1e-5)
    (sigma,) = formats.read(tmp_path / "vasprun.xml", formats.Keys(energy="energy"))
    assert sigma.energy == pytest.approx(-9.45)


OUTCAR = """\
 vasp.5.4.4.18Apr17 complex

 POTCAR:    PAW_PBE Si 05Jan2001
 POTCAR:    PAW_PBE Si 05Jan2001
   TITEL  = PAW_PBE Si 05Jan2001
   VRHFIN =Si: s2p2
   ions per type =               2
   ISPIN  =      1    spin polarized calculation?
   NELECT =       8.0000    total number of electrons
 E-fermi :   5.0
--------------------------------------- Iteration      1(   1)  ---------------------------------------
  FORCE on cell =-STRESS in cart. coord.  units (eV):
  in kB      16.02177   -10.00000    20.00000     1.00000     2.00000     3.00000
  external pressure =       -0.10 kB  Pullay stress =        0.00 kB
      direct lattice vectors                 reciprocal lattice vectors
     4.000000000  0.000000000  0.000000000     0.250000000  0.000000000  0.000000000
     0.000000000  5.000000000  0.000000000     0.000000000  0.200000000  0.000000000
     0.000000000  0.000000000  6.000000000     0.000000000  0.000000000  0.166666667

 POSITION                                       TOTAL-FORCE (eV/Angst)
 -----------------------------------------------------------------------------------
      0.00000      0.00000      0.00000         0.100000      0.200000      0.300000
      1.00000      2.50000      3.00000        -0.100000     -0.200000     -0.300000
 -----------------------------------------------------------------------------------
    total drift:                                0.000000      0.000000      0.000000

  FREE ENERGIE OF THE ION-ELECTRON SYSTEM (eV)
  ---------------------------------------------------
  free  energy   TOTEN  =        -9.50000000 eV

  energy  without entropy=       -9.40000000  energy(sigma->0) =       -9.45000000
"""


def test_outcar(tmp_path):
    (tmp_path / "OUTCAR").write_text(OUTCAR)

    (one,) = formats.read(tmp_path / "OUTCAR")

    assert one.labels == ["Si", "Si"]
    assert one.energy == pytest.approx(-9.5)  # the one of the forces
    np.testing.assert_allclose(one.forces[0], [0.1, 0.2, 0.3])
    # kbar, positive under pressure and with xy, yz, zx behind the diagonal, in the file.
    np.testing.assert_allclose(one.stress * 1602.1766, [-16.02177, 10.0, -20.0, -2.0, -3.0, -1.0], rtol=1e-5)


def test_names_of_other_people(tmp_path):
    (tmp_path / "a.extxyz").write_text(
        "1\n"
        'Lattice="4 0 0 0 5 0 0 0 6" Properties=species:S:1:pos:R:3:dft_force:R:3 dft_energy=-3 '
        'virial="1 2 3 2 4 5 3 5 6" set=bulk pbc="T T T"\n'
        "Si 0 0 0 1 2 3\n"
    )

    (one,) = formats.read(tmp_path / "a.extxyz", formats.Keys(energy="dft_energy", forces="dft_force", group="set"))

    assert one.energy == -3.0
    assert one.group == "bulk"
    np.testing.assert_array_equal(one.forces, [[1.0, 2.0, 3.0]])
    np.testing.assert_allclose(one.stress, -np.array([1, 4, 6, 5, 3, 2]) / 120.0)


def test_clusters_get_a_cell_and_no_stress():
    atoms = with_results(**RESULTS)
    atoms.pbc = (True, False, True)

    found = formats.from_atoms(atoms, formats.Keys(vacuum=9.0))

    assert found.stress is None
    np.testing.assert_array_equal(found.cell[[0, 2]], atoms.cell.array[[0, 2]])
    assert np.linalg.norm(found.cell[1]) >= 9.0
    np.testing.assert_allclose(found.cell[[0, 2]] @ found.cell[1], 0.0, atol=1e-12)


CARDS = """\
CELL_PARAMETERS {angstrom}
  5.43000000   0.00000000   0.00000000
  0.00000000   5.43000000   0.00000000
  0.00000000   0.00000000   5.43000000

ATOMIC_POSITIONS {angstrom}
  Si       0.000000   0.000000   0.000000
  O        1.357500   1.357500   1.357500
"""
MOVIE = """\
2
Lattice:   5.42935800   0.00000000   0.00000000   0.00000000   5.42935800   0.00000000   0.00000000   0.00000000   5.4
  Si       0.000000   0.000000   0.000000
  O        1.365277   1.354694   1.357340
"""


def test_cards(tmp_path):
    (tmp_path / "geom.1").write_text(CARDS)

    (one,) = formats.read(tmp_path / "geom.1")

    assert one.labels == ["Si", "O"]
    assert one.cell[1, 1] == 5.43
    assert one.positions[1, 2] == 1.3575
    assert one.energy is None and one.forces is None


def test_movie(tmp_path):
    (tmp_path / "metro_1.xyz").write_text(MOVIE * 3)

    found = list(formats.read(tmp_path / "metro_1.xyz"))

    assert len(found) == 3
    assert found[2].labels == ["Si", "O"]
    assert found[2].cell[2, 2] == 5.4
    assert found[2].positions[1, 0] == 1.365277


@pytest.mark.parametrize(
    "name, text",
    [
        ("metro_1.xyz", MOVIE + MOVIE[:150]),
        ("metro_1.xyz", MOVIE + MOVIE[:-30]),
        ("geom.1", CARDS.replace("{angstrom}", "{bohr}")),
        ("geom.1", CARDS[:80]),
        ("a.extxyz", "2\n\nSi 0 0 0\n"),
        ("a.unknown", "what is this"),
        ("a.traj", "- of Ulm"),
        ("vasprun.xml", VASPRUN[:200]),
        ("empty", ""),
    ],
)
def test_files_that_cannot_be_read(tmp_path, name, text):
    (tmp_path / name).write_text(text)

    with pytest.raises(DataError, match=name):
        list(formats.read(tmp_path / name))
