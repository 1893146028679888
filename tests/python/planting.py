"""Plants faults into real data files, for the tests of the doctor."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Callable, Optional

import pytest
from conftest import EXAMPLE

from melta.doctor.findings import Rank

BOHR, RYDBERG, RYDBERG_PER_BOHR = 0.5291772, 13.605692, 25.711033
LABEL, POSITION, ENERGY, FORCE, CHARGE = 0, slice(1, 4), 4, slice(5, 8), 8

SHARED = os.environ.get("MELTA_SHARED_DATA", "")
BUNDLED = EXAMPLE / "melta.train"
SETS = ("CarbonChain", "InP", "Li", "Si", "Water")
# Structures for faults of one of them: displaced atoms, behind cells in which symmetry makes forces vanish.
ENOUGH, FIRST = 40, 120
needs_sets = pytest.mark.skipif(not SHARED or not Path(SHARED).is_dir(), reason="there are no published data sets here")


class Planter:
    """Lines of a data file; structures are numbered from 0, lines from 1."""

    def __init__(self, path: Path, most: Optional[int] = None, first: int = 0):
        """Takes `most` structures of a file, or all, from the number `first` on."""
        self.lines = path.read_text().splitlines()
        self.heads = []  # places of the heads, from 0
        place = 0
        while place < len(self.lines) and (most is None or len(self.heads) < first + most):
            self.heads.append(place)
            place += 4 + int(self.lines[place].split()[0])
        start = self.heads[first]
        self.lines = self.lines[start:place]
        self.heads = [head - start for head in self.heads[first:]]

    def __len__(self) -> int:
        return len(self.heads)

    def count(self, structure: int) -> int:
        return int(self.lines[self.heads[structure]].split()[0])

    def head_line(self, structure: int) -> int:
        return self.heads[structure] + 1

    def atom_line(self, structure: int, atom: int) -> int:
        return self.heads[structure] + 5 + atom

    def change(self, line: int, edit: Callable[[list], object]) -> None:
        """Lets edit(words) change the words of a line."""
        words = self.lines[line - 1].split()
        edit(words)
        self.lines[line - 1] = " ".join(map(str, words))

    def scale(self, line: int, where, factor: float) -> None:
        """Multiplies words of a line, one by its number or several by a slice."""

        def edit(words):
            chosen = where if isinstance(where, slice) else slice(where, where + 1)
            words[chosen] = [f"{float(word) * factor:.12g}" for word in words[chosen]]

        self.change(line, edit)

    def scale_energies(self, factor: float, structures=None) -> "Planter":
        for structure in self._chosen(structures):
            self.scale(self.head_line(structure), 2, factor)
        return self

    def scale_lengths(self, factor: float, structures=None) -> "Planter":
        for structure in self._chosen(structures):
            for row in range(3):
                self.scale(self.head_line(structure) + 1 + row, slice(0, 3), factor)
            self.scale_atoms(POSITION, factor, [structure])
        return self

    def scale_atoms(self, where, factor: float, structures=None) -> "Planter":
        for structure in self._chosen(structures):
            for atom in range(self.count(structure)):
                self.scale(self.atom_line(structure, atom), where, factor)
        return self

    def _chosen(self, structures):
        return range(len(self)) if structures is None else structures

    def write(self, path: Path, line_end: str = "\n") -> Path:
        path.write_bytes((line_end.join(self.lines) + line_end).encode())
        return path


def published(name: str) -> Path:
    return Path(SHARED) / name / "melta.train"


def errors(report) -> list:
    return [one for one in report.findings if one.rank == Rank.ERROR]


def of_kind(report, kind: str) -> list:
    return [one for one in report.findings if one.kind == kind]


def require(report, rank: Rank, kind: str, line: int, structure, *words: str):
    """The one finding of a kind, with its place and its words."""
    (found,) = of_kind(report, kind)
    assert (found.rank, found.line, found.structure) == (rank, line, structure)
    for word in words:
        assert word in found.found + " " + found.advice
    assert found.expected and found.advice
    return found
