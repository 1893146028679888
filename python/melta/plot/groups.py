"""Names of groups for the geometries of a test.

A data file has no room for them, so that they come from the extended XYZ file that it was converted from."""

from __future__ import annotations

from typing import Iterable

import numpy as np

from .. import formats
from ..structure import Structure

UNKNOWN = "unknown"
TOLERANCE = 1e-3  # of positions, Angstrom; a data file keeps more


def groups_of(structures: Iterable[Structure], files: Iterable[str], key: str = formats.DEFAULT_GROUP) -> list[str]:
    """The groups [n] of the structures, from files that hold the same structures in any order."""
    known: dict[tuple, list[Structure]] = {}
    for name in files:
        for one in formats.read(name, formats.Keys(group=key)):
            known.setdefault(tuple(one.symbols()), []).append(one)
    return [_group_of(one, known.get(tuple(one.symbols()), [])) for one in structures]


def _group_of(structure: Structure, candidates: list[Structure]) -> str:
    for other in candidates:
        if _are_same(structure, other):
            return other.group or UNKNOWN
    return UNKNOWN


def _are_same(a: Structure, b: Structure) -> bool:
    if np.abs(a.cell - b.cell).max() > TOLERANCE:
        return False
    # Codes may have moved atoms by cell vectors.
    shifts = (a.positions - b.positions) @ np.linalg.inv(a.cell)
    return bool(np.abs((shifts - np.rint(shifts)) @ a.cell).max() < TOLERANCE)
