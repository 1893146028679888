"""Mistakes in melta.class, ffield.reax and melta.zbl."""

from __future__ import annotations

from reax_field import BONDS, FIELD, GENERAL, OFF_DIAGONALS, REAX, TYPES
from rows import Folder, Group, Row, add, drop, keep, line, put, row, take

CLASS = "melta.class"

MODEL = take("shared/silica", "melta.data_e", "melta.test")
HEADS = take("shared/silica", "classical.data")
CLASSICAL = {**MODEL, **take("shared/silica", CLASS), "melta.data": HEADS["classical.data"]}


def classical(number: int, text: str, message: str) -> Row:
    return row(line(CLASS, number, text), message)


CLASSICAL_ROWS = [
    row(drop(CLASS), "cannot open file: melta.class"),
    row(put(CLASS, ""), "cannot read #elements."),
    classical(1, "two", "incorrect #elements: melta.class"),
    classical(1, "0", "incorrect #elements: melta.class"),
    row(keep(CLASS, 2), "cannot read element's data."),
    classical(2, "Si", "cannot read an element: melta.class"),
    classical(2, "Si nan", "cannot read an element: melta.class"),
    classical(4, "Si Si 30 0 0", "cannot read a pair of elements: melta.class"),
    classical(4, "Si Si 30 0 0 inf", "cannot read a pair of elements: melta.class"),
]

REAX_HEAD = "3 0 1 2\n5 0.5\n3 2 3.5 3.0\n0\n2 4 5 2\n2\nSi 2.24e-03 7.83e-02 14\nO 2.33e-03 7.83e-02 8\n"
REAXFF = {**MODEL, "melta.data": REAX_HEAD, REAX: FIELD}


def reaxff(number: int, text: str, message: str) -> Row:
    return row(line(REAX, number, text), message)


def cut(number: int, message: str) -> Row:
    """The file ends before a line."""
    return row(keep(REAX, number - 1), message)


REAXFF_ROWS = [
    row(drop(REAX), "cannot open file: ffield.reax"),
    row(put(REAX, ""), "cannot read the first comment line."),
    cut(GENERAL, "cannot read #general parameters."),
    reaxff(GENERAL, "many", "cannot read #general parameters."),
    reaxff(GENERAL, "0", "#general parameters is not positive."),
    reaxff(GENERAL + 1, "!", "cannot read a general parameter."),
    cut(TYPES - 1, "cannot read a general parameter."),
    reaxff(GENERAL + 13, "0", "rcut_vdw is not positive."),
    cut(TYPES, "cannot read #atomic parameters."),
    reaxff(TYPES, "0", "#atomic parameters is not positive."),
    cut(TYPES + 1, "cannot read the header(2nd-line) of atomic parameters."),
    cut(TYPES + 2, "cannot read the header(3rd-line) of atomic parameters."),
    cut(TYPES + 3, "cannot read the header(4th-line) of atomic parameters."),
    reaxff(TYPES + 4, "Si 2.19", "cannot read a atomic parameter @1st-line : iatom=1"),
    reaxff(TYPES + 5, "12.3", "cannot read a atomic parameter @2nd-line : iatom=1"),
    cut(TYPES + 6, "cannot read a atomic parameter @3rd-line : iatom=1"),
    cut(TYPES + 11, "cannot read a atomic parameter @4th-line : iatom=2"),
    reaxff(TYPES + 4, "Xx 2.19 4.0 28.06 1.9 0.18 0.8 1.27 4.0", "incorrect atomic number: iatom=1"),
    reaxff(TYPES + 8, "Si 2.19 4.0 28.06 1.9 0.18 0.8 1.27 4.0", "duplex atomic number: iatom=2"),
    cut(BONDS, "cannot read #bond's parameters."),
    reaxff(BONDS, "-1", "#bond's parameters is negative."),
    cut(BONDS + 1, "cannot read the header(2nd-line) of bond's parameters."),
    reaxff(BONDS + 2, "1 2 158", "cannot read a bond's parameter @1st-line : ibond=1"),
    cut(BONDS + 3, "cannot read a bond's parameter @2nd-line : ibond=1"),
    reaxff(BONDS + 2, "1 3" + " 1" * 8, "index of atom is out of range: ibond=1"),
    cut(OFF_DIAGONALS, "cannot read #off-diagonal parameters."),
    reaxff(OFF_DIAGONALS, "-1", "#off-diagonal parameters is negative."),
    reaxff(OFF_DIAGONALS + 1, "1 2 0.13", "cannot read a off-diagonal parameter: ioffDiag=1"),
    reaxff(OFF_DIAGONALS + 1, "0 2" + " 1" * 6, "index of atom is out of range: ioffDiag=1"),
]

FIT = take("shared/argon", "melta.prop", "melta.train")
FIT_ROWS = [
    row(
        (add("melta.prop", "restart 1"), put(CLASS, "1\nAr 0\nAr Ar 1 0 0\n")),
        "cannot read a pair of elements: melta.class",
    ),
    row(put("melta.prop", "classicalTry none\n"), "incorrect 'classicalTry'"),
]

ZBL = "melta.zbl"
REPULSION = {**MODEL, **take("shared/silica", ZBL), "melta.data": take("shared/silica", "zbl.data")["zbl.data"]}


def zbl(number: int, text: str, message: str) -> Row:
    return row(line(ZBL, number, text), message)


ZBL_ROWS = [
    row(drop(ZBL), "cannot open file: melta.zbl"),
    row(put(ZBL, ""), "cannot read #pairs of ZBL: melta.zbl"),
    zbl(1, "-1", "cannot read #pairs of ZBL: melta.zbl"),
    row(keep(ZBL, 2), "cannot read a pair of ZBL: melta.zbl"),
    zbl(2, "Si Si 1.5", "cannot read a pair of ZBL: melta.zbl"),
    zbl(3, "O Si 1.5 nan", "incorrect radii of ZBL for O and Si: melta.zbl"),
    zbl(3, "O Si 1.5 1.5", "incorrect radii of ZBL for O and Si: melta.zbl"),
    zbl(3, "O Fe 1.5 2.0", "there are no radii of ZBL for O and Si: melta.zbl"),
    zbl(3, "O Si 1.5 3.6", "radii of ZBL for O and Si exceed the cutoff of symmetry functions: melta.zbl"),
]

REPELLING = {**take("bad_input/files", "melta.prop"), **take("shared/silica", "melta.train", ZBL)}
RADII_ROWS = [
    row((put(ZBL, "1\n"), add("melta.prop", "withZBL 1")), "cannot read a pair of ZBL: melta.zbl"),
    row((put(ZBL, Folder()), add("melta.prop", "withZBL 1")), "cannot open file: melta.zbl"),
    row(
        (drop(ZBL), add("melta.prop", "withZBL 1\nrinnerZBL 2\nrouterZBL 1")),
        "incorrect radii of ZBL for Si and Si: melta.zbl",
    ),
    row(
        (drop(ZBL), add("melta.prop", "withZBL 1\nrouterZBL 9")),
        "radii of ZBL for Si and Si exceed the cutoff of symmetry functions: melta.zbl",
    ),
]

GROUPS = [
    Group("baselines.classical", ["--test"], CLASSICAL, CLASSICAL_ROWS),
    Group("baselines.reaxff", ["--test"], REAXFF, REAXFF_ROWS),
    Group("baselines.fit", ["--classical"], FIT, FIT_ROWS),
    Group("baselines.zbl", ["--test"], REPULSION, ZBL_ROWS),
    Group("baselines.zbl_radii", ["--train"], REPELLING, RADII_ROWS),
]
