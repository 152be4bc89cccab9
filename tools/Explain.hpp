// What simplification does to an expression, told line by line.
#pragma once

#include <cstddef>
#include <string>

#include "tools/Commands.hpp"

namespace ksexpr {

/// The expression as typed, what values leave of it where there are any, the result of every pass
/// with what changed in it, and the answer as the last line: the text of the last result, with the
/// number of passes and a tab before it where the request asks for that.
///
/// What changed is found by comparing operands of the outermost conjunction or disjunction: one
/// that changes by itself, one that another makes needless, and two that become something else.
/// What can't be told so is only named, or not told at all where there are many operands.
std::string explainSimplification(const Expression& aExpression, KS::SymbolicExprId aWithValues);

}  // namespace ksexpr
