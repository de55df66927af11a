# SPDX-License-Identifier: BSD-3-Clause
"""Plot of the criterion that a fit minimized, and of the optimizer's path.

The strengths s_j of the columns of a group are varied together, as f s_j with one factor f.
In units of normalized columns that is one strength: f times the square of the group's
hyperparameter.
"""

from __future__ import annotations

from collections.abc import Hashable, Sequence
from dataclasses import dataclass
from itertools import product
from typing import TYPE_CHECKING, Any, Self, TypeAlias

import numpy as np
import numpy.typing as npt
from sklearn.utils.validation import check_is_fitted

from trevalon._penalty_strengths import KINDS
from trevalon._plotting import axes_for, even_colors
from trevalon._types import FloatArray, MatrixLike, VectorLike
from trevalon.logistic import LogisticRegression
from trevalon.ridge import RidgeRegression

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.contour import QuadContourSet
    from matplotlib.figure import Figure
    from matplotlib.lines import Line2D

TunedModel: TypeAlias = RidgeRegression | LogisticRegression

# Multiples of the chosen strength: the least range of an axis, and the largest one, for a
# path that starts far away.
_NEAR, _FAR = 1e2, 1e8


class CriterionDisplay:
    """The criterion along the strength of one group, or over two strengths as a contour.

    All other strengths are those of the fit. Make one with `from_estimator`.

    Parameters
    ----------
    strengths : list of one or two ndarray
        What the axes show, ascending: strengths, or multiples of those of the fit.
    values : ndarray of shape (len(strengths[0]),) or (len(strengths[0]), len(strengths[1]))
        The criterion there; NaN where it is not defined.
    chosen : sequence of one or two float
        Where on the axes the strengths of the fit are.
    chosen_value : float
        The criterion there.
    path : ndarray of shape (n_iter + 1, 1 or 2)
        Coordinates of the iterates on the axes; no rows if there was no search.
    path_values : ndarray of shape (n_iter + 1,)
        The criterion at the iterations.
    names : sequence of one or two str
        What the axes are named.
    criterion_name : str
        What the criterion is named.

    Attributes
    ----------
    ax_, figure_ : matplotlib Axes and Figure
        What `plot` drew on.
    line_ : matplotlib Line2D or None
        The curve of one strength.
    contour_ : matplotlib QuadContourSet or None
        The contours over two strengths.
    path_ : matplotlib Line2D or None
        The iterations of the search. If other strengths changed as well, the criterion at
        an iterate differs from the curve.
    point_ : matplotlib Line2D
        The strengths of the fit.

    Examples
    --------
    >>> from sklearn.datasets import load_diabetes
    >>> from trevalon import CriterionDisplay, RidgeRegression
    >>> X, y = load_diabetes(return_X_y=True)
    >>> model = RidgeRegression(criterion="loo").fit(X, y)
    >>> display = CriterionDisplay.from_estimator(model, X, y)
    >>> display.ax_.get_xlabel()
    'strength (alpha_)'
    """

    ax_: Axes
    figure_: Figure
    line_: Line2D | None
    contour_: QuadContourSet | None
    path_: Line2D | None
    point_: Line2D

    def __init__(
        self,
        *,
        strengths: Sequence[FloatArray],
        values: FloatArray,
        chosen: Sequence[float],
        chosen_value: float,
        path: FloatArray,
        path_values: FloatArray,
        names: Sequence[str],
        criterion_name: str,
    ) -> None:
        self.strengths = strengths
        self.values = values
        self.chosen = chosen
        self.chosen_value = chosen_value
        self.path = path
        self.path_values = path_values
        self.names = names
        self.criterion_name = criterion_name

    @classmethod
    def from_estimator(
        cls,
        estimator: TunedModel,
        X: MatrixLike,
        y: VectorLike,
        *,
        labels: Sequence[Hashable] | None = None,
        n_points: int | None = None,
        ax: Axes | None = None,
        **kwargs: Any,
    ) -> Self:
        """Evaluate the criterion of a fitted estimator around its strengths, and draw it.

        Parameters
        ----------
        estimator : RidgeRegression or LogisticRegression
            Fitted, with another penalty than ``"bridge"``.
        X : array-like of shape (n_samples, n_features)
            The training rows.
        y : array-like of shape (n_samples,)
            Their targets or labels.
        labels : sequence of one or two labels, default=None
            The groups, as ``group_labels_`` has them, whose strengths are varied. None
            means all groups. An elastic net has two strengths in each group; one that is 0
            stays 0.
        n_points : int, default=None
            Points along each axis, to which the strengths of the fit are added; the
            criterion is evaluated at all of them. None means 60 for a curve and 24 for a
            contour.
        ax : matplotlib Axes, default=None
            Where to draw; None makes a figure.
        **kwargs : dict
            Passed to matplotlib's `plot` of the curve, or to its `contour`.

        Returns
        -------
        CriterionDisplay
            With ``ax_`` and ``figure_``.
        """
        directions = _find_directions(estimator, labels)
        if n_points is None:
            n_points = 60 if len(directions) == 1 else 24
        factors = [direction.factors(n_points) for direction in directions]
        display = cls(
            strengths=[d.unit * f for d, f in zip(directions, factors, strict=True)],
            values=_evaluate(estimator, X, y, directions, factors),
            chosen=[direction.unit for direction in directions],
            chosen_value=estimator.criterion_value_,
            path=np.column_stack([d.unit * d.path for d in directions]),
            path_values=estimator.history_["value"],
            names=[direction.name for direction in directions],
            criterion_name=_criterion_name(estimator),
        )
        return display.plot(ax=ax, **kwargs)

    def plot(self, *, ax: Axes | None = None, **kwargs: Any) -> Self:
        """Draw on `ax`, or on a new figure. Returns the display itself."""
        self.ax_ = axes_for(self, ax)
        # Its type includes SubFigure, which has the same methods.
        self.figure_ = self.ax_.figure  # type: ignore[assignment]
        self.line_ = self.contour_ = self.path_ = None
        self.ax_.set_xscale("log")
        self.ax_.set_xlim(self.strengths[0][0], self.strengths[0][-1])
        self.ax_.set_xlabel(self.names[0])
        if len(self.strengths) == 1:
            self._draw_curve(kwargs)
        else:
            self._draw_contour(kwargs)
        self.ax_.legend()
        return self

    def _draw_curve(self, style: dict[str, Any]) -> None:
        style = {"color": "C0", "label": "criterion"} | style
        (self.line_,) = self.ax_.plot(self.strengths[0], self.values.T, **style)
        self.ax_.set_ylabel(self.criterion_name)
        self._draw_path(self.path[:, 0], self.path_values)
        self._draw_point(self.chosen[0], self.chosen_value)

    def _draw_contour(self, style: dict[str, Any]) -> None:
        if "levels" not in style:
            levels = _levels(self.values)
            style = {"levels": levels, "norm": even_colors(levels)} | style
        style = {"linewidths": 1} | style
        # Values are indexed by the first strength, which is the horizontal one, first.
        self.contour_ = self.ax_.contour(*self.strengths, self.values.T, **style)
        self.ax_.set_yscale("log")
        self.ax_.set_ylim(self.strengths[1][0], self.strengths[1][-1])
        self.ax_.set_ylabel(self.names[1])
        bar = self.figure_.colorbar(self.contour_, ax=self.ax_, format="%.6g")
        bar.set_label(self.criterion_name)
        self._draw_path(*self.path.T)
        self._draw_point(*self.chosen)

    def _draw_path(self, x: FloatArray, y: FloatArray) -> None:
        if len(x) == 0:
            return
        (self.path_,) = self.ax_.plot(
            x, y, color="C1", marker=".", linewidth=1, label="path of the fit"
        )

    def _draw_point(self, x: float, y: float) -> None:
        (self.point_,) = self.ax_.plot(
            [x], [y], color="C3", marker="*", markersize=12, linestyle="none",
            zorder=3, label="chosen" if len(self.path) else "given",
        )  # fmt: skip


