"""Structures from the files of others, and to extended XYZ.

``read`` knows what the command itself writes (data files, ``dft_geom/geom.N``, movies) by its contents, and
leaves the rest to ASE.
"""

from __future__ import annotations

import os
from typing import Iterable, Iterator, Optional

import numpy as np

from . import datafile
from ._box import Box
from .structure import DataError, Structure

DEFAULT_GROUP = "config_type"

# Values of atoms in extended XYZ, and how many numbers they are.
COLUMNS = {"forces": 3, "energies": 1, "charges": 1, "coulomb_energies": 1, "coulomb_forces": 3}


class Keys:
    """Under which names reference values are looked for; None: the usual ones.

    vacuum: how far a cluster's images are kept apart, Angstrom.
    """

    def __init__(self, energy=None, forces=None, stress=None, charges=None, group=DEFAULT_GROUP, vacuum=12.0):
        self.energy = energy
        self.forces = forces
        self.stress = stress
        self.charges = charges
        self.group = group
        self.vacuum = vacuum


def read(path, keys: Optional[Keys] = None) -> Iterator[Structure]:
    """The structures of a file of any known format. Raises DataError for files that cannot be read."""
    keys = keys or Keys()
    first = _first_lines(path, 5)
    if _is_data_file(first):
        return datafile.read(path)
    if first and first[0].split()[:1] == ["CELL_PARAMETERS"]:
        return _read_cards(path)
    if len(first) > 1 and first[1].startswith("Lattice:"):
        return _read_movie(path)
    return _read_by_ase(path, keys)


def _first_lines(path, count: int) -> list[str]:
    try:
        with open(path, "rb") as file:
            return [file.readline(100000).decode("utf-8", "replace") for _ in range(count)]
    except IsADirectoryError:
        return []
    except OSError as error:
        raise DataError(f"cannot read the file: {path}: {error.strerror}") from error


def _are_numbers(words: list[str]) -> bool:
    try:
        return all(np.isfinite(float(word)) for word in words)
    except ValueError:
        return False


def _is_data_file(lines: list[str]) -> bool:
    """Whether a head, three cell vectors and an atom are there."""
    words = [line.split() for line in lines]
    return (
        len(words) == 5
        and len(words[0]) > 0
        and words[0][0].isdigit()
        and all(len(vector) >= 3 and _are_numbers(vector[:3]) for vector in words[1:4])
        and len(words[4]) >= datafile.FIELDS
        and _are_numbers(words[4][1 : datafile.FIELDS])
    )


def _rows(lines: list[list[str]], first: int, name: str) -> np.ndarray:
    try:
        return np.array([[float(word) for word in words[first : first + 3]] for words in lines]).reshape(-1, 3)
    except ValueError as error:
        raise DataError(f"expected three numbers: {name}") from error


def _read_cards(path) -> Iterator[Structure]:
    with open(path, encoding="utf-8", errors="replace") as file:
        lines = [words for line in file if (words := line.split())]
    place = next((i for i, words in enumerate(lines) if words[0] == "ATOMIC_POSITIONS"), None)
    units = {words[-1].strip("{}()").lower() for words in lines if words[0] in ("CELL_PARAMETERS", "ATOMIC_POSITIONS")}
    if place != 4 or units != {"angstrom"}:
        raise DataError(f"expected a cell and atoms in Angstrom: {path}")
    yield _plain(lines[place + 1 :], _rows(lines[1:4], 0, os.fspath(path)), os.fspath(path))


def _read_movie(path) -> Iterator[Structure]:
    with open(path, encoding="utf-8", errors="replace") as file:
        frame = 0
        while words := file.readline().split():
            name = f"{path}, frame {frame}"
            cell = file.readline().split()
            if not words[0].isdigit() or cell[:1] != ["Lattice:"]:
                raise DataError(f"expected a number of atoms and a lattice: {name}")
            atoms = [file.readline().split() for _ in range(int(words[0]))]
            vectors = _rows([cell[1:4], cell[4:7], cell[7:10]], 0, name)
            yield _plain(atoms, vectors, name)
            frame += 1


def _plain(atoms: list[list[str]], cell: np.ndarray, name: str) -> Structure:
    """A structure without reference values; atoms are a label and three numbers each."""
    if cell.shape != (3, 3) or not atoms or any(len(words) < 4 for words in atoms):
        raise DataError(f"a cell or an atom is cut short: {name}")
    structure = Structure([words[0] for words in atoms], cell, _rows(atoms, 1, name), source=name)
    structure.require_finite()
    return structure


def _read_by_ase(path, keys: Keys) -> Iterator[Structure]:
    try:
        import ase.io
    except ImportError as error:
        raise DataError(f"this format needs ASE (Debian package python3-ase): {path}") from error
    frames = iter(ase.io.iread(os.fspath(path), index=":"))
    frame = 0
    while True:
        try:
            atoms = next(frames)
        except StopIteration:
            return
        except Exception as error:  # ASE has no common class for what its readers raise
            reason = str(error) or type(error).__name__
            raise DataError(f"cannot read the file: {path}, frame {frame}: {reason}") from error
        yield from_atoms(atoms, keys, f"{path}, frame {frame}")
        frame += 1


