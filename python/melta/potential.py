"""Trained potentials for NumPy arrays."""

from __future__ import annotations

import os
from typing import Iterable, Sequence

import numpy as np

from . import _core
from ._box import Box

Wish = _core.Wish

# What is evaluated for each property that may be asked for.
WISHES = {
    "energy": (Wish.energy,),
    "energies": (Wish.energy,),
    "forces": (Wish.forces,),
    "stress": (Wish.virial,),
    "virial": (Wish.virial,),
    "virials": (Wish.atom_virials,),
    "charges": (Wish.charges,),
    "energy_std": (Wish.model_energies,),
    "model_energies": (Wish.model_energies,),
    "forces_std": (Wish.forces, Wish.model_forces),
    "model_forces": (Wish.forces, Wish.model_forces),
    "novelty": (Wish.novelty,),
    "excess": (Wish.novelty,),
    "descriptors": (Wish.descriptors,),
}
DEFAULT = ("energy", "forces")


def _wishes_of(properties: Iterable[str]) -> list:
    wishes = []
    for name in [properties] if isinstance(properties, str) else properties:
        if name not in WISHES:
            raise ValueError(f"unknown property: {name} (known are {', '.join(WISHES)})")
        wishes += WISHES[name]
    return wishes


def _add_stress(results: dict, cell) -> dict:
    """Adds the stress where the cell of the user has a volume."""
    if "virial" in results and cell is not None:
        volume = abs(np.linalg.det(cell))
        if volume > 0.0:
            results["stress"] = -results["virial"] / volume
    return results