@dataclass(frozen=True)
class _Direction:
    """The strengths of one kind in one group, varied by a common factor.

    members : (p,), which columns are of the group.
    path : factors at the iterations of the search, of which the last is 1.
    unit : what a factor is multiplied by for the axis: the strength of the fit where the
        columns have one in common, else 1.
    """

    kind: str
    members: npt.NDArray[np.bool_]
    path: FloatArray
    unit: float
    name: str

    def factors(self, n_points: int) -> FloatArray:
        """Factors around 1, including 1, that cover the path."""
        least = min([1.0 / _NEAR, *(self.path / 2.0)])
        largest = max([_NEAR, *(self.path * 2.0)])
        ends = max(least, 1.0 / _FAR), min(largest, _FAR)
        return np.union1d(np.geomspace(*ends, n_points), [1.0])


def _find_directions(
    estimator: TunedModel, labels: Sequence[Hashable] | None
) -> list[_Direction]:
    """The one or two strengths to draw the criterion over."""
    if not isinstance(estimator, RidgeRegression | LogisticRegression):
        raise TypeError(
            "CriterionDisplay draws the criterion of a RidgeRegression or a "
            f"LogisticRegression. Got {estimator!r} instead."
        )
    check_is_fitted(estimator)
    attributes = _attributes_of(estimator)
    known = estimator.group_labels_.tolist()
    labels = known if labels is None else list(labels)
    unknown = [label for label in labels if label not in known]
    if unknown:
        raise ValueError(f"labels not in group_labels_, which are {known}: {unknown}")
    found = [
        _direction_of(estimator, kind, known.index(label))
        for label in dict.fromkeys(labels)
        for kind in attributes
        if len(attributes) == 1 or _strengths(estimator, kind, known.index(label)).any()
    ]
    if not 1 <= len(found) <= 2:
        raise ValueError(
            "the criterion is drawn over one or two strengths, but the groups "
            f"{labels} have {len(found)}: give labels of one or two groups"
        )
    return found


