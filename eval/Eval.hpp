// Values of evaluation and the operations on them.
//
// A scalar is a bool, a 32-bit int or a double; a value is a scalar or a vector of scalars. The
// operations never fail on numbers: integers wrap, a division by zero saturates or is infinite, a
// remainder by zero is NaN. The comparisons that include equality are tolerant (two doubles closer
// than 2 to the power -26 are equal, and so are two NaNs), the strict orderings are exact.
#pragma once

#include <utility>
#include <variant>
#include <vector>

#include "host/KSPlatform.hpp"

namespace KS::Eval {

/// A bool, a 32-bit int or a double. Copied freely.
class Scalar {
 public:
  /// Which of the three a scalar holds.
  enum Tag : int { Bool = 0, Int = 1, Double = 2 };

  Scalar(bool aValue) : kind(Bool), integer(aValue) {}   // NOLINT(google-explicit-constructor)
  Scalar(int aValue) : kind(Int), integer(aValue) {}     // NOLINT(google-explicit-constructor)
  Scalar(double aValue) : kind(Double), real(aValue) {}  // NOLINT(google-explicit-constructor)
  Scalar(const void*) = delete;                          // a pointer would quietly become a bool

  /// The alternative that is held.
  Tag tag() const { return kind; }
  /// The bool that is held. Throws `std::bad_variant_access` if it is something else.
  bool getBool() const { return require(Bool).integer != 0; }
  /// The int that is held. Throws `std::bad_variant_access` if it is something else.
  int getInt() const { return require(Int).integer; }
  /// The double that is held. Throws `std::bad_variant_access` if it is something else.
  double getDouble() const { return require(Double).real; }

  /// The number as a double, exactly; a bool is 0 or 1.
  double toDouble() const { return kind == Double ? real : integer; }
  /// The number as an int; a bool is 0 or 1. A double is truncated toward zero; NaN and what lies
  /// outside the range of int give -2147483648.
  int toInt() const {
    if (kind != Double) return integer;
    return real > -2147483649.0 && real < 2147483648.0 ? static_cast<int>(real) : -2147483647 - 1;
  }
  /// Whether the number is not zero; NaN is true.
  bool toBool() const { return kind == Double ? real != 0.0 : integer != 0; }

 private:
  const Scalar& require(Tag aTag) const {
    if (kind != aTag) throw std::bad_variant_access();
    return *this;
  }

  Tag kind;
  union {
    int integer;  // a bool is stored as 0 or 1
    double real;
  };
};

/// A scalar, or a vector of scalars whose elements may be of different types.
class Value {
 public:
  /// Which of the two a value holds.
  enum Tag : int { Single = 0, Vector = 1 };

  Value(bool aValue) : content(Scalar(aValue)) {}    // NOLINT(google-explicit-constructor)
  Value(int aValue) : content(Scalar(aValue)) {}     // NOLINT(google-explicit-constructor)
  Value(double aValue) : content(Scalar(aValue)) {}  // NOLINT(google-explicit-constructor)
  Value(Scalar aScalar) : content(aScalar) {}        // NOLINT(google-explicit-constructor)
  Value(std::vector<Scalar> aElements)               // NOLINT(google-explicit-constructor)
      : content(std::move(aElements)) {}
  Value(const void*) = delete;  // a pointer would quietly become a bool
  // Copies what the variant holds: where copying a variant throws, the one of g++ 12 goes on to
  // destroy what it does not hold.
  Value(const Value& aOther)
      : Value(aOther.tag() == Single ? Value(aOther.scalar())
                                     : Value(std::vector<Scalar>(aOther.vector()))) {}
  Value(Value&&) noexcept = default;
  Value& operator=(Value aOther) noexcept {
    content = std::move(aOther.content);
    return *this;
  }

  /// The alternative that is held.
  Tag tag() const { return static_cast<Tag>(content.index()); }
  /// The scalar that is held. Throws `std::bad_variant_access` for a vector.
  const Scalar& scalar() const { return std::get<Scalar>(content); }
  /// The elements of the vector that is held. Throws `std::bad_variant_access` for a scalar.
  const std::vector<Scalar>& vector() const { return std::get<std::vector<Scalar>>(content); }
  std::vector<Scalar>& vector() { return std::get<std::vector<Scalar>>(content); }

