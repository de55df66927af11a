# SPDX-License-Identifier: BSD-3-Clause
"""Real data: sets that ship with installed packages."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass

import numpy as np
import statsmodels.datasets
from sklearn import datasets
from sklearn.model_selection import train_test_split
from sklearn.preprocessing import PolynomialFeatures


class DemoError(Exception):
    """An error that the user can correct; the message says how."""


@dataclass(frozen=True)
class Dataset:
    """A table of numbers: X is (n, p), y is (n,).

    A user's target of two values is coded 0 and 1, and `classes` holds the two.
    """

    name: str
    X: np.ndarray
    y: np.ndarray
    classes: tuple[str, str] | None = None

    def split(self) -> tuple[np.ndarray, np.ndarray, np.ndarray, np.ndarray]:
        """Train and held-out parts of X, then of y; a fifth is held out.

        Two classes of a user's target have the same shares in both parts.
        """
        X, X_test, y, y_test = train_test_split(
            self.X,
            self.y,
            test_size=0.2,
            random_state=0,
            stratify=self.y if self.classes else None,
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
