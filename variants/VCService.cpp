#include "variants/VCService.hpp"

#include <stdexcept>

#include "base/KSSymbolicExpr.hpp"
#include "variants/detail/ConditionStore.hpp"

namespace KS {

using detail::familyCG;
using detail::familyS;
using detail::familyVV;

// ---------------------------------------------------------------------------------------------
// Lifetime

VCService* VCService::fInstance = nullptr;

VCService::VCService() : store(std::make_unique<detail::ConditionStore>()) {}
VCService::~VCService() = default;

VCService* VCService::getInstance() {
  if (fInstance == nullptr) fInstance = new VCService;
  return fInstance;
}

void VCService::clean() {
  if (fInstance != nullptr && fInstance->store->isAsking()) {
    throw std::logic_error("KS::VCService::clean: the service is asking a customizer");
  }
  delete fInstance;
  fInstance = nullptr;
}

const SymbolicExprTable& VCService::getTable() const { return store->getTable(); }

void VCService::initializeConditions(const KSBlock* aBlock) { store->conditionsOf(aBlock); }

// ---------------------------------------------------------------------------------------------
// Conditions by id

SymbolicExprId VCService::getMExprLocalVVCEIdx(const KSBlock* aBlock,
                                               const VCCustomizer* aCustomizer) {
  return store->local(familyVV, aBlock, aCustomizer);
}
SymbolicExprId VCService::getMExprLocalCGVCEIdx(const KSBlock* aBlock,
                                                const VCCustomizer* aCustomizer) {
  return store->local(familyCG, aBlock, aCustomizer);
}
SymbolicExprId VCService::getLocalSVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return store->local(familyS, aBlock, aCustomizer);
}
SymbolicExprId VCService::getMExprNetVVCEIdx(const KSBlock* aBlock,
                                             const VCCustomizer* aCustomizer) {
  return store->net(familyVV, aBlock, aCustomizer);
}
SymbolicExprId VCService::getMExprNetCGVCEIdx(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return store->net(familyCG, aBlock, aCustomizer);
}
SymbolicExprId VCService::getNetSVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return store->net(familyS, aBlock, aCustomizer);
}
SymbolicExprId VCService::computeMExprNetVVCE(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return store->computeNet(familyVV, aBlock, aCustomizer);
}
SymbolicExprId VCService::computeMExprNetCGVCE(const KSBlock* aBlock,
                                               const VCCustomizer* aCustomizer) {
  return store->computeNet(familyCG, aBlock, aCustomizer);
}
SymbolicExprId VCService::computeNetSVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer) {
  return store->computeNet(familyS, aBlock, aCustomizer);
}
SymbolicExprId VCService::getCExprLocalCGVCEIdx(const KSBlock* aBlock,
                                                const VCCustomizer* aCustomizer) {
  return store->toCSyntax(getMExprLocalCGVCEIdx(aBlock, aCustomizer));
}
SymbolicExprId VCService::getCExprNetCGVCEIdx(const KSBlock* aBlock,
                                              const VCCustomizer* aCustomizer) {
  return store->toCSyntax(getMExprNetCGVCEIdx(aBlock, aCustomizer));
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
  store->conditionsOf(aBlock).localVV = id;
}
void VCService::setMExprLocalCGVCEString(const KSBlock* aBlock, const std::string& aText) {
  const SymbolicExprId id = simplify(aText);
  store->conditionsOf(aBlock).localCG = id;
}

// ---------------------------------------------------------------------------------------------
// Algebra and text

SymbolicExprId VCService::AND(SymbolicExprId aLeft, SymbolicExprId aRight) {
  return store->combined<SymbolicAndExpr>(aLeft, aRight);
}
SymbolicExprId VCService::OR(SymbolicExprId aLeft, SymbolicExprId aRight) {
  return store->combined<SymbolicOrExpr>(aLeft, aRight);
}
SymbolicExprId VCService::NOT(SymbolicExprId aId) { return store->combined<SymbolicNotExpr>(aId); }

bool VCService::getBoolean(SymbolicExprId aId) const { return aId == getTable().getIdTRUE(); }

SymbolicExprId VCService::simplify(const std::string& aText) { return store->simplify(aText); }
std::string VCService::simplifyMExpr(const std::string& aText) {
  return printMExpr(simplify(aText));
}
std::string VCService::simplifyCExpr(const std::string& aText) {
  return printCExpr(simplify(aText));
}

std::string VCService::printMExpr(SymbolicExprId aId) const { return store->printed(aId, true); }
std::string VCService::printCExpr(SymbolicExprId aId) const { return store->printed(aId, false); }

}  // namespace KS
