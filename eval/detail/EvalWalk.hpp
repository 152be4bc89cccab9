// The walk that evaluates an expression.
#pragma once

#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Walk.hpp"
#include "eval/detail/Operations.hpp"

namespace KS::Eval::detail {

/// Whether the kind is a dimension list.
inline bool isList(SymbolicOp aOp) { return aOp >= SymbolicOp::_2D && aOp <= SymbolicOp::ND; }

/// Whether the kind is a call or a member access, which have no value.
inline bool isOpaque(SymbolicOp aOp) { return aOp >= SymbolicOp::FcnCall0U; }

/// The error for a call or a member access whose value is needed.
[[noreturn]] void failOpaque(const SymbolicExprTable& aTable, const SymbolicExpr& aExpr);

/// The value of a symbol without a registered expression: a boolean, or an error.
bool unregistered(const SymbolicExpr& aExpr);

/// Evaluates one expression with operands of type `V`: `Scalar`, which gives up at the first list,
/// or `Value`, for which lists are possible. Scalars are the rule and many times cheaper.
///
/// Inputs are entered left to right before their users, with a stack of its own. Looking a result
/// up costs more than computing a small expression again, so results are kept only from the
/// `freeVisits`-th visit on: nodes entered before are computed twice at most per way that leads to
/// them, and the cost stays linear in distinct nodes.
template <class V>
class EvalWalk {
 public:
  explicit EvalWalk(const SymbolicExprTable& aTable) : table(aTable) {}

  /// Computes the value of `aRoot` into `aResult`. False if `V` is `Scalar` and a list was met.
  bool run(SymbolicExprId aRoot, V& aResult) {
    SymbolicExprId id = aRoot;
    for (;;) {
      while (!enter(id, aResult)) {
      }
      do {
        if (path.empty()) return !metList;
      } while (leave(id, aResult));
    }
  }

 private:
  static constexpr bool hasLists = std::is_same_v<V, Value>;
  static constexpr std::size_t freeVisits = 64;

  // An expression whose inputs are being computed, or a symbol whose registered one is.
  struct Frame {
    const SymbolicExpr* node;
    SymbolicExprId id;
    SymbolicOp op;
    std::uint32_t next;  // the input to enter next
    V left;              // the first operand; the elements so far of a list
  };
  struct Result {
    bool isKnown;  // false for a symbol whose value is being computed
    V value;
  };

  // True if the value is known at once; else the node is opened and `aId` is its first input.
  bool enter(SymbolicExprId& aId, V& aValue) {
    const SymbolicExpr* node = table.get(aId);
    const auto op = static_cast<SymbolicOp>(node->getKind());
    if (op == SymbolicOp::String) return enterSymbol(*node, aId, aValue);
    if (isLiteral(*node, op, aValue)) return true;
    if (op >= SymbolicOp::_2D) {
      if (isOpaque(op)) failOpaque(table, *node);
      if constexpr (hasLists) {
        if (node->getNumInputs() == 0) {
          aValue = std::vector<Scalar>();
          return true;
        }
      } else {
        path.clear();
        metList = true;
        return true;
      }
    }
    if (++visits > freeVisits) {
      const auto known = results.find(aId);
      if (known != results.end()) {
        aValue = known->second.value;
        return true;
      }
    }
    open(*node, aId, op);
    aId = input(path.back());
    return false;
  }

  bool enterSymbol(const SymbolicExpr& aNode, SymbolicExprId& aId, V& aValue) {
    const SymbolicExprId registered = table.getValueId(aId);
    if (registered == invalidSymbolicExprId) {
      aValue = unregistered(aNode);
      return true;
    }
    const SymbolicExpr* node = table.get(registered);
    if (isLiteral(*node, static_cast<SymbolicOp>(node->getKind()), aValue)) return true;
    if (++visits > freeVisits) {
      const auto [known, isNew] = results.try_emplace(aId, Result{false, V(0)});
      if (!isNew) {
        if (!known->second.isKnown) failCycle(aId);
        aValue = known->second.value;
        return true;
      }
    }
    open(aNode, aId, SymbolicOp::String);
    aId = registered;
    return false;
  }

  static bool isLiteral(const SymbolicExpr& aNode, SymbolicOp aOp, V& aValue) {
    if (aOp == SymbolicOp::IntValue) {
      aValue = static_cast<const SymbolicIntValue&>(aNode).getValue();
      return true;
    }
    if (aOp == SymbolicOp::DoubleValue) {
      aValue = static_cast<const SymbolicDoubleValue&>(aNode).getValue();
      return true;
    }
    return false;
  }

  // Takes the value of an input. True if the node on top is done and `aValue` is its value; else
  // `aId` is the input to enter next.
  bool leave(SymbolicExprId& aId, V& aValue) {
    Frame& top = path.back();
    switch (top.op) {
      case SymbolicOp::String: break;
      case SymbolicOp::UnaryMinus:
      case SymbolicOp::Not:
      case SymbolicOp::BitCompl: aValue = apply(top.op, aValue); break;
      default:
        if (addElement(top, aValue)) {
          if (top.next < top.node->getNumInputs()) {
            aId = input(top);
            return false;
          }
          aValue = std::move(top.left);
        } else if (top.next == 1) {
          top.left = std::move(aValue);
          aId = input(top);
          return false;
        } else {
          aValue = apply(top.op, top.left, aValue);
        }
    }
    if (visits > freeVisits) results.insert_or_assign(top.id, Result{true, aValue});
    path.pop_back();
    return true;
  }

  // False if the node is not a list.
  bool addElement(Frame& aFrame, const V& aElement) {
    if constexpr (hasLists) {
      if (!isList(aFrame.op)) return false;
      if (aFrame.next == 1) aFrame.left = V(std::vector<Scalar>());
      appendElement(aFrame.left, aElement);
      return true;
    }
    return false;
  }

  void open(const SymbolicExpr& aNode, SymbolicExprId aId, SymbolicOp aOp) {
    path.push_back(Frame{&aNode, aId, aOp, 0, V(0)});
  }

  SymbolicExprId input(Frame& aFrame) {
    return KS::detail::checkedInput(*aFrame.node, aFrame.id, aFrame.next++);
  }

  // The way round is what was opened since the symbol was opened last.
  [[noreturn]] void failCycle(SymbolicExprId aSymbol) const {
    std::size_t first = path.size();
    while (path[--first].id != aSymbol) {
    }
    std::string names;
    for (std::size_t i = first; i < path.size(); ++i) {
      if (path[i].op != SymbolicOp::String) continue;
      names += "'" + static_cast<const SymbolicString*>(path[i].node)->getText() + "' -> ";
    }
    throw SymbolicExprEvalError("the value of a symbol leads back to itself: " + names + "'" +
                                static_cast<const SymbolicString*>(path[first].node)->getText() +
                                "'");
  }

  const SymbolicExprTable& table;
  boost::container::small_vector<Frame, 24> path;
  boost::unordered_flat_map<SymbolicExprId, Result> results;
  std::size_t visits = 0;
  bool metList = false;
};

}  // namespace KS::Eval::detail
