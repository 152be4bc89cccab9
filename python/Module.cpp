#include "python/Module.hpp"

#include <stdexcept>

#include "eval/SymbolicExprEvalError.hpp"
#include "python/Expression.hpp"
#include "tools/Commands.hpp"
#include "tools/Diagnostic.hpp"

namespace ksexpr::python {

namespace {

// The exceptions are classes of the package.
void raise(const char* aClass, const std::string& aMessage) {
  const py::object type = py::module_::import("ksexpr.errors").attr(aClass);
  PyErr_SetString(type.ptr(), aMessage.c_str());
}

void raise(const ParseFailure& aFailure) {
  // Python counts characters where the library counts bytes.
  const auto position =
      py::cast<py::bytes>(py::str(aFailure.text).attr("encode")("utf-8"))
          .attr("__getitem__")(py::slice(py::none(), py::int_(aFailure.error.offset), py::none()))
          .attr("decode")("utf-8", "ignore");
  const py::object type = py::module_::import("ksexpr.errors").attr("ParseError");
  const std::string place = excerpt(aFailure.text, aFailure.error.offset);
  const py::object error =
      type(aFailure.text, py::len(position), aFailure.error.expected, aFailure.error.note, place);
  PyErr_SetObject(type.ptr(), error.ptr());
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): as pybind11 calls it
void translate(std::exception_ptr aException) {
  try {
    if (aException) std::rethrow_exception(aException);
  } catch (const ParseFailure& failure) {
    raise(failure);
  } catch (const TableError& error) {
    raise("TableError", error.what());
  } catch (const KS::SymbolicExprEvalError& error) {
    raise("EvalError", error.what());
  } catch (const AnswerError& error) {
    raise("ModelError", error.what());
  } catch (const UsageError& error) {
    raise("ModelError", error.what());
  } catch (const std::length_error& error) {
    raise("LimitError", error.what());
  }
}

PyObject* make(PyTypeObject* aType, PyObject* aArguments, PyObject* aKeywords) {
  PyObject* const function = PyObject_GetAttrString(reinterpret_cast<PyObject*>(aType), "_make");
  if (function == nullptr) {
    PyErr_Format(PyExc_TypeError, "%s: objects are made by functions of ksexpr", aType->tp_name);
    return nullptr;
  }
  PyObject* const made = PyObject_Call(function, aArguments, aKeywords);
  Py_DECREF(function);
  return made;
}

}  // namespace

void makeComplete(py::handle aClass) {
  auto* const type = reinterpret_cast<PyTypeObject*>(aClass.ptr());
  type->tp_new = &make;
  type->tp_init = [](PyObject*, PyObject*, PyObject*) { return 0; };
  PyType_Modified(type);
}

}  // namespace ksexpr::python

PYBIND11_MODULE(_core, module) {
  using namespace ksexpr::python;
  module.doc() = "What the package ksexpr is made of.";
  module.attr("__module__") = "ksexpr";  // where classes say from now on that they are
  py::register_local_exception_translator(&translate);
  defineExpressions(module);
  definePrograms(module);
  defineDeciders(module);
  defineModels(module);
  py::delattr(module, "__module__");
}
