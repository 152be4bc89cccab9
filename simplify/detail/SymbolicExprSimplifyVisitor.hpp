// One pass of simplification.
#pragma once

#include <algorithm>
#include <boost/container/flat_set.hpp>
#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "base/SymbolicExprXFormVisitor.hpp"
#include "base/detail/Digest.hpp"
#include "base/detail/Walk.hpp"
#include "simplify/detail/Connective.hpp"
#include "simplify/detail/TextOrder.hpp"
#include "simplify/detail/Unrelated.hpp"

namespace KS {

/// Rewrites an expression bottom-up, each visit by the first rule that matches the simplified
/// operands. A visit's result depends on its operands alone, so the results of one pass serve the
/// next, which enters only what the last one made.
///
/// A chain of conjunctions, and one of disjunctions, is one node with many operands here: `pass`
/// simplifies the operands and then the chain once, however it is grouped. The visits of And and Or
/// see two operands, which may be chains themselves; visiting a longer chain link by link, as
/// `accept` does, gives an equivalent expression, but not always the same id.
class SymbolicExprSimplifyVisitor final : public SymbolicExprXFormVisitor {
 public:
  /// The operands of a flattened conjunction or disjunction, ordered by id. Few are many here, so
  /// the first ones need no allocation.
  using OperandSet = boost::container::flat_set<SymbolicExprId, std::less<SymbolicExprId>,
                                                boost::container::small_vector<SymbolicExprId, 12>>;

  /// A conjunction is distributed over the disjunctions among its operands up to this many
  /// disjuncts; beyond it the disjunctions stay as they are.
  static constexpr std::size_t maxDisjuncts = 1024;
  /// What all distributions of one visitor may make together: they nest where a disjunction holds a
  /// conjunction that was beyond its own limit.
  static constexpr std::size_t maxDisjunctsInAll = 8 * maxDisjuncts;

  /// Borrows the table, which has its boolean symbols.
  explicit SymbolicExprSimplifyVisitor(SymbolicExprTable& aTable);
  ~SymbolicExprSimplifyVisitor() override;

  /// Forgets the results of passes, and what limits they came near to: the next pass begins a
  /// simplification of its own. What only saves time stays.
  void restart();

  /// The result of one pass over the expression; every distinct node is entered once.
  SymbolicExprId pass(SymbolicExprId aId);

  /// The simplified conjunction of two that are simplified, without a node for the two as they
  /// stand. Nothing where one is not, or where one pass is not enough.
  std::optional<SymbolicExprId> conjoin(SymbolicExprId a, SymbolicExprId b);

  using SymbolicExprXFormVisitor::visit;
  void visit(const SymbolicPlusExpr& aExpr) override;
  void visit(const SymbolicMinusExpr& aExpr) override;
  void visit(const SymbolicMultiplyExpr& aExpr) override;
  void visit(const SymbolicDivideExpr& aExpr) override;
  void visit(const SymbolicEqualExpr& aExpr) override;
  void visit(const SymbolicNotEqualExpr& aExpr) override;
  void visit(const SymbolicLessThanExpr& aExpr) override;
  void visit(const SymbolicLessThanEqualExpr& aExpr) override;
  void visit(const SymbolicGreaterThanExpr& aExpr) override;
  void visit(const SymbolicGreaterThanEqualExpr& aExpr) override;
  void visit(const SymbolicAndExpr& aExpr) override;
  void visit(const SymbolicOrExpr& aExpr) override;
  void visit(const SymbolicNotExpr& aExpr) override;

  // -------------------------------------------------------------------------------------------
  // Canonical order

  /// Three-way comparison of the rendered texts.
  int compareExprs(const SymbolicExprId& aLhs, const SymbolicExprId& aRhs) const;
  /// Orders the two ids on top of the stack as operands of a sum: compound terms, leaves in text
  /// order, numbers.
  void normalizeAdd();
  /// Orders the two ids on top of the stack as operands of a product: numbers, leaves in text
  /// order, compound factors.
  void normalizeMultiply();
  /// A relation in its canonical orientation, a negated equality as inequality, and any other id
  /// unchanged.
  SymbolicExprId normalizeRelOp(SymbolicExprId aId) const;
  /// The disjunction of two operands, neither a disjunction itself, in canonical order: relations
  /// and negations by kind, operands of one kind by text, others as they stand.
  SymbolicExprId normalizeSymbolicOrExpr(SymbolicExprId a, SymbolicExprId b);

