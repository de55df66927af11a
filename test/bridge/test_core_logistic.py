# SPDX-License-Identifier: BSD-3-Clause
"""The logistic functions of trevalon._core, against formulas in numpy and other solvers.

With z = X b + c, s = -1 or +1, v = p (1 - p) and R the penalty's second derivatives, a fit
at given strengths has H = Z' diag(v) Z + R, Z = [X 1], and leaves each row out by

    zeta = z + h l' / (1 - h v),   h = diag(Z H^-1 Z')
"""

from itertools import pairwise

import numpy as np
import pytest
from scipy import optimize
from scipy.special import expit

from bridge_support import OwnError, load_core

core = load_core()

PENALTIES = ["l2", "l1", "elasticnet", "bridge"]
KINDS = {
    "l2": ["l2_strength"],
    "l1": ["l1_strength"],
    "elasticnet": ["l2_strength", "l1_strength"],
    "bridge": ["bridge_strength", "bridge_exponent"],
}
# Of three columns whose effects are far from zero.
STRENGTHS = {
    "l2": [[0.5], [2.0], [0.1]],
    "l1": [[1.0], [0.5], [2.0]],
    "elasticnet": [[0.5, 1.0], [2.0, 0.5], [0.1, 2.0]],
    "bridge": [[0.5, 1.5], [1.0, 3.0], [2.0, 1.0]],
}


@pytest.fixture
def data():
    """80 rows of 3 columns in units of their own, all with an effect."""
    random = np.random.default_rng(8)
    X = random.normal(size=(80, 3))
    odds = X @ [1.5, -1.0, 2.0] + 0.3
    return X + np.array([0.0, 2.0, -1.0]), (random.uniform(size=80) < expit(odds)).astype(
        float
    )


def solve(data, penalty, strengths=None, **options):
    X, y = data
    options = {
        "groups": np.zeros(X.shape[1], dtype=int),
        "fit_intercept": True,
        "normalize": True,
    } | options
    if strengths is not None:
        options["strengths"] = np.array(strengths)
    return core.fit_logistic(X, y, penalty=penalty, **options)


def table_of(found, penalty):
    return np.column_stack([found[name] for name in KINDS[penalty]])


def penalty_terms(penalty, table, b):
    """Values and second derivatives of the penalties of coefficients away from 0."""
    first, last = np.array(table, dtype=float).T[[0, -1]]
    size = np.abs(b)
    if penalty == "bridge":
        return first * size**last, first * last * (last - 1.0) * size ** (last - 2.0)
    value, curvature = np.zeros_like(b), np.zeros_like(b)
    if penalty in ("l2", "elasticnet"):
        value, curvature = value + first * b**2 / 2.0, curvature + first
    if penalty in ("l1", "elasticnet"):
        value = value + last * size
    return value, curvature


def loss(z, y):
    return np.logaddexp(0.0, np.where(y > 0.5, -z, z))


def leave_each_out(data, penalty, found, *, fit_intercept=True):
    """Predictors without each row, and what each column takes of the trace, by dense
    algebra."""
    X, y = data
    Z = np.column_stack([X, np.ones(len(X))]) if fit_intercept else X
    z = X @ found["coef"] + found["intercept"]
    p = expit(z)
    v = p * (1.0 - p)
    _, curvature = penalty_terms(penalty, table_of(found, penalty), found["coef"])
    gram = Z.T @ (v[:, np.newaxis] * Z)
    R = np.zeros(Z.shape[1])
    R[: X.shape[1]] = curvature
    inverse = np.linalg.inv(gram + np.diag(R))
    h = np.einsum("ij,jk,ik->i", Z, inverse, Z)
    return z + h * (p - y) / (1.0 - h * v), np.diag(inverse @ gram)


@pytest.mark.parametrize("fit_intercept", [True, False])
@pytest.mark.parametrize("normalize", [True, False])
@pytest.mark.parametrize("penalty", PENALTIES)
def test_a_fit_at_given_strengths_minimizes_what_is_documented(
    data, penalty, normalize, fit_intercept
):
    X, y = data
    table = STRENGTHS[penalty]

    def objective(x):
        z = X @ x[:3] + (x[3] if fit_intercept else 0.0)
        return loss(z, y).sum() + penalty_terms(penalty, table, x[:3])[0].sum()

    start = np.array([1.0, -1.0, 1.0, 0.0])[: 4 if fit_intercept else 3]
    other = optimize.minimize(
        objective, start, method="Nelder-Mead",
        options={"xatol": 1e-9, "fatol": 1e-13, "maxiter": 20_000, "maxfev": 20_000},
    )  # fmt: skip
    assert np.abs(other.x[:3]).min() > 0.05
    found = solve(data, penalty, table, normalize=normalize, fit_intercept=fit_intercept)
    np.testing.assert_allclose(found["coef"], other.x[:3], rtol=1e-5)
    np.testing.assert_allclose(found["intercept"], [*other.x, 0.0][3], atol=1e-5)
    np.testing.assert_array_equal(table_of(found, penalty), table)
    assert found["end"] == "tolerance met"


