// SPDX-License-Identifier: BSD-3-Clause
//
// What the functions of trevalon._core share: arguments, the lock, the observer of a fit,
// the dict of results, and the wrapper that turns a C++ exception into a Python one.
//
// The order of every function: read the arguments under the lock; compute in
// `without_lock`, which touches no Python object; make the results under the lock.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

#include "n_array/n_array.h"
#include "optimization/run_observer.h"
#include "optimization/trust_region_state.h"
#include "python/float64_buffer.h"
#include "python/python.h"
#include "python/python_error.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

// The interpreter's lock is given up for the life of this object.
class released_lock {
 public:
  released_lock() : state_{PyEval_SaveThread()} {}
  released_lock(const released_lock&) = delete;
  released_lock& operator=(const released_lock&) = delete;
  released_lock(released_lock&&) = delete;
  released_lock& operator=(released_lock&&) = delete;
  ~released_lock() { PyEval_RestoreThread(state_); }

 private:
  PyThreadState* state_;
};

// Taken again inside a released_lock.
class acquired_lock {
 public:
  acquired_lock() : state_{PyGILState_Ensure()} {}
  acquired_lock(const acquired_lock&) = delete;
  acquired_lock& operator=(const acquired_lock&) = delete;
  acquired_lock(acquired_lock&&) = delete;
  acquired_lock& operator=(acquired_lock&&) = delete;
  ~acquired_lock() { PyGILState_Release(state_); }

 private:
  PyGILState_STATE state_;
};

// An exception of `body` passes through. A python_error has set its error under a lock of
// its own, which the thread keeps.
template <class Body>
auto without_lock(Body&& body) {
  const released_lock released;
  return std::forward<Body>(body)();
}

// A numpy.ndarray of float64, held for the life of this object. Its numbers may be read
// without the lock.
class array_argument {
 public:
  // Throws python_error with TypeError on any other object. Borrows the reference for the
  // time of the call alone.
  array_argument(const char* name, PyObject* object, int dimensions);

  index_t rows() const { return buffer_.extent(0); }
  index_t columns() const { return buffer_.extent(1); }
  // `interrupt` is checked before each few columns.
  dense_matrix matrix(interruption* interrupt = nullptr) const;
  dense_vector vector() const;

 private:
  float64_buffer buffer_;
};

// A vector of float64; None stands for no numbers.
dense_vector read_optional_vector(const char* name, PyObject* object);
// Group codes, a numpy array or None for none.
index_vector read_codes(PyObject* object);
python_object to_numpy_indices(const_index_view numbers);  // int64

// The items set are the attributes of an estimator, without the underscore at the end.
class result_dict {
 public:
  result_dict();
  // Adds to an existing dict.
  explicit result_dict(python_object&& dict) : dict_{std::move(dict)} {}

  void set(const char* key, const python_object& value);
  void set(const char* key, double value);
  void set(const char* key, bool value);
  void set(const char* key, std::int64_t value);
  void set(const char* key, const char* text);
  void set(const char* key, const_vector_view numbers);  // float64
  void set(const char* key, const_matrix_view numbers);  // float64
  void set(const char* key, const_index_view numbers);   // int64
  void set(const char* key, const dense_vector& numbers) { set(key, numbers.view()); }
  void set(const char* key, const dense_matrix& numbers) { set(key, numbers.view()); }
  void set(const char* key, const index_vector& numbers) { set(key, numbers.view()); }

  python_object release() { return std::move(dict_); }

 private:
  python_object dict_;
};

// Sees the iterations of a fit that runs without the lock: keeps their record, calls a
// Python callable, and lets signal handlers run.
class python_observer final : public run_observer {
 public:
  // `callable` is None, or is called under the lock after each iteration as
  //   callable(iteration, value, gradient_norm, radius, hyperparameters)
  // where hyperparameters is an array of float64. What it raises ends the fit; a true
  // result ends the search at this point, after the start point at the earliest.
  explicit python_observer(PyObject* callable);

  // Throws python_error where a signal handler raised, which Ctrl-C makes one do. Takes the
  // lock at most once in 50 ms.
  void check() override;
  void observe_iteration(const iteration_record& record) override;

  // value, gradient_norm, radius: (k,); hyperparameters: (k, q). Under the lock.
  python_object history() const;
  // Whether the callable has ended the search.
  bool has_stopped() const { return has_stopped_; }

 private:
  bool call(const iteration_record& record) const;

  std::optional<python_object> callable_;
  std::chrono::steady_clock::time_point next_check_;
  std::vector<double> values_;
  std::vector<double> gradient_norms_;
  std::vector<double> radii_;
  std::vector<double> points_;  // k by q, the rows one behind another
  bool has_stopped_ = false;
};

// The run's part of the dict: end, converged, n_iter, n_evaluations, hyperparameters,
// history.
void set_run(result_dict& results, const trust_region_result& run,
             const python_observer& observer);

// The same where nothing was searched.
void set_run_without_search(result_dict& results, const python_observer& observer);

// Makes `_core.FitError`, a ValueError whose one argument is the reason: a short text by
// which the estimators tell failures of a fit apart.
void register_fit_error(const python_object& module);
[[noreturn]] void raise_fit_error(const char* reason);

// Runs `body`, a function of the module; null with the Python error set where it throws.
PyObject* call_core_function(python_object (*function)(PyObject*, PyObject*),
                             PyObject* arguments, PyObject* keywords) noexcept;

// Function: python_object (*)(PyObject* arguments, PyObject* keywords).
template <auto Function>
PyMethodDef make_core_method(const char* name, const char* doc) {
  constexpr PyCFunctionWithKeywords entry = [](PyObject* /*module*/, PyObject* arguments,
                                               PyObject* keywords) noexcept {
    return call_core_function(Function, arguments, keywords);
  };
  return {name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(entry)),
          METH_VARARGS | METH_KEYWORDS, doc};
}

}  // namespace corvane::python_bridge
