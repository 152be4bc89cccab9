// The operands of conjunctions and disjunctions: taking chains apart, keeping operands while rules
// apply to them, and building chains.
#pragma once

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>

#include "base/detail/Intern.hpp"
#include "base/detail/Walk.hpp"
#include "host/KSPlatform.hpp"
#include "simplify/detail/Connective.hpp"
#include "simplify/detail/Relations.hpp"
#include "simplify/detail/SimplifyContext.hpp"

namespace KS::detail {

using Ids = boost::container::small_vector<SymbolicExprId, 12>;

// ---------------------------------------------------------------------------------------------
// Taking chains apart

/// Appends the operands of a left-deep chain in their order, or the one operand that stands for
/// itself.
template <class List>
void appendLeftDeep(const SimplifyContext& c, SymbolicOp aOp, SymbolicExprId aChain,
                    List& aOperands) {
  const std::size_t before = aOperands.size();
  for (; c.node(aChain).is(aOp); aChain = c.node(aChain).left()) {
    aOperands.push_back(c.node(aChain).right());
  }
  aOperands.push_back(aChain);
  std::reverse(aOperands.begin() + static_cast<std::ptrdiff_t>(before), aOperands.end());
}

/// Appends the operands of a chain, however it is grouped; those of a shared link are met once,
/// other operands as often as they stand. `aIsOperand(id)` tells of a chain inside that it is an
/// operand to be taken as a whole. Links are taken from the youngest down: an input is older than
/// its user, so all mentions of a link come together before it is opened.
template <class List, class IsOperand>
void appendOperands(const SimplifyContext& c, SymbolicOp aOp, SymbolicExprId aChain,
                    List& aOperands, IsOperand aIsOperand) {
  Ids links{aChain};  // a heap
  while (!links.empty()) {
    const SymbolicExprId link = links.front();
    while (!links.empty() && links.front() == link) {
      std::pop_heap(links.begin(), links.end());
      links.pop_back();
    }
    const NodeView node = c.node(link);
    for (const SymbolicExprId input : {node.left(), node.right()}) {
      if (input >= link) failBadInput();
      if (c.node(input).is(aOp) && !aIsOperand(input)) {
        links.push_back(input);
        std::push_heap(links.begin(), links.end());
      } else {
        aOperands.push_back(input);
      }
    }
  }
}

/// Appends all operands of a chain, or the one operand that stands for itself.
template <class List>
void appendOperands(const SimplifyContext& c, SymbolicOp aOp, SymbolicExprId aChain,
                    List& aOperands) {
  if (!c.node(aChain).is(aOp)) {
    aOperands.push_back(aChain);
  } else if (c.finals.contains(aChain)) {
    appendLeftDeep(c, aOp, aChain, aOperands);
  } else {
    appendOperands(c, aOp, aChain, aOperands, [](SymbolicExprId) { return false; });
  }
}

// ---------------------------------------------------------------------------------------------
// Keeping operands

/// The operands of a conjunction or disjunction, each once, while rules apply to them.
///
/// What once was an operand stays known: of a conjunction it is implied by the operands that are
/// left, of a disjunction it implies one of them. So it need not come again.
class Operands {
 public:
  Operands(SimplifyContext& aContext, const Connective& aKind) : c(aContext), kind(aKind) {}

  /// Adds an operand with its relations in canonical orientation; of a chain of the same connective
  /// its operands. The connective's neutral value is left out, the absorbing one decides.
  void add(SymbolicExprId aOperand) {
    if (c.node(aOperand).is(kind.op)) {
      addChain(aOperand);
    } else {
      addOne(aOperand);
    }
  }
  void remove(SymbolicExprId aOperand);
  /// Says that the whole has the connective's absorbing value.
  void decide() { decided = true; }

  const Connective& connective() const { return kind; }
  bool isDecided() const { return decided; }
  std::size_t size() const { return present; }
  /// Whether it is an operand.
  bool contains(SymbolicExprId aId) const {
    const std::size_t at = find(aId);
    return at != entries.size() && entries[at].isPresent;
  }
  /// Whether it is or was an operand.
  bool knew(SymbolicExprId aId) const { return find(aId) != entries.size(); }
  /// The operands in the order in which they came.
  Ids list() const;

