// Memory that ends anywhere in any public operation on expressions, and in any query of a service.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "all.hpp"
#include "host/KSHost.hpp"
#include "tests/memory/FailEverywhere.hpp"

namespace KS {
namespace {

using test::failEverywhere;
using test::Operation;

// ---------------------------------------------------------------------------------------------
// Tables and what works on them

class Renaming final : public SymbolicExprPrinter::Predicate {
 public:
  std::string operator()(const SymbolicString& aNode) const override {
    return "a_name_that_is_long_" + aNode.getText();
  }
};

struct Objects {
  SymbolicExprTable table, copies;
  SymbolicExprParser parseM{table, false}, parseC{table, true};
  SymbolicExprSimplify simplify{table, 10};
  SymbolicExprCompact compact{table};
  SymbolicExprBindings bindings{table};
  std::string answers(std::size_t aShare);

  std::string text(SymbolicExprId aId) const {
    return SymbolicExprPrinter(table, false, true, false)(aId);
  }
  std::string simplified(const char* aText) {
    std::size_t passes = 0;
    const SymbolicExprId id = simplify.simplify(parseC(aText), passes);
    return std::to_string(passes) + ' ' + text(id);
  }
  template <class Visitor, class... Arguments>
  std::string visited(const char* aText, Arguments&&... aArguments) {
    const SymbolicExprId id = parseC(aText);
    Visitor visitor(std::forward<Arguments>(aArguments)...);
    table.get(id)->accept(table, visitor);
    if constexpr (std::is_same_v<decltype(visitor.get()), SymbolicExprId>) {
      return text(visitor.get());
    } else if constexpr (std::is_same_v<decltype(visitor.get()), std::string>) {
      return visitor.get();
    } else {
      return numbers(Eval::eval(visitor.get()));
    }
  }
  static std::string numbers(const std::vector<double>& aNumbers) {
    std::string all;
    for (const double number : aNumbers) all += std::to_string(number) + ' ';
    return all;
  }
};

constexpr const char* everything =
    "rem(a, 2) == 1 && ([x, 2.5, s.m, 3] + -3 * y / 4 == h(1, 2, 3) || !(b && c) && a > 3 % 2)"
    " || (p | q & ~r) << 2 > f() - g(x ^ 1)";

SymbolicExprTable& withValues(SymbolicExprTable& aTable) {
  aTable.registerValueId("n", SymbolicIntValue(aTable, 7).getId(aTable));
  return aTable;
}

// What is registered or bound; answers to other operations tell of it.
constexpr Operation<Objects> changes[] = {
    {"register a value",
     [](Objects& o) {
       withValues(o.table);
       return std::string();
     }},
    {"bind a list",
     [](Objects& o) {
       o.bindings.set("list_of_some_length_and_more",
                      std::vector<Eval::Scalar>{1, 2.5, true, 4, 5, 6, 7});
       return std::to_string(o.bindings.size());
     }},
    {"bind a node",
     [](Objects& o) {
       o.bindings.set(o.parseC("s.m"), 3);
       return std::to_string(o.bindings.size());
     }},
    {"boolean symbols",
     [](Objects& o) {
       o.table.addBoolSymbols();
       return o.text(o.table.getIdTRUE()) + o.text(o.table.getIdFALSE());
     }},
};

constexpr Operation<Objects> operations[] = {
    {"evaluate what may have no value",
     [](Objects& o) {
       std::string found;
       for (const char* text : {"n + 1", "list_of_some_length_and_more + 1", "s.m + 1"}) {
         try {
           found += Objects::numbers(SymbolicExprEval(o.table).eval(o.parseC(text), o.bindings));
         } catch (const SymbolicExprEvalError& error) {
           found += error.what();
         }
       }
       return found;
     }},
    {"parse M", [](Objects& o) { return o.text(o.parseM("~a && b ~= c.d || rem(e, 2) == 1")); }},
    {"parse C", [](Objects& o) { return o.text(o.parseC(everything)); }},
    {"parse what is refused",
     [](Objects& o) {
       const std::string text = "a + (b * f(c_that_is_long_enough_for_the_heap, [d)";
       return std::to_string(o.parseC(text)) + o.parseC.diagnose(text)->expected;
     }},
    {"syntax tree",
     [](Objects& o) {
       using namespace Parser;
       expression_ast tree = variable{"a name of some length, on the heap"};
       tree = unary_op(SymbolicOp::Not, tree);
       std::vector<expression_ast> list(4, tree);
       tree = binary_op(SymbolicOp::Plus, list, expression_ast(2.5));
       tree -= expression_ast(3);
       return o.text(Ast2SymbolicExprId(o.table, true)(tree));
     }},
    {"nodes",
     [](Objects& o) {
       SymbolicExprTable& t = o.table;
       const SymbolicExprId a = SymbolicString(t, "a new name of some length").getId(t);
       const SymbolicExprId list = SymbolicNDExpr(t, {a, a, a, a, a}).getId(t);
       const SymbolicExprId member = SymbolicMemberValue(t, a, "a member of some length").getId(t);
       const SymbolicExprId call = SymbolicFcnCallExpr(t, a, {list, member, a}).getId(t);
       return o.text(SymbolicPlusExpr(t, call, SymbolicDoubleValue(t, 0.5).getId(t)).getId(t));
     }},
    {"print in all ways",
     [](Objects& o) {
       const SymbolicExprId id = o.parseC(everything);
       std::string texts;
       const Renaming renaming;
       for (const bool isM : {false, true}) {
         for (const bool isForPreprocessor : {false, true}) {
           texts += SymbolicExprPrinter(o.table, isM, true, isForPreprocessor)(id);
           texts += SymbolicExprPrinter(o.table, renaming, isM, true, isForPreprocessor)(id);
         }
       }
       return texts + SymbolicExprPrinter(o.table, false, false, false)(*o.table.get(id));
     }},
    {"render M",
     [](Objects& o) {
       return o.visited<StringifySymbolicExpr>(
           everything, SymbolicExprPrinter::Predicate::instance(), true, true);
     }},
    {"render for the preprocessor",
     [](Objects& o) {
       const Renaming renaming;
       return o.visited<PreprocessorVCExpr>(everything, renaming, false, true);
     }},
    {"evaluate",
     [](Objects& o) {
       const SymbolicExprEval evaluation(o.table);
       const double number = evaluation.evalNumber(o.parseC("[2.5] * 2"));
       return std::to_string(number) +
              Objects::numbers(evaluation.eval(o.parseC("[1, 2, 3] * (2 + 0.5) % 2")));
     }},
    {"evaluate with bindings",
     [](Objects& o) {
       SymbolicExprBindings bindings = o.bindings;
       bindings.set("a", std::vector<Eval::Scalar>{1, 2, 3});
       bindings.set("b", 2);
       const SymbolicExprId id = o.parseC("a * [b, b, 2] + -a && a - 1 || !(b == a)");
       return Objects::numbers(SymbolicExprEval(o.table).eval(id, bindings));
     }},
    {"evaluate with a stack",
     [](Objects& o) {
       withValues(o.copies);
       const SymbolicExprId id = SymbolicExprParser(o.copies, true)("[n, 2, 3] * 2.5 + -1");
       SymbolicExprEvalImpl machine(o.copies);
       o.copies.get(id)->accept(o.copies, machine);
       return Objects::numbers(Eval::eval(machine.get()));
     }},
    {"arithmetic of values",
     [](Objects&) {
       const Eval::Value list = std::vector<Eval::Scalar>{1, 2.5, true};
       const Eval::Value sum = Eval::plus(list, Eval::times(list, 3));
       return Objects::numbers(Eval::eval(Eval::uminus(Eval::andOp(sum, Eval::notOp(list))))) +
              Objects::numbers(Eval::eval(sum));
     }},
    {"compiled program",
     [](Objects& o) {
       SymbolicExprBindings bindings = o.bindings;
       bindings.set("a", std::vector<Eval::Scalar>{1, 2, 3});
       bindings.set("b", 2);
       const std::vector<SymbolicExprId> roots{o.parseC("a * b - [1, 2, 3]"),
                                               o.parseC("b == 2 && c"), o.parseC("a + [1, 2]"),
                                               o.parseC("b > 1 || c && d")};
       const SymbolicExprProgram program(o.table, roots);
       std::string found;
       for (const SymbolicExprProgram::Outcome& outcome : program.run(bindings)) {
         found += outcome.value ? Objects::numbers(Eval::eval(*outcome.value)) : outcome.error;
       }
       for (const SymbolicExprProgram::TruthOutcome& outcome : program.truths(bindings)) {
         found += std::to_string(static_cast<int>(outcome.holds)) + outcome.error;
       }
       SymbolicExprRunner runner(o.table, roots, {o.parseC("a"), o.parseC("b")});
       for (const int b : {2, 0}) {
         for (const auto& outcome : runner.run({std::vector<Eval::Scalar>{1, 2, 3}, b})) {
           found += outcome.value ? Objects::numbers(Eval::eval(*outcome.value)) : outcome.error;
         }
       }
       return found + std::to_string(program.list().steps.size());
     }},
    {"substitute",
     [](Objects& o) {
       SymbolicExprBindings bindings(o.table);
       bindings.set("a", 3);
       bindings.set("c", false);
       bindings.set("x", std::vector<Eval::Scalar>{1, 2.5});
       return o.text(SymbolicExprSubstitute(o.table)(o.parseC(everything), bindings)) +
              o.text(SymbolicExprSubstitute(o.table)(o.parseC("x + a * c - y"), bindings));
     }},
    {"simplify arithmetic",
     [](Objects& o) { return o.simplified("2 * x + 3 - (y - x) * 4 / 2 + z / -1 - 0.5 * x"); }},
    {"simplify relations",
     [](Objects& o) {
       return o.simplified("(x > 2 && x > 3 || x == 4 || x <= y && x != y) && !(y < 3) && 2 < z");
     }},
    {"simplify connectives",
     [](Objects& o) {
       return o.simplified(
           "(a || b) && (c || d && !a) && !(e && (f || !g)) || a && b && c || h && (h || i)");
     }},
    {"simplify a long chain",
     [](Objects& o) {
       std::string text = "v7";
       for (int i = 0; i < 60; ++i) text += " && v" + std::to_string(i * 37 % 61);
       return o.simplified((text + " && (w || v3) && (x == 1 || x == 2)").c_str());
     }},
    {"conjunction",
     [](Objects& o) {
       return o.text(o.simplify.conjunction(o.parseC("b && d && x > 1"), o.parseC("a && c")));
     }},
    {"explain",
     [](Objects& o) {
       std::string passes;
       for (const SymbolicExprId id : o.simplify.explain(o.parseC("!(a && !(b || c)) && (a||d)"))) {
         passes += o.text(id) + "; ";
       }
       return passes;
     }},
    {"compact",
     [](Objects& o) {
       const SymbolicExprId net = o.parseC("a && c || b && c || d && c && e || !a && f && x > 1"),
                            path = o.parseC("(a || b) && c && (x > 1 || x > 2)");
       const SymbolicExprCompact informed(o.table, [&](SymbolicExprId aLeft, SymbolicExprId) {
         const std::string questions(40, 'q');
         return o.text(aLeft) == "a" && !questions.empty();
       });
       return o.text(o.compact(net)) + o.text(o.compact(net, {path, net})) + o.text(informed(net)) +
              std::to_string(o.compact.countLiterals(net));
     }},
    {"factor",
     [](Objects& o) {
       const SymbolicExprId id = o.parseC("a + b / c - d / (e / 2) * (f % (g / h))");
       return o.text(SymbolicExprFactorDivision(o.table).factorDivision(id)) +
              o.visited<SymbolicExprFactorDivisionVisitor>("a + b / c", o.table);
     }},
    {"cast to integers",
     [](Objects& o) {
       return o.text(SymbolicExprCast2Int(o.table).cast2Int(o.parseC("a * 2.5 + f(1.5, [0.5])"))) +
              o.visited<SymbolicExprCast2IntVisitor>("a * 2.5 + g(0.5)", o.table);
     }},
    {"convert to C",
     [](Objects& o) {
       const char* const text = "bitand(bitor(a, 1), bitxor(b, bitshift(c, -2))) + rem(d, 2)";
       return o.text(SymbolicExprM2C(o.table)(o.parseC(text))) +
              o.visited<SymbolicExprM2CVisitor>(text, o.table);
     }},
    {"convert to M",
     [](Objects& o) {
       const char* const text = "(a | 1) & (b ^ (c >> 2)) + d % 2 / ~e";
       return o.text(SymbolicExprC2M(o.table)(o.parseC(text))) +
              o.visited<SymbolicExprC2MVisitor>(text, o.table);
     }},
    {"copy to another table",
     [](Objects& o) {
       const SymbolicExprId copy = SymbolicExprCopy(o.table, o.copies)(o.parseC(everything));
       return SymbolicExprPrinter(o.copies, false, true, false)(copy);
     }},
    {"rebuild by visitors",
     [](Objects& o) {
       return o.visited<SymbolicExprXFormVisitor>(everything, o.table) +
              o.visited<SymbolicExprXFormVisitor2>(everything, o.table);
     }},
    {"symbols",
     [](Objects& o) {
       std::vector<std::string> names;
       std::vector<SymbolicExprId> ids;
       const SymbolicExprId id = o.parseC(everything);
       SymbolicExprSymbols(o.table)(id, names);
       SymbolicExprSymbols(o.table)(id, ids);
       SymbolsOfSymbolicExpr(o.table).getSymbols(id, names);
       std::string all = std::to_string(ids.size());
       for (const std::string& name : names) all += ' ' + name;
       return all;
     }},
};
std::string Objects::answers(std::size_t aShare) {
  return test::shareOfAnswers(operations, *this, aShare);
}

TEST(MemoryEnds, InEveryOperation) {
  failEverywhere(changes);
  failEverywhere(operations);
}

// ---------------------------------------------------------------------------------------------
// Services

// Blocks 0 to 3, each in the next one.
class Chain final : public VCCustomizer {
 public:
  std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override {
    if (aSelector == 2) return placeOf(aBlock) == 1 ? "rem(S, 2) == 1" : "true";
    if (aBlock == block(3)) return "A == 1 && A ~= 2";
    return "B" + std::to_string(placeOf(aBlock)) + " > 1 || bitand(C, 1) == 1";
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    return aBlock == block(3) ? nullptr : block(placeOf(aBlock) + 1);
  }
  const KSBlock* block(std::size_t aPlace) const {
    return reinterpret_cast<const KSBlock*>(places + aPlace);
  }

