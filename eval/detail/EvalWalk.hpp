// Evaluation of any expression.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Walk.hpp"
#include "eval/detail/Operations.hpp"

namespace KS::Eval::detail {

/// Enters every distinct node and the expression of every symbol once, inputs left to right before
/// their users, with a stack of its own, and keeps every value until the end.
class EvalWalk {
 public:
  explicit EvalWalk(const SymbolicExprTable& aTable) : table(aTable) {}

  /// The value of `aRoot`. Throws `SymbolicExprEvalError` if there is none.
  Value run(SymbolicExprId aRoot);

 private:
  // A node whose inputs are being computed; of a symbol, the expression that is registered for it.
  struct Frame {
    SymbolicExprId id;
    const SymbolicExpr* node;
    std::size_t next;
    std::size_t count;
  };

  void enter(SymbolicExprId aId);
  SymbolicExprId input(const Frame& aFrame, std::size_t aIdx) const;
  Value compute(const Frame& aFrame) const;
  const Value& known(const Frame& aFrame, std::size_t aIdx) const {
    return *values.at(input(aFrame, aIdx));
  }
  [[noreturn]] void failCycle(SymbolicExprId aSymbol) const;
  [[noreturn]] void failOpaque(const SymbolicExpr& aExpr) const;

  const SymbolicExprTable& table;
  std::vector<Frame> path;
  boost::unordered_flat_map<SymbolicExprId, std::optional<Value>> values;  // none while on the path
};

}  // namespace KS::Eval::detail
