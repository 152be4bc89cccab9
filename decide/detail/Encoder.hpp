// From expressions to formulas.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <string>
#include <unordered_map>
#include <vector>

#include "decide/SymbolicExprDomain.hpp"
#include "decide/detail/Formula.hpp"
#include "decide/detail/TermBuilder.hpp"

namespace KS::Decide::detail {

/// The domains of variables by the host's ids, and the names of constants among their values.
class Domains {
 public:
  /// Gives a variable a domain in place of the one that it had. What throws changes nothing.
  void set(SymbolicExprId aVariable, SymbolicExprDomain aDomain);
  /// The domain of a variable, or null.
  const SymbolicExprDomain* find(SymbolicExprId aVariable) const;
  /// Whether a constant has that name.
  bool isName(const std::string& aText) const;

 private:
  std::unordered_map<SymbolicExprId, SymbolicExprDomain> byId;
  std::unordered_map<std::string, std::size_t> uses;  // of names
};

/// Encodes conditions of the host's table. Connectives and relations become parts of the formula;
/// what stands beneath a relation, and whatever else is used as a truth value, becomes a term.
/// Every distinct node is encoded once.
class Encoder {
 public:
  /// Borrows all.
  Encoder(const SymbolicExprTable& aTable, const SymbolicExprBindings& aBindings,
          const Domains& aDomains);

  /// The literal that holds where the condition does. Throws `std::out_of_range` for an unknown id.
  Literal truth(SymbolicExprId aId);

  Formula& getFormula() { return formula; }
  const Formula& getFormula() const { return formula; }
  TermBuilder& getBuilder() { return builder; }
  const TermBuilder& getBuilder() const { return builder; }
  /// The copy, in the builder's table, of the expression that a term stands for; of constants none.
  SymbolicExprId copyOf(TermIndex aTerm) const { return copyOfTerm[aTerm]; }
  /// The term of a variable or an arithmetic expression of the builder's table, or none.
  const TermIndex* findTerm(SymbolicExprId aCopy) const;
  /// The domain of a variable of the builder's table, or null.
  const SymbolicExprDomain* domainOf(SymbolicExprId aCopy) const;
  /// The name of the constant that a variable of the builder's table is, or null.
  const std::string* nameOf(SymbolicExprId aCopy) const;
  /// The term of the constant of that name, or null.
  const TermIndex* findName(const std::string& aText) const;
  /// The term that an expression of the host's table is, or null.
  const TermIndex* findTermOf(SymbolicExprId aId) const;

 private:
  // A side of a relation: a truth value, or a term.
  struct Side {
    bool isTruth;
    Literal literal;
    TermIndex term;
  };
  bool isTruthValued(SymbolicExprId aId) const;
  void enter(SymbolicExprId aId, std::vector<SymbolicExprId>& aOpen);
  Literal makeTruth(SymbolicExprId aId);
  Literal relation(const SymbolicExpr& aExpr);
  Literal compare(SymbolicOp aOp, const Side& aLeft, const Side& aRight);
  Side side(SymbolicExprId aId);
  TermIndex term(SymbolicExprId aId);
  TermIndex makeTerm(SymbolicExprId aCopy);
  std::vector<TermIndex> listed(const SymbolicExprDomain& aDomain);
  TermIndex name(const std::string& aText);

  const SymbolicExprTable& table;
  const SymbolicExprBindings& bindings;
  const Domains& domains;
  TermBuilder builder;
  Formula formula;
  std::vector<Literal> truths;                                 // by id
  boost::unordered_flat_map<SymbolicExprId, TermIndex> terms;  // by copy
  std::vector<SymbolicExprId> copyOfTerm;
  std::unordered_map<std::string, TermIndex> names;
};

}  // namespace KS::Decide::detail
