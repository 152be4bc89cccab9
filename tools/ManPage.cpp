#include <ostream>

#include "base/KSVersion.hpp"
#include "tools/Generate.hpp"

namespace ksexpr {

namespace {

// Text as roff shows it letter by letter, in the middle of a line or at its beginning.
std::string roff(const std::string& aText) {
  std::string out;
  for (const char c : aText) {
    if (out.empty() && (c == '.' || c == '\'')) out += "\\&";
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
  }
  return out;
}

std::string bold(const std::string& aText) { return "\\fB" + roff(aText) + "\\fR"; }

// The letters of a value are words to type or, in capitals, stand for something.
std::string value(const ParameterText& aParameter) {
  if (aParameter.words.empty()) return "\\fI" + roff(aParameter.value) + "\\fR";
  std::string out;
  for (const std::string& word : aParameter.words) {
    out += (out.empty() ? "" : aParameter.takesList ? "," : "|") + bold(word);
  }
  return out;
}

std::string synopsis(const CommandText& aCommand) {
  std::string out = bold("ksexpr " + aCommand.name) + " [\\fIOPTIONS\\fR]";
  for (const ParameterText& argument : aCommand.arguments) {
    const std::string text = value(argument) + (argument.isRepeated ? "..." : "");
    out += ' ' + (argument.isRequired ? text : '[' + text + ']');
  }
  return out;
}

void writeParameter(const ParameterText& aParameter, std::ostream& aOut) {
  aOut << ".TP\n";
  std::string names;
  for (const std::string& name : aParameter.names) {
    names += (names.empty() ? "" : ", ") + bold(name);
  }
  if (!aParameter.value.empty()) names += (names.empty() ? "" : " ") + value(aParameter);
  aOut << names << '\n' << roff(aParameter.help) << ".\n";
}

void writeFooter(const CommandText& aCommand, std::ostream& aOut) {
  if (aCommand.footer.empty()) return;
  aOut << ".PP\n.nf\n";
  std::string line;
  for (const char c : aCommand.footer + '\n') {
    if (c != '\n') {
      line += c;
    } else {
      aOut << roff(line) << '\n';
      line.clear();
    }
  }
  aOut << ".fi\n";
}

void writeCommand(const CommandText& aCommand, std::ostream& aOut) {
  aOut << ".SS " << roff(aCommand.name) << '\n'
       << synopsis(aCommand) << "\n.PP\n"
       << roff(aCommand.help) << ".\n";
  for (const ParameterText& argument : aCommand.arguments) writeParameter(argument, aOut);
  for (const ParameterText& option : aCommand.options) {
    if (!option.isHelp) writeParameter(option, aOut);
  }
  writeFooter(aCommand, aOut);
}

}  // namespace

void writeManPage(const ToolText& aTool, std::ostream& aOut) {
  aOut << ".TH KSEXPR 1 " << libtqKSSymbolicExpr_build_date << " \"ksexpr "
       << libtqKSSymbolicExpr_version << "\" \"User Commands\"\n"
       << ".SH NAME\nksexpr \\- symbolic expressions and variant conditions\n"
       << ".SH SYNOPSIS\n"
       << bold("ksexpr") << " \\fICOMMAND\\fR [\\fIOPTIONS\\fR] [\\fIARGUMENTS\\fR]\n"
       << ".SH DESCRIPTION\n"
       << "Answers the conditions under which the blocks of a model exist, questions about them, "
          "and "
          "what can be asked of single expressions.\n"
       << ".SH OPTIONS\n";
  for (const ParameterText& option : aTool.tool.options) writeParameter(option, aOut);
  writeFooter(aTool.tool, aOut);
  aOut << ".SH COMMANDS\nEach has the option \\fB\\-\\-help\\fR, too.\n";
  for (const CommandText& command : aTool.commands) writeCommand(command, aOut);
  aOut << ".SH EXIT STATUS\n"
          ".TP\n0\nAll was answered.\n"
          ".TP\n1\nSomething could not be answered, read or written.\n"
          ".TP\n2\nThe command line makes no sense.\n"
          ".TP\n3\nThere is a finding on which a check was to fail.\n";
}

}  // namespace ksexpr
