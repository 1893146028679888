#!/usr/bin/env python3
"""Makes the data files melta.train and melta.test of this example from nothing.

Each configuration is an 8-atom cubic silicon cell that is strained, has displaced atoms,
or both; its energy and forces come from pw.x of Quantum ESPRESSO, called through melta-pw.
The random numbers are seeded, so that the geometries are the same in every run. Finished
calculations in the work directory are not repeated: a stopped run goes on where it was.

The same geometries with another version of pw.x give energies and forces that differ in
the last digits only.
"""

from __future__ import annotations

import argparse
import itertools
import math
import os
import random
import shutil
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Sequence

HERE = Path(__file__).resolve().parent
MELTA_PW = HERE.parent.parent / "tools" / "melta-pw"

SEED = 20240
LATTICE = 5.40  # Angstrom, the minimum of the energy with these settings to within 0.01 Angstrom
DIAMOND = (
    (0.00, 0.00, 0.00), (0.00, 0.50, 0.50), (0.50, 0.00, 0.50), (0.50, 0.50, 0.00),
    (0.25, 0.25, 0.25), (0.25, 0.75, 0.75), (0.75, 0.25, 0.75), (0.75, 0.75, 0.25),
)  # fmt: skip

MAX_STRAIN = 0.08
MELTED_MAX_STRAIN = 0.05
MELTED_STEP = 0.10  # Angstrom, standard deviation of one step in each direction
MELTED_DISPLACEMENT = (0.45, 0.75)  # Angstrom, range of the root mean square length
MIN_DISTANCE = 1.90  # Angstrom
MAX_FORCE = 9.5  # eV/Angstrom; melta refuses a geometry with a larger force than 10 by default

ANGSTROM_PER_BOHR = 0.529177210903
EV_PER_RYDBERG = 13.605693122994
EV_PER_ANGSTROM = EV_PER_RYDBERG / ANGSTROM_PER_BOHR

INPUT_TEMPLATE = """\
&CONTROL
  calculation = 'scf'
  prefix = 'si'
  outdir = './tmpdir'
  pseudo_dir = '{pseudo_dir}'
  disk_io = 'minimal'
  tprnfor = .true.
  tmelta = .true.
/
&SYSTEM
  ibrav = 0
  nat = 8
  ntyp = 1
  ecutwfc = 20.0
  occupations = 'smearing'
  smearing = 'gaussian'
  degauss = 0.01
  nosym = .true.
/
&ELECTRONS
  conv_thr = 1.0d-8
/
ATOMIC_SPECIES
Si 28.0855 Si.pz-vbc.UPF
K_POINTS automatic
3 3 3 1 1 1
CELL_PARAMETERS angstrom
{cell}
ATOMIC_POSITIONS angstrom
{atoms}
"""

Vector = tuple[float, float, float]
Matrix = tuple[Vector, Vector, Vector]


# ---------------------------------------------------------------------------------------------
# Geometries
# ---------------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Configuration:
    """Cell vectors and positions in Angstrom."""

    cell: Matrix
    positions: tuple[Vector, ...]


def combine(coefficients: Sequence[float], cell: Matrix) -> Vector:
    """Sum of the cell vectors with these coefficients."""
    x, y, z = (sum(c * vector[axis] for c, vector in zip(coefficients, cell)) for axis in range(3))
    return (x, y, z)


def strained_diamond(strain: Sequence[float]) -> Configuration:
    """Diamond cell under a symmetric strain xx, yy, zz, yz, xz, xy."""
    xx, yy, zz, yz, xz, xy = strain
    cell: Matrix = (
        (LATTICE * (1.0 + xx), LATTICE * xy, LATTICE * xz),
        (LATTICE * xy, LATTICE * (1.0 + yy), LATTICE * yz),
        (LATTICE * xz, LATTICE * yz, LATTICE * (1.0 + zz)),
    )
    return Configuration(cell, tuple(combine(fraction, cell) for fraction in DIAMOND))


def isotropic_strain(source: random.Random, limit: float = MAX_STRAIN) -> list[float]:
    strain = source.uniform(-limit, limit)
    return [strain, strain, strain, 0.0, 0.0, 0.0]


def uniaxial_strain(source: random.Random) -> list[float]:
    strain = [0.0] * 6
    strain[source.randrange(3)] = source.uniform(-MAX_STRAIN, MAX_STRAIN)
    return strain


def shear_strain(source: random.Random) -> list[float]:
    strain = [0.0] * 6
    strain[3 + source.randrange(3)] = source.uniform(-MAX_STRAIN, MAX_STRAIN)
    return strain


