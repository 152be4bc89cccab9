#include "eval/SymbolicExprProgram.hpp"

#include <stdexcept>
#include <string>
#include <utility>

#include "eval/detail/Failures.hpp"
#include "eval/detail/Operations.hpp"
#include "eval/detail/ProgramRun.hpp"

namespace KS {

using Eval::detail::Cell;
using Eval::detail::compile;
using Eval::detail::isUnary;
using Eval::detail::NodeProgram;
using Eval::detail::ProgramRun;
using Eval::detail::Valueless;

namespace {

// Whether a node is a call or a member access.
bool isCallAt(const NodeProgram& aProgram, std::uint32_t aPlace) {
  const SymbolicExpr& node = *aProgram.table.get(aProgram.ids[aPlace]);
  return Eval::detail::isOpaque(static_cast<SymbolicOp>(node.getKind()));
}

// A program in which what is bound cuts cycles: it decides on the order of evaluation then.
NodeProgram cutByBindings(const NodeProgram& aProgram, const SymbolicExprBindings& aBindings) {
  std::vector<SymbolicExprId> ids;
  for (const std::uint32_t root : aProgram.roots) ids.push_back(aProgram.ids[root]);
  return compile(aProgram.table, ids, &aBindings);
}

// Writes the steps of a program by index instead of by place.
class Lister {
 public:
  explicit Lister(const NodeProgram& aProgram)
      : program(aProgram), indices(aProgram.ids.size(), none) {}

  SymbolicExprProgram::Listing list() {
    std::size_t next = 0;
    for (const std::uint32_t root : program.roots) {
      // A root's steps end with its own, unless an earlier root has needed it.
      const std::uint32_t last = program.evaluationOrder.stepAt[root];
      while (last != NodeProgram::noStep && next <= last) addStep(next++);
      listing.roots.push_back(indexOf(root));
    }
    return std::move(listing);
  }

 private:
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  void addStep(std::size_t aNumber) {
    const Eval::detail::Step& step = program.evaluationOrder.steps[aNumber];
    std::vector<std::size_t> operands;
    if (KS::detail::isList(step.op())) {
      for (std::uint32_t i = step.left; i < step.right; ++i) {
        operands.push_back(indexOf(program.elements[i]));
      }
    } else {
      operands.push_back(indexOf(step.left));
      if (!isUnary(step.op()) && step.op() != SymbolicOp::String) {
        operands.push_back(indexOf(step.right));
      }
    }
    indices[step.place] = listing.steps.size();
    listing.steps.push_back({program.ids[step.place], std::nullopt, std::move(operands)});
  }

  // What no step computes is listed when it is first needed.
  std::size_t indexOf(std::uint32_t aPlace) {
    if (indices[aPlace] == none) {
      indices[aPlace] = listing.steps.size();
      const Cell& cell = program.cells[aPlace];
      listing.steps.push_back({program.ids[aPlace], std::nullopt, {}});
      if (cell.state == Cell::isScalar) listing.steps.back().value = cell.scalar;
    }
    return indices[aPlace];
  }

