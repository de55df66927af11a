# SPDX-License-Identifier: BSD-3-Clause
"""The demo as a user runs it: a table and plots, or a message with the reason."""

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


def cells(output, title):
    """The rows of the table below a title, each a list of its cells; the header first."""
    lines = output.split(f"{title}:", 1)[1].split("\n\n", 1)[1].splitlines()
    rules = lines[1].split("  ")
    starts = [sum(len(rule) + 2 for rule in rules[:k]) for k in range(len(rules))]
    ends = [*(start - 2 for start in starts[1:]), None]
    rows = [lines[0], *lines[2:]]
    rows = rows[: next((k for k, row in enumerate(rows) if row.startswith("wrote")), None)]
    columns = list(zip(starts, ends, strict=True))
    return [[row[a:b].strip() for a, b in columns] for row in rows if row]


@pytest.fixture(scope="module")
def bundled(tmp_path_factory):
    """What the demo prints of the bundled data."""
    result = run_demo(tmp_path_factory.mktemp("demo"))
    assert result.returncode == 0, result.stderr
    return result.stdout


def test_each_penalty_of_a_classifier_has_its_row_beside_a_grid_search(bundled):
    header, *rows = cells(bundled, "Logistic regression")
    assert header == [
        "data set", "n", "p", "penalty", "chosen", "log loss", "accuracy", "time",
        "CV log loss", "accuracy", "time",
    ]  # fmt: skip
    sets = ["breast cancer", "fair: any affair"]
    penalties = ["l2", "l1", "elasticnet", "bridge"]
    assert [row[0] for row in rows] == [name for name in sets for _ in penalties]
    assert [row[3] for row in rows] == 2 * penalties
    for row in rows:
        loss, accuracy = float(row[5]), float(row[6])
        assert 0.0 < loss < 0.6
        assert 0.7 < accuracy <= 1.0
        assert row[4]
        assert row[7].endswith(" ms")
        # Beside the penalties that the grid search has.
        if row[3] in ("l2", "l1"):
            assert loss < 1.1 * float(row[8])
            assert row[10].endswith(" ms")
        else:
            assert row[8:] == ["", "", ""]


def test_the_warped_model_has_its_row_beside_regressions_with_and_without_a_map(bundled):
    header, *rows = cells(bundled, "Warped linear regression")
    assert header == ["data set", "n", "p", "model", "error", "neg. log density", "time"]
    models = ["warped", "ridge, no map", "PowerTransformer"]
    assert len(rows) % 3 == 0
    assert len(rows) >= 6
    assert [row[3] for row in rows] == len(rows) // 3 * models
    density = [float(row[5]) for row in rows]
    # The targets are skewed: a map increases their likelihood.
    assert all(w < r for w, r in zip(density[::3], density[1::3], strict=True))


def test_the_errors_in_the_readme_are_those_of_the_demo(bundled):
    """To one in a hundred: the last digits depend on the machine's BLAS."""
    errors = {}
    for title, column in (
        ("Ridge regression", 6), ("Logistic regression", 5), ("Warped linear regression", 4)
    ):  # fmt: skip
        for row in cells(bundled, title)[1:]:
            errors.setdefault(row[0].split()[0].rstrip(":"), []).append(float(row[column]))
    readme = (ROOT / "README.md").read_text().split("Held-out error on real data", 1)[1]
    rows = [line.split("|") for line in readme.splitlines() if line.startswith("| ")]
    rows = [[cell.strip() for cell in row] for row in rows[1:]]
    assert len(rows) >= 5
    for row in rows:
        name = row[1].split()[0].rstrip(":,")
        assert any(abs(float(row[4]) / e - 1.0) < 0.01 for e in errors[name]), row


def test_a_target_of_two_words_gives_the_table_of_a_classifier(tmp_path):
    """The rarer word is in 10 rows, and in both parts of the data."""
    header, *rows = numbers(200)
    features = [row.rsplit(",", 1)[0] for row in rows]
    lines = [f"{row},{'no' if k % 20 else 'yes'}" for k, row in enumerate(features)]
    path = write_csv(tmp_path, [header, *lines])
    result = run_demo(tmp_path, path, "--target", "y")
    assert result.returncode == 0, result.stderr
    assert "Two classes: no is 0, yes is 1." in result.stdout
    rows = cells(result.stdout, "Logistic regression")[1:]
    assert [row[:2] for row in rows] == 4 * [["table.csv: y", "200"]]
    assert "Ridge regression" not in result.stdout


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


def test_a_table_that_cannot_be_used_is_refused_with_a_message(tmp_path):
    path = write_csv(tmp_path, [*numbers(60), "1,text,2"])
    result = run_demo(tmp_path, path.name, "--target", "y")
    assert result.returncode == 2
    assert result.stderr == (
        "./run demo: 'table.csv': column 'b' holds text where a number belongs (1, the "
        "first 'text' in data row 61); put numbers there or drop those rows\n"
    )
    assert not result.stdout


def test_a_missing_file_is_named(tmp_path):
    result = run_demo(tmp_path, "nowhere.csv", "--target", "y")
    assert result.returncode == 2
    assert result.stderr == "./run demo: there is no file 'nowhere.csv'\n"


def test_a_target_without_a_file_is_refused(tmp_path):
    result = run_demo(tmp_path, "--target", "y")
    assert result.returncode == 2
    assert "--target needs a file" in result.stderr
