// What is very long, very deep or no expression at all: it is answered, or refused at once, in a
// time that grows with its length, and on a small stack.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "all.hpp"
#include "host/KSHost.hpp"
#include "tests/support/SmallStack.hpp"

namespace KS::test {
namespace {

// Without optimisation, or instrumented, everything takes a multiple of time and stack.
#if defined(__OPTIMIZE__) && defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__)
constexpr std::size_t shrunk = 1, stackSize = std::size_t{512} << 10;
#else
constexpr std::size_t shrunk = 50, stackSize = std::size_t{8} << 20;
#endif

std::string numbered(const char* aName, std::size_t aIdx) { return aName + std::to_string(aIdx); }

template <class Operand>
std::string joined(std::size_t aCount, const char* aOperator, Operand aOperand) {
  std::string text;
  for (std::size_t i = 0; i < aCount; ++i) text += (i == 0 ? "" : aOperator) + aOperand(i);
  return text;
}

// A symbol of a fixed length, so that the order of texts is that of numbers.
std::string named(std::size_t aIdx) { return "v" + std::to_string(10'000'000 + aIdx); }

std::string repeated(const char* aText, std::size_t aCount) {
  return joined(aCount, "", [=](std::size_t) { return std::string(aText); });
}

std::string anyBytes(std::size_t aCount, unsigned aFirst, unsigned aNumber) {
  std::string text;
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < aCount; ++i) {
    state = state * 1664525 + 1013904223;
    text += static_cast<char>(aFirst + (state >> 16) % aNumber);
  }
  return text;
}

double secondsOf(const std::function<void()>& aWork) {
  const auto now = [] {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  };
  const double start = now();
  runOnStack(stackSize, aWork);
  return now() - start;
}

// Eight times as much may take twenty-five times as long: in the square it would be sixty-four.
// What is over at once tells nothing.
void expectGrowth(const std::function<void(std::size_t)>& aWork, std::size_t aCount) {
  const double small =
      std::min(secondsOf([&] { aWork(aCount / 8); }), secondsOf([&] { aWork(aCount / 8); }));
  EXPECT_LT(secondsOf([&] { aWork(aCount); }), 25 * std::max(small, 0.004));
}

// ---------------------------------------------------------------------------------------------

TEST(Limits, TextsOfTenMegabytes) {
  const struct {
    const char* name;
    std::size_t count;
    std::string (*text)(std::size_t);
    const char* refusal;  // how what was expected begins; null where it is an expression
  } rows[] = {
      {"conjunction", 800000, [](std::size_t n) { return joined(n, " && ", named); }, nullptr},
      {"disjunction", 800000, [](std::size_t n) { return joined(n, " || ", named); }, nullptr},
      {"sum", 800000, [](std::size_t n) { return joined(n, " + ", named); }, nullptr},
      {"name", 10'000'000, [](std::size_t n) { return std::string(n, 'n'); }, nullptr},
      {"fraction", 10'000'000, [](std::size_t n) { return "1." + std::string(n, '3'); }, nullptr},
      {"negations", 10'000'000, [](std::size_t n) { return std::string(n, '~') + "x"; },
       "an operand"},
      {"blanks", 10'000'000, [](std::size_t n) { return "a" + std::string(n, ' ') + "+ b"; },
       nullptr},
      {"integer", 10'000'000, [](std::size_t n) { return std::string(n, '7'); }, "an integer"},
      {"real", 10'000'000, [](std::size_t n) { return std::string(n, '7') + ".5"; }, "a real"},
      {"open", 10'000'000, [](std::size_t n) { return std::string(n, '('); }, "at most 256 levels"},
      {"nested", 5'000'000,
       [](std::size_t n) { return std::string(n, '(') + "x" + std::string(n, ')'); },
       "at most 256 levels"},
      {"calls", 5'000'000, [](std::size_t n) { return repeated("f(", n); }, "at most 256 levels"},
      {"operators", 10'000'000, [](std::size_t n) { return "a " + std::string(n, '&'); },
       "an oper"},
      {"characters", 10'000'000, [](std::size_t n) { return "a " + anyBytes(n, 33, 94); },
       "an ope"},
      {"bytes", 10'000'000, [](std::size_t n) { return "a \x01" + anyBytes(n, 0, 256); }, "an ope"},
      {"no last operand", 800000, [](std::size_t n) { return joined(n, " + ", named) + " +"; },
       "an operand"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::string text;
    const auto answer = [&](std::size_t) {
      SymbolicExprTable table;
      const SymbolicExprParser parse(table, false);
      const SymbolicExprId id = parse(text);
      ASSERT_EQ(id == invalidSymbolicExprId, row.refusal != nullptr) << row.name;
      VCService service;
      if (row.refusal != nullptr) {
        const auto error = parse.diagnose(text);
        EXPECT_EQ(error->expected.rfind(row.refusal, 0), 0U) << error->expected;
        EXPECT_THROW(service.simplify(text), msgcore::DiagnosticException);
        return;
      }
      const SymbolicExprPrinter print(table, true, true, false);
      EXPECT_EQ(parse(print(id)), id);
      EXPECT_GT(service.simplifyMExpr(text).size(), 0U);
    };
    expectGrowth(
        [&](std::size_t aCount) {
          text = row.text(aCount);
          answer(aCount);
        },
        row.count / shrunk);
  }
}

// What a condition costs through all that is done with conditions.
TEST(Limits, ManyOperands) {
  static const std::string longName(200, 'n');
  const struct {
    const char* name;
    std::size_t count;
    std::string (*text)(std::size_t);
  } rows[] = {
      {"operands", 1'000'000, [](std::size_t n) { return joined(n, "&&", named); }},
      {"operands in no order", 5000,
       [](std::size_t n) {
         return joined(n, "&&", [n](std::size_t i) { return named(i * 7919 % n) + ">2"; });
       }},
      {"names that share 200 characters", 20000,
       [](std::size_t n) {
         return joined(n, "||", [n](std::size_t i) { return longName + named(i * 7919 % n); });
       }},
      {"calls with 1,000 arguments", 200,
       [](std::size_t n) {
         return joined(n, "&&", [](std::size_t i) {
           return numbered("f", i) + '(' +
                  joined(1000, ",", [i](std::size_t j) { return named(i + j); }) + ")>1";
         });
       }},
      {"thirty disjunctions and more", 20000,
       [](std::size_t n) {
         return joined(n, "&&",
                       [](std::size_t i) { return numbered("(a", i) + numbered("||b", i) + ')'; });
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::string text;
    const auto work = [&] {
      SymbolicExprTable table;
      const SymbolicExprId id = SymbolicExprParser(table, false)(text);
      const std::size_t size = table.size();
      std::size_t passes = 0;
      const SymbolicExprId net = SymbolicExprSimplify(table, 10).simplify(id, passes);
      const SymbolicExprId compact = SymbolicExprCompact(table)(net);
      const SymbolicExprM2C toC(table);
      toC(SymbolicExprC2M(table).operator()(compact));
      std::vector<SymbolicExprId> symbols;
      SymbolicExprSymbols{table}(id, symbols);
      SymbolicExprBindings bindings(table);
      for (const SymbolicExprId symbol : symbols) bindings.set(symbol, 1);
      EXPECT_EQ(SymbolicExprProgram(table, {id, net}).truths(bindings).size(), 2U);
      EXPECT_NE(SymbolicExprSubstitute(table)(net, bindings), invalidSymbolicExprId);
      SymbolicExprTable copies;
      SymbolicExprCopy(table, copies)(net);
      EXPECT_LT(table.size(), 8 * size);
    };
    expectGrowth(
        [&](std::size_t aCount) {
          text = row.text(aCount);
          work();
        },
        row.count / std::min<std::size_t>(shrunk, row.count / 80));
  }
}

// Deeper than any text can nest.
TEST(Limits, TowersOfConnectives) {
  using Level = SymbolicExprId (*)(SymbolicExprTable&, SymbolicExprId, std::size_t);
  const auto symbol = [](SymbolicExprTable& t, const char* aName, std::size_t aIdx) {
    return SymbolicString(t, numbered(aName, aIdx)).getId(t);
  };
  static const auto a = [symbol](SymbolicExprTable& t, std::size_t i) { return symbol(t, "a", i); };
  static const auto b = [symbol](SymbolicExprTable& t, std::size_t i) { return symbol(t, "b", i); };
  const struct {
    const char* name;
    std::size_t levels;
    std::size_t nodesAtMost;  // after simplification
    Level grow;
  } rows[] = {
      {"a1&&(a0||x)", 400, 1000,
       [](SymbolicExprTable& t, SymbolicExprId x, std::size_t) {
         return SymbolicAndExpr(t, a(t, 1), SymbolicOrExpr(t, a(t, 0), x).getId(t)).getId(t);
       }},
      {"a&&(b||x)", 100, 20000,
       [](SymbolicExprTable& t, SymbolicExprId x, std::size_t i) {
         return SymbolicAndExpr(t, a(t, i), SymbolicOrExpr(t, b(t, i), x).getId(t)).getId(t);
       }},
      {"!(x||a)", 400, 2100,
       [](SymbolicExprTable& t, SymbolicExprId x, std::size_t i) {
         return SymbolicNotExpr(t, SymbolicOrExpr(t, x, a(t, i)).getId(t)).getId(t);
       }},
      {"!(x||a&&b)", 400, 3300,
       [](SymbolicExprTable& t, SymbolicExprId x, std::size_t i) {
         const SymbolicExprId both = SymbolicAndExpr(t, a(t, i), b(t, i)).getId(t);
         return SymbolicNotExpr(t, SymbolicOrExpr(t, x, both).getId(t)).getId(t);
       }},
      {"exclusive or", 48, 7000,
       [](SymbolicExprTable& t, SymbolicExprId x, std::size_t i) {
         const SymbolicExprId both = SymbolicAndExpr(t, x, b(t, i)).getId(t);
         return SymbolicAndExpr(t, SymbolicOrExpr(t, x, b(t, i)).getId(t),
                                SymbolicNotExpr(t, both).getId(t))
             .getId(t);
       }},
      {"a cascade", 80, 20000,
       [](SymbolicExprTable& t, SymbolicExprId x, std::size_t i) {
         const SymbolicExprId no = SymbolicNotExpr(t, a(t, i)).getId(t);
         return SymbolicOrExpr(t, SymbolicAndExpr(t, a(t, i), b(t, i)).getId(t),
                               SymbolicAndExpr(t, no, x).getId(t))
             .getId(t);
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    secondsOf([&] {
      SymbolicExprTable table;
      SymbolicExprId id = SymbolicString(table, "x").getId(table);
      for (std::size_t i = 0; i < row.levels; ++i) id = row.grow(table, id, i);
      const SymbolicExprSimplify simplify(table, 10);
      std::size_t passes = 0;
      const SymbolicExprId net = simplify.simplify(id, passes);
      EXPECT_LT(table.size(), row.nodesAtMost);
      EXPECT_EQ(simplify.simplify(net, passes), net);
    });
  }
}

// A million blocks in a tree; a hundred thousand, each in the next one, with names that ascend.
class Numbered final : public VCCustomizer {
 public:
  Numbered(std::size_t aCount, bool aIsTree) : count(aCount), isTree(aIsTree) {}
  std::string getLocalCondition(const KSBlock* aBlock, int) const override {
    if (!isTree) return named(place(aBlock));
    return place(aBlock) % 10 == 0 ? named(place(aBlock) % 1000) + " == 1" : std::string();
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    const std::size_t parent = isTree ? place(aBlock) / 2 : place(aBlock) - 1;
    return parent == 0 ? nullptr : block(parent);
  }
  // The service looks at no block, so that numbers will do.
  static const KSBlock* block(std::size_t aPlace) {
    return reinterpret_cast<const KSBlock*>(aPlace);  // NOLINT(performance-no-int-to-ptr)
  }
  std::size_t count;

 private:
  static std::size_t place(const KSBlock* aBlock) { return reinterpret_cast<std::size_t>(aBlock); }
  bool isTree;
};

TEST(Limits, AMillionBlocks) {
  expectGrowth(
      [](std::size_t aCount) {
        VCService service;
        const Numbered tree(aCount, true);
        for (std::size_t i = aCount; i > 0; --i) {
          service.getMExprNetVVCEIdx(Numbered::block(i), &tree);
        }
        EXPECT_LT(service.getTable().size(), aCount / 10 + 20000);
      },
      1'000'000 / shrunk);
}

TEST(Limits, AHundredThousandAncestors) {
  expectGrowth(
      [](std::size_t aCount) {
        VCService service;
        const Numbered line(aCount, false);
        const SymbolicExprId net = service.getMExprNetVVCEIdx(Numbered::block(aCount), &line);
        EXPECT_EQ(service.getTable().size(), 2 * aCount + 1) << "no link is made twice";
        EXPECT_EQ(service.printMExpr(net).substr(0, 22), named(1) + " && " + named(2));
      },
      100'000 / shrunk);
}

}  // namespace
}  // namespace KS::test
