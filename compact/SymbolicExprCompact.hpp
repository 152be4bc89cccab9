// Conditions in a form that is short to read.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

namespace detail {
class Compactor;
}

/// Rewrites conditions into equivalent ones that are shorter to read than their canonical form:
/// `a && c || b && c` becomes `(a || b) && c`. Common factors are taken out, parts that others
/// absorb are dropped, relations are merged, and negations stand where they are shortest. Operands
/// are in the order of their text.
///
/// Length is counted in literals, see `countLiterals`. A compact form never has more of them than
/// what it was made of. It depends on the expressions alone and on what the callback answers. As a
/// condition it has the same truth under evaluation, except where simplification of its relations
/// changes values and where an operand is not a finite number (`SymbolicExprSimplify` tells both).
///
/// Borrows the table, adds nodes to it, and adds its boolean symbols if it has none yet. Keeps what
/// it made of which id, so that several conditions are best given to one object. Takes about n log
/// n time in the literals, and up to a few seconds more where a hundred thousand of them have much
/// in common: beyond a fixed amount of work, what is left is not factored. A condition of more than
/// `maxNodes` nodes is given back unchanged.
///
///     const SymbolicExprCompact compact(table);
///     std::cout << print(compact(net, {stationCondition, pumpCondition}));
class KS_API SymbolicExprCompact {
 public:
  /// Tells whether one condition implies another; "false" where that is not known.
  using Implies = std::function<bool(SymbolicExprId, SymbolicExprId)>;

  /// The largest condition that is rewritten, in nodes when written out as a tree.
  static constexpr std::size_t maxNodes = std::size_t{1} << 20;

  /// With a callback, operands that it finds implied by what stands around them are dropped, too.
  /// It is asked about conditions of the table, at most `maxQuestions` times for one compact form.
  explicit SymbolicExprCompact(SymbolicExprTable& aTable, Implies aImplies = nullptr);
  SymbolicExprCompact(const SymbolicExprCompact&) = delete;
  SymbolicExprCompact& operator=(const SymbolicExprCompact&) = delete;
  ~SymbolicExprCompact();

  /// The most questions that are asked for one compact form.
  static constexpr std::size_t maxQuestions = 1024;

  /// The compact form of a condition. Throws `std::out_of_range` for an id that is not in the
  /// table, `std::length_error` where texts of 256 MiB would have to be compared, and what the
  /// callback throws.
  SymbolicExprId operator()(SymbolicExprId aNet) const;

  /// The shorter one of the compact forms of a block's net condition and of the conjunction that it
  /// was made of: the conditions along the block's path, as typed or simplified. Its literals are
  /// no more than those of the net condition, and no more than those of the path as typed, all
  /// conditions taken together. Throws likewise.
  SymbolicExprId operator()(SymbolicExprId aNet, const std::vector<SymbolicExprId>& aPath) const;

  /// The literals of an expression written out: mentions of a symbol or member, and calls with
  /// their arguments' literals. "true" and "false" are none. The largest number where they can't be
  /// counted. Throws `std::out_of_range` for an id that is not in the table.
  std::size_t countLiterals(SymbolicExprId aId) const;

 private:
  std::unique_ptr<detail::Compactor> compactor;
};

}  // namespace KS
