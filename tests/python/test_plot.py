"""The numbers behind melta-plot, and its pictures."""

from __future__ import annotations

import json
import shutil
import signal
import subprocess
import sys
import threading
import time
import xml.etree.ElementTree

import numpy as np
import pytest
from conftest import COMMAND, EXAMPLE, run

from melta import datafile, formats
from melta.plot import errors, groups, learning, log, parity, radial, spread, style
from melta.plot.command import main
from melta.plot.run import Run
from melta.structure import DataError, Structure

BANNER = """\
  This is Training Mode.
    Maximum Epochs      = 100
  Optimization:

  >>> Only energy-gradient is used.
"""
LINES = """\
  #.{0:6d}  RMSE(E): {1:.3e}  RMSE(F): 2.000e-01  Loss: 1.000e+00  Time[ wall={2:05.2f}s epoch=01.00s ]
  @         RMSE(E): 3.000e-02  RMSE(F): 4.000e-01  (for test data)
"""


@pytest.fixture(scope="module")
def tested(silicon, tmp_path_factory):
    """A copy of the model, tested, with what its training printed."""
    directory = tmp_path_factory.mktemp("run") / "first"
    shutil.copytree(silicon, directory)
    (directory / "melta.log").write_text(run(directory, "--train"))
    run(directory, "--test")
    return directory


def log_of(tmp_path, text):
    path = tmp_path / "melta.log"
    path.write_text(text)
    return log.read(path)


def needs_matplotlib():
    if not style.is_available():
        pytest.skip("there is no matplotlib")


def is_picture(path):
    """Whether there is a complete picture of that kind."""
    if path.suffix == ".svg":
        return xml.etree.ElementTree.parse(path).getroot().tag.endswith("svg")
    return path.read_bytes().startswith(b"\x89PNG") and path.read_bytes().endswith(b"IEND\xaeB`\x82")


def test_log_of_a_training_that_goes_on(tmp_path):
    text = BANNER + "".join(LINES.format(i, 0.1 / i, 2.0 * i) for i in range(1, 11))
    found = log_of(tmp_path, text + "  #.    11  RMSE(E): 1.0")

    assert found.training.epochs == list(range(1, 11))
    assert found.training.values["RMSE(E)"][3] == pytest.approx(0.025)
    assert found.testing.values["RMSE(F)"] == [0.4] * 10
    assert found.limit == 100 and not found.is_finished
    assert found.seconds_left() == pytest.approx(180.0)
    assert found.changes == [(0, "Only energy-gradient is used.")]
    assert "epoch 10 of 100" in learning.summary(found)
    assert "3.0 min left" in learning.summary(found)


def test_log_counts_on_over_super_epochs_and_appended_trainings(tmp_path):
    part = "  * Start the Super Epoch of [ {} / 3 ].\n" + "".join(LINES.format(i, 0.1, i) for i in (1, 2))
    ended = "  * Wall time: 0d 0h 0m 6.69s.\n"
    found = log_of(tmp_path, BANNER + part.format(1) + part.format(2) + ended + BANNER + LINES.format(1, 0.1, 1))

    assert found.training.epochs == [1, 2, 3, 4, 5]
    assert not found.is_finished
    assert found.limit == 104
    assert log_of(tmp_path, BANNER + part.format(1) + part.format(2)).limit == 2 + 2 * 100
    assert log_of(tmp_path, BANNER + part.format(1) + ended).seconds_left() == 0.0


def test_log_of_a_real_training(tested):
    found = log.read(tested)

    assert found.is_finished and found.limit == 40
    assert found.training.epochs == list(range(1, 41))
    assert set(found.training.values) == {"RMSE(E)", "RMSE(F)", "Loss"}
    assert np.isfinite(found.training.values["Loss"]).all()


def test_column_that_begins_late(tmp_path):
    text = BANNER + LINES.format(1, 0.1, 1.0) + LINES.format(2, 0.1, 2.0).replace("Loss:", "RMSE(S): 5.0e-2  Loss:")
    column = log_of(tmp_path, text).training.values["RMSE(S)"]

    assert np.isnan(column[0]) and column[1] == 0.05


def test_errors_are_those_that_the_test_prints(tested):
    shown = run(tested, "--test")
    found = Run(tested)

    for quantity, name, factor in (("energy", "Etot", 1000.0), ("force", "Force", 1.0)):
        printed = float(next(line for line in shown.splitlines() if f"RMSE({name})" in line).split()[2])
        assert errors.errors_of(found.errors(quantity)).rmse == pytest.approx(factor * printed, rel=1e-4)


def test_rows_add_up(tested):
    found = Run(tested)
    whole = errors.errors_of(found.force_errors())

    for by in errors.BY:
        rows = errors.rows_by(found, by)
        assert sum(row.atoms for row in rows) == len(found.force_errors())
        square = sum(row.atoms * row.force.rmse**2 for row in rows) / sum(row.atoms for row in rows)
        assert np.sqrt(square) == pytest.approx(whole.rmse)
        assert max(row.force.largest for row in rows) == whole.largest
    assert len(errors.rows_by(found, "geometry")) == len(found.structures)


