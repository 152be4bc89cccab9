// A host may make nodes over ids that are not older than the node itself. Whatever walks over one
// refuses it, and the table works on.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprSymbols.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprCast2Int.hpp"
#include "xform/SymbolicExprFactorDivision.hpp"
#include "xform/SymbolicExprM2C.hpp"
#include "xform/SymbolicExprSubstitute.hpp"

namespace KS::test {
namespace {

using Inputs = std::vector<SymbolicExprId>;

// A node of a kind over these inputs; the invalid id where a kind takes another number.
SymbolicExprId make(SymbolicExprTable& aTable, int aKind, const Inputs& aInputs) {
  if (aInputs.size() == 1) {
#define KS_UNARY(code, Op, Class) \
  if (aKind == code) return Class(aTable, aInputs[0]).getId(aTable);
#include "base/SymbolicExprKinds.def"
    if (aKind == 31) return SymbolicMemberValue(aTable, aInputs[0], "m").getId(aTable);
    if (aKind == 28) return SymbolicFcnCall1UExpr(aTable, "f", aInputs[0]).getId(aTable);
  }
  if (aInputs.size() == 2) {
#define KS_BINARY(code, Op, Class) \
  if (aKind == code) return Class(aTable, aInputs[0], aInputs[1]).getId(aTable);
#include "base/SymbolicExprKinds.def"
    if (aKind == 24) return Symbolic2DExpr(aTable, aInputs[0], aInputs[1]).getId(aTable);
    if (aKind == 29) {
      return SymbolicFcnCall2UExpr(aTable, "f", aInputs[0], aInputs[1]).getId(aTable);
    }
  }
  if (aKind == 26 && aInputs.size() > 3) return SymbolicNDExpr(aTable, aInputs).getId(aTable);
  if (aKind == 30 && aInputs.size() > 2) {
    return SymbolicFcnCallExpr(aTable, "f", aInputs).getId(aTable);
  }
  return invalidSymbolicExprId;
}

constexpr int numPlaces = 6;

// The node itself, or one of several over it.
SymbolicExprId putBelow(SymbolicExprTable& aTable, SymbolicExprId aNode, int aPlace) {
  switch (aPlace) {
    case 0: return aNode;
    case 1: return SymbolicAndExpr(aTable, aNode, 0).getId(aTable);
    case 2: return SymbolicAndExpr(aTable, 0, aNode).getId(aTable);
    case 3: return SymbolicOrExpr(aTable, 0, aNode).getId(aTable);
    case 4: return SymbolicNotExpr(aTable, aNode).getId(aTable);
    default: return SymbolicLessThanExpr(aTable, aNode, 0).getId(aTable);
  }
}

struct Operation {
  const char* name;
  std::function<void(SymbolicExprTable&, SymbolicExprId)> run;
  bool isOfValues = false;
};

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = {
      {"print", [](auto& t, auto id) { SymbolicExprPrinter(t, true, true, false)(id); }},
      {"evaluate", [](auto& t, auto id) { SymbolicExprEval(t).eval(id); }, true},
      {"compile", [](auto& t, auto id) { SymbolicExprProgram(t, {id}); }, true},
      {"simplify",
       [](auto& t, auto id) {
         std::size_t passes = 0;
         SymbolicExprSimplify(t, 9).simplify(id, passes);
       }},
      {"conjoin", [](auto& t, auto id) { SymbolicExprSimplify(t, 9).conjunction(id, 0); }},
      {"compact",
       [](auto& t, auto id) {
         SymbolicExprCompact compact(t);
         compact(id);
       }},
      {"compact a path",
       [](auto& t, auto id) {
         SymbolicExprCompact compact(t);
         compact(id, {0, id});
       }},
      {"copy",
       [](auto& t, auto id) {
         SymbolicExprTable other;
         SymbolicExprCopy(t, other)(id);
       }},
      {"symbols",
       [](auto& t, auto id) {
         Inputs ids;
         SymbolicExprSymbols symbols(t);
         symbols(id, ids);
       }},
      {"substitute",
       [](auto& t, auto id) {
         SymbolicExprSubstitute substitute(t);
         substitute(id, SymbolicExprBindings(t));
       },
       true},
      {"cast", [](auto& t, auto id) { SymbolicExprCast2Int(t).cast2Int(id); }},
      {"factor", [](auto& t, auto id) { SymbolicExprFactorDivision(t).factorDivision(id); }},
      {"to C",
       [](auto& t, auto id) {
         SymbolicExprM2C toC(t);
         toC(id);
       }},
      {"to M",
       [](auto& t, auto id) {
         SymbolicExprC2M toM(t);
         toM(id);
       }},
  };
  return all;
}

TEST(BadInputs, AreRefusedByEveryOperation) {
  for (int kind = 3; kind < 32; ++kind) {
    for (std::size_t count = 1; count <= 4; ++count) {
      for (std::size_t bad = 0; bad < count; ++bad) {
        for (const SymbolicExprId far : {SymbolicExprId{0}, SymbolicExprId{1},
                                         SymbolicExprId{1} << 32, invalidSymbolicExprId - 100}) {
          for (int above = 0; above < numPlaces; ++above) {
            SymbolicExprTable table;
            SymbolicString(table, "x");
            SymbolicString(table, "f");
            table.addBoolSymbols();
            SymbolicIntValue(table, 1);
            table.registerValueId("x", table.size() - 1);
            Inputs inputs(count, 0);
            inputs[bad] = table.size() + far;  // itself, or what comes later or never
            const SymbolicExprId node = make(table, kind, inputs);
            if (node == invalidSymbolicExprId) continue;
            EXPECT_EQ(make(table, kind, inputs), node) << "equal nodes are one all the same";
            const SymbolicExprId id = putBelow(table, node, above);
            for (const Operation& operation : operations()) {
              // A call and a member have values of their own, or none.
              if (kind >= 27 && operation.isOfValues) continue;
              EXPECT_THROW(operation.run(table, id), std::out_of_range)
                  << operation.name << " of kind " << kind << ", input " << bad << " of " << count
                  << " + " << far << ", below " << above;
            }
            EXPECT_EQ(SymbolicExprEval(table).eval(0), std::vector<double>{1});
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace KS::test