def general_strain(source: random.Random) -> list[float]:
    """All six components at once; smaller ones, since they add up."""
    return [source.uniform(-0.6 * MAX_STRAIN, 0.6 * MAX_STRAIN) for _ in range(6)]


def displaced(base: Configuration, amplitude: float, source: random.Random) -> Configuration:
    return Configuration(base.cell, tuple(moved(position, amplitude, source) for position in base.positions))


def moved(position: Vector, amplitude: float, source: random.Random) -> Vector:
    x, y, z = position
    return (x + source.gauss(0.0, amplitude), y + source.gauss(0.0, amplitude), z + source.gauss(0.0, amplitude))


def melted(source: random.Random) -> Configuration:
    """Random walk away from the crystal in which no two atoms ever come too close."""
    base = strained_diamond(isotropic_strain(source, MELTED_MAX_STRAIN))
    target = source.uniform(*MELTED_DISPLACEMENT)
    positions = list(base.positions)
    while root_mean_square_distance(base.positions, positions) < target:
        index = source.randrange(len(positions))
        trial = list(positions)
        trial[index] = moved(positions[index], MELTED_STEP, source)
        if smallest_distance(Configuration(base.cell, tuple(trial))) >= MIN_DISTANCE:
            positions = trial
    return Configuration(base.cell, tuple(positions))


def root_mean_square_distance(first: Sequence[Vector], second: Sequence[Vector]) -> float:
    return math.sqrt(sum(math.dist(a, b) ** 2 for a, b in zip(first, second)) / len(first))


def smallest_distance(configuration: Configuration) -> float:
    """Over all pairs of atoms, and of an atom with its periodic images."""
    shifts = [combine(n, configuration.cell) for n in itertools.product((-1, 0, 1), repeat=3)]
    smallest = math.inf
    for i, first in enumerate(configuration.positions):
        for j, second in enumerate(configuration.positions[: i + 1]):
            for shift in shifts:
                if i == j and shift == (0.0, 0.0, 0.0):
                    continue
                image = (second[0] + shift[0], second[1] + shift[1], second[2] + shift[2])
                smallest = min(smallest, math.dist(first, image))
    return smallest


def volume(cell: Matrix) -> float:
    (a, b, c), (d, e, f), (g, h, i) = cell
    return abs(a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g))


# ---------------------------------------------------------------------------------------------
# Mixture
# ---------------------------------------------------------------------------------------------

AMPLITUDES = (0.02, 0.05, 0.10, 0.15, 0.25)  # Angstrom, standard deviation in each direction
STRAINS: tuple[Callable[[random.Random], list[float]], ...] = (
    isotropic_strain,
    uniaxial_strain,
    shear_strain,
    general_strain,
)


@dataclass(frozen=True)
class Kind:
    """One sort of configuration, with its share of the two data files."""

    name: str
    num_train: int
    num_test: int
    draw: Callable[[random.Random], Configuration]


def displaced_kind(amplitude: float) -> Kind:
    crystal = strained_diamond([0.0] * 6)
    return Kind(f"displaced {amplitude:.2f}", 16, 3, lambda source: displaced(crystal, amplitude, source))


def strained_displaced_kind(amplitude: float) -> Kind:
    def draw(source: random.Random) -> Configuration:
        strain = source.choice(STRAINS)(source)
        return displaced(strained_diamond(strain), amplitude, source)

    return Kind(f"strained and displaced {amplitude:.2f}", 18, 4, draw)


KINDS = (
    Kind("equilibrium", 1, 0, lambda source: strained_diamond([0.0] * 6)),
    Kind("isotropic strain", 19, 4, lambda source: strained_diamond(isotropic_strain(source))),
    Kind("uniaxial strain", 16, 3, lambda source: strained_diamond(uniaxial_strain(source))),
    Kind("shear", 16, 3, lambda source: strained_diamond(shear_strain(source))),
    *(displaced_kind(amplitude) for amplitude in AMPLITUDES),
    *(strained_displaced_kind(amplitude) for amplitude in AMPLITUDES),
    Kind("melted", 34, 7, melted),
)


def draw_configuration(kind: Kind, source: random.Random) -> Configuration:
    while True:
        configuration = kind.draw(source)
        if smallest_distance(configuration) >= MIN_DISTANCE:
            return configuration


