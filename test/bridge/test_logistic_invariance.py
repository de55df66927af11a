# SPDX-License-Identifier: BSD-3-Clause
"""Changes that leave the predictions of a logistic fit alone: rows and columns in another
order, columns in other units, swapped labels, hyperparameters of the other sign. With one
l2 strength the score has one minimum, and rounding does not decide where a fit ends."""

import numpy as np
import pytest

from logistic_support import PENALTIES, classification, fitted


class Problem:
    """Features and labels, and the rows and labels of the problem that this one was made of
    by a change."""

    def __init__(self, X, y, rows=None, is_swapped=False):
        self.X, self.y = X, y
        self.rows = np.arange(len(y)) if rows is None else rows
        self.is_swapped = is_swapped

    def probabilities(self, **options):
        """Of the larger label, in the order of the rows that were changed."""
        model = fitted(self.X, self.y, **options)
        probabilities = np.empty(len(self.y))
        column = 0 if self.is_swapped else 1
        probabilities[self.rows] = model.predict_proba(self.X)[:, column]
        return probabilities


def rows_in_another_order(problem, random):
    rows = random.permutation(len(problem.y))
    return Problem(problem.X[rows], problem.y[rows], rows)


def columns_in_another_order(problem, random):
    return Problem(problem.X[:, random.permutation(problem.X.shape[1])], problem.y)


def labels_swapped(problem, random):
    return Problem(problem.X, 10.0 - problem.y, is_swapped=True)


def columns_in_other_units(problem, random):
    p = problem.X.shape[1]
    units = np.exp(2.0 * random.normal(size=p)) * random.choice([-1.0, 1.0], size=p)
    return Problem(problem.X * units, problem.y)


def columns_moved(problem, random):
    return Problem(problem.X + random.normal(size=problem.X.shape[1]), problem.y)


CHANGES = [
    rows_in_another_order, columns_in_another_order, labels_swapped, columns_in_other_units,
    columns_moved,
]  # fmt: skip


@pytest.mark.parametrize("change", CHANGES)
def test_predictions_stay_the_same_up_to_rounding(change):
    for seed in range(12):
        random = np.random.default_rng(seed)
        n, p = random.integers(40, 100), random.integers(2, 8)
        X, y = classification(n=n, p=p, seed=seed)
        problem = Problem(X * random.uniform(0.1, 10.0, p), y)
        np.testing.assert_allclose(
            change(problem, random).probabilities(), problem.probabilities(),
            rtol=0.0, atol=1e-10,
        )  # fmt: skip


@pytest.mark.parametrize("seed", [2, 3])
@pytest.mark.parametrize("penalty", PENALTIES)
def test_a_start_of_the_other_sign_turns_the_hyperparameters_and_nothing_else(
    penalty, seed
):
    """Strengths enter as squares, and so does what an exponent exceeds 1 by."""
    X, y = classification(n=100, seed=seed)
    kinds = 1 if penalty in ("l2", "l1") else 2
    plain = fitted(X, y, penalty=penalty, init0=lambda n: np.full(n, 0.4))
    for signs in np.array([[-1.0, -1.0], [1.0, -1.0], [-1.0, 1.0]])[:, :kinds]:
        turned = fitted(X, y, penalty=penalty, init0=lambda n, s=signs: 0.4 * s)
        np.testing.assert_allclose(
            turned.hyperparameters, signs * plain.hyperparameters, rtol=1e-12
        )
        np.testing.assert_allclose(turned.weights, plain.weights, rtol=1e-12)
