"""Values that are missing: energies, forces, charges, and columns of zeros."""

from __future__ import annotations

from typing import Iterator

import numpy as np

from .findings import Finding, Rank
from .record import Record
from .survey import Survey

UNEVEN = 1.0e-3  # from this asymmetry of the surroundings on no symmetry makes forces vanish
FLAT = 1.0e-6  # Angstrom
SAME_ENERGY = 1.0e-9  # eV for an atom
SUM_DIFFERS = 1.0e-3  # eV for an atom


def check_energies(records: list[Record]) -> Iterator[Finding]:
    """Total energies that are zero or always the same, and atomic energies that do not go with the flag."""
    wanted = "a total energy in Ry"
    for record in records:
        if record.energy == 0.0:
            found = "the total energy is 0" if record.has_total else "there is no total energy, and column 5 is 0"
            advice = "put the energy into the head, or remove the structure"
            yield Finding(Rank.ERROR, "missing-energy", record.line, record.index, found, wanted, advice)
    per_atom = np.array([record.energy / record.num_atoms for record in records])
    cells = {record.structure.cell.tobytes() + record.positions.tobytes() for record in records}
    if len(cells) > 2 and per_atom.any() and np.ptp(per_atom) < SAME_ENERGY:
        found = f"all {len(records)} structures have the same energy for an atom"
        yield Finding(Rank.ERROR, "same-energy", records[0].line, None, found, "different ones", "look at the heads")
    yield from _check_atomic_energies(records)


def _check_atomic_energies(records: list[Record]) -> Iterator[Finding]:
    flagged = [record for record in records if record.flag]
    empty = [record for record in flagged if record.has_total and not record.rows[:, 3].any()]
    unused = [record for record in records if not record.flag and record.rows[:, 3].any()]
    if empty:
        found = "the flag says that atomic energies mean something, but column 5 is 0"
        expected, advice = "flag 0, or energies of the atoms", "set the flag, the second number of the head, to 0"
        yield _first(Rank.ERROR, "atomic-energies", empty, found, expected, advice)
    if unused:
        found = "column 5 has atomic energies, but the flag says that they mean nothing"
        advice = "set the flag, the second number of the head, to 1 if they are energies of the atoms"
        yield _first(Rank.WARNING, "atomic-energies", unused, found, "flag 1, or zeros", advice)
    if flagged and len(flagged) < len(records):
        found = f"{len(flagged)} of {len(records)} structures have atomic energies"
        yield _first(Rank.WARNING, "atomic-energies", flagged, found, "all or none", "set all flags to 0")
    differing = [record for record in flagged if record not in empty and record.has_total and _differs(record)]
    if differing:
        energies = differing[0].structure.energies.sum()
        found = f"atomic energies add up to {energies:.6f} eV, the total energy is {differing[0].energy:.6f} eV"
        yield _first(Rank.WARNING, "atomic-energies", differing, found, "the same", "look at column 5")


def _differs(record: Record) -> bool:
    return abs(record.structure.energies.sum() - record.energy) > SUM_DIFFERS * record.num_atoms


def _first(rank: Rank, kind: str, records: list[Record], found: str, expected: str, advice: str) -> Finding:
    """One finding for many structures, at the first."""
    record = records[0]
    more = f" ({len(records)} structures)" if len(records) > 1 else ""
    return Finding(rank, kind, record.line, record.index, found + more, expected, advice, len(records))


def check_forces(records: list[Record], survey: Survey) -> Iterator[Finding]:
    """Forces that are zero where they cannot be."""
    moving = [record for record in records if record.forces.any()]
    wanted = "forces in Ry/Bohr"
    if not moving and records:
        found = "columns 6 to 8, the forces, are 0 in all structures"
        advice = "train on energies alone (coefForce 0), or add the forces"
        line = records[0].line_of(0)
        yield Finding(Rank.ERROR, "zero-column", line, None, found, wanted, advice, len(records))
        return
    for record, around in zip(records, survey.surroundings):
        if not record.forces.any() and around is not None and around.asymmetry > UNEVEN:
            found = "all forces are 0, but the surroundings of the atoms are not symmetric"
            advice = "add the forces, or remove the structure"
            yield Finding(Rank.ERROR, "missing-forces", record.line_of(0), record.index, found, wanted, advice)
    for c in range(3):
        if moving and not any(record.forces[:, c].any() for record in moving):
            yield _zero_component(records, c)


def _zero_component(records: list[Record], c: int) -> Finding:
    # Where all atoms lie in a plane, forces across it vanish.
    flat = all(np.ptp(record.positions[:, c]) < FLAT for record in records)
    rank = Rank.REMARK if flat else Rank.ERROR
    found = f"column {6 + c}, the force along {'xyz'[c]}, is 0 in all structures"
    advice = "nothing for planar structures" if flat else "look at how the forces were written"
    return Finding(rank, "zero-column", records[0].line_of(0), None, found, "forces in Ry/Bohr", advice, len(records))


def check_other_columns(records: list[Record]) -> Iterator[Finding]:
    """Positions and charges that are zero, and what only a part of the structures has."""
    for c in range(3):
        if any(record.num_atoms > 1 for record in records) and not any(record.rows[:, c].any() for record in records):
            found = f"column {2 + c}, the position along {'xyz'[c]}, is 0 in all structures"
            line = records[0].line_of(0)
            advice = "nothing for planar structures; otherwise look at how positions were written"
            yield Finding(Rank.WARNING, "zero-column", line, None, found, "positions in Bohr", advice, len(records))
    charged = [record.rows[:, 7].any() for record in records]
    if records and not any(charged):
        found, expected = "column 9, the charges, is 0 in all structures", "charges, for --train-charge alone"
        yield Finding(Rank.REMARK, "no-charges", records[0].line_of(0), None, found, expected, "nothing", len(records))
    elif not all(charged):
        without = [record for record, has in zip(records, charged) if not has]
        found, expected = "there are no charges, but other structures have some", "charges in all or none"
        advice = "nothing for --train; for --train-charge add them, or remove the structures"
        yield _first(Rank.WARNING, "charges", without, found, expected, advice)
    yield from _check_stress(records)


def _check_stress(records: list[Record]) -> Iterator[Finding]:
    without = [record for record in records if record.structure.stress is None]
    if without and len(without) < len(records):
        found = "there is no stress, but other structures have one"
        advice = "nothing: a stress is used where it is"
        yield _first(Rank.REMARK, "stress", without, found, "stress in all or none", advice)
