# SPDX-License-Identifier: BSD-3-Clause
"""Three plots of the package, on one page.

pictures.py [FILE.png]
"""

import sys

import matplotlib.pyplot as plt
import numpy as np
from sklearn.datasets import load_diabetes

from trevalon import (
    PredictionIntervalDisplay,
    RidgePenaltyDisplay,
    RidgeRegression,
    WarpDisplay,
    WarpedLinearRegression,
)


def main() -> None:
    file = sys.argv[1] if len(sys.argv) > 1 else "pictures.png"
    X, y = load_diabetes(return_X_y=True, as_frame=True)
    _, (left, middle, right) = plt.subplots(1, 3, figsize=(13, 4), layout="constrained")

    # The number of groups is given; the fit assigns the columns to them.
    RidgePenaltyDisplay.from_estimator(RidgeRegression(groups=3).fit(X, y), ax=left)
    left.set_title("strengths of three groups")

    train = np.arange(len(y)) % 2 == 0
    warped = WarpedLinearRegression(n_steps=2).fit(X[train], y[train])
    WarpDisplay.from_estimator(warped, ax=middle)
    middle.set_title("the learned map")

    display = PredictionIntervalDisplay.from_estimator(
        warped, X[~train], y[~train], coverage=0.9, ax=right
    )
    right.set_title("held-out half")
    right.figure.savefig(file, dpi=110)
    print(f"90 % intervals hold {display.observed_coverage:.1%} of the held-out half")
    print(f"wrote {file}")


if __name__ == "__main__":
    main()
