#include "tools/Explain.hpp"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

using KS::SymbolicExprId;
using KS::SymbolicOp;
using Operands = std::vector<SymbolicExprId>;

// Beyond these, what a pass changed is not looked for, or shown by its beginning.
constexpr std::size_t maxOperands = 40;
constexpr std::size_t maxNodes = 2000;
constexpr std::size_t maxShownWidth = 60;

bool contains(const Operands& aOperands, SymbolicExprId aId) {
  return std::find(aOperands.begin(), aOperands.end(), aId) != aOperands.end();
}

// The first one without those of the second one, each as often as it stands there.
Operands without(const Operands& aLeft, Operands aRight) {
  Operands rest;
  for (const SymbolicExprId id : aLeft) {
    const auto found = std::find(aRight.begin(), aRight.end(), id);
    if (found == aRight.end()) {
      rest.push_back(id);
    } else {
      aRight.erase(found);
    }
  }
  return rest;
}

// Tells what one pass changed.
class PassChanges {
 public:
  PassChanges(const Expression& aExpression, SymbolicExprId aBefore, SymbolicExprId aAfter)
      : expression(aExpression),
        table(aExpression.table),
        onePass(table, 1),
        op(isJunction(opOf(aBefore)) ? opOf(aBefore) : opOf(aAfter)),
        before(aBefore),
        after(aAfter) {}

  std::string tell() {
    if (before == after) return "  nothing changes\n";
    if (!isJunction(op)) {
      say(ruleOf(before, after));
      return lines;
    }
    if (!isSmall()) return "";
    typed = operandsOf(before);
    result = operandsOf(after);
    if (typed.size() > maxOperands || result.size() > maxOperands) return "";
    tellSingleOperands();
    tellPairs();
    tellRest();
    return lines;
  }

 private:
  static bool isJunction(SymbolicOp aOp) { return aOp == SymbolicOp::And || aOp == SymbolicOp::Or; }
  static bool isRelation(SymbolicOp aOp) {
    return aOp >= SymbolicOp::Equal && aOp <= SymbolicOp::GreaterThanEqual;
  }
  SymbolicOp opOf(SymbolicExprId aId) const {
    return static_cast<SymbolicOp>(table.get(aId)->getKind());
  }
  SymbolicExprId inputOf(SymbolicExprId aId) const { return table.get(aId)->getInput(0); }
  bool isConjunction() const { return op == SymbolicOp::And; }
  SymbolicExprId neutral() const {
    return isConjunction() ? table.getIdTRUE() : table.getIdFALSE();
  }
  SymbolicExprId absorbing() const {
    return isConjunction() ? table.getIdFALSE() : table.getIdTRUE();
  }

  bool isSmall() const {
    std::unordered_set<SymbolicExprId> met;
    Operands open{before, after};
    while (!open.empty() && met.size() <= maxNodes) {
      const SymbolicExprId id = open.back();
      open.pop_back();
      if (!met.insert(id).second) continue;
      const KS::SymbolicExpr& node = *table.get(id);
      for (std::size_t i = 0; i < node.getNumInputs(); ++i) open.push_back(node.getInput(i));
    }
    return open.empty();
  }

  // The operands of nested conjunctions or disjunctions, from left to right; none for one that is
  // neutral. Stops where they are too many.
  Operands operandsOf(SymbolicExprId aId) const {
    Operands found;
    Operands open{aId};
    while (!open.empty() && found.size() <= maxOperands) {
      const SymbolicExprId id = open.back();
      open.pop_back();
      const KS::SymbolicExpr& node = *table.get(id);
      if (opOf(id) != op) {
        if (id != neutral()) found.push_back(id);
        continue;
      }
      for (std::size_t i = node.getNumInputs(); i > 0; --i) open.push_back(node.getInput(i - 1));
    }
    return found;
  }

  SymbolicExprId simplified(SymbolicExprId aId) const {
    std::size_t passes = 0;
    return onePass.simplify(aId, passes);
  }

  std::string shown(SymbolicExprId aId) const {
    return cutToWidth(printable(expression.print(aId)), maxShownWidth);
  }

  void say(const std::string& aText) { lines += "  " + aText + '\n'; }

  // What the change of an expression by itself is called.
  std::string ruleOf(SymbolicExprId aBefore, SymbolicExprId aAfter) const {
    const SymbolicOp kind = opOf(aBefore);
    if (kind == SymbolicOp::Not) {
      const SymbolicOp negated = opOf(inputOf(aBefore));
      if (opOf(aAfter) == SymbolicOp::Not) return "inside the negation";
      if (negated == SymbolicOp::Not) return "two negations cancel out";
      if (isRelation(negated)) return "negated relation turns";
      if (isJunction(negated)) return "negation moves inwards";
    }
    return isJunction(kind) ? "inside" : isRelation(kind) ? "relation" : "arithmetic";
  }

