# SPDX-License-Identifier: BSD-3-Clause
"""Leave-one-out residuals without a refit, and the observations of largest leverage."""

import numpy as np
from sklearn.datasets import load_diabetes

from trevalon import RidgeRegression


def main() -> None:
    X, y = load_diabetes(return_X_y=True)
    model = RidgeRegression(criterion="loo").fit(X, y)

    inside = y - model.predict(X)
    outside = model.loo_residuals_
    print(f"{len(y)} rows, {model.effective_dof_:.1f} effective parameters")
    print(f"root mean square of the residuals    {np.sqrt(np.mean(inside**2)):.2f}")
    print(f"the same with each row left out      {np.sqrt(np.mean(outside**2)):.2f}")

    print("rows of largest leverage:")
    for row in np.argsort(model.leverage_)[:-6:-1]:
        print(
            f"  row {row:3d}: leverage {model.leverage_[row]:.3f}, "
            f"residual {inside[row]:7.1f}, left out {outside[row]:7.1f}"
        )

    # The prediction of a refit without this row at the same strengths, without the refit.
    row = int(np.argmax(model.leverage_))
    print(f"without row {row} the model would predict {y[row] - outside[row]:.1f} for it")


if __name__ == "__main__":
    main()
