# SPDX-License-Identifier: BSD-3-Clause
"""Prediction intervals for a skewed target: constant width against a learned map.

The target is simulated: its logarithm is linear in the columns, and the noise is in the
logarithm, so that errors grow with the target.
"""

import numpy as np
from sklearn.linear_model import LinearRegression
from sklearn.model_selection import train_test_split

from trevalon import WarpedLinearRegression


def main() -> None:
    random = np.random.default_rng(0)
    X = random.normal(size=(1500, 4))
    y = np.exp(X @ [0.5, -0.3, 0.2, 0.0] + 0.4 * random.normal(size=1500) + 2.0)
    X, X_test, y, y_test = train_test_split(X, y, test_size=1000, random_state=0)

    linear = LinearRegression().fit(X, y)
    half = 1.645 * np.std(y - linear.predict(X))
    middle = linear.predict(X_test)
    bands = {"linear regression": np.column_stack([middle - half, middle + half])}
    for n_steps in (1, 2):
        model = WarpedLinearRegression(n_steps).fit(X, y)
        bands[f"warped, n_steps={n_steps}"] = model.predict_interval(X_test, coverage=0.9)

    print("90 % intervals       hold    mean width  below 0")
    for name, (lower, upper) in ((name, band.T) for name, band in bands.items()):
        inside = np.mean((lower <= y_test) & (y_test <= upper))
        width = np.mean(upper - lower)
        print(f"{name:18s} {inside:6.1%} {width:13.2f} {np.mean(lower < 0.0):8.1%}")

    density = model.log_predictive_density(X_test, y_test).mean()
    plain = np.mean(-0.5 * ((y_test - middle) / half * 1.645) ** 2)
    plain -= np.log(np.sqrt(2.0 * np.pi) * half / 1.645)
    print(f"mean log density: {plain:.3f} linear, {density:.3f} warped")


if __name__ == "__main__":
    main()
