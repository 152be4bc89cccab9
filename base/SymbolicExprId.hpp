// The id by which every expression is known.
#pragma once

#include <cstddef>

/// The dense index of a node in the table that issued it, starting at 0.
using SymbolicExprId = std::size_t;

namespace KS {

using ::SymbolicExprId;

/// No such expression: a lookup miss, a failed parse, a visitor without a result (all bits set).
inline constexpr SymbolicExprId invalidSymbolicExprId = static_cast<SymbolicExprId>(-1);

}  // namespace KS
