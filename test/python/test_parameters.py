# SPDX-License-Identifier: BSD-3-Clause
"""Parameters that are refused, starting points, and the warning without convergence."""

import numpy as np
import pandas as pd
import pytest
from sklearn.exceptions import ConvergenceWarning, NotFittedError

from trevalon import LogisticRegression, RidgeRegression, WarpedLinearRegression

ESTIMATORS = [RidgeRegression, LogisticRegression, WarpedLinearRegression]
REGRESSORS = [RidgeRegression, WarpedLinearRegression]


@pytest.fixture
def data(classification):
    """Rows and targets that every estimator fits."""
    X, y = classification
    return X, y


def fit(kind, data, **parameters):
    """Regression targets are the labels with a little noise."""
    X, y = data
    if kind is not LogisticRegression:
        y = y + 0.1 * np.random.default_rng(0).normal(size=len(y))
    return kind(**parameters).fit(X, y)


@pytest.mark.parametrize("kind", ESTIMATORS)
@pytest.mark.parametrize(
    ("name", "value", "wanted"),
    [
        ("tol", 0.0, "a float in the range"),
        ("tol", -1e-4, "a float in the range"),
        ("tol", float("nan"), "a float in the range"),
        ("tol", float("inf"), "a float in the range"),
        ("tol", True, "a float in the range"),
        ("tol", "1e-4", "a float in the range"),
        ("fit_intercept", 1, "an instance of 'bool'"),
        ("fit_intercept", None, "an instance of 'bool'"),
        ("normalize", "yes", "an instance of 'bool'"),
        ("init", float("nan"), "finite"),
        ("init", ["one"], "made of real numbers"),
    ],
)
def test_a_parameter_outside_of_its_range_is_refused_by_name(
    data, kind, name, value, wanted
):
    text = f"The '{name}' parameter of {kind.__name__} must be {wanted}"
    with pytest.raises(ValueError, match=text):
        fit(kind, data, **{name: value})


@pytest.mark.parametrize(
    ("kind", "name", "values"),
    [
        (RidgeRegression, "criterion", ["loocv", "GCV", None, 3, ["gcv"]]),
        (LogisticRegression, "penalty", ["l3", "", None, 2, b"l2"]),
        (WarpedLinearRegression, "n_steps", [0, -1, 101, 1.0, "1", True, None, 10**30]),
    ],
)
def test_an_unknown_choice_is_refused_by_name(data, kind, name, values):
    for value in values:
        with pytest.raises(ValueError, match=f"The '{name}' parameter of {kind.__name__}"):
            fit(kind, data, **{name: value})


@pytest.mark.parametrize("kind", REGRESSORS)
def test_every_form_of_init_starts_the_same_search(data, kind):
    counts = []

    def start(count):
        counts.append(count)
        return np.full(count, 0.7)

    expected = fit(kind, data, init=start)
    assert expected.converged_
    count = 3 if kind is WarpedLinearRegression else 1
    assert counts == [count]
    for init in (0.7, [0.7] * count, np.full(count, 0.7)):
        np.testing.assert_array_equal(fit(kind, data, init=init).coef_, expected.coef_)


@pytest.mark.parametrize("kind", REGRESSORS)
def test_an_init_of_the_wrong_length_is_refused_with_the_right_one(data, kind):
    has = {
        RidgeRegression: "4 columns in 1 group:",
        LogisticRegression: "1 hyperparameters",
        WarpedLinearRegression: "3 hyperparameters",
    }[kind]
    with pytest.raises(ValueError, match=f"this fit has {has}"):
        fit(kind, data, init=[0.5] * 7)


@pytest.mark.parametrize("kind", REGRESSORS)
def test_an_error_of_an_init_passes_unchanged(data, kind):
    def start(count):
        raise LookupError("no start today")

    with pytest.raises(LookupError, match="no start today"):
        fit(kind, data, init=start)


@pytest.mark.parametrize("kind", REGRESSORS)
def test_a_fit_without_convergence_warns_and_names_a_remedy(data, kind):
    with pytest.warns(ConvergenceWarning, match="before its tolerance was met") as caught:
        model = fit(kind, data, tol=1e-300)
    assert not model.converged_
    # The warning points at the call of fit, not into the package.
    assert caught[0].filename == __file__


@pytest.mark.parametrize("kind", ESTIMATORS)
def test_a_converged_fit_reports_it(data, kind):
    assert fit(kind, data).converged_ is True


@pytest.mark.parametrize("kind", ESTIMATORS)
def test_an_unfitted_estimator_raises_not_fitted(data, kind):
    names = {"predict", "predict_proba", "decision_function", "predict_log_proba",
             "predict_interval"} & set(dir(kind))  # fmt: skip
    assert "predict" in names
    for name in names:
        with pytest.raises(NotFittedError, match="is not fitted yet"):
            getattr(kind(), name)(data[0])
    assert not hasattr(kind(), "effective_dof_")


