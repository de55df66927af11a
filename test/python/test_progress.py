# SPDX-License-Identifier: BSD-3-Clause
"""Progress and result messages of a fit, and its interruption."""

import os
import pickle
import signal
import warnings

import numpy as np
import pytest
from sklearn.exceptions import ConvergenceWarning
from sklearn.model_selection import GridSearchCV
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import StandardScaler

import trevalon
from trevalon import RidgeRegression


class Recorder:
    """A callback that records the tasks and runs a given action at the end of one."""

    def __init__(self, at_iteration=None, action=None):
        self.at_iteration = at_iteration
        self.action = action
        self.begun = []
        self.ended = []
        self.is_torn_down = False

    def setup(self, estimator, context):
        pass

    def teardown(self, estimator, context):
        self.is_torn_down = True

    def on_fit_task_begin(self, estimator, context):
        self.begun.append((context.task_name, context.task_id))

    def on_fit_task_end(self, estimator, context):
        self.ended.append((context.task_name, context.task_id))
        if context.task_name == "iteration" and context.task_id == self.at_iteration:
            return self.action()
        return None


class PropagatedRecorder(Recorder):
    """A callback that meta-estimators pass on to the estimators that they fit."""

    max_propagation_depth = None


@pytest.fixture
def model():
    return RidgeRegression("loo", groups="none")


def test_a_verbose_fit_writes_one_line_for_each_iteration(regression, model, capsys):
    model.set_params(verbose=1).fit(*regression)
    out, err = capsys.readouterr()
    lines = err.splitlines()
    assert out == ""
    assert len(lines) == model.n_iter_
    for number, line in enumerate(lines, start=1):
        assert line.startswith(f"[RidgeRegression] iteration {number}: criterion ")
    model.set_params(verbose=0).fit(*regression)
    assert capsys.readouterr() == ("", "")


def test_the_history_is_that_of_the_search(regression, model):
    model.fit(*regression)
    assert {name: len(of) for name, of in model.history_.items()} == dict.fromkeys(
        ("value", "gradient_norm", "radius", "hyperparameters"), model.n_iter_ + 1
    )
    assert model.history_["value"][-1] == model.criterion_value_
    start = model.criterion_at(*regression, model.alpha_ * start_ratio(model))[0]
    assert model.history_["value"][0] == pytest.approx(start, rel=1e-9)


def start_ratio(model):
    path = model.history_["hyperparameters"]
    return (path[0] / path[-1]) ** 2


@pytest.mark.parametrize("verbose", [-1, 0.5, "yes", None])
def test_an_invalid_verbosity_is_refused(regression, verbose):
    with pytest.raises(ValueError, match="'verbose' parameter"):
        RidgeRegression(verbose=verbose).fit(*regression)


@pytest.mark.parametrize("max_iter", [0, -1, 1.5, True, 10**10])
def test_an_invalid_limit_is_refused(regression, max_iter):
    with pytest.raises(ValueError, match="'max_iter' parameter"):
        RidgeRegression(max_iter=max_iter).fit(*regression)


def test_the_limit_of_iterations_is_named_with_a_remedy(regression, model):
    with pytest.warns(ConvergenceWarning, match=r"max_iter .* larger max_iter"):
        model.set_params(max_iter=1).fit(*regression)
    assert (model.n_iter_, model.convergence_) == (1, "limit reached")
    assert model.converged_ is False


def test_a_pickle_of_another_version_warns(regression, model, monkeypatch):
    model.fit(*regression)
    same = pickle.loads(pickle.dumps(model))
    np.testing.assert_array_equal(same.coef_, model.coef_)
    assert "_trevalon_version" not in vars(same)
    monkeypatch.setattr("trevalon._base.__version__", "0.0.1")
    old = pickle.dumps(model)
    monkeypatch.undo()
    with pytest.warns(
        UserWarning, match=f"trevalon 0.0.1 .* trevalon {trevalon.__version__}"
    ):
        pickle.loads(old)


def has_callbacks():
    return hasattr(RidgeRegression, "set_callbacks")


needs_callbacks = pytest.mark.skipif(
    not has_callbacks(), reason="scikit-learn has callbacks from release 1.9 on"
)


@needs_callbacks
def test_each_iteration_is_a_task_below_that_of_the_fit(regression, model):
    recorder = Recorder()
    model.set_callbacks(recorder).fit(*regression)
    iterations = [("iteration", k) for k in range(model.n_iter_)]
    assert recorder.begun == [("fit", 0), *iterations]
    assert recorder.ended == [*iterations, ("fit", 0)]
    assert recorder.is_torn_down


@needs_callbacks
def test_a_callback_may_end_the_search(regression, model):
    recorder = Recorder(1, lambda: True)
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        model.set_callbacks(recorder).fit(*regression)
    assert (model.convergence_, model.n_iter_) == ("stopped by a callback", 2)
    assert model.converged_ is False


@needs_callbacks
def test_what_a_callback_raises_leaves_the_estimator_as_it_was(regression, model):
    def fail():
        raise LookupError("no more")

    recorder = Recorder(1, fail)
    model.set_callbacks(recorder)
    before = dict(vars(model))
    with pytest.raises(LookupError, match="no more"):
        model.fit(*regression)
    assert vars(model) == before
    assert recorder.is_torn_down


@needs_callbacks
@pytest.mark.usefixtures("ctrl_c_raises")
def test_an_interrupted_fit_leaves_the_estimator_as_it_was(regression, model):
    X, y = regression
    fitted = dict(vars(model.fit(X, y)))
    model.set_callbacks(Recorder(1, lambda: os.kill(os.getpid(), signal.SIGINT)))
    with pytest.raises(KeyboardInterrupt):
        model.fit(X[:30], 2.0 * y[:30])
    del model._skl_callbacks
    assert vars(model).keys() == fitted.keys()
    for name, value in fitted.items():
        assert vars(model)[name] is value


@needs_callbacks
def test_callbacks_reach_the_estimator_in_a_pipeline_and_in_a_search(regression, model):
    recorder = PropagatedRecorder()
    pipeline = make_pipeline(StandardScaler(), model).set_callbacks(recorder)
    pipeline.fit(*regression)
    count = pipeline[-1].n_iter_
    assert [task for task in recorder.ended if task[0] == "iteration"] == [
        ("iteration", k) for k in range(count)
    ]
    recorder = PropagatedRecorder()
    search = GridSearchCV(model, {"normalize": [False, True]}, cv=2)
    search.set_callbacks(recorder).fit(*regression)
    # Two candidates on two splits, and once more on all rows.
    assert recorder.ended.count(("iteration", 0)) == 5


@needs_callbacks
def test_the_progress_bar_of_scikit_learn_runs(regression, model):
    pytest.importorskip("rich")
    from sklearn.callback import ProgressBar

    model.set_callbacks(ProgressBar()).fit(*regression)
    assert model.converged_
