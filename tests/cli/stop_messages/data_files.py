"""Mistakes in melta.train and melta.test."""

from __future__ import annotations

from rows import Group, Locked, Row, add, drop, folder, keep, line, link, put, row, say, shut, take

TRAINING = {**take("bad_input/files", "melta.prop"), **take("shared/silica", "melta.train", "melta.test")}
TEST = take("shared/silica", "melta.data", "melta.data_e", "melta.test")

TRAIN = "melta.train"
NUMBERS = " 0 0 0 0 0 0 0 0 0 0 0 0"


def data_rows(file: str) -> list[Row]:
    """What any reader of data says."""
    return [
        row(put(file, ""), f"there are no geometries: {file}"),
        row(line(file, 1, "0 1 -1.4"), f"#atoms of the 0 -th geometry is not positive: {file}"),
        row(line(file, 1, "3000000000 1 -1.4"), f"too large #atoms of the 0 -th geometry: {file}"),
        row(line(file, 1, "2 1 nan"), f"NaN at the total energy of the 0 -th geometry: {file}"),
        row(line(file, 1, "2 1 -1.4 0 0 0 0 0 inf"), f"NaN at the stress of the 0 -th geometry: {file}"),
        row(line(file, 2, "9.2 0"), f"cannot read lattice of the 0 -th geometry: {file}"),
        row(line(file, 3, "0.4 inf 0"), f"NaN at the lattice of the 0 -th geometry: {file}"),
        row(line(file, 5, "Si 0.1 0.2"), f"cannot read the 0 -th atom of the 0 -th geometry: {file}"),
        row(line(file, 5, "Si 0 0 nan" + NUMBERS[6:]), f"NaN at the 0 -th atom of the 0 -th geometry: {file}"),
        *(row(keep(file, count), f"too less lines: {file}") for count in (1, 2, 5)),
        row(line(file, 4, "0 0 9" + " " * (1 << 20)), f"too long line: {file}"),
    ]


TRAINING_ROWS = [
    *data_rows("melta.train"),
    row(drop("melta.train"), "cannot open file: melta.train"),
    row(line("melta.train", 5, "-" + NUMBERS), "cannot resolve the atomic number of the element: -"),
    row(
        (line("melta.train", 5, "Silicium1" + NUMBERS), add("melta.prop", "regularElem 0")),
        "too long label of the element: Silicium1",
    ),
]
IN_SITU_ROWS = [
    *data_rows("melta.test"),
    row(line("melta.test", 5, "Ar" + NUMBERS), "incorrect kind of element: melta.test"),
]

TEST_ROWS = [
    *data_rows("melta.test"),
    row(drop("melta.test"), "cannot open file: melta.test"),
    row(line("melta.test", 5, "Ar" + NUMBERS), "symmDev have not been prepared."),
]

KINDS = "".join(f"Si{i}{NUMBERS}\n" for i in range(128))
STRONG = "Ar 1 1 1 0 1e3 0 0 0 0 0 0 0"


def cell(a: str, b: str, c: str) -> str:
    """One atom in a box with these edges."""
    return f"1\n{a} 0 0\n0 {b} 0\n0 0 {c}\nSi{NUMBERS}\n"


def crowd(length: int) -> str:
    """So many atoms along each edge of a small cell."""
    places = [f"{10 * i / length:.3f}" for i in range(length)]
    atoms = [f"Si {x} {y} {z}{NUMBERS[6:]}\n" for x in places for y in places for z in places]
    return f"{len(atoms)}\n10 0 0\n0 10 0\n0 0 10\n" + "".join(atoms)


EXTREME_ROWS = [
    row(put(TRAIN, cell("1e20", "1e20", "1e-20")), "inverse of lattice is not finite."),
    row(put(TRAIN, cell("1e20", "1e8", "1e8")), "projected lattice length is incorrect."),
    row(put(TRAIN, crowd(19)), "too many neighbors."),
    row(put(TRAIN, cell("0", "0", "0")), "volume of lattice is zero."),
    row(put(TRAIN, f"1\n9 0 0\n9 0 0\n0 0 9\nSi{NUMBERS}\n"), "volume of lattice is zero."),
    row(put(TRAIN, cell("1e6", "1e6", "1e6")), "too many bins for detecting neighbors."),
    row(add("melta.prop", "rcutRadius 1e3"), "too many periodic images for detecting neighbors."),
    row(
        (put(TRAIN, f"128\n9 0 0\n0 9 0\n0 0 9\n{KINDS}"), add("melta.prop", "regularElem 0")),
        "too much kinds of elements: melta.train",
    ),
    row((line(TRAIN, 5, STRONG), add("melta.prop", "maxForce 100")), "there are no atoms of Ar: melta.train"),
]

XYZ = "in.xyz"
FRAME = """\
2
Lattice="4 0 0 0 5 0 0 0 6" pbc="T T T" Properties=species:S:1:pos:R:3:forces:R:3 energy=-3.5 stress="1 0 0 0 1 0 0 0 1"
O  0.1 0.2 0.3  0.5 0 -0.5
Si 1.7 0.2 0.3 -0.5 0  0.5
"""
KEYS = "Properties=species:S:1:pos:R:3:forces:R:3"


