// SPDX-License-Identifier: BSD-3-Clause
#include "python/core/ridge_functions.h"

#include <array>
#include <string_view>

#include "model/ridge_regression/report/ridge_report.h"
#include "python/argument_parser.h"
#include "python/core/core_support.h"

namespace corvane::python_bridge {

namespace {

model::ridge_objective_mode read_criterion(std::string_view name) {
  if (name == "gcv") return model::ridge_objective_mode::gcv;
  if (name == "loo") return model::ridge_objective_mode::loocv;
  if (name == "range_risk") return model::ridge_objective_mode::range_risk;
  raise_error(PyExc_ValueError, "unknown criterion");
}

void require_matching(const array_argument& X, const array_argument& y) {
  if (X.rows() != y.rows() || X.rows() == 0 || X.columns() == 0)
    raise_error(PyExc_ValueError, "X and y are empty, or differ in length");
}

void require_length(const char* name, index_t length, const array_argument& X) {
  if (length == 0 || length == X.columns()) return;
  PyErr_Format(PyExc_ValueError, "%s has not one entry for each column", name);
  throw python_error{};
}

// Codes below the count of columns, or none.
index_vector read_groups(PyObject* object, const array_argument& X) {
  index_vector groups = read_codes(object);
  require_length("groups", groups.size(), X);
  for (const index_t code : groups)
    if (code < 0 || code >= X.columns())
      raise_error(PyExc_ValueError, "a group's code is out of range");
  return groups;
}

python_object to_dict(const model::ridge_report& report) {
  result_dict results;
  results.set("coef", report.coef);
  results.set("intercept", report.intercept);
  results.set("alpha", report.alpha);
  results.set("criterion_value", report.criterion_value);
  results.set("groups", report.groups);
  results.set("leverage", report.leverage);
  results.set("loo_residuals", report.loo_residuals);
  results.set("effective_dof", report.effective_dof);
  results.set("effective_dof_by_group", report.effective_dof_by_group);
  return results.release();
}

}  // namespace

python_object fit_ridge(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"X",         "y",     "criterion", "groups", "fit_intercept",
                             "normalize", "start", "alpha",     "tol",    "max_iter",
                             "observer"};
  PyObject *X = nullptr, *y = nullptr, *groups = nullptr, *start = nullptr;
  PyObject *alpha = nullptr, *observer = nullptr;
  const char* criterion = nullptr;
  int fit_intercept = 0;
  int normalize = 0;
  model::ridge_request request;
  if (!try_parse_arguments(arguments, keywords, "OO$sOppOOdiO:fit_ridge", names, &X, &y,
                           &criterion, &groups, &fit_intercept, &normalize, &start, &alpha,
                           &request.tolerance, &request.max_iterations, &observer))
    throw python_error{};
  const array_argument design{"X", X, 2};
  const array_argument target{"y", y, 1};
  require_matching(design, target);
  request.criterion = read_criterion(criterion);
  request.groups = read_groups(groups, design);
  request.fit_intercept = fit_intercept != 0;
  request.normalize = normalize != 0;
  request.start = read_optional_vector("start", start);
  require_length("start", request.start.size(), design);
  const dense_vector strengths = read_optional_vector("alpha", alpha);
  require_length("alpha", strengths.size(), design);
  python_observer watcher{observer};
  request.observer = &watcher;
  const bool is_given = strengths.size() > 0;
  const model::ridge_report report = without_lock([&] {
    return is_given ? model::solve_ridge(design.matrix(&watcher), target.vector(), request,
                                         strengths)
                    : model::fit_ridge(design.matrix(&watcher), target.vector(), request);
  });
  result_dict results{to_dict(report)};
  if (is_given)
    set_run_without_search(results, watcher);
  else
    set_run(results, report.run, watcher);
  return results.release();
}

python_object cluster_ridge_columns(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"X",         "y",   "criterion", "fit_intercept",
                             "normalize", "tol", "max_iter",  "n_groups"};
  PyObject *X = nullptr, *y = nullptr;
  const char* criterion = nullptr;
  int fit_intercept = 0;
  int normalize = 0;
  Py_ssize_t num_groups = 0;
  model::ridge_request request;
  if (!try_parse_arguments(arguments, keywords, "OO$sppdin:cluster_ridge_columns", names,
                           &X, &y, &criterion, &fit_intercept, &normalize,
                           &request.tolerance, &request.max_iterations, &num_groups))
    throw python_error{};
  const array_argument design{"X", X, 2};
  const array_argument target{"y", y, 1};
  require_matching(design, target);
  request.criterion = read_criterion(criterion);
  request.fit_intercept = fit_intercept != 0;
  request.normalize = normalize != 0;
  python_observer watcher{Py_None};
  request.observer = &watcher;
  const index_vector codes = without_lock([&] {
    return model::cluster_ridge_columns(design.matrix(&watcher), target.vector(), request,
                                        num_groups);
  });
  return to_numpy_indices(codes);
}

python_object evaluate_ridge_criterion(PyObject* arguments, PyObject* keywords) {
  constexpr std::array names{"X",         "y",    "criterion", "groups", "fit_intercept",
                             "normalize", "alpha"};
  PyObject *X = nullptr, *y = nullptr, *groups = nullptr, *alpha = nullptr;
  const char* criterion = nullptr;
  int fit_intercept = 0;
  int normalize = 0;
  if (!try_parse_arguments(arguments, keywords, "OO$sOppO:ridge_criterion", names, &X, &y,
                           &criterion, &groups, &fit_intercept, &normalize, &alpha))
    throw python_error{};
  const array_argument design{"X", X, 2};
  const array_argument target{"y", y, 1};
  require_matching(design, target);
  model::ridge_request request;
  request.criterion = read_criterion(criterion);
  request.groups = read_groups(groups, design);
  request.fit_intercept = fit_intercept != 0;
  request.normalize = normalize != 0;
  const dense_vector strengths = array_argument{"alpha", alpha, 1}.vector();
  if (strengths.size() != design.columns())
    raise_error(PyExc_ValueError, "alpha has not one entry for each column");
  python_observer watcher{Py_None};
  request.observer = &watcher;
  const model::ridge_criterion_value at = without_lock([&] {
    return model::evaluate_ridge_criterion(design.matrix(&watcher), target.vector(),
                                           request, strengths);
  });
  result_dict results;
  results.set("value", at.value);
  results.set("gradient", at.gradient);
  return results.release();
}

}  // namespace corvane::python_bridge
