#!/usr/bin/python3
"""Train every kind of descriptor in several sizes on one data set, and draw test errors against what they cost.

usage: bench/accuracy/error_against_cost.py DATA [option ...]

DATA is a folder with melta.train and melta.test of silicon. Each model is one network of two layers of 64 nodes,
trained with the settings that `melta --template cluster` proposes but for its descriptor; its cost is that of energy
and forces of 1,000 atoms of a crystal at rest plus noise, neighbour lists left out, CPU time of one thread. Potentials
of LAMMPS stand beside them where it and its files are installed (Tersoff, Stillinger-Weber, and SNAP in the release's
own build): their forces on the same test geometries, and their time for the pairs on the same crystal. What cannot run
here stands with the figures that are known of it.

Prints a table in Markdown and writes the picture as SVG where matplotlib is installed. A training that the work folder
holds already is not made again.
"""

from __future__ import annotations

import argparse
import math
import os
import re
import shutil
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Optional

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

from lammps import LMP_SNAP, MELTA, RELEASE, Host, crystal, published, run, snap  # noqa: E402

COMMON = {
    "models": 1, "layers": 2, "nodes": 64, "activ": "twtanh", "lbfgs": 0, "epochs": 300, "geomsEpoch": 0,
    "batchs": 2, "maxForce": 50, "epochsOnlyE": 0, "epochsApproxF": 0, "coefFromData": 1, "learnRate": 0.003,
    "learnRateFinal": 1.0e-5, "learnRateSchedule": "cosine", "rmseEnergy": 1.0e-9, "rmseForce": 1.0e-9,
    "symmScale": "each",
}  # fmt: skip


@dataclass
class Model:
    """A descriptor: its kind in the legend, its size, its keys, and the answers to `melta --behler`."""

    kind: str
    size: str
    keys: dict
    grid: Optional[str] = None

    @property
    def folder(self) -> str:
        return re.sub(r"[^a-z0-9]+", "-", f"{self.kind} {self.size}".lower())


@dataclass
class Point:
    """What is drawn: CPU time for each atom, us, and RMSE and MAE of the forces, eV/Angstrom."""

    kind: str
    size: str
    cost: float
    rmse: float
    mae: Optional[float]


# Networks on 27 Behler functions as published with the silicon data, their errors on these test forces; the time of
# n2p2 with as many functions on the same kind of machine.
REPORTED = [Point("n2p2, reported", "27", 88.0, 0.170, None)]


def chebyshev(radial: int, angular: int) -> Model:
    keys = {"symmFunc": "chebyshev", "numRadius": radial, "numAngle": angular, "rcutRadius": 5.5, "rcutAngle": 5.0}
    return Model("Chebyshev", f"{radial} + {angular}", keys)


def behler(pairs: int, angular: int) -> Model:
    return Model("Behler", f"{pairs} + {2 * angular}", {"symmFunc": "behler"}, f"{pairs}\n5.5\n{angular}\n5.0\n")


def many_body(pairs: int, sides: int) -> Model:
    keys = {"symmFunc": "many-body", "elemWeight": 0, "m2": pairs, "m3": sides, "router": 5.0}
    return Model("many-body", f"m2 {pairs}, m3 {sides}", keys)


def cluster(radial: int, degree: int, order: int = 4) -> Model:
    keys = {"symmFunc": "cluster", "numRadius": radial, "maxAngular": degree, "bodyOrder": order, "rcutRadius": 6.5}
    # The size: radial functions, largest degree, bodies.
    return Model("cluster", f"{radial}, {degree}, {order}", keys)


MODELS = [
    chebyshev(8, 8), chebyshev(12, 12), chebyshev(20, 20), chebyshev(30, 30),
    behler(12, 4), behler(20, 9), behler(30, 15),
    many_body(12, 3), many_body(20, 4),
    cluster(4, 2, 3), cluster(6, 3, 3), cluster(6, 3), cluster(8, 4), cluster(10, 5),
]  # fmt: skip


