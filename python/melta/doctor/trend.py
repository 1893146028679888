"""Whether energies follow the forces at large: energies of a sum of pair functions that is fitted to forces alone.

Such a sum describes few materials well, but signs and orders of magnitude it gets right where it describes forces at
all. It judges data in which no structures differ by small displacements only.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Iterator, Optional

import numpy as np

from .energies import compositions
from .findings import Finding, Rank
from .neighbors import find_pairs
from .record import Record
from .work import explain

REACH = 6.0  # of the functions, Angstrom
SHORTEST = 0.8  # middle of the first function, Angstrom
FUNCTIONS = 10  # for each pair of elements
MOST_ELEMENTS = 4
MOST_STRUCTURES = 120  # that are looked at
MOST_ATOMS = 1000  # of a structure that is looked at
LEAST_STRUCTURES = 10
RIDGE = 1.0e-6  # of the mean diagonal
LEAST_FIT, LEAST_CORRELATION = 0.5, 0.6
LOWEST_SLOPE, HIGHEST_SLOPE = 0.15, 6.0


@dataclass
class Trend:
    """What the fit tells.

    fit
        Share of the variance of forces that the functions describe, at most 1.
    slope, correlation
        Of energies against those of the functions, both without what belongs to the elements.
    """

    fit: float
    slope: float
    correlation: float

    @property
    def is_telling(self) -> bool:
        return self.fit >= LEAST_FIT and abs(self.correlation) >= LEAST_CORRELATION


def find(records: list[Record]) -> Optional[Trend]:
    """None where there are too few structures, or too many elements."""
    usable = [one for one in records if one.has_volume and one.forces.any() and 1 < one.num_atoms <= MOST_ATOMS]
    sample = usable[:: max(1, len(usable) // MOST_STRUCTURES)]
    elements = np.unique(np.concatenate([one.numbers for one in sample])) if sample else np.zeros(0)
    if len(sample) < LEAST_STRUCTURES or len(elements) > MOST_ELEMENTS:
        return None
    size = FUNCTIONS * len(elements) * (len(elements) + 1) // 2
    squares, products, variance = np.zeros((size, size)), np.zeros(size), 0.0
    values = np.zeros((len(sample), size))
    for place, record in enumerate(sample):
        values[place], slopes = _functions(record, elements, size)
        forces = record.forces.ravel()
        squares += slopes.T @ slopes
        products += slopes.T @ forces
        variance += float(forces @ forces)
    if not np.trace(squares) > 0.0:
        return None
    factors = np.linalg.solve(squares + RIDGE * np.trace(squares) / size * np.eye(size), products)
    fit = float(2.0 * products @ factors - factors @ squares @ factors) / variance
    return _compare(sample, values @ factors, fit)


def _compare(sample: list[Record], energies: np.ndarray, fit: float) -> Optional[Trend]:
    """energies (m,) are those of the functions, eV for an atom."""
    shares = compositions(sample)
    both = np.stack([energies, [record.energy / record.num_atoms for record in sample]], axis=1)
    keep = np.ones(len(sample), dtype=bool)
    for _ in range(2):  # the second time without energies that lie off
        rest = both - shares @ np.linalg.lstsq(shares[keep], both[keep], rcond=None)[0]
        sizes = np.abs(rest[:, 1] - np.median(rest[:, 1]))
        keep = sizes <= 8.0 * np.median(sizes) + 1.0e-9
    ours, theirs = rest[keep].T
    norm = float(np.sqrt((ours @ ours) * (theirs @ theirs)))
    if not norm > 1.0e-12:
        return None
    return Trend(fit, float(ours @ theirs / (ours @ ours)), float(ours @ theirs) / norm)


def _functions(record: Record, elements: np.ndarray, size: int) -> tuple[np.ndarray, np.ndarray]:
    """Energies of all functions for an atom (size,), and their forces (3 n, size)."""
    pairs = find_pairs(record, REACH)
    values, forces = np.zeros(size), np.zeros((record.num_atoms, 3, size))
    if pairs is None:
        return values, forces.reshape(-1, size)
    kinds = np.searchsorted(elements, record.numbers)
    low, high = np.sort([kinds[pairs.first], kinds[pairs.second]], axis=0)
    blocks = high * (high + 1) // 2 + low
    directions = pairs.vectors / np.maximum(pairs.distances, 1.0e-9)[:, None]
    energies, slopes = _radial(pairs.distances)
    for block in np.unique(blocks):
        chosen = np.flatnonzero(blocks == block)
        first, columns = pairs.first[chosen], slice(block * FUNCTIONS, (block + 1) * FUNCTIONS)
        values[columns] = 0.5 * energies[chosen].sum(axis=0) / record.num_atoms
        for c in range(3):
            parts = slopes[chosen] * directions[chosen, c, None]
            for k in range(FUNCTIONS):
                sums = np.bincount(first, parts[:, k], minlength=record.num_atoms)
                forces[:, c, block * FUNCTIONS + k] = sums
    return values, forces.reshape(-1, size)


def _radial(distances: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Gaussians that fall to zero at the end, and their derivatives: (m, FUNCTIONS) each."""
    middles = np.linspace(SHORTEST, REACH - 0.4, FUNCTIONS)
    width = 0.8 * (REACH - SHORTEST) / FUNCTIONS
    r = distances[:, None]
    inside = np.maximum(1.0 - (r / REACH) ** 2, 0.0)
    gaussian = np.exp(-0.5 * ((r - middles) / width) ** 2)
    end, slope = inside**3, -6.0 * r / REACH**2 * inside**2
    return gaussian * end, gaussian * (slope - (r - middles) / width**2 * end)


def check(records: list[Record]) -> Iterator[Finding]:
    """Signs and units, where the fit tells anything."""
    trend = find(records)
    if trend is None or not trend.is_telling or LOWEST_SLOPE <= trend.slope <= HIGHEST_SLOPE:
        return
    found = (
        f"energies follow those of pair functions fitted to the forces with a slope of {trend.slope:.2g} and a"
        f" correlation of {trend.correlation:.2f}"
    )
    if trend.slope < 0.0:
        advice = "forces look like gradients: change their sign"
        kind = "gradients"
    else:
        kind = "units"
        advice = f"look for {explain(trend.slope, near=2.5) or 'other units of energies, forces or lengths'}"
    expected = f"a slope between {LOWEST_SLOPE} and {HIGHEST_SLOPE}"
    yield Finding(Rank.ERROR, kind, records[0].line, None, found, expected, advice)
