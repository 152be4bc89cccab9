// Writes what the library makes of many inputs, for comparison between two versions of it: texts,
// and ids where they are part of what is promised (parsing, copying, rebuilding). The same inputs
// in every run.
//
//   ks_results DIR [--texts N] [--sequences N] [--corpus DIR] [--model FILE]
//
// `diff -rq` of two directories tells whether two versions give the same.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Corpus.hpp"
#include "core.hpp"
#include "tests/support/RandomText.hpp"

/// A block of a model; the library only points to it.
class KSBlock {
 public:
  std::size_t parent;     ///< Its own place for none.
  std::string locals[3];  ///< By selector.
};

namespace KSBench {

namespace {

using KS::invalidSymbolicExprId;
using KS::SymbolicExprId;
using KS::SymbolicExprTable;
using KS::test::RandomText;
using Texts = std::vector<std::string>;

std::string directory;

std::ofstream open(const std::string& aName) {
  std::ofstream file(directory + "/" + aName);
  if (!file) throw std::runtime_error("cannot write " + directory + "/" + aName);
  return file;
}

std::string idText(SymbolicExprId aId) {
  return aId == invalidSymbolicExprId ? std::string("none") : std::to_string(aId);
}

// What `aWork` gives, or what it throws.
template <class Work>
std::string orError(Work aWork) {
  try {
    return aWork();
  } catch (const std::exception& error) {
    return std::string("throws ") + error.what();
  }
}

// ---------------------------------------------------------------------------------------------
// Texts, each in a table of its own

std::string randomText(RandomText& aRandom, std::size_t aIdx) {
  static constexpr const char* const sums[] = {"+", "-", "*", "/"};
  static constexpr const char* const all[] = {"+",  "-",  "*", "/",  "%",  "&",  "|", "^",
                                              "<<", ">>", "<", "==", "!=", "&&", "||"};
  static constexpr const char* const constants[] = {"0",    "1",      "2",   "3",          "-1",
                                                    "7",    "1.5",    "0.1", "2147483647", "s.m",
                                                    "f(x)", "g(y,2)", "~b",  "true"};
  switch (aIdx % 6) {
    case 0:
    case 1: return aRandom.condition(1 + aIdx / 6 % 14);
    case 2: return aRandom.dense(2 + aIdx / 6 % 7);
    case 3: return aRandom.arithmetic(1 + aIdx / 6 % 9, sums, constants, 7);
    case 4: return aRandom.arithmetic(1 + aIdx / 6 % 7, all, constants, std::size(constants));
    default: {
      const std::string operand = aRandom.condition(1 + aIdx / 6 % 4);
      return "(" + operand + ") && (" + aRandom.dense(1 + aIdx / 6 % 3) + ") || [" + operand +
             ", 2] == v && (" + operand + ")";
    }
  }
}

std::string values(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  std::string text;
  for (const double value : KS::SymbolicExprEval(aTable).eval(aId)) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.17g ", value);
    text += digits;
  }
  return text;
}

void writeText(std::ostream& aOut, const std::string& aText, bool aCSyntax) {
  SymbolicExprTable table;
  const SymbolicExprId id = KS::SymbolicExprParser(table, aCSyntax)(aText);
  aOut << aText << '\n' << (aCSyntax ? "C " : "M ") << idText(id) << ' ' << table.size();
  if (id == invalidSymbolicExprId) {
    aOut << '\n';
    return;
  }
  SymbolicExprTable copies;
  aOut << " copy " << KS::SymbolicExprCopy(table, copies)(id) << ' ' << copies.size();
  aOut << " toC " << idText(KS::SymbolicExprM2C{table}(id)) << ' ' << table.size();
  aOut << " toM " << idText(KS::SymbolicExprC2M{table}(id)) << ' ' << table.size();
  aOut << " int " << idText(KS::SymbolicExprCast2Int{table}.cast2Int(id)) << ' ' << table.size();
  aOut << " factor " << idText(KS::SymbolicExprFactorDivision{table}.factorDivision(id)) << ' '
       << table.size() << '\n';
  for (int layout = 0; layout < 8; ++layout) {
    aOut << KS::SymbolicExprPrinter(table, (layout & 4) != 0, (layout & 2) != 0,
                                    (layout & 1) != 0)(id)
         << '\n';
  }
  Texts names;
  KS::SymbolicExprSymbols{table}(id, names);
  aOut << "value " << orError([&] {
    for (const std::string& name : names) {
      const int value = static_cast<int>(name.size() + static_cast<unsigned char>(name[0]) % 5);
      table.registerValueId(name, KS::SymbolicIntValue(table, value).getId(table));
    }
    return values(table, id);
  }) << '\n';
  for (const std::size_t limit : {std::size_t{1}, std::size_t{10}}) {
    std::size_t passes = 0;
    aOut << "simplified " << orError([&] {
      const SymbolicExprId result = KS::SymbolicExprSimplify(table, limit).simplify(id, passes);
      return KS::SymbolicExprPrinter(table, false, true, false)(result);
    }) << " in "
         << passes << '\n';
  }
}

void writeTexts(std::size_t aCount) {
  std::ofstream out = open("texts");
  RandomText random(20261122);
  for (std::size_t i = 0; i < aCount; ++i) writeText(out, randomText(random, i), i % 4 != 3);
}

// One table for all of them: results must not show it.
void writeUsed(std::size_t aCount) {
  std::ofstream out = open("used");
  RandomText random(77);
  for (std::size_t done = 0; done < aCount;) {
    SymbolicExprTable table;
    const KS::SymbolicExprSimplify simplify(table, 10);
    for (const std::size_t end = std::min(aCount, done + 500); done < end; ++done) {
      const std::string text = randomText(random, done);
      std::size_t passes = 0;
      out << text << '\n'
          << orError([&] {
               const SymbolicExprId id = KS::SymbolicExprParser(table, true)(text);
               return KS::SymbolicExprPrinter(table, false, true,
                                              false)(simplify.simplify(id, passes));
             })
          << '\n';
    }
  }
}

void writeCorpus(const Corpus& aCorpus) {
  std::ofstream out = open("corpus");
  for (const Texts* texts : {&aCorpus.dimensions, &aCorpus.conditions, &aCorpus.redundant}) {
    for (const std::string& text : *texts) writeText(out, text, true);
  }
}

// ---------------------------------------------------------------------------------------------
// Chains of many operands, at once and one by one

std::string number(std::size_t aIdx) { return std::to_string(1000 + aIdx); }

void writeChains() {
  std::ofstream out = open("chains");
  static constexpr const char* const relations[] = {"!=", "<=", "<", ">", ">=", "=="};
  RandomText random(5);
  for (const std::size_t count : {3U, 20U, 90U, 300U}) {
    for (int shape = 0; shape < 10; ++shape) {
      for (const bool isAnd : {true, false}) {
        for (int round = 0; round < 6; ++round) {
          Texts operands;
          for (std::size_t i = 0; i < count; ++i) {
            const std::size_t idx = round % 3 == 0   ? i
                                    : round % 3 == 1 ? count - 1 - i
                                                     : random.pick(count);
            const std::string n = number(idx);
            switch (shape) {
              case 0: operands.push_back("v" + n); break;
              case 1: operands.push_back("v" + n + relations[random.pick(6)] + "3"); break;
              case 2: operands.push_back("v" + std::string(relations[i % 2]) + n); break;
              case 3: operands.push_back("v" + std::string(random.oneOf(relations)) + n); break;
              case 4:
                operands.push_back("v" + std::string(random.oneOf(relations)) +
                                   std::to_string(random.pick(12)));
                break;
              case 5: operands.push_back("(a" + n + "&&b" + number(random.pick(8)) + ")"); break;
              case 6: operands.push_back("!(a" + n + "&&b" + number(random.pick(8)) + ")"); break;
              case 7: operands.push_back("(!c" + n + "&&c" + number(idx + 1) + ")"); break;
              case 8:
                operands.push_back(std::string(random.pick(2) == 0 ? "!" : "") + "v" +
                                   number(random.pick(4 * count)));
                break;
              default: operands.push_back("v" + n + "==w" + number(random.pick(3)));
            }
          }
          std::string text = shape == 7 ? "c" + number(round % 3 == 0 ? 0 : count) : "";
          KS::VCService service;
          SymbolicExprId all = invalidSymbolicExprId;
          for (const std::string& operand : operands) {
            text += (text.empty() ? "" : isAnd ? "&&" : "||") + operand;
            const SymbolicExprId id = service.simplify(operand);
            all = all == invalidSymbolicExprId ? id
                  : isAnd                      ? service.AND(all, id)
                                               : service.OR(all, id);
          }
          out << shape << ' ' << count << ' ' << round << (isAnd ? " and\n" : " or\n")
              << service.printMExpr(all) << '\n'
              << orError([&] {
                   KS::VCService fresh;
                   return fresh.simplifyCExpr(text);
                 })
              << '\n';
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Services

class Host : public KS::VCCustomizer {
 public:
  std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override {
    return aBlock->locals[aSelector];
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    const KSBlock* const parent = &blocks[aBlock->parent];
    return parent == aBlock ? nullptr : parent;
  }
  std::vector<KSBlock> blocks;
};

void writeBlock(std::ostream& aOut, KS::VCService& aService, const Host& aHost,
                const KSBlock& aBlock) {
  const auto write = [&](auto aGetter) {
    aOut << orError([&] { return (aService.*aGetter)(&aBlock, &aHost); }) << '\n';
  };
  write(&KS::VCService::getMExprLocalVVCEString);
  write(&KS::VCService::getMExprLocalCGVCEString);
  write(&KS::VCService::getMExprNetVVCEString);
  write(&KS::VCService::getMExprNetCGVCEString);
  write(&KS::VCService::getCExprLocalCGVCEString);
  write(&KS::VCService::getCExprNetCGVCEString);
  aOut << orError([&] {
    return std::to_string(aService.getLocalSVCE(&aBlock, &aHost)) +
           std::to_string(aService.getNetSVCE(&aBlock, &aHost));
  }) << '\n';
}

void writeModel(const std::string& aFile) {
  std::ifstream file(aFile);
  if (!file) throw std::runtime_error("cannot read " + aFile);
  const nlohmann::json model = nlohmann::json::parse(file);
  Host host;
  std::map<std::string, std::size_t> places;
  for (const nlohmann::json& block : model.at("blocks")) {
    places[block.at("id")] = host.blocks.size();
    host.blocks.push_back(
        {host.blocks.size(), {block.value("CG", ""), block.value("VV", ""), block.value("S", "")}});
  }
  for (const nlohmann::json& block : model.at("blocks")) {
    if (!block.at("parent").is_null()) {
      host.blocks[places.at(block.at("id"))].parent = places.at(block.at("parent"));
    }
  }
  std::ofstream out = open("model");
  KS::VCService service;
  for (const KSBlock& block : host.blocks) writeBlock(out, service, host, block);
}

// Random calls of one service. Ids are written as numbers in the order of their first appearance.
void writeSequences(std::size_t aCount) {
  std::ofstream out = open("sequences");
  RandomText random(4711);
  for (std::size_t sequence = 0; sequence < aCount; ++sequence) {
    Host host;
    for (std::size_t i = 0, n = 2 + random.pick(12); i < n; ++i) {
      KSBlock block{i == 0 ? 0 : random.pick(i), {}};
      for (std::string& local : block.locals) {
        if (random.pick(3) != 0) {
          local = random.pick(2) == 0 ? random.condition(1 + random.pick(5))
                                      : random.dense(1 + random.pick(3));
        }
      }
      host.blocks.push_back(block);
    }
    KS::VCService service;
    std::vector<SymbolicExprId> ids = {0, 1};
    std::map<SymbolicExprId, std::size_t> numbers;
    const auto pickId = [&] { return ids[random.pick(ids.size())]; };
    const auto keep = [&](SymbolicExprId aId) {
      ids.push_back(aId);
      return std::to_string(numbers.emplace(aId, numbers.size()).first->second) + ' ' +
             service.printMExpr(aId);
    };
    for (int call = 0; call < 24; ++call) {
      const KSBlock& block = host.blocks[random.pick(host.blocks.size())];
      const std::size_t choice = random.pick(10);
      const SymbolicExprId a = pickId(), b = pickId();
      out << choice << ' ' << orError([&]() -> std::string {
        switch (choice) {
          case 0: return keep(service.simplify(random.condition(1 + random.pick(8))));
          case 1: return keep(service.simplify(random.dense(1 + random.pick(5))));
          case 2:
          case 3: return keep(service.AND(a, b));
          case 4:
          case 5: return keep(service.OR(a, b));
          case 6: return keep(service.NOT(a));
          case 7: return keep(service.getMExprNetVVCEIdx(&block, &host));
          case 8: return keep(service.getMExprNetCGVCEIdx(&block, &host));
          default: return keep(service.computeNetSVCE(&block, &host));
        }
      }) << '\n';
    }
  }
}

}  // namespace

}  // namespace KSBench

int main(int aArgc, char** aArgv) {
  CLI::App app("Writes what the library makes of many inputs, to compare versions of it.");
  std::size_t texts = 300000, sequences = 20000;
  std::string corpus, model;
  app.add_option("directory", KSBench::directory, "where to write")
      ->required()
      ->check(CLI::ExistingDirectory);
  app.add_option("--texts", texts, "number of random texts")->capture_default_str();
  app.add_option("--sequences", sequences, "number of random sequences of calls")
      ->capture_default_str();
  app.add_option("--corpus", corpus, "directory of a corpus")->check(CLI::ExistingDirectory);
  app.add_option("--model", model, "model file")->check(CLI::ExistingFile);
  CLI11_PARSE(app, aArgc, aArgv);
  try {
    KSBench::writeTexts(texts);
    KSBench::writeUsed(texts / 3);
    KSBench::writeCorpus(corpus.empty() ? KSBench::makeCorpus() : KSBench::readCorpus(corpus));
    KSBench::writeChains();
    if (!model.empty()) KSBench::writeModel(model);
    KSBench::writeSequences(sequences);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ks_results: %s\n", error.what());
    return 1;
  }
  return 0;
}
