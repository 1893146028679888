"""How far structures are from each other, and which of them are farthest.

Atoms are compared by their descriptors, each with those of its own element: an atom is as far from known
structures as from the nearest of their atoms, and a structure as far as its farthest atom. So a structure that has
one atom in a new neighbourhood is far, and one that is a rotation, a repetition or another order of known atoms has
the distance 0.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Sequence

import numpy as np

# Numbers of a block of distances that are made at once.
BLOCK = 1 << 23


@dataclass
class Environments:
    """The atoms of some structures, structure after structure.

    descriptors
        (n, numDescriptors), as the networks see them.
    elements
        (n,), indices of elements.
    starts
        (numStructures + 1,), where the atoms of each structure begin; the last is n.
    """

    descriptors: np.ndarray
    elements: np.ndarray
    starts: np.ndarray

    @classmethod
    def of(cls, structures: Sequence[tuple]) -> "Environments":
        """From the descriptors (n, numDescriptors) and the elements (n,) of each structure; at least one."""
        descriptors = np.concatenate([one for one, _ in structures]).astype(np.float64)
        elements = np.concatenate([one for _, one in structures])
        starts = np.cumsum([0] + [len(one) for _, one in structures])
        return cls(descriptors, elements, starts)

    def __len__(self) -> int:
        return len(self.starts) - 1

    def one(self, place: int) -> "Environments":
        """The structure at a place, alone."""
        atoms = slice(self.starts[place], self.starts[place + 1])
        return Environments(self.descriptors[atoms], self.elements[atoms], np.array([0, atoms.stop - atoms.start]))


class Distances:
    """How far structures that may be chosen are from all that is known, which grows."""

    def __init__(self, candidates: Environments):
        self.candidates = candidates
        self._squares = np.full(len(candidates.elements), np.inf)
        self._lengths = (candidates.descriptors**2).sum(axis=1)

    def add(self, known: Environments) -> None:
        """Makes these structures known, too."""
        for element in np.unique(known.elements):
            mine = np.flatnonzero(self.candidates.elements == element)
            if not len(mine):
                continue
            theirs = known.descriptors[known.elements == element]
            for block in np.array_split(theirs, 1 + len(theirs) * len(mine) // BLOCK):
                self._add_block(mine, block)

    def _add_block(self, mine: np.ndarray, theirs: np.ndarray) -> None:
        products = self.candidates.descriptors[mine] @ theirs.T
        squares = (theirs**2).sum(axis=1) - 2.0 * products + self._lengths[mine, None]
        if squares.size:
            self._squares[mine] = np.minimum(self._squares[mine], squares.min(axis=1))

    def of_structures(self) -> np.ndarray:
        """(numStructures,); infinite where an element of a structure is not known at all."""
        squares = np.maximum.reduceat(self._squares, self.candidates.starts[:-1])
        return np.sqrt(np.maximum(squares, 0.0))

    def from_the_middle(self) -> np.ndarray:
        """(numStructures,): of the atom that is farthest from the mean of its element, for a first choice."""
        squares = np.zeros(len(self._squares))
        for element in np.unique(self.candidates.elements):
            mine = self.candidates.elements == element
            values = self.candidates.descriptors[mine]
            squares[mine] = ((values - values.mean(axis=0)) ** 2).sum(axis=1)
        return np.sqrt(np.maximum.reduceat(squares, self.candidates.starts[:-1]))


def choose_farthest(
    candidates: Environments, known: Sequence[Environments], wanted: int, least: float
) -> tuple[list[int], list[float]]:
    """The places of up to ``wanted`` candidates, and how far each was from all that was known or chosen before.

    Each is the farthest that is left; of several the first. It ends early where none is left that is farther than
    ``least``. The first so many of a longer choice are the shorter one.
    """
    distances = Distances(candidates)
    for one in known:
        distances.add(one)
    places: list[int] = []
    lengths: list[float] = []
    while len(places) < wanted:
        left = distances.of_structures()
        left[places] = -1.0
        unknown = np.isinf(left)
        place = int(np.argmax(np.where(unknown, distances.from_the_middle(), -1.0) if unknown.any() else left))
        if not left[place] > least:
            break
        places.append(place)
        lengths.append(float(left[place]))
        distances.add(candidates.one(place))
    return places, lengths
