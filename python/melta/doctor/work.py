"""Whether energies are the work of the forces, between structures that differ by small displacements.

With the displacement d from one structure to another, whose energies are E and E' and forces F and F', the difference
E' - E is -(F + F')/2 . d up to the third order in d. The ratio of both, 1 in sound data, tells wrong units and signs.
"""

from __future__ import annotations

from collections import defaultdict
from dataclasses import dataclass
from typing import Iterator

import numpy as np

from .findings import Finding, Rank
from .record import Record, find_groups
from .survey import Survey

LARGEST_SHIFT = 0.35  # of an atom, Angstrom
SMALL_SHIFT = 0.15  # the same for pairs of which each alone may be judged
LARGEST_BLOCK = 400  # structures of a group that are compared with each other
LEAST_PAIRS = 5
LEAST_WORK = 1.0e-5  # eV for an atom; below, energies are but rounding
LEAST_AGREEMENT = 0.6  # of the work, that has to have about the same ratio
LOWEST_RATIO, HIGHEST_RATIO = 0.75, 1.35
CONTRADICTION = 0.03  # eV for an atom

# What a ratio other than 1 may come from.
MISTAKES = (
    (13.605692, "energies in eV instead of Ry"),
    (0.5, "energies in Hartree instead of Ry"),
    (2.0, "forces in Hartree/Bohr instead of Ry/Bohr"),
    (1.0 / 25.711033, "forces in eV/Angstrom instead of Ry/Bohr"),
    (0.5291772, "forces in Ry/Angstrom instead of Ry/Bohr"),
    (1.0 / 0.5291772, "lengths in Angstrom instead of Bohr"),
    (13.605692 / 0.5291772, "energies in eV instead of Ry and lengths in Angstrom instead of Bohr"),
    (13.605692 * 2.0, "energies in eV instead of Ry and forces in Hartree/Bohr instead of Ry/Bohr"),
    (0.5 / 25.711033, "energies in Hartree instead of Ry and forces in eV/Angstrom instead of Ry/Bohr"),
    (627.5095, "energies in kcal/mol instead of Ry"),
)
NEAR = 1.15  # how many times off a mistake's ratio the one that is found may be


@dataclass
class Step:
    """Two structures that differ by small displacements.

    energy, work
        Difference of the energies and -(F + F')/2 . d, eV.
    shift
        Longest displacement of an atom, Angstrom.
    """

    first: Record
    second: Record
    energy: float
    work: float
    shift: float


@dataclass
class Balance:
    """What the steps tell together.

    ratio
        Of energy to work: the middle one, each step counted by its work.
    agreement
        Share of the work, 0 to 1, of the steps whose ratios are about that one.
    """

    num_steps: int
    ratio: float
    agreement: float

    @property
    def is_telling(self) -> bool:
        return self.num_steps >= LEAST_PAIRS and self.agreement >= LEAST_AGREEMENT


def find_steps(records: list[Record]) -> list[Step]:
    """All pairs of structures with the same cell and the same atoms in the same order that differ little."""
    steps: list[Step] = []
    for group in find_groups(records):
        for start in range(0, len(group), LARGEST_BLOCK):
            steps += _steps_of_block(group[start : start + LARGEST_BLOCK])
    return steps


def _steps_of_block(block: list[Record]) -> list[Step]:
    if len(block) < 2:
        return []
    cell = block[0].cell
    fractions = np.array([record.positions for record in block]) @ block[0].inverse  # (m, n, 3)
    forces = np.array([record.forces for record in block])
    energies = np.array([record.energy for record in block])
    steps = []
    for i in range(len(block) - 1):
        shifts = fractions[i + 1 :] - fractions[i]
        shifts = (shifts - np.rint(shifts)) @ cell
        shifts -= shifts.mean(axis=1, keepdims=True)  # moving all atoms together takes no work
        longest = np.linalg.norm(shifts, axis=2).max(axis=1)
        for j in np.flatnonzero(longest < LARGEST_SHIFT):
            other = i + 1 + int(j)
            work = -0.5 * float(((forces[i] + forces[other]) * shifts[j]).sum())
            energy = float(energies[other] - energies[i])
            steps.append(Step(block[i], block[other], energy, work, float(longest[j])))
    return steps


