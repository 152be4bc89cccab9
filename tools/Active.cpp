#include "tools/Active.hpp"

#include <nlohmann/json.hpp>
#include <unordered_map>

#include "base/KSSymbolicExpr.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Residual.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

using KS::SymbolicExprId;

namespace {

constexpr const char* notKnown = "?";
enum class State { Inactive, Active, Open, Unknown };
constexpr const char* stateNames[] = {"inactive", "active", "open", notKnown};  // by State

// The three-valued value of each block's own condition. One whose value is no truth value, such as
// a list, is unknown, and told of.
std::vector<State> localStates(const Question& aQuestion, const Question::Tell& aTell) {
  using Program = KS::SymbolicExprProgram;
  const TypedModel& typed = aQuestion.getTyped();
  const Model& model = aQuestion.getModel();
  std::vector<SymbolicExprId> locals;
  for (const KSBlock& block : model.blocks) {
    locals.push_back(typed.isAvailable(block) ? typed.local(block)
                                              : aQuestion.getTable().getIdTRUE());
  }
  std::vector<State> states;
  ProblemCounts problems;
  const Program program(aQuestion.getTable(), locals);
  for (const Program::TruthOutcome& outcome : program.truths(aQuestion.getBindings())) {
    const KSBlock& block = model.blocks[states.size()];
    State state = State::Unknown;  // of a block that is not available, too
    if (typed.isAvailable(block)) {
      switch (outcome.holds) {
        case Program::Holds::No: state = State::Inactive; break;
        case Program::Holds::Yes: state = State::Active; break;
        case Program::Holds::Open: state = State::Open; break;
        case Program::Holds::Error:
          if (problems.add("conditions that have no truth value")) {
            aTell(conditionProblem(model, block, typed.getFamily(), shortened(outcome.error)));
          }
      }
    }
    states.push_back(state);
  }
  const std::string remaining = problems.remaining(model.path);
  if (!remaining.empty()) aTell(remaining);
  return states;
}

// The state of each block: the three-valued value of the conditions along its path, but for blocks
// of which the model alone proves that they are never or always on, by exact comparison.
std::vector<State> statesOf(const Question& aQuestion, const Question::Tell& aTell) {
  const TypedModel& typed = aQuestion.getTyped();
  const Model& model = aQuestion.getModel();
  std::vector<State> states = localStates(aQuestion, aTell);
  for (const KSBlock* block : typed.topDown()) {
    State& state = states[model.indexOf(*block)];
    if (block->parent != nullptr) {
      const State above = states[model.indexOf(*block->parent)];
      const bool isDecidedAbove = above == State::Inactive || above == State::Unknown;
      if (isDecidedAbove || state == State::Active) state = above;
    }
  }
  Decision free(aQuestion, Decision::Values::Free);
  const std::vector<KS::Truth> verdicts = verdictsOf(typed, free);
  for (std::size_t i = 0; i < states.size(); ++i) {
    if (states[i] == State::Unknown) continue;
    if (verdicts[i] == KS::Truth::Never) states[i] = State::Inactive;
    if (verdicts[i] == KS::Truth::Always) states[i] = State::Active;
  }
  return states;
}

}  // namespace

std::string answerActive(const Question& aQuestion, bool aResidual, const Question::Tell& aTell,
                         std::ostream& aOut) {
  const TypedModel& typed = aQuestion.getTyped();
  const Model& model = aQuestion.getModel();
  const Layout& layout = aQuestion.getLayout();
  Decision(aQuestion, Decision::Values::Given).requireConsistency();
  const std::vector<State> states = statesOf(aQuestion, aTell);

  std::vector<std::string> residuals(model.blocks.size());
  if (aResidual || layout.format == Format::Json) {
    Residuals residual(typed, aQuestion.getBindings(), layout.cForm);
    ProblemCounts problems;
    for (const KSBlock* block : typed.topDown()) {
      const std::size_t index = model.indexOf(*block);
      if (states[index] != State::Open) continue;
      try {
        residuals[index] = residual.text(*block);
      } catch (const std::length_error& error) {
        residuals[index] = notKnown;
        if (!problems.add("residual conditions that are too large")) continue;
        aTell(conditionProblem(model, *block, typed.getFamily(), shortened(error.what())));
      }
    }
    const std::string remaining = problems.remaining(model.path);
    if (!remaining.empty()) aTell(remaining);
  }

  std::size_t counts[4] = {};
  std::vector<Row> rows;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const KSBlock& block : model.blocks) {
    const std::size_t index = model.indexOf(block);
    const State state = states[index];
    ++counts[static_cast<std::size_t>(state)];
    const bool isKnown = state != State::Unknown;
    const char* const name = stateNames[static_cast<std::size_t>(state)];
    const std::string& residual = residuals[index];
    const std::string parent(block.parent == nullptr ? "" : block.parent->id);
    if (layout.format == Format::Json) {
      nlohmann::ordered_json entry{{"block", block.id}, {"parent", nullptr}};
      if (block.parent != nullptr) entry["parent"] = parent;
      entry["state"] = isKnown ? nlohmann::ordered_json(name) : nullptr;
      entry["residual"] = state == State::Inactive ? "false" : residual;
      if (!isKnown || residual == notKnown) entry["residual"] = nullptr;
      json.push_back(std::move(entry));
    } else if (layout.format == Format::Csv) {
      rows.push_back({std::string(block.id), parent, name});
      if (aResidual) rows.back().push_back(state == State::Inactive ? "false" : residual);
    } else {
      rows.push_back({indentOf(block) + printable(block.id), name});
      if (aResidual) rows.back().push_back(residual);
    }
  }
  if (layout.format == Format::Json) {
    writeJson(json, aOut);
  } else {
    Row tableHeader{"BLOCK", "STATE"};
    Row csvHeader{"block", "parent", "state"};
    if (aResidual) {
      tableHeader.push_back("RESIDUAL");
      csvHeader.push_back("residual");
    }
    writeRows(tableHeader, csvHeader, rows, layout, aOut);
  }
  return counted(model.blocks.size(), "block") + ": " + std::to_string(counts[1]) + " active, " +
         std::to_string(counts[0]) + " inactive, " + std::to_string(counts[2]) + " open\n";
}

}  // namespace ksexpr
