# SPDX-License-Identifier: BSD-3-Clause
"""Fits of trevalon._core as computations beside others: the lock, signals, observers,
forks, and the arguments that they take."""

import os
import signal
import sys
import threading

import numpy as np
import pytest
import trevalon_impl

from bridge_support import OwnError, load_core, run_child

core = load_core()

OPTIONS = {
    "criterion": "loo",
    "groups": None,
    "fit_intercept": True,
    "normalize": True,
    "start": None,
    "alpha": None,
    "tol": 1e-4,
    "max_iter": 10_000,
    "observer": None,
}


def make_data(rows=200, columns=6):
    random = np.random.default_rng(2)
    X = random.normal(size=(rows, columns))
    return X, X[:, 0] + 0.5 * random.normal(size=rows)


def fit(X, y, **options):
    return core.fit_ridge(X, y, **(OPTIONS | options))


def test_an_observer_sees_each_iteration_as_the_history_has_it():
    seen = []

    def observe(iteration, value, gradient, radius, hyperparameters):
        seen.append((iteration, value, gradient, radius, *hyperparameters))

    found = fit(*make_data(), observer=observe)
    history = found["history"]
    assert [row[0] for row in seen] == list(range(found["n_iter"] + 1))
    columns = [history[name] for name in ("value", "gradient_norm", "radius")]
    np.testing.assert_array_equal(
        np.array(seen)[:, 1:], np.column_stack([*columns, history["hyperparameters"]])
    )
    assert history["value"][-1] == found["criterion_value"]
    np.testing.assert_array_equal(history["hyperparameters"][-1], found["hyperparameters"])
    assert np.all(np.diff(history["value"]) <= 0.0)


def test_the_hyperparameters_of_the_history_stand_in_the_order_of_the_columns():
    X, y = make_data()
    found = fit(X, y)
    # alpha_j = theta_j^2 |x_j|^2 for centered columns
    squares = np.sum((X - X.mean(axis=0)) ** 2, axis=0)
    theta = found["history"]["hyperparameters"][-1]
    np.testing.assert_allclose(theta**2 * squares, found["alpha"], rtol=1e-12)


def test_an_exception_of_an_observer_comes_out_of_the_fit():
    def observe(iteration, *_):
        if iteration == 1:
            raise OwnError("enough")

    with pytest.raises(OwnError, match="enough"):
        fit(*make_data(), observer=observe)


def test_an_observer_ends_the_search_by_a_true_result():
    X, y = make_data()
    found = fit(X, y, observer=lambda iteration, *_: iteration == 2)
    assert (found["end"], found["n_iter"]) == ("stopped by a callback", 2)
    # The report is that of the point where the search ended.
    same = fit(X, y, alpha=found["alpha"])
    np.testing.assert_allclose(found["coef"], same["coef"], rtol=1e-8)


def test_the_limit_of_iterations_ends_the_search_by_name():
    found = fit(*make_data(), max_iter=1)
    assert (found["end"], found["converged"], found["n_iter"]) == (
        "limit reached",
        False,
        1,
    )


@pytest.mark.usefixtures("ctrl_c_raises")
def test_a_signal_during_a_fit_ends_it_with_what_its_handler_raises():
    def observe(iteration, *_):
        if iteration == 1:
            os.kill(os.getpid(), signal.SIGINT)

    with pytest.raises(KeyboardInterrupt):
        fit(*make_data(), observer=observe)


def test_a_signal_is_seen_in_the_first_evaluation_of_a_large_fit():
    program = """
import signal, sys
import numpy as np
from test_core_runs import core, fit
X = np.random.default_rng(0).normal(size=(400_000, 40))
y = X[:, 0] + np.random.default_rng(1).normal(size=len(X))
seen = []
signal.setitimer(signal.ITIMER_REAL, 0.15)
def end(*_):
    raise KeyboardInterrupt
signal.signal(signal.SIGALRM, end)
try:
    for _ in range(1000):
        fit(X, y, groups=[0] * 40, observer=lambda *row: seen.append(row[0]))
except KeyboardInterrupt:
    print("ended")
"""
    child = run_child(program)
    assert (child.returncode, child.stdout) == (0, "ended\n"), child.stderr


def another_thread_runs_during(action):
    """Whether another thread gets the lock within `action`, tried many times. With a long
    switch interval no thread gives it up unless it waits or says so."""
    has_run = False

    def note():
        nonlocal has_run
        go.acquire()
        has_run = True

    go = threading.Lock()
    go.acquire()
    other = threading.Thread(target=note)
    other.start()
    interval = sys.getswitchinterval()
    sys.setswitchinterval(1000.0)
    try:
        go.release()
        for _ in range(200):
            action()
            if has_run:
                break
    finally:
        seen = has_run
        sys.setswitchinterval(interval)
        other.join()
    return seen


