"""Mistakes in melta.prop and melta.behler."""

from __future__ import annotations

from rows import Group, Row, add, drop, put, row, take

PROP = "melta.prop"
BEHLER = "melta.behler"

TRAINING = {**take("bad_input/files", PROP), **take("shared/silica", "melta.train", "melta.test")}

SWITCHES = (
    "restart insituTest insituValid keepBest regularElem elemWeight tanhCutoff sqrtLoss renormLoss withCharge"
    " withHDNNP withClassical withLJlike withReaxFF withZBL approxForce storeDerivatives coefFromData"
).split()
INTEGERS = (
    "directSF m2 m3 numRadius numAngle models layers nodes lbfgs lineSteps batchs epochs epochsStore minutesStore"
    " epochsOnlyE epochsApproxF superEpochs geomsEpoch classicalTry gpuThreads gpuAtomBlock maxAngular bodyOrder"
    " numRadius4 channels trainChannels"
).split()
REALS = (
    "maxForce minEDev maxEDev minQDev maxQDev rinner router rcutRadius rcutAngle rcutReaxFF rateReaxFF rmseEnergy"
    " rmseForce rmseCharge coefEnergy coefForce coefStress coefCharge learnRate learnRateFinal learnRateDecay adamBeta1"
    " adamBeta2 classicalLower coefEnergyFinal coefStressFinal rinnerZBL routerZBL"
).split()
POSITIVE = (
    "minEDev maxEDev minQDev maxQDev m2 router numRadius rcutRadius models layers nodes epochs rcutReaxFF rateReaxFF"
    " rmseEnergy rmseForce rmseCharge coefCharge learnRate learnRateFinal classicalTry gpuThreads gpuAtomBlock"
    " maxAngular bodyOrder numRadius4 coefEnergyFinal coefStressFinal"
).split()
NOT_NEGATIVE = (
    "m3 rinner numAngle rcutAngle lbfgs coefEnergy coefForce coefStress channels trainChannels rinnerZBL routerZBL"
).split()


def key(text: str, message: str) -> Row:
    return row(add(PROP, text), message)


def unreadable_values() -> list[Row]:
    rows = [key(f"{name} no", f"incorrect '{name}'") for name in (*SWITCHES, *INTEGERS, *REALS)]
    rows += [key(name, f"incorrect '{name}'") for name in ("restart", "numRadius", "maxForce")]
    rows += [
        key(name, f"incorrect '{name}'") for name in ("symmFunc", "lineSearch", "symmScale", "learnRateSchedule")
    ]
    rows += [key(f"{name} nan", f"incorrect '{name}'") for name in REALS]
    # What stops at this key is older than its name.
    rows.append(key("activ", "incorrect 'acctiv'"))
    return rows


def values_out_of_range() -> list[Row]:
    rows = [key(f"{name} 0", f"{name} is not positive: melta.prop") for name in POSITIVE]
    rows += [key(f"{name} -1", f"{name} is negative: melta.prop") for name in NOT_NEGATIVE]
    return rows + [
        key("lineSteps 0", "lineStep is not positive: melta.prop"),
        key("classicalLower 0", "classicalLower is not negative: melta.prop"),
        key("learnRateDecay 0", "learnRateDecay is out of range: melta.prop"),
        key("learnRateDecay 1.1", "learnRateDecay is out of range: melta.prop"),
        key("adamBeta1 1", "adamBeta1 is out of range: melta.prop"),
        key("adamBeta2 0", "adamBeta2 is out of range: melta.prop"),
        key("symmFunc cluster\nbodyOrder 5", "bodyOrder is none of 2, 3 and 4: melta.prop"),
        key("symmFunc cluster\nmaxAngular 7", "maxAngular is larger than 6: melta.prop"),
        key("symmFunc cluster\nnumRadius 3\nnumRadius4 4", "numRadius4 > numRadius: melta.prop"),
        key("symmScale both", "incorrect symmScale (both): melta.prop"),
        key("symmFunc chebychev", "incorrect symmFunc (chebychev): melta.prop"),
        key("activ relu", "incorrect activ (relu): melta.prop"),
        key("activ Not Used", "incorrect activ (Not): melta.prop"),
        key("learnRateSchedule linear", "incorrect learnRateSchedule (linear): melta.prop"),
        key("lineSearch newton", "incorrect lineSearch (newton): melta.prop"),
        key("nodes: 4", "unknown key word: nodes:"),
    ]


