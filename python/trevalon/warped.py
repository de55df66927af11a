# SPDX-License-Identifier: BSD-3-Clause
"""Linear regression on a learned increasing map of the target."""

from __future__ import annotations

from typing import Any, Literal, Self, overload

import numpy as np
from scipy.special import ndtri
from sklearn.base import RegressorMixin
from sklearn.utils.validation import check_is_fitted, validate_data

from trevalon import _core
from trevalon._base import SelfTunedModel, fitting
from trevalon._parameters import check_count, make_initializer
from trevalon._target_warper import TargetWarper
from trevalon._types import FloatArray, Init, MatrixLike, VectorLike

# Data sets of practical size do not identify a map with more steps than this.
_MOST_STEPS = 100

_REFUSALS = {
    "constant target": "the target is constant",
    "constant columns": "every column of X is constant",
    "dependent columns": "the columns of X depend on each other to within rounding",
    "squares overflow": "the squares of X or y overflow; rescale the data",
}


class WarpedLinearRegression(RegressorMixin, SelfTunedModel):
    """Linear regression with normal noise on a learned increasing map of the target.

    The model is ``z(y) = x . b + c + noise`` with normal noise of variance v, and z the sum
    of a line and of ``n_steps`` tanh steps (see `TargetWarper`). The parameters of z
    minimize the negative log likelihood of the targets, b and v concentrated out,

        n/2 log(residual sum of squares of z(y) on X)  -  sum over i of log(dz/dy at y_i)

    up to a constant, by a trust-region method with exact gradient and Hessian. The method
    is that of warped Gaussian processes [1]_ with a linear kernel.

    Parameters
    ----------
    n_steps : int, default=1
        Number of tanh steps, 1 to 100. Each has a height, a steepness and a position.
    fit_intercept : bool, default=True
        Whether target and columns are centered.
    normalize : bool, default=True
        Whether target and columns are divided by their lengths during the fit.
    init : float, array-like, callable or None, default=None
        Where the optimizer starts: one number for all parameters of the map, one for each,
        or a function of how many there are. They are, step after step, the square root of
        the height, the square root of the steepness, and the position, for a target of
        length 1, as in ``history_["hyperparameters"]``. None means reproducible draws,
        uniform on [-1, 1).
    warm_start : bool, default=False
        Whether another `fit` starts from the map of the last one, where that had as many
        steps, and not from `init`.
    tol : float, default=1e-4
        Tolerance of the optimizer, relative.
    max_iter : int, default=10000
        The most iterations of the optimizer.
    verbose : int, default=0
        Above 0, each iteration writes a line on standard error.

    Attributes
    ----------
    warper_ : TargetWarper
        The map, with `transform`, `inverse_transform` and `derivative`.
    coef_ : ndarray of shape (n_features,)
        Coefficients of the latent mean, in latent units per unit of the column.
    intercept_ : float
        Intercept of the latent mean, in latent units.
    noise_variance_ : float
        Variance of the noise, in squared latent units.
    log_likelihood_ : float
        Of the training targets, in their units, at the coefficients and the noise that
        maximize it: with S the residual sum of squares of z(y) on X and dz/dy in latent
        units per unit of the target, ``-n/2 (log(2 pi S / n) + 1) + sum of log(dz/dy)``.
    criterion_value_ : float
        What the fit minimizes, in units of the target: ``n/2 log(S) - sum of log(dz/dy)``,
        plus a penalty that bounds extremely high or steep steps.
    effective_dof_ : float
        Degrees of freedom of the latent linear model: trace of its hat matrix, intercept
        included.
    converged_ : bool
        Whether the optimizer met its tolerance.
    convergence_ : str
        Why the optimizer ended.
    n_iter_ : int
        Iterations of the optimizer.
    history_ : dict of ndarray
        ``value``, ``gradient_norm`` and ``radius`` of each iteration from the start point
        on, and ``hyperparameters``, a row each, in the order of `init`. The value is the
        criterion for a target of length 1.
    n_features_in_ : int
        Number of columns seen in the fit.
    feature_names_in_ : ndarray of shape (n_features_in_,)
        Column names, where X was a frame with text for names.

    Raises
    ------
    ValueError
        In `fit`, where a parameter or the data are refused: a constant target, constant
        columns only, or no more rows than columns; the message says which.

    Warns
    -----
    sklearn.exceptions.ConvergenceWarning
        In `fit`, where the optimizer stopped before its tolerance was met.

    Notes
    -----
    A column that depends linearly on the ones before it, a constant one with an intercept
    for example, gets the coefficient 0.

    References
    ----------
    .. [1] E. Snelson, C. E. Rasmussen, Z. Ghahramani, "Warped Gaussian processes",
       Advances in Neural Information Processing Systems 16, 2004.

    Examples
    --------
    >>> import numpy as np
    >>> from trevalon import WarpedLinearRegression
    >>> random = np.random.default_rng(0)
    >>> X = random.normal(size=(300, 3))
    >>> y = np.exp(0.5 * X.sum(axis=1) + 0.3 * random.normal(size=300))
    >>> model = WarpedLinearRegression(n_steps=2).fit(X, y)
    >>> lower, upper = model.predict_interval(X, coverage=0.9).T
    >>> print(f"{np.mean((lower <= y) & (y <= upper)):.0%} of the targets")
    91% of the targets
    """

    warper_: TargetWarper
    coef_: FloatArray
    intercept_: float
    noise_variance_: float
    log_likelihood_: float
    criterion_value_: float
    effective_dof_: float

    def __init__(
        self,
        n_steps: int = 1,
        *,
        fit_intercept: bool = True,
        normalize: bool = True,
        init: Init = None,
        warm_start: bool = False,
        tol: float = 1e-4,
        max_iter: int = 10000,
        verbose: int = 0,
    ) -> None:
        self.n_steps = n_steps
        self.fit_intercept = fit_intercept
        self.normalize = normalize
        self.init = init
        self.warm_start = warm_start
        self.tol = tol
        self.max_iter = max_iter
        self.verbose = verbose

    @fitting
    def fit(self, X: MatrixLike, y: VectorLike) -> Self:
        """Find the map and the linear model behind it.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Training rows, more of them than columns.
        y : array-like of shape (n_samples,)
            Targets, not all equal.

        Returns
        -------
        WarpedLinearRegression
            The estimator itself.
        """
        options = self._run_options()
        options["n_steps"] = check_count(self, "n_steps", _MOST_STEPS)
        options["start"] = self._start_point()
        rows, target = self._validate_regression(X, y)
        if rows.shape[0] <= rows.shape[1]:
            raise ValueError(
                "WarpedLinearRegression needs more rows than columns, but X has n_samples="
                f"{rows.shape[0]} and n_features={rows.shape[1]}"
            )
        with self._observed(rows, target) as observer:
            found = self._call_core(
                _core.fit_warped, rows, target, observer=observer, **options
            )
            self._take_over(found)
            self._take_run(found)
        return self

    def _start_point(self) -> FloatArray | None:
        """Parameters of the map as the core takes them; None for its own draws."""
        last = self.__dict__.get("warper_") if self.warm_start else None
        if last is not None and len(last.heights) == self.n_steps:
            return _parameters_of(last)
        initializer = make_initializer(self, self.init)
        return None if initializer is None else initializer(3 * self.n_steps)

    def _take_over(self, found: dict[str, Any]) -> None:
        """Sets the attributes from the results of the core."""
        self._state = found["state"]
        self.warper_ = TargetWarper.from_state(found["state"], found["target_range"])
        self.coef_ = found["coef"]
        self.intercept_ = found["intercept"]
        self.noise_variance_ = found["noise_variance"]
        self.log_likelihood_ = found["log_likelihood"]
        self.criterion_value_ = found["criterion_value"]
        self.effective_dof_ = found["effective_dof"]

    def _explain(self, reason: str, X: FloatArray, y: FloatArray) -> str:
        return _REFUSALS.get(reason) or super()._explain(reason, X, y)

    def _latent(self, X: MatrixLike) -> tuple[FloatArray, FloatArray]:
        """Mean and standard deviation of the latent value of each row. The deviation
        includes the noise and the estimation error of the coefficients."""
        check_is_fitted(self)
        return _core.warped_predict(self._state, self._validate_rows(X), "latent")

    @overload
    def predict(self, X: MatrixLike, return_std: Literal[False] = ...) -> FloatArray: ...
    @overload
    def predict(
        self, X: MatrixLike, return_std: Literal[True]
    ) -> tuple[FloatArray, FloatArray]: ...
    def predict(
        self, X: MatrixLike, return_std: bool = False
    ) -> FloatArray | tuple[FloatArray, FloatArray]:
        """Means of the predictive distributions, by Gauss-Hermite quadrature.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.
        return_std : bool, default=False
            Whether to return standard deviations too.

        Returns
        -------
        mean : ndarray of shape (n_samples,)
            Expected targets, in units of the target.
        std : ndarray of shape (n_samples,)
            Standard deviations of the targets. Only with ``return_std``.
        """
        check_is_fitted(self)
        rows = self._validate_rows(X)
        if return_std:
            return _core.warped_predict(self._state, rows, "moments")
        return _core.warped_predict(self._state, rows, "mean")

    def predict_quantile(self, X: MatrixLike, q: VectorLike) -> FloatArray:
        """Quantiles of the predictive distributions.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.
        q : float or array-like of shape (n_quantiles,)
            Probabilities, each above 0 and below 1.

        Returns
        -------
        ndarray of shape (n_samples,) or (n_samples, n_quantiles)
            The targets that lie above the share q of each row's distribution.
        """
        probabilities = _as_probabilities("q", q)
        if probabilities.ndim > 1:
            raise ValueError(
                f"q must be a number or one-dimensional. Got shape {probabilities.shape}."
            )
        check_is_fitted(self)
        # The inverse of an increasing map maps quantiles to quantiles.
        scores = np.atleast_1d(ndtri(probabilities))
        quantiles = _core.warped_predict(
            self._state, self._validate_rows(X), "quantiles", scores
        )
        return quantiles[:, 0] if probabilities.ndim == 0 else quantiles

    def predict_interval(self, X: MatrixLike, coverage: float = 0.9) -> FloatArray:
        """Central prediction intervals.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.
        coverage : float, default=0.9
            Nominal coverage: the expected share of targets within an interval, above 0 and
            below 1.

        Returns
        -------
        ndarray of shape (n_samples, 2)
            Lower and upper ends, in units of the target.
        """
        share = _as_probabilities("coverage", coverage)
        if share.ndim != 0:
            raise ValueError(f"coverage must be one number. Got {coverage!r}.")
        tail = 0.5 * (1.0 - float(share))
        return self.predict_quantile(X, [tail, 0.5 + 0.5 * float(share)])

    def log_predictive_density(self, X: MatrixLike, y: VectorLike) -> FloatArray:
        """Logarithm of the predictive density at given targets.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.
        y : array-like of shape (n_samples,)
            Targets, in units of the target.

        Returns
        -------
        ndarray of shape (n_samples,)
            Natural logarithms of densities per unit of the target: the normal density of
            the latent value times dz/dy.
        """
        check_is_fitted(self)
        rows, target = validate_data(
            self, X, y, reset=False, dtype=np.float64, y_numeric=True
        )
        return _core.warped_predict(
            self._state,
            np.asarray(rows),
            "log_density",
            np.asarray(target, dtype=np.float64),
        )


def _parameters_of(warper: TargetWarper) -> FloatArray:
    """The optimizer's parameters of the map: sqrt(a), sqrt(b), c of each step."""
    steps = np.sqrt(warper.heights), np.sqrt(warper.steepnesses), warper.positions
    return np.column_stack(steps).ravel()


def _as_probabilities(name: str, value: VectorLike) -> FloatArray:
    try:
        probabilities = np.asarray(value, dtype=np.float64)
    except (TypeError, ValueError) as error:
        raise ValueError(f"{name} must be made of real numbers. Got {value!r}.") from error
    if not ((probabilities > 0.0) & (probabilities < 1.0)).all():
        raise ValueError(f"{name} must be above 0 and below 1. Got {value!r}.")
    return probabilities
