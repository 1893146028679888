"""Neural-network interatomic potentials: trained models from Python.

    >>> import melta
    >>> potential = melta.Potential("model")          # a directory, or a file such as ffield.melta
    >>> potential.energy(positions, numbers, cell)    # eV

``melta.ase`` has a calculator for ASE, ``melta.datafile`` reads and writes training data.
Units are eV, Angstrom, eV/Angstrom and e; stress is in eV/Angstrom^3, positive under tension.
"""

from ._core import Error, version
from .potential import Evaluator, Potential

__version__ = version()
__all__ = ["Error", "Evaluator", "Potential", "__version__"]
