"""A made-up ffield.reax of two types."""

from __future__ import annotations

REAX = "ffield.reax"

# The lines at which the parts begin.
NUM_GENERAL = 39
GENERAL = 2
TYPES = GENERAL + NUM_GENERAL + 1
BONDS = TYPES + 4 + 2 * 4
OFF_DIAGONALS = BONDS + 2 + 2


def make_general() -> list[str]:
    values = dict.fromkeys(range(1, NUM_GENERAL + 1), 1.0)
    values.update({13: 8.0, 29: 1.56, 30: 0.1, 32: 0.72, 33: 47.0})
    return [f"{value} !a general parameter" for value in values.values()]


LINES = [
    "made-up parameters",
    f"{NUM_GENERAL} ! general",
    *make_general(),
    "2 ! types",
    *("header",) * 3,
    "Si 2.19 4.0 28.06 1.9 0.18 0.8 1.27 4.0",
    "12.3 1.8 4.0 21.7 139.9 4.7 6.0 0.0",
    "-1.0 0.0 0.0 8.7 34.0 13.3 0.9 0.0",
    "-4.7 2.1 1.03 4.0 2.6 1.4 0.1 11.0",
    "O 1.25 2.0 15.999 1.92 0.09 1.1 1.05 6.0",
    "10.1 7.7 4.0 37.0 116.0 8.5 8.3 2.0",
    "0.9 1.1 59.0 20.4 3.4 0.27 0.97 0.0",
    "-3.6 2.7 1.05 4.0 2.92 1.3 0.11 9.0",
    "1 ! bonds",
    "second header",
    "1 2 158.0 107.0 23.0 -0.42 -0.17 1.0 17.0 0.53",
    "0.31 -0.33 5.9 1.0 -0.14 5.2 0.0 0.0",
    "1 ! off-diagonal",
    "1 2 0.13 1.83 9.6 1.29 1.12 1.08",
]
FIELD = "".join(f"{text}\n" for text in LINES)
