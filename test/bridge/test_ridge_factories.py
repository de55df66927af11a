# SPDX-License-Identifier: BSD-3-Clause
"""The two factories of the ridge model: keywords, defaults, checks and their order."""

import math

import numpy as np
import pytest
from trevalon_impl import RidgeRegressionModel
from trevalon_internal import make_ridge_regression_model

from bridge_support import assert_raises

TOLERANCE = "tolerance must be greater than 0"
BOTH = pytest.mark.parametrize(
    "factory", [RidgeRegressionModel, make_ridge_regression_model]
)


@BOTH
@pytest.mark.parametrize("tolerance", [0, 0.0, -0.0, -1, -math.inf])
def test_a_tolerance_of_zero_or_below_raises(factory, tolerance):
    assert_raises(RuntimeError, TOLERANCE, factory, tolerance=tolerance)


@BOTH
def test_a_tolerance_that_is_nan_passes(factory, problem):
    model = factory(tolerance=math.nan)
    model.fit(*problem)
    # Nothing is below NaN, so the run ends when no step is left that improves the score.
    assert model.within_tolerance is False
    assert np.all(np.isfinite(model.weights))


def test_of_an_unknown_score_and_an_unknown_grouping_mode_the_score_is_reported():
    keywords = {"score": "x", "grouping_mode": "y"}
    assert_raises(RuntimeError, "unknown score x", RidgeRegressionModel, **keywords)


def test_of_an_unknown_objective_mode_and_grouping_mode_the_objective_mode_is_reported():
    assert_raises(
        RuntimeError,
        "unknown objective_mode mode x",
        make_ridge_regression_model,
        objective_mode="x",
        grouping_mode="y",
    )


@BOTH
@pytest.mark.parametrize("mode", ["", "None", "ALL", "all ", "feature_bia"])
def test_an_unknown_grouping_mode_is_reported(factory, mode):
    text = f"unknown grouping mode {mode}"
    assert_raises(RuntimeError, text, factory, grouping_mode=mode)


@pytest.mark.parametrize("mode", ["", "LOOCV", "gcv ", "gc", "rangerisk", "ä"])
def test_scores_are_compared_exactly(mode):
    assert_raises(RuntimeError, f"unknown score {mode}", RidgeRegressionModel, score=mode)
    assert_raises(
        RuntimeError,
        f"unknown objective_mode mode {mode}",
        make_ridge_regression_model,
        objective_mode=mode,
    )


def test_a_bad_tolerance_is_reported_ahead_of_a_bad_score():
    assert_raises(RuntimeError, TOLERANCE, RidgeRegressionModel, tolerance=0, score="x")
    assert_raises(
        RuntimeError,
        TOLERANCE,
        make_ridge_regression_model,
        tolerance=0,
        objective_mode="x",
    )


@BOTH
@pytest.mark.parametrize(
    "keywords",
    [{"tolerance": "x"}, {"grouping_mode": None}, {"grouping_mode": 3}, {"unknown": 1},
     {"grouping_mode": "all\0none"}],
)  # fmt: skip
def test_arguments_of_a_wrong_kind_raise_pythons_own_error(factory, keywords):
    with pytest.raises((TypeError, ValueError)):
        factory(**keywords)


def test_too_many_arguments_raise_pythons_own_error_with_the_factorys_name():
    assert_raises(
        TypeError,
        "RidgeRegressionModel() takes at most 8 arguments (9 given)",
        RidgeRegressionModel,
        *range(9),
    )
    assert_raises(
        TypeError,
        "make_ridge_regression_model() takes at most 14 arguments (15 given)",
        make_ridge_regression_model,
        *range(15),
    )


def test_the_plain_factory_takes_its_arguments_in_order(problem):
    model = RidgeRegressionModel(lambda n: [0.2] * n, 0, 0, "loocv", "none", 0, None, 0.01)
    same = RidgeRegressionModel(
        init0=lambda n: [0.2] * n,
        fit_intercept=0,
        normalize=0,
        score="loocv",
        grouping_mode="none",
        num_groups=0,
        grouper=None,
        tolerance=0.01,
    )
    for m in (model, same):
        m.fit(*problem)
    np.testing.assert_array_equal(model.weights, same.weights)
    np.testing.assert_array_equal(model.regularization, same.regularization)
    assert model.weights.shape == (4,)
    assert model.regularization.shape == (4,)


def test_the_defaults_of_the_plain_factory_are_these(problem):
    model = RidgeRegressionModel()
    same = RidgeRegressionModel(
        init0=None,
        fit_intercept=1,
        normalize=1,
        score="gcv",
        grouping_mode="all",
        num_groups=0,
        grouper=None,
        tolerance=0.0001,
    )
    for m in (model, same):
        m.fit(*problem)
    np.testing.assert_array_equal(model.weights, same.weights)
    np.testing.assert_array_equal(model.regularization, same.regularization)
    assert model.score == same.score


