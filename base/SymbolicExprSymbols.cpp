#include "base/SymbolicExprSymbols.hpp"

#include <boost/unordered/unordered_flat_set.hpp>

#include "base/detail/Walk.hpp"

namespace KS {

void SymbolicExprSymbols::operator()(SymbolicExprId aId, std::vector<std::string>& aNames) const {
  SymbolsOfSymbolicExpr(table).getSymbols(aId, aNames);
}

void SymbolicExprSymbols::operator()(SymbolicExprId aId, std::vector<SymbolicExprId>& aIds) const {
  SymbolsOfSymbolicExpr(table).getSymbolIds(aId, aIds);
}

struct SymbolsOfSymbolicExpr::Visited {
  boost::unordered_flat_set<SymbolicExprId> ids;
};

SymbolsOfSymbolicExpr::SymbolsOfSymbolicExpr(const SymbolicExprTable& aTable)
    : visited(std::make_unique<Visited>()), table(aTable) {}
SymbolsOfSymbolicExpr::~SymbolsOfSymbolicExpr() = default;

void SymbolsOfSymbolicExpr::getSymbols(SymbolicExprId aId, std::vector<std::string>& aNames) {
  std::vector<SymbolicExprId> ids;
  getSymbolIds(aId, ids);
  for (const SymbolicExprId id : ids) {
    aNames.push_back(static_cast<const SymbolicString*>(table.get(id))->getText());
  }
}

void SymbolsOfSymbolicExpr::getSymbolIds(SymbolicExprId aId, std::vector<SymbolicExprId>& aIds) {
  detail::forEachDistinct(
      table, aId, [&](SymbolicExprId id) { return visited->ids.contains(id); },
      [&](SymbolicExprId id, const SymbolicExpr& node) {
        visited->ids.insert(id);
        if (node.getKind() == static_cast<int>(SymbolicOp::String)) aIds.push_back(id);
      });
}

}  // namespace KS
