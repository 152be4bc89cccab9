// The grammar of expression text, as a Spirit Qi grammar.
#pragma once

#include <boost/phoenix/function.hpp>
#include <boost/range/iterator_range_core.hpp>
#include <boost/spirit/include/qi_char_class.hpp>
#include <boost/spirit/include/qi_grammar.hpp>
#include <boost/spirit/include/qi_rule.hpp>
#include <cstddef>
#include <memory>
#include <string>

#include "base/KSApi.hpp"
#include "parser/ExpressionAst.hpp"

namespace KS {

namespace detail {
class StepWriter;
}

namespace Parser {

/// The tree-building functions for semantic actions.
extern KS_API const boost::phoenix::function<negate_expr> negExp;
extern KS_API const boost::phoenix::function<not_expr> notExp;
extern KS_API const boost::phoenix::function<cmp_expr> cmpExp;
extern KS_API const boost::phoenix::function<void_fcn_call_expr> voidFcnCallExp;
extern KS_API const boost::phoenix::function<modulo_expr> moduloExp;
extern KS_API const boost::phoenix::function<member_val> memberVal;

/// The grammar; its start rule synthesises an `expression_ast`. Instantiated for
/// `std::string::const_iterator`. A grammar object serves one parse at a time.
///
/// The rules carry no attributes: what they match goes, in interning order, to a sequence of steps,
/// from which the start rule builds the tree and the parser entry interns nodes without one. An
/// alternative that is given up after it wrote steps is never part of a match of a whole text. The
/// ten levels of binary operators are one rule, since a rule per level costs ten calls an operand.
template <class Iterator>
class ExprParser : public boost::spirit::qi::grammar<Iterator, expression_ast(),
                                                     boost::spirit::qi::ascii::space_type> {
 public:
  /// A grammar with steps of its own.
  ExprParser();
  /// A grammar that tells `aWriter`, which outlives it, what it matches. It builds no tree: it has
  /// the rule `expression` and no start rule.
  explicit ExprParser(detail::StepWriter& aWriter);
  ExprParser(const ExprParser&) = delete;
  ExprParser& operator=(const ExprParser&) = delete;
  ~ExprParser();

  /// A rule that skips white space between tokens.
  using Rule = boost::spirit::qi::rule<Iterator, boost::spirit::qi::ascii::space_type>;

  /// Operands, with prefix operators that do not stack, joined by binary operators.
  Rule expression;
  /// What a prefix operator applies to.
  Rule primary;

 private:
  void define(detail::StepWriter& aWriter);
  void buildTree(const boost::iterator_range<Iterator>& aText, expression_ast& aTree) const;

  std::unique_ptr<detail::StepWriter> ownWriter;
  boost::spirit::qi::rule<Iterator, expression_ast(), boost::spirit::qi::ascii::space_type> tree;
  boost::spirit::qi::rule<Iterator, std::size_t(), boost::spirit::qi::ascii::space_type> elements;
};

extern template class ExprParser<std::string::const_iterator>;

}  // namespace Parser
}  // namespace KS
