# SPDX-License-Identifier: BSD-3-Clause
"""Ridge regression: whole fits against peers, evaluations against one dsyrk, memory."""

from __future__ import annotations

import shutil
import statistics
import subprocess
import tempfile
from collections.abc import Iterator
from pathlib import Path

import numpy as np
from scipy.linalg.lapack import dgeqrf
from sklearn.linear_model import ARDRegression, RidgeCV
from trevalon_impl import RidgeRegressionModel

from harness import Row, compare, kernel_ratios, peak_memory, seconds


def made_data(n: int, p: int, seed: int = 0) -> tuple[np.ndarray, np.ndarray]:
    """A linear target with noise; half of the columns have an effect."""
    random = np.random.default_rng(seed)
    X = random.normal(size=(n, p))
    weights = np.where(np.arange(p) % 2 == 0, random.normal(size=p), 0.0)
    return X, X @ weights + 0.5 * np.sqrt(p) * random.normal(size=n)


def general_fit(score: str) -> Iterator[Row]:
    """A penalty of its own for each of 50 columns: time, and error on held-out rows."""
    X, y = made_data(12_500, 50)
    X_test, y_test = X[10_000:], y[10_000:]
    X, y = X[:10_000], y[:10_000]
    model = RidgeRegressionModel(score=score, grouping_mode="none")
    peer = ARDRegression()
    ratio, detail = compare(lambda: model.fit(X, y), lambda: peer.fit(X, y), turns=5)
    ours = np.mean(np.square(model.predict(X_test) - y_test))
    theirs = np.mean(np.square(peer.predict(X_test) - y_test))
    what, baseline = f"ridge fit, 50 penalties, {score}, n = 10000", "ARDRegression"
    yield Row(what, f"scikit-learn {baseline}", ratio, 3.0, detail)
    # Differences in the fourth digit come from the random choice of held-out rows.
    yield Row(
        f"{what}: held-out mean square",
        f"scikit-learn {baseline}",
        ours / theirs,
        1.001,
        f"{ours:.5g} against {theirs:.5g}",
    )


DEFAULT_FIT_SIZES = (
    (442, 10),
    (1000, 100),
    (10_000, 50),
    (100_000, 20),
    (20_000, 200),
    (2000, 1000),
    (300, 1000),
    (300, 10_000),
)


def default_fit(score: str, n: int, p: int) -> Iterator[Row]:
    """One penalty for all columns, against a grid of a hundred and against one QR.

    The figure includes the conversion of X; the QR gets X in the layout of LAPACK.
    """
    X, y = made_data(n, p)
    columns = np.asfortranarray(X)
    model = RidgeRegressionModel(score=score)
    grid = RidgeCV(alphas=np.logspace(-6, 6, 100))
    turns = 15 if n * p < 300_000 else 5
    what = f"default ridge fit, {score}, ({n}, {p})"
    oblong = n >= 10 * p or p >= 10 * n
    ratio, detail = compare(lambda: model.fit(X, y), lambda: grid.fit(X, y), turns)
    yield Row(what, "scikit-learn RidgeCV", ratio, 0.5 if oblong else 1.0, detail)
    if p >= 10_000:
        yield Row(what, "one second", seconds(lambda: model.fit(X, y)), 1.0)
    if n >= 10_000:
        ratio, detail = compare(lambda: model.fit(X, y), lambda: dgeqrf(columns), 3 * turns)
        limit = {"gcv": 2.0, "loocv": 3.0}[score]
        yield Row(what, "one dgeqrf", ratio, limit, detail)


def against_magic(score: str) -> Iterator[Row]:
    """The same fit by R's mgcv, where that is installed. Its process times itself."""
    if shutil.which("Rscript") is None:
        return
    X, y = made_data(10_000, 50)
    with tempfile.TemporaryDirectory() as folder:
        np.savetxt(Path(folder) / "X.csv", np.column_stack([X, y]), delimiter=",")
        script = Path(__file__).with_name("magic.R")
        result = subprocess.run(
            ["Rscript", script, folder], capture_output=True, text=True, check=False
        )
    if result.returncode != 0:
        return
    theirs = float(result.stdout.split()[-1])
    model = RidgeRegressionModel(score=score, grouping_mode="none")
    ours = statistics.median(seconds(lambda: model.fit(X, y)) for _ in range(5))
    yield Row(
        f"ridge fit, 50 penalties, {score}, n = 10000",
        "R mgcv::magic",
        ours / theirs,
        1.5,
        f"{1e3 * ours:.1f} ms against {1e3 * theirs:.1f} ms",
    )


def fit_memory(score: str, grouping: str) -> Row:
    setup = """
import numpy as np
from trevalon_impl import RidgeRegressionModel
random = np.random.default_rng(0)
X = random.normal(size=(100_000, 50))
y = X.sum(axis=1) + random.normal(size=len(X))
model = RidgeRegressionModel(score="SCORE", grouping_mode="GROUPING")
model.fit(X[:200], y[:200])
""".replace("SCORE", score).replace("GROUPING", grouping)
    figure = peak_memory(setup, "model.fit(X, y)")
    limit = 3.5 if grouping == "all" else 7.0
    return Row(
        f"peak memory of a ridge fit, {score}, {grouping}", "bytes of X", figure, limit
    )


def rows() -> Iterator[Row]:
    for n, p in DEFAULT_FIT_SIZES:
        for score in ("gcv", "loocv"):
            yield from default_fit(score, n, p)
    for score in ("gcv", "loocv"):
        yield from general_fit(score)
        yield from against_magic(score)
    for score, ratio in zip(
        ("loocv", "gcv"),
        kernel_ratios(
            "trevalon_ridge_benchmark",
            [
                ("loocv_value_gradient_hessian/10000/100", "gram_matrix/10000/100"),
                ("gcv_value_gradient_hessian/10000/100", "gram_matrix/10000/100"),
            ],
        ),
        strict=True,
    ):
        yield Row(
            f"{score}: value, gradient and Hessian, (10000, 100)", "one dsyrk", ratio, 12.0
        )
    for score in ("gcv", "loocv"):
        for grouping in ("all", "none"):
            yield fit_memory(score, grouping)
