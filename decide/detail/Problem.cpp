#include "decide/detail/Problem.hpp"

namespace KS::Decide::detail {

Problem::Problem(Formula& aFormula, const std::vector<Literal>& aRoots) : formula(aFormula) {
  nodes.push_back({FormulaNode::True, 0, 0});
  places.emplace(0, 0);
  for (const Literal root : aRoots) walk(root);
  // Domains bring constants, but no other variables.
  // NOLINTNEXTLINE(modernize-loop-convert): a walk adds terms
  for (std::size_t i = 0; i < terms.size(); ++i) {
    const Literal domain = formula.getTerms()[terms[i]].domain;
    if (domain == literalTrue) continue;
    walk(domain);
    facts.push_back(local(domain));
  }
  for (std::uint32_t i = 1; i < nodes.size(); ++i) {
    if (nodes[i].kind != FormulaNode::Truth || !isTermCompared.at(nodes[i].first)) continue;
    const TermIndex term = nodes[i].first;
    const Literal isNegative = formula.less(term, formula.number(0));
    const Literal isPositive = formula.less(formula.number(0), term);
    walk(isNegative);
    walk(isPositive);
    ties.push_back({i, local(isNegative), local(isPositive)});
  }
}

void Problem::meet(TermIndex aTerm) {
  if (!isTermCompared.emplace(aTerm, false).second) return;
  terms.push_back(aTerm);
  const Term& term = formula.getTerms()[aTerm];
  if (term.isConstant()) constants.push_back(aTerm);
  if (term.kind == Term::Unknown) unknown = true;
}

void Problem::walk(Literal aRoot) {
  std::vector<std::uint32_t> open{nodeOf(aRoot)};
  while (!open.empty()) {
    const std::uint32_t index = open.back();
    if (places.count(index) != 0) {
      open.pop_back();
      continue;
    }
    FormulaNode node = formula.getNodes()[index];
    if (node.kind == FormulaNode::And) {
      const std::uint32_t left = nodeOf(node.first), right = nodeOf(node.second);
      const bool isLeftDone = places.count(left) != 0, isRightDone = places.count(right) != 0;
      if (!isRightDone) open.push_back(right);
      if (!isLeftDone) open.push_back(left);
      if (!isLeftDone || !isRightDone) continue;
      node.first = local(node.first);
      node.second = local(node.second);
    } else {
      meet(node.first);
      if (node.kind == FormulaNode::Less) {
        meet(node.second);
        isTermCompared[node.first] = isTermCompared[node.second] = true;
      }
    }
    open.pop_back();
    places.emplace(index, static_cast<std::uint32_t>(nodes.size()));
    nodes.push_back(node);
  }
}

}  // namespace KS::Decide::detail
