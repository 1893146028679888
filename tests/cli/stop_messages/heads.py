"""Mistakes in melta.data and melta.data_e."""

from __future__ import annotations

from reax_field import FIELD, REAX
from rows import Files, Group, Row, add, drop, keep, line, put, row, take

HEAD = "melta.data"
ENERGY = "melta.data_e"
PROP = "melta.prop"

TEST = take("shared/silica", HEAD, ENERGY, "melta.test")
RESTART = {
    **take("bad_input/files", "melta.prop"),
    **take("shared/silica", HEAD, ENERGY, "melta.train", "melta.test"),
}
RESTART["melta.prop"] += "restart 1\n"

MANY_BODY = "1 0 1 0\n3 2 0 3.5\n0\n2 4 5 2\n2\nSi 0 1 14\nO 0 1 8\n"
BEHLER = "2 0 1 0\n2 2 3.5 3.0 0\n2 1\n2 2.5\n0.5 1 0\n0.1 4 0\n0\n2 4 5 2\n2\nSi 0 1 14\nO 0 1 8\n"
CLUSTER = "4 0 1 0\n2 1 2 1 2 3.5\n0\n2 4 5 2\n2\nSi 0 1 14 1 1 1 -1\nO 0 1 8 1 1 1 -1\n"


def head(number: int, text: str, message: str) -> Row:
    return row(line(HEAD, number, text), message)


def other(text: str, old: str, new: str, message: str) -> Row:
    """Another head, with one mistake."""
    assert old in text, "nothing is spoilt"
    return row(put(HEAD, text.replace(old, new, 1)), message)


UNREADABLE_ROWS = [
    row(drop(HEAD), "cannot peek file: melta.data"),
    row(put(HEAD, ""), "cannot peek file: melta.data"),
    *(row(keep(HEAD, count), "cannot peek file: melta.data") for count in (1, 2, 3)),
    head(1, "chebyshev", "cannot peek file: melta.data"),
    head(1, "7 0 1 0", "cannot peek file: melta.data"),
    head(1, "3 0 1 2", "cannot peek file: melta.data"),
    head(2, "3 2 3.5", "cannot peek file: melta.data"),
    head(2, "3 2 nan 3.0", "cannot peek file: melta.data"),
    head(3, "no", "cannot peek file: melta.data"),
    head(4, "2 4", "cannot peek file: melta.data"),
    row(keep(HEAD, 4), "cannot read #elements."),
    row(keep(HEAD, 6), "cannot read element's data."),
    *(head(5, count, "incorrect #elements: melta.data") for count in ("0", "two", "128")),
    head(6, "Si 1", "cannot read an element: melta.data"),
    head(6, "Si 1 nan 14", "cannot read an element: melta.data"),
    head(6, "Si 0 0 14", "deviation of symmetry functions is not positive: melta.data"),
    head(7, "Si 1 1 14", "duplicate element (Si): melta.data"),
]

SETTING_ROWS = [
    head(1, "3 -1 1 0", "incorrect elemWeight: melta.data"),
    head(1, "3 0 1 -1", "incorrect withClassical: melta.data"),
    head(1, "3 0 1 1", "cannot open file: melta.class"),
    row(line(HEAD, 1, "3 0 1 2\n5 0.5"), "cannot open file: ffield.reax"),
    head(2, "0 2 3.5 3.0", "size of radius basis is not positive."),
    head(2, "3 -1 3.5 3.0", "size of angle basis is negative."),
    head(2, "3 2 0 3.0", "cutoff for radius is not positive."),
    head(2, "3 2 3.5 0", "cutoff for angle is not positive."),
    head(3, "1\n2 4 5 2", "cannot open file: melta.data_q"),
    head(4, "0 4 5 2", "incorrect #layers of energy's neural network: melta.data"),
    head(4, "2 0 5 2", "output size of neural network is not positive."),
    head(4, "2 4 99 2", "incorrect activation of energy's neural network: melta.data"),
    head(4, "2 4 5 0", "incorrect #models of energy's neural network: melta.data"),
    head(4, "2 2000000000 5 2", "neural network is too large."),
    other(MANY_BODY, "3 2 0 3.5", "0 2 0 3.5", "size of 2-body is not positive."),
    other(MANY_BODY, "3 2 0 3.5", "3 -2 0 3.5", "size of 3-body is negative."),
    other(MANY_BODY, "3 2 0 3.5", "3 2 -1 3.5", "inner radius is negative."),
    other(MANY_BODY, "3 2 0 3.5", "3 2 4 3.5", "outer radius is too small."),
    other(BEHLER, "2 2 3.5", "0 2 3.5", "cannot peek file: melta.data"),
    other(BEHLER, "2 1\n", "2\n", "cannot peek file: melta.data"),
    other(BEHLER, "0.5 1 0\n", "0.5\n", "cannot peek file: melta.data"),
]

