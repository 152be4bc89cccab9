// What two relations over the same left operand x give in a conjunction or a disjunction: one row
// per pair of relations, `x op1 c1` first and `x op2 c2` second, in canonical order.
//
// No row reasons with the gaps between integers, since x may be a double.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "base/detail/Kinds.hpp"

namespace KS::detail {

/// What becomes of a pair.
enum class Outcome : std::uint8_t {
  Stay,    ///< both stay
  First,   ///< the first alone
  Second,  ///< the second alone
  Decide,  ///< the connective's absorbing value: false of a conjunction, true of a disjunction
  Eq,      ///< x == c1
  Ne,      ///< x != c1
  Lt,      ///< x < c1
  Le,      ///< x <= c1
  Gt,      ///< x > c1
  Ge       ///< x >= c1
};

/// The six relations in canonical order.
enum class Rel : std::uint8_t { Le, Lt, Ge, Gt, Eq, Ne };

/// The kinds of the relations in canonical order.
inline constexpr SymbolicOp relationKinds[] = {
    SymbolicOp::LessThanEqual, SymbolicOp::LessThan, SymbolicOp::GreaterThanEqual,
    SymbolicOp::GreaterThan,   SymbolicOp::Equal,    SymbolicOp::NotEqual};

/// A relation's place in the canonical order, 0 to 5.
constexpr std::size_t relationOrder(SymbolicOp aOp) {
  std::size_t place = 0;
  while (relationKinds[place] != aOp) ++place;
  return place;
}

/// The relation of an outcome that makes one.
constexpr SymbolicOp madeRelation(Outcome aOutcome) {
  switch (aOutcome) {
    case Outcome::Eq: return SymbolicOp::Equal;
    case Outcome::Ne: return SymbolicOp::NotEqual;
    case Outcome::Lt: return SymbolicOp::LessThan;
    case Outcome::Le: return SymbolicOp::LessThanEqual;
    case Outcome::Gt: return SymbolicOp::GreaterThan;
    default: return SymbolicOp::GreaterThanEqual;
  }
}

/// One pair of relations: the outcome for integer constants by how they compare, and for two right
/// operands that are the same expression and no integer.
struct PairRow {
  Rel first, second;
  Outcome less;     ///< c1 < c2
  Outcome equal;    ///< c1 == c2
  Outcome greater;  ///< c1 > c2
  Outcome same;     ///< the same id, no integer
};

/// The outcomes of a connective by pair of relations; pairs without a row stay.
using PairTable = std::array<std::array<PairRow, 6>, 6>;

/// Spreads rows over a table. Two rows for one pair do not compile.
template <std::size_t count>
constexpr PairTable makePairTable(const PairRow (&aRows)[count]) {
  PairTable table{};
  bool taken[6][6] = {};
  for (const PairRow& row : aRows) {
    const auto first = static_cast<std::size_t>(row.first);
    const auto second = static_cast<std::size_t>(row.second);
    if (taken[first][second]) throw "two rows for one pair of relations";
    taken[first][second] = true;
    table[first][second] = row;
  }
  return table;
}

// clang-format off
/// Several pairs stay on purpose where a merged relation exists only in part: x < 3 && x != 5.
inline constexpr PairRow conjunctionRows[] = {
    //first    second    c1 < c2          c1 == c2         c1 > c2          same
    {Rel::Le, Rel::Le, Outcome::First,  Outcome::First,  Outcome::Second, Outcome::Stay},
    {Rel::Le, Rel::Lt, Outcome::First,  Outcome::Second, Outcome::Second, Outcome::Second},
    {Rel::Lt, Rel::Lt, Outcome::First,  Outcome::Second, Outcome::Second, Outcome::Stay},
    {Rel::Le, Rel::Ge, Outcome::Decide, Outcome::Eq,     Outcome::Stay,   Outcome::Eq},
    {Rel::Lt, Rel::Ge, Outcome::Decide, Outcome::Decide, Outcome::Stay,   Outcome::Decide},
    {Rel::Le, Rel::Gt, Outcome::Decide, Outcome::Decide, Outcome::Stay,   Outcome::Decide},
    {Rel::Lt, Rel::Gt, Outcome::Decide, Outcome::Decide, Outcome::Stay,   Outcome::Decide},
    {Rel::Le, Rel::Eq, Outcome::Decide, Outcome::Second, Outcome::Second, Outcome::Second},
    {Rel::Lt, Rel::Eq, Outcome::Decide, Outcome::Decide, Outcome::Second, Outcome::Decide},
    {Rel::Le, Rel::Ne, Outcome::First,  Outcome::Lt,     Outcome::Stay,   Outcome::Lt},
    {Rel::Lt, Rel::Ne, Outcome::Stay,   Outcome::Lt,     Outcome::Stay,   Outcome::Lt},
    {Rel::Ge, Rel::Ge, Outcome::Second, Outcome::Second, Outcome::First,  Outcome::Stay},
    {Rel::Ge, Rel::Gt, Outcome::Second, Outcome::Second, Outcome::First,  Outcome::Second},
    {Rel::Gt, Rel::Gt, Outcome::Second, Outcome::Second, Outcome::First,  Outcome::Stay},
    {Rel::Ge, Rel::Eq, Outcome::Second, Outcome::Second, Outcome::Decide, Outcome::Second},
    {Rel::Gt, Rel::Eq, Outcome::Second, Outcome::Decide, Outcome::Decide, Outcome::Decide},
    {Rel::Ge, Rel::Ne, Outcome::Stay,   Outcome::Gt,     Outcome::First,  Outcome::Gt},
    {Rel::Gt, Rel::Ne, Outcome::Stay,   Outcome::Gt,     Outcome::Stay,   Outcome::Stay},
    {Rel::Eq, Rel::Eq, Outcome::Decide, Outcome::Stay,   Outcome::Decide, Outcome::Stay},
    {Rel::Eq, Rel::Ne, Outcome::First,  Outcome::Decide, Outcome::First,  Outcome::Decide},
};

/// Complete: where the union of the two is everything, one of them or a single relation for all
/// real x, the row says so.
inline constexpr PairRow disjunctionRows[] = {
    //first    second    c1 < c2          c1 == c2         c1 > c2          same
    {Rel::Le, Rel::Le, Outcome::Second, Outcome::Stay,   Outcome::First,  Outcome::Stay},
    {Rel::Le, Rel::Lt, Outcome::Second, Outcome::First,  Outcome::First,  Outcome::First},
    {Rel::Le, Rel::Ge, Outcome::Stay,   Outcome::Decide, Outcome::Decide, Outcome::Decide},
    {Rel::Le, Rel::Gt, Outcome::Stay,   Outcome::Decide, Outcome::Decide, Outcome::Decide},
    {Rel::Le, Rel::Eq, Outcome::Stay,   Outcome::First,  Outcome::First,  Outcome::First},
    {Rel::Le, Rel::Ne, Outcome::Second, Outcome::Decide, Outcome::Decide, Outcome::Decide},
    {Rel::Lt, Rel::Lt, Outcome::Second, Outcome::Stay,   Outcome::First,  Outcome::Stay},
    {Rel::Lt, Rel::Ge, Outcome::Stay,   Outcome::Decide, Outcome::Decide, Outcome::Decide},
    {Rel::Lt, Rel::Gt, Outcome::Stay,   Outcome::Ne,     Outcome::Decide, Outcome::Ne},
    {Rel::Lt, Rel::Eq, Outcome::Stay,   Outcome::Le,     Outcome::First,  Outcome::Le},
    {Rel::Lt, Rel::Ne, Outcome::Second, Outcome::Second, Outcome::Decide, Outcome::Second},
    {Rel::Ge, Rel::Ge, Outcome::First,  Outcome::Stay,   Outcome::Second, Outcome::Stay},
    {Rel::Ge, Rel::Gt, Outcome::First,  Outcome::First,  Outcome::Second, Outcome::First},
    {Rel::Ge, Rel::Eq, Outcome::First,  Outcome::First,  Outcome::Stay,   Outcome::First},
    {Rel::Ge, Rel::Ne, Outcome::Decide, Outcome::Decide, Outcome::Second, Outcome::Decide},
    {Rel::Gt, Rel::Gt, Outcome::First,  Outcome::Stay,   Outcome::Second, Outcome::Stay},
    {Rel::Gt, Rel::Eq, Outcome::First,  Outcome::Ge,     Outcome::Stay,   Outcome::Ge},
    {Rel::Gt, Rel::Ne, Outcome::Decide, Outcome::Second, Outcome::Second, Outcome::Second},
    {Rel::Eq, Rel::Ne, Outcome::Second, Outcome::Decide, Outcome::Second, Outcome::Decide},
    {Rel::Ne, Rel::Ne, Outcome::Decide, Outcome::Stay,   Outcome::Decide, Outcome::Stay},
};
// clang-format on

inline constexpr PairTable conjunctionPairs = makePairTable(conjunctionRows);
inline constexpr PairTable disjunctionPairs = makePairTable(disjunctionRows);

}  // namespace KS::detail
