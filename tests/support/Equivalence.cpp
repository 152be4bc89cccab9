#include "tests/support/Equivalence.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <set>

#include "base/KSSymbolicExpr.hpp"

namespace KS::test {

namespace {

Number make(Wide aNumerator, Wide aDenominator) {
  if (aDenominator == 0) return {};
  if (aDenominator < 0) {
    aNumerator = -aNumerator;
    aDenominator = -aDenominator;
  }
  Wide a = aNumerator < 0 ? -aNumerator : aNumerator;
  Wide b = aDenominator;
  while (b != 0) a = std::exchange(b, a % b);
  return {aNumerator / a, aDenominator / a};
}

// An operation whose intermediate results may overflow.
class Exact {
 public:
  Wide times(Wide a, Wide b) {
    Wide result = 0;
    overflow = __builtin_mul_overflow(a, b, &result) || overflow;
    return result;
  }
  Wide plus(Wide a, Wide b) {
    Wide result = 0;
    overflow = __builtin_add_overflow(a, b, &result) || overflow;
    return result;
  }
  Number fraction(Wide aNumerator, Wide aDenominator) const {
    return overflow ? Number{} : make(aNumerator, aDenominator);
  }

 private:
  bool overflow = false;
};

Number negate(const Number& a) { return {-a.numerator, a.denominator}; }

Number add(const Number& a, const Number& b) {
  Exact e;
  return e.fraction(
      e.plus(e.times(a.numerator, b.denominator), e.times(b.numerator, a.denominator)),
      e.times(a.denominator, b.denominator));
}

Number multiply(const Number& a, const Number& b) {
  Exact e;
  return e.fraction(e.times(a.numerator, b.numerator), e.times(a.denominator, b.denominator));
}

Number divide(const Number& a, const Number& b) {
  Exact e;
  return e.fraction(e.times(a.numerator, b.denominator), e.times(a.denominator, b.numerator));
}

// -1, 0 or 1.
int order(const Number& a, const Number& b) {
  const Number difference = add(a, negate(b));
  return difference.numerator < 0 ? -1 : difference.numerator > 0 ? 1 : 0;
}

Number ofBool(bool aValue) { return Number::of(aValue ? 1 : 0); }

bool isInt32(const Number& a) {
  return a.isInteger() && a.numerator >= std::numeric_limits<int>::min() &&
         a.numerator <= std::numeric_limits<int>::max();
}

Number wrapped(const Number& a) {
  if (!a.isInteger()) return {};
  return Number::of(static_cast<std::int32_t>(static_cast<std::uint32_t>(a.numerator)));
}

Number shifted(const Number& a, long long aLeft) {
  const auto value = static_cast<long long>(a.numerator);
  if (aLeft <= -32 || aLeft >= 32) return Number::of(value < 0 && aLeft < 0 ? -1 : 0);
  return aLeft < 0 ? Number::of(value >> -aLeft) : wrapped(Number::of(value * (1LL << aLeft)));
}

Number bitOperation(SymbolicOp aOp, const Number& a, const Number& b) {
  if (!isInt32(a) || !isInt32(b)) return {};
  const auto left = static_cast<std::int32_t>(a.numerator);
  const auto right = static_cast<std::int32_t>(b.numerator);
  switch (aOp) {
    case SymbolicOp::BitAnd: return Number::of(left & right);
    case SymbolicOp::BitOr: return Number::of(left | right);
    case SymbolicOp::BitXOr: return Number::of(left ^ right);
    case SymbolicOp::BitCompl: return Number::of(~left);
    case SymbolicOp::ShiftLeft: return shifted(a, right);
    default: return shifted(a, -static_cast<long long>(right));
  }
}

bool isRelation(SymbolicOp aOp) {
  return aOp >= SymbolicOp::Equal && aOp <= SymbolicOp::GreaterThanEqual;
}
bool isLogical(SymbolicOp aOp) { return aOp >= SymbolicOp::And && aOp <= SymbolicOp::Not; }
bool isLeaf(SymbolicOp aOp) { return aOp <= SymbolicOp::DoubleValue; }

bool holds(SymbolicOp aOp, int aOrder) {
  switch (aOp) {
    case SymbolicOp::Equal: return aOrder == 0;
    case SymbolicOp::NotEqual: return aOrder != 0;
    case SymbolicOp::LessThan: return aOrder < 0;
    case SymbolicOp::LessThanEqual: return aOrder <= 0;
    case SymbolicOp::GreaterThan: return aOrder > 0;
    default: return aOrder >= 0;
  }
}

const std::map<std::string, std::pair<SymbolicOp, std::size_t>> functionOperators = {
    {"idivide", {SymbolicOp::Divide, 2}},    {"rem", {SymbolicOp::Modulo, 2}},
    {"bitand", {SymbolicOp::BitAnd, 2}},     {"bitor", {SymbolicOp::BitOr, 2}},
    {"bitxor", {SymbolicOp::BitXOr, 2}},     {"bitcmp", {SymbolicOp::BitCompl, 1}},
    {"bitshift", {SymbolicOp::ShiftLeft, 2}}};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Numbers

Number Number::ofDouble(double aValue) {
  if (!std::isfinite(aValue)) return {};
  Wide denominator = 1;
  while (aValue != std::floor(aValue)) {
    if (denominator > (Wide{1} << 60)) return {};
    aValue *= 2.0;
    denominator *= 2;
  }
  return std::abs(aValue) < 1e30 ? make(static_cast<Wide>(aValue), denominator) : Number{};
}

std::string Number::text() const {
  if (!isDefined()) return "no value";
  const auto part = [](Wide a) { return std::to_string(static_cast<long long>(a)); };
  return part(numerator) + (isInteger() ? "" : "/" + part(denominator));
}

bool operator<(const Number& a, const Number& b) { return order(a, b) < 0; }
bool operator==(const Number& a, const Number& b) {
  return a.numerator == b.numerator && a.denominator == b.denominator;
}

// ---------------------------------------------------------------------------------------------
// Programs

Program::Program(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  std::set<SymbolicExprId> reached{aId};
  for (auto id = reached.rbegin(); id != reached.rend(); ++id) {
    // Inputs are older, so they are inserted where this loop still comes by.
    const SymbolicExpr& node = *aTable.get(*id);
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) reached.insert(node.getInput(i));
  }
  std::map<SymbolicExprId, std::size_t> places;
  for (const SymbolicExprId id : reached) {
    const SymbolicExpr& node = *aTable.get(id);
    Step step{static_cast<SymbolicOp>(node.getKind()), {}, 0, {}};
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
      step.inputs.push_back(places.at(node.getInput(i)));
    }
    switch (step.op) {
      case SymbolicOp::String: {
        const std::string& name = static_cast<const SymbolicString&>(node).getText();
        if (name == "true" || name == "false") {
          step.op = SymbolicOp::IntValue;
          step.constant = ofBool(name == "true");
        } else {
          step.variable = variable(name);
        }
        break;
      }
      case SymbolicOp::IntValue:
        step.constant = Number::of(static_cast<const SymbolicIntValue&>(node).getValue());
        break;
      case SymbolicOp::DoubleValue:
        step.constant = Number::ofDouble(static_cast<const SymbolicDoubleValue&>(node).getValue());
        break;
      case SymbolicOp::MemberValue:
        step.variable = variable(variables[steps[step.inputs[0]].variable] + "." +
                                 static_cast<const SymbolicMemberValue&>(node).getMember());
        step.inputs.clear();
        break;
      case SymbolicOp::FcnCall0U:
      case SymbolicOp::FcnCall1U:
      case SymbolicOp::FcnCall2U:
      case SymbolicOp::FcnCall:
        addCall(step, static_cast<const SymbolicString*>(aTable.get(node.getInput(0)))->getText());
        break;
      default: break;
    }
    places[id] = steps.size();
    steps.push_back(std::move(step));
  }
  results.resize(steps.size());
}

