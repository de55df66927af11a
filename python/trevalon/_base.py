# SPDX-License-Identifier: BSD-3-Clause
"""Common base of the estimators: validation, the call of the core, the record of its run.

`trevalon._core` normalizes, optimizes, solves and returns all that an estimator reports.
"""

from __future__ import annotations

import functools
import warnings
from collections.abc import Callable, Mapping
from contextlib import AbstractContextManager
from typing import Any, TypeVar, cast

import numpy as np
from sklearn.base import BaseEstimator
from sklearn.exceptions import ConvergenceWarning
from sklearn.utils.validation import validate_data

from trevalon import _core
from trevalon._documentation_link import DocumentationLinkMixin
from trevalon._parameters import (
    check_count,
    check_flag,
    check_positive,
    check_verbosity,
)
from trevalon._progress import (
    HAS_CALLBACKS,
    CallbackSupportMixin,
    Observer,
    observed_fit,
    with_callbacks,
)
from trevalon._types import FloatArray, MatrixLike, VectorLike
from trevalon._versions import __version__

_Fit = TypeVar("_Fit", bound=Callable[..., Any])

# The causes of a run that ended before its tolerance was met, with remedies.
_ENDS = {
    "no further decrease": (
        "no step lowers the criterion by an amount that double precision shows, although "
        "its gradient is above the tolerance. Rescale the data, set normalize=True or use "
        "a larger tol."
    ),
    "trust region collapsed": (
        "no step was accepted, however short. Rescale the data, set normalize=True or use "
        "another init."
    ),
    "limit reached": (
        "max_iter iterations were made. Use a larger max_iter, a larger tol, or "
        "warm_start=True to go on from here."
    ),
    "score at its infimum": (
        "the criterion falls towards an infimum that it reaches at no strengths, as on "
        "classes that can be separated. Use given strengths, or fewer columns."
    ),
    "degenerate": (
        "gradient and curvature of the criterion vanish: it does not depend on the "
        "strengths here. Use another init."
    ),
    "undefined": (
        "the criterion has no finite derivatives at the last point. Rescale the data, or "
        "use another init."
    ),
}
# Ends that the caller asked for.
_WANTED_ENDS = ("tolerance met", "no search", "stopped by a callback")


def fitting(fit: _Fit) -> _Fit:
    """A `fit` that ends scikit-learn's callbacks in any case, and that leaves the estimator
    as it was when it raises."""
    managed = with_callbacks(fit)

    @functools.wraps(fit)
    def guarded(self: Any, *args: Any, **kwargs: Any) -> Any:
        before = dict(self.__dict__)
        try:
            return managed(self, *args, **kwargs)
        except BaseException:
            # Allocates nothing, unlike an update of the dictionary.
            self.__dict__ = before
            raise

    return cast(_Fit, guarded)


class SelfTunedModel(DocumentationLinkMixin, CallbackSupportMixin, BaseEstimator):
    """Base of the estimators. Subclasses have the parameters below, among others."""

    fit_intercept: bool
    normalize: bool
    tol: float
    max_iter: int
    warm_start: bool
    verbose: int

    n_features_in_: int
    converged_: bool
    convergence_: str
    n_iter_: int
    history_: dict[str, FloatArray]

    def _run_options(self) -> dict[str, Any]:
        """The checked parameters that every fit of the core takes."""
        check_verbosity(self, "verbose")
        check_flag(self, "warm_start")
        return {
            "fit_intercept": check_flag(self, "fit_intercept"),
            "normalize": check_flag(self, "normalize"),
            "tol": check_positive(self, "tol"),
            "max_iter": check_count(self, "max_iter", _LARGEST_COUNT),
        }

    def _validate_regression(
        self, X: MatrixLike, y: VectorLike, **options: Any
    ) -> tuple[FloatArray, FloatArray]:
        """Training rows and targets as float64 arrays."""
        options = {"ensure_min_samples": 2} | options
        rows, target = validate_data(
            self, X, y, dtype=np.float64, y_numeric=True, **options
        )
        return np.asarray(rows), np.asarray(target, dtype=np.float64)

    def _validate_rows(self, X: MatrixLike) -> FloatArray:
        """Rows to predict for, as a float64 array."""
        return np.asarray(validate_data(self, X, reset=False, dtype=np.float64))

    def _predict_linear(
        self, X: MatrixLike, coef: FloatArray, intercept: float
    ) -> FloatArray:
        """X coef + intercept. A check of X for NaN and infinity would take as long as
        the product. Both propagate to it, unless the coefficient is 0."""
        rows = np.asarray(
            validate_data(self, X, reset=False, dtype=np.float64, ensure_all_finite=False)
        )
        # An array that was loaded from a file may be of a subclass.
        prediction = _core.predict_linear(rows, np.asarray(coef), intercept)
        if not (np.isfinite(prediction).all() and coef.all()):
            self._validate_rows(X)
        return prediction

    def _column_names(self) -> list[str] | None:
        names = getattr(self, "feature_names_in_", None)
        return None if names is None else list(names)

    def _observed(
        self, X: FloatArray, y: FloatArray
    ) -> AbstractContextManager[Observer | None]:
        """The context of the call of the core and of setting the attributes. Yields the
        observer for the core."""
        return observed_fit(self, X, y)

    def _call_core(
        self, function: Callable[..., Any], X: FloatArray, y: FloatArray, **options: Any
    ) -> Any:
        """Calls a function of the core. A FitError becomes a ValueError with a message."""
        try:
            return function(X, y, **options)
        except _core.FitError as error:
            raise ValueError(
                f"{type(self).__name__} cannot be fitted: {self._explain(str(error), X, y)}"
            ) from error

    def _take_run(self, found: Mapping[str, Any]) -> None:
        """Sets the record of the search. Only `fit` may call this: the warning refers
        to the line that called `fit`."""
        self.converged_ = found["end"] in ("tolerance met", "no search")
        self.convergence_ = found["end"]
        self.n_iter_ = found["n_iter"]
        self.history_ = found["history"]
        if found["end"] not in _WANTED_ENDS:
            warnings.warn(
                f"{type(self).__name__} stopped before its tolerance was met: "
                f"{_ENDS[found['end']]}",
                ConvergenceWarning,
                # Skips `fit`, its wrapper and the manager of callbacks.
                stacklevel=5 if HAS_CALLBACKS else 4,
            )

    def _explain(self, reason: str, X: FloatArray, y: FloatArray) -> str:
        """The message for a reason of the core."""
        if reason == "overflow":
            return "the coefficients are beyond the range of doubles; rescale the data"
        if reason == "undefined at the start":
            return (
                "the criterion is not a number at the starting point; rescale the data, "
                "or try another init or normalize=True"
            )
        if "overflows" in reason:
            return "the squares of X or y overflow; rescale the data"
        return reason

    def __getstate__(self) -> dict[str, Any]:
        return dict(super().__getstate__()) | {"_trevalon_version": __version__}

    def __setstate__(self, state: dict[str, Any]) -> None:
        state = dict(state)
        version = state.pop("_trevalon_version", "unknown")
        if version != __version__:
            warnings.warn(
                f"This {type(self).__name__} was pickled by trevalon {version} and is "
                f"loaded by trevalon {__version__}: it may not work as it did; fit it anew",
                UserWarning,
                stacklevel=2,
            )
        super().__setstate__(state)


# Well within the range of the core's integers.
_LARGEST_COUNT = 10**9
