"""Phonon frequencies of silicon at Gamma and X, with phonopy: python3 phonons.py MODEL"""

import sys

import numpy as np
from ase import Atoms
from ase.build import bulk
from phonopy import Phonopy
from phonopy.structure.atoms import PhonopyAtoms

from melta.ase import Calculator

calculator = Calculator(sys.argv[1])
cell = bulk("Si", a=5.468)
unit = PhonopyAtoms(symbols=cell.get_chemical_symbols(), cell=cell.cell.array, positions=cell.positions)
phonon = Phonopy(unit, np.diag([3, 3, 3]))
phonon.generate_displacements(distance=0.02)
forces = []
for moved in phonon.supercells_with_displacements:
    atoms = Atoms(moved.symbols, moved.positions, cell=moved.cell, pbc=True, calculator=calculator)
    forces.append(atoms.get_forces())
phonon.forces = forces
phonon.produce_force_constants()
phonon.symmetrize_force_constants()
for name, point in (("Gamma", [0, 0, 0]), ("X", [0.5, 0, 0.5])):
    frequencies = phonon.get_frequencies(point)
    print(f"{name:5} " + " ".join(f"{frequency:6.2f}" for frequency in frequencies) + " THz")
