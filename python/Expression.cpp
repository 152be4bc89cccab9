#include "python/Expression.hpp"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprSymbols.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "eval/SymbolicExprEvalError.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "python/Module.hpp"
#include "tools/Commands.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Graph.hpp"
#include "tools/Names.hpp"
#include "tools/Text.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprM2C.hpp"
#include "xform/SymbolicExprSubstitute.hpp"

namespace ksexpr::python {

using KS::SymbolicExprId;
using KS::SymbolicOp;

namespace {

constexpr const char* kindNames[] = {
#define KS_KIND(code, Op, Class) #Op,
#include "base/SymbolicExprKinds.def"
};

// Another node of the expression's table, which is spelled like the expression.
Expression like(const Expression& aExpression, SymbolicExprId aId) {
  return {aExpression.table, aId, aExpression.dialect, false};
}

// Below the lock: the expression as the other dialect has it.
SymbolicExprId inDialect(const Expression& aExpression, Dialect aDialect) {
  KS::SymbolicExprTable& nodes = aExpression.table->nodes;
  if (aExpression.dialect == aDialect) return aExpression.id;
  return aDialect == Dialect::C ? KS::SymbolicExprM2C(nodes)(aExpression.id)
                                : KS::SymbolicExprC2M(nodes)(aExpression.id);
}

// ---------------------------------------------------------------------------------------------
// Texts

std::string textOf(const Expression& aExpression, Dialect aDialect, bool aWithSpaces,
                   bool aPreprocessor = false) {
  return aExpression.table->lock.lengthy([&] {
    const bool mSyntax = aDialect == Dialect::M;
    const SymbolicExprId id = inDialect(aExpression, aDialect);
    return KS::SymbolicExprPrinter(aExpression.table->nodes, mSyntax, aWithSpaces,
                                   aPreprocessor)(id);
  });
}

std::string ownText(const Expression& aExpression) {
  return textOf(aExpression, aExpression.dialect, true);
}

// A text for people, which is there even where that of the expression is too long.
std::string shownText(const Expression& aExpression) {
  constexpr std::size_t maxLength = 2000;
  return aExpression.table->lock.brief([&] {
    const KS::SymbolicExprTable& nodes = aExpression.table->nodes;
    KS::SymbolicExprPrinter print(nodes, aExpression.dialect == Dialect::M, true, false);
    print.setMaxTextLength(maxLength);
    try {
      return print(aExpression.id);
    } catch (const std::length_error&) {
      return std::string("... ") + kindNames[nodes.get(aExpression.id)->getKind()] + " ...";
    }
  });
}

std::string representation(const Expression& aExpression) {
  const std::string text = py::cast<std::string>(py::repr(py::str(shownText(aExpression))));
  return "ksexpr.parse(" + text + (aExpression.dialect == Dialect::C ? ", 'c')" : ")");
}

std::string htmlOf(const Expression& aExpression) {
  std::string html = "<code>";
  for (const char character : shownText(aExpression)) {
    switch (character) {
      case '&': html += "&amp;"; break;
      case '<': html += "&lt;"; break;
      case '>': html += "&gt;"; break;
      default: html += character;
    }
  }
  return html + "</code>";
}

// ---------------------------------------------------------------------------------------------
// Operands

[[noreturn]] void failOverflow() {
  PyErr_SetString(PyExc_OverflowError,
                  "an integer in an expression has at most 32 bits; give a float");
  throw py::error_already_set();
}

bool isNumber(py::handle aValue) {
  return !PyUnicode_Check(aValue.ptr()) && !py::isinstance<Expression>(aValue) &&
         PyNumber_Check(aValue.ptr()) != 0 && PyComplex_Check(aValue.ptr()) == 0;
}

// Below the lock.
SymbolicExprId idOf(Table& aTable, const KS::Eval::Scalar& aScalar) {
  KS::SymbolicExprTable& nodes = aTable.nodes;
  using Scalar = KS::Eval::Scalar;
  switch (aScalar.tag()) {
    case Scalar::Bool: return aScalar.getBool() ? nodes.getIdTRUE() : nodes.getIdFALSE();
    case Scalar::Int: return KS::SymbolicIntValue(nodes, aScalar.getInt()).getId(nodes);
    case Scalar::Double: break;
  }
  return KS::SymbolicDoubleValue(nodes, aScalar.toDouble()).getId(nodes);
}

KS::Eval::Scalar literalOf(py::handle aValue) {
  const KS::Eval::Scalar scalar = scalarOf(aValue);
  if (PyIndex_Check(aValue.ptr()) != 0 && scalar.tag() == KS::Eval::Scalar::Double) failOverflow();
  return scalar;
}

// What stands beside an expression: another one of its table, or a number, which becomes one.
// Nothing where Python is to ask the other side.
std::optional<Expression> operand(const Expression& aOne, py::handle aOther) {
  if (py::isinstance<Expression>(aOther)) {
    auto other = aOther.cast<Expression>();
    if (other.table != aOne.table) throw TableError();
    if (other.dialect != aOne.dialect) {
      other = like(aOne, aOne.table->lock.brief([&] { return inDialect(other, aOne.dialect); }));
    }
    return other;
  }
  if (!isNumber(aOther)) return std::nullopt;
  const KS::Eval::Scalar scalar = literalOf(aOther);
  return like(aOne, aOne.table->lock.brief([&] { return idOf(*aOne.table, scalar); }));
}

py::object notImplemented() { return py::reinterpret_borrow<py::object>(Py_NotImplemented); }

template <class Node>
Expression join(const Expression& aLeft, const Expression& aRight) {
  KS::SymbolicExprTable& nodes = aLeft.table->nodes;
  return like(aLeft, aLeft.table->lock.brief(
                         [&] { return Node(nodes, aLeft.id, aRight.id).getId(nodes); }));
}

template <class Node>
py::object binary(const Expression& aOne, py::handle aOther) {
  const auto other = operand(aOne, aOther);
  return other ? py::cast(join<Node>(aOne, *other)) : notImplemented();
}

template <class Node>
py::object reflected(const Expression& aOne, py::handle aOther) {
  const auto other = operand(aOne, aOther);
  return other ? py::cast(join<Node>(*other, aOne)) : notImplemented();
}

template <class Node>
py::object comparison(const Expression& aOne, py::handle aOther) {
  if (PyUnicode_Check(aOther.ptr())) {
    throw py::type_error(
        "an expression is compared with expressions and numbers, not with str; "
        "use ksexpr.parse or ksexpr.symbol for the other side");
  }
  const auto other = operand(aOne, aOther);
  if (!other) return notImplemented();
  Expression node = join<Node>(aOne, *other);
  node.isComparison = true;
  return py::cast(node);
}

template <class Node>
Expression unary(const Expression& aOne) {
  KS::SymbolicExprTable& nodes = aOne.table->nodes;
  return like(aOne, aOne.table->lock.brief([&] { return Node(nodes, aOne.id).getId(nodes); }));
}

bool truthOf(const Expression& aExpression) {
  if (!aExpression.isComparison) {
    throw py::type_error(
        "whether an expression is true depends on values: use eval(), a Decider, or the operators "
        "&, | and ~ in place of \"and\", \"or\" and \"not\"");
  }
  return aExpression.table->lock.brief([&] {
    const KS::SymbolicExpr& node = *aExpression.table->nodes.get(aExpression.id);
    const bool isOne = node.getInput(0) == node.getInput(1);
    return isOne == (node.getKind() == static_cast<int>(SymbolicOp::Equal));
  });
}

std::size_t hashOf(const Expression& aExpression) {
  const auto table = reinterpret_cast<std::uintptr_t>(aExpression.table.get());
  return aExpression.id * 0x9E3779B97F4A7C15U ^ (table >> 4U);
}

// ---------------------------------------------------------------------------------------------
// Parts of an expression

py::tuple tupleOf(const std::vector<std::string>& aTexts) {
  py::tuple result(aTexts.size());
  for (std::size_t i = 0; i < aTexts.size(); ++i) result[i] = py::str(aTexts[i]);
  return result;
}

py::tuple symbolsOf(const Expression& aExpression) {
  return tupleOf(aExpression.table->lock.lengthy([&] {
    std::vector<std::string> names;
    KS::SymbolicExprSymbols(aExpression.table->nodes)(aExpression.id, names);
    return names;
  }));
}

py::tuple inputsOf(const Expression& aExpression) {
  const auto ids = aExpression.table->lock.brief([&] {
    const KS::SymbolicExpr& node = *aExpression.table->nodes.get(aExpression.id);
    std::vector<SymbolicExprId> inputs;
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) inputs.push_back(node.getInput(i));
    return inputs;
  });
  py::tuple inputs(ids.size());
  for (std::size_t i = 0; i < ids.size(); ++i) inputs[i] = py::cast(like(aExpression, ids[i]));
  return inputs;
}

std::string kindOf(const Expression& aExpression) {
  const std::string name = aExpression.table->lock.brief(
      [&] { return kindNames[aExpression.table->nodes.get(aExpression.id)->getKind()]; });
  return name[0] == '_' ? name.substr(1) : name;
}

py::object nameOf(const Expression& aExpression) {
  const auto name = aExpression.table->lock.brief([&]() -> std::optional<std::string> {
    const KS::SymbolicExpr* node = aExpression.table->nodes.get(aExpression.id);
    if (const auto* symbol = dynamic_cast<const KS::SymbolicString*>(node)) {
      return symbol->getText();
    }
    if (const auto* member = dynamic_cast<const KS::SymbolicMemberValue*>(node)) {
      return member->getMember();
    }
    return std::nullopt;
  });
  return name ? py::object(py::str(*name)) : py::object(py::none());
}

py::object literalValue(const Expression& aExpression) {
  using KS::Eval::Scalar;
  const auto value = aExpression.table->lock.brief([&]() -> std::optional<Scalar> {
    const KS::SymbolicExprTable& nodes = aExpression.table->nodes;
    if (aExpression.id == nodes.getIdTRUE()) return Scalar(true);
    if (aExpression.id == nodes.getIdFALSE()) return Scalar(false);
    const KS::SymbolicExpr* node = nodes.get(aExpression.id);
    if (const auto* number = dynamic_cast<const KS::SymbolicIntValue*>(node)) {
      return Scalar(number->getValue());
    }
    if (const auto* number = dynamic_cast<const KS::SymbolicDoubleValue*>(node)) {
      return Scalar(number->getValue());
    }
    return std::nullopt;
  });
  return value ? pythonOf(*value) : py::none();
}

// ---------------------------------------------------------------------------------------------
// Values

// What an expression is evaluated with: values by names or expressions.
struct Given {
  std::vector<std::pair<std::string, KS::Eval::Value>> byName;
  std::vector<std::pair<SymbolicExprId, KS::Eval::Value>> byId;
  // Symbols that become other expressions.
  std::vector<std::pair<std::string, Expression>> replacements;
};

Given givenOf(const Expression& aExpression, py::handle aMapping, const py::kwargs& aKeywords) {
  Given given;
  forEachItem(aMapping, aKeywords, [&](py::handle key, py::handle value) {
    if (py::isinstance<Expression>(value)) {
      const auto other = operand(aExpression, value);
      const std::string name = py::isinstance<Expression>(key)
                                   ? ownText(key.cast<Expression>())
                                   : utf8(key, "the name of a variable");
      given.replacements.emplace_back(name, *other);
    } else if (py::isinstance<Expression>(key)) {
      const auto variable = operand(aExpression, key);
      given.byId.emplace_back(variable->id, valueOf(value));
    } else {
      given.byName.emplace_back(utf8(key, "the name of a variable"), valueOf(value));
    }
  });
  return given;
}

// The node of a variable that a text names. Below the lock.
SymbolicExprId variableNamed(Table& aTable, const std::string& aName, Dialect aDialect) {
  const SymbolicExprId id = KS::SymbolicExprParser(aTable.nodes, aDialect == Dialect::C)(aName);
  if (id == KS::invalidSymbolicExprId || !isVariable(aTable.nodes, id)) {
    throw std::invalid_argument('"' + shortened(aName) + "\" does not name a variable");
  }
  return id;
}

KS::SymbolicExprBindings bindingsOf(const Expression& aExpression, const Given& aGiven) {
  KS::SymbolicExprBindings bindings(aExpression.table->nodes);
  for (const auto& [id, value] : aGiven.byId) bindings.set(id, value);
  for (const auto& [name, value] : aGiven.byName) {
    bindings.set(variableNamed(*aExpression.table, name, aExpression.dialect), value);
  }
  return bindings;
}

py::object evaluate(const Expression& aExpression, py::handle aMapping,
                    const py::kwargs& aKeywords) {
  const Given given = givenOf(aExpression, aMapping, aKeywords);
  if (!given.replacements.empty()) {
    throw py::type_error("eval() takes values; substitute() takes expressions");
  }
  return pythonOf(aExpression.table->lock.lengthy([&] {
    const KS::SymbolicExprTable& nodes = aExpression.table->nodes;
    const SymbolicExprId id = operatorsOf(aExpression);
    const KS::SymbolicExprBindings bindings = bindingsOf(aExpression, given);
    requireValue(nodes, id, bindings);
    const auto outcome = KS::SymbolicExprProgram(nodes, {id}).run(bindings).front();
    if (!outcome.value) throw KS::SymbolicExprEvalError(outcome.error);
    return *outcome.value;
  }));
}

// Rebuilds an expression with other expressions in place of symbols. The nodes are visited in the
// order of their ids, in which each stands behind its inputs, so each once and none by recursion.
class Replacement : public KS::SymbolicExprXFormVisitor2 {
 public:
  Replacement(KS::SymbolicExprTable& aTable,
              std::unordered_map<SymbolicExprId, SymbolicExprId> aReplacements)
      : SymbolicExprXFormVisitor2(aTable), results(std::move(aReplacements)) {}

