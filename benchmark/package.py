# SPDX-License-Identifier: BSD-3-Clause
"""Overhead of the estimators over the core, predictions of many rows, parallel fits."""

from __future__ import annotations

import os
import threading
from collections.abc import Callable, Iterator
from typing import Any

import numpy as np
import trevalon_impl
from threadpoolctl import threadpool_limits

import trevalon
from harness import Row, compare
from trevalon import _core

_MODELS = {"Ridge": "ridge", "Logistic": "logistic", "WarpedLinear": "warped"}


def made_data(n: int, p: int, name: str) -> tuple[np.ndarray, np.ndarray]:
    random = np.random.default_rng(0)
    X = random.normal(size=(n, p))
    y = X @ random.normal(size=p) + np.sqrt(p) * random.normal(size=n)
    return X, (y > 0.0).astype(float) if name == "Logistic" else y


def estimator_of(name: str) -> Any:
    return getattr(trevalon, f"{name}Regression")()


def fit_core(name: str, X: np.ndarray, y: np.ndarray) -> object:
    """The call that a fit of the estimator with its defaults makes."""
    options: dict[str, Any] = {
        "fit_intercept": True,
        "normalize": True,
        "start": None,
        "tol": 1e-4,
        "max_iter": 10_000,
        "observer": None,
    }
    one_group = np.zeros(X.shape[1], dtype=np.int64)
    own: dict[str, dict[str, Any]] = {
        "Ridge": {"criterion": "gcv", "groups": one_group, "alpha": None},
        "Logistic": {"penalty": "l2", "groups": one_group, "strengths": None},
        "WarpedLinear": {"n_steps": 1},
    }
    fit: Callable[..., object] = getattr(_core, f"fit_{_MODELS[name]}")
    return fit(X, y, **options, **own[name])


def overhead(name: str, n: int, p: int) -> Row:
    X, y = made_data(n, p, name)
    figure, detail = compare(
        lambda: estimator_of(name).fit(X, y),
        lambda: fit_core(name, X, y),
        turns=15,
        allowed=lambda core: 1.1 * core + 0.2e-3,
    )
    return Row(
        f"{name}Regression.fit over the core, ({n}, {p})",
        "(1.1 times the core's time plus 0.2 ms)",
        figure,
        1.0,
        detail,
    )


def predict(name: str) -> Row:
    X, y = made_data(1_000_000, 20, name)
    estimator = estimator_of(name).fit(X[:10_000], y[:10_000])
    w, b = np.ravel(estimator.coef_), float(np.ravel(estimator.intercept_)[0])
    ratio, detail = compare(lambda: estimator.predict(X), lambda: X @ w + b, turns=9)
    return Row(f"{name}Regression.predict, (1000000, 20)", "X @ w + b", ratio, 1.5, detail)


def warped_predict() -> Row:
    X, y = made_data(100_000, 20, "WarpedLinear")
    estimator = estimator_of("WarpedLinear").fit(X, y)
    model = trevalon_impl.WarpedLinearRegressionModel()
    model.fit(X, y)
    ratio, detail = compare(lambda: estimator.predict(X), lambda: model.predict(X))
    return Row(
        "WarpedLinearRegression.predict, (100000, 20)", "trevalon_impl", ratio, 1.2, detail
    )


def two_threads(name: str) -> Row:
    """On two idle cores two fits take the time of one. Each has one BLAS thread."""
    X, y = made_data(100_000, 20, name)

    def fit() -> None:
        estimator_of(name).fit(X, y)

    def fit_twice() -> None:
        threads = [threading.Thread(target=fit) for _ in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    with threadpool_limits(limits=1, user_api="blas"):
        ratio, detail = compare(fit_twice, fit)
    cores = len(os.sched_getaffinity(0))
    return Row(
        f"two fits in two threads, {name}Regression, (100000, 20)",
        "one fit",
        ratio,
        1.3 if cores >= 2 else None,
        detail,
    )


def rows() -> Iterator[Row]:
    for n, p in ((10_000, 10), (10_000, 50), (100_000, 20)):
        for name in _MODELS:
            yield overhead(name, n, p)
    for name in ("Ridge", "Logistic"):
        yield predict(name)
    yield warped_predict()
    for name in _MODELS:
        yield two_threads(name)
