# SPDX-License-Identifier: BSD-3-Clause
"""Reading of a user's file by the demo: numbers, or a message that names each problem."""

import sys
from pathlib import Path

import numpy as np
import pytest

ROOT = Path(__file__).resolve().parents[2]
TABLE = np.random.default_rng(0).normal(size=(40, 3)).round(6)


@pytest.fixture(scope="module")
def demo():
    """The module under test, imported as the demo does: from the folder of the script."""
    with pytest.MonkeyPatch.context() as patch:
        patch.syspath_prepend(ROOT / "example" / "demo")
        import table_file

        yield table_file
        for name in ("table_file", "datasets"):
            del sys.modules[name]


def lines_of(table, separator=",", decimal="."):
    rows = (separator.join(str(v).replace(".", decimal) for v in row) for row in table)
    return [separator.join("aby"), *rows]


def with_classes(negative, positive):
    """The table with one of two words in place of its last number."""
    words = [positive if row[2] > 0 else negative for row in TABLE]
    rows = (f"{a},{b},{word}" for (a, b, _), word in zip(TABLE, words, strict=True))
    return ["a,b,y", *rows]


def write(folder, lines):
    path = folder / "table.csv"
    text = "".join(f"{line}\n" for line in lines)
    path.write_text(text, encoding="utf-8", errors="surrogateescape")
    return str(path)


@pytest.mark.parametrize(
    ("separator", "decimal"), [(",", "."), (";", "."), (";", ","), ("\t", "."), ("|", ".")]
)
@pytest.mark.parametrize("begin", ["", "\ufeff"])
def test_separators_and_decimals_are_recognised(demo, tmp_path, separator, decimal, begin):
    first, *rest = lines_of(TABLE, separator, decimal)
    dataset = demo.read_table(write(tmp_path, [begin + first, *rest]), "y")
    np.testing.assert_array_equal(dataset.X, TABLE[:, :2])
    np.testing.assert_array_equal(dataset.y, TABLE[:, 2])
    assert dataset.classes is None


def test_a_separator_within_quotes_separates_nothing(demo, tmp_path):
    lines = ['"weight, in kg";b;"y"', *lines_of(TABLE, ";")[1:]]
    dataset = demo.read_table(write(tmp_path, lines), "y")
    np.testing.assert_array_equal(dataset.X, TABLE[:, :2])


@pytest.mark.parametrize(
    ("negative", "positive"), [("no", "yes"), ("0", "1"), ("3", "7"), ("False", "True")]
)
def test_a_target_of_two_values_is_coded_as_classes(demo, tmp_path, negative, positive):
    dataset = demo.read_table(write(tmp_path, with_classes(negative, positive)), "y")
    np.testing.assert_array_equal(dataset.y, TABLE[:, 2] > 0)
    assert dataset.classes == (negative, positive)


PLAIN = lines_of(TABLE)
WORDS = with_classes("no", "yes")


