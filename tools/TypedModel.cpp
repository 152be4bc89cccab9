#include "tools/TypedModel.hpp"

#include <algorithm>
#include <set>

#include "base/KSSymbolicExpr.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tools/Commands.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Nearest.hpp"
#include "tools/Subtrees.hpp"
#include "tools/Text.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace ksexpr {

using KS::SymbolicExprId;
using KS::SymbolicOp;

namespace {

SymbolicOp opOf(const KS::SymbolicExpr& aExpr) { return static_cast<SymbolicOp>(aExpr.getKind()); }

bool isConnective(SymbolicOp aOp) { return aOp >= SymbolicOp::And && aOp <= SymbolicOp::Not; }

// Whether M syntax may spell the operator as a function.
bool isOperatorOfC(SymbolicOp aOp) {
  return aOp == SymbolicOp::Divide || aOp == SymbolicOp::Modulo ||
         (aOp >= SymbolicOp::BitAnd && aOp <= SymbolicOp::ShiftRight);
}

}  // namespace

bool isVariable(const KS::SymbolicExprTable& aTable, SymbolicExprId aId) {
  const SymbolicOp op = opOf(*aTable.get(aId));
  if (op == SymbolicOp::String) return aId != aTable.getIdTRUE() && aId != aTable.getIdFALSE();
  return op >= SymbolicOp::FcnCall0U && op <= SymbolicOp::MemberValue;
}

std::string conditionProblem(const Model& aModel, const KSBlock& aBlock, Family aFamily,
                             const std::string& aMessage) {
  const std::string text(aBlock.texts[aFamily]);
  const std::string_view place = text.empty() ? aBlock.id : aBlock.texts[aFamily];
  std::string message = printable(aModel.path) + ':' + std::to_string(aModel.lineOf(place)) +
                        ": block \"" + shortened(aBlock.id) + "\", " + familyNames[aFamily];
  KS::SymbolicExprTable table;
  const auto error = KS::SymbolicExprParser(table, false).diagnose(text);
  if (!error || text.empty()) return message + ": " + aMessage + '\n';
  return message + ", column " + std::to_string(placeOf(text, error->offset).column) +
         ": expected " + error->expected + '\n' + excerpt(text, error->offset) +
         noteLine(error->note);
}

std::string noBlockMessage(const Model& aModel, const std::string& aId) {
  std::vector<std::string_view> ids;
  for (const KSBlock& block : aModel.blocks) ids.push_back(block.id);
  return printable(aModel.path) + ": no block \"" + shortened(aId) + '"' + didYouMean(aId, ids);
}

const KSBlock& findBlock(const Model& aModel, const std::string& aId) {
  for (const KSBlock& block : aModel.blocks) {
    if (block.id == aId) return block;
  }
  throw AnswerError(noBlockMessage(aModel, aId));
}

TypedModel::TypedModel(const Model& aModel, Family aFamily, KS::SymbolicExprTable& aTable,
                       const std::function<void(const std::string&)>& aTell)
    : model(aModel), family(aFamily), table(aTable), ordered(parentsFirst(aModel)) {
  table.addBoolSymbols();
  parseConditions(aTell);
  collectVariables();
}

void TypedModel::parseConditions(const std::function<void(const std::string&)>& aTell) {
  const KS::SymbolicExprParser parse(table, false);
  const KS::SymbolicExprM2C toOperators(table);
  ProblemCounts problems;
  // Many blocks share a text.
  std::unordered_map<std::string_view, SymbolicExprId> known{{"", table.getIdTRUE()}};
  locals.assign(model.blocks.size(), KS::invalidSymbolicExprId);
  for (const KSBlock& block : model.blocks) {
    const std::string_view text = block.texts[family];
    const auto [place, isNew] = known.emplace(text, KS::invalidSymbolicExprId);
    if (isNew) {
      const SymbolicExprId id = parse(std::string(text));
      if (id != KS::invalidSymbolicExprId) place->second = toOperators(id);
    }
    locals[model.indexOf(block)] = place->second;
    if (place->second == KS::invalidSymbolicExprId &&
        problems.add("conditions that cannot be answered")) {
      aTell(conditionProblem(model, block, family, ""));
    }
  }
  available.assign(model.blocks.size(), false);
  nets.assign(model.blocks.size(), KS::invalidSymbolicExprId);
  std::size_t numHindered = 0;
  for (const KSBlock* block : ordered) {
    const bool isAboveAvailable = block->parent == nullptr || isAvailable(*block->parent);
    const bool parses = local(*block) != KS::invalidSymbolicExprId;
    available[model.indexOf(*block)] = isAboveAvailable && parses;
    if (parses && !isAboveAvailable) ++numHindered;
    if (!isAvailable(*block)) continue;
    SymbolicExprId& net = nets[model.indexOf(*block)];
    const SymbolicExprId above =
        block->parent == nullptr ? table.getIdTRUE() : nets[model.indexOf(*block->parent)];
    net = above == table.getIdTRUE() ? local(*block)
          : !hasCondition(*block)    ? above
                                  : KS::SymbolicAndExpr(table, above, local(*block)).getId(table);
  }
  const std::string remaining = problems.remaining(model.path);
  if (!remaining.empty()) aTell(remaining);
  if (numHindered > 0) {
    aTell(printable(model.path) + ": " + std::to_string(numHindered) +
          (numHindered == 1 ? " block has" : " blocks have") +
          " no answer, because the condition of an ancestor does not parse\n");
  }
  for (const std::string_view constraint : model.constraints) {
    constraints.push_back(toOperators(parse(std::string(constraint))));
  }
}

