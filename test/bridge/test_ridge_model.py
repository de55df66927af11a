# SPDX-License-Identifier: BSD-3-Clause
"""Fit, prediction and attributes of the ridge model, over every combination of options, and
against another library's ridge at the strengths that were found."""

import itertools

import numpy as np
import pytest
import trevalon_internal
from sklearn.linear_model import Ridge
from trevalon_impl import RidgeRegressionModel

from bridge_support import assert_raises

ATTRIBUTES = ["weights", "regularization", "regularization_groups", "score",
              "within_tolerance"]  # fmt: skip
SCORES = ["loocv", "gcv", "range_risk"]
GROUPING_MODES = ["none", "all", "feature_bias"]
NOT_FIT = "model not fit"
FAILED = "failed to fit RidgeRegressionModel"
INCORRECT_SHAPE = "X is incorrect shape"


def fitted(problem, **options):
    model = RidgeRegressionModel(**options)
    assert model.fit(*problem) is None
    return model


def snapshot(model, X):
    """All that a fitted model shows, for comparison before and after."""
    return [np.array(getattr(model, name)).tolist() for name in ATTRIBUTES], list(
        model.predict(X)
    )


# Before and after a fit


@pytest.mark.parametrize("attribute", ATTRIBUTES)
def test_reading_an_attribute_of_a_fresh_model_raises_model_not_fit(attribute):
    assert_raises(RuntimeError, NOT_FIT, getattr, RidgeRegressionModel(), attribute)


def test_predict_of_a_fresh_model_raises_model_not_fit_ahead_of_any_look_at_its_arguments():
    model = RidgeRegressionModel()
    for arguments in ((), ("not a matrix",), (1, 2, 3)):
        assert_raises(RuntimeError, NOT_FIT, model.predict, *arguments)


def test_attributes_have_their_types(problem):
    model = fitted(problem)
    for name in ("weights", "regularization", "regularization_groups"):
        value = getattr(model, name)
        assert isinstance(value, np.ndarray)
        assert value.dtype == np.float64
        assert value.ndim == 1
    assert type(model.score) is float
    assert type(model.within_tolerance) is bool


def test_each_read_of_an_attribute_gives_an_array_of_its_own(problem):
    model = fitted(problem)
    before = model.weights
    kept = before.copy()
    before[:] = 0.0
    np.testing.assert_array_equal(model.weights, kept)


def test_weights_has_one_more_entry_than_x_has_columns_and_its_last_entry_is_the_bias(
    problem,
):
    X, _ = problem
    model = fitted(problem, fit_intercept=1)
    assert model.weights.shape == (5,)
    # With centered features the bias is the prediction at the features' means.
    at_the_means = model.predict(X.mean(axis=0, keepdims=True))
    assert model.weights[-1] == pytest.approx(at_the_means[0], rel=1e-12)
    assert fitted(problem, fit_intercept=0).weights.shape == (4,)


def test_regularization_groups_is_a_float_array_also_where_group_numbers_are_integers(
    problem,
):
    groups = fitted(problem, grouper=lambda X, y: [1, 0, 1, 2]).regularization_groups
    assert groups.dtype == np.float64
    assert groups.tolist() == [1.0, 0.0, 1.0, 2.0]


def test_the_default_model_has_regularization_of_length_1(problem):
    model = fitted(problem)
    assert model.regularization.shape == (1,)
    assert model.regularization_groups.tolist() == [0.0, 0.0, 0.0, 0.0]


def test_a_second_fit_replaces_the_first_and_may_have_another_width(problem):
    X, y = problem
    model = fitted(problem)
    model.fit(X[:, :2], y)
    np.testing.assert_array_equal(model.weights, fitted((X[:, :2], y)).weights)
    assert_raises(RuntimeError, INCORRECT_SHAPE, model.predict, X)


def test_arguments_go_by_keyword_too(problem):
    X, y = problem
    model = RidgeRegressionModel()
    model.fit(y=y, X=X)
    np.testing.assert_array_equal(model.predict(X=X), fitted(problem).predict(X))


