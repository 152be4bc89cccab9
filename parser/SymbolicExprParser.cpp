#include "parser/SymbolicExprParser.hpp"

#include <boost/phoenix/core.hpp>
#include <boost/spirit/include/qi_nonterminal.hpp>
#include <boost/spirit/include/qi_parse.hpp>

#include "parser/ExprParser.hpp"
#include "parser/detail/Diagnosis.hpp"
#include "parser/detail/StepWriter.hpp"

namespace KS {

namespace phx = boost::phoenix;
namespace qi = boost::spirit::qi;

SymbolicExprParser::SymbolicExprParser(SymbolicExprTable& aTable, bool aCSyntax)
    : table(aTable), cSyntax(aCSyntax) {}

SymbolicExprId SymbolicExprParser::operator()(const std::string& aText) const {
  // Making a grammar costs as much as parsing a short text. It is never destroyed: hosts parse in
  // destructors of their own statics, too.
  static const auto& grammar = *new Parser::ExprParser<std::string::const_iterator>;
  detail::StepWriter writer;
  std::string::const_iterator stop = aText.begin();
  // Skips white space after the match, too.
  const bool matched =
      qi::phrase_parse(stop, aText.end(), grammar.expression(phx::ref(writer)), qi::ascii::space);
  if (!matched || stop != aText.end()) return invalidSymbolicExprId;
  return writer.written().intern(table, cSyntax);
}

std::optional<SymbolicExprParseError> SymbolicExprParser::diagnose(const std::string& aText) const {
  return detail::diagnose(aText);
}

}  // namespace KS
