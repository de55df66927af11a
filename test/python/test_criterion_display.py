# SPDX-License-Identifier: BSD-3-Clause
"""The plot of the criterion: its values, the chosen strengths, the path of the fit."""

import matplotlib.pyplot as plt
import numpy as np
import pytest
from sklearn.exceptions import NotFittedError

from trevalon import (
    CriterionDisplay,
    LogisticRegression,
    RidgeRegression,
    WarpedLinearRegression,
)

HALVES = ["a", "b", "b", "a"]


@pytest.fixture(autouse=True)
def _close_figures():
    yield
    plt.close("all")


@pytest.fixture
def weak():
    """60 rows of 2 columns of different lengths, with small effects."""
    random = np.random.default_rng(3)
    X = random.normal(size=(60, 2)) * [1.0, 20.0]
    return X, 0.4 * X[:, 0] - 0.02 * X[:, 1] + random.normal(size=60)


def leave_one_out(X, y, alpha):
    """Sum of squared residuals of rows that a ridge fit with an intercept did not see."""
    ones = np.column_stack([np.ones(len(X)), X])
    penalty = np.diag(np.concatenate([[0.0], alpha]))
    total = 0.0
    for row in range(len(X)):
        kept = np.arange(len(X)) != row
        A, b = ones[kept], y[kept]
        total += (y[row] - ones[row] @ np.linalg.solve(A.T @ A + penalty, A.T @ b)) ** 2
    return total


def test_the_curve_of_a_ridge_fit_is_that_of_refits_and_least_at_the_chosen_point(
    regression,
):
    X, y = regression
    X = X / np.linalg.norm(X - X.mean(axis=0), axis=0)
    model = RidgeRegression("loo", tol=1e-10).fit(X, y)
    display = CriterionDisplay.from_estimator(model, X, y)
    alpha, values = display.line_.get_data()
    # Columns of equal length have the same strength: the axis shows this strength.
    for k in (0, 17, 40, -1):
        expected = leave_one_out(X, y, np.full(4, alpha[k]))
        np.testing.assert_allclose(values[k], expected, rtol=1e-8)
    assert display.ax_.get_xlabel() == "strength (alpha_)"
    assert alpha[np.argmin(values)] == model.alpha_[0] == display.point_.get_xdata()[0]
    np.testing.assert_allclose(values.min(), display.point_.get_ydata()[0], rtol=1e-12)


def test_the_path_lies_on_the_curve_and_ends_at_the_chosen_point(regression):
    X, y = regression
    model = RidgeRegression("loo", init=1e3, tol=1e-10).fit(X, y)
    display = CriterionDisplay.from_estimator(model, X, y)
    factors, values = display.path_.get_data()
    assert len(factors) == model.n_iter_ + 1 >= 3
    for factor, value in zip(factors, values, strict=True):
        expected = leave_one_out(X, y, factor * model.alpha_)
        np.testing.assert_allclose(value, expected, rtol=1e-8)
    assert factors[-1] == display.point_.get_xdata()[0] == 1.0
    assert values[-1] == display.point_.get_ydata()[0]
    assert display.ax_.get_xlabel() == "multiple of the strengths (alpha_)"
    low, high = display.ax_.get_xlim()
    assert low < factors.min() < factors.max() < high


def test_along_one_of_several_groups_the_strengths_of_the_others_are_fixed(regression):
    X, y = regression
    model = RidgeRegression("loo", groups=HALVES, tol=1e-6).fit(X, y)
    display = CriterionDisplay.from_estimator(model, X, y, labels=["b"], n_points=9)
    factors, values = display.line_.get_data()
    assert len(factors) in (9, 10)
    for factor, value in zip(factors, values, strict=True):
        alpha = model.alpha_ * np.where(model.groups_ == 1, factor, 1.0)
        np.testing.assert_allclose(value, leave_one_out(X, y, alpha), rtol=1e-8)
    assert factors[np.argmin(values)] == 1.0
    assert "group b" in display.ax_.get_xlabel()


