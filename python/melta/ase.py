"""A calculator for ASE.

    >>> from ase.build import bulk
    >>> from melta.ase import Calculator
    >>> atoms = bulk("Si")
    >>> atoms.calc = Calculator("model")
    >>> atoms.get_potential_energy()
"""

from __future__ import annotations

from ase.calculators import calculator as ase_calculator

from .potential import Evaluator, Potential

ALWAYS = ("energy", "energies", "forces")
OF_VOLUME = ("stress", "virials")
UNCERTAINTY = ("energy_std", "forces_std", "novelty")


class Results(dict):
    """The results that ASE knows, and beside them, for those who ask by name, ``others``.

    ASE goes through all results of a calculator where it keeps them, as in a nudged elastic band with one calculator
    for all images, and refuses names that it does not know.
    """

    def __init__(self, known: dict, others: dict):
        super().__init__(known)
        self.others = others

    def __missing__(self, name):
        return self.others[name]

    def __contains__(self, name) -> bool:
        return super().__contains__(name) or name in self.others

    def get(self, name, default=None):
        return self[name] if name in self else default


class Calculator(ase_calculator.Calculator):
    """Energies, forces, stress and their spread from a trained model.

    potential
        A ``melta.Potential`` or the path of one: the directory of a training or an exported force field.
    skin
        How much further than needed neighbour lists reach, Angstrom; they are kept while atoms and cell move
        little.
    uncertainty
        Whether ``results`` also has ``energy_std`` (eV), ``forces_std`` (n,), eV/Angstrom, and ``novelty``
        (n,), bool, as ``Potential.compute`` defines them. They cost as much as half an evaluation. ASE does not know
        them, so that ``results.items()`` is without them.
    labels
        Names of the atoms' elements (n,) in the model, for models in which several have one atomic number.

    ``energy`` and ``free_energy`` are the same. ``stresses`` are the atoms' shares of ``stress``. Both are there
    for cells of a volume only, ``charges`` for models with charges.
    """

    implemented_properties = ["energy", "free_energy", "energies", "forces", "stress", "stresses", "charges"]
    discard_results_on_any_change = True

    def __init__(self, potential, skin: float = 0.5, uncertainty: bool = True, labels=None, **kwargs):
        self.potential = potential if isinstance(potential, Potential) else Potential(potential)
        self.uncertainty = uncertainty
        self.labels = labels
        self._evaluator = Evaluator(self.potential, skin)
        if not self.potential.has_charges:
            self.implemented_properties = [name for name in self.implemented_properties if name != "charges"]
        super().__init__(**kwargs)

    def __deepcopy__(self, memo):
        # Lists and memory of evaluations belong to one object.
        return type(self)(self.potential, self._evaluator.skin, self.uncertainty, self.labels)

    @property
    def builds(self) -> int:
        """How often neighbour lists were built so far."""
        return self._evaluator.builds

    def calculate(self, atoms=None, properties=("energy",), system_changes=ase_calculator.all_changes):
        super().calculate(atoms, properties, system_changes)
        atoms = self.atoms
        has_volume = atoms.cell.rank == 3
        wanted = ALWAYS + (OF_VOLUME if has_volume else ()) + (UNCERTAINTY if self.uncertainty else ())
        if "charges" in properties:
            wanted += ("charges",)
        numbers = atoms.numbers if self.labels is None else self.labels
        found = self._evaluator.compute(atoms.positions, numbers, atoms.cell.array, atoms.pbc, wanted)
        known = {name: found[name] for name in wanted if name in ase_calculator.all_properties}
        known["free_energy"] = found["energy"]
        if has_volume:
            known["stresses"] = -found["virials"] / atoms.get_volume()
        self.results = Results(known, {name: found[name] for name in wanted if name in UNCERTAINTY})
