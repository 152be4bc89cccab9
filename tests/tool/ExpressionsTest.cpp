// The commands that answer one expression at a time, as a user sees them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <streambuf>

#include "tests/tool/RunTool.hpp"

namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;

struct Row {
  std::vector<std::string> arguments;
  std::string input;
  std::string out;
  std::string err;
  int status;
};

void check(const std::vector<Row>& aRows) {
  for (const Row& row : aRows) {
    std::string command;
    for (const std::string& argument : row.arguments) command += " '" + argument + '\'';
    SCOPED_TRACE(command + " < " + row.input);
    const Outcome found = run(row.arguments, row.input);
    EXPECT_EQ(found.out, row.out);
    EXPECT_EQ(found.err, row.err);
    EXPECT_EQ(found.status, row.status);
  }
}

TEST(KsExpr, Answers) {
  check({
      {{"print", "a+ b", "[1, 2]", "[x]", "print", "(a)"},
       "",
       "a+b\n[1,2]\n[x]\nprint\na\n",
       "",
       0},
      {{"print", "--", "-a"}, "", "-a\n", "", 0},
      {{"print", "--to", "c", "--spaces", "~a&&b~=1"}, "", "!a && b!=1\n", "", 0},
      {{"print", "--from", "c", "~a", "!a"}, "", "~a\n!a\n", "", 0},
      {{"print", "--to", "pp", "s.m&&true||b"}, "", "(s_m && 1) || b\n", "", 0},
      {{"simplify", "a && (a || b)", "true || x"}, "", "a\ntrue\n", "", 0},
      {{"simplify", "--from", "c", "!(a == 1)"}, "", "a!=1\n", "", 0},
      {{"convert", "bitshift(bitand(x, 3), -2)"}, "", "(x&3)>>2\n", "", 0},
      {{"convert", "--from", "c", "x / 2 % ~y"}, "", "rem(idivide(x,2),bitcmp(y))\n", "", 0},
      {{"convert", "--to", "m", "bitand(x, 3)"}, "", "bitand(x,3)\n", "", 0},
      {{"convert", "--to", "pp", "idivide(s.m, 2) == 1"}, "", "s_m / 2 == 1\n", "", 0},
      {{"cast-int", "x + 2.5", "[0.49999999999999994, -2.5]"}, "", "x+3\n[0,-3]\n", "", 0},
      {{"factor", "a / b * c"}, "", "a*c/b\n", "", 0},
      {{"symbols", "f(b, a) + b * s.m", "1 + 2"}, "", "f b a s\n\n", "", 0},
      {{"eval", "0.1 + 0.2", "[1, 1/2.0, -0.0]", "1e22", "7 % 0", "-1/0.0"},
       "",
       "0.30000000000000004\n1 0.5 -0\n1e+22\nnan\n-inf\n",
       "",
       0},
      {{"eval", "-D", "N=4", "-D", "M=[1, N]", "N * M", "M == N"}, "", "4 16\n0 1\n", "", 0},
      {{"eval", "--from", "c", "-D", "N=~0", "N"}, "", "-1\n", "", 0},
      {{"eval", "-D", "N=bitor(4, 1)", "-D", "S.m=[3, 0.5]", "bitand(6, 3)", "S.m * N"},
       "",
       "2\n15 2.5\n",
       "",
       0},
      {{"eval", "-D", "g=S.m", "f(2)", "S.m", "g", "1"},
       "",
       "\n\n\n1\n",
       "<argument 1>:1:1: the call of 'f' has no value\nf(2)\n^\n"
       "<argument 2>:1:1: the member 'S.m' has no value\nS.m\n^\n"
       "<argument 3>:1:1: the member 'S.m' has no value\ng\n^\n",
       1},
      {{"simplify", "-D", "A=1", "-D", "B=2.5", "-D", "S.m=false", "A && B > 2 && C",
        "bitand(X, A) == 1 || S.m", "B + X", "A"},
       "",
       "C\nbitand(X,1)==1\nX+2.5\n1\n",
       "",
       0},
  });
}

std::string note(const std::string& aNumber) {
  return "note: '" + aNumber +
         "' is a number, and no symbol's or function's name begins with 'inf' or 'nan' in either "
         "case\n";
}

