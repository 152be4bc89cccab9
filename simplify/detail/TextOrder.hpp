// The canonical order of operands: the byte order of their rendered text.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <memory>
#include <string>
#include <string_view>

#include "base/SymbolicExprTable.hpp"
#include "print/SymbolicExprPrinter.hpp"

namespace KS::detail {

/// Orders expressions by text, so that the order is the same in every table and every run. Renders
/// every expression once; the text of an id never changes.
class TextOrder {
 public:
  /// Borrows the table.
  explicit TextOrder(const SymbolicExprTable& aTable);

  /// Negative, zero or positive, as the first text stands before, with or after the second. Throws
  /// `std::length_error` for a text beyond what the printer renders.
  int compare(SymbolicExprId a, SymbolicExprId b);

  /// Sorts the ids.
  void sort(SymbolicExprId* aFirst, SymbolicExprId* aLast);

 private:
  // The first characters of a text, or all of it.
  struct Start {
    std::string text;
    bool isWhole = false;
  };
  static constexpr std::size_t startLength = 12;  // with an operator, a string without allocation

  const Start& start(SymbolicExprId aId);
  std::string_view text(SymbolicExprId aId);
  std::string conjunctionText(SymbolicExprId aId);

  const SymbolicExprTable& table;
  SymbolicExprPrinter printer;
  boost::unordered_flat_map<SymbolicExprId, Start> starts;
  boost::unordered_flat_map<SymbolicExprId, std::unique_ptr<const std::string>> texts;
};

}  // namespace KS::detail
