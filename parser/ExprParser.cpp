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

namespace {

// A function of the writer as a semantic action. It is part of the type, so that it is inlined.
template <auto Member>
struct WriterFunction {
  template <class... Arguments>
  auto operator()(StepWriter& aWriter, const Arguments&... aArguments) const {
    return (aWriter.*Member)(aArguments...);
  }
};
template <auto Member, class... Arguments>
auto call(const Arguments&... aArguments) {
  return phx::function<WriterFunction<Member>>()(qi::_r1, aArguments...);
}

}  // namespace

template <class Iterator>
ExprParser<Iterator>::ExprParser()
    : ExprParser::base_type(tree), writer(std::make_unique<StepWriter>()) {
  using Op = SymbolicOp;
  using Text = boost::iterator_range<Iterator>;
  const auto apply = [](Op aOp) { return call<&StepWriter::apply>(aOp, std::size_t{0}); };
  const auto applyTo = [](Op aOp, auto aCount) { return call<&StepWriter::apply>(aOp, aCount); };
  const auto opened = qi::eps(call<&StepWriter::open>());
  const auto closed = qi::eps(call<&StepWriter::close>());
  const qi::real_parser<double, strict_real_policies<double>> real;

  const auto identifier =
      qi::copy(qi::lexeme[qi::raw[ascii::char_("a-zA-Z_") >> *ascii::char_("0-9a-zA-Z_")]
                                 [call<&StepWriter::name<Text>>(qi::_1)]]);

  // clang-format off
  expression = qi::eps[call<&StepWriter::begin>()]
               >> (   primary(qi::_r1)
                  |   ('-' >> primary(qi::_r1))[apply(Op::UnaryMinus)]
                  |   ('+' >> primary(qi::_r1))
                  |   ('!' >> primary(qi::_r1))[apply(Op::Not)]
                  |   ('~' >> primary(qi::_r1))[apply(Op::BitCompl)]
                  ) % detail::binaryOperators()[call<&StepWriter::infix>(qi::_1)]
               >> qi::eps[call<&StepWriter::end>()];
  // A look at the first character spares names, which are most operands, the trial as a number; one
  // at the character behind spares integers, which are most numbers, the trial as a real one.
  primary    = ( &ascii::char_("-+.0-9iInN")
                 >> (   (qi::int_ >> !ascii::char_(".eE"))
                                     [call<&StepWriter::integer>(qi::_1)]
                    |   qi::raw[real][qi::_pass = call<&StepWriter::real<Text>>(qi::_1)]
                    |   qi::int_     [call<&StepWriter::integer>(qi::_1)] ) )
             // What follows a name tells a call, a member access and a plain name apart.
             | identifier
               >> (   '(' >> (   qi::lit(')')                        [apply(Op::FcnCall0U)]
                             |   (opened >> elements(qi::_r1) >> closed >> ')')
                                                                     [applyTo(Op::FcnCall, qi::_1)] )
                  |   ('.' >> identifier)                            [apply(Op::MemberValue)]
                  |   qi::eps )
             | ('[' >> opened >> elements(qi::_r1) >> closed >> ']')[applyTo(Op::ND, qi::_1)]
             | '(' >> opened >> expression(qi::_r1) >> closed >> ')';
  elements   = expression(qi::_r1)[qi::_val = std::size_t{1}]
               >> *( ',' >> expression(qi::_r1)[++qi::_val] );
  // clang-format on

  tree =
      qi::raw[qi::eps[phx::bind(&StepWriter::clear, writer.get())] >> expression(phx::ref(*writer))]
             [phx::bind(&ExprParser::buildTree, this, qi::_1, qi::_val)];
}

template <class Iterator>
ExprParser<Iterator>::~ExprParser() = default;

// Where the match is followed by more text, what was tried on it may have written steps: they are
// written anew from the matched text alone.
template <class Iterator>
void ExprParser<Iterator>::buildTree(const boost::iterator_range<Iterator>& aText,
                                     expression_ast& aTree) const {
  writer->clear();
  Iterator first = aText.begin();
  qi::phrase_parse(first, aText.end(), expression(phx::ref(*writer)), ascii::space);
  aTree = writer->buildTree();
}

template class ExprParser<std::string::const_iterator>;

}  // namespace KS::Parser