TEST(KsExpr, ReadsLinesWhateverTheyContain) {
  check({
      {{"print"}, "", "", "", 0},
      {{"print"}, "a+1\r\nb", "a+1\nb\n", "", 0},
      {{"print"},
       "a\n\nb +\n",
       "a\n\n\n",
       "<stdin>:2:1: expected an operand\n\n^\n"
       "<stdin>:3:4: expected an operand\nb +\n   ^\n",
       1},
      {{"print"},
       "\ta +\t* b\n",
       "\n",
       "<stdin>:1:6: expected an operand\n        a +     * b\n                ^\n",
       1},
      {{"print"},
       "a\0b\n\xC3\xA4 + \xFF\n\x1B[2J\n"s,
       "\n\n\n",
       "<stdin>:1:2: expected an operator or the end of the expression\na?b\n ^\n"
       "<stdin>:2:1: expected an operand\n\xC3\xA4 + ?\n^\n"
       "<stdin>:3:1: expected an operand\n?[2J\n^\n",
       1},
      {{"print", "a || NAND == s."},
       "",
       "\n",
       "<argument 1>:1:9: expected an operator or the end of the expression\n"
       "a || NAND == s.\n        ^\n" +
           note("NAN"),
       1},
      {{"print", "s. + 1"},
       "",
       "\n",
       "<argument 1>:1:4: expected a member's name\ns. + 1\n   ^\n",
       1},
      {{"print", "a", "b\n + 1 1"},
       "",
       "a\n\n",
       "<argument 2>:2:6: expected an operator or the end of the expression\n + 1 1\n     ^\n",
       1},
      {{"eval", "N + 1", "2"},
       "",
       "\n2\n",
       "<argument 1>:1:1: the symbol 'N' has no value\nN + 1\n^\n",
       1},
  });
}

TEST(KsExpr, ShowsTheSurroundingsInALongLine) {
  std::string text = "x0";
  for (int i = 1; i < 20000; ++i) text += " + x" + std::to_string(i);
  EXPECT_EQ(run({"print", "--from", "c"}, text + '\n').out.size(), text.size() - 39997);
  const Outcome found = run({"print"}, text + " + ) + " + text);
  EXPECT_EQ(found.err, "<stdin>:1:" + std::to_string(text.size() + 4) +
                           ": expected an operand\n...9992 + x19993 + x19994 + x19995 + x19996 + "
                           "x19997 + x19998 + x19999 + ) + x0 + x1 + x2 + x3 + x4 + x...\n" +
                           std::string(73, ' ') + "^\n");
}

TEST(KsExpr, ExplainsThePassesThatItCounts) {
  const std::string text = "~(a || b) && 2*x + 2 > 0 && (c == 1 || c == 1)";
  const Outcome explained = run({"simplify", "--explain", "--passes", text});
  const Outcome answer = run({"simplify", "--passes", text});
  EXPECT_THAT(answer.out, testing::StartsWith("3\t"));
  EXPECT_THAT(explained.out,
              testing::StartsWith("input: ~(a||b)&&2*x+2>0&&(c==1||c==1)\npass 1: "));
  EXPECT_THAT(explained.out, HasSubstr("\npass 3: "));
  EXPECT_THAT(explained.out, testing::Not(HasSubstr("pass 4")));
  EXPECT_THAT(explained.out, testing::EndsWith('\n' + answer.out));
  EXPECT_THAT(run({"simplify", "--passes", "--max-passes", "1", text}).out,
              testing::StartsWith("1\t"));
}

