// Distribution of a conjunction over disjunctions, and conjunctions of operands that have nothing
// to do with each other.
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "base/detail/Intern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

using namespace detail;

namespace {

// Calls `aUse` with every way to pick a member of each list.
template <class Lists, class Use>
void forEachPick(const Lists& aLists, Use aUse) {
  using List = typename Lists::value_type;
  boost::container::small_vector<std::size_t, 4> places(aLists.size(), 0);
  boost::container::small_vector<typename List::value_type, 4> picks;
  for (const List& list : aLists) picks.push_back(list[0]);
  for (std::size_t i = 0; i < places.size();) {
    aUse(picks);
    for (i = 0; i < places.size(); ++i) {
      places[i] = (places[i] + 1) % aLists[i].size();
      picks[i] = aLists[i][places[i]];
      if (places[i] != 0) break;
    }
  }
}

// So many are put into a sorted list, or searched for, one by one.
constexpr std::size_t few = 8;

}  // namespace

// ---------------------------------------------------------------------------------------------
// Unrelated operands: those that no rule but distribution looks at together

// Adds what an operand of a conjunction is about: a relation about its left operand, a negation
// about what is below it, anything else about itself. Operands whose subjects differ have nothing
// to do with each other for any rule but distribution. False for a disjunction, which is
// distributed, and for an operand about too many.
bool SymbolicExprSimplifyVisitor::addSubjects(SymbolicExprId aOperand, Ids& aSubjects) const {
  const SymbolicOp kind = kindOf(aOperand);
  if (kind == SymbolicOp::Or) return false;
  if (kind == SymbolicOp::Not) return addSubjectsOfNot(aOperand, aSubjects);
  aSubjects.push_back(isRelation(kind) ? SymbolicExprId{digest(aOperand).first} : aOperand);
  return true;
}

bool SymbolicExprSimplifyVisitor::addSubjectsOfNot(SymbolicExprId aNot, Ids& aSubjects) const {
  constexpr std::size_t many = 64;
  const std::size_t before = aSubjects.size();
  Ids open{aNot};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    open.pop_back();
    const SymbolicOp op = kindOf(id);
    if (op == SymbolicOp::And || op == SymbolicOp::Or) {
      open.insert(open.end(), {digest(id).second, digest(id).first});
    } else if (op == SymbolicOp::Not) {
      open.push_back(digest(id).first);
    } else {
      aSubjects.push_back(isRelation(op) ? SymbolicExprId{digest(id).first} : id);
    }
    if (aSubjects.size() - before + open.size() > many) return false;
  }
  return true;
}

// Takes a simplified conjunction apart, unless it is what was extended last, or that before it was.
// False where it is a constant or its operands are about too many.
bool SymbolicExprSimplifyVisitor::loadGrowing(SymbolicExprId aChain) {
  if (growing.chain == aChain) return true;
  if (!isFixed(aChain) || aChain == constant(true) || aChain == constant(false)) return false;
  if (growing.before == aChain) {
    for (const SymbolicExprId added : growing.added) {
      growing.operands.erase(std::find(growing.operands.begin(), growing.operands.end(), added));
    }
    growing.subjects.dropLast(growing.addedSubjects);
  } else {
    growing.chain = growing.before = invalidSymbolicExprId;
    growing.operands.clear();
    appendOperands(SymbolicOp::And, aChain, growing.operands);
    Ids subjects;
    for (const SymbolicExprId operand : growing.operands) {
      if (!addSubjects(operand, subjects)) return false;
    }
    growing.subjects.clear();
    growing.subjects.add(subjects);
  }
  growing.chain = aChain;
  growing.before = invalidSymbolicExprId;
  return true;
}

void SymbolicExprSimplifyVisitor::Subjects::clear() {
  all.clear();
  if (inSet > 0) set = {};
  inSet = 0;
  wasAsked = false;
}

