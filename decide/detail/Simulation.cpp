#include "decide/detail/Simulation.hpp"

#include <algorithm>
#include <cmath>

#include "decide/detail/OrderTheory.hpp"

namespace KS::Decide::detail {

Simulation::Simulation(const Formula& aFormula, const Problem& aProblem)
    : problem(aProblem), nameValues(placeNames(aFormula.getTerms(), aProblem.getConstants())) {
  const auto& nodes = problem.getNodes();
  const auto& terms = aFormula.getTerms();
  words.resize(nodes.size());
  chosen.resize(nodes.size());
  inputs.resize(nodes.size());
  isTied.resize(nodes.size());
  seen.resize(nodes.size());
  words[0] = ~std::uint64_t{0};

  boost::unordered_flat_map<TermIndex, std::uint32_t> places;
  std::vector<TermIndex> compared;
  std::vector<std::vector<double>> constants;  // that each term is compared with
  const auto placeOf = [&](TermIndex aTerm) {
    const auto [place, isNew] = places.emplace(aTerm, static_cast<std::uint32_t>(compared.size()));
    if (isNew) {
      compared.push_back(aTerm);
      constants.emplace_back();
    }
    return place->second;
  };
  const auto constantOf = [&](TermIndex aTerm) {
    return terms[aTerm].kind == Term::Number ? terms[aTerm].value : nameValues.at(aTerm);
  };
  for (std::uint32_t i = 1; i < nodes.size(); ++i) {
    if (nodes[i].kind != FormulaNode::Less) continue;
    const TermIndex left = nodes[i].first, right = nodes[i].second;
    inputs[i] = {placeOf(left), placeOf(right)};
    if (terms[left].isConstant()) constants[inputs[i].right].push_back(constantOf(left));
    if (terms[right].isConstant()) constants[inputs[i].left].push_back(constantOf(right));
  }
  for (const Problem::Tie& tie : problem.getTies()) {
    isTied[tie.truth] = 1;
    inputs[tie.truth] = {tie.isNegative, tie.isPositive};
  }
  for (std::size_t i = 0; i < compared.size(); ++i) {
    const Term& term = terms[compared[i]];
    if (term.isConstant()) {
      candidates.push_back({constantOf(compared[i])});
      continue;
    }
    std::vector<double> listed;
    for (const TermIndex constant : term.listed) listed.push_back(constantOf(constant));
    std::sort(listed.begin(), listed.end());
    candidates.push_back(listed.empty() ? findCandidates(term, std::move(constants[i]))
                                        : std::move(listed));
  }
  ranges.resize(compared.size() * lanes);
  values.resize(compared.size() * lanes);
}

// The constants that a term is compared with, two values in each gap between them, and a few beyond
// them: the nearest whole ones where the term is a whole number.
std::vector<double> Simulation::findCandidates(const Term& aTerm,
                                               std::vector<double> aConstants) const {
  if (aConstants.empty()) aConstants.push_back(0);
  std::sort(aConstants.begin(), aConstants.end());
  aConstants.erase(std::unique(aConstants.begin(), aConstants.end()), aConstants.end());
  std::vector<double> result;
  const auto add = [&](double aValue) {
    const double value = aTerm.isInteger ? std::floor(aValue) : aValue;
    if (std::isfinite(value) && aTerm.low <= value && value <= aTerm.high &&
        (result.empty() || result.back() < value)) {
      result.push_back(value);
    }
  };
  const double first = aConstants.front(), last = aConstants.back();
  for (const double below : {3.0, 2.0, 1.0}) add(first - below);
  for (std::size_t i = 0; i < aConstants.size(); ++i) {
    add(aConstants[i]);
    if (i + 1 == aConstants.size()) break;
    const double gap = aConstants[i + 1] - aConstants[i];
    add(aConstants[i] + (gap > 3 ? 1 : gap / 3));
    add(aConstants[i + 1] - (gap > 3 ? 1 : gap / 3));
  }
  for (const double above : {1.0, 2.0, 3.0}) add(last + above);
  if (result.empty()) add(std::clamp(0.0, aTerm.low, aTerm.high));
  if (result.empty()) result.push_back(0);
  return result;
}

void Simulation::begin() {
  visits = 0;
  std::fill(chosen.begin(), chosen.end(), 0);
  for (std::size_t place = 0; place < candidates.size(); ++place) {
    const auto last = static_cast<std::uint32_t>(candidates[place].size() - 1);
    std::fill_n(ranges.begin() + static_cast<std::ptrdiff_t>(place * lanes), lanes, Range{0, last});
  }
}

bool Simulation::lead(std::size_t aLane, Literal aLiteral) {
  if (visits > 4 * words.size()) return false;
  const std::uint64_t lane = std::uint64_t{1} << aLane;
  ++now;
  open.assign(1, aLiteral);
  while (!open.empty()) {
    const Literal literal = open.back();
    open.pop_back();
    const std::uint32_t index = nodeOf(literal);
    if (seen[index] == now) continue;
    seen[index] = now;
    ++visits;
    const FormulaNode& node = problem.getNodes()[index];
    const bool holds = !isNegated(literal);
    if (node.kind == FormulaNode::Less) {
      leadComparison(aLane, inputs[index], holds);
    } else if (node.kind == FormulaNode::Truth && isTied[index] == 0) {
      if ((chosen[index] & lane) != 0) continue;
      chosen[index] |= lane;
      words[index] = holds ? words[index] | lane : words[index] & ~lane;
    } else if (node.kind == FormulaNode::And || node.kind == FormulaNode::Truth) {
      const bool isTie = node.kind == FormulaNode::Truth;
      const Literal left = isTie ? negated(inputs[index].left) : node.first;
      const Literal right = isTie ? negated(inputs[index].right) : node.second;
      if (holds != isTie) {
        open.push_back(right);
        open.push_back(left);
      } else if (random() % 2 == 0) {
        open.push_back(negated(left));
      } else {
        open.push_back(negated(right));
      }
    }
  }
  return true;
}

// Keeps of the candidates of either side those that agree; of two variables, the left one is
// settled first.
void Simulation::leadComparison(std::size_t aLane, const Inputs& aSides, bool aHolds) {
  const auto& left = candidates[aSides.left];
  const auto& right = candidates[aSides.right];
  Range& leftRange = ranges[aSides.left * lanes + aLane];
  Range& rightRange = ranges[aSides.right * lanes + aLane];
  if (left.size() > 1 && right.size() > 1) {
    const auto count = leftRange.last - leftRange.first + 1;
    leftRange.first += static_cast<std::uint32_t>(random() % count);
    leftRange.last = leftRange.first;
  }
  // Candidates ascend, so that those which agree are at one end.
  const bool isRightChosen = right.size() > 1;
  const auto& list = isRightChosen ? right : left;
  Range& range = isRightChosen ? rightRange : leftRange;
  const double value = isRightChosen ? left[leftRange.first] : right[rightRange.first];
  const auto begin = list.begin() + range.first, end = list.begin() + range.last + 1;
  const auto border =
      isRightChosen ? std::upper_bound(begin, end, value) : std::lower_bound(begin, end, value);
  const bool keepsUpper = isRightChosen == aHolds;
  if (border == (keepsUpper ? end : begin)) return;  // none does
  const auto place = static_cast<std::uint32_t>(border - list.begin());
  if (keepsUpper) {
    range.first = place;
  } else {
    range.last = place - 1;
  }
}

std::uint64_t Simulation::compare(const Inputs& aSides) {
  const double* left = &values[aSides.left * lanes];
  const double* right = &values[aSides.right * lanes];
  std::uint64_t result = 0, isClose = 0;
  for (std::size_t lane = 0; lane < lanes; ++lane) {
    const double distance = right[lane] - left[lane];
    result |= std::uint64_t{distance > 0} << lane;
    isClose |= std::uint64_t{distance != 0 && std::abs(distance) < 0x1p-25} << lane;
  }
  permitted &= ~isClose;
  return result;
}

void Simulation::run() {
  permitted = ~std::uint64_t{0};
  for (std::size_t place = 0; place < candidates.size(); ++place) {
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      const Range range = ranges[place * lanes + lane];
      const std::uint32_t count = range.last - range.first + 1;
      const std::size_t chance = count == 1 ? 0 : random() % count;
      values[place * lanes + lane] = candidates[place][range.first + chance];
    }
  }
  const auto& nodes = problem.getNodes();
  for (std::uint32_t i = 1; i < nodes.size(); ++i) {
    switch (nodes[i].kind) {
      case FormulaNode::And: words[i] = get(nodes[i].first) & get(nodes[i].second); break;
      case FormulaNode::Less: words[i] = compare(inputs[i]); break;
      default:
        // Of a lane's free truths one in two, and of every other lane's one in 16, hold.
        if (isTied[i] == 0) {
          const std::uint64_t half = random();
          const std::uint64_t few = half & random() & random() & random();
          const std::uint64_t chance = (half & 0x5555555555555555U) | (few & 0xAAAAAAAAAAAAAAAAU);
          words[i] = (words[i] & chosen[i]) | (chance & ~chosen[i]);
        }
    }
  }
  // Ties lead to comparisons that come after the truths, so that those are computed again.
  if (problem.getTies().empty()) return;
  for (const Problem::Tie& tie : problem.getTies()) {
    words[tie.truth] = get(tie.isNegative) | get(tie.isPositive);
  }
  for (std::uint32_t i = 1; i < nodes.size(); ++i) {
    if (nodes[i].kind == FormulaNode::And) {
      words[i] = get(nodes[i].first) & get(nodes[i].second);
    }
  }
}

}  // namespace KS::Decide::detail
