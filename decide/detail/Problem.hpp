// The part of a formula that a question is about.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <vector>

#include "decide/detail/Formula.hpp"

namespace KS::Decide::detail {

/// The nodes below some literals, numbered in the order of a walk from these: the same for a
/// condition whatever else the formula holds. The domains of the variables that are met belong to
/// it, too.
class Problem {
 public:
  /// Walks the formula below the roots; adds to it what ties a variable's truth to its order.
  Problem(Formula& aFormula, const std::vector<Literal>& aRoots);

  /// The nodes; their literals are of the problem. The first is that which is true.
  const std::vector<FormulaNode>& getNodes() const { return nodes; }
  /// The problem's literal for one of the formula.
  Literal local(Literal aLiteral) const {
    return literalOf(places.at(nodeOf(aLiteral))) | Literal{isNegated(aLiteral)};
  }
  /// All terms that nodes name, in the order in which they were met.
  const std::vector<TermIndex>& getTerms() const { return terms; }
  /// Of those the constants.
  const std::vector<TermIndex>& getConstants() const { return constants; }
  /// Whether a term is among them, and whether it is compared with another.
  bool hasTerm(TermIndex aTerm) const { return isTermCompared.count(aTerm) != 0; }
  bool isCompared(TermIndex aTerm) const { return isTermCompared.at(aTerm); }
  /// Whether an arithmetic expression is among them.
  bool hasUnknown() const { return unknown; }
  /// The problem's literals that hold in any case: the variables' domains.
  const std::vector<Literal>& getFacts() const { return facts; }

  /// A truth of a variable that is also compared, and the comparisons that it means.
  struct Tie {
    std::uint32_t truth;
    Literal isNegative;
    Literal isPositive;
  };
  const std::vector<Tie>& getTies() const { return ties; }

 private:
  void walk(Literal aRoot);
  void meet(TermIndex aTerm);

  Formula& formula;
  std::vector<FormulaNode> nodes;
  boost::unordered_flat_map<std::uint32_t, std::uint32_t> places;
  std::vector<TermIndex> terms;
  std::vector<TermIndex> constants;
  boost::unordered_flat_map<TermIndex, bool> isTermCompared;  // of the terms that were met
  std::vector<Literal> facts;
  std::vector<Tie> ties;
  bool unknown = false;
};

}  // namespace KS::Decide::detail
