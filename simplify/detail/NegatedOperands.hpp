// Negated operands of a conjunction or disjunction.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "simplify/detail/Operands.hpp"

namespace KS::detail {

/// Applies the rules for negated operands. Of a conjunction:
///
///     x && !x -> FALSE                  a && b && !(a && b) -> FALSE
///     a && !(a || b) -> FALSE           a && b && !(a && b || c) -> FALSE
///     a && !(a && b) -> a && !b
///
/// and of a disjunction the same with && for ||, || for && and TRUE for FALSE.
///
/// What once was an operand counts as one. In each round all negations are looked at before any is
/// replaced, so that their order does not matter; those that lack one member come first, since what
/// they become may shorten others. One object serves the operands of one chain.
class NegatedOperands {
 public:
  NegatedOperands(SimplifyContext& aContext, Operands& aOperands)
      : c(aContext), operands(aOperands) {}

  /// Applies the rules to what came since the last call, until none applies.
  void apply();
  /// Whether the operands and the negation of one more decide the whole.
  bool decides(SymbolicExprId aNegation) const;

 private:
  // Expressions below a negation that decide where all of them are operands. Where some are, they
  // can be left out of a negated chain of the same connective.
  struct Group {
    SymbolicExprId negation;
    std::uint32_t firstMember;  // in `members`
    std::uint32_t numMembers;
    std::uint32_t numMissing;  // of these, how many are no operands
    bool canShorten;
  };

  template <class Use>
  void forEachGroup(SymbolicExprId aNegation, Use aUse);
  template <class Test>
  bool anyMember(SymbolicExprId aChain, Test aTest) const;
  bool matchesAny() const;
  void collect();
  void fileGroups(SymbolicExprId aNegation);
  void noteOperand(SymbolicExprId aOperand);
  void noteShortenable(std::uint32_t aGroup);
  void takeNew();
  void shorten();

  SimplifyContext& c;
  Operands& operands;
  std::size_t seen = 0;  // the operands up to this place are taken into account
  std::size_t collected = 0;
  Ids negations;  // up to the place `collected`

  // Negations are filed from the moment on when a rule applies, or operands come after a call.
  struct File {
    std::size_t numFiled = 0;
    std::vector<Group> groups;
    std::vector<SymbolicExprId> members;
    boost::unordered_flat_map<SymbolicExprId, std::vector<std::uint32_t>> groupsMissing;
    std::vector<std::uint32_t> lackingOne, lackingMore;  // groups that can shorten a negation
  };
  std::unique_ptr<File> file;
};

}  // namespace KS::detail
