# SPDX-License-Identifier: BSD-3-Clause
"""Logistic regression that finds the strengths of its penalty, and a bridge's exponents."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any, Self

import numpy as np
import numpy.typing as npt
from sklearn.base import clone
from sklearn.utils.validation import validate_data

from trevalon import _core
from trevalon._base import fitting
from trevalon._classes import two_classes
from trevalon._groups import UNPENALIZED, resolve_groups
from trevalon._log_odds import LogOddsClassifier
from trevalon._parameters import check_choice
from trevalon._penalty_strengths import (
    KINDS,
    GradientSlots,
    PenaltyStart,
    PenaltyStrengths,
    by_kind,
    strength_table,
)
from trevalon._types import FloatArray, Groups, IntArray, MatrixLike, VectorLike

_RESULTS = ("criterion_value", "loo_decision", "effective_dof", "effective_dof_by_group")


class LogisticRegression(LogOddsClassifier):
    """Binary logistic regression whose penalty is tuned by approximate leave-one-out loss.

    With s_i = +1 for the larger class and -1 for the other, the coefficients b and the
    intercept c minimize, in the units of the data,

        sum over i of log(1 + exp(-s_i (c + x_i . b)))  +  sum over j of penalty_j(b_j)

    ============  ==========================================================
    penalty       penalty_j(b)
    ============  ==========================================================
    l2            l2_strength_j b^2 / 2
    l1            l1_strength_j abs(b)
    elasticnet    l2_strength_j b^2 / 2 + l1_strength_j abs(b)
    bridge        bridge_strength_j abs(b) ** bridge_exponent_j
    ============  ==========================================================

    The strengths and exponents, one set for each group of columns before normalization is
    undone, minimize an approximate leave-one-out loss. Or they are given, and there is no
    search.

    For l2 and bridge the coefficients without a row come from one Newton step [1]_, and the
    search is a trust-region method with exact derivatives. With several hyperparameters it
    begins at the best point of a coarse scan of common ones.

    For l1 and elastic net they minimize the quadratic model of the loss without the row
    and the penalty as it is: coefficients may become 0, or leave 0. This loss has no exact
    derivatives. The search follows a path of strengths that all groups have in common,
    from where every coefficient is 0 downwards (of an elastic net four paths, with an l1
    share of 1, 0.5, 0.1 and 0.02), and continues from the best point by a pattern search
    over all strengths. More than 8 strengths are searched by the method for l2, over a
    penalty that is smoothed near 0; the fit at the strengths found is exact again.

    Parameters
    ----------
    penalty : {"l2", "l1", "elasticnet", "bridge"}, default="l2"
        The penalty. A bridge [2]_ finds its exponents, at least 1, too.
    groups : "all", "none", array-like, mapping or callable, default="all"
        Which columns share strengths. ``"all"``: every column; ``"none"``: each column has
        its own; an array-like of shape (n_features,): one label per column; a mapping: a
        label for each column name of a data frame; a callable: called with X and with y
        coded 0.0 and 1.0, returns one label per column. Columns with the label None are not
        penalized.
    fit_intercept : bool, default=True
        Whether to fit an intercept. It is not penalized.
    normalize : bool, default=True
        Whether columns are divided by their lengths during the fit, so that a shared
        strength does not depend on their units. What is fitted is in the units of the data
        either way.
    strength : float, array-like, mapping or None, default=None
        Strengths in the units of the data, to fit at without a search: one number for all
        columns, one for each group, or one for each column. For an elastic net a mapping of
        such to ``"l2"`` and ``"l1"``, for a bridge to ``"strength"`` and ``"exponent"``.
        None means to find them.
    init : float, array-like, mapping, callable or None, default=None
        Strengths where the search starts, given as in `strength`, so that
        ``init=other.strength_`` continues another fit; or a function of the number of
        groups that returns them. Each group starts at the geometric mean of what its
        columns have once they are normalized, and one run is made from there. None means
        that the search finds its start.
    tol : float, default=1e-4
        Tolerance of the search, relative. A fit at given strengths is exact to rounding.
    max_iter : int, default=10000
        Limit on the iterations of the search, which for l1 and elastic net are the points
        that are tried; at given strengths, on those of the fit.
    warm_start : bool, default=False
        Whether a search starts at the strengths of the fit before, where there is one of
        the same penalty and as many columns, with finite strengths.
    verbose : int, default=0
        1 writes a line to standard error for each iteration of the search.

    Attributes
    ----------
    classes_ : ndarray of shape (2,)
        The two labels, ascending.
    coef_ : ndarray of shape (1, n_features)
        Coefficients of the log odds of ``classes_[1]``, per unit of the column. With l1 and
        elastic net some are exactly 0.
    intercept_ : ndarray of shape (1,)
        Intercept of the log odds, 0.0 without one.
    l2_strength_, l1_strength_ : ndarray of shape (n_features,)
        Strengths in the units of the data; with the penalties that have them.
    bridge_strength_, bridge_exponent_ : ndarray of shape (n_features,)
        Strength and exponent of a bridge; NaN is the exponent of no penalty. A strength is
        infinite where a large exponent takes it beyond the range of doubles.
    strength_ : ndarray of shape (n_features,) or dict
        The strengths in the form that `strength` and `init` take: those of the one kind, or
        a dict of two.
    groups_ : ndarray of shape (n_features,)
        The number of each column's group, from 0; -1 for a column without penalty.
    group_labels_ : ndarray of shape (n_groups,)
        The label of each group.
    criterion_value_ : float
        The sum over the rows of the approximate leave-one-out loss, in nats.
    loo_decision_ : ndarray of shape (n_samples,)
        The log odds of each training row, approximately as a fit without it at the same
        strengths gives them.
    effective_dof_ : float
        Effective degrees of freedom, the intercept included: the trace of the matrix that
        takes the working response of the fit to its log odds. With l1 they count the
        coefficients that are not 0.
    effective_dof_by_group_ : ndarray of shape (n_groups,)
        The part of the columns of each group in that; columns without penalty and the
        intercept make up the rest.
    converged_ : bool
        Whether the tolerance was met.
    convergence_ : str
        Why the search, or at given strengths the fit, ended.
    n_iter_ : int
        Iterations of the search; at given strengths, of the fit.
    history_ : dict
        The search from its start point on, an entry for each iteration: ``"value"``, the
        criterion; ``"gradient_norm"``; ``"radius"``, of the trust region, both NaN where
        there is none; ``"hyperparameters"``, square roots of the strengths of normalized
        columns and of exponents less 1, for each group, and kind by kind. The fit has those
        of the least value. Empty at given strengths.
    n_features_in_ : int
        Number of columns seen in the fit.
    feature_names_in_ : ndarray of shape (n_features_in_,)
        Column names, where X was a frame with text for names.

    Raises
    ------
    ValueError
        In `fit`, where a parameter or the data are refused, three classes among them, and
        where no strengths can be found; the message says why.

    Warns
    -----
    sklearn.exceptions.ConvergenceWarning
        In `fit`, where the optimizer stopped before its tolerance was met.

    Notes
    -----
    A bridge is smoothed where a coefficient times its column's length is below 0.01, so
    that derivatives exist; coefficients become small there, but not exactly 0. The smoothed
    penalty may have several minima: a fit at given strengths may find another one than a
    search that came to them.

    Columns whose length is no normal number, below 2.2e-308, count as constant. Strengths
    beyond the range of doubles are infinite, or 0.

    References
    ----------
    .. [1] K. Rahnama Rad, A. Maleki, "A scalable estimate of the out-of-sample prediction
       error via approximate leave-one-out cross-validation", Journal of the Royal
       Statistical Society B 82, 2020.
    .. [2] I. E. Frank, J. H. Friedman, "A statistical view of some chemometrics regression
       tools", Technometrics 35, 1993.

    Examples
    --------
    >>> from sklearn.datasets import load_breast_cancer
    >>> from trevalon import LogisticRegression
    >>> X, y = load_breast_cancer(return_X_y=True)
    >>> model = LogisticRegression().fit(X[:400, :10], y[:400])
    >>> print(f"{model.score(X[400:, :10], y[400:]):.2f}")
    0.92
    """

    init: Any
    groups_: IntArray
    group_labels_: npt.NDArray[Any]
    l2_strength_: FloatArray
    l1_strength_: FloatArray
    bridge_strength_: FloatArray
    bridge_exponent_: FloatArray
    criterion_value_: float
    loo_decision_: FloatArray
    effective_dof_: float
    effective_dof_by_group_: FloatArray

    def __init__(
        self,
        penalty: str = "l2",
        *,
        groups: Groups = "all",
        fit_intercept: bool = True,
        normalize: bool = True,
        strength: PenaltyStrengths | None = None,
        init: PenaltyStart = None,
        tol: float = 1e-4,
        max_iter: int = 10_000,
        warm_start: bool = False,
        verbose: int = 0,
    ) -> None:
        self.penalty = penalty
        self.groups = groups
        self.fit_intercept = fit_intercept
        self.normalize = normalize
        self.strength = strength
        self.init = init
        self.tol = tol
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
            Labels of two classes: numbers, booleans or text.

        Returns
        -------
        LogisticRegression
            The estimator itself.
        """
        options = self._run_options()
        check_choice(self, "penalty", KINDS)
        rows, target, codes, labels = self._prepare(X, y)
        with self._observed(rows, target) as observer:
            found = self._call_core(
                _core.fit_logistic,
                rows,
                target,
                penalty=self.penalty,
                groups=codes,
                strengths=self._given(codes),
                start=self._start(codes),
                observer=observer,
                **options,
            )
            self.groups_, self.group_labels_ = codes, labels
            self._take_fit(found)
            self._take_run(found)
        return self

    def criterion_at(
        self, X: MatrixLike, y: VectorLike, strength: PenaltyStrengths
    ) -> tuple[float, PenaltyStrengths]:
        """The criterion at given strengths, and its gradient.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Training rows.
        y : array-like of shape (n_samples,)
            Their labels.
        strength : float, array-like or mapping
            As the parameter of this name. The gradient costs as much as a step of the
            search; but where columns of a group differ once they are normalized, and with a
            bridge, as much as one with a group for each column. For l1 and elastic net it
            is one of differences of fourth order, from four fits for each strength.

        Returns
        -------
        value : float
            The sum of the approximate leave-one-out losses.
        gradient : float, ndarray or dict
            Its derivatives by the natural logarithms of the strengths, and by the
            exponents, of the shape of ``strength``.
        """
        probe = clone(self)
        options = probe._run_options()
        check_choice(probe, "penalty", KINDS)
        rows, target, codes, _ = probe._prepare(X, y)
        table = strength_table(probe, "strength", self.penalty, strength, codes)
        slots = GradientSlots(by_kind(probe, "strength", self.penalty, strength), codes)
        found = probe._call_core(
            _core.logistic_criterion,
            rows,
            target,
            penalty=self.penalty,
            groups=slots.groups,
            strengths=table,
            fit_intercept=options["fit_intercept"],
            normalize=options["normalize"],
        )
        return found["value"], slots.fill(found["gradient"])

    def _prepare(
        self, X: MatrixLike, y: VectorLike
    ) -> tuple[FloatArray, FloatArray, IntArray, npt.NDArray[Any]]:
        """Validated rows, targets 0.0 and 1.0, codes and labels of the groups; sets the
        classes."""
        X, y = validate_data(self, X, y, dtype=np.float64, ensure_min_samples=2)
        rows = np.asarray(X)
        self.classes_, codes = two_classes(np.asarray(y))
        target = codes.astype(np.float64)
        grouping = resolve_groups(self.groups, rows, target, self._column_names())
        if grouping.codes is None or (grouping.codes == UNPENALIZED).all():
            raise ValueError(
                "groups must name the groups of a logistic regression, and penalize at "
                f"least one column. Got {self.groups!r}."
            )
        return rows, target, grouping.codes, np.asarray(grouping.labels)

    def _start(self, codes: IntArray) -> FloatArray | None:
        """Where a search starts, None for where the penalty does by itself."""
        before = self._strengths_before() if self.warm_start else None
        if (
            before is not None
            and len(before) == len(codes)
            and np.isfinite(before[codes != UNPENALIZED]).all()
        ):
            return before
        if self.init is None:
            return None
        init = self.init(int(codes.max()) + 1) if callable(self.init) else self.init
        return strength_table(self, "init", self.penalty, init, codes)

    def _given(self, codes: IntArray) -> FloatArray | None:
        if self.strength is None:
            return None
        return strength_table(self, "strength", self.penalty, self.strength, codes)

    def _strengths_before(self) -> FloatArray | None:
        names = KINDS[self.penalty].values()
        if not all(hasattr(self, name) for name in names):
            return None
        return np.column_stack([getattr(self, name) for name in names])

    def _take_fit(self, found: Mapping[str, Any]) -> None:
        for names in KINDS.values():
            for name in names.values():
                self.__dict__.pop(name, None)
        for name in KINDS[self.penalty].values():
            setattr(self, name, found[name.removesuffix("_")])
        self.coef_ = found["coef"][np.newaxis]
        self.intercept_ = np.array([found["intercept"]])
        for name in _RESULTS:
            setattr(self, f"{name}_", found[name])

    @property
    def strength_(self) -> FloatArray | dict[str, FloatArray]:
        """The strengths in the form that `strength` and `init` take."""
        before = self._strengths_before()
        if before is None:
            raise AttributeError(f"this {type(self).__name__} has no strength_ yet")
        return self._by_kind(before.T)

    def _by_kind(self, rows: FloatArray) -> FloatArray | dict[str, FloatArray]:
        """The rows of the kinds of the penalty by name, or the one row."""
        kinds = KINDS[self.penalty]
        return rows[0] if len(kinds) == 1 else dict(zip(kinds, rows, strict=True))

    def _explain(self, reason: str, X: FloatArray, y: FloatArray) -> str:
        if reason == "undefined at the start" and self.strength is not None:
            return (
                "at these strengths there are no finite coefficients with a finite "
                "criterion, as without a penalty on classes that can be separated; use "
                "larger strengths, or rescale the data"
            )
        return super()._explain(reason, X, y)
