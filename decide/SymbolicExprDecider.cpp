#include "decide/SymbolicExprDecider.hpp"

#include <algorithm>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "base/KSSymbolicExpr.hpp"
#include "decide/detail/Batch.hpp"
#include "decide/detail/Contradiction.hpp"
#include "decide/detail/Encoder.hpp"
#include "decide/detail/Problem.hpp"
#include "decide/detail/Search.hpp"
#include "decide/detail/Witness.hpp"
#include "eval/SymbolicExprEval.hpp"

namespace KS {

using namespace Decide::detail;

// All that is made of the table, the domains and the assumptions is thrown away when one of the
// latter changes, and made again by the next question.
struct SymbolicExprDecider::State {
  explicit State(const SymbolicExprTable& aTable) : table(aTable), bindings(aTable) {}

  // Conditions that are to hold and such that are not; or the reverse of that as a whole.
  struct Goal {
    std::vector<SymbolicExprId> holding;
    std::vector<SymbolicExprId> failing;
    bool isReversed;
  };
  // What a search for values came to.
  struct Answer {
    std::optional<bool> isPossible;
    UnknownCause cause = UnknownCause::None;
    std::vector<Witness::Entry> values;
  };

  // Runs a query. One that is broken off, by an unknown id or for want of memory, may leave a
  // formula behind that is half made.
  template <class Query>
  auto run(Query aQuery) {
    try {
      return aQuery();
    } catch (...) {
      current.reset();
      throw;
    }
  }

  Encoder& encoder() {
    if (!current) {
      current = std::make_unique<Encoder>(table, bindings, domains);
    }
    return *current;
  }

  Literal conjunction(const std::vector<SymbolicExprId>& aIds) {
    Literal all = literalTrue;
    for (const SymbolicExprId id : aIds) {
      all = encoder().getFormula().conjunction(all, encoder().truth(id));
    }
    return all;
  }

  Literal literal(const Goal& aGoal) {
    Literal all = conjunction(aGoal.holding);
    for (const SymbolicExprId id : aGoal.failing) {
      all = encoder().getFormula().conjunction(all, negated(encoder().truth(id)));
    }
    return negatedIf(aGoal.isReversed, all);
  }

  // Searches in a solver of its own, so that the answer depends on the goal alone.
  Answer search(const Goal& aGoal) {
    Answer answer;
    const Literal goal = literal(aGoal);
    std::vector<Literal> roots{goal};
    for (const SymbolicExprId id : assumed) roots.push_back(encoder().truth(id));
    const Problem problem(encoder().getFormula(), roots);
    Search searching(encoder().getFormula(), problem);
    for (const Literal root : roots) searching.require(problem.local(root));
    switch (searching.run({}, static_cast<std::int64_t>(conflictLimit))) {
      case Search::Impossible: answer.isPossible = false; return answer;
      case Search::Exhausted: answer.cause = UnknownCause::ConflictLimit; return answer;
      case Search::TooNarrow: answer.cause = UnknownCause::NarrowGap; return answer;
      case Search::Found: break;
    }
    TermBuilder& builder = encoder().getBuilder();
    const auto copies = [&](const std::vector<SymbolicExprId>& aIds) {
      std::vector<SymbolicExprId> result;
      result.reserve(aIds.size());
      for (const SymbolicExprId id : aIds) result.push_back(builder(id));
      return result;
    };
    const auto holding = copies(aGoal.holding), failing = copies(aGoal.failing);
    const auto assumptions = copies(assumed);
    std::vector<SymbolicExprId> all = holding;
    all.insert(all.end(), failing.begin(), failing.end());
    all.insert(all.end(), assumptions.begin(), assumptions.end());
    Witness witness(encoder(), problem, searching, all);
    const bool isFound = witness.find([&](const SymbolicExprBindings& aBindings) {
      const SymbolicExprEval evaluation(builder.getTable());
      const auto holds = [&](SymbolicExprId aCopy) {
        const std::vector<double> numbers = evaluation.eval(aCopy, aBindings);
        if (numbers.size() != 1) throw SymbolicExprEvalError("a list is not a truth value");
        return numbers[0] != 0;
      };
      const auto fails = [&](SymbolicExprId aCopy) { return !holds(aCopy); };
      const bool isMet = std::all_of(holding.begin(), holding.end(), holds) &&
                         std::all_of(failing.begin(), failing.end(), fails);
      return isMet != aGoal.isReversed &&
             std::all_of(assumptions.begin(), assumptions.end(), holds);
    });
    if (isFound) {
      answer.isPossible = true;
      answer.values = witness.entries();
    } else {
      answer.cause = problem.hasUnknown() ? UnknownCause::Terms : UnknownCause::NarrowGap;
    }
    return answer;
  }

