# SPDX-License-Identifier: BSD-3-Clause
"""Strengths of the logistic estimator: given, as start point, and in criterion_at; the
record of a fit; and data of any magnitude."""

import signal
import warnings

import numpy as np
import pytest
import sklearn.linear_model
from sklearn.exceptions import ConvergenceWarning

from trevalon import LogisticRegression

PENALTIES = ["l2", "l1", "elasticnet", "bridge"]
GIVEN = {
    "l2": 0.7,
    "l1": 0.7,
    "elasticnet": {"l2": 0.7, "l1": 0.2},
    "bridge": {"strength": 0.7, "exponent": 1.5},
}
CORNERS = pytest.mark.filterwarnings("ignore::sklearn.exceptions.ConvergenceWarning")


@pytest.mark.parametrize("fit_intercept", [False, True])
@pytest.mark.parametrize("normalize", [False, True])
def test_a_fit_at_a_given_strength_is_that_of_another_library(
    classification, fit_intercept, normalize
):
    X, y = classification
    model = LogisticRegression(
        strength=0.25, fit_intercept=fit_intercept, normalize=normalize
    ).fit(X, y)
    other = sklearn.linear_model.LogisticRegression(
        C=4.0, fit_intercept=fit_intercept, tol=1e-10, max_iter=10_000, solver="newton-cg"
    ).fit(X, y)
    np.testing.assert_allclose(model.coef_, other.coef_, rtol=1e-6)
    np.testing.assert_allclose(model.intercept_, other.intercept_, rtol=1e-6)
    assert model.l2_strength_.tolist() == [0.25] * 4
    assert model.convergence_ == "tolerance met"
    assert model.history_["value"].shape == (0,)


@pytest.mark.parametrize("penalty", PENALTIES)
def test_one_number_one_for_each_group_and_one_for_each_column_are_one_fit(
    classification, penalty
):
    X, y = classification
    groups = ["b", "a", None, "b"]
    fits = []
    for spread in (lambda s: s, lambda s: [s, s], lambda s: [s, s, np.nan, s]):
        strength = GIVEN[penalty]
        if isinstance(strength, dict):
            strength = {kind: spread(s) for kind, s in strength.items()}
        else:
            strength = spread(strength)
        fits.append(LogisticRegression(penalty, groups=groups, strength=strength).fit(X, y))
    for model in fits[1:]:
        np.testing.assert_array_equal(model.coef_, fits[0].coef_)
        np.testing.assert_equal(model.strength_, fits[0].strength_)


