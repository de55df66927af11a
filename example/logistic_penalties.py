# SPDX-License-Identifier: BSD-3-Clause
"""The four penalties of logistic regression beside scikit-learn's grid search."""

import time
import warnings

import numpy as np
import sklearn.linear_model
from sklearn.datasets import load_breast_cancer
from sklearn.exceptions import ConvergenceWarning
from sklearn.metrics import accuracy_score, log_loss
from sklearn.model_selection import GridSearchCV, train_test_split
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import StandardScaler

from trevalon import LogisticRegression


def main() -> None:
    X, y = load_breast_cancer(return_X_y=True)
    # Ten columns and half of the rows: so few data that the penalty matters.
    X, X_test, y, y_test = train_test_split(X[:, :10], y, test_size=0.5, random_state=0)

    penalties = ("l2", "l1", "elasticnet", "bridge")
    models = {penalty: LogisticRegression(penalty) for penalty in penalties}
    peer = make_pipeline(StandardScaler(), sklearn.linear_model.LogisticRegression())
    strengths = {"logisticregression__C": np.logspace(-4, 4, 20)}
    models["grid search"] = GridSearchCV(peer, strengths, scoring="neg_log_loss")
    print("penalty       held-out loss  accuracy      time")
    for name, model in models.items():
        start = time.perf_counter()
        with warnings.catch_warnings():
            # With a penalty that has a kink at 0 the search may end above the tolerance.
            warnings.simplefilter("ignore", ConvergenceWarning)
            model.fit(X, y)
        seconds = time.perf_counter() - start
        loss = log_loss(y_test, model.predict_proba(X_test))
        accuracy = accuracy_score(y_test, model.predict(X_test))
        print(f"{name:12s} {loss:14.4f} {accuracy:9.3f} {1e3 * seconds:6.0f} ms")

    bridge = models["bridge"]
    print(f"the bridge found the exponent {bridge.bridge_exponent_[0]:.3f}")


if __name__ == "__main__":
    main()
