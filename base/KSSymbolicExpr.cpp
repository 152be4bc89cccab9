#include "base/KSSymbolicExpr.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <typeinfo>
#include <utility>

#include "base/detail/Hash.hpp"
#include "base/detail/Intern.hpp"
#include "host/KSHost.hpp"

namespace KS {

namespace {

constexpr double notANumber = 18446744073709551616.0;  // 2 to the 64th power

// What an assertion failure reports is interface: message, line and function are constants that do
// not follow this file. The multi family names the unary class in its message; hosts match on it.
struct InputFailure {
  const char* message;
  int line;
  const char* function;
};
constexpr InputFailure leafInput{
    "KS::SymbolicExpr::getInput() should not be called", 34,
    "virtual SymbolicExprId KS::SymbolicExpr::getInput(const std::size_t) const"};
constexpr InputFailure unaryInput{
    "KS::SymbolicUnaryExpr::getInput(aIdx) aIdx is greater than 0", 194,
    "virtual SymbolicExprId KS::SymbolicUnaryExpr::getInput(const std::size_t) const"};
constexpr InputFailure binaryInput{
    "KS::SymbolicBinaryExpr::getInput(aIdx) aIdx is out of bounds", 235,
    "virtual SymbolicExprId KS::SymbolicBinaryExpr::getInput(const std::size_t) const"};
constexpr InputFailure ternaryInput{
    "KS::SymbolicTernaryExpr::getInput(aIdx) aIdx is out of bounds", 281,
    "virtual SymbolicExprId KS::SymbolicTernaryExpr::getInput(const std::size_t) const"};
constexpr InputFailure multiInput{
    "KS::SymbolicUnaryExpr::getInput(aIdx) aIdx is out of bounds", 328,
    "virtual SymbolicExprId KS::SymbolicMultiExpr::getInput(const std::size_t) const"};

[[noreturn]] void fail(const InputFailure& aFailure) {
  qc::diag::terminate(aFailure.message, "base/KSSymbolicExpr", aFailure.line, aFailure.function);
}

bool sameInputs(const SymbolicExpr& a, const SymbolicExpr& b) {
  const std::size_t count = a.getNumInputs();
  if (b.getNumInputs() != count) return false;
  for (std::size_t i = 0; i < count; ++i) {
    if (a.getInput(i) != b.getInput(i)) return false;
  }
  return true;
}

// The node as one of that class, or null: a host's own class may have the kind, too.
template <class Class>
const Class* as(const SymbolicExpr& aExpr) {
  return typeid(aExpr) == typeid(Class) ? static_cast<const Class*>(&aExpr) : nullptr;
}

bool isKind(const SymbolicExpr& aExpr, SymbolicOp aFirst, SymbolicOp aSecond) {
  const int kind = aExpr.getKind();
  return kind == static_cast<int>(aFirst) || kind == static_cast<int>(aSecond);
}

bool isKindBetween(const SymbolicExpr& aExpr, SymbolicOp aFirst, SymbolicOp aLast) {
  const int kind = aExpr.getKind();
  return kind >= static_cast<int>(aFirst) && kind <= static_cast<int>(aLast);
}

std::uint64_t bitsOf(double aValue) {
  std::uint64_t bits = 0;
  static_assert(sizeof bits == sizeof aValue);
  std::memcpy(&bits, &aValue, sizeof bits);
  return bits;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// The abstract node

SymbolicExpr::~SymbolicExpr() = default;
std::size_t SymbolicExpr::getNumInputs() const { return 0; }
bool SymbolicExpr::isLeaf() const { return false; }
bool SymbolicExpr::isNumber() const { return false; }
bool SymbolicExpr::isUnary() const { return false; }
bool SymbolicExpr::isBinary() const { return false; }
bool SymbolicExpr::isTernary() const { return false; }
bool SymbolicExpr::isMulti() const { return false; }
bool SymbolicExpr::isFixedArityFcnCall() const { return false; }
double SymbolicExpr::getNumericValue() const { return notANumber; }
SymbolicExprId SymbolicExpr::getInput(const std::size_t) const { fail(leafInput); }
std::size_t SymbolicExpr::getNumDimensions() const { return 0; }
std::size_t SymbolicExpr::getNumFcnArgs() const { return 0; }
SymbolicExprId SymbolicExpr::getId(const SymbolicExprTable& aTable) const {
  return aTable.lookup(this);
}
SymbolicExprId SymbolicExpr::getDimension(std::size_t aIdx) const { return getInput(aIdx); }

std::vector<SymbolicExprId> concatExprIdVector(SymbolicExprId first,
                                               const std::vector<SymbolicExprId>& rest) {
  std::vector<SymbolicExprId> all;
  all.reserve(rest.size() + 1);
  all.push_back(first);
  all.insert(all.end(), rest.begin(), rest.end());
  return all;
}

// ---------------------------------------------------------------------------------------------
// Families

SymbolicUnaryExpr::~SymbolicUnaryExpr() = default;
std::size_t SymbolicUnaryExpr::getNumInputs() const { return 1; }
bool SymbolicUnaryExpr::isUnary() const { return true; }
std::size_t SymbolicUnaryExpr::getHash() const { return detail::hashInputs(getKind(), &input, 1); }
bool SymbolicUnaryExpr::operator==(const SymbolicExpr& aOther) const {
  return aOther.isUnary() && getKind() == aOther.getKind() && aOther.getInput(0) == input;
}
SymbolicExprId SymbolicUnaryExpr::getInput(const std::size_t aIdx) const {
  if (aIdx != 0 && qc_diag_terminate()) fail(unaryInput);
  return input;
}

SymbolicBinaryExpr::~SymbolicBinaryExpr() = default;
std::size_t SymbolicBinaryExpr::getNumInputs() const { return 2; }
bool SymbolicBinaryExpr::isBinary() const { return true; }
std::size_t SymbolicBinaryExpr::getHash() const { return detail::hashInputs(getKind(), inputs, 2); }
bool SymbolicBinaryExpr::operator==(const SymbolicExpr& aOther) const {
  return aOther.isBinary() && getKind() == aOther.getKind() && sameInputs(*this, aOther);
}
SymbolicExprId SymbolicBinaryExpr::getInput(const std::size_t aIdx) const {
  if (aIdx > 1) fail(binaryInput);
  return inputs[aIdx];
}

SymbolicTernaryExpr::~SymbolicTernaryExpr() = default;
std::size_t SymbolicTernaryExpr::getNumInputs() const { return 3; }
bool SymbolicTernaryExpr::isTernary() const { return true; }
std::size_t SymbolicTernaryExpr::getHash() const {
  return detail::hashInputs(getKind(), inputs, 3);
}
bool SymbolicTernaryExpr::operator==(const SymbolicExpr& aOther) const {
  return aOther.isTernary() && getKind() == aOther.getKind() && sameInputs(*this, aOther);
}
SymbolicExprId SymbolicTernaryExpr::getInput(const std::size_t aIdx) const {
  if (aIdx > 2) fail(ternaryInput);
  return inputs[aIdx];
}

SymbolicMultiExpr::~SymbolicMultiExpr() = default;
std::size_t SymbolicMultiExpr::getNumInputs() const { return inputs.size(); }
bool SymbolicMultiExpr::isMulti() const { return true; }
std::size_t SymbolicMultiExpr::getHash() const {
  return detail::hashInputs(getKind(), inputs.data(), inputs.size());
}
bool SymbolicMultiExpr::operator==(const SymbolicExpr& aOther) const {
  return aOther.isMulti() && getKind() == aOther.getKind() && sameInputs(*this, aOther);
}
SymbolicExprId SymbolicMultiExpr::getInput(const std::size_t aIdx) const {
  // With the assertion switch off, the element is read unchecked: the host asked for no check.
  if (aIdx >= inputs.size() && qc_diag_terminate()) fail(multiInput);
  return inputs[aIdx];
}

// ---------------------------------------------------------------------------------------------
// Leaves

SymbolicString::SymbolicString(SymbolicExprTable& aTable, const std::string& aText) : text(aText) {
  detail::Intern::node(aTable, *this);
}
SymbolicString::~SymbolicString() = default;
int SymbolicString::getKind() const { return 0; }
bool SymbolicString::isLeaf() const { return true; }
bool SymbolicString::operator==(const SymbolicExpr& aOther) const {
  const auto* const other = as<SymbolicString>(aOther);
  return other != nullptr && other->text == text;
}
std::size_t SymbolicString::getHash() const { return detail::hashSymbol(text); }

SymbolicIntValue::SymbolicIntValue(SymbolicExprTable& aTable, int aValue) : value(aValue) {
  detail::Intern::node(aTable, *this);
}
SymbolicIntValue::~SymbolicIntValue() = default;
int SymbolicIntValue::getKind() const { return 1; }
bool SymbolicIntValue::isLeaf() const { return true; }
bool SymbolicIntValue::isNumber() const { return true; }
double SymbolicIntValue::getNumericValue() const { return value; }
bool SymbolicIntValue::operator==(const SymbolicExpr& aOther) const {
  const auto* const other = as<SymbolicIntValue>(aOther);
  return other != nullptr && other->value == value;
}
std::size_t SymbolicIntValue::getHash() const { return detail::signExtended(value); }

SymbolicDoubleValue::SymbolicDoubleValue(SymbolicExprTable& aTable, double aValue) : value(aValue) {
  detail::Intern::node(aTable, *this);
}
SymbolicDoubleValue::~SymbolicDoubleValue() = default;
int SymbolicDoubleValue::getKind() const { return 2; }
bool SymbolicDoubleValue::isLeaf() const { return true; }
bool SymbolicDoubleValue::isNumber() const { return true; }
double SymbolicDoubleValue::getNumericValue() const { return value; }
bool SymbolicDoubleValue::operator==(const SymbolicExpr& aOther) const {
  const auto* const node = as<SymbolicDoubleValue>(aOther);
  if (node == nullptr) return false;
  const double other = node->value;
  // The tolerance is for finite values; infinities and NaN are themselves and nothing else.
  if (std::isfinite(value) && std::isfinite(other)) {
    return std::abs(value - other) <=
           std::max(std::abs(value), std::abs(other)) * std::numeric_limits<double>::epsilon();
  }
  return bitsOf(value) == bitsOf(other);
}
std::size_t SymbolicDoubleValue::getHash() const {
  if (value == 0.0) return 0;
  const std::uint64_t bits = bitsOf(value);
  // Small whole numbers differ in their upper bits alone.
  return sizeof(std::size_t) < sizeof bits ? static_cast<std::size_t>(bits >> 32 ^ bits)
                                           : static_cast<std::size_t>(bits);
}

// ---------------------------------------------------------------------------------------------
// Operators: constructor, destructor and kind of each class

#define KS_UNARY(code, Op, Class)                                                  \
  Class::Class(SymbolicExprTable& aTable, SymbolicOperand aInput)                  \
      : SymbolicUnaryExpr(aInput.getId(aTable)) {                                  \
    detail::Intern::operation(aTable, *this, detail::hashInputs(code, &input, 1)); \
  }
#define KS_BINARY(code, Op, Class)                                                       \
  Class::Class(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight) \
      : SymbolicBinaryExpr(aLeft.getId(aTable), aRight.getId(aTable)) {                  \
    detail::Intern::operation(aTable, *this, detail::hashInputs(code, inputs, 2));       \
  }
#include "base/SymbolicExprKinds.def"

#define KS_UNARY(code, Op, Class) KS_BINARY(code, Op, Class)
#define KS_BINARY(code, Op, Class) \
  Class::~Class() = default;       \
  int Class::getKind() const { return code; }
#include "base/SymbolicExprKinds.def"

// ---------------------------------------------------------------------------------------------
// Dimension lists

Symbolic2DExpr::Symbolic2DExpr(SymbolicExprTable& aTable, SymbolicOperand aFirst,
                               SymbolicOperand aSecond)
    : SymbolicBinaryExpr(aFirst.getId(aTable), aSecond.getId(aTable)) {
  detail::Intern::node(aTable, *this);
}
Symbolic2DExpr::~Symbolic2DExpr() = default;
int Symbolic2DExpr::getKind() const { return 24; }
std::size_t Symbolic2DExpr::getNumDimensions() const { return 2; }
bool Symbolic2DExpr::operator==(const SymbolicExpr& aOther) const {
  return isKind(aOther, SymbolicOp::_2D, SymbolicOp::ND) && sameInputs(*this, aOther);
}

Symbolic3DExpr::Symbolic3DExpr(SymbolicExprTable& aTable, SymbolicOperand aFirst,
                               SymbolicOperand aSecond, SymbolicOperand aThird)
    : SymbolicTernaryExpr(aFirst.getId(aTable), aSecond.getId(aTable), aThird.getId(aTable)) {
  detail::Intern::node(aTable, *this);
}
Symbolic3DExpr::~Symbolic3DExpr() = default;
int Symbolic3DExpr::getKind() const { return 25; }
std::size_t Symbolic3DExpr::getNumDimensions() const { return 3; }
bool Symbolic3DExpr::operator==(const SymbolicExpr& aOther) const {
  return isKind(aOther, SymbolicOp::_3D, SymbolicOp::ND) && sameInputs(*this, aOther);
}

SymbolicNDExpr::SymbolicNDExpr(const std::vector<SymbolicExprId>& aElements)
    : SymbolicMultiExpr(aElements) {}
SymbolicNDExpr::SymbolicNDExpr(SymbolicExprTable& aTable,
                               const std::vector<SymbolicExprId>& aElements)
    : SymbolicMultiExpr(aElements) {
  switch (aElements.size()) {
    case 0:
    case 1: detail::Intern::nothing(aTable); break;
    case 2: Symbolic2DExpr(aTable, aElements[0], aElements[1]); break;
    case 3: Symbolic3DExpr(aTable, aElements[0], aElements[1], aElements[2]); break;
    default: detail::Intern::node(aTable, *this);
  }
}
SymbolicNDExpr::~SymbolicNDExpr() = default;
int SymbolicNDExpr::getKind() const { return 26; }
std::size_t SymbolicNDExpr::getNumDimensions() const { return inputs.size(); }
bool SymbolicNDExpr::operator==(const SymbolicExpr& aOther) const {
  return isKindBetween(aOther, SymbolicOp::_2D, SymbolicOp::ND) && sameInputs(*this, aOther);
}
std::size_t SymbolicNDExpr::getHash() const {
  const int kind = inputs.size() == 2 ? 24 : inputs.size() == 3 ? 25 : 26;
  return detail::hashInputs(kind, inputs.data(), inputs.size());
}

// ---------------------------------------------------------------------------------------------
// Function calls

SymbolicFcnCall0UExpr::SymbolicFcnCall0UExpr(SymbolicExprTable& aTable, const std::string& aName)
    : SymbolicFcnCall0UExpr{aTable, detail::intern<SymbolicString>(aTable, aName)} {}
SymbolicFcnCall0UExpr::SymbolicFcnCall0UExpr(SymbolicExprTable& aTable, const SymbolicString& aName)
    : SymbolicFcnCall0UExpr{aTable, aTable.lookup(&aName)} {}
SymbolicFcnCall0UExpr::SymbolicFcnCall0UExpr(SymbolicExprTable& aTable, SymbolicExprId aName)
    : SymbolicUnaryExpr(aName) {
  detail::Intern::node(aTable, *this);
}
SymbolicFcnCall0UExpr::~SymbolicFcnCall0UExpr() = default;
int SymbolicFcnCall0UExpr::getKind() const { return 27; }
bool SymbolicFcnCall0UExpr::isFixedArityFcnCall() const { return true; }
bool SymbolicFcnCall0UExpr::operator==(const SymbolicExpr& aOther) const {
  return isKind(aOther, SymbolicOp::FcnCall0U, SymbolicOp::FcnCall) && sameInputs(*this, aOther);
}

SymbolicFcnCall1UExpr::SymbolicFcnCall1UExpr(SymbolicExprTable& aTable, const std::string& aName,
                                             SymbolicOperand aArgument)
    : SymbolicFcnCall1UExpr{aTable, detail::intern<SymbolicString>(aTable, aName),
                            aArgument.getId(aTable)} {}
SymbolicFcnCall1UExpr::SymbolicFcnCall1UExpr(SymbolicExprTable& aTable, const SymbolicString& aName,
                                             SymbolicOperand aArgument)
    : SymbolicFcnCall1UExpr{aTable, aTable.lookup(&aName), aArgument.getId(aTable)} {}
SymbolicFcnCall1UExpr::SymbolicFcnCall1UExpr(SymbolicExprTable& aTable, SymbolicExprId aName,
                                             SymbolicExprId aArgument)
    : SymbolicBinaryExpr(aName, aArgument) {
  detail::Intern::node(aTable, *this);
}
SymbolicFcnCall1UExpr::~SymbolicFcnCall1UExpr() = default;
int SymbolicFcnCall1UExpr::getKind() const { return 28; }
bool SymbolicFcnCall1UExpr::isFixedArityFcnCall() const { return true; }
std::size_t SymbolicFcnCall1UExpr::getNumFcnArgs() const { return 1; }
bool SymbolicFcnCall1UExpr::operator==(const SymbolicExpr& aOther) const {
  return isKind(aOther, SymbolicOp::FcnCall1U, SymbolicOp::FcnCall) && sameInputs(*this, aOther);
}

SymbolicFcnCall2UExpr::SymbolicFcnCall2UExpr(SymbolicExprTable& aTable, const std::string& aName,
                                             SymbolicOperand aFirst, SymbolicOperand aSecond)
    : SymbolicFcnCall2UExpr{aTable, detail::intern<SymbolicString>(aTable, aName),
                            aFirst.getId(aTable), aSecond.getId(aTable)} {}
SymbolicFcnCall2UExpr::SymbolicFcnCall2UExpr(SymbolicExprTable& aTable, const SymbolicString& aName,
                                             SymbolicOperand aFirst, SymbolicOperand aSecond)
    : SymbolicFcnCall2UExpr{aTable, aTable.lookup(&aName), aFirst.getId(aTable),
                            aSecond.getId(aTable)} {}
SymbolicFcnCall2UExpr::SymbolicFcnCall2UExpr(SymbolicExprTable& aTable, SymbolicExprId aName,
                                             SymbolicExprId aFirst, SymbolicExprId aSecond)
    : SymbolicTernaryExpr(aName, aFirst, aSecond) {
  detail::Intern::node(aTable, *this);
}
SymbolicFcnCall2UExpr::~SymbolicFcnCall2UExpr() = default;
int SymbolicFcnCall2UExpr::getKind() const { return 29; }
bool SymbolicFcnCall2UExpr::isFixedArityFcnCall() const { return true; }
std::size_t SymbolicFcnCall2UExpr::getNumFcnArgs() const { return 2; }
bool SymbolicFcnCall2UExpr::operator==(const SymbolicExpr& aOther) const {
  return isKind(aOther, SymbolicOp::FcnCall2U, SymbolicOp::FcnCall) && sameInputs(*this, aOther);
}

SymbolicFcnCallExpr::SymbolicFcnCallExpr(SymbolicExprTable& aTable, const std::string& aName,
                                         const std::vector<SymbolicExprId>& aArguments)
    : SymbolicFcnCallExpr{aTable, detail::intern<SymbolicString>(aTable, aName), aArguments} {}
SymbolicFcnCallExpr::SymbolicFcnCallExpr(SymbolicExprTable& aTable, const SymbolicString& aName,
                                         const std::vector<SymbolicExprId>& aArguments)
    : SymbolicFcnCallExpr{aTable, aTable.lookup(&aName), aArguments} {}
SymbolicFcnCallExpr::SymbolicFcnCallExpr(SymbolicExprTable& aTable, SymbolicExprId aName,
                                         const std::vector<SymbolicExprId>& aArguments)
    : SymbolicMultiExpr(concatExprIdVector(aName, aArguments)) {
  switch (aArguments.size()) {
    case 0: SymbolicFcnCall0UExpr(aTable, aName); break;
    case 1: SymbolicFcnCall1UExpr(aTable, aName, aArguments[0]); break;
    case 2: SymbolicFcnCall2UExpr(aTable, aName, aArguments[0], aArguments[1]); break;
    default: detail::Intern::node(aTable, *this);
  }
}
SymbolicFcnCallExpr::~SymbolicFcnCallExpr() = default;
int SymbolicFcnCallExpr::getKind() const { return 30; }
std::size_t SymbolicFcnCallExpr::getNumFcnArgs() const { return inputs.size() - 1; }
bool SymbolicFcnCallExpr::operator==(const SymbolicExpr& aOther) const {
  return isKindBetween(aOther, SymbolicOp::FcnCall0U, SymbolicOp::FcnCall) &&
         sameInputs(*this, aOther);
}
std::size_t SymbolicFcnCallExpr::getHash() const {
  const std::size_t count = inputs.size();
  const int kind = count >= 1 && count <= 3 ? 26 + static_cast<int>(count) : 30;
  return detail::hashInputs(kind, inputs.data(), count);
}

SymbolicMemberValue::SymbolicMemberValue(SymbolicExprTable& aTable, SymbolicOperand aObject,
                                         const std::string& aMember)
    : SymbolicUnaryExpr(aObject.getId(aTable)), member(aMember) {
  detail::Intern::node(aTable, *this);
}
SymbolicMemberValue::~SymbolicMemberValue() = default;
int SymbolicMemberValue::getKind() const { return 31; }
bool SymbolicMemberValue::operator==(const SymbolicExpr& aOther) const {
  const auto* const other = as<SymbolicMemberValue>(aOther);
  return other != nullptr && other->input == input && other->member == member;
}
std::size_t SymbolicMemberValue::getHash() const {
  std::size_t seed = detail::hashText(member);
  detail::combine(seed, 31);
  detail::combine(seed, input);
  return seed;
}

}  // namespace KS
