// What evaluation throws.
#pragma once

#include <stdexcept>
#include <string>

#include "host/KSPlatform.hpp"

namespace KS {

/// An expression has no value: a symbol that is unbound or bound to itself, a call or a member
/// access as an operand, a list inside a list, operands of different lengths. The message says
/// which.
class KS_API SymbolicExprEvalError : public std::runtime_error {
 public:
  /// Says what has no value.
  explicit SymbolicExprEvalError(const std::string& aMessage);
  ~SymbolicExprEvalError() override;
};

}  // namespace KS