def test_another_thread_goes_on_during_a_fit_and_a_prediction():
    X, y = make_data(20_000, 60)
    coef = np.ones(60)
    assert another_thread_runs_during(lambda: fit(X, y))
    assert another_thread_runs_during(lambda: fit(X, y, alpha=coef))
    assert another_thread_runs_during(lambda: core.predict_linear(X, coef, 0.0))
    # The other module keeps the lock, and the check can tell.
    model = trevalon_impl.RidgeRegressionModel(score="loocv", grouping_mode="none")
    assert not another_thread_runs_during(lambda: model.fit(X[:50], y[:50]))


def test_the_results_of_fits_in_many_threads_are_those_of_fits_one_by_one():
    problems = [make_data(300 + 10 * i, 5 + i % 3) for i in range(8)]
    expected = [fit(X, y) for X, y in problems]
    found = [None] * len(problems)

    def work(i):
        for _ in range(20):
            found[i] = fit(*problems[i])

    threads = [threading.Thread(target=work, args=(i,)) for i in range(len(problems))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for one, other in zip(found, expected, strict=True):
        np.testing.assert_allclose(one["coef"], other["coef"], rtol=1e-9)
        np.testing.assert_allclose(one["leverage"], other["leverage"], rtol=1e-9)


def test_a_child_that_is_forked_while_another_thread_fits_can_fit_itself():
    program = """
import os, threading, warnings
import numpy as np
from test_core_runs import fit, make_data
warnings.simplefilter("ignore", DeprecationWarning)  # of fork in a process with threads
X, y = make_data(3000, 40)
small = make_data(50, 3)
expected = fit(*small)["coef"]
is_fitting = threading.Event()
is_done = False
def work():
    while not is_done:
        fit(X, y, observer=lambda *_: is_fitting.set())
thread = threading.Thread(target=work)
thread.start()
is_fitting.wait()
ends = []
for _ in range(20):
    child = os.fork()
    if child == 0:
        same = np.array_equal(fit(*small)["coef"], expected)
        os._exit(0 if same else 1)
    ends.append(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
is_done = True
thread.join()
print(set(ends))
"""
    child = run_child(program)
    assert (child.returncode, child.stdout) == (0, "{0}\n"), child.stderr


@pytest.mark.parametrize(
    ("options", "kind", "text"),
    [
        ({"criterion": "best"}, ValueError, "unknown criterion"),
        ({"groups": np.array([0, 1])}, ValueError, "groups has not one entry"),
        ({"groups": np.full(6, 6)}, ValueError, "out of range"),
        ({"groups": np.full(6, -1)}, ValueError, "out of range"),
        ({"start": np.ones(2)}, ValueError, "start has not one entry"),
        ({"alpha": np.ones(2)}, ValueError, "alpha has not one entry"),
        ({"alpha": [1.0] * 6}, TypeError, "alpha must be a numpy array of float64"),
    ],
)
def test_arguments_that_do_not_fit_are_refused(options, kind, text):
    with pytest.raises(kind, match=text):
        fit(*make_data(), **options)


@pytest.mark.parametrize(
    ("X", "y"),
    [
        (np.ones((3, 2)), np.ones(4)),
        (np.ones((0, 2)), np.ones(0)),
        (np.ones((3, 0)), np.ones(3)),
    ],
)
def test_data_of_other_shapes_are_refused(X, y):
    with pytest.raises(ValueError, match="are empty, or differ in length"):
        fit(X, y)


def test_a_fit_that_is_not_possible_names_its_reason():
    X, y = make_data()
    with pytest.raises(core.FitError, match="overflows"):
        fit(1e200 * X, y)
    with pytest.raises(core.FitError, match=r"^dependent columns: \[6\]$"):
        fit(np.column_stack([X, X[:, 0]]), y, criterion="range_risk")


def test_a_fit_that_ends_early_leaves_the_data_as_they_were():
    X, y = make_data(20, 3)
    before = [np.copy(X), np.copy(y)]
    for _ in range(3):
        with pytest.raises(OwnError):
            fit(X, y, observer=expect_own_error)
    np.testing.assert_array_equal(X, before[0])
    np.testing.assert_array_equal(y, before[1])


def expect_own_error(*_):
    raise OwnError
