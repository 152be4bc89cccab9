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

/// Where ids stand in a list of at most so many: open addressing with linear probing, as in
/// `NodeIndex`.
template <std::size_t most>
class IdPlaces {
 public:
  /// One more than the place of the id; zero where the list, which has an `id` at each place, does
  /// not have it.
  template <class List>
  std::uint16_t find(std::size_t aId, const List& aList) const {
    return slots[slotOf(aId, aList)];
  }
  /// The same, to be written where it is zero and the id comes to the list.
  template <class List>
  std::uint16_t& entry(std::size_t aId, const List& aList) {
    return slots[slotOf(aId, aList)];
  }

 private:
  template <class List>
  std::size_t slotOf(std::size_t aId, const List& aList) const {
    std::size_t slot = aId % slots.size();
    while (slots[slot] != 0 && aList[slots[slot] - 1u].id != aId) slot = (slot + 1) % slots.size();
    return slot;
  }

  std::array<std::uint16_t, 2 * most> slots{};
};

/// The factors of some final conjunctions, numbered as they come. Two factors meet where they are
/// about the same; others match no rule together (see `DisjointJoin`).
template <std::size_t numWords>
class NumberedFactors {
 public:
  using Set = FactorSet<numWords>;
  using Number = std::uint16_t;
  /// So many values in place where sets are small; large sets take memory elsewhere.
  template <class Value, std::size_t count>
  using Few = boost::container::small_vector<Value, numWords == 1 ? count : 1>;

  NumberedFactors(SimplifyContext& aContext, DisjointJoin& aJoin) : c(aContext), join(aJoin) {}

  std::size_t size() const { return factors.size(); }
  /// Whether there is no number for one more, or they are about too many things for this many.
  bool areFull() const {
    return factors.size() == Set::capacity || subjectsOfAll.size() == mostSubjects;
  }

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
      const Number next = numbers.find(aFactor, factors);
      if (next != 0) set.add(next - 1u);
      return next != 0;
    });
    return areKnown ? std::optional(set) : std::nullopt;
  }

  SymbolicExprId operator[](std::size_t aNumber) const { return factors[aNumber].id; }
  /// The others that the factor meets.
  Set meeting(std::size_t aNumber) const {
    Set all;
    const Factor& factor = factors[aNumber];
    for (std::size_t i = factor.firstSubject; i < factor.lastSubject; ++i) {
      all |= subjects[subjectsOfAll[i]].users;
    }
    all.remove(aNumber);
    return all;
  }
  /// What the factors of the set meet.
  Set meeting(const Set& aSet) const {
    Set all;
    aSet.forEach([&](std::size_t aNumber) { all |= meeting(aNumber); });
    return all;
  }

  /// Two numbers, one of a factor that holds where the other does not.
  using Complements = std::pair<Number, Number>;
  Few<Complements, 8> complements() const {
    Few<Complements, 8> all;
    for (std::size_t i = 0; i < factors.size(); ++i) {
      if (meeting(i).isEmpty()) continue;
      const Number other = numbers.find(complementOf(factors[i].id), factors);
      if (other != 0) all.emplace_back(static_cast<Number>(i), static_cast<Number>(other - 1));
    }
    return all;
  }

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
      aOrder.numbers[numbers.find(texts[i].id, factors) - 1u] = static_cast<Number>(i);
      if (i > 0 && !c.order.ordersConjunctions(texts[i - 1], texts[i])) {
        aOrder.isOfConjunctions = false;
      }
    }
  }

 private:
  struct Factor {
    SymbolicExprId id;
    std::size_t firstSubject, lastSubject;  // the places of what it is about, in the list of all
  };
  // Something that factors are about.
  struct Subject {
    std::uint32_t id;
    Set users;
  };
  // What all factors are about, counted for each.
  static constexpr std::size_t mostSubjects = 4 * Set::capacity;

  // Calls `aUse` with the factors from the last to the first, until it returns false.
  template <class Use>
  bool forEachFactor(SymbolicExprId aConjunction, Use aUse) const {
    SymbolicExprId link = aConjunction;
    for (; c.node(link).is(SymbolicOp::And); link = c.node(link).left()) {
      if (!aUse(c.node(link).right())) return false;
    }
    return aUse(link);
  }

  bool add(Set& aSet, SymbolicExprId aFactor) {
    Number& next = numbers.entry(aFactor, factors);
    if (next == 0) {
      if (areFull() || !number(aFactor)) return false;
      next = static_cast<Number>(factors.size());
    }
    aSet.add(next - 1u);
    return true;
  }

  bool number(SymbolicExprId aFactor) {
    const std::size_t fresh = factors.size(), first = subjectsOfAll.size();
    const auto note = [&](const std::uint32_t* aFirst, const std::uint32_t* aLast) {
      for (; aFirst != aLast; ++aFirst) {
        if (areFull()) return;
        Number& next = placesOfSubjects.entry(*aFirst, subjects);
        if (next == 0) {
          subjects.push_back({*aFirst, {}});
          next = static_cast<Number>(subjects.size());
        }
        subjects[next - 1u].users.add(fresh);
        subjectsOfAll.push_back(static_cast<Number>(next - 1));
      }
    };
    const bool isPlain = join.withSubjects(aFactor, note);
    factors.push_back({aFactor, first, subjectsOfAll.size()});
    return isPlain && subjectsOfAll.size() < mostSubjects;
  }

  // What holds where the factor does not, if the table has it; of two factors that are complements,
  // one is asked.
  SymbolicExprId complementOf(SymbolicExprId aFactor) const {
    const NodeView node = c.node(aFactor);
    switch (node.kind()) {
      case SymbolicOp::Not: return node.left();
      case SymbolicOp::NotEqual:
      case SymbolicOp::LessThan:
      case SymbolicOp::GreaterThan:
        return Intern::find(c.table, counterRelation(node.kind()), node.left(), node.right());
      default: return invalidSymbolicExprId;
    }
  }

  SimplifyContext& c;
  DisjointJoin& join;
  Few<Factor, 32> factors;
  Few<Subject, 32> subjects;
  Few<Number, 32> subjectsOfAll;  // the places of what the first is about, then the second, ...
  IdPlaces<Set::capacity> numbers;
  IdPlaces<mostSubjects> placesOfSubjects;
};

}  // namespace KS::detail