void SymbolicExprSimplifyVisitor::Subjects::dropLast(std::size_t aCount) {
  const std::size_t left = all.size() - aCount;
  for (std::size_t i = left; i < inSet; ++i) set.erase(all[i]);
  inSet = std::min(inSet, left);
  all.resize(left);
}

bool SymbolicExprSimplifyVisitor::Subjects::containsAny(const Ids& aSubjects) {
  constexpr std::size_t manyPairs = 512;
  const bool isFirst = !std::exchange(wasAsked, true);
  if (all.size() * aSubjects.size() <= manyPairs || (isFirst && aSubjects.size() <= few)) {
    return std::find_first_of(all.begin(), all.end(), aSubjects.begin(), aSubjects.end()) !=
           all.end();
  }
  for (; inSet < all.size(); ++inSet) set.insert(all[inSet]);
  return std::any_of(aSubjects.begin(), aSubjects.end(),
                     [this](SymbolicExprId aSubject) { return set.contains(aSubject); });
}

// Puts further operands in their places among those of a chain, and returns the chain of all. The
// operands before the first new one stay the chain that they are.
SymbolicExprId SymbolicExprSimplifyVisitor::insertOperands(SymbolicExprId aChain, Ids& aOperands,
                                                           const Ids& aAdded) {
  std::size_t links = aOperands.size();
  std::size_t first = links;
  if (aAdded.size() <= few) {
    for (const SymbolicExprId added : aAdded) {
      SymbolicExprId* const begin = aOperands.data();
      SymbolicExprId* const place = order.place(begin, begin + aOperands.size(), added);
      first = std::min(first, static_cast<std::size_t>(place - begin));
      aOperands.insert(aOperands.begin() + (place - begin), added);
    }
  } else {
    const Ids before = aOperands;
    aOperands.insert(aOperands.end(), aAdded.begin(), aAdded.end());
    order.sort(aOperands.data(), aOperands.data() + aOperands.size());
    const auto difference = std::mismatch(before.begin(), before.end(), aOperands.begin());
    first = static_cast<std::size_t>(difference.first - before.begin());
  }
  SymbolicExprId chain = aChain;
  for (; links > std::max<std::size_t>(first, 1); --links) chain = digest(chain).first;
  if (first == 0) chain = aOperands[0];
  for (std::size_t i = std::max<std::size_t>(first, 1); i < aOperands.size(); ++i) {
    chain = intern<SymbolicAndExpr>(table(), chain, aOperands[i]);
  }
  Digests::setSimplified(table(), chain);
  return chain;
}

// The conjunction of two that are simplified, one of which is mostly the longer: hosts build
// conjunctions operand by operand. Nothing where a rule might apply to operands of the two.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::extend(SymbolicExprId aChain,
                                                                  SymbolicExprId aOther) {
  if (kindOf(aChain) == SymbolicOp::Or || kindOf(aOther) == SymbolicOp::Or) return std::nullopt;
  const bool isKnown = aOther == growing.chain || aOther == growing.before;
  if (isKnown || kindOf(aChain) != SymbolicOp::And) std::swap(aChain, aOther);
  if (!isFixed(aOther) || aOther == constant(true) || aOther == constant(false) ||
      !loadGrowing(aChain)) {
    return std::nullopt;
  }
  Ids others, added, subjects;
  appendOperands(SymbolicOp::And, aOther, others);
  SymbolicExprId* const first = growing.operands.data();
  SymbolicExprId* const last = first + growing.operands.size();
  for (const SymbolicExprId operand : others) {
    Ids own;
    if (!addSubjects(operand, own)) return std::nullopt;
    if (!growing.subjects.containsAny(own)) {
      added.push_back(operand);
      subjects.insert(subjects.end(), own.begin(), own.end());
      continue;
    }
    const SymbolicExprId* const place = order.place(first, last, operand);
    if (place == last || *place != operand) return std::nullopt;
  }
  if (added.empty()) return aChain;
  growing.chain = insertOperands(aChain, growing.operands, added);
  growing.subjects.add(subjects);
  growing.before = added.size() <= few ? aChain : invalidSymbolicExprId;
  growing.added = added;
  growing.addedSubjects = subjects.size();
  return growing.chain;
}

