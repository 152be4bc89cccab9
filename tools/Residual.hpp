// What is left of conditions when values are put in place.
#pragma once

#include <string>
#include <unordered_map>

#include "eval/SymbolicExprBindings.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tools/TypedModel.hpp"
#include "xform/SymbolicExprSubstitute.hpp"

namespace ksexpr {

/// The net conditions of blocks with values in place, simplified as those without are.
class Residuals {
 public:
  /// Borrows both.
  Residuals(const TypedModel& aModel, const KS::SymbolicExprBindings& aBindings, bool aCForm);
  /// The text of a block that is available. Throws `std::length_error` where simplification would
  /// have to write out too much.
  const std::string& text(const KSBlock& aBlock);

 private:
  KS::SymbolicExprId net(const KSBlock& aBlock);
  KS::SymbolicExprId local(KS::SymbolicExprId aCondition);

  const TypedModel& model;
  const KS::SymbolicExprBindings& bindings;
  const bool cForm;
  KS::SymbolicExprSubstitute substitute;
  KS::SymbolicExprSimplify simplify;
  std::unordered_map<KS::SymbolicExprId, KS::SymbolicExprId> locals;  // by condition as typed
  std::unordered_map<const KSBlock*, KS::SymbolicExprId> nets;
  std::unordered_map<KS::SymbolicExprId, std::string> texts;  // by simplified net
};

}  // namespace ksexpr
