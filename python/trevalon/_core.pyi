# SPDX-License-Identifier: BSD-3-Clause
# Arrays are numpy.ndarray of float64 and of no subclass; their values are not checked.
import numpy as np
import numpy.typing as npt

_Array = npt.NDArray[np.float64]

# A fit that cannot be carried out; its one argument is the reason, a short text.
class FitError(ValueError): ...

def predict_linear(X: _Array, coef: _Array, intercept: float) -> _Array: ...
