# SPDX-License-Identifier: BSD-3-Clause
"""Warped linear regression: fits against one QR factorization, predictions against tanh."""

from __future__ import annotations

from collections.abc import Iterator

import numpy as np
from trevalon_impl import WarpedLinearRegressionModel

from harness import Row, compare, factor_once, fortran_copy, peak_memory


def made_data(n: int, p: int) -> tuple[np.ndarray, np.ndarray]:
    """Targets that are exponentials of a linear model with noise."""
    random = np.random.default_rng(0)
    X = random.normal(size=(n, p))
    latent = X @ random.normal(size=p) / np.sqrt(p) + 0.5 * random.normal(size=n)
    return X, np.log1p(np.exp(2.0 * latent))


def fit(steps: int, limit: float) -> Row:
    X, y = made_data(100_000, 20)
    model = WarpedLinearRegressionModel(num_steps=steps)
    ratio, detail = compare(
        lambda: model.fit(X, y), factor_once, turns=3, prepare=lambda: fortran_copy(X)
    )
    return Row(
        f"warped fit, (100000, 20), {steps} steps", "one dgeqrf of X", ratio, limit, detail
    )


def predict() -> Row:
    X, y = made_data(100_000, 20)
    model = WarpedLinearRegressionModel()
    model.fit(X, y)
    points = np.random.default_rng(1).normal(size=21 * len(X))
    ratio, detail = compare(lambda: model.predict(X), lambda: np.tanh(points), turns=5)
    return Row("warped predict, 100000 rows, 1 step", "tanh, 21 a row", ratio, 20.0, detail)


def fit_memory(steps: int) -> Row:
    setup = f"""
import numpy as np
from trevalon_impl import WarpedLinearRegressionModel
random = np.random.default_rng(0)
X = random.normal(size=(100_000, 20))
y = np.exp(0.3 * X.sum(axis=1) / 4.0 + 0.2 * random.normal(size=len(X)))
model = WarpedLinearRegressionModel(num_steps={steps})
model.fit(X[:200], y[:200])
"""
    figure = peak_memory(setup, "model.fit(X, y)")
    # 4 times X and 200 bytes a row and step, where a row of X has 160 bytes.
    limit = 4.0 + 200.0 * steps / 160.0
    return Row(
        f"peak memory of a warped fit, (100000, 20), {steps} steps",
        "bytes of X",
        figure,
        limit,
    )


def rows() -> Iterator[Row]:
    yield fit(1, 25.0)
    yield fit(3, 100.0)
    yield predict()
    yield fit_memory(1)
    yield fit_memory(3)
