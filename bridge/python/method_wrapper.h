// SPDX-License-Identifier: BSD-3-Clause
//
// The functions by which the interpreter calls members: one template for methods, one for
// attributes. They get the model from `self` and return what the member returns, or null,
// which signals an error to the interpreter, after a python_error or where the heap is
// exhausted. They catch nothing else: any other exception that leaves a member ends the
// process.
#pragma once

#include <type_traits>

#include "python/python.h"
#include "python/python_error.h"
#include "python/python_object.h"
#include "python/python_type.h"

namespace corvane::python_bridge {

namespace method_wrapper_detail {

// The class whose member a pointer to member names, const for a const member.
template <class Member>
struct member_traits;

template <class Model, class Result, class... Arguments>
struct member_traits<Result (Model::*)(Arguments...)> {
  using model_type = Model;
};

template <class Model, class Result, class... Arguments>
struct member_traits<Result (Model::*)(Arguments...) const> {
  using model_type = const Model;
};

// Calls a member that returns a python_object, or nothing for Python's None.
template <auto Member, class... Arguments>
PyObject* call_member(PyObject* self, Arguments... arguments) noexcept {
  using model_type = typename member_traits<decltype(Member)>::model_type;
  auto& model = model_of<std::remove_const_t<model_type>>(self);
  return return_null_on_error([&]() -> PyObject* {
    if constexpr (std::is_void_v<decltype((model.*Member)(arguments...))>) {
      (model.*Member)(arguments...);
      return python_object::share(Py_None).release();
    } else {
      return (model.*Member)(arguments...).release();
    }
  });
}

}  // namespace method_wrapper_detail

// Member: result (Model::*)(PyObject* arguments, PyObject* keywords).
template <auto Member>
PyObject* method_wrapper(PyObject* self, PyObject* arguments, PyObject* keywords) noexcept {
  return method_wrapper_detail::call_member<Member>(self, arguments, keywords);
}

// Member: python_object (Model::*)() const.
template <auto Member>
PyObject* attribute_wrapper(PyObject* self, void* /*closure*/) noexcept {
  return method_wrapper_detail::call_member<Member>(self);
}

// An entry of a method table. The C API keeps functions of every signature under the type
// of the plainest; METH_KEYWORDS tells the interpreter to call this one with keywords.
inline PyMethodDef make_method(const char* name, PyCFunctionWithKeywords function,
                               const char* doc) {
  return {name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function)),
          METH_VARARGS | METH_KEYWORDS, doc};
}

template <auto Member>
PyMethodDef make_member_method(const char* name, const char* doc) {
  return make_method(name, &method_wrapper<Member>, doc);
}

// An entry of an attribute table, read only.
template <auto Member>
PyGetSetDef make_attribute(const char* name, const char* doc) {
  return {name, &attribute_wrapper<Member>, nullptr, doc, nullptr};
}

}  // namespace corvane::python_bridge
