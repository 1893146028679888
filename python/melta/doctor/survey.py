"""What the neighbourhoods of all structures tell: one search for pairs in each, of which only figures are kept."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Optional

import numpy as np

from ..plausibility import RADII
from .neighbors import Pairs, find_pairs
from .record import Record

REACH = 6.0  # how far pairs are looked for, Angstrom
BIN = 0.05  # of the histograms of distances, Angstrom
BOND = 1.3  # atoms are counted as neighbours up to this distance over the sum of their radii
UNKNOWN_RADIUS = 1.5  # Angstrom, of what is no element
DECAYS = (0.7, 1.5, 3.0)  # of the functions that tell structures apart, Angstrom


@dataclass
class Surroundings:
    """Figures of one structure. Ratios are distances over the sum of two covalent radii.

    closest
        Smallest ratio, and the two atoms and their distance in Angstrom. An atom may be close to its own image.
    nearest
        Middle of the atoms' smallest ratios; infinite where most have no neighbour.
    asymmetry
        How uneven the surroundings of the most unevenly surrounded atom are, 0 (as by symmetry) to 1.
    coordination
        (n,), numbers of neighbours.
    signature
        Equal for structures that differ by a translation, a rotation, the order of atoms or the choice of the cell.
    """

    closest: float = np.inf
    atoms: tuple[int, int] = (0, 0)
    distance: float = np.inf
    nearest: float = np.inf
    asymmetry: float = 0.0
    coordination: np.ndarray = field(default_factory=lambda: np.zeros(0, dtype=np.int64))
    signature: Optional[np.ndarray] = None


@dataclass
class Survey:
    """Figures of all structures.

    surroundings
        One for each structure; None where its cell cannot be searched.
    histograms
        For each pair of symbols how many atoms have how many neighbours in each bin of BIN up to REACH.
    """

    surroundings: list[Optional[Surroundings]] = field(default_factory=list)
    histograms: dict[tuple[str, str], np.ndarray] = field(default_factory=dict)


def survey(records: list[Record]) -> Survey:
    """Looks at all structures."""
    result = Survey()
    for record in records:
        pairs = find_pairs(record, REACH)
        result.surroundings.append(None if pairs is None else look_around(record, pairs))
        if pairs is not None:
            _count_distances(record, pairs, result.histograms)
    return result


def look_around(record: Record, pairs: Pairs) -> Surroundings:
    """Figures of a structure from its pairs."""
    result = Surroundings(signature=_signature(record, pairs))
    count = record.num_atoms
    result.coordination = np.zeros(count, dtype=np.int64)
    if not len(pairs.first):
        return result
    ratios = pairs.distances / sums_of_radii(record, pairs)
    closest = int(ratios.argmin())
    result.closest, result.distance = float(ratios[closest]), float(pairs.distances[closest])
    result.atoms = tuple(sorted((int(pairs.first[closest]), int(pairs.second[closest]))))
    nearest = np.full(count, np.inf)
    np.minimum.at(nearest, pairs.first, ratios)
    result.nearest = float(np.median(nearest))
    result.coordination = np.bincount(pairs.first[ratios < BOND], minlength=count)
    result.asymmetry = _asymmetry(count, pairs, ratios)
    return result


def sums_of_radii(record: Record, pairs: Pairs) -> np.ndarray:
    """(m,), of the atoms of each pair, Angstrom."""
    radii = np.where(record.numbers > 0, RADII[record.numbers - 1], UNKNOWN_RADIUS)
    return radii[pairs.first] + radii[pairs.second]


def _asymmetry(count: int, pairs: Pairs, ratios: np.ndarray) -> float:
    weights = np.exp(-((ratios / 1.5) ** 4))
    directions = pairs.vectors / np.maximum(pairs.distances, 1.0e-9)[:, None]
    sums = [np.bincount(pairs.first, weights * directions[:, c], minlength=count) for c in range(3)]
    totals = np.bincount(pairs.first, weights, minlength=count)
    return float((np.linalg.norm(sums, axis=0) / np.maximum(totals, 1.0e-3)).max())


def _signature(record: Record, pairs: Pairs) -> np.ndarray:
    weights = np.sqrt(record.numbers + 1.0)
    products = weights[pairs.first] * weights[pairs.second]
    smooth = products * (1.0 - (pairs.distances / REACH) ** 2) ** 3
    return np.array([np.sum(smooth * np.exp(-pairs.distances / decay)) for decay in DECAYS])


def _count_distances(record: Record, pairs: Pairs, histograms: dict) -> None:
    symbols, kinds = np.unique(record.structure.symbols(), return_inverse=True)
    first, second = kinds[pairs.first], kinds[pairs.second]
    bins = np.minimum((pairs.distances / BIN).astype(int), round(REACH / BIN) - 1)
    for a, one in enumerate(symbols):
        for b, other in enumerate(symbols[a:], a):
            chosen = (first == a) & (second == b)
            counts = np.bincount(bins[chosen], minlength=round(REACH / BIN))
            key = (str(one), str(other))
            histograms[key] = histograms.get(key, 0) + counts
