"""The subcommand ``melta-data select``: which structures are worth a calculation."""

from __future__ import annotations

import argparse
import re
from dataclasses import dataclass
from pathlib import Path
from typing import Iterable, Optional, Sequence

import numpy as np

from . import datafile, formats, selection
from ._core import Error
from .potential import Potential
from .select_distances import Environments, choose_farthest
from .structure import DataError, Structure

EXAMPLES = """\
examples:
  melta-data select 40 dft_geom chosen/dft_geom --known melta.train   of what a walk found
  melta-data select 40 movie/metro_1.xyz md.dump chosen.extxyz --min-spread 0.1
  melta-data select 200 data.extxyz melta.train --model first         of data that are there
"""

# Structures whose results are in memory together.
BLOCK = 256

GEOMETRY = re.compile(r"geom\.[1-9][0-9]*")


@dataclass(frozen=True)
class Conditions:
    """Which frames may be chosen.

    min_spread, max_spread
        eV/Angstrom, of the largest standard deviation of the networks' forces on an atom; None: any.
    min_distance
        From all that is known or chosen, in the units of the descriptors.
    """

    min_spread: Optional[float] = None
    max_spread: Optional[float] = None
    min_distance: float = 1.0e-3

    @property
    def need_spread(self) -> bool:
        return self.min_spread is not None or self.max_spread is not None


