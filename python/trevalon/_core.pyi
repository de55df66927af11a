# SPDX-License-Identifier: BSD-3-Clause
# Arrays are numpy.ndarray of float64 and of no subclass; their values are not checked.
from collections.abc import Callable
from typing import Any

import numpy as np
import numpy.typing as npt

_Array = npt.NDArray[np.float64]

# A fit that cannot be carried out; its one argument is the reason, a short text.
class FitError(ValueError): ...

# Called after each iteration with its number, the criterion, the gradient's largest entry,
# the radius and the hyperparameters; True ends the search.
_Observer = Callable[[int, float, float, float, _Array], bool] | None

# criterion: "gcv", "loo" or "range_risk". groups: codes from 0, None where each column is
# alone. start, alpha: strengths in the units of the data, one for each column; with alpha
# there is no search.
def fit_ridge(
    X: _Array,
    y: _Array,
    *,
    criterion: str,
    groups: npt.NDArray[np.int64] | None,
    fit_intercept: bool,
    normalize: bool,
    start: _Array | None,
    alpha: _Array | None,
    tol: float,
    max_iter: int,
    observer: _Observer,
) -> dict[str, Any]: ...
def cluster_ridge_columns(
    X: _Array,
    y: _Array,
    *,
    criterion: str,
    fit_intercept: bool,
    normalize: bool,
    tol: float,
    max_iter: int,
    n_groups: int,
) -> npt.NDArray[np.int64]: ...

# value, and the gradient by the logarithms of the strengths, summed over each group.
def ridge_criterion(
    X: _Array,
    y: _Array,
    *,
    criterion: str,
    groups: npt.NDArray[np.int64] | None,
    fit_intercept: bool,
    normalize: bool,
    alpha: _Array,
) -> dict[str, Any]: ...
def predict_linear(X: _Array, coef: _Array, intercept: float) -> _Array: ...

# Strengths are tables of shape (columns, kinds); a group of -1 stands for no penalty. The
# items of the result are the attributes of the estimator without the underscore at the end.
def fit_logistic(
    X: _Array,
    y: _Array,
    *,
    penalty: str,
    groups: npt.NDArray[np.int64],
    fit_intercept: bool,
    normalize: bool,
    start: _Array | None = None,
    strengths: _Array | None = None,
    tol: float = 1e-4,
    max_iter: int = 10000,
    observer: _Observer = None,
) -> dict[str, Any]: ...

# value, and the gradient of shape (groups, kinds): by the logarithms of the strengths, and
# by exponents, summed over each group.
def logistic_criterion(
    X: _Array,
    y: _Array,
    *,
    penalty: str,
    groups: npt.NDArray[np.int64],
    fit_intercept: bool,
    normalize: bool,
    strengths: _Array,
    observer: _Observer = None,
) -> dict[str, Any]: ...
def predict_probability(X: _Array, coef: _Array, intercept: float) -> _Array: ...
def predict_log_probability(X: _Array, coef: _Array, intercept: float) -> _Array: ...