  /// A place behind all that came so far.
  std::size_t end() const { return entries.size(); }
  /// Calls `aUse` with the operands that came from that place on and are still there.
  template <class Use>
  void forEachSince(std::size_t aPlace, Use aUse) const {
    for (std::size_t i = aPlace; i < entries.size(); ++i) {
      if (entries[i].isPresent) aUse(SymbolicExprId{entries[i].id});
    }
  }

 private:
  struct Entry {
    std::uint32_t id;
    bool isPresent;
  };
  // Up to this size a linear search beats a hash map.
  static constexpr std::size_t linearSearch = 24;

  void addChain(SymbolicExprId aChain);
  void addOne(SymbolicExprId aOperand) {
    // a && true -> a, a || false -> a
    if (aOperand == c.constant(!kind.absorbing)) return;
    // a && false -> FALSE, a || true -> TRUE
    if (aOperand == c.constant(kind.absorbing)) return decide();
    const SymbolicExprId operand = normalizeRelOp(c, aOperand);
    // a && a -> a, a || a -> a
    if (knew(operand)) return;
    if (entries.size() >= linearSearch) file(operand);
    entries.push_back({static_cast<std::uint32_t>(operand), true});
    ++present;
  }
  void file(SymbolicExprId aNext);
  std::size_t find(SymbolicExprId aId) const {
    if (places.empty()) {
      const auto at = std::find_if(entries.begin(), entries.end(),
                                   [aId](const Entry& aEntry) { return aEntry.id == aId; });
      return static_cast<std::size_t>(at - entries.begin());
    }
    const auto at = places.find(static_cast<std::uint32_t>(aId));
    return at == places.end() ? entries.size() : at->second;
  }

  SimplifyContext& c;
  const Connective& kind;
  boost::container::small_vector<Entry, 16> entries;
  boost::unordered_flat_map<std::uint32_t, std::uint32_t> places;  // empty for few entries
  std::size_t present = 0;
  bool decided = false;
};

// ---------------------------------------------------------------------------------------------
// Building chains

inline SymbolicExprId idOf(SymbolicExprId aOperand) { return aOperand; }
inline SymbolicExprId idOf(const TextOrder::Text& aOperand) { return aOperand.id; }

/// The chain with further operands behind it, in their order. Each link waits for memory that the
/// id of the one before leads to; but the ids are known beforehand as long as links are new, so
/// that memory is asked for eight links ahead. (Saves: a link of a long new chain takes 71 ns
/// instead of 161 in a table of 8.4 million nodes.)
template <class Operand>
SymbolicExprId extendChain(SimplifyContext& c, SymbolicOp aOp, SymbolicExprId aChain,
                           const Operand* aFirst, std::size_t aCount) {
  constexpr std::size_t ahead = 8;
  SymbolicExprTable& t = c.table;
  // Inlined always: a call that does nothing else is a call without effect to compilers.
  const auto prefetch = [&](std::size_t aLink, SymbolicExprId aLeft) KS_ALWAYS_INLINE {
    if (aLink < aCount) Intern::prefetch(t, aOp, aLeft, idOf(aFirst[aLink]));
  };
  for (std::size_t i = 1; i < ahead; ++i) prefetch(i, t.size() + i - 1);
  SymbolicExprId chain = aChain;
  for (std::size_t i = 0; i < aCount; ++i) {
    prefetch(i + ahead, t.size() + ahead - 1);
    chain = aOp == SymbolicOp::And ? intern<SymbolicAndExpr>(t, chain, idOf(aFirst[i]))
                                   : intern<SymbolicOrExpr>(t, chain, idOf(aFirst[i]));
  }
  return chain;
}

/// The chain of operands among which no rule applies, in the order in which they are given.
SymbolicExprId makeChain(SimplifyContext& c, SymbolicOp aOp, const Ids& aOperands);

/// The canonical chain of operands among which no rule applies: left-deep in text order. Two
/// operands of a disjunction have an order of their own, `orderTwo`.
SymbolicExprId canonicalChain(SimplifyContext& c, SymbolicOp aOp, Ids&& aOperands);

/// Orders two operands of a disjunction, neither a disjunction itself: relations and negations by
/// kind, operands of one kind by text. Returns whether that tells their order; others stay.
bool orderTwo(SimplifyContext& c, SymbolicExprId& a, SymbolicExprId& b);

/// The disjunction of two operands, neither a disjunction itself, with these in order.
SymbolicExprId makeOrderedDisjunction(SimplifyContext& c, SymbolicExprId aOr);

}  // namespace KS::detail
