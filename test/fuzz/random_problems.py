# SPDX-License-Identifier: BSD-3-Clause
"""Random problems for the three models of `trevalon_impl`, each made of its seed alone.

They are of the kinds on which a search for hyperparameters may run on: separable classes,
dependent columns, more columns than rows, units that differ by decades, a group for each
column.
"""

from dataclasses import dataclass

import numpy as np
import trevalon_impl

PENALTIES = ("l2", "l1", "elasticnet", "bridge")


@dataclass
class Problem:
    model: str  # "ridge", "logistic" or "warped"
    X: np.ndarray
    y: np.ndarray
    groups: list  # a number per column, -1 for unpenalized; empty for one group
    options: dict  # of the factory

    @property
    def size_class(self):
        """Model, penalty or score, magnitudes of the larger side and of the groups."""
        kind = self.options.get("penalty") or self.options.get("score") or ""
        side = int(np.ceil(np.log2(max(self.X.shape))))
        groups = len(set(self.groups) - {-1})
        return (self.model, kind, side, int(np.ceil(np.log2(max(groups, 1)))))


def features(random, n, p):
    X = random.normal(size=(n, p))
    kind = random.choice(["plain", "dependent", "scaled", "counts", "constant"])
    if kind == "dependent":
        rank = random.integers(1, max(2, min(n, p)))
        X = X[:, :rank] @ random.normal(size=(X[:, :rank].shape[1], p))
    elif kind == "scaled":
        X *= 10.0 ** random.uniform(-6, 6, size=p)
    elif kind == "counts":
        X = random.poisson(1.0, size=(n, p)).astype(float)
    elif kind == "constant":
        X[:, random.integers(p)] = 3.0
    return X


def grouping(random, p):
    kind = random.choice(["one", "one", "few", "many", "some free"])
    if kind == "one":
        return []
    count = {"few": min(3, p), "many": p, "some free": min(3, p)}[kind]
    groups = np.concatenate([np.arange(count), random.integers(count, size=p - count)])
    groups = random.permutation(groups)
    if kind == "some free" and p > count:
        single = np.bincount(groups)[groups] == 1
        groups[(random.random(p) < 0.2) & ~single] = -1
        # Every group keeps a column.
        missing = set(range(count)) - set(groups.tolist())
        for k, group in zip(np.flatnonzero(groups == -1), missing, strict=False):
            groups[k] = group
    used = sorted(set(groups.tolist()) - {-1})
    return [used.index(g) if g >= 0 else -1 for g in groups.tolist()]


def signal(random, X):
    scale = np.abs(X).max(axis=0)
    w = random.normal(size=X.shape[1]) * (
        random.random(X.shape[1]) < random.uniform(0.1, 1)
    )
    z = X @ (w / np.where(scale > 0, scale, 1.0))
    deviation = z.std()
    return z / deviation if deviation > 0 else random.normal(size=len(z))


def classes(random, X):
    noise = random.choice([0.0, 0.0, 0.3, 1.0, 10.0])
    y = (signal(random, X) + noise * random.logistic(size=len(X)) > 0.0).astype(float)
    if len(set(y)) < 2:
        y[0] = 1.0 - y[0]
    return y


def target(random, X):
    noise = random.choice([0.0, 0.1, 1.0, 10.0])
    y = signal(random, X) + noise * random.normal(size=len(X))
    kind = random.choice(["plain", "skewed", "rounded", "scaled"])
    if kind == "skewed":
        y = np.exp(y)
    elif kind == "rounded":
        y = np.round(y)
        y[0] += len(set(y)) < 2
    elif kind == "scaled":
        y = y * 10.0 ** random.uniform(-6, 6)
    return y


def random_problem(seed, largest=300):
    random = np.random.default_rng(seed)
    model = random.choice(["logistic", "logistic", "ridge", "warped"])
    n, p = (int(np.exp(random.uniform(np.log(low), np.log(largest)))) for low in (3, 1))
    X = features(random, n, p)
    options = {
        "fit_intercept": int(random.random() < 0.8),
        "normalize": int(random.random() < 0.7),
    }
    if model != "warped":
        options["tolerance"] = float(random.choice([1e-4, 1e-4, 1e-4, 1e-8]))
    if model == "logistic":
        options["penalty"] = str(random.choice(PENALTIES))
        return Problem("logistic", X, classes(random, X), grouping(random, p), options)
    if model == "ridge":
        options["score"] = str(random.choice(["loocv", "gcv", "range_risk"]))
        return Problem("ridge", X, target(random, X), grouping(random, p), options)
    return Problem("warped", X, target(random, X), [], options)


def fit(problem):
    """The fitted model, or None where the data cannot be fitted."""
    options = dict(problem.options)
    if problem.groups:
        options["grouper"] = lambda X, y: problem.groups
    factory = {
        "ridge": "RidgeRegressionModel",
        "logistic": "LogisticRegressionModel",
        "warped": "WarpedLinearRegressionModel",
    }[problem.model]
    model = getattr(trevalon_impl, factory)(**options)
    try:
        model.fit(problem.X, problem.y)
    except RuntimeError:
        return None
    return model