@CORNERS
@pytest.mark.parametrize("normalize", [True, False])
@pytest.mark.parametrize("penalty", ["l2", "l1", "elasticnet"])
def test_the_strengths_of_a_fit_start_another_one_at_its_end(
    classification, penalty, normalize
):
    X, y = classification
    groups = [0, 1, 0, None]
    model = LogisticRegression(penalty, groups=groups, normalize=normalize).fit(X, y)
    for other in (
        LogisticRegression(
            penalty, groups=groups, normalize=normalize, init=model.strength_
        ),
        LogisticRegression(
            penalty, groups=groups, normalize=normalize, init=lambda _: model.strength_
        ),
    ):
        other.fit(X, y)
        assert other.n_iter_ <= max(2, model.n_iter_ // 2)
        assert other.criterion_value_ <= model.criterion_value_ * (1.0 + 1e-4)
    start = other.history_["hyperparameters"][0]
    end = model.history_["hyperparameters"][model.history_["value"].argmin()]
    np.testing.assert_allclose(np.abs(start), np.abs(end), rtol=1e-6)


def test_a_warm_start_goes_on_from_the_fit_before(classification):
    X, y = classification
    cold = LogisticRegression(max_iter=2, warm_start=True)
    with pytest.warns(ConvergenceWarning, match="max_iter iterations were made"):
        cold.fit(X, y)
    assert (cold.convergence_, cold.n_iter_, cold.converged_) == ("limit reached", 2, False)
    first = cold.history_["value"]
    cold.set_params(max_iter=1000).fit(X, y)
    assert cold.history_["value"][0] == pytest.approx(first[-1], rel=1e-3)
    assert cold.converged_
    # Of another penalty there is nothing to start from.
    fresh = LogisticRegression("l1").fit(X, y)
    cold.set_params(penalty="l1").fit(X, y)
    np.testing.assert_array_equal(cold.coef_, fresh.coef_)


@pytest.mark.parametrize("penalty", PENALTIES)
def test_criterion_and_gradient_have_the_value_of_the_fit_and_the_shape_asked_for(
    classification, penalty
):
    X, y = classification
    model = LogisticRegression(penalty, groups=[0, 1, None, 0], strength=GIVEN[penalty])
    model.fit(X, y)
    slopes = {}
    for name, spread in {
        "one": lambda s: s,
        "groups": lambda s: [s, s],
        "columns": lambda s: [s, s, s, s],
    }.items():
        strength = GIVEN[penalty]
        if isinstance(strength, dict):
            strength = {kind: spread(s) for kind, s in strength.items()}
        else:
            strength = spread(strength)
        unfitted = LogisticRegression(penalty, groups=[0, 1, None, 0])
        value, gradient = unfitted.criterion_at(X, y, strength)
        assert value == pytest.approx(model.criterion_value_, rel=1e-9)
        assert not hasattr(unfitted, "classes_")
        slopes[name] = np.array(
            list(gradient.values()) if isinstance(gradient, dict) else [gradient]
        )
    by_column = slopes["columns"]
    assert by_column[:, 2].tolist() == [0.0] * len(by_column)
    sums = np.column_stack([by_column[:, 0] + by_column[:, 3], by_column[:, 1]])
    np.testing.assert_allclose(slopes["groups"], sums, rtol=1e-6, atol=1e-8)
    np.testing.assert_allclose(slopes["one"], sums.sum(axis=1), rtol=1e-6, atol=1e-8)


def test_each_kind_of_strength_may_be_given_in_its_own_shape(classification):
    X, y = classification
    model = LogisticRegression("elasticnet", groups=[0, 1, 1, 0])
    _, mixed = model.criterion_at(X, y, {"l2": 0.5, "l1": [0.2, 0.3]})
    _, apart = model.criterion_at(X, y, {"l2": [0.5] * 4, "l1": [0.2, 0.3, 0.3, 0.2]})
    assert mixed["l2"] == pytest.approx(apart["l2"].sum(), rel=1e-6)
    expected = [apart["l1"][[0, 3]].sum(), apart["l1"][[1, 2]].sum()]
    np.testing.assert_allclose(mixed["l1"], expected, rtol=1e-6)


@CORNERS
@pytest.mark.parametrize("penalty", ["l2", "l1", "elasticnet"])
def test_the_gradient_vanishes_where_the_search_has_ended(classification, penalty):
    X, y = classification
    model = LogisticRegression(penalty, tol=1e-8).fit(X, y)
    value, gradient = model.criterion_at(X, y, model.strength_)
    slopes = list(gradient.values()) if isinstance(gradient, dict) else [gradient]
    assert value == pytest.approx(model.criterion_value_, rel=1e-6)
    assert np.abs([np.sum(slope) for slope in slopes]).max() < 1e-3 * value


@pytest.mark.parametrize(
    ("penalty", "strength", "text"),
    [
        ("l2", -1.0, "finite and at or above 0"),
        ("l2", np.inf, "finite and at or above 0"),
        ("l2", [1.0, 2.0, 3.0], "one number, one for each group or one for each column"),
        ("l2", ["much"], "made of real numbers"),
        ("l2", {"l1": 1.0}, "a mapping with the keys 'l2' for penalty='l2'"),
        ("elasticnet", 1.0, "a mapping with the keys 'l2', 'l1'"),
        ("bridge", {"strength": 1.0}, "a mapping with the keys 'strength', 'exponent'"),
        ("bridge", {"strength": 1.0, "exponent": 0.5}, "must be at least 1"),
    ],
)
@pytest.mark.parametrize("name", ["strength", "init"])
def test_invalid_strengths_are_refused_by_name(
    classification, name, penalty, strength, text
):
    X, y = classification
    with pytest.raises(ValueError, match=text) as raised:
        LogisticRegression(penalty, **{name: strength}).fit(X, y)
    assert name in str(raised.value)


def test_an_error_of_an_init_passes_unchanged(classification):
    def start(count):
        raise LookupError(f"no start for {count} today")

    with pytest.raises(LookupError, match="no start for 1 today"):
        LogisticRegression(init=start).fit(*classification)


@CORNERS
def test_the_predictors_without_each_row_are_near_those_of_fits_without_it(classification):
    X, y = classification
    model = LogisticRegression(strength=0.5).fit(X, y)
    assert model.loo_decision_.shape == y.shape
    for i in (0, 17, 55):
        kept = np.arange(len(y)) != i
        without = LogisticRegression(strength=0.5).fit(X[kept], y[kept])
        exact = without.decision_function(X[i : i + 1])[0]
        plain = model.decision_function(X[i : i + 1])[0]
        assert abs(model.loo_decision_[i] - exact) < 0.2 * abs(plain - exact) + 1e-6


@CORNERS
@pytest.mark.parametrize("penalty", PENALTIES)
def test_the_criterion_is_the_loss_of_these_predictors(classification, penalty):
    X, y = classification
    model = LogisticRegression(penalty, groups=[0, 1, None, 0]).fit(X, y)
    losses = np.logaddexp(0.0, np.where(y == 1, -1.0, 1.0) * model.loo_decision_)
    assert model.criterion_value_ == pytest.approx(losses.sum(), rel=1e-12)
    free = model.effective_dof_ - model.effective_dof_by_group_.sum()
    assert 1.5 < free < 2.0 + 1e-9  # the intercept, and the column without penalty
    assert model.effective_dof_by_group_.shape == (2,)


def test_degrees_of_freedom_go_from_none_to_all_of_the_columns(classification):
    X, y = classification
    counts = [
        LogisticRegression(strength=strength).fit(X, y).effective_dof_
        for strength in (1e12, 1e2, 1.0, 0.0)
    ]
    assert counts[0] == pytest.approx(1.0, abs=1e-6)
    assert counts[-1] == pytest.approx(5.0, abs=1e-9)
    assert counts == sorted(counts)


def test_each_iteration_is_reported_on_standard_error(classification, capsys):
    model = LogisticRegression(verbose=1).fit(*classification)
    lines = capsys.readouterr().err.splitlines()
    assert len(lines) == model.n_iter_
    assert lines[0].startswith("[LogisticRegression] iteration 1: criterion ")
    assert len(model.history_["value"]) == model.n_iter_ + 1


class Stop(BaseException):
    pass


def test_a_signal_ends_a_fit_and_leaves_the_estimator_as_it_was(classification):
    """The handler runs during the fit, which takes seconds, and not after it."""
    random = np.random.default_rng(0)
    X = random.normal(size=(60_000, 60))
    y = (X[:, 0] + random.normal(size=60_000) > 0).astype(int)
    model = LogisticRegression(groups="none", tol=1e-12).fit(*classification)
    before = dict(vars(model))

    def stop(*_):
        raise Stop

    earlier = signal.signal(signal.SIGALRM, stop)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.3)
        with pytest.raises(Stop):
            model.fit(X, y)
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0.0)
        signal.signal(signal.SIGALRM, earlier)
    assert vars(model) == before