  SymbolicExprId operator()(SymbolicExprId aId) {
    for (const SymbolicExprId id : nodesOf(aId)) {
      if (results.count(id) != 0) continue;
      const KS::SymbolicExpr& node = *result().get(id);
      for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
        const SymbolicExprId input = node.getInput(i);
        push(i == 0 && isCall(node) ? input : results.at(input));
      }
      visitNode(node);
      results.emplace(id, get());
    }
    return results.at(aId);
  }

 private:
  // The node alone: `accept` would walk everything below it, too.
  void visitNode(const KS::SymbolicExpr& aNode) {
    switch (aNode.getKind()) {
#define KS_KIND(code, Op, Class) \
  case code:                     \
    return visit(static_cast<const KS::Class&>(aNode));
#include "base/SymbolicExprKinds.def"
      default: break;
    }
  }

  static bool isCall(const KS::SymbolicExpr& aNode) {
    const auto op = static_cast<SymbolicOp>(aNode.getKind());
    return op >= SymbolicOp::FcnCall0U && op <= SymbolicOp::FcnCall;
  }

  std::vector<SymbolicExprId> nodesOf(SymbolicExprId aRoot) const {
    std::vector<SymbolicExprId> all;
    std::vector<SymbolicExprId> open{aRoot};
    std::unordered_map<SymbolicExprId, bool> isMet;
    while (!open.empty()) {
      const SymbolicExprId id = open.back();
      open.pop_back();
      if (!isMet.emplace(id, true).second) continue;
      all.push_back(id);
      const KS::SymbolicExpr& node = *result().get(id);
      for (std::size_t i = 0; i < node.getNumInputs(); ++i) open.push_back(node.getInput(i));
    }
    std::sort(all.begin(), all.end());
    return all;
  }

