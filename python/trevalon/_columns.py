# SPDX-License-Identifier: BSD-3-Clause
"""Means, lengths and products of columns, as the models normalize by them."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from trevalon._types import FloatArray

# The share of a column's length that an error of its mean may make up unseen: a length
# comes out right to the square of that.
_VISIBLE = 1e-9


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
    scales = np.where(lengths == 0.0, 1.0, lengths) if rescale else np.ones_like(lengths)
    return CenteredColumns(means, scales, values)


# Rows in cache, and enough of them that a call of BLAS is worth its while.
_BLOCK_ROWS = 1024


def centered_gram(X: FloatArray, center: bool) -> tuple[FloatArray, FloatArray]:
    """Means m of the columns (zeros without centering) and (X - 1 m')'(X - 1 m').

    One pass, in blocks of rows that stay in cache. With any s,

        (X - 1 m')'(X - 1 m') = (X - 1 s')'(X - 1 s') - n (m - s)(m - s)'

    which loses no digits where s is close to m as measured by the columns' spread. So s is
    0 where the first block lies around 0, and else its mean. Where the first block was
    unlike the rest, a second pass has the means themselves for s.
    """
    n, p = X.shape
    if not center:
        return np.zeros(p), _shifted_gram(X, np.zeros(p))[1]
    first = X[:_BLOCK_ROWS]
    shift = first.mean(axis=0)
    if (np.abs(shift) <= first.std(axis=0)).all():
        shift = np.zeros(p)
    gap, gram = _shifted_gram(X, shift)
    if (n * np.square(gap) > 0.75 * np.diag(gram)).any():
        shift = shift + gap
        gap, gram = _shifted_gram(X, shift)
    return shift + gap, gram - n * np.multiply.outer(gap, gap)


def _shifted_gram(X: FloatArray, shift: FloatArray) -> tuple[FloatArray, FloatArray]:
    """The mean of the rows less `shift`, and the sum of their outer products."""
    n, p = X.shape
    total, gram = np.zeros(p), np.zeros((p, p))
    ones, block = np.ones(_BLOCK_ROWS), np.empty((min(n, _BLOCK_ROWS), p))
    shifts = bool(shift.any())
    for start in range(0, n, _BLOCK_ROWS):
        rows = X[start : start + _BLOCK_ROWS]
        if shifts:
            rows = np.subtract(rows, shift, out=block[: len(rows)])
        total += ones[: len(rows)] @ rows
        gram += rows.T @ rows
    return total / n, gram


def _column_lengths(X: FloatArray) -> FloatArray:
    return np.asarray(np.sqrt(np.einsum("ij,ij->j", X, X)))