void TypedModel::collectVariables() {
  const KS::SymbolicExprParser parse(table, false);
  std::set<std::string> names;
  std::vector<SymbolicExprId> declared;
  for (const DeclaredVariable& variable : model.variables) {
    declared.push_back(parse(std::string(variable.name)));
    domains.emplace(declared.back(), &variable.domain);
    for (const Domain::Value& value : variable.domain.values) {
      if (const auto* name = std::get_if<std::string>(&value)) names.insert(*name);
    }
  }
  constants.assign(names.begin(), names.end());
  for (const std::string& name : constants) {
    constantIds.insert(KS::SymbolicString(table, name).getId(table));
  }
  for (const KSBlock& block : model.blocks) {
    if (local(block) != KS::invalidSymbolicExprId) addVariablesOf(local(block));
  }
  for (const SymbolicExprId id : constraints) addVariablesOf(id);
  for (const SymbolicExprId id : declared) addVariable(id, true);
}

void TypedModel::addVariablesOf(SymbolicExprId aId) {
  constexpr unsigned char asTruth = 1;
  constexpr unsigned char asValue = 2;
  std::vector<std::pair<SymbolicExprId, bool>> open{{aId, true}};
  while (!open.empty()) {
    const auto [id, isTruth] = open.back();
    open.pop_back();
    if (id >= entered.size()) entered.resize(id + 1, 0);
    const unsigned char flag = isTruth ? asTruth : asValue;
    if ((entered[id] & flag) != 0) continue;
    entered[id] |= flag;
    const KS::SymbolicExpr& node = *table.get(id);
    if (isVariable(table, id)) {
      if (!isConstant(id)) addVariable(id, isTruth);
      continue;
    }
    hasOperatorsOfC = hasOperatorsOfC || isOperatorOfC(opOf(node));
    for (std::size_t i = node.getNumInputs(); i > 0; --i) {
      open.emplace_back(node.getInput(i - 1), isConnective(opOf(node)));
    }
  }
}

void TypedModel::addVariable(SymbolicExprId aId, bool aIsTruth) {
  const auto [place, isNew] = variablePlaces.emplace(aId, variables.size());
  if (isNew) {
    const auto domain = domains.find(aId);
    variables.push_back(
        {aId, text(aId, false), domain == domains.end() ? nullptr : domain->second, true});
    variableNames.emplace(variables.back().name, place->second);
  }
  Variable& variable = variables[place->second];
  if (variable.domain != nullptr) {
    variable.isTruth = variable.domain->kind == Domain::Kind::Boolean;
  } else {
    variable.isTruth = variable.isTruth && aIsTruth;
  }
}

const Variable* TypedModel::findVariable(const std::string& aName) const {
  auto found = variableNames.find(aName);
  if (found == variableNames.end()) {
    KS::SymbolicExprTable scratch;
    const SymbolicExprId id = KS::SymbolicExprParser(scratch, false)(aName);
    if (id == KS::invalidSymbolicExprId) return nullptr;
    found = variableNames.find(KS::SymbolicExprPrinter(scratch, true, true, true)(id));
  }
  return found == variableNames.end() ? nullptr : &variables[found->second];
}

const Variable* TypedModel::findVariable(SymbolicExprId aId) const {
  const auto found = variablePlaces.find(aId);
  return found == variablePlaces.end() ? nullptr : &variables[found->second];
}

bool TypedModel::isKnownElsewhere(const std::string& aName) const {
  for (const Family other : {VV, CG, S}) {
    if (other == family) continue;
    const auto names = [&](const KSBlock& block) {
      return block.texts[other].find(aName) != std::string_view::npos;
    };
    if (!std::any_of(model.blocks.begin(), model.blocks.end(), names)) continue;
    KS::SymbolicExprTable scratch;
    const TypedModel typed(model, other, scratch, [](const std::string&) {});
    if (typed.findVariable(aName) != nullptr) return true;
  }
  return false;
}

void TypedModel::appendVariables(SymbolicExprId aId,
                                 std::vector<SymbolicExprId>& aVariables) const {
  std::unordered_set<SymbolicExprId> seen(aVariables.begin(), aVariables.end());
  std::vector<SymbolicExprId> open{aId};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    open.pop_back();
    if (!seen.insert(id).second) continue;
    if (isVariable(table, id)) {
      if (!isConstant(id)) aVariables.push_back(id);
      continue;
    }
    const KS::SymbolicExpr& node = *table.get(id);
    for (std::size_t i = node.getNumInputs(); i > 0; --i) open.push_back(node.getInput(i - 1));
  }
}

std::vector<const KSBlock*> TypedModel::blocksWithCondition(const KSBlock& aBlock) const {
  std::vector<const KSBlock*> blocks;
  for (const KSBlock* block = &aBlock; block != nullptr; block = block->parent) {
    if (hasCondition(*block)) blocks.push_back(block);
  }
  std::reverse(blocks.begin(), blocks.end());
  return blocks;
}

std::vector<SymbolicExprId> TypedModel::path(const KSBlock& aBlock) const {
  std::vector<SymbolicExprId> ids;
  for (const KSBlock* block = &aBlock; block != nullptr; block = block->parent) {
    if (hasCondition(*block)) ids.push_back(local(*block));
  }
  std::reverse(ids.begin(), ids.end());
  return ids;
}

SymbolicExprId TypedModel::inMSyntax(SymbolicExprId aId) const {
  return hasOperatorsOfC ? KS::SymbolicExprC2M(table)(aId) : aId;
}

std::string TypedModel::text(SymbolicExprId aId, bool aCForm) const {
  if (aId == table.getIdTRUE()) return "";
  if (aCForm) {
    return KS::SymbolicExprPrinter(table, false, true, true)(KS::SymbolicExprM2C(table)(aId));
  }
  return KS::SymbolicExprPrinter(table, true, true, true)(inMSyntax(aId));
}

}  // namespace ksexpr
