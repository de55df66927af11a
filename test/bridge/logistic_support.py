# SPDX-License-Identifier: BSD-3-Clause
"""What the tests of the logistic model share: data, and the definitions of the penalties,
of the fit at a given penalty and of its score, written down again with numpy.

The score is the approximate leave-one-out loss: with H the Hessian of the penalized loss at
its minimum and h_i = x_i' H^-1 x_i, observation i is judged at the predictor
z_i + h_i l'_i / (1 - h_i l''_i), one Newton step away from a fit without it.
"""

import numpy as np
from scipy.special import expit
from trevalon_impl import LogisticRegressionModel

PENALTIES = ["l2", "l1", "elasticnet", "bridge"]
THRESHOLD = 0.01  # below it a polynomial stands for |w|^q


def classification(n=60, p=4, seed=0, labels=(0.0, 1.0)):
    """Features of different scale and mean, whose effects fade from column to column."""
    random = np.random.default_rng(seed)
    X = random.normal(size=(n, p)) * random.uniform(0.5, 2.0, p) + random.normal(size=p)
    z = (X - X.mean(axis=0)) / X.std(axis=0) @ (2.0 / np.arange(1, p + 1))
    larger = z + random.logistic(size=n) > 0.0
    return X, np.where(larger, labels[1], labels[0])


def fitted(X, y, **options):
    model = LogisticRegressionModel(**options)
    assert model.fit(X, y) is None
    return model


def normalized(X, intercept=True):
    """Columns of length 1 and mean 0, and the constant column last."""
    columns = X - X.mean(axis=0) if intercept else X
    columns = columns / np.linalg.norm(columns, axis=0)
    if not intercept:
        return columns
    return np.column_stack([columns, np.full(len(X), 1.0 / np.sqrt(len(X)))])


def coded(y):
    return np.where(y == min(y), -1.0, 1.0)


def power(w, q):
    """|w|^q with its first two derivatives; near zero the even polynomial in u = w / s with
    the powers 2, 4, 5, 6 and 7 that joins it at s with four derivatives."""
    s = THRESHOLD

    def monomial(u, k, order):
        factor = np.prod([k - i for i in range(order)]) if order else 1.0
        return factor * u ** (k - order)

    powers = (2, 4, 5, 6, 7)
    joined = [[monomial(1.0, k, order) for k in powers] for order in range(5)]
    right = [s**q * np.prod([q - i for i in range(order)]) for order in range(5)]
    coefficients = np.linalg.solve(joined, right)
    u = np.abs(w) / s
    inside = u < 1.0
    outside = np.maximum(np.abs(w), s)
    results = []
    for order in range(3):
        near = sum(
            c * (monomial(u, k, order) if k >= order else 0.0)
            for c, k in zip(coefficients, powers, strict=True)
        )
        far = np.prod([q - i for i in range(order)]) * outside ** (q - order)
        value = np.where(inside, near / s**order, far)
        results.append(value * np.sign(w) if order == 1 else value)
    return results


def penalty_terms(penalty, theta, w):
    """The penalty with its first two derivatives in w, one entry per weight; theta has one
    entry, or two, per weight."""
    if penalty == "l2":
        return [theta**2 * term for term in (w**2 / 2, w, np.ones_like(w))]
    if penalty == "l1":
        return [theta**2 * term for term in power(w, 1.0)]
    first, second = np.split(theta, 2)
    if penalty == "elasticnet":
        ridge = penalty_terms("l2", first, w)
        lasso = penalty_terms("l1", second, w)
        return [a + b for a, b in zip(ridge, lasso, strict=True)]
    if len(set(second)) != 1:
        raise ValueError("one exponent for all weights")
    return [first**2 * term for term in power(w, second[0] ** 2 + 1.0)]


def spread(theta, num_features, groups=None):
    """One hyperparameter of each kind per weight."""
    groups = np.zeros(num_features, dtype=int) if groups is None else groups
    kinds = np.split(np.asarray(theta), len(theta) // (max(groups) + 1))
    return np.concatenate([kind[groups] for kind in kinds])


class PenalizedFit:
    """Newton's method with step halving on the penalized loss, at one theta."""

    def __init__(self, A, t, penalty, theta, num_penalized, start=None):
        self.A, self.t = A, t
        self.penalty, self.theta, self.num_penalized = penalty, theta, num_penalized
        self.w = np.zeros(A.shape[1]) if start is None else np.array(start)
        for _ in range(100):
            _, gradient, hessian = self.terms(self.w)
            if np.abs(gradient).max() < 1e-11:
                break
            self.step(gradient, hessian)
        self.gradient_max = np.abs(self.terms(self.w)[1]).max()

    def step(self, gradient, hessian):
        # The polynomial is not convex throughout: its curvature counts by magnitude.
        values, vectors = np.linalg.eigh(hessian)
        step = -vectors @ ((vectors.T @ gradient) / np.maximum(np.abs(values), 1e-12))
        value = self.terms(self.w)[0]
        for _ in range(40):
            if self.terms(self.w + step)[0] <= value:
                break
            step /= 2.0
        self.w = self.w + step

    def terms(self, w):
        z = self.A @ w
        m = self.num_penalized
        r0, r1, r2 = penalty_terms(self.penalty, self.theta, w[:m])
        curvature = np.zeros(len(w))
        curvature[:m] = r2
        gradient = self.A.T @ (-self.t * expit(-self.t * z))
        gradient[:m] += r1
        hessian = (self.A.T * (expit(z) * expit(-z))) @ self.A + np.diag(curvature)
        return np.logaddexp(0.0, -self.t * z).sum() + r0.sum(), gradient, hessian

    def score(self):
        z = self.A @ self.w
        leverage = np.einsum(
            "ij,ji->i", self.A, np.linalg.solve(self.terms(self.w)[2], self.A.T)
        )
        first = -self.t * expit(-self.t * z)
        second = expit(z) * expit(-z)
        left_out = z + leverage * first / (1.0 - leverage * second)
        return np.logaddexp(0.0, -self.t * left_out).sum()


def refit(model, X, y, penalty, groups=None, theta=None):
    """The definition at the hyperparameters of a fitted model with an intercept, started
    from its weights."""
    theta = model.hyperparameters if theta is None else theta
    lengths = np.append(np.linalg.norm(X - X.mean(axis=0), axis=0), np.sqrt(len(X)))
    return PenalizedFit(
        normalized(X), coded(y), penalty, spread(theta, X.shape[1], groups), X.shape[1],
        model.weights * lengths,
    )  # fmt: skip
