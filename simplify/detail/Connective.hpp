// What conjunction and disjunction do not have in common.
#pragma once

#include "base/SymbolicOp.hpp"
#include "simplify/detail/PairRules.hpp"

namespace KS::detail {

/// Conjunction or disjunction. Each is the other's dual: its absorbing value is the other's neutral
/// one.
struct Connective {
  SymbolicOp op;
  SymbolicOp dual;
  /// The value that decides the whole: false for a conjunction, true for a disjunction.
  bool absorbing;
  /// What two relations over the same left operand give.
  const PairTable& pairs;
};

inline constexpr Connective conjunction{SymbolicOp::And, SymbolicOp::Or, false, conjunctionPairs};
inline constexpr Connective disjunction{SymbolicOp::Or, SymbolicOp::And, true, disjunctionPairs};

}  // namespace KS::detail
