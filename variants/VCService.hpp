// The variant conditions of the host's blocks.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "base/SymbolicExprTable.hpp"
#include "host/KSPlatform.hpp"
#include "variants/VCCustomizer.hpp"

namespace KS {

namespace detail {
class ConditionStore;
}

/// Answers with the local and the net condition of a block in three families: VV, CG and S. A net
/// condition is the conjunction of the local conditions of the block and of all that enclose it.
/// All conditions live in one table that the service owns, so their ids can be combined. Conditions
/// are simplified and kept per block; the table and the cache only grow. A service is used by one
/// thread at a time; services on different threads have nothing to do with each other.
///
///     VCService& service = *VCService::getInstance();
///     std::string net = service.getCExprNetCGVCEString(block, &customizer);
///
/// Every query of a block's condition throws
/// - the host's diagnostic "Kestrin:Variants" / "InlineVarCondExprParseError" with the text as its
///   argument for a text that is not an expression,
/// - `std::invalid_argument` where it has to ask a customizer and the customizer is null,
/// - `std::runtime_error` for a block that stands among its own ancestors, or where customizers
///   query the service from within their answers more than `maxCustomizerDepth` times over,
/// - `std::length_error` where it writes a condition longer than
///   `SymbolicExprPrinter::maxTextLength` (what it answers as text, and every local CG condition
///   that it asks the customizer for), or where simplification would have to write out too much,
/// - whatever the customizer throws.
/// What was being computed then stays uncomputed, so a later query tries again. A customizer may
/// itself query the service.
class KS_API VCService {
 public:
  /// How many calls of customizers a service may have open at once, each made from within the one
  /// before. A thread with 512 KB of stack has room for all of them, and for the most deeply nested
  /// text as the last answer, where no answer takes more than 2 KB of stack itself.
  static constexpr std::size_t maxCustomizerDepth = 100;

  /// A service of its own, beside the process-wide one.
  VCService();
  ~VCService();
  VCService(const VCService&) = delete;
  VCService& operator=(const VCService&) = delete;

  /// The process-wide service, made on first use. Like every service it is for one thread at a
  /// time; so are this function and `clean`.
  static VCService* getInstance();
  /// Destroys the process-wide service, if there is one, with all ids that it gave out. Throws
  /// `std::logic_error`, and changes nothing, while that service is asking a customizer.
  static void clean();

  /// The local VV condition; "true" for no block. Asks the customizer once.
  SymbolicExprId getMExprLocalVVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The local CG condition; "true" for no block. Asks the customizer, simplifies its text and
  /// writes it on every query, the first one included, so that a text that no longer parses and a
  /// condition that is too long to be written are reported, but the first answer stays.
  SymbolicExprId getMExprLocalCGVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The net VV condition; "true" for no block.
  SymbolicExprId getMExprNetVVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The net CG condition; "true" for no block.
  SymbolicExprId getMExprNetCGVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The local S condition; "false" for no block, unlike in the other families.
  SymbolicExprId getLocalSVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The net S condition; "false" for no block, unlike in the other families.
  SymbolicExprId getNetSVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer);

  /// The net VV condition, computed anew from the local one and the parent's net one. Does not keep
  /// the result, but does keep those of the ancestors. No block has what the getter gives.
  SymbolicExprId computeMExprNetVVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The same for the CG family.
  SymbolicExprId computeMExprNetCGVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The same for the S family; the block's local text is asked for anew.
  SymbolicExprId computeNetSVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer);

  /// The local CG condition with functions of M syntax turned into operators of C syntax.
  SymbolicExprId getCExprLocalCGVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The net CG condition with functions of M syntax turned into operators of C syntax.
  SymbolicExprId getCExprNetCGVCEIdx(const KSBlock* aBlock, const VCCustomizer* aCustomizer);

  // The conditions as text, empty for "true": in M syntax, or in C syntax after conversion.
  /// The text of `getMExprLocalVVCEIdx`.
  std::string getMExprLocalVVCEString(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The text of `getMExprLocalCGVCEIdx`.
  std::string getMExprLocalCGVCEString(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The text of `getMExprNetVVCEIdx`.
  std::string getMExprNetVVCEString(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The text of `getMExprNetCGVCEIdx`.
  std::string getMExprNetCGVCEString(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The text of `getCExprLocalCGVCEIdx`.
  std::string getCExprLocalCGVCEString(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// The text of `getCExprNetCGVCEIdx`.
  std::string getCExprNetCGVCEString(const KSBlock* aBlock, const VCCustomizer* aCustomizer);

  /// Whether the local S condition is "true".
  bool getLocalSVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer);
  /// Whether the net S condition is "true".
  bool getNetSVCE(const KSBlock* aBlock, const VCCustomizer* aCustomizer);

  /// Gives the block a local VV condition in place of the customizer's. Net conditions that were
  /// computed before stay as they are. Throws the diagnostic for a text that does not parse.
  void setMExprLocalVVCEString(const KSBlock* aBlock, const std::string& aText);
  /// The same for the local CG condition.
  void setMExprLocalCGVCEString(const KSBlock* aBlock, const std::string& aText);

  /// The simplified conjunction. Throws `std::out_of_range` for an id that is not the service's.
  SymbolicExprId AND(SymbolicExprId aLeft, SymbolicExprId aRight);
  /// The simplified disjunction; throws like `AND`.
  SymbolicExprId OR(SymbolicExprId aLeft, SymbolicExprId aRight);
  /// The simplified negation; throws like `AND`.
  SymbolicExprId NOT(SymbolicExprId aId);
  /// Whether the id is that of "true". What is true without being that symbol gives false.
  bool getBoolean(SymbolicExprId aId) const;

  /// The simplified condition that a text spells in M syntax; the empty text is "true". Throws the
  /// diagnostic for a text that does not parse.
  SymbolicExprId simplify(const std::string& aText);
  /// The simplified condition as text in M syntax, empty for "true". Throws like `simplify`, and
  /// `std::length_error` for a result longer than `SymbolicExprPrinter::maxTextLength`.
  std::string simplifyMExpr(const std::string& aText);
  /// The same with the operators of C syntax; functions stay functions. Throws likewise.
  std::string simplifyCExpr(const std::string& aText);

  /// The text in M syntax, empty for "true". Throws `std::out_of_range` for an id that is not the
  /// service's, and `std::length_error` for a text longer than
  /// `SymbolicExprPrinter::maxTextLength`.
  std::string printMExpr(SymbolicExprId aId) const;
  /// The text in C syntax; functions stay functions. Empty for "true"; throws like `printMExpr`.
  std::string printCExpr(SymbolicExprId aId) const;

  /// Makes the block known with nothing computed, unless it is known.
  void initializeConditions(const KSBlock* aBlock);

  /// The table that the ids of all conditions belong to. It lives as long as the service, and grows
  /// with every query that brings something new.
  const SymbolicExprTable& getTable() const;

 private:
  std::unique_ptr<detail::ConditionStore> store;

  static VCService* fInstance;
};

}  // namespace KS
