// What all rules of simplification share.
#pragma once

#include <cstddef>

#include "base/SymbolicExprTable.hpp"
#include "base/detail/NodeView.hpp"
#include "simplify/detail/FastRoads.hpp"
#include "simplify/detail/FinalNodes.hpp"
#include "simplify/detail/TextOrder.hpp"

namespace KS::detail {

/// The table, the order of operands, what is known to be final, and the work that a simplification
/// has done. Rules are functions of their operands and of nothing else in here: whatever they read
/// beside the table's nodes only saves time.
struct SimplifyContext {
  /// Borrows the table, which has its boolean symbols.
  explicit SimplifyContext(SymbolicExprTable& aTable)
      : table(aTable), digests(Digests::of(aTable)), order(aTable), finals(aTable, roads) {}
  SimplifyContext(const SimplifyContext&) = delete;
  SimplifyContext& operator=(const SimplifyContext&) = delete;

  NodeView node(SymbolicExprId aId) const { return {digests, aId}; }
  SymbolicExprId constant(bool aValue) const {
    return aValue ? table.getIdTRUE() : table.getIdFALSE();
  }

  SymbolicExprTable& table;
  const BlockArray<NodeDigest>& digests;
  TextOrder order;
  FastRoads roads;
  FinalNodes finals;
  /// The literals of all conjunctions that this simplification has distributed.
  std::size_t distributedLiterals = 0;
};

}  // namespace KS::detail