class Potential:
    """A trained model.

    ``path`` is the directory of a training (``melta.data`` and its companions) or an exported force field
    (``ffield.melta``). The object does not change; any number of threads may use it at once, and evaluations
    release the interpreter's lock.

    Arguments of all functions:

    positions
        (n, 3), float64, Angstrom, inside the cell or not.
    numbers
        (n,), atomic numbers, or labels of elements as ``elements`` has them.
    cell
        (3, 3), float64, rows are the cell vectors, Angstrom. None: a cluster in vacuum.
    pbc
        Whether the directions of the cell are periodic: one or three truth values. None: they are where a
        cell is given.

    Results are float64 arrays, descriptors float32. What is wrong is raised as ``melta.Error`` in the words of the command, arrays
    of other shapes as ``ValueError``.
    """

    def __init__(self, path):
        self.path = os.fspath(path)
        self._core = _core.Potential(os.fsencode(path))
        self._by_number: dict[int, list[int]] = {}
        for index, label in enumerate(self.elements):
            self._by_number.setdefault(_core.atomic_number(label), []).append(index)

    def __reduce__(self):
        return (type(self), (self.path,))

    def __repr__(self) -> str:
        return f"melta.Potential({self.path!r}): {' '.join(self.elements)}, {self.num_models} networks"

    @property
    def elements(self) -> list[str]:
        """Labels of the elements that the model knows."""
        return self._core.elements

    @property
    def cutoff(self) -> float:
        """Longest distance of a neighbour that acts on the energy of an atom, Angstrom."""
        return self._core.cutoff

    @property
    def influence_distance(self) -> float:
        """How far the energy of an atom reaches at most, with the baseline, Angstrom."""
        return self._core.influence_distance

    @property
    def num_models(self) -> int:
        """Networks that are averaged."""
        return self._core.num_models

    @property
    def has_charges(self) -> bool:
        return self._core.has_charges

    @property
    def has_histograms(self) -> bool:
        """Whether novelty is judged by histograms of the training data; otherwise by their range."""
        return self._core.has_histograms

    @property
    def descriptor(self) -> str:
        """The kind of descriptors, such as ``chebyshev``."""
        return self._core.descriptor

    @property
    def num_descriptors(self) -> int:
        """How many numbers describe the neighbourhood of an atom."""
        return self._core.num_descriptors

    def element_indices(self, numbers) -> np.ndarray:
        """Places (n,) of the atoms' elements in ``elements``. Raises Error for an element that is not there."""
        numbers = np.asarray(numbers)
        if numbers.ndim != 1:
            raise ValueError("numbers have to have the shape (n,)")
        kinds, places = np.unique(numbers, return_inverse=True)
        indices = np.array([self._index_of(kind) for kind in kinds.tolist()], dtype=np.intc)
        return indices[places] if len(kinds) else np.zeros(0, dtype=np.intc)

    def _index_of(self, kind) -> int:
        if isinstance(kind, str):
            if kind not in self.elements:
                raise _core.Error(f"the model does not know the element: {kind}")
            return self.elements.index(kind)
        if kind != int(kind):
            raise ValueError("numbers have to be whole")
        found = self._by_number.get(int(kind), [])
        if not found or kind < 1:
            raise _core.Error(f"the model does not know the atomic number: {kind}")
        if len(found) > 1:
            names = " ".join(self.elements[index] for index in found)
            raise _core.Error(f"several elements of the model have the atomic number {kind}, use labels: {names}")
        return found[0]

    def compute(self, positions, numbers, cell=None, pbc=None, properties: Iterable[str] = DEFAULT) -> dict:
        """Several properties at once, as a dictionary.

        ``properties`` are among

        energy, energies
            float, eV; (n,), eV, the atoms' shares.
        forces
            (n, 3), eV/Angstrom.
        stress, virial, virials
            (6,), eV/Angstrom^3, positive under tension; (6,), eV, minus the stress times the volume; (n, 6), eV,
            the atoms' shares. In the order xx, yy, zz, yz, xz, xy. There is no stress without a cell of a volume.
        charges
            (n,), e; for models that have them.
        model_energies, energy_std
            (num_models,), eV: the energy of each network; float, eV: their standard deviation.
        model_forces, forces_std
            (num_models, n, 3), eV/Angstrom; (n,), eV/Angstrom: root of the mean square distance of the networks'
            force vectors from their mean.
        novelty, excess
            (n,), bool: True where the descriptor of an atom lies outside of what the training data cover; float:
            how far the farthest one lies outside the range of the training data, in half widths of the range.
        descriptors
            (n, num_descriptors), float32: the descriptors of the atoms as the networks see them, those of the
            training data between -1 and 1.
        """
        return Evaluator(self, skin=0.0).compute(positions, numbers, cell, pbc, properties)

    def compute_many(
        self, structures: Sequence, properties: Iterable[str] = DEFAULT, threads: int | None = None
    ) -> list[dict]:
        """As ``compute`` for many structures, each a tuple of its first arguments, on several threads.

        threads: None for as many as there are processors. Results do not depend on it.
        """
        if threads is None:
            threads = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 1
        wishes = _wishes_of(properties)
        ready, cells = [], []
        for positions, numbers, *more in structures:
            cell, pbc = (tuple(more) + (None, None))[:2]
            positions = np.asarray(positions, dtype=np.float64)
            box = Box(self.influence_distance).enclose(positions, cell, pbc)
            ready.append((positions, self.element_indices(numbers), box))
            cells.append(cell)
        results = _core.evaluate_many(self._core, ready, wishes, threads)
        return [_add_stress(one, cell) for one, cell in zip(results, cells)]

    def energy(self, positions, numbers, cell=None, pbc=None) -> float:
        """Total energy, eV."""
        return self.compute(positions, numbers, cell, pbc, ("energy",))["energy"]

    def energies(self, positions, numbers, cell=None, pbc=None) -> np.ndarray:
        """Energies of the atoms (n,), eV."""
        return self.compute(positions, numbers, cell, pbc, ("energies",))["energies"]

    def forces(self, positions, numbers, cell=None, pbc=None) -> np.ndarray:
        """Forces (n, 3), eV/Angstrom."""
        return self.compute(positions, numbers, cell, pbc, ("forces",))["forces"]

    def stress(self, positions, numbers, cell, pbc=None) -> np.ndarray:
        """Stress (6,), xx yy zz yz xz xy, eV/Angstrom^3, positive under tension."""
        results = self.compute(positions, numbers, cell, pbc, ("stress",))
        if "stress" not in results:
            raise ValueError("there is no stress without a cell of a volume")
        return results["stress"]

    def virials(self, positions, numbers, cell=None, pbc=None) -> np.ndarray:
        """Virials of the atoms (n, 6), xx yy zz yz xz xy, eV."""
        return self.compute(positions, numbers, cell, pbc, ("virials",))["virials"]

    def charges(self, positions, numbers, cell=None, pbc=None) -> np.ndarray:
        """Charges (n,), e. Raises Error for a model without."""
        return self.compute(positions, numbers, cell, pbc, ("charges",))["charges"]

    def spread(self, positions, numbers, cell=None, pbc=None) -> tuple[float, np.ndarray]:
        """Standard deviation of the networks' energies, eV, and that of their forces (n,), eV/Angstrom."""
        results = self.compute(positions, numbers, cell, pbc, ("energy_std", "forces_std"))
        return results["energy_std"], results["forces_std"]

    def descriptors(self, positions, numbers, cell=None, pbc=None) -> np.ndarray:
        """Descriptors of the atoms (n, num_descriptors), as the networks see them."""
        return self.compute(positions, numbers, cell, pbc, ("descriptors",))["descriptors"]

    def novelty(self, positions, numbers, cell=None, pbc=None) -> np.ndarray:
        """Which atoms (n,) the training data do not cover."""
        return self.compute(positions, numbers, cell, pbc, ("novelty",))["novelty"]


class Evaluator:
    """Evaluates one structure after the other as it moves.

    Neighbour lists reach further than they have to by ``skin`` (Angstrom) and are kept while they hold all
    neighbours, whatever moves, atoms or cell. Results are those of ``Potential.compute``.
    """

    def __init__(self, potential: Potential, skin: float = 0.5):
        self.potential = potential
        self.skin = skin
        self._core = _core.Evaluator(potential._core, skin)
        self._box = Box(potential.influence_distance + skin)

    @property
    def builds(self) -> int:
        """How often neighbour lists were built so far."""
        return self._core.builds

    def compute(self, positions, numbers, cell=None, pbc=None, properties: Iterable[str] = DEFAULT) -> dict:
        """As ``Potential.compute``."""
        positions = np.asarray(positions, dtype=np.float64)
        elements = self.potential.element_indices(numbers)
        box = self._box.enclose(positions, cell, pbc)
        return _add_stress(self._core.evaluate(positions, elements, box, _wishes_of(properties)), cell)
