"""Temperatures of solids by the forces alone.

Of atoms that move about their places the mean of F . u, with the displacement u from the mean place, is -3 k T for each
atom in equilibrium (the virial theorem), whatever the potential. Of displacements that were drawn at random it is what
the temperature would be.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional

import numpy as np

from .record import Record, find_groups

BOLTZMANN = 8.617333e-5  # eV/K
LEAST_MEMBERS = 8  # structures, below which there is no mean place
FARTHEST = 1.5  # Angstrom; atoms that get farther from their mean places have none


@dataclass
class GroupTemperature:
    """Structures with the same cell and the same atoms in the same order, and what they tell.

    temperature
        K; the mean over the structures.
    displacement
        Root mean square distance of atoms from their mean places, Angstrom.
    """

    formula: str
    line: int
    num_structures: int
    temperature: float
    displacement: float


def find_temperatures(records: list[Record]) -> list[GroupTemperature]:
    """Those of all groups that are large enough and stay in their places."""
    found = (_temperature_of(group) for group in find_groups(records) if _is_usable(group))
    return [one for one in found if one is not None]


def _is_usable(group: list[Record]) -> bool:
    return len(group) >= LEAST_MEMBERS and group[0].num_atoms > 1


def _temperature_of(group: list[Record]) -> Optional[GroupTemperature]:
    first = group[0]
    shifts = np.array([record.positions - first.positions for record in group]) @ first.inverse  # (m, n, 3)
    shifts = (shifts - np.rint(shifts)) @ first.cell
    shifts -= shifts.mean(axis=1, keepdims=True)
    shifts -= shifts.mean(axis=0)
    distances = np.linalg.norm(shifts, axis=2)
    if not distances.max() < FARTHEST:
        return None
    forces = np.array([record.forces for record in group])
    # The mean place moves with each structure, and all atoms together feel no force.
    freedom = (len(group) - 1) * (first.num_atoms - 1)
    virial = -float((forces * shifts).sum()) / freedom
    displacement = float(np.sqrt(np.mean(distances**2)))
    return GroupTemperature(first.formula, first.line, len(group), virial / (3.0 * BOLTZMANN), displacement)
