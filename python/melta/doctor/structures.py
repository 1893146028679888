"""What is wrong with single structures: labels, cells, atoms too close, forces that do not add up to zero."""

from __future__ import annotations

from typing import Iterator

import numpy as np

from .._core import atomic_number
from ..datafile import LONGEST_LABEL
from ..structure import symbol_of
from .findings import Finding, Rank
from .record import Record
from .survey import Surroundings, Survey

MOST_KINDS = 127  # of elements

# Distances over the sum of two covalent radii; bonds have 1, and 0.75 in dense matter is rare.
TOO_CLOSE, CLOSE = 0.5, 0.68
COINCIDENT = 0.1  # Angstrom; below, the command warns

# Total force over the root of the sum of squares of all components, which it would be for forces at random.
UNBALANCED, DRIFTING = 0.1, 0.003
SMALLEST_NET = 0.01  # eV/Angstrom

WIDEST_ATOM = 2000.0  # Angstrom^3
SHORTEST_CELL = 1.5  # Angstrom


def check_labels(records: list[Record]) -> Iterator[Finding]:
    """Labels that are no elements, one finding for each."""
    seen: dict[str, tuple] = {}
    for record in records:
        for atom, label in enumerate(record.structure.labels):
            if label not in seen:
                seen[label] = (record, atom)
    wanted = "a label that begins with a symbol, from H to Pu"
    for label, (record, atom) in seen.items():
        if atomic_number(symbol_of(label)) < 1:
            found = f"the label {label!r} names no element"
            message = f"cannot resolve the atomic number of the element: {symbol_of(label) or label}"
            advice = f'put the symbol there; the command stops with "{message}"'
            yield Finding(Rank.ERROR, "label", record.line_of(atom), record.index, found, wanted, advice)
        elif len(label) > LONGEST_LABEL:
            found = f"the label {label!r} is longer than {LONGEST_LABEL} characters"
            advice = "shorten it; with regularElem 0 the command stops"
            yield Finding(Rank.WARNING, "label", record.line_of(atom), record.index, found, wanted, advice)
    if len({symbol_of(label) for label in seen}) > MOST_KINDS:
        yield Finding(Rank.ERROR, "label", 0, None, "too many labels", f"at most {MOST_KINDS} elements", "see above")


def check_cells(records: list[Record]) -> Iterator[Finding]:
    """Cells without volume, too small ones, huge ones, left-handed ones."""
    wanted = "three independent cell vectors in Bohr"
    wide = []
    for record in records:
        line, index = record.line + 1, record.index
        height = float(record.heights.min())
        per_atom = abs(record.volume) / record.num_atoms
        if not record.has_volume:
            found = f"the cell has no volume: {record.volume:.3g} Angstrom^3"
            yield Finding(Rank.ERROR, "cell", line, index, found, wanted, "correct the cell vectors")
            continue
        if height < SHORTEST_CELL:
            found = f"opposite faces of the cell are {height:.3g} Angstrom apart"
            expected = f"at least {SHORTEST_CELL} Angstrom"
            yield Finding(Rank.ERROR, "cell-small", line, index, found, expected, "correct the cell; is it in Bohr?")
        if per_atom > WIDEST_ATOM and record.num_atoms > 1:
            wide.append(record)
        if record.volume < 0.0:
            expected = "a . (b x c) above 0"
            advice = "exchange two cell vectors; melta does not mind, other programs do"
            yield Finding(Rank.WARNING, "cell-left", line, index, "the cell is left-handed", expected, advice)
    if wide:
        found = f"{len(wide)} of {len(records)} structures have more than {WIDEST_ATOM:.0f} Angstrom^3 for an atom"
        advice = "nothing for molecules in vacuum; otherwise look at the cell"
        first = wide[0]
        expected = "less in condensed matter"
        yield Finding(Rank.REMARK, "cell-wide", first.line + 1, first.index, found, expected, advice, len(wide))


def check_distances(records: list[Record], survey: Survey) -> Iterator[Finding]:
    """Atoms that stand closer than covalent radii allow."""
    for record, around in zip(records, survey.surroundings):
        if around is None and record.has_volume:
            found = "the cell is too flat, or has too many atoms, to look for distances"
            advice = "look at the cell; other checks of this structure are left out, too"
            yield Finding(Rank.WARNING, "not-searched", record.line + 1, record.index, found, "a usual cell", advice)
        elif around is not None and around.closest < CLOSE:
            yield _close_atoms(record, around)


def _close_atoms(record: Record, around: Surroundings) -> Finding:
    first, second = around.atoms
    symbols = record.structure.symbols()
    strong = float(np.linalg.norm(record.forces[[first, second]], axis=1).min())
    # Atoms that were brought together on purpose repel each other, and the forces show it.
    is_wrong = around.distance < COINCIDENT or around.closest < TOO_CLOSE and strong < 10.0
    image = ", one of them an image" if first == second else ""
    found = (
        f"atoms {first} ({symbols[first]}) and {second} ({symbols[second]}){image} are {around.distance:.3f} Angstrom"
        f" apart, {around.closest:.2f} of the sum of their radii, with forces of {strong:.3g} eV/Angstrom"
    )
    rank = Rank.ERROR if is_wrong else Rank.WARNING
    expected = f"more than {CLOSE} of that sum, or large forces"
    advice = "look at the position and at the cell; remove the structure unless it is meant"
    return Finding(rank, "close-atoms", record.line_of(second), record.index, found, expected, advice)


def check_net_forces(records: list[Record]) -> Iterator[Finding]:
    """Forces of a structure that do not add up to zero."""
    for record in records:
        net = float(np.linalg.norm(record.forces.sum(axis=0)))
        share = net / max(float(np.linalg.norm(record.forces)), 1.0e-12)
        if record.num_atoms < 2 and net > SMALLEST_NET:
            share = 1.0
        if net < SMALLEST_NET or share < DRIFTING:
            continue
        rank = Rank.ERROR if share > UNBALANCED else Rank.WARNING
        found = f"the forces add up to {net:.3g} eV/Angstrom, {net / record.num_atoms:.2g} for each atom"
        advice = "look for atoms whose force is missing or another atom's; no potential can learn the sum"
        if rank == Rank.WARNING:
            advice = "converge the calculations further, or subtract the mean force"
        yield Finding(rank, "net-force", record.line, record.index, found, "zero", advice)
