// Rebuilding visitors: the two bases on which every transformation stands.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "base/SymbolicExprVisitor.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

namespace detail {
class Rebuild;
}

/// Holds the table in which a rebuilding visitor creates nodes.
class KS_API SymbolicExprFactory {
 public:
  /// Borrows the table.
  explicit SymbolicExprFactory(SymbolicExprTable& aTable) : table(aTable) {}
  virtual ~SymbolicExprFactory();
  /// The table that was given.
  SymbolicExprTable& getTable() const { return table; }

 private:
  SymbolicExprTable& table;
};

/// Rebuilds an expression in the result table by constructing the same classes again. Every visit
/// pops one id per input of its node, the last input on top, and pushes exactly one id. A subclass
/// overrides the visits of the classes that it transforms and keeps that discipline; it needs
/// `using SymbolicExprXFormVisitor::visit;` beside its overrides.
///
///     SymbolicExprXFormVisitor rebuild(target);
///     source.get(id)->accept(source, rebuild);
///     SymbolicExprId copy = rebuild.get();
class KS_API SymbolicExprXFormVisitor : public SymbolicExprVisitor {
 public:
  /// Borrows the table that receives the rebuilt nodes.
  explicit SymbolicExprXFormVisitor(SymbolicExprTable& aResult);
  ~SymbolicExprXFormVisitor() override;
  bool visitInputsFirst() const override;
#define KS_KIND(code, Op, Class) void visit(const Class& aExpr) override;
#include "base/SymbolicExprKinds.def"

  /// The result of a walk: pops and returns the id if the stack holds exactly one. The invalid id,
  /// with the stack left as it is, where visits pushed too many ids or popped more than there were.
  SymbolicExprId get();

 protected:
  /// The table that receives the rebuilt nodes.
  SymbolicExprTable& result() const { return resultTable; }
  /// Pushes the id of a visited node's result.
  void push(SymbolicExprId aId) { stack.push_back(aId); }
  /// Takes the id on top of the stack; the invalid id where an earlier visit pushed too few.
  SymbolicExprId pop();
  /// Takes the `aCount` topmost ids, in the order in which they were pushed.
  std::vector<SymbolicExprId> pop(std::size_t aCount);

 private:
  friend class detail::Rebuild;

  SymbolicExprTable& resultTable;
  std::deque<SymbolicExprId> stack;
  SymbolicExprFactory factory;
  bool ranDry = false;  // a visit popped from the empty stack, so there is no result
};

/// Rebuilds an expression through one overridable make operation per node class. A subclass
/// overrides make operations, which get the rebuilt operands and return the id to push. Lists of
/// any size go through `makeSymbolicNDExpr`, calls of any arity through `makeSymbolicFcnCallExpr`.
class KS_API SymbolicExprXFormVisitor2 : public SymbolicExprXFormVisitor {
 public:
  /// Borrows the table that receives the rebuilt nodes.
  explicit SymbolicExprXFormVisitor2(SymbolicExprTable& aResult);
  ~SymbolicExprXFormVisitor2() override;
#define KS_KIND(code, Op, Class) void visit(const Class& aExpr) override;
#include "base/SymbolicExprKinds.def"

  /// Interns a symbol or function name.
  virtual SymbolicExprId makeSymbolicString(const std::string& aText);
  /// Interns an integer literal.
  virtual SymbolicExprId makeSymbolicIntValue(int aValue);
  /// Interns a real literal.
  virtual SymbolicExprId makeSymbolicDoubleValue(double aValue);

  // The operators in kind order. Expands to
  //   virtual SymbolicExprId makeSymbolicPlusExpr(SymbolicExprId aLeft, SymbolicExprId aRight);
  //   virtual SymbolicExprId makeSymbolicMinusExpr(SymbolicExprId aLeft, SymbolicExprId aRight);
  //   virtual SymbolicExprId makeSymbolicUnaryMinusExpr(SymbolicExprId aInput);
  // and so on to makeSymbolicShiftRightExpr.
#define KS_UNARY(code, Op, Class) virtual SymbolicExprId make##Class(SymbolicExprId aInput);
#define KS_BINARY(code, Op, Class) \
  virtual SymbolicExprId make##Class(SymbolicExprId aLeft, SymbolicExprId aRight);
#include "base/SymbolicExprKinds.def"

  /// Interns a dimension list; the class follows the number of elements.
  virtual SymbolicExprId makeSymbolicNDExpr(const std::vector<SymbolicExprId>& aElements);
  /// Interns a call; the class follows the number of arguments.
  virtual SymbolicExprId makeSymbolicFcnCallExpr(SymbolicExprId aName,
                                                 const std::vector<SymbolicExprId>& aArguments);
  /// Interns a member access.
  virtual SymbolicExprId makeSymbolicMemberValue(SymbolicExprId aObject,
                                                 const std::string& aMember);
};

}  // namespace KS
