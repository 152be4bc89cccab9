// Operator codes: the kind codes of the node classes as an enumeration.
#pragma once

namespace KS {

/// One enumerator per concrete node class, named like the class without prefix and suffix, with the
/// class's kind code (`SymbolicExpr::getKind`) as value: String = 0, ..., MemberValue = 31.
enum class SymbolicOp : int {
#define KS_KIND(code, Op, Class) Op = code,
#include "base/SymbolicExprKinds.def"
};

}  // namespace KS
