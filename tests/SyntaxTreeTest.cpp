// The public syntax tree: its operators, the grammar that builds it, its conversion, and trees of
// any depth.
#include <gtest/gtest.h>

#include <boost/spirit/include/qi_parse.hpp>
#include <string>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "parser/Ast2SymbolicExprId.hpp"
#include "parser/ExprParser.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SmallStack.hpp"

namespace KS::Parser {
namespace {

namespace qi = boost::spirit::qi;
using Grammar = ExprParser<std::string::const_iterator>;

expression_ast name(const char* aName) { return variable{aName}; }

bool parseTree(Grammar& aGrammar, const std::string& aText, expression_ast& aTree) {
  auto first = aText.begin();
  return qi::phrase_parse(first, aText.end(), aGrammar, qi::ascii::space, aTree) &&
         first == aText.end();
}

std::string printed(const expression_ast& aTree, bool aCSyntax = true) {
  SymbolicExprTable table;
  const SymbolicExprId id = boost::apply_visitor(Ast2SymbolicExprId(table, aCSyntax), aTree.expr);
  return id == invalidSymbolicExprId ? "nothing"
                                     : SymbolicExprPrinter(table, false, false, false)(id);
}

TEST(SyntaxTree, BracketsNestAsDeeplyAsInTheParser) {
  constexpr std::size_t limit = SymbolicExprParser::maxNesting;
  for (const std::size_t levels : {limit, limit + 1}) {
    Grammar grammar;
    expression_ast tree;
    const std::string text = std::string(levels, '(') + 'a' + std::string(levels, ')');
    EXPECT_EQ(parseTree(grammar, text, tree), levels == limit);
  }
}

TEST(SyntaxTree, OperatorsBuildAndNeverCompute) {
  using Fold = expression_ast& (expression_ast::*)(const expression_ast&);
  const struct {
    Fold fold;
    SymbolicOp op;
    const char* text;
  } rows[] = {
      {&expression_ast::operator+=, SymbolicOp::Plus, "a+b"},
      {&expression_ast::operator-=, SymbolicOp::Minus, "a-b"},
      {&expression_ast::operator*=, SymbolicOp::Multiply, "a*b"},
      {&expression_ast::operator/=, SymbolicOp::Divide, "a/b"},
      {&expression_ast::operator==, SymbolicOp::Equal, "a==b"},
      {&expression_ast::operator!=, SymbolicOp::NotEqual, "a!=b"},
      {&expression_ast::operator<, SymbolicOp::LessThan, "a<b"},
      {&expression_ast::operator<=, SymbolicOp::LessThanEqual, "a<=b"},
      {&expression_ast::operator>, SymbolicOp::GreaterThan, "a>b"},
      {&expression_ast::operator>=, SymbolicOp::GreaterThanEqual, "a>=b"},
      {&expression_ast::operator&&, SymbolicOp::And, "a&&b"},
      {&expression_ast::operator||, SymbolicOp::Or, "a||b"},
      {&expression_ast::operator&, SymbolicOp::BitAnd, "a&b"},
      {&expression_ast::operator|, SymbolicOp::BitOr, "a|b"},
      {&expression_ast::operator^, SymbolicOp::BitXOr, "a^b"},
      {&expression_ast::operator<<, SymbolicOp::ShiftLeft, "a<<b"},
      {&expression_ast::operator>>, SymbolicOp::ShiftRight, "a>>b"},
      {&expression_ast::operator[], SymbolicOp::FcnCall2U, "b(a)"},
  };
  for (const auto& row : rows) {
    expression_ast tree = name("a");
    const expression_ast right = name("b");
    EXPECT_EQ(&(tree.*row.fold)(right), &tree) << row.text;
    const auto* const operation = boost::get<binary_op>(&tree.expr);
    ASSERT_NE(operation, nullptr) << row.text;
    EXPECT_EQ(operation->op, row.op) << row.text;
    EXPECT_EQ(printed(tree), row.text);
    EXPECT_EQ(printed(right), "b") << row.text;
  }
  // The right tree may be the left one, or a part of it.
  expression_ast tree = name("a");
  tree += tree;
  tree *= boost::get<binary_op>(tree.expr).right;
  EXPECT_EQ(printed(tree), "(a+a)*a");
  tree = boost::get<binary_op>(tree.expr).left;
  EXPECT_EQ(printed(tree), "a+a");
}

TEST(SyntaxTree, ConvertsTreesThatNoTextGives) {
  // An argument that is no list is one argument.
  expression_ast call = expression_ast(7);
  EXPECT_EQ(printed(call[name("f")]), "f(7)");
  EXPECT_EQ(printed(moduloExp.f(name("a"), name("b"))), "a%b");
  EXPECT_EQ(printed(memberVal.f(name("s"), name("m"))), "s.m");
  EXPECT_EQ(printed(voidFcnCallExp.f(name("f"))), "f()");
  EXPECT_EQ(printed(negExp.f(expression_ast(-2))), "--2");
  EXPECT_EQ(printed(cmpExp.f(name("a"))), "~a");
  EXPECT_EQ(printed(cmpExp.f(name("a")), false), "!a");
  // Nothing, and codes that no operation has.
  EXPECT_EQ(printed(expression_ast()), "nothing");
  EXPECT_EQ(printed(unary_op(SymbolicOp::Plus, name("a"))), "nothing");
  EXPECT_EQ(printed(unary_op(SymbolicOp::FcnCall, name("a"))), "nothing");
  EXPECT_EQ(printed(binary_op(SymbolicOp::Not, name("a"), name("b"))), "nothing");
  EXPECT_EQ(printed(binary_op(static_cast<SymbolicOp>(99), name("a"), name("b"))), "nothing");
  // A member's name that is no name.
  EXPECT_EQ(printed(memberVal.f(name("s"), expression_ast(1))), "nothing");
  EXPECT_EQ(printed(memberVal.f(name("s"), expression_ast())), "nothing");

  SymbolicExprTable table;
  const Ast2SymbolicExprId convert(table, true);
  std::vector<SymbolicExprId> ids{5};
  convert.convert2SymbolicExprIdVector({name("a"), expression_ast(), name("a")}, ids);
  EXPECT_EQ(ids, (std::vector<SymbolicExprId>{5, 0, invalidSymbolicExprId, 0}));
  // Alternatives alone.
  const SymbolicExprPrinter print(table, false, false, false);
  EXPECT_EQ(convert(nil()), invalidSymbolicExprId);
  EXPECT_EQ(print(convert(7)), "7");
  EXPECT_EQ(print(convert(2.5)), "2.5");
  EXPECT_EQ(print(convert(variable{"b"})), "b");
  EXPECT_EQ(print(convert(std::vector<expression_ast>{name("a"), name("b")})), "[a,b]");
  EXPECT_EQ(print(convert(unary_op(SymbolicOp::Not, name("a")))), "!a");
  EXPECT_EQ(print(convert(binary_op(SymbolicOp::Minus, name("a"), name("b")))), "a-b");
}

// What has nothing for an operand is interned with the invalid id as its input.
TEST(SyntaxTree, NothingAsAnOperand) {
  const expression_ast nothing;
  using Trees = std::vector<expression_ast>;
  constexpr SymbolicExprId none = invalidSymbolicExprId;
  const struct {
    expression_ast tree;
    int kind;
    std::vector<SymbolicExprId> inputs;  // a has the id 0
  } rows[] = {
      {expression_ast(name("a")) += nothing, 3, {0, none}},
      {moduloExp.f(nothing, name("a")), 8, {none, 0}},
      {notExp.f(unary_op(SymbolicOp::Plus, nothing)), 17, {none}},
      {voidFcnCallExp.f(nothing), 27, {none}},
      {Trees{nothing}, 26, {none}},
      {Trees{nothing, nothing, name("a"), nothing}, 26, {none, none, 0, none}},
      {expression_ast(Trees{nothing, name("a")})[name("a")], 29, {0, none, 0}},
      {memberVal.f(nothing, name("a")), 31, {none}},
  };
  for (const auto& row : rows) {
    SymbolicExprTable table;
    SymbolicString(table, "a");
    ASSERT_EQ(Ast2SymbolicExprId(table, true)(row.tree), 1U) << row.kind;
    const SymbolicExpr& node = *table.get(1);
    EXPECT_EQ(node.getKind(), row.kind);
    std::vector<SymbolicExprId> inputs;
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) inputs.push_back(node.getInput(i));
    EXPECT_EQ(inputs, row.inputs) << row.kind;
  }
}

TEST(SyntaxTree, GrammarBuildsTheTreeOfTheText) {
  const struct {
    const char* text;
    int which;
    SymbolicOp op;
  } rows[] = {
      {"a - b", 6, SymbolicOp::Minus},     {"a % b", 6, SymbolicOp::Modulo},
      {"f(x)", 6, SymbolicOp::FcnCall2U},  {"f(x, y, z)", 6, SymbolicOp::FcnCall2U},
      {"s.m", 6, SymbolicOp::MemberValue}, {"a ~= b", 6, SymbolicOp::NotEqual},
      {"f()", 7, SymbolicOp::FcnCall0U},   {"~a", 7, SymbolicOp::BitCompl},
      {"-a", 7, SymbolicOp::UnaryMinus},   {"!a", 7, SymbolicOp::Not},
  };
  Grammar grammar;
  for (const auto& row : rows) {
    expression_ast tree;
    ASSERT_TRUE(parseTree(grammar, row.text, tree)) << row.text;
    ASSERT_EQ(tree.expr.which(), row.which) << row.text;
    EXPECT_EQ(
        row.which == 6 ? boost::get<binary_op>(tree.expr).op : boost::get<unary_op>(tree.expr).op,
        row.op)
        << row.text;
  }
  expression_ast call;
  ASSERT_TRUE(parseTree(grammar, "f(x, 2)", call));
  const auto& arguments =
      boost::get<std::vector<expression_ast>>(boost::get<binary_op>(call.expr).left.expr);
  ASSERT_EQ(arguments.size(), 2U);
  EXPECT_EQ(boost::get<int>(arguments[1].expr), 2);
  EXPECT_EQ(boost::get<variable>(boost::get<binary_op>(call.expr).right.expr).name, "f");
  // A refused text leaves the grammar as good as new.
  expression_ast tree;
  EXPECT_FALSE(parseTree(grammar, "a + (b * ", tree));
  EXPECT_FALSE(parseTree(grammar, std::string(1000, '('), tree));
  ASSERT_TRUE(parseTree(grammar, std::string(250, '(') + "a" + std::string(250, ')'), tree));
  EXPECT_EQ(printed(tree), "a");
}

// The grammar matches as much as makes sense, and the tree is that of the matched text.
TEST(SyntaxTree, GrammarMatchesPrefixes) {
  const struct {
    const char* text;
    const char* tree;
    std::size_t length;
  } rows[] = {
      {"a b", "a", 2},      {"a+", "a", 1},         {"a + (b * c", "a", 2},
      {"a*b+(", "a*b", 3},  {"f(a", "f", 1},        {"f(a)+[b,", "f(a)", 4},
      {"a.b.c", "a.b", 3},  {"a||b&&(", "a||b", 4}, {"a+b*-(c+", "a+b", 3},
      {"-(a)^^b", "-a", 4}, {"1e400", "1", 1},      {"(a)(b)", "a", 3},
  };
  Grammar grammar;
  for (const auto& row : rows) {
    const std::string text = row.text;
    auto first = text.begin();
    expression_ast tree;
    ASSERT_TRUE(qi::phrase_parse(first, text.end(), grammar, qi::ascii::space, tree)) << text;
    EXPECT_EQ(printed(tree), row.tree) << text;
    EXPECT_EQ(first - text.begin(), static_cast<std::ptrdiff_t>(row.length)) << text;
  }
}

TEST(SyntaxTree, ConversionInternsWhatTheParserInterns) {
  test::RandomText random(5);
  Grammar grammar;
  for (std::size_t i = 0; i < 1000; ++i) {
    const std::string text = random.condition(1 + i % 20);
    SymbolicExprTable parsed, converted;
    const SymbolicExprId id = SymbolicExprParser(parsed, i % 2 == 0)(text);
    expression_ast tree;
    ASSERT_TRUE(parseTree(grammar, text, tree)) << text;
    ASSERT_EQ(Ast2SymbolicExprId(converted, i % 2 == 0)(tree), id) << text;
    ASSERT_EQ(converted.size(), parsed.size()) << text;
    for (SymbolicExprId node = 0; node < parsed.size(); ++node) {
      ASSERT_EQ(converted.get(node)->getHash(), parsed.get(node)->getHash()) << text;
    }
  }
}

// Chains to the left, to the right, of prefixes, of lists of one, two and three elements, and to
// the right below the left.
TEST(SyntaxTree, DepthIsNoMatterOfTheStack) {
  constexpr int depth = 100000;
  std::vector<std::size_t> sizes;
  std::vector<bool> same;
  test::runOnStack(std::size_t{256} << 10, [&] {
    for (int shape = 0; shape < 7; ++shape) {
      expression_ast tree = name("a");
      for (int i = 0; i < depth; ++i) {
        switch (shape) {
          case 0: tree += name("b"); break;
          case 1: tree = binary_op(SymbolicOp::Minus, name("b"), std::move(tree)); break;
          case 2: tree = unary_op(SymbolicOp::Not, std::move(tree)); break;
          case 6:
            tree = binary_op(
                SymbolicOp::Minus,
                binary_op(SymbolicOp::Minus, binary_op(SymbolicOp::Plus, name("b"), name("b")),
                          std::move(tree)),
                name("b"));
            break;
          default: {
            std::vector<expression_ast> list(static_cast<std::size_t>(shape) - 2, name("b"));
            list[list.size() / 3] = std::move(tree);
            tree = std::move(list);
          }
        }
      }
      const expression_ast copy = tree;
      SymbolicExprTable table;
      const SymbolicExprId id = Ast2SymbolicExprId(table, true)(tree);
      sizes.push_back(table.size());
      expression_ast moved = std::move(tree);
      const bool isEmpty = tree.expr.which() == 0;  // NOLINT(bugprone-use-after-move)
      moved = copy;
      same.push_back(isEmpty && Ast2SymbolicExprId(table, true)(moved) == id &&
                     table.size() == sizes.back());
    }
  });
  // One operand or two, and an operation for every step.
  EXPECT_EQ(sizes, (std::vector<std::size_t>{depth + 2, depth + 2, depth + 1, depth + 1, depth + 2,
                                             depth + 2, 2 * depth + 3}));
  EXPECT_EQ(same, std::vector<bool>(7, true));
}

}  // namespace
}  // namespace KS::Parser
