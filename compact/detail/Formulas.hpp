// Formulas of propositional logic over the table's relations and symbols.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "compact/detail/RelationLiterals.hpp"

namespace KS::detail {

/// A node of a pool of formulas, or its negation.
class Formula {
 public:
  constexpr Formula(std::uint32_t aIndex, bool aIsNegated)
      : number(aIndex << 1 | static_cast<std::uint32_t>(aIsNegated)) {}
  static constexpr Formula constant(bool aValue) { return {0, !aValue}; }
  /// The inverse of `code`.
  static constexpr Formula ofCode(std::size_t aCode) {
    return {static_cast<std::uint32_t>(aCode >> 1), (aCode & 1) != 0};
  }

  std::uint32_t index() const { return number >> 1; }
  bool isNegated() const { return (number & 1) != 0; }
  bool isConstant() const { return index() == 0; }
  /// A number of its own for every formula of a pool; a node and its negation are neighbours.
  std::uint32_t code() const { return number; }

  Formula operator!() const { return {index(), !isNegated()}; }
  /// The formula, negated if so told.
  Formula negatedIf(bool aNegate) const { return {index(), isNegated() != aNegate}; }
  friend bool operator==(Formula a, Formula b) { return a.number == b.number; }
  friend bool operator!=(Formula a, Formula b) { return a.number != b.number; }
  friend bool operator<(Formula a, Formula b) { return a.number < b.number; }

 private:
  std::uint32_t number;
};

/// Formulas that share their parts. A node is true, an atom, or a conjunction of at least two
/// formulas; a disjunction is the negation of the conjunction of the negated operands, so every
/// rule for conjunctions serves disjunctions, too. Equal conjunctions are one node, and a node is
/// newer than its operands. Which nodes get which index depends on what was asked for in which
/// order, and not on ids of the table.
class Formulas {
 public:
  using List = std::vector<Formula>;

  /// The operands of a conjunction. Making another formula ends their life.
  struct Operands {
    const Formula* first;
    const Formula* last;
    const Formula* begin() const { return first; }
    const Formula* end() const { return last; }
    std::size_t size() const { return static_cast<std::size_t>(last - first); }
  };

  /// Borrows the table, into which merged relations are interned.
  explicit Formulas(SymbolicExprTable& aTable);
  Formulas(const Formulas&) = delete;
  Formulas& operator=(const Formulas&) = delete;

  /// The formula of an expression that is no conjunction, disjunction, negation or constant, and
  /// mentions so many symbols, members and calls. `a ~= b` is the negation of `a == b`.
  Formula atom(SymbolicExprId aId, std::size_t aLiterals);

  /// The conjunction of formulas, flat, each operand once, without constants, and with relations
  /// merged where the evaluator gives the merged one the same value. Takes the list's content.
  Formula conjunction(List& aOperands);
  /// The disjunction, likewise.
  Formula disjunction(List& aOperands);

  /// Whether the formula is a conjunction or the negation of one.
  bool isCompound(Formula aFormula) const { return nodes[aFormula.index()].count > 0; }
  /// The operands of a conjunction, of which the formula may be the negation: in ascending order.
  Operands operands(Formula aFormula) const {
    const Node& node = nodes[aFormula.index()];
    return {pool.data() + node.first, pool.data() + node.first + node.count};
  }
  /// The expression of an atom, of which the formula may be the negation.
  SymbolicExprId expression(Formula aFormula) const { return nodes[aFormula.index()].atom; }
  /// The literals of the formula written out: mentions of a symbol, member or call.
  std::size_t literals(Formula aFormula) const { return nodes[aFormula.index()].literals; }
  /// The relation, or negation of one, that the formula is; null for anything else. Making another
  /// atom ends its life.
  const RelationLiteral* relation(Formula aFormula) const;
  /// The number of nodes; indexes run from 0 to it.
  std::size_t size() const { return nodes.size(); }

 private:
  struct Node {
    SymbolicExprId atom;
    std::size_t literals;
    std::size_t first;
    std::uint32_t count;
    std::uint32_t relation;  // place among the relations, or noRelation
  };
  static constexpr std::uint32_t noRelation = 0xffffffff;

  bool flatten(List& aOperands);
  bool mergeRelations(List& aOperands);
  bool mergeGroup(List& aGroup);
  bool addMeeting(List& aOperands, Formula aAdded);
  Formula literal(RelationLiteral aRelation, std::size_t aLiterals);
  Formula intern(const List& aOperands);

  // Conjunctions are found by their operands.
  struct Same {
    const Formulas* formulas;
    std::size_t operator()(std::uint32_t aIndex) const;
    bool operator()(std::uint32_t a, std::uint32_t b) const;
  };

  SymbolicExprTable& table;
  std::vector<Node> nodes;
  List pool;
  // Relations as they stand, and behind each its negation.
  std::vector<RelationLiteral> relations;
  boost::unordered_flat_map<SymbolicExprId, std::uint32_t> atoms;
  boost::unordered_flat_set<std::uint32_t, Same, Same> conjunctions;
};

}  // namespace KS::detail
