// What the module is made of.
#pragma once

#include <pybind11/pybind11.h>

namespace ksexpr::python {

/// Has objects of a class be made by its function `_make` alone, which takes what the constructor
/// takes, or by functions of the module where there is none. Python's own way has a step in which
/// they are there without content.
void makeComplete(pybind11::handle aClass);

/// Adds a class of this kind to the module, from which none is derived.
template <class Content, class... Options>
pybind11::class_<Content, Options...> defineClass(pybind11::module_& aModule, const char* aName,
                                                  const char* aDocumentation) {
  pybind11::class_<Content, Options...> made(aModule, aName, pybind11::is_final(), aDocumentation);
  makeComplete(made);
  return made;
}

/// Each adds its class to the module.
void definePrograms(pybind11::module_& aModule);
void defineDeciders(pybind11::module_& aModule);
void defineModels(pybind11::module_& aModule);

}  // namespace ksexpr::python