def add_command(commands) -> None:
    """Adds the subcommand and its options, which are its manual."""
    parser = commands.add_parser(
        "select",
        help="choose the structures that differ most",
        description="Takes the N structures whose atoms differ most from known data and from each other, by the "
        "descriptors of a trained model. Reads what convert reads, with and without energies.",
        epilog=EXAMPLES,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument("count", type=int, metavar="N", help="how many are wanted")
    parser.add_argument("input", nargs="+", metavar="IN", help="files to read, or folders with geom.1, geom.2, ...")
    parser.add_argument(
        "output", metavar="OUT", help="a folder for geom.1, geom.2, ..., *.xyz, *.extxyz, or a file such as melta.train"
    )
    parser.add_argument("--model", default=".", metavar="M", help="trained model: a folder or ffield.melta (.)")
    parser.add_argument("--known", action="append", default=[], metavar="FILE", help="data that need not be chosen")
    parser.add_argument("--min-spread", type=float, metavar="X", help="the committee has to disagree by X, eV/Angstrom")
    parser.add_argument("--max-spread", type=float, metavar="X", help="and by no more than X")
    parser.add_argument(
        "--min-distance", type=float, default=1.0e-3, metavar="D", help="leave out what is nearer to the rest (0.001)"
    )


def run(options: argparse.Namespace) -> int:
    """What ``melta-data select`` does; returns its status. Raises DataError."""
    try:
        select(options)
    except Error as error:
        raise DataError(str(error)) from error
    return 0


def select(options: argparse.Namespace) -> None:
    """The same; raises melta.Error for what is wrong with the model, or with its elements."""
    require_sense(options)
    potential = Potential(options.model)
    conditions = Conditions(options.min_spread, options.max_spread, options.min_distance)
    candidates = read_all(options.input)
    known = read_known(options.known)
    places, distances = choose(potential, candidates, known, options.count, conditions, report=print)
    if not places:
        raise DataError("there are no structures left.")
    last = f", the last at a distance of {distances[-1]:.3g}" if np.isfinite(distances[-1]) else ""
    print(f"chosen:    {len(places)} structures{last}")
    count = write(Path(options.output), [candidates[place] for place in places])
    print(f"written:   {count} structures to {options.output}")


def require_sense(options: argparse.Namespace) -> None:
    """Raises DataError for values of options that cannot be meant."""
    if options.count < 1:
        raise DataError("the number of structures is not positive.")
    if not options.min_distance >= 0.0:
        raise DataError("--min-distance is negative.")
    if options.min_spread is not None and options.max_spread is not None and options.min_spread > options.max_spread:
        raise DataError("--min-spread is larger than --max-spread.")


def read_all(names: Iterable[str]) -> list[Structure]:
    """The structures of files, and of folders with geom.N in the order of their numbers; a line for each name."""
    structures: list[Structure] = []
    for name in names:
        files = geometries_in(Path(name)) if Path(name).is_dir() else [Path(name)]
        found = [structure for file in files for structure in formats.read(file)]
        print(f"read:      {len(found)} structures of {name}")
        structures += found
    return structures


def read_known(names: Iterable[str]) -> list[Structure]:
    """The structures of files that are known, with a line for each."""
    structures: list[Structure] = []
    for name in names:
        found = list(formats.read(name))
        print(f"known:     {len(found)} structures of {name}")
        structures += found
    return structures


def geometries_in(folder: Path) -> list[Path]:
    """geom.N in a folder by their numbers. Raises DataError where there is none."""
    files = [path for path in folder.iterdir() if GEOMETRY.fullmatch(path.name)]
    if not files:
        raise DataError(f"there are no files geom.N in this folder: {folder}")
    return sorted(files, key=lambda path: int(path.name.partition(".")[2]))


def choose(
    potential: Potential,
    candidates: Sequence[Structure],
    known: Sequence[Structure],
    count: int,
    conditions: Conditions = Conditions(),
    report=lambda line: None,
) -> tuple[list[int], list[float]]:
    """Places of up to ``count`` candidates that differ most, in the order of their choice, and their distances.

    Distances are those of ``select_distances``, infinite where an element is not among what is known or chosen. What
    is chosen does not depend on the order of the candidates. ``report`` gets a line for each reason to leave some out.
    Raises melta.Error for elements that the model does not know.
    """
    if conditions.need_spread and potential.num_models < 2:
        raise DataError("the model has one network, which has no spread.")
    order = without_duplicates(candidates)
    tell(report, len(candidates) - len(order), "that stood there before")
    environments, spreads = evaluate(potential, [candidates[place] for place in order], conditions.need_spread)
    may_be_chosen = np.ones(len(order), dtype=bool)
    if conditions.min_spread is not None:
        tell(report, int((spreads < conditions.min_spread).sum()), f"with a spread below {conditions.min_spread:g}")
        may_be_chosen &= spreads >= conditions.min_spread
    if conditions.max_spread is not None:
        tell(report, int((spreads > conditions.max_spread).sum()), f"with a spread above {conditions.max_spread:g}")
        may_be_chosen &= spreads <= conditions.max_spread
    left = np.flatnonzero(may_be_chosen)
    if not len(left):
        return [], []
    references = [Environments.of(evaluate(potential, known, False)[0])] if known else []
    chosen, distances = choose_farthest(
        Environments.of([environments[place] for place in left]), references, count, conditions.min_distance
    )
    return [order[left[place]] for place in chosen], distances


def tell(report, count: int, reason: str) -> None:
    if count:
        report(f"left out:  {count} {reason}")


def without_duplicates(structures: Sequence[Structure]) -> list[int]:
    """Places of the structures in an order that follows from their contents, the first of equal ones alone."""
    first: dict[tuple, int] = {}
    for place, structure in enumerate(structures):
        first.setdefault(selection.fingerprint(structure), place)
    return [first[key] for key in sorted(first)]


def evaluate(potential: Potential, structures: Sequence[Structure], with_spread: bool) -> tuple[list, np.ndarray]:
    """Descriptors and elements of each structure, and (numStructures,) the largest spread of a force, else 0."""
    wishes = ("descriptors", "forces_std") if with_spread else ("descriptors",)
    environments, spreads = [], []
    for start in range(0, len(structures), BLOCK):
        block = structures[start : start + BLOCK]
        arguments = [(one.positions, one.labels, one.cell) for one in block]
        for one, results in zip(block, potential.compute_many(arguments, wishes)):
            environments.append((results["descriptors"], potential.element_indices(one.labels)))
            spreads.append(results["forces_std"].max() if with_spread else 0.0)
    return environments, np.array(spreads)


def write(output: Path, structures: Sequence[Structure]) -> int:
    """Writes the structures in their order; returns how many. Raises DataError as the writers do."""
    if output.suffix in (".xyz", ".extxyz"):
        return formats.write_extxyz(output, structures)
    if output.suffix in (".train", ".test", ".valid"):
        return datafile.write(output, structures)
    return write_geometries(output, structures)


def write_geometries(folder: Path, structures: Sequence[Structure]) -> int:
    """geom.1, geom.2, ... in a folder that has none yet, as ``melta --dft`` reads them."""
    try:
        folder.mkdir(parents=True, exist_ok=True)
    except OSError as error:
        raise DataError(f"cannot make the folder: {folder}: {error.strerror}") from error
    if any(GEOMETRY.fullmatch(path.name) for path in folder.iterdir()):
        raise DataError(f"there are files geom.N in this folder already: {folder}")
    return sum(formats.write_cards(folder / f"geom.{number}", one) for number, one in enumerate(structures, start=1))
