# SPDX-License-Identifier: BSD-3-Clause
"""Leverages of a ridge fit, from which leave-one-out residuals follow without a refit.

With strengths a_j and centered columns Z = X - 1 m', the hat matrix of a ridge fit is

    H = 1 1'/n + Z inverse(Z'Z + diag(a)) Z'        (1 1'/n only with an intercept)

and leaving observation i out changes its residual from r_i to r_i / (1 - H_ii): Allen, "The
relationship between variable selection and data augmentation and a method for prediction",
Technometrics 16 (1974). The trace of H is the effective number of parameters: Hastie,
Tibshirani and Friedman, "The Elements of Statistical Learning", eq. 7.32 and 3.50.
"""

from __future__ import annotations

import numpy as np
from scipy.linalg import qr

from trevalon._types import FloatArray


def ridge_leverages(Z: FloatArray, alpha: FloatArray, fit_intercept: bool) -> FloatArray:
    """The diagonal of H, n entries between 0 and 1. alpha: p strengths in units of Z'Z.

    Z has columns of mean 0 where there is an intercept.

    The rows of Q that belong to Z in [Z; sqrt(diag(a))] = Q R give H = Q Q'. Pivoting
    finds the rank, so that columns that depend on others do no harm at strength 0.
    """
    n, p = Z.shape
    augmented = np.zeros((n + p, p), order="F")
    augmented[:n] = Z
    augmented[n:][np.diag_indices(p)] = np.sqrt(alpha)
    # Columns of unit length: a large strength must not hide the others from the pivoting.
    lengths = np.sqrt(np.einsum("ij,ij->j", augmented, augmented))
    augmented /= np.where(lengths == 0.0, 1.0, lengths)
    Q, R, _ = qr(augmented, mode="economic", pivoting=True, overwrite_a=True)
    pivots = np.abs(np.diag(R))
    rank = int(np.count_nonzero(pivots > (n + p) * np.finfo(np.float64).eps))
    leverages: FloatArray = np.einsum("ij,ij->i", Q[:n, :rank], Q[:n, :rank])
    return leverages + 1.0 / n if fit_intercept else leverages
