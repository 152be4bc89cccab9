// Where memory ends: after every number of allocations, an operation throws `std::bad_alloc`, loses
// nothing, and works when it is repeated.
#include <gtest/gtest.h>

#include <boost/spirit/include/qi_parse.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "all.hpp"
#include "host/KSHost.hpp"
#include "tests/memory/Allocation.hpp"

namespace KS {
namespace {

using test::endMemoryEverywhere;
using test::usedBytes;

// Runs in a process of its own, so that nothing has been built before.
TEST(MemoryEnds, WhileTheGrammarIsBuilt) {
  namespace qi = boost::spirit::qi;
  const std::string text = "a + b";
  bool matched = false;
  std::size_t before = usedBytes(), runsThatKept = 0;
  endMemoryEverywhere(
      [&] {
        matched = false;
        const Parser::ExprParser<std::string::const_iterator> grammar;
        Parser::expression_ast tree;
        auto first = text.begin();
        matched = qi::phrase_parse(first, text.end(), grammar, qi::ascii::space, tree);
      },
      [&] {
        if (usedBytes() != before) ++runsThatKept;
        before = usedBytes();
      });
  EXPECT_TRUE(matched);
  EXPECT_LE(runsThatKept, 1U) << "the table of operators is built once, and kept";
}

TEST(MemoryEnds, WhileAMessageIsCopied) {
  using msgcore::BaseMsgID;
  std::vector<BaseMsgID::Argument> arguments;
  arguments.emplace_back(7LL);
  arguments.emplace_back(std::string(40, 'n'));
  arguments.emplace_back(std::u16string(40, u'w'));
  const BaseMsgID message("a component of some length", "a key of some length",
                          std::move(arguments));
  BaseMsgID target("Component", "Key", {});
  endMemoryEverywhere(
      [&] {
        target = BaseMsgID("Component", "Key", {});
        target = message;
      },
      [&] {
        EXPECT_TRUE(target.arguments().empty() || target.arguments() == message.arguments());
      });
  EXPECT_EQ(target.arguments(), message.arguments());
  EXPECT_EQ(target.key(), message.key());
}

TEST(MemoryEnds, WhileANodeIsAdded) {
  std::size_t failures = 0;
  for (std::size_t size = 0; size < 1100; ++size) {
    SymbolicExprTable t;
    for (std::size_t i = 0; i < size; ++i) SymbolicIntValue(t, static_cast<int>(i));
    // What `add` does not take stays the caller's.
    auto node = std::make_unique<SymbolicString>(t, "x");
    ASSERT_EQ(t.size(), size + 1);
    endMemoryEverywhere(
        [&] {
          if (node == nullptr) return;
          t.add(node.get());
          static_cast<void>(node.release());
        },
        [&] {
          if (node != nullptr) ++failures;
          ASSERT_EQ(t.size(), size + (node == nullptr ? 2 : 1));
        });
    ASSERT_EQ(node, nullptr);
    ASSERT_EQ(SymbolicString(t, "x").getId(t), size);
    ASSERT_EQ(SymbolicIntValue(t, static_cast<int>(size) - 1).getId(t), size == 0 ? 2 : size - 1);
  }
  EXPECT_GT(failures, 10U) << "wherever blocks and index grow";
}

// Trees of a shape that takes every way of their destruction.
Parser::expression_ast makeTree() {
  using namespace Parser;
  expression_ast tree = variable{"a name of some length"};
  for (int i = 0; i < 5; ++i) {
    tree += expression_ast(i);
    tree = unary_op(SymbolicOp::Not, std::move(tree));
    std::vector<expression_ast> list(static_cast<std::size_t>(i) + 1);
    list[static_cast<std::size_t>(i) / 2] = std::move(tree);
    tree = std::move(list);
    expression_ast nested;
    nested.expr = std::move(tree);
    tree = binary_op(SymbolicOp::Minus, expression_ast(1), std::move(nested));
  }
  tree *= tree;
  return tree;
}

TEST(MemoryEnds, WhileASyntaxTreeIsBuilt) {
  using namespace Parser;
  const std::size_t before = usedBytes();
  {
    const expression_ast expected = makeTree();
    SymbolicExprTable t;
    const Ast2SymbolicExprId convert(t, true);
    const SymbolicExprId id = convert(expected);
    const SymbolicExprId doubled = SymbolicPlusExpr(t, id, id).getId(t);
    expression_ast tree;
    endMemoryEverywhere([&] { tree = makeTree(); }, [] {});
    EXPECT_EQ(convert(tree), id);
    // Operators leave the tree as it was.
    bool isFolded = false;
    endMemoryEverywhere(
        [&] {
          if (isFolded) return;
          tree += expected;
          isFolded = true;
        },
        [&] { ASSERT_EQ(convert(tree), isFolded ? doubled : id); });
    EXPECT_TRUE(isFolded);
  }
  EXPECT_EQ(usedBytes(), before);
}

TEST(MemoryEnds, WhileASyntaxTreeIsDestroyed) {
  using namespace Parser;
  const std::size_t before = usedBytes();
  {
    auto tree = std::make_unique<expression_ast>(makeTree());
    // Boxes that were moved from stand in the tree, too.
    auto movedFrom = std::make_unique<expression_ast>(makeTree());
    expression_ast taken;
    taken.expr = std::move(boost::get<binary_op>(movedFrom->expr).left.expr);
    const test::MemoryEnd end(0, test::MemoryEnd::forGood);
    tree = nullptr;
    movedFrom = nullptr;
    EXPECT_FALSE(end.wasReached());
  }
  EXPECT_EQ(usedBytes(), before);
}

// A service keeps what it made of a text only up to a limit, and answers the same beyond it.
TEST(Memory, TextsThatAServiceKeepsAreLimited) {
  constexpr std::size_t texts = 160, length = std::size_t{1} << 20;
  const auto text = [](std::size_t i) {
    return "X" + std::string(length, ' ') + "== " + std::to_string(i);
  };
  VCService service;
  const std::size_t before = usedBytes();
  std::vector<SymbolicExprId> ids;
  for (std::size_t i = 0; i < texts; ++i) {
    ids.push_back(service.simplify(text(i)));
    ASSERT_LT(usedBytes() - before, 100 * length) << i;
  }
  EXPECT_GT(usedBytes() - before, 8 * length) << "beyond the limit, texts are kept again";
  EXPECT_EQ(service.printMExpr(ids[7]), "X == 7");
  const std::size_t nodes = service.getTable().size();
  for (std::size_t i = 0; i < texts; i += 9) ASSERT_EQ(service.simplify(text(i)), ids[i]);
  EXPECT_EQ(service.getTable().size(), nodes);
}

}  // namespace
}  // namespace KS
