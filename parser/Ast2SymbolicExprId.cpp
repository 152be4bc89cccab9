#include "parser/Ast2SymbolicExprId.hpp"

#include "parser/detail/Steps.hpp"

namespace KS::Parser {

Ast2SymbolicExprId::Ast2SymbolicExprId(SymbolicExprTable& aTable, bool aCSyntax)
    : table(aTable), cSyntax(aCSyntax) {}

SymbolicExprId Ast2SymbolicExprId::operator()(const expression_ast& aTree) const {
  detail::Steps steps;
  steps.flatten(aTree);
  return steps.intern(table, cSyntax);
}

// An alternative converts like the tree that holds it.
SymbolicExprId Ast2SymbolicExprId::operator()(const nil&) const { return invalidSymbolicExprId; }
SymbolicExprId Ast2SymbolicExprId::operator()(int aValue) const {
  return (*this)(expression_ast(aValue));
}
SymbolicExprId Ast2SymbolicExprId::operator()(double aValue) const {
  return (*this)(expression_ast(aValue));
}
SymbolicExprId Ast2SymbolicExprId::operator()(const variable& aVariable) const {
  return (*this)(expression_ast(aVariable));
}
SymbolicExprId Ast2SymbolicExprId::operator()(const std::vector<expression_ast>& aElements) const {
  return (*this)(expression_ast(aElements));
}
SymbolicExprId Ast2SymbolicExprId::operator()(const binary_op& aOperation) const {
  return (*this)(expression_ast(aOperation));
}
SymbolicExprId Ast2SymbolicExprId::operator()(const unary_op& aOperation) const {
  return (*this)(expression_ast(aOperation));
}

void Ast2SymbolicExprId::convert2SymbolicExprIdVector(const std::vector<expression_ast>& in,
                                                      std::vector<SymbolicExprId>& out) const {
  for (const expression_ast& element : in) out.push_back((*this)(element));
}

}  // namespace KS::Parser