def train(model: Model, data: Path, work: Path, melta: Path) -> Path:
    """The folder of the trained and tested model."""
    folder = work / model.folder
    if (folder / "melta.force").exists():
        return folder
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for name in ("melta.train", "melta.test"):
        shutil.copy(data / name, folder)
    keys = {**COMMON, **model.keys}
    (folder / "melta.prop").write_text("".join(f"{key} {value}\n" for key, value in keys.items()))
    if model.grid is not None:
        subprocess.run([melta, "--behler"], cwd=folder, input=model.grid, text=True, check=True, capture_output=True)
    for mode in ("--train", "--test"):
        with open(folder / f"{mode[2:]}.log", "w", encoding="utf-8") as log:
            subprocess.run([melta, mode], cwd=folder, stdout=log, check=True, env=one_thread())
    return folder


def one_thread() -> dict:
    return {**os.environ, "OMP_NUM_THREADS": "1"}


def errors_of(pairs: list[tuple[float, float]]) -> tuple[float, float]:
    """Root mean square and mean absolute error."""
    differences = [b - a for a, b in pairs]
    rmse = math.sqrt(sum(d * d for d in differences) / len(differences))
    return rmse, sum(abs(d) for d in differences) / len(differences)


def force_errors(folder: Path) -> tuple[float, float]:
    lines = (folder / "melta.force").read_text().splitlines()[1:]
    return errors_of([(float(a), float(b)) for a, b in (line.split() for line in lines)])


# Run by an interpreter of its own, so that it starts with one thread. Prints us for each atom.
TIMING = """
import sys, time
import numpy
from ase.build import bulk
import melta
crystal = bulk("Si", cubic=True) * (5, 5, 5)
crystal.rattle(0.05, seed=1)
evaluator = melta.Evaluator(melta.Potential(sys.argv[1]), skin=0.5)
arguments = (crystal.positions, crystal.numbers, crystal.cell.array)
evaluator.compute(*arguments)
rounds = []
for _ in range(7):
    start = time.process_time()
    for _ in range(5):
        evaluator.compute(*arguments)
    rounds.append((time.process_time() - start) / 5)
print(1.0e6 * min(rounds) / len(crystal))
"""


def cost_of(folder: Path, package: Path) -> float:
    environment = {**one_thread(), "PYTHONPATH": os.fspath(package)}
    command = ["/usr/bin/python3", "-c", TIMING, os.fspath(folder)]
    return float(subprocess.run(command, env=environment, check=True, capture_output=True, text=True).stdout)


# Structures of LAMMPS.


def read_geometries(file: Path, package: Path):
    sys.path.insert(0, os.fspath(package))
    from melta import datafile

    return list(datafile.read(file))


def lammps_forces(structure, host: Host, folder: Path):
    """Forces of a potential of LAMMPS, [n][3], eV/Angstrom."""
    import numpy as np
    from ase import Atoms
    from ase.calculators.lammps import Prism
    from ase.io.lammpsdata import write_lammps_data

    atoms = Atoms("Si" * len(structure.positions), positions=structure.positions, cell=structure.cell, pbc=True)
    write_lammps_data(os.fspath(folder / "data.si"), atoms, units="metal")
    script = ["units metal", "boundary p p p", "box tilt large", "read_data data.si", "mass 1 28.085", host.potential,
              "dump 1 all custom 1 forces.dump id fx fy fz", "dump_modify 1 sort id format float %.10g",
              "run 0"]  # fmt: skip
    (folder / "in.forces").write_text("\n".join(script) + "\n")
    command = [host.program, "-in", "in.forces", "-log", "none"]
    subprocess.run(command, cwd=folder, check=True, capture_output=True)
    rows = (folder / "forces.dump").read_text().splitlines()[9:]
    forces = np.array([[float(x) for x in row.split()[1:]] for row in rows])
    return Prism(atoms.cell).vector_to_ase(forces)


def lammps_cost(host: Host, steps: int, folder: Path) -> float:
    """Time of the pairs for each atom and step, us."""
    text = crystal(host, 5, 5.431, 300.0) + f"fix 1 all nve\nrun {steps}\n"
    log = run(host, text, folder)
    return log.microseconds * log.pair_share


