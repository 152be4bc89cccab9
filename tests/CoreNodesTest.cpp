// Nodes: kinds, families, hashes, equality, the forms that constructors choose, input access.
#include <gmock/gmock.h>

#include <cfloat>
#include <cmath>
#include <csignal>
#include <functional>
#include <limits>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Hash.hpp"
#include "base/detail/Intern.hpp"
#include "host/KSHost.hpp"

namespace KS {
namespace {

// A table with the symbols a, b, c, d at the ids 0 to 3.
class CoreNodes : public testing::Test {
 protected:
  CoreNodes() {
    for (const char* name : {"a", "b", "c", "d"}) SymbolicString(t, name);
  }
  SymbolicExprTable t;
};

TEST_F(CoreNodes, kindsFamiliesAndCounts) {
  const SymbolicString a(t, "a");
  const SymbolicDoubleValue half(t, 0.5);
  const std::vector<SymbolicExprId> four{0, 1, 2, 3};
  // l leaf, n number, 1 2 3 families, m multi, f call of fixed arity.
  const auto check = [](const SymbolicExpr& aNode, int aKind, const std::string& aFamilies,
                        std::size_t aInputs, std::size_t aDimensions, std::size_t aArguments) {
    SCOPED_TRACE("kind " + std::to_string(aKind));
    std::string families;
    if (aNode.isLeaf()) families += 'l';
    if (aNode.isNumber()) families += 'n';
    if (aNode.isUnary()) families += '1';
    if (aNode.isBinary()) families += '2';
    if (aNode.isTernary()) families += '3';
    if (aNode.isMulti()) families += 'm';
    if (aNode.isFixedArityFcnCall()) families += 'f';
    EXPECT_EQ(aNode.getKind(), aKind);
    EXPECT_EQ(families, aFamilies);
    EXPECT_EQ(aNode.getNumInputs(), aInputs);
    EXPECT_EQ(aNode.getNumDimensions(), aDimensions);
    EXPECT_EQ(aNode.getNumFcnArgs(), aArguments);
    for (std::size_t i = 0; i < aInputs; ++i) EXPECT_EQ(aNode.getInput(i), i);
    for (std::size_t i = 0; i < aDimensions; ++i) EXPECT_EQ(aNode.getDimension(i), i);
    EXPECT_EQ(aNode.getNumericValue() == 18446744073709551616.0, !aNode.isNumber());
  };
  check(a, 0, "l", 0, 0, 0);
  check(SymbolicIntValue(t, -3), 1, "ln", 0, 0, 0);
  check(half, 2, "ln", 0, 0, 0);
  check(SymbolicPlusExpr(t, 0, 1), 3, "2", 2, 0, 0);
  check(SymbolicMinusExpr(t, 0, 1), 4, "2", 2, 0, 0);
  check(SymbolicUnaryMinusExpr(t, 0), 5, "1", 1, 0, 0);
  check(SymbolicMultiplyExpr(t, 0, 1), 6, "2", 2, 0, 0);
  check(SymbolicDivideExpr(t, 0, 1), 7, "2", 2, 0, 0);
  check(SymbolicModuloExpr(t, 0, 1), 8, "2", 2, 0, 0);
  check(SymbolicEqualExpr(t, 0, 1), 9, "2", 2, 0, 0);
  check(SymbolicNotEqualExpr(t, 0, 1), 10, "2", 2, 0, 0);
  check(SymbolicLessThanExpr(t, 0, 1), 11, "2", 2, 0, 0);
  check(SymbolicLessThanEqualExpr(t, 0, 1), 12, "2", 2, 0, 0);
  check(SymbolicGreaterThanExpr(t, 0, 1), 13, "2", 2, 0, 0);
  check(SymbolicGreaterThanEqualExpr(t, 0, 1), 14, "2", 2, 0, 0);
  check(SymbolicAndExpr(t, 0, 1), 15, "2", 2, 0, 0);
  check(SymbolicOrExpr(t, 0, 1), 16, "2", 2, 0, 0);
  check(SymbolicNotExpr(t, 0), 17, "1", 1, 0, 0);
  check(SymbolicBitAndExpr(t, 0, 1), 18, "2", 2, 0, 0);
  check(SymbolicBitOrExpr(t, 0, 1), 19, "2", 2, 0, 0);
  check(SymbolicBitXOrExpr(t, 0, 1), 20, "2", 2, 0, 0);
  check(SymbolicBitComplExpr(t, 0), 21, "1", 1, 0, 0);
  check(SymbolicShiftLeftExpr(t, 0, 1), 22, "2", 2, 0, 0);
  check(SymbolicShiftRightExpr(t, 0, 1), 23, "2", 2, 0, 0);
  check(Symbolic2DExpr(t, 0, 1), 24, "2", 2, 2, 0);
  check(Symbolic3DExpr(t, 0, 1, 2), 25, "3", 3, 3, 0);
  check(SymbolicNDExpr(t, four), 26, "m", 4, 4, 0);
  check(SymbolicFcnCall0UExpr(t, "a"), 27, "1f", 1, 0, 0);
  check(SymbolicFcnCall1UExpr(t, "a", 1), 28, "2f", 2, 0, 1);
  check(SymbolicFcnCall2UExpr(t, "a", 1, 2), 29, "3f", 3, 0, 2);
  check(SymbolicFcnCallExpr(t, "a", {1, 2, 3}), 30, "m", 4, 0, 3);
  check(SymbolicMemberValue(t, a, "x"), 31, "1", 1, 0, 0);
  EXPECT_EQ(SymbolicIntValue(t, -3).getNumericValue(), -3.0);
  EXPECT_EQ(half.getNumericValue(), 0.5);
}

// The constants come from the documented formula, computed apart from this library.
TEST_F(CoreNodes, hashes) {
  if (sizeof(std::size_t) < 8) GTEST_SKIP() << "the formula is computed in fewer bits here";
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<SymbolicExprId> two{0, 1}, three{0, 1, 2}, four{0, 1, 2, 3};
  EXPECT_EQ(SymbolicString(t, "true").getHash(), 0xFFFFFFFFFFFFFFFEU);
  EXPECT_EQ(SymbolicString(t, "false").getHash(), 0xFFFFFFFFFFFFFFFDU);
  EXPECT_EQ(SymbolicString(t, "").getHash(), 0U);
  EXPECT_EQ(SymbolicString(t, "a").getHash(), 0x9e377a1aU);
  EXPECT_EQ(SymbolicString(t, "abc").getHash(), 0xa16fb515711U);
  EXPECT_EQ(SymbolicString(t, "\xff").getHash(), 0x9e3779b8U) << "characters count as signed";
  EXPECT_EQ(SymbolicString(t,
                           "\xc3\xa4"
                           "b")
                .getHash(),
            0xa16fb4451cbU);
  EXPECT_EQ(SymbolicIntValue(t, -1).getHash(), 0xFFFFFFFFFFFFFFFFU);
  EXPECT_EQ(SymbolicIntValue(t, 7).getHash(), 7U);
  EXPECT_EQ(SymbolicDoubleValue(t, 1.0).getHash(), 0x3FF0000000000000U);
  EXPECT_EQ(SymbolicDoubleValue(t, -0.0).getHash(), 0U);
  EXPECT_EQ(SymbolicDoubleValue(t, nan).getHash(), 0x7FF8000000000000U);
  EXPECT_EQ(SymbolicNotExpr(t, 7).getHash(), 0x28cd94b378U);
  EXPECT_EQ(SymbolicPlusExpr(t, 0, 1).getHash(), 0xa16fb58f0cbU);
  EXPECT_EQ(SymbolicPlusExpr(t, invalidSymbolicExprId, invalidSymbolicExprId).getHash(),
            0xa16fb58ee85U);
  EXPECT_EQ(Symbolic2DExpr(t, 0, 1).getHash(), 0xa16fb5ea395U);
  EXPECT_EQ(SymbolicNDExpr(t, two).getHash(), 0xa16fb5ea395U);
  EXPECT_EQ(Symbolic3DExpr(t, 0, 1, 2).getHash(), 0x28253cfe2a382U);
  EXPECT_EQ(SymbolicNDExpr(t, three).getHash(), 0x28253cfe2a382U);
  EXPECT_EQ(SymbolicNDExpr(t, four).getHash(), 0xa3b7da9db5cbacU);
  EXPECT_EQ(SymbolicFcnCall0UExpr(t, "a").getHash(), 0x28cd94b4faU);
  EXPECT_EQ(SymbolicFcnCallExpr(t, "a", {}).getHash(), 0x28cd94b4faU);
  EXPECT_EQ(SymbolicFcnCallExpr(t, "a", {1, 2}).getHash(), 0x28253cf378d43U);
  EXPECT_EQ(SymbolicFcnCallExpr(t, "a", {1, 2, 3}).getHash(), 0xa3b7da996fde6fU);
  EXPECT_EQ(SymbolicMemberValue(t, 4, "true").getHash(), 0x29b554d696ed3c54U)
      << "a member's name has no special cases";
  EXPECT_EQ(detail::hashInputs<SymbolicExprId>(30, nullptr, 0), 0x9E3779D7U);
}

TEST_F(CoreNodes, equality) {
  const std::vector<SymbolicExprId> two{0, 1}, three{0, 1, 2}, four{0, 1, 2, 3};
  const auto compare = [](const char* aWhat, bool aEqual, const SymbolicExpr& a,
                          const SymbolicExpr& b) {
    EXPECT_EQ(a == b, aEqual) << aWhat;
    EXPECT_EQ(b == a, aEqual) << aWhat << ", the other way round";
  };
  const Symbolic2DExpr list2(t, 0, 1);
  const SymbolicFcnCall1UExpr call1(t, "a", 1);
  compare("[a,b] and its vector form", true, list2, SymbolicNDExpr(t, two));
  compare("[a,b,c] and its vector form", true, Symbolic3DExpr(t, 0, 1, 2),
          SymbolicNDExpr(t, three));
  compare("[a,b] and [b,a]", false, list2, Symbolic2DExpr(t, 1, 0));
  compare("[a,b] and [a,b,c]", false, list2, SymbolicNDExpr(t, three));
  compare("[a,b,c,d] and [a,b,c]", false, SymbolicNDExpr(t, four), SymbolicNDExpr(t, three));
  compare("a() and its vector form", true, SymbolicFcnCall0UExpr(t, "a"),
          SymbolicFcnCallExpr(t, "a", {}));
  compare("a(b) and its vector form", true, call1, SymbolicFcnCallExpr(t, "a", {1}));
  compare("a(b,c) and its vector form", true, SymbolicFcnCall2UExpr(t, "a", 1, 2),
          SymbolicFcnCallExpr(t, "a", {1, 2}));
  compare("a(b) and [a,b]", false, call1, list2);
  compare("a(b) and a+b", false, call1, SymbolicPlusExpr(t, 0, 1));
  compare("a(b,c,d) and [a,b,c,d]", false, SymbolicFcnCallExpr(t, "a", {1, 2, 3}),
          SymbolicNDExpr(t, four));
  compare("a+b and a-b", false, SymbolicPlusExpr(t, 0, 1), SymbolicMinusExpr(t, 0, 1));
  compare("-a and ~a", false, SymbolicUnaryMinusExpr(t, 0), SymbolicBitComplExpr(t, 0));
  compare("a() and a.x", false, SymbolicFcnCall0UExpr(t, "a"), SymbolicMemberValue(t, 0, "x"));
  compare("a.x and a.y", false, SymbolicMemberValue(t, 0, "x"), SymbolicMemberValue(t, 0, "y"));
  compare("a.x and b.x", false, SymbolicMemberValue(t, 0, "x"), SymbolicMemberValue(t, 1, "x"));
  compare("5 and 5.0", false, SymbolicIntValue(t, 5), SymbolicDoubleValue(t, 5.0));
  compare("5 and the symbol 5", false, SymbolicIntValue(t, 5), SymbolicString(t, "5"));
}

// A host's own nodes of the families of which the library's classes compare themselves otherwise.
TEST_F(CoreNodes, equalityOfTheFamilies) {
  class Three final : public SymbolicTernaryExpr {
   public:
    Three(int aKind, SymbolicExprId aLast) : SymbolicTernaryExpr(0, 1, aLast), kind(aKind) {}
    int getKind() const override { return kind; }
    const int kind;
  };
  class Many final : public SymbolicMultiExpr {
   public:
    Many(int aKind, std::vector<SymbolicExprId> aInputs)
        : SymbolicMultiExpr(std::move(aInputs)), kind(aKind) {}
    int getKind() const override { return kind; }
    const int kind;
  };
  EXPECT_TRUE(Three(24, 2) == Three(24, 2));
  EXPECT_FALSE(Three(24, 2) == Three(24, 3));
  EXPECT_FALSE(Three(24, 2) == Three(29, 2));
  EXPECT_FALSE(Three(25, 2) == Many(25, {0, 1, 2}));
  EXPECT_TRUE(Many(25, {0, 1, 2}) == Many(25, {0, 1, 2}));
  EXPECT_FALSE(Many(25, {0, 1, 2}) == Many(25, {0, 2, 2}));
  EXPECT_FALSE(Many(25, {0, 1, 2}) == Many(25, {0, 1}));
  EXPECT_FALSE(Many(25, {0, 1, 2}) == Many(30, {0, 1, 2}));
  EXPECT_FALSE(Many(24, {0, 1, 2}) == Three(24, 2));
}

TEST_F(CoreNodes, doublesAreEqualWithinOneEpsilon) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Row {
    double a, b;
    bool equal;
  };
  const Row rows[] = {
      {0.0, -0.0, true},
      {1.0, 1.0 + 0x1p-52, true},
      {1.0, 1.0 + 0x1p-51, false},
      {1e300, std::nextafter(1e300, inf), true},
      {0.0, 5e-324, false},
      {DBL_MAX, -DBL_MAX, false},
      {inf, inf, true},
      {inf, -inf, false},
      {inf, 1.0, false},
      {inf, DBL_MAX, false},
      {nan, nan, true},
      {nan, -nan, false},
      {nan, 0.0, false},
      {nan, inf, false},
  };
  for (const Row& row : rows) {
    const SymbolicDoubleValue a(t, row.a), b(t, row.b);
    EXPECT_EQ(a == b, row.equal) << row.a << " and " << row.b;
    EXPECT_EQ(b == a, row.equal) << row.b << " and " << row.a;
    EXPECT_EQ(a.getId(t) == b.getId(t), row.equal && a.getHash() == b.getHash())
        << row.a << " and " << row.b << " are one node where their hashes agree, too";
    EXPECT_NE(a.getId(t), invalidSymbolicExprId) << row.a << " is found again";
  }
}

TEST_F(CoreNodes, constructorsInternOnceAndChooseTheClass) {
  struct Row {
    const char* what;
    std::function<SymbolicExprId()> first;
    std::function<SymbolicExprId()> again;
    int kind;
    std::size_t added;
  };
  const std::vector<SymbolicExprId> two{0, 1}, three{0, 1, 2}, four{0, 1, 2, 3};
  const SymbolicString a(t, "a"), b(t, "b"), c(t, "c");
  const Row rows[] = {
      {"a+b, ids and nodes", [&] { return SymbolicPlusExpr(t, 0, 1).getId(t); },
       [&] { return SymbolicPlusExpr(t, a, b).getId(t); }, 3, 1},
      {"a-b, mixed", [&] { return SymbolicMinusExpr(t, a, 1).getId(t); },
       [&] { return SymbolicMinusExpr(t, 0, b).getId(t); }, 4, 1},
      {"list of two", [&] { return SymbolicNDExpr(t, two).getId(t); },
       [&] { return Symbolic2DExpr(t, 0, b).getId(t); }, 24, 1},
      {"list of three", [&] { return Symbolic3DExpr(t, a, 1, c).getId(t); },
       [&] { return SymbolicNDExpr(t, three).getId(t); }, 25, 1},
      {"list of four", [&] { return SymbolicNDExpr(t, four).getId(t); },
       [&] { return SymbolicNDExpr(t, four).getId(t); }, 26, 1},
      {"call, none", [&] { return SymbolicFcnCallExpr(t, "f", {}).getId(t); },
       [&] { return SymbolicFcnCall0UExpr(t, SymbolicString(t, "f")).getId(t); }, 27, 2},
      {"call, one", [&] { return SymbolicFcnCall1UExpr(t, SymbolicString(t, "g"), a).getId(t); },
       [&] { return SymbolicFcnCallExpr(t, SymbolicString(t, "g"), {0}).getId(t); }, 28, 2},
      {"call, two",
       [&] {
         return SymbolicFcnCallExpr(t, "h", {0, 1}).getId(t);
       },
       [&] { return SymbolicFcnCall2UExpr(t, SymbolicString(t, "h"), a, b).getId(t); }, 29, 2},
      {"call, three",
       [&] {
         return SymbolicFcnCallExpr(t, "i", {0, 1, 2}).getId(t);
       },
       [&] {
         return SymbolicFcnCallExpr(t, "i", {0, 1, 2}).getId(t);
       },
       30, 2},
      {"member", [&] { return SymbolicMemberValue(t, a, "m").getId(t); },
       [&] { return SymbolicMemberValue(t, 0, "m").getId(t); }, 31, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const std::size_t size = t.size();
    const SymbolicExprId id = row.first();
    EXPECT_EQ(t.size(), size + row.added);
    EXPECT_EQ(id, t.size() - 1) << "a call's name is interned before the call";
    EXPECT_EQ(t.get(id)->getKind(), row.kind);
    EXPECT_EQ(row.again(), id);
    EXPECT_EQ(t.size(), size + row.added);
  }
}

TEST_F(CoreNodes, shortListsFromTheConstructorAddNothing) {
  const std::size_t size = t.size();
  EXPECT_EQ(SymbolicNDExpr(t, {}).getId(t), invalidSymbolicExprId);
  EXPECT_EQ(SymbolicNDExpr(t, {2}).getId(t), invalidSymbolicExprId);
  EXPECT_EQ(t.size(), size);
  const SymbolicExprId one = detail::Intern::list(t, {2});
  EXPECT_EQ(t.get(one)->getKind(), 26);
  EXPECT_EQ(t.get(one)->getNumInputs(), 1U);
  EXPECT_EQ(detail::Intern::list(t, {2}), one);
  EXPECT_EQ(detail::Intern::list(t, {}), invalidSymbolicExprId);
}

TEST_F(CoreNodes, operandsThatTheTableDoesNotHold) {
  SymbolicExprTable other;
  const SymbolicString stranger(other, "stranger"), a(other, "a");
  EXPECT_EQ(SymbolicNotExpr(t, stranger).getInput(0), invalidSymbolicExprId);
  EXPECT_EQ(SymbolicNotExpr(t, a).getInput(0), 0U) << "operands are found by structure";
  EXPECT_EQ(stranger.getId(t), invalidSymbolicExprId);
}

TEST(ConcatExprIdVector, putsTheFirstInFront) {
  EXPECT_THAT(concatExprIdVector(9, {1, 2}), testing::ElementsAre(9, 1, 2));
  EXPECT_THAT(concatExprIdVector(9, {}), testing::ElementsAre(9));
}

using CoreNodesDeathTest = CoreNodes;

TEST_F(CoreNodesDeathTest, inputsOutOfBounds) {
  struct Row {
    const SymbolicExpr* node;
    std::size_t index;
    std::string report;
  };
  const SymbolicIntValue leaf(t, 1);
  const SymbolicNotExpr unary(t, 0);
  const SymbolicPlusExpr binary(t, 0, 1);
  const Symbolic3DExpr ternary(t, 0, 1, 2);
  const SymbolicNDExpr multi(t, {0, 1, 2, 3});
  const std::string tail = "::getInput(const std::size_t) const\n";
  const Row rows[] = {
      {&leaf, 0,
       "KS::SymbolicExpr::getInput() should not be called\nbase/KSSymbolicExpr:34\n"
       "virtual SymbolicExprId KS::SymbolicExpr" +
           tail},
      {&unary, 1,
       "KS::SymbolicUnaryExpr::getInput(aIdx) aIdx is greater than 0\nbase/KSSymbolicExpr:194\n"
       "virtual SymbolicExprId KS::SymbolicUnaryExpr" +
           tail},
      {&binary, 2,
       "KS::SymbolicBinaryExpr::getInput(aIdx) aIdx is out of bounds\nbase/KSSymbolicExpr:235\n"
       "virtual SymbolicExprId KS::SymbolicBinaryExpr" +
           tail},
      {&ternary, 3,
       "KS::SymbolicTernaryExpr::getInput(aIdx) aIdx is out of bounds\nbase/KSSymbolicExpr:281\n"
       "virtual SymbolicExprId KS::SymbolicTernaryExpr" +
           tail},
      {&multi, 4,
       "KS::SymbolicUnaryExpr::getInput(aIdx) aIdx is out of bounds\nbase/KSSymbolicExpr:328\n"
       "virtual SymbolicExprId KS::SymbolicMultiExpr" +
           tail},
  };
  for (const Row& row : rows) {
    EXPECT_EXIT(static_cast<void>(row.node->getInput(row.index)), testing::KilledBySignal(SIGABRT),
                testing::HasSubstr(row.report));
  }
}

TEST_F(CoreNodesDeathTest, switchOffLeavesOnlyTheUnconditionalChecks) {
  struct Off {
    Off() { qc::diag::setTerminate(false); }
    ~Off() { qc::diag::setTerminate(true); }
  } off;
  const SymbolicPlusExpr binary(t, 0, 1);
  EXPECT_EQ(SymbolicNotExpr(t, 2).getInput(1), 2U);
  EXPECT_EXIT(static_cast<void>(binary.getInput(2)), testing::KilledBySignal(SIGABRT),
              "aIdx is out of bounds");
}

}  // namespace
}  // namespace KS
