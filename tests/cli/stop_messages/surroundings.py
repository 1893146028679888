"""What is wrong around the files: places, rights, media, limits, other runs, and words of the command line."""

from __future__ import annotations

from dataclasses import replace

from baselines import FIT
from comparison import Tolerance
from heads import CHARGED, EXPORT, RESTART, TEST
from properties import TRAINING
from rows import Group, Locked, Row, add, drop, folder, link, put, row, say, short_of, shut, take
from walks import WALK

# A disk that is full, and a medium that cannot be read.
FULL = "/dev/full"
BROKEN = "/proc/self/mem"

# For numbers of which only the form is known.
RANDOM = Tolerance("*", 0.0, 1e9)


def cannot(action: str, file: str) -> str:
    return f"cannot {action} file: {file}"


def unreadable(*names: str) -> list[Row]:
    """Files that are not to be read."""
    rows = [row(folder(name), cannot("open", name)) for name in names]
    return rows + [row(shut(name), cannot("open", name)) for name in names]


def unwritable(*names: str) -> list[Row]:
    """Files that are not to be written."""
    rows = [row(folder(name), cannot("open", name)) for name in names]
    return rows + [row(link(name, FULL), cannot("write", name)) for name in names]


SPLIT = take("shared/silica", "melta.train")

OTHER_RUN = row(put(".", Locked()), "another run works in this directory: <directory>")
NO_RIGHTS = shut(".")

NOT_ENOUGH = (
    "not enough memory: symmetry functions take 687 MiB, but only <some> MiB are free; reduce numRadius, numAngle,"
    " rcutRadius or rcutAngle, set geomsEpoch, or let Adam (lbfgs 0) work with batchs and directSF 1"
)

# The right to write alone, not to read.
WRITE_ONLY = 0o222

# A store of a model that a crash has cut short: one file has its new name already, the new text of the other is lost.
HALF_STORED = (
    put("melta.data.journal", "replace 5 7 melta.data_e\nreplace 5 7 melta.data\nend\n"),
    put("melta.data.new", "x"),
)
HALF_STORED_MESSAGE = "cannot finish the replacement of the file: <directory>/melta.data"


def checksum_of(text: str) -> int:
    """FNV-1a, by which a record knows the file that is to be replaced."""
    result = 14695981039346656037
    for byte in text.encode():
        result = (result ^ byte) * 1099511628211 % (1 << 64)
    return result


# A store that only lacks the last renaming, and one that is complete but for its record.
HEAD = str(TEST["melta.data"])
NEARLY_STORED = (
    put("melta.data.journal", f"replace {len(HEAD)} {checksum_of(HEAD)} melta.data\nend\n"),
    put("melta.data.new", HEAD),
)
STORED = put("melta.data.journal", "replace 5 7 melta.data_e\nend\n")

TRAINING_ROWS = [
    OTHER_RUN,
    *unreadable("melta.train", "melta.prop"),
    row(link("melta.train", BROKEN), "there are no geometries: melta.train"),
    row(shut("melta.prop", WRITE_ONLY), cannot("open", "melta.prop")),
    row((drop("melta.prop"), NO_RIGHTS), cannot("open", "melta.prop")),
    row(NO_RIGHTS, cannot("open", "melta.gdist")),
    row(link("melta.train", FULL), "too long line: melta.train"),
    short_of(600, add("melta.prop", "nodes 10000"), "cannot allocate memory: neural networks"),
    short_of(600, add("melta.prop", "nodes 1000\nlbfgs 100\nepochs 100"), "cannot allocate data of L-BFGS."),
    short_of(600, add("melta.prop", "numRadius 300000"), NOT_ENOUGH),
    replace(say("cannot make 64 threads.", "--omp", "64", "--train"), memory=500),
]

# The start of these trainings is random, and so are the numbers that they print; but they always take all their steps.
STEPS = "lbfgs 0\nrmseEnergy 1e-9\nrmseForce 1e-9\nrmseCharge 1e-9\n"
STORING = {**TRAINING, "melta.prop": TRAINING["melta.prop"] + STEPS}
STORE_ROWS = unwritable("melta.data", "melta.data_e", "melta.gdist")
STORING_CHARGES = {**STORING, "melta.prop": STORING["melta.prop"] + "withCharge 1\n"}
CHARGE_STORE_ROWS = [OTHER_RUN, *unwritable("melta.data_q")]

RESTART_ROWS = [row(HALF_STORED, HALF_STORED_MESSAGE)]

TEST_ROWS = [
    *(row(edit("melta.data"), "cannot peek file: melta.data") for edit in (folder, shut)),
    *unreadable("melta.data_e", "melta.test"),
    *unwritable("melta.etot", "melta.eatom", "melta.force", "melta.worst"),
    row(NO_RIGHTS, cannot("open", "melta.etot")),
    row(HALF_STORED, HALF_STORED_MESSAGE),
    row((*NEARLY_STORED, NO_RIGHTS), HALF_STORED_MESSAGE),
    row((STORED, NO_RIGHTS), "cannot finish the replacement of the file: melta.data"),
    say("cannot read the value of the regularElem.", "--test", "yes"),
]
CHARGE_TEST_ROWS = [
    *unreadable("melta.data_q"),
    *unwritable("melta.charge"),
]

