# SPDX-License-Identifier: BSD-3-Clause
"""Ridge fits at given strengths, the criterion at any strengths, and where a search starts;
against dense algebra, another library's ridge, refits and finite differences."""

import warnings

import numpy as np
import pytest
from sklearn.base import clone
from sklearn.exceptions import ConvergenceWarning
from sklearn.linear_model import Ridge

from trevalon import RidgeRegression

CRITERIA = ["gcv", "loo", "range_risk"]
SHAPES = [(40, 6), (9, 8), (12, 30)]


def make_problem(shape, seed=0):
    random = np.random.default_rng(seed)
    X = random.normal(size=shape) * random.uniform(0.1, 10.0, size=shape[1]) + 3.0
    return X, X[:, 0] - 0.2 * X[:, 1] + random.normal(size=shape[0]) + 7.0


def augmented_solve(X, y, alpha, fit_intercept=True):
    """Coefficients and intercept by least squares on [X 1; sqrt(alpha) 0]."""
    n, p = X.shape
    design = np.zeros((n + p, p + fit_intercept))
    design[:n, :p] = X
    design[n:, :p] = np.diag(np.sqrt(alpha))
    design[:n, p:] = 1.0
    solution = np.linalg.lstsq(design, np.append(y, np.zeros(p)), rcond=None)[0]
    return solution[:p], solution[p] if fit_intercept else 0.0


def hat_matrix(X, alpha, fit_intercept):
    """Dense: inverse of the normal matrix, the intercept a column without a penalty."""
    design = np.column_stack([X, np.ones((len(X), int(fit_intercept)))])
    penalty = np.diag(np.append(alpha, np.zeros(int(fit_intercept))))
    return design @ np.linalg.solve(design.T @ design + penalty, design.T)


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("fit_intercept", [False, True])
@pytest.mark.parametrize("alpha", [1e-2, 3.0, 1e3])
def test_a_number_for_alpha_is_that_of_another_librarys_ridge(shape, fit_intercept, alpha):
    X, y = make_problem(shape)
    other = Ridge(alpha, fit_intercept=fit_intercept, solver="svd").fit(X, y)
    model = RidgeRegression(alpha=alpha, fit_intercept=fit_intercept).fit(X, y)
    np.testing.assert_allclose(model.coef_, other.coef_, rtol=1e-7, atol=1e-10)
    assert model.intercept_ == pytest.approx(other.intercept_, rel=1e-8)
    np.testing.assert_array_equal(model.alpha_, np.full(shape[1], alpha))
    assert (model.convergence_, model.n_iter_) == ("no search", 0)
    assert model.converged_ is True


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("fit_intercept", [False, True])
@pytest.mark.parametrize("with_zero", [False, True])
def test_a_strength_for_each_column_solves_the_augmented_problem(
    shape, fit_intercept, with_zero
):
    X, y = make_problem(shape)
    alpha = 10.0 ** np.linspace(-3.0, 4.0, shape[1])
    if with_zero:
        alpha[1] = 0.0
    coef, intercept = augmented_solve(X, y, alpha, fit_intercept)
    model = RidgeRegression(alpha=alpha, fit_intercept=fit_intercept).fit(X, y)
    np.testing.assert_allclose(model.coef_, coef, rtol=1e-7, atol=1e-10)
    assert model.intercept_ == pytest.approx(intercept, rel=1e-7, abs=1e-10)
    H = hat_matrix(X, alpha, fit_intercept)
    np.testing.assert_allclose(model.leverage_, np.diag(H), rtol=1e-7)


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("alpha", [1e-2, 30.0])
def test_loo_residuals_are_those_of_solves_without_the_row(shape, alpha):
    X, y = make_problem(shape)
    alphas = alpha * np.arange(1.0, shape[1] + 1.0)
    model = RidgeRegression("loo", alpha=alphas).fit(X, y)
    expected = np.empty(len(y))
    for i in range(len(y)):
        kept = np.arange(len(y)) != i
        coef, intercept = augmented_solve(X[kept], y[kept], alphas)
        expected[i] = y[i] - X[i] @ coef - intercept
    np.testing.assert_allclose(model.loo_residuals_, expected, rtol=1e-6, atol=1e-9)
    assert model.criterion_value_ == pytest.approx(np.sum(expected**2), rel=1e-6)


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("groups", ["all", "none", "labels"])
@pytest.mark.parametrize("is_given", [False, True])
@pytest.mark.parametrize("fit_intercept", [False, True])
def test_effective_dof_of_a_group_are_its_part_in_the_trace_of_the_hat_matrix(
    shape, groups, is_given, fit_intercept
):
    X, y = make_problem(shape)
    labels = np.arange(shape[1]) % 3 if groups == "labels" else groups
    alpha = 5.0 if is_given else None
    model = RidgeRegression(
        groups=labels, alpha=alpha, fit_intercept=fit_intercept, max_iter=5
    )
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", ConvergenceWarning)
        model.fit(X, y)
    centered = X - X.mean(axis=0) if fit_intercept else X
    stack = np.vstack([centered, np.diag(np.sqrt(model.alpha_))])
    of_columns = np.diag(np.linalg.pinv(stack)[:, : len(X)] @ centered)
    expected = np.bincount(model.groups_, weights=of_columns)
    np.testing.assert_allclose(
        model.effective_dof_by_group_, expected, rtol=1e-6, atol=1e-8
    )
    total = np.sum(expected) + fit_intercept
    assert model.effective_dof_ == pytest.approx(total, rel=1e-7)
    assert model.effective_dof_ == pytest.approx(np.sum(model.leverage_), rel=1e-9)


