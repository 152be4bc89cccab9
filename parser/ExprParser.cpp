#include "parser/ExprParser.hpp"

#include <boost/phoenix/bind.hpp>
#include <boost/phoenix/core.hpp>
#include <boost/phoenix/operator.hpp>
#include <boost/spirit/include/qi.hpp>

#include "parser/detail/BinaryOperators.hpp"
#include "parser/detail/Real.hpp"
#include "parser/detail/StepWriter.hpp"

namespace KS::Parser {

namespace phx = boost::phoenix;
namespace qi = boost::spirit::qi;
namespace ascii = boost::spirit::qi::ascii;
using detail::StepWriter;

const phx::function<negate_expr> negExp{negate_expr()};
const phx::function<not_expr> notExp{not_expr()};
const phx::function<cmp_expr> cmpExp{cmp_expr()};
const phx::function<void_fcn_call_expr> voidFcnCallExp{void_fcn_call_expr()};
const phx::function<modulo_expr> moduloExp{modulo_expr()};
const phx::function<member_val> memberVal{member_val()};

template <class Iterator>
ExprParser<Iterator>::ExprParser()
    : ExprParser::base_type(tree), ownWriter(std::make_unique<StepWriter>()) {
  define(*ownWriter);
  tree = qi::raw[qi::eps[phx::bind(&StepWriter::clear, ownWriter.get())] >> expression]
                [phx::bind(&ExprParser::buildTree, this, qi::_1, qi::_val)];
}

template <class Iterator>
ExprParser<Iterator>::ExprParser(StepWriter& aWriter) : ExprParser::base_type(tree) {
  define(aWriter);
}

template <class Iterator>
ExprParser<Iterator>::~ExprParser() = default;

template <class Iterator>
void ExprParser<Iterator>::define(StepWriter& aWriter) {
  using Op = SymbolicOp;
  using Text = boost::iterator_range<Iterator>;
  const auto call = [&aWriter](auto aMember, auto... aArguments) {
    return phx::bind(aMember, &aWriter, aArguments...);
  };
  const auto apply = [&](Op aOp) { return call(&StepWriter::apply, aOp, std::size_t{0}); };
  const auto applyTo = [&](Op aOp, auto aCount) { return call(&StepWriter::apply, aOp, aCount); };
  const auto opened = qi::eps(call(&StepWriter::open));
  const auto closed = qi::eps(call(&StepWriter::close));
  const qi::real_parser<double, strict_real_policies<double>> real;

  const auto identifier = qi::copy(qi::lexeme[qi::raw[(ascii::alpha | '_') >> *(ascii::alnum | '_')]
                                                     [call(&StepWriter::name<Text>, qi::_1)]]);

  // clang-format off
  expression = qi::eps[call(&StepWriter::begin)]
               >> (   primary
                  |   ('-' >> primary)[apply(Op::UnaryMinus)]
                  |   ('+' >> primary)
                  |   ('!' >> primary)[apply(Op::Not)]
                  |   ('~' >> primary)[apply(Op::BitCompl)]
                  ) % detail::binaryOperators()[call(&StepWriter::infix, qi::_1)]
               >> qi::eps[call(&StepWriter::end)];
  primary    = qi::raw[real][qi::_pass = call(&StepWriter::real<Text>, qi::_1)]
             | qi::int_     [call(&StepWriter::integer, qi::_1)]
             // What follows a name tells a call, a member access and a plain name apart.
             | identifier
               >> (   '(' >> (   qi::lit(')')                        [apply(Op::FcnCall0U)]
                             |   (opened >> elements >> closed >> ')')
                                                                     [applyTo(Op::FcnCall, qi::_1)] )
                  |   ('.' >> identifier)                            [apply(Op::MemberValue)]
                  |   qi::eps )
             | ('[' >> opened >> elements >> closed >> ']')[applyTo(Op::ND, qi::_1)]
             | '(' >> opened >> expression >> closed >> ')';
  elements   = expression[qi::_val = std::size_t{1}] >> *( ',' >> expression[++qi::_val] );
  // clang-format on
}

// Where the match is followed by more text, what was tried on it may have written steps: they are
// written anew from the matched text alone.
template <class Iterator>
void ExprParser<Iterator>::buildTree(const boost::iterator_range<Iterator>& aText,
                                     expression_ast& aTree) const {
  ownWriter->clear();
  Iterator first = aText.begin();
  qi::phrase_parse(first, aText.end(), expression, ascii::space);
  aTree = ownWriter->buildTree();
}

template class ExprParser<std::string::const_iterator>;

}  // namespace KS::Parser
