# SPDX-License-Identifier: BSD-3-Clause
"""scikit-learn estimators of regularized linear models that find their own hyperparameters.

Each `fit` minimizes a cross-validation score, or a likelihood, over the hyperparameters
with a second-order optimizer and exact derivatives; no grid is searched.
"""

from trevalon._criterion_display import CriterionDisplay
from trevalon._interval_display import PredictionIntervalDisplay
from trevalon._ridge_display import RidgePenaltyDisplay
from trevalon._target_warper import TargetWarper
from trevalon._versions import __version__, show_versions
from trevalon._warp_display import WarpDisplay
from trevalon.logistic import LogisticRegression
from trevalon.ridge import RidgeRegression
from trevalon.warped import WarpedLinearRegression

__all__ = [
    "CriterionDisplay",
    "LogisticRegression",
    "PredictionIntervalDisplay",
    "RidgePenaltyDisplay",
    "RidgeRegression",
    "TargetWarper",
    "WarpDisplay",
    "WarpedLinearRegression",
    "__version__",
    "show_versions",
]