def test_the_contour_has_the_first_group_on_the_horizontal_axis(weak):
    X, y = weak
    model = RidgeRegression("loo", groups=["c", "a"], tol=1e-6).fit(X, y)
    display = CriterionDisplay.from_estimator(model, X, y, n_points=8)
    across, up = display.strengths
    for i, j in ((0, 0), (2, 5), (-1, 1)):
        expected = leave_one_out(X, y, [up[j], across[i]])
        np.testing.assert_allclose(display.values[i, j], expected, rtol=1e-8)
    least = np.unravel_index(np.argmin(display.values), display.values.shape)
    chosen = model.alpha_[::-1]
    np.testing.assert_array_equal([across[least[0]], up[least[1]]], chosen)
    np.testing.assert_array_equal(np.ravel(display.point_.get_data()), chosen)
    np.testing.assert_array_equal(np.array(display.path_.get_data())[:, -1], chosen)
    assert display.ax_.get_xlabel() == "strength of group a (alpha_)"
    assert display.ax_.get_ylabel() == "strength of group c (alpha_)"
    # What matplotlib drew has the same orientation: its lines are level sets.
    drawn = [
        (level, path.vertices[len(path.vertices) // 2])
        for level, path in zip(
            display.contour_.levels, display.contour_.get_paths(), strict=True
        )
        if len(path.vertices) > 0
    ]
    assert len(drawn) >= 3
    for level, (first, second) in drawn:
        found = leave_one_out(X, y, [second, first])
        np.testing.assert_allclose(found, level, rtol=2e-2)


@pytest.mark.parametrize("penalty", ["l2", "l1"])
def test_the_curve_of_a_logistic_fit_is_its_criterion(classification, penalty):
    X, y = classification
    model = LogisticRegression(penalty, tol=1e-8).fit(X, y)
    display = CriterionDisplay.from_estimator(model, X, y, n_points=20)
    factors, values = display.line_.get_data()
    for k in (0, 7, -1):
        refit = LogisticRegression(penalty, strength=factors[k] * model.strength_)
        loss = np.log1p(np.exp(-(2 * y - 1) * refit.fit(X, y).loo_decision_)).sum()
        np.testing.assert_allclose(values[k], loss, rtol=1e-7)
    np.testing.assert_allclose(values.min(), model.criterion_value_, rtol=1e-6)
    assert factors[np.argmin(values)] == display.path_.get_xdata()[-1] == 1.0


def test_an_elastic_net_has_two_strengths_in_a_group(classification):
    X, y = classification
    X = X / np.linalg.norm(X - X.mean(axis=0), axis=0)
    strengths = {"l2": 2.0, "l1": 0.5}
    given = LogisticRegression("elasticnet", strength=strengths).fit(X, y)
    display = CriterionDisplay.from_estimator(given, X, y, n_points=6)
    across, up = display.strengths
    expected, _ = given.criterion_at(X, y, {"l2": across[1], "l1": up[4]})
    np.testing.assert_allclose(display.values[1, 4], expected, rtol=1e-9)
    np.testing.assert_allclose(display.chosen, [2.0, 0.5], rtol=1e-12)
    assert display.ax_.get_xlabel() == "strength (l2_strength_)"
    assert display.ax_.get_ylabel() == "strength (l1_strength_)"
    # A strength of 0 stays 0, and the criterion is drawn along the other one.
    given.set_params(strength={"l2": 2.0, "l1": 0.0}).fit(X, y)
    display = CriterionDisplay.from_estimator(given, X, y, n_points=6)
    expected, _ = given.criterion_at(X, y, {"l2": display.strengths[0][1], "l1": 0.0})
    np.testing.assert_allclose(display.values[1], expected, rtol=1e-9)


def test_given_strengths_have_no_path(regression):
    model = RidgeRegression(alpha=3.0).fit(*regression)
    display = CriterionDisplay.from_estimator(model, *regression)
    assert display.path_ is None
    assert display.point_.get_label() == "given"
    assert display.point_.get_xdata()[0] == 3.0


def test_the_drawn_range_is_bounded_however_far_away_the_search_started(regression):
    model = RidgeRegression(init=1e-30).fit(*regression)
    display = CriterionDisplay.from_estimator(model, *regression)
    low, high = display.ax_.get_xlim()
    assert display.path_.get_xdata()[0] < 1e-20
    assert 1e-9 < low < 1.0 < high
    assert np.isfinite(display.values).all()


def test_it_draws_on_given_axes_and_again_and_passes_keywords_on(regression):
    X, y = regression
    model = RidgeRegression(groups=HALVES).fit(X, y)
    _, axes = plt.subplots()
    display = CriterionDisplay.from_estimator(
        model, X, y, labels=["a"], ax=axes, linestyle=":"
    )
    assert display.ax_ is axes
    assert display.figure_ is axes.figure
    assert display.line_.get_linestyle() == ":"
    assert display.plot() is display
    assert display.ax_ is not axes
    contour = CriterionDisplay.from_estimator(model, X, y, n_points=5, levels=3).contour_
    assert len(contour.levels) <= 6


def test_what_cannot_be_drawn_is_refused_with_a_message(regression, classification, skewed):
    X, y = regression
    draw = CriterionDisplay.from_estimator
    with pytest.raises(NotFittedError):
        draw(RidgeRegression(), X, y)
    with pytest.raises(TypeError, match="a RidgeRegression or a LogisticRegression"):
        draw(WarpedLinearRegression().fit(*skewed), *skewed)
    with pytest.raises(ValueError, match="does not draw the criterion of a bridge"):
        draw(LogisticRegression("bridge").fit(*classification), *classification)
    with pytest.raises(ValueError, match="give labels of one or two groups"):
        draw(RidgeRegression(groups="none").fit(X, y), X, y)
    with pytest.raises(ValueError, match=r"not in group_labels_, which are \[0\]: \['b'\]"):
        draw(RidgeRegression().fit(X, y), X, y, labels=["b"])
    with pytest.raises(ValueError, match="strengths that are 0 or infinite"):
        draw(RidgeRegression(alpha=0.0).fit(X, y), X, y)
    with pytest.raises(ValueError, match="inconsistent numbers of samples"):
        draw(RidgeRegression().fit(X, y), X, y[:5])
