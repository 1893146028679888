#!/usr/bin/env python3
"""Silicon from the crystal to the melt: 100 ps at each of three temperatures, and a picture of them.

usage: bench/dynamics/temperatures.py FFIELD [--work DIR] [--steps N] [--cells N] [--picture FILE] [--jobs N]

64 atoms, thermostat and barostat of Nose and Hoover, steps of 1 fs, from the perfect crystal: at no pressure, but at
3,000 K, where the melt would boil, in the volume of the crystal. Every 0.1 ps the committee says how
far it disagrees. The picture has its largest spread of forces over time and the radial distribution functions of the
last 20 ps; the table has means over the last 80 ps. The picture needs Matplotlib.

FFIELD is the force field that `melta --export` writes, of silicon alone and with two or more models.
"""

from __future__ import annotations

import argparse
import statistics
import sys
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path
from typing import Sequence

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

from lammps import REPORT, Log, crystal, pair_style, parser_of, print_table, run, status_of  # noqa: E402

PRESSED = "npt temp {0} {0} 0.1 iso 0.0 0.0 1.0"
ENSEMBLES = {300.0: PRESSED, 1500.0: PRESSED, 3000.0: "nvt temp {0} {0} 0.1"}  # by temperature, K
COLOURS = ("#1f5fa8", "#d98a1f", "#b3261e")
INPUT = """\
fix 1 all {ensemble}
compute rdf all rdf 240
fix rdf all ave/time 100 {frames} {steps} c_rdf[*] mode vector file rdf.text
thermo 100
thermo_style custom step temp pe etotal press vol
thermo_modify format float %.8g
run {steps}
"""


@dataclass(frozen=True)
class Course:
    """A run at one temperature."""

    temperature: float
    log: Log
    times: Sequence[float]  # ps, of the reports of the committee
    force_spreads: Sequence[float]  # eV/Angstrom
    distances: Sequence[float]  # Angstrom
    distribution: Sequence[float]


def follow(arguments: argparse.Namespace, temperature: float) -> Course:
    host = pair_style(arguments.ffield.resolve(), "spread 100 novelty 100")
    text = crystal(host, arguments.cells, arguments.lattice, temperature)
    ensemble = ENSEMBLES[temperature].format(temperature)
    text += INPUT.format(ensemble=ensemble, steps=arguments.steps, frames=arguments.steps // 500)
    folder = arguments.work / f"{temperature:.0f}"
    log = run(host, text, folder)
    reports = REPORT.findall(log.text)
    rows = [line.split() for line in (folder / "rdf.text").read_text().splitlines() if not line.startswith("#")]
    bins = [row for row in rows if len(row) == 4]
    return Course(
        temperature=temperature,
        log=log,
        times=[int(step) / 1000.0 for step, _, _ in reports],
        force_spreads=[float(spread) for _, spread, _ in reports],
        distances=[float(row[1]) for row in bins],
        distribution=[float(row[2]) for row in bins],
    )


def late(values: Sequence[float]) -> Sequence[float]:
    return values[len(values) // 5 :]


def row_of(course: Course) -> list[str]:
    columns = course.log.columns
    edge = (statistics.fmean(late(columns["Volume"]))) ** (1.0 / 3.0) / (course.log.atoms / 8) ** (1.0 / 3.0)
    density = 8.0 * 28.085 / 0.602214 / edge**3
    mean, largest = statistics.fmean(late(course.force_spreads)), max(course.force_spreads)
    energy = statistics.fmean(late(columns["PotEng"])) / course.log.atoms
    return [
        f"{course.temperature:.0f} K",
        f"{statistics.fmean(late(columns['Temp'])):.0f}",
        f"{energy:.3f}",
        f"{density:.3f}",
        f"{mean:.3f}",
        f"{largest:.3f}",
    ]


def draw(courses: Sequence[Course], file: Path) -> None:
    import matplotlib

    matplotlib.use("svg")
    matplotlib.rcParams.update({"svg.hashsalt": "melta", "svg.fonttype": "none", "font.size": 9})
    from matplotlib import pyplot

    figure, (left, right) = pyplot.subplots(1, 2, figsize=(8.0, 3.0), constrained_layout=True)
    for course, colour in zip(courses, COLOURS):
        label = f"{course.temperature:.0f} K"
        # The models agree about the perfect crystal that begins.
        shown = slice(1, None, max(1, len(course.times) // 250))
        left.plot(course.times[shown], course.force_spreads[shown], color=colour, linewidth=0.8, label=label)
        right.plot(course.distances, course.distribution, color=colour, linewidth=1.2, label=label)
    left.set(xlabel="time, ps", ylabel="largest spread of forces, eV/Angstrom", yscale="log")
    right.set(xlabel="distance, Angstrom", ylabel="radial distribution", xlim=(1.5, 6.0), ylim=(0.0, None))
    right.legend(frameon=False)
    figure.savefig(file, metadata={"Date": None})


def parse_arguments() -> argparse.Namespace:
    parser = parser_of(__doc__)
    parser.add_argument("ffield", type=Path)
    parser.add_argument("--work", type=Path, default=Path("temperatures"))
    parser.add_argument("--steps", type=int, default=100000)
    parser.add_argument("--lattice", type=float, default=5.468, help="Angstrom, where the runs begin")
    parser.add_argument("--cells", type=int, default=2, help="cubic cells along an edge of the crystal")
    parser.add_argument("--picture", type=Path)
    parser.add_argument("--jobs", type=int, default=1, help="runs at the same time")
    return parser.parse_args()


def measure_all(arguments: argparse.Namespace) -> None:
    with ThreadPoolExecutor(arguments.jobs) as pool:
        courses = list(pool.map(lambda temperature: follow(arguments, temperature), ENSEMBLES))
    head = ["", "mean temperature, K", "potential energy, eV/atom", "density, g/cm^3"]
    head += ["spread of forces, mean, eV/Angstrom", "largest"]
    print_table(head, [row_of(course) for course in courses])
    if arguments.picture:
        draw(courses, arguments.picture)


if __name__ == "__main__":
    sys.exit(status_of(lambda: measure_all(parse_arguments())))