 private:
  std::variant<Scalar, std::vector<Scalar>> content;
};

// Binary operations. Two scalars give a scalar. A vector and a scalar, in either order, give the
// vector of the element's results; two vectors are taken element by element. Two vectors of
// different lengths throw `KS::SymbolicExprEvalError`.

/// The sum: a double if either operand is one, else an int that wraps at 32 bits.
KS_API Value plus(const Value& aLeft, const Value& aRight);
/// The difference, typed like the sum.
KS_API Value minus(const Value& aLeft, const Value& aRight);
/// The product, typed like the sum.
KS_API Value times(const Value& aLeft, const Value& aRight);
/// The quotient. Integers are truncated toward zero; an integer divided by zero saturates by its
/// sign, -2147483648 / -1 wraps. A double divisor nearer to zero than 2 to the power -26 gives an
/// infinity of the dividend's sign.
KS_API Value divide(const Value& aLeft, const Value& aRight);
/// The remainder, with the sign of the dividend. A divisor of zero, for doubles one nearer to zero
/// than 2 to the power -26, gives a double NaN. A double remainder that rounding alone keeps from
/// zero is zero, so 0.3 % 0.1 is 0.
KS_API Value modulo(const Value& aLeft, const Value& aRight);
/// Whether the operands are equal, doubles within the tolerance; NaN equals NaN.
KS_API Value equals(const Value& aLeft, const Value& aRight);
/// The negation of `equals`.
KS_API Value notEquals(const Value& aLeft, const Value& aRight);
/// Whether left is greater, exactly.
KS_API Value greaterThan(const Value& aLeft, const Value& aRight);
/// Whether left is less, exactly.
KS_API Value lessThan(const Value& aLeft, const Value& aRight);
/// Whether left is greater or `equals` right.
KS_API Value greaterThanEqual(const Value& aLeft, const Value& aRight);
/// Whether left is less or `equals` right.
KS_API Value lessThanEqual(const Value& aLeft, const Value& aRight);
/// Whether both are true; a number is true unless it is zero.
KS_API Value andOp(const Value& aLeft, const Value& aRight);
/// Whether one is true; a number is true unless it is zero.
KS_API Value orOp(const Value& aLeft, const Value& aRight);
/// The bitwise and of the operands as ints.
KS_API Value bitAndOp(const Value& aLeft, const Value& aRight);
/// The bitwise or of the operands as ints.
KS_API Value bitOrOp(const Value& aLeft, const Value& aRight);
/// The bitwise exclusive or of the operands as ints.
KS_API Value bitXorOp(const Value& aLeft, const Value& aRight);
/// The value, as an int, shifted left by the count; a negative count shifts right, keeping the
/// sign. Counts beyond 31 shift every bit out.
KS_API Value bitLeftShift(const Value& aValue, const Value& aCount);
/// The value shifted left by the negated count.
KS_API Value bitRightShift(const Value& aValue, const Value& aCount);

// Unary operations: a scalar gives a scalar, a vector the vector of its elements' results.

/// The negation; a bool gives an int, and an int wraps at 32 bits.
KS_API Value uminus(const Value& aValue);
/// Whether the number is zero.
KS_API Value notOp(const Value& aValue);
/// The bitwise complement of a bool or an int; of a double, whether it is zero.
KS_API Value bitCmp(const Value& aValue);

/// Whether every element is the bool true, the int 1 or the double 1.0; so is no other non-zero
/// number. True for an empty vector.
KS_API bool all(const Value& aValue);

/// The numbers as doubles, one for a scalar.
KS_API std::vector<double> eval(const Value& aValue);

/// Writes "Scalar: 3" and a newline, or "Vector: [ true 2 0.5 ]" without one, to `std::cout`.
/// Numbers are spelled as a new stream spells them, whatever is set on `std::cout`.
KS_API void printValue(const Value& aValue);

}  // namespace KS::Eval
