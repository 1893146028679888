"""The directory in which a model was tested."""

from __future__ import annotations

from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

import numpy as np

from .. import datafile
from ..structure import DataError


@dataclass(frozen=True)
class Quantity:
    """What a test compares: its file, its name in pictures, its unit there and in them, and the factor of errors
    between the two."""

    file: str
    title: str
    unit: str
    error_unit: str
    error_factor: float = 1.0


QUANTITIES = {
    "energy": Quantity("melta.etot", "Energy", "eV/atom", "meV/atom", 1000.0),
    "force": Quantity("melta.force", "Force", "eV/Angstrom", "eV/Angstrom"),
    "stress": Quantity("melta.stress", "Stress", "GPa", "GPa"),
    "charge": Quantity("melta.charge", "Charge", "e", "e"),
}


def read_table(path: Path) -> np.ndarray:
    """Reference and network values (n, 2) of a table of ``melta --test``. Raises DataError."""
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            rows = [line.split() for line in file][1:]
        pairs = np.array([[float(word) for word in words] for words in rows if words])
    except OSError as error:
        raise DataError(f"cannot read the file: {path}: {error.strerror}") from error
    except ValueError as error:
        raise DataError(f"expected two numbers in each line: {path}") from error
    if pairs.ndim != 2 or pairs.shape[1] != 2:
        raise DataError(f"expected two numbers in each line: {path}")
    if not np.isfinite(pairs).all():
        raise DataError(f"there are numbers that are not finite: {path}")
    return pairs


def formula_of(labels: list) -> str:
    """Composition in the order in which elements appear, such as In32P32."""
    counts: dict[str, int] = {}
    for label in labels:
        counts[label] = counts.get(label, 0) + 1
    return "".join(f"{label}{count}" for label, count in counts.items())


class Run:
    """What ``melta --test`` left in a directory; files are read when they are asked for."""

    def __init__(self, path):
        self.path = Path(path)
        if not self.path.is_dir():
            raise DataError(f"there is no such directory: {path}")
        self.name = self.path.resolve().name if str(path) in (".", "..") else str(path).rstrip("/")
        self._tables: dict[str, np.ndarray] = {}

    def has(self, quantity: str) -> bool:
        return (self.path / QUANTITIES[quantity].file).is_file()

    def has_structures(self) -> bool:
        return (self.path / "melta.test").is_file()

    def table(self, quantity: str) -> np.ndarray:
        """Reference and network values (n, 2) of a quantity, in its unit."""
        if quantity not in self._tables:
            self._tables[quantity] = read_table(self.path / QUANTITIES[quantity].file)
        return self._tables[quantity]

    def errors(self, quantity: str) -> np.ndarray:
        """Network minus reference [n], in the unit of errors."""
        pairs = self.table(quantity)
        return (pairs[:, 1] - pairs[:, 0]) * QUANTITIES[quantity].error_factor

    @cached_property
    def structures(self) -> list:
        """The geometries of melta.test, in the order of the tables. Raises DataError if they do not fit these."""
        found = list(datafile.read(self.path / "melta.test"))
        atoms = sum(len(one.labels) for one in found)
        if len(found) != len(self.table("energy")) or 3 * atoms != len(self.table("force")):
            raise DataError(f"melta.test has changed since melta --test was run: {self.path}")
        return found

    @cached_property
    def geometry_of_atom(self) -> np.ndarray:
        """Number of the geometry of each atom [atoms], from 0."""
        return np.repeat(np.arange(len(self.structures)), [len(one.labels) for one in self.structures])

    @cached_property
    def label_of_atom(self) -> np.ndarray:
        return np.array([label for one in self.structures for label in one.labels])

    def force_errors(self) -> np.ndarray:
        """Network minus reference (atoms, 3), eV/Angstrom."""
        return self.errors("force").reshape(-1, 3)

    def name_of_geometry(self, index: int) -> str:
        """Such as ``19 Si64``: the number in melta.test, from 1, and the composition where it is known."""
        if not self.has_structures():
            return str(index + 1)
        return f"{index + 1} {formula_of(self.structures[index].labels)}"
