"""Errors of a test as numbers, also by geometry, group and element."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable, Iterable, Optional

import numpy as np

from ..structure import DataError
from .run import QUANTITIES, Run

BY = ("geometry", "group", "element")


@dataclass(frozen=True)
class Errors:
    """Root mean square, mean absolute and largest error of some values."""

    rmse: float
    mae: float
    largest: float


def errors_of(differences: np.ndarray) -> Errors:
    sizes = np.abs(differences)
    return Errors(float(np.sqrt(np.mean(sizes**2))), float(sizes.mean()), float(sizes.max()))


@dataclass(frozen=True)
class Row:
    """Errors of a share of the data.

    geometries, atoms
        How many there are.
    energy
        meV/atom; None where a share of geometries has no energy of its own, as that of an element has none.
    force
        Of components, eV/Angstrom.
    """

    name: str
    geometries: int
    atoms: int
    energy: Optional[Errors]
    force: Errors


def rows_by(run: Run, by: str, groups: Optional[list] = None) -> list[Row]:
    """The errors by geometry, by group or by element, the largest errors of forces first.

    groups: names [geometries]; None: the compositions.
    """
    if by == "element":
        rows = [_row_of_element(run, label) for label in dict.fromkeys(run.label_of_atom)]
    elif by == "group":
        names = groups or [name_without_number(run, i) for i in range(len(run.structures))]
        rows = [_row_of_geometries(run, name, members(names, name)) for name in dict.fromkeys(names)]
    elif by == "geometry":
        rows = [_row_of_geometries(run, run.name_of_geometry(i), np.array([i])) for i in range(len(run.structures))]
    else:
        raise DataError(f"errors are by {', '.join(BY)}, not by {by}.")
    return sorted(rows, key=lambda row: -row.force.rmse)


def members(names: list, name: str) -> np.ndarray:
    return np.array([i for i, one in enumerate(names) if one == name])


def name_without_number(run: Run, index: int) -> str:
    return run.name_of_geometry(index).split(" ", 1)[1]


def _row_of_geometries(run: Run, name: str, indices: np.ndarray) -> Row:
    forces = run.force_errors()[np.isin(run.geometry_of_atom, indices)]
    return Row(name, len(indices), len(forces), errors_of(run.errors("energy")[indices]), errors_of(forces))


def _row_of_element(run: Run, label: str) -> Row:
    here = run.label_of_atom == label
    geometries = len(np.unique(run.geometry_of_atom[here]))
    return Row(str(label), geometries, int(here.sum()), None, errors_of(run.force_errors()[here]))


def summary(run: Run) -> list[str]:
    """A line for each quantity that was tested."""
    lines = []
    for key, quantity in QUANTITIES.items():
        if run.has(key):
            found, unit, digits = errors_of(run.errors(key)), quantity.error_unit, 2 if key == "energy" else 4
            values = f"RMSE {found.rmse:.{digits}f} {unit}, MAE {found.mae:.{digits}f} {unit}"
            lines.append(f"{quantity.title.lower() + ':':9}{values}")
    return lines


def table_text(rows: Iterable[Row], title: str) -> list[str]:
    """The rows as lines of text, under a head."""
    rows = list(rows)
    width = max([len(title)] + [len(row.name) for row in rows])
    lines = [
        f"{title:{width}}  geometries    atoms  RMSE(E)   MAE(E)  RMSE(F)   MAE(F)   max(F)",
        f"{'':{width}}                       meV/atom meV/atom     eV/A     eV/A     eV/A",
    ]
    show: Callable = lambda value: f"{value:8.2f}"
    for row in rows:
        energies = "       -        -" if row.energy is None else f"{show(row.energy.rmse)} {show(row.energy.mae)}"
        forces = f"{row.force.rmse:8.4f} {row.force.mae:8.4f} {row.force.largest:8.4f}"
        lines.append(f"{row.name:{width}}  {row.geometries:10d} {row.atoms:8d} {energies} {forces}")
    return lines
