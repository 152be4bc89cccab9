// Values that a search found, for all variables, confirmed by evaluation.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "decide/detail/Encoder.hpp"
#include "decide/detail/Problem.hpp"
#include "decide/detail/Search.hpp"

namespace KS::Decide::detail {

/// Makes values for the variables of some conditions out of those that a search found for the terms
/// of a problem. Arithmetic is a term of its own to the search, so its variables are looked for: as
/// what gives the term its value, and, where that fails, among a few numbers.
class Witness {
 public:
  /// A variable of the builder's table and its value.
  struct Entry {
    SymbolicExprId copy;
    Eval::Value value;
    std::string name;  ///< That of the constant that the value is, or empty.
  };

  /// Borrows all. The variables are those of the problem and of the expressions, which are of the
  /// builder's table.
  Witness(const Encoder& aEncoder, const Problem& aProblem, const Search& aSearch,
          const std::vector<SymbolicExprId>& aExpressions);

  /// Looks for values under which `aHolds` does; false where none were found.
  bool find(const std::function<bool(const SymbolicExprBindings&)>& aHolds);

  /// After `find` gave true: the values, in the order in which the variables are met.
  const std::vector<Entry>& entries() const { return found; }

 private:
  struct Variable {
    SymbolicExprId copy;
    const SymbolicExprDomain* domain;
    bool isSettled;  // the search gave the value
    Eval::Value value;
  };
  void addVariable(SymbolicExprId aCopy);
  void adapt(SymbolicExprBindings& aBindings, std::vector<Variable>& aVariables) const;
  bool isAllowed(const Variable& aVariable) const;
  std::string nameOf(const Variable& aVariable) const;

  const Encoder& encoder;
  const Problem& problem;
  const Search& search;
  std::vector<Variable> variables;
  boost::unordered_flat_map<SymbolicExprId, std::size_t> places;
  std::vector<Entry> found;
};

}  // namespace KS::Decide::detail
