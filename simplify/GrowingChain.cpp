// Long conjunctions that are extended again and again.
#include <algorithm>
#include <utility>

#include "simplify/detail/Unrelated.hpp"

namespace KS::detail {

// Whether the operand says that something is not a certain integer. Where a chain says no more of
// it than that, one after the other may come.
bool Unrelated::excludes(SymbolicExprId aOperand) const {
  const NodeDigest& node = Digests::of(table)[aOperand];
  return static_cast<SymbolicOp>(node.kind) == SymbolicOp::NotEqual &&
         kindOf(node.second) == SymbolicOp::IntValue;
}

// Takes a conjunction apart, unless it is what was extended last, or that before it was. False
// where it is not plain.
bool Unrelated::loadGrowing(SymbolicExprId aChain) {
  if (growing.chain == aChain) return true;
  if (growing.before == aChain) {
    for (const Text& added : growing.added) {
      const auto isIt = [&](const Text& aText) { return aText.id == added.id; };
      growing.operands.erase(std::find_if(growing.operands.begin(), growing.operands.end(), isIt));
      if (excludes(added.id)) --growing.excluding[Digests::of(table)[added.id].first];
    }
    growing.subjects.dropLast(growing.addedSubjects);
  } else {
    growing.chain = growing.before = invalidSymbolicExprId;
    const Scope scope(*this);
    const Part part = takeApart(aChain);
    if (!part.isPlain) return false;
    growing.operands.assign(texts.data() + part.operands.first, texts.data() + part.operands.last);
    growing.subjects.clear();
    growing.excluding = {};
    for (const Text& operand : growing.operands) noteSubjects(operand.id);
  }
  growing.chain = aChain;
  growing.before = invalidSymbolicExprId;
  return true;
}

// Adds what an operand of the growing chain is about.
void Unrelated::noteSubjects(SymbolicExprId aOperand) {
  if (excludes(aOperand)) {
    ++growing.excluding[Digests::of(table)[aOperand].first];
    return;
  }
  const std::uint32_t first = endOf(subjects);
  addSubjects(aOperand);
  growing.subjects.add(subjects.data() + first, subjects.data() + endOf(subjects));
  growing.addedSubjects += endOf(subjects) - first;
  subjects.drop(first);
}

// The operands that the growing chain does not have. Nothing where a rule might apply to one and an
// operand of the chain.
std::optional<Unrelated::Texts> Unrelated::newToGrowing(const Part& aPart) {
  Texts added;
  Text* const first = growing.operands.data();
  Text* const last = first + growing.operands.size();
  for (std::uint32_t i = aPart.operands.first; i < aPart.operands.last; ++i) {
    const std::uint32_t own = endOf(subjects);
    addSubjects(texts[i].id);
    const std::uint32_t* const about = subjects.data();
    const bool areMet = growing.subjects.containsAny(about + own, about + endOf(subjects));
    const auto isExcluded = [this](std::uint32_t aSubject) {
      const auto known = growing.excluding.find(aSubject);
      return known != growing.excluding.end() && known->second > 0;
    };
    if (areMet || std::any_of(about + own, about + endOf(subjects), isExcluded)) {
      const Text* const known = place(first, last, texts[i]);
      if (known != last && known->id == texts[i].id) continue;
      if (areMet || !excludes(texts[i].id)) return std::nullopt;
    }
    added.push_back(texts[i]);
  }
  return added;
}

std::optional<SymbolicExprId> Unrelated::extendGrowing(SymbolicExprId aChain, const Part& aOther) {
  if (!loadGrowing(aChain)) return std::nullopt;
  std::optional<Texts> added = newToGrowing(aOther);
  if (!added) return std::nullopt;
  if (added->empty()) return aChain;
  const std::size_t links = growing.operands.size();
  growing.operands.resize(links + added->size());
  const std::size_t kept = merge(growing.operands.data(), links, added->data(), added->size());
  growing.chain = relink(aChain, links, kept, growing.operands.data(), growing.operands.size());
  growing.added = std::move(*added);
  growing.addedSubjects = 0;
  for (const Text& operand : growing.added) noteSubjects(operand.id);
  growing.before = growing.added.size() <= few ? aChain : invalidSymbolicExprId;
  return growing.chain;
}

void Unrelated::Subjects::clear() {
  all.clear();
  if (inSet > 0) set = {};
  inSet = 0;
  wasAsked = false;
}

void Unrelated::Subjects::dropLast(std::size_t aCount) {
  const std::size_t left = all.size() - aCount;
  for (std::size_t i = left; i < inSet; ++i) set.erase(all[i]);
  inSet = std::min(inSet, left);
  all.resize(left);
}

bool Unrelated::Subjects::containsAny(const std::uint32_t* aFirst, const std::uint32_t* aLast) {
  const auto count = static_cast<std::size_t>(aLast - aFirst);
  const bool isFirst = !std::exchange(wasAsked, true);
  if (all.size() * count <= manyPairs || (isFirst && count <= few)) {
    return haveCommon(aFirst, aLast, all.data(), all.data() + all.size());
  }
  for (; inSet < all.size(); ++inSet) set.insert(all[inSet]);
  return std::any_of(aFirst, aLast,
                     [this](std::uint32_t aSubject) { return set.contains(aSubject); });
}

}  // namespace KS::detail