def test_without_penalties_equal_columns_get_equal_coefficients():
    X, y = make_problem((30, 3))
    model = RidgeRegression(alpha=0.0).fit(np.column_stack([X, X[:, 0]]), y)
    coef, intercept = augmented_solve(X, y, np.zeros(3))
    np.testing.assert_allclose(model.coef_[[0, 3]], np.full(2, 0.5 * coef[0]), rtol=1e-9)
    np.testing.assert_allclose(model.coef_[1:3], coef[1:], rtol=1e-9)
    assert model.intercept_ == pytest.approx(intercept, rel=1e-9)


def test_strengths_for_groups_stand_in_the_order_of_their_labels():
    X, y = make_problem((40, 6))
    labels = ["b", "a", "b", "c", "a", "b"]
    model = RidgeRegression(groups=labels, alpha=[1.0, 2.0, 3.0]).fit(X, y)
    assert list(model.group_labels_) == ["a", "b", "c"]
    np.testing.assert_array_equal(model.alpha_, [2.0, 1.0, 2.0, 3.0, 1.0, 2.0])


@pytest.mark.parametrize("alpha", [-1.0, np.nan, np.inf, [1.0, 2.0], "1", [[1.0] * 6]])
def test_invalid_strengths_are_refused(alpha):
    X, y = make_problem((40, 6))
    with pytest.raises(ValueError, match="alpha"):
        RidgeRegression(alpha=alpha).fit(X, y)
    with pytest.raises(ValueError, match="alpha"):
        RidgeRegression().criterion_at(X, y, alpha)


@pytest.mark.parametrize("criterion", CRITERIA)
@pytest.mark.parametrize("normalize", [False, True])
@pytest.mark.parametrize("groups", ["all", "none", [0, 1, 1, 0, 2, 2]])
def test_the_criterion_at_the_strengths_found_is_the_one_reported(
    criterion, normalize, groups
):
    X, y = make_problem((40, 6))
    model = RidgeRegression(criterion, groups=groups, normalize=normalize, tol=1e-6)
    model.fit(X, y)
    value, gradient = model.criterion_at(X, y, model.alpha_)
    assert value == pytest.approx(model.criterion_value_, rel=1e-9)
    by_group = np.bincount(model.groups_, weights=gradient)
    assert np.max(np.abs(by_group)) < 1e-3 * value
    given = clone(model).set_params(alpha=model.alpha_).fit(X, y)
    assert given.criterion_value_ == pytest.approx(value, rel=1e-9)
    np.testing.assert_allclose(given.coef_, model.coef_, rtol=1e-6, atol=1e-9)
    np.testing.assert_allclose(given.loo_residuals_, model.loo_residuals_, rtol=1e-7)