std::size_t Program::variable(const std::string& aName) {
  const auto known = std::find(variables.begin(), variables.end(), aName);
  const auto place = static_cast<std::size_t>(known - variables.begin());
  if (place == variables.size()) variables.push_back(aName);
  return place;
}

void Program::addCall(Step& aStep, const std::string& aName) {
  aStep.inputs.erase(aStep.inputs.begin());
  const auto known = functionOperators.find(aName);
  if (known != functionOperators.end() && known->second.second == aStep.inputs.size()) {
    aStep.op = known->second.first;
  } else {
    aStep.op = SymbolicOp::FcnCall;
    aStep.variable = variable(aName + "()");
  }
}

Number Program::compute(const Step& aStep, const std::vector<Number>& aValues,
                        Arithmetic aArithmetic, Circumstances& aCircumstances) const {
  const auto in = [&](std::size_t i) -> const Number& { return results[aStep.inputs[i]]; };
  switch (aStep.op) {
    case SymbolicOp::IntValue:
    case SymbolicOp::DoubleValue: return aStep.constant;
    case SymbolicOp::String:
    case SymbolicOp::MemberValue: return aValues[aStep.variable];
    case SymbolicOp::FcnCall: {
      Number value = aValues[aStep.variable];
      for (std::size_t i = 0; i < aStep.inputs.size(); ++i) {
        if (!in(i).isDefined()) return {};
        value = add(value, multiply(in(i), Number::of(2 * static_cast<long long>(i) + 3)));
      }
      return value;
    }
    // A side that decides alone does so whatever the other is.
    case SymbolicOp::And:
      if (in(0).isDefined() && !in(0).isTrue()) return ofBool(false);
      if (in(1).isDefined() && !in(1).isTrue()) return ofBool(false);
      return in(0).isDefined() && in(1).isDefined() ? ofBool(true) : Number{};
    case SymbolicOp::Or:
      if (in(0).isDefined() && in(0).isTrue()) return ofBool(true);
      if (in(1).isDefined() && in(1).isTrue()) return ofBool(true);
      return in(0).isDefined() && in(1).isDefined() ? ofBool(false) : Number{};
    default: break;
  }
  if (aStep.inputs.empty() || aStep.inputs.size() > 2) return {};
  const Number& a = in(0);
  const Number& b = in(aStep.inputs.size() - 1);
  if (!a.isDefined() || !b.isDefined()) return {};
  if (isRelation(aStep.op)) return ofBool(holds(aStep.op, order(a, b)));
  const auto fitted = [&](const Number& aResult) {
    if (aArithmetic != Arithmetic::Int32 || !aResult.isDefined()) return aResult;
    aCircumstances.wrapped = aCircumstances.wrapped || !isInt32(aResult);
    return wrapped(aResult);
  };
  switch (aStep.op) {
    case SymbolicOp::Not: return ofBool(!a.isTrue());
    case SymbolicOp::Plus: return fitted(add(a, b));
    case SymbolicOp::Minus: return fitted(add(a, negate(b)));
    case SymbolicOp::UnaryMinus: return fitted(negate(a));
    case SymbolicOp::Multiply: return fitted(multiply(a, b));
    case SymbolicOp::Divide: {
      if (!b.isTrue()) {
        aCircumstances.zeroDivisor = true;
        return {};
      }
      const Number quotient = divide(a, b);
      if (!quotient.isInteger()) aCircumstances.inexactQuotient = true;
      if (aArithmetic == Arithmetic::Real) return quotient;
      return fitted(Number{quotient.numerator / quotient.denominator, 1});
    }
    case SymbolicOp::Modulo:
      if (!a.isInteger() || !b.isInteger()) return {};
      if (b.isTrue()) return {a.numerator % b.numerator, 1};
      aCircumstances.zeroDivisor = true;
      return {};
    case SymbolicOp::BitAnd:
    case SymbolicOp::BitOr:
    case SymbolicOp::BitXOr:
    case SymbolicOp::BitCompl: return bitOperation(aStep.op, a, b);
    case SymbolicOp::ShiftLeft:
    case SymbolicOp::ShiftRight:
      if (b == Number::of(std::numeric_limits<std::int32_t>::min())) {
        aCircumstances.shiftedByLeast = true;
      }
      return bitOperation(aStep.op, a, b);
    default: return {};
  }
}