EXPORT_ROWS = [
    *(row(edit("melta.data"), "cannot peek file: melta.data") for edit in (folder, shut)),
    *unreadable("melta.data_e"),
    *unwritable("ffield.melta"),
    row(NO_RIGHTS, cannot("open", "ffield.melta")),
    row(link("melta.data_e", BROKEN), cannot("read", "melta.data_e")),
]

# A walk that soon finds something, by steps that hardly change the energy.
FINDING = {**WALK, **take("metro/shifts_atoms/input", "melta.metro")}
FINDING["melta.gdist"] = take("shared/silica", "all_known.gdist")["all_known.gdist"]
WALK_ROWS = [
    OTHER_RUN,
    *unreadable("melta.gdist"),
    row((shut("melta.metro", WRITE_ONLY), put("melta.train", SPLIT["melta.train"])), cannot("open", "melta.metro")),
    row(folder("melta.data_e"), cannot("open", "melta.data_e")),
    *unwritable("dft_geom/geom.1", "movie/metro_1.xyz"),
    *unwritable(".metropolis.geom"),
    row(link("dft_geom", "nowhere"), "cannot make directory: dft_geom"),
    row(link("movie", "nowhere"), "cannot make directory: movie"),
]

REST = add("melta.train", "behind the last geometry")
SPLIT_ROWS = [
    OTHER_RUN,
    *unreadable("melta.train"),
    row(link("melta.train", BROKEN), cannot("read", "melta.train")),
    *unwritable("melta.test"),
    row((REST, folder("melta.train.rest")), cannot("open", "melta.train.rest")),
    row(NO_RIGHTS, cannot("open", "melta.train")),
    *(say("cannot read the rate to split training data into testing data.", "--split", word) for word in ("half", ".")),
    say("cannot read the rate to split training data into validation data.", "--split", "0.5", "half"),
]

FIT_ROWS = [
    OTHER_RUN,
    *unreadable("melta.train"),
    *unwritable("melta.class", "melta.class.csv"),
]

FORCE_ROWS = [
    *unreadable("melta.test", "melta.data_e"),
    say("cannot read the value of the position-shift.", "--force", "small"),
    say("cannot read the value of the position-shift.", "--force", "nan"),
    say("cannot read the value of the regularElem.", "--force", "1e-3", "yes"),
    say("atomic position shift is zero.", "--force", "0"),
]

DEBUG_ROWS = [
    *unreadable("melta.train"),
    say("cannot read the value of the weight/bias-shift.", "--debug", "small"),
    say("cannot read the value of the weight/bias-shift.", "--debug", "inf"),
    say("weight/bias shift is zero.", "--debug", "0"),
]

# Each geometry of a walk goes into an input of Quantum ESPRESSO, for which all questions take their defaults.
PW = take("shared/pw", "template.in", "geom.1")
DFT = {"pw.in": PW["template.in"], "dft_geom/geom.1": PW["geom.1"]}
DFT_ROWS = [
    row(link("dft_geom/geom.1", BROKEN), cannot("read", "dft_geom/geom.1")),
    row(put("pw.in", PW["template.in"] + "! more\n" * 2048), "too much lines in a file."),
]

TEMPLATE_ROWS = [
    *unwritable("melta.prop"),
    row(NO_RIGHTS, cannot("open", "melta.prop")),
]
BEHLER_ROWS = unwritable("melta.behler")
WALK_TEMPLATE_ROWS = [
    *unreadable("melta.train"),
    *unwritable("melta.metro"),
]

GROUPS = [
    Group("surroundings.training", ["--train"], TRAINING, TRAINING_ROWS),
    Group("surroundings.restart", ["--train"], RESTART, RESTART_ROWS),
    Group("surroundings.store", ["--train"], STORING, STORE_ROWS, tolerance=RANDOM),
    Group("surroundings.charge_store", ["--train-charge"], STORING_CHARGES, CHARGE_STORE_ROWS, tolerance=RANDOM),
    Group("surroundings.test", ["--test"], TEST, TEST_ROWS),
    Group("surroundings.charge_test", ["--test"], CHARGED, CHARGE_TEST_ROWS),
    Group("surroundings.export", ["--export"], EXPORT, EXPORT_ROWS),
    Group("surroundings.walk", ["--metro"], FINDING, WALK_ROWS, tolerance=Tolerance("*", 0.0, 2e-3)),
    Group("surroundings.split", ["--split", "0.5"], SPLIT, SPLIT_ROWS),
    Group("surroundings.fit", ["--classical"], FIT, FIT_ROWS),
    Group("surroundings.force", ["--force"], TEST, FORCE_ROWS),
    Group("surroundings.debug", ["--debug"], TRAINING, DEBUG_ROWS),
    Group("surroundings.dft", ["--dft", "pw.in"], DFT, DFT_ROWS, stdin="\n" * 8),
    Group("surroundings.template", ["--template"], {}, TEMPLATE_ROWS),
    Group("surroundings.behler", ["--behler"], {}, BEHLER_ROWS),
    Group("surroundings.walk_template", ["--metro-temp"], SPLIT, WALK_TEMPLATE_ROWS),
]
