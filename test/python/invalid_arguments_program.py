# SPDX-License-Identifier: BSD-3-Clause
"""Calls every public method of one estimator with random, mostly invalid arguments.

    invalid_arguments_program.py KIND LAST_CALL

Every exception is a correct result. The parent process tests that this one ends normally
and in time. LAST_CALL is a file that names the call in progress.
"""

import sys
import warnings
from pathlib import Path

import matplotlib as mpl
import matplotlib.pyplot as plt
import numpy as np
from hypothesis import HealthCheck, Phase, given, settings
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp

import trevalon

NUMBERS = st.sampled_from(
    [0.0, -0.0, 1.0, -1.0, 2.0, 1e-3, 1e8, 1e154, 1e160, 1e308, -1e308, 1e-160, 1e-308,
     5e-324, -5e-324, np.nan, np.inf, -np.inf]
) | st.floats(-10.0, 10.0)  # fmt: skip
FINITE = NUMBERS.filter(np.isfinite)
OBJECTS = st.none() | st.booleans() | st.integers() | st.text(max_size=3) | NUMBERS


@st.composite
def matrices(draw):
    """Mostly matrices of numbers, of any size, also empty; sometimes other objects."""
    shape = draw(st.tuples(st.integers(0, 14), st.integers(0, 4)))
    kind = draw(
        st.sampled_from(["plain"] * 4 + ["finite", "special", "objects", "text", "odd"])
    )
    if kind == "odd":
        return draw(OBJECTS | st.lists(OBJECTS, max_size=3) | st.just(np.ones((2, 2, 2))))
    if kind == "text":
        return draw(hnp.arrays("U2", shape))
    if kind == "objects":
        return draw(hnp.arrays(object, shape, elements=OBJECTS))
    elements = {"plain": st.floats(-10.0, 10.0), "finite": FINITE, "special": NUMBERS}[kind]
    X = draw(hnp.arrays(float, shape, elements=elements))
    if X.shape[1] > 1:
        change = draw(st.sampled_from(["none", "constant", "duplicate", "tiny"]))
        if change == "constant":
            X[:, -1] = draw(FINITE)
        elif change == "duplicate":
            X[:, -1] = X[:, 0]
        elif change == "tiny":
            X *= 1e-310
    return X


def vectors(length):
    """Targets: classes, numbers, constants, other objects; sometimes of another length."""
    return st.one_of(
        hnp.arrays(np.int64, length, elements=st.integers(0, 1)),
        hnp.arrays(float, length, elements=st.floats(-10.0, 10.0)),
        hnp.arrays(float, length, elements=FINITE),
        hnp.arrays(float, length, elements=NUMBERS),
        FINITE.map(lambda value: np.full(length, value)),
        hnp.arrays("U1", length, elements=st.sampled_from("ab")),
        hnp.arrays(object, length, elements=OBJECTS),
        st.lists(OBJECTS, max_size=5),
        OBJECTS,
    )


@st.composite
def nearly_valid_data(draw):
    """Normal draws that can be fitted, with one property changed."""
    random = np.random.default_rng(draw(st.integers(0, 10**6)))
    n, p = draw(st.integers(8, 30)), draw(st.integers(1, 4))
    X = random.normal(size=(n, p))
    latent = X.sum(axis=1) + 0.5 * random.normal(size=n)
    y = draw(st.sampled_from([latent > 0.0, latent, np.exp(3.0 * latent), np.sign(latent)]))
    column, row = draw(st.integers(0, p - 1)), draw(st.integers(0, n - 1))
    change = draw(st.sampled_from(["none", "scale", "entry", "constant", "duplicate", "y"]))
    if change == "scale":
        X[:, column] *= draw(FINITE)
    elif change == "entry":
        X[row, column] = draw(FINITE)
    elif change == "constant":
        X[:, column] = draw(FINITE)
    elif change == "duplicate":
        X = np.column_stack([X, X[:, column]])
    elif change == "y" and y.dtype == float:
        y[row] = draw(FINITE)
    return X, y


@st.composite
def any_data(draw):
    X = draw(matrices())
    length = X.shape[0] if isinstance(X, np.ndarray) and X.ndim > 0 else 3
    return X, draw(vectors(length))


