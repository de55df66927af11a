# SPDX-License-Identifier: BSD-3-Clause
"""Objectives as Python sees them, on those of the ridge model."""

import signal

import numpy as np
import pytest
import trevalon_internal

from bridge_support import assert_raises, run_child

METHODS = ["compute_value", "compute_gradient", "compute_hessian"]
MISMATCH = "feature_matrix and target_vector are mismatched"


def make_objective(X, y, **options):
    return trevalon_internal.make_ridge_regression_model(**options).make_objective(X, y)


@pytest.mark.parametrize("method", METHODS)
@pytest.mark.parametrize("length", [0, 3, 5])
def test_a_point_of_the_wrong_length_raises_dimensionality_error(problem, method, length):
    objective = make_objective(*problem)
    assert_raises(
        RuntimeError, "dimensionality error", getattr(objective, method), [0.5] * length
    )


@pytest.mark.parametrize("method", METHODS)
def test_the_length_is_checked_before_any_evaluation(method):
    # A constant column leaves no value at zero, so an evaluation would give another text.
    X = np.column_stack([np.ones(6), np.arange(6.0)])
    objective = make_objective(X, np.arange(6.0) ** 2)
    assert_raises(RuntimeError, "dimensionality error", getattr(objective, method), [0.0])


@pytest.mark.parametrize("method", METHODS)
def test_where_cholesky_factoring_fails_the_objective_is_not_defined(method):
    X = np.column_stack([np.ones(6), np.arange(6.0)])
    objective = make_objective(X, np.arange(6.0) ** 2)
    what = method.removeprefix("compute_")
    assert_raises(
        RuntimeError, f"{what} not defined", getattr(objective, method), [0.0, 0.0]
    )


@pytest.mark.parametrize("mode", ["loocv", "gcv", "range_risk"])
def test_compute_hessian_returns_a_matrix_equal_to_its_own_transpose(problem, mode):
    objective = make_objective(*problem, objective_mode=mode)
    hessian = objective.compute_hessian([0.3, 0.5, 0.7, 0.9])
    assert hessian.shape == (4, 4)
    np.testing.assert_array_equal(hessian, hessian.T)
    assert np.all(np.isfinite(hessian))


@pytest.mark.parametrize("mode", ["loocv", "gcv", "range_risk"])
def test_gradient_and_hessian_are_the_differences_of_value_and_gradient(problem, mode):
    objective = make_objective(*problem, objective_mode=mode)
    x = np.array([0.3, 0.5, 0.7, 0.9])
    h = 1e-5
    steps = h * np.eye(4)
    gradient = [
        (objective.compute_value(x + s) - objective.compute_value(x - s)) / (2 * h)
        for s in steps
    ]
    hessian = [
        (objective.compute_gradient(x + s) - objective.compute_gradient(x - s)) / (2 * h)
        for s in steps
    ]
    np.testing.assert_allclose(
        objective.compute_gradient(x), gradient, rtol=1e-6, atol=1e-9
    )
    np.testing.assert_allclose(objective.compute_hessian(x), hessian, rtol=1e-6, atol=1e-9)


def test_the_value_of_the_leave_one_out_objective_is_that_of_30_refits(problem):
    X, y = problem
    t = np.array([0.3, 0.5, 0.7, 0.9])
    Z = (X - X.mean(axis=0)) / np.linalg.norm(X - X.mean(axis=0), axis=0)
    target = (y - y.mean()) / np.linalg.norm(y - y.mean())
    errors = []
    for i in range(30):
        rest = np.arange(30) != i
        normal = Z[rest].T @ Z[rest] + np.diag(t**2)
        weights = np.linalg.solve(normal, Z[rest].T @ target[rest])
        errors.append(target[i] - Z[i] @ weights)
    objective = make_objective(X, y)
    assert objective.compute_value(t) == pytest.approx(np.sum(np.square(errors)), rel=1e-10)


@pytest.mark.parametrize("method", METHODS)
def test_a_point_is_one_argument_called_x(problem, method):
    evaluate = getattr(make_objective(*problem), method)
    point = [0.5] * 4
    np.testing.assert_array_equal(evaluate(point), evaluate(x=point))
    with pytest.raises(TypeError, match=rf"^{method}\(\) missing required argument 'x'"):
        evaluate()
    with pytest.raises(TypeError, match=r"^must be real number, not str$"):
        evaluate(["a"] * 4)


def test_the_number_of_variables_is_that_of_the_groups(problem):
    X, y = problem
    assert make_objective(X, y, grouping_mode="all").compute_gradient([0.5]).shape == (1,)
    grouped = make_objective(X, y, grouper=lambda X, y, count: [0, 0, 1, 1])
    assert grouped.compute_hessian([0.5, 0.6]).shape == (2, 2)


def test_with_a_bias_a_grouper_places_the_bias_too(problem):
    counts = []

    def grouper(X, y, count):
        counts.append(count)
        return [0, 0, 0, 0, 1]

    objective = make_objective(*problem, with_bias=True, grouper=grouper)
    assert counts == [5]
    assert np.all(np.isfinite(objective.compute_gradient([0.5, 0.6])))


def test_with_a_bias_the_grouping_mode_places_the_bias_too(problem):
    objective = make_objective(*problem, with_bias=True, grouping_mode="feature_bias")
    point = np.array([0.5, 0.6])
    gradient = objective.compute_gradient(point)
    h = 1e-5
    for k, step in enumerate(h * np.eye(2)):
        above = objective.compute_value(point + step)
        below = objective.compute_value(point - step)
        assert gradient[k] == pytest.approx((above - below) / (2 * h), rel=1e-5, abs=1e-10)


def test_an_objective_outlives_its_model_and_its_data(problem):
    objective = make_objective(*problem)
    first = objective.compute_value([0.5] * 4)
    assert objective.compute_value([0.5] * 4) == first


def test_arguments_that_do_not_match_raise(problem):
    X, y = problem
    assert_raises(RuntimeError, MISMATCH, make_objective, X, y[:-1])


def test_data_that_no_objective_is_made_of_raise_and_leave_the_process_alive(problem):
    X, y = problem
    for bad in (np.full_like(X, np.nan), np.full_like(X, np.inf), X * 1e200):
        with pytest.raises(RuntimeError):
            make_objective(bad, y)
    with pytest.raises(RuntimeError):
        make_objective(np.ones((0, 3)), [])


def test_stored_data_of_a_failed_fit_that_do_not_match_end_the_process():
    child = run_child(
        "import numpy as np, trevalon_internal as t\n"
        "model = t.make_ridge_regression_model()\n"
        "X = np.arange(10.0).reshape(5, 2)\n"
        "try:\n"
        "    model.fit(X, [1.0, 2.0, 3.0, 4.0])\n"
        "except RuntimeError as error:\n"
        "    print(error, flush=True)\n"
        "model.make_objective(X, [1.0, 2.0, 3.0, 4.0, 5.0])\n"
    )
    assert child.stdout == "failed to fit RidgeRegressionModel\n"
    assert child.returncode == -signal.SIGABRT
    assert f"  what():  {MISMATCH}" in child.stderr.splitlines()
