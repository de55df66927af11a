# SPDX-License-Identifier: BSD-3-Clause
"""Strengths, leverages and criteria of the ridge estimator, against another library's ridge
and against refits."""

import copy
import itertools
import pickle

import numpy as np
import pytest
from sklearn.linear_model import LinearRegression, Ridge

from trevalon import RidgeRegression

CRITERIA = ["gcv", "loo", "range_risk"]
GROUPS = ["all", "none", 2, [0, 1, 1, 0]]


class Solve:
    """A ridge solve of another library with a strength for each column.

    alpha b^2 = (sqrt(alpha) b)^2: columns over the roots of their strengths share the
    strength 1.
    This excludes a strength of 0; 1e-10 of the column's square stands for it.
    """

    def __init__(self, X, y, alpha, fit_intercept):
        self.roots = np.sqrt(np.maximum(alpha, 1e-10 * X.var(axis=0) + 1e-300))
        self.ridge = Ridge(alpha=1.0, fit_intercept=fit_intercept, solver="svd")
        self.ridge.fit(X / self.roots, y)
        self.coef_ = self.ridge.coef_ / self.roots
        self.intercept_ = self.ridge.intercept_

    def predict(self, X):
        return self.ridge.predict(X / self.roots)


def hat_matrix(X, alpha, fit_intercept):
    """Column i is the prediction for targets that are 1 in row i and 0 elsewhere."""
    return Solve(X, np.eye(len(X)), alpha, fit_intercept).predict(X)


def centered(X):
    return X - X.mean(axis=0)


def loo_residuals(X, y, alpha, fit_intercept):
    rows = np.arange(len(y))
    return np.array(
        [
            y[i]
            - Solve(X[rows != i], y[rows != i], alpha, fit_intercept).predict(X[[i]])[0]
            for i in rows
        ]
    )


@pytest.mark.parametrize("criterion", CRITERIA)
@pytest.mark.parametrize("groups", GROUPS)
def test_a_ridge_solve_with_alpha_has_the_same_coefficients(regression, criterion, groups):
    X, y = regression
    for fit_intercept, normalize in itertools.product([False, True], repeat=2):
        model = RidgeRegression(
            criterion, groups=groups, fit_intercept=fit_intercept, normalize=normalize
        ).fit(X, y)
        other = Solve(X, y, model.alpha_, fit_intercept)
        np.testing.assert_allclose(model.coef_, other.coef_, rtol=1e-6, atol=1e-9)
        assert model.intercept_ == pytest.approx(other.intercept_, rel=1e-6, abs=1e-9)


@pytest.mark.parametrize("groups", GROUPS)
@pytest.mark.parametrize("fit_intercept", [False, True])
def test_loo_residuals_are_those_of_refits_to_all_other_rows(
    regression, groups, fit_intercept
):
    X, y = regression
    model = RidgeRegression("loo", groups=groups, fit_intercept=fit_intercept).fit(X, y)
    expected = loo_residuals(X, y, model.alpha_, fit_intercept)
    np.testing.assert_allclose(model.loo_residuals_, expected, rtol=1e-6, atol=1e-8)


@pytest.mark.parametrize("fit_intercept", [False, True])
@pytest.mark.parametrize("normalize", [False, True])
def test_leverages_are_the_response_of_predictions_to_their_own_targets(
    regression, fit_intercept, normalize
):
    X, y = regression
    model = RidgeRegression(fit_intercept=fit_intercept, normalize=normalize).fit(X, y)
    H = hat_matrix(X, model.alpha_, fit_intercept)
    np.testing.assert_allclose(model.leverage_, np.diag(H), rtol=1e-8)
    assert model.effective_dof_ == pytest.approx(np.trace(H), rel=1e-9)


def test_leverages_are_right_for_dependent_columns_and_more_columns_than_rows(regression):
    X, y = regression
    doubled = np.column_stack([X, X[:, 0]])
    wide = np.random.default_rng(3).normal(size=(12, 30))
    for design in (doubled, wide):
        for strength in (1e-3, 1.0, 1e3):
            alpha = strength * design.var(axis=0)
            H = hat_matrix(design, alpha, fit_intercept=True)
            model = RidgeRegression(alpha=alpha).fit(design, y[: len(design)])
            np.testing.assert_allclose(model.leverage_, np.diag(H), rtol=1e-8)


def test_leverages_without_a_penalty_are_those_of_the_projection_on_the_columns(regression):
    X, y = regression
    doubled = np.column_stack([X, X[:, 0]])
    Q, _ = np.linalg.qr(np.column_stack([np.ones(len(X)), X]))
    model = RidgeRegression(alpha=0.0).fit(doubled, y)
    np.testing.assert_allclose(model.leverage_, np.sum(Q**2, axis=1), rtol=1e-10)
    assert model.effective_dof_ == pytest.approx(5.0, rel=1e-12)


