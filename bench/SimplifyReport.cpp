// What simplification makes of conditions: how their size changes, what distribution costs, and how
// the passes end, over the conditions of a model file and over generated ones.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/RandomText.hpp"

namespace {

using namespace KS;

// As many passes as the service allows itself.
constexpr std::size_t maxPasses = 10;

SymbolicOp kindOf(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  return static_cast<SymbolicOp>(aTable.get(aId)->getKind());
}

// ---------------------------------------------------------------------------------------------
// Sizes

// The operators of an expression's text. Placeholders count for what they stand for.
class Sizes {
 public:
  explicit Sizes(const SymbolicExprTable& aTable) : table(aTable) {}
  double operator()(SymbolicExprId aId) {
    // Inputs are older than their users, so ascending order needs no recursion.
    for (; known.size() <= aId;) {
      const SymbolicExprId id = known.size();
      const SymbolicExpr& node = *table.get(id);
      double size = node.isLeaf() ? 0.0 : 1.0;
      for (std::size_t i = 0; i < node.getNumInputs(); ++i) size += known[node.getInput(i)];
      known.push_back(size);
    }
    return known[aId];
  }
  void set(SymbolicExprId aPlaceholder, double aSize) {
    (*this)(aPlaceholder);
    known[aPlaceholder] = aSize;
  }

 private:
  const SymbolicExprTable& table;
  std::vector<double> known;
};

// Simplifies without distribution: a disjunction among the operands of a conjunction is simplified
// and then kept as a symbol.
class Undistributed {
 public:
  Undistributed(SymbolicExprTable& aTable, Sizes& aSizes)
      : table(aTable), sizes(aSizes), simplifier(aTable, maxPasses) {}

  /// Whether a conjunction without disjunctions became one: a && !(a && !(b || c)) uncovers b || c,
  /// over which it is distributed after all.
  bool hasUncovered() const { return uncovered; }

  SymbolicExprId operator()(SymbolicExprId aId) {
    std::vector<SymbolicExprId> open{aId};
    while (!open.empty()) {
      const SymbolicExprId id = open.back();
      const std::vector<SymbolicExprId> operands = operandsOf(id);
      const std::size_t before = open.size();
      for (const SymbolicExprId operand : operands) {
        if (results.count(operand) == 0) open.push_back(operand);
      }
      if (open.size() > before) continue;
      open.pop_back();
      if (results.count(id) != 0) continue;  // met again meanwhile
      results.emplace(id, rebuilt(id, operands));
    }
    return results.at(aId);
  }

 private:
  // The operands of a whole chain, the operand of a negation; everything else is one piece.
  std::vector<SymbolicExprId> operandsOf(SymbolicExprId aId) const {
    const SymbolicOp op = kindOf(table, aId);
    if (op == SymbolicOp::Not) return {table.get(aId)->getInput(0)};
    if (op != SymbolicOp::And && op != SymbolicOp::Or) return {};
    std::vector<SymbolicExprId> operands, links{aId};
    while (!links.empty()) {
      const SymbolicExprId link = links.back();
      links.pop_back();
      if (kindOf(table, link) != op) {
        operands.push_back(link);
      } else {
        links.push_back(table.get(link)->getInput(1));
        links.push_back(table.get(link)->getInput(0));
      }
    }
    return operands;
  }

  SymbolicExprId simplified(SymbolicExprId aId) {
    std::size_t passes = 0;
    return simplifier.simplify(aId, passes);
  }

  SymbolicExprId rebuilt(SymbolicExprId aId, const std::vector<SymbolicExprId>& aOperands) {
    const SymbolicOp op = kindOf(table, aId);
    if (aOperands.empty()) return simplified(aId);
    std::optional<SymbolicExprId> chain;
    for (const SymbolicExprId operand : aOperands) {
      SymbolicExprId part = results.at(operand);
      if (op == SymbolicOp::Not) return simplified(SymbolicNotExpr(table, part).getId(table));
      if (op == SymbolicOp::And && kindOf(table, part) == SymbolicOp::Or) part = placeholder(part);
      chain = !chain                  ? part
              : op == SymbolicOp::And ? SymbolicAndExpr(table, *chain, part).getId(table)
                                      : SymbolicOrExpr(table, *chain, part).getId(table);
    }
    const SymbolicExprId result = simplified(*chain);
    uncovered = uncovered || (op == SymbolicOp::And && kindOf(table, result) == SymbolicOp::Or);
    return result;
  }

