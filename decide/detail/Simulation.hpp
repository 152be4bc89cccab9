// A problem under many values at once.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "decide/detail/Problem.hpp"

namespace KS::Decide::detail {

/// Tries 64 choices of values at a time, one in each bit of a word: cheap examples for what can
/// hold, so that searches are left with what can't. A choice may be led towards a literal: what the
/// literal needs is chosen so as far as this takes back nothing that was chosen before, all the
/// rest by chance, the same in every run. Arithmetic terms get values like any others, so what
/// depends on them shows nothing.
class Simulation {
 public:
  static constexpr std::size_t lanes = 64;

  /// Borrows both.
  Simulation(const Formula& aFormula, const Problem& aProblem);

  /// Begins another 64 choices.
  void begin();
  /// Leads the choice of a lane towards a literal of the problem. What a literal needs is looked at
  /// once, a few times as much as the problem has nodes between two runs; false beyond that.
  bool lead(std::size_t aLane, Literal aLiteral);
  /// Chooses the rest and computes all nodes.
  void run();

  /// Takes the lanes out in which the literal does not hold.
  void require(Literal aLiteral) { permitted &= get(aLiteral); }
  /// The lanes in which the literal of the problem holds, among those that were not taken out, and
  /// whose values evaluation tells apart.
  std::uint64_t holding(Literal aLiteral) const { return get(aLiteral) & permitted; }

 private:
  // The candidates between which a lane's choice for a term is, both included.
  struct Range {
    std::uint32_t first, last;
  };
  // The places of the sides of a comparison, or of the comparisons that a truth is tied to.
  struct Inputs {
    std::uint32_t left, right;
  };

  std::vector<double> findCandidates(const Term& aTerm, std::vector<double> aConstants) const;
  std::uint64_t get(Literal aLiteral) const {
    return words[nodeOf(aLiteral)] ^ (isNegated(aLiteral) ? ~std::uint64_t{0} : 0);
  }
  void leadComparison(std::size_t aLane, const Inputs& aSides, bool aHolds);
  std::uint64_t compare(const Inputs& aSides);

  const Problem& problem;
  boost::unordered_flat_map<TermIndex, double> nameValues;
  std::mt19937_64 random;
  std::uint64_t permitted = 0;
  std::vector<std::uint64_t> words;             // by node
  std::vector<std::uint64_t> chosen;            // by node, of truths: the lanes that were led
  std::vector<Inputs> inputs;                   // by node
  std::vector<char> isTied;                     // by node
  std::vector<std::vector<double>> candidates;  // by place of a compared term, ascending
  std::vector<Range> ranges;                    // by place and lane
  std::vector<double> values;                   // by place and lane
  std::vector<std::uint32_t> seen;              // by node, when a lane was last led to it
  std::uint32_t now = 0;
  std::size_t visits = 0;  // since the choices began
  std::vector<Literal> open;
};

}  // namespace KS::Decide::detail