def in_lammps(data: Path, work: Path, package: Path) -> list[Point]:
    peers = [("Tersoff", published("tersoff", "Si.tersoff"), 1000),
             ("Stillinger-Weber", published("sw", "Si.sw"), 1000),
             ("SNAP", snap(), 20), ("quadratic SNAP", snap(".quadratic"), 20)]  # fmt: skip
    points = []
    for name, host, steps in peers:
        if shutil.which(host.program) is None:
            print(f"{host.program} is not there: no {name}", file=sys.stderr)
            continue
        folder = work / "lammps" / name
        folder.mkdir(parents=True, exist_ok=True)
        pairs = []
        for structure in read_geometries(data / "melta.test", package):
            pairs += zip(structure.forces.ravel(), lammps_forces(structure, host, folder).ravel())
        points.append(Point("LAMMPS", name, lammps_cost(host, steps, folder), *errors_of(pairs)))
        print(points[-1], file=sys.stderr, flush=True)
    return points


def print_table(points: list[Point]) -> None:
    print("| | | us an atom | RMSE(F), eV/Angstrom | MAE(F), eV/Angstrom |")
    print("| --- | --- | ---: | ---: | ---: |")
    for point in points:
        mae = "" if point.mae is None else f"{point.mae:.4f}"
        print(f"| {point.kind} | {point.size} | {point.cost:.2f} | {point.rmse:.4f} | {mae} |")


def draw(points: list[Point], file: Path) -> None:
    try:
        import matplotlib
    except ImportError:
        print("matplotlib is not installed: no picture", file=sys.stderr)
        return
    matplotlib.use("svg")
    from matplotlib import pyplot

    with pyplot.rc_context({"svg.hashsalt": "melta", "svg.fonttype": "none", "font.size": 10}):
        figure, axes = pyplot.subplots(figsize=(6.4, 4.4))
        markers = dict(zip(dict.fromkeys(point.kind for point in points), "os^DvP"))
        for kind, marker in markers.items():
            mine = sorted((point for point in points if point.kind == kind), key=lambda point: point.cost)
            line = "none" if kind == "LAMMPS" else "-"
            # The sizes between the ends would cover each other.
            named = mine if kind == "LAMMPS" else {mine[0].size: mine[0], mine[-1].size: mine[-1]}.values()
            axes.plot([p.cost for p in mine], [p.rmse for p in mine], marker=marker, linestyle=line, label=kind)
            for point in named:
                below = kind == "cluster"
                axes.annotate(point.size, (point.cost, point.rmse), fontsize=7, rotation=-35 if below else 35,
                              xytext=(0, -5 if below else 5), textcoords="offset points", rotation_mode="anchor",
                              va="top" if below else "bottom")  # fmt: skip
        axes.set(xscale="log", yscale="log", xlabel="CPU time of energy and forces, us for each atom",
                 ylabel="RMSE of the test forces, eV/Angstrom")  # fmt: skip
        axes.set(xlim=(0.4, 500.0), ylim=(0.06, 2.5))
        axes.grid(True, which="both", linewidth=0.3)
        axes.legend()
        figure.tight_layout()
        figure.savefig(file, metadata={"Date": None})


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("data", type=Path, metavar="DATA")
    parser.add_argument("--work", type=Path, default=RELEASE / "error_against_cost")
    parser.add_argument("--melta", type=Path, default=MELTA)
    parser.add_argument("--package", type=Path, default=RELEASE / "python", help="folder of the Python package")
    parser.add_argument("--output", type=Path, default=Path("error_against_cost.svg"))
    parser.add_argument("--only", default="", help="regular expression for kinds and sizes")
    options = parser.parse_args()
    points = []
    for model in MODELS:
        if not re.search(options.only, f"{model.kind} {model.size}"):
            continue
        folder = train(model, options.data, options.work, options.melta.resolve())
        points.append(Point(model.kind, model.size, cost_of(folder, options.package), *force_errors(folder)))
        print(points[-1], file=sys.stderr, flush=True)
    points += in_lammps(options.data, options.work, options.package) + REPORTED
    print_table(points)
    draw(points, options.output)


if __name__ == "__main__":
    main()
