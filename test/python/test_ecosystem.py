# SPDX-License-Identifier: BSD-3-Clause
"""The estimators with the tools of scikit-learn, and every form of data they take."""

import numpy as np
import pandas as pd
import polars as pl
import pytest
from sklearn.base import clone
from sklearn.compose import make_column_transformer
from sklearn.metrics import r2_score
from sklearn.model_selection import GridSearchCV, cross_val_predict, cross_val_score
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import PolynomialFeatures, StandardScaler

from trevalon import LogisticRegression, RidgeRegression, WarpedLinearRegression

NAMES = ["age", "dose", "site", "time"]


@pytest.fixture(params=["ridge", "logistic", "warped"])
def case(request, regression, classification):
    """An estimator with data of 4 columns that it fits."""
    if request.param == "ridge":
        return RidgeRegression(), *regression
    if request.param == "logistic":
        return LogisticRegression(), *classification
    return WarpedLinearRegression(), *regression


def as_memory_map(X, directory):
    np.save(directory / "rows.npy", X)
    return np.load(directory / "rows.npy", mmap_mode="r")


FORMS = {
    "Fortran order": lambda X, path: np.asfortranarray(X),
    "every second row of a larger array": lambda X, path: np.repeat(X, 2, axis=0)[::2],
    "reversed columns, reversed": lambda X, path: X[:, ::-1].copy()[:, ::-1],
    "byte-swapped": lambda X, path: X.astype(X.dtype.newbyteorder()),
    "objects": lambda X, path: X.astype(object),
    "lists": lambda X, path: X.tolist(),
    "read-only memory map": as_memory_map,
    "pandas": lambda X, path: pd.DataFrame(X, columns=NAMES),
    "polars": lambda X, path: pl.DataFrame(X, schema=NAMES),
}


@pytest.mark.parametrize("form", FORMS)
def test_every_form_of_the_same_numbers_gives_the_same_fit(case, form, tmp_path):
    model, X, y = case
    expected = clone(model).fit(X, y)
    rows = FORMS[form](X, tmp_path)
    found = model.fit(rows, y)
    np.testing.assert_allclose(found.coef_, expected.coef_, rtol=1e-6, atol=1e-12)
    np.testing.assert_allclose(found.predict(rows), expected.predict(X), rtol=1e-9)


@pytest.mark.parametrize(
    "kind", [np.float32, np.float16, np.int64, np.int8, np.uint16, bool]
)
def test_every_numeric_type_is_fitted_as_its_values_in_float64(kind):
    random = np.random.default_rng(2)
    X = random.integers(0, 2 if kind is bool else 100, size=(50, 3)).astype(kind)
    y = (X @ np.array([3.0, -1.0, 0.5]) + random.normal(size=50)).astype(np.float32)
    same = X.astype(np.float64)
    for model in (RidgeRegression(), WarpedLinearRegression()):
        expected = clone(model).fit(same, y.astype(np.float64))
        found = model.fit(X, y)
        np.testing.assert_array_equal(found.coef_, expected.coef_)
        np.testing.assert_allclose(found.predict(X), expected.predict(same), rtol=1e-12)
        assert found.predict(X).dtype == np.float64
    labels = (y > np.median(y)).astype(np.int8)
    expected = LogisticRegression().fit(same, labels)
    found = LogisticRegression().fit(X, labels)
    np.testing.assert_array_equal(found.coef_, expected.coef_)
    np.testing.assert_allclose(
        found.predict_proba(X), expected.predict_proba(same), rtol=1e-12
    )
    assert found.predict(X).dtype == np.int8


def test_arguments_are_not_modified(case, tmp_path):
    model, X, y = case
    kept = X.copy(), y.copy()
    X.flags.writeable = y.flags.writeable = False
    model.fit(X, y).predict(X)
    np.testing.assert_array_equal(X, kept[0])
    np.testing.assert_array_equal(y, kept[1])


