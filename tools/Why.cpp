#include "tools/Why.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "base/KSSymbolicExpr.hpp"
#include "tools/Commands.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

using KS::SymbolicExprId;
using KS::Truth;

namespace {

// The operands of a chain of conjunctions or disjunctions, from left to right.
std::vector<SymbolicExprId> operandsOf(const KS::SymbolicExprTable& aTable, SymbolicExprId aId) {
  const int kind = aTable.get(aId)->getKind();
  if (kind != static_cast<int>(KS::SymbolicOp::And) &&
      kind != static_cast<int>(KS::SymbolicOp::Or)) {
    return {aId};
  }
  std::vector<SymbolicExprId> operands;
  std::vector<SymbolicExprId> open{aId};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    open.pop_back();
    const KS::SymbolicExpr& node = *aTable.get(id);
    if (node.getKind() != kind) {
      operands.push_back(id);
    } else {
      open.push_back(node.getInput(1));
      open.push_back(node.getInput(0));
    }
  }
  return operands;
}

std::vector<WhyStep> pathOf(const Question& aQuestion, const KSBlock& aBlock) {
  const TypedModel& typed = aQuestion.getTyped();
  const KS::SymbolicExprTable& table = aQuestion.getTable();
  std::vector<WhyStep> path;
  for (const KSBlock* block = &aBlock; block != nullptr; block = block->parent) {
    const SymbolicExprId condition = typed.local(*block);
    WhyStep step{block, truthsOf(table, {condition}, aQuestion.getBindings())[0], {}};
    if (step.holds == Holds::No) {
      const std::vector<SymbolicExprId> operands = operandsOf(table, condition);
      const std::vector<Holds> truths = truthsOf(table, operands, aQuestion.getBindings());
      for (std::size_t i = 0; i < operands.size(); ++i) {
        if (truths[i] == Holds::No) step.fails.push_back(operands[i]);
      }
    }
    path.push_back(std::move(step));
  }
  std::reverse(path.begin(), path.end());
  return path;
}

// Whether the block is on under the given values, as far as evaluation knows.
Holds stateOf(const std::vector<WhyStep>& aPath) {
  Holds state = Holds::Yes;
  for (const WhyStep& step : aPath) {
    if (step.holds == Holds::No) return Holds::No;
    if (step.holds == Holds::Open) state = Holds::Open;
  }
  return state;
}

NamedValues namedOf(const Question& aQuestion, const Assignment& aValues) {
  return aQuestion.named(aValues, {});
}

nlohmann::ordered_json answerJson(const Question& aQuestion, const WhyAnswer& aAnswer) {
  nlohmann::ordered_json json{{"block", aAnswer.block->id}, {"state", aAnswer.state}};
  json["path"] = nlohmann::ordered_json::array();
  for (const WhyStep& step : aAnswer.path) {
    nlohmann::ordered_json entry{
        {"block", step.block->id},
        {"condition", aQuestion.text(aQuestion.getTyped().local(*step.block))},
        {"value", nullptr},
        {"fails", nlohmann::ordered_json::array()}};
    if (step.holds != Holds::Open) entry["value"] = step.holds == Holds::Yes;
    for (const SymbolicExprId id : step.fails) entry["fails"].push_back(aQuestion.text(id));
    json["path"].push_back(std::move(entry));
  }
  json["change"] = nullptr;
  json["changeProven"] = false;
  if (aAnswer.change) {
    json["change"] = valuesJson(namedOf(aQuestion, aAnswer.change->changed));
    json["changeProven"] = aAnswer.change->isFewest;
    json["chosen"] = valuesJson(namedOf(aQuestion, aAnswer.change->chosen));
  }
  json["contradiction"] = blockConditionsJson(aQuestion, aAnswer.contradiction);
  json["contradictionProven"] = aAnswer.isContradictionProven;
  return json;
}

// How a condition holds, as a table shows it.
std::string stepText(const Question& aQuestion, const WhyStep& aStep) {
  if (aStep.holds == Holds::Open) return "open";
  if (aStep.holds == Holds::Yes) return "holds";
  std::string text;
  for (const SymbolicExprId id : aStep.fails) {
    text += (text.empty() ? "" : ", ") + aQuestion.text(id);
  }
  return "fails: " + text;
}

