#include "fuzz/ExpressionChecks.hpp"

#include <algorithm>
#include <boost/spirit/include/qi_parse.hpp>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprSymbols.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "fuzz/Fuzz.hpp"
#include "fuzz/ReferenceReader.hpp"
#include "host/KSHost.hpp"
#include "parser/Ast2SymbolicExprId.hpp"
#include "parser/ExprParser.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/PreprocessorVCExpr.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"
#include "tests/support/Equivalence.hpp"
#include "variants/VCService.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprCast2Int.hpp"
#include "xform/SymbolicExprFactorDivision.hpp"
#include "xform/SymbolicExprM2C.hpp"
#include "xform/SymbolicExprSubstitute.hpp"
#ifdef KS_FUZZ_DECIDES
#include "decide/SymbolicExprDecider.hpp"
#endif

namespace KS::fuzz {

namespace {

using test::Arithmetic;
using test::Number;
using test::Program;

constexpr std::size_t maxPasses = 10;
// Work that multiplies, such as seven simplifications, is for expressions up to so many nodes.
constexpr std::size_t fewNodes = 300;
constexpr double tolerance = 1.0 / (1 << 26);  // of evaluation

bool isRelation(SymbolicOp aOp) {
  return aOp >= SymbolicOp::Equal && aOp <= SymbolicOp::GreaterThanEqual;
}
bool isConnective(SymbolicOp aOp) { return aOp >= SymbolicOp::And && aOp <= SymbolicOp::Not; }
bool isCall(SymbolicOp aOp) { return aOp >= SymbolicOp::FcnCall0U && aOp <= SymbolicOp::FcnCall; }
bool isList(SymbolicOp aOp) { return aOp >= SymbolicOp::_2D && aOp <= SymbolicOp::ND; }

SymbolicOp opOf(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  return static_cast<SymbolicOp>(aTable.get(aId)->getKind());
}
const std::string& nameOf(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  return static_cast<const SymbolicString*>(aTable.get(aId))->getText();
}
bool isBoolName(const std::string& aName) { return aName == "true" || aName == "false"; }

// The distinct nodes of an expression, the youngest first.
std::set<SymbolicExprId, std::greater<>> nodesOf(const SymbolicExprTable& aTable,
                                                 SymbolicExprId aId) {
  std::set<SymbolicExprId, std::greater<>> nodes{aId};
  for (auto id = nodes.begin(); id != nodes.end(); ++id) {
    const SymbolicExpr& node = *aTable.get(*id);
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) nodes.insert(node.getInput(i));
  }
  return nodes;
}

std::vector<std::string> symbolsOf(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  std::vector<std::string> names;
  const SymbolicExprSymbols symbols(aTable);
  symbols(aId, names);
  return names;
}

// What an expression is made of, as far as the documented exceptions ask.
struct Traits {
  Traits(const SymbolicExprTable& aTable, SymbolicExprId aId) {
    for (const SymbolicExprId id : nodesOf(aTable, aId)) {
      const SymbolicOp op = opOf(aTable, id);
      const SymbolicExpr& node = *aTable.get(id);
      hasRelation = hasRelation || isRelation(op);
      hasCall = hasCall || isCall(op);
      hasList = hasList || isList(op);
      hasDivision = hasDivision || op == SymbolicOp::Divide;
      hasRemainder = hasRemainder || op == SymbolicOp::Modulo;
      hasShift = hasShift || op == SymbolicOp::ShiftLeft || op == SymbolicOp::ShiftRight;
      hasComplement = hasComplement || op == SymbolicOp::BitCompl;
      hasReal = hasReal || op == SymbolicOp::DoubleValue;
      const bool computes = !node.isLeaf() && !isRelation(op) && !isConnective(op) &&
                            op != SymbolicOp::MemberValue && !isCall(op);
      hasArithmetic = hasArithmetic || computes;
      hasBits = hasBits || (op >= SymbolicOp::BitAnd && op <= SymbolicOp::ShiftRight);
      hasBoolMember = hasBoolMember || (op == SymbolicOp::MemberValue &&
                                        isBoolName(nameOf(aTable, node.getInput(0))));
      for (std::size_t i = isCall(op) ? 1 : 0; i < node.getNumInputs(); ++i) {
        const bool isTruth = isConnective(opOf(aTable, node.getInput(i)));
        hasTruthAsNumber = hasTruthAsNumber || (isTruth && !isConnective(op));
        const bool isComputed = !aTable.get(node.getInput(i))->isLeaf();
        hasComputedArgument = hasComputedArgument || (isComputed && isCall(op));
      }
      if (op == SymbolicOp::UnaryMinus) {
        const SymbolicExpr& input = *aTable.get(node.getInput(0));
        hasNegatedLiteral = hasNegatedLiteral || input.isNumber();
      }
      if (isCall(op)) {
        static const std::set<std::string> operators{"idivide", "rem",    "bitand",  "bitor",
                                                     "bitxor",  "bitcmp", "bitshift"};
        hasOperatorCall = hasOperatorCall || operators.count(nameOf(aTable, node.getInput(0))) != 0;
      }
    }
  }
  bool hasRelation = false, hasCall = false, hasList = false, hasDivision = false;
  bool hasRemainder = false, hasShift = false, hasComplement = false, hasReal = false;
  bool hasArithmetic = false, hasBits = false, hasBoolMember = false, hasTruthAsNumber = false;
  bool hasNegatedLiteral = false, hasOperatorCall = false, hasComputedArgument = false;
};

// The literals of a table, those that simplification made on its way included.
std::vector<double> literalsOf(const SymbolicExprTable& aTable) {
  std::vector<double> literals;
  for (SymbolicExprId id = 0; id < aTable.size(); ++id) {
    if (aTable.get(id)->isNumber()) literals.push_back(aTable.get(id)->getNumericValue());
  }
  return literals;
}

// Whether no two literals leave 32 bits, or a double's precision, when they fold.
bool areExactWhenFolded(const std::vector<double>& aLiterals) {
  return std::all_of(aLiterals.begin(), aLiterals.end(), [](double aLiteral) {
    return std::abs(aLiteral) < 32768 && std::ldexp(aLiteral, 10) == std::rint(aLiteral * 1024);
  });
}

// Whether two literals have a negative quotient with a remainder: it is cut when it folds.
bool haveNegativeQuotient(const std::vector<double>& aLiterals) {
  return std::any_of(aLiterals.begin(), aLiterals.end(), [&](double a) {
    return std::any_of(aLiterals.begin(), aLiterals.end(), [&](double b) {
      return b != 0 && std::isfinite(a) && std::isfinite(b) && std::fmod(a, b) != 0 &&
             (a < 0) != (b < 0);
    });
  });
}

// ---------------------------------------------------------------------------------------------
// One expression in a table of its own

class Subject {
 public:
  Subject(const std::string& aText, bool aCSyntax, std::uint64_t aSeed)
      : text(aText), cSyntax(aCSyntax), random(aSeed) {
    id = SymbolicExprParser(table, cSyntax)(text);
    isExpression = id != invalidSymbolicExprId;
  }

