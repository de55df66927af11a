# SPDX-License-Identifier: BSD-3-Clause
"""Plot of the map that a warped linear regression learned."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Self

import numpy as np
from sklearn.utils.validation import check_is_fitted

from trevalon._plotting import axes_for
from trevalon._types import FloatArray
from trevalon.warped import WarpedLinearRegression

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.figure import Figure
    from matplotlib.lines import Line2D


class WarpDisplay:
    """The latent value as a function of the target, over the range of training targets.

    Make one with `from_estimator`.

    Parameters
    ----------
    target, latent : ndarray of shape (n_points,)
        Points of the curve.

    Attributes
    ----------
    ax_, figure_ : matplotlib Axes and Figure
        What `plot` drew on.
    line_ : matplotlib Line2D
        The curve.

    Examples
    --------
    >>> import numpy as np
    >>> from trevalon import WarpDisplay, WarpedLinearRegression
    >>> random = np.random.default_rng(0)
    >>> X = random.normal(size=(100, 2))
    >>> y = np.exp(X[:, 0] + 0.1 * random.normal(size=100))
    >>> display = WarpDisplay.from_estimator(WarpedLinearRegression().fit(X, y))
    >>> display.ax_.get_ylabel()
    'latent value'
    """

    ax_: Axes
    figure_: Figure
    line_: Line2D

    def __init__(self, *, target: FloatArray, latent: FloatArray) -> None:
        self.target = target
        self.latent = latent

    @classmethod
    def from_estimator(
        cls,
        estimator: WarpedLinearRegression,
        *,
        n_points: int = 200,
        ax: Axes | None = None,
        **kwargs: Any,
    ) -> Self:
        """Draw the map of a fitted estimator.

        Parameters
        ----------
        estimator : WarpedLinearRegression
            Fitted.
        n_points : int, default=200
            Points of the curve.
        ax : matplotlib Axes, default=None
            Where to draw; None makes a figure.
        **kwargs : dict
            Passed to matplotlib's `plot`.

        Returns
        -------
        WarpDisplay
            With ``ax_`` and ``figure_``.
        """
        check_is_fitted(estimator)
        target = np.linspace(*estimator.warper_.target_range, n_points)
        display = cls(target=target, latent=estimator.warper_.transform(target))
        return display.plot(ax=ax, **kwargs)

    def plot(self, *, ax: Axes | None = None, **kwargs: Any) -> Self:
        """Draw on `ax`, or on a new figure. Returns the display itself."""
        self.ax_ = axes_for(self, ax)
        # Its type includes SubFigure, which has the same methods.
        self.figure_ = self.ax_.figure  # type: ignore[assignment]
        (self.line_,) = self.ax_.plot(self.target, self.latent, **kwargs)
        self.ax_.set_xlabel("target")
        self.ax_.set_ylabel("latent value")
        return self
