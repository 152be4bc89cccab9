#include "eval/SymbolicExprProgram.hpp"

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

// Calls `aUse(index of the root, run, place of the root in it)` for every root.
template <class Use>
void forEachRoot(const NodeProgram& aProgram, const SymbolicExprBindings& aBindings,
                 Valueless aValueless, const Use& aUse) {
  std::optional<NodeProgram> cut;
  if (aProgram.isCyclic) cut.emplace(cutByBindings(aProgram, aBindings));
  const NodeProgram& program = cut ? *cut : aProgram;
  const ProgramRun run(program, aBindings, aValueless);
  for (std::size_t i = 0; i < program.roots.size(); ++i) {
    const std::uint32_t root = program.roots[i];
    if (run.at(root).state != NodeProgram::cycleError) {
      aUse(i, run, root);
    } else {
      // How the way round is told depends on where it is entered, so on the root.
      const NodeProgram alone = compile(program.table, {program.ids[root]}, &aBindings);
      aUse(i, ProgramRun(alone, aBindings, aValueless), alone.roots[0]);
    }
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
    if (aRun.at(aRoot).isConstant()) {
      outcomes[aIdx].value = aRun.valueAt(aRoot);
    } else if (isCallAt(*program, program->roots[aIdx])) {
      outcomes[aIdx].value = 0;
    } else {
      outcomes[aIdx].error = aRun.errorAt(aRoot);
    }
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

}  // namespace KS
