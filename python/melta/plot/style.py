"""How pictures look, and where they go. Nothing of it reaches the settings of the caller's own pictures."""

from __future__ import annotations

from contextlib import contextmanager
from pathlib import Path
from typing import Iterator, Optional

from ..structure import DataError

# Colours that stay apart in grey and for colour-blind eyes; lines differ by their dashes, too.
COLOURS = ["#0072B2", "#D55E00", "#009E73", "#CC79A7", "#56B4E9", "#E69F00", "#000000"]
DASHES = ["-", "--", "-.", ":", (0, (5, 1, 1, 1, 1, 1)), (0, (1, 2)), (0, (8, 3))]
DENSITY = "viridis"

PANEL = 3.2  # side of a panel, inches
DOTS = 150  # of what is drawn as dots, for each inch
SUFFIXES = (".png", ".svg")

SETTINGS = {
    "font.family": "sans-serif",
    "font.sans-serif": ["DejaVu Sans"],
    "font.size": 9.0,
    "axes.titlesize": 10.0,
    "axes.titleweight": "bold",
    "axes.linewidth": 0.8,
    "axes.grid": False,
    "axes.unicode_minus": True,
    "figure.facecolor": "white",
    "axes.facecolor": "white",
    "legend.frameon": False,
    "legend.fontsize": 8.0,
    "lines.linewidth": 1.3,
    "savefig.dpi": 200,
    "svg.fonttype": "path",
    "svg.hashsalt": "melta",  # the same picture, the same file
}


def is_available() -> bool:
    """Whether there is matplotlib."""
    try:
        import matplotlib.figure  # noqa: F401
    except ImportError:
        return False
    return True


@contextmanager
def style() -> Iterator[None]:
    """Inside, pictures are drawn with our settings alone, whatever the caller's are."""
    if not is_available():
        raise DataError("there is no matplotlib for the picture (Debian package python3-matplotlib).")
    import matplotlib

    with matplotlib.rc_context():
        matplotlib.rcdefaults()
        matplotlib.rcParams.update(SETTINGS)
        yield


def panels(rows: int, columns: int, width: float = PANEL, height: float = PANEL):
    """A figure and its axes [rows][columns]. It is no figure of pyplot: nobody else sees it, nothing has to close it."""
    from matplotlib.figure import Figure

    figure = Figure(figsize=(columns * width + 0.6, rows * height + 0.3), constrained_layout=True)
    return figure, figure.subplots(rows, columns, squeeze=False)


def line_of(index: int) -> dict:
    """Colour and dashes of the line with this number."""
    return {"color": COLOURS[index % len(COLOURS)], "linestyle": DASHES[index % len(DASHES)]}


def targets(output: str) -> list[Path]:
    """The files that a name stands for: itself if it is that of a picture, else both kinds."""
    if Path(output).suffix in SUFFIXES:
        return [Path(output)]
    return [Path(output + suffix) for suffix in SUFFIXES]


def save(figure, output: str) -> list[Path]:
    """Writes the figure to the files of the name, complete or not at all; returns them. Raises DataError."""
    paths = targets(output)
    for path in paths:
        unfinished = path.with_name(path.name + ".new")
        kind = path.suffix[1:]
        metadata: Optional[dict] = {"Date": None} if kind == "svg" else None
        try:
            figure.savefig(unfinished, format=kind, metadata=metadata, dpi=DOTS if kind == "svg" else None)
            unfinished.replace(path)
        except OSError as error:
            raise DataError(f"cannot write the file: {path}: {error.strerror}") from error
        finally:
            unfinished.unlink(missing_ok=True)
    return paths
