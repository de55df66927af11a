// SPDX-License-Identifier: BSD-3-Clause
#include "python/core/logistic_functions.h"

#include <array>
#include <optional>
#include <utility>

#include "common/linear_algebra.h"
#include "model/linear_linked_regression/class_probabilities.h"
#include "model/linear_linked_regression/logistic_report.h"
#include "python/argument_parser.h"
#include "python/core/core_support.h"
#include "python/readable_matrix.h"
#include "python/result_vector.h"

namespace corvane::python_bridge {

namespace {

using model::iteration_history;
using model::logistic_data;
using model::logistic_options;
using model::logistic_report;
using model::penalty_mode;

// What the two functions that solve have in common. References are borrowed.
struct problem_arguments {
  PyObject* X = nullptr;
  PyObject* y = nullptr;
  const char* penalty = "l2";
  PyObject* groups = Py_None;
  int fit_intercept = 1;
  int normalize = 1;
  double tolerance = 1e-4;
  int max_iterations = 10000;
  PyObject* observer = Py_None;
};

// The arrays that they name, held.
struct held_problem {
  explicit held_problem(const problem_arguments& given)
      : X{"X", given.X, 2}, y{"y", given.y, 1}, groups{read_codes(given.groups)} {
    if (y.rows() != X.rows() || groups.size() != X.columns())
      raise_error(PyExc_ValueError, "X, y and groups differ in size");
  }

  // The one copy of the data. Without the lock.
  logistic_data data(interruption& interrupt) const {
    return {X.matrix(&interrupt), y.vector(), groups};
  }

