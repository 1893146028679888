#!/usr/bin/env python3
"""From data to physics: trains a potential on the silicon example and puts it to use in LAMMPS.

Trains and tests with melta, exports, makes the force field a model of the KIM API, and runs stock
LAMMPS: energies of the crystal over its volume, the optical phonon at Gamma, molecular dynamics
of crystal and melt. At the end stands a table beside the values of density functional theory
(dft.json, with the settings of the data), and, where Python has Matplotlib, the picture
silicon-md.svg.

With --pw the values of density functional theory are computed anew first.
"""

from __future__ import annotations

import argparse
import json
import math
import os
import re
import shutil
import subprocess
import sys
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import Sequence

sys.dont_write_bytecode = True
HERE = Path(__file__).resolve().parent
REPOSITORY = HERE.parent.parent
DATA = REPOSITORY / "examples" / "silicon"
sys.path.insert(0, str(DATA))

import make_data  # noqa: E402

BUILT_MELTA = REPOSITORY / "build" / "release" / "src" / "driver" / "melta"
MELTA_KIM = REPOSITORY / "tools" / "melta-kim"
MODEL = "Silicon_Example"
REFERENCE = HERE / "dft.json"

LATTICES = tuple(5.25 + 0.05 * i for i in range(7))  # Angstrom
DISPLACEMENT = 0.02  # Angstrom, of each of the two sublattices, along x
PHONON_LATTICE = 5.40  # Angstrom
MASS = 28.085  # u
GPA = 160.21766  # of an eV/Angstrom^3
# Frequency in THz of a force constant of 1 eV/Angstrom^2 and a mass of 1 u.
THZ = 15.633302

CELL_INPUT = """\
kim init {model} metal
lattice diamond {lattice}
region box block 0 1 0 1 0 1
create_box 1 box
create_atoms 1 box
mass 1 {mass}
kim interactions Si
"""
CURVE_INPUT = """\
variable a index {lattices}
label next
change_box all x final 0 $a y final 0 $a z final 0 $a remap units box
run 0
print "energy $a $(pe)"
next a
jump SELF next
"""
PHONON_INPUT = """\
group moved id {moved}
group others subtract all moved
displace_atoms moved move {step} 0 0 units box
displace_atoms others move -{step} 0 0 units box
compute force moved reduce ave fx
thermo_style custom step pe c_force
run 0
print "force $(c_force:%.10g)"
"""
MOTION_INPUT = """\
kim init {model} metal
lattice diamond {lattice}
region box block 0 2 0 2 0 2
create_box 1 box
create_atoms 1 box
mass 1 {mass}
kim interactions Si
velocity all create {start} 4321
timestep 0.001
thermo 100
thermo_style custom step temp pe etotal press vol
{ensemble}
run {settling}
reset_timestep 0
compute rdf all rdf 200
fix rdf all ave/time 20 {frames} {steps} c_rdf[*] mode vector file rdf.text
variable volume equal vol
fix volume all ave/time 1 {steps} {steps} v_volume
run {steps}
print "volume $(f_volume)"
"""


class ExampleError(Exception):
    """A failure with a message for the user."""


@dataclass(frozen=True)
class Statics:
    """The crystal at rest: energies (eV/atom) at LATTICES, force on the moved sublattice (eV/Angstrom)."""

    energies: Sequence[float]
    force: float


@dataclass(frozen=True)
class Motion:
    """Molecular dynamics: mean edge of 8 atoms (Angstrom), radial distribution at the distances (Angstrom)."""

    edge: float
    distances: Sequence[float]
    distribution: Sequence[float]


def say(message: str) -> None:
    print(message, flush=True)


def run(command: Sequence[object], folder: Path, log: str, **environment: str) -> str:
    """What a command prints, which is also kept in a file."""
    file = folder / log
    with open(file, "w") as output:
        words = [str(word) for word in command]
        try:
            done = subprocess.run(
                words, cwd=folder, env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
                stdout=output, stderr=subprocess.STDOUT, check=False,
            )  # fmt: skip
        except OSError as error:
            raise ExampleError(f"cannot start {words[0]}: {error.strerror}") from error
    if done.returncode != 0:
        raise ExampleError(f"{words[0]} failed, see {file}")
    return file.read_text()


# ---------------------------------------------------------------------------------------------
# Model
# ---------------------------------------------------------------------------------------------


def train(arguments: argparse.Namespace) -> None:
    """Leaves ffield.melta in the work directory."""
    for name in ("melta.train", "melta.test"):
        shutil.copy(DATA / name, arguments.work)
    run([arguments.melta, "--template", "cluster"], arguments.work, "template.text")
    if arguments.epochs:
        properties = arguments.work / "melta.prop"
        properties.write_text(re.sub(r"(?m)^(epochs\s+)\d+", rf"\g<1>{arguments.epochs}", properties.read_text()))
    say("training")
    run([arguments.melta, "--train"], arguments.work, "train.text")
    errors = re.findall(r"RMSE\((?:Etot|Force)\).*", run([arguments.melta, "--test"], arguments.work, "test.text"))
    say("\n".join(f"  {line}" for line in errors))
    run([arguments.melta, "--export"], arguments.work, "export.text")
    words = [sys.executable, MELTA_KIM, "install", "ffield.melta", MODEL, "--collection", "models"]
    run([*words, *(["--library", arguments.library] if arguments.library else [])], arguments.work, "install.text")


