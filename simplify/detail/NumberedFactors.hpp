// The factors of conjunctions, each with a number.
#pragma once

#include <algorithm>
#include <array>
#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "simplify/detail/DisjointJoin.hpp"
#include "simplify/detail/FactorSet.hpp"
#include "simplify/detail/Relations.hpp"

namespace KS::detail {

/// The factors of some final conjunctions, numbered as they come. Two factors meet where they are
/// about the same; others match no rule together (see `DisjointJoin`).
template <std::size_t numWords>
class NumberedFactors {
 public:
  using Set = FactorSet<numWords>;
  using Number = std::uint16_t;
  /// Two numbers, one of a factor that holds where the other does not.
  using Complements = std::pair<Number, Number>;
  /// So many values in place where sets are small; large sets take memory elsewhere.
  template <class Value, std::size_t count>
  using Few = boost::container::small_vector<Value, numWords == 1 ? count : 1>;

  NumberedFactors(SimplifyContext& aContext, DisjointJoin& aJoin) : c(aContext), join(aJoin) {}

  std::size_t size() const { return factors.size(); }
  /// Whether there was or is no number for one more.
  bool areFull() const { return factors.size() == Set::capacity; }

  /// Adds the factors of a conjunction, which is no constant, to a set. Returns false where it is
  /// not final, where a factor is a disjunction, where they are about many things, and where there
  /// is no number for one.
  bool addTo(Set& aSet, SymbolicExprId aConjunction) {
    return c.finals.contains(aConjunction) &&
           forEachFactor(aConjunction, [&](SymbolicExprId aFactor) { return add(aSet, aFactor); });
  }
  /// The set of a final conjunction all of whose factors have numbers.
  std::optional<Set> find(SymbolicExprId aConjunction) const {
    Set set;
    const bool areKnown = forEachFactor(aConjunction, [&](SymbolicExprId aFactor) {
      const Number next = slots[slotOf(aFactor)];
      if (next != 0) set.add(next - 1u);
      return next != 0;
    });
    return areKnown ? std::optional(set) : std::nullopt;
  }

  SymbolicExprId operator[](std::size_t aNumber) const { return factors[aNumber].id; }
  /// The others that the factor meets.
  const Set& meeting(std::size_t aNumber) const { return factors[aNumber].meeting; }
  /// What the factors of the set meet.
  Set meeting(const Set& aSet) const {
    Set all;
    aSet.forEach([&](std::size_t aNumber) { all |= meeting(aNumber); });
    return all;
  }
  const Few<Complements, 8>& complements() const { return allComplements; }
  /// What the negations of conjunctions among the factors negate.
  const Ids& negatedConjunctions() const { return negated; }

  /// The text order of all.
  struct Order {
    Few<TextOrder::Text, 64> factors;
    Few<Number, 64> numbers;  ///< The places in it, by number.
    /// Whether conjunctions are in text order where the lists of their factors' places are.
    bool isOfConjunctions = true;

    /// The places of the factors of a set.
    Set renumbered(const Set& aSet) const {
      Set result;
      aSet.forEach([&](std::size_t aNumber) { result.add(numbers[aNumber]); });
      return result;
    }
  };
  /// Finds the order, which is empty before.
  void order(Order& aOrder) {
    auto& texts = aOrder.factors;
    for (const Factor& factor : factors) {
      texts.push_back(c.order.text(factor.id, c.order.leftOf(factor.id)));
    }
    c.order.sort(texts.data(), texts.data() + texts.size());
    aOrder.numbers.resize(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
      aOrder.numbers[slots[slotOf(texts[i].id)] - 1u] = static_cast<Number>(i);
      if (i > 0 && !c.order.ordersConjunctions(texts[i - 1], texts[i])) {
        aOrder.isOfConjunctions = false;
      }
    }
  }

 private:
  struct Factor {
    SymbolicExprId id;
    Set meeting;
  };
  // Up to so many are compared with each other.
  static constexpr std::size_t mostSubjects = 4 * Set::capacity;

  // What the factor of that number is about.
  struct Subject {
    std::uint32_t id;
    Number factor;
  };

  // Calls `aUse` with the factors from the last to the first, until it returns false.
  template <class Use>
  bool forEachFactor(SymbolicExprId aConjunction, Use aUse) const {
    SymbolicExprId link = aConjunction;
    for (; c.node(link).is(SymbolicOp::And); link = c.node(link).left()) {
      if (!aUse(c.node(link).right())) return false;
    }
    return aUse(link);
  }

  // The slot of a factor, or a free one.
  std::size_t slotOf(SymbolicExprId aFactor) const {
    std::size_t slot = aFactor % slots.size();
    while (slots[slot] != 0 && factors[slots[slot] - 1u].id != aFactor) {
      slot = (slot + 1) % slots.size();
    }
    return slot;
  }

  bool add(Set& aSet, SymbolicExprId aFactor) {
    const std::size_t slot = slotOf(aFactor);
    if (slots[slot] == 0) {
      if (areFull() || !number(aFactor)) return false;
      slots[slot] = static_cast<Number>(factors.size());
    }
    aSet.add(slots[slot] - 1u);
    return true;
  }

  bool number(SymbolicExprId aFactor) {
    const auto fresh = static_cast<Number>(factors.size());
    factors.push_back({aFactor, {}});
    const std::size_t known = subjects.size();
    const auto noteSubject = [&](std::uint32_t aSubject) {
      for (std::size_t i = 0; i < known; ++i) {
        if (subjects[i].id == aSubject) noteMeeting(subjects[i].factor, fresh);
      }
      subjects.push_back({aSubject, fresh});
    };
    const NodeView node = c.node(aFactor);
    if (node.is(SymbolicOp::Not) && c.node(node.left()).is(SymbolicOp::And)) {
      negated.push_back(node.left());
    }
    const auto note = [&](const std::uint32_t* aFirst, const std::uint32_t* aLast) {
      std::for_each(aFirst, aLast, noteSubject);
    };
    return join.withSubjects(aFactor, note) && subjects.size() <= mostSubjects;
  }

  void noteMeeting(Number aOther, Number aFresh) {
    if (factors[aOther].meeting.contains(aFresh)) return;
    factors[aOther].meeting.add(aFresh);
    factors[aFresh].meeting.add(aOther);
    const SymbolicExprId a = factors[aOther].id, b = factors[aFresh].id;
    const NodeView x = c.node(a), y = c.node(b);
    const bool areComplements = (x.is(SymbolicOp::Not) && x.left() == b) ||
                                (y.is(SymbolicOp::Not) && y.left() == a) ||
                                (x.isRelation() && y.kind() == counterRelation(x.kind()) &&
                                 x.left() == y.left() && x.right() == y.right());
    if (areComplements) allComplements.emplace_back(aOther, aFresh);
  }

  SimplifyContext& c;
  DisjointJoin& join;
  Few<Factor, 32> factors;
  Few<Subject, 32> subjects;
  // One more than the number of a factor, in the first free slot from that of its id on.
  std::array<Number, 2 * Set::capacity> slots{};
  Few<Complements, 8> allComplements;
  Ids negated;
};

}  // namespace KS::detail
