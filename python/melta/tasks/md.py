"""A short run of molecular dynamics at constant energy, and how well it keeps that."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional

import numpy as np
from ase import Atoms
from ase.io import write
from ase.md.velocitydistribution import MaxwellBoltzmannDistribution, Stationary
from ase.md.verlet import VelocityVerlet
from ase.units import fs

from ..datafile import replace_file
from . import structures
from .trust import Trust

COLUMNS = ("time_fs", "potential_eV_per_atom", "total_eV_per_atom", "temperature_K", "spread_eV_per_A", "novel_atoms")
FRAMES = 100  # of the trajectory, at most about as many


@dataclass
class Trajectory:
    """rows (points, 6), as COLUMNS say; frames are some of the structures."""

    rows: np.ndarray
    frames: list

    def drift(self) -> float:
        """Slope of the total energy, meV/atom/ps."""
        return float(np.polyfit(self.rows[:, 0], self.rows[:, 2], 1)[0] * 1e6)

    def noise(self) -> float:
        """Standard deviation of the total energy around its slope, meV/atom."""
        line = np.polyval(np.polyfit(self.rows[:, 0], self.rows[:, 2], 1), self.rows[:, 0])
        return float(np.std(self.rows[:, 2] - line) * 1000.0)

    def lines(self) -> list[str]:
        later = self.rows[len(self.rows) // 2 :]
        return [
            f"atoms             {len(self.frames[0])}",
            f"time              {self.rows[-1, 0] / 1000:.3f} ps",
            f"temperature       {later[:, 3].mean():.0f} K, in the second half",
            f"drift             {self.drift():+.3f} meV/atom/ps",
            f"fluctuation       {self.noise():.3f} meV/atom",
        ]

    def write(self, prefix: str) -> str:
        rows = [",".join(f"{value:.8g}" for value in row) + "\n" for row in self.rows]
        replace_file(prefix + ".csv", [",".join(COLUMNS) + "\n", *rows])
        write(prefix + ".extxyz", self.frames)
        return f"{prefix}.csv {prefix}.extxyz"

    def draw(self):
        from ..plot import style

        figure, axes = style.panels(1, 3, height=2.6)
        times, energies = self.rows[:, 0] / 1000.0, self.rows[:, 1:3]
        energy, temperature, spread = axes[0]
        for index, (name, values) in enumerate(zip(("potential", "total"), energies.T)):
            energy.plot(times, 1000.0 * (values - energies[0, index]), label=name, **style.line_of(index))
        energy.set(title=f"Drift {self.drift():+.3f} meV/atom/ps", ylabel="energy since the start, meV/atom")
        energy.legend()
        temperature.plot(times, self.rows[:, 3], **style.line_of(0))
        temperature.set(title="Temperature", ylabel="K")
        spread.plot(times, self.rows[:, 4], **style.line_of(0))
        spread.set(title="Spread of forces", ylabel="largest of an atom, eV/Angstrom")
        for panel in axes[0]:
            panel.set(xlabel="time, ps")
        return figure


def dynamics(
    atoms: Atoms,
    trust: Optional[Trust] = None,
    temperature: float = 300.0,
    steps: int = 1000,
    step: float = 1.0,
    length: float = 10.0,
    seed: int = 1,
) -> Trajectory:
    """Moves a supercell with images ``length`` apart, Angstrom, from velocities of the temperature, K, in steps of
    ``step`` fs. A crystal at rest settles near half of the temperature, as its atoms take the other half."""
    if structures.is_crystal(atoms):
        moved = structures.supercell(atoms, length)
    else:
        moved = atoms.copy()
        moved.calc = atoms.calc
    MaxwellBoltzmannDistribution(moved, temperature_K=temperature, rng=np.random.default_rng(seed))
    Stationary(moved)
    rows: list = []
    frames: list = []
    run = VelocityVerlet(moved, step * fs)

    def observe() -> None:
        rows.append(row_of(moved, run.nsteps * step))
        if run.nsteps % max(1, steps // FRAMES) == 0:
            frames.append(moved.copy())
        if trust is not None:
            trust.see(moved)

    run.attach(observe)
    run.run(steps)
    return Trajectory(np.array(rows), frames)


def row_of(atoms: Atoms, time: float) -> list:
    """The values of COLUMNS, time in fs."""
    potential, total = atoms.get_potential_energy() / len(atoms), atoms.get_total_energy() / len(atoms)
    results = atoms.calc.results
    spread = results["forces_std"].max() if "forces_std" in results else np.nan
    novel = np.count_nonzero(results["novelty"]) if "novelty" in results else np.nan
    return [time, potential, total, atoms.get_temperature(), spread, novel]
