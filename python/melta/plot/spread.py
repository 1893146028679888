"""The spread of the networks against their true errors."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from ..potential import Potential
from ..structure import DataError, Structure
from .run import Run

BINS = 12
SMALLEST_BIN = 8  # values; with fewer a mean says nothing


@dataclass(frozen=True)
class Calibration:
    """Predicted and true errors of the same values.

    spread, error
        [n], both not negative, in the unit.
    """

    title: str
    unit: str
    spread: np.ndarray
    error: np.ndarray

    def ratio(self) -> float:
        """Root mean square error over root mean square spread: above 1, the networks are too sure."""
        return float(np.sqrt(np.mean(self.error**2) / max(np.mean(self.spread**2), 1e-30)))

    def rank_correlation(self) -> float:
        """Spearman's coefficient: 1 where a larger spread always means a larger error."""
        if len(self.spread) < 3:
            return float("nan")
        ranks = [np.argsort(np.argsort(values)) for values in (self.spread, self.error)]
        return float(np.corrcoef(*ranks)[0, 1])

    def binned(self) -> np.ndarray:
        """Root mean squares of spread and error (bins, 2), of equally many values for each bin."""
        count = int(np.clip(len(self.spread) // SMALLEST_BIN, 1, BINS))
        parts = np.array_split(np.argsort(self.spread), count)
        return np.array([[np.sqrt(np.mean(v[part] ** 2)) for v in (self.spread, self.error)] for part in parts])

    def text(self) -> str:
        return (
            f"{self.title.lower() + ':':9}RMS error {self.ratio():.2f} times the RMS spread, "
            f"rank correlation {self.rank_correlation():.2f}"
        )


def calibrations(run: Run) -> tuple[Calibration, Calibration]:
    """Of the energies (per atom) and of the force vectors of a test. Raises DataError for a single network."""
    potential = Potential(run.path)
    if potential.num_models < 2:
        raise DataError(f"the model has one network, and so no spread: {run.path}")
    listed = [(one.positions, _names(one, potential), one.cell) for one in run.structures]
    found = potential.compute_many(listed, properties=("energy_std", "forces_std"))
    counts = np.array([len(one.labels) for one in run.structures])
    energies = np.array([one["energy_std"] for one in found]) / counts * 1000.0
    forces = np.concatenate([one["forces_std"] for one in found])
    return (
        Calibration("Energy", "meV/atom", energies, np.abs(run.errors("energy"))),
        Calibration("Force", "eV/Angstrom", forces, np.linalg.norm(run.force_errors(), axis=1)),
    )


def _names(structure: Structure, potential: Potential) -> list[str]:
    """The names of the atoms' elements in the model, which may have been trained on reduced labels."""
    return structure.labels if set(structure.labels) <= set(potential.elements) else structure.symbols()
