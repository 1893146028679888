"""A structure with its reference values."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Optional

import numpy as np


class DataError(RuntimeError):
    """What is wrong with a data file or its contents."""


@dataclass
class Structure:
    """Atoms of a periodic cell and what is known about them; None where it is not known.

    labels
        Names of the elements [n]; they begin with a symbol and may go on (``Fe1``).
    cell, positions
        (3, 3), rows are the cell vectors; (n, 3); Angstrom.
    energy, energies
        eV; (n,), eV, shares of the atoms.
    forces
        (n, 3), eV/Angstrom.
    stress
        (6,), xx yy zz yz xz xy, eV/Angstrom^3, positive under tension.
    charges
        (n,), e.
    coulomb_energies, coulomb_forces
        Shares that the charges carry in a data file, in its sense: (n,), eV; (n, 3), eV/Angstrom.
    group
        Name of the group that the structure belongs to, such as its ``config_type``.
    """

    labels: list
    cell: np.ndarray
    positions: np.ndarray
    energy: Optional[float] = None
    forces: Optional[np.ndarray] = None
    energies: Optional[np.ndarray] = None
    stress: Optional[np.ndarray] = None
    charges: Optional[np.ndarray] = None
    coulomb_energies: Optional[np.ndarray] = None
    coulomb_forces: Optional[np.ndarray] = None
    group: str = ""
    source: str = field(default="", compare=False)  # where it was read, for messages

    def symbols(self) -> list[str]:
        """The labels without what follows the symbols."""
        return [symbol_of(label) for label in self.labels]

    def require_finite(self) -> None:
        """Raises DataError where a number is NaN or infinite."""
        for name in ARRAYS:
            value = getattr(self, name)
            if value is not None and not np.isfinite(value).all():
                raise DataError(f"{name} has a number that is not finite: {self.source}")


ARRAYS = (
    "cell",
    "positions",
    "energy",
    "forces",
    "energies",
    "stress",
    "charges",
    "coulomb_energies",
    "coulomb_forces",
)


def symbol_of(label: str) -> str:
    """Reduces a label to a symbol as the command does: Fe2 becomes Fe, O_1 becomes O."""
    for place, character in enumerate(label[:2]):
        if character in "0123456789 #*+-:_~":
            return label[:place]
    return label[:2]
