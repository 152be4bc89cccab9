// The rules that change a value on purpose.
//
// Every other rule keeps the value of finite operands, over the reals and over 32-bit integers that
// wrap. Sums of doubles are regrouped all the same, so their last bits may differ; and x - x is 0
// also where x is infinite. Of connectives only the truth is kept: `a && true` becomes `a`, which
// may be 5.
#pragma once

#include "simplify/detail/PairRules.hpp"

namespace KS::detail {

/// When the value of arithmetic changes.
enum class ValueChange {
  ZeroDivisor,       ///< a divisor is zero
  InexactQuotient,   ///< integer division leaves a remainder
  NegativeQuotient,  ///< so does the division of two literals, and the quotient is negative
  Wrapping           ///< literals fold beyond 32 bits while the other operand is no integer, or an
                     ///< integer product that is divided again leaves the 32 bits
};

/// One way in which a rule of arithmetic changes values. The rule's comment in Arithmetic.cpp
/// carries the same words and the mark "(changes values)".
struct ValueChangingRule {
  const char* rule;
  ValueChange when;
  /// Whether the example divides integers, or computes with real numbers.
  bool overIntegers;
  const char* example;  ///< over x and p
  const char* result;   ///< what it simplifies to, which differs for the following x and p
  int x, p;
};

// clang-format off
inline constexpr ValueChangingRule valueChangingRules[] = {
    {"x / x -> 1",       ValueChange::ZeroDivisor,     true,  "x/x",     "1",    0, 0},
    {"(R * q) / R -> q", ValueChange::ZeroDivisor,     true,  "x*p/x",   "p",    0, 5},
    {"(R * q) / R -> q", ValueChange::Wrapping,        true,  "x*p/x",   "p",    65536, 65537},
    {"(p * R) / R -> p", ValueChange::ZeroDivisor,     true,  "p*x/x",   "p",    0, 5},
    {"(p * R) / R -> p", ValueChange::Wrapping,        true,  "p*x/x",   "p",    65536, 65537},
    {"L * (p / L) -> p", ValueChange::ZeroDivisor,     true,  "x*(p/x)", "p",    0, 5},
    {"L * (p / L) -> p", ValueChange::InexactQuotient, true,  "x*(p/x)", "p",    2, 5},
    {"(p / R) * R -> p", ValueChange::ZeroDivisor,     true,  "p/x*x",   "p",    0, 5},
    {"(p / R) * R -> p", ValueChange::InexactQuotient, true,  "p/x*x",   "p",    2, 5},
    {"a / c folds -> a/c",
                         ValueChange::NegativeQuotient, false, "-7/2",   "-3",   0, 0},
    {"(a * y) / c, a / c folds -> (a/c) * y",
                         ValueChange::NegativeQuotient, true,  "-7*x/2", "-3*x", 2, 0},
    {"(a * y) / c, a / c folds -> (a/c) * y",
                         ValueChange::Wrapping,         true,  "6*x/3",  "2*x",  1073741824, 0},
    {"c * (x / d), c / d folds -> (c/d) * x",
                         ValueChange::InexactQuotient,  true,  "6*(x/3)", "2*x", 1, 0},
    {"c * (x / d), c / d folds -> (c/d) * x",
                         ValueChange::NegativeQuotient, true,  "-3*(x/2)", "-1*x", 2, 0},
    {"x + c, c negative -> x - (-c)",
                         ValueChange::Wrapping, false, "x*p+-2147483648", "p*x--2147483648", 1, 1},
    {"(x + d) + c -> x + (d + c)",
                         ValueChange::Wrapping, false, "x+2147483647+5", "x-2147483644", 0, 0},
    {"(x - d) + c -> x + (c - d)",
                         ValueChange::Wrapping, false, "x-2147483647+-2147483647", "x+2", 0, 0},
    {"(x + d) - c -> x + (d - c)",
                         ValueChange::Wrapping, false, "x-7+2-2147483647", "x+2147483644", 0, 0},
    {"c * (x + d) -> c*x + d*c",
                         ValueChange::Wrapping, false, "3*(x+2147483647)", "3*x+2147483645", 0, 0},
    {"c * (x - d) -> c*x - d*c",
                         ValueChange::Wrapping, false, "3*(x-2147483647)", "3*x-2147483645", 0, 0},
    {"c * (d - y) -> d*c - c*y",
                         ValueChange::Wrapping, false, "3*(2147483647-x)", "2147483645-3*x", 0, 0},
    {"c * (d * y) -> (d*c) * y",
                         ValueChange::Wrapping, false, "65536*(65536*x)", "0*x",  1, 0},
};
// clang-format on

/// Two relations over one left operand to one right operand, and the connective that joins them.
struct RelationPair {
  SymbolicOp connective;
  Rel first, second;
};

/// The rows of PairRules.hpp that change a value where the operands are not equal but closer to
/// each other than the evaluator's tolerance of 2^-26. The rows reason with exact comparison; of
/// evaluation only < and > do, while the other four relations take such operands for equal:
/// `x > 2 && x == 2` becomes false, and was true for x = 2.0000000001.
inline constexpr RelationPair pairsWithinTolerance[] = {
    {SymbolicOp::And, Rel::Lt, Rel::Ge}, {SymbolicOp::And, Rel::Le, Rel::Gt},
    {SymbolicOp::And, Rel::Lt, Rel::Eq}, {SymbolicOp::And, Rel::Gt, Rel::Eq},
    {SymbolicOp::And, Rel::Le, Rel::Ne}, {SymbolicOp::And, Rel::Lt, Rel::Ne},
    {SymbolicOp::And, Rel::Ge, Rel::Ne}, {SymbolicOp::And, Rel::Gt, Rel::Ne},
    {SymbolicOp::Or, Rel::Lt, Rel::Gt},  {SymbolicOp::Or, Rel::Lt, Rel::Ne},
    {SymbolicOp::Or, Rel::Gt, Rel::Ne},
};

}  // namespace KS::detail
