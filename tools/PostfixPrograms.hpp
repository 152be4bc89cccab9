// Conditions as programs for the machine of a page, which computes with three truth values.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "tools/TypedModel.hpp"

namespace ksexpr {

/// Programs in postfix notation. A word pushes a value or replaces the values on top by one:
///
///     v3     the value of the model's variable 3, from 0
///     i7     the int 7 (true and false are 1 and 0)
///     d0.5   the double 0.5; names of constants are doubles, too
///     r12    once more the result of operator 12, counted over all programs from 0
///     [3     the list of 3 values
///     neg    the negation of a number; other operators are spelled as C spells them
///
/// So what conditions have in common is computed once.
class PostfixPrograms {
 public:
  /// Borrows the model.
  PostfixPrograms(const TypedModel& aModel, const std::vector<KS::SymbolicExprId>& aRoots);

  /// The program of a root, which needs the results of those before it.
  const std::string& ofRoot(std::size_t aIndex) const { return programs[aIndex]; }

  /// The texts of what the roots' outermost conjunctions and disjunctions connect, by the number of
  /// the operator that computes it, as a JSON object. Variables are not among them.
  nlohmann::ordered_json operandTexts() const;

 private:
  void write(std::size_t aRoot, std::string& aText);
  std::string leaf(const KS::SymbolicExprProgram::Step& aStep) const;
  KS::SymbolicOp opOf(std::size_t aStep) const;

  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  const TypedModel& model;
  const KS::SymbolicExprProgram::Listing listing;
  std::vector<std::size_t> results;  // by step: the number of the operator, or `none`
  std::size_t numResults = 0;
  std::vector<std::string> programs;
};

}  // namespace ksexpr
