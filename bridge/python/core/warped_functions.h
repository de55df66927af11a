// SPDX-License-Identifier: BSD-3-Clause
//
// trevalon._core: fits of the warped linear regression and all that is predicted from its
// state, a dict of plain arrays and numbers.
#pragma once

#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// fit_warped(X, y, *, n_steps, fit_intercept, normalize, start, tol, max_iter, observer)
//   -> dict. `start` is None or (alpha, beta, gamma) of each step.
python_object fit_warped(PyObject* arguments, PyObject* keywords);

// warped_predict(state, X, what, argument=None); `what` is one of
//   "latent"       -> (mean, deviation) of the latent values
//   "mean"         -> means of the targets
//   "moments"      -> (mean, deviation) of the targets
//   "quantiles"    -> (n, q), `argument` the q scores: standard normal quantiles
//   "log_density"  -> at the targets `argument`
python_object warped_predict(PyObject* arguments, PyObject* keywords);

// The map of a state over vectors; of the state they read the map alone.
// warp_transform(state, y) -> z, warp_derivative(state, y) -> dz/dy,
// warp_inverse(state, z) -> y
python_object warp_transform(PyObject* arguments, PyObject* keywords);
python_object warp_derivative(PyObject* arguments, PyObject* keywords);
python_object warp_inverse(PyObject* arguments, PyObject* keywords);

// make_warp(parameters, y, shift, scale) -> the map as a dict, of (alpha, beta, gamma) per
// step and the targets y
python_object make_warp(PyObject* arguments, PyObject* keywords);

}  // namespace corvane::python_bridge
