"""Units that show in single quantities: lengths, sizes of forces, total energies of all electrons."""

from __future__ import annotations

from typing import Iterator

import numpy as np

from .._core import RYDBERG
from ..plausibility import HIGHEST_RATIO, LOWEST_RATIO
from .findings import Finding, Rank
from .record import Record
from .survey import Survey

MANY = 0.5  # share of structures
HARTREE = 2.0 * RYDBERG  # eV

# Total energies of free atoms with all electrons from H to Ca, Hartree: Hartree-Fock limits, Clementi and Roetti,
# At. Data Nucl. Data Tables 14, 177 (1974). Correlation and bonds change them by less than two percent from C on.
TOTAL_ENERGIES = np.array(
    [0.5, 2.8617, 7.4327, 14.5730, 24.5291, 37.6886, 54.4009, 74.8094, 99.4093, 128.5471]
    + [161.8589, 199.6146, 241.8767, 288.8544, 340.7188, 397.5049, 459.4821, 526.8175, 599.1648, 676.7582]
)
LEAST_TOTAL = 10.0  # Hartree for an atom; below, energies with and without inner electrons are alike
SAME_TOTAL = 0.025


def check_lengths(records: list[Record], survey: Survey) -> Iterator[Finding]:
    """Lengths of all structures, or of single ones."""
    ratios = [np.inf if around is None else around.nearest for around in survey.surroundings]
    known = [ratio for ratio in ratios if np.isfinite(ratio)]
    if not known:
        return
    middle = float(np.median(known))
    expected = f"{LOWEST_RATIO} to {HIGHEST_RATIO} times as far, about 1"
    if not LOWEST_RATIO <= middle <= HIGHEST_RATIO:
        found = f"nearest atoms stand {middle:.2f} times as far apart as bonds are long, in the middle of all"
        advice = "divide lengths by 0.5291772: they look like Angstrom and have to be Bohr"
        if middle > HIGHEST_RATIO:
            advice = "multiply lengths by 0.5291772: they look as if they had been converted twice"
        yield Finding(Rank.ERROR, "units", records[0].line, None, found, expected, advice, len(records))
        return
    for record, ratio in zip(records, ratios):
        if ratio < LOWEST_RATIO:
            found = f"nearest atoms stand {ratio:.2f} times as far apart as bonds are long; in the others {middle:.2f}"
            advice = "look whether lengths are in Angstrom; they have to be in Bohr"
            # Matter that is pressed that much pushes back.
            rank = Rank.ERROR if record.largest_force < 10.0 else Rank.WARNING
            yield Finding(rank, "units", record.line, record.index, found, expected, advice)


def check_forces(records: list[Record], max_force: float) -> Iterator[Finding]:
    """Structures that the command leaves out for their forces."""
    if max_force <= 0.0:
        return
    large = [record for record in records if record.largest_force > max_force]
    if not large:
        return
    largest = max(record.largest_force for record in large)
    which = f"{len(large)} of {len(records)} structures"
    found = f"{which} have forces above {max_force:g} eV/Angstrom, up to {largest:.4g}"
    many = len(large) > MANY * len(records)
    advice = "nothing; with maxForce the command leaves them out"
    if many:
        advice = "look whether forces are in eV/Angstrom; they have to be in Ry/Bohr. The command leaves these out"
    rank = Rank.ERROR if many else Rank.REMARK
    kind = "units" if many else "large-forces"
    expected = f"at most {max_force:g} eV/Angstrom (--max-force, maxForce)"
    yield Finding(rank, kind, large[0].line, large[0].index, found, expected, advice, len(large))


def check_energies(records: list[Record]) -> Iterator[Finding]:
    """Energies of all electrons in other units. Those without inner electrons have no scale of their own."""
    numbers = np.concatenate([record.numbers for record in records])
    if not len(numbers) or numbers.min() < 1 or numbers.max() > len(TOTAL_ENERGIES):
        return
    shares = []
    for record in records:
        total = float(TOTAL_ENERGIES[record.numbers - 1].sum())
        if total > LEAST_TOTAL * record.num_atoms:
            shares.append(-record.energy / (total * HARTREE))
    share = float(np.median(shares)) if shares else 0.0
    for factor, unit in ((0.5, "Hartree"), (RYDBERG, "eV")):
        if abs(share / factor - 1.0) < SAME_TOTAL:
            found = f"total energies are {share:.4g} times those of the free atoms with all electrons"
            expected = "1, or another number without inner electrons"
            advice = f"look whether energies are in {unit}; they have to be in Ry"
            yield Finding(Rank.WARNING, "units", records[0].line, None, found, expected, advice, len(records))
