"""Relaxation of atoms, with their cell where they are a crystal."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional

import numpy as np
from ase import Atoms
from ase.io import write
from ase.optimize import BFGS

from . import structures
from .trust import Trust

try:
    from ase.filters import UnitCellFilter
except ImportError:  # ASE before 3.23
    from ase.constraints import UnitCellFilter

MOST_STEPS = 500
FMAX = 0.01  # eV/Angstrom


@dataclass
class Relaxation:
    """Where a relaxation ended and how it went: energies [steps], eV/atom, longest forces [steps], eV/Angstrom."""

    atoms: Atoms
    energies: list
    forces: list
    is_converged: bool

    def lines(self) -> list[str]:
        atoms = self.atoms
        found = [] if self.is_converged else [f"WARNING: not converged after {len(self.energies)} steps"]
        if structures.is_crystal(atoms):
            found.append(f"lattice           {structures.lattice_text(atoms)}")
            found.append(f"volume            {atoms.get_volume() / len(atoms):.4f} Angstrom^3/atom")
        found.append(f"energy            {atoms.get_potential_energy() / len(atoms):.4f} eV/atom")
        found.append(f"longest force     {self.forces[-1]:.4f} eV/Angstrom")
        return found

    def write(self, prefix: str) -> str:
        write(prefix + ".extxyz", self.atoms)
        return prefix + ".extxyz"

    def draw(self):
        from ..plot import style

        figure, axes = style.panels(1, 2, height=2.6)
        energies = 1000.0 * (np.array(self.energies) - self.energies[-1])
        axes[0][0].plot(energies, **style.line_of(0))
        axes[0][0].set(title="Energy", xlabel="step", ylabel="above the last, meV/atom")
        axes[0][1].plot(np.maximum(self.forces, 1e-6), **style.line_of(0))
        axes[0][1].set(title="Longest force", xlabel="step", ylabel="eV/Angstrom", yscale="log")
        return figure


def relax(
    atoms: Atoms, trust: Optional[Trust] = None, fmax: float = FMAX, steps: int = MOST_STEPS, with_cell: bool = True
) -> Relaxation:
    """Moves the atoms, and the cell of a crystal if it may, until no force is above fmax, eV/Angstrom."""
    atoms = with_calculator(atoms)
    energies: list = []
    forces: list = []
    moves_cell = with_cell and structures.is_crystal(atoms)
    target = UnitCellFilter(atoms) if moves_cell else atoms
    optimizer = BFGS(target, logfile=None)

    def observe() -> None:
        energies.append(atoms.get_potential_energy() / len(atoms))
        forces.append(float(np.linalg.norm(target.get_forces(), axis=1).max()))
        if trust is not None:
            trust.see(atoms)

    optimizer.attach(observe)
    is_converged = bool(optimizer.run(fmax=fmax, steps=steps))
    return Relaxation(atoms, energies, forces, is_converged)


def with_calculator(atoms: Atoms) -> Atoms:
    """A copy that has the same calculator."""
    found = atoms.copy()
    found.calc = atoms.calc
    return found
