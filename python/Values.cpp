#include "python/Values.hpp"

#include <cmath>
#include <limits>

namespace ksexpr::python {

using KS::Eval::Scalar;
using KS::Eval::Value;

namespace {

std::string typeName(py::handle aObject) {
  return py::cast<std::string>(py::type::handle_of(aObject).attr("__name__"));
}

// NumPy has a class of its own for truth values, which is no number.
bool isTruth(py::handle aValue) {
  if (PyBool_Check(aValue.ptr())) return true;
  if (PyLong_CheckExact(aValue.ptr())) return false;
  const std::string name = typeName(aValue);
  return (name == "bool_" || name == "bool") && py::hasattr(aValue, "dtype");
}

[[noreturn]] void failInexact() {
  PyErr_SetString(PyExc_OverflowError,
                  "a whole number beyond 2**53 has no exact value here; give a float");
  throw py::error_already_set();
}

bool isText(py::handle aValue) {
  return PyUnicode_Check(aValue.ptr()) || PyBytes_Check(aValue.ptr());
}

}  // namespace

std::string utf8(py::handle aText, const char* aWhat) {
  if (!PyUnicode_Check(aText.ptr())) {
    throw py::type_error(std::string(aWhat) + " has to be a str, not " + typeName(aText));
  }
  Py_ssize_t size = 0;
  const char* const text = PyUnicode_AsUTF8AndSize(aText.ptr(), &size);
  if (text == nullptr) throw py::error_already_set();
  return std::string(text, static_cast<std::size_t>(size));
}

Scalar scalarOfWhole(long long aNumber) {
  constexpr long long maxExact = 1LL << std::numeric_limits<double>::digits;
  if (aNumber > maxExact || aNumber < -maxExact) failInexact();
  if (aNumber < std::numeric_limits<int>::min() || aNumber > std::numeric_limits<int>::max()) {
    return static_cast<double>(aNumber);
  }
  return static_cast<int>(aNumber);
}

Scalar scalarOf(py::handle aValue) {
  PyObject* const object = aValue.ptr();
  if (PyFloat_Check(object)) return PyFloat_AS_DOUBLE(object);
  if (isTruth(aValue)) {
    const int truth = PyObject_IsTrue(object);
    if (truth < 0) throw py::error_already_set();
    return truth == 1;
  }
  if (PyIndex_Check(object)) {
    const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(object));
    if (!number) throw py::error_already_set();
    int overflow = 0;
    const long long value = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
    if (value == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
    if (overflow != 0) failInexact();
    return scalarOfWhole(value);
  }
  if (!isText(aValue) && py::hasattr(aValue, "__float__")) {
    const double number = PyFloat_AsDouble(object);
    if (number == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
    return number;
  }
  throw py::type_error("a value has to be a bool, an int or a float, not " + typeName(aValue));
}

bool isSequence(py::handle aValue) {
  if (isText(aValue) || PySequence_Check(aValue.ptr()) == 0) return false;
  const bool hasSize = PySequence_Size(aValue.ptr()) >= 0;
  PyErr_Clear();  // an array that is one number
  return hasSize;
}

std::vector<Scalar> scalarsOf(py::handle aSequence) {
  const py::list elements = py::reinterpret_steal<py::list>(PySequence_List(aSequence.ptr()));
  if (!elements) throw py::error_already_set();
  std::vector<Scalar> scalars;
  for (const py::handle element : elements) scalars.push_back(scalarOf(element));
  return scalars;
}

Value valueOf(py::handle aValue) {
  if (isSequence(aValue)) return scalarsOf(aValue);
  return scalarOf(aValue);
}

VariableValue variableValueOf(py::handle aValue) {
  if (PyUnicode_Check(aValue.ptr())) return utf8(aValue, "a value");
  const Scalar scalar = scalarOf(aValue);
  if (scalar.tag() == Scalar::Bool) return scalar.getBool();
  return scalar.toDouble();
}

py::object pythonOf(const Scalar& aScalar) {
  switch (aScalar.tag()) {
    case Scalar::Bool: return py::bool_(aScalar.getBool());
    case Scalar::Int: return py::int_(aScalar.getInt());
    case Scalar::Double: break;
  }
  return py::float_(aScalar.toDouble());
}

py::object pythonOf(const Value& aValue) {
  if (aValue.tag() == Value::Single) return pythonOf(aValue.scalar());
  py::list elements;
  for (const Scalar& element : aValue.vector()) elements.append(pythonOf(element));
  return elements;
}

py::object pythonOf(const VariableValue& aValue) {
  if (const auto* truth = std::get_if<bool>(&aValue)) return py::bool_(*truth);
  if (const auto* name = std::get_if<std::string>(&aValue)) return py::str(*name);
  const double number = std::get<double>(aValue);
  if (std::floor(number) == number && std::abs(number) < 0x1p53) {
    return py::int_(static_cast<long long>(number));
  }
  return py::float_(number);
}

}  // namespace ksexpr::python
