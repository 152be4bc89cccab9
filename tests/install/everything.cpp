// Uses every public class and function object from outside: what is declared and not exported does
// not link here, and what a newer C++ reads differently does not compile.
#include <KSSymbolicExpr/all.hpp>
#include <KSSymbolicExpr/host/KSHost.hpp>
#include <boost/phoenix/core.hpp>
#include <boost/spirit/include/qi_parse.hpp>
#include <cstdio>
#include <typeinfo>

namespace {

using namespace KS;

int failures = 0;
void check(bool aCondition, const char* aWhat) {
  if (aCondition) return;
  std::printf("failed: %s\n", aWhat);
  ++failures;
}

class Recorder final : public SymbolicExprVisitor {
 public:
  bool visitInputsFirst() const override { return true; }
#define KS_KIND(code, Op, Class) \
  void visit(const Class&) override { kinds += static_cast<unsigned>(code); }
#include <KSSymbolicExpr/base/SymbolicExprKinds.def>
  unsigned kinds = 0;
};

// A node class of the host's own.
class HostSum final : public SymbolicBinaryExpr {
 public:
  HostSum(SymbolicExprId aLeft, SymbolicExprId aRight) : SymbolicBinaryExpr(aLeft, aRight) {}
  int getKind() const override { return static_cast<int>(SymbolicOp::Plus); }
};

void nodes() {
  SymbolicExprTable t;
  t.addBoolSymbols();
  const SymbolicString a(t, "a");
  const SymbolicIntValue one(t, 1);
  const SymbolicDoubleValue half(t, 0.5);
  std::vector<SymbolicExprId> all{a.getId(t), one.getId(t), half.getId(t)};
#define KS_UNARY(code, Op, Class) all.push_back(Class(t, a).getId(t));
#define KS_BINARY(code, Op, Class)                           \
  {                                                          \
    const Class x(t, a, one), y(t, a, one), z(t, one, one);  \
    check(x == y && !(x == z), #Class);                      \
    check(x == static_cast<const SymbolicExpr&>(y), #Class); \
    check(static_cast<const SymbolicExpr&>(x) == y, #Class); \
    all.push_back(x.getId(t));                               \
  }
#include <KSSymbolicExpr/base/SymbolicExprKinds.def>
  check(a == a && !(a == one) && half == half && one == one, "leaves");
  const Symbolic2DExpr two(t, a, one);
  const Symbolic3DExpr three(t, a, one, half);
  check(SymbolicNDExpr(t, {a.getId(t), one.getId(t)}) == two && !(two == three), "lists");
  const SymbolicFcnCall0UExpr call0(t, "f");
  const SymbolicFcnCall1UExpr call1(t, "f", a);
  const SymbolicFcnCall2UExpr call2(t, "f", a, one);
  const SymbolicFcnCallExpr call(t, "f", all);
  const SymbolicMemberValue member(t, a, "m");
  check(call0 == call0 && !(call1 == call2) && !(call == member) && member == member, "calls");
  for (const SymbolicExpr* node :
       {static_cast<const SymbolicExpr*>(&two), static_cast<const SymbolicExpr*>(&three),
        static_cast<const SymbolicExpr*>(&call0), static_cast<const SymbolicExpr*>(&call1),
        static_cast<const SymbolicExpr*>(&call2), static_cast<const SymbolicExpr*>(&call),
        static_cast<const SymbolicExpr*>(&member)}) {
    all.push_back(node->getId(t));
  }
  const SymbolicNDExpr root(t, concatExprIdVector(a.getId(t), all));
  const SymbolicExpr& stored = *t.get(root.getId(t));
  check(typeid(stored) == typeid(SymbolicNDExpr), "typeinfo");
  check(hash_value(SymbolicExprRef(&a)) == a.getHash(), "hash_value");
  check(SymbolicExprRef(&a) == SymbolicExprRef(t.get(all[0])), "refs");

  Recorder recorder;
  root.accept(t, recorder);
  check(recorder.kinds > 0, "visitor");
  t.add(new HostSum(all[0], all[1]));
  check(*t.get(t.size() - 1) == SymbolicPlusExpr(t, a, one), "a host's node");

  SymbolicExprTable u;
  const SymbolicExprId copy = SymbolicExprCopy(t, u)(root.getId(t));
  SymbolicExprXFormVisitor rebuild(u);
  root.accept(t, rebuild);
  SymbolicExprXFormVisitor2 remake(u);
  root.accept(t, remake);
  check(rebuild.get() == copy && remake.get() == copy, "rebuilding");
  check(&SymbolicExprFactory(u).getTable() == &u, "factory");

  std::vector<std::string> names;
  SymbolicExprSymbols symbols(t);
  symbols(root.getId(t), names);
  std::vector<SymbolicExprId> ids;
  SymbolsOfSymbolicExpr(t).getSymbolIds(root.getId(t), ids);
  check(names == std::vector<std::string>{"a", "f"} && ids.size() == 2, "symbols");
}

void syntaxTrees() {
  using namespace KS::Parser;
  namespace qi = boost::spirit::qi;
  SymbolicExprTable t;
  const ExprParser<std::string::const_iterator> grammar;
  const std::string text = "a.b + f(x, [1, 2.5]) % ~g()";
  std::string::const_iterator first = text.begin();
  expression_ast tree;
  check(qi::phrase_parse(first, text.end(), grammar, qi::ascii::space, tree) && first == text.end(),
        "grammar");
  const Ast2SymbolicExprId convert(t, true);
  check(convert(tree) == SymbolicExprParser(t, true)(text), "conversion");
  std::vector<SymbolicExprId> ids;
  convert.convert2SymbolicExprIdVector({tree, tree}, ids);
  check(ids.size() == 2, "conversion of several");

  // Straight, and as lazy functions.
  const expression_ast x = variable{"x"};
  check(negExp.f(x).op == SymbolicOp::UnaryMinus && notExp.f(x).op == SymbolicOp::Not, "negExp");
  check(cmpExp.f(x).op == SymbolicOp::BitCompl, "cmpExp");
  check(voidFcnCallExp.f(x).op == SymbolicOp::FcnCall0U, "voidFcnCallExp");
  check(moduloExp.f(x, x).op == SymbolicOp::Modulo, "moduloExp");
  check(memberVal.f(x, x).op == SymbolicOp::MemberValue, "memberVal");
  const unary_op lazy = negExp(boost::phoenix::arg_names::arg1)(x);
  check(lazy.op == SymbolicOp::UnaryMinus, "lazy");

  using Fold = expression_ast& (expression_ast::*)(const expression_ast&);
  for (const Fold fold :
       {&expression_ast::operator+=, &expression_ast::operator-=, &expression_ast::operator*=,
        &expression_ast::operator/=, static_cast<Fold>(&expression_ast::operator==),
        static_cast<Fold>(&expression_ast::operator!=), &expression_ast::operator<,
        &expression_ast::operator<=, &expression_ast::operator>, &expression_ast::operator>=,
        &expression_ast::operator&&, &expression_ast::operator||,
        static_cast<Fold>(&expression_ast::operator&), &expression_ast::operator|,
        &expression_ast::operator^, &expression_ast::operator<<, &expression_ast::operator>>,
        &expression_ast::operator[]}) {
    expression_ast folded = x;
    (folded.*fold)(tree);
    check(folded.expr.which() == 6, "operators of the tree");
  }
  expression_ast left = x, right = x;
  left == right;
  right != left;
  left == x;
  left == expression_ast(1);
  left != variable{"y"};
  check(boost::get<binary_op>(left.expr).op == SymbolicOp::NotEqual, "comparison of trees");
  SubtreeBox<unary_op> box(unary_op(SymbolicOp::Not, left));
  const SubtreeBox<unary_op> moved(std::move(box));
  check(moved.get().op == SymbolicOp::Not, "boxes");
  check(expression_ast(1).expr.which() + expression_ast(1.5).expr.which() +
                expression_ast(nil()).expr.which() +
                expression_ast(std::vector<expression_ast>()).expr.which() +
                expression_ast(binary_op()).expr.which() ==
            1 + 2 + 0 + 5 + 6,
        "alternatives");
}

class Upper final : public SymbolicExprPrinter::Predicate {
 public:
  std::string operator()(const SymbolicString& aNode) const override {
    return "U_" + Predicate::operator()(aNode);
  }
};

void textAndNumbers() {
  SymbolicExprTable t;
  const SymbolicExprParser parse(t, false);
  const SymbolicExprParser parseC(t, true);
  const SymbolicExprPrinter print(t, true, false, false);
  check(!parse.diagnose("a").has_value(), "diagnose");
  check(parse.diagnose("a +")->expected == "an operand", "diagnose");
  const Upper upper;
  check(SymbolicExprPrinter(t, upper, false, true, true)(parse("a && b")) == "U_a && U_b", "names");
  check(print(SymbolicString(t, "s")) == "s", "printer of nodes");
  StringifySymbolicExpr renderer(SymbolicExprPrinter::Predicate::instance(), true, false);
  t.get(parse("a+b"))->accept(t, renderer);
  check(renderer.get() == "a+b", "renderer");
  PreprocessorVCExpr condition(SymbolicExprPrinter::Predicate::instance(), false, false);
  t.get(parse("a+true"))->accept(t, condition);
  check(condition.get() == "a + 1", "preprocessor condition");

  t.registerValueId("N", SymbolicIntValue(t, 4).getId(t));
  check(SymbolicExprEval(t).eval(parse("[N+1, 2]")) == std::vector<double>{5, 2}, "eval");
  SymbolicExprEvalImpl machine(t);
  t.get(parse("2*3"))->accept(t, machine);
  check(machine.get().scalar().getInt() == 6, "stack machine");
  try {
    SymbolicExprEval(t).eval(parse("unbound+1"));
    check(false, "evaluation error");
  } catch (const SymbolicExprEvalError&) {
  }
  SymbolicExprBindings values(t);
  values.set("N", 5);
  values.set(parse("s.m"), true);
  check(values.find(parse("s.m")) != nullptr && &values.getTable() == &t, "bindings");
  std::size_t bound = 0;
  values.forEach([&](SymbolicExprId, const Eval::Value&) { ++bound; });
  check(bound == values.size(), "all bindings");
  check(SymbolicExprEval(t).eval(parse("N+1"), values) == std::vector<double>{6},
        "eval with values");
  const SymbolicExprProgram program(t, {parse("s.m||a"), parse("N/2")});
  check(program.run(values)[1].value->scalar().getInt() == 2, "program");
  check(program.truths(values)[0].holds == SymbolicExprProgram::Holds::Yes, "truths");
  check(SymbolicExprSubstitute(t)(parse("N-3+a"), values) == parse("2+a"), "substitution");

  using namespace KS::Eval;
  for (Value (*const operation)(const Value&, const Value&) :
       {plus, minus, times, divide, modulo, equals, notEquals, greaterThan, lessThan,
        greaterThanEqual, lessThanEqual, andOp, orOp, bitAndOp, bitOrOp, bitXorOp, bitLeftShift,
        bitRightShift}) {
    check(operation(6, Scalar(2)).tag() == Value::Single, "binary operations");
  }
  for (Value (*const operation)(const Value&) : {uminus, notOp, bitCmp}) {
    check(operation(std::vector<Scalar>{true, 1.5}).tag() == Value::Vector, "unary operations");
  }
  check(Eval::all(true) && Eval::eval(2.5).size() == 1, "all and eval");
  Eval::printValue(7);

  check(print(SymbolicExprCast2Int(t).cast2Int(parse("2.0"))) == "2", "cast");
  check(print(SymbolicExprM2C(t)(parse("rem(a,2)"))) == "a%2" ||
            SymbolicExprPrinter(t, false, false, false)(SymbolicExprM2C(t)(parse("rem(a,2)"))) ==
                "a%2",
        "M to C");
  check(SymbolicExprC2M(t)(parseC("a%2")) == parse("rem(a,2)"), "C to M");
  const SymbolicExprId quotient = parse("a/2/3");
  check(SymbolicExprFactorDivision(t).factorDivision(quotient) < t.size(), "factoring");
  SymbolicExprCast2IntVisitor cast(t);
  SymbolicExprM2CVisitor toC(t);
  SymbolicExprC2MVisitor toM(t);
  SymbolicExprFactorDivisionVisitor factor(t);
  for (SymbolicExprXFormVisitor* visitor :
       {static_cast<SymbolicExprXFormVisitor*>(&cast), static_cast<SymbolicExprXFormVisitor*>(&toC),
        static_cast<SymbolicExprXFormVisitor*>(&toM),
        static_cast<SymbolicExprXFormVisitor*>(&factor)}) {
    t.get(quotient)->accept(t, *visitor);
    check(visitor->get() < t.size(), "visitors of transformations");
  }
  const SymbolicExprSimplify simplify(t, 10);
  std::size_t passes = 0;
  check(simplify.simplify(parse("b && a && b"), passes) ==
            SymbolicExprSimplify(simplify).conjunction(parse("a"), parse("b")),
        "simplification");
  check(!simplify.explain(parse("1+1")).empty(), "explanation");
  const SymbolicExprCompact::Implies never = [](SymbolicExprId, SymbolicExprId) { return false; };
  const SymbolicExprCompact compact(t, never);
  const SymbolicExprId net = parse("a && c || b && c");
  check(compact.countLiterals(compact(net)) == 3 && compact(net, {net}) == compact(net),
        "compact forms");
}

class Customizer final : public VCCustomizer {
 public:
  std::string getLocalCondition(const KSBlock*, int) const override { return text; }
  const KSBlock* getParentBlock(const KSBlock*) const override { return nullptr; }
  std::string text = "rem(A,2) == 1";
};

void conditions() {
  Customizer customizer;
  const int place = 0;
  const auto* const block = reinterpret_cast<const KSBlock*>(&place);
  VCService service;
  for (SymbolicExprId (VCService::*const query)(const KSBlock*, const VCCustomizer*) :
       {&VCService::getMExprLocalVVCEIdx, &VCService::getMExprLocalCGVCEIdx,
        &VCService::getMExprNetVVCEIdx, &VCService::getMExprNetCGVCEIdx,
        &VCService::getLocalSVCEIdx, &VCService::getNetSVCEIdx, &VCService::computeMExprNetVVCE,
        &VCService::computeMExprNetCGVCE, &VCService::computeNetSVCE,
        &VCService::getCExprLocalCGVCEIdx, &VCService::getCExprNetCGVCEIdx}) {
    check((service.*query)(block, &customizer) < service.getTable().size(), "ids of conditions");
  }
  for (std::string (VCService::*const query)(const KSBlock*, const VCCustomizer*) :
       {&VCService::getMExprLocalVVCEString, &VCService::getMExprLocalCGVCEString,
        &VCService::getMExprNetVVCEString, &VCService::getMExprNetCGVCEString,
        &VCService::getCExprLocalCGVCEString, &VCService::getCExprNetCGVCEString}) {
    check(!(service.*query)(block, &customizer).empty(), "texts of conditions");
  }
  check(!service.getLocalSVCE(block, &customizer) && !service.getNetSVCE(block, &customizer), "S");
  service.initializeConditions(nullptr);
  service.setMExprLocalVVCEString(block, "X");
  service.setMExprLocalCGVCEString(block, "Y");
  const SymbolicExprId x = service.simplify("X");
  check(service.getBoolean(service.OR(x, service.NOT(service.AND(x, x)))), "algebra");
  check(service.simplifyMExpr("~X") == "~X" && service.simplifyCExpr("~X") == "!X", "texts");
  check(service.printMExpr(x) == "X" && service.printCExpr(x) == "X", "printing");
  check(VCService::getInstance() == VCService::getInstance(), "the process-wide service");
  VCService::clean();

  customizer.text = "A +";
  try {
    VCService().getMExprNetVVCEString(block, &customizer);
    check(false, "diagnostic");
  } catch (const msgcore::DiagnosticException& error) {
    check(error.key() == "InlineVarCondExprParseError", "diagnostic");
  }
}

}  // namespace

int main() {
  nodes();
  syntaxTrees();
  textAndNumbers();
  conditions();
  return failures == 0 ? 0 : 1;
}
