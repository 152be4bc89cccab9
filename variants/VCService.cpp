#include "variants/VCService.hpp"

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <stdexcept>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Intern.hpp"
#include "variants/detail/InlineVarCondExprParseError.hpp"

namespace KS {

namespace {

constexpr std::size_t maxPasses = 10;

// The characters of texts whose simplified form is kept. Texts that only differ in blanks add
// nothing to the table, so the table's size is no bound for them.
constexpr std::size_t maxKeptLength = std::size_t{64} << 20;

}  // namespace

VCService* VCService::fInstance = nullptr;

struct VCService::Family {
  int selector;
  Field local;
  Field net;
};
const VCService::Family VCService::familyVV{1, &VariantConditions::localVV,
                                            &VariantConditions::netVV};
const VCService::Family VCService::familyCG{0, &VariantConditions::localCG,
                                            &VariantConditions::netCG};
const VCService::Family VCService::familyS{2, &VariantConditions::localS, &VariantConditions::netS};

// Stands while a customizer is being asked, in any service.
class VCService::CustomizerCall {
 public:
  explicit CustomizerCall(const VCCustomizer* aCustomizer) {
    if (aCustomizer == nullptr) {
      throw std::invalid_argument(
          "KS::VCService: a condition is needed and the customizer is null");
    }
    if (open == maxCustomizerDepth) {
      throw std::runtime_error("KS::VCService: customizers query the service from within " +
                               std::to_string(open) + " answers");
    }
    ++open;
  }
  ~CustomizerCall() { --open; }
  CustomizerCall(const CustomizerCall&) = delete;
  CustomizerCall& operator=(const CustomizerCall&) = delete;

  static bool isOpen() { return open != 0; }

 private:
  inline static std::size_t open = 0;
};

// ---------------------------------------------------------------------------------------------
// Lifetime

VCService::VCService()
    : parser(table, false),
      simplifier(table, maxPasses),
      toC(table),
      printM(table, true, true, true),
      printC(table, false, true, true) {
  table.addBoolSymbols();
}
VCService::~VCService() = default;

VCService* VCService::getInstance() {
  if (fInstance == nullptr) fInstance = new VCService;
  return fInstance;
}

void VCService::clean() {
  if (CustomizerCall::isOpen()) {
    throw std::logic_error("KS::VCService::clean: called from within a customizer");
  }
  delete fInstance;
  fInstance = nullptr;
}

// ---------------------------------------------------------------------------------------------
// The cache

void VCService::initializeConditions(const KSBlock* aBlock) { conditionsOf(aBlock); }

VCService::VariantConditions& VCService::conditionsOf(const KSBlock* aBlock) {
  const auto known = conditions.find(aBlock);
  if (known != conditions.end()) return *known->second;
  VariantConditions& fresh = allConditions.emplace_back();
  conditions.emplace(aBlock, &fresh);
  return fresh;
}

// ---------------------------------------------------------------------------------------------
// Conditions by id

SymbolicExprId VCService::ofNoBlock(const Family& aFamily) const {
  return aFamily.selector == familyS.selector ? table.getIdFALSE() : table.getIdTRUE();
}

SymbolicExprId VCService::askLocal(const Family& aFamily, const KSBlock* aBlock,
                                   const VCCustomizer* aCustomizer) {
  std::string text;
  {
    const CustomizerCall call(aCustomizer);
    text = aCustomizer->getLocalCondition(aBlock, aFamily.selector);
  }
  return simplify(text);
}

SymbolicExprId VCService::local(const Family& aFamily, const KSBlock* aBlock,
                                VariantConditions& aConditions, const VCCustomizer* aCustomizer) {
  KeptId& id = aConditions.*aFamily.local;
  if (id == invalidSymbolicExprId) id = askLocal(aFamily, aBlock, aCustomizer);
  return id;
}

SymbolicExprId VCService::getMExprLocalVVCEIdx(const KSBlock* aBlock,
                                               const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(familyVV);
  return local(familyVV, aBlock, conditionsOf(aBlock), aCustomizer);
}
SymbolicExprId VCService::getLocalSVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(familyS);
  return local(familyS, aBlock, conditionsOf(aBlock), aCustomizer);
}

