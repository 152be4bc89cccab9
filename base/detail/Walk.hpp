// Walks over expressions with a stack of their own: depth costs memory, never the host's stack.
#pragma once

#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_map.hpp>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprVisitor.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"

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

/// Drives a rebuilding visitor over the distinct nodes of an expression.
class Rebuild {
 public:
  /// The id in the visitor's table that `aVisitor` makes of `aId`; ids are interned in the order of
  /// a recursive walk.
  static SymbolicExprId run(const SymbolicExprTable& aSource, SymbolicExprId aId,
                            SymbolicExprXFormVisitor& aVisitor) {
    boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> results;
    forEachDistinct(
        aSource, aId, [&](SymbolicExprId id) { return results.contains(id); },
        [&](SymbolicExprId id, const SymbolicExpr& node) {
          for (std::size_t i = 0, n = node.getNumInputs(); i < n; ++i) {
            aVisitor.stack.push_back(results.at(node.getInput(i)));
          }
          visitNode(node, aVisitor);
          results.emplace(id, aVisitor.pop());
        });
    return results.at(aId);
  }
};

}  // namespace KS::detail
