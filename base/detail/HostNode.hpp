// Nodes of classes that a host derives itself.
#pragma once

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprVisitor.hpp"

namespace KS::detail {

/// Throws `std::invalid_argument` for a node that is not what its kind says: one of a kind whose
/// class holds more than inputs must be of that class, any other must have as many inputs as its
/// kind has.
void checkShape(const SymbolicExpr& aExpr);

/// Shows a visitor a node of a host's own class as one of the library's class of its kind over the
/// same inputs. Throws like `checkShape`.
void visitHostNode(const SymbolicExpr& aExpr, SymbolicExprVisitor& aVisitor);

}  // namespace KS::detail
