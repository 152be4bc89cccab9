// What a service of variant conditions owns, and its work.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "variants/VCCustomizer.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace KS::detail {

/// An id in half of the space, or the invalid one: tables hold fewer nodes than 32 bits number.
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

/// What is known of a block; the invalid id where it has not been computed.
struct VariantConditions {
  KeptId localVV, localCG, netVV, netCG, localS, netS;
};

/// A family of conditions: what customizers know it by, and where its conditions are kept.
struct Family {
  int selector;
  KeptId VariantConditions::*local;
  KeptId VariantConditions::*net;
};
inline constexpr Family familyVV{1, &VariantConditions::localVV, &VariantConditions::netVV};
inline constexpr Family familyCG{0, &VariantConditions::localCG, &VariantConditions::netCG};
inline constexpr Family familyS{2, &VariantConditions::localS, &VariantConditions::netS};

/// The conditions of the blocks that a service was asked about, in a table of their own. Throws as
/// `VCService` documents it.
class ConditionStore {
 public:
  ConditionStore();

  const SymbolicExprTable& getTable() const { return table; }
  /// Whether a customizer is being asked.
  bool isAsking() const { return openCalls != 0; }

  /// What is known of a block, which becomes known. Stays where it is.
  VariantConditions& conditionsOf(const KSBlock* aBlock);
  /// The block's own condition.
  SymbolicExprId local(const Family& aFamily, const KSBlock* aBlock,
                       const VCCustomizer* aCustomizer);
  /// The block's net condition.
  SymbolicExprId net(const Family& aFamily, const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The block's net condition, computed anew and not kept.
  SymbolicExprId computeNet(const Family& aFamily, const KSBlock* aBlock,
                            const VCCustomizer* aCustomizer);
  /// The condition with the operators of C syntax.
  SymbolicExprId toCSyntax(SymbolicExprId aId) const { return toC(aId); }

  /// The simplified condition that a text spells.
  SymbolicExprId simplify(const std::string& aText);
  /// The simplified operation on these operands. They are looked at first, so that an unknown id
  /// leaves no node behind that uses it.
  template <class Operation, class... Ids>
  SymbolicExprId combined(Ids... aIds) {
    (table.get(aIds), ...);
    return simplified(intern<Operation>(table, aIds...));
  }

  /// The text of a condition, empty for "true".
  std::string printed(SymbolicExprId aId, bool aMSyntax) const {
    if (aId == table.getIdTRUE()) return std::string();
    return aMSyntax ? printM(aId) : printC(aId);
  }

 private:
  class CustomizerCall;

  SymbolicExprId ofNoBlock(const Family& aFamily) const;
  SymbolicExprId askLocal(const Family& aFamily, const KSBlock* aBlock,
                          const VCCustomizer* aCustomizer);
  const KSBlock* askParent(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  SymbolicExprId localForNet(const Family& aFamily, const KSBlock* aBlock,
                             const VCCustomizer* aCustomizer);
  void computeNetsAbove(const Family& aFamily, const KSBlock* aBlock, const KSBlock* aParent,
                        const VCCustomizer* aCustomizer);
  SymbolicExprId netBelow(SymbolicExprId aAbove, SymbolicExprId aLocal);
  SymbolicExprId simplified(SymbolicExprId aId);
  void remember(const std::string& aText, SymbolicExprId aId);

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
  boost::unordered_flat_map<std::uint32_t, KeptId> idResults;
  // Net conditions, each in the one place that the condition above and the local one choose; a
  // later one takes the place of an earlier one. As many places as conditions came, within a limit.
  struct NetResult {
    KeptId above, local, net;
  };
  NetResult& netPlace(SymbolicExprId aAbove, SymbolicExprId aLocal) {
    const std::uint32_t hash = Digests::indexHash(std::uint64_t{aAbove} << 32 | aLocal);
    return netResults[hash & (netResults.size() - 1)];  // a power of 2
  }
  void keepNet(SymbolicExprId aAbove, SymbolicExprId aLocal, SymbolicExprId aNet);
  std::vector<NetResult> netResults = std::vector<NetResult>(16);
  std::size_t numNets = 0;
};

}  // namespace KS::detail