# ---------------------------------------------------------------------------------------------
# LAMMPS
# ---------------------------------------------------------------------------------------------


def lammps(arguments: argparse.Namespace, name: str, text: str) -> str:
    folder = arguments.work / name
    folder.mkdir(exist_ok=True)
    (folder / "in.lammps").write_text(text)
    models = str((arguments.work / "models").resolve())
    command = [arguments.lmp, "-in", "in.lammps"]
    return run(command, folder, "out.text", KIM_API_PORTABLE_MODELS_DIR=models, OMP_NUM_THREADS="1")


def printed(output: str, name: str) -> list[list[float]]:
    """The numbers of the lines that the input has LAMMPS print under this name."""
    lines = [line.split() for line in output.splitlines()]
    return [[float(word) for word in words[1:]] for words in lines if words[:1] == [name]]


def statics_of_model(arguments: argparse.Namespace) -> Statics:
    first = CELL_INPUT.format(model=MODEL, lattice=PHONON_LATTICE, mass=MASS)
    curve = CURVE_INPUT.format(lattices=" ".join(f"{lattice:.2f}" for lattice in LATTICES))
    energies = [energy / 8.0 for _, energy in printed(lammps(arguments, "curve", first + curve), "energy")]
    # LAMMPS makes the sites of the lattice in the order in which it lists them: one sublattice after the other.
    phonon = PHONON_INPUT.format(moved="1:4", step=DISPLACEMENT)
    force = printed(lammps(arguments, "phonon", first + phonon), "force")[0][0]
    return Statics(energies, force)


def motion(arguments: argparse.Namespace, name: str, lattice: float, ensemble: str, start: float) -> Motion:
    steps = arguments.steps
    text = MOTION_INPUT.format(
        model=MODEL, lattice=lattice, mass=MASS, start=start, ensemble=ensemble,
        settling=steps // 2, steps=steps, frames=steps // 20,
    )  # fmt: skip
    output = lammps(arguments, name, text)
    rows = [line.split() for line in (arguments.work / name / "rdf.text").read_text().splitlines()]
    bins = [row for row in rows if len(row) == 4 and row[0] != "#"]
    if not bins:
        raise ExampleError(f"LAMMPS has averaged nothing: {arguments.work / name}")
    edge = (printed(output, "volume")[0][0] / 8.0) ** (1.0 / 3.0)
    return Motion(edge, [float(row[1]) for row in bins], [float(row[2]) for row in bins])


# ---------------------------------------------------------------------------------------------
# Density functional theory
# ---------------------------------------------------------------------------------------------


def calculate(arguments: argparse.Namespace, name: str, lattice: float, step: float = 0.0) -> make_data.Block:
    """An 8-atom cell, with its sublattices moved by the step and against it along x."""
    cell = tuple(tuple(lattice if i == j else 0.0 for j in range(3)) for i in range(3))
    sites = [tuple(lattice * x for x in fraction) for fraction in make_data.DIAMOND]
    moved = tuple((x + (step if i < 4 else -step), y, z) for i, (x, y, z) in enumerate(sites))
    text = make_data.input_text(make_data.Configuration(cell, moved), arguments.pseudo_dir.resolve())
    found = make_data.run_or_reuse(text, arguments.work / "pw" / name, arguments.pw)
    if not found:
        raise ExampleError(f"pw.x did not converge: {name}")
    say(f"  pw.x: {name}")
    return make_data.read_blocks(found)[0]


def statics_of_dft(arguments: argparse.Namespace) -> Statics:
    energies = [calculate(arguments, f"{lattice:.2f}", lattice).energy / 8.0 for lattice in LATTICES]
    forces = calculate(arguments, "phonon", PHONON_LATTICE, DISPLACEMENT).forces
    return Statics(energies, sum(force[0] for force in forces[:4]) / 4.0)


# ---------------------------------------------------------------------------------------------
# Numbers
# ---------------------------------------------------------------------------------------------


def fit_cubic(x: Sequence[float], y: Sequence[float]) -> list[float]:
    """Coefficients, from the constant on, of the cubic polynomial of least squares."""
    rows = [[sum(a ** (i + j) for a in x) for j in range(4)] for i in range(4)]
    rows = [row + [sum(b * a**i for a, b in zip(x, y))] for i, row in enumerate(rows)]
    for i in range(4):
        rows[i:] = sorted(rows[i:], key=lambda row: -abs(row[i]))
        rows[i] = [value / rows[i][i] for value in rows[i]]
        for k in range(4):
            if k != i:
                rows[k] = [value - rows[k][i] * pivot for value, pivot in zip(rows[k], rows[i])]
    return [row[4] for row in rows]