def frame_rows(file: str) -> list[Row]:
    """What any reader of extended XYZ says."""
    return [
        row(drop(file), f"cannot open file: {file}"),
        row(line(file, 1, "two"), f"cannot read number of atoms in line 1: {file}"),
        row(line(file, 1, "0"), f"#atoms of the 0 -th geometry is not positive: {file}"),
        row(line(file, 1, "3000000000"), f"too large #atoms of the 0 -th geometry: {file}"),
        *(row(keep(file, count), f"the file ends within a frame in line {count}: {file}") for count in (1, 3)),
        row(line(file, 2, 'Lattice="4 0 0'), f"quote or bracket without end in line 2: {file}"),
        row(line(file, 2, 'Lattice="4 0 0"'), f"incorrect Lattice in line 2: {file}"),
        row(line(file, 2, "pbc=yes"), f"incorrect pbc in line 2: {file}"),
        row(line(file, 2, 'pbc="T T F"'), f"periodic directions without a Lattice in line 2: {file}"),
        row(
            line(file, 2, 'Lattice="4 0 0 4 0 0 0 0 6"'),
            f"vectors of the Lattice that do not span a cell in line 2: {file}",
        ),
        row(line(file, 2, "Properties=pos:R"), f"incorrect Properties in line 2: {file}"),
        row(line(file, 2, "Properties=pos:R:3"), f"no species in the Properties in line 2: {file}"),
        row(line(file, 2, "Properties=species:S:1"), f"no positions (pos:R:3) in the Properties in line 2: {file}"),
        row(line(file, 3, "O 0.1 0.2"), f"incorrect number of columns in line 3: {file}"),
        row(line(file, 3, "O 0.1 0.2 0.3 0.5 0 -0.5 1"), f"incorrect number of columns in line 3: {file}"),
        row(line(file, 3, "O 0.1 0.2 .3. 0.5 0 -0.5"), f"cannot read a number in line 3: {file}"),
        row(line(file, 3, "O 0.1 0.2 nan 0.5 0 -0.5"), f"a number that is not finite in line 3: {file}"),
        row(
            (line(file, 2, "Properties=Z:I:1:pos:R:3"), line(file, 3, "95 0 0 0")),
            f"unknown atomic number in line 3: {file}",
        ),
        row(line(file, 3, "O" + " " * (1 << 20)), f"too long line: {file}"),
    ]


MODEL = {**take("shared/silica", "melta.data", "melta.data_e"), XYZ: FRAME}
EVALUATION_ROWS = [
    *frame_rows(XYZ),
    row(put(XYZ, ""), f"there are no geometries: {XYZ}"),
    row(line(XYZ, 3, "He 0.1 0.2 0.3 0.5 0 -0.5"), f"element that the model does not know in line 3: {XYZ}"),
    row(
        line(XYZ, 2, f'Lattice="0.1 0 0 0 0.1 0 0 0 0.1" {KEYS}'),
        f"the frame of line 1 cannot be evaluated (volume of lattice is zero): {XYZ}",
    ),
    row(folder("out.xyz"), "cannot open file: out.xyz"),
    row(link("out.xyz", "/dev/full"), "cannot write file: out.xyz"),
    row(drop("melta.data"), "cannot open file: melta.data"),
    row(drop("melta.data_e"), "cannot open file: melta.data_e"),
    say("two names of extended XYZ files are needed: --evaluate IN OUT", "--evaluate", XYZ),
]
IMPORT_ROWS = [
    *frame_rows(XYZ),
    row(put(XYZ, ""), f"there are no geometries: {XYZ}"),
    row(line(XYZ, 2, f"energy=low {KEYS}"), f"incorrect energy in line 2: {XYZ}"),
    row(line(XYZ, 2, f'{FRAME.splitlines()[1]} stress="1 2"'), f"incorrect stress in line 2: {XYZ}"),
    row(line(XYZ, 2, f'energy=1 virial=1 Lattice="4 0 0 0 4 0 0 0 4" {KEYS}'), f"incorrect virial in line 2: {XYZ}"),
    row(line(XYZ, 3, "Oxygen 0.1 0.2 0.3 0.5 0 -0.5"), f"unknown element in line 3: {XYZ}"),
    row(put(TRAIN, "2 0 -1\n"), f"the file is there already: {TRAIN}"),
    row(folder(TRAIN), f"the file is there already: {TRAIN}"),
    row(shut("."), f"cannot open file: {TRAIN}"),
    row(put(".", Locked()), "another run works in this directory: <directory>"),
    say("the name of an extended XYZ file is missing.", "--import"),
]

SPLIT = take("shared/silica", TRAIN)
SPLIT_ROWS = [
    row(drop(TRAIN), "cannot open file: melta.train"),
    row(put(TRAIN, ""), "too less #geometries: melta.train"),
    row(line(TRAIN, 1, "0"), "#atoms of the 0 -th geometry is not positive: melta.train"),
    row(line(TRAIN, 1, "3000000000"), "too large #atoms of the 0 -th geometry: melta.train"),
    row(keep(TRAIN, 2), "cannot read lattice #2: melta.train"),
    row(keep(TRAIN, 5), "cannot read atom #2: melta.train"),
]

GROUPS = [
    Group("data.extremes", ["--train"], TRAINING, EXTREME_ROWS),
    Group("data.evaluation", ["--evaluate", XYZ, "out.xyz"], MODEL, EVALUATION_ROWS),
    Group("data.import", ["--import", XYZ], {XYZ: FRAME}, IMPORT_ROWS),
    Group("data.split", ["--split", "0.5"], SPLIT, SPLIT_ROWS),
    Group("data.training", ["--train"], TRAINING, TRAINING_ROWS),
    Group("data.test_in_training", ["--train"], TRAINING, IN_SITU_ROWS),
    Group("data.test", ["--test"], TEST, TEST_ROWS),
]