Number Program::run(const std::vector<Number>& aValues, Arithmetic aArithmetic,
                    Circumstances* aCircumstances) const {
  Circumstances ignored;
  Circumstances& circumstances = aCircumstances == nullptr ? ignored : *aCircumstances;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    results[i] = compute(steps[i], aValues, aArithmetic, circumstances);
  }
  return results.back();
}

// A relation has two sides that meet; whatever else stands where a truth is asked meets zero.
std::vector<Program::Meeting> Program::meetings() const {
  std::vector<bool> isAsked(steps.size(), false);
  isAsked.back() = true;
  for (const Step& step : steps) {
    if (!isLogical(step.op)) continue;
    for (const std::size_t input : step.inputs) isAsked[input] = true;
  }
  std::vector<Meeting> result;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const bool relation = isRelation(steps[i].op);
    if (!relation && (!isAsked[i] || isLogical(steps[i].op))) continue;
    Meeting meeting;
    meeting.isRelation = relation;
    std::set<std::size_t> below{i};
    for (auto place = below.rbegin(); place != below.rend(); ++place) {
      const Step& step = steps[*place];
      below.insert(step.inputs.begin(), step.inputs.end());
      if (step.op == SymbolicOp::String || step.op >= SymbolicOp::FcnCall0U) {
        meeting.variables.push_back(variables[step.variable]);
      } else if (isLeaf(step.op)) {
        if (step.constant.isDefined()) meeting.constants.push_back(step.constant);
      } else if (*place != i || !relation) {
        meeting.hasArithmetic = true;
      }
    }
    if (!relation) meeting.constants.push_back(Number::of(0));
    if (!meeting.variables.empty()) result.push_back(std::move(meeting));
  }
  return result;
}