// ---------------------------------------------------------------------------------------------
// Distribution: (a || b) && c -> (a && c) || (b && c)

// A simplified disjunction and what is simplified too; nothing where the general way is to be gone.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::distributePair(SymbolicExprId a,
                                                                          SymbolicExprId b) {
  const auto isOr = [this](SymbolicExprId aId) { return kindOf(aId) == SymbolicOp::Or; };
  if (!isFixed(a) || !isFixed(b) || (!isOr(a) && !isOr(b))) return std::nullopt;
  const SymbolicExprId rest = isOr(a) ? (isOr(b) ? constant(true) : b) : a;
  if (rest == constant(false) || (rest == constant(true) && !(isOr(a) && isOr(b)))) {
    return std::nullopt;
  }
  Lists disjunctions;
  std::size_t disjuncts = 1;
  for (const SymbolicExprId operand : {a, b}) {
    if (!isOr(operand)) continue;
    appendOperands(SymbolicOp::Or, operand, disjunctions.emplace_back());
    disjuncts = std::min(disjuncts * disjunctions.back().size(), maxDisjuncts + 1);
  }
  if (disjuncts > std::min(maxDisjuncts, disjunctsLeft)) return std::nullopt;
  const std::optional<SymbolicExprId> result = distributeUnrelated(rest, disjunctions);
  if (result) disjunctsLeft -= disjuncts;
  return result;
}

std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::distribute(OperandSet& aSet) {
  OperandSet rest;
  Lists disjunctions;
  bool areFixed = true;
  std::size_t disjuncts = 1;
  for (const SymbolicExprId operand : aSet) {
    if (kindOf(operand) != SymbolicOp::Or) {
      rest.insert(rest.end(), operand);
      continue;
    }
    OperandSet members;
    addOperand(disjunction, operand, members);
    // (a || b) && a -> a
    const auto isOperand = [&](SymbolicExprId aMember) { return aSet.contains(aMember); };
    if (std::any_of(members.begin(), members.end(), isOperand)) continue;
    areFixed = areFixed && isFixed(operand);
    disjunctions.emplace_back(members.begin(), members.end());
    disjuncts = std::min(disjuncts * members.size(), maxDisjuncts + 1);
  }
  if (disjunctions.empty()) {
    aSet = std::move(rest);
    return std::nullopt;
  }
  if (disjuncts > maxDisjuncts) return std::nullopt;
  if (disjuncts > disjunctsLeft) {
    limitReached = true;
    return std::nullopt;
  }
  disjunctsLeft -= disjuncts;
  const SymbolicExprId restResult = simplifySet(conjunction, rest);
  if (restResult == constant(false)) return restResult;
  if (areFixed && isFixed(restResult)) {
    if (const auto distributed = distributeUnrelated(restResult, disjunctions)) return distributed;
  }
  return distributeOver(restResult, disjunctions);
}

// What is distributed: lists of simplified conjunctions, of which every result takes one each.
// Their operands, and what these are about, lie in pools.
struct SymbolicExprSimplifyVisitor::Parts {
  struct Range {
    std::size_t first = 0;
    std::size_t last = 0;
    std::size_t size() const { return last - first; }
  };
  struct Part {
    SymbolicExprId id;
    Range operands;
    Range subjects;
    bool isPlain;  // no operand is a disjunction or about too many
  };
  using List = boost::container::small_vector<Part, 8>;
  using Picks = boost::container::small_vector<Part, 4>;

  boost::container::small_vector<SymbolicExprId, 64> operands;
  Ids subjects;
  boost::container::small_vector<List, 2> lists;

  // Whether no two of the parts are about the same.
  bool areUnrelated(const Picks& aPicks) const {
    const SymbolicExprId* const all = subjects.data();
    for (auto a = aPicks.begin(); a != aPicks.end(); ++a) {
      if (!a->isPlain) return false;
      for (auto b = aPicks.begin(); b != a; ++b) {
        const SymbolicExprId* const end = all + a->subjects.last;
        if (std::find_first_of(all + a->subjects.first, end, all + b->subjects.first,
                               all + b->subjects.last) != end) {
          return false;
        }
      }
    }
    return true;
  }
};