  Truth decide(const std::vector<SymbolicExprId>& aIds, UnknownCause& aCause) {
    const Answer holding = search({aIds, {}, false});
    if (holding.isPossible == false) return Truth::Never;
    const Answer failing = search({aIds, {}, true});
    if (failing.isPossible == false) return Truth::Always;
    if (holding.isPossible && failing.isPossible) return Truth::Sometimes;
    aCause = holding.isPossible ? failing.cause : holding.cause;
    return Truth::Unknown;
  }

  std::vector<Truth> decideAll(const std::vector<std::vector<SymbolicExprId>>& aConjunctions) {
    std::vector<Literal> assumptions, goals;
    for (const SymbolicExprId id : assumed) assumptions.push_back(encoder().truth(id));
    for (const auto& ids : aConjunctions) goals.push_back(conjunction(ids));
    for (std::size_t i = 0; i < aConjunctions.size(); ++i) goals.push_back(negated(goals[i]));
    Batch batch(encoder().getFormula(), assumptions, static_cast<std::int64_t>(conflictLimit));
    const std::vector<Batch::State> states = batch.run(goals);
    std::vector<Truth> verdicts;
    boost::unordered_flat_map<Literal, Truth> known;
    for (std::size_t i = 0; i < aConjunctions.size(); ++i) {
      const Batch::State holding = states[i], failing = states[aConjunctions.size() + i];
      Truth verdict = Truth::Sometimes;
      if (holding == Batch::Impossible) {
        verdict = Truth::Never;
      } else if (failing == Batch::Impossible) {
        // Under assumptions that exclude each other nothing is possible.
        verdict = Truth::Always;
      } else if (holding == Batch::Open || failing == Batch::Open) {
        const auto place = known.find(goals[i]);
        verdict = place != known.end() ? place->second : decide(aConjunctions[i]);
        known.emplace(goals[i], verdict);
      }
      verdicts.push_back(verdict);
    }
    return verdicts;
  }

  Truth decide(const std::vector<SymbolicExprId>& aIds) {
    UnknownCause cause = UnknownCause::None;
    return decide(aIds, cause);
  }

  // Whether the goal is never met.
  std::optional<bool> isRefuted(const Goal& aGoal) {
    const Answer answer = search(aGoal);
    if (!answer.isPossible) return std::nullopt;
    return !*answer.isPossible;
  }

  // Walks the expressions in the order of evaluation; what is not a part of the problem was
  // simplified away.
  std::vector<SymbolicExprId> unknownTerms(const std::vector<SymbolicExprId>& aIds) {
    std::vector<SymbolicExprId> ids = aIds;
    ids.insert(ids.end(), assumed.begin(), assumed.end());
    std::vector<Literal> roots;
    roots.reserve(ids.size());
    for (const SymbolicExprId id : ids) roots.push_back(encoder().truth(id));
    const Problem problem(encoder().getFormula(), roots);
    std::vector<SymbolicExprId> result;
    std::unordered_set<SymbolicExprId> seen;
    std::unordered_set<TermIndex> terms;
    std::vector<SymbolicExprId> open(ids.rbegin(), ids.rend());
    while (!open.empty()) {
      const SymbolicExprId id = open.back();
      open.pop_back();
      if (!seen.insert(id).second) continue;
      const TermIndex* term = encoder().findTermOf(id);
      if (term == nullptr) {
        const SymbolicExpr& node = *table.get(id);
        for (std::size_t i = node.getNumInputs(); i > 0; --i) open.push_back(node.getInput(i - 1));
      } else if (problem.hasTerm(*term) && terms.insert(*term).second &&
                 encoder().getFormula().getTerms()[*term].kind == Term::Unknown) {
        result.push_back(id);
      }
    }
    return result;
  }