  std::unordered_map<SymbolicExprId, SymbolicExprId> results;
};

Expression substitute(const Expression& aExpression, py::handle aMapping,
                      const py::kwargs& aKeywords) {
  const Given given = givenOf(aExpression, aMapping, aKeywords);
  return like(aExpression, aExpression.table->lock.lengthy([&] {
    KS::SymbolicExprTable& nodes = aExpression.table->nodes;
    SymbolicExprId id = aExpression.id;
    const KS::SymbolicExprBindings bindings = bindingsOf(aExpression, given);
    if (bindings.size() > 0) {
      const SymbolicExprId operators = operatorsOf(aExpression);
      const bool hadFunctions = operators != id;
      id = KS::SymbolicExprSubstitute(nodes)(operators, bindings);
      if (hadFunctions) id = KS::SymbolicExprC2M(nodes)(id);
    }
    // At once, so that what is put in place is not looked at again.
    std::unordered_map<SymbolicExprId, SymbolicExprId> replacements;
    for (const auto& [name, other] : given.replacements) {
      replacements[variableNamed(*aExpression.table, name, aExpression.dialect)] = other.id;
    }
    return replacements.empty() ? id : Replacement(nodes, std::move(replacements))(id);
  }));
}

// ---------------------------------------------------------------------------------------------
// Making expressions

