// What deciding costs: all blocks of a model, beside their net conditions and beside Z3, which also
// has to give the same verdicts; a long chain of blocks; and conditions that are made to be hard.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "bench/Corpus.hpp"
#include "bench/Measure.hpp"
#include "decide/SymbolicExprDecider.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "variants/VCService.hpp"
#ifdef KS_BENCH_Z3
#include "bench/Z3Terms.hpp"
#endif

/// What the library only points to: a block of the measured model.
class KSBlock {
 public:
  std::size_t index;
};

namespace {

using namespace KS;
using KSBench::median;
using KSBench::timed;

constexpr std::size_t noParent = ~std::size_t{0};

// Blocks with their conditions; parents in any order.
struct Model {
  std::vector<std::size_t> parents;
  std::vector<std::string> texts;
};

Model readModel(const std::string& aFile) {
  std::ifstream stream(aFile);
  if (!stream) throw std::runtime_error("cannot read " + aFile);
  Model model;
  std::unordered_map<std::string, std::size_t> places;
  const auto json = nlohmann::json::parse(stream);
  const auto& blocks = json.at("blocks");
  for (const auto& block : blocks) places.emplace(block.at("id"), places.size());
  for (const auto& block : blocks) {
    const auto& parent = block.at("parent");
    model.parents.push_back(parent.is_null() ? noParent : places.at(parent.get<std::string>()));
    model.texts.push_back(block.value("VV", ""));
  }
  return model;
}

Model makeModel(std::size_t aCount) {
  const KSBench::BlockTree tree = KSBench::makeTree(aCount);
  Model model{tree.parents, tree.locals};
  model.parents[0] = noParent;
  return model;
}

// A chain of blocks, each with a conjunction of disjunctions.
Model makeChain(std::size_t aBlocks, std::size_t aDisjunctions) {
  Model model;
  for (std::size_t i = 0; i < aBlocks; ++i) {
    model.parents.push_back(i == 0 ? noParent : i - 1);
    std::string text;
    for (std::size_t k = 0; k < aDisjunctions; ++k) {
      const std::string name = std::to_string((i * 31 + k * 17) % 500);
      const std::string other = std::to_string((i * 7 + k * 13 + 3) % 500);
      text += std::string(k == 0 ? "" : " && ") + "(a" + name + " || b" + other +
              " == " + std::to_string(k % 3) + ")";
    }
    model.texts.push_back(text);
  }
  return model;
}

class Customizer : public VCCustomizer {
 public:
  explicit Customizer(const Model& aModel) : model(aModel) {
    for (std::size_t i = 0; i < aModel.texts.size(); ++i) blocks.push_back({i});
  }
  std::string getLocalCondition(const KSBlock* aBlock, int) const override {
    return model.texts[aBlock->index];
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    const std::size_t parent = model.parents[aBlock->index];
    return parent == noParent ? nullptr : &blocks[parent];
  }
  const std::vector<KSBlock>& all() const { return blocks; }

