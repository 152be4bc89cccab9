// Writing an expression as text from left to right.
#pragma once

#include <string>

#include "base/KSSymbolicExpr.hpp"
#include "print/SymbolicExprPrinter.hpp"

namespace KS::detail {

/// The choices of a printer.
struct TextLayout {
  bool mSyntax;
  bool spaceLogicalOps;
  bool preprocessor;
};

/// The text that a renderer (`StringifySymbolicExpr`, or `PreprocessorVCExpr` for the preprocessor
/// form) gives for the node, in a third of its time: the strength of an operand follows from its
/// kind, so whatever stands before it is known before it is entered, and nothing is ever inserted.
/// Throws `std::out_of_range` where an input is not an older node of the table, and
/// `std::length_error` where the text would exceed `SymbolicExprPrinter::maxTextLength`.
std::string writeText(const SymbolicExprTable& aTable, const SymbolicExpr& aRoot,
                      const SymbolicExprPrinter::Predicate& aPredicate, TextLayout aLayout);

}  // namespace KS::detail
