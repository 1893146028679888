"""Barrier of a jump of a silicon atom into a vacancy, by a nudged elastic band: python3 vacancy_jump.py MODEL"""

import sys

import numpy as np
from ase.neb import NEB
from ase.optimize import FIRE

from melta import Potential
from melta.ase import Calculator
from melta.tasks import structures, trust, vacancy
from melta.tasks.relax import relax

potential = Potential(sys.argv[1])
watch = trust.Trust()
crystal = structures.atoms_of("Si:diamond")
crystal.calc = Calculator(potential)

# The first atom is missing; at the end its neighbour is in its place.
found = vacancy.vacancy(crystal, watch, length=8.0)
start = found.relaxation.atoms
neighbour = int(np.argmin(found.crystal.get_distances(0, range(1, len(found.crystal)), mic=True)))
jumped = start.copy()
jumped.positions[neighbour] = found.place
jumped.calc = Calculator(potential)
end = relax(jumped, watch, with_cell=False).atoms

images = [start] + [start.copy() for _ in range(3)] + [end]
for image in images:
    image.calc = Calculator(potential)
band = NEB(images, climb=True)
band.interpolate(mic=True)
FIRE(band, logfile=None).run(fmax=0.05, steps=200)

energies = []
for image in images:
    energies.append(image.get_potential_energy())
    watch.see(image)
print(f"formation energy  {found.relaxed:.3f} eV")
print("path              " + " ".join(f"{energy - energies[0]:.3f}" for energy in energies) + " eV")
print(f"barrier           {max(energies) - energies[0]:.3f} eV")
print("\n".join(watch.lines()))
