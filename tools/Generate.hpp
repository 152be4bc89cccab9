// Texts about the command line, made of its definitions: a man page, and completion for shells.
#pragma once

#include <CLI/CLI.hpp>
#include <iosfwd>
#include <string>
#include <vector>

namespace ksexpr {

/// An option or an argument of a command.
struct ParameterText {
  std::vector<std::string> names;  // "-D", "--from"; none for an argument
  std::string value;               // what stands for its value, such as "FILE"; none for a flag
  std::vector<std::string> words;  // the values that it takes, where there are few
  bool takesList = false;          // several of the words, with commas between
  bool takesFile = false;
  bool isRepeated = false;
  bool isRequired = false;
  bool isHelp = false;
  std::string help;
};

struct CommandText {
  std::string name;
  std::string help;
  std::string footer;
  std::vector<ParameterText> options;
  std::vector<ParameterText> arguments;
};

/// What a command line can say: options without a command, and the commands.
struct ToolText {
  CommandText tool;
  std::vector<CommandText> commands;
};

/// Reads the definitions; hidden options are left out.
ToolText describe(const CLI::App& aApp);

/// Writes the man page, for section 1.
void writeManPage(const ToolText& aTool, std::ostream& aOut);

/// Write a completion file for the shell of that name.
void writeBashCompletion(const ToolText& aTool, std::ostream& aOut);
void writeZshCompletion(const ToolText& aTool, std::ostream& aOut);
void writeFishCompletion(const ToolText& aTool, std::ostream& aOut);

/// Adds a hidden option to the tool that writes one of these to the stream and ends the parsing.
/// All commands are to be defined before the command line is parsed.
void addGenerate(CLI::App& aApp, std::ostream& aOut);

}  // namespace ksexpr
