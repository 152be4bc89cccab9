// What texts can name.
#pragma once

#include <string>

namespace ksexpr {

/// Whether the text is a symbol that may name a constant: not "true" or "false".
bool isConstantName(const std::string& aText);

/// Whether the text names a variable: a symbol other than these, or a member ("Site.remote").
bool isVariableName(const std::string& aText);

}  // namespace ksexpr