@pytest.mark.parametrize("frame", ["pandas", "polars"])
def test_names_of_columns_are_kept_and_compared(case, frame, tmp_path):
    model, X, y = case
    rows = FORMS[frame](X, tmp_path)
    model.fit(rows, y)
    assert model.feature_names_in_.tolist() == NAMES
    with pytest.raises(ValueError, match="feature names"):
        model.predict(rows[["dose", "age", "site", "time"]])
    with pytest.warns(UserWarning, match="does not have valid feature names"):
        model.predict(X)


def test_a_series_serves_as_target(case):
    model, X, y = case
    expected = clone(model).fit(X, y).predict(X)
    np.testing.assert_array_equal(clone(model).fit(X, pd.Series(y)).predict(X), expected)
    np.testing.assert_array_equal(clone(model).fit(X, y.tolist()).predict(X), expected)


def test_a_clone_is_unfitted_and_fits_the_same(case):
    model, X, y = case
    model.fit(X, y)
    other = clone(model)
    assert not hasattr(other, "coef_")
    assert other.get_params() == model.get_params()
    np.testing.assert_array_equal(other.fit(X, y).coef_, model.coef_)


def test_cross_validation_in_two_processes_gives_the_scores_of_one(case):
    model, X, y = case
    expected = cross_val_score(model, X, y, cv=3)
    np.testing.assert_array_equal(cross_val_score(model, X, y, cv=3, n_jobs=2), expected)
    assert np.all(expected > 0.3)


def test_a_pipeline_with_a_grid_search_finds_its_best_member(regression):
    X, y = regression
    pipeline = make_pipeline(PolynomialFeatures(2, include_bias=False), RidgeRegression())
    grid = {
        "polynomialfeatures__degree": [1, 2],
        "ridgeregression__criterion": ["gcv", "loo"],
        "ridgeregression__groups": ["all", 2],
    }
    search = GridSearchCV(pipeline, grid, cv=3).fit(X, y)
    assert len(search.cv_results_["params"]) == 8
    assert not np.isnan(search.cv_results_["mean_test_score"]).any()
    best = search.best_estimator_
    assert search.predict(X) == pytest.approx(best.predict(X))
    assert search.score(X, y) == pytest.approx(r2_score(y, best.predict(X)))


def test_a_grid_search_over_the_other_two_works(skewed, classification):
    X, y = skewed
    search = GridSearchCV(WarpedLinearRegression(), {"n_steps": [1, 2]}, cv=2).fit(X, y)
    assert search.best_params_["n_steps"] in (1, 2)
    probabilities = cross_val_predict(
        LogisticRegression(), *classification, method="predict_proba", cv=3
    )
    np.testing.assert_allclose(probabilities.sum(axis=1), 1.0)


@pytest.mark.parametrize("kind", ["pandas", "polars"])
def test_names_reach_groups_through_a_pipeline_with_set_output(regression, kind, tmp_path):
    X, y = regression
    rows = FORMS[kind](X, tmp_path)
    scale = make_column_transformer(
        (StandardScaler(), NAMES[:2]),
        remainder="passthrough",
        verbose_feature_names_out=False,
    )
    groups = {"age": "a", "dose": "a", "site": "b", "time": "b"}
    pipeline = make_pipeline(scale, RidgeRegression(groups=groups)).set_output(
        transform=kind
    )
    pipeline.fit(rows, y)
    assert pipeline[-1].feature_names_in_.tolist() == NAMES
    assert pipeline[-1].groups_.tolist() == [0, 0, 1, 1]
    assert pipeline.score(rows, y) > 0.9


def test_a_fit_on_a_plain_array_drops_the_names_of_an_earlier_frame(regression):
    X, y = regression
    model = RidgeRegression().fit(pd.DataFrame(X, columns=NAMES), y)
    assert model.fit(X[:, :3], y).n_features_in_ == 3
    assert not hasattr(model, "feature_names_in_")
    assert model.predict(X[:, :3]).shape == y.shape
