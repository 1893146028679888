"""Energies that lie far from what the numbers of atoms of each element make of the others."""

from __future__ import annotations

from typing import Iterator

import numpy as np

from .findings import Finding, Rank
from .record import Record

# eV for an atom. No bound atom lies farther than the first, by which the command judges, too; the second is what a
# lonely structure has to lie off to be mentioned.
FAR, OFF = 20.0, 0.05
FAR_DEVIATIONS, OFF_DEVIATIONS = 50.0, 12.0
ALONE = 1.5  # how many times as far off as the next one
LEAST = 5  # structures, below which nothing can be said
HIGHEST = 1.0e30  # eV for an atom, for the sake of the fit
ROUNDS = 40  # of the fit


def compositions(records: list[Record]) -> np.ndarray:
    """(m, elements), shares of the elements."""
    symbols = sorted({symbol for record in records for symbol in set(record.structure.symbols())})
    counts = [[record.structure.symbols().count(symbol) for symbol in symbols] for record in records]
    return np.array(counts, dtype=float) / np.array([[record.num_atoms] for record in records])


def residuals(records: list[Record]) -> np.ndarray:
    """(m,), eV for an atom: what energies of the elements leave of the energies; the fit does not mind outliers."""
    shares = compositions(records)
    energies = np.array([record.energy / record.num_atoms for record in records])
    energies = np.clip(np.nan_to_num(energies), -HIGHEST, HIGHEST)
    weights = np.ones(len(records))
    rest = energies
    for _ in range(ROUNDS):  # of least squares, with weights that lead to least absolute values
        roots = np.sqrt(weights)
        rest = energies - shares @ np.linalg.lstsq(shares * roots[:, None], energies * roots, rcond=None)[0]
        weights = 1.0 / np.maximum(np.abs(rest), 1.0e-4)
    return rest - np.median(rest)


def check(records: list[Record]) -> Iterator[Finding]:
    """One finding for each energy that lies off."""
    if len(records) < LEAST:
        return
    rest = residuals(records)
    sizes = np.abs(rest)
    deviation = float(np.median(sizes))
    order = np.argsort(sizes)
    far = sizes > max(FAR, FAR_DEVIATIONS * deviation)
    if far.mean() > 0.5:
        return
    for place, index in enumerate(order):
        next_size = sizes[order[place - 1]] if place else 0.0
        is_off = sizes[index] > max(OFF, OFF_DEVIATIONS * deviation, ALONE * next_size) and place >= len(order) - 3
        if far[index] or is_off:
            yield _finding(records[index], rest[index], deviation, bool(far[index]))


def _finding(record: Record, rest: float, deviation: float, is_far: bool) -> Finding:
    found = (
        f"the energy of {record.formula} is {record.energy:.6g} eV, {rest:+.4g} eV for an atom off what the other"
        f" structures tell, half of which lie within {deviation:.3g}"
    )
    expected = f"around {record.energy - rest * record.num_atoms:.6g} eV"
    advice = "look for a calculation that did not converge or had other settings, and for digits that are missing"
    rank = Rank.ERROR if is_far else Rank.WARNING
    return Finding(rank, "energy-outlier", record.line, record.index, found, expected, advice)
