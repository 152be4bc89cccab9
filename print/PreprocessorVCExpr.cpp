#include "print/PreprocessorVCExpr.hpp"

#include "print/detail/Operators.hpp"

namespace KS {

PreprocessorVCExpr::~PreprocessorVCExpr() = default;

void PreprocessorVCExpr::visit(const SymbolicString& aExpr) {
  const std::string& name = aExpr.getText();
  if (isMSyntax() || (name != "false" && name != "true")) return pushName(aExpr);
  askName(aExpr);
  pushLeaf(name == "true" ? "1" : "0");
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
