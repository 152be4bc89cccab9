// What the module is made of.
#pragma once

#include <pybind11/pybind11.h>

namespace ksexpr::python {

/// Has objects of a class be made by its function `_make` alone, which takes what the constructor
/// takes, or by functions of the module where there is none. Python's own way has a step in which
/// they are there without content.
void makeComplete(pybind11::handle aClass);

/// Each adds its class to the module.
void definePrograms(pybind11::module_& aModule);
void defineDeciders(pybind11::module_& aModule);
void defineModels(pybind11::module_& aModule);

}  // namespace ksexpr::python