SCALES = [-320, -312, -308, -307, -300, -160, -100, 100, 155, 160, 300, 305, 307]


@pytest.mark.parametrize("scale", SCALES)
@pytest.mark.parametrize("normalize", [True, False])
@pytest.mark.parametrize("penalty", PENALTIES)
def test_data_of_any_size_are_fitted_with_numbers_or_refused(scale, normalize, penalty):
    random = np.random.default_rng(scale % 1000)
    X = random.uniform(-1.0, 1.0, size=(40, 3))
    y = (X[:, 0] + random.normal(size=40) * 0.5 > 0).astype(int)
    for columns in ([True] * 3, [True, False, False]):
        with np.errstate(under="ignore"):
            rows = X * np.where(columns, float(f"1e{scale}"), 1.0)
        model = LogisticRegression(penalty, normalize=normalize)
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            warnings.simplefilter("ignore", ConvergenceWarning)
            # As they are, without normalization, the squares overflow; and of lengths just
            # above the smallest number the coefficients do.
            may_fail = (not normalize and scale > 150) or scale in (-308, -307)
            try:
                model.fit(rows, y)
            except ValueError:
                if not may_fail:
                    raise
                continue
            results = [
                model.coef_,
                model.intercept_,
                model.loo_decision_,
                model.decision_function(rows),
                model.predict_proba(rows),
                model.predict_log_proba(rows),
            ]
        assert all(np.isfinite(result).all() for result in results)


@pytest.mark.parametrize("scale", [1e-300, 1e-160, 1e155, 1e300])
def test_a_fit_of_normalized_columns_does_not_depend_on_their_size(classification, scale):
    X, y = classification
    units = np.array([scale, 1.0, scale, 1.0])
    model = LogisticRegression().fit(X, y)
    other = LogisticRegression().fit(X * units, y)
    np.testing.assert_allclose(other.coef_ * units, model.coef_, rtol=1e-3, atol=1e-6)
    np.testing.assert_allclose(
        other.predict_proba(X * units), model.predict_proba(X), rtol=1e-4
    )


def test_columns_of_denormal_length_count_as_constant(classification):
    X, y = classification
    tiny = X.copy()
    tiny[:, 2] *= 1e-310
    model = LogisticRegression().fit(tiny, y)
    assert model.coef_[0, 2] == 0.0
    constant = X.copy()
    constant[:, 2] = 3.0
    other = LogisticRegression().fit(constant, y)
    np.testing.assert_allclose(model.coef_, other.coef_, rtol=1e-6)


def test_a_fit_that_fails_leaves_the_estimator_as_it_was(classification):
    X, y = classification
    model = LogisticRegression(normalize=False).fit(X, y)
    before = dict(vars(model))
    with pytest.raises(ValueError, match="rescale the data"):
        model.fit(np.column_stack([X, X[:, 0]]) * 1e160, y[::-1])
    assert vars(model).keys() == before.keys()
    assert all(vars(model)[name] is value for name, value in before.items())


def test_a_fit_that_ends_early_warns_at_the_call_of_fit_and_names_a_remedy(classification):
    with pytest.warns(ConvergenceWarning, match="Use a larger max_iter") as caught:
        LogisticRegression(max_iter=1).fit(*classification)
    assert caught[0].filename == __file__


def test_strengths_without_a_finite_fit_are_named_as_the_cause():
    X = np.array([[-2.0], [-1.0], [1.0], [2.0]])
    with pytest.raises(ValueError, match=r"at these strengths .* larger strengths"):
        LogisticRegression(strength=0.0).fit(X, [0, 0, 1, 1])
