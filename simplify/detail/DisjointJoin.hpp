// Conjunctions of operands that have nothing to do with each other.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "simplify/detail/Operands.hpp"
#include "simplify/detail/SimplifyContext.hpp"

namespace KS::detail {

/// A stack of plain values in one piece of memory, which moves as it grows.
template <class Value>
class Pool {
 public:
  std::uint32_t size() const { return used; }
  Value* data() { return values.data(); }
  const Value* data() const { return values.data(); }
  Value& operator[](std::size_t aIdx) { return values[aIdx]; }

  /// Adds so many values, which are anything, and returns where the first is.
  Value* add(std::size_t aCount) {
    if (values.size() - used < aCount) {
      values.resize(std::max<std::size_t>(2 * values.size(), used + aCount));
    }
    return values.data() + std::exchange(used, used + static_cast<std::uint32_t>(aCount));
  }
  void push(const Value& aValue) { *add(1) = aValue; }
  /// Takes the last values off, down to so many. Much memory is given back with the last of all.
  void drop(std::size_t aSize) {
    constexpr std::size_t muchMemory = std::size_t{1} << 16;
    if (aSize == 0 && values.size() > muchMemory) values = {};
    used = static_cast<std::uint32_t>(aSize);
  }

 private:
  std::vector<Value> values;
  std::uint32_t used = 0;
};

/// Conjoins final conjunctions whose operands meet in no rule: the result is all of these in text
/// order.
///
/// An operand is about subjects: a relation about its left operand, a negation about what is below
/// it, anything else about itself. Operands whose subjects differ meet in no rule but distribution,
/// so an operand that is a disjunction is left to the general road, as is one about many subjects.
///
/// Saves, in instructions of the benchmark's rows: with `FastRoad::DisjointJoin` closed, net
/// conditions take 1.4 times as many and a conjunction of 4,096 that is built operand by operand
/// 21 times. `Chains` would give the same; it may go when closing it no longer shows in these rows.
class DisjointJoin {
 public:
  using Text = TextOrder::Text;

  /// Where the operands, or the subjects, of a part lie in their pool.
  struct Range {
    std::uint32_t first;
    std::uint32_t last;
    std::uint32_t size() const { return last - first; }
  };

  /// A final conjunction, or an operand of one, taken apart.
  struct Part {
    std::uint32_t id;
    bool isPlain;  ///< Final and no constant; no operand is a disjunction or about many subjects.
    Range operands;
    Range subjects;
  };

  explicit DisjointJoin(SimplifyContext& aContext) : c(aContext) {}

  /// What is taken apart lasts as long as this.
  class Scope {
   public:
    explicit Scope(DisjointJoin& aUser)
        : user(aUser), numTexts(aUser.texts.size()), numSubjects(aUser.subjects.size()) {}
    ~Scope() {
      user.texts.drop(numTexts);
      user.subjects.drop(numSubjects);
    }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    DisjointJoin& user;
    std::size_t numTexts;
    std::size_t numSubjects;
  };

  Part takeApart(SymbolicExprId aId);
  /// Whether nothing that the one range is about is what the other is about.
  bool areDisjoint(const Range& aSubjects, const Range& aOthers) const;
  /// The conjunction of a chain and another one, mostly shorter. Nothing where a rule might apply
  /// to operands of the two.
  std::optional<SymbolicExprId> extend(SymbolicExprId aChain, SymbolicExprId aOther);

  /// The operands of what is taken apart.
  const Text* operandsOf(const Part& aPart) const { return texts.data() + aPart.operands.first; }
  /// Calls `aUse(first, last)` with what an operand of a conjunction is about. Returns whether the
  /// operand is no disjunction and not about many subjects.
  template <class Use>
  bool withSubjects(SymbolicExprId aOperand, Use aUse) {
    const NodeView node = c.node(aOperand);
    if (!node.isConnective() && !node.is(SymbolicOp::Not)) {
      const auto one = static_cast<std::uint32_t>(node.isRelation() ? node.left() : aOperand);
      aUse(&one, &one + 1);
      return true;
    }
    const std::uint32_t own = subjects.size();
    const bool isPlain = addSubjects(aOperand) != invalidSymbolicExprId;
    aUse(subjects.data() + own, subjects.data() + subjects.size());
    subjects.drop(own);
    return isPlain;
  }
  /// The number of operands of a chain, or so many if there are more.
  std::size_t countOperands(SymbolicExprId aChain, std::size_t aMost = ~std::size_t{0}) const;

  static bool haveCommon(const std::uint32_t* aFirst, const std::uint32_t* aLast,
                         const std::uint32_t* aOtherFirst, const std::uint32_t* aOtherLast) {
    for (; aFirst != aLast; ++aFirst) {
      for (const std::uint32_t* other = aOtherFirst; other != aOtherLast; ++other) {
        if (*aFirst == *other) return true;
      }
    }
    return false;
  }

 private:
  // A negation about more subjects than this is left to the general road.
  static constexpr std::size_t mostSubjects = 64;
  // Up to so many pairs of subjects are compared one by one; more are searched for in a hash set.
  static constexpr std::size_t mostPairsCompared = 512;
  // A chain is searched for up to so many subjects without taking it apart.
  static constexpr std::size_t mostSubjectsSearched = 8;

  bool isConstant(SymbolicExprId aId) const {
    return aId == c.constant(true) || aId == c.constant(false);
  }
  // Adds what an operand of a conjunction is about. Returns the operand by whose text its own
  // begins (`TextOrder::leftOf`); the invalid id for a disjunction and for an operand about many.
  SymbolicExprId addSubjects(SymbolicExprId aOperand) {
    const NodeView node = c.node(aOperand);
    if (node.isRelation()) {
      subjects.push(static_cast<std::uint32_t>(node.left()));
      return node.left();
    }
    if (node.is(SymbolicOp::Or)) return invalidSymbolicExprId;
    if (node.is(SymbolicOp::Not)) {
      return addSubjectsOfNot(aOperand) ? aOperand : invalidSymbolicExprId;
    }
    subjects.push(static_cast<std::uint32_t>(aOperand));
    return aOperand;
  }
  bool addSubjectsOfNot(SymbolicExprId aNot);
  bool isDisjoint(SymbolicExprId aChain, const Part& aOther);
  std::optional<Part> withoutCommon(const Part& aPart, const Part& aOther);
  SymbolicExprId append(SymbolicExprId aChain, const Part& aOther);

  SimplifyContext& c;
  Pool<Text> texts;
  Pool<std::uint32_t> subjects;
};

}  // namespace KS::detail
