# SPDX-License-Identifier: BSD-3-Clause
"""Real data: sets that ship with installed packages, or the user's own file."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

import numpy as np
import pandas as pd
import statsmodels.datasets
from sklearn import datasets
from sklearn.model_selection import train_test_split
from sklearn.preprocessing import PolynomialFeatures


class DemoError(Exception):
    """What the user can set right; the message says how."""


@dataclass(frozen=True)
class Dataset:
    """A table of numbers: X is (n, p), y is (n,)."""

    name: str
    X: np.ndarray
    y: np.ndarray

    def split(self) -> tuple[np.ndarray, np.ndarray, np.ndarray, np.ndarray]:
        """Train and held-out parts of X, then of y; a fifth is held out."""
        X, X_test, y, y_test = train_test_split(
            self.X, self.y, test_size=0.2, random_state=0
        )
        return X, X_test, y, y_test


def regression_sets() -> Iterator[Dataset]:
    """Sets with a numeric target, of different shape."""
    diabetes = datasets.load_diabetes()
    yield Dataset("diabetes", diabetes.data, diabetes.target)
    products = PolynomialFeatures(degree=2, include_bias=False)
    yield Dataset(
        "diabetes, degree 2", products.fit_transform(diabetes.data), diabetes.target
    )
    wine = datasets.load_wine()
    yield Dataset("wine: alcohol", wine.data[:, 1:], wine.data[:, 0])
    yield _statsmodels_set("longley", "TOTEMP")
    star = statsmodels.datasets.star98.load_pandas().data
    share = star["NABOVE"] / (star["NABOVE"] + star["NBELOW"])
    features = star.drop(columns=["NABOVE", "NBELOW"])
    yield Dataset("star98: pass rate", features.to_numpy(float), share.to_numpy(float))
    yield _statsmodels_set("fair", "affairs")
    yield _statsmodels_set("randhie", "mdvis")


def binary_sets() -> Iterator[Dataset]:
    """Sets with a target of two classes, coded 0 and 1."""
    X, y = datasets.load_breast_cancer(return_X_y=True)
    yield Dataset("breast cancer", X, y.astype(float))
    fair = _statsmodels_set("fair", "affairs")
    yield Dataset("fair: any affair", fair.X, (fair.y > 0.0).astype(float))


def skewed_sets() -> Iterator[Dataset]:
    """Sets with a positive target whose distribution has a long tail."""
    yield _statsmodels_set("ccard", "AVGEXP")
    wine = datasets.load_wine()
    yield Dataset("wine: proline", wine.data[:, :-1], wine.data[:, -1])
    cells = datasets.load_breast_cancer()
    names = list(cells.feature_names)
    # The means of each image, without the area itself.
    means = [k for k in range(10) if names[k] != "mean area"]
    area_error = cells.data[:, names.index("area error")]
    yield Dataset("cells: area error", cells.data[:, means], area_error)


def _statsmodels_set(name: str, target: str) -> Dataset:
    table = getattr(statsmodels.datasets, name).load_pandas().data
    return Dataset(
        f"{name}: {target}",
        table.drop(columns=target).to_numpy(float),
        table[target].to_numpy(float),
    )


def read_csv(path: str, target: str | None) -> Dataset:
    """The user's table. Raises DemoError with what is wrong and what was expected."""
    if not Path(path).is_file():
        raise DemoError(f"there is no file '{path}'")
    try:
        table = pd.read_csv(path)
    except (pd.errors.EmptyDataError, pd.errors.ParserError, UnicodeDecodeError) as error:
        raise DemoError(f"'{path}' does not read as a CSV file: {error}") from error
    if target is None or target not in table.columns:
        columns = ", ".join(map(str, table.columns))
        asked = (
            "no --target was given" if target is None else f"there is no column '{target}'"
        )
        raise DemoError(f"{asked}; the columns of '{path}' are: {columns}")
    if len(table.columns) < 2:
        raise DemoError(f"'{path}' has no column besides the target '{target}'")
    if len(table) < 10:
        raise DemoError(f"'{path}' has {len(table)} rows; at least 10 are needed")
    _check_numbers(table)
    return Dataset(
        f"{Path(path).name}: {target}",
        table.drop(columns=target).to_numpy(float),
        table[target].to_numpy(float),
    )


def _check_numbers(table: pd.DataFrame) -> None:
    for name in table.columns:
        column = table[name]
        numbers = pd.to_numeric(column, errors="coerce")
        text = numbers.isna() & column.notna()
        if text.any():
            row = int(np.flatnonzero(text)[0])
            raise DemoError(
                f"column '{name}' holds text where a number belongs: "
                f"'{column.iloc[row]}' in data row {row + 1}; "
                "drop the column or code it as numbers"
            )
        if numbers.isna().any():
            row = int(np.flatnonzero(numbers.isna())[0])
            count = int(numbers.isna().sum())
            raise DemoError(
                f"column '{name}' has {count} missing values, the first in data row "
                f"{row + 1}; fill them in or drop those rows"
            )
        if not np.isfinite(numbers.to_numpy(float)).all():
            raise DemoError(f"column '{name}' holds an infinite value")
