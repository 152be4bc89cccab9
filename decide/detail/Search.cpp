#include "decide/detail/Search.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace KS::Decide::detail {

Search::Search(const Formula& aFormula, const Problem& aProblem)
    : formula(aFormula), problem(aProblem), theory(aFormula.getTerms(), aProblem.getConstants()) {
  addNodes();
  addOrders();
  for (const Literal fact : problem.getFacts()) require(fact);
}

void Search::addClause(std::initializer_list<Literal> aClause) {
  for (const Literal literal : aClause) solver.add(variable(literal));
  solver.add(0);
}

void Search::addNodes() {
  const auto& nodes = problem.getNodes();
  tieOf.assign(nodes.size(), 0);
  isNeeded.assign(nodes.size(), 0);
  wide = static_cast<int>(nodes.size());
  solver.reserve(wide);
  for (std::uint32_t i = 1; i < nodes.size(); ++i) {
    if (nodes[i].kind != FormulaNode::And) continue;
    const Literal self = literalOf(i);
    addClause({negated(self), nodes[i].first});
    addClause({negated(self), nodes[i].second});
    addClause({self, negated(nodes[i].first), negated(nodes[i].second)});
  }
  for (std::uint32_t i = 0; i < problem.getTies().size(); ++i) {
    const Problem::Tie& tie = problem.getTies()[i];
    tieOf[tie.truth] = i + 1;
    const Literal truth = literalOf(tie.truth);
    addClause({negated(truth), tie.isNegative, tie.isPositive});
    addClause({truth, negated(tie.isNegative)});
    addClause({truth, negated(tie.isPositive)});
  }
}

// What is known of the comparisons of one variable with constants, and of two variables with each
// other, without looking at others: cheap, and it leaves to the theory only chains over several.
void Search::addOrders() {
  // An upper limit: x < c, or x <= c.
  struct Limit {
    TermIndex constant;
    bool isInclusive;
    Literal literal;
  };
  std::map<TermIndex, std::vector<Limit>> limits;
  std::map<std::pair<TermIndex, TermIndex>, Literal> pairs;
  const auto& nodes = problem.getNodes();
  const auto& terms = formula.getTerms();
  for (std::uint32_t i = 1; i < nodes.size(); ++i) {
    if (nodes[i].kind != FormulaNode::Less) continue;
    const TermIndex left = nodes[i].first, right = nodes[i].second;
    if (terms[right].isConstant()) {
      limits[left].push_back({right, false, literalOf(i)});
    } else if (terms[left].isConstant()) {
      limits[right].push_back({left, true, negated(literalOf(i))});
    } else {
      const auto other = pairs.find({right, left});
      if (other != pairs.end()) addClause({negated(literalOf(i)), negated(other->second)});
      pairs.emplace(std::pair(left, right), literalOf(i));
    }
  }
  for (auto& [variableTerm, list] : limits) {
    const Term& term = terms[variableTerm];
    std::sort(list.begin(), list.end(), [&](const Limit& a, const Limit& b) {
      if (a.constant == b.constant) return a.isInclusive < b.isInclusive;
      return isBelow(terms[a.constant], terms[b.constant]);
    });
    // The greatest whole number, or for reals an infinity, within a limit.
    const auto greatest = [&](const Limit& aLimit) {
      const Term& constant = terms[aLimit.constant];
      if (constant.kind == Term::Name) return std::numeric_limits<double>::infinity();
      return aLimit.isInclusive ? std::floor(constant.value) : std::ceil(constant.value) - 1;
    };
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (i > 0) addClause({negated(list[i - 1].literal), list[i].literal});
      if (term.isInteger) {
        const double whole = greatest(list[i]);
        if (i > 0 && greatest(list[i - 1]) == whole) {
          addClause({negated(list[i].literal), list[i - 1].literal});
        }
        if (whole >= term.high) addClause({list[i].literal});
        if (whole < term.low) addClause({negated(list[i].literal)});
      } else if (terms[list[i].constant].kind == Term::Number &&
                 std::isinf(terms[list[i].constant].value)) {
        addClause({negatedIf(terms[list[i].constant].value < 0, list[i].literal)});
      }
    }
  }
}

void Search::require(Literal aLiteral) {
  if (aLiteral == literalTrue) return;
  if (aLiteral == literalFalse) {
    solver.add(0);  // the empty clause
    return;
  }
  addClause({aLiteral});
  required.push_back(aLiteral);
}

void Search::addConflicts(const std::vector<OrderTheory::Conflict>& aConflicts, bool aWide) {
  spent += static_cast<std::int64_t>(aConflicts.size());
  for (const OrderTheory::Conflict& conflict : aConflicts) {
    if (aWide) solver.add(-wide);
    for (const Literal literal : conflict) solver.add(-variable(literal));
    solver.add(0);
  }
}