// What a pass changed, by the lines below it.
TEST(KsExpr, ExplainsWhatAPassChanged) {
  struct Case {
    std::vector<std::string> arguments;
    std::string explained;  // up to the second pass
    std::string answer;
  };
  const Case rows[] = {
      {{"x >= 2 && x ~= 2 && x ~= 3 && y"},
       "input: x>=2&&x~=2&&x~=3&&y\npass 1: x~=3&&x>2&&y\n"
       "  x~=2 and x>=2 -> x>2\n  operands sorted\n",
       "x~=3&&x>2&&y"},
      {{"a || a && b"}, "input: a||a&&b\npass 1: a\n  a&&b implies a\n", "a"},
      {{"b && x > 5 && x > 3"},
       "input: b&&x>5&&x>3\npass 1: b&&x>5\n  x>3 follows from x>5\n",
       "b&&x>5"},
      {{"x > 2 && x < 1 && c"},
       "input: x>2&&x<1&&c\npass 1: false\n  x<1 and x>2 exclude each other\n"
       "  one operand is false, so is all\n",
       "false"},
      {{"~(x > 3) || ~(~y) || x > 3"},
       "input: ~(x>3)||~(~y)||x>3\npass 1: true\n  two negations cancel out: ~(~y) -> y\n"
       "  x>3 and ~(x>3): one of them always holds\n  one operand is true, so is all\n",
       "true"},
      {{"(b || a) && c"},
       "input: (b||a)&&c\npass 1: a&&c||b&&c\n  inside: b||a -> a||b\n"
       "  conjunction distributed over its disjunctions\n",
       "a&&c||b&&c"},
      {{"~(x == 1) && a"},
       "input: ~(x==1)&&a\npass 1: a&&x~=1\n  negated relation turns: ~(x==1) -> x~=1\n"
       "  operands sorted\n",
       "a&&x~=1"},
      {{"a && a"}, "input: a&&a\npass 1: a\n  repeated: a\n", "a"},
      {{"a && 2 > 1"}, "input: a&&2>1\npass 1: a\n  always true: 2>1\n", "a"},
      {{"a || 1 > 2"}, "input: a||1>2\npass 1: a\n  never true: 1>2\n", "a"},
      {{"true && a"}, "input: true&&a\npass 1: a\n  true dropped\n", "a"},
      {{"x + 1 + 2"}, "input: x+1+2\npass 1: x+3\n  arithmetic\n", "x+3"},
      {{"-D", "N=1", "N + 1 == M"},
       "input: N+1==M\nwith values: 2==M\npass 1: M==2\n  relation\n",
       "M==2"},
  };
  for (const auto& [arguments, explained, answer] : rows) {
    std::vector<std::string> line{"simplify", "--explain"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    const std::string out = run(line).out;
    EXPECT_EQ(out.substr(0, std::min(out.find("pass 2: "), out.rfind('\n', out.size() - 2) + 1)),
              explained);
    EXPECT_THAT(out, testing::EndsWith('\n' + answer + '\n'));
  }
  // The passes are told where what they change takes too long to tell.
  std::string many = "x0";
  for (int i = 1; i < 100; ++i) many = "x" + std::to_string(i) + " || " + many;
  const std::string out = run({"simplify", "--explain", many}).out;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 5) << out;
  EXPECT_THAT(out, HasSubstr("\n  nothing changes\n"));
}

TEST(KsExpr, ShowsTheNodes) {
  check({{{"dump", "f(x, 1.5) + s.m", "2"},
          "",
          "0     0  SymbolicString               -           f\n"
          "1     0  SymbolicString               -           x\n"
          "2     2  SymbolicDoubleValue          -           1.5\n"
          "3     29 SymbolicFcnCall2UExpr        0,1,2\n"
          "4     0  SymbolicString               -           s\n"
          "5     0  SymbolicString               -           m\n"
          "6     31 SymbolicMemberValue          4           m\n"
          "7     3  SymbolicPlusExpr             3,6\n"
          "\n"
          "0     1  SymbolicIntValue             -           2\n",
          "",
          0}});
  const std::string graph = run({"dot", "--to", "c", "f(x) > 1 && ~(f(x) > 1) || g.h"}).out;
  for (const char* once :
       {"\"f()\"", "\">\"", "\"x\", shape=ellipse", "\"1\"", "\"!\"", "\".h\""}) {
    const std::size_t first = graph.find(once);
    ASSERT_NE(first, graph.npos) << once << " in\n" << graph;
    EXPECT_EQ(graph.find(once, first + 1), graph.npos) << once << " in\n" << graph;
  }
  EXPECT_THAT(graph, testing::Not(HasSubstr("\"f\"")));
}

