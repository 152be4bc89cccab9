// Dropping operands that a callback finds implied by what stands around them.
#pragma once

#include <cstddef>
#include <vector>

#include "compact/SymbolicExprCompact.hpp"
#include "compact/detail/FormulaWriter.hpp"
#include "compact/detail/Formulas.hpp"

namespace KS::detail {

/// Asks for every operand of a formula, from the outside in and large ones first, whether the other
/// operands of the conjunctions around it imply it. Of the operands of a disjunction, which are
/// stored negated, those are dropped that way of which the others leave nothing.
class ImpliedOperands {
 public:
  using Implies = SymbolicExprCompact::Implies;

  /// Borrows all of them. The writer writes what is asked about.
  ImpliedOperands(Formulas& aFormulas, FormulaWriter& aWriter, const Implies& aImplies)
      : formulas(aFormulas), writer(aWriter), implies(aImplies) {}

  /// The formula without implied operands. It has no more literals.
  Formula drop(Formula aFormula);

 private:
  // A conjunction on the way in, with operands that are done up to `next`.
  struct Frame {
    Formulas::List operands;
    std::size_t next;
    bool isNegated;
  };

  void enter(Formula aFormula);
  void dropImplied(Formulas::List& aOperands);
  bool isImplied(const Formulas::List& aOthers, Formula aOperand);
  bool ask(Formula aPremise, Formula aConclusion);

  Formulas& formulas;
  FormulaWriter& writer;
  const Implies& implies;
  std::vector<Frame> path;
  std::size_t questions = 0;
  std::size_t literals = 0;  // of all questions
  bool mayAsk = true;
};

}  // namespace KS::detail
