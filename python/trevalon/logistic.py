# SPDX-License-Identifier: BSD-3-Clause
"""Logistic regression that finds the strengths of its penalty, and a bridge's exponents."""

from __future__ import annotations

from typing import Any, Self

import numpy as np
import numpy.typing as npt
from scipy.special import expit
from sklearn.base import ClassifierMixin
from sklearn.utils import Tags
from sklearn.utils.multiclass import check_classification_targets, type_of_target
from sklearn.utils.validation import check_is_fitted, validate_data
from trevalon_impl import LogisticRegressionModel, _LogisticRegressionModel

from trevalon._base import SelfTunedModel, all_or_nothing, as_grouper, predict_linear
from trevalon._columns import column_moments
from trevalon._groups import UNPENALIZED, resolve_groups
from trevalon._parameters import check_choice
from trevalon._types import FloatArray, Groups, Init, IntArray, MatrixLike, VectorLike

_PENALTIES = ("l2", "l1", "elasticnet", "bridge")
_STRENGTHS = (
    "l2_strength_",
    "l1_strength_",
    "bridge_strength_",
    "bridge_exponent_",
)


class LogisticRegression(ClassifierMixin, SelfTunedModel):
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
    undone, minimize the approximate leave-one-out loss [1]_ by a trust-region method. Its
    exact gradient and Hessian come from differentiating the optimum of the fit twice.

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
    init : float, array-like, callable or None, default=None
        Where the optimizer starts: one number for all hyperparameters, one for each, or a
        function of how many there are. For normalized columns, they are the square roots of
        strengths, for each group, and then for each group of an elastic net the square root
        of its l1 strength, of a bridge the square root of its exponent less 1.
        None means 1.0 for l2 and l1, 0.5 for the others.
    tol : float, default=1e-4
        Tolerance of the optimizer, relative.

    Attributes
    ----------
    classes_ : ndarray of shape (2,)
        The two labels, ascending.
    coef_ : ndarray of shape (1, n_features)
        Coefficients of the log odds of ``classes_[1]``, per unit of the column.
    intercept_ : ndarray of shape (1,)
        Intercept of the log odds, 0.0 without one.
    l2_strength_, l1_strength_ : ndarray of shape (n_features,)
        Strengths in the units of the data; with the penalties that have them.
    bridge_strength_, bridge_exponent_ : ndarray of shape (n_features,)
        Strength and exponent of a bridge; NaN is the exponent of no penalty. A strength is
        infinite where a large exponent takes it beyond the range of doubles.
    groups_ : ndarray of shape (n_features,)
        The number of each column's group, from 0; -1 for a column without penalty.
    group_labels_ : ndarray of shape (n_groups,)
        The label of each group.
    converged_ : bool
        Whether the optimizer met its tolerance.
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
    The absolute value is smoothed where a coefficient times its column's length is below
    0.01, so that derivatives exist; coefficients become small there, but not exactly 0.

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

    classes_: npt.NDArray[Any]
    coef_: FloatArray
    intercept_: FloatArray
    groups_: IntArray
    group_labels_: npt.NDArray[Any]
    l2_strength_: FloatArray
    l1_strength_: FloatArray
    bridge_strength_: FloatArray
    bridge_exponent_: FloatArray

    def __init__(
        self,
        penalty: str = "l2",
        *,
        groups: Groups = "all",
        fit_intercept: bool = True,
        normalize: bool = True,
        init: Init = None,
        tol: float = 1e-4,
    ) -> None:
        self.penalty = penalty
        self.groups = groups
        self.fit_intercept = fit_intercept
        self.normalize = normalize
        self.init = init
        self.tol = tol

    def __sklearn_tags__(self) -> Tags:
        tags = super().__sklearn_tags__()
        tags.classifier_tags.multi_class = False
        return tags

    @all_or_nothing
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
        options = self._shared_options()
        penalty = check_choice(self, "penalty", _PENALTIES)
        X, y = validate_data(self, X, y, dtype=np.float64, ensure_min_samples=2)
        rows = np.asarray(X)
        self.classes_, codes = _two_classes(np.asarray(y))
        target = codes.astype(np.float64)
        grouping = resolve_groups(self.groups, rows, target, self._column_names())
        if grouping.codes is None or (grouping.codes == UNPENALIZED).all():
            raise ValueError(
                "groups must name the groups of a logistic regression, and penalize at "
                f"least one column. Got {self.groups!r}."
            )
        model = LogisticRegressionModel(
            penalty=penalty, grouper=as_grouper(grouping.codes), **options
        )
        self._run_fit(model, rows, target)
        self._note_convergence(model)
        self.groups_ = grouping.codes
        self.group_labels_ = np.asarray(grouping.labels)
        self._take_over(model, rows)
        return self

    def _take_over(self, model: _LogisticRegressionModel, rows: FloatArray) -> None:
        """Copies what the extension module found, in the units of the data."""
        means, scales = column_moments(rows, bool(self.fit_intercept), bool(self.normalize))
        weights, width = model.weights, rows.shape[1]
        # The last weight is the log odds at the columns' means.
        at_means = weights[width] if self.fit_intercept else 0.0
        self.coef_ = weights[np.newaxis, :width]
        self.intercept_ = np.array([at_means - weights[:width] @ means])
        for name in _STRENGTHS:
            self.__dict__.pop(name, None)
        self._set_strengths(np.square(model.hyperparameters), scales)

    def _set_strengths(self, squares: FloatArray, scales: FloatArray) -> None:
        """A coefficient w of a column of length 1 is b times the length s, so that

        strength * w^q = strength * s^q * b^q
        """
        per_group = squares.reshape(-1, len(self.group_labels_))
        # Codes -1 read the last column, which stands for no penalty.
        padded = np.column_stack([per_group, np.zeros(len(per_group))])
        first, last = padded[0, self.groups_], padded[-1, self.groups_]
        if self.penalty in ("l2", "elasticnet"):
            self.l2_strength_ = first * np.square(scales)
        if self.penalty in ("l1", "elasticnet"):
            self.l1_strength_ = last * scales
        if self.penalty == "bridge":
            # A large exponent may carry the strength beyond the range of doubles.
            with np.errstate(over="ignore", under="ignore", invalid="ignore"):
                self.bridge_strength_ = first * scales ** (1.0 + last)
            self.bridge_exponent_ = np.where(
                self.groups_ == UNPENALIZED, np.nan, 1.0 + last
            )

    def decision_function(self, X: MatrixLike) -> FloatArray:
        """Log odds of ``classes_[1]``.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples,)
            ``X @ coef_[0] + intercept_[0]``.
        """
        check_is_fitted(self)
        return predict_linear(self, X, self.coef_[0], self.intercept_[0])

    def predict(self, X: MatrixLike) -> npt.NDArray[Any]:
        """The likelier label of each row; ``classes_[1]`` where both are equally likely.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples,)
            Labels.
        """
        larger = self.decision_function(X) >= 0.0
        # A view costs nothing, which shows with a million rows.
        return self.classes_.take(larger.view(np.int8))

    def predict_proba(self, X: MatrixLike) -> FloatArray:
        """Probabilities of the two classes.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples, 2)
            Columns in the order of ``classes_``.
        """
        odds = self.decision_function(X)
        probabilities: FloatArray = expit(np.column_stack([-odds, odds]))
        return probabilities

    def predict_log_proba(self, X: MatrixLike) -> FloatArray:
        """Logarithms of the probabilities, exact where those round to 0 or 1.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples, 2)
            Columns in the order of ``classes_``.
        """
        odds = self.decision_function(X)
        return -np.logaddexp(0.0, np.column_stack([odds, -odds]))