Expression symbolNamed(const std::string& aName, const std::shared_ptr<Table>& aTable) {
  if (!isConstantName(aName)) {
    throw std::invalid_argument('"' + shortened(aName) + "\" is not the name of a symbol");
  }
  return {aTable, aTable->lock.brief([&] {
            return KS::SymbolicString(aTable->nodes, aName).getId(aTable->nodes);
          })};
}

// Operands of a node that is made by a function: at least one of them, or the keyword, tells the
// table.
std::vector<SymbolicExprId> idsOf(const py::args& aArguments,
                                  const std::shared_ptr<Table>& aTable) {
  const Expression any{aTable, aTable->nodes.getIdTRUE()};
  std::vector<SymbolicExprId> ids;
  for (const py::handle argument : aArguments) {
    const auto found = operand(any, argument);
    if (!found) throw py::type_error("an operand has to be an expression or a number");
    ids.push_back(found->id);
  }
  return ids;
}

std::shared_ptr<Table> tableOfOperands(const py::args& aArguments, py::handle aTable) {
  if (!aTable.is_none()) return tableOf(aTable);
  for (const py::handle argument : aArguments) {
    if (py::isinstance<Expression>(argument)) return argument.cast<const Expression&>().table;
  }
  return defaultTable();
}

Expression call(const py::str& aName, const py::args& aArguments, py::handle aTable) {
  const std::string name = utf8(aName, "the name of a function");
  if (!isConstantName(name)) {
    throw std::invalid_argument('"' + shortened(name) + "\" is not the name of a function");
  }
  const auto table = tableOfOperands(aArguments, aTable);
  const std::vector<SymbolicExprId> arguments = idsOf(aArguments, table);
  return {table, table->lock.brief([&] {
            KS::SymbolicExprTable& nodes = table->nodes;
            const SymbolicExprId symbol = KS::SymbolicString(nodes, name).getId(nodes);
            return KS::SymbolicFcnCallExpr(nodes, symbol, arguments).getId(nodes);
          })};
}

