#include "decide/detail/Formula.hpp"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace KS::Decide::detail {

bool isBelow(const Term& aLeft, const Term& aRight) {
  if (aLeft.kind != aRight.kind) return aLeft.kind == Term::Number;
  return aLeft.kind == Term::Number ? aLeft.value < aRight.value : aLeft.text < aRight.text;
}

std::size_t Formula::NodeHash::operator()(const FormulaNode& aNode) const {
  std::uint64_t bits = (std::uint64_t{aNode.first} << 32) ^ aNode.second;
  bits = (bits ^ (std::uint64_t{aNode.kind} << 62)) * 0x9E3779B97F4A7C15U;
  return static_cast<std::size_t>(bits ^ (bits >> 29));
}

bool Formula::NodeEqual::operator()(const FormulaNode& aLeft, const FormulaNode& aRight) const {
  return aLeft.kind == aRight.kind && aLeft.first == aRight.first && aLeft.second == aRight.second;
}

Formula::Formula() { nodes.push_back({FormulaNode::True, 0, 0}); }

TermIndex Formula::addTerm(Term aTerm) {
  terms.push_back(std::move(aTerm));
  return static_cast<TermIndex>(terms.size() - 1);
}

TermIndex Formula::number(double aValue) {
  const double value = aValue == 0 ? 0.0 : aValue;  // the two zeros are one number
  const auto known = numbers.find(value);
  if (known != numbers.end()) return known->second;
  Term term;
  term.value = value;
  term.isNumber = negatedIf(std::isnan(value), literalTrue);
  const TermIndex index = addTerm(term);
  numbers.emplace(value, index);
  return index;
}

Literal Formula::intern(FormulaNode::Kind aKind, std::uint32_t aFirst, std::uint32_t aSecond) {
  // Solvers number their variables with positive ints, and add some of their own.
  if (nodes.size() >= 1U << 30) throw std::length_error("conditions of too many parts to decide");
  const FormulaNode node{aKind, aFirst, aSecond};
  const auto [place, isNew] = places.try_emplace(node, static_cast<std::uint32_t>(nodes.size()));
  if (isNew) nodes.push_back(node);
  return literalOf(place->second);
}

Literal Formula::truth(TermIndex aTerm) {
  const Term& term = terms[aTerm];
  if (term.kind == Term::Number) return negatedIf(term.value == 0, literalTrue);
  if (term.kind == Term::Name || term.isNumber == literalFalse) return literalTrue;
  if (term.isInteger && (term.low > 0 || term.high < 0)) return literalTrue;
  if (term.isInteger && term.low == 0 && term.high == 0) return literalFalse;
  return intern(FormulaNode::Truth, aTerm, 0);
}

Literal Formula::less(TermIndex aLeft, TermIndex aRight) {
  if (aLeft == aRight) return literalFalse;
  const Term& left = terms[aLeft];
  const Term& right = terms[aRight];
  if (left.isConstant() && right.isConstant()) return negatedIf(!isBelow(left, right), literalTrue);
  return intern(FormulaNode::Less, aLeft, aRight);
}

Literal Formula::equal(TermIndex aLeft, TermIndex aRight) {
  const Literal notLess = negated(less(aLeft, aRight));
  return conjunction(notLess, negated(less(aRight, aLeft)));
}

void Formula::setDomain(TermIndex aTerm, std::vector<TermIndex> aListed) {
  Literal domain = literalTrue;
  const double low = terms[aTerm].low, high = terms[aTerm].high;
  if (!terms[aTerm].isInteger) {  // the range of whole numbers is a part of the theory of order
    if (std::isfinite(low)) domain = negated(less(aTerm, number(low)));
    if (std::isfinite(high)) domain = conjunction(domain, negated(less(number(high), aTerm)));
  }
  if (!aListed.empty()) {
    domain = literalFalse;
    for (const TermIndex constant : aListed) domain = disjunction(domain, equal(aTerm, constant));
  }
  terms[aTerm].listed = std::move(aListed);
  terms[aTerm].domain = domain;
}

Literal Formula::conjunction(Literal aLeft, Literal aRight) {
  if (aLeft == literalFalse || aRight == literalFalse || aLeft == negated(aRight)) {
    return literalFalse;
  }
  if (aLeft == literalTrue || aLeft == aRight) return aRight;
  if (aRight == literalTrue) return aLeft;
  return intern(FormulaNode::And, aLeft, aRight);
}

}  // namespace KS::Decide::detail
