// The table: ids, lookup, boolean symbols, values of symbols, ownership, failure in the middle.
#include "base/SymbolicExprTable.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <typeinfo>
#include <utility>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprVisitor.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "base/detail/Intern.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/HeapPeak.hpp"
#include "tests/support/HostNode.hpp"

namespace KS {
namespace {

using test::HostNode;

TEST(Table, idsAreDenseAndInputsComeFirst) {
  SymbolicExprTable t;
  EXPECT_EQ(t.size(), 0U);
  EXPECT_EQ(SymbolicString(t, "a").getId(t), 0U);
  EXPECT_EQ(SymbolicIntValue(t, 2).getId(t), 1U);
  EXPECT_EQ(SymbolicPlusExpr(t, 0, 1).getId(t), 2U);
  EXPECT_EQ(SymbolicFcnCall1UExpr(t, "f", 2).getId(t), 4U) << "after the name";
  EXPECT_EQ(SymbolicString(t, "a").getId(t), 0U);
  EXPECT_EQ(t.size(), 5U);
}

TEST(Table, unknownIds) {
  SymbolicExprTable t;
  const SymbolicString a(t, "a");
  EXPECT_EQ(t.get(0)->getKind(), 0);
  EXPECT_THROW(t.get(1), std::out_of_range);
  EXPECT_THROW(t.get(invalidSymbolicExprId), std::out_of_range);

  SymbolicExprTable empty;
  EXPECT_EQ(empty.lookup(&a), invalidSymbolicExprId);
  EXPECT_EQ(empty.lookup(nullptr), invalidSymbolicExprId);
  EXPECT_FALSE(empty.contains(&a));
  EXPECT_TRUE(t.contains(&a));
  EXPECT_THROW(empty.get(0), std::out_of_range);
}

// A node keeps four bytes of an input, which number whatever a table can hold.
TEST(Table, inputsThatNoTableHasAreTheInvalidId) {
  SymbolicExprTable t;
  constexpr SymbolicExprId last = 0xFFFFFFFE;
  constexpr SymbolicExprId behind = sizeof last > 4 ? last + 2 : invalidSymbolicExprId;
  EXPECT_EQ(SymbolicNotExpr(t, last).getInput(0), last);
  for (const SymbolicExprId none : {last + 1, behind, invalidSymbolicExprId}) {
    const SymbolicMinusExpr difference(t, none, last);
    EXPECT_EQ(difference.getInput(0), invalidSymbolicExprId);
    EXPECT_EQ(difference.getInput(1), last);
    EXPECT_EQ(difference.getHash(), SymbolicMinusExpr(t, invalidSymbolicExprId, last).getHash());
    EXPECT_EQ(Symbolic3DExpr(t, last, last, none).getInput(2), invalidSymbolicExprId);
  }
  EXPECT_EQ(t.size(), 3U);
}

TEST(Table, takesFewBytesForANode) {
  if (!test::HeapPeak::isMeasured) GTEST_SKIP();
  // At 3/4 of a power of 2 the index is full; behind that there are two for a moment.
  for (const auto& [size, bytes] : {std::pair{49000, 40}, {50000, 60}}) {
    const test::HeapPeak heap;
    SymbolicExprTable t;
    SymbolicExprId id = SymbolicString(t, "a").getId(t);
    while (t.size() < static_cast<std::size_t>(size)) id = SymbolicPlusExpr(t, id, 0).getId(t);
    EXPECT_LE(heap.bytes() / t.size(), static_cast<std::size_t>(bytes)) << size;
  }
}

TEST(Table, boolSymbols) {
  SymbolicExprTable t;
  EXPECT_EQ(t.getIdTRUE(), invalidSymbolicExprId);
  EXPECT_EQ(t.getIdFALSE(), invalidSymbolicExprId);
  t.addBoolSymbols();
  t.addBoolSymbols();
  EXPECT_EQ(t.getIdFALSE(), 0U);
  EXPECT_EQ(t.getIdTRUE(), 1U);
  EXPECT_EQ(t.size(), 2U);

  SymbolicExprTable late;
  const SymbolicString used(late, "true");
  late.addBoolSymbols();
  EXPECT_EQ(late.getIdTRUE(), used.getId(late)) << "a symbol that was used before is the same one";
  EXPECT_EQ(late.getIdFALSE(), 1U);
}

TEST(Table, valuesOfSymbols) {
  SymbolicExprTable t;
  t.registerValueId("k", 7);
  t.registerValueId("k", 9);
  const SymbolicExprId k = SymbolicString(t, "k").getId(t);
  EXPECT_EQ(t.getValueId(k), 7U) << "the first registration stays";
  EXPECT_EQ(t.getValueId(k + 1), invalidSymbolicExprId);
  EXPECT_EQ(t.getValueId(invalidSymbolicExprId), invalidSymbolicExprId);
  t.registerValueId("far", SymbolicExprId{1} << 40);
  EXPECT_EQ(t.getValueId(SymbolicString(t, "far").getId(t)), SymbolicExprId{1} << 40);
}

TEST(Table, nodesWithOneHashStayApart) {
  SymbolicExprTable t;
  // All three hash to 0.
  EXPECT_EQ(SymbolicString(t, "").getId(t), 0U);
  EXPECT_EQ(SymbolicIntValue(t, 0).getId(t), 1U);
  EXPECT_EQ(SymbolicDoubleValue(t, -0.0).getId(t), 2U);
  EXPECT_EQ(SymbolicDoubleValue(t, 0.0).getId(t), 2U);
  EXPECT_EQ(t.size(), 3U);
}

// Equal within the tolerance, but hashed apart: two nodes.
TEST(Table, closeDoublesAreTwoNodes) {
  std::mt19937_64 random(20240607);
  std::uniform_real_distribution<double> anywhere(1.0, 2.0);
  SymbolicExprTable t;
  for (int i = 0; i < 1000; ++i) {
    const double value = anywhere(random);
    const SymbolicDoubleValue exact(t, value), close(t, std::nextafter(value, 3.0));
    ASSERT_TRUE(exact == close) << value;
    ASSERT_EQ(exact.getId(t) + 1, close.getId(t)) << value;
  }
}

TEST(Table, growsWithoutLosingNodes) {
  constexpr std::size_t count = 40000;
  SymbolicExprTable t;
  // Operators over neighbours, and over ids that no table has.
  const auto intern = [&t](std::size_t i) {
    const SymbolicExprId a = i % 7 == 6 ? (i << 30) : i / 3, b = i / 5;
    switch (i % 5) {
      case 0: return SymbolicIntValue(t, static_cast<int>(i) * 31).getId(t);
      case 1: return SymbolicAndExpr(t, a, b).getId(t);
      case 2: return SymbolicNotExpr(t, i % 7 == 6 ? (i << 30) : i).getId(t);
      case 3: return SymbolicMinusExpr(t, i, a).getId(t);
      default: return SymbolicString(t, "s" + std::to_string(i)).getId(t);
    }
  };
  std::vector<SymbolicExprId> ids;
  for (std::size_t i = 0; i < count; ++i) {
    ids.push_back(intern(i));
    ASSERT_LT(ids.back(), t.size()) << i;
  }
  const std::size_t size = t.size();
  EXPECT_GT(size, count - count / 10);
  for (std::size_t i = 0; i < count; ++i) {
    ASSERT_EQ(intern(i), ids[i]);
    ASSERT_EQ(t.lookup(t.get(ids[i])), ids[i]);
  }
  EXPECT_EQ(t.size(), size);
}

// A node of the test's own: counts destructions, and fails to be copied where it is told to.
class Tracked final : public SymbolicUnaryExpr {
 public:
  Tracked(SymbolicExprId aInput, int* aDestroyed, bool aFailsToCopy = false)
      : SymbolicUnaryExpr(aInput), destroyed(aDestroyed), failsToCopy(aFailsToCopy) {}
  Tracked(const Tracked& aOther)
      : SymbolicUnaryExpr(aOther), destroyed(aOther.destroyed), failsToCopy(false) {
    if (aOther.failsToCopy) throw std::bad_alloc();
  }
  Tracked& operator=(const Tracked&) = delete;
  ~Tracked() override { ++*destroyed; }
  int getKind() const override { return 17; }