// What follows from the path, a line each.
std::string conclusion(const Question& aQuestion, const WhyAnswer& aAnswer) {
  std::string text = printable(aAnswer.block->id) + " is " + aAnswer.state + '\n';
  if (!aAnswer.brokenRules.empty()) {
    text += "No block is on, because these exclude each other: " + aAnswer.brokenRules + '\n';
  }
  if (!aAnswer.contradiction.empty()) {
    text += "It can never be on, because these exclude each other: " +
            blockConditionsText(aQuestion, aAnswer.contradiction) +
            (aAnswer.isContradictionProven ? "" : " (perhaps fewer do)") + '\n';
  }
  if (aAnswer.change) {
    text += "It would be on with " + valuesText(namedOf(aQuestion, aAnswer.change->changed));
    const std::string chosen = valuesText(namedOf(aQuestion, aAnswer.change->chosen));
    if (!chosen.empty()) text += ", and " + chosen + " for what has no value";
    text += aAnswer.change->isFewest ? "; no fewer changes do\n" : "; perhaps fewer changes do\n";
  }
  return text;
}

}  // namespace

WhyAnswer answerWhy(const Question& aQuestion, const KSBlock& aBlock) {
  if (!aQuestion.getTyped().isAvailable(aBlock)) {
    throw AnswerError("block \"" + shortened(aBlock.id) + "\" has no answer");
  }
  WhyAnswer found{&aBlock, "unknown", pathOf(aQuestion, aBlock), std::nullopt, {}, false, ""};
  const std::vector<SymbolicExprId> conditions = aQuestion.getTyped().path(aBlock);
  Decision free(aQuestion, Decision::Values::Free);
  free.requireConsistency();
  const Truth possible = free.getDecider().decide(conditions);
  if (possible == Truth::Never) {
    const auto smallest = free.getDecider().smallestContradiction(conditions);
    found.state = "never";
    found.contradiction = blocksOf(aQuestion, aBlock, smallest.ids);
    found.isContradictionProven = smallest.isShortest;
    return found;
  }
  Holds state = stateOf(found.path);
  if (possible == Truth::Always) state = Holds::Yes;
  Decision decision(aQuestion, Decision::Values::Given);
  if (!decision.isConsistent()) {
    // No block is on under values that the constraints exclude.
    state = Holds::No;
    found.brokenRules = decision.inconsistency();
  } else if (state == Holds::Open) {
    switch (decision.getDecider().decide(conditions)) {
      case Truth::Never: state = Holds::No; break;
      case Truth::Always: state = Holds::Yes; break;
      case Truth::Sometimes: found.state = "open"; break;
      case Truth::Unknown: break;
    }
  }
  if (state == Holds::Yes) found.state = "active";
  if (state == Holds::No) {
    found.state = "inactive";
    found.change = fewestChanges(aQuestion, free, conditions);
  }
  return found;
}

void writeWhy(const Question& aQuestion, const WhyAnswer& aAnswer, std::ostream& aOut) {
  if (aQuestion.getLayout().format == Format::Json) {
    writeJson(answerJson(aQuestion, aAnswer), aOut);
    return;
  }
  std::vector<Row> rows;
  for (const WhyStep& step : aAnswer.path) {
    const SymbolicExprId condition = aQuestion.getTyped().local(*step.block);
    const bool isTrue = condition == aQuestion.getTable().getIdTRUE();
    rows.push_back({indentOf(*step.block) + printable(step.block->id),
                    isTrue ? "true" : aQuestion.text(condition), stepText(aQuestion, step)});
  }
  const Row header{"BLOCK", "CONDITION", "VALUE"};
  writeRows(header, header, rows, aQuestion.getLayout(), aOut);
  send(aOut, conclusion(aQuestion, aAnswer));
  if (!aOut.flush()) throw WriteError();
}

}  // namespace ksexpr
