#include "decide/detail/Batch.hpp"

#include <algorithm>

#include "decide/detail/Search.hpp"

namespace KS::Decide::detail {

namespace {

// To how many literals a choice of values is led, in one attempt after the other: what several
// goals need often agrees.
constexpr std::size_t goalsOfLane[] = {16, 4, 1, 1};

}  // namespace

Problem Batch::makeProblem(const std::vector<Literal>& aLiterals) const {
  std::vector<Literal> roots = assumed;
  roots.insert(roots.end(), aLiterals.begin(), aLiterals.end());
  return Problem(formula, roots);
}

// The nodes, those of what is assumed included, whose truth does not depend on arithmetic: values
// of terms show whether they hold.
std::vector<char> Batch::findExact(const Problem& aProblem) const {
  const auto& nodes = aProblem.getNodes();
  std::vector<char> isExact(nodes.size(), 1);
  if (!aProblem.hasUnknown()) return isExact;
  const auto isUnknown = [&](TermIndex aTerm) {
    return formula.getTerms()[aTerm].kind == Term::Unknown;
  };
  for (std::uint32_t i = 1; i < nodes.size(); ++i) {
    const FormulaNode& node = nodes[i];
    switch (node.kind) {
      case FormulaNode::And:
        isExact[i] = isExact[nodeOf(node.first)] & isExact[nodeOf(node.second)];
        break;
      case FormulaNode::Less: isExact[i] = !isUnknown(node.first) && !isUnknown(node.second); break;
      default: isExact[i] = !isUnknown(node.first); break;
    }
  }
  for (const Literal literal : assumed) {
    if (isExact[nodeOf(aProblem.local(literal))] == 0) isExact.assign(nodes.size(), 0);
  }
  return isExact;
}

std::vector<Batch::State> Batch::run(const std::vector<Literal>& aGoals) {
  std::vector<Literal> literals;  // each once
  boost::unordered_flat_map<Literal, std::uint32_t> places;
  for (const Literal goal : aGoals) {
    if (places.emplace(goal, static_cast<std::uint32_t>(literals.size())).second) {
      literals.push_back(goal);
    }
  }
  std::vector<State> states(literals.size(), Open);
  simulate(literals, states);
  search(literals, states);
  std::vector<State> result;
  result.reserve(aGoals.size());
  for (const Literal goal : aGoals) result.push_back(states[places.at(goal)]);
  return result;
}

void Batch::simulate(const std::vector<Literal>& aLiterals, std::vector<State>& aStates) {
  const Problem problem = makeProblem(aLiterals);
  const std::vector<char> isExact = findExact(problem);
  std::vector<Literal> locals;
  locals.reserve(aLiterals.size());
  for (const Literal literal : aLiterals) locals.push_back(problem.local(literal));
  std::vector<Literal> required = problem.getFacts();
  for (const Literal literal : assumed) required.push_back(problem.local(literal));

  // What comes later is often a conjunction with what comes earlier, and shows that, too.
  std::vector<std::uint32_t> open;
  for (auto i = static_cast<std::uint32_t>(locals.size()); i > 0; --i) {
    if (isExact[nodeOf(locals[i - 1])] != 0) open.push_back(i - 1);
  }
  Simulation simulation(formula, problem);
  for (const std::size_t goals : goalsOfLane) {
    for (std::size_t next = 0; next < open.size();) {
      simulation.begin();
      for (std::size_t led = 0; led < goals * Simulation::lanes && next < open.size(); ++next) {
        if (aStates[open[next]] != Open) continue;
        const std::size_t lane = led++ % Simulation::lanes;
        if (!simulation.lead(lane, locals[open[next]])) break;
        if (led > Simulation::lanes) continue;
        for (std::size_t i = problem.getFacts().size(); i < required.size(); ++i) {
          simulation.lead(lane, required[i]);
        }
      }
      simulation.run();
      for (const Literal literal : required) simulation.require(literal);
      for (const std::uint32_t goal : open) {
        if (aStates[goal] == Open && simulation.holding(locals[goal]) != 0)
          aStates[goal] = Possible;
      }
    }
    open.erase(std::remove_if(open.begin(), open.end(),
                              [&](std::uint32_t aGoal) { return aStates[aGoal] != Open; }),
               open.end());
  }
}

void Batch::search(const std::vector<Literal>& aLiterals, std::vector<State>& aStates) {
  std::vector<std::uint32_t> open;
  std::vector<Literal> literals;
  for (std::uint32_t i = 0; i < aStates.size(); ++i) {
    if (aStates[i] != Open) continue;
    open.push_back(i);
    literals.push_back(aLiterals[i]);
  }
  if (open.empty()) return;
  const Problem problem = makeProblem(literals);
  const std::vector<char> isExact = findExact(problem);
  Search searching(formula, problem);
  for (const Literal literal : assumed) searching.require(problem.local(literal));
  for (std::size_t i = 0; i < open.size(); ++i) {
    if (aStates[open[i]] != Open) continue;
    const Literal goal = problem.local(literals[i]);
    const Search::Result result = searching.run({goal}, limit);
    if (result == Search::Impossible) {
      aStates[open[i]] = Impossible;
      if (nodeOf(goal) != 0) searching.learn(negated(goal));
      continue;
    }
    if (result != Search::Found) continue;
    if (isExact[nodeOf(goal)] != 0) aStates[open[i]] = Possible;
    for (std::size_t j = i + 1; j < open.size(); ++j) {
      const Literal other = problem.local(literals[j]);
      if (aStates[open[j]] == Open && isExact[nodeOf(other)] != 0 && searching.holds(other) &&
          searching.isClear()) {
        aStates[open[j]] = Possible;
      }
    }
  }
}

}  // namespace KS::Decide::detail