// ---------------------------------------------------------------------------------------------
// Points

namespace {

// Arithmetic moves a constant's cut elsewhere; sums and differences find the common ones.
void addMoved(std::set<Number>& aConstants) {
  const std::vector<Number> given(aConstants.begin(), aConstants.end());
  if (given.size() > 4) return;
  for (const Number& a : given) {
    for (const Number& b : given) {
      aConstants.insert(add(a, b));
      aConstants.insert(add(a, negate(b)));
    }
  }
}

std::vector<Number> pointsOf(const std::set<Number>& aConstants, std::size_t aPerRegion) {
  const auto count = static_cast<long long>(std::clamp<std::size_t>(aPerRegion, 1, 3));
  std::vector<Number> points;
  for (long long i = count; i > 0; --i) points.push_back(add(*aConstants.begin(), Number::of(-i)));
  for (auto low = aConstants.begin(); low != aConstants.end(); ++low) {
    points.push_back(*low);
    const auto high = std::next(low);
    if (high == aConstants.end()) break;
    const Number gap = add(*high, negate(*low));
    for (long long i = 1; i <= count; ++i) {
      points.push_back(add(*low, multiply(gap, make(i, count + 1))));
    }
  }
  for (long long i = 1; i <= count; ++i) {
    points.push_back(add(*aConstants.rbegin(), Number::of(i)));
  }
  return points;
}

}  // namespace

