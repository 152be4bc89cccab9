#include "simplify/detail/Unrelated.hpp"

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <utility>

#include "base/detail/Intern.hpp"

namespace KS::detail {

// ---------------------------------------------------------------------------------------------
// Taking apart

bool Unrelated::addSubjectsOfNot(SymbolicExprId aNot) {
  const std::size_t before = subjects.size();
  boost::container::small_vector<SymbolicExprId, 12> open{aNot};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    const NodeDigest& node = Digests::of(table)[id];
    const auto op = static_cast<SymbolicOp>(node.kind);
    open.pop_back();
    if (op == SymbolicOp::And || op == SymbolicOp::Or) {
      open.insert(open.end(), {node.second, node.first});
    } else if (op == SymbolicOp::Not) {
      open.push_back(node.first);
    } else {
      addSubjects(id);
    }
    if (subjects.size() - before + open.size() > manySubjects) return false;
  }
  return true;
}

Unrelated::Part Unrelated::takeApart(SymbolicExprId aId) {
  const auto& digests = Digests::of(table);
  const std::size_t count = countOperands(aId);
  Part part{static_cast<std::uint32_t>(aId),
            Digests::isSimplified(table, aId) && !isConstant(aId),
            {endOf(texts), endOf(texts) + static_cast<std::uint32_t>(count)},
            {endOf(subjects), endOf(subjects)}};
  if (!part.isPlain) return part;
  Text* const first = texts.add(count);
  SymbolicExprId link = aId;
  for (std::size_t i = count; i-- > 0; link = digests[link].first) {
    const SymbolicExprId operand = i > 0 ? SymbolicExprId{digests[link].second} : link;
    const SymbolicExprId left = addSubjects(operand);
    if (left == invalidSymbolicExprId) {
      part.isPlain = false;
      break;
    }
    first[i] = order.text(operand, left);
  }
  part.subjects.last = endOf(subjects);
  return part;
}

bool Unrelated::areUnrelated(const Range& aSubjects, const Range& aOthers) const {
  const std::uint32_t* const all = subjects.data();
  Range less = aSubjects, more = aOthers;
  if (less.size() > more.size()) std::swap(less, more);
  if (less.size() * more.size() <= manyPairs) {
    return !haveCommon(all + less.first, all + less.last, all + more.first, all + more.last);
  }
  const boost::unordered_flat_set<std::uint32_t> set(all + less.first, all + less.last);
  return std::none_of(all + more.first, all + more.last,
                      [&](std::uint32_t aSubject) { return set.contains(aSubject); });
}

