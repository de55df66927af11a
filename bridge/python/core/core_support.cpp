// SPDX-License-Identifier: BSD-3-Clause
#include "python/core/core_support.h"

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>
#include <utility>

#include "optimization/optimizer_error.h"
#include "python/array_conversion.h"
#include "python/strided_copy.h"

namespace corvane::python_bridge {

namespace {

constexpr auto check_interval = std::chrono::milliseconds{50};

// Lives as long as the process, as the module does.
PyObject* fit_error = nullptr;

float64_buffer hold_array(const char* name, PyObject* object, int dimensions) {
  auto buffer = float64_buffer::hold(object, dimensions, buffer_access::read);
  if (!buffer) {
    PyErr_Format(PyExc_TypeError,
                 "%s must be a numpy array of float64 with %d dimension(s)", name,
                 dimensions);
    throw python_error{};
  }
  return std::move(*buffer);
}

const_vector_view view_of(const std::vector<double>& numbers) {
  return {numbers.data(), static_cast<index_t>(numbers.size())};
}

}  // namespace

array_argument::array_argument(const char* name, PyObject* object, int dimensions)
    : buffer_{hold_array(name, object, dimensions)} {}

dense_matrix array_argument::matrix(interruption* interrupt) const {
  constexpr index_t columns_at_a_time = 8;  // a cache line of an array in C order
  dense_matrix copied(rows(), columns());
  for (index_t first = 0; first < columns(); first += columns_at_a_time) {
    corvane::check(interrupt);
    strided_doubles part = buffer_.elements();
    part.data += first * part.column_stride;
    part.columns = std::min(columns_at_a_time, columns() - first);
    copy_strided(part, {copied.data() + first * rows(), rows(), part.columns});
  }
  return copied;
}

dense_vector array_argument::vector() const {
  dense_vector copied(rows());
  copy_strided(buffer_.elements(), {copied.data(), rows(), 1});
  return copied;
}

dense_vector read_optional_vector(const char* name, PyObject* object) {
  if (Py_IsNone(object) != 0) return dense_vector(0);
  return array_argument{name, object, 1}.vector();
}

index_vector read_codes(PyObject* object) {
  if (Py_IsNone(object) != 0) return {};
  return to_index_vector(object);
}

python_object to_numpy_indices(const_index_view numbers) {
  const python_object list{PyList_New(numbers.size())};
  for (index_t i = 0; i < numbers.size(); ++i) {
    python_object number{PyLong_FromLongLong(numbers[i])};
    // Takes the reference over, also when it fails.
    if (PyList_SetItem(list.get(), i, number.release()) != 0) throw python_error{};
  }
  const python_object numpy{PyImport_ImportModule("numpy")};
  return python_object{
      PyObject_CallMethod(numpy.get(), "array", "Os", list.get(), "int64")};
}

result_dict::result_dict() : dict_{PyDict_New()} {}

void result_dict::set(const char* key, const python_object& value) {
  if (PyDict_SetItemString(dict_.get(), key, value.get()) != 0) throw python_error{};
}
void result_dict::set(const char* key, double value) {
  set(key, python_object{PyFloat_FromDouble(value)});
}
void result_dict::set(const char* key, bool value) {
  set(key, python_object{PyBool_FromLong(value ? 1 : 0)});
}
void result_dict::set(const char* key, std::int64_t value) {
  set(key, python_object{PyLong_FromLongLong(value)});
}
void result_dict::set(const char* key, const char* text) {
  set(key, python_object{PyUnicode_FromString(text)});
}
void result_dict::set(const char* key, const_vector_view numbers) {
  set(key, to_numpy_vector(numbers));
}
void result_dict::set(const char* key, const_matrix_view numbers) {
  set(key, to_numpy_matrix(numbers));
}
void result_dict::set(const char* key, const_index_view numbers) {
  set(key, to_numpy_indices(numbers));
}

python_observer::python_observer(PyObject* callable)
    : next_check_{std::chrono::steady_clock::now() + check_interval} {
  if (Py_IsNone(callable) == 0) callable_ = python_object::share(callable);
}

void python_observer::check() {
  const auto now = std::chrono::steady_clock::now();
  if (now < next_check_) return;
  next_check_ = now + check_interval;
  const acquired_lock lock;
  if (PyErr_CheckSignals() != 0) throw python_error{};
}

void python_observer::observe_iteration(const iteration_record& record) {
  // The history is that of the last run.
  if (record.iteration == 0)
    for (std::vector<double>* kept : {&values_, &gradient_norms_, &radii_, &points_})
      kept->clear();
  values_.push_back(record.value);
  gradient_norms_.push_back(record.gradient_max);
  radii_.push_back(record.radius);
  points_.insert(points_.end(), record.x.begin(), record.x.end());
  if (!callable_) return;
  has_stopped_ = call(record);
  // Ends the run at the point that it has.
  if (has_stopped_) throw optimizer_iteration_limit_error{};
}

bool python_observer::call(const iteration_record& record) const {
  const acquired_lock lock;
  const python_object hyperparameters = to_numpy_vector(record.x);
  const python_object answer{
      PyObject_CallFunction(callable_->get(), "idddO", record.iteration, record.value,
                            record.gradient_max, record.radius, hyperparameters.get())};
  if (PyErr_CheckSignals() != 0) throw python_error{};
  const int is_true = PyObject_IsTrue(answer.get());
  if (is_true < 0) throw python_error{};
  return is_true == 1 && record.iteration > 0;
}

python_object python_observer::history() const {
  result_dict history;
  history.set("value", view_of(values_));
  history.set("gradient_norm", view_of(gradient_norms_));
  history.set("radius", view_of(radii_));
  const auto rows = static_cast<index_t>(values_.size());
  const auto columns = rows == 0 ? 0 : static_cast<index_t>(points_.size()) / rows;
  history.set("hyperparameters", to_numpy_matrix(rows, columns, [&](index_t i, index_t j) {
                return points_[static_cast<std::size_t>(i * columns + j)];
              }));
  return history.release();
}

void set_run(result_dict& results, const trust_region_result& run,
             const python_observer& observer) {
  const bool was_stopped = observer.has_stopped() && run.end == run_end::iteration_limit;
  results.set("end", was_stopped ? "stopped by a callback" : describe(run.end));
  results.set("converged", run.within_tolerance);
  results.set("n_iter", std::int64_t{run.num_iterations});
  results.set("n_evaluations", std::int64_t{run.num_evaluations});
  results.set("hyperparameters", run.x);
  results.set("history", observer.history());
}

void set_run_without_search(result_dict& results, const python_observer& observer) {
  results.set("end", "no search");
  results.set("converged", true);
  results.set("n_iter", std::int64_t{0});
  results.set("n_evaluations", std::int64_t{0});
  results.set("hyperparameters", const_vector_view{nullptr, 0});
  results.set("history", observer.history());
}

void register_fit_error(const python_object& module) {
  fit_error = python_object{PyErr_NewException("trevalon._core.FitError", PyExc_ValueError,
                                               nullptr)}
                  .release();
  python_object reference = python_object::share(fit_error);
  if (PyModule_AddObject(module.get(), "FitError", reference.get()) != 0)
    throw python_error{};
  reference.release();
}

void raise_fit_error(const char* reason) { raise_error(fit_error, reason); }

// The one table from C++ to Python exceptions.
PyObject* call_core_function(python_object (*function)(PyObject*, PyObject*),
                             PyObject* arguments, PyObject* keywords) noexcept {
  try {
    return function(arguments, keywords).release();
  } catch (const python_error&) {  // the error is set
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const optimizer_undefined_error&) {
    PyErr_SetString(fit_error, "undefined at the start");
  } catch (const std::overflow_error&) {
    PyErr_SetString(fit_error, "overflow");
  } catch (const std::exception& failure) {
    PyErr_SetString(fit_error, failure.what());
  }
  return nullptr;
}

}  // namespace corvane::python_bridge
