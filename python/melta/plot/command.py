"""The command ``melta-plot``: pictures and tables of runs."""

from __future__ import annotations

import argparse
import sys
from pathlib import Path
from typing import Optional, Sequence

from .. import formats
from .._console import INTERRUPTED, status_of
from ..structure import DataError
from . import errors, figures, groups, learning, log, parity, radial, spread, style
from .run import Run

EXAMPLES = """\
examples:
  melta --train | tee melta.log; melta-plot learning      learning curves of this directory
  melta-plot learning --follow run1 run2/train.log        while they are being trained
  melta-plot parity                                       after melta --test
  melta-plot histogram --by group --groups test.extxyz    errors by config_type
  melta-plot compare run1 run2
"""
BINS = 120  # of radial distributions


def parser() -> argparse.ArgumentParser:
    """The options, which are the manual of the command."""
    top = argparse.ArgumentParser(
        prog="melta-plot",
        description="Draws pictures of runs, as PNG and SVG, and prints their numbers.",
        epilog=EXAMPLES,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    commands = top.add_subparsers(dest="command", required=True, metavar="COMMAND")
    add_command(commands, "parity", "reference against network, with the outliers named").add_argument(
        "--outliers", type=int, default=3, metavar="N", help="how many are named in each panel (3)"
    )
    one = add_command(commands, "learning", "errors of the epochs of trainings", "directory with melta.log, or a log")
    one.add_argument("--follow", action="store_true", help="draw anew while the trainings go on")
    one.add_argument("--interval", type=float, default=2.0, metavar="S", help="how often to look, seconds (2)")
    one = add_command(commands, "histogram", "distributions of the errors, and a table of them")
    one.add_argument("--by", choices=errors.BY, default="group", help="of the table (group: by composition)")
    one.add_argument("--groups", nargs="+", metavar="FILE", default=[], help="files that tell the groups")
    one.add_argument("--group-key", default=formats.DEFAULT_GROUP, metavar="NAME", help="(config_type)")
    add_command(commands, "spread", "spread of the networks against their true errors")
    add_command(commands, "compare", "errors of runs side by side")
    one = add_command(commands, "radial", "distances in the training data and in sampled geometries")
    one.add_argument("--sampled", nargs="+", metavar="FILE", help="in place of dft_geom, the movie, or melta.test")
    one.add_argument("--longest", type=float, default=6.0, metavar="R", help="Angstrom (6)")
    one.add_argument("--structures", type=int, default=200, metavar="N", help="of each set, evenly spaced (200)")
    return top


def add_command(commands, name: str, text: str, run: str = "directory of a tested model") -> argparse.ArgumentParser:
    one = commands.add_parser(name, help=text, description=f"Draws {text}.")
    one.add_argument("runs", nargs="*", default=["."], metavar="RUN", help=f"{run} (this directory)")
    one.add_argument(
        "-o", "--output", default=f"melta-{name}", metavar="NAME", help=f"name.png, name.svg, or name (melta-{name})"
    )
    return one


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """Runs the command; returns its status."""
    options = parser().parse_args(arguments)
    status = status_of("melta-plot", lambda: COMMANDS[options.command](options))
    # A picture that follows a training is ended in no other way.
    return 0 if status == INTERRUPTED and getattr(options, "follow", False) else status


def save(figure, output: str) -> None:
    for path in style.save(figure, output):
        print(f"picture:  {path}")


def runs_of(options: argparse.Namespace) -> list[Run]:
    return [Run(name) for name in options.runs]


def one_run(options: argparse.Namespace) -> Run:
    if len(options.runs) != 1:
        raise DataError(f"{options.command} takes one run.")
    return Run(options.runs[0])


def plot_parity(options: argparse.Namespace) -> None:
    if options.outliers < 0:
        raise DataError("--outliers is negative.")
    runs = runs_of(options)
    for run in runs:
        if len(runs) > 1:
            print(f"{run.name}:")
        print("\n".join(errors.summary(run)))
    with style.style():
        save(parity.draw(runs, options.outliers), options.output)


def plot_learning(options: argparse.Namespace) -> None:
    if not options.interval > 0.0:
        raise DataError("--interval is not positive.")
    if options.follow:
        learning.follow(options.runs, options.output, options.interval, lambda text: print(text, flush=True))
        return
    logs = [log.read(run) for run in options.runs]
    for one in logs:
        print(learning.summary(one))
    with style.style():
        save(learning.draw(logs), options.output)


def plot_histogram(options: argparse.Namespace) -> None:
    run = one_run(options)
    names = groups.groups_of(run.structures, options.groups, options.group_key) if options.groups else None
    rows = errors.rows_by(run, options.by, names)
    print("\n".join(errors.table_text(rows, options.by)))
    with style.style():
        save(figures.draw_histogram(run, rows, options.by), options.output)


def plot_spread(options: argparse.Namespace) -> None:
    found = spread.calibrations(one_run(options))
    for one in found:
        print(one.text())
    with style.style():
        save(figures.draw_spread(found), options.output)


def plot_comparison(options: argparse.Namespace) -> None:
    runs = runs_of(options)
    if len({len(run.table("force")) for run in runs}) > 1:
        print("melta-plot: warning: the runs were tested on different data", file=sys.stderr)
    width = max(len(run.name) for run in runs)
    print(f"{'':{width}}   RMSE(E)    MAE(E)   RMSE(F)    MAE(F)")
    print(f"{'':{width}}  meV/atom  meV/atom      eV/A      eV/A")
    for run in runs:
        energy, force = (errors.errors_of(run.errors(key)) for key in ("energy", "force"))
        print(f"{run.name:{width}} {energy.rmse:9.2f} {energy.mae:9.2f} {force.rmse:9.4f} {force.mae:9.4f}")
    with style.style():
        save(figures.draw_comparison(runs), options.output)


def plot_radial(options: argparse.Namespace) -> None:
    if not options.longest > 0.0 or options.structures < 1:
        raise DataError("--longest or --structures is not positive.")
    run = one_run(options)
    training = [str(run.path / "melta.train")]
    sets = {}
    for name, files in (("training", training), sampled(run.path, options.sampled)):
        found = radial.pick([one for file in files for one in formats.read(file)], options.structures)
        print(f"{name}: {len(found)} structures")
        sets[name] = radial.distributions(found, options.longest, BINS)
    with style.style():
        save(figures.draw_radial(sets, options.longest), options.output)


def sampled(directory: Path, given: Optional[list]) -> tuple[str, list[str]]:
    """Name and files of the geometries to compare with the training data."""
    if given:
        return "sampled", given
    found = sorted(directory.glob("dft_geom/geom.*")) or sorted(directory.glob("movie/metro_*.xyz"))
    if found:
        return "sampled", [str(path) for path in found]
    return "test", [str(directory / "melta.test")]


COMMANDS = {
    "parity": plot_parity,
    "learning": plot_learning,
    "histogram": plot_histogram,
    "spread": plot_spread,
    "compare": plot_comparison,
    "radial": plot_radial,
}