  SymbolicExprId placeholder(SymbolicExprId aDisjunction) {
    const SymbolicString symbol(table, "__or" + std::to_string(aDisjunction));
    const SymbolicExprId id = symbol.getId(table);
    sizes.set(id, sizes(aDisjunction));
    return id;
  }

  SymbolicExprTable& table;
  Sizes& sizes;
  SymbolicExprSimplify simplifier;
  std::unordered_map<SymbolicExprId, SymbolicExprId> results;
  bool uncovered = false;
};

// ---------------------------------------------------------------------------------------------
// Counting

struct Counts {
  std::size_t conditions = 0, shrunk = 0, stayed = 0, grown = 0, grownUncovered = 0,
              grownOtherwise = 0;
  double before = 0.0, after = 0.0;
  std::size_t longer = 0;
  double undistributed = 0.0, distributed = 0.0, largestFactor = 1.0, largestExcess = 0.0;
  std::map<std::string, std::size_t> endings;
  std::size_t mostPasses = 0;

  void addSizes(double aBefore, double aAfter, double aUndistributed, bool aUncovered) {
    ++conditions;
    before += aBefore;
    after += aAfter;
    ++(aAfter < aBefore ? shrunk : aAfter > aBefore ? grown : stayed);
    if (aAfter > aBefore && aUndistributed > aBefore) {
      ++(aUncovered ? grownUncovered : grownOtherwise);
    }
    if (aAfter <= aUndistributed) return;
    ++longer;
    undistributed += aUndistributed;
    distributed += aAfter;
    largestFactor = std::max(largestFactor, aAfter / std::max(aUndistributed, 1.0));
    largestExcess = std::max(largestExcess, aAfter - aUndistributed);
  }

  void addEnding(const SymbolicExprTable& aTable, SymbolicExprId aId,
                 const std::vector<SymbolicExprId>& aResults) {
    const SymbolicExprId last = aResults.back();
    const SymbolicExprId previous = aResults.size() == 1 ? aId : aResults[aResults.size() - 2];
    if (last == previous) {
      ++endings["a fixed point"];
    } else if (last == aTable.getIdTRUE() || last == aTable.getIdFALSE()) {
      ++endings["a constant"];
    } else {
      const auto again = std::find(aResults.rbegin() + 1, aResults.rend(), last);
      const auto passes = static_cast<std::size_t>(again - aResults.rbegin());
      ++endings[again != aResults.rend() || last == aId
                    ? "repetition after " + std::to_string(passes)
                    : "the limit"];
    }
    mostPasses = std::max(mostPasses, aResults.size());
  }

