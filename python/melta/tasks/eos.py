"""Equation of state: energy against volume."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional

import numpy as np
from ase import Atoms
from ase.eos import EquationOfState
from ase.units import GPa

from ..datafile import replace_file
from . import structures
from .relax import relax
from .trust import Trust


@dataclass
class State:
    """Volumes and energies [points], Angstrom^3 and eV, for each atom, and what they give.

    modulus: bulk modulus, eV/Angstrom^3. atoms: at the volume of the lowest energy.
    """

    atoms: Atoms
    volumes: np.ndarray
    energies: np.ndarray
    volume: float
    energy: float
    modulus: float

    def lines(self) -> list[str]:
        return [
            f"lattice           {structures.lattice_text(self.atoms)}",
            f"volume            {self.volume:.4f} Angstrom^3/atom",
            f"energy            {self.energy:.4f} eV/atom",
            f"bulk modulus      {self.modulus / GPa:.1f} GPa",
        ]

    def write(self, prefix: str) -> str:
        rows = [f"{volume:.6f},{energy:.8f}\n" for volume, energy in zip(self.volumes, self.energies)]
        replace_file(prefix + ".csv", ["volume_A3_per_atom,energy_eV_per_atom\n", *rows])
        return prefix + ".csv"

    def draw(self):
        from ..plot import style

        figure, axes = style.panels(1, 1, width=4.2)
        panel = axes[0][0]
        grid = np.linspace(self.volumes.min(), self.volumes.max(), 200)
        panel.plot(grid, 1000 * (birch_murnaghan(grid, self) - self.energy), label="fit", **style.line_of(0))
        panel.plot(self.volumes, 1000 * (self.energies - self.energy), "o", color=style.COLOURS[1], label="model")
        panel.set(title=f"Bulk modulus {self.modulus / GPa:.1f} GPa")
        panel.set(xlabel="volume, Angstrom$^3$/atom", ylabel="energy above the lowest, meV/atom")
        panel.legend()
        return figure


def birch_murnaghan(volumes: np.ndarray, state: State) -> np.ndarray:
    """The fitted energies at these volumes, Angstrom^3: the curve is a polynomial of third degree in V^(-2/3)."""
    curve = np.polynomial.Polynomial.fit(state.volumes ** (-2.0 / 3.0), state.energies, 3)
    return curve(volumes ** (-2.0 / 3.0))


def equation_of_state(
    atoms: Atoms, trust: Optional[Trust] = None, strain: float = 0.03, points: int = 13
) -> State:
    """Relaxes the crystal, scales its lengths by up to ``strain`` both ways, its atoms relaxed each time, and fits a
    third-order curve of Birch and Murnaghan."""
    structures.require_crystal(atoms)
    start = relax(atoms, trust).atoms
    volumes, energies = [], []
    for scale in np.linspace(1.0 - strain, 1.0 + strain, points):
        scaled = start.copy()
        scaled.set_cell(start.cell * scale, scale_atoms=True)
        scaled.calc = start.calc
        found = relax(scaled, trust, with_cell=False)
        volumes.append(scaled.get_volume() / len(atoms))
        energies.append(found.energies[-1])
    volume, energy, modulus = EquationOfState(volumes, energies, eos="birchmurnaghan").fit()
    best = start.copy()
    best.set_cell(start.cell * (volume * len(atoms) / start.get_volume()) ** (1.0 / 3.0), scale_atoms=True)
    return State(best, np.array(volumes), np.array(energies), volume, energy, modulus)