  array_argument X;
  array_argument y;
  index_vector groups;
};

logistic_options read_options(const problem_arguments& given, python_observer& observer) {
  const auto penalty = model::find_penalty_mode(given.penalty);
  if (!penalty) raise_error(PyExc_ValueError, "unknown penalty");
  return {.penalty = *penalty,
          .fit_intercept = given.fit_intercept != 0,
          .normalize = given.normalize != 0,
          .tolerance = given.tolerance,
          .max_iterations = given.max_iterations,
          .observer = &observer};
}

// Nothing where None was given.
std::optional<dense_matrix> read_strengths(const char* name, PyObject* object,
                                           const array_argument& X, penalty_mode penalty) {
  if (Py_IsNone(object) != 0) return std::nullopt;
  const array_argument table{name, object, 2};
  if (table.rows() != X.columns() || table.columns() != num_kinds(penalty))
    raise_error(PyExc_ValueError, "strengths have another shape");
  return table.matrix();
}

python_object history_of(const iteration_history& history) {
  result_dict dict;
  dict.set("value", history.values);
  dict.set("gradient_norm", history.gradient_maxima);
  dict.set("radius", history.radii);
  dict.set("hyperparameters", history.hyperparameters);
  return dict.release();
}

void set_strengths(penalty_mode penalty, const dense_matrix& strengths,
                   result_dict& results) {
  const const_matrix_view kinds = strengths;
  const index_t last = kinds.cols() - 1;
  if (penalty == penalty_mode::l2 || penalty == penalty_mode::elasticnet)
    results.set("l2_strength", kinds.column(0));
  if (penalty == penalty_mode::l1 || penalty == penalty_mode::elasticnet)
    results.set("l1_strength", kinds.column(last));
  if (penalty == penalty_mode::bridge) {
    results.set("bridge_strength", kinds.column(0));
    results.set("bridge_exponent", kinds.column(last));
  }
}

python_object to_dict(penalty_mode penalty, const logistic_report& report,
                      const python_observer& observer) {
  const bool was_stopped = observer.has_stopped() && report.end == run_end::iteration_limit;
  result_dict results;
  results.set("coef", report.coefficients);
  results.set("intercept", report.intercept);
  set_strengths(penalty, report.strengths, results);
  results.set("criterion_value", report.criterion);
  results.set("loo_decision", report.loo_predictions);
  results.set("effective_dof", report.effective_dof);
  results.set("effective_dof_by_group", report.effective_dof_by_group);
  results.set("hyperparameters", report.hyperparameters);
  results.set("end", was_stopped ? "stopped by a callback" : describe(report.end));
  results.set("converged", report.end == run_end::within_tolerance);
  results.set("n_iter", std::int64_t{report.num_iterations});
  results.set("n_evaluations", std::int64_t{report.num_evaluations});
  results.set("history", history_of(report.history));
  return results.release();
}

// (rows, 2) from log odds.
python_object predict_two_classes(PyObject* arguments, PyObject* keywords,
                                  const char* format,
                                  void (*compute)(const_vector_view, vector_view)) {
  constexpr std::array names{"X", "coef", "intercept"};
  PyObject* X = nullptr;
  PyObject* coef = nullptr;
  double intercept = 0.0;
  if (!try_parse_arguments(arguments, keywords, format, names, &X, &coef, &intercept))
    throw python_error{};
  const readable_matrix design{X};
  const dense_vector weights = array_argument{"coef", coef, 1}.vector();
  if (design.cols() != weights.size())
    raise_error(PyExc_ValueError, "X and coef differ in their number of columns");
  const index_t n = design.rows();
  result_vector probabilities{2 * n};
  without_lock([&] {
    dense_vector odds(n);
    affine_gemv(intercept, design.op(), design.block(), weights, odds);
    compute(odds, probabilities.numbers());
  });
  const python_object flat = probabilities.release();
  return python_object{
      PyObject_CallMethod(flat.get(), "reshape", "ni", static_cast<Py_ssize_t>(n), 2)};
}

}  // namespace

python_object fit_logistic(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"X",         "y",     "penalty",   "groups", "fit_intercept",
                             "normalize", "start", "strengths", "tol",    "max_iter",
                             "observer"};
  problem_arguments given;
  PyObject* start_object = Py_None;
  PyObject* strengths_object = Py_None;
  if (!try_parse_arguments(arguments, keywords, "OO|$sOppOOdiO:fit_logistic", names,
                           &given.X, &given.y, &given.penalty, &given.groups,
                           &given.fit_intercept, &given.normalize, &start_object,
                           &strengths_object, &given.tolerance, &given.max_iterations,
                           &given.observer))
    throw python_error{};
  const held_problem problem{given};
  python_observer observer{given.observer};
  const logistic_options options = read_options(given, observer);
  const auto start = read_strengths("start", start_object, problem.X, options.penalty);
  const auto strengths =
      read_strengths("strengths", strengths_object, problem.X, options.penalty);
  const logistic_report report = without_lock([&] {
    if (strengths) return fit_logistic_at(problem.data(observer), options, *strengths);
    return model::fit_logistic(problem.data(observer), options,
                               start ? start->view() : const_matrix_view{});
  });
  return to_dict(options.penalty, report, observer);
}

python_object logistic_criterion(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"X",         "y",         "penalty", "groups", "fit_intercept",
                             "normalize", "strengths", "observer"};
  problem_arguments given;
  PyObject* strengths_object = Py_None;
  if (!try_parse_arguments(arguments, keywords, "OO|$sOppOO:logistic_criterion", names,
                           &given.X, &given.y, &given.penalty, &given.groups,
                           &given.fit_intercept, &given.normalize, &strengths_object,
                           &given.observer))
    throw python_error{};
  const held_problem problem{given};
  python_observer observer{given.observer};
  const logistic_options options = read_options(given, observer);
  const auto strengths =
      read_strengths("strengths", strengths_object, problem.X, options.penalty);
  if (!strengths) raise_error(PyExc_TypeError, "strengths must be given");
  const model::logistic_criterion criterion = without_lock([&] {
    return evaluate_logistic_criterion(problem.data(observer), options, *strengths);
  });
  result_dict results;
  results.set("value", criterion.value);
  results.set("gradient", criterion.gradient);
  return results.release();
}

python_object predict_probability(PyObject* arguments, PyObject* keywords) {
  return predict_two_classes(arguments, keywords, "OOd:predict_probability",
                             &model::compute_class_probabilities);
}

python_object predict_log_probability(PyObject* arguments, PyObject* keywords) {
  return predict_two_classes(arguments, keywords, "OOd:predict_log_probability",
                             &model::compute_class_log_probabilities);
}

}  // namespace corvane::python_bridge
