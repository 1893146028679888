"""Radial distributions of the atoms of many structures."""

from __future__ import annotations

from itertools import combinations_with_replacement
from typing import Sequence

import numpy as np

from ..structure import Structure


def pick(structures: Sequence[Structure], count: int) -> list[Structure]:
    """At most so many of them, evenly spaced."""
    if len(structures) <= count:
        return list(structures)
    return [structures[i] for i in np.linspace(0, len(structures) - 1, count).astype(int)]


def distributions(structures: Sequence[Structure], longest: float, bins: int) -> dict[tuple[str, str], np.ndarray]:
    """g(r) [bins] of each pair of elements, up to the distance ``longest``, Angstrom.

    Each structure counts by its pairs; 1 is the density of a gas of the same atoms.
    """
    counts: dict[tuple[str, str], np.ndarray] = {}
    expected: dict[tuple[str, str], float] = {}
    for one in structures:
        symbols = np.array(one.symbols())
        distances, first, second = _distances(one, longest)
        for pair in combinations_with_replacement(sorted(set(symbols)), 2):
            a, b = (symbols == name for name in pair)
            found = np.histogram(distances[a[first] & b[second]], bins=bins, range=(0.0, longest))[0]
            counts[pair] = counts.get(pair, np.zeros(bins)) + found
            density = a.sum() * b.sum() / abs(np.linalg.det(one.cell))
            expected[pair] = expected.get(pair, 0.0) + density
    edges = np.linspace(0.0, longest, bins + 1)
    shells = 4.0 / 3.0 * np.pi * np.diff(edges**3)
    return {pair: counts[pair] / (expected[pair] * shells) for pair in counts}


def _distances(structure: Structure, longest: float) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Distances [pairs] below the longest, images included, and the atoms that they lie between."""
    cell, positions = structure.cell, structure.positions
    fractions = positions @ np.linalg.inv(cell)
    positions = (fractions - np.floor(fractions)) @ cell
    heights = 1.0 / np.linalg.norm(np.linalg.inv(cell), axis=0)
    reach = np.ceil(longest / heights).astype(int)
    images = np.stack(np.meshgrid(*[np.arange(-n, n + 1) for n in reach], indexing="ij"), axis=-1).reshape(-1, 3)
    differences = positions[None, :, :] - positions[:, None, :]
    found, first, second = [], [], []
    for shift in images @ cell:
        lengths = np.linalg.norm(differences + shift, axis=2)
        i, j = np.nonzero((lengths < longest) & (lengths > 0.0))
        found.append(lengths[i, j])
        first.append(i)
        second.append(j)
    return np.concatenate(found), np.concatenate(first), np.concatenate(second)
