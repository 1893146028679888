"""Phonons of a crystal from forces of displaced atoms."""

from __future__ import annotations

import tempfile
from dataclasses import dataclass
from pathlib import Path
from typing import Optional

import numpy as np
from ase import Atoms
from ase.phonons import Phonons
from ase.units import _e, _hplanck

from ..datafile import replace_file
from . import structures
from .relax import relax
from .trust import Trust

THZ = _e / _hplanck * 1e-12  # of an energy in eV
POINTS = 120  # along the path
GRID = 15  # of the density of states, in each direction of a cell of one atom
BINS = 60
UNSTABLE = -0.1  # THz; between it and 0 there is the noise of single precision


@dataclass
class Bands:
    """Frequencies in THz, negative for imaginary ones.

    places
        Where along the path the points lie [points], 1/Angstrom.
    bands
        (points, branches).
    corners
        Places and names of the special points, and their frequencies: (place, name, [branches]).
    grid
        Frequencies on a grid of the Brillouin zone [any number].
    """

    atoms: Atoms
    places: np.ndarray
    bands: np.ndarray
    corners: list
    grid: np.ndarray

    def lines(self) -> list[str]:
        found, told = [f"lattice           {structures.lattice_text(self.atoms)}"], set()
        for _, name, values in self.corners:
            if name not in told:
                told.add(name)
                found.append(f"{name:17} " + " ".join(f"{round(value, 2) + 0.0:6.2f}" for value in values) + " THz")
        lowest = float(self.bands.min())
        if lowest < UNSTABLE:
            found.append(f"WARNING: frequencies are imaginary, down to {lowest:.2f} THz: the crystal is not stable")
        return found

    def write(self, prefix: str) -> str:
        head = "place_per_A," + ",".join(f"branch{i + 1}_THz" for i in range(self.bands.shape[1])) + "\n"
        rows = [
            ",".join(f"{value:.6f}" for value in (place, *values)) + "\n"
            for place, values in zip(self.places, self.bands)
        ]
        replace_file(prefix + ".csv", [head, *rows])
        return prefix + ".csv"

    def draw(self):
        from ..plot import style

        figure, axes = style.panels(1, 2, width=3.4)
        bands, density = axes[0]
        bands.plot(self.places, self.bands, color=style.COLOURS[0])
        for place, _, _ in self.corners:
            bands.axvline(place, color="0.7", linewidth=0.7)
        bands.set_xticks([place for place, _, _ in self.corners])
        bands.set_xticklabels([name for _, name, _ in self.corners])
        bands.set(title="Bands", ylabel="frequency, THz", xlim=(self.places[0], self.places[-1]))
        bands.axhline(0.0, color="0.5", linewidth=0.7)
        density.hist(self.grid, bins=BINS, density=True, orientation="horizontal", color=style.COLOURS[0])
        density.set(title="Density of states", xlabel="1/THz", ylim=bands.get_ylim())
        return figure


class _Watched(Phonons):
    """Tells a Trust of each structure."""

    trust: Optional[Trust] = None

    def __call__(self, atoms_N):
        forces = super().__call__(atoms_N)
        if self.trust is not None:
            self.trust.see(atoms_N)
        return forces


def phonons(
    atoms: Atoms, trust: Optional[Trust] = None, length: float = 10.0, displacement: float = 0.02
) -> Bands:
    """Relaxes the crystal and displaces each atom both ways in each direction, Angstrom, in a supercell whose images
    are ``length`` apart."""
    structures.require_crystal(atoms)
    start = relax(atoms, trust, fmax=0.002).atoms
    # As many cells on both sides: interactions at the border then have one place.
    counts = structures.repeats(start, length, only_odd=True)
    with tempfile.TemporaryDirectory(prefix="melta-phonons-") as directory:
        found = _Watched(start, start.calc, supercell=counts, delta=displacement, name=str(Path(directory) / "forces"))
        found.trust = trust
        found.run()
        found.read(acoustic=True)
    return bands_of(start, found)


def bands_of(atoms: Atoms, found: Phonons) -> Bands:
    """Frequencies along the usual path of the lattice."""
    path = atoms.cell.bandpath(npoints=POINTS)
    places, corners, names = path.get_linear_kpoint_axis()
    bands = THZ * np.array(found.band_structure(path.kpts, verbose=False))
    at = [int(np.argmin(np.abs(places - corner))) for corner in corners]
    everywhere = THZ * np.array(found.band_structure(grid_of(len(atoms)), verbose=False)).ravel()
    listed = [(corner, "Gamma" if name == "G" else name, bands[i]) for corner, name, i in zip(corners, names, at)]
    return Bands(atoms, places, bands, listed, everywhere)


def grid_of(num_atoms: int) -> np.ndarray:
    """Points (n, 3) of the Brillouin zone, in reciprocal vectors: fewer for a larger cell, whose zone is smaller."""
    steps = max(3, round(GRID / num_atoms ** (1.0 / 3.0)))
    middles = (np.arange(steps) + 0.5) / steps - 0.5
    return np.stack(np.meshgrid(middles, middles, middles, indexing="ij"), -1).reshape(-1, 3)
