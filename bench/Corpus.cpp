#include "bench/Corpus.hpp"

#include <fstream>
#include <random>
#include <stdexcept>

namespace KSBench {

namespace {

std::vector<std::string> readLines(const std::string& aPath) {
  std::ifstream file(aPath);
  if (!file) throw std::runtime_error("cannot read " + aPath);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  if (lines.empty()) throw std::runtime_error("no expressions in " + aPath);
  return lines;
}

// Texts as people write them: few operators, some superfluous brackets, blanks here and there.
class Writer {
 public:
  explicit Writer(unsigned aSeed) : random(aSeed) {}

  std::string dimension() { return arithmetic(2 + below(9)); }

  std::string condition() {
    atoms.clear();
    return logical(1 + below(6));
  }

  // A handful of relations over two or three symbols, used again and again.
  std::string redundantCondition() {
    const std::vector<std::string> few = {symbol(conditionNames, 300), symbol(conditionNames, 300)};
    atoms.clear();
    for (std::size_t i = 2 + below(4); i > 0; --i) atoms.push_back(relation(few[below(2)], 4));
    return logical(3 + below(6));
  }

  std::string blockCondition() {
    if (below(2) == 0) return {};
    std::string text = relation(symbol(conditionNames, 300), 10);
    if (below(2) == 0) return text;
    return text + (below(5) < 2 ? " || " : " && ") + relation(symbol(conditionNames, 300), 10);
  }

 private:
  std::size_t below(std::size_t aLimit) { return random() % aLimit; }

  const std::string& oneOf(const std::vector<std::string>& aChoices) {
    return aChoices[below(aChoices.size())];
  }

  std::string symbol(const std::vector<std::string>& aNames, std::size_t aCount) {
    const std::size_t number = below(aCount);
    return aNames[number % aNames.size()] + std::to_string(number);
  }

  std::string relation(const std::string& aSymbol, std::size_t aLimit) {
    if (below(5) == 0) return aSymbol;
    static const std::vector<std::string> operators = {
        "==", "==", "==", "!=", "<=", "<", ">", ">="};
    return aSymbol + spaced(oneOf(operators)) + std::to_string(below(aLimit));
  }

  std::string spaced(const std::string& aOp) { return below(2) == 0 ? aOp : " " + aOp + " "; }

  std::string arithmetic(std::size_t aLeaves) {
    if (aLeaves == 1) {
      return below(3) == 0 ? std::to_string(1 + below(16)) : symbol(dimensionNames, 200);
    }
    const std::size_t left = 1 + below(aLeaves - 1);
    static const std::vector<std::string> operators = {"+", "+", "+", "*", "*", "-", "/"};
    const std::string text =
        arithmetic(left) + spaced(oneOf(operators)) + arithmetic(aLeaves - left);
    return below(2) == 0 ? "(" + text + ")" : text;
  }

  std::string logical(std::size_t aLeaves) {
    if (aLeaves == 1) {
      const std::string leaf =
          atoms.empty() ? relation(symbol(conditionNames, 300), 10) : oneOf(atoms);
      if (below(8) == 0) return "!(" + leaf + ")";
      return below(4) == 0 ? "(" + leaf + ")" : leaf;
    }
    const std::size_t left = 1 + below(aLeaves - 1);
    const std::string text =
        logical(left) + spaced(below(5) < 3 ? "&&" : "||") + logical(aLeaves - left);
    if (below(10) == 0) return "!(" + text + ")";
    return below(2) == 0 ? "(" + text + ")" : text;
  }

  const std::vector<std::string> dimensionNames = {"N", "M", "Len", "Width", "numTap", "nCh"};
  const std::vector<std::string> conditionNames = {"V", "MODE", "USE_X", "Variant", "Sel", "Cfg"};
  std::mt19937 random;
  std::vector<std::string> atoms;
};

}  // namespace

Corpus readCorpus(const std::string& aDirectory) {
  return {readLines(aDirectory + "/dimensions-c.txt"), readLines(aDirectory + "/conditions-c.txt"),
          readLines(aDirectory + "/redundant-conditions-c.txt")};
}

Corpus makeCorpus() {
  Writer writer(20240607);
  Corpus corpus;
  for (int i = 0; i < 5000; ++i) {
    corpus.dimensions.push_back(writer.dimension());
    corpus.conditions.push_back(writer.condition());
    corpus.redundant.push_back(writer.redundantCondition());
  }
  return corpus;
}

BlockTree makeTree(std::size_t aCount) {
  Writer writer(99);
  std::vector<std::string> conditions;
  for (std::size_t i = 0; i < aCount; ++i) conditions.push_back(writer.blockCondition());
  return makeTree(aCount, conditions);
}

BlockTree makeTree(std::size_t aCount, const std::vector<std::string>& aConditions) {
  std::mt19937 random(7);
  BlockTree tree;
  for (std::size_t i = 0; i < aCount; ++i) {
    const std::size_t first = i / 12;
    tree.parents.push_back(i == 0 ? 0 : first + random() % (i / 6 - first + 1));
    tree.locals.push_back(aConditions[i % aConditions.size()]);
  }
  return tree;
}

std::vector<std::string> makeRelations(std::size_t aCount) {
  static const char* const operators[] = {"==", "!=", "<", ">=", ">", "<="};
  std::vector<std::string> relations;
  for (std::size_t i = 0; i < aCount; ++i) {
    relations.push_back("R" + std::to_string(i) + operators[i % 6] + std::to_string(i % 10));
  }
  return relations;
}

std::string chainSymbol(std::size_t aIdx) { return "v" + std::to_string(aIdx); }

std::string makeChain(std::size_t aCount) {
  std::string text = chainSymbol(0);
  for (std::size_t i = 1; i < aCount; ++i) text += (i % 2 == 1 ? "-" : "+") + chainSymbol(i);
  return text;
}

}  // namespace KSBench
