// The visitor interface.
#pragma once

#include "base/KSSymbolicExpr.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// One visit operation per concrete node class, in kind-code order. There is no fallback: a visitor
/// that forgets a class does not compile. Run it with `node.accept(table, visitor)`.
class KS_API SymbolicExprVisitor {
 public:
  virtual ~SymbolicExprVisitor();

  /// The order of the walk, asked once at every node with inputs: true visits the inputs before the
  /// node, false the node first.
  virtual bool visitInputsFirst() const = 0;

  // Expands to
  //   virtual void visit(const SymbolicString& aExpr) = 0;
  //   virtual void visit(const SymbolicIntValue& aExpr) = 0;
  // and so on to SymbolicMemberValue.
#define KS_KIND(code, Op, Class) virtual void visit(const Class& aExpr) = 0;
#include "base/SymbolicExprKinds.def"
};

}  // namespace KS
