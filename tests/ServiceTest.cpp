// The variant-condition service: what it answers, what it asks the host and in which order, and
// what stands after something was thrown.
#include "variants/VCService.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/KSHost.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SmallStack.hpp"

namespace KS {
namespace {

// Blocks are addresses to the service and nothing else.
std::array<char, 120000> blocks;
const KSBlock* at(std::size_t aIdx) { return reinterpret_cast<const KSBlock*>(&blocks.at(aIdx)); }
const KSBlock* const a = at('a');
const KSBlock* const b = at('b');
const KSBlock* const c = at('c');

// A tree of blocks that writes down what it is asked: "1c" is the VV text of c, "^c" its parent.
class Model final : public VCCustomizer {
 public:
  std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override {
    asked += std::to_string(aSelector) + name(aBlock) + ' ';
    if (before) before(aBlock);
    const auto text = texts.find({aBlock, aSelector});
    return text == texts.end() ? std::string() : text->second;
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    asked += '^' + name(aBlock) + ' ';
    const auto parent = parents.find(aBlock);
    return parent == parents.end() ? nullptr : parent->second;
  }
  std::string takeAsked() const { return std::exchange(asked, {}); }

  std::map<std::pair<const KSBlock*, int>, std::string> texts;
  std::map<const KSBlock*, const KSBlock*> parents;
  std::function<void(const KSBlock*)> before;

 private:
  static std::string name(const KSBlock* aBlock) {
    return {static_cast<char>(reinterpret_cast<const char*>(aBlock) - blocks.data())};
  }
  mutable std::string asked;
};

constexpr int VV = 1;
constexpr int CG = 0;
constexpr int S = 2;

class ServiceTest : public testing::Test {
 protected:
  // c stands in b, b in a.
  ServiceTest() {
    model.parents = {{c, b}, {b, a}};
    for (const int family : {VV, CG, S}) {
      model.texts[{a, family}] = "A > 1";
      model.texts[{b, family}] = "B";
      model.texts[{c, family}] = "rem(C, 2) == 1";
    }
  }
  SymbolicExprId id(const std::string& aText) { return service.simplify(aText); }

