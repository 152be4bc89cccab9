// How long the conditions of a model are to read: typed along the path, canonical, compact.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"

namespace {

using namespace KS;

// As many passes as the service allows itself.
constexpr std::size_t maxPasses = 10;

struct Length {
  std::size_t literals = 0, characters = 0;
  void add(const Length& aOther) {
    literals += aOther.literals;
    characters += aOther.characters;
  }
};

struct Block {
  std::string id;
  std::vector<SymbolicExprId> path;  // conditions as typed
  SymbolicExprId typed, net;
  SymbolicExprId netCompact = 0, compact = 0;  // of the net condition alone, and with the path
  Length typedLength, netLength, netCompactLength, compactLength;
};

// The conditions of a family, in the order of the file.
class Family {
 public:
  Family(const nlohmann::json& aBlocks, const std::string& aName)
      : blocks(aBlocks), name(aName), parser(table, false), simplify(table, maxPasses) {
    table.addBoolSymbols();
    for (const auto& block : blocks) byId[block.at("id").get<std::string>()] = &block;
    for (const auto& block : blocks) result.push_back(blockOf(block));
  }

  std::vector<Block>& all() { return result; }
  SymbolicExprTable& getTable() { return table; }

 private:
  struct Place {
    std::vector<SymbolicExprId> path;
    SymbolicExprId net;
  };

  Block blockOf(const nlohmann::json& aBlock) {
    std::vector<const nlohmann::json*> open;
    for (const nlohmann::json* place = &aBlock; places.count(place) == 0;) {
      open.push_back(place);
      const auto& parent = place->at("parent");
      if (parent.is_null()) break;
      place = byId.at(parent.get<std::string>());
    }
    for (; !open.empty(); open.pop_back()) enter(*open.back());
    Block block;
    block.id = aBlock.at("id").get<std::string>();
    block.path = places.at(&aBlock).path;
    block.net = places.at(&aBlock).net;
    block.typed = table.getIdTRUE();
    for (const SymbolicExprId condition : block.path) {
      block.typed = block.typed == table.getIdTRUE()
                        ? condition
                        : SymbolicAndExpr(table, block.typed, condition).getId(table);
    }
    return block;
  }

  void enter(const nlohmann::json& aBlock) {
    const auto& parent = aBlock.at("parent");
    Place place{{}, table.getIdTRUE()};
    if (!parent.is_null()) place = places.at(byId.at(parent.get<std::string>()));
    const std::string text = aBlock.value(name, "");
    if (!text.empty()) {
      const SymbolicExprId local = parser(text);
      if (local == invalidSymbolicExprId) throw std::runtime_error("does not parse: " + text);
      std::size_t passes = 0;
      place.net = simplify.conjunction(simplify.simplify(local, passes), place.net);
      place.path.push_back(local);
    }
    places[&aBlock] = place;
  }

  const nlohmann::json& blocks;
  std::string name;
  SymbolicExprTable table;
  SymbolicExprParser parser;
  SymbolicExprSimplify simplify;
  std::map<std::string, const nlohmann::json*> byId;
  std::unordered_map<const nlohmann::json*, Place> places;
  std::vector<Block> result;
};

void printRow(const char* aName, const Length& aLength) {
  std::printf("| %-28s | %9zu | %10zu |\n", aName, aLength.literals, aLength.characters);
}

void printTable(const char* aTitle, const std::vector<const Block*>& aBlocks) {
  Length typed, net, netCompact, compact;
  for (const Block* block : aBlocks) {
    typed.add(block->typedLength);
    net.add(block->netLength);
    netCompact.add(block->netCompactLength);
    compact.add(block->compactLength);
  }
  std::printf("\n%s: %zu\n\n| %-28s | literals  | characters |\n|---|--:|--:|\n", aTitle,
              aBlocks.size(), "");
  printRow("path as typed", typed);
  printRow("canonical", net);
  printRow("compact, of the net condition", netCompact);
  printRow("compact, with the path", compact);
}

std::string shortened(const std::string& aText) {
  return aText.size() <= 400 ? aText : aText.substr(0, 400) + "...";
}

void report(const nlohmann::json& aModel, const std::string& aFamily, std::size_t aWorst) {
  Family family(aModel.at("blocks"), aFamily);
  SymbolicExprTable& table = family.getTable();
  const std::size_t before = table.size();
  const SymbolicExprCompact compact(table);
  const auto start = std::chrono::steady_clock::now();
  for (Block& block : family.all()) block.compact = compact(block.net, block.path);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  const std::size_t after = table.size();

  const SymbolicExprPrinter print(table, true, true, false);
  std::unordered_map<SymbolicExprId, Length> lengths;
  const auto length = [&](SymbolicExprId aId) {
    const auto [place, isNew] = lengths.try_emplace(aId);
    if (isNew) place->second = {compact.countLiterals(aId), print(aId).size()};
    return place->second;
  };
  std::vector<const Block*> conditional, longer;
  std::size_t broken = 0;
  for (Block& block : family.all()) {
    block.netCompact = compact(block.net);
    block.typedLength = length(block.typed);
    block.netLength = length(block.net);
    block.netCompactLength = length(block.netCompact);
    block.compactLength = length(block.compact);
    if (block.typed != table.getIdTRUE()) conditional.push_back(&block);
    if (block.netLength.literals > block.typedLength.literals) longer.push_back(&block);
    const std::size_t promised = std::min(block.netLength.literals, block.typedLength.literals);
    if (block.compactLength.literals > promised) ++broken;
  }
  std::printf(
      "\n## Family %s\n\nCompact forms of %zu blocks in %.2f s, %zu nodes beside %zu; "
      "%zu longer than promised\n",
      aFamily.c_str(), family.all().size(), time.count(), after - before, before, broken);
  printTable("Blocks with conditions on their path", conditional);
  printTable("Blocks whose canonical form has more literals than their path", longer);
  std::sort(longer.begin(), longer.end(), [](const Block* a, const Block* b) {
    return a->netLength.literals - a->typedLength.literals >
           b->netLength.literals - b->typedLength.literals;
  });
  std::printf(
      "\nThe worst of them, literals and characters\n\n"
      "| block | typed | canonical | compact |\n|---|--:|--:|--:|\n");
  for (std::size_t i = 0; i < std::min(aWorst, longer.size()); ++i) {
    const Block& block = *longer[i];
    std::printf("| %s | %zu, %zu | %zu, %zu | %zu, %zu |\n", block.id.c_str(),
                block.typedLength.literals, block.typedLength.characters, block.netLength.literals,
                block.netLength.characters, block.compactLength.literals,
                block.compactLength.characters);
  }
  if (aWorst == 0 || longer.empty()) return;
  const Block& worst = *longer.front();
  std::printf("\ntyped: %s\n\ncompact: %s\n\nof the net condition alone: %s\n",
              shortened(print(worst.typed)).c_str(), shortened(print(worst.compact)).c_str(),
              shortened(print(worst.netCompact)).c_str());
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Reports how long the conditions of model files are in their several forms");
  std::vector<std::string> files, families{"VV", "CG", "S"};
  std::size_t worst = 10;
  app.add_option("MODEL", files, "Model files")->required();
  app.add_option("--family", families, "The families to report");
  app.add_option("--worst", worst, "How many of the worst blocks are listed");
  CLI11_PARSE(app, argc, argv);
  try {
    for (const std::string& file : files) {
      std::ifstream stream(file);
      if (!stream) throw std::runtime_error("cannot read " + file);
      const nlohmann::json model = nlohmann::json::parse(stream);
      std::printf("\n# %s\n", file.c_str());
      for (const std::string& family : families) report(model, family, worst);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