 private:
  int* destroyed;
  bool failsToCopy;
};

TEST(Table, ownsWhatIsAdded) {
  int destroyed = 0;
  {
    SymbolicExprTable t;
    t.add(new Tracked(5, &destroyed));
    t.add(new Tracked(5, &destroyed));
    t.add(new Tracked(6, &destroyed));
    const SymbolicNotExpr probe(t, 5);
    EXPECT_EQ(t.size(), 3U) << "a second equal node is appended";
    EXPECT_EQ(probe.getId(t), 0U) << "and the first one keeps answering";
    EXPECT_THROW(t.add(nullptr), std::invalid_argument);
    EXPECT_EQ(t.size(), 3U);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 3);
}

// A node of the test's own that is equal to its mirror image, and to no sum of the library's.
class Unordered final : public SymbolicBinaryExpr {
 public:
  Unordered(SymbolicExprId a, SymbolicExprId b) : SymbolicBinaryExpr(a, b) {}
  int getKind() const override { return 3; }
  std::size_t getHash() const override { return 1000 + inputs[0] + inputs[1]; }
  bool operator==(const SymbolicExpr& aOther) const override {
    const auto* other = dynamic_cast<const Unordered*>(&aOther);
    return other != nullptr && (SymbolicBinaryExpr::operator==(aOther) ||
                                (other->inputs[0] == inputs[1] && other->inputs[1] == inputs[0]));
  }
};

TEST(Table, addedNodesKeepTheirOwnHashAndEquality) {
  SymbolicExprTable t;
  SymbolicString(t, "a");
  SymbolicString(t, "b");
  t.add(new Unordered(0, 1));
  t.add(new Unordered(1, 0));
  const Unordered mirrored(1, 0);
  EXPECT_EQ(t.lookup(&mirrored), 2U) << "the first of equal nodes";
  EXPECT_EQ(SymbolicPlusExpr(t, 0, 1).getId(t), 4U);
  EXPECT_EQ(t.size(), 5U);
}

// An expression over the symbols "f" to "i" after printing, simplifying and evaluating.
std::string worked(SymbolicExprTable& t, SymbolicExprId aId) {
  const SymbolicExprPrinter print(t, false, false, false);
  std::size_t passes = 0;
  std::string text = print(aId) + ' ' + print(SymbolicExprSimplify(t, 10).simplify(aId, passes));
  for (const char name : {'f', 'g', 'h', 'i'}) {
    t.registerValueId(std::string(1, name), SymbolicIntValue(t, name - 'a' + 1).getId(t));
  }
  for (const double number : SymbolicExprEval(t).eval(aId)) text += ' ' + std::to_string(number);
  return text;
}

// The inputs of the node that a walk begins with, as its visit shows them.
class InputsOfFirst final : public SymbolicExprVisitor {
 public:
  bool visitInputsFirst() const override { return false; }
#define KS_KIND(code, Op, Class) \
  void visit(const Class& aExpr) override { note(aExpr); }
#include "base/SymbolicExprKinds.def"

