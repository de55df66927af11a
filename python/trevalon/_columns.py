# SPDX-License-Identifier: BSD-3-Clause
"""Means and lengths of columns, as the models normalize by them."""

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
        ones = np.ones(len(X))
        means = (ones @ X) / len(X)
        values = X - means
        rest = (ones @ values) / len(X)
    lengths = _column_lengths(values)
    if center and (np.abs(rest) * np.sqrt(len(X)) > _VISIBLE * lengths).any():
        # Takes back the rounding of the means. What a constant column has left by then is
        # a few bits, whose sum is exact: its length becomes 0.
        means += rest
        values -= rest
        lengths = _column_lengths(values)
    scales = np.where(lengths == 0.0, 1.0, lengths) if rescale else np.ones_like(lengths)
    return CenteredColumns(means, scales, values)


def _column_lengths(X: FloatArray) -> FloatArray:
    return np.asarray(np.sqrt(np.einsum("ij,ij->j", X, X)))
