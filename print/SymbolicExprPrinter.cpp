#include "print/SymbolicExprPrinter.hpp"

#include <algorithm>

#include "print/detail/TextWriter.hpp"

namespace KS {

std::string SymbolicExprPrinter::Predicate::operator()(const SymbolicString& aNode) const {
  return aNode.getText();
}
SymbolicExprPrinter::Predicate::~Predicate() = default;
SymbolicExprPrinter::Predicate& SymbolicExprPrinter::Predicate::instance() {
  // Never destroyed: hosts print in destructors of their own statics, too.
  static Predicate& unchanged = *new Predicate;
  return unchanged;
}

SymbolicExprPrinter::SymbolicExprPrinter(const SymbolicExprTable& aTable,
                                         const Predicate& aPredicate, bool aMSyntax,
                                         bool aSpaceLogicalOps, bool aPreprocessor)
    : table(aTable),
      predicate(&aPredicate),
      mSyntax(aMSyntax),
      spaceLogicalOps(aSpaceLogicalOps),
      preprocessor(aPreprocessor) {}
SymbolicExprPrinter::SymbolicExprPrinter(const SymbolicExprTable& aTable, bool aMSyntax,
                                         bool aSpaceLogicalOps, bool aPreprocessor)
    : SymbolicExprPrinter(aTable, Predicate::instance(), aMSyntax, aSpaceLogicalOps,
                          aPreprocessor) {}

std::string SymbolicExprPrinter::operator()(SymbolicExprId aId) const {
  return detail::writeText(table, *table.get(aId), *predicate,
                           {mSyntax, spaceLogicalOps, preprocessor}, maxLength);
}

std::string SymbolicExprPrinter::operator()(const SymbolicExpr& aNode) const {
  return detail::writeText(table, aNode, *predicate, {mSyntax, spaceLogicalOps, false}, maxLength);
}

void SymbolicExprPrinter::setMaxTextLength(std::size_t aMaxLength) {
  maxLength = std::min(aMaxLength, std::string().max_size());
}

}  // namespace KS