  VCService service;
  Model model;
  const VCCustomizer* const host = &model;
};

TEST_F(ServiceTest, NetConditionsTakeTheChainOfParents) {
  const SymbolicExprId all = service.AND(service.AND(id("A > 1"), id("B")), id("rem(C,2) == 1"));
  EXPECT_EQ(service.getMExprNetVVCEIdx(c, host), all);
  EXPECT_EQ(model.takeAsked(), "1c ^c 1b ^b 1a ^a ");
  EXPECT_EQ(service.getMExprNetVVCEIdx(b, host), service.AND(id("B"), id("A > 1")));
  EXPECT_EQ(service.getMExprNetVVCEIdx(a, host), id("A > 1"));
  EXPECT_EQ(service.getMExprLocalVVCEIdx(c, host), id("rem(C, 2) == 1"));
  EXPECT_EQ(model.takeAsked(), "");

  EXPECT_EQ(service.getMExprNetCGVCEIdx(b, host), service.AND(id("B"), id("A > 1")));
  EXPECT_EQ(model.takeAsked(), "0b ^b 0a ^a ");
  EXPECT_EQ(service.getMExprNetCGVCEIdx(c, host), all);
  EXPECT_EQ(model.takeAsked(), "0c ^c ");
  EXPECT_EQ(service.computeMExprNetCGVCE(c, host), all);
  EXPECT_EQ(model.takeAsked(), "0c ^c ");
  EXPECT_EQ(service.computeMExprNetVVCE(c, host), all);
  EXPECT_EQ(model.takeAsked(), "^c ");

  // The S family asks for the local text again where it computes a net condition.
  EXPECT_EQ(service.getLocalSVCEIdx(c, host), id("rem(C, 2) == 1"));
  EXPECT_EQ(service.getNetSVCEIdx(c, host), all);
  EXPECT_EQ(model.takeAsked(), "2c 2c ^c 2b ^b 2a ^a ");
  EXPECT_EQ(service.getLocalSVCEIdx(b, host), id("B"));
  EXPECT_EQ(model.takeAsked(), "2b ");
}

TEST_F(ServiceTest, TextsAreEmptyForTrueAndConvertedForC) {
  model.texts[{b, CG}] = "";
  EXPECT_EQ(service.getMExprLocalCGVCEString(b, host), "");
  EXPECT_EQ(service.getCExprLocalCGVCEString(b, host), "");
  EXPECT_EQ(service.getMExprLocalCGVCEString(c, host), "rem(C,2) == 1");
  EXPECT_EQ(service.getCExprLocalCGVCEString(c, host), "C % 2 == 1");
  EXPECT_EQ(service.getCExprNetCGVCEString(b, host), "A > 1");
  EXPECT_EQ(service.getMExprNetCGVCEString(c, host),
            service.printMExpr(service.AND(id("A > 1"), id("rem(C,2)==1"))));
  EXPECT_EQ(service.getMExprNetVVCEString(a, host), "A > 1");
  EXPECT_EQ(service.getMExprLocalVVCEString(b, host), "B");

  EXPECT_EQ(service.simplifyMExpr(""), "");
  EXPECT_EQ(service.simplifyMExpr("true"), "");
  EXPECT_EQ(service.simplifyCExpr(" true "), "");
  EXPECT_EQ(service.simplifyMExpr("false"), "false");
  EXPECT_EQ(service.simplifyCExpr("false"), "0");
  EXPECT_EQ(service.simplifyMExpr("~X"), "~X");
  EXPECT_EQ(service.simplifyCExpr("~X"), "!X");
  EXPECT_EQ(service.simplifyCExpr("rem(X,2) ~= 1"), "rem(X,2) != 1");
}

TEST_F(ServiceTest, ConditionsOfNoBlock) {
  const auto check = [&] {
    EXPECT_EQ(service.getMExprLocalVVCEIdx(nullptr, host), id("true"));
    EXPECT_EQ(service.getMExprLocalCGVCEIdx(nullptr, host), id("true"));
    EXPECT_EQ(service.getMExprNetVVCEIdx(nullptr, host), id("true"));
    EXPECT_EQ(service.computeMExprNetVVCE(nullptr, host), id("true"));
    EXPECT_EQ(service.computeMExprNetCGVCE(nullptr, host), id("true"));
    EXPECT_EQ(service.getLocalSVCEIdx(nullptr, host), id("false"));
    EXPECT_EQ(service.getNetSVCEIdx(nullptr, host), id("false"));
    EXPECT_EQ(service.computeNetSVCE(nullptr, host), id("false"));
    EXPECT_FALSE(service.getNetSVCE(nullptr, host));
  };
  EXPECT_EQ(id("false"), 0U);
  EXPECT_EQ(id("true"), 1U);
  check();
  service.initializeConditions(nullptr);
  service.setMExprLocalCGVCEString(nullptr, "X");
  check();
  EXPECT_EQ(model.takeAsked(), "");
}

TEST_F(ServiceTest, AlgebraAndBooleans) {
  const SymbolicExprId t = id("");
  const SymbolicExprId x = id("X");
  EXPECT_TRUE(service.getBoolean(service.AND(t, t)));
  EXPECT_FALSE(service.getBoolean(x));
  EXPECT_EQ(service.AND(x, t), x);
  EXPECT_EQ(service.OR(x, service.NOT(t)), x);
  EXPECT_EQ(service.NOT(service.NOT(x)), x);
  EXPECT_EQ(service.AND(x, id("Y")), service.AND(id("Y"), x));
  model.texts[{a, S}] = "1 < 2";
  EXPECT_TRUE(service.getLocalSVCE(a, host));
  EXPECT_FALSE(service.getNetSVCE(b, host));

  // An unknown id throws and leaves no node behind.
  const SymbolicExprId before = id("n1");
  EXPECT_THROW(service.AND(x, invalidSymbolicExprId), std::out_of_range);
  EXPECT_THROW(service.OR(999999, x), std::out_of_range);
  EXPECT_THROW(service.NOT(invalidSymbolicExprId), std::out_of_range);
  EXPECT_THROW(service.printMExpr(invalidSymbolicExprId), std::out_of_range);
  EXPECT_EQ(id("n2"), before + 1);

  // Others work on the service's ids through its table.
  const SymbolicExprPrinter print(service.getTable(), false, false, false);
  EXPECT_EQ(print(service.AND(x, id("Y"))), "X&&Y");
  EXPECT_EQ(service.getTable().getIdTRUE(), t);
}

TEST_F(ServiceTest, SettersReplaceLocalConditionsAndNoNetOnes) {
  service.setMExprLocalVVCEString(b, "X");
  EXPECT_EQ(service.getMExprLocalVVCEIdx(b, host), id("X"));
  EXPECT_EQ(model.takeAsked(), "");
  const SymbolicExprId net = service.getMExprNetVVCEIdx(b, host);
  EXPECT_EQ(net, service.AND(id("X"), id("A > 1")));
  service.setMExprLocalVVCEString(b, "Y");
  EXPECT_THROW(service.setMExprLocalVVCEString(b, "Y Y"), msgcore::DiagnosticException);
  EXPECT_EQ(service.getMExprNetVVCEIdx(b, host), net);
  EXPECT_EQ(service.getMExprLocalVVCEString(b, host), "Y");
  // The CG family is asked all the same, and what was set stays.
  service.setMExprLocalCGVCEString(b, "X");
  model.takeAsked();
  EXPECT_EQ(service.getMExprLocalCGVCEString(b, host), "X");
  EXPECT_EQ(model.takeAsked(), "0b ");
}

TEST_F(ServiceTest, TextThatDoesNotParseIsReportedAndAskedForAgain) {
  model.texts[{a, VV}] = "A >";
  for (int i = 0; i < 2; ++i) {
    try {
      service.getMExprNetVVCEIdx(c, host);
      ADD_FAILURE() << "nothing was thrown";
    } catch (const msgcore::DiagnosticException& error) {
      EXPECT_EQ(error.component(), "Kestrin:Variants");
      EXPECT_EQ(error.key(), "InlineVarCondExprParseError");
      ASSERT_EQ(error.arguments().size(), 1U);
      EXPECT_EQ(std::get<std::string>(error.arguments()[0]), "A >");
    }
  }
  // The local conditions of b and c were complete.
  EXPECT_EQ(model.takeAsked(), "1c ^c 1b ^b 1a ^c ^b 1a ");
  model.texts[{a, VV}] = "A > 1";
  EXPECT_EQ(service.getMExprNetVVCEString(a, host), "A > 1");

  // A CG text that goes bad is reported although the condition is known.
  EXPECT_EQ(service.getMExprLocalCGVCEString(b, host), "B");
  model.texts[{b, CG}] = "(";
  EXPECT_THROW(service.getMExprLocalCGVCEIdx(b, host), msgcore::DiagnosticException);
  EXPECT_THROW(service.getMExprNetCGVCEIdx(b, host), msgcore::DiagnosticException);
  model.texts[{b, CG}] = "other";
  EXPECT_EQ(service.getMExprLocalCGVCEString(b, host), "B");
}

// Negations of conjunctions share what they become: 500 characters, 300 MB when written.
TEST_F(ServiceTest, ConditionsTooLongToBeWrittenAreReportedEveryTime) {
  std::string text = "(p || q)";
  for (int i = 0; i < 24; ++i) {
    const std::string n = std::to_string(i);
    text = "~((a" + n + " || b" + n + ") && " + text + ")";
  }
  ASSERT_LT(text.size(), 512U);
  for (const int family : {VV, CG, S}) model.texts[{b, family}] = text;
  const std::string whole = "KS::SymbolicExprPrinter: the text is longer than 64 MiB";
  const auto thrown = [&](const auto& aQuery) -> std::string {
    try {
      aQuery();
    } catch (const std::length_error& error) {
      return error.what();
    }
    return "nothing";
  };
  // Whatever was asked before, the same queries fail: those that write the condition. CG conditions
  // are written to be reported, even where an id is the answer.
  const struct {
    const char* name;
    std::function<void(VCService&, const KSBlock*)> ask;
    bool fails;
  } queries[] = {
#define KS_QUERY(name, fails)                                                                  \
  {#name, [this](VCService& aService, const KSBlock* aBlock) { aService.name(aBlock, host); }, \
   fails}
      KS_QUERY(getMExprLocalVVCEIdx, false),
      KS_QUERY(getMExprLocalVVCEString, true),
      KS_QUERY(getMExprNetVVCEIdx, false),
      KS_QUERY(getMExprNetVVCEString, true),
      KS_QUERY(computeMExprNetVVCE, false),
      KS_QUERY(getMExprLocalCGVCEIdx, true),
      KS_QUERY(getMExprLocalCGVCEString, true),
      KS_QUERY(getMExprNetCGVCEIdx, true),
      KS_QUERY(computeMExprNetCGVCE, true),
      KS_QUERY(getMExprNetCGVCEString, true),
      KS_QUERY(getCExprLocalCGVCEIdx, true),
      KS_QUERY(getCExprLocalCGVCEString, true),
      KS_QUERY(getCExprNetCGVCEIdx, true),
      KS_QUERY(getCExprNetCGVCEString, true),
      KS_QUERY(getLocalSVCE, false),
      KS_QUERY(getNetSVCE, false),
#undef KS_QUERY
  };
  for (const auto& query : queries) {
    VCService fresh;
    EXPECT_EQ(thrown([&] { query.ask(fresh, b); }), query.fails ? whole : "nothing") << query.name;
    EXPECT_EQ(thrown([&] { query.ask(fresh, b); }), query.fails ? whole : "nothing") << query.name;
  }
  for (int round = 0; round < 2; ++round) {
    for (const auto& query : queries) {
      EXPECT_EQ(thrown([&] { query.ask(service, b); }), query.fails ? whole : "nothing")
          << query.name;
    }
  }
  EXPECT_EQ(thrown([&] { service.getMExprNetCGVCEIdx(c, host); }), whole);
  service.setMExprLocalCGVCEString(a, text);
  EXPECT_EQ(thrown([&] { service.getMExprLocalCGVCEIdx(a, host); }), whole);
  service.setMExprLocalCGVCEString(a, "A > 1");
  EXPECT_EQ(service.getMExprNetCGVCEString(a, host), "A > 1");
  const SymbolicExprId id = service.simplify(text);
  EXPECT_EQ(thrown([&] { service.printMExpr(id); }), whole);
  EXPECT_EQ(thrown([&] { service.printCExpr(id); }), whole);
  EXPECT_EQ(thrown([&] { service.simplifyMExpr(text); }), whole);
  EXPECT_EQ(thrown([&] { service.simplifyCExpr(text); }), whole);
}

TEST_F(ServiceTest, ThrowingCustomizersAndMissingOnes) {
  EXPECT_THROW(service.getMExprLocalVVCEIdx(a, nullptr), std::invalid_argument);
  EXPECT_THROW(service.getNetSVCEIdx(a, nullptr), std::invalid_argument);
  model.before = [](const KSBlock* aBlock) {
    if (aBlock == a) throw std::domain_error("host");
  };
  EXPECT_THROW(service.getMExprNetVVCEIdx(c, host), std::domain_error);
  EXPECT_THROW(service.getLocalSVCEIdx(a, host), std::domain_error);
  model.before = nullptr;
  EXPECT_EQ(service.getMExprNetVVCEIdx(a, host), id("A > 1"));
  EXPECT_EQ(service.getMExprNetVVCEIdx(c, host),
            service.AND(service.AND(id("A > 1"), id("B")), id("rem(C,2)==1")));
  EXPECT_EQ(service.getMExprNetVVCEIdx(a, nullptr), id("A > 1"));
}

TEST_F(ServiceTest, BlocksAmongTheirOwnAncestors) {
  model.parents[a] = b;
  EXPECT_THROW(service.getMExprNetVVCEIdx(c, host), std::runtime_error);
  EXPECT_EQ(model.takeAsked(), "1c ^c 1b ^b 1a ^a ");
  model.parents[a] = a;
  EXPECT_THROW(service.getNetSVCEIdx(a, host), std::runtime_error);
  model.parents.erase(a);
  EXPECT_EQ(service.getMExprNetVVCEIdx(b, host), service.AND(id("A > 1"), id("B")));
  model.parents[a] = a;
  EXPECT_THROW(service.computeMExprNetVVCE(a, host), std::runtime_error) << "though a's is known";
}

// In whatever order net conditions are asked for, and whatever the service simplified before: they
// are those of a service that is asked for nothing else.
TEST(ServiceOrderTest, NetConditionsDependOnNoOtherQuery) {
  test::RandomText random(23);
  constexpr std::size_t numBlocks = 40;
  for (int world = 0; world < 12; ++world) {
    Model model;
    for (std::size_t i = 0; i < numBlocks; ++i) {
      if (i > 0) model.parents[at(i)] = at(i - 1 - random.pick(std::min<std::size_t>(i, 4)));
      for (const int family : {VV, CG, S}) {
        const std::string text = random.pick(2) == 0 ? random.dense(1 + random.pick(3))
                                                     : random.condition(1 + random.pick(3));
        // Some conditions are repeated below, some twice in one.
        model.texts[{at(i), family}] = random.pick(4) == 0 ? "(" + text + ") || (" + text + ")"
                                       : random.pick(3) == 0
                                           ? model.texts[{model.parents[at(i)], family}]
                                           : text;
      }
    }
    const auto textOf = [&](VCService& aService, std::size_t aBlock, std::size_t aQuery) {
      const KSBlock* const block = at(aBlock);
      switch (aQuery) {
        case 0: return aService.getMExprNetVVCEString(block, &model);
        case 1: return aService.getMExprNetCGVCEString(block, &model);
        case 2: return aService.printMExpr(aService.getNetSVCEIdx(block, &model));
        default: return aService.printMExpr(aService.computeMExprNetVVCE(block, &model));
      }
    };
    VCService used;
    for (std::size_t query = 0; query < 4 * numBlocks; ++query) {
      if (random.pick(3) == 0) used.simplify(random.dense(1 + random.pick(4)));
      const std::size_t block = random.pick(numBlocks), which = random.pick(4);
      VCService fresh;
      ASSERT_EQ(textOf(used, block, which), textOf(fresh, block, which)) << block << ' ' << which;
    }
  }
}

// Many more than are kept at the same time, below few others and below many.
TEST(ServiceOrderTest, NetConditionsOfManyBlocks) {
  class Grid final : public VCCustomizer {
   public:
    explicit Grid(std::size_t aNumTops) : numTops(aNumTops) {}
    std::string getLocalCondition(const KSBlock* aBlock, int) const override {
      const std::size_t index = indexOf(aBlock);
      return index < numTops ? "A" + std::to_string(index) : "B" + std::to_string(index / numTops);
    }
    const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
      return indexOf(aBlock) < numTops ? nullptr : at(indexOf(aBlock) % numTops);
    }
    static std::size_t indexOf(const KSBlock* aBlock) {
      return static_cast<std::size_t>(reinterpret_cast<const char*>(aBlock) - blocks.data());
    }
    const std::size_t numTops;
  };
  for (const std::size_t numTops : {2, 10000}) {
    VCService service;
    const Grid grid(numTops);
    for (std::size_t i = numTops; i < 30000; ++i) {
      ASSERT_EQ(service.getMExprNetVVCEString(at(i), &grid),
                "A" + std::to_string(i % numTops) + " && B" + std::to_string(i / numTops));
    }
  }
}

TEST(ServiceDepthTest, LongChainsOfParentsNeedNoStack) {
  constexpr std::size_t count = 100000;
  class Line final : public VCCustomizer {
   public:
    std::string getLocalCondition(const KSBlock* aBlock, int) const override {
      return aBlock == at(count) ? "X" : aBlock == at(count / 2) ? "Y" : "";
    }
    const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
      if (aBlock == at(count)) return isRing ? at(count / 3) : nullptr;
      return reinterpret_cast<const KSBlock*>(reinterpret_cast<const char*>(aBlock) + 1);
    }
    bool isRing = true;
  };
  VCService service;
  Line line;
  test::runOnStack(256 << 10, [&] {
    EXPECT_THROW(service.getMExprNetVVCEIdx(at(0), &line), std::runtime_error);
    line.isRing = false;
    EXPECT_EQ(service.getMExprNetVVCEString(at(0), &line), "X && Y");
    EXPECT_EQ(service.getMExprNetVVCEString(at(count - 1), nullptr), "X");
  });
}

