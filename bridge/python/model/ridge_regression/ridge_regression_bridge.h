// SPDX-License-Identifier: BSD-3-Clause
//
// ridge_regression_bridge: the C++ object that a Python instance of the ridge type owns:
// options, the data of the last `fit`, the fitted record, the members that Python calls.
//
// Every conversion and callback runs Python code, which may call into the same model:
// members hold the data and the record they work on, in shared ownership.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "model/ridge_regression/ridge_regression_model_descriptor.h"
#include "python/grouper_bridge.h"
#include "python/optimizer_stack.h"
#include "python/python.h"
#include "python/python_object.h"
#include "python/training_data.h"

namespace corvane::python_bridge {

class ridge_regression_bridge {
 public:
  // `num_groups` of 0 means that the grouping mode decides.
  ridge_regression_bridge(model::ridge_regression_model_options&& options,
                          std::uint64_t num_groups, std::optional<grouper_bridge>&& grouper,
                          optimizer_stack stack);

  // Where the optimizer and its filters are, with what they recorded.
  const optimizer_stack& optimizers() const { return stack_; }

  // Replaces the stored data; replaces the fitted record on success only.
  void fit(PyObject* arguments, PyObject* keywords);
  python_object predict(PyObject* arguments, PyObject* keywords) const;
  // Ends the process when the stored design and target are mismatched.
  python_object make_objective(PyObject* arguments, PyObject* keywords) const;

  // These raise RuntimeError before the first successful fit.
  python_object weights() const;
  python_object regularization() const;
  python_object regularization_groups() const;
  python_object score() const;
  python_object within_tolerance() const;

 private:
  model::ridge_regression_model fit_core(const features_and_target& arguments,
                                         const training_data& data) const;

  model::ridge_regression_model_descriptor descriptor_;
  std::uint64_t num_groups_;
  std::optional<grouper_bridge> grouper_;
  optimizer_stack stack_;
  training_data stored_;  // of the last `fit`, also of one that failed
  std::shared_ptr<const model::ridge_regression_model> fitted_;
};

}  // namespace corvane::python_bridge