# ---------------------------------------------------------------------------------------------
# Data blocks
# ---------------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Block:
    """What a block of a data file says, in eV and Angstrom."""

    configuration: Configuration
    energy: float
    forces: tuple[Vector, ...]

    def largest_force(self) -> float:
        return max(math.hypot(*force) for force in self.forces)


def vector_of(words: Sequence[str], unit: float) -> Vector:
    x, y, z = (float(word) * unit for word in words)
    return (x, y, z)


def read_blocks(text: str) -> list[Block]:
    lines = [line.split() for line in text.splitlines()]
    blocks: list[Block] = []
    start = 0
    while start < len(lines):
        num_atoms = int(lines[start][0])
        atoms = lines[start + 4 : start + 4 + num_atoms]
        first, second, third = (vector_of(line, ANGSTROM_PER_BOHR) for line in lines[start + 1 : start + 4])
        positions = tuple(vector_of(atom[1:4], ANGSTROM_PER_BOHR) for atom in atoms)
        blocks.append(
            Block(
                configuration=Configuration((first, second, third), positions),
                energy=float(lines[start][2]) * EV_PER_RYDBERG,
                forces=tuple(vector_of(atom[5:8], EV_PER_ANGSTROM) for atom in atoms),
            )
        )
        start += 4 + num_atoms
    return blocks


# ---------------------------------------------------------------------------------------------
# Calculations
# ---------------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Settings:
    work: Path
    pseudo_dir: Path
    pw: str


@dataclass(frozen=True)
class Task:
    set_name: str
    index: int
    kind: Kind


def all_tasks(set_name: str) -> list[Task]:
    kinds = [kind for kind in KINDS for _ in range(kind.num_train if set_name == "train" else kind.num_test)]
    return [Task(set_name, index, kind) for index, kind in enumerate(kinds, start=1)]


def input_text(configuration: Configuration, pseudo_dir: Path) -> str:
    return INPUT_TEMPLATE.format(
        pseudo_dir=pseudo_dir,
        cell="\n".join("{:.10f} {:.10f} {:.10f}".format(*vector) for vector in configuration.cell),
        atoms="\n".join("Si {:.10f} {:.10f} {:.10f}".format(*position) for position in configuration.positions),
    )


def calculate(task: Task, settings: Settings) -> str:
    """The data block of a task.

    A configuration whose SCF cycle does not converge or whose forces are too large is given
    up for the next one. Each attempt has random numbers of its own, so that the result does
    not depend on the order in which the tasks are done.
    """
    for attempt in itertools.count(1):
        source = random.Random(f"{SEED} {task.set_name} {task.index} {attempt}")
        configuration = draw_configuration(task.kind, source)
        directory = settings.work / task.set_name / f"{task.index:04d}.{attempt}"
        started = time.monotonic()
        text = run_or_reuse(input_text(configuration, settings.pseudo_dir), directory, settings.pw)
        seconds = time.monotonic() - started
        if not text:
            report(task, f"attempt {attempt}: not converged")
            continue
        block = read_blocks(text)[0]
        summary = f"{block.energy / 8:12.5f} eV/atom, max. force {block.largest_force():6.3f} eV/A, {seconds:5.1f} s"
        if block.largest_force() <= MAX_FORCE:
            report(task, summary)
            return text
        report(task, f"attempt {attempt}: force too large: {summary}")
    raise AssertionError("unreachable")


def run_or_reuse(pw_input: str, directory: Path, pw: str) -> str:
    """Block of one pw.x run, empty if it did not converge."""
    input_file = directory / "PW.inp"
    result = directory / "si.melta"
    if result.exists() and input_file.read_text() == pw_input:
        return result.read_text()
    directory.mkdir(parents=True, exist_ok=True)
    input_file.write_text(pw_input)
    with open(directory / "PW.out", "w") as output:
        status = subprocess.run(
            [sys.executable, str(MELTA_PW), "--pw", pw, "-in", "PW.inp"],
            cwd=directory,
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=subprocess.STDOUT,
            env={**os.environ, "OMP_NUM_THREADS": "1"},
            check=False,
        ).returncode
    shutil.rmtree(directory / "tmpdir", ignore_errors=True)
    if status == 0:
        return result.read_text()
    if "is not converged" in (directory / "PW.out").read_text():
        return ""
    raise RuntimeError(f"pw.x failed with status {status}, see {directory / 'PW.out'}")


def report(task: Task, message: str) -> None:
    print(f"{task.set_name:5s} {task.index:4d}  {task.kind.name:28s} {message}", flush=True)


# ---------------------------------------------------------------------------------------------
# Check
# ---------------------------------------------------------------------------------------------


