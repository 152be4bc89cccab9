// Decides whether two expressions mean the same, by evaluation at chosen points and independently
// of the library's own evaluation: exact numbers, exact comparisons, no tolerance.
//
// The constants of a condition cut the line of every symbol into regions within which no relation
// changes. A condition over symbols, relations and logical operators is therefore decided by one
// point per region: every constant, points between neighbours, points beyond both ends. Symbols
// that meet in one relation share their constants and get as many points per region as there are
// symbols, so that every order among them occurs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicOp.hpp"

namespace KS::test {

// Where numbers have no 128 bits, more of them are too large to compute with.
#ifdef __SIZEOF_INT128__
// NOLINTNEXTLINE(modernize-use-using): only this way does -Wpedantic let it pass
__extension__ typedef __int128 Wide;
#else
using Wide = long long;
#endif

/// An exact fraction in lowest terms with a positive denominator, or no value (denominator 0).
struct Number {
  Wide numerator = 0;
  Wide denominator = 0;

  static Number of(long long aValue) { return {aValue, 1}; }
  static Number ofDouble(double aValue);
  bool isDefined() const { return denominator != 0; }
  bool isInteger() const { return denominator == 1; }
  bool isTrue() const { return numerator != 0; }
  std::string text() const;
};
bool operator<(const Number& a, const Number& b);
bool operator==(const Number& a, const Number& b);

/// How arithmetic computes. What an arithmetic cannot compute has no value: a division by zero, a
/// bit operation on a fraction, a number that `Wide` does not hold.
enum class Arithmetic {
  Real,  ///< exact fractions
  Int32  ///< 32-bit integers that wrap, division truncates
};

/// What happened on the way to a value.
struct Circumstances {
  bool zeroDivisor = false;
  bool inexactQuotient = false;
  bool wrapped = false;         ///< a result left the 32 bits
  bool shiftedByLeast = false;  ///< by -2147483648 places, of which there is no negation
};

/// An expression ready to be evaluated again and again. Members, calls of unknown functions and
/// symbols are its variables; a call's value depends on the values of its arguments. The functions
/// that stand for operators in M syntax compute like the operators.
class Program {
 public:
  Program(const SymbolicExprTable& aTable, SymbolicExprId aId);

  /// One number per variable, in the order of `names`.
  Number run(const std::vector<Number>& aValues, Arithmetic aArithmetic,
             Circumstances* aCircumstances = nullptr) const;
  const std::vector<std::string>& names() const { return variables; }

  /// What meets in one relation: variables, and the constants that cut their lines.
  struct Meeting {
    std::vector<std::string> variables;
    std::vector<Number> constants;
    bool isRelation = false;
    bool hasArithmetic = false;
  };
  std::vector<Meeting> meetings() const;

 private:
  struct Step {
    SymbolicOp op;
    std::vector<std::size_t> inputs;
    std::size_t variable = 0;
    Number constant;
  };
  std::size_t variable(const std::string& aName);
  void addCall(Step& aStep, const std::string& aName);
  Number compute(const Step& aStep, const std::vector<Number>& aValues, Arithmetic aArithmetic,
                 Circumstances& aCircumstances) const;

  std::vector<Step> steps;
  std::vector<std::string> variables;
  mutable std::vector<Number> results;
};

/// What is compared.
enum class Compare { Truth, Value };

struct Options {
  Compare compare = Compare::Truth;
  Arithmetic arithmetic = Arithmetic::Real;
  /// All assignments are tried up to this many, and that many at random beyond.
  std::size_t maxAssignments = 1024;
  std::uint64_t seed = 1;
};

struct Verdict {
  /// Bindings under which the two differ, and both values.
  std::optional<std::string> counterexample;
  /// Assignments under which both had a value.
  std::size_t compared = 0;
  /// Assignments that were tried.
  std::size_t tried = 0;
  bool exhaustive = false;
};

/// The values that every variable of the two programs takes.
std::map<std::string, std::vector<Number>> regionPoints(const Program& aBefore,
                                                        const Program& aAfter);

/// Compares two expressions, which may lie in different tables.
Verdict compare(const SymbolicExprTable& aTableBefore, SymbolicExprId aBefore,
                const SymbolicExprTable& aTableAfter, SymbolicExprId aAfter,
                const Options& aOptions = {});

}  // namespace KS::test