TEST(KsExpr, RefusesCommandLinesThatMakeNoSense) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{}, "subcommand is required"},
      {{"bogus"}, "no command \"bogus\""},
      {{""}, "no command \"\""},
      {{"simplfy"}, "no command \"simplfy\"; did you mean \"simplify\"?"},
      {{"print", "--form", "m", "a"}, "not expected: --form; did you mean \"--from\"?"},
      {{"conditions", "m", "--fromat=csv"},
       "not expected: --fromat=csv; did you mean \"--format\"?"},
      {{"vars", "m", "extra"}, "not expected: extra\nRun"},
      {{"conditions", "m", "--format", "jsn"},
       "is not one of table|json|jsonl|csv; did you mean \"json\"?"},
      {{"conditions", "m", "--family", "VV"},
       "\"VV\" is not one of vv, cg, s; did you mean \"vv\"?"},
      {{"conditions", "m", "--width", "-1"}, "--width: "},
      {{"print", "--from", "x", "a"}, "\"x\" is not one of m|c"},
      {{"dot", "--to", "pp", "a"}, "\"pp\" is not one of m|c"},
      {{"print", "--passes", "a"}, "--passes"},
      {{"simplify", "--max-passes", "-1", "a"}, "not in range"},
      {{"conditions"}, "MODEL is required"},
      {{"conditions", "--family", "vv,x", "m"}, "\"x\" is not one of vv, cg, s"},
      {{"eval", "-D", "N", "1"}, "-D N: expected NAME=EXPR"},
      {{"eval", "-D", "1=N", "1"}, "-D 1=N: expected NAME=EXPR"},
      {{"eval", "-D", "N=1", "-D", " N =2", "N"}, "bound twice"},
      {{"eval", "-D", "N=1 +", "N"}, "<-D N>:1:4: expected an operand\n1 +\n   ^\n"},
      {{"eval", "-D", "N=infix", "N"}, "infix\n   ^\n" + note("inf")},
      {{"eval", "-D", "Nano=1", "N"}, "-D Nano=1: expected NAME=EXPR\n" + note("Nan")},
  };
  for (const auto& [arguments, message] : rows) {
    SCOPED_TRACE(message);
    const Outcome found = run(arguments, "a\n");
    EXPECT_EQ(found.status, 2);
    EXPECT_EQ(found.out, "");
    EXPECT_THAT(found.err, HasSubstr(message));
  }
  EXPECT_EQ(run({"--help"}).status, 0);
  EXPECT_EQ(run({"simplify", "--help"}).err, "");
}

TEST(KsExpr, RecordsAreAnsweredByRecords) {
  const std::string records =
      "{\"id\": 1, \"text\": \"a||a\"}\n"
      "{\"text\": \"x > 1 && x > 2\", \"id\": \"\\u00e4\\n\"}\r\n"
      "{\"id\":12345678901234567890123,\"text\":\"a||\"}\n"
      "{\"id\": -1.50, \"more\": {\"id\": 2, \"text\": [3]}, \"text\": \"\\u0062\"}\n"
      "{\"id\": null, \"text\": \"NAND\"}\n"
      "{\"text\": \"c\"}\n";
  const std::string answers =
      "{\"id\": 1, \"text\": \"a\"}\n"
      "{\"id\": \"\u00e4\\n\", \"text\": \"x>2\"}\n"
      "{\"id\": 12345678901234567890123, \"error\": {\"offset\": 3, \"expected\": \"an "
      "operand\"}}\n"
      "{\"id\": -1.50, \"text\": \"b\"}\n";
  const Outcome found = run({"simplify", "--format", "jsonl"}, records);
  EXPECT_EQ(found.out.substr(0, answers.size()), answers);
  EXPECT_THAT(found.out, HasSubstr("{\"id\": null, \"error\": {\"offset\": 3, \"expected\": \""));
  EXPECT_THAT(found.out, HasSubstr("\", \"note\": \"'NAN' is a number"));
  EXPECT_THAT(found.out, testing::EndsWith("}}\n{\"text\": \"c\"}\n"));
  EXPECT_EQ(found.err, "");
  EXPECT_EQ(found.status, 1);

  const std::pair<std::string, std::string> rows[] = {
      {"{\"id\": 2}", "{\"id\": 2, \"error\": {\"offset\": 0, \"message\": \"the record has no"},
      {"{\"id\": 2, \"text\": 5}",
       "{\"id\": 2, \"error\": {\"offset\": 18, \"message\": \"\\\"text\\\" must be a "
       "string\"}}\n"},
      {"{\"id\": [1], \"text\": \"a\"}",
       "{\"error\": {\"offset\": 7, \"message\": \"\\\"id\\\" must"},
      {"{\"id\": {}, \"text\": \"a\"}",
       "{\"error\": {\"offset\": 7, \"message\": \"\\\"id\\\" must"},
      {"{\"text\": {\"text\": \"a\"}}",
       "{\"error\": {\"offset\": 9, \"message\": \"\\\"text\\\" must"},
      {"[\"a\"]", "{\"error\": {\"offset\": 0, \"message\": \"a record must be an object\"}}\n"},
      {"7", "{\"error\": {\"offset\": 0, \"message\": \"a record must be an object\"}}\n"},
      {"", "{\"error\": {\"offset\": 0, \"message\": \"syntax error"},
      {"{\"text\": \"a\", \"id\": 3",
       "{\"id\": 3, \"error\": {\"offset\": 21, \"message\": \"syntax"},
  };
  for (const auto& [record, answer] : rows) {
    SCOPED_TRACE(record);
    const Outcome one = run({"print", "--format", "jsonl"}, record + '\n');
    EXPECT_THAT(one.out, testing::StartsWith(answer));
    EXPECT_EQ(one.err, "");
    EXPECT_EQ(one.status, 1);
  }
  check({
      {{"eval", "--format", "jsonl", "[1, 2]", "g(1)"},
       "",
       "{\"id\": 1, \"text\": \"1 2\"}\n"
       "{\"id\": 2, \"error\": {\"message\": \"the call of 'g' has no value\"}}\n",
       "",
       1},
      {{"eval", "--format", "jsonl", "--values", "t.csv", "a"},
       "",
       "",
       "eval --values: the answers are CSV, no records\n",
       2},
  });
}

