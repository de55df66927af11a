# SPDX-License-Identifier: BSD-3-Clause
"""What the three estimators share: validation, the call of a fit, the linear predictor.

The extension module normalizes, optimizes and solves. An estimator takes numpy arrays from
it and lets it go, so that what is fitted can be pickled and predicts from numpy alone.
"""

from __future__ import annotations

import functools
import warnings
from collections.abc import Callable
from typing import Any, Protocol, TypeVar, cast

import numpy as np
from sklearn.base import BaseEstimator
from sklearn.exceptions import ConvergenceWarning
from sklearn.utils.validation import check_X_y, validate_data

from trevalon._columns import center_columns
from trevalon._parameters import check_flag, check_positive, make_initializer
from trevalon._types import FloatArray, Init, MatrixLike


class FittableModel(Protocol):
    """The part of the extension module's models that a fit goes through."""

    @property
    def within_tolerance(self) -> bool: ...

    def fit(self, X: FloatArray, y: FloatArray) -> None: ...


_Fit = TypeVar("_Fit", bound=Callable[..., Any])


def all_or_nothing(fit: _Fit) -> _Fit:
    """A `fit` that leaves the estimator as it was when it raises."""

    @functools.wraps(fit)
    def guarded(self: Any, *args: Any, **kwargs: Any) -> Any:
        before = dict(self.__dict__)
        try:
            return fit(self, *args, **kwargs)
        except BaseException:
            self.__dict__.clear()
            self.__dict__.update(before)
            raise

    return cast(_Fit, guarded)


class SelfTunedModel(BaseEstimator):
    """Base of the estimators. Subclasses have the four parameters below, among others."""

    fit_intercept: bool
    normalize: bool
    init: Init
    tol: float

    n_features_in_: int
    converged_: bool

    def _shared_options(self) -> dict[str, Any]:
        """The checked parameters as the factories of the extension module take them."""
        return {
            "fit_intercept": int(check_flag(self, "fit_intercept")),
            "normalize": int(check_flag(self, "normalize")),
            "tolerance": check_positive(self, "tol"),
            "init0": make_initializer(self, self.init),
        }

    def _column_names(self) -> list[str] | None:
        names = getattr(self, "feature_names_in_", None)
        return None if names is None else list(names)

    def _run_fit(self, model: FittableModel, X: FloatArray, y: FloatArray) -> None:
        """Fits `model`, and says why where it fails."""
        try:
            model.fit(X, y)
        except RuntimeError as error:
            if not str(error).startswith("failed to fit"):
                raise
            if isinstance(error.__cause__, MemoryError):
                raise error.__cause__ from None
            # Says so in scikit-learn's words where something is not finite.
            check_X_y(X, y, estimator=self, ensure_min_features=0)
            raise ValueError(
                f"{type(self).__name__} cannot be fitted: {self._explain_failure(X, y)}"
            ) from error

    def _note_convergence(self, model: FittableModel) -> None:
        """To be called by `fit` itself: the warning points at the caller of that."""
        self.converged_ = model.within_tolerance
        if not self.converged_:
            warnings.warn(
                f"{type(self).__name__} stopped before its tolerance was met. "
                f"{self._advice()}",
                ConvergenceWarning,
                # Past `fit` and its guard.
                stacklevel=4,
            )

    def _advice(self) -> str:
        return "Try another init, a larger tol, or normalize=True."

    def _explain_failure(self, X: FloatArray, y: FloatArray) -> str:
        """The likeliest reason, found by looking at the data once more."""
        with np.errstate(over="ignore", invalid="ignore"):
            squares = np.einsum("ij,ij->j", X, X)
            if not (np.isfinite(squares).all() and np.isfinite(y @ y)):
                return "the squares of X or y overflow; rescale the data"
        return self._explain_by_model(X, y) or (
            "the score is not a number at the starting point; rescale the data, "
            "or try another init or normalize=True"
        )

    def _explain_by_model(self, X: FloatArray, y: FloatArray) -> str | None:
        """A reason that is the model's own, where there is one. Squares are finite."""
        return None


def find_dependent_columns(X: FloatArray, center: bool) -> list[int]:
    """Columns that are linear combinations of the ones before them.

    A column counts as dependent where Gram-Schmidt, which is what the QR factorization
    does, leaves nothing of it beyond rounding.
    """
    # What overflows is not dependent: it compares false below.
    with np.errstate(over="ignore", invalid="ignore"):
        centered = center_columns(X, center, rescale=True)
        columns = centered.values / centered.scales
        rest = np.abs(np.diag(np.linalg.qr(columns, mode="r")))
    threshold = 10 * X.shape[1] * np.finfo(np.float64).eps
    dependent = [int(j) for j in np.flatnonzero(rest <= threshold)]
    return dependent + list(range(len(rest), X.shape[1]))


def predict_linear(
    estimator: SelfTunedModel, X: MatrixLike, coef: FloatArray, intercept: float
) -> FloatArray:
    """X @ coef + intercept, with scikit-learn's validation of X, in one pass over X.

    A pass that looks for NaN would take as long as the product itself. It runs only where
    the result is not finite, or says nothing about a column: x * 0 might be left out.
    """

    def validated(all_finite: bool) -> FloatArray:
        checked: FloatArray = validate_data(
            estimator,
            X,
            reset=False,
            dtype=[np.float64, np.float32],
            ensure_all_finite=all_finite,
        )
        return checked

    rows = np.asarray(validated(all_finite=False))
    with np.errstate(all="ignore"):
        prediction: FloatArray = rows @ coef
        prediction += intercept
    silent = coef == 0.0
    if not np.isfinite(prediction).all() or (
        silent.any() and not np.isfinite(rows[:, silent]).all()
    ):
        validated(all_finite=True)
    return prediction


def as_grouper(codes: Any) -> Callable[[Any, Any], FloatArray]:
    """A grouper of the extension module that gives these codes."""
    numbers = np.asarray(codes, dtype=np.float64)
    return lambda _X, _y: numbers
