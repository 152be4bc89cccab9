// From a condition to its compact form.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <vector>

#include "compact/SymbolicExprCompact.hpp"
#include "compact/detail/ExpressionSizes.hpp"
#include "compact/detail/ReadOnce.hpp"
#include "compact/detail/SimplifiedRelations.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "simplify/detail/TextOrder.hpp"

namespace KS::detail {

/// What `SymbolicExprCompact` promises.
class Compactor {
 public:
  Compactor(SymbolicExprTable& aTable, SymbolicExprCompact::Implies aImplies);

  SymbolicExprId compact(SymbolicExprId aNet);
  SymbolicExprId compact(SymbolicExprId aNet, const std::vector<SymbolicExprId>& aPath);
  std::size_t countLiterals(SymbolicExprId aId) { return sizes(aId).literals; }

 private:
  // An expression with its length: fewer literals are shorter, then less text between them.
  struct Form {
    SymbolicExprId id;
    std::size_t literals;
    std::size_t length;
    bool isShortest = false;  // in literals, of all equivalent expressions
    bool isShorterThan(const Form& aOther) const {
      return literals != aOther.literals ? literals < aOther.literals : length < aOther.length;
    }
  };

  void addBoolSymbols();
  bool isCompact(SymbolicExprId aId);
  Form rewritten(SymbolicExprId aId);
  Form pathForm(const std::vector<SymbolicExprId>& aPath);
  Form rewrite(const std::vector<SymbolicExprId>& aConjuncts);
  Form simplifiedOrTyped(SymbolicExprId aId);
  SymbolicExprId withoutImplied(SymbolicExprId aId);

  SymbolicExprTable& table;
  SymbolicExprCompact::Implies implies;
  SymbolicExprSimplify simplify;
  ExpressionSizes sizes;
  SimplifiedRelations relations;
  TextOrder order;
  ReadOnce readOnce;
  // What was made of conditions: alone, as one of a path, and by the callback.
  boost::unordered_flat_map<SymbolicExprId, Form> forms, pathForms;
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> askedForms;
};

}  // namespace KS::detail