 private:
  const Model& model;
  std::vector<KSBlock> blocks;
};

using Paths = std::vector<std::vector<SymbolicExprId>>;

// The conditions along the path to each block, the top first.
Paths readPaths(const Model& aModel, SymbolicExprTable& aTable) {
  const SymbolicExprParser parse(aTable, false);
  std::vector<SymbolicExprId> locals;
  for (const std::string& text : aModel.texts) {
    locals.push_back(text.empty() ? invalidSymbolicExprId : parse(text));
  }
  Paths paths(locals.size());
  for (std::size_t i = 0; i < locals.size(); ++i) {
    for (std::size_t block = i; block != noParent; block = aModel.parents[block]) {
      if (locals[block] != invalidSymbolicExprId) paths[i].push_back(locals[block]);
    }
    std::reverse(paths[i].begin(), paths[i].end());
  }
  return paths;
}

double milliseconds(const std::function<void()>& aWork, int aRounds) {
  std::vector<double> times;
  for (int i = 0; i < aRounds; ++i) times.push_back(timed(aWork) / 1e6);
  return median(times);
}

struct Counts {
  std::size_t never = 0, always = 0, sometimes = 0, unknown = 0;
};
Counts count(const std::vector<Truth>& aVerdicts) {
  Counts counts;
  for (const Truth verdict : aVerdicts) {
    ++(verdict == Truth::Never       ? counts.never
       : verdict == Truth::Always    ? counts.always
       : verdict == Truth::Sometimes ? counts.sometimes
                                     : counts.unknown);
  }
  return counts;
}

#ifdef KS_BENCH_Z3
// The same questions in one solver, each distinct one between a push and a pop: of the ways to ask
// Z3, which also knows assumptions, this is by far the fastest here.
std::vector<Truth> decideWithZ3(const SymbolicExprTable& aTable, const Paths& aPaths) {
  z3::context context;
  KSBench::Z3Terms terms(context, aTable);
  z3::solver solver(context);
  const auto canHold = [&](const z3::expr& aCondition) {
    solver.push();
    solver.add(aCondition);
    const bool result = solver.check() == z3::sat;
    solver.pop();
    return result;
  };
  std::map<std::vector<SymbolicExprId>, Truth> known;
  std::vector<Truth> verdicts;
  for (const auto& path : aPaths) {
    const auto [place, isNew] = known.emplace(path, Truth::Sometimes);
    if (isNew) {
      z3::expr_vector locals(context);
      for (const SymbolicExprId id : path) locals.push_back(terms.truth(id));
      const z3::expr all = z3::mk_and(locals);
      if (!canHold(all)) {
        place->second = Truth::Never;
      } else if (!canHold(!all)) {
        place->second = Truth::Always;
      }
    }
    verdicts.push_back(place->second);
  }
  return verdicts;
}
#endif

// Prints a row; gives the number of verdicts on which Z3 does not agree.
std::size_t row(const char* aName, const Model& aModel, int aRounds, bool aWithNets, bool aWithZ3) {
  double nets = 0;
  if (aWithNets) {
    nets = milliseconds(
        [&] {
          const Customizer customizer(aModel);
          VCService service;
          for (const KSBlock& block : customizer.all()) {
            service.getMExprNetVVCEIdx(&block, &customizer);
          }
        },
        aRounds);
  }
  std::vector<Truth> verdicts;
  const double fromTexts = milliseconds(
      [&] {
        SymbolicExprTable table;
        const Paths paths = readPaths(aModel, table);
        verdicts = SymbolicExprDecider(table).decideAll(paths);
      },
      aRounds);
  SymbolicExprTable table;
  const Paths paths = readPaths(aModel, table);
  const double deciding =
      milliseconds([&] { SymbolicExprDecider(table).decideAll(paths); }, aRounds);
  const Counts counts = count(verdicts);
  std::printf("| %s | %zu | %.1f | %.1f | %.1f |", aName, aModel.texts.size(), nets, fromTexts,
              deciding);
  std::size_t different = 0;
#ifdef KS_BENCH_Z3
  if (aWithZ3) {
    std::vector<Truth> theirs;
    const double z3 = milliseconds([&] { theirs = decideWithZ3(table, paths); }, 1);
    for (std::size_t i = 0; i < theirs.size(); ++i) different += theirs[i] != verdicts[i];
    std::printf(" %.1f | %zu |", z3, different);
  } else {
    std::printf(" | |");
  }
#else
  (void)aWithZ3;
  std::printf(" | |");
#endif
  std::printf(" %zu | %zu | %zu | %zu |\n", counts.never, counts.always, counts.sometimes,
              counts.unknown);
  return different;
}

// ---------------------------------------------------------------------------------------------
// Hard conditions

std::string pigeons(int aHoles) {
  std::string text;
  const auto in = [](int aPigeon, int aHole) {
    return "p" + std::to_string(aPigeon) + "_" + std::to_string(aHole);
  };
  for (int pigeon = 0; pigeon <= aHoles; ++pigeon) {
    std::string some;
    for (int hole = 0; hole < aHoles; ++hole) some += (hole == 0 ? "" : " || ") + in(pigeon, hole);
    text += (pigeon == 0 ? "(" : " && (") + some + ")";
  }
  for (int hole = 0; hole < aHoles; ++hole) {
    for (int a = 0; a <= aHoles; ++a) {
      for (int b = 0; b < a; ++b) {
        text.append(" && ~(").append(in(a, hole)).append(" && ").append(in(b, hole)).append(")");
      }
    }
  }
  return text;
}

// As many variables with values from 1 to one less, all different from each other.
std::string distinct(int aCount) {
  std::string text = "true";
  for (int a = 0; a < aCount; ++a) {
    const std::string name = "x" + std::to_string(a);
    text += " && " + name + " >= 1 && " + name + " <= " + std::to_string(aCount - 1);
    for (int b = 0; b < a; ++b) text += " && " + name + " ~= x" + std::to_string(b);
  }
  return text;
}

std::string variables(int aCount, bool aIsOrdered) {
  std::string text = "v0 > 3";
  for (int i = 1; i < aCount; ++i) {
    const std::string name = "v" + std::to_string(i);
    text += aIsOrdered ? " && v" + std::to_string(i - 1) + " < " + name
                       : " && (" + name + " > 3 || w" + std::to_string(i) + ")";
  }
  return text;
}

// A parity in one order, and its opposite in the other.
std::string parity(int aCount) {
  const auto isOdd = [&](bool aForth) {
    std::string text = "false";
    for (int i = 0; i < aCount; ++i) {
      text = "(" + text + " ~= (a" + std::to_string(aForth ? i : aCount - 1 - i) + " ~= 0))";
    }
    return text;
  };
  return isOdd(true) + " && ~" + isOdd(false);
}

void hardRow(const char* aName, const std::string& aText, bool aIsInteger, std::size_t aLimit) {
  SymbolicExprTable table;
  const SymbolicExprId id = SymbolicExprParser(table, false)(aText);
  if (id == invalidSymbolicExprId) throw std::runtime_error(std::string(aName) + " does not parse");
  SymbolicExprDecider decider(table);
  decider.setConflictLimit(aLimit);
  if (aIsInteger) {
    for (std::size_t i = 0, size = table.size(); i < size; ++i) {
      const SymbolicExpr& node = *table.get(i);
      if (node.isLeaf() && !node.isNumber()) {
        if (static_cast<const SymbolicString&>(node).getText() == "true") continue;
        decider.setDomain(i, SymbolicExprDomain::integers());
      }
    }
  }
  Truth verdict = Truth::Unknown;
  const double time = milliseconds([&] { verdict = decider.decide(id); }, 1);
  const char* const names[] = {"never", "always", "sometimes", "unknown"};
  std::printf("| %s | %zu | %s | %.1f |\n", aName, aLimit, names[static_cast<int>(verdict)], time);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Measures deciding conditions");
  std::string file;
  int rounds = 5;
  bool noZ3 = false;
  app.add_option("MODEL", file, "A model file; a generated tree without");
  app.add_option("--rounds", rounds, "The number of times that each thing is measured");
  std::string only;
  app.add_option("--only", only, "Only the hard conditions with that in their names");
  app.add_flag("--no-z3", noZ3, "Without Z3");
  CLI11_PARSE(app, argc, argv);
  try {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    KSBench::keepMemory();
    std::size_t different = 0;
    const auto hard = [&](const char* aName, const std::string& aText, bool aIsInteger,
                          std::size_t aLimit) {
      if (std::string(aName).find(only) != std::string::npos) {
        hardRow(aName, aText, aIsInteger, aLimit);
      }
    };
    if (only.empty()) {
      std::puts(
          "| blocks | number | net conditions, ms | decided, ms | of that deciding, ms | Z3, ms |"
          " different | never | always | sometimes | unknown |");
      std::puts("|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|");
      if (!file.empty()) different += row("model", readModel(file), rounds, true, !noZ3);
      different += row("tree of 10,000", makeModel(10000), rounds, true, !noZ3);
      row("chain of 1,000, 40 disjunctions each", makeChain(1000, 40), rounds, false, false);
    }
    std::puts("\n| condition | conflict limit | verdict | ms |\n|---|--:|---|--:|");
    for (const std::size_t limit : {1000U, 20000U}) {
      hard("7 pigeons, 6 holes", pigeons(6), false, limit);
      hard("10 pigeons, 9 holes", pigeons(9), false, limit);
      hard("13 pigeons, 12 holes", pigeons(12), false, limit);
      hard("6 different numbers from 1 to 5", distinct(6), true, limit);
      hard("10 different numbers from 1 to 9", distinct(10), true, limit);
      hard("8 different reals from 1 to 7", distinct(8), false, limit);
      hard("10,000 variables", variables(10000, false), false, limit);
      hard("10,000 variables, ascending", variables(10000, true), false, limit);
      hard("parity of 20 against its opposite", parity(20), false, limit);
    }
    return different == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  return 1;
}
