"""Whether a model knows the places that it is asked about."""

from __future__ import annotations

import numpy as np
from ase import Atoms

# Root mean square distance of the networks' force vectors from their mean, eV/Angstrom.
DEFAULT_LIMIT = 0.2


class Trust:
    """Watches the spread of the networks and the novelty of atoms.

    ``limit`` is the spread of the force on an atom, eV/Angstrom, from which on the model is not believed.
    """

    def __init__(self, limit: float = DEFAULT_LIMIT):
        self.limit = limit
        self.structures = 0
        self.spread_forces = 0.0  # largest of an atom so far, eV/Angstrom
        self.spread_energy = 0.0  # largest so far, eV/atom
        self.novel_structures = 0  # with atoms that the training data do not cover
        self.novel_atoms = 0  # most of them in a structure
        self.has_spread = True

    def see(self, atoms: Atoms) -> None:
        """Takes the results of the atoms' calculator, which has to have been asked before."""
        results = atoms.calc.results
        if "novelty" not in results:
            return
        self.has_spread = atoms.calc.potential.num_models > 1
        novel = int(np.count_nonzero(results["novelty"]))
        self.structures += 1
        self.novel_structures += novel > 0
        self.novel_atoms = max(self.novel_atoms, novel)
        self.spread_forces = max(self.spread_forces, float(results["forces_std"].max()))
        self.spread_energy = max(self.spread_energy, results["energy_std"] / len(atoms))

    def lines(self) -> list[str]:
        """What was seen, and warnings where the model is not to be believed."""
        if not self.structures:
            return []
        if self.has_spread:
            values = f"{1000 * self.spread_energy:.2f} meV/atom, {self.spread_forces:.4f} eV/Angstrom"
            found = [f"largest spread    {values}"]
        else:
            found = ["largest spread    unknown: the model has one network"]
        return found + [f"WARNING: {text}" for text in self.warnings()]

    def warnings(self) -> list[str]:
        found = []
        if self.spread_forces > self.limit:
            found.append(f"the networks disagree on forces by more than {self.limit:g} eV/Angstrom")
        if self.novel_structures:
            found.append(
                f"{self.novel_structures} of {self.structures} structures have atoms that the training data do not "
                f"cover, up to {self.novel_atoms} in one"
            )
        return found