COMBINATIONS = [
    key("minEDev 3\nmaxEDev 2", "minEDev > maxEDev: melta.prop"),
    key("minQDev 3\nmaxQDev 2", "minQDev > maxQDev: melta.prop"),
    key("symmFunc many-body\nrinner 3\nrouter 3", "router is too small: melta.prop"),
    key("symmFunc many-body\nelemWeight 1", "symmFunc of many-body does not support elemWeight: melta.prop"),
    key("coefEnergy 0\ncoefForce 0", "both of coefEnergy and coefForce are zero: melta.prop"),
    key("coefEnergy 1e-20\ncoefForce 1e-20", "both of coefEnergy and coefForce are zero: melta.prop"),
    key("withClassical 1\nwithReaxFF 1", "you cannot use withClassical & withReaxFF at the same time: melta.prop"),
    key("insituTest 0\nkeepBest 1", "keepBest needs insituTest or insituValid: melta.prop"),
    key("coefEnergy 0\ncoefEnergyFinal 2", "coefEnergyFinal needs a coefEnergy above zero: melta.prop"),
    key("coefStressFinal 2", "coefStressFinal needs a coefStress above zero: melta.prop"),
    key(
        "lbfgs 0\nlearnRateSchedule cosine",
        "learnRateSchedule cosine needs a learnRateFinal below learnRate: melta.prop",
    ),
    row((add(PROP, "insituTest 1\nkeepBest 1"), drop("melta.test")), "cannot open file: melta.test"),
    key("insituValid 1\nkeepBest 1", "cannot open file: melta.valid"),
    key("withReaxFF 1\nwithZBL 1", "you cannot use withReaxFF & withZBL at the same time: melta.prop"),
    key("rcutAngle 0", "cutoff for angle is not positive."),
    key("coefStress 1\nwithCharge 1", "coefStress does not support withCharge: melta.prop"),
    key("coefStress 1\nrenormLoss 1", "coefStress does not support renormLoss: melta.prop"),
    key("coefStress 1", 'this training data has no stress, please set "coefStress 0".'),
]

TOO_LARGE = [
    key("numRadius 2000000000", "too many symmetry functions."),
    key("symmFunc many-body\nm2 2000000000", "too many symmetry functions."),
    key("nodes 2000000000", "neural network is too large."),
]

BEHLER_FILES = {**TRAINING, **take("bad_input/files", BEHLER), PROP: TRAINING[PROP] + "symmFunc behler\n"}
RADIAL = "Rcut\n3.5 3\nG2\n"
FAR_FUNCTION = "Rcut\n3.5 3\nG2\n2 1e3\n"
ANGULAR = "Rcut\n3.5 3\nG2\n2 1\nG3\n"


def functions(text: str, message: str) -> Row:
    return row(put(BEHLER, text + "\n"), message)


BEHLER_ROWS = [
    row(put(BEHLER, FAR_FUNCTION), "deviation of symmetry functions is too small."),
    row((put(BEHLER, FAR_FUNCTION), add(PROP, "geomsEpoch 2")), "deviation of symmetry functions is too small."),
    row((add(PROP, "numRadius 2000000000"), drop(BEHLER)), "too many symmetry functions: melta.behler"),
    functions("Rcut\n3.5 3\nG2\n3e38 0", "NaN at symmetry functions of the 0 -th geometry."),
    functions("", "there are no G2 functions: melta.behler"),
    functions("G2\n2 1", "Rcut for radius is not positive: melta.behler"),
    functions("Rcut\nfar\nG2\n2 1", "cannot read Rcut: melta.behler"),
    functions("Rcut\n0 3\nG2\n2 1", "Rcut for radius is not positive: melta.behler"),
    functions("Rcut\n3.5 0\nG2\n2 1\nG4\n1 1 0", "Rcut for angle is not positive: melta.behler"),
    functions(RADIAL + "2", "cannot read G2: melta.behler"),
    functions(RADIAL + "2 nan", "cannot read G2: melta.behler"),
    functions(RADIAL + "-2 1", "eta of G2 is negative: melta.behler"),
    functions(RADIAL + "2 -1", "Rs of G2 is negative: melta.behler"),
    functions(ANGULAR + "1", "cannot read G4: melta.behler"),
    functions(ANGULAR + "-1 1 0", "eta of G4 is negative: melta.behler"),
    functions(ANGULAR + "1 0 0", "zeta of G4 is not positive: melta.behler"),
    functions(ANGULAR + "1 1 -1", "rs of G4 is negative: melta.behler"),
    functions(ANGULAR + "1 1 0\nG4\n1 1 0", "you can set G3/G4 only once."),
    functions(ANGULAR + "1 1\nG3\n1 1", "you can set G3/G4 only once."),
]

CHARGE_ROWS = [
    key("withCharge 0", "you have to let withCharge be 1, for charge training: melta.prop"),
    key("models 0", "models is not positive: melta.prop"),
]

GROUPS = [
    Group("properties.unreadable", ["--train"], TRAINING, unreadable_values(), is_one_test=True),
    Group("properties.out_of_range", ["--train"], TRAINING, values_out_of_range(), is_one_test=True),
    Group("properties.combinations", ["--train"], TRAINING, COMBINATIONS),
    Group("properties.too_large", ["--train"], TRAINING, TOO_LARGE),
    Group("properties.charge", ["--train-charge"], {**TRAINING, PROP: TRAINING[PROP] + "withCharge 1\n"}, CHARGE_ROWS),
    Group("properties.behler", ["--train"], BEHLER_FILES, BEHLER_ROWS),
]
