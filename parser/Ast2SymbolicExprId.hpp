// Conversion of a syntax tree into interned nodes.
#pragma once

#include <boost/variant/static_visitor.hpp>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "host/KSPlatform.hpp"
#include "parser/ExpressionAst.hpp"

namespace KS::Parser {

/// Creates one node per tree element, inputs first and left to right, and returns the root's id.
/// Settles prefix "~": a bitwise complement in C syntax, a logical not in M syntax. Takes time in
/// the size of the tree and no call depth. `nil` and operator codes that no operation has convert
/// to the invalid id; a parent of one is interned with the invalid id as its input.
class KS_API Ast2SymbolicExprId : public boost::static_visitor<SymbolicExprId> {
 public:
  /// Borrows the table; `aCSyntax` selects C syntax.
  Ast2SymbolicExprId(SymbolicExprTable& aTable, bool aCSyntax);

  /// The id of the converted alternative, or the invalid id.
  SymbolicExprId operator()(const nil& aNil) const;
  SymbolicExprId operator()(int aValue) const;
  SymbolicExprId operator()(double aValue) const;
  SymbolicExprId operator()(const variable& aVariable) const;
  SymbolicExprId operator()(const expression_ast& aTree) const;
  SymbolicExprId operator()(const std::vector<expression_ast>& aElements) const;
  SymbolicExprId operator()(const binary_op& aOperation) const;
  SymbolicExprId operator()(const unary_op& aOperation) const;

  /// Converts each element of `in` in order and appends its id to `out`.
  void convert2SymbolicExprIdVector(const std::vector<expression_ast>& in,
                                    std::vector<SymbolicExprId>& out) const;

 private:
  SymbolicExprTable& table;
  bool cSyntax;
};

}  // namespace KS::Parser
