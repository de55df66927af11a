# SPDX-License-Identifier: BSD-3-Clause
# Arrays are numpy.ndarray of float64 and of no subclass; their values are not checked.
from collections.abc import Callable
from typing import Any, Literal, overload

import numpy as np
import numpy.typing as npt

_Array = npt.NDArray[np.float64]

# A fit that cannot be carried out; its one argument is the reason, a short text.
class FitError(ValueError): ...

def predict_linear(X: _Array, coef: _Array, intercept: float) -> _Array: ...

# (iteration, value, gradient_norm, radius, hyperparameters)
_Observer = Callable[[int, float, float, float, _Array], object]

def fit_warped(
    X: _Array,
    y: _Array,
    *,
    n_steps: int = ...,
    fit_intercept: bool = ...,
    normalize: bool = ...,
    start: _Array | None = ...,
    tol: float = ...,
    max_iter: int = ...,
    observer: _Observer | None = ...,
) -> dict[str, Any]: ...
@overload
def warped_predict(
    state: dict[str, Any], X: _Array, what: Literal["latent", "moments"]
) -> tuple[_Array, _Array]: ...
@overload
def warped_predict(state: dict[str, Any], X: _Array, what: Literal["mean"]) -> _Array: ...
@overload
def warped_predict(
    state: dict[str, Any],
    X: _Array,
    what: Literal["quantiles", "log_density"],
    argument: _Array,
) -> _Array: ...
def warp_transform(state: dict[str, Any], values: _Array) -> _Array: ...
def warp_derivative(state: dict[str, Any], values: _Array) -> _Array: ...
def warp_inverse(state: dict[str, Any], values: _Array) -> _Array: ...
def make_warp(
    parameters: _Array, y: _Array, shift: float, scale: float
) -> dict[str, Any]: ...
