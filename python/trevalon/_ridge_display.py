# SPDX-License-Identifier: BSD-3-Clause
"""Plot of the strengths that a ridge regression found."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, Self

import numpy as np
from sklearn.utils.validation import check_is_fitted

from trevalon._plotting import axes_for
from trevalon._types import FloatArray, IntArray
from trevalon.ridge import RidgeRegression

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.figure import Figure


class RidgePenaltyDisplay:
    """Strengths of a ridge regression by column, a color for each group.

    Make one with `from_estimator`.

    Parameters
    ----------
    alpha : ndarray of shape (n_features,)
        Strengths, in the units of the data.
    groups : ndarray of shape (n_features,)
        The number of each column's group.
    feature_names : sequence of n_features str
        The label of each strength.

    Attributes
    ----------
    ax_, figure_ : matplotlib Axes and Figure
        What `plot` drew on.
    points_ : list of matplotlib artists
        The strengths, one artist for each group.

    Examples
    --------
    >>> from sklearn.datasets import load_diabetes
    >>> from trevalon import RidgePenaltyDisplay, RidgeRegression
    >>> X, y = load_diabetes(return_X_y=True, as_frame=True)
    >>> model = RidgeRegression(groups=3).fit(X, y)
    >>> display = RidgePenaltyDisplay.from_estimator(model)
    >>> display.ax_.get_xlabel()
    'strength of the penalty (alpha_)'
    """

    ax_: Axes
    figure_: Figure
    points_: list[Any]

    def __init__(
        self, *, alpha: FloatArray, groups: IntArray, feature_names: Sequence[str]
    ) -> None:
        self.alpha = alpha
        self.groups = groups
        self.feature_names = feature_names

    @classmethod
    def from_estimator(
        cls, estimator: RidgeRegression, *, ax: Axes | None = None, **kwargs: Any
    ) -> Self:
        """Draw the strengths of a fitted estimator.

        Parameters
        ----------
        estimator : RidgeRegression
            Fitted.
        ax : matplotlib Axes, default=None
            Where to draw; None makes a figure.
        **kwargs : dict
            Passed to matplotlib's `plot`.

        Returns
        -------
        RidgePenaltyDisplay
            With ``ax_`` and ``figure_``.
        """
        check_is_fitted(estimator)
        names = estimator._column_names()
        if names is None:
            names = [f"x{j}" for j in range(estimator.n_features_in_)]
        display = cls(alpha=estimator.alpha_, groups=estimator.groups_, feature_names=names)
        return display.plot(ax=ax, **kwargs)

    def plot(self, *, ax: Axes | None = None, **kwargs: Any) -> Self:
        """Draw on `ax`, or on a new figure. Returns the display itself."""
        self.ax_ = axes_for(self, ax)
        # Its type includes SubFigure, which has the same methods.
        self.figure_ = self.ax_.figure  # type: ignore[assignment]
        height = np.arange(len(self.alpha))
        self.points_ = []
        for group in np.unique(self.groups):
            members = self.groups == group
            style: dict[str, Any] = {"marker": "o", "linestyle": "none"}
            style = style | {"label": f"group {group}"} | kwargs
            self.points_ += self.ax_.plot(self.alpha[members], height[members], **style)
        if (self.alpha > 0.0).any():
            self.ax_.set_xscale("log")
        self.ax_.set_yticks(height, self.feature_names)
        self.ax_.invert_yaxis()
        self.ax_.set_xlabel("strength of the penalty (alpha_)")
        if 1 < len(self.points_) <= 10:
            self.ax_.legend()
        return self
