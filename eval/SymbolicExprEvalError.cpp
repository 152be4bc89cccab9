#include "eval/SymbolicExprEvalError.hpp"

namespace KS {

SymbolicExprEvalError::SymbolicExprEvalError(const std::string& aMessage)
    : std::runtime_error(aMessage) {}
SymbolicExprEvalError::~SymbolicExprEvalError() = default;

}  // namespace KS