def _attributes_of(estimator: TunedModel) -> dict[str, str]:
    """The attribute that holds the strengths of each kind of the penalty."""
    if isinstance(estimator, RidgeRegression):
        return {"alpha": "alpha_"}
    if estimator.penalty == "bridge":
        raise ValueError(
            "CriterionDisplay does not draw the criterion of a bridge, whose exponents "
            "change what the strengths mean"
        )
    return KINDS[estimator.penalty]


def _strengths(estimator: TunedModel, kind: str, code: int) -> FloatArray:
    """The strengths of the columns of a group."""
    strengths = getattr(estimator, _attributes_of(estimator)[kind])
    return np.asarray(strengths[estimator.groups_ == code])


def _direction_of(estimator: TunedModel, kind: str, code: int) -> _Direction:
    attributes = _attributes_of(estimator)
    of_group, label = "", estimator.group_labels_[code]
    if len(estimator.group_labels_) > 1:
        of_group = f" of group {label}"
    strengths = _strengths(estimator, kind, code)
    if not ((strengths > 0.0) & (strengths < np.inf)).all():
        raise ValueError(
            "the criterion is drawn over multiples of the strengths of the fit, but "
            f"{attributes[kind]}{of_group} has strengths that are 0 or infinite: "
            f"{np.unique(strengths)}"
        )
    # Hyperparameters come kind by kind, and in each kind group by group.
    place = list(attributes).index(kind) * len(estimator.group_labels_) + code
    record = estimator.history_["hyperparameters"]
    roots = record[:, place] if len(record) > 0 else np.empty(0)
    is_common = np.ptp(strengths) <= 1e-9 * strengths.max()
    word = "strength" if is_common else "multiple of the strengths"
    return _Direction(
        kind=kind,
        members=estimator.groups_ == code,
        path=np.square(roots / roots[-1:]),
        unit=float(strengths[0]) if is_common else 1.0,
        name=f"{word}{of_group} ({attributes[kind]})",
    )


def _evaluate(
    estimator: TunedModel,
    X: MatrixLike,
    y: VectorLike,
    directions: Sequence[_Direction],
    factors: Sequence[FloatArray],
) -> FloatArray:
    """The criterion over the grid of factors, indexed by the first direction first."""

    def value_at(point: Sequence[float]) -> float:
        table = {
            kind: np.array(getattr(estimator, attribute))
            for kind, attribute in _attributes_of(estimator).items()
        }
        for direction, factor in zip(directions, point, strict=True):
            table[direction.kind][direction.members] *= factor
        strengths: Any = table if len(table) > 1 else next(iter(table.values()))
        return estimator.criterion_at(X, y, strengths)[0]

    # Raises an error if the data do not match the estimator.
    value_at([1.0] * len(directions))
    return np.reshape([value_at(p) for p in product(*factors)], [len(f) for f in factors])


def _criterion_name(estimator: TunedModel) -> str:
    if isinstance(estimator, RidgeRegression):
        return f"criterion ({estimator.criterion})"
    return "criterion (approximate leave-one-out loss)"


def _levels(values: FloatArray) -> FloatArray:
    """Levels that lie closer together towards the minimum, where the criterion is flat."""
    least = float(np.nanmin(values))
    # A constant criterion has no contours, but needs levels.
    height = max(float(np.nanmax(values)) - least, 1e-9 * abs(least))
    levels: FloatArray = least + height * np.geomspace(1e-3, 1.0, 13)[:-1]
    return levels
