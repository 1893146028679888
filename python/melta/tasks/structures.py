"""Structures by their names or from files."""

from __future__ import annotations

import os

import numpy as np
from ase import Atoms
from ase.build import bulk
from ase.io import read

from ..structure import DataError


def atoms_of(word: str) -> Atoms:
    """The structure of a file that ASE reads, or a crystal by its name: ``Si:diamond``, ``NaCl:rocksalt:5.64``.

    The number is the lattice constant in Angstrom; without it, it is that of the element in nature. Raises DataError.
    """
    if os.path.exists(word):
        try:
            return read(word)
        except Exception as error:  # its readers raise anything
            raise DataError(f"cannot read a structure: {word}: {error}") from error
    name, *more = word.split(":")
    if not 1 <= len(more) <= 2:
        raise DataError(f"there is no such file, and it is no name such as Si:diamond: {word}")
    try:
        return bulk(name, more[0], a=float(more[1]) if len(more) > 1 else None)
    except (ValueError, KeyError, RuntimeError) as error:
        raise DataError(f"cannot build the crystal: {word}: {error}") from error


def is_crystal(atoms: Atoms) -> bool:
    return bool(atoms.pbc.all()) and atoms.cell.rank == 3


def require_crystal(atoms: Atoms) -> None:
    if not is_crystal(atoms):
        raise DataError("the structure is not periodic in all directions.")


def repeats(atoms: Atoms, length: float, only_odd: bool = False) -> tuple[int, int, int]:
    """How often the cell stands in each direction, so that images are at least ``length`` apart, Angstrom."""
    heights = 1.0 / np.linalg.norm(np.linalg.inv(atoms.cell.array), axis=0)
    counts = np.maximum(1, np.ceil(length / heights - 1e-6).astype(int))
    if only_odd:
        counts += 1 - counts % 2
    return tuple(int(count) for count in counts)


def supercell(atoms: Atoms, length: float) -> Atoms:
    """The atoms repeated until images are so far apart, with their calculator."""
    require_crystal(atoms)
    found = atoms.repeat(repeats(atoms, length))
    found.calc = atoms.calc
    return found


def lattice_text(atoms: Atoms) -> str:
    """Lengths and, where they are no right ones, angles of the conventional cell, such as ``FCC a 5.4034``."""
    try:
        lattice = atoms.cell.get_bravais_lattice(eps=2e-3)
    except RuntimeError:  # no lattice within the tolerance
        return "a b c alpha beta gamma " + " ".join(f"{value:.4f}" for value in atoms.cell.cellpar())
    return f"{lattice.name} " + " ".join(f"{name} {value:.4f}" for name, value in lattice.vars().items())
