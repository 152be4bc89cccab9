// The binary operators: spelling, code and precedence level.
#pragma once

#include <boost/spirit/include/qi_symbols.hpp>
#include <memory>

#include "base/SymbolicOp.hpp"

namespace KS::detail {

/// The levels of precedence, loosest first. Every level is left-associative.
enum class Level {
  none,
  logicalOr,
  logicalAnd,
  bitOr,
  bitXor,
  bitAnd,
  equality,
  relational,
  shift,
  additive,
  multiplicative
};

/// A binary operator as it is parsed.
struct BinaryOperator {
  SymbolicOp op;
  Level level;
};

/// Every spelling with its operator; of two that match, the longer one is meant. That is what
/// trying level by level comes to as well: no operand starts with the rest of a longer spelling.
inline const boost::spirit::qi::symbols<char, BinaryOperator>& binaryOperators() {
  using Op = SymbolicOp;
  static const auto* const table = [] {
    auto symbols = std::make_unique<boost::spirit::qi::symbols<char, BinaryOperator>>();
    symbols->add
        // clang-format off
        ("||", {Op::Or,            Level::logicalOr})
        ("&&", {Op::And,           Level::logicalAnd})
        ("|",  {Op::BitOr,         Level::bitOr})
        ("^",  {Op::BitXOr,        Level::bitXor})
        ("&",  {Op::BitAnd,        Level::bitAnd})
        ("==", {Op::Equal,         Level::equality})
        ("!=", {Op::NotEqual,      Level::equality})
        ("~=", {Op::NotEqual,      Level::equality})
        ("<=", {Op::LessThanEqual, Level::relational})
        ("<",  {Op::LessThan,      Level::relational})
        (">=", {Op::GreaterThanEqual, Level::relational})
        (">",  {Op::GreaterThan,   Level::relational})
        (">>", {Op::ShiftRight,    Level::shift})
        ("<<", {Op::ShiftLeft,     Level::shift})
        ("+",  {Op::Plus,          Level::additive})
        ("-",  {Op::Minus,         Level::additive})
        ("*",  {Op::Multiply,      Level::multiplicative})
        ("/",  {Op::Divide,        Level::multiplicative})
        ("%",  {Op::Modulo,        Level::multiplicative});
    // clang-format on
    return symbols.release();
  }();
  return *table;
}

}  // namespace KS::detail
