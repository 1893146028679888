"""Pairs of atoms of a periodic structure."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional

import numpy as np
from scipy.spatial import cKDTree

from .record import Record

# Of a structure, for the sake of memory; flat cells have more.
MOST_IMAGES, MOST_PAIRS = 2_000_000, 4_000_000


@dataclass
class Pairs:
    """Pairs within a distance, images of atoms included; each stands there from both sides.

    first, second
        (m,), numbers of the atoms; the second one may be an image.
    distances
        (m,), Angstrom; 0 for atoms at the same place.
    vectors
        (m, 3), Angstrom, from the first to the second.
    """

    first: np.ndarray
    second: np.ndarray
    distances: np.ndarray
    vectors: np.ndarray


def find_pairs(record: Record, cutoff: float) -> Optional[Pairs]:
    """All pairs within the cutoff, Angstrom. None for a cell without volume or with too many of them."""
    if not record.has_volume:
        return None
    reach = cutoff / record.heights
    spans = np.floor(reach + 1.0)
    expected = record.num_atoms**2 * 4.19 * cutoff**3 / abs(record.volume)
    if np.prod(2.0 * spans + 1.0) * record.num_atoms > MOST_IMAGES or expected > MOST_PAIRS:
        return None
    fractions = record.positions @ record.inverse
    if not np.isfinite(fractions).all():
        return None
    fractions -= np.floor(fractions)
    atoms, images, cells = _images(fractions, reach, spans.astype(int))
    inside = fractions @ record.cell
    places = images @ record.cell
    found = cKDTree(inside).sparse_distance_matrix(cKDTree(places), cutoff, output_type="ndarray")
    first, image = found["i"], found["j"]
    other = (atoms[image] != first) | ~cells[image]  # an atom is no neighbour of itself
    first, image = first[other], image[other]
    return Pairs(first, atoms[image], found["v"][other], places[image] - inside[first])


def _images(fractions: np.ndarray, reach: np.ndarray, spans: np.ndarray):
    """Atoms, fractional places (m, 3), and whether they are in the cell itself, of all images near the cell."""
    ranges = (np.arange(-n, n + 1) for n in spans)
    shifts = np.stack(np.meshgrid(*ranges, indexing="ij"), axis=-1).reshape(-1, 1, 3)
    places = fractions + shifts  # (shifts, n, 3)
    cells, atoms = np.nonzero(((places >= -reach) & (places <= 1.0 + reach)).all(axis=2))
    return atoms, places[cells, atoms], ~shifts[cells, 0].any(axis=1)
