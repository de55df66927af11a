# SPDX-License-Identifier: BSD-3-Clause
"""What a classifier of two classes predicts from its log odds."""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt
from sklearn.base import ClassifierMixin
from sklearn.utils import Tags
from sklearn.utils.validation import check_is_fitted

from trevalon import _core
from trevalon._base import SelfTunedModel
from trevalon._types import FloatArray, MatrixLike


class LogOddsClassifier(ClassifierMixin, SelfTunedModel):
    """Base of classifiers whose log odds are linear in the columns."""

    classes_: npt.NDArray[Any]
    coef_: FloatArray
    intercept_: FloatArray

    def __sklearn_tags__(self) -> Tags:
        tags = super().__sklearn_tags__()
        tags.classifier_tags.multi_class = False
        return tags

    def decision_function(self, X: MatrixLike) -> FloatArray:
        """Log odds of ``classes_[1]``.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples,)
            ``X @ coef_[0] + intercept_[0]``.
        """
        check_is_fitted(self)
        return self._predict_linear(X, *self._predictor())

    def predict(self, X: MatrixLike) -> npt.NDArray[Any]:
        """The likelier label of each row; ``classes_[1]`` where both are equally likely.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples,)
            Labels.
        """
        larger = self.decision_function(X) >= 0.0
        # A view costs nothing, which shows with a million rows.
        return self.classes_.take(larger.view(np.int8))

    def predict_proba(self, X: MatrixLike) -> FloatArray:
        """Probabilities of the two classes.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples, 2)
            Columns in the order of ``classes_``.
        """
        check_is_fitted(self)
        return _core.predict_probability(self._validate_rows(X), *self._predictor())

    def predict_log_proba(self, X: MatrixLike) -> FloatArray:
        """Logarithms of the probabilities, exact where those round to 0 or 1.

        Parameters
        ----------
        X : array-like of shape (n_samples, n_features)
            Rows in the units of the training rows.

        Returns
        -------
        ndarray of shape (n_samples, 2)
            Columns in the order of ``classes_``.
        """
        check_is_fitted(self)
        return _core.predict_log_probability(self._validate_rows(X), *self._predictor())

    def _predictor(self) -> tuple[FloatArray, float]:
        # Of a pickle mapped into memory these are of a class of their own.
        return np.asarray(self.coef_[0]), float(self.intercept_[0])