  const NodeProgram& program;
  std::vector<std::size_t> indices;  // by place
  SymbolicExprProgram::Listing listing;
};

// Calls `aUse(index of the root, run, place of the root in it)` for every root. What leads back to
// itself does so whatever values the bindings give.
template <class Use>
void forEachRoot(const NodeProgram& aProgram, const ProgramRun& aRun, Valueless aValueless,
                 const SymbolicExprBindings& aBindings, const Use& aUse) {
  for (std::size_t i = 0; i < aProgram.roots.size(); ++i) {
    const std::uint32_t root = aProgram.roots[i];
    if (aRun.at(root).state != NodeProgram::cycleError) {
      aUse(i, aRun, root);
    } else {
      // How the way round is told depends on where it is entered, so on the root.
      const NodeProgram alone = compile(aProgram.table, {aProgram.ids[root]}, &aBindings);
      aUse(i, ProgramRun(alone, aBindings, aValueless), alone.roots[0]);
    }
  }
}

template <class Use>
void forEachRoot(const NodeProgram& aProgram, const SymbolicExprBindings& aBindings,
                 Valueless aValueless, const Use& aUse) {
  std::optional<NodeProgram> cut;
  if (aProgram.isCyclic) cut.emplace(cutByBindings(aProgram, aBindings));
  const NodeProgram& program = cut ? *cut : aProgram;
  forEachRoot(program, ProgramRun(program, aBindings, aValueless), aValueless, aBindings, aUse);
}

// Writes what a root of a program came to over the outcome of a run before.
void tellOutcome(const NodeProgram& aProgram, std::size_t aIdx, const ProgramRun& aRun,
                 std::uint32_t aPlace, SymbolicExprProgram::Outcome& aOutcome) {
  const Cell& cell = aRun.at(aPlace);
  aOutcome.error.clear();
  if (cell.state == Cell::isScalar) {
    aOutcome.value = cell.scalar;
  } else if (cell.isConstant()) {
    aOutcome.value = aRun.valueAt(aPlace);
  } else if (isCallAt(aProgram, aProgram.roots[aIdx])) {
    aOutcome.value = 0;
  } else {
    aOutcome.value.reset();
    aOutcome.error = aRun.errorAt(aPlace);
  }
}

}  // namespace

SymbolicExprProgram::SymbolicExprProgram(const SymbolicExprTable& aTable,
                                         const std::vector<SymbolicExprId>& aRoots) {
  auto fresh = std::make_shared<NodeProgram>(compile(aTable, aRoots, nullptr));
  sortByKinds(*fresh);
  program = std::move(fresh);
}

std::vector<SymbolicExprProgram::Outcome> SymbolicExprProgram::run(
    const SymbolicExprBindings& aBindings) const {
  std::vector<Outcome> outcomes(program->roots.size());
  const auto give = [&](std::size_t aIdx, const ProgramRun& aRun, std::uint32_t aRoot) {
    tellOutcome(*program, aIdx, aRun, aRoot, outcomes[aIdx]);
  };
  forEachRoot(*program, aBindings, Valueless::Fails, give);
  return outcomes;
}

std::vector<SymbolicExprProgram::TruthOutcome> SymbolicExprProgram::truths(
    const SymbolicExprBindings& aBindings) const {
  std::vector<TruthOutcome> outcomes(program->roots.size());
  const auto give = [&](std::size_t aIdx, const ProgramRun& aRun, std::uint32_t aRoot) {
    const Cell& cell = aRun.at(aRoot);
    TruthOutcome& outcome = outcomes[aIdx];
    switch (cell.state) {
      case Cell::isScalar: outcome.holds = cell.scalar.toBool() ? Holds::Yes : Holds::No; break;
      case Cell::isList: outcome.error = Eval::detail::noTruthText(aRun.valueAt(aRoot)); break;
      case Cell::isOpen: outcome.holds = Holds::Open; break;
      default: outcome.error = aRun.errorAt(aRoot);
    }
  };
  forEachRoot(*program, aBindings, Valueless::IsUndecided, give);
  return outcomes;
}

SymbolicExprProgram::Listing SymbolicExprProgram::list() const { return Lister(*program).list(); }

// ---------------------------------------------------------------------------------------------
// The runner

class Eval::detail::ParameterRun {
 public:
  ParameterRun(const SymbolicExprTable& aTable, const std::vector<SymbolicExprId>& aRoots,
               const std::vector<SymbolicExprId>& aParameters)
      : ids(aParameters),
        bindings(bindingsOf(aTable, aParameters)),
        program(compile(aTable, aRoots, &bindings)),
        current(program),
        outcomes(aRoots.size()) {
    sortByKinds(program);
    for (std::size_t i = 0; i < ids.size(); ++i) {
      const std::uint32_t place = program.places.find(static_cast<std::uint32_t>(ids[i]));
      if (place != 0) parameters.push_back({place, i});
    }
  }

  const std::vector<SymbolicExprProgram::Outcome>& run(const std::vector<Value>& aValues) {
    if (aValues.size() != ids.size()) {
      throw std::invalid_argument("KS::SymbolicExprRunner::run: " + std::to_string(aValues.size()) +
                                  " values for " + std::to_string(ids.size()) + " parameters");
    }
    for (const Value& value : aValues) {
      if (value.tag() == Value::Vector) requireElements(value, "KS::SymbolicExprRunner::run");
    }
    current.restart(parameters, aValues);
    forEachRoot(program, current, Valueless::Fails, bindings,
                [this](std::size_t aIdx, const ProgramRun& aRun, std::uint32_t aRoot) {
                  tellOutcome(program, aIdx, aRun, aRoot, outcomes[aIdx]);
                });
    return outcomes;
  }

 private:
  // Bindings of these nodes, to whatever value.
  static SymbolicExprBindings bindingsOf(const SymbolicExprTable& aTable,
                                         const std::vector<SymbolicExprId>& aIds) {
    SymbolicExprBindings bindings(aTable);
    for (const SymbolicExprId id : aIds) {
      if (bindings.find(id) != nullptr) {
        throw std::invalid_argument("KS::SymbolicExprRunner: a parameter is there twice");
      }
      bindings.set(id, 0);
    }
    return bindings;
  }

  const std::vector<SymbolicExprId> ids;  // of the parameters
  const SymbolicExprBindings bindings;
  NodeProgram program;
  ProgramRun current;
  std::vector<ProgramRun::Parameter> parameters;  // those that the roots need
  std::vector<SymbolicExprProgram::Outcome> outcomes;
};

SymbolicExprRunner::SymbolicExprRunner(const SymbolicExprTable& aTable,
                                       const std::vector<SymbolicExprId>& aRoots,
                                       const std::vector<SymbolicExprId>& aParameters)
    : state(std::make_unique<Eval::detail::ParameterRun>(aTable, aRoots, aParameters)) {}
SymbolicExprRunner::SymbolicExprRunner(SymbolicExprRunner&&) noexcept = default;
SymbolicExprRunner& SymbolicExprRunner::operator=(SymbolicExprRunner&&) noexcept = default;
SymbolicExprRunner::~SymbolicExprRunner() = default;

const std::vector<SymbolicExprProgram::Outcome>& SymbolicExprRunner::run(
    const std::vector<Eval::Value>& aValues) {
  return state->run(aValues);
}

}  // namespace KS