def from_atoms(atoms, keys: Optional[Keys] = None, name: str = "") -> Structure:
    """A structure from an ``ase.Atoms`` with the results of its calculator, in ASE's units.

    Without other names the energy is the one that the forces belong to (``free_energy``) where it is known.
    Directions that are not periodic get a cell vector that is long enough, and there is no stress then.
    """
    keys = keys or Keys()
    known = _known_values(atoms)
    energy = _first_of(known, [keys.energy] if keys.energy else ["free_energy", "energy"])
    forces = _first_of(known, [keys.forces] if keys.forces else ["forces"])
    charges = _first_of(known, [keys.charges] if keys.charges else ["charges", "initial_charges"])
    cell, stress = np.array(atoms.cell), None
    if atoms.pbc.all():
        stress = _stress_of(known, keys, cell)
    else:
        cell = Box(keys.vacuum).enclose(np.array(atoms.positions), cell, atoms.pbc)
    energies = known.get("energies")
    structure = Structure(
        labels=list(atoms.get_chemical_symbols()),
        cell=cell,
        positions=np.array(atoms.positions, dtype=float),
        energy=None if energy is None else float(energy),
        forces=_shaped(forces, (len(atoms), 3), "forces", name),
        energies=_shaped(energies, (len(atoms),), "energies", name),
        stress=_shaped(stress, (6,), "stress", name),
        charges=_shaped(charges, (len(atoms),), "charges", name),
        coulomb_energies=_shaped(known.get("coulomb_energies"), (len(atoms),), "coulomb_energies", name),
        coulomb_forces=_shaped(known.get("coulomb_forces"), (len(atoms), 3), "coulomb_forces", name),
        group=str(atoms.info.get(keys.group, "")),
        source=name,
    )
    structure.require_finite()
    return structure


def _known_values(atoms) -> dict:
    """Results of the calculator before what stands in the file under other names."""
    known = dict(atoms.info)
    known.update(atoms.arrays)
    if atoms.calc is not None:
        results = getattr(atoms.calc, "results", {})
        known.update({key: value for key, value in results.items() if value is not None})
    return known


def _first_of(known: dict, names: list[str]):
    return next((known[name] for name in names if known.get(name) is not None), None)


def _shaped(values, shape: tuple, what: str, name: str) -> Optional[np.ndarray]:
    if values is None:
        return None
    try:
        return np.array(values, dtype=float).reshape(shape)
    except (TypeError, ValueError) as error:
        raise DataError(f"{what} do not have the shape {shape}: {name}") from error


def _voigt(values) -> np.ndarray:
    values = np.asarray(values, dtype=float)
    if values.size == 9:
        full = values.reshape(3, 3)
        full = (full + full.T) / 2
        return full[[0, 1, 2, 1, 0, 0], [0, 1, 2, 2, 2, 1]]
    return values


def _stress_of(known: dict, keys: Keys, cell: np.ndarray):
    stress = known.get(keys.stress or "stress")
    if stress is not None:
        return _voigt(stress)
    if keys.stress is None and known.get("virial") is not None and np.size(known["virial"]) in (6, 9):
        return -_voigt(known["virial"]) / abs(np.linalg.det(cell))
    return None


def write_extxyz(path, structures: Iterable[Structure]) -> int:
    """Writes extended XYZ, over a file of that name when all are complete; returns how many structures."""
    return datafile.replace_file(path, (_frame(structure) for structure in structures))


def write_cards(path, structure: Structure) -> int:
    """Writes cell and atoms as the walks do (``dft_geom/geom.N``); returns 1."""
    structure.require_finite()
    lines = ["CELL_PARAMETERS {angstrom}"]
    lines += ["".join(f"{number:15.8f}" for number in vector) for vector in structure.cell]
    lines += ["", "ATOMIC_POSITIONS {angstrom}"]
    for label, position in zip(structure.labels, structure.positions):
        lines.append(f"  {label:<8}" + "".join(f"{number:15.8f}" for number in position))
    return datafile.replace_file(path, ["\n".join(lines) + "\n\n"])


def _frame(structure: Structure) -> str:
    structure.require_finite()
    symbols = structure.symbols()
    columns = [("pos:R:3", structure.positions)]
    for name, width in COLUMNS.items():
        if getattr(structure, name) is not None:
            columns.append((f"{name}:R:{width}", getattr(structure, name)))
    properties = ":".join(["species:S:1"] + [name for name, _ in columns])
    has_labels = symbols != list(structure.labels)
    if has_labels:
        properties += ":labels:S:1"
    numbers = np.column_stack([values for _, values in columns])
    lines = [str(len(symbols)), _comment(structure, properties)]
    for i, (symbol, row) in enumerate(zip(symbols, numbers)):
        end = f" {structure.labels[i]}" if has_labels else ""
        lines.append(f"{symbol} {_join(row)}{end}")
    return "\n".join(lines) + "\n"


def _comment(structure: Structure, properties: str) -> str:
    parts = [f'Lattice="{_join(structure.cell.ravel())}"', f"Properties={properties}"]
    if structure.group:
        parts.append('{}="{}"'.format(DEFAULT_GROUP, structure.group.replace('"', "'")))
    if structure.energy is not None:
        parts.append(f"energy={structure.energy:.15g}")
    if structure.stress is not None:
        parts.append(f'stress="{_join(structure.stress[[0, 5, 4, 5, 1, 3, 4, 3, 2]])}"')
    return " ".join(parts + ['pbc="T T T"'])


def _join(numbers: Iterable[float]) -> str:
    return " ".join(f"{number:.15g}" for number in numbers)
