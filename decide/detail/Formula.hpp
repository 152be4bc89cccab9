// Conditions as one graph of conjunctions over truths and comparisons of terms.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace KS::Decide::detail {

/// A node of a formula, or its negation: twice the node's index, plus one for the negation.
using Literal = std::uint32_t;
inline constexpr Literal literalTrue = 0;
inline constexpr Literal literalFalse = 1;
inline constexpr Literal invalidLiteral = ~Literal{0};
constexpr Literal negated(Literal aLiteral) { return aLiteral ^ 1U; }
constexpr Literal negatedIf(bool aNegate, Literal aLiteral) {
  return aLiteral ^ Literal { aNegate };
}
constexpr std::uint32_t nodeOf(Literal aLiteral) { return aLiteral >> 1; }
constexpr bool isNegated(Literal aLiteral) { return (aLiteral & 1U) != 0; }
constexpr Literal literalOf(std::uint32_t aNode) { return aNode << 1; }

/// The index of a term.
using TermIndex = std::uint32_t;

/// What conditions compare with each other.
struct Term {
  enum Kind : std::uint8_t {
    Number,    ///< A constant with a value.
    Name,      ///< A constant that is above every number; names are ordered by their text.
    Variable,  ///< A symbol, a member or a call.
    Unknown    ///< An arithmetic expression: what it depends on is not looked at.
  };
  Kind kind = Number;
  bool isInteger = false;  ///< A variable over whole numbers.
  bool isBoolean = false;  ///< A variable that is 0 or 1: it is never compared, its truth is.
  double value = 0;        ///< Of a number.
  /// The range of a variable.
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  std::vector<TermIndex> listed;   ///< The constants that a variable may be, if these are limited.
  Literal domain = literalTrue;    ///< What the range and the list come to.
  Literal isNumber = literalTrue;  ///< Whether it is no NaN; else its order means nothing.
  std::string text;                ///< Of a name.

  bool isConstant() const { return kind <= Name; }
};

/// The order of two constants; that of NaN means nothing.
bool isBelow(const Term& aLeft, const Term& aRight);

/// A node. Inputs are older than their users.
struct FormulaNode {
  enum Kind : std::uint8_t {
    True,   ///< Only the first node.
    Truth,  ///< Whether the term `first` is not 0.
    Less,   ///< Whether the term `first` is less than the term `second`.
    And     ///< Whether the literals `first` and `second` both hold.
  };
  Kind kind;
  std::uint32_t first;
  std::uint32_t second;
};

/// Owns terms and nodes; equal nodes are one. Only grows. Negation costs nothing, a disjunction is
/// a negated conjunction, and every relation is made of "less".
class Formula {
 public:
  Formula();

  const std::vector<Term>& getTerms() const { return terms; }
  const std::vector<FormulaNode>& getNodes() const { return nodes; }
  TermIndex addTerm(Term aTerm);
  TermIndex number(double aValue);
  /// Limits a variable to its range and, unless that is empty, to the constants of a list.
  void setDomain(TermIndex aTerm, std::vector<TermIndex> aListed);

  /// Whether a term is not 0.
  Literal truth(TermIndex aTerm);
  Literal less(TermIndex aLeft, TermIndex aRight);
  Literal equal(TermIndex aLeft, TermIndex aRight);
  Literal conjunction(Literal aLeft, Literal aRight);
  Literal disjunction(Literal aLeft, Literal aRight) {
    return negated(conjunction(negated(aLeft), negated(aRight)));
  }
  /// `aThen` where `aIf` holds, `aElse` where it does not.
  Literal choice(Literal aIf, Literal aThen, Literal aElse) {
    return disjunction(conjunction(aIf, aThen), conjunction(negated(aIf), aElse));
  }

 private:
  struct NodeHash {
    std::size_t operator()(const FormulaNode& aNode) const;
  };
  struct NodeEqual {
    bool operator()(const FormulaNode& aLeft, const FormulaNode& aRight) const;
  };
  Literal intern(FormulaNode::Kind aKind, std::uint32_t aFirst, std::uint32_t aSecond);

  std::vector<Term> terms;
  std::vector<FormulaNode> nodes;
  boost::unordered_flat_map<FormulaNode, std::uint32_t, NodeHash, NodeEqual> places;
  boost::unordered_flat_map<double, TermIndex> numbers;
};

}  // namespace KS::Decide::detail
