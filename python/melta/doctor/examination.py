"""All checks of a file, in order."""

from __future__ import annotations

import numpy as np

from . import columns, coverage, energies, reading, structures, trend, twins, units, work
from .findings import Finding, sort
from .record import Record
from .report import Report
from .survey import Survey, survey


def examine(path, max_force: float = 10.0) -> Report:
    """Looks at a data file. Raises OSError where it cannot be read.

    max_force
        eV/Angstrom, the ``maxForce`` of the training; 0 or less: none.
    """
    with np.errstate(all="ignore"):  # spoiled numbers may be huge
        return _examine(reading.read(path, max_force), max_force)


def _examine(file: reading.DataFile, max_force: float) -> Report:
    found = list(file.findings)
    records = file.records
    if not records:
        return Report(file.name, file.num_lines, 0, coverage.Coverage(), sort(found))
    figures = survey(records)
    measured = coverage.measure(records, figures)
    found += structures.check_labels(records)
    found += structures.check_cells(records)
    found += _check_units(records, figures, max_force)
    found += structures.check_net_forces(records)
    found += columns.check_energies(records)
    found += columns.check_forces(records, figures)
    found += columns.check_other_columns(records)
    found += energies.check(records)
    found += twins.check(records, figures)
    found += coverage.check(records, measured)
    return Report(file.name, file.num_lines, len(records), measured, sort(found))


def _check_units(records: list[Record], figures: Survey, max_force: float) -> list[Finding]:
    found = list(units.check_lengths(records, figures))
    if all(finding.structure is not None for finding in found):
        # In wrong units all atoms stand too close.
        found += structures.check_distances(records, figures)
    found += units.check_forces(records, max_force)
    found += units.check_energies(records)
    if any(record.forces.any() for record in records):
        steps = work.find_steps(records)
        found += work.check(steps, figures) if work.balance(steps).is_telling else trend.check(records)
    return found
