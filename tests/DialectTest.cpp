// Functions of M syntax to operators of C syntax and back.
#include <gtest/gtest.h>

#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace KS {
namespace {

using detail::intern;

struct Row {
  const char* in;
  const char* out;
};

template <class Convert>
std::string convert(SymbolicExprTable& aTable, const char* aText) {
  const SymbolicExprId id = SymbolicExprParser(aTable, true)(aText);
  EXPECT_NE(id, invalidSymbolicExprId) << aText;
  return SymbolicExprPrinter(aTable, false, false, false)(Convert(aTable)(id));
}

TEST(DialectTest, FunctionsBecomeOperators) {
  const Row rows[] = {
      {"idivide(a,b)+rem(c,d)", "a/b+c%d"},
      {"bitand(bitor(a,b),bitxor(c,bitcmp(d)))", "(a|b)&(c^~d)"},
      {"[rem(a,b)]", "[a%b]"},
      {"g(rem(a,b),1,[2,bitcmp(c)])*s.m", "g(a%b,1,[2,~c])*s.m"},
      {"bitshift(x,2)", "x<<2"},
      {"bitshift(x,0)", "x<<0"},
      {"bitshift(x,-2)", "x>>2"},
      {"bitshift(x,-(2))", "x>>2"},
      {"bitshift(x,-(-2))", "x<<2"},
      {"bitshift(x,y)", "x<<y"},
      {"bitshift(x,-y)", "x>>y"},
      {"bitshift(x,-2.0)", "x<<-2.0"},
      {"bitshift(x,rem(a,b))", "x<<a%b"},
      // The smallest integer has no positive counterpart.
      {"bitshift(x,-2147483648)", "x>>-2147483648"},
      {"bitshift(x,-(-2147483648))", "x>>-2147483648"},
      // Other functions and other numbers of arguments.
      {"foo(a,b)", "foo(a,b)"},
      {"rem(a)+rem(a,b,c)+rem()+rem", "rem(a)+rem(a,b,c)+rem()+rem"},
      {"bitcmp(a,b)", "bitcmp(a,b)"},
      {"a/b", "a/b"},
  };
  for (const Row& row : rows) {
    SymbolicExprTable table;
    EXPECT_EQ(convert<SymbolicExprM2C>(table, row.in), row.out) << row.in;
  }
}

TEST(DialectTest, OperatorsBecomeFunctions) {
  const Row rows[] = {
      {"a/b+c%d", "idivide(a,b)+rem(c,d)"},
      {"(a|b)&(c^~d)", "bitand(bitor(a,b),bitxor(c,bitcmp(d)))"},
      {"[a%b]", "[rem(a,b)]"},
      {"x<<3", "bitshift(x,3)"},
      {"x<<-3", "bitshift(x,-3)"},
      {"x<<-(3)", "bitshift(x,-3)"},
      {"x<<-(-3)", "bitshift(x,3)"},
      {"x<<y", "bitshift(x,y)"},
      {"x<<-y", "bitshift(x,-y)"},
      {"x>>3", "bitshift(x,-3)"},
      {"x>>-3", "bitshift(x,3)"},
      {"x>>-(3)", "bitshift(x,3)"},
      {"x>>y", "bitshift(x,-y)"},
      {"x>>-y", "bitshift(x,y)"},
      {"x>>-2147483648", "bitshift(x,-2147483648)"},
      {"x>>(y+1)", "bitshift(x,-(y+1))"},
      {"!a&&b||-c*d==f(e)", "!a&&b||-c*d==f(e)"},
  };
  for (const Row& row : rows) {
    SymbolicExprTable table;
    EXPECT_EQ(convert<SymbolicExprC2M>(table, row.in), row.out) << row.in;
  }
}

TEST(DialectTest, SharedExpressionsCostTheirDistinctNodes) {
  SymbolicExprTable table;
  SymbolicExprId id = intern<SymbolicString>(table, "x");
  for (int i = 0; i < 60; ++i) id = intern<SymbolicDivideExpr>(table, id, id);
  const SymbolicExprId calls = SymbolicExprC2M(table)(id);
  EXPECT_EQ(table.size(), 1 + 60 + 7 + 60U);
  EXPECT_EQ(SymbolicExprM2C(table)(calls), id);
  EXPECT_EQ(table.size(), 1 + 60 + 7 + 60U);
}

TEST(DialectTest, UnknownIdsThrowAndLeaveTheTableAsItWas) {
  SymbolicExprTable table;
  const SymbolicExprM2C toC(table);
  const SymbolicExprC2M toM(table);
  EXPECT_THROW(toC(0), std::out_of_range);
  EXPECT_THROW(toM(invalidSymbolicExprId), std::out_of_range);
  EXPECT_EQ(table.size(), 0U);
}

TEST(DialectTest, NamesAreInternedFirstAndTheWalkGivesTheSameIds) {
  SymbolicExprTable walked;
  SymbolicExprTable driven;
  const char* const text = "(a/b<<-(2))+(c>>d%e)";
  const SymbolicExprId id = SymbolicExprParser(walked, true)(text);
  ASSERT_EQ(SymbolicExprParser(driven, true)(text), id);
  const SymbolicExprId firstNew = walked.size();
  SymbolicExprC2MVisitor visitor(walked);
  walked.get(id)->accept(walked, visitor);
  EXPECT_EQ(visitor.get(), SymbolicExprC2M(driven)(id));
  EXPECT_EQ(walked.size(), driven.size());
  const char* const names[] = {"idivide", "rem", "bitand", "bitor", "bitxor", "bitcmp", "bitshift"};
  SymbolicExprId expected = firstNew;
  for (const char* name : names) {
    EXPECT_EQ(intern<SymbolicString>(driven, name), expected++);
  }
}

}  // namespace
}  // namespace KS
