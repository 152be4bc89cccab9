#include "python/Expression.hpp"
#include "python/Module.hpp"
#ifdef KSEXPR_DECIDES
#include <pybind11/stl.h>

#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "decide/SymbolicExprDecider.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tools/Text.hpp"
#endif

namespace ksexpr::python {

#ifdef KSEXPR_DECIDES

using KS::SymbolicExprDomain;
using KS::SymbolicExprId;

namespace {

constexpr const char* truthNames[] = {"never", "always", "sometimes", "unknown"};

// Exact answers about conditions of one table, below whose lock it is used.
class Decider {
 public:
  explicit Decider(std::shared_ptr<Table> aTable)
      : table(std::move(aTable)), decider(table->nodes) {}

  void setDomain(py::handle aVariable, const SymbolicExprDomain& aDomain) {
    const Expression variable = expressionOf(aVariable, table, "a variable");
    table->lock.brief([&] { decider.setDomain(variable.id, aDomain); });
  }

  void assume(py::handle aCondition) {
    const Expression condition = expressionOf(aCondition, table, "a condition");
    table->lock.lengthy([&] { decider.assume(operatorsOf(condition)); });
  }

  const char* decide(py::handle aCondition) {
    const Expression condition = expressionOf(aCondition, table, "a condition");
    const KS::Truth truth =
        table->lock.lengthy([&] { return decider.decide(operatorsOf(condition)); });
    return truthNames[static_cast<std::size_t>(truth)];
  }

  using Relation = std::optional<bool> (KS::SymbolicExprDecider::*)(SymbolicExprId, SymbolicExprId);
  template <Relation relation>
  std::optional<bool> relate(py::handle aLeft, py::handle aRight) {
    const Expression left = expressionOf(aLeft, table, "a condition");
    const Expression right = expressionOf(aRight, table, "a condition");
    return table->lock.lengthy(
        [&] { return (decider.*relation)(operatorsOf(left), operatorsOf(right)); });
  }

  // Values by the texts of variables.
  py::object witness(py::handle aCondition) {
    const Expression condition = expressionOf(aCondition, table, "a condition");
    std::vector<std::string> names;
    const auto found = table->lock.lengthy([&] {
      auto values = decider.assignment({operatorsOf(condition)});
      if (!values) return values;
      for (const auto& value : *values) {
        names.push_back(KS::SymbolicExprPrinter(table->nodes, true, false, false)(value.id));
      }
      return values;
    });
    if (!found) return py::none();
    py::dict result;
    for (std::size_t i = 0; i < found->size(); ++i) {
      const KS::SymbolicExprAssignment& value = (*found)[i];
      result[py::str(names[i])] =
          value.name.empty() ? pythonOf(value.value) : py::object(py::str(value.name));
    }
    return result;
  }

 private:
  const std::shared_ptr<Table> table;
  KS::SymbolicExprDecider decider;
};

std::vector<SymbolicExprDomain::Value> domainValues(const py::iterable& aValues) {
  std::vector<SymbolicExprDomain::Value> values;
  for (const py::handle value : aValues) {
    const VariableValue one = variableValueOf(value);
    if (const auto* name = std::get_if<std::string>(&one)) {
      values.emplace_back(*name);
    } else {
      values.emplace_back(scalarOf(value).toDouble());
    }
  }
  return values;
}

}  // namespace

void defineDeciders(py::module_& aModule) {
  using namespace py::literals;
  const char* const argument = "condition";
  defineClass<Decider>(aModule, "Decider",
                       "Exact answers about conditions of one table, by proof and by example. "
                       "Conditions are expressions of the table, or texts in M syntax.")
      .def_static(
          "_make",
          [](const py::object& aTable) { return std::make_unique<Decider>(tableOf(aTable)); },
          py::kw_only(), "table"_a = py::none())
      .def(
          "set_values",
          [](Decider& aDecider, py::handle aVariable, const py::iterable& aValues) {
            aDecider.setDomain(aVariable, SymbolicExprDomain::values(domainValues(aValues)));
          },
          "variable"_a, "values"_a, "The variable has one of these numbers or named constants.")
      .def(
          "set_range",
          [](Decider& aDecider, py::handle aVariable, double aLow, double aHigh) {
            aDecider.setDomain(aVariable, SymbolicExprDomain::interval(aLow, aHigh));
          },
          "variable"_a, "low"_a, "high"_a, "The variable has a number from low to high.")
      .def(
          "set_integer",
          [](Decider& aDecider, py::handle aVariable, int aLow, int aHigh) {
            aDecider.setDomain(aVariable, SymbolicExprDomain::integers(aLow, aHigh));
          },
          "variable"_a, "low"_a = -2147483647 - 1, "high"_a = 2147483647,
          "The variable has a whole number from low to high.")
      .def(
          "set_boolean",
          [](Decider& aDecider, py::handle aVariable) {
            aDecider.setDomain(aVariable, SymbolicExprDomain::boolean());
          },
          "variable"_a, "The variable is false or true.")
      .def("assume", &Decider::assume, py::arg(argument),
           "Answers from now on only for values under which the condition holds.")
      .def("decide", &Decider::decide, py::arg(argument),
           "Under which values the condition holds: \"never\", \"always\", \"sometimes\", or "
           "\"unknown\".")
      .def("implies", &Decider::relate<&KS::SymbolicExprDecider::implies>, "premise"_a,
           "conclusion"_a, "Whether the second holds wherever the first does; None for not known.")
      .def("equivalent", &Decider::relate<&KS::SymbolicExprDecider::equivalent>, "left"_a,
           "right"_a, "Whether both hold under the same values; None for not known.")
      .def("exclusive", &Decider::relate<&KS::SymbolicExprDecider::exclusive>, "left"_a, "right"_a,
           "Whether they never hold together; None for not known.")
      .def("witness", &Decider::witness, py::arg(argument),
           "Values under which the condition holds, by the names of variables, or None.");
}

#else

void defineDeciders(py::module_&) {}

#endif

}  // namespace ksexpr::python