def check(train: Sequence[Block], test: Sequence[Block]) -> list[str]:
    """Everything that is wrong with the data, nothing if all is well."""
    faults: list[str] = []
    blocks = [(f"train {i}", block) for i, block in enumerate(train, start=1)]
    blocks += [(f"test {i}", block) for i, block in enumerate(test, start=1)]
    lowest = min(block.energy for _, block in blocks)
    equilibrium_volume = LATTICE**3
    for name, block in blocks:
        net_force = math.hypot(*(sum(force[axis] for force in block.forces) for axis in range(3)))
        if not net_force < 1.0e-4:
            faults.append(f"{name}: the forces sum up to {net_force:.2e} eV/A")
        if not block.largest_force() <= MAX_FORCE:
            faults.append(f"{name}: a force of {block.largest_force():.3f} eV/A")
        if not (block.energy - lowest) / 8 < 2.0:
            faults.append(f"{name}: {(block.energy - lowest) / 8:.3f} eV/atom above the lowest energy")
        if not 0.75 < volume(block.configuration.cell) / equilibrium_volume < 1.30:
            faults.append(f"{name}: a volume of {volume(block.configuration.cell):.2f} A^3")
        if not smallest_distance(block.configuration) > MIN_DISTANCE - 1.0e-6:
            faults.append(f"{name}: a distance of {smallest_distance(block.configuration):.3f} A")
    for (name, block), (other_name, other) in itertools.combinations(blocks, 2):
        if are_same(block.configuration, other.configuration):
            faults.append(f"{name} and {other_name} are the same")
    return faults


def are_same(first: Configuration, second: Configuration) -> bool:
    rows = zip(first.cell + first.positions, second.cell + second.positions)
    return all(math.dist(a, b) < 1.0e-6 for a, b in rows)


def print_summary(name: str, blocks: Sequence[Block]) -> None:
    energies = [block.energy / 8 for block in blocks]
    forces = [block.largest_force() for block in blocks]
    volumes = [volume(block.configuration.cell) for block in blocks]
    components = [component for block in blocks for force in block.forces for component in force]
    spread = math.sqrt(sum(component**2 for component in components) / len(components))
    print(
        f"{name}: {len(blocks)} configurations, energy {min(energies):.5f} ... {max(energies):.5f} eV/atom, "
        f"largest force {max(forces):.3f} eV/A (r.m.s. component {spread:.3f}), "
        f"volume {min(volumes):.1f} ... {max(volumes):.1f} A^3"
    )


# ---------------------------------------------------------------------------------------------
# Run
# ---------------------------------------------------------------------------------------------


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter, allow_abbrev=False
    )
    parser.add_argument("--work", type=Path, default=HERE / "work", help="directory of the calculations")
    parser.add_argument("--output", type=Path, default=HERE, help="directory of melta.train and melta.test")
    parser.add_argument("--jobs", type=int, default=2, help="calculations at the same time (default 2)")
    parser.add_argument("--pw", default="pw.x", help="the pw.x to run, by default the one found on PATH")
    parser.add_argument(
        "--pseudo-dir",
        type=Path,
        default=Path("/usr/share/espresso/pseudo"),
        help="directory with Si.pz-vbc.UPF, by default that of Debian's quantum-espresso-data",
    )
    parser.add_argument("--check-only", action="store_true", help="only check the data files in the output directory")
    return parser.parse_args()


def make_data(arguments: argparse.Namespace) -> None:
    arguments.output.mkdir(parents=True, exist_ok=True)
    settings = Settings(arguments.work.resolve(), arguments.pseudo_dir.resolve(), arguments.pw)
    for set_name in ("train", "test"):
        with ThreadPoolExecutor(arguments.jobs) as pool:
            futures = [pool.submit(calculate, task, settings) for task in all_tasks(set_name)]
            try:
                text = "".join(future.result() for future in futures)
            except BaseException:
                pool.shutdown(wait=False, cancel_futures=True)
                raise
        (arguments.output / f"melta.{set_name}").write_text(text)


def main() -> int:
    arguments = parse_arguments()
    if not arguments.check_only:
        try:
            make_data(arguments)
        except RuntimeError as error:
            print(error)
            return 1
    train, test = (read_blocks((arguments.output / f"melta.{name}").read_text()) for name in ("train", "test"))
    print_summary("melta.train", train)
    print_summary("melta.test", test)
    faults = check(train, test)
    print("\n".join(faults) if faults else "the data are in order")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