@pytest.mark.parametrize("normalize", [False, True])
@pytest.mark.parametrize("fit_intercept", [False, True])
def test_the_loo_criterion_is_the_sum_of_squared_residuals_of_refits(
    regression, normalize, fit_intercept
):
    X, y = regression
    model = RidgeRegression("loo", normalize=normalize, fit_intercept=fit_intercept)
    model.fit(X, y)
    expected = np.sum(loo_residuals(X, y, model.alpha_, fit_intercept) ** 2)
    assert model.criterion_value_ == pytest.approx(expected, rel=1e-8)


@pytest.mark.parametrize("normalize", [False, True])
@pytest.mark.parametrize("fit_intercept", [False, True])
def test_the_gcv_criterion_divides_the_residuals_by_the_mean_complement_of_the_leverages(
    regression, normalize, fit_intercept
):
    X, y = regression
    model = RidgeRegression("gcv", normalize=normalize, fit_intercept=fit_intercept)
    model.fit(X, y)
    residual = y - model.predict(X)
    share = np.trace(hat_matrix(X, model.alpha_, fit_intercept)) / len(y)
    expected = np.sum(residual**2) / (1.0 - share) ** 2
    assert model.criterion_value_ == pytest.approx(expected, rel=1e-8)


@pytest.mark.parametrize("normalize", [False, True])
@pytest.mark.parametrize("fit_intercept", [False, True])
def test_the_range_risk_adds_twice_the_noise_variance_per_degree_of_freedom(
    regression, normalize, fit_intercept
):
    X, y = regression
    model = RidgeRegression("range_risk", normalize=normalize, fit_intercept=fit_intercept)
    model.fit(X, y)
    free = LinearRegression(fit_intercept=fit_intercept).fit(X, y)
    parameters = X.shape[1] + fit_intercept
    noise = np.sum((y - free.predict(X)) ** 2) / (len(y) - parameters)
    dof = np.trace(hat_matrix(X, model.alpha_, fit_intercept))
    expected = np.sum((y - model.predict(X)) ** 2) + 2.0 * noise * dof
    assert model.criterion_value_ == pytest.approx(expected, rel=1e-8)


def test_the_strength_found_is_a_minimum_of_the_leave_one_out_error():
    random = np.random.default_rng(5)
    X = random.normal(size=(30, 8))
    y = X @ np.full(8, 0.3) + random.normal(size=30)
    model = RidgeRegression("loo", normalize=False, tol=1e-8).fit(X, y)

    def error(factor):
        return np.sum(loo_residuals(X, y, factor * model.alpha_, True) ** 2)

    assert np.all(model.alpha_ > 0.0)
    assert error(1.0) < error(1.05)
    assert error(1.0) < error(1.0 / 1.05)


def test_the_fit_does_not_depend_on_the_units_of_a_column(regression):
    X, y = regression
    units = np.array([1.0, 1024.0, 1.0, 1.0])
    model = RidgeRegression(groups="none").fit(X, y)
    other = RidgeRegression(groups="none").fit(X * units, y)
    np.testing.assert_allclose(other.coef_ * units, model.coef_, rtol=1e-6, atol=1e-9)
    np.testing.assert_allclose(other.alpha_ / units**2, model.alpha_, rtol=1e-4)


def reported(model):
    """All fitted attributes, arrays included."""
    return {
        name: value
        for name, value in vars(model).items()
        if name.endswith("_") and not name.startswith("_")
    }


def assert_same_report(model, expected):
    assert reported(model).keys() == expected.keys()
    for name, value in expected.items():
        np.testing.assert_equal(getattr(model, name), value, err_msg=name)


def test_later_changes_of_parameters_do_not_change_what_is_reported(regression):
    model = RidgeRegression().fit(*regression)
    expected = reported(copy.deepcopy(model))
    model.set_params(fit_intercept=False, normalize=False, criterion="loo")
    assert_same_report(model, expected)


@pytest.mark.parametrize("criterion", CRITERIA)
@pytest.mark.parametrize("order", ["C", "F"])
def test_training_data_that_change_later_change_nothing_that_is_reported(
    regression, criterion, order
):
    X, y = np.asarray(regression[0], order=order), regression[1]
    model = RidgeRegression(criterion, groups="none").fit(X, y)
    expected = reported(copy.deepcopy(model))
    y[7] += 100.0
    X[3] *= -2.0
    assert_same_report(model, expected)
    assert_same_report(pickle.loads(pickle.dumps(model)), expected)


def test_a_second_fit_has_its_own_diagnostics(regression):
    X, y = regression
    model = RidgeRegression().fit(X, y)
    assert model.leverage_.shape == (60,)
    model.fit(X[:20], y[:20])
    expected = RidgeRegression().fit(X[:20], y[:20])
    np.testing.assert_array_equal(model.leverage_, expected.leverage_)
    np.testing.assert_array_equal(model.loo_residuals_, expected.loo_residuals_)


def test_range_risk_names_the_data_that_it_refuses(regression):
    X, y = regression
    doubled = np.column_stack([X, 2.0 * X[:, 1]])
    with pytest.raises(ValueError, match=r"depend on the columns before them: \[4\]"):
        RidgeRegression("range_risk").fit(doubled, y)
    with pytest.raises(ValueError, match="needs more rows than parameters"):
        RidgeRegression("range_risk").fit(X[:4], y[:4])
