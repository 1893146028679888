"""Formation energy of a vacancy."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional

import numpy as np
from ase import Atoms
from ase.geometry import get_distances

from ..structure import DataError
from . import structures
from .relax import Relaxation, relax
from .trust import Trust


@dataclass
class Vacancy:
    """A supercell without an atom.

    crystal
        The relaxed supercell with all its atoms.
    relaxation
        That of the cell without the atom.
    place
        Where the atom was (3,), Angstrom.
    unrelaxed, relaxed
        Energies of formation, eV, with the atoms in their old places and after they have moved.
    """

    crystal: Atoms
    relaxation: Relaxation
    place: np.ndarray
    unrelaxed: float
    relaxed: float

    def distances(self) -> tuple[np.ndarray, np.ndarray]:
        """How far the atoms were from the vacancy and how far they have moved [atoms], Angstrom."""
        before = remaining(self.crystal, self.place).positions
        after = self.relaxation.atoms.positions
        far = get_distances(self.place[None], before, cell=self.crystal.cell, pbc=True)[1][0]
        return far, np.linalg.norm(after - before, axis=1)

    def lines(self) -> list[str]:
        found = [] if self.relaxation.is_converged else ["WARNING: the relaxation has not converged"]
        return found + [
            f"atoms             {len(self.relaxation.atoms)}",
            f"unrelaxed         {self.unrelaxed:.3f} eV",
            f"formation energy  {self.relaxed:.3f} eV",
            f"farthest move     {self.distances()[1].max():.3f} Angstrom",
        ]

    def write(self, prefix: str) -> str:
        return self.relaxation.write(prefix)

    def draw(self):
        from ..plot import style

        figure, axes = style.panels(1, 2, height=2.6)
        energies = np.array(self.relaxation.energies) * len(self.relaxation.atoms)
        axes[0][0].plot(self.relaxed + energies - energies[-1], **style.line_of(0))
        axes[0][0].set(title=f"Formation energy {self.relaxed:.3f} eV", xlabel="step", ylabel="eV")
        axes[0][1].plot(*self.distances(), "o", markersize=3, color=style.COLOURS[0])
        axes[0][1].set(title="Moves of the atoms", xlabel="distance from the vacancy, Angstrom", ylabel="Angstrom")
        return figure


def remaining(crystal: Atoms, place: np.ndarray) -> Atoms:
    """The crystal without the atom at this place, with its calculator."""
    found = crystal.copy()
    del found[int(np.argmin(get_distances(place[None], crystal.positions, cell=crystal.cell, pbc=True)[1][0]))]
    found.calc = crystal.calc
    return found


def vacancy(
    atoms: Atoms,
    trust: Optional[Trust] = None,
    length: float = 10.0,
    atom: int = 0,
    reservoir: Optional[float] = None,
    fmax: float = 0.01,
) -> Vacancy:
    """Relaxes the crystal, takes an atom out of a supercell whose images are ``length`` apart, Angstrom, and relaxes
    the others in the cell of the crystal.

    reservoir
        Energy that the atom has where it goes, eV; None: that of an atom in the crystal, of one element. Raises
        DataError where that means nothing.
    """
    structures.require_crystal(atoms)
    if not 0 <= atom < len(atoms):
        raise DataError(f"there is no atom {atom} among {len(atoms)}.")
    if reservoir is None and len(set(atoms.symbols)) > 1:
        raise DataError("a vacancy of a compound needs the energy of its atom elsewhere: --reservoir.")
    crystal = structures.supercell(relax(atoms, trust).atoms, length)
    whole = crystal.get_potential_energy()
    if reservoir is None:
        reservoir = whole / len(crystal)
    place = crystal.positions[atom].copy()
    found = relax(remaining(crystal, place), trust, fmax=fmax, with_cell=False)
    first, last = (found.energies[i] * len(found.atoms) - whole + reservoir for i in (0, -1))
    return Vacancy(crystal, found, place, first, last)