TEST_F(ServiceTest, CustomizersMayQueryTheService) {
  // Asking for one block computes many others, so that the cache moves while a query is under way.
  model.before = [&](const KSBlock* aBlock) {
    if (aBlock != b) return;
    for (std::size_t i = 1000; i < 4000; ++i) {
      service.setMExprLocalVVCEString(at(i), "v" + std::to_string(i));
    }
    EXPECT_EQ(service.getMExprNetVVCEIdx(a, host), id("A > 1"));
  };
  const SymbolicExprId both = service.AND(id("A > 1"), id("B"));
  EXPECT_EQ(service.getMExprNetVVCEIdx(c, host), service.AND(both, id("rem(C,2)==1")));
  EXPECT_EQ(model.takeAsked(), "1c ^c 1b 1a ^a ^b ");
  EXPECT_EQ(service.getMExprNetVVCEIdx(b, host), both);
  EXPECT_EQ(service.getMExprLocalVVCEString(at(3999), host), "v3999");
}

TEST_F(ServiceTest, CustomizersThatNeverStopAskingAreStopped) {
  model.before = [&](const KSBlock* aBlock) { service.getMExprNetVVCEIdx(aBlock, host); };
  EXPECT_THROW(service.getMExprNetVVCEIdx(a, host), std::runtime_error);
  model.before = nullptr;
  EXPECT_EQ(service.getMExprNetVVCEIdx(a, host), id("A > 1"));
}

