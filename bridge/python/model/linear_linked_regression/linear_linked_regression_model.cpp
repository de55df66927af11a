// SPDX-License-Identifier: BSD-3-Clause
#include "python/model/linear_linked_regression/linear_linked_regression_model.h"

#include <cstdio>
#include <stdexcept>
#include <utility>
#include <vector>

#include "n_array/panic.h"
#include "python/array_conversion.h"
#include "python/model_checks.h"
#include "python/python_error.h"
#include "python/readable_matrix.h"
#include "python/result_vector.h"

namespace corvane::python_bridge {

namespace {

// Runs `body`, and writes to stderr what the exception says that with_fit_error is about to
// replace.
template <class Body>
void with_report(Body&& body) {
  try {
    std::forward<Body>(body)();
  } catch (const python_error&) {
    throw;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    throw;
  }
}

}  // namespace

logistic_regression_model::logistic_regression_model(
    model::linear_linked_regression_model_options&& options,
    std::optional<grouper_bridge>&& grouper, model::penalty_mode penalty)
    : descriptor_{std::move(options)}, grouper_{std::move(grouper)}, penalty_{penalty} {}

void logistic_regression_model::fit(PyObject* arguments, PyObject* keywords) {
  with_fit_error("failed to fit LogisticRegressionModel", [&] {
    with_report([&] {
      const auto parsed = parse_features_and_target(arguments, keywords, "OO:fit");
      // From here on the arguments' own copies: Python code that runs below may fit this
      // model to other data.
      const training_data data = read_training_data(parsed, stored_);
      require_matching(data);
      // An exception leaves the earlier record in its place.
      fitted_ = std::make_shared<const model::linear_linked_regression_model>(
          fit_core(parsed, data));
    });
  });
}

model::linear_linked_regression_model logistic_regression_model::fit_core(
    const features_and_target& arguments, const training_data& data) const {
  auto mapping = map_columns(arguments, data.design->cols());
  // An optimizer without a variable has nothing to choose, and no start to choose from.
  if (mapping.groups().empty())
    throw std::invalid_argument{"no column has a penalty: there is nothing to optimize"};
  return descriptor_.fit(*data.target, *data.design,
                         model::make_penalty(penalty_, std::move(mapping)));
}

// The group of each column of the normalized design. A column without a penalty is one that
// is held at a strength of 0: those of the number -1, and the bias, which comes last.
variable_mapping logistic_regression_model::map_columns(
    const features_and_target& arguments, index_t num_columns) const {
  std::vector<variable_mapping::entry> entries(static_cast<std::size_t>(num_columns),
                                               index_t{0});
  if (grouper_) {
    const index_vector groups = (*grouper_)(arguments.X, arguments.y, num_columns);
    for (std::size_t j = 0; j < entries.size(); ++j) {
      const index_t group = groups[static_cast<index_t>(j)];
      entries[j] =
          group == -1 ? variable_mapping::entry{0.0} : variable_mapping::entry{group};
    }
  }
  if (descriptor_.options().with_bias) entries.emplace_back(0.0);
  return variable_mapping{entries};
}

// What a prediction works on.
struct logistic_regression_model::prediction_task {
  std::shared_ptr<const model::linear_linked_regression_model> fitted;
  readable_matrix rows;
};

auto logistic_regression_model::read_rows(PyObject* arguments, PyObject* keywords,
                                          const char* format) const -> prediction_task {
  // Ahead of any look at the arguments.
  require_fitted(fitted_);
  const python_object X = parse_object(arguments, keywords, format, "X");
  readable_matrix rows{X.get()};
  // Taken after the conversion, which may have fitted the model anew.
  auto fitted = require_fitted(fitted_);
  require_columns(rows.cols(), fitted->normalizer.num_features());
  return {std::move(fitted), std::move(rows)};
}

python_object logistic_regression_model::predict(PyObject* arguments,
                                                 PyObject* keywords) const {
  const prediction_task task = read_rows(arguments, keywords, "O:predict");
  // The label itself, as it was given to `fit`, and not a number of the class.
  result_vector classes{task.rows.rows()};
  task.fitted->predict(task.rows.op(), task.rows.block(), classes.numbers());
  return classes.release();
}

python_object logistic_regression_model::predict_proba(PyObject* arguments,
                                                       PyObject* keywords) const {
  const prediction_task task = read_rows(arguments, keywords, "O:predict_proba");
  const index_t n = task.rows.rows();
  auto probabilities = with_memory_error([n] { return dense_matrix(n, 2); });
  const vector_view smaller = probabilities.view().column(0);
  const vector_view larger = probabilities.view().column(1);
  task.fitted->predict_proba(task.rows.op(), task.rows.block(), larger);
  // Each row sums to 1, up to the rounding of this one difference.
  for (index_t i = 0; i < n; ++i) smaller[i] = 1.0 - larger[i];
  return to_numpy_matrix(const_matrix_view{probabilities});
}

// Not static: it stands in a table of members.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
python_object logistic_regression_model::make_objective(PyObject* /*arguments*/,
                                                        PyObject* /*keywords*/) const {
  panic("not implemented", __LINE__,
        "bridge/python/model/linear_linked_regression/linear_linked_regression_model");
}

// numpy may run Python code while a result is written, which may fit the model anew: each
// attribute holds the record that it reads.
python_object logistic_regression_model::weights() const {
  const auto fitted = require_fitted(fitted_);
  return to_numpy_vector(fitted->weights);
}

python_object logistic_regression_model::hyperparameters() const {
  const auto fitted = require_fitted(fitted_);
  return to_numpy_vector(fitted->result.x);
}

python_object logistic_regression_model::within_tolerance() const {
  return python_object{
      PyBool_FromLong(require_fitted(fitted_)->result.within_tolerance ? 1 : 0)};
}

}  // namespace corvane::python_bridge
