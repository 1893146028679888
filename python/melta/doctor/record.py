"""A structure with the place in the file that it comes from."""

from __future__ import annotations

from collections import defaultdict
from dataclasses import dataclass, field
from functools import cached_property

import numpy as np

from .._core import atomic_number
from ..structure import Structure

SAME_CELL = 1.0e-3  # Angstrom


@dataclass
class Record:
    """A structure of a data file.

    index
        Number of the structure in the file, from 0.
    line
        Number of the line of its head, from 1.
    has_total
        Whether the head has a total energy.
    flag
        Whether the head says that the atomic energies mean something.
    rows
        (n, 12), the numbers behind the labels in the units of the file: position, energy, force, charge, share of
        the charges in the energy and in the force.
    """

    index: int
    line: int
    structure: Structure
    has_total: bool
    flag: bool
    rows: np.ndarray = field(repr=False)

    @property
    def num_atoms(self) -> int:
        return len(self.structure.labels)

    @property
    def energy(self) -> float:
        """eV."""
        return float(self.structure.energy)

    @property
    def cell(self) -> np.ndarray:
        return self.structure.cell

    @property
    def positions(self) -> np.ndarray:
        return self.structure.positions

    @property
    def forces(self) -> np.ndarray:
        return self.structure.forces

    @cached_property
    def volume(self) -> float:
        """Angstrom^3, negative where the cell is left-handed."""
        return float(self.cell[0] @ self._crosses[0])

    @cached_property
    def inverse(self) -> np.ndarray:
        """(3, 3), of the cell. By hand: libraries of linear algebra wake their threads for so small a matrix."""
        return self._crosses.T / self.volume

    @cached_property
    def _crosses(self) -> np.ndarray:
        return np.cross(np.roll(self.cell, -1, axis=0), np.roll(self.cell, -2, axis=0))

    @cached_property
    def heights(self) -> np.ndarray:
        """(3,), distances between opposite faces of the cell, Angstrom; 0 where it has no volume."""
        areas = np.linalg.norm(self._crosses, axis=1)
        return np.divide(abs(self.volume), areas, out=np.zeros(3), where=areas > 0.0)

    @cached_property
    def has_volume(self) -> bool:
        """Whether the cell is one in which atoms can be found."""
        return bool(np.isfinite(self.heights).all() and self.heights.min() > 1.0e-4)

    @cached_property
    def numbers(self) -> np.ndarray:
        """(n,), atomic numbers; 0 for labels that name no element."""
        known = {symbol: atomic_number(symbol) for symbol in set(self.structure.symbols())}
        return np.array([max(known[symbol], 0) for symbol in self.structure.symbols()], dtype=np.int64)

    @cached_property
    def formula(self) -> str:
        """Such as ``In32P32``."""
        symbols, counts = np.unique(self.structure.symbols(), return_counts=True)
        return "".join(f"{symbol}{count}" for symbol, count in zip(symbols, counts))

    @cached_property
    def largest_force(self) -> float:
        """eV/Angstrom."""
        return float(np.linalg.norm(self.forces, axis=1).max())

    def line_of(self, atom: int) -> int:
        """Number of the line of an atom, which is counted from 0."""
        return self.line + 4 + int(atom)


def find_groups(records: list[Record]) -> list[list[Record]]:
    """Structures with the same cell and the same atoms in the same order, those without volume left out."""
    groups = defaultdict(list)
    for record in records:
        if record.has_volume:
            key = np.rint(record.cell / SAME_CELL).astype(np.int64).tobytes()
            groups[(tuple(record.structure.labels), key)].append(record)
    return list(groups.values())