  void print(const char* aTitle) const {
    std::printf("%s\n", aTitle);
    if (conditions > 0) {
      const auto share = [&](std::size_t aPart) {
        return 100.0 * static_cast<double>(aPart) / static_cast<double>(conditions);
      };
      std::printf("  conditions                 %zu\n", conditions);
      std::printf("  operators before           %.0f\n  operators after            %.0f\n", before,
                  after);
      std::printf("  shrink / stay / grow       %.2f %% / %.2f %% / %.2f %%  (%zu / %zu / %zu)\n",
                  share(shrunk), share(stayed), share(grown), shrunk, stayed, grown);
      std::printf("  grow not by distribution   %zu (uncovered disjunctions: %zu)\n",
                  grownOtherwise, grownUncovered);
      std::printf("  longer by distribution     %zu (%.2f %%)\n", longer, share(longer));
      if (longer > 0) {
        std::printf(
            "    operators of these       %.0f undistributed, %.0f distributed: %.2f times\n",
            undistributed, distributed, distributed / std::max(undistributed, 1.0));
        std::printf("    at most                  %.1f times, %.0f operators more\n", largestFactor,
                    largestExcess);
      }
    }
    for (const auto& [ending, count] : endings) {
      std::printf("  ends by %-19s %zu\n", ending.c_str(), count);
    }
    if (mostPasses > 0) std::printf("  passes at most             %zu\n", mostPasses);
    std::printf("\n");
  }
};

// ---------------------------------------------------------------------------------------------
// Model files

// The net conditions of one family: what a block's conjunction has before anything is simplified
// against what is left.
void reportFamily(const nlohmann::json& aBlocks, const char* aFamily) {
  SymbolicExprTable table;
  table.addBoolSymbols();
  const SymbolicExprParser parser(table, false);
  const SymbolicExprSimplify simplifier(table, maxPasses);
  Sizes sizes(table);
  std::unordered_map<std::string, const nlohmann::json*> byId;
  for (const auto& block : aBlocks) byId[block.at("id").get<std::string>()] = &block;

  struct Net {
    SymbolicExprId raw, net, undistributed;
  };
  std::unordered_map<const nlohmann::json*, Net> nets;
  const SymbolicExprId always = table.getIdTRUE();
  Undistributed undistributed(table, sizes);
  const auto both = [&](SymbolicExprId a, SymbolicExprId b) {
    return a == always ? b : b == always ? a : SymbolicAndExpr(table, a, b).getId(table);
  };
  Counts counts;
  for (const auto& block : aBlocks) {
    std::vector<const nlohmann::json*> path;
    for (const nlohmann::json* place = &block; nets.count(place) == 0;) {
      path.push_back(place);
      const auto& parent = place->at("parent");
      if (parent.is_null()) break;
      place = byId.at(parent.get<std::string>());
    }
    while (!path.empty()) {
      const nlohmann::json& place = *path.back();
      path.pop_back();
      const auto& parent = place.at("parent");
      const Net above = parent.is_null() ? Net{always, always, always}
                                         : nets.at(byId.at(parent.get<std::string>()));
      const std::string text = place.value(aFamily, "");
      const SymbolicExprId local = text.empty() ? always : parser(text);
      if (local == invalidSymbolicExprId) throw std::runtime_error("does not parse: " + text);
      std::size_t passes = 0;
      const SymbolicExprId conjunction = both(simplifier.simplify(local, passes), above.net);
      Net net;
      net.raw = both(local, above.raw);
      net.net = simplifier.simplify(conjunction, passes);
      net.undistributed = undistributed(net.raw);
      nets[&place] = net;
      if (net.raw == always) continue;
      counts.addSizes(sizes(net.raw), sizes(net.net), sizes(net.undistributed),
                      undistributed.hasUncovered());
      counts.addEnding(table, conjunction, simplifier.explain(conjunction));
    }
  }
  counts.print((std::string("Net conditions, family ") + aFamily +
                " (blocks that are not always on; endings of the last conjunction)")
                   .c_str());
}

void reportModel(const std::string& aFile) {
  std::ifstream stream(aFile);
  if (!stream) throw std::runtime_error("cannot read " + aFile);
  const nlohmann::json model = nlohmann::json::parse(stream);
  for (const char* family : {"VV", "CG", "S"}) reportFamily(model.at("blocks"), family);
}

// ---------------------------------------------------------------------------------------------
// Generated expressions

void reportConditions(std::size_t aCount, std::uint64_t aSeed) {
  test::RandomText random(aSeed);
  Counts counts;
  for (std::size_t i = 0; i < aCount; ++i) {
    SymbolicExprTable table;
    table.addBoolSymbols();
    const SymbolicExprId id = SymbolicExprParser(table, true)(random.condition(1 + i % 16));
    const auto results = SymbolicExprSimplify(table, maxPasses).explain(id);
    Sizes sizes(table);
    Undistributed undistributed(table, sizes);
    const double size = sizes(undistributed(id));
    counts.addSizes(sizes(id), sizes(results.back()), size, undistributed.hasUncovered());
    counts.addEnding(table, id, results);
  }
  counts.print("Generated conditions");
}

void reportSums(std::size_t aCount, std::size_t aTerms, std::uint64_t aSeed) {
  static constexpr const char* const operators[] = {"+", "-", "+", "-", "*", "/"};
  static constexpr const char* const constants[] = {"0", "1",  "2",          "3",
                                                    "7", "-1", "2147483647", "-2147483648"};
  test::RandomText random(aSeed);
  Counts counts;
  for (std::size_t i = 0; i < aCount; ++i) {
    SymbolicExprTable table;
    table.addBoolSymbols();
    const SymbolicExprId id = SymbolicExprParser(
        table, true)(random.arithmetic(1 + i % aTerms, operators, constants, std::size(constants)));
    counts.addEnding(table, id, SymbolicExprSimplify(table, maxPasses).explain(id));
  }
  counts.print("Generated sums");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Reports what simplification makes of conditions");
  std::string model;
  std::size_t conditions = 100000, sums = 100000, terms = 12;
  std::uint64_t seed = 1;
  app.add_option("MODEL", model, "A model file whose net conditions are reported");
  app.add_option("--conditions", conditions, "The number of generated conditions");
  app.add_option("--sums", sums, "The number of generated sums");
  app.add_option("--terms", terms, "The most operands of a sum")->check(CLI::PositiveNumber);
  app.add_option("--seed", seed, "The seed of the generated expressions");
  CLI11_PARSE(app, argc, argv);
  try {
    if (!model.empty()) reportModel(model);
    if (conditions > 0) reportConditions(conditions, seed);
    if (sums > 0) reportSums(sums, terms, seed);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
