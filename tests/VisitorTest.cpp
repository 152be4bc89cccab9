// Walks: slots, order, occurrences, depth, the two rebuilding bases, copying, ids from elsewhere.
#include "base/SymbolicExprVisitor.hpp"

#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>

#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "base/detail/Intern.hpp"
#include "base/detail/Walk.hpp"
#include "tests/support/SmallStack.hpp"

namespace KS {
namespace {

// Writes down the visits, and how often the order was asked for.
class Recorder final : public SymbolicExprVisitor {
 public:
  explicit Recorder(bool aInputsFirst) : inputsFirst(aInputsFirst) {}
  bool visitInputsFirst() const override {
    ++asked;
    return inputsFirst;
  }
#define KS_KIND(code, Op, Class) \
  void visit(const Class& aExpr) override { note(aExpr, #Op); }
#include "base/SymbolicExprKinds.def"

  std::string visits;
  std::size_t count = 0;
  mutable std::size_t asked = 0;

 private:
  void note(const SymbolicExpr& aExpr, const char* aName) {
    if (++count > 100) return;
    if (!visits.empty()) visits += ' ';
    visits += aExpr.getKind() == 0 ? static_cast<const SymbolicString&>(aExpr).getText() : aName;
  }
  bool inputsFirst;
};

SymbolicExprId rebuild(const SymbolicExprTable& aSource, SymbolicExprId aId,
                       SymbolicExprXFormVisitor& aVisitor) {
  aSource.get(aId)->accept(aSource, aVisitor);
  return aVisitor.get();
}

// One line per node: kind, inputs and hash, which covers the payload.
std::vector<std::string> nodesOf(const SymbolicExprTable& aTable) {
  std::vector<std::string> lines;
  for (SymbolicExprId id = 0; id < aTable.size(); ++id) {
    const SymbolicExpr& node = *aTable.get(id);
    std::string line = std::to_string(node.getKind()) + " #" + std::to_string(node.getHash());
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
      line += ' ' + std::to_string(node.getInput(i));
    }
    lines.push_back(line);
  }
  return lines;
}

// A table that has one node of every class, a list of one element included; the last is the root,
// from which all others are reached.
SymbolicExprId oneOfEach(SymbolicExprTable& t) {
  const SymbolicExprId a = SymbolicString(t, "a").getId(t);
  std::vector<SymbolicExprId> all{SymbolicIntValue(t, 7).getId(t),
                                  SymbolicDoubleValue(t, 2.5).getId(t)};
#define KS_UNARY(code, Op, Class) all.push_back(Class(t, a).getId(t));
#define KS_BINARY(code, Op, Class) all.push_back(Class(t, a, all.back()).getId(t));
#include "base/SymbolicExprKinds.def"
  all.push_back(detail::Intern::list(t, {a}));
  all.push_back(Symbolic2DExpr(t, a, all[1]).getId(t));
  all.push_back(Symbolic3DExpr(t, a, all[1], all[2]).getId(t));
  all.push_back(SymbolicFcnCall0UExpr(t, "f").getId(t));
  all.push_back(SymbolicFcnCall1UExpr(t, "f", a).getId(t));
  all.push_back(SymbolicFcnCall2UExpr(t, "f", a, all[3]).getId(t));
  all.push_back(SymbolicMemberValue(t, all[4], "member").getId(t));
  all.push_back(SymbolicFcnCallExpr(t, "g", all).getId(t));
  return SymbolicNDExpr(t, all).getId(t);
}

// A sum or conjunction of `aOperands` symbols, as deep on the left or on the right as it is long.
SymbolicExprId chain(SymbolicExprTable& t, int aOperands, bool aLeft) {
  SymbolicExprId id = SymbolicString(t, "x0").getId(t);
  for (int i = 1; i < aOperands; ++i) {
    const SymbolicExprId next = SymbolicString(t, "x" + std::to_string(i)).getId(t);
    id = aLeft ? SymbolicPlusExpr(t, id, next).getId(t) : SymbolicAndExpr(t, next, id).getId(t);
  }
  return id;
}

#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
// A pointer to a virtual member function holds the offset of its entry in the table, plus one.
template <class Function>
std::size_t slotOf(Function aFunction) {
  std::size_t offset = 0;
  std::memcpy(&offset, &aFunction, sizeof offset);
  return (offset - 1) / sizeof(void*);
}

// Entries 0 and 1 are the two forms of the destructor.
TEST(Visitor, slotsAreInterface) {
  EXPECT_EQ(slotOf(&SymbolicExpr::getKind), 2U);
  EXPECT_EQ(slotOf(&SymbolicExpr::operator==), 3U);
  EXPECT_EQ(slotOf(&SymbolicExpr::getHash), 4U);
  EXPECT_EQ(slotOf(&SymbolicExpr::getNumInputs), 5U);
  EXPECT_EQ(slotOf(&SymbolicExpr::isLeaf), 6U);
  EXPECT_EQ(slotOf(&SymbolicExpr::isNumber), 7U);
  EXPECT_EQ(slotOf(&SymbolicExpr::isUnary), 8U);
  EXPECT_EQ(slotOf(&SymbolicExpr::isMulti), 11U);
  EXPECT_EQ(slotOf(&SymbolicExpr::isFixedArityFcnCall), 12U);
  EXPECT_EQ(slotOf(&SymbolicExpr::getNumericValue), 13U);
  EXPECT_EQ(slotOf(&SymbolicExpr::getInput), 14U);
  EXPECT_EQ(slotOf(&SymbolicExpr::getNumDimensions), 15U);
  EXPECT_EQ(slotOf(&SymbolicExpr::getNumFcnArgs), 16U);
  EXPECT_EQ(slotOf(&SymbolicExpr::accept), 17U);
  EXPECT_EQ(slotOf(&SymbolicExprVisitor::visitInputsFirst), 2U);
  std::vector<std::size_t> slots;
#define KS_KIND(code, Op, Class) \
  slots.push_back(slotOf<void (SymbolicExprVisitor::*)(const Class&)>(&SymbolicExprVisitor::visit));
#include "base/SymbolicExprKinds.def"
  ASSERT_EQ(slots.size(), 32U);
  for (std::size_t kind = 0; kind < 32; ++kind) EXPECT_EQ(slots[kind], kind + 3);
  EXPECT_EQ(slotOf(&SymbolicExprXFormVisitor2::makeSymbolicString), 35U);
  EXPECT_EQ(slotOf(&SymbolicExprXFormVisitor2::makeSymbolicDoubleValue), 37U);
  EXPECT_EQ(slotOf(&SymbolicExprXFormVisitor2::makeSymbolicPlusExpr), 38U);
  EXPECT_EQ(slotOf(&SymbolicExprXFormVisitor2::makeSymbolicNotExpr), 52U);
  EXPECT_EQ(slotOf(&SymbolicExprXFormVisitor2::makeSymbolicShiftRightExpr), 58U);
  EXPECT_EQ(slotOf(&SymbolicExprXFormVisitor2::makeSymbolicNDExpr), 59U);
  EXPECT_EQ(slotOf(&SymbolicExprXFormVisitor2::makeSymbolicFcnCallExpr), 60U);
  EXPECT_EQ(slotOf(&SymbolicExprXFormVisitor2::makeSymbolicMemberValue), 61U);
}
#endif

TEST(Visitor, acceptVisitsInOrderAndPerOccurrence) {
  SymbolicExprTable t;
  const SymbolicExprId a = SymbolicString(t, "a").getId(t), b = SymbolicString(t, "b").getId(t);
  const SymbolicExprId sum = SymbolicPlusExpr(t, a, b).getId(t);
  const SymbolicExprId product = SymbolicMultiplyExpr(t, sum, sum).getId(t);
  const SymbolicExprId call = SymbolicFcnCall2UExpr(t, "f", product, b).getId(t);
  const SymbolicExprId member = SymbolicMemberValue(t, call, "m").getId(t);
  struct Row {
    SymbolicExprId id;
    const char* inputsFirst;
    const char* nodeFirst;
    std::size_t asked;
  };
  const Row rows[] = {
      {a, "a", "a", 0},
      {sum, "a b Plus", "Plus a b", 1},
      {product, "a b Plus a b Plus Multiply", "Multiply Plus a b Plus a b", 3},
      {member, "f a b Plus a b Plus Multiply b FcnCall2U MemberValue",
       "MemberValue FcnCall2U f Multiply Plus a b Plus a b b", 5},
  };
  for (const Row& row : rows) {
    Recorder inputsFirst(true), nodeFirst(false);
    t.get(row.id)->accept(t, inputsFirst);
    t.get(row.id)->accept(t, nodeFirst);
    EXPECT_EQ(inputsFirst.visits, row.inputsFirst);
    EXPECT_EQ(nodeFirst.visits, row.nodeFirst);
    EXPECT_EQ(inputsFirst.asked, row.asked) << row.inputsFirst;
    EXPECT_EQ(nodeFirst.asked, row.asked) << row.nodeFirst;
  }
}

TEST(Visitor, acceptCallsTheVisitOfEveryClass) {
  SymbolicExprTable t;
  oneOfEach(t);
  std::vector<bool> seen(32, false);
  const char* names[] = {
#define KS_KIND(code, Op, Class) #Op,
#include "base/SymbolicExprKinds.def"
  };
  for (SymbolicExprId id = 0; id < t.size(); ++id) {
    Recorder recorder(false);
    const auto kind = static_cast<std::size_t>(t.get(id)->getKind());
    t.get(id)->accept(t, recorder);
    if (kind != 0) {
      EXPECT_EQ(recorder.visits.substr(0, recorder.visits.find(' ')), names[kind]);
    }
    seen[kind] = true;
  }
  EXPECT_THAT(seen, testing::Each(true));
}

TEST(Rebuild, bothBasesAndTheCopyReproduceEveryClass) {
  SymbolicExprTable source;
  const SymbolicExprId root = oneOfEach(source);
  SymbolicExprTable byConstruction, byMake, byCopy;
  SymbolicExprXFormVisitor construct(byConstruction);
  SymbolicExprXFormVisitor2 make(byMake);
  const SymbolicExprCopy copy(source, byCopy);
  const SymbolicExprId id = copy(root);
  EXPECT_EQ(rebuild(source, root, construct), id);
  EXPECT_EQ(rebuild(source, root, make), id);
  EXPECT_EQ(byCopy.size(), source.size());
  EXPECT_EQ(nodesOf(byConstruction), nodesOf(byCopy));
  EXPECT_EQ(nodesOf(byMake), nodesOf(byCopy));

  EXPECT_EQ(copy(root), id) << "a second time adds nothing";
  EXPECT_EQ(byCopy.size(), source.size());
  SymbolicExprXFormVisitor inPlace(source);
  EXPECT_EQ(rebuild(source, root, inPlace), root);
  EXPECT_EQ(SymbolicExprCopy(source, source)(root), root);
  EXPECT_EQ(source.size(), byCopy.size());
}

TEST(Rebuild, copyInternsInTheOrderOfTheWalk) {
  SymbolicExprTable source;
  const SymbolicExprId b = SymbolicString(source, "b").getId(source);
  const SymbolicExprId a = SymbolicString(source, "a").getId(source);
  const SymbolicExprId call = SymbolicFcnCallExpr(source, "f", {a, b, a}).getId(source);
  SymbolicExprTable target;
  EXPECT_EQ(SymbolicExprCopy(source, target)(call), 3U);
  const char* expected[] = {"f", "a", "b"};
  for (SymbolicExprId id = 0; id < 3; ++id) {
    EXPECT_EQ(static_cast<const SymbolicString*>(target.get(id))->getText(), expected[id]);
  }
  EXPECT_EQ(target.get(3)->getNumFcnArgs(), 3U);
}

TEST(Rebuild, makeOperationsCoverAllFormsOfACall) {
  class Rename final : public SymbolicExprXFormVisitor2 {
   public:
    using SymbolicExprXFormVisitor2::SymbolicExprXFormVisitor2;
    SymbolicExprId makeSymbolicIntValue(int) override {
      return SymbolicIntValue(result(), 0).getId(result());
    }
    SymbolicExprId makeSymbolicNDExpr(const std::vector<SymbolicExprId>& aElements) override {
      lists.push_back(aElements.size());
      return SymbolicExprXFormVisitor2::makeSymbolicNDExpr(aElements);
    }
    SymbolicExprId makeSymbolicFcnCallExpr(SymbolicExprId aName,
                                           const std::vector<SymbolicExprId>& aArgs) override {
      calls.push_back(aArgs.size());
      return SymbolicExprXFormVisitor2::makeSymbolicFcnCallExpr(aName, aArgs);
    }
    std::vector<std::size_t> lists, calls;
  };
  SymbolicExprTable source, target;
  const SymbolicExprId root = oneOfEach(source);
  Rename rename(target);
  const SymbolicExprId id = detail::Rebuild::run(source, root, rename);
  const std::size_t all = source.get(root)->getNumInputs();
  EXPECT_THAT(rename.lists, testing::UnorderedElementsAre(1, 2, 3, all));
  EXPECT_THAT(rename.calls, testing::UnorderedElementsAre(0, 1, 2, all - 1));
  EXPECT_EQ(target.get(target.get(id)->getInput(0))->getNumericValue(), 0.0) << "7 has become 0";
  EXPECT_EQ(target.get(target.get(id)->getInput(1))->getNumericValue(), 2.5);
}

TEST(Rebuild, unbalancedVisitsGiveNoResult) {
  class Silent final : public SymbolicExprXFormVisitor {
   public:
    using SymbolicExprXFormVisitor::SymbolicExprXFormVisitor;
    using SymbolicExprXFormVisitor::visit;
    void visit(const SymbolicString&) override {}
  };
  SymbolicExprTable t;
  const SymbolicExprId a = SymbolicString(t, "a").getId(t), one = SymbolicIntValue(t, 1).getId(t);
  const SymbolicExprId list = Symbolic3DExpr(t, a, one, a).getId(t);
  SymbolicExprTable target;
  SymbolicExprXFormVisitor nothing(target);
  EXPECT_EQ(nothing.get(), invalidSymbolicExprId);

  Silent tooFew(target);
  EXPECT_EQ(rebuild(t, list, tooFew), invalidSymbolicExprId);

  SymbolicExprXFormVisitor tooMany(target);
  t.get(a)->accept(t, tooMany);
  EXPECT_EQ(rebuild(t, one, tooMany), invalidSymbolicExprId);
}

TEST(Walk, deepChainsNeedNoStack) {
  test::runOnStack(std::size_t{256} * 1024, [] {
    for (const bool left : {true, false}) {
      SymbolicExprTable source, target, again;
      const SymbolicExprId root = chain(source, 100000, left);
      Recorder inputsFirst(true), nodeFirst(false);
      source.get(root)->accept(source, inputsFirst);
      source.get(root)->accept(source, nodeFirst);
      EXPECT_EQ(inputsFirst.count, 199999U);
      EXPECT_EQ(nodeFirst.count, 199999U);
      EXPECT_EQ(SymbolicExprCopy(source, target)(root), 199998U);
      SymbolicExprXFormVisitor2 visitor(again);
      EXPECT_EQ(rebuild(source, root, visitor), 199998U);
    }
  });
}

TEST(Walk, sharedNodesAreCopiedOnce) {
  SymbolicExprTable source, target;
  SymbolicExprId id = SymbolicString(source, "x").getId(source);
  for (int i = 0; i < 60; ++i) id = SymbolicPlusExpr(source, id, id).getId(source);
  EXPECT_EQ(SymbolicExprCopy(source, target)(id), 60U);
  EXPECT_EQ(target.size(), 61U);
}

// A cycle of ids: the first node names one that does not exist yet and later names the first.
TEST(Walk, idsFromElsewhereThrow) {
  SymbolicExprTable t, target;
  const SymbolicExprId early = SymbolicPlusExpr(t, 2, 2).getId(t);
  const SymbolicExprId a = SymbolicString(t, "a").getId(t);
  const SymbolicExprId cycle = SymbolicNotExpr(t, early).getId(t);
  ASSERT_EQ(cycle, 2U);
  const SymbolicExprId self = SymbolicNotExpr(t, 3).getId(t);
  ASSERT_EQ(self, 3U);
  const SymbolicExprId nowhere = SymbolicAndExpr(t, a, 1000).getId(t);
  const SymbolicExprId invalid = SymbolicOrExpr(t, invalidSymbolicExprId, a).getId(t);
  const SymbolicExprCopy copy(t, target);
  for (const SymbolicExprId id : {early, cycle, self, nowhere, invalid}) {
    for (const bool first : {true, false}) {
      Recorder recorder(first);
      EXPECT_THROW(t.get(id)->accept(t, recorder), std::out_of_range) << id;
    }
    EXPECT_THROW(copy(id), std::out_of_range) << id;
  }
  EXPECT_THROW(copy(t.size()), std::out_of_range);
  EXPECT_THROW(copy(invalidSymbolicExprId), std::out_of_range);
  EXPECT_EQ(copy(a), SymbolicString(target, "a").getId(target)) << "the copy works as before";
}

}  // namespace
}  // namespace KS
