// The words in which rules are written: what an expression looks like, and what it becomes.
//
// A word matches an id or not; captures mean something only after `is` returned true. Inputs match
// left to right, and `same` keeps a reference, so it serves a value bound earlier in the same
// pattern. There are no commutative words: where several pairings are tried, their order decides.
#pragma once

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Intern.hpp"
#include "base/detail/NodeView.hpp"

namespace KS::detail {

// ---------------------------------------------------------------------------------------------
// Matching

struct AnyWord {
  SymbolicExprId& id;
  bool match(const SymbolicExprTable&, SymbolicExprId aId) const {
    id = aId;
    return true;
  }
};

struct SameWord {
  const SymbolicExprId& id;
  bool match(const SymbolicExprTable&, SymbolicExprId aId) const { return id == aId; }
};

struct IntWord {
  int& value;
  bool match(const SymbolicExprTable& aTable, SymbolicExprId aId) const {
    const NodeView node(aTable, aId);
    if (!node.is(SymbolicOp::IntValue)) return false;
    value = node.intValue();
    return true;
  }
};

struct LeafWord {
  bool match(const SymbolicExprTable& aTable, SymbolicExprId aId) const {
    return NodeView(aTable, aId).isLeaf();
  }
};

template <SymbolicOp op, class Input>
struct UnaryWord {
  Input input;
  bool match(const SymbolicExprTable& aTable, SymbolicExprId aId) const {
    const NodeView node(aTable, aId);
    return node.is(op) && input.match(aTable, node.left());
  }
};

template <SymbolicOp op, class Left, class Right>
struct BinaryWord {
  Left left;
  Right right;
  bool match(const SymbolicExprTable& aTable, SymbolicExprId aId) const {
    const NodeView node(aTable, aId);
    return node.is(op) && left.match(aTable, node.left()) && right.match(aTable, node.right());
  }
};

/// Whether the expression looks like that.
template <class Word>
bool is(const SymbolicExprTable& aTable, SymbolicExprId aId, Word aWord) {
  return aWord.match(aTable, aId);
}

/// Any expression; binds its id.
inline AnyWord any(SymbolicExprId& aId) { return {aId}; }
/// The expression with that id.
inline SameWord same(const SymbolicExprId& aId) { return {aId}; }
/// An integer literal; binds its value.
inline IntWord intVal(int& aValue) { return {aValue}; }
/// A symbol or a literal.
inline LeafWord leaf() { return {}; }

template <class L, class R>
BinaryWord<SymbolicOp::Plus, L, R> plus(L l, R r) {
  return {l, r};
}
template <class L, class R>
BinaryWord<SymbolicOp::Minus, L, R> minus(L l, R r) {
  return {l, r};
}
template <class L, class R>
BinaryWord<SymbolicOp::Multiply, L, R> times(L l, R r) {
  return {l, r};
}
template <class L, class R>
BinaryWord<SymbolicOp::Divide, L, R> divided(L l, R r) {
  return {l, r};
}
template <class L, class R>
BinaryWord<SymbolicOp::Equal, L, R> equal(L l, R r) {
  return {l, r};
}
template <class L, class R>
BinaryWord<SymbolicOp::NotEqual, L, R> notEqual(L l, R r) {
  return {l, r};
}
template <class I>
UnaryWord<SymbolicOp::UnaryMinus, I> negated(I i) {
  return {i};
}
template <class I>
UnaryWord<SymbolicOp::Not, I> logicalNot(I i) {
  return {i};
}

// ---------------------------------------------------------------------------------------------
// Building. Written with braces, which evaluate left to right: `Plus{t, x, Int{t, 1}}`.

template <class Node>
struct Make {
  SymbolicExprId id;
  template <class... Operands>
  explicit Make(SymbolicExprTable& aTable, Operands... aOperands)
      : id(intern<Node>(aTable, aOperands...)) {}
  operator SymbolicExprId() const { return id; }   // NOLINT(google-explicit-constructor)
  operator SymbolicOperand() const { return id; }  // NOLINT(google-explicit-constructor)
};

using Int = Make<SymbolicIntValue>;
using Double = Make<SymbolicDoubleValue>;
using Plus = Make<SymbolicPlusExpr>;
using Minus = Make<SymbolicMinusExpr>;
using Multiply = Make<SymbolicMultiplyExpr>;
using Divide = Make<SymbolicDivideExpr>;
using Equal = Make<SymbolicEqualExpr>;
using NotEqual = Make<SymbolicNotEqualExpr>;
using Not = Make<SymbolicNotExpr>;

}  // namespace KS::detail
