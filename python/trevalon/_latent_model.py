# SPDX-License-Identifier: BSD-3-Clause
"""The linear model behind a learned map, in the units of the columns.

The extension module keeps it to itself, in normalized units. What a prediction takes is
found from the module's own predictions where that is possible, and from the rows elsewhere:
a pass over many rows takes longer.
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
from scipy.linalg import solve_triangular
from trevalon_impl import _WarpedLinearRegressionModel

from trevalon._blas_threads import one_blas_thread
from trevalon._columns import column_moments, column_sums
from trevalon._training import RegressionData
from trevalon._types import FloatArray

# So far from the training rows that their means and the noise are lost in rounding, and
# not so far that a square overflows.
_FAR = 2.0**300
# What is left of a column after the others is known to eps / pivot^2.
_SMALLEST_PIVOT = 1e-4
# Means of so many spreads are right to some 1e-11 of one when they come from a plain sum.
_LARGEST_MEAN = 1e3


@dataclass(frozen=True)
class LatentModel:
    """The latent value z of a row x has the mean coef . (x - means), and from what the data
    leave open of coef the variance v |variance_root' (x - means)|^2, v that of the noise.

    means, coef : p entries, in units of the columns.
    variance_root : (p, p), V with V V' = inverse(Z'Z), Z the centered rows.
    """

    means: FloatArray
    coef: FloatArray
    variance_root: FloatArray


def find_latent_model(
    model: _WarpedLinearRegressionModel, data: RegressionData, center: bool, rescale: bool
) -> LatentModel:
    """That of `model`, which was fitted to `data` with these options."""
    rows = data.rows
    if center:
        sums = column_sums(rows) if data.sums is None else data.sums
        means = sums / len(rows)
    else:
        means = np.zeros(rows.shape[1])
    # What is not finite is left to the rows.
    with np.errstate(all="ignore"):
        found = _from_predictions(model, means, len(rows))
    return found or _from_rows(model, rows, center, rescale)


def _from_predictions(
    model: _WarpedLinearRegressionModel, means: FloatArray, rows: int
) -> LatentModel | None:
    """Latent mean and variance are a linear and a quadratic form.

    Far along axis j, the mean is coef_j, and the variance gives the width h_j = 1 /
    sqrt(inverse(Z'Z)_jj); the variance far along h_j e_j + h_k e_k gives the correlations
    of inverse(Z'Z). No digits are lost to a product of the rows.

    None where that would take longer than a factorization, where columns are too close to
    dependent, or where means are too far from zero.
    """
    columns = len(means)
    if columns * (columns - 1) // 2 > rows:
        return None
    first, second = np.tril_indices(columns, -1)
    far = _FAR * np.sqrt(model.noise_variance)
    latent, deviation = model.predict_latent_with_stddev(_FAR * np.eye(columns))
    widths = far / deviation
    axes = np.diag(_FAR * widths)
    pairs = axes[first] + axes[second]
    lengths = model.predict_latent_with_stddev(pairs)[1] / far
    correlations = np.eye(columns)
    correlations[first, second] = 0.5 * np.square(lengths) - 1.0
    try:
        root = np.linalg.cholesky(correlations)
    except np.linalg.LinAlgError:
        return None
    # Comparisons with NaN are false.
    if not (
        root.diagonal().min() > _SMALLEST_PIVOT
        and (np.abs(means) * np.sqrt(rows) <= _LARGEST_MEAN * widths).all()
        and np.isfinite(latent).all()
    ):
        return None
    return LatentModel(means, latent / _FAR, root / widths[:, np.newaxis])


def _from_rows(
    model: _WarpedLinearRegressionModel, rows: FloatArray, center: bool, rescale: bool
) -> LatentModel:
    """By another factorization of the rows."""
    means, scales = column_moments(rows, center, rescale)
    with one_blas_thread():
        triangle = np.linalg.qr((rows - means) / scales, mode="r")
        root = solve_triangular(triangle, np.eye(len(scales))) / scales[:, np.newaxis]
    return LatentModel(means, model.regressors / scales, root)
