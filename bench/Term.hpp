// Expression texts as plain trees, from which they are spelled for other engines.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace KSBench {

/// A node of an expression in C spelling.
struct Term {
  std::string op;            ///< The operator, or the symbol or number of a leaf.
  std::vector<Term> inputs;  ///< None for a leaf, one or two for an operator.
};

/// Reads a text of symbols, whole numbers, brackets and C's arithmetic, relational and logical
/// operators. Throws `std::invalid_argument` for any other text. Recursive: meant for short texts.
Term readTerm(const std::string& aText);

/// Adds the names of the term's symbols.
void addSymbols(const Term& aTerm, std::set<std::string>& aNames);

/// Whether the operator gives a truth value: a relation or a logical operator.
bool isLogical(const std::string& aOp);

/// C spelling in which a prefix operator within another operator stands in brackets: what GiNaC and
/// muParser, which do not know prefix operators after operators, read as C does.
std::string plainText(const Term& aTerm);

/// The term in SMT-LIB as a number; a truth value is 1 or 0.
std::string smtNumber(const Term& aTerm);

/// The term in SMT-LIB as a truth value; a number is true unless it is 0.
std::string smtTruth(const Term& aTerm);

/// The number, 0 to 9, that `aName` has in the binding number `aBinding`.
int boundValue(const std::string& aName, int aBinding);

}  // namespace KSBench