// Every answer queries the service for the next block, by way of a parent or directly, up to the
// deepest one, whose own text is given.
class Nest final : public VCCustomizer {
 public:
  Nest(VCService& aService, std::size_t aDepth) : service(aService), depth(aDepth) {}
  std::string getLocalCondition(const KSBlock* aBlock, int) const override {
    const std::size_t place = placeOf(aBlock);
    if (place % 2 == 0) return {};
    std::array<char, stackPerAnswer> used{};
    static_cast<volatile char*>(used.data())[place % used.size()] = 1;
    if (place / 2 + 1 == depth) return deepest();
    return service.getCExprNetCGVCEString(at(place + (place % 4 == 1 ? 1 : 2)), this);
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    const std::size_t place = placeOf(aBlock);
    return place % 2 == 0 ? at(place + 1) : nullptr;
  }
  std::string answer() const { return service.getCExprNetCGVCEString(at(0), this); }

  std::function<std::string()> deepest = [] { return "X"; };

 private:
  static constexpr std::size_t stackPerAnswer = test::isInstrumented ? 64 : 1500;
  static std::size_t placeOf(const KSBlock* aBlock) {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(aBlock) - blocks.data());
  }
  VCService& service;
  std::size_t depth;
};

TEST(ServiceDepthTest, OpenCallsOfCustomizersFitInASmallStack) {
  // Instrumented code takes more stack for brackets than this.
  const std::size_t brackets = test::isInstrumented ? 10 : SymbolicExprParser::maxNesting;
  std::string text = std::string(brackets, '(') + 'X' + std::string(brackets, ')');
  test::runOnStack(test::stackOfAThread, [&] {
    VCService service;
    Nest nest(service, VCService::maxCustomizerDepth);
    nest.deepest = [&] { return text; };
    EXPECT_EQ(nest.answer(), "X");

    VCService another;
    Nest deeper(another, VCService::maxCustomizerDepth + 1);
    EXPECT_THROW(deeper.answer(), std::runtime_error);
    Nest again(another, VCService::maxCustomizerDepth);
    EXPECT_EQ(again.answer(), "X") << "what threw is no longer open";
  });
}

