"""Mistakes in melta.metro and melta.gdist."""

from __future__ import annotations

from rows import Group, Row, drop, keep, line, put, row, take

METRO = "melta.metro"
GDIST = "melta.gdist"

WALK = {**take("bad_input/files", METRO), **take("shared/silica", "melta.data", "melta.data_e", GDIST)}

REALS = "temperature upperEnergy lowerEnergy shiftCoord shiftCoordInit".split()
COUNTS = "maxSteps numGeoms".split()
SWITCHES = "unknownGeoms withShift shiftInit".split()
CELL = "4.9 0 0\n0 4.9 0\n0 0 4.9\n"
ATOMS = f"GEOMETRY\n2\n{CELL}Si 0.3 0.2 0.2\nO 2.4 0.2 0.1\n"


def walk(text: str, message: str) -> Row:
    """The whole file of the walk."""
    return row(put(METRO, text), message)


def key_rows() -> list[Row]:
    rows = [walk(f"{name} no\n{ATOMS}", f"incorrect '{name}'") for name in (*COUNTS, *SWITCHES, *REALS)]
    rows += [walk(f"{name} nan\n{ATOMS}", f"incorrect '{name}'") for name in REALS]
    rows += [walk(f"{name} 0\n{ATOMS}", f"{name} is not positive: melta.metro") for name in (*COUNTS, *REALS)]
    return [
        *rows,
        walk(f"steps 3\n{ATOMS}", "unknown key word: steps"),
        walk(f"withShift 0\n{ATOMS}", "there are not atomic shift nor swapping: melta.metro"),
    ]


GEOMETRY_ROWS = [
    walk("maxSteps 3\n", "there is not GEOMETRY: melta.metro"),
    walk("GEOMETRY\n", "cannot read #atom: melta.metro"),
    walk("GEOMETRY\nSi 0 0 0\n", "incorrect #atom: melta.metro"),
    walk("GEOMETRY\n0\n", "incorrect #atom: melta.metro"),
    walk("GEOMETRY\n2\n4.9 0 0\n", "cannot read lattice: melta.metro"),
    walk("GEOMETRY\n2\n4.9 0\n0 4.9 0\n0 0 4.9\n", "incorrect lattice: melta.metro"),
    walk(f"GEOMETRY\n2\n{CELL}Si 0 0 0\n", "cannot read atoms: melta.metro"),
    walk(f"GEOMETRY\n2\n{CELL}Si 0 0 0\nO 2.4 0.2\n", "incorrect atoms@ 1: melta.metro"),
    walk(f"GEOMETRY\n1\n{CELL}Si 0 0 nan\n", "incorrect atoms@ 0: melta.metro"),
    walk(f"GEOMETRY\n1\n{CELL}Silicium1 0 0 0\n", "incorrect atoms@ 0: melta.metro"),
    walk(f"GEOMETRY\n2\n{CELL}Si 0 0 0\nX 1 1 1 fix\n", "cannot fix vacancy atom: melta.metro"),
    walk(f"GEOMETRY\n1\n{CELL}X 1 1 1\n", "there are no real atoms: melta.metro"),
    walk(f"GEOMETRY\n1\n{CELL}Ar 1 1 1\n", "the neural network does not have the element: Ar"),
    walk(f"GEOMETRY\n1\n{CELL}Si 1 1 1 fix\n", "there are no mobile atoms."),
    walk(ATOMS + ATOMS, "unknown key card: GEOMETRY"),
    walk(ATOMS + "temperature 300\n", "unknown key card: temperature"),
]

SWAPPING_ROWS = [
    walk(ATOMS + "SWAPPING\n", "cannot read #swapping: melta.metro"),
    walk(ATOMS + "SWAPPING\n0\n", "incorrect #swapping: melta.metro"),
    walk(ATOMS + "SWAPPING\nSi O\n", "incorrect #swapping: melta.metro"),
    walk(ATOMS + "SWAPPING\n2\nSi O\n", "cannot read swapping pair: melta.metro"),
    walk(ATOMS + "SWAPPING\n1\nSi\n", "incorrect swapping pair: melta.metro"),
    walk(ATOMS + "SWAPPING\n1\nSi O inf\n", "incorrect swapping pair: melta.metro"),
    walk(ATOMS + "SWAPPING\n1\nO O\n", "same-element swapping: melta.metro"),
    walk(ATOMS + "SWAPPING\n1\nO Ar\n", "a swapping element is not contained in the geometry: Ar"),
    walk(ATOMS + "SWAPPING\n1\nSi O\nSWAPPING\n1\nSi O\n", "unknown key card: SWAPPING"),
]

# The elements are read before the walk begins, the rest afterwards.
DISTRIBUTION_ROWS = [
    row(drop(GDIST), "cannot open file: melta.gdist"),
    row(put(GDIST, ""), "cannot read #elements: melta.gdist"),
    row(line(GDIST, 1, "two 2 12"), "incorrect #elements: melta.gdist"),
    row(line(GDIST, 1, "0 2 12"), "incorrect #elements: melta.gdist"),
    row(line(GDIST, 1, "2"), "incorrect #elements: melta.gdist"),
    row(keep(GDIST, 2), "cannot read name of element: melta.gdist"),
    row(line(GDIST, 2, "Silicium1 1 0"), "incorrect name of element: melta.gdist"),
    row(line(GDIST, 3, "Ar 1 0"), "the neural network does not have the element: O"),
    row(line(GDIST, 1, "2 2 13"), "incorrect #basis: melta.gdist"),
    row(line(GDIST, 1, "2 0 12"), "incorrect size of distributions: melta.gdist"),
    row(line(GDIST, 2, "Si 1.5e-4"), "cannot read an element: melta.gdist"),
    row(line(GDIST, 2, "Si 0 0"), "step of distribution is not positive: melta.gdist"),
    row(line(GDIST, 2, "Si 1 0"), "step of distribution is not consistent: melta.gdist"),
    row(line(GDIST, 2, "Si 1.56680608e-04 1"), "initial value of distribution is not consistent: melta.gdist"),
    row(keep(GDIST, 5), "cannot scan distribution: melta.gdist"),
    row(line(GDIST, 4, "1 2 three"), "cannot scan distribution: melta.gdist"),
]

# Weights of the output that no sum of energies can hold.
ENERGY_ROWS = [
    row((line("melta.data_e", 12, "3e38"), line("melta.data_e", 24, "3e38")), "energy of the walk is not finite."),
]

TEMPLATE = take("shared/silica", "melta.train")
TEMPLATE_ROWS = [
    row(drop("melta.train"), "cannot open file: melta.train"),
    row(put("melta.train", ""), "there are no geometries: melta.train"),
    row(keep("melta.train", 4), "too less lines: melta.train"),
]

GROUPS = [
    Group("walk.keys", ["--metro"], WALK, key_rows(), is_one_test=True),
    Group("walk.geometry", ["--metro"], WALK, GEOMETRY_ROWS),
    Group("walk.swapping", ["--metro"], WALK, SWAPPING_ROWS),
    Group("walk.distributions", ["--metro"], WALK, DISTRIBUTION_ROWS),
    Group("walk.energy", ["--metro"], WALK, ENERGY_ROWS),
    Group("walk.template", ["--metro-temp"], TEMPLATE, TEMPLATE_ROWS),
]
