#include "decide/detail/Encoder.hpp"

#include <stdexcept>
#include <utility>

#include "base/KSSymbolicExpr.hpp"

namespace KS::Decide::detail {

namespace {

SymbolicOp opOf(const SymbolicExpr& aExpr) { return static_cast<SymbolicOp>(aExpr.getKind()); }
bool isRelation(SymbolicOp aOp) {
  return aOp >= SymbolicOp::Equal && aOp <= SymbolicOp::GreaterThanEqual;
}
bool isConnective(SymbolicOp aOp) { return aOp >= SymbolicOp::And && aOp <= SymbolicOp::Not; }

}  // namespace

void Domains::set(SymbolicExprId aVariable, SymbolicExprDomain aDomain) {
  const auto forEachName = [&](const SymbolicExprDomain& aOf, auto aChange) {
    for (const SymbolicExprDomain::Value& value : aOf.list()) {
      if (const auto* name = std::get_if<std::string>(&value)) aChange(uses[*name]);
    }
  };
  forEachName(aDomain, [](std::size_t&) {});  // from here on no name is new
  const auto [place, isNew] = byId.try_emplace(aVariable, aDomain);
  if (!isNew) {
    forEachName(place->second, [](std::size_t& aUses) { --aUses; });
    place->second = std::move(aDomain);
  }
  forEachName(place->second, [](std::size_t& aUses) { ++aUses; });
}

const SymbolicExprDomain* Domains::find(SymbolicExprId aVariable) const {
  const auto known = byId.find(aVariable);
  return known == byId.end() ? nullptr : &known->second;
}

bool Domains::isName(const std::string& aText) const {
  const auto known = uses.find(aText);
  return known != uses.end() && known->second > 0;
}

Encoder::Encoder(const SymbolicExprTable& aTable, const SymbolicExprBindings& aBindings,
                 const Domains& aDomains)
    : table(aTable), bindings(aBindings), domains(aDomains), builder(aTable, aBindings) {}

const TermIndex* Encoder::findTerm(SymbolicExprId aCopy) const {
  const auto known = terms.find(aCopy);
  return known == terms.end() ? nullptr : &known->second;
}

const SymbolicExprDomain* Encoder::domainOf(SymbolicExprId aCopy) const {
  for (const SymbolicExprId origin : builder.origins(aCopy)) {
    if (const SymbolicExprDomain* domain = domains.find(origin)) return domain;
  }
  return nullptr;
}

const std::string* Encoder::nameOf(SymbolicExprId aCopy) const {
  const SymbolicExpr& node = *builder.getTable().get(aCopy);
  if (!isSymbol(node)) return nullptr;
  const std::string& text = static_cast<const SymbolicString&>(node).getText();
  return domains.isName(text) ? &text : nullptr;
}

const TermIndex* Encoder::findName(const std::string& aText) const {
  const auto known = names.find(aText);
  return known == names.end() ? nullptr : &known->second;
}

const TermIndex* Encoder::findTermOf(SymbolicExprId aId) const {
  if (isTruthValued(aId)) return nullptr;
  const SymbolicExprId copy = builder.find(aId);
  return copy == invalidSymbolicExprId ? nullptr : findTerm(copy);
}

// ---------------------------------------------------------------------------------------------
// Truths

Literal Encoder::truth(SymbolicExprId aId) {
  table.get(aId);  // throws for an unknown id
  if (truths.size() < table.size()) truths.resize(table.size(), invalidLiteral);
  std::vector<SymbolicExprId> open{aId};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    if (truths[id] == invalidLiteral) {
      const std::size_t before = open.size();
      enter(id, open);
      if (open.size() > before) continue;
      truths[id] = makeTruth(id);
    }
    open.pop_back();
  }
  return truths[aId];
}

// Opens the inputs whose truth is needed before that of the node.
void Encoder::enter(SymbolicExprId aId, std::vector<SymbolicExprId>& aOpen) {
  const SymbolicExpr& node = *table.get(aId);
  const SymbolicOp op = opOf(node);
  if (!(isConnective(op) || isRelation(op)) || bindings.find(aId) != nullptr) return;
  for (std::size_t i = node.getNumInputs(); i > 0; --i) {
    const SymbolicExprId input = node.getInput(i - 1);
    if (input >= aId) throw std::out_of_range("an input of a node is not an older one");
    if (truths[input] != invalidLiteral) continue;
    if (isConnective(op) || isTruthValued(input)) aOpen.push_back(input);
  }
}

Literal Encoder::makeTruth(SymbolicExprId aId) {
  const SymbolicExpr& node = *table.get(aId);
  const auto input = [&](std::size_t aIdx) { return truths[node.getInput(aIdx)]; };
  if (bindings.find(aId) == nullptr) {
    switch (opOf(node)) {
      case SymbolicOp::And: return formula.conjunction(input(0), input(1));
      case SymbolicOp::Or: return formula.disjunction(input(0), input(1));
      case SymbolicOp::Not: return negated(input(0));
      default: break;
    }
    if (isRelation(opOf(node))) return relation(node);
  }
  return formula.truth(term(aId));
}

// ---------------------------------------------------------------------------------------------
// Relations

