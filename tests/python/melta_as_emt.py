"""A plugin of pytest: puts our calculator in the place of ASE's potential for metals, in ASE's own tests.

The environment variable MELTA_MODEL names the model. The last line of the tests tells how many structures it evaluated.
"""

from __future__ import annotations

import os

import ase.calculators.emt

from melta import Potential
from melta.ase import Calculator

POTENTIAL = Potential(os.environ["MELTA_MODEL"])


class Substitute(Calculator):
    """Our calculator, made without arguments."""

    evaluated = 0

    def __init__(self, **options):
        super().__init__(POTENTIAL, **options)

    def calculate(self, *arguments, **options):
        Substitute.evaluated += 1
        super().calculate(*arguments, **options)


ase.calculators.emt.EMT = Substitute


def pytest_unconfigure(config) -> None:
    print(f"\nevaluated by melta: {Substitute.evaluated}")