 private:
  std::size_t placeOf(const KSBlock* aBlock) const {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(aBlock) - places);
  }
  char places[4]{};
};

struct Hosted {
  VCService service;
  Chain chain;
  std::string answers(std::size_t aShare);
};

constexpr Operation<Hosted> settings[] = {
    {"set VV",
     [](Hosted& h) {
       h.service.setMExprLocalVVCEString(h.chain.block(2), "a_name_of_some_length == 1");
       return std::string();
     }},
    {"set CG",
     [](Hosted& h) {
       h.service.setMExprLocalCGVCEString(h.chain.block(0), "a_name_of_some_length == 1");
       return std::string();
     }},
};

constexpr Operation<Hosted> queries[] = {
    {"local VV and CG",
     [](Hosted& h) {
       return h.service.getMExprLocalVVCEString(h.chain.block(2), &h.chain) +
              h.service.getMExprLocalCGVCEString(h.chain.block(0), &h.chain) +
              h.service.getCExprLocalCGVCEString(h.chain.block(0), &h.chain);
     }},
    {"local S",
     [](Hosted& h) {
       return h.service.printMExpr(h.service.getLocalSVCEIdx(h.chain.block(1), &h.chain)) +
              std::to_string(h.service.getLocalSVCE(h.chain.block(3), &h.chain));
     }},
    {"net VV",
     [](Hosted& h) {
       return h.service.getMExprNetVVCEString(h.chain.block(0), &h.chain) + "; " +
              h.service.getMExprNetVVCEString(h.chain.block(2), &h.chain);
     }},
    {"net CG",
     [](Hosted& h) {
       return h.service.getCExprNetCGVCEString(h.chain.block(0), &h.chain) + "; " +
              h.service.getMExprNetCGVCEString(h.chain.block(1), &h.chain);
     }},
    {"net S",
     [](Hosted& h) {
       return h.service.printMExpr(h.service.getNetSVCEIdx(h.chain.block(0), &h.chain)) +
              std::to_string(h.service.getNetSVCE(h.chain.block(2), &h.chain));
     }},
    {"computed nets",
     [](Hosted& h) {
       VCService& s = h.service;
       return s.printMExpr(s.computeMExprNetVVCE(h.chain.block(0), &h.chain)) + "; " +
              s.printCExpr(s.computeMExprNetCGVCE(h.chain.block(1), &h.chain)) + "; " +
              s.printMExpr(s.computeNetSVCE(h.chain.block(0), &h.chain));
     }},
    {"algebra",
     [](Hosted& h) {
       VCService& s = h.service;
       const SymbolicExprId x = s.simplify("X == 1 || Y > 2"), y = s.simplify("Z && X == 1");
       return s.printMExpr(s.AND(x, y)) + "; " + s.printMExpr(s.OR(s.NOT(x), y));
     }},
    {"texts",
     [](Hosted& h) {
       h.service.initializeConditions(h.chain.block(3));
       return h.service.simplifyMExpr("X || ~X && a_name_of_some_length") +
              h.service.simplifyCExpr("(X ~= 1) && (X == 2 || bitand(Y, 2) == 2)");
     }},
    {"a text that is refused",
     [](Hosted& h) {
       try {
         return h.service.simplifyMExpr("a text of some length that does not parse");
       } catch (const msgcore::DiagnosticException& error) {
         return std::string(error.what());
       }
     }},
    {"the process-wide service",
     [](Hosted& h) {
       std::string text = VCService::getInstance()->simplifyMExpr("X && Y && X");
       VCService::clean();
       return text + h.service.simplifyMExpr("X && Y && X");
     }},
};

std::string Hosted::answers(std::size_t aShare) {
  return test::shareOfAnswers(queries, *this, aShare);
}

TEST(MemoryEnds, InEveryQueryOfAService) {
  failEverywhere(settings);
  failEverywhere(queries);
}

}  // namespace
}  // namespace KS
