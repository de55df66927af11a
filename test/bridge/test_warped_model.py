# SPDX-License-Identifier: BSD-3-Clause
"""Fit, prediction and attributes of the warped model, what it refuses and what a refusal
leaves behind."""

import numpy as np
import pytest
import trevalon_impl
from trevalon_impl import WarpedLinearRegressionModel

from bridge_support import assert_raises
from warped_support import fitted, regression, snapshot

ATTRIBUTES = ["regressors", "noise_variance", "warper", "within_tolerance"]
NOT_FIT = "model not fit"
FAILED = "failed to fit WarpedLinearRegressionModel"
INCORRECT_SHAPE = "X is incorrect shape"
NOT_FINITE = "X holds a value that is not finite"
PREDICTIONS = pytest.mark.parametrize("method", ["predict", "predict_latent_with_stddev"])


@pytest.fixture
def warped():
    return regression()


# Before and after a fit


@pytest.mark.parametrize("attribute", ATTRIBUTES)
def test_an_attribute_before_fit_gives_model_not_fit(attribute):
    assert_raises(RuntimeError, NOT_FIT, getattr, WarpedLinearRegressionModel(), attribute)


@PREDICTIONS
def test_a_fresh_model_does_not_predict_whatever_the_arguments(method):
    for arguments in ((), ("not a matrix",), (1, 2, 3)):
        model = WarpedLinearRegressionModel()
        assert_raises(RuntimeError, NOT_FIT, getattr(model, method), *arguments)


def test_make_warper_before_fit_works(warped):
    theta = [1.0, 2.0, 0.5]
    warper = WarpedLinearRegressionModel().make_warper(theta, warped[1])
    assert type(warper) is trevalon_impl._TargetWarper
    assert warper.parameters.tolist() == theta


def test_attributes_have_their_types(warped):
    model = fitted(*warped)
    assert model.regressors.shape == (3,)
    assert model.regressors.dtype == np.float64
    assert type(model.noise_variance) is float
    assert type(model.within_tolerance) is bool
    assert type(model.warper) is trevalon_impl._TargetWarper
    latent, stddev = model.predict_latent_with_stddev(warped[0])
    assert latent.shape == stddev.shape == model.predict(warped[0]).shape == (60,)


@pytest.mark.parametrize("attribute", ATTRIBUTES)
def test_attributes_are_read_only(warped, attribute):
    model = fitted(*warped)
    with pytest.raises(AttributeError, match="is not writable"):
        setattr(model, attribute, 1.0)
    with pytest.raises(AttributeError, match="is not writable"):
        model.warper.parameters = 1.0


def test_warper_called_twice_gives_two_handles_on_one_map(warped):
    X, y = warped
    model = fitted(X, y)
    first, second = model.warper, model.warper
    assert first is not second
    np.testing.assert_array_equal(first.parameters, second.parameters)
    np.testing.assert_array_equal(first.compute_latent(y), second.compute_latent(y))


def test_a_handle_outlives_its_model_and_a_second_fit(warped):
    X, y = warped
    model = fitted(X, y)
    handle = model.warper
    expected = handle.compute_latent(y).tolist()
    model.fit(X, -y)
    assert handle.compute_latent(y).tolist() == expected
    del model
    assert handle.compute_latent(y).tolist() == expected


@PREDICTIONS
@pytest.mark.parametrize("columns", [0, 1, 2, 4])
def test_prediction_with_the_wrong_number_of_columns_raises_incorrect_shape(
    warped, method, columns
):
    predict = getattr(fitted(*warped), method)
    assert_raises(RuntimeError, INCORRECT_SHAPE, predict, np.ones((2, columns)))


@PREDICTIONS
@pytest.mark.parametrize("bad", [np.nan, np.inf, -np.inf])
def test_prediction_of_what_is_not_finite_raises_at_once(warped, method, bad):
    X, y = warped
    model = fitted(X, y)
    before = snapshot(model, X)
    changed = X.copy()
    changed[7, 1] = bad
    assert_raises(RuntimeError, NOT_FINITE, getattr(model, method), changed)
    assert snapshot(model, X) == before


def test_prediction_far_from_the_data_ends_in_a_number_or_an_error(warped):
    model = fitted(*warped)
    assert np.isfinite(model.predict(np.full((1, 3), 1e6))).all()
    with pytest.raises(RuntimeError, match="cannot invert a latent value"):
        model.predict(np.array([[1e308, -1e308, 1e308]]))


def test_no_rows_give_no_predictions(warped):
    model = fitted(*warped)
    assert model.predict(np.ones((0, 3))).shape == (0,)
    latent, stddev = model.predict_latent_with_stddev(np.ones((0, 3)))
    assert latent.shape == stddev.shape == (0,)


