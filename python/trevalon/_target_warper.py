# SPDX-License-Identifier: BSD-3-Clause
"""The increasing map between targets and the latent scale of a warped linear regression.

With u = (y - shift) / scale, heights a_k, steepnesses b_k and positions c_k,

    z(y) = u + sum over k of a_k (tanh(b_k (u + c_k)) - h_k)

where h_k is the mean of its tanh over the training targets. Snelson, Rasmussen and
Ghahramani, "Warped Gaussian processes", NIPS 16 (2004), eq. 9.
"""

from __future__ import annotations

from collections.abc import Callable, Mapping
from dataclasses import dataclass
from typing import Any

import numpy as np

from trevalon import _core
from trevalon._types import FloatArray, VectorLike

# The parts that the core computes from, by their names there.
_MAP = ("heights", "steepnesses", "positions", "step_means", "shift", "scale")


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
        y = np.asarray(target, dtype=np.float64)
        theta = np.asarray(parameters, dtype=np.float64)
        found = _core.make_warp(theta, y, float(shift), float(scale))
        return cls(**found, target_range=(float(y.min()), float(y.max())))

    @classmethod
    def from_state(
        cls, state: Mapping[str, Any], target_range: tuple[float, float]
    ) -> TargetWarper:
        """The map within the state of a fitted model."""
        return cls(**{name: state[name] for name in _MAP}, target_range=target_range)

    def transform(self, y: VectorLike) -> FloatArray:
        """Latent values of targets, of the shape of `y`."""
        return self._apply(_core.warp_transform, y)

    def derivative(self, y: VectorLike) -> FloatArray:
        """dz/dy at targets, in latent units per unit of the target."""
        return self._apply(_core.warp_derivative, y)

    def inverse_transform(self, z: VectorLike) -> FloatArray:
        """Targets whose latent values are `z`, nearly to double precision, in its shape.

        An infinite latent value gives an infinite target, and NaN gives NaN.
        """
        return self._apply(_core.warp_inverse, z)

    def _apply(
        self,
        function: Callable[[dict[str, Any], FloatArray], FloatArray],
        values: VectorLike,
    ) -> FloatArray:
        array = np.asarray(values, dtype=np.float64)
        state = {name: getattr(self, name) for name in _MAP}
        return function(state, array.ravel()).reshape(array.shape)
