// The C compiler as witness: integer expressions in C spelling have the values that C gives them,
// precedence and associativity included.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <locale>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace {

struct Variable {
  const char* name;
  int value;
};
constexpr Variable variables[] = {
    {"zero", 0}, {"one", 1},     {"two", 2},           {"minus1", -1}, {"m7", -7},
    {"n31", 31}, {"big", 65537}, {"most", 2147483647}, {"mask", 240},  {"least", -2147483647 - 1}};

// Operators by falling precedence; equal ones bind to the left.
struct Operator {
  const char* text;
  int strength;
};
constexpr Operator operators[] = {{"*", 10}, {"/", 10}, {"%", 10}, {"+", 9}, {"-", 9},  {"<<", 8},
                                  {">>", 8}, {"<", 7},  {"<=", 7}, {">", 7}, {">=", 7}, {"==", 6},
                                  {"!=", 6}, {"&", 5},  {"^", 4},  {"|", 3}, {"&&", 2}, {"||", 1}};
constexpr int unaryStrength = 11;

struct Generated {
  std::string text;
  int strength;
  std::int64_t value;  // known here only to stay clear of what is undefined in C
};

// Nothing where C leaves the result undefined.
std::optional<std::int64_t> result(const std::string& aOp, std::int64_t a, std::int64_t b) {
  using Limits = std::numeric_limits<int>;
  const auto inRange = [](std::int64_t value) -> std::optional<std::int64_t> {
    if (value < Limits::min() || value > Limits::max()) return std::nullopt;
    return value;
  };
  if (aOp == "+") return inRange(a + b);
  if (aOp == "-") return inRange(a - b);
  if (aOp == "*") return inRange(a * b);
  if ((aOp == "/" || aOp == "%") && (b == 0 || (b == -1 && a == Limits::min()))) return {};
  if (aOp == "/") return a / b;
  if (aOp == "%") return a % b;
  if ((aOp == "<<" || aOp == ">>") && (b < 0 || b > 31 || (a < 0 && aOp == "<<"))) return {};
  if (aOp == "<<") return inRange(a << b);
  if (aOp == ">>") return a >> b;
  if (aOp == "<") return a < b;
  if (aOp == "<=") return a <= b;
  if (aOp == ">") return a > b;
  if (aOp == ">=") return a >= b;
  if (aOp == "==") return a == b;
  if (aOp == "!=") return a != b;
  if (aOp == "&") return a & b;
  if (aOp == "^") return a ^ b;
  if (aOp == "|") return a | b;
  if (aOp == "&&") return a != 0 && b != 0;
  return a != 0 || b != 0;
}

class Generator {
 public:
  explicit Generator(unsigned aSeed) : random(aSeed) {}

  Generated make(int aDepth) {
    if (aDepth == 0 || below(6) == 0) return leaf();
    for (;;) {
      const std::optional<Generated> made = below(5) == 0 ? unary(aDepth) : binary(aDepth);
      if (made) return *made;
    }
  }

 private:
  std::size_t below(std::size_t aEnd) { return random() % aEnd; }

  Generated leaf() {
    if (below(2) == 0) {
      const Variable& variable = variables[below(std::size(variables))];
      return {variable.name, unaryStrength + 1, variable.value};
    }
    const int literals[] = {0, 1, 2, -3, 5, 8, 31, -255, 1000, 2147483647};
    const int value = literals[below(std::size(literals))];
    return {std::to_string(value), value < 0 ? unaryStrength : unaryStrength + 1, value};
  }

  std::optional<Generated> unary(int aDepth) {
    const Generated operand = make(aDepth - 1);
    const std::string text = enclosed(operand, unaryStrength + 1);  // prefixes do not stack
    switch (below(3)) {
      case 0: return Generated{"!" + text, unaryStrength, operand.value == 0};
      case 1: return Generated{"~" + text, unaryStrength, ~operand.value};
      default:
        if (operand.value == std::numeric_limits<int>::min()) return std::nullopt;
        return Generated{"-" + text, unaryStrength, -operand.value};
    }
  }

