// SPDX-License-Identifier: BSD-3-Clause
#include "python/python_type.h"

#include <mutex>
#include <vector>

#include "common/scoped_allocator.h"
#include "python/python_error.h"

namespace corvane::python_bridge {

namespace {

constexpr int module_api_version = 1013;

// A slot holds a data pointer or a function alike as an untyped pointer.
template <class Pointer>
void append_slot(std::vector<PyType_Slot>& slots, int slot, Pointer content) {
  if (content != nullptr) slots.push_back({slot, reinterpret_cast<void*>(content)});
}

}  // namespace

PyObject* make_python_type(const python_type_description& description) {
  std::vector<PyType_Slot> slots;
  append_slot(slots, Py_tp_doc, const_cast<char*>(description.doc));
  append_slot(slots, Py_tp_dealloc, description.dealloc);
  append_slot(slots, Py_tp_methods, description.methods);
  append_slot(slots, Py_tp_getset, description.getset);
  slots.push_back({0, nullptr});
  // Without the second flag `type(model)()` would make an instance whose pointer is not
  // set.
  PyType_Spec spec{description.name.c_str(), static_cast<int>(description.basic_size), 0,
                   static_cast<unsigned>(Py_TPFLAGS_DEFAULT) |
                       static_cast<unsigned>(Py_TPFLAGS_DISALLOW_INSTANTIATION),
                   slots.data()};
  return PyType_FromSpec(&spec);
}

PyTypeObject* register_python_type(const python_object& module, const char* attribute,
                                   const python_type_description& description) {
  python_object type{make_python_type(description)};
  // One reference for the module, which takes it on success, and one that is never dropped:
  // the factories go on using the type.
  python_object module_reference = type;
  if (PyModule_AddObject(module.get(), attribute, module_reference.get()) != 0)
    throw python_error{};
  module_reference.release();
  return reinterpret_cast<PyTypeObject*>(type.release());
}

python_object make_python_module(const char* name, const char* doc, PyMethodDef* methods) {
  static PyModuleDef definition{PyModuleDef_HEAD_INIT,
                                nullptr,
                                nullptr,
                                -1,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr};
  // The thread that imports makes its scratch memory now. Where the C library finds no room
  // for thread-local data it ends the process: better here than in the midst of a fit.
  const scoped_allocator first_scope;
  static std::once_flag filled;
  std::call_once(filled, [&] {
    definition.m_name = name;
    definition.m_doc = doc;
    definition.m_methods = methods;
  });
  return python_object{PyModule_Create2(&definition, module_api_version)};
}

}  // namespace corvane::python_bridge
