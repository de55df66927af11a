# SPDX-License-Identifier: BSD-3-Clause
"""Ridge regression that finds one strength per column, or per group of columns."""

from __future__ import annotations

from typing import Any, Self

import numpy as np
import numpy.typing as npt
from sklearn.base import RegressorMixin, clone
from sklearn.utils.validation import check_is_fitted

from trevalon import _core
from trevalon._base import SelfTunedModel, fitting
from trevalon._groups import Grouping, penalized_codes, resolve_groups
from trevalon._parameters import check_choice, check_flag, spread_strengths
from trevalon._types import (
    FloatArray,
    Groups,
    IntArray,
    MatrixLike,
    StartStrengths,
    Strengths,
    VectorLike,
)

_CRITERIA = ("gcv", "loo", "range_risk")


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
        in rotated coordinates, in which with one strength for normalized columns every
        observation has the same weight [2]_;
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
        Where the search starts: strengths above 0 in the units of the data, as ``alpha_``
        has them. One number for all, one for each group, one for each column, or a function
        of the number of groups that returns one of these. Of a group the geometric mean
        counts, for normalized columns. None means 0.01 for columns of length 1 with one
        group; with several groups the search starts at the best strength common to all.
    tol : float, default=1e-4
        Tolerance of the optimizer, relative.
    alpha : float, array-like or None, default=None
        Strengths to fit at, without a search: at or above 0, in the units of the data. One
        number for all columns, one for each group in the order of ``group_labels_``, or one
        for each column. Without penalties that determine all coefficients, of the least
        squares solutions the one that is shortest for columns of length 1.
    max_iter : int, default=10000
        The largest number of iterations of the optimizer.
    warm_start : bool, default=False
        Whether a further `fit` starts from the strengths of the one before, where the
        number of columns is the same. It has precedence over ``init``.
    verbose : int, default=0
        With 1 or more, one line on standard error for each iteration.

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
        Whether the optimizer met its tolerance; true without a search.
    convergence_ : str
        Why the search ended: "tolerance met", "no further decrease", "trust region
        collapsed", "limit reached", "score at its infimum", "degenerate", "undefined",
        "stopped by a callback" or "no search".
    n_iter_ : int
        Number of iterations of the optimizer.
    history_ : dict
        The record of the search, its start point first: arrays ``value`` (the criterion),
        ``gradient_norm`` (its largest entry, scaled), ``radius`` (of the trust region) and
        ``hyperparameters`` of shape (n_iter_ + 1, n_groups): the square roots of strengths
        for normalized columns, up to their sign.
    leverage_ : ndarray of shape (n_samples,)
        The diagonal of the hat matrix at the chosen strengths, the intercept included.
    loo_residuals_ : ndarray of shape (n_samples,)
        For each training row the residual of the fit, at these strengths, to all other
        rows. In units of the target.
    effective_dof_ : float
        The trace of the hat matrix, the intercept included.
    effective_dof_by_group_ : ndarray of shape (n_groups,)
        The part of each group in the trace; with an intercept 1 is left for that.
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
    alpha_: FloatArray
    groups_: IntArray
    group_labels_: npt.NDArray[Any]
    criterion_value_: float
    leverage_: FloatArray
    loo_residuals_: FloatArray
    effective_dof_: float
    effective_dof_by_group_: FloatArray

    def __init__(
        self,
        criterion: str = "gcv",
        *,
        groups: Groups = "all",
        fit_intercept: bool = True,
        normalize: bool = True,
        init: StartStrengths = None,
        tol: float = 1e-4,
        alpha: Strengths | None = None,
        max_iter: int = 10_000,
        warm_start: bool = False,
        verbose: int = 0,
    ) -> None:
        self.criterion = criterion
        self.groups = groups
        self.fit_intercept = fit_intercept
        self.normalize = normalize
        self.init = init
        self.tol = tol
        self.alpha = alpha
        self.max_iter = max_iter
        self.warm_start = warm_start
        self.verbose = verbose

    @fitting
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
        options = self._run_options()
        options["criterion"] = check_choice(self, "criterion", _CRITERIA)
        rows, target = self._validate_regression(X, y)
        grouping = resolve_groups(self.groups, rows, target, self._column_names())
        codes = self._find_codes(grouping, rows, target, options)
        with self._observed(rows, target) as observer:
            found = self._call_core(
                _core.fit_ridge,
                rows,
                target,
                groups=None if grouping.mode == "none" else codes,
                start=self._start(codes),
                alpha=self._given(codes),
                observer=observer,
                **options,
            )
            self.group_labels_ = grouping.labels_of(codes)
            for name in _RESULTS:
                setattr(self, f"{name}_", found[name])
            self._take_run(found)
        return self

    def _find_codes(
        self,
        grouping: Grouping,
        rows: FloatArray,
        target: FloatArray,
        options: dict[str, Any],
    ) -> IntArray:
        """The group of each column."""
        if grouping.codes is not None:
            return penalized_codes(grouping.codes)
        codes: IntArray = self._call_core(
            _core.cluster_ridge_columns,
            rows,
            target,
            n_groups=grouping.number_to_find,
            **options,
        )
        return codes

    def _start(self, codes: IntArray) -> FloatArray | None:
        if self.warm_start and len(getattr(self, "alpha_", ())) == len(codes):
            return np.asarray(self.alpha_)
        if self.init is None:
            return None
        groups = int(codes.max()) + 1
        value = self.init(groups) if callable(self.init) else self.init
        return spread_strengths(self, "init", value, codes, allow_zero=False)

    def _given(self, codes: IntArray) -> FloatArray | None:
        if self.alpha is None:
            return None
        return spread_strengths(self, "alpha", self.alpha, codes, allow_zero=True)

    def criterion_at(
        self, X: MatrixLike, y: VectorLike, alpha: Strengths
    ) -> tuple[float, float | FloatArray]:
        """The criterion at given strengths, and its gradient.

        The parameters ``criterion``, ``groups``, ``fit_intercept`` and ``normalize`` count.
        The estimator need not be fitted, unless ``groups`` is a number: then the groups are
        those of the fit.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows, at least 2.
        y : array-like of shape (n_samples,)
            Targets.
        alpha : float or array-like of shape (n_groups,) or (n_features,)
            Strengths above 0 in the units of the data: for all columns, for each group in
            the order of their codes, or for each column.

        Returns
        -------
        value : float
            The criterion, in squared units of the target.
        gradient : float or ndarray of the shape of ``alpha``
            Its derivatives by the natural logarithms of the strengths, in the same units.
        """
        criterion = check_choice(self, "criterion", _CRITERIA)
        fit_intercept = check_flag(self, "fit_intercept")
        normalize = check_flag(self, "normalize")
        unfitted = clone(self)
        rows, target = unfitted._validate_regression(X, y)
        codes = self._known_codes(rows, target, unfitted._column_names())
        strengths = spread_strengths(self, "alpha", alpha, codes, allow_zero=False)
        shape = np.shape(alpha)
        together = {(): np.zeros_like(codes), codes.shape: None}.get(shape, codes)
        found = self._call_core(
            _core.ridge_criterion,
            rows,
            target,
            criterion=criterion,
            fit_intercept=fit_intercept,
            normalize=normalize,
            groups=together,
            alpha=strengths,
        )
        gradient = found["gradient"]
        return found["value"], float(gradient[0]) if shape == () else gradient

    def _known_codes(
        self, rows: FloatArray, target: FloatArray, names: list[str] | None
    ) -> IntArray:
        grouping = resolve_groups(self.groups, rows, target, names)
        if grouping.codes is not None:
            return penalized_codes(grouping.codes)
        check_is_fitted(self)
        return self.groups_

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
        return self._predict_linear(X, self.coef_, self.intercept_)

    def _explain(self, reason: str, X: FloatArray, y: FloatArray) -> str:
        few_rows = X.shape[0] <= X.shape[1] + int(self.fit_intercept)
        if self.criterion == "range_risk" and few_rows:
            return (
                "criterion='range_risk' estimates the noise from an unpenalized fit and "
                f"needs more rows than parameters, but X has shape {X.shape}"
            )
        if reason.startswith("dependent columns"):
            columns = reason.partition(": ")[2]
            return (
                "criterion='range_risk' needs linearly independent columns, but these "
                f"depend on the columns before them: {columns}"
            )
        return super()._explain(reason, X, y)


# What the core returns and the estimator reports under the same name.
_RESULTS = (
    "coef",
    "intercept",
    "alpha",
    "criterion_value",
    "groups",
    "leverage",
    "loo_residuals",
    "effective_dof",
    "effective_dof_by_group",
)