def central_difference(function, x, direction, h):
    return (function(x + h * direction) - function(x - h * direction)) / (2.0 * h)


@pytest.mark.parametrize("criterion", CRITERIA)
@pytest.mark.parametrize("fit_intercept", [False, True])
@pytest.mark.parametrize("form", ["number", "groups", "columns"])
def test_the_gradient_is_that_of_the_criterion_by_the_logarithms_of_the_strengths(
    criterion, fit_intercept, form
):
    X, y = make_problem((40, 6))
    model = RidgeRegression(
        criterion, groups=[0, 1, 1, 0, 2, 2], fit_intercept=fit_intercept
    )
    logarithms = {
        "number": np.array(1.0),
        "groups": np.array([-1.0, 0.5, 2.0]),
        "columns": np.linspace(-2.0, 3.0, 6),
    }[form]

    def value(point):
        return model.criterion_at(X, y, np.exp(point))[0]

    gradient = np.atleast_1d(model.criterion_at(X, y, np.exp(logarithms))[1])
    assert gradient.shape == np.atleast_1d(logarithms).shape
    for k, direction in enumerate(np.eye(logarithms.size)):
        step = direction.reshape(logarithms.shape)
        errors = [
            abs(central_difference(value, logarithms, step, h) - gradient[k])
            for h in (0.4, 0.2, 0.1)
        ]
        # The error falls as h^2.
        assert errors[1] / errors[2] == pytest.approx(4.0, rel=0.2)
        assert errors[2] < 0.02 * max(abs(gradient[k]), 1e-3 * value(logarithms))


@pytest.mark.parametrize("criterion", ["gcv", "loo"])
def test_a_number_of_wide_data_has_the_gradient_of_its_columns_summed(criterion):
    X, y = make_problem((12, 30))
    model = RidgeRegression(criterion)
    value, slope = model.criterion_at(X, y, 2.0)
    same, gradient = model.criterion_at(X, y, np.full(30, 2.0))
    assert value == pytest.approx(same, rel=1e-8)
    assert slope == pytest.approx(np.sum(gradient), rel=1e-6)


def test_the_criterion_does_not_need_a_fit_and_does_not_change_the_estimator():
    X, y = make_problem((40, 6))
    model = RidgeRegression(groups=2)
    with pytest.raises(ValueError, match="is not fitted"):
        model.criterion_at(X, y, 1.0)
    before = dict(vars(model))
    model.set_params(groups="none").criterion_at(X, y, 1.0)
    assert vars(model) == before | {"groups": "none"}


@pytest.mark.parametrize("groups", ["all", [0, 1, 1, 0, 2, 2], "none"])
def test_a_search_from_the_strengths_found_ends_where_it_starts(groups):
    X, y = make_problem((60, 6), seed=4)
    first = RidgeRegression("loo", groups=groups).fit(X, y)
    assert first.converged_
    again = RidgeRegression("loo", groups=groups, init=first.alpha_).fit(X, y)
    start = again.history_["hyperparameters"][0]
    end = first.history_["hyperparameters"][-1]
    np.testing.assert_allclose(start, np.abs(end), rtol=1e-12)
    assert again.n_iter_ <= first.n_iter_
    assert again.criterion_value_ <= first.criterion_value_ * (1.0 + 1e-12)


def test_a_warm_start_is_an_init_with_the_strengths_of_the_fit_before():
    X, y = make_problem((60, 6), seed=4)
    model = RidgeRegression(warm_start=True, groups="none").fit(X, y)
    strengths = model.alpha_
    model.fit(X, y + 0.01 * X[:, 0])
    expected = RidgeRegression(init=strengths, groups="none").fit(X, y + 0.01 * X[:, 0])
    np.testing.assert_array_equal(model.coef_, expected.coef_)
    # The strengths of another number of columns are no start.
    model.fit(X[:, :3], y)
    expected = RidgeRegression(groups="none").fit(X[:, :3], y)
    np.testing.assert_array_equal(model.coef_, expected.coef_)