  void checkAll(UsedTable& aUsed);

  bool isExpression;

 private:
  std::string print(SymbolicExprId aId) const {
    return SymbolicExprPrinter(table, false, true, false)(aId);
  }
  std::string tell(const char* aWhat, SymbolicExprId aOther) const {
    return std::string(aWhat) + (cSyntax ? " (C): " : " (M): ") + text + "\n  is     " +
           print(id).substr(0, 2000) + "\n  became " + print(aOther).substr(0, 2000);
  }
  void check(bool aCondition, const char* aWhat, SymbolicExprId aOther) const {
    require(aCondition, [&] { return tell(aWhat, aOther); });
  }

  void checkText();
  void checkCopy();
  void checkSimplified(UsedTable& aUsed);
  void checkRoads(SymbolicExprId aExpected);
  void checkTransformations();
  void checkEvaluation();
  void checkCompact();
  void checkDecision();
  void checkService();

  enum class Change { Simplified, Compacted, Rearranged };
  void checkMeaning(const char* aWhat, SymbolicExprId aAfter, Change aChange);
  void compareUnder(const char* aWhat, SymbolicExprId aAfter, Arithmetic aArithmetic, bool aOfTruth,
                    Change aChange);
  void compareByEvaluation(const char* aWhat, SymbolicExprId aAfter);

  Eval::Value anyValue();
  std::size_t pick(std::size_t aCount) { return random() % aCount; }