def crystal_of(energies: Sequence[float]) -> tuple[float, float]:
    """Lattice constant (Angstrom) and bulk modulus (GPa) of energies for each atom (eV) at LATTICES."""
    volumes = [lattice**3 / 8.0 for lattice in LATTICES]
    middle = volumes[len(volumes) // 2]
    _, b, c, d = fit_cubic([volume / middle - 1.0 for volume in volumes], energies)
    # Where the derivative is 0 and the second one positive.
    strain = -2.0 * b / (2.0 * c + math.sqrt(4.0 * c * c - 12.0 * d * b))
    volume = middle * (1.0 + strain)
    modulus = GPA * volume * (2.0 * c + 6.0 * d * strain) / middle**2
    return (8.0 * volume) ** (1.0 / 3.0), modulus


def phonon_of(force: float) -> float:
    """Frequency, THz: both sublattices move against each other."""
    return THZ * math.sqrt(-force / (DISPLACEMENT * MASS))


def table_of(model: Statics, dft: Statics, crystal: Motion) -> str:
    lines = ["| | this potential | DFT |", "| --- | ---: | ---: |"]
    (a, b), (c, d) = crystal_of(model.energies), crystal_of(dft.energies)
    lines.append(f"| lattice constant, Angstrom | {a:.3f} | {c:.3f} |")
    lines.append(f"| bulk modulus, GPa | {b:.1f} | {d:.1f} |")
    lines.append(f"| optical phonon at Gamma, THz | {phonon_of(model.force):.2f} | {phonon_of(dft.force):.2f} |")
    lines.append(f"| lattice constant at 300 K, Angstrom | {crystal.edge:.3f} | |")
    return "\n".join(lines)


def draw(file: Path, model: Statics, dft: Statics, motions: dict[str, Motion]) -> None:
    import matplotlib

    matplotlib.use("svg")
    matplotlib.rcParams.update({"svg.hashsalt": "melta", "svg.fonttype": "none", "font.size": 9})
    from matplotlib import pyplot

    figure, (left, right) = pyplot.subplots(1, 2, figsize=(8.0, 3.0), constrained_layout=True)
    lowest = min(dft.energies)
    left.plot(LATTICES, [energy - lowest for energy in dft.energies], "o", mfc="none", color="#444444", label="DFT")
    left.plot(LATTICES, [energy - lowest for energy in model.energies], color="#1f5fa8", label="this potential")
    left.set(xlabel="lattice constant, Angstrom", ylabel="energy, eV/atom")
    left.legend(frameon=False)
    for (name, found), colour in zip(motions.items(), ("#1f5fa8", "#b3261e")):
        right.plot(found.distances, found.distribution, color=colour, linewidth=1.2, label=name)
    right.set(xlabel="distance, Angstrom", ylabel="radial distribution", xlim=(1.5, None), ylim=(0.0, None))
    right.legend(frameon=False)
    figure.savefig(file, metadata={"Date": None})


# ---------------------------------------------------------------------------------------------
# Run
# ---------------------------------------------------------------------------------------------


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter, allow_abbrev=False
    )
    parser.add_argument("--work", type=Path, default=HERE / "work", help="directory of everything that is made")
    default = BUILT_MELTA if BUILT_MELTA.exists() else "melta"
    parser.add_argument("--melta", default=default, help="the melta to run")
    parser.add_argument("--lmp", default="lmp", help="the LAMMPS to run, with its package KIM")
    parser.add_argument("--library", type=Path, help="the compiled KIM model, if melta-kim does not find it")
    parser.add_argument("--epochs", type=int, help="of the training, other than those of the template")
    parser.add_argument("--steps", type=int, default=20000, help="of molecular dynamics, behind half as many to settle")
    parser.add_argument("--pw", help="compute dft.json anew with this pw.x")
    parser.add_argument(
        "--pseudo-dir",
        type=Path,
        default=Path("/usr/share/espresso/pseudo"),
        help="directory with Si.pz-vbc.UPF, by default that of Debian's quantum-espresso-data",
    )
    return parser.parse_args()


def work(arguments: argparse.Namespace) -> None:
    arguments.work.mkdir(parents=True, exist_ok=True)
    if arguments.pw:
        REFERENCE.write_text(json.dumps(asdict(statics_of_dft(arguments)), indent=2) + "\n")
    dft = Statics(**json.loads(REFERENCE.read_text()))
    train(arguments)
    say("LAMMPS")
    model = statics_of_model(arguments)
    lattice, _ = crystal_of(model.energies)
    pressed = "fix 1 all npt temp 300 300 0.1 iso 0.0 0.0 1.0"
    crystal = motion(arguments, "crystal", lattice, pressed, 600.0)
    melt = motion(arguments, "melt", lattice, "fix 1 all nvt temp 3000 3000 0.1", 6000.0)
    table = table_of(model, dft, crystal)
    (arguments.work / "table.md").write_text(table + "\n")
    say(f"\n{table}\n")
    try:
        draw(arguments.work / "silicon-md.svg", model, dft, {"300 K": crystal, "3000 K": melt})
    except ImportError:
        say("no picture: Python has no Matplotlib (Debian package python3-matplotlib)")


def main() -> int:
    try:
        work(parse_arguments())
    except (ExampleError, RuntimeError, OSError) as error:
        say(f"silicon-md: {error}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
