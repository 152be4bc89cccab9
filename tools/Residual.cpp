#include "tools/Residual.hpp"

#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tools/Values.hpp"

namespace ksexpr {

using KS::SymbolicExprId;

namespace {

constexpr std::size_t maxPasses = 10;

// Writes the names of constants in place of the numbers that they were evaluated with.
class ConstantNames : public KS::SymbolicExprXFormVisitor2 {
 public:
  explicit ConstantNames(const TypedModel& aModel)
      : SymbolicExprXFormVisitor2(aModel.getTable()), model(aModel) {}

  SymbolicExprId makeSymbolicDoubleValue(double aValue) override {
    const auto& names = model.getConstants();
    if (!names.empty()) {
      const double place = aValue - numberOf(model, names.front());
      if (place >= 0 && place < static_cast<double>(names.size())) {
        return makeSymbolicString(names[static_cast<std::size_t>(place)]);
      }
    }
    return SymbolicExprXFormVisitor2::makeSymbolicDoubleValue(aValue);
  }

 private:
  const TypedModel& model;
};

}  // namespace

Residuals::Residuals(const TypedModel& aModel, const KS::SymbolicExprBindings& aBindings,
                     bool aCForm)
    : model(aModel),
      bindings(aBindings),
      cForm(aCForm),
      substitute(aModel.getTable()),
      simplify(aModel.getTable(), maxPasses) {}

const std::string& Residuals::text(const KSBlock& aBlock) {
  const SymbolicExprId id = net(aBlock);
  const auto [place, isNew] = texts.try_emplace(id);
  if (isNew) place->second = model.text(id, cForm);
  return place->second;
}

SymbolicExprId Residuals::net(const KSBlock& aBlock) {
  std::vector<const KSBlock*> above;
  for (const KSBlock* block = &aBlock; block != nullptr && nets.count(block) == 0;
       block = block->parent) {
    above.push_back(block);
  }
  KS::SymbolicExprTable& table = model.getTable();
  for (auto block = above.rbegin(); block != above.rend(); ++block) {
    const SymbolicExprId parent =
        (*block)->parent == nullptr ? table.getIdTRUE() : nets.at((*block)->parent);
    SymbolicExprId net = local(model.local(**block));
    if (parent != table.getIdTRUE()) {
      if (net == table.getIdTRUE()) {
        net = parent;
      } else {
        std::size_t passes = 0;
        net = simplify.simplify(KS::SymbolicAndExpr(table, net, parent).getId(table), passes);
      }
    }
    nets.emplace(*block, net);
  }
  return nets.at(&aBlock);
}

SymbolicExprId Residuals::local(SymbolicExprId aCondition) {
  const auto known = locals.find(aCondition);
  if (known != locals.end()) return known->second;
  KS::SymbolicExprTable& table = model.getTable();
  SymbolicExprId id = substitute(aCondition, bindings);
  if (!model.getConstants().empty()) {
    ConstantNames names(model);
    table.get(id)->accept(table, names);
    id = names.get();
  }
  std::size_t passes = 0;
  id = KS::SymbolicExprSimplify(table, maxPasses).simplify(model.inMSyntax(id), passes);
  locals.emplace(aCondition, id);
  return id;
}

}  // namespace ksexpr