Expression dimensions(const py::args& aElements, py::handle aTable) {
  if (aElements.size() < 2) {
    throw std::invalid_argument("a list has at least two elements");
  }
  const auto table = tableOfOperands(aElements, aTable);
  const std::vector<SymbolicExprId> elements = idsOf(aElements, table);
  return {table, table->lock.brief([&] {
            return KS::SymbolicNDExpr(table->nodes, elements).getId(table->nodes);
          })};
}

Expression member(const Expression& aExpression, const py::str& aName) {
  const std::string name = utf8(aName, "the name of a member");
  if (!isConstantName(name)) {
    throw std::invalid_argument('"' + shortened(name) + "\" is not the name of a member");
  }
  return like(aExpression, aExpression.table->lock.brief([&] {
    KS::SymbolicExprTable& nodes = aExpression.table->nodes;
    return KS::SymbolicMemberValue(nodes, aExpression.id, name).getId(nodes);
  }));
}

Expression copyTo(const Expression& aExpression, const std::shared_ptr<Table>& aTable) {
  const SymbolicExprId id = Lock::lengthy(aExpression.table->lock, aTable->lock, [&] {
    return KS::SymbolicExprCopy(aExpression.table->nodes, aTable->nodes)(aExpression.id);
  });
  return {aTable, id, aExpression.dialect};
}