  const std::string& text;
  const bool cSyntax;
  std::mt19937_64 random;
  SymbolicExprTable table;
  SymbolicExprId id;
};

}  // namespace

class UsedTable {
 public:
  std::string simplified(const std::string& aText, bool aCSyntax, std::size_t& aPasses) {
    const SymbolicExprId id = SymbolicExprParser(table, aCSyntax)(aText);
    return print(simplify.simplify(id, aPasses));
  }
  std::string compacted(const std::string& aText, bool aCSyntax) {
    return print(compact(SymbolicExprParser(table, aCSyntax)(aText)));
  }

 private:
  std::string print(SymbolicExprId aId) const {
    return SymbolicExprPrinter(table, false, true, false)(aId);
  }
  SymbolicExprTable table;
  SymbolicExprSimplify simplify{table, maxPasses};
  SymbolicExprCompact compact{table};
};

UsedTablePtr makeUsedTable() { return UsedTablePtr(new UsedTable); }
void DeleteUsedTable::operator()(UsedTable* aTable) const { delete aTable; }

namespace {

void Subject::checkAll(UsedTable& aUsed) {
  checkText();
  checkCopy();
  checkEvaluation();
  checkTransformations();
  checkDecision();
  checkSimplified(aUsed);
  checkCompact();
  if (!cSyntax) checkService();
}

// Both ways to render agree, and what one text can spell reads back as the same id.
void Subject::checkText() {
  const Traits traits(table, id);
  for (const bool mSyntax : {false, true}) {
    for (const bool spaces : {false, true}) {
      const std::string printed = SymbolicExprPrinter(table, mSyntax, spaces, false)(id);
      StringifySymbolicExpr renderer(SymbolicExprPrinter::Predicate::instance(), mSyntax, spaces);
      table.get(id)->accept(table, renderer);
      require(renderer.get() == printed, [&] { return "renderer differs: " + printed; });
      const std::string condition = SymbolicExprPrinter(table, mSyntax, spaces, true)(id);
      PreprocessorVCExpr preprocessor(SymbolicExprPrinter::Predicate::instance(), mSyntax, spaces);
      table.get(id)->accept(table, preprocessor);
      require(preprocessor.get() == condition, [&] { return "renderer differs: " + condition; });
      // The negation of a literal is spelled like a negative literal, and a complement in M syntax
      // like a negation.
      if (traits.hasNegatedLiteral || (mSyntax && traits.hasComplement)) continue;
      const std::size_t size = table.size();
      const SymbolicExprId again = SymbolicExprParser(table, !mSyntax)(printed);
      require(again == id, [&] { return "does not read back: " + text + " as " + printed; });
      require(table.size() == size, [&] { return "reading back made nodes: " + printed; });
    }
  }
}

void Subject::checkCopy() {
  SymbolicExprTable other;
  const SymbolicExprId copy = SymbolicExprCopy(table, other)(id);
  const SymbolicExprPrinter printer(other, false, true, false);
  require(printer(copy) == print(id), [&] { return "copy differs: " + printer(copy); });
  const std::vector<std::string> names = symbolsOf(table, id), copied = symbolsOf(other, copy);
  require(names == copied, [&] { return "other symbols: " + text; });
  require(std::set<std::string>(names.begin(), names.end()).size() == names.size(),
          [&] { return "a symbol twice: " + text; });
}

// ---------------------------------------------------------------------------------------------
// Meaning

void Subject::checkMeaning(const char* aWhat, SymbolicExprId aAfter, Change aChange) {
  if (aAfter == id) return;
  const Traits traits(table, id);
  // The reader of values knows no lists, and no members of "true".
  if (traits.hasList || traits.hasBoolMember) return;
  const bool isSimplified = aChange != Change::Rearranged;
  // A simplified condition keeps its truth: `a && true` is `a`, which may be 5.
  const bool ofTruth =
      aChange == Change::Compacted ||
      (isSimplified && (isConnective(opOf(table, id)) || isConnective(opOf(table, aAfter))));
  if (isSimplified && traits.hasTruthAsNumber) return;
  const std::vector<double> literals = literalsOf(table);
  const bool isExact = areExactWhenFolded(literals) && !haveNegativeQuotient(literals);
  if (!traits.hasArithmetic || (isExact && !traits.hasRemainder) || !isSimplified) {
    compareUnder(aWhat, aAfter, Arithmetic::Real, ofTruth, aChange);
  }
  const bool computesReals = traits.hasArithmetic && traits.hasReal;
  if (!computesReals && (!traits.hasDivision || isExact || !isSimplified)) {
    compareUnder(aWhat, aAfter, Arithmetic::Int32, ofTruth, aChange);
  }
  if (isSimplified && !traits.hasArithmetic && !traits.hasCall) compareByEvaluation(aWhat, aAfter);
}

// Compares exact values at points of all regions.
void Subject::compareUnder(const char* aWhat, SymbolicExprId aAfter, Arithmetic aArithmetic,
                           bool aOfTruth, Change aChange) {
  const Program before(table, id), after(table, aAfter);
  const auto points = test::regionPoints(before, after);
  const bool divides = Traits(table, id).hasDivision;
  for (std::size_t round = 0; round < 40; ++round) {
    std::map<std::string, Number> values;
    for (const auto& [name, choices] : points) values[name] = choices[pick(choices.size())];
    const auto bind = [&](const Program& aProgram) {
      std::vector<Number> bound;
      for (const std::string& name : aProgram.names()) {
        const auto known = values.emplace(name, Number::of(static_cast<long long>(pick(4)))).first;
        const Number value = known->second;
        bound.push_back(aArithmetic == Arithmetic::Int32
                            ? Number::of(static_cast<std::int32_t>(
                                  static_cast<std::uint32_t>(value.numerator / value.denominator)))
                            : value);
      }
      return bound;
    };
    test::Circumstances met;
    const Number expected = before.run(bind(before), aArithmetic, &met);
    if (!expected.isDefined() || met.zeroDivisor) continue;
    // "a >> b" is "bitshift(a, -b)" in M syntax.
    if (aChange == Change::Rearranged && met.shiftedByLeast) continue;
    if (aChange != Change::Rearranged && divides && aArithmetic == Arithmetic::Int32 &&
        (met.inexactQuotient || met.wrapped)) {
      continue;
    }
    const Number found = after.run(bind(after), aArithmetic);
    const bool isSame =
        aOfTruth ? found.isDefined() && expected.isTrue() == found.isTrue() : found == expected;
    if (isSame) continue;
    std::string message = tell(aWhat, aAfter) + "\n  under";
    for (const auto& [name, value] : values) message += ' ' + name + '=' + value.text();
    fail(message + ": " + expected.text() + " before, " + found.text() + " after");
  }
}

// Compares truths as the library's evaluation has them, for infinities too, and for NaN where
// nothing is compared.
void Subject::compareByEvaluation(const char* aWhat, SymbolicExprId aAfter) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const bool hasRelation = Traits(table, id).hasRelation;
  std::vector<double> pool{0.0, 1.0, infinity, -infinity};
  for (const double literal : literalsOf(table)) {
    if (std::isnan(literal)) return;
    for (const double offset : {0.0, 0.5, -0.5}) pool.push_back(literal + offset);
  }
  std::sort(pool.begin(), pool.end());
  // Operands that are not equal but within the tolerance are a documented exception.
  for (std::size_t i = 1; i < pool.size(); ++i) {
    if (pool[i] != pool[i - 1] && pool[i] - pool[i - 1] < 2 * tolerance) return;
  }
  if (!hasRelation) pool.push_back(std::numeric_limits<double>::quiet_NaN());
  std::vector<SymbolicExprId> variables;
  for (const SymbolicExprId node : nodesOf(table, id)) {
    const SymbolicOp op = opOf(table, node);
    const bool isSymbol = op == SymbolicOp::String && !isBoolName(nameOf(table, node));
    if (isSymbol || op == SymbolicOp::MemberValue) variables.push_back(node);
  }
  for (std::size_t round = 0; round < 20; ++round) {
    SymbolicExprBindings bindings(table);
    for (const SymbolicExprId variable : variables) {
      bindings.set(variable, pool[pick(pool.size())]);
    }
    const auto truth = [&](SymbolicExprId aId) {
      return SymbolicExprEval(table).eval(aId, bindings).at(0) != 0.0;
    };
    if (truth(id) == truth(aAfter)) continue;
    std::string message = tell(aWhat, aAfter) + "\n  under";
    bindings.forEach([&](SymbolicExprId aId, const Eval::Value& aValue) {
      message += ' ' + print(aId) + '=' + kssv_dtoa(aValue.scalar().toDouble(), false);
    });
    fail(message);
  }
}