void SymbolicExprSimplifyVisitor::takeApart(SymbolicExprId aRest, const Lists& aDisjunctions,
                                            Parts& aParts) const {
  const auto add = [&](SymbolicExprId aId) {
    const bool isConstant = aId == constant(true) || aId == constant(false);
    Parts::Part part{
        aId, {aParts.operands.size(), 0}, {aParts.subjects.size(), 0}, isFixed(aId) && !isConstant};
    appendOperands(SymbolicOp::And, aId, aParts.operands);
    part.operands.last = aParts.operands.size();
    for (std::size_t i = part.operands.first; part.isPlain && i < part.operands.last; ++i) {
      part.isPlain = addSubjects(aParts.operands[i], aParts.subjects);
    }
    part.subjects.last = aParts.subjects.size();
    aParts.lists.back().push_back(part);
  };
  if (aRest != constant(true)) {
    aParts.lists.emplace_back();
    add(aRest);
  }
  for (const Ids& members : aDisjunctions) {
    aParts.lists.emplace_back();
    for (const SymbolicExprId member : members) add(member);
  }
}

// The conjunction of unrelated parts: the longest with the operands of the others.
template <class Picks>
SymbolicExprId SymbolicExprSimplifyVisitor::conjunctionOf(const Parts& aParts,
                                                          const Picks& aPicks) {
  const SymbolicExprId* const pool = aParts.operands.data();
  const auto longest = std::max_element(
      aPicks.begin(), aPicks.end(),
      [](const auto& a, const auto& b) { return a.operands.size() < b.operands.size(); });
  Ids all(pool + longest->operands.first, pool + longest->operands.last), added;
  for (auto pick = aPicks.begin(); pick != aPicks.end(); ++pick) {
    if (pick == longest) continue;
    added.insert(added.end(), pool + pick->operands.first, pool + pick->operands.last);
  }
  return insertOperands(longest->id, all, added);
}

// For a conjunction and disjunctions that are simplified and have no subject in common: no rule
// applies to the conjunctions of their members that did not apply to the members. Nothing where
// that is not so.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::distributeUnrelated(
    SymbolicExprId aRest, const Lists& aDisjunctions) {
  Parts parts;
  takeApart(aRest, aDisjunctions, parts);
  Subjects met;
  for (const Parts::List& list : parts.lists) {
    if (!std::all_of(list.begin(), list.end(), [](const auto& part) { return part.isPlain; })) {
      return std::nullopt;
    }
    const Ids own(parts.subjects.begin() + static_cast<std::ptrdiff_t>(list.front().subjects.first),
                  parts.subjects.begin() + static_cast<std::ptrdiff_t>(list.back().subjects.last));
    if (met.containsAny(own)) return std::nullopt;
    met.add(own);
  }
  Ids conjuncts;
  forEachPick(parts.lists,
              [&](const auto& aPicks) { conjuncts.push_back(conjunctionOf(parts, aPicks)); });
  return rebuild(disjunction, conjuncts);
}

SymbolicExprId SymbolicExprSimplifyVisitor::distributeOver(SymbolicExprId aRest,
                                                           const Lists& aDisjunctions) {
  Parts parts;
  takeApart(aRest, aDisjunctions, parts);
  OperandSet conjuncts;
  forEachPick(parts.lists, [&](const Parts::Picks& aPicks) {
    if (parts.areUnrelated(aPicks)) {
      conjuncts.insert(conjunctionOf(parts, aPicks));
      return;
    }
    OperandSet factors;
    for (const Parts::Part& part : aPicks) addOperand(conjunction, part.id, factors);
    addOperand(disjunction, simplifySet(conjunction, factors), conjuncts);
  });
  return simplifySet(disjunction, conjuncts);
}

}  // namespace KS
