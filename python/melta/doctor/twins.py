"""Structures that stand there more than once, with the same values or with others."""

from __future__ import annotations

from collections import defaultdict
from typing import Iterator

import numpy as np
from scipy.sparse import coo_matrix
from scipy.sparse.csgraph import connected_components

from ..selection import fingerprint
from .findings import Finding, Rank
from .neighbors import Pairs, find_pairs
from .record import Record
from .survey import Survey

SAME_SIGNATURE = 1.0e-6  # of its size
SAME_DISTANCE = 2.0e-4  # Angstrom
CONFIRMED_TO = 5.0  # Angstrom
OTHER_ENERGY = 2.0e-3  # eV for an atom
OTHER_FORCE = 0.05  # eV/Angstrom


def check(records: list[Record], survey: Survey) -> Iterator[Finding]:
    """One finding for each structure that is the same as an earlier one."""
    for earlier, record in find_twins(records, survey):
        energy = (record.energy - earlier.energy) / record.num_atoms
        force = float(np.abs(_force_lengths(record) - _force_lengths(earlier)).max())
        same = f"the same atoms at the same places as structure {earlier.index} in line {earlier.line}"
        if abs(energy) > OTHER_ENERGY or force > OTHER_FORCE:
            found = f"{same}, but {energy:+.3g} eV for an atom and forces that differ by {force:.2g} eV/Angstrom"
            advice = "find out which is right, and remove the other; look for other settings or another spin state"
            yield Finding(Rank.ERROR, "contradiction", record.line, record.index, found, "the same values", advice)
        else:
            advice = "nothing, or remove one: it counts twice, and must not stand in training and test data"
            yield Finding(Rank.WARNING, "duplicate", record.line, record.index, same, "each structure once", advice)


def _force_lengths(record: Record) -> np.ndarray:
    """(n,), in an order that does not depend on that of the atoms."""
    return np.sort(np.linalg.norm(record.forces, axis=1))


def find_twins(records: list[Record], survey: Survey) -> list[tuple[Record, Record]]:
    """Pairs of the first structure and a later one that is the same."""
    groups = defaultdict(list)
    for record, around in zip(records, survey.surroundings):
        if around is not None and around.signature is not None:
            groups[record.formula].append((record, around.signature))
    found = []
    for members in groups.values():
        signatures = np.array([signature for _, signature in members])
        place_of = np.argsort(signatures[:, 0], kind="stable")
        found += _twins_of_group([members[place][0] for place in place_of], signatures[place_of])
    return sorted(found, key=lambda pair: pair[1].index)


def _twins_of_group(records: list[Record], signatures: np.ndarray) -> list[tuple[Record, Record]]:
    """The same for structures of one composition, in the order of the first number of their signatures."""
    found = []
    firsts: list[int] = []  # places of structures that are no twins of others
    for place, record in enumerate(records):
        tolerance = SAME_SIGNATURE * np.abs(signatures[place]) + 1.0e-12
        firsts = [other for other in firsts if signatures[place, 0] - signatures[other, 0] <= tolerance[0]]
        for other in firsts:
            near = (np.abs(signatures[place] - signatures[other]) <= tolerance).all()
            if near and have_same_distances(records[other], record):
                found.append(tuple(sorted((records[other], record), key=lambda one: one.index)))
                break
        else:
            firsts.append(place)
    return found


def have_same_distances(one: Record, other: Record) -> bool:
    """Whether two structures of one composition have the same distances; signatures alone forget small shifts."""
    if abs(abs(one.volume) - abs(other.volume)) > 1.0e-5 * abs(one.volume):
        return False
    kept = []
    for record in (one, other):
        pairs = find_pairs(record, CONFIRMED_TO)
        if pairs is None:
            return False
        if not _are_connected(record, pairs):
            return fingerprint(one.structure) == fingerprint(other.structure)
        numbers = record.numbers
        kinds = numbers[pairs.first] * numbers[pairs.second] * 1000 + numbers[pairs.first] + numbers[pairs.second]
        kept.append((kinds, pairs.distances))
    for kind in np.unique(kept[0][0]):
        first, second = (np.sort(distances[kinds == kind]) for kinds, distances in kept)
        count = min(len(first), len(second))  # rounding brings pairs in and out at the end
        if np.abs(first[:count] - second[:count]).max(initial=0.0) > SAME_DISTANCE:
            return False
        longer = max(first, second, key=len)[count:]
        if (longer < CONFIRMED_TO - SAME_DISTANCE).any():
            return False
    return True


def _are_connected(record: Record, pairs: Pairs) -> bool:
    """Whether the pairs hold the structure together; those within fragments do not tell where the fragments are."""
    shape = (record.num_atoms, record.num_atoms)
    graph = coo_matrix((np.ones(len(pairs.first)), (pairs.first, pairs.second)), shape=shape)
    return connected_components(graph, directed=False)[0] == 1