// ---------------------------------------------------------------------------------------------
// Simplification

void Subject::checkSimplified(UsedTable& aUsed) {
  const SymbolicExprSimplify simplify(table, maxPasses);
  std::size_t passes = 0;
  const SymbolicExprId result = simplify.simplify(id, passes);
  check(passes >= 1 && passes <= maxPasses, "passes", result);
  const std::vector<SymbolicExprId> steps = simplify.explain(id);
  check(steps.size() == passes && steps.back() == result, "explained otherwise", result);
  if (passes < maxPasses) {
    std::size_t more = 0;
    const SymbolicExprId again = simplify.simplify(result, more);
    require(again == result, [&] {
      return tell("simplified again, it changes", result) + "\n  then   " + print(again);
    });
  }
  // In a table of its own, which has the literals of this simplification alone.
  Subject fresh(text, cSyntax, random());
  std::size_t freshPasses = 0;
  const SymbolicExprId alone =
      SymbolicExprSimplify(fresh.table, maxPasses).simplify(fresh.id, freshPasses);
  const std::string expected = print(result);
  require(fresh.print(alone) == expected && freshPasses == passes, [&] {
    return tell("depends on the table", result) + "\n  alone  " + fresh.print(alone);
  });
  fresh.checkMeaning("simplified", alone, Change::Simplified);
  std::size_t usedPasses = 0;
  const std::string used = aUsed.simplified(text, cSyntax, usedPasses);
  require(used == expected && usedPasses == passes, [&] {
    return tell("depends on what was simplified before", result) + "\n  used   " + used;
  });
  if (nodesOf(table, result).size() + nodesOf(table, id).size() <= fewNodes) checkRoads(result);
}

