"""The command melta-data check: what it makes of sound data and of lines that are not as they should be."""

from __future__ import annotations

import json
import os
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np
import pytest
from conftest import COMMAND, EXAMPLE
from hypothesis import given, settings
from hypothesis import strategies as st
from planting import (
    BUNDLED,
    ENOUGH,
    FORCE,
    LABEL,
    SETS,
    SHARED,
    Planter,
    errors,
    needs_sets,
    of_kind,
    require,
)

from melta import convert, datafile
from melta.doctor import examination, fields
from melta.doctor.findings import Rank

settings.register_profile("here", deadline=None, database=None, derandomize=True)
settings.load_profile("here")


def check(*arguments) -> int:
    return convert.main(["check", *map(str, arguments)])


# ---------------------------------------------------------------------------------------------
# Sound data
# ---------------------------------------------------------------------------------------------


@pytest.mark.parametrize("name", ["melta.train", "melta.test"])
def test_bundled_data_are_sound(name):
    report = examination.examine(EXAMPLE / name)

    assert report.num_structures == sum(1 for _ in datafile.read(EXAMPLE / name))
    assert [one.kind for one in report.findings] == ["no-charges"]
    assert report.is_sound


@needs_sets
@pytest.mark.parametrize("kind", ["train", "test"])
@pytest.mark.parametrize("name", SETS)
def test_published_sets_are_sound(name, kind):
    path = Path(SHARED) / name / f"melta.{kind}"

    report = examination.examine(path)

    assert errors(report) == []
    assert report.num_structures == sum(1 for _ in datafile.read(path))


@needs_sets
@pytest.mark.parametrize("name", ["Li", "Si"])
def test_sets_with_stress_are_sound(name):
    report = examination.examine(Path(SHARED) / name / "melta.train.stress")

    assert errors(report) == []
    assert of_kind(report, "stress") == []


# ---------------------------------------------------------------------------------------------
# Lines that cannot be read
# ---------------------------------------------------------------------------------------------


def test_windows_line_ends(planter, tmp_path, capsys):
    path = planter.write(tmp_path / "melta.train", "\r\n")

    assert check(path) == 0

    output = capsys.readouterr().out
    assert f"remark: {path}:1: [crlf] all lines end as on Windows" in output


def test_mixed_line_ends(planter, diagnose):
    planter.lines[16] += "\r"
    planter.lines[40] += "\r"

    found = require(diagnose(planter), Rank.WARNING, "crlf", 17, None, "2 lines")
    assert found.count == 2


def test_line_ends_of_old_macs(planter, tmp_path):
    report = examination.examine(planter.write(tmp_path / "melta.train", "\r"))

    require(report, Rank.ERROR, "cr-alone", 1, None)
    assert not report.is_sound


@pytest.mark.parametrize("blank", ["", "  \t "])
def test_blank_line_hides_the_rest(planter, diagnose, blank):
    place = planter.heads[30]
    planter.lines.insert(place, blank)

    report = diagnose(planter)

    require(report, Rank.ERROR, "blank-line", place + 1, 30, f"{ENOUGH - 30} structures behind it are not read")
    assert report.num_structures == 30


def test_blank_lines_at_the_end_are_right(planter, diagnose):
    planter.lines += ["", " ", ""]

    assert diagnose(planter).is_sound
    assert of_kind(diagnose(planter), "blank-line") == []


def test_text_hides_the_rest(planter, diagnose):
    place = planter.heads[12]
    planter.lines.insert(place, "# second run")

    require(diagnose(planter), Rank.ERROR, "rest", place + 1, 12, "second run", f"{ENOUGH - 12} structures")


def test_text_at_the_end(planter, diagnose):
    planter.lines.append("the end")

    require(diagnose(planter), Rank.WARNING, "rest", len(planter.lines), ENOUGH, "the end")


def test_mark_of_the_encoding(planter, tmp_path):
    path = planter.write(tmp_path / "melta.train")
    path.write_bytes(b"\xef\xbb\xbf" + path.read_bytes())

    report = examination.examine(path)

    require(report, Rank.ERROR, "encoding", 1, 0, f"{ENOUGH - 1} structures")
    require(report, Rank.ERROR, "no-structures", 0, None)


