"""Equation of state and elastic constants of cubic silicon: python3 elasticity.py MODEL"""

import sys

import numpy as np
from ase.build import bulk
from ase.eos import EquationOfState
from ase.optimize import BFGS
from ase.units import GPa

from melta.ase import Calculator

calculator = Calculator(sys.argv[1])

volumes, energies = [], []
for a in np.linspace(5.3, 5.65, 15):
    atoms = bulk("Si", a=a, cubic=True)
    atoms.calc = calculator
    volumes.append(atoms.get_volume())
    energies.append(atoms.get_potential_energy())
volume, energy, modulus = EquationOfState(volumes, energies, eos="birchmurnaghan").fit()
a = volume ** (1 / 3)
print(f"lattice constant  {a:.4f} Angstrom")
print(f"bulk modulus      {modulus / GPa:.1f} GPa")


def stress_of(strain):
    """The stress (6,), GPa, of the crystal under a strain (3, 3), with its atoms relaxed."""
    atoms = bulk("Si", a=a, cubic=True)
    atoms.set_cell(atoms.cell @ (np.eye(3) + strain), scale_atoms=True)
    atoms.calc = calculator
    BFGS(atoms, logfile=None).run(fmax=0.002, steps=200)
    return atoms.get_stress() / GPa


step = 0.005
stretch = np.diag([step, 0.0, 0.0])
shear = np.array([[0.0, 0.0, 0.0], [0.0, 0.0, step], [0.0, step, 0.0]])
stretched = (stress_of(stretch) - stress_of(-stretch)) / (2 * step)
sheared = (stress_of(shear) - stress_of(-shear)) / (4 * step)
print(f"C11               {stretched[0]:.1f} GPa")
print(f"C12               {stretched[1]:.1f} GPa")
print(f"C44               {sheared[3]:.1f} GPa")