// Closing any of the mechanisms that save time changes nothing.
void Subject::checkRoads(SymbolicExprId aExpected) {
  using detail::FastRoad;
  constexpr FastRoad roads[] = {FastRoad::KnownFinal, FastRoad::DisjointJoin,
                                FastRoad::SetDistribution, FastRoad::GrowingConjunction,
                                FastRoad::ThinnedRelations};
  for (std::size_t open = 0; open <= std::size(roads); ++open) {
    SymbolicExprSimplifyVisitor visitor(table);
    for (std::size_t i = 0; i < std::size(roads); ++i) {
      // The last round closes all of them.
      if (i == open || open == std::size(roads)) visitor.getContext().roads.close(roads[i]);
    }
    visitor.restart();
    std::set<SymbolicExprId> seen;
    SymbolicExprId result = id;
    for (std::size_t passes = 0; passes < maxPasses; ++passes) {
      seen.insert(result);
      const SymbolicExprId next = visitor.pass(result);
      const bool isEnd = next == table.getIdTRUE() || next == table.getIdFALSE();
      result = next;
      if (isEnd || seen.count(result) != 0) break;
    }
    check(result == aExpected, ("without road " + std::to_string(open)).c_str(), result);
  }
}

void Subject::checkCompact() {
  if (table.size() > 20 * fewNodes) return;
  Subject fresh(text, cSyntax, random());
  const SymbolicExprCompact compact(fresh.table);
  const SymbolicExprId result = compact(fresh.id);
  fresh.check(compact.countLiterals(result) <= compact.countLiterals(fresh.id), "longer", result);
  fresh.check(compact(fresh.id) == result, "compact twice differs", result);
  fresh.checkMeaning("compact", result, Change::Compacted);
  std::size_t passes = 0;
  const SymbolicExprId net =
      SymbolicExprSimplify(fresh.table, maxPasses).simplify(fresh.id, passes);
  const SymbolicExprId short1 = compact(net), short2 = compact(net, {fresh.id});
  fresh.check(compact.countLiterals(short1) <= compact.countLiterals(net), "longer", short1);
  fresh.check(compact.countLiterals(short2) <= compact.countLiterals(short1), "longer", short2);
  fresh.checkMeaning("net compact", short2, Change::Compacted);
}

// ---------------------------------------------------------------------------------------------
// Transformations

