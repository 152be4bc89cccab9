// Python's values and names on their way to the library and back.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "eval/Eval.hpp"
#include "tools/TypedModel.hpp"
#include "tools/Values.hpp"

namespace ksexpr::python {

namespace py = pybind11;

/// The text in UTF-8. Throws Python's error for what is no text: `TypeError`, which says what
/// `aWhat` has to be, or `UnicodeEncodeError` for half a character.
std::string utf8(py::handle aText, const char* aWhat);

/// A bool, an int or a float as the library has it: an int of more than 32 bits becomes a double.
/// Numbers of other classes count as what they convert to. Throws Python's `TypeError` for anything
/// else and `OverflowError` for an int that no double is exactly.
KS::Eval::Scalar scalarOf(py::handle aValue);
KS::Eval::Scalar scalarOfWhole(long long aNumber);
/// Whether a value has elements, as lists, tuples and arrays do and texts do not.
bool isSequence(py::handle aValue);
/// The elements of a sequence.
std::vector<KS::Eval::Scalar> scalarsOf(py::handle aSequence);
/// The same, or a sequence of these.
KS::Eval::Value valueOf(py::handle aValue);
/// The value of a model's variable: a truth value, a number, or a constant's name.
VariableValue variableValueOf(py::handle aValue);

py::object pythonOf(const KS::Eval::Scalar& aScalar);
/// A bool, an int, a float or a list of these.
py::object pythonOf(const KS::Eval::Value& aValue);
/// A whole number is an int.
py::object pythonOf(const VariableValue& aValue);

/// Calls `aUse(key, value)` for what a mapping (or None) and keywords say, the latter last.
template <class Use>
void forEachItem(py::handle aMapping, const py::kwargs& aKeywords, const Use& aUse) {
  if (!aMapping.is_none()) {
    if (!py::hasattr(aMapping, "keys")) {
      throw py::type_error("values of variables are given as a mapping or as keywords");
    }
    // A copy, because conversions run code that may change the mapping.
    const py::dict all = py::reinterpret_steal<py::dict>(PyDict_New());
    if (PyDict_Update(all.ptr(), aMapping.ptr()) != 0) throw py::error_already_set();
    for (const auto& [key, value] : all) aUse(key, value);
  }
  for (const auto& [key, value] : aKeywords) aUse(key, value);
}

}  // namespace ksexpr::python
