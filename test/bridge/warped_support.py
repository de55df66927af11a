# SPDX-License-Identifier: BSD-3-Clause
"""What the tests of the warped model share: data from a known map, and the map and the
likelihood written down again with numpy.

With the parameters (alpha, beta, gamma) of each step, a raw target r enters as
y = (r - shift) / scale, and z = y + sum of alpha^2 (tanh(beta^2 (y + gamma)) - h), with h
the mean of the tanh over the training targets.
"""

import numpy as np
from trevalon_impl import WarpedLinearRegressionModel


def regression(n=60, p=3, seed=0, noise=0.1):
    """Targets that are linear in the features behind the map log(y)."""
    random = np.random.default_rng(seed)
    X = random.normal(size=(n, p)) * random.uniform(0.5, 2.0, p) + random.normal(size=p)
    z = (X - X.mean(axis=0)) @ (1.0 / np.arange(1, p + 1))
    return X, np.exp(0.5 * z + noise * random.normal(size=n)) + 2.0


def fitted(X, y, **options):
    model = WarpedLinearRegressionModel(**options)
    assert model.fit(X, y) is None
    return model


def normalized(values):
    """Columns of mean 0 and length 1."""
    centered = values - values.mean(axis=0)
    return centered / np.linalg.norm(centered, axis=0)


def snapshot(model, X):
    """All that a fitted model shows, for comparison before and after."""
    latent, stddev = model.predict_latent_with_stddev(X)
    return (
        model.regressors.tolist(), model.noise_variance, model.within_tolerance,
        model.warper.parameters.tolist(), model.predict(X).tolist(),
        latent.tolist(), stddev.tolist(),
    )  # fmt: skip


class Map:
    """The map of `theta` for the training targets y."""

    def __init__(self, theta, y, center=True, rescale=True):
        self.steps = np.reshape(theta, (-1, 3))
        self.shift = np.mean(y) if center else 0.0
        self.scale = np.linalg.norm(y - self.shift) if rescale else 1.0
        self.training = (np.asarray(y) - self.shift) / self.scale

    def latent(self, r):
        y = (np.asarray(r) - self.shift) / self.scale
        return y + sum(
            a**2 * (np.tanh(b**2 * (y + c)) - np.tanh(b**2 * (self.training + c)).mean())
            for a, b, c in self.steps
        )

    def derivative(self, r):
        y = (np.asarray(r) - self.shift) / self.scale
        slope = 1.0 + sum(
            a**2 * b**2 / np.cosh(b**2 * (y + c)) ** 2 for a, b, c in self.steps
        )
        return slope / self.scale


def objective_value(theta, X, y):
    """n / 2 log of the residual sum of squares of the latents, less the log Jacobian; for
    parameters inside of the boundary."""
    map_ = Map(theta, y)
    A = normalized(X)
    z = map_.latent(y)
    residual = z - A @ np.linalg.lstsq(A, z, rcond=None)[0]
    log_jacobian = np.log(map_.derivative(y) * map_.scale).sum()
    return len(y) / 2.0 * np.log(residual @ residual) - log_jacobian
