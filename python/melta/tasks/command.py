"""``python -m melta``: what one tries first with a model."""

from __future__ import annotations

import argparse
import sys
from typing import Optional, Sequence

from .._console import status_of
from ..structure import DataError

EXAMPLES = """\
examples:
  python -m melta relax Si:diamond --model run1
  python -m melta eos POSCAR
  python -m melta elastic relaxed.extxyz
  python -m melta vacancy Cu:fcc
  python -m melta md Si:diamond --temperature 600 --steps 2000
  python -m melta phonons NaCl:rocksalt:5.6
"""


def parser() -> argparse.ArgumentParser:
    """The options, which are the manual of the command."""
    top = argparse.ArgumentParser(
        prog="python -m melta",
        description="Tries a trained model. Each command prints numbers, writes a file and draws a picture.",
        epilog=EXAMPLES,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    commands = top.add_subparsers(dest="command", required=True, metavar="COMMAND")
    one = add_command(commands, "relax", "relax atoms and cell")
    one.add_argument("--fmax", type=above_zero, default=0.01, metavar="F", help="longest force left, eV/Angstrom (0.01)")
    one.add_argument("--steps", type=count, default=500, metavar="N", help="at most (500)")
    one.add_argument("--fixed-cell", action="store_true", help="move the atoms alone")
    one = add_command(commands, "eos", "equation of state: lattice constant and bulk modulus")
    one.add_argument("--strain", type=above_zero, default=0.03, metavar="X", help="of the lengths, both ways (0.03)")
    one.add_argument("--points", type=count, default=13, metavar="N", help="(13)")
    one = add_command(commands, "elastic", "elastic constants")
    one.add_argument("--strain", type=above_zero, default=0.005, metavar="X", help="both ways (0.005)")
    one = add_command(commands, "vacancy", "formation energy of a vacancy")
    add_length(one)
    one.add_argument("--atom", type=int, default=0, metavar="I", help="which atom goes, from 0 (0)")
    one.add_argument("--reservoir", type=float, metavar="E", help="its energy elsewhere, eV (that in the crystal)")
    one = add_command(commands, "md", "molecular dynamics at constant energy, and its drift")
    add_length(one)
    one.add_argument("--temperature", type=above_zero, default=300.0, metavar="T", help="of the start, K (300)")
    one.add_argument("--steps", type=count, default=1000, metavar="N", help="(1000)")
    one.add_argument("--step", type=above_zero, default=1.0, metavar="DT", help="fs (1)")
    one.add_argument("--seed", type=int, default=1, metavar="N", help="another seed, other velocities (1)")
    one = add_command(commands, "phonons", "frequencies along the usual path, and density of states")
    add_length(one)
    one.add_argument("--displacement", type=above_zero, default=0.02, metavar="D", help="Angstrom (0.02)")
    return top


def above_zero(text: str) -> float:
    value = float(text)
    if not 0.0 < value < float("inf"):
        raise argparse.ArgumentTypeError(f"{text} is not above 0")
    return value


def count(text: str) -> int:
    value = int(text)
    if value < 1:
        raise argparse.ArgumentTypeError(f"{text} is not above 0")
    return value


def add_length(command: argparse.ArgumentParser) -> None:
    command.add_argument(
        "--length", type=above_zero, default=10.0, metavar="L", help="images are so far apart, Angstrom (10)"
    )


def add_command(commands, name: str, text: str) -> argparse.ArgumentParser:
    one = commands.add_parser(name, help=text, description=f"{text[0].upper()}{text[1:]}.")
    one.add_argument("structure", metavar="STRUCTURE", help="a file that ASE reads, or a name such as Si:diamond")
    one.add_argument("--model", default=".", metavar="DIR", help="directory of a training, or a force field (.)")
    one.add_argument("-o", "--output", default=f"melta-{name}", metavar="NAME", help=f"of the files (melta-{name})")
    one.add_argument(
        "--max-spread",
        type=above_zero,
        metavar="F",
        help="spread of the networks' forces that brings a warning, eV/Angstrom (0.2)",
    )
    return one


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """Runs the command; returns its status."""
    options = parser().parse_args(arguments)
    return status_of("melta", lambda: run(options))


def run(options: argparse.Namespace) -> None:
    """Computes, tells, writes and draws. Raises DataError and Error."""
    try:
        import ase  # noqa: F401
    except ImportError as error:
        raise DataError("there is no ASE (Debian package python3-ase).") from error
    from ..ase import Calculator
    from . import structures, trust

    watch = trust.Trust(options.max_spread or trust.DEFAULT_LIMIT)
    atoms = structures.atoms_of(options.structure)
    atoms.calc = Calculator(options.model)
    found = TASKS[options.command](options, atoms, watch)
    print("\n".join([*found.lines(), *watch.lines()]))
    print(f"written           {found.write(options.output)}")
    draw(found, options.output)


def draw(found, output: str) -> None:
    """The picture of a result, where there is what draws it."""
    from ..plot import style

    if not style.is_available():
        print("picture           none: there is no matplotlib (Debian package python3-matplotlib)")
        return
    with style.style():
        paths = style.save(found.draw(), output + ".png")
    print(f"picture           {paths[0]}")


def relax(options: argparse.Namespace, atoms, watch):
    from .relax import relax

    return relax(atoms, watch, options.fmax, options.steps, not options.fixed_cell)


def equation_of_state(options: argparse.Namespace, atoms, watch):
    from .eos import equation_of_state

    if options.points < 5 or options.strain >= 0.5:
        raise DataError("an equation of state needs 5 points or more, and a strain below 0.5.")
    return equation_of_state(atoms, watch, options.strain, options.points)


def elastic(options: argparse.Namespace, atoms, watch):
    from .elastic import elastic_constants

    return elastic_constants(atoms, watch, options.strain)


def vacancy(options: argparse.Namespace, atoms, watch):
    from .vacancy import vacancy

    return vacancy(atoms, watch, options.length, options.atom, options.reservoir)


def dynamics(options: argparse.Namespace, atoms, watch):
    from .md import dynamics

    return dynamics(
        atoms, watch, options.temperature, options.steps, options.step, length=options.length, seed=options.seed
    )


def phonons(options: argparse.Namespace, atoms, watch):
    from .phonons import phonons

    return phonons(atoms, watch, options.length, options.displacement)


TASKS = {
    "relax": relax,
    "eos": equation_of_state,
    "elastic": elastic,
    "vacancy": vacancy,
    "md": dynamics,
    "phonons": phonons,
}