// What makes the expression again: its text, as long as that is read as the same expression.
py::tuple reduced(const Expression& aExpression) {
  const std::string text = ownText(aExpression);
  const bool isReadable = aExpression.table->lock.lengthy([&] {
    const bool cSyntax = aExpression.dialect == Dialect::C;
    return KS::SymbolicExprParser(aExpression.table->nodes, cSyntax)(text) == aExpression.id;
  });
  if (!isReadable) {
    throw std::invalid_argument("the expression has no text that is read as this expression: " +
                                shortened(text));
  }
  // A function of C++ cannot be pickled.
  const py::object parseText = py::module_::import("ksexpr").attr("_parse_pickled");
  return py::make_tuple(parseText,
                        py::make_tuple(text, aExpression.dialect == Dialect::M ? "m" : "c"));
}

void defineOperators(py::class_<Expression>& aClass) {
  aClass.def("__and__", &binary<KS::SymbolicAndExpr>, "Both hold.")
      .def("__rand__", &reflected<KS::SymbolicAndExpr>)
      .def("__or__", &binary<KS::SymbolicOrExpr>, "One holds.")
      .def("__ror__", &reflected<KS::SymbolicOrExpr>)
      .def("__invert__", &unary<KS::SymbolicNotExpr>, "It does not hold.")
      .def("__add__", &binary<KS::SymbolicPlusExpr>)
      .def("__radd__", &reflected<KS::SymbolicPlusExpr>)
      .def("__sub__", &binary<KS::SymbolicMinusExpr>)
      .def("__rsub__", &reflected<KS::SymbolicMinusExpr>)
      .def("__mul__", &binary<KS::SymbolicMultiplyExpr>)
      .def("__rmul__", &reflected<KS::SymbolicMultiplyExpr>)
      .def("__truediv__", &binary<KS::SymbolicDivideExpr>)
      .def("__rtruediv__", &reflected<KS::SymbolicDivideExpr>)
      .def("__mod__", &binary<KS::SymbolicModuloExpr>)
      .def("__rmod__", &reflected<KS::SymbolicModuloExpr>)
      .def("__neg__", &unary<KS::SymbolicUnaryMinusExpr>)
      .def("__lt__", &binary<KS::SymbolicLessThanExpr>)
      .def("__le__", &binary<KS::SymbolicLessThanEqualExpr>)
      .def("__gt__", &binary<KS::SymbolicGreaterThanExpr>)
      .def("__ge__", &binary<KS::SymbolicGreaterThanEqualExpr>)
      .def("__eq__", &comparison<KS::SymbolicEqualExpr>,
           "The node that compares. As a bool: whether both sides are one node.")
      .def("__ne__", &comparison<KS::SymbolicNotEqualExpr>,
           "The node that compares. As a bool: whether the sides are two nodes.")
      .def("__bool__", &truthOf)
      .def("__hash__", &hashOf);
}

}  // namespace

TableError::TableError()
    : std::runtime_error(
          "the expressions are of different tables; copy_to() copies one into the other's") {}

ParseFailure::ParseFailure(std::string aText, KS::SymbolicExprParseError aError)
    : std::runtime_error("expected " + aError.expected),
      text(std::move(aText)),
      error(std::move(aError)) {}

Dialect dialectOf(py::handle aName) {
  const std::string name = utf8(aName, "a dialect");
  if (name == "m") return Dialect::M;
  if (name == "c") return Dialect::C;
  throw std::invalid_argument("a dialect is \"m\" or \"c\", not \"" + shortened(name) + '"');
}