  void tellSingleOperands() {
    for (const SymbolicExprId id : typed) {
      const SymbolicExprId alone = simplified(id);
      const Operands parts = operandsOf(alone);
      // What stays as it was may still be changed by others.
      const bool isChanged = alone != id && !contains(result, id);
      if (!isChanged) {
        if (contains(working, id)) {
          say("repeated: " + shown(id));
        } else if (id != neutral()) {
          working.push_back(id);
        }
        continue;
      }
      if (alone == neutral()) {
        say(std::string(isConjunction() ? "always true" : "never true") + ": " + shown(id));
      } else {
        say(ruleOf(id, alone) + ": " + shown(id) + " -> " + shown(alone));
      }
      for (const SymbolicExprId part : parts) {
        if (!contains(working, part)) working.push_back(part);
      }
    }
  }

  void tellPairs() {
    for (const SymbolicExprId gone : without(working, result)) {
      if (contains(working, absorbing())) return;
      for (const SymbolicExprId other : working) {
        if (other == gone || !contains(working, gone)) continue;
        const SymbolicExprId pair = isConjunction()
                                        ? KS::SymbolicAndExpr(table, other, gone).getId(table)
                                        : KS::SymbolicOrExpr(table, other, gone).getId(table);
        const SymbolicExprId merged = simplified(pair);
        const Operands parts = operandsOf(merged);
        if (contains(parts, gone)) continue;
        if (!std::all_of(parts.begin(), parts.end(),
                         [&](SymbolicExprId id) { return contains(result, id); })) {
          continue;
        }
        tellPair(other, gone, merged, parts);
        working.erase(std::remove(working.begin(), working.end(), gone), working.end());
        if (!contains(parts, other)) {
          // cppcheck-suppress invalidContainerLoop ; the loop ends below
          working.erase(std::remove(working.begin(), working.end(), other), working.end());
        }
        for (const SymbolicExprId part : parts) {
          if (!contains(working, part)) working.push_back(part);
        }
        break;
      }
    }
  }

  void tellPair(SymbolicExprId aOther, SymbolicExprId aGone, SymbolicExprId aMerged,
                const Operands& aParts) {
    if (aParts == Operands{aOther}) {
      say(shown(aGone) + (isConjunction() ? " follows from " : " implies ") + shown(aOther));
    } else if (aMerged == absorbing()) {
      say(shown(aOther) + " and " + shown(aGone) +
          (isConjunction() ? " exclude each other" : ": one of them always holds"));
    } else if (isConjunction() && opOf(aMerged) == SymbolicOp::Or) {
      say("conjunction distributed over its disjunctions");
    } else {
      say(shown(aOther) + " and " + shown(aGone) + " -> " + shown(aMerged));
    }
  }

  void tellRest() {
    const Operands gone = without(working, result);
    const Operands added = without(result, working);
    if (contains(working, absorbing())) {
      say(std::string("one operand is ") + (isConjunction() ? "false" : "true") + ", so is all");
    } else if (gone.empty() && added.empty()) {
      if (working != result) {
        say("operands sorted");
      } else if (lines.empty()) {
        say(shown(neutral()) + " dropped");
      }
    } else if (isConjunction() && opOf(after) == SymbolicOp::Or) {
      say("conjunction distributed over its disjunctions");
    } else if (gone.size() == 1 && added.size() == 1) {
      say(shown(gone[0]) + " -> " + shown(added[0]));
    } else {
      say("several operands together");
    }
  }

  const Expression& expression;
  KS::SymbolicExprTable& table;
  const KS::SymbolicExprSimplify onePass;
  const SymbolicOp op;
  const SymbolicExprId before;
  const SymbolicExprId after;
  Operands typed;    // the operands before the pass
  Operands working;  // what the changes that are told made of them
  Operands result;   // the operands after the pass
  std::string lines;
};

}  // namespace

std::string explainSimplification(const Expression& aExpression, SymbolicExprId aWithValues) {
  const KS::SymbolicExprSimplify simplify(aExpression.table, aExpression.request.maxPasses);
  const std::vector<SymbolicExprId> results = simplify.explain(aWithValues);
  std::string out = "input: " + aExpression.print(aExpression.id) + '\n';
  if (aWithValues != aExpression.id) {
    out += "with values: " + aExpression.print(aWithValues) + '\n';
  }
  SymbolicExprId before = aWithValues;
  std::size_t pass = 0;
  for (const SymbolicExprId after : results) {
    out += "pass " + std::to_string(++pass) + ": " + aExpression.print(after) + '\n' +
           PassChanges(aExpression, before, after).tell();
    before = after;
  }
  if (aExpression.request.passes) out += std::to_string(pass) + '\t';
  return out + aExpression.print(before);
}

}  // namespace ksexpr
