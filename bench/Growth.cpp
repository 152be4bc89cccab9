// How the cost of each pass grows with the size of an expression: cost ~ n to the power of e,
// fitted over sizes that double. Prints a table in Markdown; the exit status is 1 where a limit is
// passed.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <unordered_set>

#include "bench/Measure.hpp"
#include "core.hpp"

namespace KSBench {

namespace {

// n log n over these sizes has the exponent 1.17.
constexpr double linearLimit = 1.2;
// A relation that pairs with operands of a conjunction has all of them looked at.
constexpr double quadraticLimit = 2;
// Nodes per operand that a simplification may leave in the table although its result has no use
// for them.
constexpr double unusedLimit = 4;
// Sizes whose turn comes after this much time are left out.
constexpr double patience = 8e9;
// What takes longer is measured three times, else seven times.
constexpr double longTime = 2e8;

enum class Order { Ascending, Descending, Random };
constexpr const char* orderNames[] = {"ascending", "descending", "random"};

struct Shape {
  const char* name;
  const char* joint;
  std::string (*operand)(std::size_t aIdx);
  std::size_t least;  ///< Below 64, evaluation takes a quicker way, so that growth would be that to
                      ///< the other.
  std::size_t most;
  double conjoinLimit;
};

// Padded, so that ascending numbers are ascending texts.
std::string number(std::size_t aIdx) {
  const std::string digits = std::to_string(aIdx);
  return std::string(4 - digits.size(), '0') + digits;
}

const Shape shapes[] = {
    {"sum of symbols", "+", [](std::size_t i) { return "v" + number(i); }, 64, 4096, linearLimit},
    {"conjunction of symbols", "&&", [](std::size_t i) { return "v" + number(i); }, 64, 4096,
     linearLimit},
    {"conjunction of relations, different symbols", "&&",
     [](std::size_t i) {
       return "v" + number(i) + (i % 2 == 0 ? "==" : ">") + std::to_string(i % 7);
     },
     64, 4096, linearLimit},
    {"conjunction of relations, one symbol, none implied", "&&",
     [](std::size_t i) { return "v!=1" + number(i); }, 64, 4096, linearLimit},
    {"conjunction of relations, one symbol, one implies all", "&&",
     [](std::size_t i) { return "v>1" + number(i); }, 64, 4096, linearLimit},
    {"conjunction of relations, one symbol, any mix", "&&",
     [](std::size_t i) {
       static constexpr const char* relations[] = {"!=", "<=", "<", ">", ">="};
       return std::string("v") + relations[i % 5] + (i % 5 > 2 ? "0" : "1") + number(i * 37 % 4096);
     },
     64, 4096, quadraticLimit},
    {"cascade of negations", "||",
     [](std::size_t i) { return i == 0 ? "a0000" : "!a" + number(i - 1) + "&&a" + number(i); }, 64,
     4096, linearLimit},
    {"chain of equations", "==", [](std::size_t i) { return "v" + number(i); }, 64, 4096,
     linearLimit},
    {"chain of inequations", "<", [](std::size_t i) { return "v" + number(i); }, 64, 4096,
     linearLimit},
    {"disjunction of conjunctions", "||",
     [](std::size_t i) { return "a" + number(i) + "==1&&b" + number(i) + ">2"; }, 64, 1024,
     linearLimit},
    {"disjunction of conjunctions, one common relation", "||",
     [](std::size_t i) { return "c==1&&b" + number(i) + ">2"; }, 64, 1024, linearLimit},
};

std::vector<std::size_t> indices(std::size_t aCount, Order aOrder) {
  std::vector<std::size_t> result(aCount);
  std::iota(result.begin(), result.end(), std::size_t{0});
  if (aOrder == Order::Descending) std::reverse(result.begin(), result.end());
  if (aOrder == Order::Random) std::shuffle(result.begin(), result.end(), std::mt19937(11));
  return result;
}

std::string textOf(const Shape& aShape, std::size_t aCount, Order aOrder) {
  std::string text;
  for (const std::size_t i : indices(aCount, aOrder)) {
    if (!text.empty()) text += aShape.joint;
    text += aShape.operand(i);
  }
  return text;
}

enum Pass { Parse, Print, Convert, Evaluate, Simplify, Conjoin, numPasses };

struct Costs {
  double time[numPasses];
  double conjoinedNodes;  // that building the conjunction operand by operand adds
  double addedNodes;      // by the simplification
  double unusedNodes;     // of those, the ones that its result does not consist of
};

double usedSince(const KS::SymbolicExprTable& aTable, std::size_t aOldSize,
                 KS::SymbolicExprId aRoot) {
  std::unordered_set<KS::SymbolicExprId> seen;
  std::vector<KS::SymbolicExprId> pending = {aRoot};
  while (!pending.empty()) {
    const KS::SymbolicExprId id = pending.back();
    pending.pop_back();
    if (id < aOldSize || !seen.insert(id).second) continue;  // inputs are older still
    const KS::SymbolicExpr& node = *aTable.get(id);
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) pending.push_back(node.getInput(i));
  }
  return static_cast<double>(seen.size());
}

void bindSymbols(KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId) {
  const KS::SymbolicExprId one = KS::SymbolicIntValue(aTable, 1).getId(aTable);
  std::vector<std::string> names;
  KS::SymbolicExprSymbols{aTable}(aId, names);
  for (const std::string& name : names) aTable.registerValueId(name, one);
}

// The conjunction of one operand after the other, each time simplified, as a service's caller does.
void conjoin(const Shape& aShape, std::size_t aCount, Order aOrder, Costs& aCosts) {
  KS::VCService service;
  std::vector<KS::SymbolicExprId> operands;
  for (const std::size_t i : indices(aCount, aOrder)) {
    operands.push_back(service.simplify(aShape.operand(i)));
  }
  const auto nodes = [&] {  // the id that a new node gets
    static int made = 0;
    return static_cast<double>(service.simplify("made" + std::to_string(made++)));
  };
  const double before = nodes();
  aCosts.time[Conjoin] = timed([&] {
    KS::SymbolicExprId all = operands[0];
    for (const KS::SymbolicExprId operand : operands) all = service.AND(all, operand);
  });
  aCosts.conjoinedNodes = nodes() - before;
}

Costs measureOnce(const Shape& aShape, std::size_t aCount, Order aOrder) {
  Costs costs{};
  const std::string text = textOf(aShape, aCount, aOrder);
  KS::SymbolicExprTable table;
  table.addBoolSymbols();
  KS::SymbolicExprId id = 0;
  costs.time[Parse] = timed([&] { id = KS::SymbolicExprParser(table, true)(text); });
  costs.time[Print] = timed([&] { KS::SymbolicExprPrinter(table, false, false, false)(id); });
  costs.time[Convert] = timed([&] { KS::SymbolicExprC2M{table}(id); });
  bindSymbols(table, id);
  costs.time[Evaluate] = timed([&] { KS::SymbolicExprEval(table).eval(id); });
  const std::size_t oldSize = table.size();
  std::size_t passes = 0;
  KS::SymbolicExprId result = 0;
  costs.time[Simplify] =
      timed([&] { result = KS::SymbolicExprSimplify(table, 10).simplify(id, passes); });
  costs.addedNodes = static_cast<double>(table.size() - oldSize);
  costs.unusedNodes = costs.addedNodes - usedSince(table, oldSize, result);
  if (std::string(aShape.joint) == "&&") conjoin(aShape, aCount, aOrder, costs);
  return costs;
}

// The least of some repetitions: what disturbs a measurement only adds.
Costs measure(const Shape& aShape, std::size_t aCount, Order aOrder) {
  Costs best = measureOnce(aShape, aCount, aOrder);
  for (int i = 1; i < 7; ++i) {
    const Costs costs = measureOnce(aShape, aCount, aOrder);
    for (int pass = 0; pass < numPasses; ++pass) {
      best.time[pass] = std::min(best.time[pass], costs.time[pass]);
    }
    if (i > 1 && costs.time[Simplify] + costs.time[Conjoin] > longTime) break;
  }
  return best;
}

bool printRow(const Shape& aShape, Order aOrder) {
  std::vector<double> sizes;
  std::vector<double> conjoinedNodes;
  std::vector<double> times[numPasses];
  Costs last{};
  double spent = 0;
  for (std::size_t n = aShape.least; n <= aShape.most && spent < patience; n *= 2) {
    sizes.push_back(static_cast<double>(n));
    spent -= cpuTime();
    last = measure(aShape, n, aOrder);
    spent += cpuTime();
    for (int pass = 0; pass < numPasses; ++pass) times[pass].push_back(last.time[pass]);
    conjoinedNodes.push_back(last.conjoinedNodes);
  }
  std::printf("| %-53s | %-10s | %5.0f |", aShape.name, orderNames[static_cast<int>(aOrder)],
              sizes.back());
  bool isMet = sizes.back() == static_cast<double>(aShape.most);
  for (int pass = 0; pass < numPasses; ++pass) {
    if (times[pass][0] == 0) {
      std::printf("         |");
      continue;
    }
    const double slope = exponent(pass == Conjoin ? conjoinedNodes : sizes, times[pass]);
    const double limit = pass == Conjoin ? aShape.conjoinLimit : linearLimit;
    isMet = isMet && slope <= limit;
    std::printf(" %5.2f%2s |", slope, slope <= limit ? "" : " !");
  }
  const double added = last.addedNodes / sizes.back();
  const double unused = last.unusedNodes / sizes.back();
  isMet = isMet && unused <= unusedLimit;
  std::printf(" %8.0f | %7.2f | %7.2f%2s | %-3s |\n", last.time[Simplify] / sizes.back(), added,
              unused, unused <= unusedLimit ? "" : " !", isMet ? "yes" : "NO");
  std::fflush(stdout);
  return isMet;
}

int run() {
  keepMemory();
  std::printf(
      "Exponents; at most %.2g, one by one with relations that pair %.2g. That of \"one by one\" "
      "is over the nodes that it adds: each result is a chain in text order, all of whose links "
      "behind a new operand are new.\n\n",
      linearLimit, quadraticLimit);
  std::printf(
      "| operands | order | up to n | parse | print | convert | evaluate | simplify |"
      " one by one | simplify, ns an operand | nodes added an operand |"
      " of these unused | met |\n");
  std::printf("|---|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|---|\n");
  bool isMet = true;
  for (const Shape& shape : shapes) {
    for (const Order order : {Order::Ascending, Order::Descending, Order::Random}) {
      isMet = printRow(shape, order) && isMet;
    }
  }
  return isMet ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

}  // namespace KSBench

int main() {
  try {
    return KSBench::run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ks_growth: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
