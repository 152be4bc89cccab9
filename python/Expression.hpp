// Expressions and their tables, as Python has them.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/SymbolicExprTable.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "python/Lock.hpp"
#include "python/Values.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tools/FormFinder.hpp"

namespace ksexpr::python {

/// A table, and the lock under which it is used.
struct Table {
  /// With its boolean symbols.
  Table() { nodes.addBoolSymbols(); }

  Lock lock;
  KS::SymbolicExprTable nodes;
  KS::SymbolicExprSimplify simplify{nodes, 10};
  FormFinder forms{nodes};
};

/// How an expression was spelled, which tells what its functions mean and how it is written.
enum class Dialect { M, C };

/// "m" or "c". Throws Python's `ValueError` for anything else.
Dialect dialectOf(py::handle aName);

/// A node of a table that it keeps alive.
struct Expression {
  std::shared_ptr<Table> table;
  KS::SymbolicExprId id = KS::invalidSymbolicExprId;
  Dialect dialect = Dialect::M;
  /// Whether it is the answer to Python's `==` or `!=` and so has a truth of its own.
  bool isComparison = false;
};

/// The table of expressions that are given no other.
const std::shared_ptr<Table>& defaultTable();
/// The table that an argument names: None is the default table.
std::shared_ptr<Table> tableOf(py::handle aTable);

/// The expression with the functions of its syntax that are operators as these. Below the lock.
KS::SymbolicExprId operatorsOf(const Expression& aExpression);

/// Expressions of different tables, where one table is asked for.
class TableError : public std::runtime_error {
 public:
  TableError();
};

/// A text that is no expression.
class ParseFailure : public std::runtime_error {
 public:
  ParseFailure(std::string aText, KS::SymbolicExprParseError aError);
  std::string text;
  KS::SymbolicExprParseError error;
};

/// The expression that a text spells. Throws `ParseFailure`.
Expression parse(const std::string& aText, Dialect aDialect, std::shared_ptr<Table> aTable);

/// What an argument says that may be an expression or its text.
Expression expressionOf(py::handle aArgument, const std::shared_ptr<Table>& aTable,
                        const char* aWhat);

/// Adds the functions and classes to the module.
void defineExpressions(py::module_& aModule);

}  // namespace ksexpr::python