bool Encoder::isTruthValued(SymbolicExprId aId) const {
  if (bindings.find(aId) != nullptr) return false;
  const SymbolicOp op = opOf(*table.get(aId));
  return isConnective(op) || isRelation(op);
}

Encoder::Side Encoder::side(SymbolicExprId aId) {
  if (isTruthValued(aId)) return {true, truths[aId], 0};
  const TermIndex index = term(aId);
  if (formula.getTerms()[index].isBoolean) return {true, formula.truth(index), 0};
  return {false, literalFalse, index};
}

Literal Encoder::relation(const SymbolicExpr& aExpr) {
  const Side left = side(aExpr.getInput(0));
  const Side right = side(aExpr.getInput(1));
  return compare(opOf(aExpr), left, right);
}

// A truth value counts as 1 or 0, so that a relation over it is a choice between two relations.
Literal Encoder::compare(SymbolicOp aOp, const Side& aLeft, const Side& aRight) {
  if (aLeft.isTruth || aRight.isTruth) {
    const auto with = [&](double aNumber) {
      const Side number{false, literalFalse, formula.number(aNumber)};
      return aLeft.isTruth ? compare(aOp, number, aRight) : compare(aOp, aLeft, number);
    };
    const Literal ifTrue = with(1);
    return formula.choice(aLeft.isTruth ? aLeft.literal : aRight.literal, ifTrue, with(0));
  }
  // NaN is neither less nor greater than anything, and equal to NaN alone.
  const TermIndex left = aLeft.term, right = aRight.term;
  const Literal isLeftNumber = formula.getTerms()[left].isNumber;
  const Literal isRightNumber = formula.getTerms()[right].isNumber;
  const Literal areNaN = formula.conjunction(negated(isLeftNumber), negated(isRightNumber));
  const auto ofNumbers = [&](Literal aHolds) {
    return formula.conjunction(formula.conjunction(isLeftNumber, isRightNumber), aHolds);
  };
  const auto orNaN = [&](Literal aHolds) { return formula.disjunction(areNaN, ofNumbers(aHolds)); };
  switch (aOp) {
    case SymbolicOp::Equal: return orNaN(formula.equal(left, right));
    case SymbolicOp::NotEqual: return negated(orNaN(formula.equal(left, right)));
    case SymbolicOp::LessThan: return ofNumbers(formula.less(left, right));
    case SymbolicOp::LessThanEqual: return orNaN(negated(formula.less(right, left)));
    case SymbolicOp::GreaterThan: return ofNumbers(formula.less(right, left));
    default: return orNaN(negated(formula.less(left, right)));
  }
}

// ---------------------------------------------------------------------------------------------
// Terms

TermIndex Encoder::term(SymbolicExprId aId) { return makeTerm(builder(aId)); }

TermIndex Encoder::makeTerm(SymbolicExprId aCopy) {
  const SymbolicExpr& node = *builder.getTable().get(aCopy);
  if (const auto value = constantOf(node)) {
    const TermIndex number = formula.number(*value);
    copyOfTerm.resize(formula.getTerms().size(), invalidSymbolicExprId);
    return number;
  }
  if (const TermIndex* known = findTerm(aCopy)) return *known;
  TermIndex index = 0;
  if (const std::string* text = nameOf(aCopy)) {
    index = name(*text);
  } else {
    Term made;
    made.kind = isVariable(node) ? Term::Variable : Term::Unknown;
    const SymbolicExprDomain* domain = domainOf(aCopy);
    const TermBuilder::Certainty nan = builder.isNaN(aCopy);
    if (nan == TermBuilder::Certainty::Yes) made.isNumber = literalFalse;
    if (nan == TermBuilder::Certainty::Maybe) {
      Term number;
      number.kind = Term::Unknown;
      made.isNumber = formula.truth(formula.addTerm(number));
    }
    if (domain == nullptr) {
      index = formula.addTerm(made);
    } else {
      made.isBoolean = domain->kind() == SymbolicExprDomain::Boolean;
      made.isInteger = domain->kind() == SymbolicExprDomain::Integers;
      if (domain->kind() != SymbolicExprDomain::List) {
        made.low = domain->low();
        made.high = domain->high();
      }
      index = formula.addTerm(made);
      if (!made.isBoolean) formula.setDomain(index, listed(*domain));
    }
  }
  copyOfTerm.resize(formula.getTerms().size(), invalidSymbolicExprId);
  copyOfTerm[index] = aCopy;
  terms.emplace(aCopy, index);
  return index;
}

std::vector<TermIndex> Encoder::listed(const SymbolicExprDomain& aDomain) {
  std::vector<TermIndex> constants;
  for (const SymbolicExprDomain::Value& value : aDomain.list()) {
    const auto* text = std::get_if<std::string>(&value);
    constants.push_back(text != nullptr ? name(*text) : formula.number(std::get<double>(value)));
  }
  return constants;
}

TermIndex Encoder::name(const std::string& aText) {
  const auto known = names.find(aText);
  if (known != names.end()) return known->second;
  Term made;
  made.kind = Term::Name;
  made.text = aText;
  return names.emplace(aText, formula.addTerm(made)).first->second;
}

}  // namespace KS::Decide::detail