void Subject::checkTransformations() {
  const Traits traits(table, id);
  const SymbolicExprId c = SymbolicExprM2C(table)(id);
  const SymbolicExprId m = SymbolicExprC2M(table)(id);
  checkMeaning("in C syntax", c, Change::Rearranged);
  checkMeaning("in M syntax", m, Change::Rearranged);
  checkMeaning("there and back", SymbolicExprM2C(table)(m), Change::Rearranged);
  if (!traits.hasShift && !traits.hasOperatorCall) {
    check(SymbolicExprM2C(table)(m) == id, "is not what it was", SymbolicExprM2C(table)(m));
  }

  const SymbolicExprId integers = SymbolicExprCast2Int(table).cast2Int(id);
  check(!Traits(table, integers).hasReal, "a real is left", integers);
  check(traits.hasReal || integers == id, "cast without reals", integers);

  const SymbolicExprId factored = SymbolicExprFactorDivision(table).factorDivision(id);
  for (const SymbolicExprId node : nodesOf(table, factored)) {
    const SymbolicOp op = opOf(table, node);
    const bool isSum = op == SymbolicOp::Plus || op == SymbolicOp::Minus;
    const bool isProduct =
        op == SymbolicOp::Multiply || op == SymbolicOp::Divide || op == SymbolicOp::Modulo;
    for (std::size_t i = 0; (isSum || isProduct) && i < 2; ++i) {
      check(opOf(table, table.get(node)->getInput(i)) != SymbolicOp::Divide, "a division is inside",
            factored);
    }
  }
  if (factored != id && !traits.hasList && !traits.hasBoolMember && !traits.hasBits) {
    compareUnder("factored", factored, Arithmetic::Real, false, Change::Rearranged);
  }
}

// ---------------------------------------------------------------------------------------------
// Evaluation

Eval::Value Subject::anyValue() {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const Eval::Value values[] = {true,
                                false,
                                0,
                                1,
                                2,
                                -3,
                                7,
                                2147483647,
                                -2147483647 - 1,
                                2.5,
                                0.0,
                                -0.0,
                                1e300,
                                infinity,
                                -infinity,
                                std::numeric_limits<double>::quiet_NaN(),
                                1.000001};
  return values[pick(std::size(values))];
}

std::string numbersText(const std::vector<double>& aNumbers) {
  std::string result;
  for (const double number : aNumbers) {
    result += (std::isnan(number) ? "nan" : kssv_dtoa(number + 0.0, false)) + ' ';
  }
  return result;
}

std::string answerOf(const SymbolicExprTable& aTable, SymbolicExprId aId,
                     const SymbolicExprBindings& aBindings) {
  try {
    return numbersText(SymbolicExprEval(aTable).eval(aId, aBindings));
  } catch (const SymbolicExprEvalError& error) {
    return error.what();
  }
}