  // -------------------------------------------------------------------------------------------
  // Conjunctions and disjunctions

  /// Adds the operands of a chain of conjunctions to the set.
  void getUniqueSymbolicAndExprs(const SymbolicExpr& aAnd, OperandSet& aSet) const;
  /// Adds the operands of a chain of disjunctions to the set.
  void getUniqueSymbolicOrExprs(const SymbolicExpr& aOr, OperandSet& aSet) const;
  /// For !y among the operands of a conjunction: the set becomes {FALSE} where y, or all operands
  /// of the conjunction y, are in it.
  void simplifyANDExprWithNOTTerms(OperandSet& aSet, const SymbolicExprId& aNotTerm) const;
  /// For !y among the operands of a disjunction: the set becomes {TRUE} where y, or all operands of
  /// the disjunction y, are in it.
  void simplifyORExprWithNOTTerms(OperandSet& aSet, const SymbolicExprId& aNotTerm) const;
  /// Removes a conjunction from the operands of a disjunction where one of its own operands is a
  /// disjunction of other operands in the set.
  void simplifyORExprForAbsorptionRule(OperandSet& aSet, const SymbolicExprId& aTerm) const;

 private:
  using Connective = detail::Connective;
  using Ids = boost::container::small_vector<SymbolicExprId, 12>;
  using IdPair = std::pair<SymbolicExprId, SymbolicExprId>;
  using Lists = boost::container::small_vector<Ids, 2>;

  // A relation as its canonical orientation has it.
  struct Relation {
    SymbolicOp op;
    SymbolicExprId left;
    SymbolicExprId right;
  };

  // Arithmetic: the result of a visit for its two operands, in the order of the rules.
  SymbolicExprId simplifySum(SymbolicExprId L, SymbolicExprId R);
  SymbolicExprId simplifyDifference(SymbolicExprId L, SymbolicExprId R);
  SymbolicExprId simplifyProduct(SymbolicExprId L, SymbolicExprId R);
  SymbolicExprId simplifyQuotient(SymbolicExprId L, SymbolicExprId R);
  SymbolicExprId sumOfTerms(SymbolicExprId L, SymbolicExprId R);
  SymbolicExprId productWithInt(SymbolicExprId L, int c, SymbolicExprId R);
  bool realOperands(SymbolicExprId L, SymbolicExprId R, double& a, double& b) const;

  // Relations and negation.
  SymbolicExprId simplifyNot(SymbolicExprId X);
  SymbolicExprId simplifyRelation(const Relation& aRelation) const;
  void visitRelation(SymbolicOp aOp);
  std::optional<int> integerOrBool(SymbolicExprId aId) const;
  std::optional<bool> foldRelation(const Relation& aRelation) const;
  Relation orient(const Relation& aRelation) const;
  std::optional<Relation> relation(SymbolicExprId aId) const;
  SymbolicExprId makeRelation(const Relation& aRelation) const;
  SymbolicExprId internRelation(const Relation& aRelation) const;

  // Conjunctions and disjunctions. What both do alike takes the connective.
  SymbolicExprId simplifyChain(const Connective& aKind, const SymbolicExprId* aOperands,
                               std::size_t aCount);
  template <class Operands>
  void appendOperands(SymbolicOp aOp, SymbolicExprId aId, Operands& aOperands) const;
  SymbolicExprId simplifySet(const Connective& aKind, OperandSet& aSet);
  std::optional<SymbolicExprId> reduce(const Connective& aKind, OperandSet& aSet);
  void addOperands(const Connective& aKind, const SymbolicExprId* aOperands, std::size_t aCount,
                   OperandSet& aSet) const;
  void addOperand(const Connective& aKind, SymbolicExprId aOperand, OperandSet& aSet) const;
  std::optional<SymbolicExprId> distribute(OperandSet& aSet);
  std::optional<SymbolicExprId> distributePair(SymbolicExprId a, SymbolicExprId b);
  std::optional<SymbolicExprId> distributeUnrelated(SymbolicExprId aRest,
                                                    const Lists& aDisjunctions);
  SymbolicExprId distributeOver(SymbolicExprId aRest, const Lists& aDisjunctions);
  using PartLists =
      boost::container::small_vector<boost::container::small_vector<detail::Unrelated::Part, 8>, 2>;
  PartLists takeApart(SymbolicExprId aRest, const Lists& aDisjunctions);
  bool applyNotTerms(const Connective& aKind, OperandSet& aSet);
  void decideByNotTerm(const Connective& aKind, OperandSet& aSet, SymbolicExprId aNotTerm) const;
  std::optional<SymbolicExprId> reduceNotTerm(const Connective& aKind, const OperandSet& aSet,
                                              SymbolicExprId aNotTerm);
  bool combineRelations(const Connective& aKind, OperandSet& aSet);
  bool combineGroup(const Connective& aKind, Ids& aGroup);
  std::optional<SymbolicExprId> combine(const Connective& aKind, SymbolicExprId aFirst,
                                        SymbolicExprId aSecond) const;
  SymbolicExprId rebuild(const Connective& aKind, const OperandSet& aSet);
  SymbolicExprId rebuild(const Connective& aKind, Ids& aOperands);
  SymbolicExprId join(const Connective& aKind, const SymbolicExprId* aOperands, std::size_t aCount);
  SymbolicExprId constant(bool aValue) const;

