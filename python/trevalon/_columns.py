# SPDX-License-Identifier: BSD-3-Clause
"""Means and lengths of columns, as the models normalize by them."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass

import numpy as np

from trevalon._types import FloatArray

# The share of a column's length that an error of its mean may make up unseen: a length
# comes out right to the square of that.
_VISIBLE = 1e-9
# With so many numbers in a row loops along rows are quickest; 512 and 2048 come close.
_LONG_ROW = 1024


@dataclass(frozen=True)
class CenteredColumns:
    """Columns less their means, and what it takes to normalize them.

    means : p entries, zeros without centering.
    scales : p entries, the lengths of the centered columns, not divided by n; a length of 0
        counts as 1. All are 1 without rescaling.
    values : (n, p), the centered columns, not divided by their scales.
    """

    means: FloatArray
    scales: FloatArray
    values: FloatArray


def center_columns(X: FloatArray, center: bool, rescale: bool) -> CenteredColumns:
    """Centers the columns of X. Without centering, `values` is X itself."""
    means, values = np.zeros(X.shape[1]), X
    if center:
        means = X.mean(axis=0)
        values = X - means
        rest = values.mean(axis=0)
    lengths = _column_lengths(values)
    if center and (np.abs(rest) * np.sqrt(len(X)) > _VISIBLE * lengths).any():
        # Takes back the rounding of the means. What a constant column has left by then is
        # a few bits, whose sum is exact: its length becomes 0.
        means += rest
        values -= rest
        lengths = _column_lengths(values)
    return CenteredColumns(means, _as_scales(lengths, rescale), values)


def column_sums(X: FloatArray) -> FloatArray:
    """Sums over the rows of X."""
    # Not a BLAS product: its threads sleep, and to wake them may take longer than the sum.
    return _over_rows(lambda rows: np.asarray(np.add.reduce(rows, axis=0)), X)


def column_moments(
    X: FloatArray, center: bool, rescale: bool
) -> tuple[FloatArray, FloatArray]:
    """The means and scales of `center_columns`, without a copy of X where that may be.

    Sum (x - m)^2 = sum x^2 - n m^2 loses no digits where the mean is small as measured by
    the spread.
    """
    if not center:
        means, lengths = np.zeros(X.shape[1]), _column_lengths(X)
    else:
        means = column_sums(X) / len(X)
        squares = _column_squares(X)
        shifts = len(X) * np.square(means)
        if not (shifts <= 0.5 * squares).all():
            columns = center_columns(X, center, rescale)
            return columns.means, columns.scales
        lengths = np.sqrt(squares - shifts)
    return means, _as_scales(lengths, rescale)


def _over_rows(sums: Callable[[FloatArray], FloatArray], X: FloatArray) -> FloatArray:
    """Sums over the rows of X, several rows of few columns taken as a long one.

    numpy's loops run along a row, and take most of their time to begin.
    """
    columns = X.shape[1]
    together = max(_LONG_ROW // max(columns, 1), 1)
    folds = len(X) // together
    if not (together >= 2 and folds >= 2 and columns > 1 and X.flags.c_contiguous):
        return sums(X)
    split = folds * together
    long = sums(X[:split].reshape(folds, together * columns))
    return np.asarray(long.reshape(together, columns).sum(axis=0) + sums(X[split:]))


def _column_squares(X: FloatArray) -> FloatArray:
    return _over_rows(lambda rows: np.einsum("ij,ij->j", rows, rows), X)


def _as_scales(lengths: FloatArray, rescale: bool) -> FloatArray:
    if not rescale:
        return np.ones_like(lengths)
    return np.where(lengths == 0.0, 1.0, lengths)


def _column_lengths(X: FloatArray) -> FloatArray:
    return np.asarray(np.sqrt(_column_squares(X)))