def test_the_defaults_of_the_internal_factory_are_these(problem):
    model = make_ridge_regression_model()
    same = make_ridge_regression_model(
        center_target=True,
        center_features=True,
        with_bias=False,
        rescale_target=True,
        rescale_features=True,
        num_regularization_groups=0,
        objective_mode="loocv",
        grouping_mode="none",
        tolerance=0.0001,
        tolerance2=0.0,
        record_stats=True,
        log=False,
    )
    in_order = make_ridge_regression_model(
        True, True, False, True, True, 0, "loocv", "none"
    )  # fmt: skip
    for m in (model, same, in_order):
        m.fit(*problem)
    for m in (same, in_order):
        np.testing.assert_array_equal(model.weights, m.weights)
        np.testing.assert_array_equal(model.regularization, m.regularization)
        assert model.score == m.score


def test_tolerance2_bounds_the_gradient_by_itself(problem):
    loose = make_ridge_regression_model(tolerance=0.5, tolerance2=1e9)
    tight = make_ridge_regression_model(tolerance=1e-12, tolerance2=1e-9)
    for m in (loose, tight):
        m.fit(*problem)
    assert tight.score < loose.score


@pytest.mark.parametrize("record_stats", [False, True])
@pytest.mark.parametrize("log", [False, True])
def test_recording_a_run_does_not_change_its_result(problem, record_stats, log):
    plain = make_ridge_regression_model(record_stats=False, log=False)
    recorded = make_ridge_regression_model(record_stats=record_stats, log=log)
    for m in (plain, recorded, recorded):
        m.fit(*problem)
    np.testing.assert_array_equal(plain.weights, recorded.weights)
    assert plain.score == recorded.score


def test_none_counts_as_not_given_in_the_plain_factory(problem):
    RidgeRegressionModel(init0=None, grouper=None).fit(*problem)


@pytest.mark.parametrize("keyword", ["grouper", "optimizer_initializer"])
def test_none_counts_as_an_object_in_the_internal_factory_and_fails_when_called(
    problem, keyword
):
    model = make_ridge_regression_model(**{keyword: None})
    text = "'NoneType' object has no attribute '__call__'"
    # Each object is looked up as any other: None has no "__call__" to be fetched.
    assert not hasattr(None, "__call__")  # noqa: B004
    assert_raises(AttributeError, text, model.fit, *problem)


def test_the_internal_factory_passes_the_number_of_parameters_to_its_grouper(problem):
    seen = []

    def grouper(X, y, count):
        seen.append((X, y, count))
        return [0] * count

    X, y = problem
    make_ridge_regression_model(grouper=grouper, with_bias=True).fit(X, y)
    [(seen_X, seen_y, count)] = seen
    assert seen_X is X
    assert seen_y is y
    assert count == 4


def test_a_negative_num_groups_is_read_as_an_unsigned_number(problem):
    model = RidgeRegressionModel(num_groups=-1, score="loocv")
    same = RidgeRegressionModel(num_groups=4, score="loocv")
    for m in (model, same):
        m.fit(*problem)
    np.testing.assert_array_equal(model.weights, same.weights)


@pytest.mark.parametrize("fit_intercept", [0, 1, -3])
@pytest.mark.parametrize("normalize", [0, 1, 7])
@pytest.mark.parametrize("score", ["loocv", "gcv"])
def test_the_plain_factory_is_the_internal_one_with_these_flags(
    problem, fit_intercept, normalize, score
):
    plain = RidgeRegressionModel(
        fit_intercept=fit_intercept, normalize=normalize, score=score, tolerance=0.01
    )
    internal = make_ridge_regression_model(
        center_target=False,
        center_features=fit_intercept != 0,
        with_bias=fit_intercept != 0,
        rescale_target=normalize != 0,
        rescale_features=normalize != 0,
        objective_mode=score,
        grouping_mode="all",
        tolerance=0.01,
        tolerance2=0.01,
    )
    for m in (plain, internal):
        m.fit(*problem)
    np.testing.assert_array_equal(plain.weights, internal.weights)
    np.testing.assert_array_equal(plain.regularization, internal.regularization)
    # In raw units without `normalize`, so that a scale of the target would show.
    assert plain.score == internal.score


def test_the_one_tolerance_of_the_plain_factory_bounds_the_gradient_too(problem):
    options = {"grouping_mode": "none", "tolerance": 0.125}
    plain = RidgeRegressionModel(score="loocv", fit_intercept=0, normalize=1, **options)
    plain.fit(*problem)
    scores = {}
    for tolerance2 in (0.125, 0.0):
        internal = make_ridge_regression_model(
            center_target=False, center_features=False, tolerance2=tolerance2, **options
        )
        internal.fit(*problem)
        scores[tolerance2] = internal.score
    # A second tolerance of 0 stands for the cube root of the first, here 0.5.
    assert scores[0.0] > scores[0.125]
    assert plain.score == scores[0.125]