bool Unrelated::areUnrelated(const Part* aParts, std::size_t aCount) const {
  for (const Part* part = aParts; part != aParts + aCount; ++part) {
    if (!part->isPlain) return false;
    for (const Part* other = aParts; other != part; ++other) {
      if (!areUnrelated(part->subjects, other->subjects)) return false;
    }
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// Joining

// Where an operand belongs among sorted ones, of which many are searched by halves.
Unrelated::Text* Unrelated::place(Text* aFirst, Text* aLast, const Text& aAdded) {
  const auto isBefore = [this](const Text& a, const Text& b) { return order.isBefore(a, b); };
  if (aLast - aFirst > static_cast<std::ptrdiff_t>(manyOperands)) {
    return std::lower_bound(aFirst, aLast, aAdded, isBefore);
  }
  while (aLast != aFirst && !isBefore(aLast[-1], aAdded)) --aLast;
  return aLast;
}

// Merges sorted operands into sorted ones, behind which there is room. Returns how many of these
// stay in front of the first that was added.
std::size_t Unrelated::merge(Text* aFirst, std::size_t aCount, const Text* aAdded,
                             std::size_t aAddedCount) {
  Text* last = aFirst + aCount;
  for (std::size_t i = aAddedCount; i-- > 0;) {
    Text* const to = place(aFirst, last, aAdded[i]);
    std::move_backward(to, last, last + i + 1);
    to[i] = aAdded[i];
    last = to;
  }
  return static_cast<std::size_t>(last - aFirst);
}

// The chain with further operands behind it, which is simplified. Each link waits for memory that
// the last one's id leads to; but the ids are known beforehand as long as the links are new.
SymbolicExprId Unrelated::link(SymbolicExprId aChain, const Text* aFirst, std::size_t aCount) {
  constexpr std::size_t ahead = 8;
  const auto prefetch = [&](std::size_t aLink, SymbolicExprId aLeft) {
    if (aLink < aCount) Intern::prefetch(table, SymbolicOp::And, aLeft, aFirst[aLink].id);
  };
  for (std::size_t i = 1; i < ahead; ++i) prefetch(i, table.size() + i - 1);
  SymbolicExprId chain = aChain;
  for (std::size_t i = 0; i < aCount; ++i) {
    prefetch(i + ahead, table.size() + ahead - 1);
    chain = intern<SymbolicAndExpr>(table, chain, SymbolicExprId{aFirst[i].id});
  }
  Digests::setSimplified(table, chain);
  return chain;
}

// The chain of so many operands, of which the first `aKept` are those of a chain of `aLinks`
// operands.
SymbolicExprId Unrelated::relink(SymbolicExprId aChain, std::size_t aLinks, std::size_t aKept,
                                 const Text* aFirst, std::size_t aCount) {
  const std::size_t kept = std::max<std::size_t>(aKept, 1);
  SymbolicExprId chain = aKept == 0 ? SymbolicExprId{aFirst[0].id} : aChain;
  if (aKept > 0) {
    for (; aLinks > kept; --aLinks) chain = Digests::of(table)[chain].first;
  }
  return link(chain, aFirst + kept, aCount - kept);
}

Unrelated::Part Unrelated::conjoin(const Part* aParts, std::size_t aCount) {
  const Part* longest = aParts;
  std::size_t total = 0;
  for (const Part* part = aParts; part != aParts + aCount; ++part) {
    total += part->operands.size();
    if (part->operands.size() > longest->operands.size()) longest = part;
  }
  const std::size_t first = texts.size();
  Text* const all = texts.add(total);
  const auto at = [this](const Range& aOperands) { return texts.data() + aOperands.first; };
  std::size_t count = longest->operands.size();
  std::copy_n(at(longest->operands), count, all);
  std::size_t kept = count;
  for (const Part* part = aParts; part != aParts + aCount; ++part) {
    if (part == longest) continue;
    kept = std::min(kept, merge(all, count, at(part->operands), part->operands.size()));
    count += part->operands.size();
  }
  const SymbolicExprId id = relink(longest->id, longest->operands.size(), kept, all, total);
  return {static_cast<std::uint32_t>(id),
          true,
          {static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(first + total)},
          {0, 0}};
}

// ---------------------------------------------------------------------------------------------
// Two conjunctions, one of which is mostly the longer

std::optional<SymbolicExprId> Unrelated::extend(SymbolicExprId a, SymbolicExprId b) {
  if (kindOf(a) == SymbolicOp::Or || kindOf(b) == SymbolicOp::Or) return std::nullopt;
  constexpr std::size_t most = manyOperands + 1;
  const auto isKnown = [this](SymbolicExprId aId) {
    return aId == growing.chain || aId == growing.before;
  };
  const std::size_t countA = countOperands(a, most), countB = countOperands(b, most);
  const bool isOther = countA == countB ? isKnown(b) : countA < countB;
  const SymbolicExprId chain = isOther ? b : a;
  const bool isLong = std::max(countA, countB) == most;
  const bool isAgain = chain == lastExtended || chain == lastResult;
  const Scope scope(*this);
  const Part other = takeApart(isOther ? a : b);
  if (!other.isPlain || !Digests::isSimplified(table, chain) || isConstant(chain)) {
    return std::nullopt;
  }
  if (isLong) {
    const bool isGrowing = isKnown(chain) || isAgain || other.subjects.size() > few;
    lastResult = isGrowing || !isUnrelated(chain, other) ? extendGrowing(chain, other)
                                                         : append(chain, other);
    lastExtended = chain;
    return lastResult;
  }
  if (isUnrelated(chain, other)) return append(chain, other);
  const Part whole = takeApart(chain);
  if (!whole.isPlain) return std::nullopt;
  const std::optional<Part> added = withoutCommon(other, whole);
  if (!added) return std::nullopt;
  return added->operands.size() == 0 ? chain : append(chain, *added);
}

// The number of operands, or so many if there are more.
std::size_t Unrelated::countOperands(SymbolicExprId aChain, std::size_t aMost) const {
  std::size_t count = 1;
  for (SymbolicExprId link = aChain; count < aMost && kindOf(link) == SymbolicOp::And;
       link = Digests::of(table)[link].first) {
    ++count;
  }
  return count;
}

// Whether every operand of a chain is about something else than a part, and none is a disjunction
// or about too many.
bool Unrelated::isUnrelated(SymbolicExprId aChain, const Part& aOther) {
  const auto& digests = Digests::of(table);
  const Range others = aOther.subjects;
  const auto isNegationApart = [&](SymbolicExprId aNot) {
    const std::uint32_t own = endOf(subjects);
    const bool isApart = addSubjectsOfNot(aNot) && areUnrelated({own, endOf(subjects)}, others);
    subjects.drop(own);
    return isApart;
  };
  const auto isApart = [&](SymbolicExprId aOperand) {
    const auto subject = static_cast<std::uint32_t>(order.leftOf(aOperand));
    return !haveCommon(&subject, &subject + 1, subjects.data() + others.first,
                       subjects.data() + others.last);
  };
  SymbolicExprId link = aChain;
  for (bool isLast = false; !isLast; link = digests[link].first) {
    isLast = kindOf(link) != SymbolicOp::And;
    const SymbolicExprId operand = isLast ? link : SymbolicExprId{digests[link].second};
    switch (kindOf(operand)) {
      case SymbolicOp::Or: return false;
      case SymbolicOp::Not:
        if (!isNegationApart(operand)) return false;
        break;
      default:
        if (!isApart(operand)) return false;
    }
  }
  return true;
}

// The chain with the operands of an unrelated part in their places, from the end on: the links in
// front of the first of these stay.
SymbolicExprId Unrelated::append(SymbolicExprId aChain, const Part& aOther) {
  const std::size_t end = texts.size();  // behind it, the new end in reverse
  std::size_t left = aOther.operands.last;
  std::optional<SymbolicExprId> rest = aChain;
  while (left > aOther.operands.first) {
    const Text added = texts[left - 1];
    if (rest) {
      const bool isFirst = kindOf(*rest) != SymbolicOp::And;
      const SymbolicExprId operand = isFirst ? *rest : operandOf(*rest);
      const Text last = order.text(operand, order.leftOf(operand));
      if (order.isBefore(added, last)) {
        texts.push(last);
        rest =
            isFirst ? std::nullopt : std::optional<SymbolicExprId>(Digests::of(table)[*rest].first);
        continue;
      }
    }
    texts.push(added);
    --left;
  }
  std::reverse(texts.data() + end, texts.data() + texts.size());
  const Text* const first = texts.data() + end;
  return rest ? link(*rest, first, texts.size() - end)
              : link(first->id, first + 1, texts.size() - end - 1);
}

// The operands of a part that do not stand in the other. Nothing where one is about something that
// the other is about.
std::optional<Unrelated::Part> Unrelated::withoutCommon(const Part& aPart, const Part& aOther) {
  const auto isCommon = [&](std::uint32_t aId) {
    return std::any_of(texts.data() + aOther.operands.first, texts.data() + aOther.operands.last,
                       [aId](const Text& aText) { return aText.id == aId; });
  };
  Part rest{aPart.id, true, {endOf(texts), 0}, {endOf(subjects), 0}};
  for (std::uint32_t i = aPart.operands.first; i < aPart.operands.last; ++i) {
    const Text operand = texts[i];
    if (isCommon(operand.id)) continue;
    const std::uint32_t first = endOf(subjects);
    addSubjects(operand.id);
    if (!areUnrelated({first, endOf(subjects)}, aOther.subjects)) return std::nullopt;
    texts.push(operand);
  }
  rest.operands.last = endOf(texts);
  rest.subjects.last = endOf(subjects);
  return rest;
}

}  // namespace KS::detail