# The weights of a model end with the sixth line, the bias of its output is the twelfth.
COMPANION_ROWS = [
    row(put(ENERGY, ""), "cannot scan neural network @weight"),
    row(line(ENERGY, 1, "nan"), "cannot scan neural network @weight"),
    row(keep(ENERGY, 5), "cannot scan neural network @weight"),
    row(keep(ENERGY, 6), "cannot scan neural network @bias"),
    row(line(ENERGY, 7, "1 2 three 4"), "cannot scan neural network @bias"),
    row(keep(ENERGY, 11), "cannot scan neural network @bias1"),
    row(line(ENERGY, 12, "1e999"), "cannot scan neural network @bias1"),
    row(add(ENERGY, "1"), "there is text behind the last number: melta.data_e"),
]

# A model with networks of charges, which have the shape of those of energies.
CHARGE = "melta.data_q"
CHARGED = {**TEST, CHARGE: TEST[ENERGY]}
line(HEAD, 3, "1\n2 4 5 2")(CHARGED)
CHARGED_TRAINING = {**RESTART, HEAD: CHARGED[HEAD], CHARGE: CHARGED[CHARGE], PROP: RESTART[PROP] + "withCharge 1\n"}
CHARGE_ROWS = [
    row(drop(CHARGE), "cannot open file: melta.data_q"),
    row(put(CHARGE, ""), "cannot scan neural network @weight"),
    row(keep(CHARGE, 6), "cannot scan neural network @bias"),
    row(add(CHARGE, "1"), "there is text behind the last number: melta.data_q"),
    row(keep(HEAD, 3), "cannot peek file: melta.data"),
    row(keep(HEAD, 4), "cannot peek file: melta.data"),
    head(2, "3 2 0 0", "cannot calculate short-coulomb, because cutoff is not positive."),
    head(5, "0 4 5 2", "incorrect #layers of charge's neural network: melta.data"),
    head(5, "2 0 5 2", "output size of neural network is not positive."),
    head(5, "2 4 99 2", "incorrect activation of charge's neural network: melta.data"),
    head(5, "2 4 5 0", "incorrect #models of charge's neural network: melta.data"),
]
CHARGE_RESTART_ROWS = [
    row(put(CHARGE, ""), "cannot scan neural network @weight"),
    row(keep(HEAD, 4), "cannot read properties of charge's neural network."),
    row(keep(HEAD, 3), "cannot read properties of energy's neural network."),
    head(5, "3 4 5 2", "incorrect #layers of charge's neural network: melta.data"),
    head(5, "2 5 5 2", "incorrect #nodes of charge's neural network: melta.data"),
    head(5, "2 4 5 3", "incorrect #models of charge's neural network: melta.data"),
    row(add(PROP, "activ sigmoid"), "incorrect activation of charge's neural network: melta.data"),
    row(line(CHARGE, 12, "1e30"), "the training diverged: loss"),
]

