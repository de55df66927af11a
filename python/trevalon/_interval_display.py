# SPDX-License-Identifier: BSD-3-Clause
"""Plot of prediction intervals and observed targets."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Self

import numpy as np

from trevalon._plotting import axes_for
from trevalon._types import FloatArray, MatrixLike, VectorLike
from trevalon.warped import WarpedLinearRegression

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.collections import FillBetweenPolyCollection
    from matplotlib.figure import Figure
    from matplotlib.lines import Line2D


class PredictionIntervalDisplay:
    """Central prediction intervals as a band, rows in the order of their predictions.

    Make one with `from_estimator`.

    Parameters
    ----------
    prediction : ndarray of shape (n_samples,)
        Predictive means, ascending.
    interval : ndarray of shape (n_samples, 2)
        Lower and upper ends, rows as in `prediction`.
    target : ndarray of shape (n_samples,)
        Targets, rows as in `prediction`.
    coverage : float
        Nominal coverage: the expected share of targets within the intervals.

    Attributes
    ----------
    ax_, figure_ : matplotlib Axes and Figure
        What `plot` drew on.
    band_, line_, points_ : matplotlib artists
        Intervals, predictions and targets.
    observed_coverage : float
        Observed coverage: the share of targets within the intervals.

    Examples
    --------
    >>> import numpy as np
    >>> from trevalon import PredictionIntervalDisplay, WarpedLinearRegression
    >>> random = np.random.default_rng(0)
    >>> X = random.normal(size=(200, 2))
    >>> y = np.exp(X[:, 0] + 0.3 * random.normal(size=200))
    >>> model = WarpedLinearRegression().fit(X[:100], y[:100])
    >>> display = PredictionIntervalDisplay.from_estimator(
    ...     model, X[100:], y[100:], coverage=0.8
    ... )
    >>> display.interval.shape
    (100, 2)
    """

    ax_: Axes
    figure_: Figure
    band_: FillBetweenPolyCollection
    line_: Line2D
    points_: Line2D

    def __init__(
        self,
        *,
        prediction: FloatArray,
        interval: FloatArray,
        target: FloatArray,
        coverage: float,
    ) -> None:
        self.prediction = prediction
        self.interval = interval
        self.target = target
        self.coverage = coverage

    @property
    def observed_coverage(self) -> float:
        lower, upper = self.interval.T
        return float(np.mean((lower <= self.target) & (self.target <= upper)))

    @classmethod
    def from_estimator(
        cls,
        estimator: WarpedLinearRegression,
        X: MatrixLike,
        y: VectorLike,
        *,
        coverage: float = 0.9,
        ax: Axes | None = None,
        **kwargs: Any,
    ) -> Self:
        """Draw the intervals that a fitted estimator gives rows of X.

        Parameters
        ----------
        estimator : WarpedLinearRegression
            Fitted.
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows, usually held out of the fit.
        y : array-like of shape (n_samples,)
            Their targets.
        coverage : float, default=0.9
            Nominal coverage: the expected share of targets within the intervals.
        ax : matplotlib Axes, default=None
            Where to draw; None makes a figure.
        **kwargs : dict
            Passed to matplotlib's `fill_between`.

        Returns
        -------
        PredictionIntervalDisplay
            With ``ax_`` and ``figure_``.
        """
        prediction = estimator.predict(X)
        target = np.asarray(y, dtype=np.float64)
        if target.shape != prediction.shape:
            raise ValueError(
                f"X has {len(prediction)} rows, but y has the shape {target.shape}"
            )
        order = np.argsort(prediction, kind="stable")
        display = cls(
            prediction=prediction[order],
            interval=estimator.predict_interval(X, coverage)[order],
            target=target[order],
            coverage=coverage,
        )
        return display.plot(ax=ax, **kwargs)

    def plot(self, *, ax: Axes | None = None, **kwargs: Any) -> Self:
        """Draw on `ax`, or on a new figure. Returns the display itself."""
        self.ax_ = axes_for(self, ax)
        # Its type includes SubFigure, which has the same methods.
        self.figure_ = self.ax_.figure  # type: ignore[assignment]
        rank = np.arange(len(self.prediction))
        label = f"{self.coverage:.0%} interval, holds {self.observed_coverage:.0%}"
        style: dict[str, Any] = {"alpha": 0.3, "label": label} | kwargs
        self.band_ = self.ax_.fill_between(rank, *self.interval.T, **style)
        (self.line_,) = self.ax_.plot(rank, self.prediction, label="mean")
        (self.points_,) = self.ax_.plot(
            rank, self.target, "k.", markersize=3, label="target"
        )
        self.ax_.set_xlabel("rows, by prediction")
        self.ax_.set_ylabel("target")
        self.ax_.legend()
        return self
