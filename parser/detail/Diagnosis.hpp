// Why a text is not an expression.
#pragma once

#include <optional>
#include <string>

#include "parser/SymbolicExprParser.hpp"

namespace KS::detail {

/// Nothing for a text that parses, else where it stops making sense and what was expected there.
std::optional<SymbolicExprParseError> diagnose(const std::string& aText);

}  // namespace KS::detail
