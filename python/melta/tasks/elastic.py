"""Elastic constants from the stress of strained crystals."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional

import numpy as np
from ase import Atoms
from ase.units import GPa

from ..datafile import replace_file
from . import structures
from .relax import relax
from .trust import Trust

NAMES = ("xx", "yy", "zz", "yz", "xz", "xy")
PLACES = ((0, 0), (1, 1), (2, 2), (1, 2), (0, 2), (0, 1))
CUBIC = 0.05  # relative difference of constants that symmetry would make equal


@dataclass
class Elasticity:
    """Elastic constants (6, 6), GPa, in the order xx yy zz yz xz xy, shears counted as engineers do.

    atoms: the relaxed crystal, in whose axes they are.
    """

    atoms: Atoms
    constants: np.ndarray

    def moduli(self) -> tuple[float, float]:
        """Bulk and shear modulus, GPa, the means of Voigt's and Reuss's."""
        stiff, soft = self.constants, np.linalg.inv(self.constants)
        bulk = stiff[:3, :3].sum() / 9.0, 1.0 / soft[:3, :3].sum()
        voigt = (anisotropy(stiff) + 3.0 * np.trace(stiff[3:, 3:])) / 15.0
        reuss = 15.0 / (4.0 * anisotropy(soft) + 3.0 * np.trace(soft[3:, 3:]))
        return float(np.mean(bulk)), float((voigt + reuss) / 2.0)

    def is_cubic(self) -> bool:
        groups = [np.diag(self.constants)[:3], np.diag(self.constants)[3:], self.constants[[0, 0, 1], [1, 2, 2]]]
        return all(np.ptp(values) < CUBIC * np.abs(values).max() for values in groups)

    def lines(self) -> list[str]:
        found = [f"lattice           {structures.lattice_text(self.atoms)}"]
        if self.is_cubic():
            c = self.constants
            means = np.trace(c[:3, :3]) / 3, (c[0, 1] + c[0, 2] + c[1, 2]) / 3, np.trace(c[3:, 3:]) / 3
            found += [f"{name}               {value:.1f} GPa" for name, value in zip(("C11", "C12", "C44"), means)]
        else:
            found += [" ".join(f"{round(value, 1) + 0.0:8.1f}" for value in row) + " GPa" for row in self.constants]
        bulk, shear = self.moduli()
        found += [f"bulk modulus      {bulk:.1f} GPa", f"shear modulus     {shear:.1f} GPa"]
        if np.linalg.eigvalsh(self.constants).min() <= 0.0:
            found.append("WARNING: the crystal is not stable against strain")
        return found

    def write(self, prefix: str) -> str:
        rows = [",".join(f"{value:.4f}" for value in row) + "\n" for row in self.constants]
        replace_file(prefix + ".csv", [",".join(NAMES) + "\n", *rows])
        return prefix + ".csv"

    def draw(self):
        from ..plot import style

        figure, axes = style.panels(1, 1, width=3.8)
        panel = axes[0][0]
        largest = float(np.abs(self.constants).max())
        panel.imshow(self.constants, cmap="RdBu_r", vmin=-1.5 * largest, vmax=1.5 * largest)
        for i, row in enumerate(self.constants):
            for j, value in enumerate(row):
                panel.text(j, i, f"{round(value) + 0.0:.0f}", ha="center", va="center", fontsize=8)
        panel.set_xticks(range(6))
        panel.set_yticks(range(6))
        panel.set_xticklabels(NAMES)
        panel.set_yticklabels(NAMES)
        panel.set(title="Elastic constants, GPa")
        return figure


def anisotropy(matrix: np.ndarray) -> float:
    """11 + 22 + 33 - 12 - 13 - 23 of constants (6, 6): what both means of the shear modulus have of the stretches."""
    trace = np.trace(matrix[:3, :3])
    return float(trace - (matrix[:3, :3].sum() - trace) / 2.0)


def elastic_constants(atoms: Atoms, trust: Optional[Trust] = None, strain: float = 0.005) -> Elasticity:
    """Relaxes the crystal and strains it both ways in six directions, its atoms relaxed each time."""
    structures.require_crystal(atoms)
    start = relax(atoms, trust, fmax=0.002).atoms
    columns = []
    for a, b in PLACES:
        # As engineers count shears, the off-diagonal parts of both sides together are the strain.
        step = np.zeros((3, 3))
        step[a, b] += strain / 2.0
        step[b, a] += strain / 2.0
        columns.append((stress_of(start, step, trust) - stress_of(start, -step, trust)) / (2.0 * strain))
    constants = np.array(columns) / GPa
    return Elasticity(start, (constants + constants.T) / 2.0)


def stress_of(atoms: Atoms, strain: np.ndarray, trust: Optional[Trust] = None) -> np.ndarray:
    """Stress (6,), eV/Angstrom^3, of the crystal under a strain (3, 3), with its atoms relaxed."""
    strained = atoms.copy()
    strained.set_cell(atoms.cell.array @ (np.eye(3) + strain), scale_atoms=True)
    strained.calc = atoms.calc
    return relax(strained, trust, fmax=0.002, with_cell=False).atoms.get_stress()