@pytest.mark.parametrize("fit_intercept", [True, False])
@pytest.mark.parametrize("groups", [[0, 0, 0], [1, 0, 1], [0, -1, 1]])
@pytest.mark.parametrize("penalty", PENALTIES)
def test_predictors_criterion_and_degrees_of_freedom_are_those_of_the_formulas(
    data, penalty, groups, fit_intercept
):
    groups = np.array(groups)
    table = np.array(STRENGTHS[penalty])
    table[groups < 0] = [0.0, 1.0][: table.shape[1]]
    found = solve(data, penalty, table, groups=groups, fit_intercept=fit_intercept)
    at = dict(found)
    if penalty == "bridge":  # NaN stands for the exponent of no penalty
        at["bridge_exponent"] = np.nan_to_num(found["bridge_exponent"], nan=1.0)
    zeta, parts = leave_each_out(data, penalty, at, fit_intercept=fit_intercept)
    np.testing.assert_allclose(found["loo_decision"], zeta, rtol=1e-7, atol=1e-7)
    assert found["criterion_value"] == pytest.approx(loss(zeta, data[1]).sum(), rel=1e-8)
    assert found["effective_dof"] == pytest.approx(parts.sum(), rel=1e-7)
    by_group = [parts[:3][groups == g].sum() for g in range(int(groups.max()) + 1)]
    np.testing.assert_allclose(found["effective_dof_by_group"], by_group, rtol=1e-7)


@pytest.mark.parametrize("penalty", PENALTIES)
def test_the_search_reports_the_fit_at_the_strengths_that_it_found(data, penalty):
    found = solve(data, penalty, groups=np.array([0, -1, 1]), tol=1e-7)
    given = solve(data, penalty, table_of(found, penalty), groups=np.array([0, -1, 1]))
    assert found.keys() == given.keys()
    for name in ("coef", "loo_decision", "effective_dof_by_group"):
        np.testing.assert_allclose(given[name], found[name], rtol=1e-3, atol=1e-4)
    assert given["criterion_value"] == pytest.approx(found["criterion_value"], rel=1e-5)
    assert len(found["history"]["value"]) == found["n_iter"] + 1
    assert found["history"]["hyperparameters"].shape == (
        found["n_iter"] + 1, 2 * len(KINDS[penalty])
    )  # fmt: skip
    assert len(given["history"]["value"]) == 0
    assert given["hyperparameters"].shape == (0,)


@pytest.mark.parametrize("normalize", [True, False])
@pytest.mark.parametrize("penalty", PENALTIES)
@pytest.mark.parametrize("groups", [[0, 0, 0], [1, 0, 1]])
def test_the_gradient_is_the_limit_of_differences_that_fall_as_the_square(
    data, penalty, groups, normalize
):
    X, y = data
    groups = np.array(groups)
    options = {"penalty": penalty, "groups": groups, "fit_intercept": True,
               "normalize": normalize}  # fmt: skip
    table = np.array(STRENGTHS[penalty])
    table[2, -1] = 1.2  # away from the edge of the exponents

    def value_at(group, kind, t):
        moved = table.copy()
        rows = groups == group
        if penalty == "bridge" and kind == 1:
            moved[rows, kind] += t
        else:
            moved[rows, kind] *= np.exp(t)
        return core.logistic_criterion(X, y, strengths=moved, **options)["value"]

    at = core.logistic_criterion(X, y, strengths=table, **options)
    assert at["gradient"].shape == (int(groups.max()) + 1, table.shape[1])
    for (group, kind), slope in np.ndenumerate(at["gradient"]):
        errors = [
            abs((value_at(group, kind, h) - value_at(group, kind, -h)) / (2 * h) - slope)
            for h in (0.04, 0.02, 0.01)
        ]
        for coarse, fine in pairwise(errors):
            # The rounding of a difference is about 1e-14 * 30 / h.
            assert fine < 0.3 * coarse + 1e-10
        assert errors[-1] < 1e-3 * (1.0 + abs(slope))