def test_too_many_atoms_are_promised(planter, diagnose):
    planter.change(planter.head_line(5), lambda words: words.__setitem__(0, 9))

    report = diagnose(planter)

    text = f"the head in line {planter.head_line(5)} tells of 9 atoms"
    require(report, Rank.ERROR, "atom-count", planter.head_line(6), 5, text, "cannot read the 8 -th atom of the 5 -th")
    assert report.num_structures == ENOUGH - 1


def test_too_few_atoms_are_promised(planter, diagnose):
    planter.change(planter.head_line(5), lambda words: words.__setitem__(0, 7))

    report = diagnose(planter)

    text = f"{ENOUGH - 6} structures behind it are not read"
    require(report, Rank.ERROR, "atom-count", planter.atom_line(5, 7), 5, text)


def test_file_that_was_cut(planter, diagnose):
    del planter.lines[-3:]

    report = diagnose(planter)

    require(report, Rank.ERROR, "unreadable", len(planter.lines), ENOUGH - 1, "too less lines")


@pytest.mark.parametrize(
    "edit, kind, words",
    [
        (lambda words: words.pop(), "unreadable", "12 of 13 fields"),
        (lambda words: words.pop(LABEL), "missing-label", "no label in front"),
        (lambda words: words.__setitem__(3, "1.5D+00"), "unreadable", "exponents with e"),
        (lambda words: words.__setitem__(6, "*******"), "unreadable", "6 of 13 fields"),
        (lambda words: words.__setitem__(6, "NaN"), "not-finite", "NaN at the 4 -th atom of the 7 -th geometry"),
        (lambda words: words.__setitem__(6, "1e39"), "not-finite", "NaN at the 4 -th atom"),
        (lambda words: words.clear(), "unreadable", "a blank line within a structure"),
    ],
)
def test_broken_atoms(planter, diagnose, edit, kind, words):
    planter.change(planter.atom_line(7, 4), edit)

    report = diagnose(planter)

    require(report, Rank.ERROR, kind, planter.atom_line(7, 4), 7, words)
    assert report.num_structures == ENOUGH - 1


def test_label_is_missing_with_more_text_behind(planter, diagnose):
    # With a number in place of the label and something behind the line can be read.
    planter.change(planter.atom_line(7, 4), lambda words: (words.pop(LABEL), words.append("0")))

    require(diagnose(planter), Rank.ERROR, "label", planter.atom_line(7, 4), 7, "cannot resolve the atomic number")


def test_unknown_labels(planter, diagnose):
    planter.change(planter.atom_line(7, 4), lambda words: words.__setitem__(LABEL, "Xx"))
    planter.change(planter.atom_line(9, 0), lambda words: words.__setitem__(LABEL, "Xx"))

    require(diagnose(planter), Rank.ERROR, "label", planter.atom_line(7, 4), 7, "'Xx'")


def test_broken_cell(planter, diagnose):
    planter.change(planter.head_line(3) + 2, lambda words: words.pop())

    require(diagnose(planter), Rank.ERROR, "unreadable", planter.head_line(3) + 2, 3, "cannot read lattice of the 3")


@pytest.mark.parametrize(
    "edit, kind, words",
    [
        (lambda words: words.pop(1), "head", "takes -6 as the flag"),
        (lambda words: words.__setitem__(2, "-6.3D+01"), "head", "takes -6.3 Ry as the energy"),
        (lambda words: words.__setitem__(1, "0.0"), "head", "takes 0 Ry as the energy"),
        (lambda words: words.pop(), "head", "no total energy is read"),
        (lambda words: words.__setitem__(0, 0), "unreadable", "#atoms of the 20 -th geometry is not positive"),
        (lambda words: words.__setitem__(0, "99999999999"), "unreadable", "too large #atoms"),
        (lambda words: words.__setitem__(2, "nan"), "not-finite", "NaN at the total energy of the 20 -th geometry"),
        (lambda words: words.extend(["1"] * 5 + ["inf"]), "not-finite", "NaN at the stress"),
    ],
)
def test_broken_heads(planter, diagnose, edit, kind, words):
    planter.change(planter.head_line(20), edit)

    (found,) = of_kind(diagnose(planter), kind)

    assert (found.rank, found.line, found.structure) == (Rank.ERROR, planter.head_line(20), 20)
    assert words in found.found + " " + found.advice


