# SPDX-License-Identifier: BSD-3-Clause
"""Logistic fits against their definition, against another library's at the penalty that was
found, and against changes of the data that leave the predictions alone."""

import numpy as np
import pytest
from scipy.special import expit
from sklearn.linear_model import LogisticRegression

from logistic_support import (
    PENALTIES,
    THRESHOLD,
    PenalizedFit,
    classification,
    coded,
    fitted,
    normalized,
    penalty_terms,
    refit,
    spread,
)

TIGHT = {"tolerance": 1e-9}
# A bridge penalty with a large exponent is a wall around the origin: its optimizer follows
# an exponent without bound, and its slope is steep beyond any tolerance. On the data of
# these seeds the exponent stays between 2 and 4.
SEEDS = {"l2": range(5), "l1": range(5), "elasticnet": range(5), "bridge": (2, 3)}
EVERY_PENALTY = pytest.mark.parametrize(
    ("penalty", "seed"),
    [(penalty, seed) for penalty in PENALTIES for seed in SEEDS[penalty]],
)


def normalized_weights(model, X, intercept=True):
    """The weights of the normalized columns, the bias column's last."""
    if not intercept:
        return model.weights * np.linalg.norm(X, axis=0)
    centered = X - X.mean(axis=0)
    return model.weights * np.append(np.linalg.norm(centered, axis=0), np.sqrt(len(X)))


def peer(strength, l1_ratio, **options):
    """Another library's fit, whose penalty has the strength 1 / C."""
    return LogisticRegression(
        C=1.0 / strength, l1_ratio=l1_ratio, tol=1e-12, max_iter=100_000, **options
    )


# Against another library, on the normalized columns


@pytest.mark.parametrize("seed", range(4))
@pytest.mark.parametrize("intercept", [False, True])
def test_l2_weights_are_those_of_another_library_at_the_same_penalty(seed, intercept):
    X, y = classification(n=150, p=5, seed=seed)
    model = fitted(X, y, fit_intercept=int(intercept), **TIGHT)
    A = normalized(X, intercept)[:, :5]
    [strength] = model.hyperparameters**2
    other = peer(strength, 0.0, solver="newton-cholesky", fit_intercept=intercept)
    other.fit(A, y)
    weights = normalized_weights(model, X, intercept)
    np.testing.assert_allclose(weights[:5], other.coef_[0], rtol=1e-5, atol=1e-5)
    np.testing.assert_allclose(
        model.predict_proba(X), other.predict_proba(A), rtol=1e-5, atol=1e-7
    )


def strong_effects(seed):
    """Data of which every weight is far from the zone around zero that is smoothed."""
    random = np.random.default_rng(seed)
    X = random.normal(size=(200, 3))
    return X, (X @ [1.5, -1.0, 0.8] + random.logistic(size=200) > 0.0).astype(float)


@pytest.mark.parametrize("seed", range(4))
def test_l1_weights_outside_the_smoothing_zone_are_those_of_another_library(seed):
    X, y = strong_effects(seed)
    model = fitted(X, y, penalty="l1", fit_intercept=0, **TIGHT)
    weights = normalized_weights(model, X, intercept=False)
    assert np.all(np.abs(weights) > THRESHOLD)
    [strength] = model.hyperparameters**2
    other = peer(strength, 1.0, solver="liblinear", fit_intercept=False)
    other.fit(normalized(X, intercept=False), y)
    np.testing.assert_allclose(weights, other.coef_[0], rtol=1e-5)


@pytest.mark.parametrize("seed", range(2))
def test_elasticnet_weights_outside_the_smoothing_zone_are_those_of_another_library(seed):
    X, y = strong_effects(seed)
    model = fitted(X, y, penalty="elasticnet", init0=lambda n: [0.3, 0.6], **TIGHT)
    weights = normalized_weights(model, X)
    assert np.all(np.abs(weights[:3]) > THRESHOLD)
    ridge, lasso = model.hyperparameters**2
    other = peer(ridge + lasso, lasso / (ridge + lasso), solver="saga", random_state=0)
    other.fit(normalized(X)[:, :3], y)
    np.testing.assert_allclose(weights[:3], other.coef_[0], rtol=1e-5)


# Against the definition


@EVERY_PENALTY
def test_at_the_weights_the_slope_of_the_penalized_loss_vanishes(penalty, seed):
    X, y = classification(n=100, p=4, seed=seed)
    model = fitted(X, y, penalty=penalty, **TIGHT)
    w = normalized_weights(model, X)
    A, t = normalized(X), coded(y)
    slope = A.T @ (-t * expit(-t * (A @ w)))
    theta = spread(model.hyperparameters, 4)
    slope[:4] += penalty_terms(penalty, theta, w[:4])[1]
    assert np.abs(slope).max() < 1e-5


