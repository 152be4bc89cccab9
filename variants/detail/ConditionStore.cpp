#include "variants/detail/ConditionStore.hpp"

#include <boost/unordered/unordered_flat_set.hpp>
#include <stdexcept>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "variants/VCService.hpp"
#include "variants/detail/InlineVarCondExprParseError.hpp"

namespace KS::detail {

namespace {

constexpr std::size_t maxPasses = 10;

// The characters of texts whose simplified form is kept. Texts that only differ in blanks add
// nothing to the table, so the table's size is no bound for them.
constexpr std::size_t maxKeptLength = std::size_t{64} << 20;

}  // namespace

// Stands while a customizer is being asked by a service.
class ConditionStore::CustomizerCall {
 public:
  CustomizerCall(ConditionStore& aStore, const VCCustomizer* aCustomizer)
      : openCalls(aStore.openCalls) {
    if (aCustomizer == nullptr) {
      throw std::invalid_argument(
          "KS::VCService: a condition is needed and the customizer is null");
    }
    if (openCalls == VCService::maxCustomizerDepth) {
      throw std::runtime_error("KS::VCService: customizers query the service from within " +
                               std::to_string(openCalls) + " answers");
    }
    ++openCalls;
  }
  ~CustomizerCall() { --openCalls; }
  CustomizerCall(const CustomizerCall&) = delete;
  CustomizerCall& operator=(const CustomizerCall&) = delete;

