"""Relaxes silicon, atoms and cell: python3 relax.py MODEL"""

import sys

from ase.build import bulk
from ase.constraints import UnitCellFilter
from ase.optimize import BFGS

from melta.ase import Calculator

atoms = bulk("Si", a=5.6, cubic=True)
atoms.rattle(0.05, seed=1)
atoms.calc = Calculator(sys.argv[1])
BFGS(UnitCellFilter(atoms)).run(fmax=0.01, steps=200)
print(f"lattice constant  {atoms.get_volume() ** (1 / 3):.4f} Angstrom")
print(f"energy            {atoms.get_potential_energy() / len(atoms):.4f} eV/atom")
print(f"spread            {atoms.calc.results['energy_std'] / len(atoms):.4f} eV/atom")
print(f"novel atoms       {atoms.calc.results['novelty'].sum()}")
