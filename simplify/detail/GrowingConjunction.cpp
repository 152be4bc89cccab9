#include "simplify/detail/GrowingConjunction.hpp"

#include <algorithm>
#include <utility>

namespace KS::detail {

namespace {

// The chain of operands in text order, of which the first `aKept` are those of a chain of `aLinks`
// operands; it is final, as all of them are.
SymbolicExprId rechain(SimplifyContext& c, SymbolicExprId aChain, std::size_t aLinks,
                       std::size_t aKept, const TextOrder::Text* aFirst, std::size_t aCount) {
  const std::size_t kept = std::max<std::size_t>(aKept, 1);
  SymbolicExprId chain = aKept == 0 ? SymbolicExprId{aFirst[0].id} : aChain;
  if (aKept > 0) {
    for (; aLinks > kept; --aLinks) chain = c.node(chain).left();
  }
  chain = extendChain(c, SymbolicOp::And, chain, aFirst + kept, aCount - kept);
  c.finals.addChain(chain);
  return chain;
}

}  // namespace

std::optional<SymbolicExprId> GrowingConjunction::extend(SymbolicExprId aChain,
                                                         SymbolicExprId aOther) {
  const DisjointJoin::Scope scope(join);
  const DisjointJoin::Part other = join.takeApart(aOther);
  if (!other.isPlain || !load(aChain)) return std::nullopt;
  return extendLoaded(aChain, other);
}

std::optional<SymbolicExprId> GrowingConjunction::extendLoaded(SymbolicExprId aChain,
                                                               const DisjointJoin::Part& aOther) {
  std::optional<Texts> fresh = newOperands(aOther);
  if (!fresh) return std::nullopt;
  if (fresh->empty()) return aChain;
  const std::size_t links = operands.size();
  operands.resize(links + fresh->size());
  const std::size_t kept = c.order.merge(operands.data(), links, fresh->data(), fresh->size());
  chain = rechain(c, aChain, links, kept, operands.data(), operands.size());
  added = std::move(*fresh);
  addedSubjects = 0;
  for (const Text& operand : added) noteSubjects(operand.id);
  before = added.size() <= mostTakenOut ? aChain : invalidSymbolicExprId;
  return chain;
}

// Takes a conjunction apart, unless it is what was extended last, or that before it was. False
// where it is not plain.
bool GrowingConjunction::load(SymbolicExprId aChain) {
  if (chain == aChain) return true;
  if (before == aChain) {
    takeOutLast();
  } else {
    const DisjointJoin::Scope scope(join);
    const DisjointJoin::Part part = join.takeApart(aChain);
    if (!part.isPlain) return false;
    operands.assign(join.operandsOf(part), join.operandsOf(part) + part.operands.size());
    subjects.clear();
    excluding = {};
    for (const Text& operand : operands) noteSubjects(operand.id);
  }
  chain = aChain;
  before = invalidSymbolicExprId;
  return true;
}

void GrowingConjunction::takeOutLast() {
  for (const Text& gone : added) {
    const auto isIt = [&](const Text& aText) { return aText.id == gone.id; };
    operands.erase(std::find_if(operands.begin(), operands.end(), isIt));
    if (excludesInteger(gone.id)) {
      --excluding[static_cast<std::uint32_t>(c.node(gone.id).left())];
    }
  }
  subjects.dropLast(addedSubjects);
}

// Whether the operand says that something is not a certain integer. Where a chain says no more of
// it than that, one after the other may come.
bool GrowingConjunction::excludesInteger(SymbolicExprId aOperand) const {
  const NodeView node = c.node(aOperand);
  return node.is(SymbolicOp::NotEqual) && c.node(node.right()).is(SymbolicOp::IntValue);
}

// Adds what an operand is about.
void GrowingConjunction::noteSubjects(SymbolicExprId aOperand) {
  if (excludesInteger(aOperand)) {
    ++excluding[static_cast<std::uint32_t>(c.node(aOperand).left())];
    return;
  }
  join.withSubjects(aOperand, [this](const std::uint32_t* aFirst, const std::uint32_t* aLast) {
    subjects.add(aFirst, aLast);
    addedSubjects += static_cast<std::size_t>(aLast - aFirst);
  });
}

// The operands that the conjunction does not have. Nothing where a rule might apply to one and an
// operand of the conjunction.
std::optional<GrowingConjunction::Texts> GrowingConjunction::newOperands(
    const DisjointJoin::Part& aPart) {
  Texts fresh;
  Text* const last = operands.data() + operands.size();
  for (std::uint32_t i = 0; i < aPart.operands.size(); ++i) {
    const Text operand = join.operandsOf(aPart)[i];
    bool isMet = false, isExcluded = false;
    join.withSubjects(operand.id, [&](const std::uint32_t* aFirst, const std::uint32_t* aLast) {
      isMet = subjects.containsAny(aFirst, aLast);
      isExcluded = std::any_of(aFirst, aLast, [this](std::uint32_t aSubject) {
        const auto known = excluding.find(aSubject);
        return known != excluding.end() && known->second > 0;
      });
    });
    if (isMet || isExcluded) {
      const Text* const known = c.order.place(operands.data(), last, operand);
      if (known != last && known->id == operand.id) continue;
      if (isMet || !excludesInteger(operand.id)) return std::nullopt;
    }
    fresh.push_back(operand);
  }
  return fresh;
}

// ---------------------------------------------------------------------------------------------
// Subjects

void GrowingConjunction::Subjects::clear() {
  all.clear();
  if (inSet > 0) set = {};
  inSet = 0;
  wasAsked = false;
}

void GrowingConjunction::Subjects::dropLast(std::size_t aCount) {
  const std::size_t left = all.size() - aCount;
  for (std::size_t i = left; i < inSet; ++i) set.erase(all[i]);
  inSet = std::min(inSet, left);
  all.resize(left);
}

bool GrowingConjunction::Subjects::containsAny(const std::uint32_t* aFirst,
                                               const std::uint32_t* aLast) {
  constexpr std::size_t mostPairsCompared = 512, mostSubjectsSearched = 8;
  const auto count = static_cast<std::size_t>(aLast - aFirst);
  const bool isFirst = !std::exchange(wasAsked, true);
  if (all.size() * count <= mostPairsCompared || (isFirst && count <= mostSubjectsSearched)) {
    return DisjointJoin::haveCommon(aFirst, aLast, all.data(), all.data() + all.size());
  }
  for (; inSet < all.size(); ++inSet) set.insert(all[inSet]);
  return std::any_of(aFirst, aLast,
                     [this](std::uint32_t aSubject) { return set.contains(aSubject); });
}

}  // namespace KS::detail
