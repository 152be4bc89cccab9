#include "compact/detail/Formulas.hpp"

#include <algorithm>
#include <boost/container_hash/hash.hpp>
#include <utility>

#include "base/detail/Intern.hpp"
#include "compact/detail/Saturating.hpp"

namespace KS::detail {

namespace {

SymbolicExprId internRelation(SymbolicExprTable& aTable, const RelationLiteral& aRelation) {
  const SymbolicExprId left = aRelation.left, right = aRelation.right;
  switch (aRelation.op) {
    case Rel::Le: return intern<SymbolicLessThanEqualExpr>(aTable, left, right);
    case Rel::Lt: return intern<SymbolicLessThanExpr>(aTable, left, right);
    case Rel::Ge: return intern<SymbolicGreaterThanEqualExpr>(aTable, left, right);
    case Rel::Gt: return intern<SymbolicGreaterThanExpr>(aTable, left, right);
    case Rel::Eq: return intern<SymbolicEqualExpr>(aTable, left, right);
    case Rel::Ne: return intern<SymbolicNotEqualExpr>(aTable, left, right);
  }
  return invalidSymbolicExprId;
}

}  // namespace

Formulas::Formulas(SymbolicExprTable& aTable)
    : table(aTable), conjunctions(0, Same{this}, Same{this}) {
  nodes.push_back({invalidSymbolicExprId, 0, 0, 0, noRelation});
}

Formula Formulas::atom(SymbolicExprId aId, std::size_t aLiterals) {
  const std::optional<RelationLiteral> literal = RelationLiteral::of(table, aId);
  if (literal && literal->op == Rel::Ne) {
    return !atom(internRelation(table, !*literal), aLiterals);
  }
  const auto [place, isNew] = atoms.try_emplace(aId, static_cast<std::uint32_t>(nodes.size()));
  const Formula result(place->second, false);
  if (!isNew) return result;
  nodes.push_back({aId, aLiterals, 0, 0, noRelation});
  if (literal) {
    nodes.back().relation = static_cast<std::uint32_t>(relations.size());
    relations.push_back(*literal);
    relations.push_back(!*literal);
  }
  return result;
}

Formula Formulas::literal(RelationLiteral aRelation, std::size_t aLiterals) {
  const bool isNegated = aRelation.isNegated;
  aRelation.isNegated = false;
  return atom(internRelation(table, aRelation), aLiterals).negatedIf(isNegated);
}

const RelationLiteral* Formulas::relation(Formula aFormula) const {
  const std::uint32_t place = nodes[aFormula.index()].relation;
  return place == noRelation ? nullptr : &relations[place + (aFormula.isNegated() ? 1 : 0)];
}

// Operands in ascending order, each once, and without conjunctions among them. Returns false where
// they contradict each other.
bool Formulas::flatten(List& aOperands) {
  const std::size_t given = aOperands.size();
  std::size_t kept = 0;
  for (std::size_t i = 0; i < given; ++i) {
    const Formula operand = aOperands[i];
    if (operand == Formula::constant(false)) return false;
    if (operand == Formula::constant(true)) continue;
    if (isCompound(operand) && !operand.isNegated()) {
      const Operands inner = operands(operand);
      aOperands.insert(aOperands.end(), inner.begin(), inner.end());
    } else {
      aOperands[kept++] = operand;
    }
  }
  aOperands.erase(aOperands.begin() + static_cast<std::ptrdiff_t>(kept),
                  aOperands.begin() + static_cast<std::ptrdiff_t>(given));
  std::sort(aOperands.begin(), aOperands.end());
  aOperands.erase(std::unique(aOperands.begin(), aOperands.end()), aOperands.end());
  return std::adjacent_find(aOperands.begin(), aOperands.end(),
                            [](Formula a, Formula b) { return b == !a; }) == aOperands.end();
}

// Adds an operand to others that it meets, none of which give anything together. Returns false
// where they contradict each other.
bool Formulas::addMeeting(List& aOperands, Formula aAdded) {
  for (std::size_t i = 0; i < aOperands.size();) {
    const Meeting meeting = meet(*relation(aOperands[i]), *relation(aAdded));
    switch (meeting.result) {
      case Meeting::Stay: ++i; continue;
      case Meeting::First: return true;
      case Meeting::False: return false;
      case Meeting::Second: break;
      case Meeting::Made: aAdded = literal(meeting.made, literals(aAdded)); break;
    }
    aOperands.erase(aOperands.begin() + static_cast<std::ptrdiff_t>(i));
    if (meeting.result == Meeting::Made) i = 0;
  }
  aOperands.push_back(aAdded);
  return true;
}

// Merges operands that all meet. Inequalities give nothing among each other, and of the others at
// most five stay, so the time is linear. Returns false where they contradict each other.
bool Formulas::mergeGroup(List& aGroup) {
  List merged, unequal;
  for (const Formula operand : aGroup) {
    if (relation(operand)->op == Rel::Ne) {
      unequal.push_back(operand);
    } else if (!addMeeting(merged, operand)) {
      return false;
    }
  }
  aGroup.clear();
  for (const Formula operand : unequal) {
    const std::size_t before = merged.size();
    if (!addMeeting(merged, operand)) return false;
    if (merged.size() == before + 1) {
      aGroup.push_back(operand);
      merged.pop_back();
    }
  }
  aGroup.insert(aGroup.end(), merged.begin(), merged.end());
  return true;
}

// Merges relations among the operands. Groups are taken in the order of their first members, so
// that ids of the table decide nothing. Returns false where some contradict each other.
bool Formulas::mergeRelations(List& aOperands) {
  const auto isRelation = [this](Formula aOperand) { return relation(aOperand) != nullptr; };
  if (std::count_if(aOperands.begin(), aOperands.end(), isRelation) < 2) return true;
  const auto middle = std::stable_partition(aOperands.begin(), aOperands.end(),
                                            [&](Formula a) { return !isRelation(a); });
  std::vector<List> groups;
  boost::unordered_flat_map<std::pair<SymbolicExprId, SymbolicExprId>, std::size_t> places;
  for (auto operand = middle; operand != aOperands.end(); ++operand) {
    const RelationLiteral& literal = *relation(*operand);
    const auto [place, isNew] = places.try_emplace(
        {literal.left, literal.isInteger ? invalidSymbolicExprId : literal.right}, groups.size());
    if (isNew) groups.emplace_back();
    groups[place->second].push_back(*operand);
  }
  aOperands.erase(middle, aOperands.end());
  for (List& group : groups) {
    if (group.size() > 1 && !mergeGroup(group)) return false;
    aOperands.insert(aOperands.end(), group.begin(), group.end());
  }
  return true;
}

Formula Formulas::conjunction(List& aOperands) {
  if (!flatten(aOperands) || !mergeRelations(aOperands)) return Formula::constant(false);
  // Relations that were made may be among the operands already, and last, although older.
  if (!flatten(aOperands)) return Formula::constant(false);
  if (aOperands.empty()) return Formula::constant(true);
  return aOperands.size() == 1 ? aOperands.front() : intern(aOperands);
}

Formula Formulas::disjunction(List& aOperands) {
  for (Formula& operand : aOperands) operand = !operand;
  return !conjunction(aOperands);
}

Formula Formulas::intern(const List& aOperands) {
  const auto index = static_cast<std::uint32_t>(nodes.size());
  Node node{invalidSymbolicExprId, 0, pool.size(), static_cast<std::uint32_t>(aOperands.size()),
            noRelation};
  for (const Formula operand : aOperands)
    node.literals = saturatingSum(node.literals, literals(operand));
  pool.insert(pool.end(), aOperands.begin(), aOperands.end());
  nodes.push_back(node);
  const auto [place, isNew] = conjunctions.insert(index);
  if (!isNew) {
    nodes.pop_back();
    pool.resize(node.first, Formula::constant(true));
  }
  return {*place, false};
}

std::size_t Formulas::Same::operator()(std::uint32_t aIndex) const {
  const Operands operands = formulas->operands(Formula(aIndex, false));
  std::size_t hash = operands.size();
  for (const Formula operand : operands) boost::hash_combine(hash, operand.code());
  return hash;
}

bool Formulas::Same::operator()(std::uint32_t a, std::uint32_t b) const {
  const Operands left = formulas->operands(Formula(a, false));
  const Operands right = formulas->operands(Formula(b, false));
  return std::equal(left.begin(), left.end(), right.begin(), right.end());
}

}  // namespace KS::detail