def test_calls_parse_by_keyword_and_show_the_names_of_their_formats(warped):
    X, y = warped
    model = WarpedLinearRegressionModel()
    model.fit(y=y, X=X)
    np.testing.assert_array_equal(model.predict(X=X), fitted(X, y).predict(X))
    model.make_warper(y=y, theta=[1.0, 1.0, 1.0])
    text = "{}() missing required argument '{}' (pos {})"
    assert_raises(TypeError, text.format("fit", "y", 2), model.fit, X)
    name = "predict_latent"
    assert_raises(TypeError, text.format(name, "X", 1), model.predict)
    assert_raises(TypeError, text.format(name, "X", 1), model.predict_latent_with_stddev)
    assert_raises(TypeError, text.format("make_warper", "theta", 1), model.make_warper)


def test_two_fits_on_the_same_data_give_identical_parameters(warped):
    X, _ = warped
    model = fitted(*warped, num_steps=3)
    before = snapshot(model, X)
    model.fit(*warped)
    assert snapshot(model, X) == before


# Fits that fail


def with_entry(array, value):
    changed = np.array(array)
    changed.flat[-1] = value
    return changed


@pytest.mark.parametrize("intercept", [0, 1])
@pytest.mark.parametrize("num_steps", [1, 3])
def test_a_prediction_depends_on_its_own_row_only(intercept, num_steps):
    X, y = regression(n=400, noise=0.5)
    y = (y - 2.0) ** 2
    model = fitted(X, y, fit_intercept=intercept, num_steps=num_steps)
    alone = [model.predict(row[None])[0] for row in X]
    np.testing.assert_allclose(model.predict(X), alone, rtol=1e-9)
    among_outliers = model.predict(np.vstack([X, 20.0 * X[:100], X]))
    np.testing.assert_allclose(among_outliers[:400], alone, rtol=1e-9)


@pytest.mark.parametrize("normalize", [0, 1])
def test_a_constant_target_fails_where_it_is_centered_alone(normalize):
    X, _ = regression()
    y = np.full(60, 3.7)
    model = WarpedLinearRegressionModel(fit_intercept=1, normalize=normalize)
    assert_raises(RuntimeError, FAILED, model.fit, X, y)
    model = fitted(X, y, fit_intercept=0, normalize=normalize)
    assert np.isfinite(model.predict(X)).all()
    assert np.isfinite(model.warper.parameters).all()


BAD_DATA = {
    "nan in X": lambda X, y: (with_entry(X, np.nan), y),
    "infinity in X": lambda X, y: (with_entry(X, np.inf), y),
    "nan in y": lambda X, y: (X, with_entry(y, np.nan)),
    "infinity in y": lambda X, y: (X, with_entry(y, -np.inf)),
    "squares of X overflow": lambda X, y: (X * 1e200, y),
    "squares of y overflow": lambda X, y: (X, y * 1e200),
    "a target of zeros": lambda X, y: (X, np.zeros(60)),
    "as many columns as rows": lambda X, y: (X[:3], y[:3]),
    "more columns than rows": lambda X, y: (X[:2], y[:2]),
    "dependent columns": lambda X, y: (np.column_stack([X, X[:, 0]]), y),
    "a column of zeros": lambda X, y: (np.column_stack([X, np.zeros(60)]), y),
    "no rows": lambda X, y: (np.ones((0, 3)), []),
    "no columns": lambda X, y: (np.ones((60, 0)), y),
    "nothing": lambda X, y: (np.ones((0, 0)), []),
    "target too short": lambda X, y: (X, y[:-1]),
    "target too long": lambda X, y: (X, [*y, 1.0]),
}


@pytest.mark.parametrize("case", list(BAD_DATA))
@pytest.mark.parametrize("intercept", [0, 1])
@pytest.mark.parametrize("normalize", [0, 1])
def test_bad_data_raise_at_once_and_leave_the_earlier_fit_intact(
    warped, case, intercept, normalize
):
    model = fitted(*warped, fit_intercept=intercept, normalize=normalize)
    before = snapshot(model, warped[0])
    assert_raises(RuntimeError, FAILED, model.fit, *BAD_DATA[case](*warped))
    assert snapshot(model, warped[0]) == before


def test_fit_with_as_many_columns_as_rows_fails_to_fit():
    X, y = regression(n=4, p=4)
    assert_raises(RuntimeError, FAILED, WarpedLinearRegressionModel().fit, X, y)


def test_one_row_more_than_columns_is_enough():
    X, y = regression(n=5, p=4)
    assert np.isfinite(fitted(X, y).noise_variance)


def test_after_a_failed_second_fit_predict_still_uses_the_first_fit(warped):
    X, y = warped
    model = fitted(X, y)
    expected = model.predict(X).tolist()
    assert_raises(RuntimeError, FAILED, model.fit, X[:, :2], y[:-1])
    assert model.predict(X).tolist() == expected


def test_fit_given_a_non_array_raises_the_error_of_the_conversion(warped):
    X, y = warped
    model = WarpedLinearRegressionModel()
    text = "'list' object has no attribute 'shape'"
    assert_raises(AttributeError, text, model.fit, [[1.0]], [1.0])
    assert_raises(TypeError, "not an iterable", model.fit, X, iter(y))
    assert_raises(TypeError, "improper dimensions for a matrix", model.fit, y, y)