std::map<std::string, std::vector<Number>> regionPoints(const Program& aBefore,
                                                        const Program& aAfter) {
  // Symbols that meet in one relation belong together, and so do those that meet with these.
  struct Group {
    std::set<std::string> members;
    std::set<Number> constants;
    bool hasArithmetic = false;
    bool hasRelation = false;
  };
  std::vector<Group> groups;
  std::vector<Program::Meeting> meetings = aBefore.meetings();
  const std::vector<Program::Meeting> more = aAfter.meetings();
  meetings.insert(meetings.end(), more.begin(), more.end());
  for (const Program::Meeting& meeting : meetings) {
    Group merged{{meeting.variables.begin(), meeting.variables.end()},
                 {meeting.constants.begin(), meeting.constants.end()},
                 meeting.hasArithmetic,
                 meeting.isRelation};
    for (auto group = groups.begin(); group != groups.end();) {
      const bool meets =
          std::any_of(group->members.begin(), group->members.end(),
                      [&](const std::string& aName) { return merged.members.count(aName) != 0; });
      if (!meets) {
        ++group;
        continue;
      }
      merged.members.insert(group->members.begin(), group->members.end());
      merged.constants.insert(group->constants.begin(), group->constants.end());
      merged.hasArithmetic = merged.hasArithmetic || group->hasArithmetic;
      merged.hasRelation = merged.hasRelation || group->hasRelation;
      group = groups.erase(group);
    }
    groups.push_back(std::move(merged));
  }
  std::map<std::string, std::vector<Number>> result;
  for (Group& group : groups) {
    if (group.hasArithmetic) addMoved(group.constants);
    if (group.constants.empty()) group.constants.insert(Number::of(0));
    // Where only the truth of a symbol is asked, one value for each will do.
    const std::vector<Number> points = group.hasArithmetic || group.hasRelation
                                           ? pointsOf(group.constants, group.members.size())
                                           : std::vector<Number>{Number::of(0), Number::of(1)};
    for (const std::string& name : group.members) result[name] = points;
  }
  return result;
}

// ---------------------------------------------------------------------------------------------
// Comparison

namespace {

// Counts through all assignments, or draws them at random.
class Assignments {
 public:
  Assignments(const std::map<std::string, std::vector<Number>>& aPoints, const Options& aOptions)
      : points(aPoints), random(aOptions.seed) {
    std::size_t all = 1;
    for (const auto& [name, values] : points) {
      all = std::min(all * values.size(), aOptions.maxAssignments + 1);
      picks[name] = 0;
    }
    isExhaustive = all <= aOptions.maxAssignments;
    count = isExhaustive ? all : aOptions.maxAssignments;
  }
  void next() {
    for (const auto& [name, values] : points) {
      std::size_t& pick = picks[name];
      if (!isExhaustive) {
        pick = static_cast<std::size_t>(random() % values.size());
      } else if (++pick < values.size()) {
        return;
      } else {
        pick = 0;
      }
    }
  }
  std::vector<Number> values(const std::vector<std::string>& aNames, Arithmetic aArithmetic) const {
    std::vector<Number> result;
    for (const std::string& name : aNames) {
      const auto known = points.find(name);
      const Number value = known == points.end() ? Number::of(1) : known->second[picks.at(name)];
      result.push_back(aArithmetic == Arithmetic::Int32
                           ? wrapped({value.numerator / value.denominator, 1})
                           : value);
    }
    return result;
  }
  std::string text() const {
    std::string result;
    for (const auto& [name, pick] : picks) {
      result += (result.empty() ? "" : ", ") + name + " = " + points.at(name)[pick].text();
    }
    return result;
  }

  std::size_t count;
  bool isExhaustive;

 private:
  const std::map<std::string, std::vector<Number>>& points;
  std::map<std::string, std::size_t> picks;
  std::mt19937_64 random;
};

}  // namespace

Verdict compare(const SymbolicExprTable& aTableBefore, SymbolicExprId aBefore,
                const SymbolicExprTable& aTableAfter, SymbolicExprId aAfter,
                const Options& aOptions) {
  const Program before(aTableBefore, aBefore);
  const Program after(aTableAfter, aAfter);
  const auto points = regionPoints(before, after);
  Assignments assignments(points, aOptions);
  Verdict verdict;
  verdict.exhaustive = assignments.isExhaustive;
  for (; verdict.tried < assignments.count; ++verdict.tried) {
    if (verdict.tried > 0 || !assignments.isExhaustive) assignments.next();
    const Number a =
        before.run(assignments.values(before.names(), aOptions.arithmetic), aOptions.arithmetic);
    const Number b =
        after.run(assignments.values(after.names(), aOptions.arithmetic), aOptions.arithmetic);
    if (!a.isDefined() || !b.isDefined()) continue;
    ++verdict.compared;
    if (aOptions.compare == Compare::Truth ? a.isTrue() == b.isTrue() : a == b) continue;
    verdict.counterexample =
        assignments.text() + ": " + a.text() + " before, " + b.text() + " after";
    return verdict;
  }
  return verdict;
}

}  // namespace KS::test
