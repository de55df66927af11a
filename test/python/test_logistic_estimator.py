# SPDX-License-Identifier: BSD-3-Clause
"""Strengths, labels and probabilities of the logistic estimator, against another library's
fit and against the optimality conditions of its objective."""

import numpy as np
import pytest
import sklearn.linear_model
from scipy.special import expit
from sklearn.utils.multiclass import type_of_target

from trevalon import LogisticRegression

PENALTIES = ["l2", "l1", "elasticnet", "bridge"]
ATTRIBUTES = {
    "l2": {"l2_strength_"},
    "l1": {"l1_strength_"},
    "elasticnet": {"l2_strength_", "l1_strength_"},
    "bridge": {"bridge_strength_", "bridge_exponent_"},
}
# The penalties with a kink at 0 often end just above the default tolerance.
CORNERS = pytest.mark.filterwarnings("ignore::sklearn.exceptions.ConvergenceWarning")


def penalty_slope(model, b):
    """The derivative of the penalty in b away from 0, as the attributes are documented."""
    size, sign = np.abs(b), np.sign(b)
    if model.penalty == "bridge":
        q = np.where(np.isnan(model.bridge_exponent_), 1.0, model.bridge_exponent_)
        with np.errstate(invalid="ignore"):
            return model.bridge_strength_ * q * size ** (q - 1.0) * sign
    slope = np.zeros_like(b)
    if model.penalty in ("l2", "elasticnet"):
        slope += model.l2_strength_ * b
    if model.penalty in ("l1", "elasticnet"):
        slope += model.l1_strength_ * sign
    return slope


@pytest.mark.parametrize("fit_intercept", [False, True])
@pytest.mark.parametrize("normalize", [False, True])
def test_another_library_finds_the_same_coefficients_at_the_l2_strengths(
    classification, fit_intercept, normalize
):
    X, y = classification
    model = LogisticRegression(
        groups="none", fit_intercept=fit_intercept, normalize=normalize
    ).fit(X, y)
    # Columns over the roots of their strengths share strength 1.
    roots = np.sqrt(np.maximum(model.l2_strength_, 1e-10 * X.var(axis=0)))
    other = sklearn.linear_model.LogisticRegression(
        C=1.0, fit_intercept=fit_intercept, tol=1e-10, max_iter=10_000, solver="newton-cg"
    ).fit(X / roots, y)
    np.testing.assert_allclose(model.coef_, other.coef_ / roots, rtol=1e-3, atol=1e-5)
    np.testing.assert_allclose(model.intercept_, other.intercept_, rtol=1e-3, atol=1e-5)


@CORNERS
@pytest.mark.parametrize("penalty", PENALTIES)
@pytest.mark.parametrize("groups", ["all", "none", [None, 0, 1, 0]])
def test_the_coefficients_are_a_minimum_of_the_objective(classification, penalty, groups):
    X, y = classification
    model = LogisticRegression(penalty, groups=groups).fit(X, y)
    lengths = np.linalg.norm(X - X.mean(axis=0), axis=0)
    b = model.coef_[0]
    residual = expit(model.decision_function(X)) - y
    slope = X.T @ residual + penalty_slope(model, b)
    # Near 0 the absolute value is smoothed, and its slope is another. An infinite
    # strength means only that the coefficient of its column is practically 0.
    away = (np.abs(b * lengths) > 0.01) & np.isfinite(slope)
    assert away[0]
    np.testing.assert_allclose(slope[away] / lengths[away], 0.0, atol=1e-3)
    assert np.sum(residual) == pytest.approx(0.0, abs=1e-2)


@CORNERS
@pytest.mark.parametrize("penalty", PENALTIES)
def test_an_estimator_has_the_strengths_of_its_penalty_and_no_others(
    classification, penalty
):
    model = LogisticRegression("bridge" if penalty != "bridge" else "l2")
    model.fit(*classification)
    model.set_params(penalty=penalty).fit(*classification)
    every = set().union(*ATTRIBUTES.values())
    assert {name for name in every if hasattr(model, name)} == ATTRIBUTES[penalty]
    for name in ATTRIBUTES[penalty]:
        assert getattr(model, name).shape == (4,)


@CORNERS
def test_the_exponents_of_a_bridge_are_at_least_1_and_those_of_free_columns_are_nan(
    classification,
):
    model = LogisticRegression("bridge", groups=[0, 0, None, 1]).fit(*classification)
    assert np.isnan(model.bridge_exponent_).tolist() == [False, False, True, False]
    assert np.all(model.bridge_exponent_[[0, 1, 3]] >= 1.0)
    assert model.bridge_strength_[2] == 0.0


@pytest.mark.parametrize("penalty", ["l2", "bridge"])
@CORNERS
def test_the_fit_does_not_depend_on_the_units_of_a_column(classification, penalty):
    X, y = classification
    units = np.array([1.0, 1024.0, 1.0, 0.25])
    model = LogisticRegression(penalty).fit(X, y)
    other = LogisticRegression(penalty).fit(X * units, y)
    np.testing.assert_allclose(other.coef_ * units, model.coef_, rtol=1e-2, atol=1e-4)
    np.testing.assert_allclose(
        other.predict_proba(X * units), model.predict_proba(X), atol=1e-3
    )