# A restart compares the head with the settings of melta.prop.
RESTART_ROWS = [
    row(put(HEAD, ""), "cannot read symmetry function."),
    row(keep(HEAD, 1), "cannot read Chebyshev-type symmetry function."),
    row(keep(HEAD, 2), "cannot read type of neural network."),
    row(keep(HEAD, 3), "cannot read properties of energy's neural network."),
    row(keep(HEAD, 4), "cannot read #elements."),
    row(keep(HEAD, 5), "cannot read element's data."),
    head(1, "2 0 1 0", "incorrect symmFunc: melta.data"),
    head(1, "3 1 1 0", "incorrect elemWeight: melta.data"),
    row((line(HEAD, 1, "3 0 1 1"), add(PROP, "withClassical 0")), "incorrect withClassical: melta.data"),
    row((line(HEAD, 1, "3 0 1 2"), add(PROP, "withReaxFF 0")), "incorrect withReaxFF: melta.data"),
    row((line(HEAD, 1, "3 0 1 92"), add(PROP, "withZBL 0")), "incorrect withZBL: melta.data"),
    head(2, "4 2 3.5 3.0", "incorrect #C2-functions of Chebyshev: melta.data"),
    head(2, "3 3 3.5 3.0", "incorrect #C3-functions of Chebyshev: melta.data"),
    head(3, "no", "error in reading type of neural network: melta.data"),
    row((line(HEAD, 3, "1\n2 4 5 2"), add(PROP, "withCharge 0")), "incorrect type of neural network: melta.data"),
    head(4, "3 4 5 2", "incorrect #layers of energy's neural network: melta.data"),
    head(4, "2 5 5 2", "incorrect #nodes of energy's neural network: melta.data"),
    head(4, "2 4 5 3", "incorrect #models of energy's neural network: melta.data"),
    head(4, "2 4 5", "incorrect #models of energy's neural network: melta.data"),
    row(add(PROP, "activ sigmoid"), "incorrect activation of energy's neural network: melta.data"),
    row(line(ENERGY, 12, "1e30"), "the training diverged: loss"),
    *COMPANION_ROWS,
]

# ReaxFF adds a line to the head; and a loss can be finite although its gradient is not.
WITH_REAXFF = (add(PROP, "withReaxFF 1"), put(REAX, FIELD))
MOVING = add(PROP, "lbfgs 0\ncoefEnergyFinal 2")
COURSE = "melta.data_e.course"
OTHER_RESTART_ROWS = [
    row((*WITH_REAXFF, line(HEAD, 1, "3 0 1 2"), keep(HEAD, 1)), "cannot read rcut of ReaxFF."),
    row(add(PROP, "coefForce 1e38"), "the training diverged: gradient of the loss"),
    row((MOVING, put(COURSE, "half way\n")), "cannot read the course of the training: melta.data_e.course"),
    row((MOVING, put(COURSE, "1.5 1\n")), "cannot read the course of the training: melta.data_e.course"),
    row((MOVING, put(COURSE, "0.5 0\n")), "cannot read the course of the training: melta.data_e.course"),
]

# A training without a restart takes over what melta.prop does not say.
SHORT_PROP = "epochs 1\nlbfgs 8\nmaxForce 0\n"
PRESET_ROWS = [
    head(4, "0 4 5 2", "incorrect #layers of energy's neural network: melta.data"),
    head(4, "2 0 5 2", "incorrect #nodes of energy's neural network: melta.data"),
    head(4, "2 4 99 2", "incorrect activation of energy's neural network: melta.data"),
    head(4, "2 4 5 0", "incorrect #models of energy's neural network: melta.data"),
    head(2, "0 2 3.5 3.0", "size of radius basis is not positive."),
    head(2, "3 2 0 3.0", "cutoff for radius is not positive."),
]