const std::shared_ptr<Table>& defaultTable() {
  // Never destroyed: threads may outlive static objects.
  static const auto* const table = new std::shared_ptr<Table>(std::make_shared<Table>());
  return *table;
}

std::shared_ptr<Table> tableOf(py::handle aTable) {
  if (aTable.is_none()) return defaultTable();
  if (!py::isinstance<Table>(aTable)) throw py::type_error("table has to be a ksexpr.Table");
  return aTable.cast<std::shared_ptr<Table>>();
}

SymbolicExprId operatorsOf(const Expression& aExpression) {
  Table& table = *aExpression.table;
  const bool mayDiffer = aExpression.dialect == Dialect::M && table.forms.hasCall(aExpression.id);
  return mayDiffer ? KS::SymbolicExprM2C(table.nodes)(aExpression.id) : aExpression.id;
}

Expression parse(const std::string& aText, Dialect aDialect, std::shared_ptr<Table> aTable) {
  constexpr std::size_t longText = 10000;
  const auto read = [&] {
    const KS::SymbolicExprParser parser(aTable->nodes, aDialect == Dialect::C);
    const SymbolicExprId id = parser(aText);
    if (id == KS::invalidSymbolicExprId) throw ParseFailure(aText, *parser.diagnose(aText));
    return id;
  };
  const SymbolicExprId id =
      aText.size() < longText ? aTable->lock.brief(read) : aTable->lock.lengthy(read);
  return {std::move(aTable), id, aDialect};
}

Expression expressionOf(py::handle aArgument, const std::shared_ptr<Table>& aTable,
                        const char* aWhat) {
  if (!py::isinstance<Expression>(aArgument)) {
    return parse(utf8(aArgument, aWhat), Dialect::M, aTable);
  }
  auto expression = aArgument.cast<Expression>();
  if (expression.table != aTable) throw TableError();
  return expression;
}

