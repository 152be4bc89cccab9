#include "simplify/detail/DisjointJoin.hpp"

#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_set.hpp>

namespace KS::detail {

// ---------------------------------------------------------------------------------------------
// Taking apart

bool DisjointJoin::addSubjectsOfNot(SymbolicExprId aNot) {
  const std::size_t before = subjects.size();
  boost::container::small_vector<SymbolicExprId, 12> open{aNot};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    const NodeView node = c.node(id);
    open.pop_back();
    if (node.isConnective()) {
      open.insert(open.end(), {node.right(), node.left()});
    } else if (node.is(SymbolicOp::Not)) {
      open.push_back(node.left());
    } else {
      addSubjects(id);
    }
    if (subjects.size() - before + open.size() > mostSubjects) return false;
  }
  return true;
}

DisjointJoin::Part DisjointJoin::takeApart(SymbolicExprId aId) {
  const std::size_t count = countOperands(aId);
  Part part{static_cast<std::uint32_t>(aId),
            c.finals.contains(aId) && !isConstant(aId),
            {texts.size(), texts.size() + static_cast<std::uint32_t>(count)},
            {subjects.size(), subjects.size()}};
  if (!part.isPlain) return part;
  Text* const first = texts.add(count);
  SymbolicExprId link = aId;
  for (std::size_t i = count; i-- > 0;) {
    const NodeView node = c.node(link);
    const SymbolicExprId operand = i > 0 ? node.right() : link;
    const SymbolicExprId left = addSubjects(operand);
    if (left == invalidSymbolicExprId) {
      part.isPlain = false;
      break;
    }
    first[i] = c.order.text(operand, left);
    link = node.left();
  }
  part.subjects.last = subjects.size();
  return part;
}

std::size_t DisjointJoin::countOperands(SymbolicExprId aChain, std::size_t aMost) const {
  std::size_t count = 1;
  for (SymbolicExprId link = aChain; count < aMost && c.node(link).is(SymbolicOp::And);
       link = c.node(link).left()) {
    ++count;
  }
  return count;
}

bool DisjointJoin::areDisjoint(const Range& aSubjects, const Range& aOthers) const {
  const std::uint32_t* const all = subjects.data();
  Range less = aSubjects, more = aOthers;
  if (less.size() > more.size()) std::swap(less, more);
  if (std::size_t{less.size()} * more.size() <= mostPairsCompared) {
    return !haveCommon(all + less.first, all + less.last, all + more.first, all + more.last);
  }
  const boost::unordered_flat_set<std::uint32_t> set(all + less.first, all + less.last);
  return std::none_of(all + more.first, all + more.last,
                      [&](std::uint32_t aSubject) { return set.contains(aSubject); });
}

// ---------------------------------------------------------------------------------------------
// Joining a chain and another one

std::optional<SymbolicExprId> DisjointJoin::extend(SymbolicExprId aChain, SymbolicExprId aOther) {
  const Scope scope(*this);
  const Part other = takeApart(aOther);
  if (!other.isPlain || !c.finals.contains(aChain) || isConstant(aChain)) return std::nullopt;
  if (other.subjects.size() <= mostSubjectsSearched && isDisjoint(aChain, other)) {
    return append(aChain, other);
  }
  const Part whole = takeApart(aChain);
  if (!whole.isPlain) return std::nullopt;
  if (areDisjoint(other.subjects, whole.subjects)) return append(aChain, other);
  if (std::size_t{other.operands.size()} * whole.operands.size() > mostPairsCompared)
    return std::nullopt;
  const std::optional<Part> added = withoutCommon(other, whole);
  if (!added) return std::nullopt;
  return added->operands.size() == 0 ? aChain : append(aChain, *added);
}

// Whether every operand of a chain is about something else than a part, and none is a disjunction
// or about many subjects.
bool DisjointJoin::isDisjoint(SymbolicExprId aChain, const Part& aOther) {
  const Range others = aOther.subjects;
  const auto isNegationApart = [&](SymbolicExprId aNot) {
    const std::uint32_t own = subjects.size();
    const bool isApart = addSubjectsOfNot(aNot) && areDisjoint({own, subjects.size()}, others);
    subjects.drop(own);
    return isApart;
  };
  const auto isApart = [&](SymbolicExprId aOperand) {
    const NodeView node = c.node(aOperand);
    if (node.is(SymbolicOp::Or)) return false;
    if (node.is(SymbolicOp::Not)) return isNegationApart(aOperand);
    const auto subject = static_cast<std::uint32_t>(node.isRelation() ? node.left() : aOperand);
    return !haveCommon(&subject, &subject + 1, subjects.data() + others.first,
                       subjects.data() + others.last);
  };
  SymbolicExprId link = aChain;
  for (; c.node(link).is(SymbolicOp::And); link = c.node(link).left()) {
    if (!isApart(c.node(link).right())) return false;
  }
  return isApart(link);
}

// The chain with the operands of a disjoint part in their places, from the end on: the links in
// front of the first of these stay.
SymbolicExprId DisjointJoin::append(SymbolicExprId aChain, const Part& aOther) {
  const std::size_t end = texts.size();  // behind it, the new end in reverse
  std::size_t left = aOther.operands.last;
  std::optional<SymbolicExprId> rest = aChain;
  while (left > aOther.operands.first) {
    const Text added = texts[left - 1];
    if (rest) {
      const NodeView node = c.node(*rest);
      const bool isLink = node.is(SymbolicOp::And);
      const SymbolicExprId operand = isLink ? node.right() : *rest;
      const Text last = c.order.text(operand, c.order.leftOf(operand));
      if (c.order.isBefore(added, last)) {
        texts.push(last);
        rest = isLink ? std::optional(node.left()) : std::nullopt;
        continue;
      }
    }
    texts.push(added);
    --left;
  }
  std::reverse(texts.data() + end, texts.data() + texts.size());
  const Text* const first = texts.data() + end;
  const std::size_t count = texts.size() - end;
  const SymbolicExprId chain =
      rest ? extendChain(c, SymbolicOp::And, *rest, first, count)
           : extendChain(c, SymbolicOp::And, first->id, first + 1, count - 1);
  c.finals.addChain(chain);
  return chain;
}

// The operands of a part that do not stand in the other. Nothing where one is about something that
// the other is about.
std::optional<DisjointJoin::Part> DisjointJoin::withoutCommon(const Part& aPart,
                                                              const Part& aOther) {
  const auto isCommon = [&](std::uint32_t aId) {
    return std::any_of(operandsOf(aOther), operandsOf(aOther) + aOther.operands.size(),
                       [aId](const Text& aText) { return aText.id == aId; });
  };
  Part rest{aPart.id, true, {texts.size(), 0}, {subjects.size(), 0}};
  for (std::uint32_t i = aPart.operands.first; i < aPart.operands.last; ++i) {
    const Text operand = texts[i];
    if (isCommon(operand.id)) continue;
    const std::uint32_t first = subjects.size();
    addSubjects(operand.id);
    if (!areDisjoint({first, subjects.size()}, aOther.subjects)) return std::nullopt;
    texts.push(operand);
  }
  rest.operands.last = texts.size();
  rest.subjects.last = subjects.size();
  return rest;
}

}  // namespace KS::detail