PARAMETERS = {
    "criterion": st.sampled_from(["gcv", "loo", "range_risk", "none", None]),
    "penalty": st.sampled_from(["l2", "l1", "elasticnet", "bridge", "l3", 0]),
    "groups": st.one_of(
        st.sampled_from(["all", "none", "some"]), st.integers(-1, 10**25),
        st.lists(st.integers(0, 2), max_size=4), st.lists(OBJECTS, max_size=4),
        st.dictionaries(st.text(max_size=1), OBJECTS, max_size=3), OBJECTS,
        st.just(lambda X, y: "none"), st.just(lambda X, y: np.zeros(X.shape[1])),
    ),
    "n_steps": st.sampled_from([1, 2, 3, 0, -1, 10**9, 10**30, 1.5, None]),
    "fit_intercept": st.booleans() | OBJECTS,
    "normalize": st.booleans() | OBJECTS,
    "init": st.none() | NUMBERS | st.lists(NUMBERS, max_size=4)
    | st.just(lambda count: [1e300] * count) | OBJECTS,
    "alpha": st.sampled_from([None, None, None, 1.0, 0.0, -1.0, 1e300, np.nan, "a", [1.0]]),
    "strength": st.sampled_from(
        [None, None, None, 1.0, 0.0, -1.0, 1e300, np.nan, "a", [1.0, 2.0],
         {"l2": 1.0, "l1": 0.1}, {"strength": 1.0, "exponent": 1.5}]
    ),
    "warm_start": st.booleans() | OBJECTS,
    "max_iter": st.sampled_from([10_000, 1, 0, -1, 10**30, 1.5, None]),
    "verbose": st.sampled_from([0, 0, 1, True, -1, 10**30, "loud", None]),
    "tol": st.sampled_from([1e-4, 1e-4, 1e-12, 5e-324, 1e300, 0.0, -1.0, np.nan, None]),
}  # fmt: skip


def estimators(kind):
    """The estimator with its defaults, and with some parameters that may be invalid."""
    names = kind().get_params()
    others = st.fixed_dictionaries({}, optional={name: PARAMETERS[name] for name in names})
    return (st.just({}) | others).map(lambda parameters: kind(**parameters))


def attempt(note, function, *arguments, **keywords):
    """Calls and ignores every exception; the file names the last call."""
    note.write_text(f"{function!r}\n{arguments!r}\n{keywords!r}\n")
    try:
        return function(*arguments, **keywords)
    except Exception:
        return None


def call_everything(note, estimator, data):
    """Fits, then calls every public method and reads every public attribute.

    Returns whether the fit succeeded.
    """
    X, y = data.draw(any_data() | nearly_valid_data() | nearly_valid_data())
    fitted = False
    if data.draw(st.integers(0, 9)) > 0:
        fitted = attempt(note, estimator.fit, X, y) is estimator
    other = data.draw(st.just(X) | matrices())
    for name in sorted(set(dir(type(estimator))) - {"fit"}):
        if name.startswith("_"):
            continue
        method = attempt(note, getattr, estimator, name)
        if callable(method):
            for arguments in ((other,), (other, y), (other, data.draw(OBJECTS)), ()):
                attempt(note, method, *arguments)
    warper = getattr(estimator, "warper_", None)
    if warper is not None:
        for method in (warper.transform, warper.inverse_transform, warper.derivative):
            attempt(note, method, y)
            attempt(note, method, other)
    for name in trevalon.__all__:
        if name.endswith("Display"):
            from_estimator = getattr(trevalon, name).from_estimator
            for arguments in ((estimator,), (estimator, other, y)):
                attempt(note, from_estimator, *arguments)
    plt.close("all")
    return fitted


def main():
    kind = getattr(trevalon, sys.argv[1])
    note = Path(sys.argv[2])
    mpl.use("Agg")
    warnings.simplefilter("ignore")
    examples = fits = 0

    @settings(
        max_examples=120,
        deadline=None,
        database=None,
        derandomize=True,
        phases=[Phase.generate],
        suppress_health_check=list(HealthCheck),
    )
    @given(estimators(kind), st.data())
    def drive(estimator, data):
        nonlocal examples, fits
        examples += 1
        fits += call_everything(note, estimator, data)

    drive()
    print(examples, fits)


if __name__ == "__main__":
    main()
