# SPDX-License-Identifier: BSD-3-Clause
# Arrays are numpy.ndarray of float64 and of no subclass; their values are not checked.
from collections.abc import Callable
from typing import Any

import numpy as np
import numpy.typing as npt

_Array = npt.NDArray[np.float64]

# A fit that cannot be carried out; its one argument is the reason, a short text.
class FitError(ValueError): ...

def predict_linear(X: _Array, coef: _Array, intercept: float) -> _Array: ...

_Observer = Callable[[int, float, float, float, _Array], object] | None

# The items are the attributes of the estimator, without the underscore at the end. Tables of
# strengths have the shape (columns, kinds).
def fit_logistic(
    X: _Array,
    y: _Array,
    *,
    penalty: str,
    groups: _Array,
    fit_intercept: bool,
    normalize: bool,
    start: _Array | None = None,
    strengths: _Array | None = None,
    tol: float = 1e-4,
    max_iter: int = 10000,
    observer: _Observer = None,
) -> dict[str, Any]: ...
def logistic_criterion(
    X: _Array,
    y: _Array,
    *,
    penalty: str,
    groups: _Array,
    fit_intercept: bool,
    normalize: bool,
    strengths: _Array,
    observer: _Observer = None,
) -> dict[str, Any]: ...
def predict_probability(X: _Array, coef: _Array, intercept: float) -> _Array: ...
def predict_log_probability(X: _Array, coef: _Array, intercept: float) -> _Array: ...
