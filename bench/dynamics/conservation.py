#!/usr/bin/env python3
"""Total energy and pressure over time: how far constant energy drifts, and whether constant pressure agrees with it.

usage: bench/dynamics/conservation.py FFIELD [--work DIR] [--steps N] [--large CELLS] [--lattice A] [--jobs N]

Silicon, steps of 1 fs, at constant energy: 64 and 1,000 atoms, 300 and 1,500 K, with the exported force field and with
Stillinger and Weber's potential. The drift is the slope of a straight line through the total energy, the fluctuation
what is left around it. Then a crystal at 300 K and a melt at 2,000 K, made at 3,000 K, at no pressure (Nose and
Hoover's), and the mean pressure at constant energy in the mean volume that they end in, with its error from blocks: it
has to be none within the error.

FFIELD is the force field that `melta --export` writes, of silicon alone. Runs are kept in --work.
"""

from __future__ import annotations

import argparse
import statistics
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Sequence

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

from lammps import Host, Log, crystal, pair_style, parser_of, print_table, published, run, status_of  # noqa: E402

THERMO = """\
thermo {every}
thermo_style custom step temp pe etotal press vol
thermo_modify format float %.12g
"""
PICOSECOND = 1000.0  # steps
EQUILIBRATION = 0.25  # part of a run that is left out of means
BLOCKS = 10
MELTING = 3000.0  # K, that soon melt the crystal
MELTED = 1700.0  # K, above which a run begins so


def line_through(x: Sequence[float], y: Sequence[float]) -> tuple[float, float]:
    """Slope of the straight line of least squares, and the standard deviation around it."""
    slope, offset = statistics.linear_regression(x, y)
    return slope, statistics.pstdev([b - slope * a - offset for a, b in zip(x, y)])


def settled(values: Sequence[float]) -> Sequence[float]:
    return values[int(EQUILIBRATION * len(values)) :]


def mean_and_error(values: Sequence[float]) -> tuple[float, float]:
    """The mean, and its error from the means of blocks."""
    size = len(values) // BLOCKS
    means = [statistics.fmean(values[i * size : (i + 1) * size]) for i in range(BLOCKS)]
    return statistics.fmean(means), statistics.stdev(means) / BLOCKS**0.5


def drift_row(name: str, log: Log, temperature: float) -> list[str]:
    energies = [1000.0 * energy / log.atoms for energy in log.columns["TotEng"]]  # meV/atom
    slope, left = line_through([step / PICOSECOND for step in log.columns["Step"]], energies)
    reached = statistics.fmean(settled(log.columns["Temp"]))
    return [f"{name}, {log.atoms:,} atoms, {temperature:.0f} K", f"{reached:.0f}", f"{slope:+.5f}", f"{left:.4f}"]


def drift(arguments: argparse.Namespace, cells: int, temperature: float, name: str) -> list[str]:
    host, lattice = hosts(arguments)[name]
    text = crystal(host, cells, lattice, temperature) + THERMO.format(every=10)
    text += f"fix 1 all nve\nrun {arguments.steps}\n"
    folder = arguments.work / f"nve_{name}_{cells}_{temperature:.0f}"
    return drift_row(name, run(host, text, folder), temperature)


def at_no_pressure(host: Host, lattice: float, temperature: float, steps: int) -> str:
    """A run at no pressure that ends in its mean volume and goes on from there at constant energy."""
    hot = MELTING if temperature > MELTED else temperature
    first = crystal(host, 3, lattice, hot) + THERMO.format(every=10)
    melting = f"fix 1 all nvt temp {hot} {hot} 0.1\nrun {steps // 2}\nunfix 1\n"
    pressed = f"""\
fix 1 all npt temp {temperature} {temperature} 0.1 iso 0.0 0.0 1.0
run {steps // 4}
variable width equal lx
fix mean all ave/time 10 {3 * steps // 40} {3 * steps // 4} v_width
run {3 * steps // 4}
variable mean equal $(f_mean)
unfix 1
change_box all x final 0 ${{mean}} y final 0 ${{mean}} z final 0 ${{mean}} remap units box
fix 1 all nvt temp {temperature} {temperature} 0.1
run {steps // 10}
unfix 1
fix 1 all nve
run {steps}
"""
    return first + melting + pressed


def pressure(arguments: argparse.Namespace, temperature: float) -> list[str]:
    host, lattice = hosts(arguments)["melta"]
    text = at_no_pressure(host, lattice, temperature, arguments.steps)
    log = run(host, text, arguments.work / f"npt_{temperature:.0f}")
    mean, error = mean_and_error(log.columns["Press"])
    edge = (log.columns["Volume"][0]) ** (1.0 / 3.0) / 3.0
    energies = [1000.0 * energy / log.atoms for energy in log.columns["TotEng"]]
    slope, _ = line_through([step / PICOSECOND for step in log.columns["Step"]], energies)
    return [
        f"{log.atoms} atoms, {temperature:.0f} K",
        f"{statistics.fmean(log.columns['Temp']):.0f}",
        f"{edge:.4f}",
        f"{mean / 1.0e4:+.3f} +- {error / 1.0e4:.3f}",
        f"{slope:+.5f}",
    ]


def hosts(arguments: argparse.Namespace) -> dict[str, tuple[Host, float]]:
    """Potentials with their lattice constants, Angstrom."""
    return {
        "melta": (pair_style(arguments.ffield.resolve()), arguments.lattice),
        "Stillinger-Weber": (published("sw", "Si.sw"), 5.431),
    }


def work(arguments: argparse.Namespace) -> None:
    with ThreadPoolExecutor(arguments.jobs) as pool:
        melts = [pool.submit(pressure, arguments, temperature) for temperature in (300.0, 2000.0)]
        crystals = [
            pool.submit(drift, arguments, cells, temperature, name)
            for cells in (arguments.large, 2)
            for temperature in (1500.0, 300.0)
            for name in hosts(arguments)
        ]
        head = ["constant energy", "mean temperature, K", "drift, meV/atom/ps", "fluctuation, meV/atom"]
        print_table(head, [row.result() for row in reversed(crystals)])
        print()
        head = ["constant pressure 0, then constant energy", "mean temperature, K", "edge of 8 atoms, Angstrom"]
        print_table([*head, "mean pressure, GPa", "drift, meV/atom/ps"], [row.result() for row in melts])


def parse_arguments() -> argparse.Namespace:
    parser = parser_of(__doc__)
    parser.add_argument("ffield", type=Path)
    parser.add_argument("--work", type=Path, default=Path("conservation"))
    parser.add_argument("--steps", type=int, default=20000)
    parser.add_argument("--large", type=int, default=5, help="cubic cells along an edge of the larger crystal")
    parser.add_argument("--lattice", type=float, default=5.466, help="lattice constant of FFIELD, Angstrom")
    parser.add_argument("--jobs", type=int, default=1, help="runs at the same time")
    return parser.parse_args()


if __name__ == "__main__":
    sys.exit(status_of(lambda: work(parse_arguments())))
