# SPDX-License-Identifier: BSD-3-Clause
"""What the estimators add to the extension module, and predictions of many rows."""

from __future__ import annotations

from collections.abc import Iterator

import numpy as np
import trevalon_impl

import trevalon
from harness import Row, compare


def made_data(n: int, p: int) -> tuple[np.ndarray, np.ndarray]:
    random = np.random.default_rng(0)
    X = random.normal(size=(n, p))
    return X, X @ random.normal(size=p) + np.sqrt(p) * random.normal(size=n)


def overhead(name: str, n: int, p: int) -> Row:
    X, y = made_data(n, p)
    if name == "Logistic":
        y = (y > 0.0).astype(float)
    kind = "WarpedLinear" if name == "Warped" else name
    estimator = getattr(trevalon, f"{kind}Regression")
    model = getattr(trevalon_impl, f"{kind}RegressionModel")
    ratio, detail = compare(
        lambda: estimator().fit(X, y), lambda: model().fit(X, y), turns=15
    )
    return Row(
        f"{kind}Regression.fit, ({n}, {p})", "the extension module", ratio, 1.1, detail
    )


def predict(name: str) -> Row:
    X, y = made_data(1_000_000, 20)
    if name == "Logistic":
        y = (y > 0.0).astype(float)
    estimator = getattr(trevalon, f"{name}Regression")().fit(X[:10_000], y[:10_000])
    w, b = np.ravel(estimator.coef_), float(np.ravel(estimator.intercept_)[0])
    ratio, detail = compare(lambda: estimator.predict(X), lambda: X @ w + b, turns=9)
    return Row(f"{name}Regression.predict, (1000000, 20)", "X @ w + b", ratio, 1.5, detail)


def rows() -> Iterator[Row]:
    for n, p in ((10_000, 10), (10_000, 50), (100_000, 20)):
        for name in ("Ridge", "Logistic", "Warped"):
            yield overhead(name, n, p)
    for name in ("Ridge", "Logistic"):
        yield predict(name)
