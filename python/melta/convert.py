"""The command ``melta-data``: its commands, and the conversion of other codes' files to ``melta.train`` and back."""

from __future__ import annotations

import argparse
import importlib
import sys
from pathlib import Path
from typing import Optional, Sequence

from . import datafile, formats, plausibility, selection
from ._console import status_of
from .structure import DataError

EXAMPLES = """\
examples:
  melta-data convert OUTCAR run2/vasprun.xml .               melta.train and melta.test here
  melta-data convert data.extxyz melta.train                 all into one file
  melta-data convert data.extxyz . --test-groups Surface     one group for testing
  melta-data convert melta.train data.extxyz                 and back
"""


# Modules of the commands: each has add_command(commands) for the options, and run(options) for the work, which returns
# the status.
COMMANDS = {"convert": "melta.convert", "check": "melta.doctor.command", "select": "melta.select"}


def parser() -> argparse.ArgumentParser:
    """The options of all commands."""
    top = argparse.ArgumentParser(prog="melta-data", description="Data of neural-network potentials.")
    commands = top.add_subparsers(dest="command", required=True, metavar="COMMAND")
    for module in COMMANDS.values():
        importlib.import_module(module).add_command(commands)
    return top


def add_command(commands) -> argparse.ArgumentParser:
    """Adds the options of ``melta-data convert``, which are its manual."""
    convert = commands.add_parser(
        "convert",
        help="convert structures with energies and forces",
        description="Reads data files of melta, dft_geom/geom.N, movies, and all that ASE reads.",
        epilog=EXAMPLES,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    convert.add_argument("input", nargs="+", metavar="IN", help="files to read")
    convert.add_argument(
        "output", metavar="OUT", help="a directory for melta.train and melta.test, a data file, or *.xyz, *.extxyz"
    )
    convert.add_argument("--test", metavar="FILE", help="write the structures for testing there")
    choice = convert.add_argument_group("which structures")
    choice.add_argument("--max-force", type=float, metavar="F", help="leave out larger forces, eV/Angstrom")
    choice.add_argument("--every", type=int, default=1, metavar="N", help="keep the first of each N of a file")
    choice.add_argument("--elements", metavar="A,B", help="keep structures that have no other elements")
    choice.add_argument("--keep-duplicates", action="store_true", help="keep structures that occur twice")
    split = convert.add_argument_group("training and testing")
    split.add_argument("--test-fraction", type=float, default=0.1, metavar="X", help="part for testing (0.1)")
    split.add_argument("--seed", type=int, default=1, metavar="N", help="another seed, another choice (1)")
    split.add_argument("--by-group", action="store_true", help="do not divide groups")
    split.add_argument("--test-groups", metavar="A,B", help="these groups are for testing")
    names = convert.add_argument_group("names in the files")
    for name in ("energy", "forces", "stress", "charges"):
        names.add_argument(f"--{name}-key", metavar="NAME", help=f"what the {name} are called, if not as usual")
    names.add_argument("--group-key", default=formats.DEFAULT_GROUP, metavar="NAME", help="(config_type)")
    names.add_argument("--vacuum", type=float, default=12.0, metavar="L", help="around clusters, Angstrom (12)")
    convert.add_argument("--strict", action="store_true", help="stop where units look wrong")
    return convert


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """Runs the command; returns its status."""
    options = parser().parse_args(arguments)
    return status_of("melta-data", lambda: importlib.import_module(COMMANDS[options.command]).run(options))


def run(options: argparse.Namespace) -> int:
    """What ``melta-data convert`` does; returns its status. Raises DataError."""
    convert(options)
    return 0


def convert(options: argparse.Namespace) -> None:
    """Converts as the options say. Raises DataError."""
    require_sense(options)
    is_xyz = Path(options.output).suffix in (".xyz", ".extxyz")
    filters = selection.Filters(
        max_force=options.max_force,
        every=options.every,
        elements=frozenset(options.elements.split(",")) if options.elements else None,
        needs_values=not is_xyz,
        keeps_duplicates=options.keep_duplicates,
    )
    structures = read_all(options, filters)
    for reason, count in sorted(filters.dropped.items()):
        print(f"left out:  {count} {reason}")
    if not structures:
        raise DataError("there are no structures left.")
    complain(structures, options.strict)
    write_all(structures, options, formats.write_extxyz if is_xyz else datafile.write)


def require_sense(options: argparse.Namespace) -> None:
    """Raises DataError for values of options that cannot be meant."""
    if options.every < 1:
        raise DataError("--every is not positive.")
    if not 0.0 <= options.test_fraction <= 1.0:
        raise DataError("--test-fraction is not between 0 and 1.")
    if not options.vacuum > 0.0:
        raise DataError("--vacuum is not positive.")


def read_all(options: argparse.Namespace, filters: selection.Filters) -> list:
    """The structures of all inputs that are kept, with a line for each file."""
    keys = formats.Keys(
        options.energy_key,
        options.forces_key,
        options.stress_key,
        options.charges_key,
        options.group_key,
        options.vacuum,
    )
    structures: list = []
    for name in options.input:
        kept = list(filters.keep(formats.read(name, keys)))
        print(f"read:      {len(kept)} structures of {name}")
        structures += kept
    return structures


def complain(structures: list, strict: bool) -> None:
    """Tells what looks wrong; raises DataError for it if the user wants that."""
    found = plausibility.complaints(structures)
    for text in found:
        print(f"melta-data: warning: {text}", file=sys.stderr)
    if found and strict:
        raise DataError("units look wrong, nothing was written.")


def write_all(structures: list, options: argparse.Namespace, write) -> None:
    """Writes one file, or two where some are for testing."""
    output, test = Path(options.output), options.test
    if output.is_dir():
        test = test or output / "melta.test"
        output = output / "melta.train"
    if test is None:
        if options.test_groups or options.by_group:
            raise DataError("structures for testing need a file: --test FILE, or a directory as OUT.")
        parts = [(output, structures)]
    else:
        training, testing = split(structures, options)
        parts = [(output, training), (Path(test), testing)]
    for path, part in parts:
        if not part:
            raise DataError(f"there are no structures for this file: {path}")
    for path, part in parts:
        with_stress = sum(structure.stress is not None for structure in part)
        print(f"written:   {write(path, part)} structures to {path}, {with_stress} with stress")


def split(structures: list, options: argparse.Namespace) -> tuple[list, list]:
    """Training and testing structures, as the options want them."""
    if options.test_groups:
        return selection.pick_groups(structures, options.test_groups.split(","))
    if options.by_group:
        return selection.split_by_groups(structures, options.test_fraction, options.seed)
    return selection.split_at_random(structures, options.test_fraction, options.seed)


if __name__ == "__main__":
    sys.exit(main())
