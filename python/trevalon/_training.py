# SPDX-License-Identifier: BSD-3-Clause
"""Training data on their way into a fit."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np
from sklearn.utils.validation import validate_data

from trevalon._columns import column_sums
from trevalon._types import FloatArray, MatrixLike, VectorLike

if TYPE_CHECKING:
    from trevalon._base import SelfTunedModel

# A ridge fit of so many numbers in so few columns takes little more than a look at them.
_MANY, _FEW_COLUMNS = 100_000, 64


class RegressionData(NamedTuple):
    """What goes into a fit. rows : (n, p). target : (n,). sums : those of the columns,
    where they are known."""

    rows: FloatArray
    target: FloatArray
    sums: FloatArray | None = None


def validate_regression(
    estimator: SelfTunedModel, X: MatrixLike, y: VectorLike
) -> RegressionData:
    """X and y as float64 arrays, refused in scikit-learn's words where they do not fit."""
    rows, target = validate_data(
        estimator, X, y, dtype=np.float64, y_numeric=True, ensure_min_samples=2
    )
    return RegressionData(np.asarray(rows), np.asarray(target, dtype=np.float64))


def take_regression(
    estimator: SelfTunedModel, X: MatrixLike, y: VectorLike, *, trust_narrow: bool = False
) -> RegressionData:
    """As `validate_regression`, but of plain float64 arrays nothing is asked but whether
    they are finite; with `trust_narrow`, of many rows with few columns not even that.

    Of these the extension module is the first to see what is not finite. It refuses that
    by itself, and `validate_regression` then finds the words.
    """
    if not (_is_plain(X, 2) and _is_plain(y, 1) and len(X) == np.size(y) >= 2):
        return validate_regression(estimator, X, y)
    is_trusted = trust_narrow and X.size >= _MANY and X.shape[1] < _FEW_COLUMNS
    sums = None if is_trusted else _finite_sums(X, y)
    if X.shape[1] < 1 or (sums is None and not is_trusted):
        return validate_regression(estimator, X, y)
    estimator.n_features_in_ = X.shape[1]
    estimator.__dict__.pop("feature_names_in_", None)
    return RegressionData(X, np.asarray(y), sums)


def _finite_sums(X: FloatArray, y: VectorLike) -> FloatArray | None:
    """Sums of the columns of X; None where one of them or that of y is not finite, as it
    may be of large numbers too."""
    with np.errstate(over="ignore", invalid="ignore"):
        sums = column_sums(X)
        is_finite = np.isfinite(np.sum(y)) and np.isfinite(sums).all()
    return sums if is_finite else None


def _is_plain(array: Any, dimensions: int) -> bool:
    return (
        type(array) is np.ndarray
        and array.ndim == dimensions
        and array.dtype == np.float64
        and array.dtype.isnative
    )