@pytest.mark.parametrize("seed", range(5))
@pytest.mark.parametrize(
    ("penalty", "tolerance"), [("l2", 1e-8), ("l1", 1e-4), ("elasticnet", 1e-4)]
)
def test_weights_are_those_of_plain_arithmetic_beside_an_outlier(penalty, tolerance, seed):
    """A column keeps all its digits although one of its values is 10^6 times the others.
    Weights under l2 are as exact as the tolerance of the fit makes them."""
    X, y = classification(n=100, p=4, seed=seed)
    X[7, 2] = 1e6
    model = fitted(X, y, penalty=penalty, tolerance=tolerance)
    exact = refit(model, X, y, penalty)
    assert exact.gradient_max < 1e-9
    lengths = np.append(np.linalg.norm(X - X.mean(axis=0), axis=0), np.sqrt(len(X)))
    expected = exact.w / lengths
    np.testing.assert_allclose(
        model.weights, expected, rtol=0.0, atol=1e-9 * np.abs(expected).max()
    )


@pytest.mark.parametrize("seed", range(5))
@pytest.mark.parametrize("penalty", ["l2", "l1", "elasticnet"])
def test_no_common_strength_within_a_factor_of_two_has_a_lower_score(penalty, seed):
    X, y = classification(n=100, p=4, seed=seed)
    model = fitted(X, y, penalty=penalty, tolerance=1e-6)
    found = refit(model, X, y, penalty).score()
    for factor in np.geomspace(0.5, 2.0, 17):
        other = refit(model, X, y, penalty, theta=model.hyperparameters * factor)
        assert other.gradient_max < 1e-6
        assert other.score() > found - 1e-5 * abs(found)


@pytest.mark.parametrize("seed", range(5))
def test_no_strength_and_exponent_of_a_bridge_within_a_factor_of_two_have_a_lower_score(
    seed,
):
    X, y = classification(n=100, p=8, seed=seed)
    model = fitted(X, y, penalty="bridge")
    assert model.within_tolerance
    found = refit(model, X, y, "bridge").score()
    factors = np.geomspace(0.5, 2.0, 9)
    for strength in factors:
        for exponent in factors:
            theta = model.hyperparameters * [strength, exponent]
            other = refit(model, X, y, "bridge", theta=theta)
            assert other.gradient_max < 1e-6
            assert other.score() > found - 1e-5 * abs(found)


def test_an_l1_score_of_many_jumps_does_not_keep_the_search_at_its_start():
    """Each feature that comes in makes the score jump; the best common strength is a third
    of the start value, and fifty features lie between."""
    random = np.random.default_rng(0)
    X = random.normal(size=(1000, 100))
    effects = np.where(np.arange(100) % 2 == 0, random.normal(size=100), 0.0)
    z = X @ effects * (2.0 / np.linalg.norm(effects))
    y = (z + random.logistic(size=1000) > 0.0).astype(float)
    model = fitted(X, y, penalty="l1")
    found = refit(model, X, y, "l1").score()
    for strength in (0.7, 1.0):
        other = fitted(X, y, penalty="l1", init0=lambda n, at=strength: [at])
        at_start = refit(other, X, y, "l1", theta=np.array([strength])).score()
        assert found < 0.98 * at_start


@pytest.mark.parametrize("seed", range(3))
def test_with_two_groups_no_pair_of_strengths_nearby_has_a_lower_score(seed):
    X, y = classification(n=100, p=4, seed=seed)
    groups = np.array([0, 0, 1, 1])
    model = fitted(X, y, grouper=lambda X, y: groups, tolerance=1e-6)
    found = refit(model, X, y, "l2", groups).score()
    for first in (0.7, 0.9, 1.0, 1.1, 1.4):
        for second in (0.7, 0.9, 1.0, 1.1, 1.4):
            theta = model.hyperparameters * [first, second]
            score = refit(model, X, y, "l2", groups, theta).score()
            assert score > found - 1e-5 * abs(found)


def test_the_approximation_is_close_to_a_refit_without_each_observation():
    """The oracle itself: what the score stands for, by brute force."""
    X, y = classification(n=60, p=3)
    A, t = normalized(X), coded(y)
    theta = np.full(3, 0.3)
    whole = PenalizedFit(A, t, "l2", theta, 3)
    losses = []
    for i in range(60):
        rest = np.arange(60) != i
        left_out = PenalizedFit(A[rest], t[rest], "l2", theta, 3, whole.w)
        losses.append(np.logaddexp(0.0, -t[i] * (A[i] @ left_out.w)))
    assert whole.score() == pytest.approx(sum(losses), rel=0.01)


# Shapes that occur


@pytest.mark.parametrize("penalty", PENALTIES)
def test_more_features_than_observations(penalty):
    X, y = classification(n=30, p=60)
    model = fitted(X, y, penalty=penalty)
    assert np.all(np.isfinite(model.weights))
    assert np.mean(model.predict(X) == y) > 0.8


@pytest.mark.parametrize("penalty", PENALTIES)
def test_one_hundred_thousand_observations_of_twenty_features(penalty):
    X, y = classification(n=100_000, p=20)
    model = fitted(X, y, penalty=penalty)
    other = LogisticRegression(C=1e6, tol=1e-10, solver="newton-cholesky").fit(X, y)
    # The score hardly depends on the exponent of a bridge: a run may stop short of the end.
    assert model.within_tolerance or penalty == "bridge"
    # So many observations leave the penalty next to nothing to say.
    np.testing.assert_allclose(model.weights[:-1], other.coef_[0], rtol=0.02, atol=0.005)


