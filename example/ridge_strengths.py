# SPDX-License-Identifier: BSD-3-Clause
"""Given strengths, values of the criterion, a warm start, and progress of a fit.

Ctrl-C ends any `fit` within half a second, by KeyboardInterrupt: an estimator that was
fitted before is unchanged, and the next warm start begins from that fit.
"""

import numpy as np
from sklearn.datasets import load_diabetes

from trevalon import RidgeRegression


def main() -> None:
    X, y = load_diabetes(return_X_y=True)
    model = RidgeRegression("loo", groups="none").fit(X, y)
    print(f"one strength for each column: criterion {model.criterion_value_:.0f}")

    given = RidgeRegression("loo", alpha=0.01).fit(X, y)
    print(f"alpha=0.01, no search:        criterion {given.criterion_value_:.0f}")

    print("along one strength of all columns:")
    for alpha in np.geomspace(1e-4, 10.0, 6):
        value, slope = RidgeRegression("loo").criterion_at(X, y, alpha)
        print(f"  {alpha:8.4f}: criterion {value:.0f}, slope {slope:9.1f}")

    # New rows arrive. Each iteration writes a line to standard error.
    model.set_params(warm_start=True, verbose=1)
    try:
        model.fit(np.vstack([X, X[:40]]), np.concatenate([y, y[:40]]))
    except KeyboardInterrupt:
        print("stopped by Ctrl-C; the estimator is that of the previous fit")
    print(f"{model.n_iter_} iterations from the end of the previous fit")
    print(f"{model.effective_dof_:.1f} effective parameters")


if __name__ == "__main__":
    main()