// Programs, the visitor and what substitution leaves give what evaluation gives.
void Subject::checkEvaluation() {
  SymbolicExprBindings some(table), rest(table), all(table);
  for (const SymbolicExprId node : nodesOf(table, id)) {
    const SymbolicOp op = opOf(table, node);
    const bool isVariable = (op == SymbolicOp::String && !isBoolName(nameOf(table, node))) ||
                            op == SymbolicOp::MemberValue || isCall(op);
    if (!isVariable || pick(8) == 0) continue;
    const Eval::Value value = anyValue();
    (pick(2) == 0 ? some : rest).set(node, value);
    all.set(node, value);
  }
  const SymbolicExprProgram program(table, {id, id});
  for (const SymbolicExprBindings* bindings : {&some, &all}) {
    const std::string expected = answerOf(table, id, *bindings);
    for (const auto& outcome : program.run(*bindings)) {
      const std::string found =
          outcome.value ? numbersText(Eval::eval(*outcome.value)) : outcome.error;
      require(found == expected, [&] {
        return "a program gives " + found + ", evaluation " + expected + ": " + text;
      });
    }
  }
  std::vector<SymbolicExprId> parameters;
  all.forEach([&](SymbolicExprId bound, const Eval::Value&) { parameters.push_back(bound); });
  SymbolicExprRunner runner(table, {id}, parameters);
  for (int round = 0; round < 2; ++round) {
    std::vector<Eval::Value> values;
    for (const SymbolicExprId parameter : parameters) {
      values.push_back(round == 0 ? anyValue() : *all.find(parameter));
    }
    const auto& outcome = runner.run(values)[0];
    if (round == 0) continue;  // leaves traces for the next one, if any can be left
    const std::string expected = answerOf(table, id, all);
    const std::string found =
        outcome.value ? numbersText(Eval::eval(*outcome.value)) : outcome.error;
    require(found == expected,
            [&] { return "a runner gives " + found + ", evaluation " + expected + ": " + text; });
  }
  // What is known of a truth stays whatever the others are.
  const auto known = program.truths(some)[0];
  const auto outcome = program.run(all)[0];
  if (outcome.value && outcome.value->tag() == Eval::Value::Single &&
      (known.holds == SymbolicExprProgram::Holds::Yes ||
       known.holds == SymbolicExprProgram::Holds::No)) {
    const bool holds = known.holds == SymbolicExprProgram::Holds::Yes;
    require(outcome.value->scalar().toBool() == holds,
            [&] { return "a truth that was known changes: " + text; });
  }
  const SymbolicExprId residual = SymbolicExprSubstitute(table)(id, some);
  const std::string expected = answerOf(table, id, all), left = answerOf(table, residual, rest);
  require(left == expected, [&] {
    return tell("the residual differs", residual) + "\n  gives " + left + " instead of " + expected;
  });

  // The visitor, with values that are registered.
  SymbolicExprTable other;
  const SymbolicExprId copy = SymbolicExprCopy(table, other)(id);
  for (const std::string& name : symbolsOf(other, copy)) {
    if (isBoolName(name) || pick(10) == 0) continue;
    const Eval::Scalar value = anyValue().scalar();
    other.registerValueId(name, value.tag() == Eval::Scalar::Double
                                    ? SymbolicDoubleValue(other, value.getDouble()).getId(other)
                                    : SymbolicIntValue(other, value.toInt()).getId(other));
  }
  // Which of several symbols without a value is found first is up to the order of the walk.
  const auto numbersOf = [](const auto& aCompute) -> std::string {
    try {
      return numbersText(aCompute());
    } catch (const SymbolicExprEvalError&) {
      return "no value";
    }
  };
  const std::string registered = numbersOf([&] { return SymbolicExprEval(other).eval(copy); });
  const std::string visited = numbersOf([&] {
    SymbolicExprEvalImpl visitor(other);
    other.get(copy)->accept(other, visitor);
    return Eval::eval(visitor.get());
  });
  // The arguments of a call are nothing to evaluation; the visitor has been there before it knows.
  const bool mayFail = Traits(table, id).hasComputedArgument;
  require(visited == registered || (mayFail && visited == "no value"), [&] {
    return "the visitor gives " + visited + ", evaluation " + registered + ": " + text;
  });
}

void Subject::checkDecision() {
#ifdef KS_FUZZ_DECIDES
  const Traits traits(table, id);
  if (traits.hasList || traits.hasBoolMember) return;
  SymbolicExprDecider decider(table);
  decider.setConflictLimit(100);
  const std::size_t size = table.size();
  const Truth truth = decider.decide(id);
  check(decider.decideAll({{id}, {id}})[1] == truth || truth == Truth::Unknown,
        "decided otherwise among others", id);
  check(decider.implies(id, id).value_or(true), "does not imply itself", id);
  const auto values = decider.witness(id);
  check(table.size() == size, "deciding made nodes", id);
  check(!values || truth == Truth::Always || truth == Truth::Sometimes || truth == Truth::Unknown,
        "a witness of what is never", id);
  check(values || (truth != Truth::Always && truth != Truth::Sometimes), "no witness", id);
  if (values && !traits.hasCall) {
    check(SymbolicExprEval(table).eval(id, *values).at(0) != 0.0, "the witness fails", id);
  }
  if (truth != Truth::Never && truth != Truth::Always) return;
  // Proofs hold for all finite values, and for whole numbers among them.
  const bool computes = traits.hasArithmetic || traits.hasOperatorCall;
  if (computes && traits.hasReal) return;
  const Program program(table, id);
  const auto points = test::regionPoints(program, program);
  for (std::size_t round = 0; round < 40; ++round) {
    std::vector<Number> values32;
    for (const std::string& name : program.names()) {
      const auto choices = points.find(name);
      Number value = choices == points.end() ? Number::of(static_cast<long long>(pick(3)))
                                             : choices->second[pick(choices->second.size())];
      if (computes) {
        value = Number::of(static_cast<std::int32_t>(
            static_cast<std::uint32_t>(value.numerator / value.denominator)));
      }
      values32.push_back(value);
    }
    const Number found = program.run(values32, computes ? Arithmetic::Int32 : Arithmetic::Real);
    if (!found.isDefined()) continue;
    check(found.isTrue() == (truth == Truth::Always),
          truth == Truth::Always ? "always, but not here" : "never, but here", id);
  }
#endif
}

