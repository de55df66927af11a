# SPDX-License-Identifier: BSD-3-Clause
"""The increasing map between targets and the latent scale of a warped linear regression.

With u = (y - shift) / scale, heights a_k, steepnesses b_k and positions c_k,

    z(y) = u + sum over k of a_k (tanh(b_k (u + c_k)) - h_k)

where h_k is the mean of its tanh over the training targets. Snelson, Rasmussen and
Ghahramani, "Warped Gaussian processes", NIPS 16 (2004), eq. 9.
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from trevalon._types import FloatArray, VectorLike

# Every second iteration halves the residual or the bracket: enough to reach rounding.
_MAX_ITERATIONS = 1000


@dataclass(frozen=True, eq=False)
class TargetWarper:
    """An increasing map z(y), its slope and its inverse, over arrays of any shape.

    Attributes
    ----------
    heights, steepnesses, positions : ndarray of shape (n_steps,)
        a, b >= 0 and c, in standardized units of the target.
    step_means : ndarray of shape (n_steps,)
        h, so that z has mean 0 over the training targets where u has.
    shift, scale : float
        Standardization of the target, in its own units.
    target_range : tuple of two floats
        The least and the largest training target.
    """

    heights: FloatArray
    steepnesses: FloatArray
    positions: FloatArray
    step_means: FloatArray
    shift: float
    scale: float
    target_range: tuple[float, float]

    @classmethod
    def from_training(
        cls, parameters: FloatArray, target: FloatArray, shift: float, scale: float
    ) -> TargetWarper:
        """Builds the map from (alpha, beta, gamma) per step: a = alpha^2, b = beta^2."""
        alpha, beta, gamma = np.reshape(parameters, (-1, 3)).T
        standardized = target - shift
        standardized /= scale
        return cls(
            heights=np.square(alpha),
            steepnesses=np.square(beta),
            positions=gamma.copy(),
            step_means=np.array(
                [
                    _mean_of_step(standardized, b, c)
                    for b, c in zip(np.square(beta), gamma, strict=True)
                ]
            ),
            shift=shift,
            scale=scale,
            target_range=(float(target.min()), float(target.max())),
        )

    def transform(self, y: VectorLike) -> FloatArray:
        """Latent values of targets, of the shape of `y`."""
        return self._latent((np.asarray(y, dtype=np.float64) - self.shift) / self.scale)

    def derivative(self, y: VectorLike) -> FloatArray:
        """dz/dy at targets, in latent units per unit of the target."""
        u = (np.asarray(y, dtype=np.float64) - self.shift) / self.scale
        return self._slope(u) / self.scale

    def inverse_transform(self, z: VectorLike) -> FloatArray:
        """Targets whose latent values are `z`, to within rounding; same shape as `z`.

        An infinite latent value belongs to an infinite target, and NaN to NaN.
        """
        latent = np.asarray(z, dtype=np.float64)
        u = latent.copy()
        finite = np.isfinite(latent)
        u[finite] = self._solve(latent[finite])
        return np.asarray(u * self.scale + self.shift)

    def _latent(self, u: FloatArray) -> FloatArray:
        z = np.array(u, dtype=np.float64)
        for a, b, c, h in self._steps():
            z += a * (np.tanh(b * (u + c)) - h)
        return z

    def _slope(self, u: FloatArray) -> FloatArray:
        slope = np.ones_like(u)
        for a, b, c, _ in self._steps():
            slope += a * b * (1.0 - np.square(np.tanh(b * (u + c))))
        return slope

    def _steps(self) -> zip[tuple[float, float, float, float]]:
        columns = (self.heights, self.steepnesses, self.positions, self.step_means)
        return zip(*(column.tolist() for column in columns), strict=True)

    def _solve(self, latent: FloatArray) -> FloatArray:
        """Newton's method inside a bracket, with a bisection wherever it does not halve
        the residual.

        |tanh| <= 1 bounds the root: z - sum a (1 - h) <= u <= z + sum a (1 + h). Rounding
        in the sum is about eps times its largest term, and no root is known better than
        that.
        """
        roots = np.empty_like(latent)
        total, offset = self.heights.sum(), self.heights @ self.step_means
        lower, upper = latent + offset - total, latent + offset + total
        u = np.clip(latent, lower, upper)
        noise = 4.0 * np.finfo(np.float64).eps * (np.abs(latent) + total + abs(offset))
        active = np.arange(len(latent))
        previous = np.full(len(latent), np.inf)
        for _ in range(_MAX_ITERATIONS):
            residual = self._latent(u) - latent[active]
            above, size = residual > 0.0, np.abs(residual)
            upper, lower = np.where(above, u, upper), np.where(above, lower, u)
            newton = u - residual / self._slope(u)
            good = (newton > lower) & (newton < upper) & (size <= 0.5 * previous)
            following = np.where(good, newton, lower + 0.5 * (upper - lower))
            roots[active] = u
            keep = (size > noise[active]) & (following != u)
            if not keep.any():
                break
            active, u, previous = active[keep], following[keep], size[keep]
            lower, upper = lower[keep], upper[keep]
        return roots


def _mean_of_step(standardized: FloatArray, steepness: float, position: float) -> float:
    """In one array: a new one for each operation takes as long as the operation."""
    step = standardized + position
    step *= steepness
    np.tanh(step, out=step)
    return float(step.mean())
