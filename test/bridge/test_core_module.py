# SPDX-License-Identifier: BSD-3-Clause
"""trevalon._core as a module: what it exports, how it reads arrays, its predictor."""

import subprocess
from pathlib import Path

import numpy as np
import pytest

from bridge_support import load_core

core = load_core()


def test_the_init_function_is_the_one_exported_symbol():
    listing = subprocess.run(
        ["nm", "-D", "--defined-only", core.__file__],
        capture_output=True,
        text=True,
        check=True,
    ).stdout
    assert [line.split()[-1] for line in listing.splitlines()] == ["PyInit__core"]


def test_the_file_name_says_that_the_module_serves_every_later_python():
    assert Path(core.__file__).name == "_core.abi3.so"


def test_the_failure_of_a_fit_is_a_value_error():
    assert issubclass(core.FitError, ValueError)
    assert core.FitError.__module__ == "trevalon._core"


@pytest.mark.parametrize("order", ["C", "F"])
@pytest.mark.parametrize("shape", [(0, 3), (1, 1), (7, 3), (500, 40)])
def test_the_linear_predictor_is_the_product_plus_the_intercept(shape, order):
    random = np.random.default_rng(3)
    X = np.asarray(random.normal(size=shape), order=order)
    coef = random.normal(size=shape[1])
    np.testing.assert_allclose(
        core.predict_linear(X, coef, 2.5), X @ coef + 2.5, rtol=1e-12, atol=1e-12
    )


def test_the_linear_predictor_reads_rows_and_columns_that_are_apart():
    X = np.arange(48.0).reshape(6, 8)[::2, 1::3]
    coef = np.array([2.0, -1.0, 0.5])
    np.testing.assert_allclose(core.predict_linear(X, coef, 0.0), X @ coef, rtol=1e-14)


@pytest.mark.parametrize(
    ("coef", "kind"),
    [
        (np.ones(2), ValueError),
        (np.ones(3, dtype=np.float32), TypeError),
        (np.ones((3, 1)), TypeError),
        ([1.0, 1.0, 1.0], TypeError),
    ],
)
def test_coefficients_of_another_kind_or_number_are_refused(coef, kind):
    with pytest.raises(kind):
        core.predict_linear(np.ones((2, 3)), coef, 0.0)
