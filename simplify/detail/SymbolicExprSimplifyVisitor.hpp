// One pass of simplification.
#pragma once

#include <boost/container/flat_set.hpp>
#include <cstddef>
#include <functional>
#include <optional>

#include "base/SymbolicExprXFormVisitor.hpp"
#include "base/detail/Walk.hpp"
#include "simplify/detail/Arithmetic.hpp"
#include "simplify/detail/Chains.hpp"
#include "simplify/detail/PassResults.hpp"
#include "simplify/detail/SimplifyContext.hpp"

namespace KS {

/// Rewrites an expression bottom-up, each visit by the first rule that matches the simplified
/// operands. A visit's result depends on its operands alone, so the results of one pass serve the
/// next, which enters only what the last one made.
///
/// A chain of conjunctions, and one of disjunctions, is one node with many operands here: `pass`
/// simplifies the operands and then the chain once, however it is grouped. The visits of And and Or
/// see two operands where nothing else is said, which may be chains themselves; visiting a longer
/// chain link by link, as `accept` does, gives an equivalent expression, but not always the same
/// id.
class SymbolicExprSimplifyVisitor final : public SymbolicExprXFormVisitor {
 public:
  /// The operands of a flattened conjunction or disjunction, ordered by id.
  using OperandSet = boost::container::flat_set<SymbolicExprId>;

  /// Borrows the table, which has its boolean symbols.
  explicit SymbolicExprSimplifyVisitor(SymbolicExprTable& aTable);
  ~SymbolicExprSimplifyVisitor() override;

  /// Forgets the results of passes and the work that they did: the next pass begins a
  /// simplification of its own. What only saves time stays.
  void restart();

  /// The result of one pass over the expression; every distinct node is entered once. Throws
  /// `std::length_error` where the simplification has distributed too much.
  SymbolicExprId pass(SymbolicExprId aId);

  /// The simplified conjunction of two that are final, without a node for the two as they stand.
  /// Nothing where one is not, or where one pass is not enough.
  std::optional<SymbolicExprId> conjoin(SymbolicExprId a, SymbolicExprId b);

  /// Whether a pass is known to give the id back.
  bool isFinal(SymbolicExprId aId) const { return context.finals.contains(aId); }

  using SymbolicExprXFormVisitor::visit;
  void visit(const SymbolicPlusExpr&) override;
  void visit(const SymbolicMinusExpr&) override;
  void visit(const SymbolicMultiplyExpr&) override;
  void visit(const SymbolicDivideExpr&) override;
  void visit(const SymbolicEqualExpr&) override { visitRelation(SymbolicOp::Equal); }
  void visit(const SymbolicNotEqualExpr&) override { visitRelation(SymbolicOp::NotEqual); }
  void visit(const SymbolicLessThanExpr&) override { visitRelation(SymbolicOp::LessThan); }
  void visit(const SymbolicLessThanEqualExpr&) override {
    visitRelation(SymbolicOp::LessThanEqual);
  }
  void visit(const SymbolicGreaterThanExpr&) override { visitRelation(SymbolicOp::GreaterThan); }
  void visit(const SymbolicGreaterThanEqualExpr&) override {
    visitRelation(SymbolicOp::GreaterThanEqual);
  }
  void visit(const SymbolicAndExpr&) override { visitChain(detail::conjunction); }
  void visit(const SymbolicOrExpr&) override { visitChain(detail::disjunction); }
  void visit(const SymbolicNotExpr&) override;

  // The rules one by one, for those who look at one alone.

  /// Three-way comparison of the rendered texts.
  int compareExprs(const SymbolicExprId& aLhs, const SymbolicExprId& aRhs) const {
    return context.order.compare(aLhs, aRhs);
  }
  /// Orders the two ids on top of the stack as operands of a sum.
  void normalizeAdd() { orderTop(detail::orderSum); }
  /// Orders the two ids on top of the stack as operands of a product.
  void normalizeMultiply() { orderTop(detail::orderProduct); }
  /// A relation in its canonical orientation, a negated equality as inequality, and any other id
  /// unchanged.
  SymbolicExprId normalizeRelOp(SymbolicExprId aId) const {
    return detail::normalizeRelOp(context, aId);
  }
  /// Adds the operands of a chain of conjunctions to the set.
  void getUniqueSymbolicAndExprs(const SymbolicExpr& aAnd, OperandSet& aSet) const {
    addOperands(detail::conjunction, aAnd, aSet);
  }
  /// Adds the operands of a chain of disjunctions to the set.
  void getUniqueSymbolicOrExprs(const SymbolicExpr& aOr, OperandSet& aSet) const {
    addOperands(detail::disjunction, aOr, aSet);
  }
  /// For !y among the operands of a conjunction: the set becomes {FALSE} where y, or all operands
  /// of the conjunction y, are in it.
  void simplifyANDExprWithNOTTerms(OperandSet& aSet, const SymbolicExprId& aNotTerm) const {
    decideByNotTerm(detail::conjunction, aSet, aNotTerm);
  }
  /// For !y among the operands of a disjunction: the set becomes {TRUE} where y, or all operands of
  /// the disjunction y, are in it.
  void simplifyORExprWithNOTTerms(OperandSet& aSet, const SymbolicExprId& aNotTerm) const {
    decideByNotTerm(detail::disjunction, aSet, aNotTerm);
  }
  /// Removes a conjunction from the operands of a disjunction where one of its own operands is a
  /// disjunction of other operands in the set.
  void simplifyORExprForAbsorptionRule(OperandSet& aSet, const SymbolicExprId& aTerm) const;
  /// A disjunction of two operands, neither a disjunction itself, in canonical order.
  SymbolicExprId normalizeSymbolicOrExpr(SymbolicExprId aOr) const {
    return detail::makeOrderedDisjunction(context, aOr);
  }

  /// What all rules share; tests close roads of it.
  detail::SimplifyContext& getContext() { return context; }

 private:
  template <class Rules>
  friend SymbolicExprId detail::rewriteDistinct(detail::RewriteStack&, SymbolicExprId, Rules&);

  SymbolicExprId known(SymbolicExprId aId) const { return results.find(aId); }
  template <class List>
  void appendOperands(SymbolicExprId aId, List& aOperands) const;
  SymbolicExprId rewrite(SymbolicExprId aId, const SymbolicExprId* aOperands, std::size_t aCount);
  struct Visited;
  SymbolicExprId rebuild(const Visited& aNode);
  void addOperands(const detail::Connective& aKind, const SymbolicExpr& aChain,
                   OperandSet& aSet) const;
  void decideByNotTerm(const detail::Connective& aKind, OperandSet& aSet,
                       SymbolicExprId aNotTerm) const;

  struct Two {
    SymbolicExprId L, R;
  };
  void orderTop(void (*aOrder)(detail::SimplifyContext&, SymbolicExprId&, SymbolicExprId&));
  Two takeTwo();
  void give(SymbolicExprId aResult);
  void visitRelation(SymbolicOp aOp);
  void visitChain(const detail::Connective& aKind);

  mutable detail::SimplifyContext context;
  detail::Chains chains;
  detail::PassResults results;
  detail::RewriteStack stack;

  // What the walk visits: the node, its operands and what comes of them. In a walk by `accept`
  // there are none, and operands and results lie on the stack.
  struct Visited {
    SymbolicExprId id;
    const SymbolicExprId* operands;
    std::size_t count;
    SymbolicExprId result;
  };
  Visited* visited = nullptr;
};

}  // namespace KS