def test_groups_are_found_in_another_order(tested, tmp_path):
    structures = Run(tested).structures
    named = []
    for i, one in enumerate(structures):
        shifted = one.positions + one.cell[0] * (i % 2)  # codes move atoms by cell vectors
        named.append(Structure(one.labels, one.cell, shifted, one.energy, one.forces, group=f"g{i % 3}"))
    formats.write_extxyz(tmp_path / "data.extxyz", named[:0:-1])

    found = groups.groups_of(structures, [str(tmp_path / "data.extxyz")])

    assert found == [groups.UNKNOWN] + [f"g{i % 3}" for i in range(1, len(structures))]


def test_test_data_that_have_changed(tested, tmp_path):
    directory = tmp_path / "changed"
    shutil.copytree(tested, directory)
    datafile.write(directory / "melta.test", Run(tested).structures[:-1])

    with pytest.raises(DataError, match="has changed"):
        Run(directory).structures


def test_calibration(tested):
    energy, force = spread.calibrations(Run(tested))

    assert len(energy.spread) == len(Run(tested).structures)
    assert len(force.spread) == len(Run(tested).force_errors())
    assert 0.1 < force.ratio() < 30.0
    assert force.rank_correlation() > 0.3
    means = force.binned()
    assert (np.diff(means[:, 0]) >= 0.0).all()


def test_calibration_of_known_numbers():
    values = np.linspace(1.0, 2.0, 40)
    one = spread.Calibration("Force", "eV", values, 3.0 * values)

    assert one.ratio() == pytest.approx(3.0)
    assert one.rank_correlation() == pytest.approx(1.0)
    np.testing.assert_allclose(one.binned()[:, 1], 3.0 * one.binned()[:, 0])


def test_radial_distribution_counts_neighbours():
    # Simple cubic, lattice constant 3: 6 neighbours at 3, 12 at 4.24; four atoms in a cell that is not orthogonal.
    cell = np.array([[6.0, 0.0, 0.0], [3.0, 3.0, 0.0], [0.0, 0.0, 6.0]])
    places = [[-7.0, 0.0, 0.1], [-4.0, 0.0, 0.1], [-7.0, 0.0, 3.1], [-4.0, 0.0, 3.1]]
    one = Structure(["Si"] * 4, cell, np.array(places))
    bins, longest = 50, 5.0

    found = radial.distributions([one, one], longest, bins)[("Si", "Si")]

    edges = np.linspace(0.0, longest, bins + 1)
    neighbours = found * 4.0 / 3.0 * np.pi * np.diff(edges**3) / 27.0
    near = (edges[:-1] > 2.85) & (edges[1:] < 3.25)
    far = (edges[:-1] > 4.05) & (edges[1:] < 4.45)
    assert neighbours[near].sum() == pytest.approx(6.0)
    assert neighbours[far].sum() == pytest.approx(12.0)
    assert neighbours[~near & ~far].sum() == 0.0


def test_thinned_keeps_the_worst():
    pairs = np.zeros((3 * parity.MOST_POINTS, 2))
    pairs[7] = 1.0, 5.0

    found = parity.thinned(pairs)

    assert len(found) == parity.MOST_POINTS
    assert found[:, 1].max() == 5.0


@pytest.mark.parametrize("words", ["parity", "learning", "histogram --by element", "spread", "radial"])
def test_pictures(tested, tmp_path, capsys, words):
    needs_matplotlib()

    assert main([*words.split(), str(tested), "-o", str(tmp_path / "one")]) == 0

    shown = capsys.readouterr().out
    for suffix in style.SUFFIXES:
        path = tmp_path / f"one{suffix}"
        assert is_picture(path) and str(path) in shown
    assert sorted(path.name for path in tmp_path.iterdir()) == ["one.png", "one.svg"]


def test_comparison(tested, tmp_path, capsys):
    needs_matplotlib()

    assert main(["compare", str(tested), str(tested), "-o", str(tmp_path / "two.svg")]) == 0

    rows = [line.split() for line in capsys.readouterr().out.splitlines()[2:4]]
    assert rows[0] == rows[1] and float(rows[0][3]) > 0.0
    assert [path.name for path in tmp_path.iterdir()] == ["two.svg"]


def test_pictures_are_the_same_twice_and_leave_settings_alone(tested, tmp_path):
    needs_matplotlib()
    import matplotlib

    before = json.dumps({key: str(value) for key, value in matplotlib.rcParams.items()})
    for name in ("a.svg", "b.svg"):
        assert main(["parity", str(tested), "-o", str(tmp_path / name)]) == 0

    assert (tmp_path / "a.svg").read_bytes() == (tmp_path / "b.svg").read_bytes()
    assert json.dumps({key: str(value) for key, value in matplotlib.rcParams.items()}) == before


