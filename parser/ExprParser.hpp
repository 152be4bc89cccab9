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

#include "host/KSPlatform.hpp"
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
/// `std::string::const_iterator`.
///
/// The rules synthesise nothing: what they match goes, in interning order, to the writer of steps
/// that they are given. From the steps the start rule builds the tree, and the parser entry interns
/// nodes without one. An alternative that is given up after it wrote steps is never part of a match
/// of a whole text. The ten levels of binary operators are one rule, since a rule per level costs
/// ten calls an operand. All rules but the start rule serve any number of parses at a time.
template <class Iterator>
class ExprParser : public boost::spirit::qi::grammar<Iterator, expression_ast(),
                                                     boost::spirit::qi::ascii::space_type> {
 public:
  ExprParser();
  ExprParser(const ExprParser&) = delete;
  ExprParser& operator=(const ExprParser&) = delete;
  ~ExprParser();

  /// A rule that skips white space between tokens and writes the steps of what it matches.
  using Rule = boost::spirit::qi::rule<Iterator, void(detail::StepWriter&),
                                       boost::spirit::qi::ascii::space_type>;

  /// Operands, with prefix operators that do not stack, joined by binary operators.
  Rule expression;
  /// What a prefix operator applies to.
  Rule primary;

 private:
  void buildTree(const boost::iterator_range<Iterator>& aText, expression_ast& aTree) const;

  std::unique_ptr<detail::StepWriter> writer;  // of the start rule
  boost::spirit::qi::rule<Iterator, expression_ast(), boost::spirit::qi::ascii::space_type> tree;
  boost::spirit::qi::rule<Iterator, std::size_t(detail::StepWriter&),
                          boost::spirit::qi::ascii::space_type>
      elements;
};

extern template class KS_API ExprParser<std::string::const_iterator>;

}  // namespace Parser
}  // namespace KS
