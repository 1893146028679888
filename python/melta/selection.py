"""Which structures are kept, and which of them are for testing."""

from __future__ import annotations

import random
from collections import Counter
from dataclasses import dataclass
from typing import Iterable, Iterator, Optional

import numpy as np

from .structure import Structure

# Structures count as the same where no number differs by more than about this, Angstrom.
RESOLUTION = 1.0e-5


@dataclass
class Filters:
    """Conditions for a structure; counts of what they left out are in ``dropped``.

    max_force
        eV/Angstrom, of the force on any atom; None: any.
    every
        The first of each so many structures of a file is kept.
    elements
        Symbols that may occur; None: all.
    needs_values
        Whether structures without energy or forces are left out.
    """

    max_force: Optional[float] = None
    every: int = 1
    elements: Optional[frozenset] = None
    needs_values: bool = True
    keeps_duplicates: bool = False

    def __post_init__(self):
        self.dropped: Counter = Counter()
        self._seen: set = set()

    def keep(self, structures: Iterable[Structure]) -> Iterator[Structure]:
        """Those of one file that are kept."""
        for place, structure in enumerate(structures):
            reason = "skipped by --every" if place % self.every else self._reason_against(structure)
            if reason:
                self.dropped[reason] += 1
            else:
                yield structure

    def _reason_against(self, structure: Structure) -> str:
        if self.needs_values and (structure.energy is None or structure.forces is None):
            return "without energy or forces"
        if self.elements is not None and not self.elements.issuperset(structure.symbols()):
            return "with other elements"
        if self.max_force is not None and structure.forces is not None:
            if np.linalg.norm(structure.forces, axis=1).max() > self.max_force:
                return "with larger forces"
        if not self.keeps_duplicates:
            key = fingerprint(structure)
            if key in self._seen:
                return "that stood there before"
            self._seen.add(key)
        return ""


def fingerprint(structure: Structure) -> tuple:
    """Equal for structures with the same atoms in the same order at the same places."""
    cell = np.rint(structure.cell / RESOLUTION).astype(np.int64)
    positions = np.rint(structure.positions / RESOLUTION).astype(np.int64)
    return (tuple(structure.labels), cell.tobytes(), positions.tobytes())


def split_at_random(structures: list, fraction: float, seed: int) -> tuple[list, list]:
    """Training and testing structures, in their order. Of two or more at least one is for each."""
    count = round(fraction * len(structures))
    if len(structures) > 1 and 0.0 < fraction < 1.0:
        count = min(max(count, 1), len(structures) - 1)
    chosen = set(random.Random(seed).sample(range(len(structures)), count))
    return _divide(structures, [i in chosen for i in range(len(structures))])


def split_by_groups(structures: list, fraction: float, seed: int) -> tuple[list, list]:
    """The same with whole groups: they are for testing, in an order by the seed, while they fit the fraction."""
    sizes = Counter(structure.group for structure in structures)
    order = sorted(sizes)
    random.Random(seed).shuffle(order)
    room, chosen = fraction * len(structures), set()
    for group in order:
        if sizes[group] <= room:
            chosen.add(group)
            room -= sizes[group]
    return pick_groups(structures, chosen)


def pick_groups(structures: list, groups: Iterable[str]) -> tuple[list, list]:
    """The same with the testing groups by their names."""
    chosen = set(groups)
    return _divide(structures, [structure.group in chosen for structure in structures])


def _divide(structures: list, is_test: list) -> tuple[list, list]:
    training = [structure for structure, test in zip(structures, is_test) if not test]
    testing = [structure for structure, test in zip(structures, is_test) if test]
    return training, testing