// Both are as deep as they may be at the same time.
TEST(ServiceThreadsTest, ServicesHaveTheirOwnOpenCalls) {
  constexpr int rounds = 50;
  std::atomic<int> arrived{0};
  std::array<std::vector<std::string>, 2> answers;
  const auto work = [&](std::size_t aThread) {
    for (int round = 1; round <= rounds; ++round) {
      VCService service;
      Nest nest(service, VCService::maxCustomizerDepth);
      nest.deepest = [&] {
        for (++arrived; arrived < 2 * round;) std::this_thread::yield();
        return "X" + std::to_string(aThread);
      };
      try {
        answers[aThread].push_back(nest.answer());
      } catch (const std::exception& error) {
        answers[aThread].push_back(error.what());
        ++arrived;
      }
    }
  };
  std::thread other(work, 1);
  work(0);
  other.join();
  EXPECT_EQ(answers[0], std::vector<std::string>(rounds, "X0"));
  EXPECT_EQ(answers[1], std::vector<std::string>(rounds, "X1"));
}

TEST_F(ServiceTest, ServicesKnowNothingOfEachOther) {
  VCService other;
  const SymbolicExprId here = id("P");
  other.simplify("Q");
  EXPECT_EQ(other.simplify("R"), here + 1);
  EXPECT_EQ(other.getMExprLocalVVCEString(a, host), "A > 1");
  model.texts[{a, VV}] = "Z";
  EXPECT_EQ(service.getMExprLocalVVCEString(a, host), "Z");
  EXPECT_EQ(other.getMExprLocalVVCEString(a, nullptr), "A > 1");
}

