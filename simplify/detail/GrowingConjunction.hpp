// A long conjunction that is extended again and again.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "simplify/detail/DisjointJoin.hpp"

namespace KS::detail {

/// Remembers a long conjunction that was extended twice in a row, taken apart: one that grows
/// operand by operand, or to which one operand after the other is added for siblings, then costs a
/// look at the new operand each time.
///
/// Saves: without it, a conjunction of 4,096 that is built operand by operand takes 2.3 times as
/// many instructions. `Chains` would give the same; it may go when closing
/// `FastRoad::GrowingConjunction` no longer shows in the benchmark's row `conjunctionOneByOne`.
class GrowingConjunction {
 public:
  GrowingConjunction(SimplifyContext& aContext, DisjointJoin& aJoin) : c(aContext), join(aJoin) {}

  /// The conjunction of a chain, which comes to be the remembered one, and another one. Nothing
  /// where a rule might apply to operands of the two.
  std::optional<SymbolicExprId> extend(SymbolicExprId aChain, SymbolicExprId aOther);
  /// Whether the conjunction is the remembered one, or what that was made from.
  bool knows(SymbolicExprId aChain) const { return aChain == chain || aChain == before; }
  /// Whether the conjunction is remembered, or is extended for the second time in a row.
  bool isWorthKeeping(SymbolicExprId aChain) const {
    return knows(aChain) || aChain == lastExtended || aChain == lastResult;
  }
  /// Says what a long conjunction was extended to on another road.
  void note(SymbolicExprId aChain, SymbolicExprId aResult) {
    lastExtended = aChain;
    lastResult = aResult;
  }

 private:
  using Text = TextOrder::Text;
  using Texts = std::vector<Text>;

  // What the operands are about, each as often as it was added.
  class Subjects {
   public:
    void add(const std::uint32_t* aFirst, const std::uint32_t* aLast) {
      all.insert(all.end(), aFirst, aLast);
    }
    // Takes the last ones out again, which were no subjects before they were added.
    void dropLast(std::size_t aCount);
    void clear();
    bool containsAny(const std::uint32_t* aFirst, const std::uint32_t* aLast);

   private:
    std::vector<std::uint32_t> all;
    boost::unordered_flat_set<std::uint32_t> set;  // of the first `inSet` of these, if worth it
    std::size_t inSet = 0;
    bool wasAsked = false;  // a set that is asked once is not worth its making
  };

  // Up to so many operands that were added last can be taken out again.
  static constexpr std::size_t mostTakenOut = 8;

  bool load(SymbolicExprId aChain);
  void takeOutLast();
  void noteSubjects(SymbolicExprId aOperand);
  std::optional<Texts> newOperands(const DisjointJoin::Part& aPart);
  std::optional<SymbolicExprId> extendLoaded(SymbolicExprId aChain,
                                             const DisjointJoin::Part& aOther);
  bool excludesInteger(SymbolicExprId aOperand) const;

  SimplifyContext& c;
  DisjointJoin& join;

  // The remembered conjunction: its operands in order and what they are about. Operands `x != 1`
  // do not meet in a rule; what they are about is counted apart.
  SymbolicExprId chain = invalidSymbolicExprId;
  Texts operands;
  Subjects subjects;
  boost::unordered_flat_map<std::uint32_t, std::size_t> excluding;
  // What it was before it was extended, if it still is to be had, and by what.
  SymbolicExprId before = invalidSymbolicExprId;
  Texts added;
  std::size_t addedSubjects = 0;

  // The long conjunction that was extended last, and the result.
  SymbolicExprId lastExtended = invalidSymbolicExprId;
  SymbolicExprId lastResult = invalidSymbolicExprId;
};

}  // namespace KS::detail