def test_calls_with_missing_arguments_raise_pythons_own_error(problem):
    model = fitted(problem)
    text = "fit() missing required argument 'y' (pos 2)"
    assert_raises(TypeError, text, model.fit, problem[0])
    text = "predict() missing required argument 'X' (pos 1)"
    assert_raises(TypeError, text, model.predict)


@pytest.mark.parametrize("columns", [0, 1, 3, 5])
def test_predict_with_the_wrong_number_of_columns_raises_incorrect_shape(problem, columns):
    for intercept in (0, 1):
        model = fitted(problem, fit_intercept=intercept)
        assert_raises(RuntimeError, INCORRECT_SHAPE, model.predict, np.ones((2, columns)))


def test_predict_of_no_rows_gives_no_predictions(problem):
    assert fitted(problem).predict(np.ones((0, 4))).shape == (0,)


# Every combination of options


def expected_number_of_weights(options):
    return 5 if options["fit_intercept"] else 4


def check_groups(model, options):
    """What the options say of the groups; a grouper goes before a number of groups, and
    that before a grouping mode."""
    groups = model.regularization_groups.tolist()
    number = len(model.regularization)
    if options["grouper"]:
        assert groups == [0.0, 1.0, 0.0, 1.0]
        assert number == 2
    elif options["num_groups"] >= 4 or (
        options["num_groups"] == 0 and options["grouping_mode"] == "none"
    ):
        assert groups == list(range(expected_number_of_weights(options)))
        assert number == 4
    elif options["num_groups"] == 2:
        assert sorted(set(groups)) == list(range(number))
        assert number <= 2
    else:
        assert groups == [0.0] * 4
        assert number == 1


def check_weights_by_refit(model, options, X, y):
    """A ridge fit of strength 1 on columns divided by their penalties, in the normalized
    problem, has the same predictions."""
    groups = model.regularization_groups.astype(int)[:4]
    # A strength that went to zero would scale its column beyond what the refit can hold;
    # 1e-10 beside columns of length 1 is as good as none.
    t = np.maximum(np.abs(model.regularization[groups]), 1e-5)
    center = X.mean(axis=0) if options["fit_intercept"] else np.zeros(4)
    scale = np.linalg.norm(X - center, axis=0) if options["normalize"] else np.ones(4)
    columns = (X - center) / scale / t
    other = Ridge(alpha=1.0, fit_intercept=bool(options["fit_intercept"]), solver="svd")
    other.fit(columns, y)
    np.testing.assert_allclose(
        model.predict(X), other.predict(columns), rtol=1e-7, atol=1e-9
    )
    np.testing.assert_allclose(
        model.weights[:4], other.coef_ / scale / t, rtol=1e-6, atol=1e-9
    )


@pytest.mark.parametrize("score", SCORES)
@pytest.mark.parametrize("grouping_mode", GROUPING_MODES)
@pytest.mark.parametrize("num_groups", [0, 1, 2, 10])
def test_a_fit_works_and_is_that_of_another_ridge_with_all_options(
    problem, score, grouping_mode, num_groups
):
    X, y = problem
    for grouper, init0, fit_intercept, normalize in itertools.product(
        [None, lambda X, y: [0, 1, 0, 1]], [None, lambda n: [0.5] * n], [0, 1], [0, 1]
    ):
        options = {
            "score": score,
            "grouping_mode": grouping_mode,
            "num_groups": num_groups,
            "grouper": grouper,
            "init0": init0,
            "fit_intercept": fit_intercept,
            "normalize": normalize,
        }
        model = fitted(problem, **options)
        assert model.weights.shape == (expected_number_of_weights(options),)
        assert np.isfinite(model.score)
        check_groups(model, options)
        check_weights_by_refit(model, options, X, y)