def balance(steps: list[Step]) -> Balance:
    """What the steps tell together."""
    telling = [step for step in steps if abs(step.work) > LEAST_WORK * step.first.num_atoms]
    if not telling:
        return Balance(0, 1.0, 0.0)
    work = np.array([step.work for step in telling])
    ratios = np.array([step.energy for step in telling]) / work
    weights = np.abs(work) / np.abs(work).sum()
    order = np.argsort(ratios)
    middle = min(int(np.searchsorted(np.cumsum(weights[order]), 0.5)), len(order) - 1)
    ratio = float(ratios[order[middle]])
    agreement = float(weights[np.abs(ratios - ratio) <= 0.3 * abs(ratio)].sum())
    return Balance(len(telling), ratio, agreement)


def explain(ratio: float, near: float = NEAR) -> str:
    """What a ratio, without its sign, may come from; empty where nothing fits."""
    off = [(abs(np.log(abs(ratio) / expected)), text) for expected, text in MISTAKES if ratio]
    return ", or ".join(text for distance, text in sorted(off) if distance < np.log(near))


def check(steps: list[Step], survey: Survey) -> Iterator[Finding]:
    """Signs and units of all structures together, and pairs that contradict each other."""
    total = balance(steps)
    if not total.is_telling:
        return
    is_sound = LOWEST_RATIO <= total.ratio <= HIGHEST_RATIO
    if not is_sound:
        yield _finding(steps, total)
    elif contradicting := [step for step in steps if _contradicts(step, survey)]:
        yield from _contradictions(contradicting)


def _finding(steps: list[Step], total: Balance) -> Finding:
    line = min(step.first.line for step in steps)
    found = (
        f"between {total.num_steps} pairs of structures that differ by small displacements, energies change by"
        f" {total.ratio:.3g} times the work of the forces"
    )
    is_gradient = total.ratio < 0.0
    kind = "gradients" if is_gradient else "units"
    parts = ["forces look like gradients: change their sign"] if is_gradient else []
    size = abs(total.ratio)
    if not LOWEST_RATIO <= size <= HIGHEST_RATIO:
        parts.append(f"look for {explain(size) or 'other units of energies, forces or lengths'}")
    return Finding(Rank.ERROR, kind, line, None, found, "1", "; ".join(parts), total.num_steps)


def _contradicts(step: Step, survey: Survey) -> bool:
    if step.shift > SMALL_SHIFT:
        return False
    rest = abs(step.energy - step.work) / step.first.num_atoms
    return rest > CONTRADICTION + 0.5 * abs(step.work) / step.first.num_atoms and not _stand_close(step, survey)


def _stand_close(step: Step, survey: Survey) -> bool:
    """Whether atoms repel each other so strongly that small displacements are not small."""
    arounds = (survey.surroundings[record.index] for record in (step.first, step.second))
    return any(around is not None and around.closest < 0.7 for around in arounds)


def _contradictions(steps: list[Step]) -> Iterator[Finding]:
    """One finding for each structure that explains most contradictions."""
    rest = list(steps)
    while rest:
        counts: dict[int, int] = defaultdict(int)
        for step in rest:
            counts[step.first.index] += 1
            counts[step.second.index] += 1
        # Of two structures the later one is named, unless the earlier one contradicts more of them.
        worst = max(counts, key=lambda index: (counts[index], index))
        its = [step for step in rest if worst in (step.first.index, step.second.index)]
        rest = [step for step in rest if worst not in (step.first.index, step.second.index)]
        yield _contradiction(worst, its)


def _contradiction(index: int, steps: list[Step]) -> Finding:
    step = steps[0]
    record, other = (step.first, step.second) if step.first.index == index else (step.second, step.first)
    found = (
        f"its energy differs by {step.energy / record.num_atoms:+.3g} eV for an atom from that of structure"
        f" {other.index} in line {other.line}, with displacements below {step.shift:.2g} Angstrom"
        + (f"; {len(steps)} structures contradict it" if len(steps) > 1 else "")
    )
    expected = f"{step.work / record.num_atoms:+.3g} eV by the forces"
    advice = "look for other settings or another spin state; remove the one that is wrong"
    return Finding(Rank.ERROR, "contradiction", record.line, index, found, expected, advice)
