"""The command ``melta-data check``."""

from __future__ import annotations

import argparse
import sys
from pathlib import Path

EPILOG = """\
status:
  0  nothing of the first rank (errors) was found
  1  errors were found
  2  the file cannot be read, or the command was given something wrong

examples:
  melta-data check melta.train
  melta-data check melta.train --pictures pictures --json report.json
"""


def add_command(commands) -> argparse.ArgumentParser:
    """Adds the options, which are the manual of the command."""
    check = commands.add_parser(
        "check",
        help="look for what is wrong with a data file",
        description="Looks for what is wrong with melta.train, melta.test or melta.valid, and tells the lines.",
        epilog=EPILOG,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    check.add_argument("file", metavar="FILE", help="data file of melta")
    check.add_argument("--all", action="store_true", help="list all findings, not the first five of a kind")
    check.add_argument("--json", metavar="FILE", help="write the report there, for programs")
    check.add_argument("--pictures", metavar="DIR", help="draw what the data cover, as PNG and SVG")
    check.add_argument(
        "--max-force", type=float, default=10.0, metavar="F", help="maxForce of the training, eV/Angstrom (10)"
    )
    return check


def run(options: argparse.Namespace) -> int:
    """What ``melta-data check`` does; returns its status."""
    try:
        from . import examination
    except ImportError as error:
        print(f"melta-data: check needs SciPy: {error}", file=sys.stderr)
        return 2
    try:
        report = examination.examine(options.file, options.max_force)
        print(report.text(options.all))
        if options.json:
            Path(options.json).write_text(report.json(), encoding="utf-8")
        if options.pictures:
            _draw(report, Path(options.pictures))
    except OSError as error:
        print(f"melta-data: {error.filename}: {error.strerror}", file=sys.stderr)
        return 2
    except ImportError as error:
        print(f"melta-data: pictures need Matplotlib: {error}", file=sys.stderr)
        return 2
    return 0 if report.is_sound else 1


def _draw(report, directory: Path) -> None:
    from . import pictures

    for path in pictures.draw(report.coverage, directory):
        print(f"drawn:  {path}")