@pytest.mark.parametrize(
    "labels",
    [(3.0, 7.0), (-1, 1), (False, True), ("no", "yes"), (np.str_("a"), np.str_("b"))],
)
def test_any_two_labels_are_returned_and_are_in_ascending_order(classification, labels):
    X, y = classification
    model = LogisticRegression().fit(X, np.array(labels)[y])
    expected = LogisticRegression().fit(X, y)
    assert model.classes_.tolist() == list(labels)
    np.testing.assert_array_equal(model.predict(X), np.array(labels)[expected.predict(X)])
    np.testing.assert_array_equal(model.predict_proba(X), expected.predict_proba(X))


def test_labels_may_be_a_list_of_text_or_a_categorical_column(classification):
    pandas = pytest.importorskip("pandas")
    X, y = classification
    text = ["yes" if label else "no" for label in y]
    expected = LogisticRegression().fit(X, text).predict(X)
    model = LogisticRegression().fit(X, pandas.Series(text, dtype="category"))
    np.testing.assert_array_equal(model.predict(X), expected)


def test_probabilities_follow_the_decision_function(classification):
    X, y = classification
    model = LogisticRegression().fit(X, y)
    odds = X @ model.coef_[0] + model.intercept_[0]
    np.testing.assert_array_equal(model.decision_function(X), odds)
    probabilities = model.predict_proba(X)
    np.testing.assert_allclose(probabilities[:, 1], 1.0 / (1.0 + np.exp(-odds)), rtol=1e-14)
    np.testing.assert_allclose(probabilities.sum(axis=1), 1.0, rtol=1e-15)
    np.testing.assert_allclose(
        model.predict_log_proba(X), np.log(probabilities), rtol=1e-12
    )


def test_log_probabilities_stay_exact_where_probabilities_round_to_0(classification):
    X, y = classification
    model = LogisticRegression(fit_intercept=False).fit(X, y)
    far = 900.0 * model.coef_ / (model.coef_ @ model.coef_.T)
    np.testing.assert_allclose(model.predict_log_proba(far)[0], [-900.0, 0.0], rtol=1e-12)
    assert model.predict_proba(far)[0].tolist() == [0.0, 1.0]


def test_even_odds_give_the_larger_class(classification):
    model = LogisticRegression(fit_intercept=False).fit(*classification)
    assert model.predict(np.zeros((1, 4))).tolist() == [1]


def test_three_classes_raise_the_error_of_scikit_learn(classification):
    X, y = classification
    text = "Only binary classification is supported. The type of the target is multiclass."
    with pytest.raises(ValueError, match=text):
        LogisticRegression().fit(X, np.arange(len(y)) % 3)


def test_one_class_and_a_continuous_target_are_refused(classification):
    X, y = classification
    with pytest.raises(ValueError, match=r"this y has one class: \[1\]"):
        LogisticRegression().fit(X, np.ones_like(y))
    with pytest.raises(ValueError, match="Unknown label type: continuous"):
        LogisticRegression().fit(X, y + 0.5 * np.arange(len(y)))


@pytest.mark.parametrize("large", [1e300, 2.0**60])
def test_floats_too_large_for_fractions_are_refused_as_labels_as_in_scikit_learn(large):
    X = np.arange(6.0)[:, np.newaxis]
    y = np.array([0.0, 1.0, 0.0, 1.0, 0.0, 1.0]) * large
    with np.errstate(invalid="ignore"):  # a cast of scikit-learn's
        kind = type_of_target(y)
        if kind == "binary":
            assert LogisticRegression().fit(X, y).classes_.tolist() == [0.0, large]
        else:
            with pytest.raises(ValueError, match=f"Unknown label type: {kind}"):
                LogisticRegression().fit(X, y)


@pytest.mark.parametrize(
    "labels",
    [
        np.array([False, True]),
        np.array([0, 255], dtype=np.uint8),
        np.array([-3, 7], dtype=np.int32),
        np.array([-(2**63), 2**63 - 1]),
        np.array([2**53, 2**53 + 1]),
        np.array([3.0, 7.0], dtype=np.float32),
    ],
    ids=lambda labels: str(labels.dtype),
)
def test_labels_of_every_numeric_type_are_distinguished_and_returned(labels):
    codes = np.random.default_rng(0).integers(0, 2, size=60)
    X = codes[:, np.newaxis] + np.random.default_rng(1).normal(size=(60, 2))
    model = LogisticRegression().fit(X, labels[codes])
    reference = LogisticRegression().fit(X, codes)
    assert model.classes_.dtype == labels.dtype
    assert model.classes_.tolist() == labels.tolist()
    np.testing.assert_array_equal(model.coef_, reference.coef_)
    np.testing.assert_array_equal(model.predict(X), labels[reference.predict(X)])
