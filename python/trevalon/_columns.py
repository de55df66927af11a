# SPDX-License-Identifier: BSD-3-Clause
"""Means, lengths and products of columns, as the models normalize by them.

Estimators call this after a fit, while idle workers of the extension module's BLAS still
keep the other cores busy for some 20 ms. So what is small here goes without BLAS threads.
"""

from __future__ import annotations

import functools
from dataclasses import dataclass

import numpy as np
from threadpoolctl import ThreadpoolController

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

    One pass, in blocks of rows that stay in cache. The rows are taken less those of the
    first block in the mean, s, so that

        (X - 1 m')'(X - 1 m') = (X - 1 s')'(X - 1 s') - n (m - s)(m - s)'

    loses no digits where the first block is like the others. Where it is not, what is
    subtracted is large, and a second pass has the means themselves for s.
    """
    n, p = X.shape
    shift = X[:_BLOCK_ROWS].mean(axis=0) if center else np.zeros(p)
    with _blas().limit(limits=1):
        gap, gram = _shifted_gram(X, shift)
        if not center:
            return shift, gram
        if (n * np.square(gap) > 0.5 * np.diag(gram)).any():
            shift = shift + gap
            gap, gram = _shifted_gram(X, shift)
    return shift + gap, gram - n * np.multiply.outer(gap, gap)


def _shifted_gram(X: FloatArray, shift: FloatArray) -> tuple[FloatArray, FloatArray]:
    """The mean of the rows less `shift`, and the sum of their outer products."""
    n, p = X.shape
    total, gram = np.zeros(p), np.zeros((p, p))
    block = np.empty((min(n, _BLOCK_ROWS), p))
    for start in range(0, n, _BLOCK_ROWS):
        rows = X[start : start + _BLOCK_ROWS]
        shifted = np.subtract(rows, shift, out=block[: len(rows)])
        total += shifted.sum(axis=0)
        gram += shifted.T @ shifted
    return total / n, gram


@functools.cache
def _blas() -> ThreadpoolController:
    return ThreadpoolController().select(user_api="blas")


def _column_lengths(X: FloatArray) -> FloatArray:
    return np.asarray(np.sqrt(np.einsum("ij,ij->j", X, X)))