  std::vector<SymbolicExprId> inputs;

 private:
  void note(const SymbolicExpr& aExpr) {
    if (!std::exchange(isFirst, false)) return;
    for (std::size_t i = 0; i < aExpr.getNumInputs(); ++i) inputs.push_back(aExpr.getInput(i));
  }
  bool isFirst = true;
};

// What `add` takes, and what the library makes of it.
TEST(Table, nodesOfHostsAreOfTheirKindOrRefused) {
  // A row per kind: the numbers of inputs, 0 to 4, that a host's node may have.
  const char* const fitting[] = {"",  "",  "",  "2", "2",     "1", "2", "2", "2",    "2", "2",
                                 "2", "2", "2", "2", "2",     "2", "1", "2", "2",    "2", "1",
                                 "2", "2", "2", "3", "01234", "1", "2", "3", "1234", ""};
  static_assert(std::size(fitting) == 32);
  for (int kind = -1; kind <= 32; ++kind) {
    for (std::size_t count = 0; count <= 4; ++count) {
      SymbolicExprTable t;
      for (const char name : {'e', 'f', 'g', 'h', 'i'}) SymbolicString(t, std::string(1, name));
      std::vector<SymbolicExprId> inputs(count);
      std::iota(inputs.begin(), inputs.end(), SymbolicExprId{1});
      auto node = std::make_unique<HostNode>(kind, inputs);
      const bool isKind = kind >= 0 && kind < 32;
      const bool fits =
          isKind && std::strchr(fitting[kind], '0' + static_cast<char>(count)) != nullptr;
      if (!fits) {
        EXPECT_THROW(t.add(node.get()), std::invalid_argument) << kind << ' ' << count;
        EXPECT_EQ(t.size(), 5U);
        continue;
      }
      t.add(node.release());
      const SymbolicExprId id = t.size() - 1;
      InputsOfFirst visitor;
      t.get(id)->accept(t, visitor);
      EXPECT_EQ(visitor.inputs, inputs) << kind << ' ' << count;
      // The copy has a node of the library's class, known by its hash; a list of none is nothing.
      SymbolicExprTable copies;
      const SymbolicExprId copy = SymbolicExprCopy(t, copies)(id);
      if (kind == 26 && count == 0) {
        EXPECT_EQ(copy, invalidSymbolicExprId);
        EXPECT_EQ(SymbolicExprEval(t).eval(id), std::vector<double>());
        continue;
      }
      const int vectors =
          kind == 26 && count > 1 ? 22 + static_cast<int>(count) : 26 + static_cast<int>(count);
      const bool isShort = count <= 3 && (kind == 30 || (kind == 26 && count > 1));
      const SymbolicExpr& copied = *copies.get(copy);
      std::iota(inputs.begin(), inputs.end(), SymbolicExprId{0});  // in the copy
      ASSERT_EQ(copied.getHash(),
                detail::hashInputs(isShort ? vectors : kind, inputs.data(), count))
          << kind << ' ' << count;
      EXPECT_NE(typeid(copied), typeid(HostNode));
      if (kind == 30 && count == 1) continue;  // calls without arguments are of kind 27 elsewhere
      EXPECT_EQ(worked(t, id), worked(copies, copy)) << kind << ' ' << count;
    }
  }
}

TEST(Table, nodesOfHostsAreNoLibraryClass) {
  SymbolicExprTable t;
  const SymbolicString a(t, "a");
  const SymbolicPlusExpr sum(t, a, a);
  const SymbolicMemberValue member(t, a, "m");
  // Equality asks what the other node is, and does not take its kind for its class.
  EXPECT_FALSE(a == HostNode(0, {}));
  EXPECT_FALSE(SymbolicIntValue(t, 0) == HostNode(1, {}));
  EXPECT_FALSE(SymbolicDoubleValue(t, 0) == HostNode(2, {}));
  EXPECT_FALSE(member == HostNode(31, {0}));
  EXPECT_TRUE(sum == HostNode(3, {0, 0}));
  EXPECT_FALSE(sum == HostNode(3, {0, 1}));
  EXPECT_FALSE(sum == HostNode(4, {0, 0}));
  // Nor does a walk that begins at one that no table holds.
  SymbolicExprXFormVisitor rebuild(t);
  HostNode(3, {0, 0}).accept(t, rebuild);
  EXPECT_EQ(rebuild.get(), sum.getId(t));
  EXPECT_THROW(HostNode(0, {}).accept(t, rebuild), std::invalid_argument);
  EXPECT_THROW(HostNode(3, {0}).accept(t, rebuild), std::invalid_argument);
  EXPECT_THROW(HostNode(99, {}).accept(t, rebuild), std::invalid_argument);
  // The library's own are added like any other.
  t.add(new SymbolicString(t, "b"));
  EXPECT_EQ(SymbolicExprPrinter(t, false, false, false)(t.size() - 1), "b");
}

TEST(Table, failureWhileInterningLeavesTheTableAsItWas) {
  int destroyed = 0;
  SymbolicExprTable t;
  const SymbolicString a(t, "a");
  {
    const Tracked probe(0, &destroyed, true);
    EXPECT_THROW(detail::Intern::node(t, probe), std::bad_alloc);
    EXPECT_EQ(t.size(), 1U);
    EXPECT_EQ(t.lookup(&probe), invalidSymbolicExprId);
  }
  EXPECT_EQ(SymbolicNotExpr(t, 0).getId(t), 1U);
  for (int i = 0; i < 1000; ++i) SymbolicIntValue(t, i);
  EXPECT_EQ(a.getId(t), 0U);
  EXPECT_EQ(SymbolicNotExpr(t, 0).getId(t), 1U);
}

TEST(Table, refsHashAndCompareTheirNodes) {
  SymbolicExprTable t;
  const SymbolicString a(t, "a");
  const SymbolicString alsoA(t, "a");
  EXPECT_EQ(hash_value(SymbolicExprRef(&a)), a.getHash());
  EXPECT_TRUE(SymbolicExprRef(&a) == SymbolicExprRef(&alsoA));
  EXPECT_FALSE(SymbolicExprRef(&a) == SymbolicExprRef(t.get(SymbolicIntValue(t, 1).getId(t))));
  const SymbolicExprRef none(nullptr);
  EXPECT_THROW(hash_value(none), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(none == SymbolicExprRef(&a)), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(SymbolicExprRef(&a) == none), std::invalid_argument);
}

}  // namespace
}  // namespace KS