def test_criterion_and_fit_agree_on_the_value(data):
    for penalty in PENALTIES:
        at = core.logistic_criterion(
            *data, penalty=penalty, groups=np.zeros(3, dtype=int), fit_intercept=True,
            normalize=True, strengths=np.array(STRENGTHS[penalty]),
        )  # fmt: skip
        found = solve(data, penalty, STRENGTHS[penalty])
        assert at["value"] == pytest.approx(found["criterion_value"], rel=1e-7)


@pytest.mark.parametrize("penalty", PENALTIES)
def test_given_strengths_in_the_units_of_the_data_move_with_these(data, penalty):
    """For column j in units of 1/u: b' = b / u, and strength' = strength * u^q."""
    X, y = data
    units = np.array([1e-3, 7.0, 1e5])
    table = np.array(STRENGTHS[penalty])
    moved = table.copy()
    if penalty == "bridge":
        moved[:, 0] *= units ** table[:, 1]
    else:
        powers = {"l2": [2.0], "l1": [1.0], "elasticnet": [2.0, 1.0]}[penalty]
        moved *= units[:, np.newaxis] ** powers
    found = solve((X, y), penalty, table)
    other = solve((X * units, y), penalty, moved)
    np.testing.assert_allclose(other["coef"] * units, found["coef"], rtol=1e-6)
    np.testing.assert_allclose(other["loo_decision"], found["loo_decision"], rtol=1e-6)


@pytest.mark.parametrize("order", ["C", "F"])
def test_the_layout_of_the_rows_does_not_matter(data, order):
    X, y = data
    expected = solve(data, "l2")
    apart = np.repeat(np.repeat(X, 2, axis=0), 3, axis=1)[::2, ::3]
    for rows in (np.asarray(X, order=order), apart):
        assert solve((rows, y), "l2")["coef"].tolist() == expected["coef"].tolist()


def test_probabilities_keep_the_digits_of_the_smaller_one():
    odds = np.array([0.0, 1e-9, -3.0, 40.0, -40.0, 800.0, -800.0])
    X = odds[:, np.newaxis]
    p = core.predict_probability(X, np.ones(1), 0.0)
    np.testing.assert_allclose(p, expit(np.column_stack([-odds, odds])), rtol=1e-14)
    log_p = core.predict_log_probability(X, np.ones(1), 0.0)
    expected = -np.logaddexp(0.0, np.column_stack([odds, -odds]))
    np.testing.assert_allclose(log_p, expected, rtol=1e-14)
    assert core.predict_probability(np.empty((0, 1)), np.ones(1), 0.0).shape == (0, 2)


def test_the_observer_sees_each_iteration_and_may_end_the_search(data):
    seen = []
    found = solve(data, "l2", observer=lambda *record: seen.append(record))
    assert [record[0] for record in seen] == list(range(found["n_iter"] + 1))
    assert [record[1] for record in seen] == found["history"]["value"].tolist()
    stopped = solve(data, "l2", tol=1e-9, observer=lambda k, *_: k == 2)
    assert stopped["end"] == "stopped by a callback"
    assert stopped["n_iter"] == 2
    for penalty in PENALTIES:
        with pytest.raises(OwnError):
            solve(data, penalty, observer=raise_own_error)


def raise_own_error(*_):
    raise OwnError


def test_the_limit_on_iterations_ends_the_search_by_name(data):
    found = solve(data, "l2", tol=1e-12, max_iter=1)
    assert found["end"] == "limit reached"
    assert found["converged"] is False
    assert found["n_iter"] == 1


@pytest.mark.parametrize("penalty", PENALTIES)
def test_a_start_at_the_strengths_found_ends_soon_and_no_higher(data, penalty):
    found = solve(data, penalty)
    table = table_of(found, penalty)
    if not np.isfinite(table).all():
        pytest.skip("the search went to strengths that are not numbers")
    again = solve(data, penalty, start=table)
    assert again["n_iter"] <= max(3, found["n_iter"])
    assert again["criterion_value"] <= found["criterion_value"] * (1.0 + 1e-6)


@pytest.mark.parametrize(
    ("change", "text"),
    [
        ({"groups": np.zeros(2, dtype=int)}, "X, y and groups differ in size"),
        ({"strengths": np.ones((2, 1))}, "strengths have another shape"),
        ({"strengths": np.ones((3, 2))}, "strengths have another shape"),
        ({"penalty": "l3"}, "unknown penalty"),
    ],
)
def test_arguments_that_do_not_fit_together_are_refused(data, change, text):
    options = {"penalty": "l2", "groups": np.zeros(3, dtype=int), "fit_intercept": True,
               "normalize": True} | change  # fmt: skip
    with pytest.raises(ValueError, match=text):
        core.fit_logistic(*data, **options)
