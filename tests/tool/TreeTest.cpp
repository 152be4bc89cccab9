// The tree of blocks as text and as a drawing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/tool/ModelFile.hpp"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

// Blocks that stand before what encloses them; two that nothing encloses.
const std::string stations = modelOf(
    {blockOf("Deep", "\"Inner\"", ", \"VV\": \"A && (B || C)\", \"CG\": \"G\""),
     blockOf("Top", "null", ", \"VV\": \"true\""),
     blockOf("Inner", "\"Top\"", ", \"VV\": \"bitand(A, 1) ~= 0\""), blockOf("Leaf", "\"Top\""),
     blockOf("Other", "null", ", \"VV\": \"~A\""), blockOf("Last", "\"Other\"")});

class KsExprTree : public ModelFile {
 protected:
  static std::string drawn(const std::string& aModel, const std::vector<std::string>& aOptions) {
    write(aModel);
    std::vector<std::string> arguments{"tree", "model.json"};
    arguments.insert(arguments.end(), aOptions.begin(), aOptions.end());
    const Outcome found = run(arguments);
    EXPECT_EQ(found.status, 0) << found.err;
    return found.out;
  }
};

TEST_F(KsExprTree, IsDrawnWithLinesAndConditions) {
  EXPECT_EQ(drawn(stations, {}),
            "Top\n"
            "├─ Inner  bitand(A,1) ~= 0\n"
            "│  └─ Deep  A && (B || C)\n"
            "└─ Leaf\n"
            "Other  ~A\n"
            "└─ Last\n");
  EXPECT_EQ(drawn(stations, {"--form", "c", "--depth", "2"}),
            "Top\n"
            "├─ Inner  (A & 1) != 0  (1 block below)\n"
            "└─ Leaf\n"
            "Other  !A\n"
            "└─ Last\n");
  EXPECT_EQ(drawn(stations, {"--family", "cg", "--depth", "1"}),
            "Top  (3 blocks below)\n"
            "Other  (1 block below)\n");
  EXPECT_EQ(drawn(stations, {"--depth", "2", "--width", "12"}),
            "Top\n"
            "├─ Inner  b…\n"
            "└─ Leaf\n"
            "Other  ~A\n"
            "└─ Last\n");
  EXPECT_EQ(drawn(modelOf({}), {}), "");
  EXPECT_EQ(run({"tree", "model.json", "--depth", "0"}).status, 2);
}

TEST_F(KsExprTree, ShowsWhatDoesNotParseAndSaysSo) {
  write(modelOf({blockOf("Top", "null", ", \"VV\": \"A &&\""), blockOf("Leaf", "\"Top\"")}));
  const Outcome found = run({"tree", "model.json"});
  EXPECT_EQ(found.status, 1);
  EXPECT_EQ(found.out, "Top  A &&\n└─ Leaf\n");
  EXPECT_THAT(found.err, HasSubstr("expected an operand"));
}

TEST_F(KsExprTree, AChainTakesRoomInItsLength) {
  std::vector<std::string> blocks{blockOf("b0", "null")};
  for (int i = 1; i < 20000; ++i) {
    blocks.push_back(blockOf("b" + std::to_string(i), "\"b" + std::to_string(i - 1) + '"'));
  }
  const std::string text = drawn(modelOf(blocks), {});
  EXPECT_LT(text.size(), blocks.size() * 160);
  EXPECT_THAT(text, HasSubstr("\n   └─ b2\n"));
  // Of the lines of deep blocks the last ones are left.
  EXPECT_THAT(text, HasSubstr("\n(+19959) " + std::string(117, ' ') + "└─ b19999\n"));
  write(modelOf(blocks));
  EXPECT_THAT(run({"dot", "--model", "model.json"}).out, HasSubstr("b19998 -> b19999;"));
}

TEST_F(KsExprTree, IsDrawnForGraphviz) {
  write(modelOf({blockOf("A \\\"quoted\\\" \\\\N", "null", ", \"VV\": \"x == 1\""),
                 blockOf("<b>", "\"A \\\"quoted\\\" \\\\N\"", ", \"VV\": \"y\"")}));
  const Outcome found = run({"dot", "--model", "model.json"});
  EXPECT_EQ(found.status, 0);
  EXPECT_THAT(found.out, StartsWith("digraph model {\n"));
  EXPECT_THAT(found.out, HasSubstr("  b0 [label=\"A \\\"quoted\\\" \\\\N\\nx == 1\", fillcolor="));
  EXPECT_THAT(found.out, HasSubstr("  b1 [label=\"<b>\\ny\""));
  EXPECT_THAT(found.out, HasSubstr("  b0 -> b1;\n"));
  const Outcome folded = run({"dot", "--model", "model.json", "--depth", "1", "--to", "c"});
  EXPECT_THAT(folded.out, HasSubstr("x == 1\\n(1 block below)\""));
  EXPECT_THAT(folded.out, testing::Not(HasSubstr("->")));
  if (std::system("command -v dot >/dev/null") != 0) GTEST_SKIP() << "no Graphviz";
  std::ofstream("model.dot") << found.out;
  EXPECT_EQ(std::system("dot -Tplain model.dot >plain 2>&1"), 0);
  std::ifstream plain("plain");
  const std::string text{std::istreambuf_iterator<char>(plain), {}};
  EXPECT_THAT(text, HasSubstr("edge b0 b1 "));
}

TEST_F(KsExprTree, LongLabelsAreBrokenAndCut) {
  std::string condition = "first";
  for (int i = 0; i < 300; ++i) condition += " && operand" + std::to_string(i);
  write(modelOf({blockOf("Top", "null", ", \"VV\": \"" + condition + '"')}));
  const std::string text = run({"dot", "--model", "model.json"}).out;
  EXPECT_LT(text.size(), 1000U);
  EXPECT_THAT(text, HasSubstr("...\", fillcolor"));
  EXPECT_THAT(text, HasSubstr("&& operand2\\n&& operand3"));
}

TEST_F(KsExprTree, DotTellsOfFiles) {
  write(stations);
  std::ofstream("plain") << "a && b";
  for (const std::string name : {"model.json", "missing.json", "plain"}) {
    const Outcome found = run({"dot", name});
    EXPECT_EQ(found.status, 2);
    EXPECT_EQ(found.out, "");
    EXPECT_EQ(found.err, "dot: \"" + name + "\" is the name of a file; \"ksexpr dot --model " +
                             name + "\" draws a model\n");
  }
  EXPECT_EQ(run({"dot", "plains"}).status, 0);
  EXPECT_EQ(run({"dot", "a", "--model", "model.json"}).status, 2);
  EXPECT_EQ(run({"dot", "--model", "missing.json"}).status, 1);
}

}  // namespace