void defineExpressions(py::module_& aModule) {
  using namespace py::literals;
  defineClass<Table, std::shared_ptr<Table>>(
      aModule, "Table",
      "What expressions lie in, each different one once. Expressions of different tables do not "
      "meet, and calls on different tables run side by side.")
      .def_static("_make", [] { return std::make_shared<Table>(); })
      .def(
          "__len__",
          [](Table& aTable) { return aTable.lock.brief([&] { return aTable.nodes.size(); }); },
          "The number of its nodes.");

  auto expression = defineClass<Expression>(
      aModule, "Expression",
      "An immutable expression: a node of a table, which it keeps alive. `&`, `|` and `~` are the "
      "logical operators. `a == b` is an expression, too; as a bool it tells whether both are one "
      "node, so expressions work in sets and as keys.");
  defineOperators(expression);
  expression.def("__str__", &ownText, "The text in the expression's dialect.")
      .def("__repr__", &representation)
      .def("_repr_html_", &htmlOf, "What a notebook shows.")
      .def(
          "__format__",
          [](const Expression& aExpression, const py::str& aFormat) {
            return py::str(ownText(aExpression)).attr("__format__")(aFormat);
          },
          "The text, laid out as that of a str.")
      .def("__reduce__", &reduced, "Pickled by text; comes back in the default table.")
      .def(
          "__copy__", [](const Expression& aExpression) { return aExpression; },
          "The same node: it never changes.")
      .def(
          "__deepcopy__", [](const Expression& aExpression, py::handle) { return aExpression; },
          "The same node: it never changes.")
      .def(
          "to_m",
          [](const Expression& aExpression, bool aSpaces) {
            return textOf(aExpression, Dialect::M, aSpaces);
          },
          py::kw_only(), "spaces"_a = true,
          "The text in M syntax: operators that only C has become functions.")
      .def(
          "to_c",
          [](const Expression& aExpression, bool aSpaces) {
            return textOf(aExpression, Dialect::C, aSpaces);
          },
          py::kw_only(), "spaces"_a = true,
          "The text in C syntax: functions that stand for operators become these.")
      .def(
          "to_preprocessor",
          [](const Expression& aExpression) { return textOf(aExpression, Dialect::C, true, true); },
          "The text as a C preprocessor evaluates it.")
      .def(
          "to_dot",
          [](const Expression& aExpression) {
            return aExpression.table->lock.lengthy([&] {
              return dotGraph(aExpression.table->nodes, aExpression.id,
                              aExpression.dialect == Dialect::M);
            });
          },
          "The graph of the expression for Graphviz.")
      .def(
          "simplify",
          [](const Expression& aExpression) {
            return like(aExpression, aExpression.table->lock.lengthy([&] {
              std::size_t passes = 0;
              return aExpression.table->simplify.simplify(aExpression.id, passes);
            }));
          },
          "The canonical form.")
      .def(
          "compact",
          [](const Expression& aExpression) {
            return like(aExpression, aExpression.table->lock.lengthy([&] {
              return KS::SymbolicExprCompact(aExpression.table->nodes)(aExpression.id);
            }));
          },
          "A form of a condition that is short to read.")
      .def("eval", &evaluate, "values"_a = py::none(), py::pos_only(),
           "The value: a bool, an int, a float, or a list of these. Variables have the values of "
           "the mapping, by name (\"Site.remote\" for a member) or expression, and of the "
           "keywords. Raises EvalError where there is none.")
      .def("substitute", &substitute, "values"_a = py::none(), py::pos_only(),
           "The expression with values or other expressions in place of variables, all at once. "
           "What values decide is replaced by its value.")
      .def("member", &member, "name"_a, "The member of that name.")
      .def("copy_to", &copyTo, "table"_a.none(false), "The same expression in another table.")
      .def_property_readonly("symbols", &symbolsOf,
                             "The names of the symbols and functions, in the order in which the "
                             "text has them.")
      .def_property_readonly("inputs", &inputsOf, "The operands, arguments or elements.")
      .def_property_readonly("kind", &kindOf, "The kind of the node, such as \"And\".")
      .def_property_readonly("name", &nameOf, "The name of a symbol or member, or None.")
      .def_property_readonly("value", &literalValue,
                             "The value of a number, of true or of false, or None.")
      .def_property_readonly(
          "dialect",
          [](const Expression& aExpression) {
            return aExpression.dialect == Dialect::M ? "m" : "c";
          },
          "\"m\" or \"c\": how it was spelled and is written.")
      .def_property_readonly(
          "table", [](const Expression& aExpression) { return aExpression.table; },
          "The table that it lies in.");

  aModule.def(
      "parse",
      [](const py::str& aText, const py::str& aDialect, const py::object& aTable) {
        return parse(utf8(aText, "the text"), dialectOf(aDialect), tableOf(aTable));
      },
      "text"_a, "dialect"_a = "m", py::kw_only(), "table"_a = py::none(),
      "The expression that a text spells. Raises ParseError.");
  aModule.def(
      "symbol",
      [](const py::str& aName, const py::object& aTable) {
        return symbolNamed(utf8(aName, "the name"), tableOf(aTable));
      },
      "name"_a, py::kw_only(), "table"_a = py::none(), "The symbol of that name.");
  aModule.def(
      "constant",
      [](const py::object& aValue, const py::object& aTable) {
        const KS::Eval::Scalar scalar = literalOf(aValue);
        const auto table = tableOf(aTable);
        return Expression{table, table->lock.brief([&] { return idOf(*table, scalar); })};
      },
      "value"_a, py::kw_only(), "table"_a = py::none(), "The number, true or false.");
  aModule.def(
      "call",
      [](const py::str& aName, const py::args& aArguments, const py::object& aTable) {
        return call(aName, aArguments, aTable);
      },
      "name"_a, py::kw_only(), "table"_a = py::none(), "The call of a function.");
  aModule.def(
      "dimensions",
      [](const py::args& aElements, const py::object& aTable) {
        return dimensions(aElements, aTable);
      },
      py::kw_only(), "table"_a = py::none(), "The list of these elements, such as [2, n].");
  aModule.def(
      "default_table", [] { return defaultTable(); },
      "The table of expressions that are given no other.");
}

}  // namespace ksexpr::python