  SymbolicExprContradiction smallestContradiction(const std::vector<SymbolicExprId>& aIds) {
    std::vector<SymbolicExprId> ids;
    std::unordered_set<SymbolicExprId> seen;
    for (const SymbolicExprId id : aIds) {
      if (seen.insert(id).second) ids.push_back(id);
    }
    Formula& formula = encoder().getFormula();
    std::vector<Literal> roots;
    roots.reserve(ids.size() + assumed.size());
    for (const SymbolicExprId id : ids) roots.push_back(encoder().truth(id));
    for (const SymbolicExprId id : assumed) roots.push_back(encoder().truth(id));
    const Problem problem(formula, roots);
    Search search(formula, problem);
    for (std::size_t i = ids.size(); i < roots.size(); ++i) search.require(problem.local(roots[i]));
    std::vector<Literal> literals;
    for (std::size_t i = 0; i < ids.size(); ++i) literals.push_back(problem.local(roots[i]));
    Contradiction contradiction(search, literals, static_cast<std::int64_t>(conflictLimit));
    SymbolicExprContradiction result;
    result.exists = contradiction.find();
    if (!result.exists) return result;
    for (const std::size_t place : contradiction.places()) result.ids.push_back(ids[place]);
    // That arithmetic terms may have any value does not show that the conditions can hold.
    const bool isExact = !problem.hasUnknown() || result.ids.empty();
    result.isMinimal = isExact && contradiction.isMinimal();
    result.isShortest = isExact && contradiction.isShortest();
    return result;
  }