// What is shown of the table has nothing of the lines before; names stay bound, whatever was read.
TEST(KsExpr, LinesDoNotDependOnThoseBefore) {
  const auto alone = [](const std::vector<std::string>& command, const std::string& text) {
    std::vector<std::string> arguments = command;
    arguments.push_back(text);
    const Outcome found = run(arguments);
    return found.out + (found.status == 0 ? "" : "!");
  };
  // More nodes than are kept.
  std::string large = "v0";
  for (int i = 1; i < 20000; ++i) large += " + v" + std::to_string(i);
  const std::vector<std::string> texts{"b && a",      "a || (b && c)", "n + 1",  "a b",    large,
                                       "c && b || a", "n - n",         "a && b", "s.m + 1"};
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"simplify", "--passes"},
                                             {"eval", "-D", "n=2", "-D", "s.m=3"},
                                             {"dump"},
                                             {"dot"},
                                             {"simplify", "--explain"},
                                             {"symbols"}}) {
    SCOPED_TRACE(testing::PrintToString(command));
    const bool hasEmptyLines = command[0] == "dump" || command.back() == "--explain";
    std::string input;
    std::string expected;
    for (const std::string& text : texts) {
      input += text + '\n';
      std::string answer = alone(command, text);
      if (answer.back() == '!') answer.pop_back();
      expected += (hasEmptyLines && !expected.empty() ? "\n" : "") + answer;
    }
    EXPECT_TRUE(run(command, input).out == expected);
  }
}

// Remembers what has been flushed.
class Flushed : public std::stringbuf {
 public:
  std::string text;

 protected:
  int sync() override {
    text = str();
    return 0;
  }
};

// Gives one line at a time and notes what has been answered when the next one is asked for.
class Dialogue : public std::streambuf {
 public:
  explicit Dialogue(const Flushed& aOut) : out(aOut) {}
  std::vector<std::string> answered;

 protected:
  int_type underflow() override {
    answered.push_back(out.text);
    if (answered.size() > 3) return traits_type::eof();
    setg(line, line, line + 2);
    return traits_type::to_int_type(line[0]);
  }

 private:
  char line[3] = "x\n";
  const Flushed& out;
};

TEST(KsExpr, AnswersALineBeforeItWaitsForTheNext) {
  Flushed flushed;
  Dialogue dialogue(flushed);
  std::istream in(&dialogue);
  std::ostream out(&flushed);
  std::ostringstream err;
  EXPECT_EQ(ksexpr::runTool({"print"}, {in, out, err}), 0);
  EXPECT_THAT(dialogue.answered, testing::ElementsAre("", "x\n", "x\nx\n", "x\nx\nx\n"));

  Flushed flushedRecords;
  Dialogue records(flushedRecords);
  std::istream recordsIn(&records);
  std::ostream recordsOut(&flushedRecords);
  EXPECT_EQ(ksexpr::runTool({"print", "--format", "jsonl"}, {recordsIn, recordsOut, err}), 1);
  ASSERT_EQ(records.answered.size(), 4U);
  for (std::size_t i = 1; i < 4; ++i) {
    const std::string& answered = records.answered[i];
    EXPECT_EQ(static_cast<std::size_t>(std::count(answered.begin(), answered.end(), '\n')), i);
  }
}

}  // namespace
