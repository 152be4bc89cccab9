#include "variants/VCService.hpp"

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <deque>
#include <stdexcept>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "variants/detail/InlineVarCondExprParseError.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace KS {

namespace {

constexpr std::size_t maxPasses = 10;

// The characters of texts whose simplified form is kept. Texts that only differ in blanks add
// nothing to the table, so the table's size is no bound for them.
constexpr std::size_t maxKeptLength = std::size_t{64} << 20;

// An id in half of the space, or the invalid one: tables hold fewer nodes than 32 bits number.
class KeptId {
 public:
  operator SymbolicExprId() const {  // NOLINT(google-explicit-constructor)
    return id == none ? invalidSymbolicExprId : SymbolicExprId{id};
  }
  KeptId& operator=(SymbolicExprId aId) {
    id = static_cast<std::uint32_t>(aId);
    return *this;
  }

 private:
  static constexpr std::uint32_t none = 0xFFFFFFFF;
  std::uint32_t id = none;
};

// What is known of a block; the invalid id where it has not been computed.
struct VariantConditions {
  KeptId localVV, localCG, netVV, netCG, localS, netS;
};

// A family of conditions: what customizers know it by, and where its conditions are kept.
struct Family {
  int selector;
  KeptId VariantConditions::*local;
  KeptId VariantConditions::*net;
};
constexpr Family familyVV{1, &VariantConditions::localVV, &VariantConditions::netVV};
constexpr Family familyCG{0, &VariantConditions::localCG, &VariantConditions::netCG};
constexpr Family familyS{2, &VariantConditions::localS, &VariantConditions::netS};

}  // namespace

// What a service owns, and its work.
struct VCService::State {
  class CustomizerCall;

  State()
      : parser(table, false),
        simplifier(table, maxPasses),
        toC(table),
        printM(table, true, true, true),
        printC(table, false, true, true) {
    table.addBoolSymbols();
  }

  VariantConditions& conditionsOf(const KSBlock* aBlock);