SymbolicExprId VCService::getMExprLocalCGVCEIdx(const KSBlock* aBlock,
                                                const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(familyCG);
  return localCG(aBlock, conditionsOf(aBlock), aCustomizer);
}

SymbolicExprId VCService::localCG(const KSBlock* aBlock, VariantConditions& aConditions,
                                  const VCCustomizer* aCustomizer) {
  // Hosts rely on being asked every time, and on what a text that went bad or a condition that
  // cannot be written throws; the answer itself is the first one.
  const SymbolicExprId known = aConditions.localCG;
  if (known != invalidSymbolicExprId) printM(known);
  const SymbolicExprId asked = askLocal(familyCG, aBlock, aCustomizer);
  if (asked != known) printM(asked);
  if (known != invalidSymbolicExprId) return known;
  aConditions.localCG = asked;
  return asked;
}

SymbolicExprId VCService::net(const Family& aFamily, const KSBlock* aBlock,
                              const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(aFamily);
  VariantConditions& block = conditionsOf(aBlock);
  KeptId& id = block.*aFamily.net;
  if (id == invalidSymbolicExprId) id = computeNet(aFamily, aBlock, block, aCustomizer);
  return id;
}

SymbolicExprId VCService::getMExprNetVVCEIdx(const KSBlock* aBlock,
                                             const VCCustomizer* aCustomizer) {
  return net(familyVV, aBlock, aCustomizer);
}
SymbolicExprId VCService::getMExprNetCGVCEIdx(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return net(familyCG, aBlock, aCustomizer);
}
SymbolicExprId VCService::getNetSVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return net(familyS, aBlock, aCustomizer);
}

SymbolicExprId VCService::computeMExprNetVVCE(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(familyVV);
  return computeNet(familyVV, aBlock, conditionsOf(aBlock), aCustomizer);
}
SymbolicExprId VCService::computeMExprNetCGVCE(const KSBlock* aBlock,
                                               const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(familyCG);
  return computeNet(familyCG, aBlock, conditionsOf(aBlock), aCustomizer);
}
SymbolicExprId VCService::computeNetSVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  if (aBlock == nullptr) return ofNoBlock(familyS);
  return computeNet(familyS, aBlock, conditionsOf(aBlock), aCustomizer);
}

// The local condition as it enters the net one. The S family neither looks at the kept one nor
// keeps it.
SymbolicExprId VCService::localForNet(const Family& aFamily, const KSBlock* aBlock,
                                      VariantConditions& aConditions,
                                      const VCCustomizer* aCustomizer) {
  switch (aFamily.selector) {
    case 0: return localCG(aBlock, aConditions, aCustomizer);
    case 2: return askLocal(aFamily, aBlock, aCustomizer);
    default: return local(aFamily, aBlock, aConditions, aCustomizer);
  }
}

const KSBlock* VCService::parentOf(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  const CustomizerCall call(aCustomizer);
  return aCustomizer->getParentBlock(aBlock);
}

SymbolicExprId VCService::computeNet(const Family& aFamily, const KSBlock* aBlock,
                                     VariantConditions& aConditions,
                                     const VCCustomizer* aCustomizer) {
  const SymbolicExprId own = localForNet(aFamily, aBlock, aConditions, aCustomizer);
  const KSBlock* const parent = parentOf(aBlock, aCustomizer);
  if (parent == nullptr) return own;
  KeptId& above = conditionsOf(parent).*aFamily.net;
  if (above == invalidSymbolicExprId || parent == aBlock) {
    computeNetsAbove(aFamily, aBlock, parent, aCustomizer);
  }
  return netBelow(above, own);
}

