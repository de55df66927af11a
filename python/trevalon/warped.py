# SPDX-License-Identifier: BSD-3-Clause
"""Linear regression on a learned increasing map of the target."""

from __future__ import annotations

from typing import Literal, Self, overload

import numpy as np
import numpy.typing as npt
from scipy.special import ndtri
from sklearn.base import RegressorMixin
from sklearn.utils.validation import check_is_fitted, validate_data
from trevalon_impl import WarpedLinearRegressionModel, _WarpedLinearRegressionModel

from trevalon._base import SelfTunedModel, all_or_nothing, find_dependent_columns
from trevalon._columns import column_moments
from trevalon._latent_model import find_latent_model
from trevalon._parameters import check_count
from trevalon._target_warper import TargetWarper
from trevalon._training import RegressionData, take_regression
from trevalon._types import FloatArray, Init, MatrixLike, VectorLike

# A map with more steps than this is not identified by any data of sensible size.
_MOST_STEPS = 100
# Points of the Gauss-Hermite rule: exact for polynomials of degree 41.
_QUADRATURE_POINTS = 21
# Rows whose quadrature points are inverted together; bounds the memory of a prediction.
_CHUNK_ROWS = 4096


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
        length 1. None means reproducible draws, uniform on [-1, 1).
    tol : float, default=1e-4
        Tolerance of the optimizer, relative.

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
    converged_ : bool
        Whether the optimizer met its tolerance.
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

    def __init__(
        self,
        n_steps: int = 1,
        *,
        fit_intercept: bool = True,
        normalize: bool = True,
        init: Init = None,
        tol: float = 1e-4,
    ) -> None:
        self.n_steps = n_steps
        self.fit_intercept = fit_intercept
        self.normalize = normalize
        self.init = init
        self.tol = tol

    @all_or_nothing
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
        options = self._shared_options()
        steps = check_count(self, "n_steps", _MOST_STEPS)
        data = take_regression(self, X, y)
        if data.rows.shape[0] <= data.rows.shape[1]:
            raise ValueError(
                "WarpedLinearRegression needs more rows than columns, but X has n_samples="
                f"{data.rows.shape[0]} and n_features={data.rows.shape[1]}"
            )
        model = WarpedLinearRegressionModel(num_steps=steps, **options)
        self._fit_independent_columns(model, data)
        self._note_convergence(model)
        return self

    def _fit_independent_columns(
        self, model: _WarpedLinearRegressionModel, data: RegressionData
    ) -> None:
        """Fits; where it fails for dependent columns, once more without them.

        They add nothing to what the others express. Their coefficients are 0.
        """
        rows, target, _ = data
        kept = np.full(rows.shape[1], True)
        try:
            self._run_fit(model, rows, target)
        except ValueError:
            kept[find_dependent_columns(rows, bool(self.fit_intercept))] = False
            if kept.all() or not kept.any():
                raise
            data = RegressionData(rows[:, kept], target)
            self._run_fit(model, data.rows, data.target)
        self._take_over(model, data, kept)

    def _take_over(
        self,
        model: _WarpedLinearRegressionModel,
        data: RegressionData,
        kept: npt.NDArray[np.bool_],
    ) -> None:
        """Copies what the extension module found, in the units of the columns.

        The data have the columns that are `kept`; the others get zeros.
        """
        options = bool(self.fit_intercept), bool(self.normalize)
        linear = find_latent_model(model, data, *options)
        center, spread = column_moments(data.target[:, np.newaxis], *options)
        self.warper_ = TargetWarper.from_training(
            model.warper.parameters, data.target, float(center[0]), float(spread[0])
        )
        self.noise_variance_ = model.noise_variance
        self.coef_ = np.zeros(len(kept))
        self.coef_[kept] = linear.coef
        self._feature_means = np.zeros(len(kept))
        self._feature_means[kept] = linear.means
        self.intercept_ = float(-self.coef_ @ self._feature_means)
        self._variance_root = np.zeros((len(kept), len(linear.coef)))
        self._variance_root[kept] = linear.variance_root

    def _latent(self, X: MatrixLike) -> tuple[FloatArray, FloatArray]:
        """Mean and standard deviation of the latent value of each row.

        The variance is v (1 + x' inverse(X'X) x), x centered: noise, and what the data
        leave open of b.
        """
        check_is_fitted(self)
        checked = validate_data(self, X, reset=False, dtype=np.float64)
        rows = np.asarray(checked)
        root = (rows - self._feature_means) @ self._variance_root
        spread = 1.0 + np.einsum("ij,ij->i", root, root)
        return rows @ self.coef_ + self.intercept_, np.sqrt(spread * self.noise_variance_)

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
        latent, deviation = self._latent(X)
        mean, std = np.empty_like(latent), np.empty_like(latent)
        nodes, weights = np.polynomial.hermite.hermgauss(_QUADRATURE_POINTS)
        nodes, weights = np.sqrt(2.0) * nodes, weights / np.sqrt(np.pi)
        for start in range(0, len(latent), _CHUNK_ROWS):
            chunk = slice(start, start + _CHUNK_ROWS)
            points = latent[chunk, np.newaxis] + deviation[chunk, np.newaxis] * nodes
            targets = self.warper_.inverse_transform(points)
            mean[chunk] = targets @ weights
            if return_std:
                distance = targets - mean[chunk, np.newaxis]
                std[chunk] = np.sqrt(np.square(distance) @ weights)
        return (mean, std) if return_std else mean

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
        latent, deviation = self._latent(X)
        # The map is increasing, so that it carries quantiles to quantiles.
        points = latent[:, np.newaxis] + np.multiply.outer(
            deviation, np.atleast_1d(ndtri(probabilities))
        )
        quantiles = self.warper_.inverse_transform(points)
        return quantiles[:, 0] if probabilities.ndim == 0 else quantiles

    def predict_interval(self, X: MatrixLike, coverage: float = 0.9) -> FloatArray:
        """Central prediction intervals.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.
        coverage : float, default=0.9
            The share of targets that an interval shall hold, above 0 and below 1.

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
        X, y = validate_data(self, X, y, reset=False, dtype=np.float64, y_numeric=True)
        target = np.asarray(y, dtype=np.float64)
        latent, deviation = self._latent(X)
        with np.errstate(divide="ignore", invalid="ignore", over="ignore"):
            distance = (self.warper_.transform(target) - latent) / deviation
            density = -0.5 * np.square(distance) - np.log(np.sqrt(2.0 * np.pi) * deviation)
        return np.asarray(density + np.log(self.warper_.derivative(target)))

    def _advice(self) -> str:
        return "Try fewer n_steps, another init, a larger tol, or normalize=True."

    def _explain_by_model(self, X: FloatArray, y: FloatArray) -> str | None:
        if (y == y[0]).all():
            return "the target is constant"
        if len(find_dependent_columns(X, bool(self.fit_intercept))) == X.shape[1]:
            return "every column of X is constant"
        return None


def _as_probabilities(name: str, value: VectorLike) -> FloatArray:
    try:
        probabilities = np.asarray(value, dtype=np.float64)
    except (TypeError, ValueError) as error:
        raise ValueError(f"{name} must be made of real numbers. Got {value!r}.") from error
    if not ((probabilities > 0.0) & (probabilities < 1.0)).all():
        raise ValueError(f"{name} must be above 0 and below 1. Got {value!r}.")
    return probabilities
