"""Whether numbers look as if they were in the units that they should be in."""

from __future__ import annotations

from typing import Sequence

import numpy as np

from ._core import atomic_number
from .structure import Structure

# Covalent radii of the elements from H to Pu, Angstrom: Cordero et al., Dalton Trans. 2832 (2008). Of Mn, Fe and Co
# those of high spin.
RADII = np.array(
    [0.31, 0.28]
    + [1.28, 0.96, 0.84, 0.76, 0.71, 0.66, 0.57, 0.58]
    + [1.66, 1.41, 1.21, 1.11, 1.07, 1.05, 1.02, 1.06]
    + [2.03, 1.76, 1.70, 1.60, 1.53, 1.39, 1.61, 1.52, 1.50, 1.24, 1.32, 1.22, 1.22, 1.20, 1.19, 1.20, 1.20, 1.16]
    + [2.20, 1.95, 1.90, 1.75, 1.64, 1.54, 1.47, 1.46, 1.42, 1.39, 1.45, 1.44, 1.42, 1.39, 1.39, 1.38, 1.39, 1.40]
    + [2.44, 2.15, 2.07, 2.04, 2.03, 2.01, 1.99, 1.98, 1.98, 1.96, 1.94, 1.92, 1.92, 1.89, 1.90, 1.87, 1.87]
    + [1.75, 1.70, 1.62, 1.51, 1.44, 1.41, 1.36, 1.36, 1.32, 1.45, 1.46, 1.48, 1.40, 1.50, 1.50]
    + [2.60, 2.21, 2.15, 2.06, 2.00, 1.96, 1.90, 1.87]
)

# Nearest neighbours over the sum of their radii, middle of a data set. Bonds have 1.0 and metals up to 1.25; lengths
# in Bohr that are taken for Angstrom multiply it by 1.89, lengths divided by that twice make it 0.53.
LOWEST_RATIO, HIGHEST_RATIO = 0.7, 1.75

# The largest force of a usual data set, eV/Angstrom, and how small the largest one may be.
HIGHEST_FORCE, LOWEST_FORCE = 1.0e3, 1.0e-6

MOST_STRUCTURES = 50  # that are looked at
MOST_ATOMS = 300  # of a structure that is looked at


def nearest_ratio(structure: Structure) -> float:
    """Middle of the atoms' distances to what is nearest, each over the sum of covalent radii. NaN if unknown."""
    numbers = np.array([atomic_number(symbol) for symbol in structure.symbols()])
    if (numbers < 1).any() or len(numbers) > MOST_ATOMS:
        return float("nan")
    radii = RADII[numbers - 1]
    inverse = np.linalg.inv(structure.cell)
    fractions = structure.positions @ inverse
    difference = fractions[None, :, :] - fractions[:, None, :]
    difference -= np.rint(difference)
    ratios = np.full((len(numbers), len(numbers)), np.inf)
    for shift in np.ndindex(3, 3, 3):
        distances = np.linalg.norm((difference + np.array(shift) - 1) @ structure.cell, axis=2)
        distances[distances < 1.0e-8] = np.inf  # an atom itself
        ratios = np.minimum(ratios, distances / (radii[:, None] + radii[None, :]))
    return float(np.median(ratios.min(axis=1)))


def complaints(structures: Sequence[Structure]) -> list[str]:
    """What looks wrong, in words; empty where nothing does."""
    step = max(1, len(structures) // MOST_STRUCTURES)
    sample = structures[::step]
    found = []
    ratios = [ratio for structure in sample if np.isfinite(ratio := nearest_ratio(structure))]
    ratio = np.median(ratios) if ratios else 1.0
    if ratio > HIGHEST_RATIO:
        found.append(f"atoms stand {ratio:.2f} times as far apart as bonds are long; are lengths in Bohr?")
    if ratio < LOWEST_RATIO:
        found.append(f"atoms stand {ratio:.2f} times as far apart as bonds are long; are lengths not in Angstrom?")
    forces = [np.abs(structure.forces).max() for structure in sample if structure.forces is not None]
    if forces and max(forces) > HIGHEST_FORCE:
        found.append(f"a force is {max(forces):.3g} eV/Angstrom; are forces in other units?")
    if forces and max(forces) < LOWEST_FORCE:
        found.append("all forces vanish; are they missing?")
    return found
