// The binary operators: spelling, code and precedence level.
#pragma once

#include <array>
#include <boost/spirit/include/qi_symbols.hpp>
#include <cstdint>
#include <memory>
#include <vector>

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
  SymbolicOp op = SymbolicOp::String;
  Level level = Level::none;
};

/// The operators by their spellings of one or two characters, for `boost::spirit::qi::symbols`:
/// found at a look or two, where the search tree that it has otherwise compares its way down.
class OperatorLookup {
 public:
  /// Adds a spelling. Its first character may begin two longer ones.
  void add(const char* aFirst, const char* aLast, const BinaryOperator& aOperator) {
    std::uint8_t& number = numbers.at(static_cast<unsigned char>(*aFirst));
    if (number == 0) {
      entries.emplace_back();
      number = static_cast<std::uint8_t>(entries.size() - 1);
    }
    Entry& entry = entries[number];
    if (aLast - aFirst == 1) {
      entry.alone = aOperator;
    } else {
      Longer& free = entry.longer[entry.longer[0].meaning.level == Level::none ? 0 : 1];
      free = {aFirst[1], aOperator};
    }
  }
  /// The operator of the longest spelling that the text begins with, and moves behind it; null
  /// where there is none.
  template <class Iterator, class Filter>
  BinaryOperator* find(Iterator& aFirst, Iterator aLast, Filter) {
    if (aFirst == aLast) return nullptr;
    const auto first = static_cast<unsigned char>(*aFirst);
    if (first >= numbers.size()) return nullptr;
    Entry& entry = entries[numbers[first]];
    Iterator second = aFirst;
    ++second;
    if (second != aLast) {
      for (Longer& longer : entry.longer) {
        if (longer.second != *second || longer.meaning.level == Level::none) continue;
        aFirst = ++second;
        return &longer.meaning;
      }
    }
    if (entry.alone.level == Level::none) return nullptr;
    ++aFirst;
    return &entry.alone;
  }

 private:
  struct Longer {
    char second = '\0';
    BinaryOperator meaning{};
  };
  struct Entry {
    BinaryOperator alone{};
    std::array<Longer, 2> longer;
  };
  std::array<std::uint8_t, 128> numbers{};  // of entries, by first character
  std::vector<Entry> entries{1};            // that of no operator, then the others
};

using OperatorTable = boost::spirit::qi::symbols<char, BinaryOperator, OperatorLookup>;

/// Every spelling with its operator; of two that match, the longer one is meant. That is what
/// trying level by level comes to as well: no operand starts with the rest of a longer spelling.
inline const OperatorTable& binaryOperators() {
  using Op = SymbolicOp;
  static const auto* const table = [] {
    auto symbols = std::make_unique<OperatorTable>();
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
