// What a pass of simplification makes of the nodes below a root.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>

#include "base/KSSymbolicExpr.hpp"
#include "simplify/detail/FinalNodes.hpp"

namespace KS::detail {

/// The results of a pass. A final node is its own result, and the table remembers that; the others
/// are kept here.
class PassResults {
 public:
  explicit PassResults(const FinalNodes& aFinals) : finals(aFinals) {}

  /// The result for a node, or the invalid id where none is known yet.
  SymbolicExprId find(SymbolicExprId aId) const {
    if (finals.contains(aId)) return aId;
    const auto result = results.find(aId);
    return result == results.end() ? invalidSymbolicExprId : result->second;
  }
  void add(SymbolicExprId aId, SymbolicExprId aResult) {
    if (!finals.contains(aId)) results.emplace(aId, aResult);
  }
  void clear() {
    // Emptying a map takes time in the most that it ever held.
    constexpr std::size_t mostBucketsKept = 256;
    if (results.bucket_count() > mostBucketsKept) {
      results = {};
    } else if (!results.empty()) {
      results.clear();
    }
  }

 private:
  const FinalNodes& finals;
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> results;
};

}  // namespace KS::detail
