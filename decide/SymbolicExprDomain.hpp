// What a variable may be.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "host/KSPlatform.hpp"

namespace KS {

/// The values that a variable may have: some of a list, a range of numbers or of whole numbers, or
/// false and true. Copied freely.
///
///     decider.setDomain(parse("Mains"), SymbolicExprDomain::values({1.0, 3.0}));
///     decider.setDomain(parse("ARCH"), SymbolicExprDomain::values({"arm", "mips"}));
///     decider.setDomain(parse("N"), SymbolicExprDomain::integers(1, 8));
class KS_API SymbolicExprDomain {
 public:
  /// Which of them a domain is.
  enum Kind : int { List, Interval, Integers, Boolean };
  /// A number, or the name of a constant.
  using Value = std::variant<double, std::string>;

  /// One of these. A name is a constant of its own wherever it stands, different from all numbers
  /// and other names; in order it comes after every number, and names come by their characters.
  /// Throws `std::invalid_argument` for an empty list, for NaN, and for the names "", "true" and
  /// "false".
  static SymbolicExprDomain values(std::vector<Value> aValues);
  /// A number from `aLow` to `aHigh`, both included; either may be infinite. Throws
  /// `std::invalid_argument` for NaN and for an empty range.
  static SymbolicExprDomain interval(double aLow, double aHigh);
  /// A whole number of 32 bits from `aLow` to `aHigh`, both included. Throws
  /// `std::invalid_argument` for an empty range.
  static SymbolicExprDomain integers(int aLow = -2147483647 - 1, int aHigh = 2147483647);
  /// False or true, which in comparisons are 0 and 1.
  static SymbolicExprDomain boolean();

  // Copies what each value holds: where copying a variant throws, the one of g++ 12 goes on to
  // destroy what it does not hold.
  SymbolicExprDomain(const SymbolicExprDomain& aOther);
  SymbolicExprDomain(SymbolicExprDomain&&) noexcept = default;
  SymbolicExprDomain& operator=(SymbolicExprDomain aOther) noexcept;
  ~SymbolicExprDomain() = default;

  /// Which of them this is.
  Kind kind() const { return theKind; }
  /// The values of a list; empty for the other kinds.
  const std::vector<Value>& list() const { return listed; }
  /// The least value of a range; 0 for a list and for a boolean.
  double low() const { return lowest; }
  /// The greatest value of a range; 0 for a list, 1 for a boolean.
  double high() const { return highest; }

 private:
  SymbolicExprDomain(Kind aKind, double aLow, double aHigh)
      : theKind(aKind), lowest(aLow), highest(aHigh) {}

  Kind theKind;
  double lowest;
  double highest;
  std::vector<Value> listed;
};

}  // namespace KS