  std::optional<Generated> binary(int aDepth) {
    const Operator& op = operators[below(std::size(operators))];
    const Generated left = make(aDepth - 1);
    const Generated right = make(aDepth - 1);
    const auto value = result(op.text, left.value, right.value);
    if (!value) return std::nullopt;
    std::string text = enclosed(left, op.strength) + " " + op.text + " ";
    text += enclosed(right, op.strength + 1);
    return Generated{text, op.strength, *value};
  }

  std::string enclosed(const Generated& aOperand, int aLeast) {
    const bool isNeeded = aOperand.strength < aLeast;
    return isNeeded || below(10) == 0 ? "(" + aOperand.text + ")" : aOperand.text;
  }

  std::mt19937 random;
};

std::optional<std::string> findCompiler() {
  std::vector<std::string> candidates;
  for (const char* name : {"CC", "CXX"}) {
    if (const char* value = std::getenv(name)) candidates.emplace_back(value);
  }
  candidates.insert(candidates.end(), {"cc", "c++", "gcc", "g++", "clang", "clang++"});
  for (const std::string& candidate : candidates) {
    if (std::system(("command -v " + candidate + " >/dev/null 2>&1").c_str()) == 0) {
      return candidate;
    }
  }
  return std::nullopt;
}

// A folder that goes away with the object.
class Folder {
 public:
  Folder() : path(testing::TempDir() + "ks-witness-XXXXXX") {
    if (mkdtemp(path.data()) == nullptr) path.clear();
  }
  ~Folder() {
    for (const char* name : {"/witness.c", "/witness"}) std::remove((path + name).c_str());
    rmdir(path.c_str());
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string path;
};

// What a C program prints for the expressions, one number each.
std::vector<int> askCompiler(const std::string& aCompiler, const std::vector<std::string>& aTexts) {
  const Folder folder;
  const std::string program = folder.path + "/witness";
  std::ofstream source;
  source.imbue(std::locale::classic());
  source.open(program + ".c");
  source << "#include <stdio.h>\nint main(void) {\n";
  for (const Variable& variable : variables) {
    const char* const rest = variable.value < 0 ? " - 1" : "";  // the least int has no literal
    source << "  int " << variable.name << " = " << variable.value + (*rest == 0 ? 0 : 1) << rest
           << ";\n";
  }
  for (const std::string& text : aTexts) source << "  printf(\"%d\\n\", (int)(" << text << "));\n";
  source << "  return 0;\n}\n";
  source.close();
  const std::string build = aCompiler + " -x c -w -O0 -o '" + program + "' '" + program + ".c'";
  std::vector<int> numbers;
  if (std::system(build.c_str()) != 0) return numbers;
  std::FILE* const pipe = popen(("'" + program + "'").c_str(), "r");
  int number = 0;
  while (pipe != nullptr && std::fscanf(pipe, "%d", &number) == 1) numbers.push_back(number);
  if (pipe != nullptr) pclose(pipe);
  return numbers;
}

TEST(Witness, ExpressionsHaveTheirValuesInC) {
  const std::optional<std::string> compiler = findCompiler();
  if (!compiler) GTEST_SKIP() << "no C compiler was found: set CC to one";
  constexpr unsigned seed = 20240917;
  Generator generator(seed);
  std::vector<std::string> texts;
  for (int i = 0; i < 1500; ++i) texts.push_back(generator.make(2 + i % 4).text);
  const std::vector<int> expected = askCompiler(*compiler, texts);
  ASSERT_EQ(expected.size(), texts.size()) << "the program of " << *compiler << " failed";

  KS::SymbolicExprTable table;
  for (const Variable& variable : variables) {
    const KS::SymbolicIntValue value(table, variable.value);
    table.registerValueId(variable.name, value.getId(table));
  }
  const KS::SymbolicExprParser parse(table, true);
  const KS::SymbolicExprEval eval(table);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const KS::SymbolicExprId id = parse(texts[i]);
    ASSERT_NE(id, KS::invalidSymbolicExprId) << texts[i];
    EXPECT_EQ(eval.eval(id), std::vector<double>{static_cast<double>(expected[i])})
        << "seed " << seed << ": " << texts[i];
  }
}

}  // namespace