@pytest.mark.parametrize("score", SCORES)
@pytest.mark.parametrize("grouping_mode", GROUPING_MODES)
def test_a_fit_of_the_internal_factory_works_with_all_flags(problem, score, grouping_mode):
    X, y = problem
    names = ["center_target", "center_features", "with_bias", "rescale_target",
             "rescale_features", "record_stats", "log"]  # fmt: skip
    for flags in itertools.product([False, True], repeat=len(names)):
        options = dict(zip(names, flags, strict=True))
        model = trevalon_internal.make_ridge_regression_model(
            objective_mode=score, grouping_mode=grouping_mode, **options
        )
        model.fit(X, y)
        assert model.weights.shape == (5 if options["with_bias"] else 4,)
        center = X.mean(axis=0) if options["center_features"] else np.zeros(4)
        mean = y.mean() if options["center_target"] else 0.0
        bias = model.weights[4] if options["with_bias"] else 0.0
        np.testing.assert_allclose(
            model.predict(X), (X - center) @ model.weights[:4] + mean + bias, rtol=1e-9
        )


@pytest.mark.parametrize("score", SCORES)
@pytest.mark.parametrize("grouping_mode", GROUPING_MODES)
def test_the_optimizer_ends_where_the_gradient_of_the_objective_vanishes(
    problem, score, grouping_mode
):
    model = trevalon_internal.make_ridge_regression_model(
        objective_mode=score, grouping_mode=grouping_mode, tolerance=1e-10, tolerance2=1e-7
    )
    model.fit(*problem)
    objective = model.make_objective(*problem)
    assert objective.compute_value(model.regularization) == pytest.approx(
        model.score, rel=1e-12
    )
    assert model.within_tolerance
    np.testing.assert_allclose(
        objective.compute_gradient(model.regularization), 0.0, atol=1e-6
    )


# Input of other kinds


class Rows:
    """A matrix that is no numpy array."""

    def __init__(self, X):
        self.shape = X.shape
        self._X = X

    def __iter__(self):
        return (tuple(float(x) for x in row) for row in self._X)


def test_arrays_of_other_kinds_and_layouts_give_the_same_fit(problem):
    X, y = problem
    expected = fitted(problem).weights
    spread = np.zeros((60, 8))
    spread[::2, ::2] = X
    for same in (Rows(X), np.asfortranarray(X), spread[::2, ::2], X.astype(object)):
        np.testing.assert_array_equal(fitted((same, y)).weights, expected)
    for same in (list(y), tuple(y), np.repeat(y, 2)[::2], y.astype(object)):
        np.testing.assert_array_equal(fitted((X, same)).weights, expected)


def test_fit_given_a_non_array_raises_the_error_of_the_conversion(problem):
    X, y = problem
    model = RidgeRegressionModel()
    text = "'list' object has no attribute 'shape'"
    assert_raises(AttributeError, text, model.fit, [[1.0]], [1.0])
    assert_raises(TypeError, "not an iterable", model.fit, X, iter(y))
    assert_raises(
        TypeError, "improper dimensions for a matrix", model.fit, X[:, :, None], y
    )
    # The rows of a vector are numbers, which do not iterate.
    text = "improper dimensions for a matrix"
    assert_raises(TypeError, text, model.fit, y, y)
    assert_raises(
        TypeError, "only 0-dimensional arrays can be converted to Python scalars",
        model.fit, X, X,
    )  # fmt: skip


def test_prediction_of_a_non_array_raises_the_error_of_the_conversion(problem):
    model = fitted(problem)
    text = "'list' object has no attribute 'shape'"
    assert_raises(AttributeError, text, model.predict, [[1.0] * 4])
    assert_raises(
        TypeError, "improper dimensions for a matrix", model.predict, problem[0][0]
    )


# Fits that fail


def nan_in(array, position):
    changed = np.array(array)
    changed[position] = np.nan
    return changed


def infinity_in(array, position):
    changed = np.array(array)
    changed[position] = -np.inf
    return changed


