// The renderer of preprocessor conditions.
#pragma once

#include "host/KSPlatform.hpp"
#include "print/StringifySymbolicExpr.hpp"

namespace KS {

/// Renders a variant condition so that a C preprocessor can evaluate it: blanks around operators, a
/// conjunction inside a disjunction in parentheses, and in C syntax the boolean symbols as 1 and 0
/// and a member access as one identifier ("s_m").
class KS_API PreprocessorVCExpr : public StringifySymbolicExpr {
 public:
  using StringifySymbolicExpr::StringifySymbolicExpr;
  ~PreprocessorVCExpr() override;

  using StringifySymbolicExpr::visit;
  /// The boolean symbols are known by the node's own name, whatever the predicate makes of it: it
  /// is asked for every name, and what it says of these two is dropped.
  void visit(const SymbolicString& aExpr) override;
  void visit(const SymbolicMemberValue& aExpr) override;
  void appendBinaryOp(const char* aOp, unsigned aPrecedence, unsigned aRightToLeft) override;
};

}  // namespace KS
