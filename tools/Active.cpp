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

constexpr const char* notKnown = stateNames[static_cast<std::size_t>(State::Unknown)];

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

// The conditions under which blocks are active, as `ActiveAnswer` has them.
std::vector<std::optional<std::string>> residualsOf(const Question& aQuestion,
                                                    const std::vector<State>& aStates,
                                                    const Question::Tell& aTell) {
  const TypedModel& typed = aQuestion.getTyped();
  const Model& model = aQuestion.getModel();
  std::vector<std::optional<std::string>> texts(aStates.size());
  Residuals residual(typed, aQuestion.getBindings(), aQuestion.getLayout().cForm);
  ProblemCounts problems;
  for (const KSBlock* block : typed.topDown()) {
    std::optional<std::string>& text = texts[model.indexOf(*block)];
    switch (aStates[model.indexOf(*block)]) {
      case State::Inactive: text = "false"; break;
      case State::Active: text = ""; break;
      case State::Unknown: break;
      case State::Open: try { text = residual.text(*block);
        } catch (const std::length_error& error) {
          if (!problems.add("residual conditions that are too large")) continue;
          aTell(conditionProblem(model, *block, typed.getFamily(), shortened(error.what())));
        }
    }
  }
  const std::string remaining = problems.remaining(model.path);
  if (!remaining.empty()) aTell(remaining);
  return texts;
}

}  // namespace

ActiveAnswer answerActive(const Question& aQuestion, bool aWithResiduals,
                          const Question::Tell& aTell) {
  Decision(aQuestion, Decision::Values::Given).requireConsistency();
  ActiveAnswer answer{statesOf(aQuestion, aTell), std::nullopt};
  if (aWithResiduals) answer.residuals = residualsOf(aQuestion, answer.states, aTell);
  return answer;
}

std::string writeActive(const Question& aQuestion, const ActiveAnswer& aAnswer,
                        std::ostream& aOut) {
  const Model& model = aQuestion.getModel();
  const Layout& layout = aQuestion.getLayout();
  const bool withResiduals = aAnswer.residuals.has_value();
  std::size_t counts[std::size(stateNames)] = {};
  std::vector<Row> rows;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const KSBlock& block : model.blocks) {
    const std::size_t index = model.indexOf(block);
    const State state = aAnswer.states[index];
    ++counts[static_cast<std::size_t>(state)];
    const char* const name = stateNames[static_cast<std::size_t>(state)];
    const std::optional<std::string> residual =
        withResiduals ? (*aAnswer.residuals)[index] : std::nullopt;
    const std::string parent(block.parent == nullptr ? "" : block.parent->id);
    if (layout.format == Format::Json) {
      nlohmann::ordered_json entry{{"block", block.id}, {"parent", nullptr}};
      if (block.parent != nullptr) entry["parent"] = parent;
      entry["state"] = state == State::Unknown ? nullptr : nlohmann::ordered_json(name);
      entry["residual"] = residual ? nlohmann::ordered_json(*residual) : nullptr;
      json.push_back(std::move(entry));
    } else if (layout.format == Format::Csv) {
      rows.push_back({std::string(block.id), parent, name});
      if (withResiduals)
        rows.back().push_back(residual.value_or(state == State::Open ? notKnown : ""));
    } else {
      rows.push_back({indentOf(block) + printable(block.id), name});
      if (withResiduals)
        rows.back().push_back(state == State::Open ? residual.value_or(notKnown) : "");
    }
  }
  if (layout.format == Format::Json) {
    writeJson(json, aOut);
  } else {
    Row tableHeader{"BLOCK", "STATE"};
    Row csvHeader{"block", "parent", "state"};
    if (withResiduals) {
      tableHeader.push_back("RESIDUAL");
      csvHeader.push_back("residual");
    }
    writeRows(tableHeader, csvHeader, rows, layout, aOut);
  }
  return counted(model.blocks.size(), "block") + ": " + std::to_string(counts[1]) + " active, " +
         std::to_string(counts[0]) + " inactive, " + std::to_string(counts[2]) + " open\n";
}

}  // namespace ksexpr