def test_outliers_are_named(tested):
    found = Run(tested)
    worst = int(np.argmax(np.abs(found.errors("force"))))
    geometry = int(found.geometry_of_atom[worst // 3])

    assert parity.outlier_name(found, "force", worst) == f"{geometry + 1} Si8"
    listed = {line.split()[0] for line in (tested / "melta.worst").read_text().splitlines()[1:]}
    assert str(geometry + 1) in listed


def test_parity_needs_the_tables_alone(tested, tmp_path, capsys):
    needs_matplotlib()
    for name in ("melta.etot", "melta.force"):
        shutil.copy(tested / name, tmp_path)

    assert main(["parity", str(tmp_path), "-o", str(tmp_path / "p.png")]) == 0
    assert capsys.readouterr().out.startswith("energy:  RMSE ")


def test_follow_ends_with_the_training(tmp_path):
    needs_matplotlib()
    path, told = tmp_path / "melta.log", []
    path.write_text(BANNER + LINES.format(1, 0.1, 1.0))
    arguments = ([str(path)], str(tmp_path / "live"), 0.05, told.append)
    thread = threading.Thread(target=learning.follow, args=arguments, daemon=True)
    thread.start()
    wait_until(lambda: len(told) == 1)

    with open(path, "a") as file:
        file.write(LINES.format(2, 0.1, 2.0) + LINES.format(3, 0.1, 3.0) + LINES.format(4, 0.1, 4.0))
    wait_until(lambda: len(told) == 2)
    assert thread.is_alive()
    with open(path, "a") as file:
        file.write("\n  * Wall time: 0d 0h 0m 6.69s.\n")
    thread.join(60.0)

    assert not thread.is_alive()
    assert "at most 96 s left" in told[1]
    assert told[-1].endswith("ended")
    assert is_picture(tmp_path / "live.png") and is_picture(tmp_path / "live.svg")


def test_follow_ends_by_an_interrupt(tmp_path):
    needs_matplotlib()
    (tmp_path / "melta.log").write_text(BANNER + LINES.format(1, 0.1, 1.0))
    code = "import sys; from melta.plot.command import main; sys.exit(main(sys.argv[1:]))"
    words = ["learning", "--follow", "--interval", "0.1", str(tmp_path), "-o", str(tmp_path / "live.png")]
    follower = subprocess.Popen([sys.executable, "-c", code, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert b"epoch 1 of 100" in follower.stdout.readline()

    follower.send_signal(signal.SIGINT)
    _, complaints = follower.communicate(timeout=60)

    assert follower.returncode == 0 and not complaints
    assert is_picture(tmp_path / "live.png")


def wait_until(holds):
    end = time.monotonic() + 60.0
    while not holds():
        assert time.monotonic() < end
        time.sleep(0.02)


def test_follow_a_real_training(tmp_path):
    needs_matplotlib()
    for name in ("melta.train", "melta.prop"):
        shutil.copy(EXAMPLE / name, tmp_path)
    text = (tmp_path / "melta.prop").read_text().replace("insituTest     1", "insituTest 0").replace("epochs         300", "epochs 15")
    (tmp_path / "melta.prop").write_text(text)
    with open(tmp_path / "melta.log", "w") as file:
        training = subprocess.Popen([COMMAND, "--train"], cwd=tmp_path, stdout=file)
    code = "import sys; from melta.plot.command import main; sys.exit(main(sys.argv[1:]))"
    words = ["learning", "--follow", "--interval", "0.1", str(tmp_path), "-o", str(tmp_path / "live.png")]

    done = subprocess.run([sys.executable, "-c", code, *words], capture_output=True, text=True, timeout=200)

    assert training.wait(60) == 0
    assert done.returncode == 0, done.stderr
    assert "epoch 15 of 15" in done.stdout.splitlines()[-1]
    assert is_picture(tmp_path / "live.png")


@pytest.mark.parametrize(
    "words, message",
    [
        (["parity", "nowhere"], "no such directory"),
        (["learning", "nowhere"], "cannot read the file: nowhere"),
        (["learning", "--interval", "0"], "--interval is not positive"),
        (["spread", ".", "."], "takes one run"),
        (["radial", "--longest", "-1"], "not positive"),
    ],
)
def test_failures(words, message, capsys, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)

    assert main(words) == 1
    assert message in capsys.readouterr().err


def test_broken_tables(tmp_path):
    for text, message in (("head\n1 2\n3\n", "two numbers"), ("head\n1 nan\n", "not finite"), ("head\n", "two numbers")):
        (tmp_path / "melta.force").write_text(text)
        with pytest.raises(DataError, match=message):
            Run(tmp_path).table("force")
