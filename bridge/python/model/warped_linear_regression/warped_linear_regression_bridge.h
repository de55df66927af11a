// SPDX-License-Identifier: BSD-3-Clause
//
// warped_linear_regression_bridge: the C++ object that a Python instance of the warped type
// owns: options, the data of the last `fit`, the fitted record, and the members that Python
// calls.
//
// Every conversion and callback runs Python code, which may call into the same model:
// members hold the data and the record they work on, in shared ownership.
#pragma once

#include <memory>

#include "model/warped_linear_regression/warped_linear_regression_model_descriptor.h"
#include "python/optimizer_stack.h"
#include "python/python.h"
#include "python/python_object.h"
#include "python/training_data.h"

namespace corvane::python_bridge {

class warped_linear_regression_bridge {
 public:
  warped_linear_regression_bridge(model::warped_linear_regression_model_options&& options,
                                  optimizer_stack stack);

  // The optimizer and its filters, with what they recorded.
  const optimizer_stack& optimizers() const { return stack_; }

  // Replaces the stored data; replaces the fitted record on success only.
  void fit(PyObject* arguments, PyObject* keywords);
  python_object make_objective(PyObject* arguments, PyObject* keywords) const;
  // The map of given parameters; it needs no fit.
  python_object make_warper(PyObject* arguments, PyObject* keywords) const;
  // The latent means and their standard deviations, in normalized units, as a tuple.
  python_object predict_latent_with_stddev(PyObject* arguments, PyObject* keywords) const;
  python_object predict(PyObject* arguments, PyObject* keywords) const;

  // These raise RuntimeError before the first successful fit.
  python_object regressors() const;
  python_object noise_variance() const;
  // A new handle on the fitted map.
  python_object warper() const;
  python_object within_tolerance() const;

 private:
  struct prediction_task;
  prediction_task read_rows(PyObject* arguments, PyObject* keywords) const;

  model::warped_linear_regression_model_descriptor descriptor_;
  optimizer_stack stack_;
  training_data stored_;  // of the last `fit`, also of one that failed
  std::shared_ptr<const model::warped_fit> fitted_;
};

}  // namespace corvane::python_bridge