@pytest.mark.parametrize("penalty", PENALTIES)
def test_perfectly_separable_classes_are_separated_by_finite_weights(penalty):
    X, _ = classification(n=40, p=3)
    y = (X[:, 0] > np.median(X[:, 0])).astype(float)
    model = fitted(X, y, penalty=penalty)
    assert np.all(np.isfinite(model.weights))
    assert np.mean(model.predict(X) == y) > 0.95


@pytest.mark.parametrize("penalty", PENALTIES)
@pytest.mark.parametrize("normalize", [0, 1])
def test_a_constant_column_gets_no_weight_and_changes_no_prediction(penalty, normalize):
    X, y = classification(n=100, seed=3)
    with_constant = np.column_stack([X, np.full(100, 3.0)])
    model = fitted(with_constant, y, penalty=penalty, normalize=normalize)
    plain = fitted(X, y, penalty=penalty, normalize=normalize)
    assert abs(model.weights[4]) < 1e-12
    np.testing.assert_allclose(
        model.predict_proba(with_constant), plain.predict_proba(X), rtol=1e-4, atol=1e-5
    )


def test_two_equal_columns_share_their_weight_under_l2():
    X, y = classification(n=100)
    model = fitted(np.column_stack([X, X[:, 0]]), y)
    assert model.weights[0] == pytest.approx(model.weights[4], rel=1e-9)


@pytest.mark.parametrize("penalty", PENALTIES)
def test_equal_columns_leave_no_fit_undefined(penalty):
    X, y = classification()
    model = fitted(np.column_stack([X, X]), y, penalty=penalty)
    assert np.all(np.isfinite(model.weights))


@pytest.mark.parametrize("penalty", PENALTIES)
def test_one_feature_is_enough(penalty):
    X, y = classification(n=80, p=1)
    model = fitted(X, y, penalty=penalty)
    assert model.weights.shape == (2,)
    assert np.mean(model.predict(X) == y) > 0.7


@pytest.mark.parametrize("penalty", PENALTIES)
def test_where_no_penalty_is_better_than_another_none_is_found_within_tolerance(penalty):
    """The penalty of columns that are zero once they are centered acts on nothing."""
    X, y = np.full((60, 3), 2.0), classification()[1]
    model = fitted(X, y, penalty=penalty)
    assert model.within_tolerance is False
    np.testing.assert_allclose(model.weights[:3], 0.0, atol=1e-7)
    np.testing.assert_allclose(model.predict_proba(X)[:, 1], y.mean(), rtol=1e-6)


# Laws


@EVERY_PENALTY
def test_a_swap_of_the_labels_mirrors_the_probabilities(penalty, seed):
    X, y = classification(n=100, seed=seed)
    model = fitted(X, y, penalty=penalty, tolerance=1e-7)
    mirrored = fitted(X, 1.0 - y, penalty=penalty, tolerance=1e-7)
    np.testing.assert_allclose(
        mirrored.predict_proba(X)[:, ::-1], model.predict_proba(X), rtol=0.0, atol=1e-7
    )


@pytest.mark.parametrize("seed", range(4))
@pytest.mark.parametrize("penalty", PENALTIES)
def test_with_normalize_the_scale_of_a_column_does_not_matter(penalty, seed):
    X, y = classification(n=100, seed=seed)
    # Powers of two, which round nothing.
    scale = np.array([1.0, 1024.0, 0.125, 4.0])
    scaled = fitted(X * scale, y, penalty=penalty)
    plain = fitted(X, y, penalty=penalty)
    np.testing.assert_array_equal(scaled.predict_proba(X * scale), plain.predict_proba(X))
    np.testing.assert_array_equal(scaled.hyperparameters, plain.hyperparameters)


@pytest.mark.parametrize("seed", range(3))
def test_without_normalize_the_columns_keep_their_scale_in_the_penalty(seed):
    """The bias column has its length of 1 all the same."""
    X, y = classification(n=100, seed=seed)
    model = fitted(X, y, normalize=0, **TIGHT)
    w = model.weights * np.array([1.0, 1.0, 1.0, 1.0, 10.0])
    A = np.column_stack([X - X.mean(axis=0), np.full(100, 0.1)])
    t = coded(y)
    slope = A.T @ (-t * expit(-t * (A @ w)))
    slope[:4] += model.hyperparameters**2 * w[:4]
    assert np.abs(slope).max() < 1e-6


@pytest.mark.parametrize("penalty", PENALTIES)
def test_the_bias_weight_is_in_units_of_the_bias_column_and_gives_the_predictions(penalty):
    X, y = classification()
    model = fitted(X, y, penalty=penalty)
    z = (X - X.mean(axis=0)) @ model.weights[:4] + model.weights[4]
    np.testing.assert_allclose(model.predict_proba(X)[:, 1], expit(z), rtol=1e-12)