  // Conjunctions among the operands of a disjunction.
  struct Conjunct;
  using Conjuncts = std::vector<Conjunct>;
  using IdPairs = boost::container::small_vector<IdPair, 16>;
  bool simplifyConjuncts(OperandSet& aSet);
  Conjuncts takeConjuncts(OperandSet& aSet, std::vector<SymbolicExprId>& aPool) const;
  IdPairs findComplements(const OperandSet& aSet,
                          const std::vector<SymbolicExprId>& aFactors) const;

  // Walking.
  void enter(SymbolicExprId aId);
  SymbolicExprId apply(SymbolicExprId aId, std::size_t aFirst);
  template <class Operands>
  void appendChain(SymbolicOp aOp, SymbolicExprId aChain, Operands& aOperands,
                   bool aKeepSimplified = false) const;
  bool isFixed(SymbolicExprId aId) const;

  SymbolicExprTable& table() const { return result(); }
  SymbolicOp kindOf(SymbolicExprId aId) const { return detail::Digests::kindOf(table(), aId); }
  const detail::NodeDigest& digest(SymbolicExprId aId) const {
    return detail::Digests::of(table())[aId];
  }

  mutable detail::TextOrder order;
  detail::Unrelated unrelated;
  // What a pass makes of the ids that it changes. That it gives others back, the table remembers.
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> results;

  std::size_t disjunctsLeft = maxDisjunctsInAll;
  // From then on what a pass gives back is not known to stay.
  bool limitReached = false;

  // The path of the walk, and the operands of the nodes on it: simplified ones up to a frame's
  // `next`, the others as they were.
  struct Frame {
    SymbolicExprId id;
    std::size_t first;
    std::size_t next;
  };
  boost::container::small_vector<Frame, 16> path;
  boost::container::small_vector<SymbolicExprId, 32> operands;
};

// Appends the operands of a simplified chain, or the one operand that stands for itself.
template <class Operands>
void SymbolicExprSimplifyVisitor::appendOperands(SymbolicOp aOp, SymbolicExprId aId,
                                                 Operands& aOperands) const {
  const std::size_t before = aOperands.size();
  for (; kindOf(aId) == aOp; aId = digest(aId).first) aOperands.push_back(digest(aId).second);
  aOperands.push_back(aId);
  std::reverse(aOperands.begin() + static_cast<std::ptrdiff_t>(before), aOperands.end());
}

// Appends the operands of a chain of conjunctions or disjunctions; a shared link's operands are met
// once, other operands as often as they stand. A link below the chain that is known to be
// simplified is an operand where `aKeepSimplified`. Links are taken from the youngest down: an
// input is older than its user, so all mentions of a link come together before it is opened.
template <class Operands>
void SymbolicExprSimplifyVisitor::appendChain(SymbolicOp aOp, SymbolicExprId aChain,
                                              Operands& aOperands, bool aKeepSimplified) const {
  if (!aKeepSimplified && isFixed(aChain)) return appendOperands(aOp, aChain, aOperands);
  Ids links{aChain};  // a heap
  while (!links.empty()) {
    const SymbolicExprId link = links.front();
    while (!links.empty() && links.front() == link) {
      std::pop_heap(links.begin(), links.end());
      links.pop_back();
    }
    for (const SymbolicExprId input : {digest(link).first, digest(link).second}) {
      if (input >= link) detail::failBadInput();
      if (kindOf(input) == aOp && !(aKeepSimplified && digest(input).isSimplified)) {
        links.push_back(input);
        std::push_heap(links.begin(), links.end());
      } else {
        aOperands.push_back(input);
      }
    }
  }
}

}  // namespace KS
