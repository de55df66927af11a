# SPDX-License-Identifier: BSD-3-Clause
"""Held-out log loss of sparse logistic regressions, beside cross validation over a grid.

python benchmark/logistic_search.py [l1] [elasticnet] prints a line for each set, the mean
of the ratios of held-out losses, and the worst ratio of the sets with more than two
training rows for each column. The sets come with scikit-learn and statsmodels, or are
drawn.
"""

from __future__ import annotations

import sys
import time
import warnings
from collections.abc import Iterator
from typing import Any, NamedTuple

import numpy as np
from sklearn import datasets
from sklearn.linear_model import LogisticRegressionCV
from sklearn.metrics import log_loss
from sklearn.model_selection import RepeatedStratifiedKFold, StratifiedShuffleSplit
from sklearn.pipeline import Pipeline, make_pipeline
from sklearn.preprocessing import StandardScaler
from statsmodels.datasets import anes96, ccard, fair, randhie, spector, star98, statecrime

from trevalon import LogisticRegression

NUM_DRAWN = 50
MOST_ROWS = 2000
SHARES = (1.0, 0.5, 0.1, 0.02)


class Set(NamedTuple):
    name: str
    X: np.ndarray
    y: np.ndarray


def pair(load: Any, first: int, second: int) -> Set:
    X, y = load(return_X_y=True)
    chosen = (y == first) | (y == second)
    name = f"{load.__name__.removeprefix('load_')} {first}, {second}"
    return Set(name, X[chosen], y[chosen] == second)


def above_median(name: str, X: np.ndarray, target: np.ndarray) -> Set:
    return Set(name, np.asarray(X, float), target > np.median(target))


def from_statsmodels(module: Any, target: str, threshold: float | None = None) -> Set:
    frame = module.load_pandas().data.select_dtypes("number").dropna()
    values = frame.pop(target).to_numpy(float)
    limit = np.median(values) if threshold is None else threshold
    rows = np.random.default_rng(0).permutation(len(frame))[:MOST_ROWS]
    name = module.__name__.split(".")[-1]
    return Set(name, frame.to_numpy(float)[rows], values[rows] > limit)


def real_sets() -> Iterator[Set]:
    X, y = datasets.load_breast_cancer(return_X_y=True)
    yield Set("breast_cancer", X, y == 1)
    yield above_median("diabetes", *datasets.load_diabetes(return_X_y=True))
    yield pair(datasets.load_iris, 1, 2)
    yield pair(datasets.load_wine, 0, 1)
    yield pair(datasets.load_wine, 1, 2)
    yield pair(datasets.load_digits, 3, 8)
    yield pair(datasets.load_digits, 1, 7)
    yield from_statsmodels(anes96, "vote", 0.5)
    yield from_statsmodels(ccard, "AVGEXP")
    yield from_statsmodels(fair, "affairs", 0.0)
    yield from_statsmodels(randhie, "mdvis", 0.0)
    yield from_statsmodels(spector, "GRADE", 0.5)
    yield from_statsmodels(star98, "NABOVE")
    yield from_statsmodels(statecrime, "violent")


def drawn_sets() -> Iterator[Set]:
    """Correlated columns, of which some carry something; from far more rows than columns
    to the reverse."""
    for seed in range(NUM_DRAWN):
        random = np.random.default_rng(seed)
        n, p = [(80, 5), (150, 30), (300, 20), (100, 60), (80, 200)][seed % 5]
        X = random.normal(size=(2 * n, p)) + random.normal(size=(2 * n, 1))
        weights = random.normal(size=p) * (random.uniform(size=p) < random.uniform(0.1, 1))
        odds = X @ weights
        odds *= random.uniform(0.5, 3.0) / max(odds.std(), 1e-9)
        yield Set(f"drawn {seed}", X, random.uniform(size=2 * n) < 1 / (1 + np.exp(-odds)))


def peer(penalty: str) -> Pipeline:
    """Five folds, ten strengths and, of an elastic net, four shares; scored by log loss."""
    solver, shares = {"l1": ("liblinear", (1.0,)), "elasticnet": ("saga", SHARES)}[penalty]
    search = LogisticRegressionCV(
        Cs=10,
        cv=5,
        l1_ratios=shares,
        solver=solver,
        scoring="neg_log_loss",
        max_iter=300,
        random_state=0,
        use_legacy_attributes=False,
    )
    return make_pipeline(StandardScaler(), search)


def timed_loss(
    model: Any, data: Set, train: np.ndarray, test: np.ndarray
) -> tuple[float, float]:
    start = time.perf_counter()
    model.fit(data.X[train], data.y[train])
    seconds = time.perf_counter() - start
    probabilities = model.predict_proba(data.X[test])[:, 1]
    return log_loss(data.y[test], probabilities), seconds


def splits_of(data: Set) -> Iterator[tuple[np.ndarray, np.ndarray]]:
    if data.name.startswith("drawn"):
        splits = StratifiedShuffleSplit(3, test_size=0.5, random_state=0)
    else:
        splits = RepeatedStratifiedKFold(n_splits=5, n_repeats=2, random_state=0)
    yield from splits.split(data.X, data.y)


def compare(penalty: str, data: Set) -> tuple[float, float, bool]:
    """The mean held-out losses and times, ours over theirs; whether the set is tall."""
    ours, theirs = [], []
    for train, test in splits_of(data):
        ours.append(timed_loss(LogisticRegression(penalty), data, train, test))
        theirs.append(timed_loss(peer(penalty), data, train, test))
    (loss, seconds), (other, others) = np.mean(ours, axis=0), np.mean(theirs, axis=0)
    print(
        f"{penalty:10} {data.name:13} {data.X.shape!s:10} {loss:.4f} against {other:.4f}, "
        f"{loss / other:.3f}; {1e3 * seconds:7.1f} ms, {seconds / others:.2f}",
        flush=True,
    )
    return loss / other, seconds / others, len(train) > 2 * data.X.shape[1]


def summarize(penalty: str, kind: str, sets: list[Set]) -> None:
    figures = np.array([compare(penalty, data) for data in sets])
    is_tall = figures[:, 2] > 0
    print(
        f"{penalty}, {kind}: mean ratio of losses {figures[:, 0].mean():.4f}, worst of "
        f"tall sets {figures[is_tall, 0].max():.4f}, median ratio of times "
        f"{np.median(figures[:, 1]):.3f}",
        flush=True,
    )


if __name__ == "__main__":
    warnings.simplefilter("ignore")
    for penalty in sys.argv[1:] or ("l1", "elasticnet"):
        summarize(penalty, "real sets", list(real_sets()))
        summarize(penalty, "drawn sets", list(drawn_sets()))
