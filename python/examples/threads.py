"""Energies of many structures with threads, without ASE: python3 threads.py MODEL melta.test"""

import sys

import numpy as np

import melta
from melta import datafile

potential = melta.Potential(sys.argv[1])
structures = list(datafile.read(sys.argv[2]))
listed = [(one.positions, one.labels, one.cell) for one in structures]
found = potential.compute_many(listed, properties=("energy", "energy_std", "forces", "novelty"))
errors = [(new["energy"] - one.energy) / len(one.labels) for new, one in zip(found, structures)]
print(f"{potential!r}")
print(f"RMSE of energies  {1000 * np.sqrt(np.mean(np.square(errors))):.2f} meV/atom")
print(f"novel atoms       {sum(int(new['novelty'].sum()) for new in found)}")