@pytest.mark.parametrize("kind", ESTIMATORS)
@pytest.mark.parametrize("value", [np.nan, np.inf, -np.inf])
def test_rows_that_are_not_finite_raise_the_errors_of_scikit_learn(data, kind, value):
    model = fit(kind, data)
    X = data[0].copy()
    X[5, 2] = value
    text = "contains NaN" if np.isnan(value) else "contains infinity"
    with pytest.raises(ValueError, match=text):
        model.predict(X)
    with pytest.raises(ValueError, match=text):
        fit(kind, (X, data[1]))


REFUSED_DATA = {
    "a NaN among the rows": ("X", np.nan, "Input X contains NaN"),
    "an infinity among the rows": ("X", -np.inf, "Input X contains infinity"),
    "a NaN among the targets": ("y", np.nan, "contains NaN"),
    "an infinity among the targets": ("y", np.inf, "contains infinity"),
}


NATIVE_FITS = {
    LogisticRegression: "_core.fit_logistic",
    RidgeRegression: "_core.fit_ridge",
    WarpedLinearRegression: "_core.fit_warped",
}


@pytest.mark.parametrize("layout", [np.ascontiguousarray, np.asfortranarray])
@pytest.mark.parametrize("bad", REFUSED_DATA.values(), ids=REFUSED_DATA.keys())
@pytest.mark.parametrize("kind", REGRESSORS)
def test_what_is_refused_does_not_reach_the_extension_module(
    data, kind, bad, layout, monkeypatch
):
    which, value, text = bad
    X, y = layout(data[0].copy()), data[1].astype(float)
    {"X": X[:, 2], "y": y}[which][5] = value
    monkeypatch.setattr(f"trevalon.{NATIVE_FITS[kind]}", Untouchable)
    with pytest.raises(ValueError, match=text):
        fit(kind, (X, y))


class Untouchable:
    """Replaces a model of the extension module, or a function of the core."""

    def __init__(self, *data, **_):
        if data:
            self.fit(*data)

    def fit(self, X, y, **_):
        pytest.fail("the data reached the extension module")


@pytest.mark.parametrize("columns", [10, 64])
@pytest.mark.parametrize("bad", REFUSED_DATA.values(), ids=REFUSED_DATA.keys())
def test_the_message_for_many_rows_is_that_of_scikit_learn(bad, columns):
    """With few columns the core makes this check."""
    which, value, text = bad
    random = np.random.default_rng(0)
    X = random.normal(size=(10_000, columns))
    y = X[:, 0] + random.normal(size=10_000)
    model = RidgeRegression().fit(X[:, :-1], y)
    before = model.predict(X[:, :-1])
    {"X": X[:, 2], "y": y}[which][5] = value
    with pytest.raises(ValueError, match=text):
        model.fit(X, y)
    X[5, 2] = 0.0
    assert model.n_features_in_ == columns - 1
    np.testing.assert_array_equal(model.predict(X[:, :-1])[:5], before[:5])


@pytest.mark.parametrize("kind", REGRESSORS)
def test_a_fit_that_fails_leaves_the_estimator_as_it_was(data, kind):
    model = fit(kind, data)
    before = dict(vars(model))
    wide = np.column_stack([data[0], data[0][:, 0]]) * 1e160
    with pytest.raises(ValueError, match="overflow"):
        model.fit(pd.DataFrame(wide).add_prefix("x"), data[1][::-1])
    assert vars(model).keys() == before.keys()
    assert all(vars(model)[name] is value for name, value in before.items())


def test_rows_whose_sum_overflows_are_not_reported_as_infinite(regression):
    X, y = regression
    with pytest.raises(ValueError, match="squares of X or y overflow"):
        RidgeRegression().fit(np.abs(X) * (1e308 / np.abs(X).max()), y)


@pytest.mark.parametrize("value", [np.nan, np.inf])
def test_a_column_with_the_coefficient_0_is_checked_as_well(regression, value):
    X, y = regression
    model = RidgeRegression().fit(X, y)
    model.coef_[1] = 0.0
    assert np.isfinite(model.predict(X)).all()
    X[0, 1] = value
    with pytest.raises(ValueError, match="Input X contains"):
        model.predict(X)


def test_a_prediction_of_finite_rows_may_leave_the_range_of_doubles(regression):
    model = RidgeRegression().fit(*regression)
    assert np.abs(model.coef_).sum() > 2.0
    rows = 1e308 * np.sign(model.coef_)[np.newaxis]
    assert model.predict(rows).tolist() == [np.inf]
    assert model.predict(-rows).tolist() == [-np.inf]


@pytest.mark.parametrize("kind", REGRESSORS)
def test_data_whose_squares_overflow_are_refused_with_a_message(data, kind):
    X, y = data
    with pytest.raises(ValueError, match="squares of X or y overflow"):
        fit(kind, (X * 1e160, y))
