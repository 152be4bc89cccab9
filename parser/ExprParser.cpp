#include "parser/ExprParser.hpp"

#include <boost/phoenix/bind.hpp>
#include <boost/phoenix/core.hpp>
#include <boost/phoenix/operator.hpp>
#include <boost/spirit/include/qi.hpp>
#include <string_view>

#include "parser/SymbolicExprParser.hpp"
#include "parser/detail/Real.hpp"
#include "parser/detail/Steps.hpp"

namespace KS::Parser {

namespace phx = boost::phoenix;
namespace qi = boost::spirit::qi;
namespace ascii = boost::spirit::qi::ascii;
using detail::Steps;

const phx::function<negate_expr> negExp{negate_expr()};
const phx::function<not_expr> notExp{not_expr()};
const phx::function<cmp_expr> cmpExp{cmp_expr()};
const phx::function<void_fcn_call_expr> voidFcnCallExp{void_fcn_call_expr()};
const phx::function<modulo_expr> moduloExp{modulo_expr()};
const phx::function<member_val> memberVal{member_val()};

namespace {

template <class Range>
void addName(Steps& aSteps, const Range& aText) {
  aSteps.name({&*aText.begin(), aText.size()});
}

template <class Range>
bool addReal(Steps& aSteps, const Range& aText) {
  const char* const first = &*aText.begin();
  double value = 0.0;
  if (!detail::readReal(first, first + aText.size(), value)) return false;
  aSteps.real(value);
  return true;
}

}  // namespace

template <class Iterator>
ExprParser<Iterator>::ExprParser()
    : ExprParser::base_type(tree), ownSteps(std::make_unique<Steps>()) {
  define(*ownSteps);
}

template <class Iterator>
ExprParser<Iterator>::ExprParser(Steps& aSteps) : ExprParser::base_type(tree) {
  define(aSteps);
}

template <class Iterator>
ExprParser<Iterator>::~ExprParser() = default;

template <class Iterator>
bool ExprParser<Iterator>::open() {
  if (nesting == SymbolicExprParser::maxNesting) {
    nestingExceeded = true;
    return false;
  }
  ++nesting;
  return true;
}

template <class Iterator>
bool ExprParser<Iterator>::close() {
  --nesting;
  return true;
}

template <class Iterator>
void ExprParser<Iterator>::define(Steps& aSteps) {
  using Op = SymbolicOp;
  const auto apply = [&aSteps](Op aOp) {
    return phx::bind(&Steps::operation, phx::ref(aSteps), aOp, std::size_t{0});
  };
  const auto applyTo = [&aSteps](Op aOp, auto aCount) {
    return phx::bind(&Steps::operation, phx::ref(aSteps), aOp, aCount);
  };
  // clang-format off
  expression     = logicalOr.alias();
  logicalOr      = logicalAnd     >> *( ("||" >> logicalAnd)    [apply(Op::Or)] );
  logicalAnd     = bitOr          >> *( ("&&" >> bitOr)         [apply(Op::And)] );
  bitOr          = bitXor         >> *( ('|'  >> bitXor)        [apply(Op::BitOr)] );
  bitXor         = bitAnd         >> *( ('^'  >> bitAnd)        [apply(Op::BitXOr)] );
  bitAnd         = equality       >> *( ('&'  >> equality)      [apply(Op::BitAnd)] );
  equality       = relational     >> *( ("==" >> relational)    [apply(Op::Equal)]
                                      | ("!=" >> relational)    [apply(Op::NotEqual)]
                                      | ("~=" >> relational)    [apply(Op::NotEqual)] );
  relational     = shift          >> *( ("<=" >> shift)         [apply(Op::LessThanEqual)]
                                      | ('<'  >> shift)         [apply(Op::LessThan)]
                                      | (">=" >> shift)         [apply(Op::GreaterThanEqual)]
                                      | ('>'  >> shift)         [apply(Op::GreaterThan)] );
  shift          = additive       >> *( (">>" >> additive)      [apply(Op::ShiftRight)]
                                      | ("<<" >> additive)      [apply(Op::ShiftLeft)] );
  additive       = multiplicative >> *( ('+'  >> multiplicative)[apply(Op::Plus)]
                                      | ('-'  >> multiplicative)[apply(Op::Minus)] );
  multiplicative = unary          >> *( ('*'  >> unary)         [apply(Op::Multiply)]
                                      | ('/'  >> unary)         [apply(Op::Divide)]
                                      | ('%'  >> unary)         [apply(Op::Modulo)] );
  unary          = primary
                 | ('-' >> primary)[apply(Op::UnaryMinus)]
                 | ('+' >> primary)
                 | ('!' >> primary)[apply(Op::Not)]
                 | ('~' >> primary)[apply(Op::BitCompl)];
  // clang-format on

  const qi::real_parser<double, strict_real_policies<double>> real;
  const auto opened = qi::eps(phx::bind(&ExprParser::open, this));
  const auto closed = qi::eps(phx::bind(&ExprParser::close, this));
  using Text = boost::iterator_range<Iterator>;
  // clang-format off
  primary    = qi::raw[real]  [qi::_pass = phx::bind(&addReal<Text>, phx::ref(aSteps), qi::_1)]
             | qi::int_       [phx::bind(&Steps::integer, phx::ref(aSteps), qi::_1)]
             | named
             | ('[' >> opened >> elements >> closed >> ']')[applyTo(Op::ND, qi::_1)]
             | '(' >> opened >> expression >> closed >> ')';
  // What follows the name tells a call, a member access and a plain name apart.
  named      = qi::lexeme[identifier]
               >> (   '(' >> (   qi::lit(')')                                  [apply(Op::FcnCall0U)]
                             |   (opened >> elements >> closed >> ')')[applyTo(Op::FcnCall, qi::_1)] )
                  |   ('.' >> qi::lexeme[identifier])                        [apply(Op::MemberValue)]
                  |   qi::eps );
  elements   = expression[qi::_val = std::size_t{1}] >> *( ',' >> expression[++qi::_val] );
  identifier = qi::raw[(ascii::alpha | '_') >> *(ascii::alnum | '_')]
                              [phx::bind(&addName<Text>, phx::ref(aSteps), qi::_1)];
  // clang-format on
  tree = qi::eps[phx::bind(&Steps::clear, phx::ref(aSteps))] >> expression >>
         qi::eps[qi::_val = phx::bind(&Steps::buildTree, phx::ref(aSteps))];
}

template class ExprParser<std::string::const_iterator>;

}  // namespace KS::Parser
