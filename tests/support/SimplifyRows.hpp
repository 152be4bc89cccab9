// Tables of simplification: text in, text out.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"

namespace KS::test {

/// A near miss has its input as output.
struct SimplifyRow {
  const char* input;
  const char* output;
  /// The number of passes, where it matters.
  std::size_t passes = 0;
};

struct Simplified {
  std::string text;
  std::size_t passes;
};

/// The text in C syntax with blanks around logical operators, or an error.
inline Simplified simplified(const std::string& aText, std::size_t aMaxIterations = 30) {
  SymbolicExprTable table;
  const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
  if (id == invalidSymbolicExprId) return {"no expression: " + aText, 0};
  std::size_t passes = 0;
  const SymbolicExprId result = SymbolicExprSimplify(table, aMaxIterations).simplify(id, passes);
  return {SymbolicExprPrinter(table, false, true, false)(result), passes};
}

template <std::size_t count>
void checkSimplified(const SimplifyRow (&aRows)[count]) {
  for (const SimplifyRow& row : aRows) {
    const Simplified result = simplified(row.input);
    EXPECT_EQ(result.text, row.output) << row.input;
    if (row.passes != 0) {
      EXPECT_EQ(result.passes, row.passes) << row.input;
    }
  }
}

}  // namespace KS::test