 private:
  std::size_t& openCalls;
};

ConditionStore::ConditionStore()
    : parser(table, false),
      simplifier(table, maxPasses),
      toC(table),
      printM(table, true, true, true),
      printC(table, false, true, true) {
  table.addBoolSymbols();
}

VariantConditions& ConditionStore::conditionsOf(const KSBlock* aBlock) {
  const auto known = conditions.find(aBlock);
  if (known != conditions.end()) return *known->second;
  VariantConditions& fresh = allConditions.emplace_back();
  conditions.emplace(aBlock, &fresh);
  return fresh;
}

// ---------------------------------------------------------------------------------------------
// Local conditions

SymbolicExprId ConditionStore::ofNoBlock(const Family& aFamily) const {
  return aFamily.selector == familyS.selector ? table.getIdFALSE() : table.getIdTRUE();
}

SymbolicExprId ConditionStore::askLocal(const Family& aFamily, const KSBlock* aBlock,
                                        const VCCustomizer* aCustomizer) {
  std::string text;
  {
    const CustomizerCall call(*this, aCustomizer);
    text = aCustomizer->getLocalCondition(aBlock, aFamily.selector);
  }
  return simplify(text);
}

const KSBlock* ConditionStore::askParent(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  const CustomizerCall call(*this, aCustomizer);
  return aCustomizer->getParentBlock(aBlock);
}

SymbolicExprId ConditionStore::local(const Family& aFamily, const KSBlock* aBlock,
                                     const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(aFamily);
  KeptId& kept = conditionsOf(aBlock).*aFamily.local;
  const SymbolicExprId known = kept;
  if (aFamily.selector != familyCG.selector) {
    return known != invalidSymbolicExprId ? known : kept = askLocal(aFamily, aBlock, aCustomizer);
  }
  // Hosts rely on being asked every time, and on what a text that went bad or a condition that
  // cannot be written throws; the answer itself is the first one.
  if (known != invalidSymbolicExprId) printM(known);
  const SymbolicExprId asked = askLocal(aFamily, aBlock, aCustomizer);
  if (asked != known) printM(asked);
  return known != invalidSymbolicExprId ? known : kept = asked;
}

// ---------------------------------------------------------------------------------------------
// Net conditions

SymbolicExprId ConditionStore::net(const Family& aFamily, const KSBlock* aBlock,
                                   const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(aFamily);
  KeptId& kept = conditionsOf(aBlock).*aFamily.net;
  if (kept == invalidSymbolicExprId) kept = computeNet(aFamily, aBlock, aCustomizer);
  return kept;
}

// The local condition as it enters the net one. The S family neither looks at the kept one nor
// keeps it.
SymbolicExprId ConditionStore::localForNet(const Family& aFamily, const KSBlock* aBlock,
                                           const VCCustomizer* aCustomizer) {
  const bool asksAnew = aFamily.selector == familyS.selector;
  return asksAnew ? askLocal(aFamily, aBlock, aCustomizer) : local(aFamily, aBlock, aCustomizer);
}

SymbolicExprId ConditionStore::computeNet(const Family& aFamily, const KSBlock* aBlock,
                                          const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(aFamily);
  const SymbolicExprId own = localForNet(aFamily, aBlock, aCustomizer);
  const KSBlock* const parent = askParent(aBlock, aCustomizer);
  if (parent == nullptr) return own;
  KeptId& above = conditionsOf(parent).*aFamily.net;
  if (above == invalidSymbolicExprId || parent == aBlock) {
    computeNetsAbove(aFamily, aBlock, parent, aCustomizer);
  }
  return netBelow(above, own);
}

// Computes and keeps the net conditions of a block's parent and of what encloses it.
void ConditionStore::computeNetsAbove(const Family& aFamily, const KSBlock* aBlock,
                                      const KSBlock* aParent, const VCCustomizer* aCustomizer) {
  struct Step {
    VariantConditions* conditions;
    SymbolicExprId local;
  };
  std::vector<Step> path;
  boost::unordered_flat_set<const KSBlock*> blocks{aBlock};

  // Upwards: each block's own condition, then its parent, until there is none or its net condition
  // is known.
  SymbolicExprId above = invalidSymbolicExprId;
  for (const KSBlock* block = aParent; block != nullptr; block = askParent(block, aCustomizer)) {
    if (!blocks.insert(block).second) {
      throw std::runtime_error("KS::VCService: the parents of a block lead back to the block");
    }
    VariantConditions& known = conditionsOf(block);
    above = known.*aFamily.net;
    if (above != invalidSymbolicExprId) break;
    path.push_back({&known, localForNet(aFamily, block, aCustomizer)});
  }

  // Downwards: every net condition from the one above it.
  for (auto step = path.rbegin(); step != path.rend(); ++step) {
    above = above == invalidSymbolicExprId ? step->local : netBelow(above, step->local);
    step->conditions->*aFamily.net = above;
  }
}

// The net condition of a block with that local condition. Siblings often have the same one.
SymbolicExprId ConditionStore::netBelow(SymbolicExprId aAbove, SymbolicExprId aLocal) {
  // Most blocks have no condition of their own.
  if (aLocal == table.getIdTRUE()) {
    return Digests::isFinal(table, aAbove) ? aAbove : simplifier.conjunction(aLocal, aAbove);
  }
  const NetResult& kept = netPlace(aAbove, aLocal);
  if (kept.above == aAbove && kept.local == aLocal) return kept.net;
  const SymbolicExprId net = simplifier.conjunction(aLocal, aAbove);
  keepNet(aAbove, aLocal, net);
  return net;
}

void ConditionStore::keepNet(SymbolicExprId aAbove, SymbolicExprId aLocal, SymbolicExprId aNet) {
  constexpr std::size_t mostPlaces = std::size_t{1} << 16;
  if (++numNets > netResults.size() && netResults.size() < mostPlaces) {
    std::vector<NetResult> old(2 * netResults.size());
    old.swap(netResults);
    for (const NetResult& one : old) netPlace(one.above, one.local) = one;
  }
  NetResult& place = netPlace(aAbove, aLocal);
  place.above = aAbove;
  place.local = aLocal;
  place.net = aNet;
}

// ---------------------------------------------------------------------------------------------
// Simplification, whose answers are kept

SymbolicExprId ConditionStore::simplify(const std::string& aText) {
  if (aText.empty() || aText == "true") return table.getIdTRUE();
  if (aText == "false") return table.getIdFALSE();
  const auto kept = textResults.find(aText);
  if (kept != textResults.end()) return kept->second;
  const SymbolicExprId id = parser(aText);
  if (id == invalidSymbolicExprId) throwParseError(aText);
  const SymbolicExprId result = simplified(id);
  remember(aText, result);
  return result;
}

void ConditionStore::remember(const std::string& aText, SymbolicExprId aId) {
  if (aText.size() > maxKeptLength) return;
  if (textResultsLength + aText.size() > maxKeptLength) {
    textResults.clear();
    textResultsLength = 0;
  }
  textResults.emplace(aText, aId);
  textResultsLength += aText.size();
}

SymbolicExprId ConditionStore::simplified(SymbolicExprId aId) {
  const auto kept = idResults.find(static_cast<std::uint32_t>(aId));
  if (kept != idResults.end()) return kept->second;
  std::size_t passes = 0;
  const SymbolicExprId result = simplifier.simplify(aId, passes);
  idResults[static_cast<std::uint32_t>(aId)] = result;
  return result;
}

}  // namespace KS::detail