# The same for the other kinds of descriptors.
MANY_BODY_ROWS = [
    row(put(HEAD, "1 0 1 0\n"), "cannot read many-body symmetry function."),
    other(MANY_BODY, "3 2 0 3.5", "4 2 0 3.5", "incorrect m2: melta.data"),
    other(MANY_BODY, "3 2 0 3.5", "3 3 0 3.5", "incorrect m3: melta.data"),
]
BEHLER_ROWS = [
    row(put(HEAD, "2 0 1 0\n"), "cannot read Behler's symmetry function."),
    row(keep(HEAD, 2), "cannot read G2 of Behler."),
    row(keep(HEAD, 4), "cannot read G3/G4 of Behler."),
    head(2, "1 2 3.5 3.0 0", "incorrect #G2-functions of Behler: melta.data"),
    head(2, "2 1 3.5 3.0 0", "incorrect #G3/G4-functions of Behler: melta.data"),
]
CLUSTER_ROWS = [
    row(put(HEAD, "4 0 1 0\n"), "cannot read cluster functions."),
    head(2, "2 1 2 1 x 3.5", "cannot read cluster functions: melta.data"),
    head(2, "3 1 2 1 2 3.5", "incorrect #radial functions of clusters: melta.data"),
    head(2, "2 2 2 1 2 3.5", "incorrect largest degree of clusters: melta.data"),
    head(2, "2 1 3 1 2 3.5", "incorrect body order of clusters: melta.data"),
    head(2, "2 1 2 2 2 3.5", "incorrect #four-body radial functions of clusters: melta.data"),
    head(2, "2 1 2 1 1 3.5", "incorrect #channels of clusters: melta.data"),
    head(6, "Si 0 1 14", "incorrect weights of channels: melta.data"),
    head(6, "Si 0 1 14 1 1 1", "incorrect weights of channels: melta.data"),
    head(7, "O 0 1 8 1 1 1 nan", "incorrect weights of channels: melta.data"),
]


def restart_of(text: str, num_weights: int, extra: str) -> Files:
    """A model of another kind, whose weights are all the same."""
    return {**RESTART, HEAD: text, ENERGY: "0.1\n" * num_weights, PROP: RESTART[PROP] + extra}


# Two elements, two networks each: 4 nodes behind 26 or 16 inputs, 4 more, and the output.
MANY_BODY_FILES = restart_of(MANY_BODY, 4 * (4 * 27 + 4 * 5 + 5), "symmFunc many-body\nm2 3\nm3 2\nrouter 3.5\n")
BEHLER_FILES = {
    **restart_of(BEHLER, 4 * (4 * 17 + 4 * 5 + 5), "symmFunc behler\n"),
    **take("bad_input/files", "melta.behler"),
}
# Four inputs: two radial functions of two channels.
CLUSTER_FILES = restart_of(
    CLUSTER, 4 * (4 * 5 + 4 * 5 + 5), "symmFunc cluster\nnumRadius 2\nmaxAngular 1\nbodyOrder 2\nnumRadius4 1\nchannels 2\n"
)

EXPORT = take("shared/silica", HEAD, ENERGY)
# So many elements that the networks of the file would be huge, although those of the data are small.
ELEMENTS = "".join(f"E{i} 0 1 14\n" for i in range(125)) + "Si 0 1 14\nO 0 1 8\n"
HUGE = f"3 0 1 0\n3 2 3.5 3.0\n0\n2 400 5 2\n127\n{ELEMENTS}"
SIZE_ROWS = [row(put(HEAD, HUGE), "neural network is too large: melta.data_e")]

EXPORT_ROWS = [
    row(drop(HEAD), "cannot peek file: melta.data"),
    row(drop(ENERGY), "cannot open file: melta.data_e"),
]

GROUPS = [
    Group("heads.unreadable", ["--test"], TEST, UNREADABLE_ROWS),
    Group("heads.settings", ["--test"], TEST, SETTING_ROWS),
    Group("heads.weights", ["--test"], TEST, [row(drop(ENERGY), "cannot open file: melta.data_e"), *COMPANION_ROWS]),
    Group("heads.too_large", ["--test"], TEST, SIZE_ROWS),
    Group("heads.restart", ["--train"], RESTART, RESTART_ROWS),
    Group("heads.other_restart", ["--train"], RESTART, OTHER_RESTART_ROWS),
    Group("heads.preset", ["--train"], {**RESTART, PROP: SHORT_PROP}, PRESET_ROWS),
    Group("heads.many_body", ["--train"], MANY_BODY_FILES, MANY_BODY_ROWS),
    Group("heads.behler", ["--train"], BEHLER_FILES, BEHLER_ROWS),
    Group("heads.cluster", ["--train"], CLUSTER_FILES, CLUSTER_ROWS),
    Group("heads.charge", ["--test"], CHARGED, CHARGE_ROWS),
    Group("heads.charge_restart", ["--train-charge"], CHARGED_TRAINING, CHARGE_RESTART_ROWS),
    Group("heads.export", ["--export"], EXPORT, EXPORT_ROWS),
]
