// SPDX-License-Identifier: BSD-3-Clause
//
// How the module and its types are made, and the layout that every instance shares: a bare
// object header and one pointer to a model on the heap. Types are neither subclassable nor
// collected, and instances come from factories alone.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "python/python.h"
#include "python/python_object.h"

namespace corvane::python_bridge {

struct python_type_description {
  std::string name;              // full dotted name
  std::uint64_t basic_size = 0;  // bytes of an instance
  const char* doc = nullptr;     // null fields get no slot
  destructor dealloc = nullptr;
  PyMethodDef* methods = nullptr;
  PyGetSetDef* getset = nullptr;
};

// The Python object owns the model; nothing else does.
struct model_object {
  PyObject_HEAD void* model;
};

// A new reference, raw, or null with the Python error set.
PyObject* make_python_type(const python_type_description& description);

// Makes the type and adds it to the module under `attribute`. The result stays valid for
// the life of the process, also when a program deletes the attribute.
PyTypeObject* register_python_type(const python_object& module, const char* attribute,
                                   const python_type_description& description);

// Fills the one static module definition, on the first call alone, and makes the module and
// the scratch memory of this thread.
python_object make_python_module(const char* name, const char* doc, PyMethodDef* methods);

// The model that an instance owns. The interpreter has checked the type of `self` before it
// calls a method or an attribute.
template <class Model>
Model& model_of(PyObject* self) {
  return *static_cast<Model*>(reinterpret_cast<model_object*>(self)->model);
}

// An instance that owns `model`: a new reference, or null with the Python error set.
template <class Model>
PyObject* make_model_object(PyTypeObject* type, std::unique_ptr<Model> model) {
  auto* object = reinterpret_cast<model_object*>(_PyObject_New(type));
  if (object == nullptr) return nullptr;
  object->model = model.release();
  return reinterpret_cast<PyObject*>(object);
}

// The destructor slot of a type whose instances own a Model. The reference on the type that
// an instance holds is not dropped: types live as long as the process.
template <class Model>
void deallocate_model_object(PyObject* self) noexcept {
  std::unique_ptr<Model>{static_cast<Model*>(reinterpret_cast<model_object*>(self)->model)}
      .reset();
  PyObject_Free(self);
}

}  // namespace corvane::python_bridge