  SymbolicExprId ofNoBlock(const Family& aFamily) const;
  SymbolicExprId askLocal(const Family& aFamily, const KSBlock* aBlock,
                          const VCCustomizer* aCustomizer);
  const KSBlock* askParent(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  SymbolicExprId local(const Family& aFamily, const KSBlock* aBlock,
                       const VCCustomizer* aCustomizer);
  SymbolicExprId localForNet(const Family& aFamily, const KSBlock* aBlock,
                             const VCCustomizer* aCustomizer);
  SymbolicExprId net(const Family& aFamily, const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  SymbolicExprId computeNet(const Family& aFamily, const KSBlock* aBlock,
                            const VCCustomizer* aCustomizer);
  void computeNetsAbove(const Family& aFamily, const KSBlock* aBlock, const KSBlock* aParent,
                        const VCCustomizer* aCustomizer);

  SymbolicExprId simplifyText(const std::string& aText);
  void remember(const std::string& aText, SymbolicExprId aId);
  SymbolicExprId simplified(SymbolicExprId aId);
  SymbolicExprId netBelow(SymbolicExprId aAbove, SymbolicExprId aLocal);
  // The simplified operation on these operands. They are looked at first, so that an unknown id
  // leaves no node behind that uses it.
  template <class Operation, class... Ids>
  SymbolicExprId combined(Ids... aIds) {
    (table.get(aIds), ...);
    return simplified(detail::intern<Operation>(table, aIds...));
  }

  SymbolicExprTable table;
  SymbolicExprParser parser;
  SymbolicExprSimplify simplifier;
  SymbolicExprM2C toC;
  SymbolicExprPrinter printM;
  SymbolicExprPrinter printC;
  std::size_t openCalls = 0;  // of customizers
  boost::unordered_flat_map<const KSBlock*, VariantConditions*> conditions;
  std::deque<VariantConditions> allConditions;  // in place, though a customizer may make more
  // Simplification depends on nothing but the expression, so its answers are kept: hosts give the
  // same texts again and again.
  boost::unordered_flat_map<std::string, SymbolicExprId> textResults;
  std::size_t textResultsLength = 0;
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> idResults;
  boost::unordered_flat_map<std::uint64_t, SymbolicExprId> netResults;  // by both ids, 32 bits each
};

// Stands while a customizer is being asked by a service.
class VCService::State::CustomizerCall {
 public:
  CustomizerCall(State& aState, const VCCustomizer* aCustomizer) : openCalls(aState.openCalls) {
    if (aCustomizer == nullptr) {
      throw std::invalid_argument(
          "KS::VCService: a condition is needed and the customizer is null");
    }
    if (openCalls == maxCustomizerDepth) {
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

// ---------------------------------------------------------------------------------------------
// Lifetime

VCService* VCService::fInstance = nullptr;

VCService::VCService() : state(std::make_unique<State>()) {}
VCService::~VCService() = default;

VCService* VCService::getInstance() {
  if (fInstance == nullptr) fInstance = new VCService;
  return fInstance;
}

void VCService::clean() {
  if (fInstance != nullptr && fInstance->state->openCalls != 0) {
    throw std::logic_error("KS::VCService::clean: the service is asking a customizer");
  }
  delete fInstance;
  fInstance = nullptr;
}

const SymbolicExprTable& VCService::getTable() const { return state->table; }

// ---------------------------------------------------------------------------------------------
// The cache

void VCService::initializeConditions(const KSBlock* aBlock) { state->conditionsOf(aBlock); }

VariantConditions& VCService::State::conditionsOf(const KSBlock* aBlock) {
  const auto known = conditions.find(aBlock);
  if (known != conditions.end()) return *known->second;
  // One may be left of a block for which the map had no memory.
  if (allConditions.size() == conditions.size()) allConditions.emplace_back();
  conditions.emplace(aBlock, &allConditions.back());
  return allConditions.back();
}

// ---------------------------------------------------------------------------------------------
// Local conditions

SymbolicExprId VCService::State::ofNoBlock(const Family& aFamily) const {
  return aFamily.selector == familyS.selector ? table.getIdFALSE() : table.getIdTRUE();
}

SymbolicExprId VCService::State::askLocal(const Family& aFamily, const KSBlock* aBlock,
                                          const VCCustomizer* aCustomizer) {
  std::string text;
  {
    const CustomizerCall call(*this, aCustomizer);
    text = aCustomizer->getLocalCondition(aBlock, aFamily.selector);
  }
  return simplifyText(text);
}

const KSBlock* VCService::State::askParent(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  const CustomizerCall call(*this, aCustomizer);
  return aCustomizer->getParentBlock(aBlock);
}

SymbolicExprId VCService::State::local(const Family& aFamily, const KSBlock* aBlock,
                                       const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(aFamily);
  KeptId& kept = conditionsOf(aBlock).*aFamily.local;
  if (kept == invalidSymbolicExprId) return kept = askLocal(aFamily, aBlock, aCustomizer);
  if (aFamily.selector == familyCG.selector) {
    // Hosts rely on being asked every time, and on what a text that went bad or a condition that
    // cannot be written throws; the answer itself is the one that is kept.
    const SymbolicExprId id = kept;
    printM(id);
    printM(askLocal(aFamily, aBlock, aCustomizer));
    return id;
  }
  return kept;
}

SymbolicExprId VCService::getMExprLocalVVCEIdx(const KSBlock* aBlock,
                                               const VCCustomizer* aCustomizer) {
  return state->local(familyVV, aBlock, aCustomizer);
}
SymbolicExprId VCService::getMExprLocalCGVCEIdx(const KSBlock* aBlock,
                                                const VCCustomizer* aCustomizer) {
  return state->local(familyCG, aBlock, aCustomizer);
}
SymbolicExprId VCService::getLocalSVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return state->local(familyS, aBlock, aCustomizer);
}
SymbolicExprId VCService::getCExprLocalCGVCEIdx(const KSBlock* aBlock,
                                                const VCCustomizer* aCustomizer) {
  return state->toC(getMExprLocalCGVCEIdx(aBlock, aCustomizer));
}

// ---------------------------------------------------------------------------------------------
// Net conditions

SymbolicExprId VCService::State::net(const Family& aFamily, const KSBlock* aBlock,
                                     const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(aFamily);
  KeptId& kept = conditionsOf(aBlock).*aFamily.net;
  if (kept == invalidSymbolicExprId) kept = computeNet(aFamily, aBlock, aCustomizer);
  return kept;
}

SymbolicExprId VCService::getMExprNetVVCEIdx(const KSBlock* aBlock,
                                             const VCCustomizer* aCustomizer) {
  return state->net(familyVV, aBlock, aCustomizer);
}
SymbolicExprId VCService::getMExprNetCGVCEIdx(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return state->net(familyCG, aBlock, aCustomizer);
}
SymbolicExprId VCService::getNetSVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return state->net(familyS, aBlock, aCustomizer);
}
SymbolicExprId VCService::getCExprNetCGVCEIdx(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return state->toC(getMExprNetCGVCEIdx(aBlock, aCustomizer));
}

SymbolicExprId VCService::computeMExprNetVVCE(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return state->computeNet(familyVV, aBlock, aCustomizer);
}
SymbolicExprId VCService::computeMExprNetCGVCE(const KSBlock* aBlock,
                                               const VCCustomizer* aCustomizer) {
  return state->computeNet(familyCG, aBlock, aCustomizer);
}
SymbolicExprId VCService::computeNetSVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return state->computeNet(familyS, aBlock, aCustomizer);
}

// The local condition as it enters the net one. The S family neither looks at the kept one nor
// keeps it.
SymbolicExprId VCService::State::localForNet(const Family& aFamily, const KSBlock* aBlock,
                                             const VCCustomizer* aCustomizer) {
  const bool asksAnew = aFamily.selector == familyS.selector;
  return asksAnew ? askLocal(aFamily, aBlock, aCustomizer) : local(aFamily, aBlock, aCustomizer);
}

SymbolicExprId VCService::State::computeNet(const Family& aFamily, const KSBlock* aBlock,
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
void VCService::State::computeNetsAbove(const Family& aFamily, const KSBlock* aBlock,
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

// ---------------------------------------------------------------------------------------------
// Conditions as text and as booleans

std::string VCService::getMExprLocalVVCEString(const KSBlock* aBlock,
                                               const VCCustomizer* aCustomizer) {
  return printMExpr(getMExprLocalVVCEIdx(aBlock, aCustomizer));
}
std::string VCService::getMExprLocalCGVCEString(const KSBlock* aBlock,
                                                const VCCustomizer* aCustomizer) {
  return printMExpr(getMExprLocalCGVCEIdx(aBlock, aCustomizer));
}
std::string VCService::getMExprNetVVCEString(const KSBlock* aBlock,
                                             const VCCustomizer* aCustomizer) {
  return printMExpr(getMExprNetVVCEIdx(aBlock, aCustomizer));
}
std::string VCService::getMExprNetCGVCEString(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return printMExpr(getMExprNetCGVCEIdx(aBlock, aCustomizer));
}
std::string VCService::getCExprLocalCGVCEString(const KSBlock* aBlock,
                                                const VCCustomizer* aCustomizer) {
  return printCExpr(getCExprLocalCGVCEIdx(aBlock, aCustomizer));
}
std::string VCService::getCExprNetCGVCEString(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return printCExpr(getCExprNetCGVCEIdx(aBlock, aCustomizer));
}

bool VCService::getLocalSVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return getBoolean(getLocalSVCEIdx(aBlock, aCustomizer));
}
bool VCService::getNetSVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return getBoolean(getNetSVCEIdx(aBlock, aCustomizer));
}

void VCService::setMExprLocalVVCEString(const KSBlock* aBlock, const std::string& aText) {
  const SymbolicExprId id = simplify(aText);
  state->conditionsOf(aBlock).localVV = id;
}
void VCService::setMExprLocalCGVCEString(const KSBlock* aBlock, const std::string& aText) {
  const SymbolicExprId id = simplify(aText);
  state->conditionsOf(aBlock).localCG = id;
}

// ---------------------------------------------------------------------------------------------
// Algebra and text

SymbolicExprId VCService::State::simplified(SymbolicExprId aId) {
  const auto kept = idResults.find(aId);
  if (kept != idResults.end()) return kept->second;
  std::size_t passes = 0;
  const SymbolicExprId result = simplifier.simplify(aId, passes);
  idResults.emplace(aId, result);
  return result;
}

// The net condition of a block with that local condition. Siblings often have the same one.
SymbolicExprId VCService::State::netBelow(SymbolicExprId aAbove, SymbolicExprId aLocal) {
  // Most blocks have no condition of their own.
  if (aLocal == table.getIdTRUE() && detail::Digests::isSimplified(table, aAbove)) return aAbove;
  const std::uint64_t both = std::uint64_t{aAbove} << 32 | aLocal;
  // What throws leaves an entry that is not known yet.
  SymbolicExprId& result = netResults.try_emplace(both, invalidSymbolicExprId).first->second;
  if (result == invalidSymbolicExprId) result = simplifier.conjunction(aLocal, aAbove);
  return result;
}

SymbolicExprId VCService::AND(SymbolicExprId aLeft, SymbolicExprId aRight) {
  return state->combined<SymbolicAndExpr>(aLeft, aRight);
}
SymbolicExprId VCService::OR(SymbolicExprId aLeft, SymbolicExprId aRight) {
  return state->combined<SymbolicOrExpr>(aLeft, aRight);
}
SymbolicExprId VCService::NOT(SymbolicExprId aId) { return state->combined<SymbolicNotExpr>(aId); }

bool VCService::getBoolean(SymbolicExprId aId) const { return aId == state->table.getIdTRUE(); }

SymbolicExprId VCService::simplify(const std::string& aText) { return state->simplifyText(aText); }

SymbolicExprId VCService::State::simplifyText(const std::string& aText) {
  if (aText.empty() || aText == "true") return table.getIdTRUE();
  if (aText == "false") return table.getIdFALSE();
  const auto kept = textResults.find(aText);
  if (kept != textResults.end()) return kept->second;
  const SymbolicExprId id = parser(aText);
  if (id == invalidSymbolicExprId) detail::throwParseError(aText);
  const SymbolicExprId result = simplified(id);
  remember(aText, result);
  return result;
}

void VCService::State::remember(const std::string& aText, SymbolicExprId aId) {
  if (aText.size() > maxKeptLength) return;
  if (textResultsLength + aText.size() > maxKeptLength) {
    textResults.clear();
    textResultsLength = 0;
  }
  textResults.emplace(aText, aId);
  textResultsLength += aText.size();
}

std::string VCService::simplifyMExpr(const std::string& aText) {
  return printMExpr(simplify(aText));
}
std::string VCService::simplifyCExpr(const std::string& aText) {
  return printCExpr(simplify(aText));
}

std::string VCService::printMExpr(SymbolicExprId aId) const {
  return getBoolean(aId) ? std::string() : state->printM(aId);
}
std::string VCService::printCExpr(SymbolicExprId aId) const {
  return getBoolean(aId) ? std::string() : state->printC(aId);
}

}  // namespace KS