Search::Step Search::step(const std::vector<Literal>& aAssumptions, bool aIsWide) {
  const std::int64_t left = limit - spent - solver.conflicts();
  if (left <= 0) return Step::Limit;
  for (const Literal literal : aAssumptions) {
    if (literal != literalTrue) solver.assume(variable(literal));
  }
  if (aIsWide) solver.assume(wide);
  switch (solver.solve(
      static_cast<int>(std::min<std::int64_t>(left, std::numeric_limits<int>::max())))) {
    case 10: return Step::Sat;
    case 20: return Step::Unsat;
    default: return Step::Limit;
  }
}

// Walks from what has to hold down to comparisons that suffice for it.
void Search::justify(const std::vector<Literal>& aAssumptions) {
  const auto& nodes = problem.getNodes();
  std::fill(isNeeded.begin(), isNeeded.end(), char{0});
  edges.clear();
  truths.clear();
  std::vector<std::uint32_t> open;
  const auto need = [&](Literal aLiteral) {
    char& isKnown = isNeeded[nodeOf(aLiteral)];
    if (isKnown == 0) open.push_back(nodeOf(aLiteral));
    isKnown = 1;
  };
  const auto holds = [&](Literal aLiteral) { return solver.holds(variable(aLiteral)); };
  for (const Literal literal : required) need(literal);
  for (const Literal literal : aAssumptions) {
    if (literal != literalTrue) need(literal);
  }
  while (!open.empty()) {
    const std::uint32_t index = open.back();
    open.pop_back();
    const FormulaNode& node = nodes[index];
    const bool isTrue = holds(literalOf(index));
    if (node.kind == FormulaNode::Less) {
      if (isTrue) {
        edges.push_back({node.first, node.second, true, literalOf(index)});
      } else {
        edges.push_back({node.second, node.first, false, negated(literalOf(index))});
      }
    } else if (node.kind == FormulaNode::Truth) {
      if (tieOf[index] == 0) {
        truths[node.first] = isTrue;
        continue;
      }
      const Problem::Tie& tie = problem.getTies()[tieOf[index] - 1];
      if (!isTrue || holds(tie.isNegative)) need(tie.isNegative);
      if (!isTrue || !holds(tie.isNegative)) need(tie.isPositive);
    } else if (isTrue) {
      need(node.first);
      need(node.second);
    } else if (holds(node.first) || (isNeeded[nodeOf(node.second)] != 0 && !holds(node.second))) {
      need(node.second);
    } else {
      need(node.first);
    }
  }
}

Search::Result Search::run(const std::vector<Literal>& aAssumptions, std::int64_t aConflicts) {
  spent = 0;
  limit = solver.conflicts() + aConflicts;
  valuation.clear();
  isFalseAssumed = std::count(aAssumptions.begin(), aAssumptions.end(), literalFalse) > 0;
  if (isFalseAssumed) return Impossible;
  // Values that evaluation tells apart are asked for once there are others.
  bool isWide = false;
  for (;;) {
    switch (step(aAssumptions, isWide)) {
      case Step::Limit: return Exhausted;
      case Step::Unsat: return isWide && solver.failed(wide) ? TooNarrow : Impossible;
      case Step::Sat: break;
    }
    justify(aAssumptions);
    const auto conflicts = theory.check(edges);
    if (!conflicts.empty()) {
      addConflicts(conflicts, false);
      continue;
    }
    const auto narrow = theory.place();
    if (narrow.empty()) return Found;
    addConflicts(narrow, true);
    isWide = true;
  }
}

double Search::value(TermIndex aTerm) const {
  const Term& term = formula.getTerms()[aTerm];
  if (term.isConstant() || theory.isPlaced(aTerm)) return theory.value(aTerm);
  const auto truth = truths.find(aTerm);
  const bool isTrue = truth != truths.end() && truth->second;
  if (!term.isInteger) return isTrue ? 1 : 0;
  if (isTrue) return term.high > 0 ? std::max(term.low, 1.0) : std::min(term.high, -1.0);
  return std::clamp(0.0, term.low, term.high);
}

// The solver's own assignment tells less: what is not needed for the conditions was not looked at.
bool Search::holds(Literal aLiteral) {
  const auto& nodes = problem.getNodes();
  const auto get = [&](Literal aInput) {
    return (valuation[nodeOf(aInput)] != 0) != isNegated(aInput);
  };
  if (valuation.empty()) {
    valuation.assign(nodes.size(), 1);
    clear = true;
    for (std::uint32_t i = 1; i < nodes.size(); ++i) {
      const FormulaNode& node = nodes[i];
      switch (node.kind) {
        case FormulaNode::Truth: valuation[i] = value(node.first) != 0; break;
        case FormulaNode::Less: {
          const double distance = value(node.second) - value(node.first);
          valuation[i] = distance > 0;
          if (distance != 0 && std::abs(distance) < 0x1p-25) clear = false;
          break;
        }
        default: valuation[i] = get(node.first) && get(node.second); break;
      }
    }
  }
  return get(aLiteral);
}

bool Search::isCause(Literal aAssumption) {
  if (isFalseAssumed) return aAssumption == literalFalse;
  return aAssumption != literalTrue && solver.failed(variable(aAssumption));
}

}  // namespace KS::Decide::detail