def test_incomplete_stress(planter, diagnose):
    planter.change(planter.head_line(20), lambda words: words.extend(["1e-4"] * 5))

    require(diagnose(planter), Rank.WARNING, "stress", planter.head_line(20), 20, "incomplete stress")


@pytest.mark.parametrize(
    "edit",
    [
        lambda lines, place: lines.__setitem__(place + 5, lines[place + 5].rsplit(None, 1)[0]),
        lambda lines, place: lines.__setitem__(place + 6, lines[place + 6].replace("Si", "Xx")),
        lambda lines, place: lines.__setitem__(place + 1, "1.0 2.0"),
        lambda lines, place: lines.__setitem__(place, "0 0 1.5"),
        lambda lines, place: lines.__setitem__(place, "9 " + lines[place].split(None, 1)[1]),
        lambda lines, place: lines.__setitem__(place, lines[place].split()[0] + " 0 inf"),
    ],
)
def test_messages_are_those_of_the_command(planter, tmp_path, edit):
    edit(planter.lines, planter.heads[7])
    planter.write(tmp_path / "melta.train")
    (tmp_path / "melta.prop").write_text("symmFunc chebyshev\n")
    done = subprocess.run([COMMAND, "--train"], cwd=tmp_path, capture_output=True, text=True, timeout=120)
    (message,) = [line[len("[STOP] ") :] for line in done.stdout.splitlines() if line.startswith("[STOP] ")]

    report = examination.examine(tmp_path / "melta.train")

    told = " ".join(one.advice for one in errors(report))
    assert message.removesuffix(": melta.train") in told


# ---------------------------------------------------------------------------------------------
# The command
# ---------------------------------------------------------------------------------------------


def test_report_as_text(planter, tmp_path, capsys):
    for structure in range(20, 27):
        planter.change(planter.atom_line(structure, 3), lambda words: words.__setitem__(FORCE, ["0", "0", "0"]))
    path = planter.write(tmp_path / "melta.train")

    assert check(path) == 1
    short = capsys.readouterr().out
    assert check(path, "--all") == 1
    long = capsys.readouterr().out

    assert short.startswith(f"{path}: {len(planter.lines)} lines, 40 structures, 320 atoms\n")
    assert f"error: {path}:{planter.head_line(20)}, structure 20: [net-force] the forces add up to" in short
    assert "    expected: zero\n    to do:    look for atoms" in short
    assert "    and 2 more of the kind (--all)\n" in short
    assert short.endswith("found: 7 errors, 0 warnings, 1 remark\n")
    assert long.count("[net-force]") == 7 and short.count("[net-force]") == 5


def test_report_as_json(planter, tmp_path, capsys):
    planter.scale(planter.head_line(25), 2, 0.1)
    path = planter.write(tmp_path / "melta.train")

    assert check(path, "--json", tmp_path / "report.json") == 1

    report = json.loads((tmp_path / "report.json").read_text())
    assert (report["structures"], report["errors"]) == (40, 1)
    assert report["findings"][0]["line"] == planter.head_line(25)
    assert report["findings"][0]["rank"] == "error"
    assert report["coverage"]["elements"] == {"Si": 320}
    assert report["coverage"]["distances"]["Si-Si"]["peak"] == pytest.approx(2.35, abs=0.1)
    assert sum(report["coverage"]["coordination"]["Si"].values()) == 320


def test_pictures(planter, tmp_path, capsys):
    pytest.importorskip("matplotlib")
    path = planter.write(tmp_path / "melta.train")

    assert check(path, "--pictures", tmp_path / "pictures") == 0

    names = sorted(os.listdir(tmp_path / "pictures"))
    expected = ("coordination", "density", "distances", "forces")
    assert names == [f"{name}.{suffix}" for name in expected for suffix in ("png", "svg")]
    for name in names:
        start = (tmp_path / "pictures" / name).read_bytes()[:100]
        assert start.startswith(b"\x89PNG" if name.endswith("png") else b"<?xml")
    assert capsys.readouterr().out.count("drawn:") == 8


def test_status_without_a_file(tmp_path, capsys):
    assert check(tmp_path / "none") == 2
    assert check(tmp_path) == 2
    assert "none: No such file" in capsys.readouterr().err
    with pytest.raises(SystemExit) as stop:
        check()
    assert stop.value.code == 2


