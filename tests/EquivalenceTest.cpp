// Simplification, dialect conversion and printing keep the meaning: every result is compared with
// its input under assignments that reach all regions.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/Equivalence.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomText.hpp"
#include "variants/VCService.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace KS::test {
namespace {

SymbolicExprId parse(SymbolicExprTable& aTable, const std::string& aText, bool aCSyntax = true) {
  const SymbolicExprId id = SymbolicExprParser(aTable, aCSyntax)(aText);
  if (id == invalidSymbolicExprId) throw std::invalid_argument("does not parse: " + aText);
  return id;
}

// ---------------------------------------------------------------------------------------------

// Checks everything that must keep the meaning of one condition.
void checkAll(SymbolicExprTable& aTable, SymbolicExprId aId, const std::string& aWhat,
              const Options& aOptions, std::size_t& aCompared) {
  const auto same = [&](const SymbolicExprTable& aOtherTable, SymbolicExprId aOther,
                        const char* aStep) {
    const Verdict verdict = compare(aTable, aId, aOtherTable, aOther, aOptions);
    ASSERT_FALSE(verdict.counterexample)
        << aWhat << "\n"
        << aStep << ": " << SymbolicExprPrinter(aOtherTable, false, true, false)(aOther) << "\n"
        << *verdict.counterexample;
    ASSERT_GT(verdict.compared, 0U) << aWhat << "\n" << aStep;
    aCompared += verdict.compared;
  };
  std::size_t passes = 0;
  const SymbolicExprId simplified = SymbolicExprSimplify(aTable, 30).simplify(aId, passes);
  same(aTable, simplified, "simplified");

  const SymbolicExprId c = SymbolicExprM2C(aTable)(aId);
  same(aTable, c, "in C syntax");
  same(aTable, SymbolicExprC2M(aTable)(c), "in C syntax and back");

  for (const bool mSyntax : {false, true}) {
    // Only operators of one dialect read back as they were written.
    const SymbolicExprId source = mSyntax ? SymbolicExprC2M(aTable)(aId) : aId;
    SymbolicExprTable other;
    const std::string text = SymbolicExprPrinter(aTable, mSyntax, true, false)(source);
    same(other, parse(other, text, !mSyntax), "printed and parsed again");
  }
}

TEST(Equivalence, OfRandomConditions) {
  RandomText random(20240611);
  Options options;
  options.maxAssignments = 100;
  std::size_t compared = 0;
  for (std::size_t i = 0; i < tries(6000) && !HasFatalFailure(); ++i) {
    SymbolicExprTable table;
    const std::string text = i % 2 == 0 ? random.condition(1 + i % 12) : random.dense(2 + i % 6);
    options.seed = i;
    checkAll(table, parse(table, text), text, options, compared);
  }
  EXPECT_GT(compared, tries(600000));
}

// A host with the blocks of a model file.
class ModelHost : public VCCustomizer {
 public:
  explicit ModelHost(const nlohmann::json& aModel) : blocks(aModel.at("blocks")) {
    for (std::size_t i = 0; i < blocks.size(); ++i) places[blocks[i].at("id")] = i;
  }
  std::size_t size() const { return blocks.size(); }
  const KSBlock* block(std::size_t aPlace) const {
    return reinterpret_cast<const KSBlock*>(&blocks[aPlace]);
  }
  std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override {
    static const char* const families[] = {"CG", "VV", "S"};
    return at(aBlock).value(families[aSelector], "");
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    const nlohmann::json& parent = at(aBlock).at("parent");
    return parent.is_null() ? nullptr : block(places.at(parent));
  }
  // The conjunction as it would be without simplification.
  std::string netText(const KSBlock* aBlock, int aSelector) const {
    std::string text;
    for (; aBlock != nullptr; aBlock = getParentBlock(aBlock)) {
      const std::string local = getLocalCondition(aBlock, aSelector);
      if (!local.empty()) text += (text.empty() ? "(" : " && (") + local + ")";
    }
    return text.empty() ? "true" : text;
  }

 private:
  static const nlohmann::json& at(const KSBlock* aBlock) {
    return *reinterpret_cast<const nlohmann::json*>(aBlock);
  }
  nlohmann::json blocks;
  std::map<std::string, std::size_t> places;
};

TEST(Equivalence, OfTheSampleModels) {
  Options options;
  options.maxAssignments = 5000;
  std::size_t models = 0, compared = 0;
  for (const auto& file : std::filesystem::directory_iterator(KS_SOURCE_DIR "/examples")) {
    if (file.path().extension() != ".json") continue;
    ++models;
    std::ifstream stream(file.path());
    const ModelHost host(nlohmann::json::parse(stream));
    VCService service;
    for (std::size_t i = 0; i < host.size() && !HasFatalFailure(); ++i) {
      const KSBlock* const block = host.block(i);
      const SymbolicExprId nets[] = {service.getMExprNetCGVCEIdx(block, &host),
                                     service.getMExprNetVVCEIdx(block, &host),
                                     service.getNetSVCEIdx(block, &host)};
      for (int family = 0; family < 3; ++family) {
        const std::string text = host.netText(block, family);
        SymbolicExprTable table;
        const SymbolicExprId net = parse(table, text, false);
        // What the service answers, through its text, against what the model says.
        const std::string answer = service.printMExpr(nets[family]);
        SymbolicExprTable answers;
        const SymbolicExprId answered = parse(answers, answer.empty() ? "true" : answer, false);
        const Verdict verdict = compare(table, net, answers, answered, options);
        ASSERT_FALSE(verdict.counterexample) << text << "\n"
                                             << answer << "\n"
                                             << *verdict.counterexample;
        checkAll(table, net, text, options, compared);
      }
    }
  }
  EXPECT_GT(models, 0U);
  EXPECT_GT(compared, 1000U);
}

}  // namespace
}  // namespace KS::test
