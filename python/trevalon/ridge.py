# SPDX-License-Identifier: BSD-3-Clause
"""Ridge regression that finds one strength per column, or per group of columns."""

from __future__ import annotations

import contextlib
from typing import Any, Self

import numpy as np
import numpy.typing as npt
from sklearn.base import RegressorMixin
from sklearn.utils.validation import check_is_fitted
from trevalon_impl import RidgeRegressionModel, _RidgeRegressionModel

from trevalon._base import (
    SelfTunedModel,
    all_or_nothing,
    as_grouper,
    find_dependent_columns,
    predict_linear,
)
from trevalon._columns import center_columns
from trevalon._groups import UNPENALIZED, Grouping, resolve_groups
from trevalon._leave_one_out import ridge_leverages
from trevalon._parameters import check_choice
from trevalon._training import (
    RegressionData,
    TrainingData,
    take_regression,
    validate_regression,
)
from trevalon._types import FloatArray, Groups, Init, IntArray, MatrixLike, VectorLike

# How the extension module calls the criteria.
_SCORES = {"gcv": "gcv", "loo": "loocv", "range_risk": "range_risk"}


class RidgeRegression(RegressorMixin, SelfTunedModel):
    """Linear least squares with an l2 penalty, its strengths found by cross-validation.

    The coefficients b and the intercept c minimize, in the units of the data,

        sum over i of (y_i - c - x_i . b)^2  +  sum over j of alpha_j b_j^2

    and the strengths ``alpha_j``, one for each group of columns before normalization is
    undone, minimize ``criterion`` over the same data. The criterion is minimized by a
    trust-region method with its exact gradient and Hessian.

    Parameters
    ----------
    criterion : {"gcv", "loo", "range_risk"}, default="gcv"
        ``"loo"`` is the sum of squared leave-one-out residuals [1]_; ``"gcv"`` is the same
        in rotated coordinates, in which every observation has the same weight [2]_;
        ``"range_risk"`` is the residual sum of squares plus twice the noise variance times
        the effective degrees of freedom [3]_. It needs independent columns, fewer of them
        than rows.
    groups : "all", "none", int, array-like, mapping or callable, default="all"
        Which columns share a strength. ``"all"``: one strength; ``"none"``: one for each
        column; a number: at most that many groups, found by clustering the squared
        coefficients of a fit with one strength; an array-like of shape (n_features,): one
        label per column; a mapping: a label for each column name of a data frame; a
        callable: called with X and y as float64 arrays, returns one label per column.
    fit_intercept : bool, default=True
        Whether to fit an intercept. It is not penalized.
    normalize : bool, default=True
        Whether columns and target are divided by their lengths during the fit, so that a
        shared strength does not depend on the units of the columns. What is fitted is in
        the units of the data either way.
    init : float, array-like, callable or None, default=None
        Where the optimizer starts: one number for all hyperparameters, one for each, or a
        function of how many there are. They are the square roots of strengths for
        normalized columns; None means 0.1 for each. Not 0.
    tol : float, default=1e-4
        Tolerance of the optimizer, relative.

    Attributes
    ----------
    coef_ : ndarray of shape (n_features,)
        Coefficients, in units of the target per unit of the column.
    intercept_ : float
        Intercept, 0.0 without one.
    alpha_ : ndarray of shape (n_features,)
        Strengths in the units of the data: a ridge solve with them has these coefficients.
    groups_ : ndarray of shape (n_features,)
        The number of each column's group, from 0.
    group_labels_ : ndarray of shape (n_groups,)
        The label of each group; its number where groups were not labelled.
    criterion_value_ : float
        The criterion at the chosen strengths, in squared units of the target.
    converged_ : bool
        Whether the optimizer met its tolerance.
    leverage_ : ndarray of shape (n_samples,)
        The diagonal of the hat matrix at the chosen strengths, the intercept included.
    loo_residuals_ : ndarray of shape (n_samples,)
        For each training row the residual of the fit, at these strengths, to all other
        rows. In units of the target.
    effective_dof_ : float
        The trace of the hat matrix, the intercept included.
    n_features_in_ : int
        Number of columns seen in the fit.
    feature_names_in_ : ndarray of shape (n_features_in_,)
        Column names, where X was a frame with text for names.

    Raises
    ------
    ValueError
        In `fit`, where a parameter or the data are refused, and where no strengths can be
        found; the message says why.

    Warns
    -----
    sklearn.exceptions.ConvergenceWarning
        In `fit`, where the optimizer stopped before its tolerance was met.

    Notes
    -----
    ``criterion_value_``, ``alpha_``, ``leverage_``, ``loo_residuals_`` and
    ``effective_dof_`` take passes over the training data, as the whole fit does, and are
    worked out when first read. Until then, or until the estimator is pickled, it refers to
    the training data. Where these were overwritten in place, reading raises
    AttributeError.

    References
    ----------
    .. [1] D. M. Allen, "The relationship between variable selection and data augmentation
       and a method for prediction", Technometrics 16, 1974.
    .. [2] G. H. Golub, M. Heath, G. Wahba, "Generalized cross-validation as a method for
       choosing a good ridge parameter", Technometrics 21, 1979.
    .. [3] C. L. Mallows, "Some comments on C_p", Technometrics 15, 1973.

    Examples
    --------
    >>> from sklearn.datasets import load_diabetes
    >>> from trevalon import RidgeRegression
    >>> X, y = load_diabetes(return_X_y=True, as_frame=True)
    >>> model = RidgeRegression(criterion="loo", groups="none").fit(X, y)
    >>> model.converged_
    True
    >>> print(f"{model.effective_dof_:.1f} of {X.shape[1] + 1} parameters in effect")
    7.3 of 11 parameters in effect
    """

    coef_: FloatArray
    intercept_: float
    groups_: IntArray
    group_labels_: npt.NDArray[Any]

    def __init__(
        self,
        criterion: str = "gcv",
        *,
        groups: Groups = "all",
        fit_intercept: bool = True,
        normalize: bool = True,
        init: Init = None,
        tol: float = 1e-4,
    ) -> None:
        self.criterion = criterion
        self.groups = groups
        self.fit_intercept = fit_intercept
        self.normalize = normalize
        self.init = init
        self.tol = tol

    @all_or_nothing
    def fit(self, X: MatrixLike, y: VectorLike) -> Self:
        """Find strengths and coefficients.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Training rows, at least 2, in any units.
        y : array-like of shape (n_samples,)
            Targets.

        Returns
        -------
        RidgeRegression
            The estimator itself.
        """
        options = self._shared_options()
        score = _SCORES[check_choice(self, "criterion", _SCORES)]
        rows, target, _ = self._take(X, y)
        grouping = resolve_groups(self.groups, rows, target, self._column_names())
        model = RidgeRegressionModel(score=score, **_grouping_options(grouping), **options)
        self._run_fit(model, rows, target)
        self._note_convergence(model)
        self._take_over(model, grouping, rows, target)
        return self

    def _take(self, X: MatrixLike, y: VectorLike) -> RegressionData:
        # A callable sees checked data only.
        if callable(self.groups):
            return validate_regression(self, X, y)
        # One look at these would take up to a seventh of the fit.
        return take_regression(self, X, y, trust_narrow=True)

    def _take_over(
        self,
        model: _RidgeRegressionModel,
        grouping: Grouping,
        rows: FloatArray,
        target: FloatArray,
    ) -> None:
        """Copies what the extension module found, in the units of the data."""
        width = rows.shape[1]
        self.coef_ = model.weights[:width]
        # The prediction at the origin is the intercept itself.
        self.intercept_ = float(model.predict(np.zeros((1, width)))[0])
        self.groups_ = (
            model.regularization_groups[:width].astype(np.int64)
            if grouping.codes is None
            else grouping.codes
        )
        roots = model.regularization
        self.group_labels_ = (
            np.arange(len(roots)) if grouping.labels is None else grouping.labels
        )
        self._score = model.score
        for name in ("_criterion_value", "_alpha", "_leverage", "_loo_residuals"):
            self.__dict__.pop(name, None)
        self._roots = roots
        self._normalized = bool(self.normalize)
        self._with_squares = self.criterion == "range_risk"
        self._training = TrainingData(rows, target, bool(self.fit_intercept))

    def predict(self, X: MatrixLike) -> FloatArray:
        """Predict targets.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples,)
            ``X @ coef_ + intercept_``, in units of the target.
        """
        check_is_fitted(self)
        return predict_linear(self, X, self.coef_, self.intercept_)

    @property
    def criterion_value_(self) -> float:
        self._find_criterion_value()
        return self._criterion_value

    @property
    def alpha_(self) -> FloatArray:
        self._find_strengths()
        return self._alpha

    @property
    def leverage_(self) -> FloatArray:
        self._find_leverages()
        return self._leverage

    @property
    def loo_residuals_(self) -> FloatArray:
        self._find_leverages()
        return self._loo_residuals

    @property
    def effective_dof_(self) -> float:
        return float(self.leverage_.sum())

    def _find_criterion_value(self) -> None:
        """Once: the score in the units of the data.

        The criteria are quadratic in the target, which the fit divides by its length. The
        optimizer's range risk is without the sum of squares of the target, a constant.
        """
        check_is_fitted(self)
        if "_criterion_value" not in self.__dict__:
            # Not a BLAS product: to wake its threads would take longer than the sum.
            squares = float(np.square(self._unchanged_training().target).sum())
            rescaled = self._normalized and squares > 0.0
            value = self._score * squares if rescaled else self._score
            self._criterion_value = value + squares if self._with_squares else value

    def _find_strengths(self) -> None:
        """Once: the strengths of columns of length 1 in the units of the data."""
        check_is_fitted(self)
        if "_alpha" not in self.__dict__:
            training = self._unchanged_training()
            columns = center_columns(
                training.rows, training.fit_intercept, self._normalized
            )
            self._alpha = np.square(self._roots[self.groups_] * columns.scales)

    def _find_leverages(self) -> None:
        """Once: leverages and what follows from them; lets the training data go."""
        self._find_criterion_value()
        self._find_strengths()
        if "_leverage" not in self.__dict__:
            training = self._unchanged_training()
            residual = training.target - (training.rows @ self.coef_ + self.intercept_)
            columns = center_columns(training.rows, training.fit_intercept, rescale=False)
            leverage = ridge_leverages(columns.values, self._alpha, training.fit_intercept)
            with np.errstate(divide="ignore", invalid="ignore"):
                self._loo_residuals = residual / (1.0 - leverage)
            self._leverage = leverage
            del self._training

    def _unchanged_training(self) -> TrainingData:
        """An AttributeError, so that `hasattr` says no."""
        training: TrainingData | None = self.__dict__.get("_training")
        if training is None or not training.is_unchanged():
            raise AttributeError(
                "criterion_value_, alpha_, leverage_, loo_residuals_ and effective_dof_ "
                "are worked out from the training data when first read, but the data were "
                "changed in place after the fit; read them before, or fit on a copy"
            )
        return training

    def __getstate__(self) -> dict[str, Any]:
        """Pickles hold strengths and leverages in place of the training data."""
        if "_training" in self.__dict__:
            with contextlib.suppress(AttributeError):
                self._find_leverages()
        state: dict[str, Any] = dict(super().__getstate__())
        state.pop("_training", None)
        return state

    def _explain_by_model(self, X: FloatArray, y: FloatArray) -> str | None:
        if self.criterion == "range_risk":
            if X.shape[0] <= X.shape[1] + int(self.fit_intercept):
                return (
                    "criterion='range_risk' estimates the noise from an unpenalized fit "
                    f"and needs more rows than parameters, but X has shape {X.shape}"
                )
            dependent = find_dependent_columns(X, bool(self.fit_intercept))
            if dependent:
                return (
                    "criterion='range_risk' needs linearly independent columns, but these "
                    f"depend on the columns before them: {dependent}"
                )
        return None


def _grouping_options(grouping: Grouping) -> dict[str, Any]:
    if grouping.mode is not None:
        return {"grouping_mode": grouping.mode}
    if grouping.codes is None:
        return {"num_groups": grouping.number_to_find}
    if (grouping.codes == UNPENALIZED).any():
        raise ValueError(
            "groups has the label None, but a ridge fit penalizes every column: "
            "give each column a label"
        )
    return {"grouper": as_grouper(grouping.codes)}