def test_status_where_the_report_cannot_be_written(planter, tmp_path):
    path = planter.write(tmp_path / "melta.train")

    assert check(path, "--json", tmp_path / "none" / "report.json") == 2


@pytest.mark.parametrize(
    "options, missing, words",
    [([], "melta.doctor.examination", "needs SciPy"), (["--pictures", "."], "matplotlib.figure", "need Matplotlib")],
)
def test_status_without_libraries(planter, tmp_path, monkeypatch, capsys, options, missing, words):
    path = planter.write(tmp_path / "melta.train")
    if missing.startswith("melta."):
        monkeypatch.delattr(missing, raising=False)  # what was imported before stays an attribute
    monkeypatch.setitem(sys.modules, missing, None)
    monkeypatch.chdir(tmp_path)

    assert check(path, *options) == 2

    assert words in capsys.readouterr().err


@pytest.mark.parametrize("text", ["", "\n", "hello\n", "\0\0\0"])
def test_files_without_structures(tmp_path, text, capsys):
    (tmp_path / "melta.train").write_text(text)

    assert check(tmp_path / "melta.train") == 1
    assert "[no-structures]" in capsys.readouterr().out


# ---------------------------------------------------------------------------------------------
# Fields, and any bytes
# ---------------------------------------------------------------------------------------------


@pytest.mark.parametrize(
    "text, value, rest",
    [
        (b" 1.5e2x", 150.0, b"x"),
        (b"1.0D2", 1.0, b"D2"),
        (b"-2.-3", -2.0, b"-3"),
        (b"0x10", 16.0, b""),
        (b"1e", 1.0, b"e"),
        (b"1_0", 1.0, b"_0"),
        (b".5", 0.5, b""),
        (b"-Infinity", -np.inf, b""),
        (b"1e999", np.inf, b""),
        (b"", None, b""),
        (b"--1", None, b"--1"),
        (b"\x002", None, b""),
    ],
)
def test_fields_of_numbers(text, value, rest):
    scanner = fields.FieldScanner(text)

    assert scanner.number() == value
    assert scanner.rest() == rest
    assert (scanner.number() is None) or value is not None


def test_rows_of_the_quick_and_of_the_exact_way_agree():
    for line in BUNDLED.read_bytes().splitlines()[:200]:
        exact = fields.FieldScanner(line)
        word, numbers = exact.word(), exact.numbers(12)
        quick = fields.read_row(line, True, 12)
        assert quick == (None if numbers is None else (word, numbers))
    assert fields.read_row(b"Si 1_0" + b" 0" * 11, True, 12) is None
    assert fields.read_row(b"Si 1-2" + b" 0" * 10 + b" more", True, 12) == (b"Si", [1.0, -2.0] + [0.0] * 10)


WORDS = st.sampled_from("2 1 8 0 -1.5 Si O nan 1e300 1e-300 inf 5.13 x".split() + ["", "\r", "\0"])
TEXTS = st.lists(st.lists(WORDS, max_size=14).map(" ".join), max_size=24).map(lambda lines: "\n".join(lines).encode())


@settings(max_examples=150)
@given(st.binary(max_size=400) | TEXTS)
def test_any_bytes_give_a_report(data):
    with tempfile.TemporaryDirectory() as directory:
        path = Path(directory) / "melta.train"
        path.write_bytes(data)

        report = examination.examine(path)

        assert report.text() and json.loads(report.json())["file"] == str(path)


@settings(max_examples=150)
@given(st.data())
def test_any_spoiled_structure_gives_a_report(data):
    """Good structures in which some numbers are anything."""
    planter = Planter(BUNDLED, 6)
    wild = st.sampled_from(["0", "1e-30", "1e30", "-1e30", "1e200", "3", "-7.5", "Si", "H", "1e-8"])
    for _ in range(data.draw(st.integers(1, 6))):
        line = data.draw(st.integers(1, len(planter.lines)))
        place = data.draw(st.integers(0, 12))
        value = data.draw(wild)
        planter.change(line, lambda words: words.__setitem__(slice(place, place + 1), [value]))
    with tempfile.TemporaryDirectory() as directory:
        report = examination.examine(planter.write(Path(directory) / "melta.train"))

        assert report.text()
        json.loads(report.json())
