# SPDX-License-Identifier: BSD-3-Clause
"""Reads the user's table from a CSV file, or refuses it with a list of its problems."""

from __future__ import annotations

import csv
from collections.abc import Iterator
from pathlib import Path

import numpy as np
import pandas as pd

from datasets import Dataset, DemoError

FEWEST_ROWS = 10  # of a table, and of each class


def read_table(path: str, target: str | None) -> Dataset:
    """The table as numbers. Raises DemoError with what is wrong and what to do."""
    table = _read_csv(path)
    problems = [*_table_problems(table, target), *_column_problems(table, target)]
    if len(problems) == 1:
        raise DemoError(f"'{path}': {problems[0]}")
    if problems:
        lines = "\n".join(f"  {problem}" for problem in problems)
        raise DemoError(f"'{path}' cannot be used as it is:\n{lines}")
    name = f"{Path(path).name}: {target}"
    X = table.drop(columns=target).to_numpy(float)
    y = table[target]
    values = sorted(y.unique())
    if len(values) == 2:
        classes = (str(values[0]), str(values[1]))
        return Dataset(name, X, (y == values[1]).to_numpy(float), classes)
    return Dataset(name, X, y.to_numpy(float))


def _read_csv(path: str) -> pd.DataFrame:
    if Path(path).is_dir():
        raise DemoError(f"'{path}' is a directory; name a CSV file")
    if not Path(path).exists():
        raise DemoError(f"there is no file '{path}'")
    try:
        separator = _separator(path)
        # Where commas separate decimals, semicolons separate columns.
        decimals = ".," if separator == ";" else "."
        tables = [
            pd.read_csv(path, sep=separator, decimal=decimal, skipinitialspace=True,
                        low_memory=False)
            for decimal in decimals
        ]  # fmt: skip
    except UnicodeDecodeError as error:
        raise DemoError(f"'{path}' is not UTF-8 text; save it as CSV in UTF-8") from error
    except OSError as error:
        raise DemoError(f"'{path}' cannot be read: {error.strerror}") from error
    except (csv.Error, ValueError) as error:
        raise DemoError(f"'{path}' does not read as a CSV file: {error}") from error
    table = max(tables, key=lambda table: table.select_dtypes("number").shape[1])
    if not isinstance(table.index, pd.RangeIndex):
        raise DemoError(f"'{path}' has rows of more fields than its first line")
    return table


def _separator(path: str) -> str:
    with open(path, encoding="utf-8-sig", newline="") as file:
        lines = file.readlines(1 << 14)
    try:
        return csv.Sniffer().sniff("".join(lines), ",;\t|").delimiter
    except csv.Error:  # one column
        return ","


def _table_problems(table: pd.DataFrame, target: str | None) -> Iterator[str]:
    columns = ", ".join(map(str, table.columns))
    if target is None:
        yield f"no --target was given; the columns are: {columns}"
    elif target not in table.columns:
        yield f"there is no column '{target}'; the columns are: {columns}"
    elif len(table.columns) == 1:
        yield f"there is no column besides the target '{target}'"
    if len(table) < FEWEST_ROWS:
        yield f"{len(table)} rows; at least {FEWEST_ROWS} are needed"


def _column_problems(table: pd.DataFrame, target: str | None) -> Iterator[str]:
    for name in table.columns:
        column = table[name]
        is_target = name == target if target in table.columns else None
        problems = [*_value_problems(column, is_target)]
        if is_target and not problems:
            problems = [*_target_problems(column)]
        yield from (f"column '{name}' {problem}" for problem in problems)


def _value_problems(column: pd.Series, is_target: bool | None) -> Iterator[str]:
    """Why the column is neither numbers nor, if it may be the target, two classes."""
    missing = column.isna()
    if missing.all():
        yield "is empty; drop it"
        return
    if missing.any():
        yield (
            f"has missing values ({missing.sum()}, the first in {_row(missing)}); "
            "fill them in or drop those rows"
        )
    numbers = pd.to_numeric(column, errors="coerce")
    text = numbers.isna() & ~missing
    if text.any() and (is_target is False or column.nunique() != 2):
        yield _text_problem(column, text, is_target)
    elif np.isinf(numbers).any():
        yield f"holds an infinite value in {_row(np.isinf(numbers))}; drop that row"


def _text_problem(column: pd.Series, text: pd.Series, is_target: bool | None) -> str:
    first = f"'{column[text].iloc[0]}' in {_row(text)}"
    if not text[column.notna()].all():
        return (
            f"holds text where a number belongs ({text.sum()}, the first {first}); "
            "put numbers there or drop those rows"
        )
    some = column[text].head(100)
    if pd.to_datetime(some, errors="coerce", format="mixed").notna().all():
        return f"holds dates, {first}; code them as days since a start, or drop the column"
    if is_target:
        return (
            f"holds text of {column.nunique()} values, {first}; a target is numbers, or "
            "two values for a classification"
        )
    return (
        f"holds text, {first}; code its {column.nunique()} values as numbers, such as a "
        "column of 0 and 1 for each, or drop the column"
    )


def _target_problems(column: pd.Series) -> Iterator[str]:
    count = column.value_counts()
    if len(count) == 1:
        yield f"is {count.index[0]} in every row: there is nothing to predict"
    elif len(count) == 2 and count.min() < FEWEST_ROWS <= len(column):
        rare = f"is {count.index[1]} in {count.min()} rows"
        yield f"{rare}; a class needs {FEWEST_ROWS} or more"


def _row(mask: pd.Series) -> str:
    """The first row of the mask, counted from 1 below the header."""
    return f"data row {int(np.flatnonzero(mask)[0]) + 1}"