void Subject::checkService() {
  VCService service;
  SymbolicExprTable other;
  std::size_t passes = 0;
  const SymbolicExprId parsed = SymbolicExprParser(other, false)(text);
  const SymbolicExprId result = SymbolicExprSimplify(other, maxPasses).simplify(parsed, passes);
  for (const bool mSyntax : {true, false}) {
    const std::string expected = result == other.getIdTRUE()
                                     ? std::string()
                                     : SymbolicExprPrinter(other, mSyntax, true, true)(result);
    const std::string found = mSyntax ? service.simplifyMExpr(text) : service.simplifyCExpr(text);
    require(found == expected,
            [&] { return "a service gives " + found + " instead of " + expected + ": " + text; });
  }
}

// What the public grammar and the conversion of its tree make of the text. The grammar alone
// matches a text that begins with an expression, too.
std::optional<std::string> meaningOfTree(const std::string& aText, bool aCSyntax) {
  namespace qi = boost::spirit::qi;
  static const Parser::ExprParser<std::string::const_iterator> grammar;
  Parser::expression_ast tree;
  auto end = aText.begin();
  if (!qi::phrase_parse(end, aText.end(), grammar, qi::ascii::space, tree)) return std::nullopt;
  if (end != aText.end()) return std::nullopt;
  SymbolicExprTable table;
  return test::meaningOf(table, Parser::Ast2SymbolicExprId(table, aCSyntax)(tree));
}

std::size_t nestingOf(const std::string& aText) {
  std::size_t deepest = 0, open = 0;
  for (const char c : aText) {
    if (c == '(' || c == '[') deepest = std::max(deepest, ++open);
    if ((c == ')' || c == ']') && open != 0) --open;
  }
  return deepest;
}

}  // namespace

void checkLanguage(const std::string& aText, bool aCSyntax) {
  SymbolicExprTable table;
  const SymbolicExprParser parser(table, aCSyntax);
  const auto error = parser.diagnose(aText);
  require(table.size() == 0, [] { return "diagnosing made nodes"; });
  const SymbolicExprId id = parser(aText);
  const bool isExpression = id != invalidSymbolicExprId;
  require(error.has_value() != isExpression, [] { return "diagnosed otherwise than parsed"; });
  require(isExpression || table.size() == 0, [] { return "what does not parse made nodes"; });
  require(!error || (error->offset <= aText.size() && !error->expected.empty()),
          [] { return "a place outside of the text"; });
  if (nestingOf(aText) > SymbolicExprParser::maxNesting) return;
  const std::optional<std::string> expected = test::readReference(aText, aCSyntax);
  require(expected.has_value() == isExpression,
          [&] { return isExpression ? "is no expression" : "is an expression"; });
  if (expected) {
    const std::string found = test::meaningOf(table, id);
    require(found == *expected, [&] { return "means " + *expected + ", not " + found; });
  } else {
    // What stands before the place is an expression exactly where it might have ended there.
    const bool mightEnd = test::readReference(aText.substr(0, error->offset), aCSyntax).has_value();
    require(mightEnd == (error->expected == "an operator or the end of the expression"),
            [&] { return "expected " + error->expected + " at " + std::to_string(error->offset); });
  }
  require(meaningOfTree(aText, aCSyntax) == expected, [] { return "the tree means otherwise"; });
}

void checkExpression(const std::string& aText, bool aCSyntax, UsedTable& aUsed,
                     std::uint64_t aSeed) {
  Subject subject(aText, aCSyntax, aSeed);
  if (subject.isExpression) subject.checkAll(aUsed);
}

}  // namespace KS::fuzz