  const SymbolicExprTable& table;
  SymbolicExprBindings bindings;
  Domains domains;
  std::vector<SymbolicExprId> assumed;
  std::size_t conflictLimit = defaultConflictLimit;
  std::unique_ptr<Encoder> current;
};

SymbolicExprDecider::SymbolicExprDecider(const SymbolicExprTable& aTable)
    : state(std::make_unique<State>(aTable)) {}
SymbolicExprDecider::~SymbolicExprDecider() = default;

// ---------------------------------------------------------------------------------------------
// Domains and assumptions

void SymbolicExprDecider::setDomain(SymbolicExprId aVariable, const SymbolicExprDomain& aDomain) {
  const SymbolicExpr& node = *state->table.get(aVariable);
  if (!isVariable(node)) {
    throw std::invalid_argument("only a symbol, a member or a call can have a domain");
  }
  Domains& domains = state->domains;
  if (isSymbol(node) && domains.isName(static_cast<const SymbolicString&>(node).getText())) {
    throw std::invalid_argument("a constant in a domain cannot have a domain");
  }
  SymbolicExprTable scratch;
  for (const SymbolicExprDomain::Value& value : aDomain.list()) {
    const auto* name = std::get_if<std::string>(&value);
    if (name == nullptr) continue;
    const SymbolicString probe(scratch, *name);
    const SymbolicExprId symbol = state->table.lookup(&probe);
    if (symbol == aVariable || domains.find(symbol) != nullptr) {
      throw std::invalid_argument("\"" + *name + "\" has a domain and cannot be a constant in one");
    }
  }
  state->current.reset();
  domains.set(aVariable, aDomain);
}

void SymbolicExprDecider::assume(const SymbolicExprBindings& aBindings) {
  if (&aBindings.getTable() != &state->table) {
    throw std::invalid_argument("the bindings are of another table");
  }
  SymbolicExprBindings copy = aBindings;
  state->current.reset();
  state->bindings = std::move(copy);
}

void SymbolicExprDecider::assume(SymbolicExprId aCondition) {
  state->table.get(aCondition);
  state->assumed.push_back(aCondition);
}

void SymbolicExprDecider::clearAssumptions() {
  state->current.reset();
  state->bindings = SymbolicExprBindings(state->table);
  state->assumed.clear();
}

void SymbolicExprDecider::setConflictLimit(std::size_t aLimit) { state->conflictLimit = aLimit; }

// ---------------------------------------------------------------------------------------------
// Verdicts

Truth SymbolicExprDecider::decide(SymbolicExprId aId) {
  return decide(std::vector<SymbolicExprId>{aId});
}

Truth SymbolicExprDecider::decide(const std::vector<SymbolicExprId>& aIds) {
  return state->run([&] { return state->decide(aIds); });
}

UnknownCause SymbolicExprDecider::unknownCause(const std::vector<SymbolicExprId>& aIds) {
  UnknownCause cause = UnknownCause::None;
  state->run([&] { return state->decide(aIds, cause); });
  return cause;
}

std::vector<Truth> SymbolicExprDecider::decideAll(
    const std::vector<std::vector<SymbolicExprId>>& aConjunctions) {
  return state->run([&] { return state->decideAll(aConjunctions); });
}

std::vector<SymbolicExprId> SymbolicExprDecider::unknownTerms(SymbolicExprId aId) {
  return unknownTerms(std::vector<SymbolicExprId>{aId});
}

std::optional<bool> SymbolicExprDecider::implies(SymbolicExprId aPremise,
                                                 SymbolicExprId aConclusion) {
  return implies(std::vector<SymbolicExprId>{aPremise}, aConclusion);
}

std::optional<bool> SymbolicExprDecider::implies(const std::vector<SymbolicExprId>& aPremises,
                                                 SymbolicExprId aConclusion) {
  return state->run([&] { return state->isRefuted({aPremises, {aConclusion}, false}); });
}

std::optional<bool> SymbolicExprDecider::equivalent(SymbolicExprId aLeft, SymbolicExprId aRight) {
  const std::optional<bool> there = implies(aLeft, aRight);
  if (there == false) return false;
  const std::optional<bool> back = implies(aRight, aLeft);
  // Where one way is unknown, the other can only refute.
  return there.has_value() || back == false ? back : std::nullopt;
}

std::optional<bool> SymbolicExprDecider::exclusive(SymbolicExprId aLeft, SymbolicExprId aRight) {
  return state->run([&] { return state->isRefuted({{aLeft, aRight}, {}, false}); });
}

// ---------------------------------------------------------------------------------------------
// Values

std::optional<SymbolicExprBindings> SymbolicExprDecider::witness(SymbolicExprId aId) {
  return witness(std::vector<SymbolicExprId>{aId});
}

std::optional<SymbolicExprBindings> SymbolicExprDecider::witness(
    const std::vector<SymbolicExprId>& aHolding, const std::vector<SymbolicExprId>& aFailing) {
  const State::Answer answer = state->run([&] {
    return state->search({aHolding, aFailing, false});
  });
  if (answer.isPossible != true) return std::nullopt;
  SymbolicExprBindings bindings = state->bindings;
  for (const Witness::Entry& entry : answer.values) {
    for (const SymbolicExprId id : state->encoder().getBuilder().origins(entry.copy)) {
      bindings.set(id, entry.value);
    }
  }
  return bindings;
}

std::optional<std::vector<SymbolicExprAssignment>> SymbolicExprDecider::assignment(
    const std::vector<SymbolicExprId>& aHolding, const std::vector<SymbolicExprId>& aFailing) {
  const State::Answer answer = state->run([&] {
    return state->search({aHolding, aFailing, false});
  });
  if (answer.isPossible != true) return std::nullopt;
  std::vector<SymbolicExprAssignment> list;
  const Encoder& encoder = state->encoder();
  for (const Witness::Entry& entry : answer.values) {
    if (encoder.nameOf(entry.copy) != nullptr) continue;
    for (const SymbolicExprId id : encoder.getBuilder().origins(entry.copy)) {
      list.push_back({id, entry.value, entry.name});
    }
  }
  return list;
}

// ---------------------------------------------------------------------------------------------
// Reasons

std::vector<SymbolicExprId> SymbolicExprDecider::unknownTerms(
    const std::vector<SymbolicExprId>& aIds) {
  return state->run([&] { return state->unknownTerms(aIds); });
}

SymbolicExprContradiction SymbolicExprDecider::smallestContradiction(
    const std::vector<SymbolicExprId>& aIds) {
  return state->run([&] { return state->smallestContradiction(aIds); });
}

}  // namespace KS
