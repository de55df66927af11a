# SPDX-License-Identifier: BSD-3-Clause
"""The demo as its user meets it: a table and pictures, or a message that says why not."""

import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

ROOT = Path(__file__).resolve().parents[2]


def run_demo(folder, *arguments):
    return subprocess.run(
        [sys.executable, ROOT / "example" / "demo", *map(str, arguments)],
        cwd=folder,
        capture_output=True,
        text=True,
        timeout=300,
        check=False,
    )


def write_csv(folder, lines):
    path = folder / "table.csv"
    path.write_text("\n".join(lines) + "\n")
    return path


def numbers(rows):
    random = np.random.default_rng(0)
    table = random.normal(size=(rows, 3))
    table[:, 2] += 2 * table[:, 0]
    return ["a,b,y", *(",".join(f"{value:.6f}" for value in row) for row in table)]


def test_without_a_file_bundled_data_give_three_tables_and_a_picture_for_each_model(
    tmp_path,
):
    result = run_demo(tmp_path)
    assert result.returncode == 0, result.stderr
    ridge, logistic, warped = (
        result.stdout.index(title)
        for title in (
            "Ridge regression:",
            "Logistic regression:",
            "Warped linear regression:",
        )
    )
    assert ridge < logistic < warped
    rows = result.stdout[ridge:logistic].splitlines()
    for column in ("data set", "score", "grouping", "penalties", "error", "RidgeCV error"):
        assert column in rows[2]
    for name in ("diabetes", "longley", "star98", "fair", "randhie"):
        assert any(row.startswith(name) for row in rows)
    for name in ("ridge-criterion", "ridge-prediction", "logistic-calibration",
                 "warped-map-and-band"):  # fmt: skip
        picture = (tmp_path / "demo-output" / f"{name}.png").read_bytes()
        assert picture.startswith(b"\x89PNG")
        assert len(picture) > 5000


def test_a_users_file_gives_a_table_and_two_pictures(tmp_path):
    path = write_csv(tmp_path, numbers(60))
    result = run_demo(tmp_path, path, "--target", "y")
    assert result.returncode == 0, result.stderr
    assert "table.csv: y" in result.stdout
    assert "RidgeCV error" in result.stdout
    for name in ("ridge-criterion.png", "ridge-prediction.png"):
        picture = (tmp_path / "demo-output" / name).read_bytes()
        assert picture.startswith(b"\x89PNG")
        assert len(picture) > 5000


@pytest.mark.parametrize(
    ("lines", "target", "message"),
    [
        (numbers(60), "z", "there is no column 'z'; the columns of"),
        (numbers(60), None, "no --target was given; the columns of"),
        (
            [*numbers(60), "1,text,2"],
            "y",
            "column 'b' holds text where a number belongs: 'text' in data row 61",
        ),
        (
            [*numbers(60), "1,,2", "1,,2"],
            "y",
            "column 'b' has 2 missing values, the first in data row 61",
        ),
        ([*numbers(60), "1,inf,2"], "y", "column 'b' holds an infinite value"),
        (numbers(5), "y", "5 rows; at least 10 are needed"),
        (["y", *["1"] * 20], "y", "has no column besides the target 'y'"),
    ],
)
def test_a_table_that_cannot_be_used_gives_one_line_that_says_why(
    tmp_path, lines, target, message
):
    path = write_csv(tmp_path, lines)
    arguments = [path] if target is None else [path, "--target", target]
    result = run_demo(tmp_path, *arguments)
    assert result.returncode == 2
    assert message in result.stderr
    assert result.stderr.startswith("./run demo: ")
    assert result.stderr.count("\n") == 1


def test_a_missing_file_is_named(tmp_path):
    result = run_demo(tmp_path, "nowhere.csv", "--target", "y")
    assert result.returncode == 2
    assert result.stderr == "./run demo: there is no file 'nowhere.csv'\n"


def test_a_target_without_a_file_is_refused(tmp_path):
    result = run_demo(tmp_path, "--target", "y")
    assert result.returncode == 2
    assert "--target needs a file" in result.stderr
