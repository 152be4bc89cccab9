// What is promised about threads, in a program that ThreadSanitizer is to look at: what has its own
// table may be on any thread, and whatever only reads one table may be on several at once, as long
// as nobody extends it.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprSymbols.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "host/KSHost.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/RandomText.hpp"
#include "variants/VCService.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprCast2Int.hpp"
#include "xform/SymbolicExprFactorDivision.hpp"
#include "xform/SymbolicExprM2C.hpp"
#include "xform/SymbolicExprSubstitute.hpp"
#ifdef KS_TEST_DECIDE
#include "decide/SymbolicExprDecider.hpp"
#endif
#ifdef KS_TEST_TOOL
#include "tests/tool/RunTool.hpp"
#endif

namespace KS::test {
namespace {

constexpr std::size_t numThreads = 4;

// Does the work on several threads that begin together, and expects of each what it gives alone.
void onThreads(const std::function<std::string(std::size_t)>& aWork) {
  std::vector<std::string> results(numThreads);
  std::atomic<std::size_t> ready{0};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < numThreads; ++i) {
    threads.emplace_back([&, i] {
      for (++ready; ready < numThreads;) std::this_thread::yield();
      try {
        results[i] = aWork(i);
      } catch (const std::exception& error) {
        results[i] = error.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t i = 0; i < numThreads; ++i) EXPECT_EQ(results[i], aWork(i)) << "thread " << i;
}

std::vector<std::string> someTexts(std::size_t aSeed, std::size_t aCount) {
  RandomText random(aSeed);
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < aCount; ++i) {
    texts.push_back(i % 2 == 0 ? random.condition(1 + i % 8) : random.dense(2 + i % 5));
  }
  return texts;
}

std::string numbersText(const std::vector<double>& aNumbers) {
  std::string text;
  for (const double number : aNumbers) text += kssv_dtoa(number, false) + ' ';
  return text;
}

// All that may be asked of an expression whose table is extended by nobody.
std::string readings(const SymbolicExprTable& aTable, const SymbolicExprPrinter& aPrinter,
                     const SymbolicExprEval& aEval, const SymbolicExprBindings& aBindings,
                     SymbolicExprId aId) {
  std::string text = aPrinter(aId) + '\n';
  try {
    text += numbersText(aEval.eval(aId, aBindings));
  } catch (const SymbolicExprEvalError& error) {
    text += error.what();
  }
  std::vector<std::string> names;
  const SymbolicExprSymbols symbols(aTable);
  symbols(aId, names);
  for (const std::string& name : names) text += ' ' + name;
  SymbolicExprTable own;
  const SymbolicExprId copy = SymbolicExprCopy(aTable, own)(aId);
  text += '\n' + SymbolicExprPrinter(own, true, true, true)(copy);
  return text + (aTable.lookup(aTable.get(aId)) == aId ? "" : "not found");
}

TEST(Threads, TablesOfTheirOwn) {
  onThreads([](std::size_t aThread) {
    std::string results;
    SymbolicExprTable table;
    table.addBoolSymbols();
    const SymbolicExprParser parse(table, true);
    const SymbolicExprSimplify simplify(table, 10);
    const SymbolicExprCompact compact(table);
    const SymbolicExprPrinter print(table, false, true, false);
    table.registerValueId("x", parse("2.5"));
    SymbolicExprBindings bindings(table);
    bindings.set("a", true);
    // The same texts on two threads, others on others.
    for (const std::string& text : someTexts(aThread / 2, 40)) {
      std::size_t passes = 0;
      const SymbolicExprId id = parse(text);
      const SymbolicExprId simplified = simplify.simplify(id, passes);
      results += print(simplified) + '\n' + print(compact(simplified, {id})) + '\n';
      results += print(SymbolicExprSubstitute(table)(id, bindings)) + '\n';
      const SymbolicExprId m = SymbolicExprC2M(table)(id);
      results += print(SymbolicExprM2C(table)(m)) + '\n';
      results += print(SymbolicExprFactorDivision(table).factorDivision(id)) + '\n';
      results += print(SymbolicExprCast2Int(table).cast2Int(id)) + '\n';
      results += readings(table, print, SymbolicExprEval(table), bindings, id);
    }
    const auto error = parse.diagnose("a && && b");
    return results + (error ? error->expected : "");
  });
}

TEST(Threads, OneTableThatNobodyExtends) {
  SymbolicExprTable table;
  table.addBoolSymbols();
  std::vector<SymbolicExprId> ids;
  for (const std::string& text : someTexts(3, 30)) {
    ids.push_back(SymbolicExprParser(table, true)(text));
  }
  SymbolicExprBindings bindings(table);
  bindings.set("a", 1);
  bindings.set("x", 2.0);
  const SymbolicExprParser parse(table, true);
  const SymbolicExprPrinter print(table, true, true, false);
  const SymbolicExprEval eval(table);
  const SymbolicExprProgram program(table, ids);
  onThreads([&](std::size_t) {
    std::string results;
    for (const SymbolicExprId id : ids) {
      results += readings(table, print, eval, bindings, id) + '\n';
    }
    for (const auto& outcome : program.run(bindings)) {
      results += outcome.value ? numbersText(Eval::eval(*outcome.value)) : outcome.error;
    }
    for (const auto& outcome : program.truths(bindings)) {
      results += std::to_string(static_cast<int>(outcome.holds)) + outcome.error;
    }
    // Diagnosing reads the text alone, and no node is made of one that is known.
    return results + (parse.diagnose("a b") ? "no expression" : "");
  });
}

TEST(Threads, ServicesOfTheirOwnWithOneCustomizer) {
  // Blocks are addresses; each stands in the one before.
  class Line final : public VCCustomizer {
   public:
    explicit Line(std::vector<std::string> aTexts) : texts(std::move(aTexts)) {}
    const KSBlock* at(std::size_t aIdx) const {
      return reinterpret_cast<const KSBlock*>(&texts[aIdx]);
    }
    std::string getLocalCondition(const KSBlock* aBlock, int) const override {
      const std::string& text = *reinterpret_cast<const std::string*>(aBlock);
      return &text == &texts.back() ? "a &&" : text;
    }
    const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
      return aBlock == at(0) ? nullptr
                             : reinterpret_cast<const KSBlock*>(
                                   reinterpret_cast<const std::string*>(aBlock) - 1);
    }
    std::vector<std::string> texts;
  };
  const Line line({"a || b", "x > 1", "!(c && d)", "x != 3 || a", "x < 9", "s.m", "broken"});
  onThreads([&](std::size_t aThread) {
    VCService service;
    std::string results;
    for (std::size_t i = 0; i < line.texts.size(); ++i) {
      const KSBlock* const block = line.at((i + aThread) % line.texts.size());
      try {
        results += service.getMExprNetVVCEString(block, &line) + '\n';
        results += service.getCExprNetCGVCEString(block, &line) + '\n';
        results += service.getNetSVCE(block, &line) ? "on\n" : "off\n";
      } catch (const msgcore::DiagnosticException& error) {
        results += error.what();
      }
    }
    return results + service.simplifyCExpr("rem(x, 2) == 1 && ~(a && b)");
  });
}

#ifdef KS_TEST_DECIDE
// Deciders never change their table.
TEST(Threads, DecidersOverOneTableAndOverTheirOwn) {
  SymbolicExprTable shared;
  const std::vector<std::string> texts = someTexts(5, 20);
  std::vector<SymbolicExprId> ids;
  for (const std::string& text : texts) ids.push_back(SymbolicExprParser(shared, true)(text));
  onThreads([&](std::size_t aThread) {
    SymbolicExprTable own;
    const bool isOwn = aThread % 2 == 1;
    const SymbolicExprTable& table = isOwn ? own : shared;
    SymbolicExprDecider decider(table);
    std::string results;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const SymbolicExprId id = isOwn ? SymbolicExprParser(own, true)(texts[i]) : ids[i];
      results += std::to_string(static_cast<int>(decider.decide(id)));
      const auto values = decider.witness(id);
      if (values) results += numbersText(SymbolicExprEval(table).eval(id, *values));
      results += std::to_string(decider.smallestContradiction({id, id}).ids.size());
    }
    return results;
  });
}
#endif

#ifdef KS_TEST_TOOL
TEST(Threads, ToolsWithTheirOwnStreams) {
  const std::string model =
      R"({"blocks": [{"id": "P", "parent": null, "VV": "A || x > 1", "CG": "rem(x, 2) == 1"},
                     {"id": "Q", "parent": "P", "VV": "~A && x <= 1"}, {"id": "R", "parent": "Q"}],
          "variables": {"x": {"integer": true, "min": 0, "max": 9}}})";
  onThreads([&](std::size_t) {
    std::string results;
    const std::vector<std::string> commands[] = {{"conditions", "-", "--format", "json"},
                                                 {"active", "-", "-D", "A=1"},
                                                 {"why", "-", "--block", "Q", "--format", "json"},
                                                 {"check", "-", "--variants", "all"},
                                                 {"cover", "-", "--format", "csv"},
                                                 {"vars", "-"},
                                                 {"tree", "-"},
                                                 {"report", "-", "-o", "-"},
                                                 {"simplify", "--passes", "a || a && b", "1 +"},
                                                 {"eval", "-D", "N=4", "2*(N+1)", "M"},
                                                 {"nonsense"}};
    for (const auto& command : commands) {
      const Outcome outcome = run(command, model);
      std::string summary = outcome.err;
      // How long it took is not the same twice.
      if (command[0] == "conditions") summary.resize(summary.rfind(',') + 1);
      results += std::to_string(outcome.status) + outcome.out + summary;
    }
    return results;
  });
}

// So many blocks that threads share the reading, the parents and the answers.
TEST(Threads, JobsOfOneTool) {
  std::string model = "{\"blocks\": [";
  for (std::size_t i = 0; i < 70000; ++i) {
    const std::string parent = i == 0 ? "null" : '"' + std::to_string(i / 8) + '"';
    model += (i == 0 ? "{\"id\": \"" : ",\n{\"id\": \"") + std::to_string(i) +
             "\", \"parent\": " + parent +
             (i % 7 == 0 ? ", \"VV\": \"A" + std::to_string(i % 9) + "\"}" : "}");
  }
  model += "]}";
  const auto answer = [&](const std::string& aJobs) {
    return run({"conditions", "-", "--format", "json", "--quiet", "--jobs", aJobs}, model).out;
  };
  const std::string alone = answer("1");
  EXPECT_GT(alone.size(), model.size());
  EXPECT_TRUE(answer("3") == alone);
}
#endif

}  // namespace
}  // namespace KS::test
