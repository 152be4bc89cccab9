// Walks over expressions with a stack of their own: depth costs memory, never the host's stack.
#pragma once

#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_map.hpp>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprVisitor.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "base/detail/NodeView.hpp"

namespace KS::detail {

/// Calls the visit operation of the node's class, without its inputs. A node of a host's own class
/// is shown as one of the library's class of its kind over the same inputs. Throws like
/// `checkShape`.
void visitNode(const SymbolicExpr& aExpr, SymbolicExprVisitor& aVisitor);

/// Throws `std::out_of_range` for a node one of whose inputs is not an older one.
[[noreturn]] void failBadInput();

/// The input at `aIdx` of the node `aId`. An input is always older than its user; a node that was
/// built over ids from elsewhere breaks that, and following it might never end, so it throws
/// `std::out_of_range`.
inline SymbolicExprId checkedInput(const SymbolicExpr& aExpr, SymbolicExprId aId,
                                   std::size_t aIdx) {
  const SymbolicExprId input = aExpr.getInput(aIdx);
  if (input >= aId) failBadInput();
  return input;
}

/// Enters every distinct node below and including `aRoot` once, inputs left to right before their
/// users: `isDone(id)` tells whether a node needs no entering (again), `enter(id, node)` handles
/// one whose inputs are all done. The same order as recursion, which would only repeat itself at a
/// shared node.
template <class IsDone, class Enter>
void forEachDistinct(const SymbolicExprTable& aTable, SymbolicExprId aRoot, IsDone isDone,
                     Enter enter) {
  struct Frame {
    SymbolicExprId id;
    const SymbolicExpr* node;
    std::size_t next;
    std::size_t count;
  };
  boost::container::small_vector<Frame, 32> path;
  const auto push = [&](SymbolicExprId aId) {
    const SymbolicExpr* node = aTable.get(aId);
    path.push_back({aId, node, 0, node->getNumInputs()});
  };
  if (isDone(aRoot)) return;
  push(aRoot);
  while (!path.empty()) {
    Frame& top = path.back();
    if (top.next < top.count) {
      const SymbolicExprId input = checkedInput(*top.node, top.id, top.next++);
      if (!isDone(input)) push(input);
    } else {
      enter(top.id, *top.node);
      path.pop_back();
    }
  }
}

/// The memory of a walk that rewrites; one that is kept serves the next walk without allocations.
struct RewriteStack {
  // A node on the path. Its operands lie in `operands` from `first` on: results up to `next`, the
  // others as they were.
  struct Frame {
    SymbolicExprId id;
    std::size_t first;
    std::size_t next;
  };
  boost::container::small_vector<Frame, 16> path;
  boost::container::small_vector<SymbolicExprId, 32> operands;
};

/// What `aRules` make of an expression: every distinct node is rewritten once, its operands before
/// it and from left to right.
/// - `aRules.known(id)` is the result for a node that needs no entering (again), or the invalid id;
/// - `aRules.appendOperands(id, operands)` appends the ids that are to be rewritten before a node;
/// - `aRules.rewrite(id, operands, count)` is the result for a node whose operands are rewritten,
///   and remembers it.
template <class Rules>
SymbolicExprId rewriteDistinct(RewriteStack& aStack, SymbolicExprId aRoot, Rules& aRules) {
  if (const SymbolicExprId known = aRules.known(aRoot); known != invalidSymbolicExprId) {
    return known;
  }
  auto& [path, operands] = aStack;
  const auto enter = [&, &path = path, &operands = operands](SymbolicExprId aId) {
    const std::size_t first = operands.size();
    aRules.appendOperands(aId, operands);
    path.push_back({aId, first, first});
  };
  enter(aRoot);
  for (;;) {
    RewriteStack::Frame& top = path.back();
    if (top.next < operands.size()) {
      const SymbolicExprId known = aRules.known(operands[top.next]);
      if (known != invalidSymbolicExprId) {
        operands[top.next++] = known;
      } else {
        enter(operands[top.next]);
      }
      continue;
    }
    const RewriteStack::Frame done = top;
    const SymbolicExprId result =
        aRules.rewrite(done.id, operands.data() + done.first, operands.size() - done.first);
    operands.resize(done.first);
    path.pop_back();
    if (path.empty()) return result;
    operands[path.back().next++] = result;
  }
}

/// Appends the inputs of a node in order.
template <class List>
void appendInputs(const SymbolicExprTable& aTable, SymbolicExprId aId, List& aInputs) {
  const SymbolicExpr& node = *aTable.get(aId);
  const NodeView view(aTable, aId);
  if (isBinaryOperator(view.kind())) {
    if (view.left() >= aId || view.right() >= aId) failBadInput();
    aInputs.push_back(view.left());
    aInputs.push_back(view.right());
    return;
  }
  for (std::size_t i = 0, n = node.getNumInputs(); i < n; ++i) {
    aInputs.push_back(checkedInput(node, aId, i));
  }
}

/// Drives a rebuilding visitor over the distinct nodes of an expression.
class Rebuild {
 public:
  /// The id in the visitor's table that `aVisitor` makes of `aId`; ids are interned in the order of
  /// a recursive walk.
  static SymbolicExprId run(const SymbolicExprTable& aSource, SymbolicExprId aId,
                            SymbolicExprXFormVisitor& aVisitor) {
    Rebuild rules(aSource, aVisitor);
    RewriteStack stack;
    return rewriteDistinct(stack, aId, rules);
  }

  SymbolicExprId known(SymbolicExprId aId) const {
    const auto result = results.find(aId);
    return result == results.end() ? invalidSymbolicExprId : result->second;
  }
  template <class List>
  void appendOperands(SymbolicExprId aId, List& aOperands) const {
    appendInputs(source, aId, aOperands);
  }
  SymbolicExprId rewrite(SymbolicExprId aId, const SymbolicExprId* aOperands, std::size_t aCount) {
    for (std::size_t i = 0; i < aCount; ++i) visitor.stack.push_back(aOperands[i]);
    visitNode(*source.get(aId), visitor);
    return results.emplace(aId, visitor.pop()).first->second;
  }

 private:
  Rebuild(const SymbolicExprTable& aSource, SymbolicExprXFormVisitor& aVisitor)
      : source(aSource), visitor(aVisitor) {}
  const SymbolicExprTable& source;
  SymbolicExprXFormVisitor& visitor;
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> results;
};

}  // namespace KS::detail