def _two_classes(y: npt.NDArray[Any]) -> tuple[npt.NDArray[Any], npt.NDArray[np.intp]]:
    """The labels in ascending order, and each row's place among them."""
    return _two_whole_numbers(y) or _two_labels(y)


def _two_whole_numbers(
    y: npt.NDArray[Any],
) -> tuple[npt.NDArray[Any], npt.NDArray[np.intp]] | None:
    """Without a sort; None where y holds anything else, or numbers so large that all of
    them are whole."""
    if y.dtype.kind not in "biuf":
        return None
    classes = np.array([y.min(), y.max()])
    if classes[0] == classes[1]:
        return None
    if y.dtype.kind == "f":
        is_whole = (classes == np.trunc(classes)) & (np.abs(classes) < 2.0**53)
        if not is_whole.all():
            return None
    upper = y == classes[1]
    if not np.all(upper | (y == classes[0])):
        return None
    return classes, upper.astype(np.intp)


def _two_labels(y: npt.NDArray[Any]) -> tuple[npt.NDArray[Any], npt.NDArray[np.intp]]:
    kind = type_of_target(y, input_name="y", raise_unknown=True)
    if kind != "binary":
        check_classification_targets(y)
        raise ValueError(
            f"Only binary classification is supported. The type of the target is {kind}."
        )
    classes, codes = np.unique(y, return_inverse=True)
    if len(classes) < 2:
        raise ValueError(
            "A classifier needs two classes in y, but this y has one class: "
            f"{classes.tolist()}"
        )
    return classes, codes
