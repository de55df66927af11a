// SPDX-License-Identifier: BSD-3-Clause
//
// logistic_regression_model: the C++ object that a Python instance of the logistic type
// owns: options, the data of the last `fit`, the fitted record, and the members that Python
// calls.
//
// Every conversion and callback runs Python code, which may call into the same model:
// members hold the data and the record they work on, in shared ownership.
#pragma once

#include <memory>
#include <optional>

#include "model/linear_linked_regression/linear_linked_regression_model_descriptor.h"
#include "model/linear_linked_regression/penalty_mode.h"
#include "optimization/variable_mapping.h"
#include "python/grouper_bridge.h"
#include "python/python.h"
#include "python/python_object.h"
#include "python/training_data.h"

namespace corvane::python_bridge {

class logistic_regression_model {
 public:
  // Without a grouper the columns share one set of hyperparameters.
  logistic_regression_model(model::linear_linked_regression_model_options&& options,
                            std::optional<grouper_bridge>&& grouper,
                            model::penalty_mode penalty);

  // Replaces the stored data; replaces the fitted record on success only. Any failure but
  // one of the caller's own arguments and callables is told on stderr, too.
  void fit(PyObject* arguments, PyObject* keywords);
  // n class values.
  python_object predict(PyObject* arguments, PyObject* keywords) const;
  // n by 2: the probabilities of the smaller and of the larger class value.
  python_object predict_proba(PyObject* arguments, PyObject* keywords) const;
  // Ends the process: there is no such objective yet that Python could study.
  python_object make_objective(PyObject* arguments, PyObject* keywords) const;

  // These raise RuntimeError before the first successful fit.
  python_object weights() const;
  python_object hyperparameters() const;
  python_object within_tolerance() const;

 private:
  struct prediction_task;
  prediction_task read_rows(PyObject* arguments, PyObject* keywords,
                            const char* format) const;
  model::linear_linked_regression_model fit_core(const features_and_target& arguments,
                                                 const training_data& data) const;
  variable_mapping map_columns(const features_and_target& arguments,
                               index_t num_columns) const;

  model::linear_linked_regression_model_descriptor descriptor_;
  std::optional<grouper_bridge> grouper_;
  model::penalty_mode penalty_;
  training_data stored_;  // of the last `fit`, also of one that failed
  std::shared_ptr<const model::linear_linked_regression_model> fitted_;
};

}  // namespace corvane::python_bridge
