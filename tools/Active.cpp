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

constexpr const char* stateNames[] = {"inactive", "active", "open"};  // by Holds
constexpr const char* unknown = "?";

// The state of each block that is available: the three-valued value of the conditions along its
// path, but for blocks of which the model alone proves that they are never or always on.
std::vector<Holds> statesOf(const Question& aQuestion) {
  const TypedModel& typed = aQuestion.getTyped();
  const Model& model = aQuestion.getModel();
  std::vector<SymbolicExprId> locals;
  for (const KSBlock& block : model.blocks) {
    locals.push_back(typed.isAvailable(block) ? typed.local(block)
                                              : aQuestion.getTable().getIdTRUE());
  }
  std::vector<Holds> states = truthsOf(aQuestion.getTable(), locals, aQuestion.getBindings());
  bool isAnyOpen = false;
  for (const KSBlock* block : typed.topDown()) {
    Holds& state = states[model.indexOf(*block)];
    if (block->parent != nullptr) {
      const Holds above = states[model.indexOf(*block->parent)];
      if (above == Holds::No || state == Holds::Yes) state = above;
    }
    isAnyOpen = isAnyOpen || state == Holds::Open;
  }
  if (!isAnyOpen) return states;
  Decision free(aQuestion, Decision::Values::Free);
  const std::vector<KS::Truth> verdicts = verdictsOf(typed, free);
  for (std::size_t i = 0; i < states.size(); ++i) {
    if (states[i] != Holds::Open) continue;
    if (verdicts[i] == KS::Truth::Never) states[i] = Holds::No;
    if (verdicts[i] == KS::Truth::Always) states[i] = Holds::Yes;
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
  const std::vector<Holds> states = statesOf(aQuestion);

  std::vector<std::string> residuals(model.blocks.size());
  if (aResidual || layout.format == Format::Json) {
    Residuals residual(typed, aQuestion.getBindings(), layout.cForm);
    ProblemCounts problems;
    for (const KSBlock* block : typed.topDown()) {
      const std::size_t index = model.indexOf(*block);
      if (!typed.isAvailable(*block) || states[index] != Holds::Open) continue;
      try {
        residuals[index] = residual.text(*block);
      } catch (const std::length_error& error) {
        residuals[index] = unknown;
        if (!problems.add("residual conditions that are too large")) continue;
        aTell(conditionProblem(model, *block, typed.getFamily(), shortened(error.what())));
      }
    }
    const std::string remaining = problems.remaining(model.path);
    if (!remaining.empty()) aTell(remaining);
  }

  std::size_t counts[3] = {};
  std::vector<Row> rows;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const KSBlock& block : model.blocks) {
    const std::size_t index = model.indexOf(block);
    const bool isKnown = typed.isAvailable(block);
    const Holds state = states[index];
    if (isKnown) ++counts[static_cast<std::size_t>(state)];
    const char* const name = isKnown ? stateNames[static_cast<std::size_t>(state)] : unknown;
    const std::string& residual = residuals[index];
    const std::string parent(block.parent == nullptr ? "" : block.parent->id);
    if (layout.format == Format::Json) {
      nlohmann::ordered_json entry{{"block", block.id}, {"parent", nullptr}};
      if (block.parent != nullptr) entry["parent"] = parent;
      entry["state"] = isKnown ? nlohmann::ordered_json(name) : nullptr;
      entry["residual"] = state == Holds::No ? "false" : residual;
      if (!isKnown || residual == unknown) entry["residual"] = nullptr;
      json.push_back(std::move(entry));
    } else if (layout.format == Format::Csv) {
      rows.push_back({std::string(block.id), parent, name});
      if (aResidual) rows.back().push_back(state == Holds::No ? "false" : residual);
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