BAD_DATA = {
    "nan in X": lambda X, y: (nan_in(X, (3, 1)), y),
    "infinity in X": lambda X, y: (infinity_in(X, (29, 3)), y),
    "nan in y": lambda X, y: (X, nan_in(y, 0)),
    "infinity in y": lambda X, y: (X, infinity_in(y, 29)),
    "squares of X overflow": lambda X, y: (X * 1e200, y),
    "squares of y overflow": lambda X, y: (X, y * 1e200),
    "X is empty": lambda X, y: (np.ones((0, 0)), []),
    "no rows": lambda X, y: (np.ones((0, 4)), []),
    "no columns": lambda X, y: (np.ones((30, 0)), y),
    "no rows but a target": lambda X, y: (np.ones((0, 4)), y),
    "target too short": lambda X, y: (X, y[:-1]),
    "target too long": lambda X, y: (X, [*y, 1.0]),
    "target empty": lambda X, y: (X, []),
}


@pytest.mark.parametrize("case", list(BAD_DATA))
@pytest.mark.parametrize("score", SCORES)
@pytest.mark.parametrize("grouping", [{"grouping_mode": "none"}, {}, {"num_groups": 2}])
@pytest.mark.parametrize("normalize", [0, 1])
def test_bad_data_raise_at_once_and_leave_the_earlier_fit_intact(
    problem, case, score, grouping, normalize
):
    model = fitted(problem, score=score, normalize=normalize, **grouping)
    before = snapshot(model, problem[0])
    for _ in range(2):
        assert_raises(RuntimeError, FAILED, model.fit, *BAD_DATA[case](*problem))
    assert snapshot(model, problem[0]) == before
    model.fit(*problem)
    assert snapshot(model, problem[0]) == before


def test_x_of_5_rows_and_y_of_4_raise_failed_to_fit():
    X = np.arange(10.0).reshape(5, 2)
    assert_raises(RuntimeError, FAILED, RidgeRegressionModel().fit, X, [1.0, 2.0, 3.0, 4.0])


def test_a_failed_first_fit_leaves_the_model_not_fit_and_usable(problem):
    X, y = problem
    model = RidgeRegressionModel()
    assert_raises(RuntimeError, FAILED, model.fit, X, y[:-1])
    assert_raises(RuntimeError, NOT_FIT, getattr, model, "weights")
    model.fit(X, y)
    assert model.weights.shape == (5,)


def test_dependent_columns_fail_in_the_range_risk_score_alone(problem):
    X, y = problem
    doubled = np.column_stack([X, X[:, 0]])
    model = RidgeRegressionModel(score="range_risk")
    assert_raises(RuntimeError, FAILED, model.fit, doubled, y)
    for score in ("loocv", "gcv"):
        fitted((doubled, y), score=score)


def test_a_start_point_at_which_the_score_is_not_defined_fails_to_fit(problem):
    X, y = problem
    constant = np.column_stack([X, np.ones(30)])
    for start in (0.0, np.nan, np.inf):
        model = RidgeRegressionModel(init0=lambda n, start=start: [start] * n)
        assert_raises(RuntimeError, FAILED, model.fit, constant, y)


def test_integer_overflow_in_a_matrix_is_pythons_own_error(problem):
    X = problem[0].astype(object)
    X[0, 0] = 10**400
    with pytest.raises(OverflowError):
        RidgeRegressionModel().fit(X, problem[1])


@pytest.mark.parametrize("score", ["loocv", "gcv", "range_risk"])
@pytest.mark.parametrize("normalize", [0, 1])
def test_data_of_extreme_size_end_in_a_fit_or_an_error_and_not_in_the_process(
    score, normalize
):
    large = [5.11590248e140, -8.05869306e139, 2.32385054e140, 4.05598607e139]
    X = np.c_[[0.0, 1.0, 0.0, 0.0], [8.03630594e15] * 4, large, [2.42992082e15] * 4]
    y = np.array([7.77787846e140, -1.22519019e140, 3.53302806e140, 6.16645192e139])
    model = RidgeRegressionModel(score=score, normalize=normalize, tolerance=1e-12)
    outcome = "fit"
    try:
        model.fit(X, y)
    except RuntimeError as error:
        outcome = str(error)
    assert outcome in ("fit", FAILED)
    if outcome == "fit":
        assert np.isfinite(model.weights).all()
