# SPDX-License-Identifier: BSD-3-Clause
"""Logistic regression: whole fits against cross validation over a grid, kernels, memory."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

import numpy as np
from sklearn.linear_model import LogisticRegressionCV
from sklearn.metrics import log_loss
from sklearn.pipeline import Pipeline, make_pipeline
from sklearn.preprocessing import StandardScaler
from trevalon_impl import LogisticRegressionModel

from harness import Row, compare, kernel_ratios, peak_memory
from trevalon import LogisticRegression

SIZES = ((569, 30), (1000, 100), (10_000, 50), (100_000, 20))


def made_data(n: int, p: int) -> tuple[np.ndarray, np.ndarray]:
    """Classes drawn from a logistic model in which half of the columns have an effect."""
    random = np.random.default_rng(0)
    X = random.normal(size=(n, p))
    weights = np.where(np.arange(p) % 2 == 0, random.normal(size=p), 0.0)
    odds = X @ weights * (2.0 / np.linalg.norm(weights))
    return X, (random.uniform(size=n) < 1.0 / (1.0 + np.exp(-odds))).astype(float)


def peer(penalty: str) -> Pipeline:
    """Ten strengths, five folds. The columns are standardized, as the model does itself."""
    solver, ratio = {"l2": ("lbfgs", 0.0), "l1": ("liblinear", 1.0)}[penalty]
    search = LogisticRegressionCV(
        Cs=10,
        cv=5,
        l1_ratios=(ratio,),
        solver=solver,
        scoring="accuracy",
        use_legacy_attributes=False,
    )
    return make_pipeline(StandardScaler(), search)


def fit(model: Any, penalty: str, n: int, p: int, limit: float) -> Row:
    held_out = max(n // 4, 1000)
    X, y = made_data(n + held_out, p)
    train, test = slice(0, n), slice(n, None)
    other = peer(penalty)
    ratio, detail = compare(
        lambda: model.fit(X[train], y[train]),
        lambda: other.fit(X[train], y[train]),
        turns=3,
    )
    ours = log_loss(y[test], model.predict_proba(X[test])[:, 1])
    theirs = log_loss(y[test], other.predict_proba(X[test])[:, 1])
    return Row(
        f"{type(model).__name__} fit, {penalty}, ({n}, {p})",
        f"LogisticRegressionCV {penalty}",
        ratio,
        limit,
        f"{detail}; held-out log loss {ours:.5f} against {theirs:.5f}, "
        f"{100.0 * (ours / theirs - 1.0):+.2f} %",
    )


def fit_memory() -> Row:
    setup = """
import numpy as np
from trevalon_impl import LogisticRegressionModel
random = np.random.default_rng(0)
X = random.normal(size=(100_000, 20))
y = (X.sum(axis=1) + random.normal(size=len(X)) > 0.0).astype(float)
model = LogisticRegressionModel()
model.fit(X[:200], y[:200])
"""
    figure = peak_memory(setup, "model.fit(X, y)")
    return Row("peak memory of a logistic fit, (100000, 20)", "bytes of X", figure, 20.0)


def rows() -> Iterator[Row]:
    for n, p in SIZES:
        yield fit(LogisticRegressionModel(penalty="l2"), "l2", n, p, 1.0)
    for n, p in SIZES:
        yield fit(LogisticRegressionModel(penalty="l1"), "l1", n, p, 0.3)
    for n, p in SIZES:
        yield fit(LogisticRegression("l1"), "l1", n, p, 0.5)
    [ratio] = kernel_ratios(
        "trevalon_logistic_benchmark",
        [
            (
                "gradient_and_hessian_of_the_outer_objective",
                "weighted_gram_product_through_gemm",
            )
        ],
    )
    yield Row(
        "gradient and Hessian of the outer objective, (10000, 100)",
        "one weighted Gram product",
        ratio,
        16.0,
    )
    yield fit_memory()
