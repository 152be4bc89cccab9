#include "print/PreprocessorVCExpr.hpp"

#include "print/detail/Operators.hpp"

namespace KS {

PreprocessorVCExpr::~PreprocessorVCExpr() = default;

void PreprocessorVCExpr::visit(const SymbolicString& aExpr) {
  if (!isMSyntax() && aExpr.getText() == "false") {
    pushLeaf("0");
  } else if (!isMSyntax() && aExpr.getText() == "true") {
    pushLeaf("1");
  } else {
    pushName(aExpr);
  }
}

void PreprocessorVCExpr::visit(const SymbolicMemberValue& aExpr) {
  pushLeaf(aExpr.getMember());
  appendBinaryOp(isMSyntax() ? "." : "_", detail::postfixPrecedence, 0);
}

void PreprocessorVCExpr::appendBinaryOp(const char* aOp, unsigned aPrecedence,
                                        unsigned aRightToLeft) {
  const std::string_view op = given(aOp);
  const auto wraps = [&](unsigned aOperand, bool aEqualWraps) {
    // Compilers warn about "&&" inside "||" without parentheses, so they are always there.
    return aOperand > aPrecedence || (aOperand == aPrecedence && aEqualWraps) ||
           (op == "||" && aOperand + 1 == aPrecedence);
  };
  const bool wrapLeft = wraps(precedenceAt(1), aRightToLeft == 1);
  const bool wrapRight = wraps(precedenceAt(0), aRightToLeft == 0);
  join(op, op != "_" && op != ".", wrapLeft, wrapRight, aPrecedence);
}

}  // namespace KS