TEST_F(ServiceTest, TheProcessWideServiceIsMadeAndDestroyed) {
  VCService* const first = VCService::getInstance();
  EXPECT_EQ(VCService::getInstance(), first);
  first->setMExprLocalVVCEString(a, "X");
  model.before = [](const KSBlock*) { VCService::clean(); };
  EXPECT_THROW(first->getMExprLocalVVCEIdx(b, host), std::logic_error);
  EXPECT_EQ(VCService::getInstance(), first);
  EXPECT_EQ(first->getMExprLocalVVCEString(a, nullptr), "X");
  model.before = nullptr;
  VCService::clean();
  VCService::clean();
  EXPECT_THROW(VCService::getInstance()->getMExprLocalVVCEIdx(a, nullptr), std::invalid_argument);
  VCService::clean();

  // Only its own open calls keep it.
  model.before = [](const KSBlock*) { VCService::clean(); };
  EXPECT_EQ(service.getMExprLocalVVCEString(a, host), "A > 1") << "while there is none";
  VCService::getInstance()->setMExprLocalVVCEString(a, "X");
  EXPECT_EQ(service.getMExprLocalVVCEString(b, host), "B") << "while another one is asking";
  EXPECT_THROW(VCService::getInstance()->getMExprLocalVVCEIdx(a, nullptr), std::invalid_argument);
  // Also where its customizer asks another service, whose customizer does the rest.
  Model outer;
  outer.before = [&](const KSBlock* aBlock) { service.getMExprLocalVVCEIdx(aBlock, host); };
  EXPECT_THROW(VCService::getInstance()->getMExprLocalVVCEIdx(c, &outer), std::logic_error);
  model.before = nullptr;
  EXPECT_EQ(VCService::getInstance()->getMExprLocalVVCEString(c, &outer), "");
  VCService::clean();
}

}  // namespace
}  // namespace KS
