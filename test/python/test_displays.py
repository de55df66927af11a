# SPDX-License-Identifier: BSD-3-Clause
"""The plots: what they show, where they draw, and the error without matplotlib."""

import matplotlib.pyplot as plt
import numpy as np
import pandas as pd
import pytest
from package_support import run_child
from sklearn.exceptions import NotFittedError

from trevalon import (
    PredictionIntervalDisplay,
    RidgePenaltyDisplay,
    RidgeRegression,
    WarpDisplay,
    WarpedLinearRegression,
)


@pytest.fixture(autouse=True)
def _close_figures():
    yield
    plt.close("all")


@pytest.fixture
def warped(skewed):
    return WarpedLinearRegression().fit(*skewed)


def test_the_ridge_display_shows_alpha_by_name_and_group(regression):
    X, y = regression
    frame = pd.DataFrame(X, columns=["age", "dose", "site", "time"])
    model = RidgeRegression(groups=["a", "b", "b", "a"]).fit(frame, y)
    display = RidgePenaltyDisplay.from_estimator(model)
    assert [label.get_text() for label in display.ax_.get_yticklabels()] == [
        "age", "dose", "site", "time"]  # fmt: skip
    assert len(display.points_) == 2
    for group, points in enumerate(display.points_):
        members = model.groups_ == group
        np.testing.assert_array_equal(points.get_xdata(), model.alpha_[members])
        np.testing.assert_array_equal(points.get_ydata(), np.flatnonzero(members))
    assert display.ax_.get_xscale() == "log"


def test_the_ridge_display_numbers_columns_without_names(regression):
    display = RidgePenaltyDisplay.from_estimator(RidgeRegression().fit(*regression))
    assert list(display.feature_names) == ["x0", "x1", "x2", "x3"]


def test_the_warp_display_shows_the_map_over_the_training_targets(skewed, warped):
    display = WarpDisplay.from_estimator(warped, n_points=50)
    x, z = display.line_.get_data()
    assert (x[0], x[-1], len(x)) == (skewed[1].min(), skewed[1].max(), 50)
    np.testing.assert_array_equal(z, warped.warper_.transform(x))


def test_the_interval_display_shows_intervals_in_the_order_of_predictions(skewed, warped):
    X, y = skewed
    display = PredictionIntervalDisplay.from_estimator(warped, X, y, coverage=0.8)
    order = np.argsort(warped.predict(X))
    np.testing.assert_array_equal(display.line_.get_ydata(), warped.predict(X)[order])
    np.testing.assert_array_equal(display.points_.get_ydata(), y[order])
    expected = warped.predict_interval(X, 0.8)[order]
    np.testing.assert_array_equal(display.interval, expected)
    inside = (expected[:, 0] <= y[order]) & (y[order] <= expected[:, 1])
    assert display.observed_coverage == np.mean(inside)
    assert "80% interval" in display.band_.get_label()


def test_displays_draw_on_given_axes_and_again(regression, skewed, warped):
    ridge = RidgeRegression().fit(*regression)
    for display, arguments in (
        (RidgePenaltyDisplay, (ridge,)),
        (WarpDisplay, (warped,)),
        (PredictionIntervalDisplay, (warped, *skewed)),
    ):
        _, axes = plt.subplots()
        made = display.from_estimator(*arguments, ax=axes)
        assert made.ax_ is axes
        assert made.figure_ is axes.figure
        assert made.plot() is made
        assert made.ax_ is not axes


def test_keywords_reach_the_artists(regression, skewed, warped):
    points = RidgePenaltyDisplay.from_estimator(
        RidgeRegression().fit(*regression), marker="s"
    ).points_
    assert points[0].get_marker() == "s"
    assert WarpDisplay.from_estimator(warped, color="red").line_.get_color() == "red"
    display = PredictionIntervalDisplay.from_estimator(warped, *skewed, alpha=0.7)
    assert display.band_.get_alpha() == 0.7


def test_unfitted_estimators_and_targets_of_another_length_are_refused(skewed, warped):
    with pytest.raises(NotFittedError):
        RidgePenaltyDisplay.from_estimator(RidgeRegression())
    with pytest.raises(NotFittedError):
        WarpDisplay.from_estimator(WarpedLinearRegression())
    with pytest.raises(ValueError, match="X has 150 rows, but y has the shape"):
        PredictionIntervalDisplay.from_estimator(warped, skewed[0], skewed[1][:5])


WITHOUT_MATPLOTLIB = """
import sys
sys.modules["matplotlib"] = sys.modules["matplotlib.pyplot"] = None
import numpy as np
from trevalon import RidgePenaltyDisplay, RidgeRegression
X = np.random.default_rng(0).normal(size=(20, 2))
model = RidgeRegression().fit(X, X[:, 0] + np.arange(20.0))
try:
    RidgePenaltyDisplay.from_estimator(model)
except ImportError as error:
    print(error)
"""


def test_without_matplotlib_everything_else_works_and_a_plot_names_what_to_install():
    child = run_child(["-c", WITHOUT_MATPLOTLIB])
    assert child.returncode == 0, child.stderr
    assert child.stdout.strip() == (
        "RidgePenaltyDisplay.plot requires matplotlib. You can install it with "
        "`pip install trevalon[plot]`"
    )
