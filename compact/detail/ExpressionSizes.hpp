// How large expressions are when written out.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>

#include "base/SymbolicExprTable.hpp"

namespace KS::detail {

/// An expression written out as a tree. Numbers too large to be counted are the largest there is.
struct ExpressionSize {
  /// Mentions of a symbol other than "true" and "false", or of a member, and calls. A member counts
  /// as its object does, a call one more than its arguments.
  std::size_t literals = 0;
  std::size_t nodes = 1;
  bool hasConnective = false;  ///< whether a conjunction or disjunction is in it
};

/// Measures expressions, every distinct node once.
class ExpressionSizes {
 public:
  explicit ExpressionSizes(const SymbolicExprTable& aTable) : table(aTable) {}
  /// Throws `std::out_of_range` for an id that is not in the table.
  const ExpressionSize& operator()(SymbolicExprId aId);

 private:
  ExpressionSize measure(SymbolicExprId aId) const;

  const SymbolicExprTable& table;
  boost::unordered_flat_map<SymbolicExprId, ExpressionSize> sizes;
};

}  // namespace KS::detail
