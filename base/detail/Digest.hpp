// Making and reading the digests of nodes.
#pragma once

#include <cstdint>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/TableStorage.hpp"

namespace KS::detail {

struct Digests {
  /// The digests of a table's nodes, by id.
  static const BlockArray<NodeDigest>& of(const SymbolicExprTable& aTable) {
    return aTable.storage->digests;
  }

  /// The kind of a node of the table.
  static SymbolicOp kindOf(const SymbolicExprTable& aTable, SymbolicExprId aId) {
    return static_cast<SymbolicOp>(of(aTable)[aId].kind);
  }

  /// A mark that simplification keeps with a node. Once set, it stays so.
  static bool isFinal(const SymbolicExprTable& aTable, SymbolicExprId aId) {
    return of(aTable)[aId].isFinal;
  }
  static void setFinal(SymbolicExprTable& aTable, SymbolicExprId aId) {
    aTable.storage->digests[aId].isFinal = true;
  }

  /// Whether an operator's digest holds all there is to know of its inputs.
  static bool isWhole(const NodeDigest& aDigest) {
    const auto op = static_cast<SymbolicOp>(aDigest.kind);
    const bool isUnary =
        op == SymbolicOp::UnaryMinus || op == SymbolicOp::Not || op == SymbolicOp::BitCompl;
    return aDigest.first != NodeDigest::none && (isUnary || aDigest.second != NodeDigest::none);
  }

  /// The digest of a node. Called with the concrete class it costs no virtual call. The table has
  /// fewer nodes than `none`, so an input that does not fit is not in it.
  template <class Node>
  static NodeDigest make(const Node& aNode) {
    const int kind = aNode.getKind();
    const auto op = static_cast<SymbolicOp>(kind);
    NodeDigest digest{static_cast<std::uint8_t>(kind),
                      false,
                      false,
                      op == SymbolicOp::IntValue,
                      NodeDigest::none,
                      NodeDigest::none};
    const auto fit = [](SymbolicExprId aId) {
      return aId < NodeDigest::none ? static_cast<std::uint32_t>(aId) : NodeDigest::none;
    };
    if (op == SymbolicOp::IntValue) {
      digest.first = static_cast<std::uint32_t>(
          static_cast<const SymbolicIntValue&>(static_cast<const SymbolicExpr&>(aNode)).getValue());
      digest.second = digest.first;
    } else if (op >= SymbolicOp::Plus && op < SymbolicOp::_2D) {
      digest.first = fit(aNode.getInput(0));
      if (aNode.getNumInputs() > 1) digest.second = fit(aNode.getInput(1));
    }
    return digest;
  }

  /// Half of the bits of a hash, the index takes no more: those that depend on all others.
  static std::uint32_t indexHash(std::uint64_t aHash) {
    constexpr std::uint64_t oddFraction = 0x9e3779b97f4a7c15;  // of the golden ratio: mixes upwards
    return static_cast<std::uint32_t>(aHash * oddFraction >> 32);
  }
};

}  // namespace KS::detail