// Computes and keeps the net conditions of a block's parent and of what encloses it.
void VCService::computeNetsAbove(const Family& aFamily, const KSBlock* aBlock,
                                 const KSBlock* aParent, const VCCustomizer* aCustomizer) {
  struct Step {
    VariantConditions* conditions;
    SymbolicExprId local;
  };
  boost::container::small_vector<Step, 32> path;
  boost::unordered_flat_set<const KSBlock*> blocks{aBlock};

  // Upwards: each block's own condition, then its parent, until there is none or its net condition
  // is known.
  SymbolicExprId above = invalidSymbolicExprId;
  for (const KSBlock* block = aParent; block != nullptr; block = parentOf(block, aCustomizer)) {
    if (!blocks.insert(block).second) {
      throw std::runtime_error("KS::VCService: the parents of a block lead back to the block");
    }
    VariantConditions& known = conditionsOf(block);
    above = known.*aFamily.net;
    if (above != invalidSymbolicExprId) break;
    path.push_back({&known, localForNet(aFamily, block, known, aCustomizer)});
  }

  // Downwards: every net condition from the one above it.
  for (auto step = path.rbegin(); step != path.rend(); ++step) {
    above = above == invalidSymbolicExprId ? step->local : netBelow(above, step->local);
    step->conditions->*aFamily.net = above;
  }
}

SymbolicExprId VCService::getCExprLocalCGVCEIdx(const KSBlock* aBlock,
                                                const VCCustomizer* aCustomizer) {
  return toC(getMExprLocalCGVCEIdx(aBlock, aCustomizer));
}
SymbolicExprId VCService::getCExprNetCGVCEIdx(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return toC(getMExprNetCGVCEIdx(aBlock, aCustomizer));
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
  conditionsOf(aBlock).localVV = id;
}
void VCService::setMExprLocalCGVCEString(const KSBlock* aBlock, const std::string& aText) {
  const SymbolicExprId id = simplify(aText);
  conditionsOf(aBlock).localCG = id;
}

// ---------------------------------------------------------------------------------------------
// Algebra and text

SymbolicExprId VCService::simplified(SymbolicExprId aId) {
  const auto kept = idResults.find(aId);
  if (kept != idResults.end()) return kept->second;
  std::size_t passes = 0;
  const SymbolicExprId result = simplifier.simplify(aId, passes);
  idResults.emplace(aId, result);
  return result;
}

// The net condition of a block with that local condition. Siblings often have the same one.
SymbolicExprId VCService::netBelow(SymbolicExprId aAbove, SymbolicExprId aLocal) {
  // Most blocks have no condition of their own.
  if (aLocal == table.getIdTRUE()) return simplifier.conjunction(aLocal, aAbove);
  const std::uint64_t both = std::uint64_t{aAbove} << 32 | aLocal;
  // What throws leaves an entry that is not known yet.
  SymbolicExprId& result = netResults.try_emplace(both, invalidSymbolicExprId).first->second;
  if (result == invalidSymbolicExprId) result = simplifier.conjunction(aLocal, aAbove);
  return result;
}

// The operands are looked at first, so that an unknown id leaves no node behind that uses it.
SymbolicExprId VCService::AND(SymbolicExprId aLeft, SymbolicExprId aRight) {
  table.get(aLeft);
  table.get(aRight);
  return simplified(detail::intern<SymbolicAndExpr>(table, aLeft, aRight));
}
SymbolicExprId VCService::OR(SymbolicExprId aLeft, SymbolicExprId aRight) {
  table.get(aLeft);
  table.get(aRight);
  return simplified(detail::intern<SymbolicOrExpr>(table, aLeft, aRight));
}
SymbolicExprId VCService::NOT(SymbolicExprId aId) {
  table.get(aId);
  return simplified(detail::intern<SymbolicNotExpr>(table, aId));
}

bool VCService::getBoolean(SymbolicExprId aId) const { return aId == table.getIdTRUE(); }

SymbolicExprId VCService::simplify(const std::string& aText) {
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

void VCService::remember(const std::string& aText, SymbolicExprId aId) {
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
  return getBoolean(aId) ? std::string() : printM(aId);
}
std::string VCService::printCExpr(SymbolicExprId aId) const {
  return getBoolean(aId) ? std::string() : printC(aId);
}

}  // namespace KS