@pytest.mark.parametrize(
    ("lines", "target", "message"),
    [
        (PLAIN, "z", "there is no column 'z'; the columns are: a, b, y"),
        (PLAIN, None, "no --target was given; the columns are: a, b, y"),
        (WORDS, None, "no --target was given; the columns are: a, b, y"),
        (
            [*PLAIN, "1,text,2"],
            "y",
            "column 'b' holds text where a number belongs (1, the first 'text' in data row "
            "41); put numbers there or drop those rows",
        ),
        (
            [*PLAIN, "1,,2", "1,,2"],
            "y",
            "column 'b' has missing values (2, the first in data row 41); fill them in or "
            "drop those rows",
        ),
        (
            [*PLAIN, "1,inf,2"],
            "y",
            "column 'b' holds an infinite value in data row 41; drop that row",
        ),
        (
            ["a,b,y", *["1,,3"] * 20, *["1,,4"] * 20],
            "y",
            "column 'b' is empty; drop it",
        ),
        (
            WORDS,
            "b",
            "column 'y' holds text, 'yes' in data row 1; code its 2 values as numbers, "
            "such as a column of 0 and 1 for each, or drop the column",
        ),
        (
            [*WORDS, "1,2,?"],
            "y",
            "column 'y' holds text of 3 values, 'yes' in data row 1; a target is numbers, "
            "or two values for a classification",
        ),
        (
            ["a,b,y", *["1,2,3"] * 20],
            "y",
            "column 'y' is 3 in every row: there is nothing to predict",
        ),
        (
            ["a,y", *["1,no"] * 30, *["2,yes"] * 9],
            "y",
            "column 'y' is yes in 9 rows; a class needs 10 or more",
        ),
        (PLAIN[:6], "y", "5 rows; at least 10 are needed"),
        (
            ["y", *["1"] * 20, "2"],
            "y",
            "there is no column besides the target 'y'; column 'y' is 2 in 1 rows; a class "
            "needs 10 or more",
        ),
    ],
)
def test_a_table_that_cannot_be_used_is_refused_with_the_reason(
    demo, tmp_path, lines, target, message
):
    path = write(tmp_path, lines)
    with pytest.raises(demo.DemoError) as refusal:
        demo.read_table(path, target)
    told = str(refusal.value)
    assert told.replace(" cannot be used as it is:\n  ", ": ").replace("\n  ", "; ") == (
        f"'{path}': {message}"
    )


@pytest.mark.parametrize(
    ("lines", "message"),
    [
        ([*PLAIN, "1,2,3,4"], "does not read as a CSV file: "),
        ([], "does not read as a CSV file: "),
        (["a,y", *["1,2,3"] * 20], "has rows of more fields than its first line"),
        (["a,y", *["\udcff,2"] * 20], "is not UTF-8 text; save it as CSV in UTF-8"),
    ],
)
def test_a_file_that_is_no_table_is_refused_with_the_reason(demo, tmp_path, lines, message):
    path = write(tmp_path, lines)
    with pytest.raises(demo.DemoError) as refusal:
        demo.read_table(path, "y")
    assert str(refusal.value).startswith(f"'{path}' {message}")
    assert "\n" not in str(refusal.value).rstrip()


def test_all_problems_of_a_table_are_reported_together(demo, tmp_path):
    rows = [f"{line},Oslo,2024-01-{k % 28 + 1:02},{k}" for k, line in enumerate(PLAIN)]
    rows[0] = "a,b,y,city,sold,rank"
    rows[7] = "0.5,,1,Bergen,2024-01-01,2"
    rows[9] = "0.5,1,,Bergen,2024-01-01,inf"
    rows[11] = "many,1,1,Bergen,2024-01-01,3"
    path = write(tmp_path, rows)
    with pytest.raises(demo.DemoError) as refusal:
        demo.read_table(path, "price")
    assert str(refusal.value).splitlines() == [
        f"'{path}' cannot be used as it is:",
        "  there is no column 'price'; the columns are: a, b, y, city, sold, rank",
        "  column 'a' holds text where a number belongs (1, the first 'many' in data row "
        "11); put numbers there or drop those rows",
        "  column 'b' has missing values (1, the first in data row 7); fill them in or "
        "drop those rows",
        "  column 'y' has missing values (1, the first in data row 9); fill them in or "
        "drop those rows",
        "  column 'sold' holds dates, '2024-01-02' in data row 1; code them as days since "
        "a start, or drop the column",
        "  column 'rank' holds an infinite value in data row 9; drop that row",
    ]


def test_a_directory_and_a_missing_file_are_named(demo, tmp_path):
    with pytest.raises(demo.DemoError, match="is a directory; name a CSV file"):
        demo.read_table(str(tmp_path), "y")
    with pytest.raises(demo.DemoError, match=r"there is no file 'nowhere\.csv'"):
        demo.read_table("nowhere.csv", "y")
