#include "tools/Generate.hpp"

#include <algorithm>
#include <cctype>
#include <ostream>
#include <set>

#include "tools/CliOptions.hpp"

namespace ksexpr {

namespace {

// "m|c" and "never,always" are words to choose from; "FILE" only stands for a value.
bool isWords(const std::string& aTypeName) {
  return std::any_of(aTypeName.begin(), aTypeName.end(),
                     [](unsigned char c) { return std::islower(c) != 0; });
}

std::vector<std::string> splitAt(const std::string& aText, char aSeparator) {
  std::vector<std::string> parts(1);
  for (const char c : aText) {
    if (c == aSeparator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

// Everything else that has no words is the name of a file.
const std::set<std::string> valuesThatAreNoFiles{"EXPR", "ID", "N", "NAME", "NAME=EXPR", "TEXT"};

ParameterText describe(const CLI::Option& aOption) {
  ParameterText text;
  for (const std::string& name : aOption.get_snames()) text.names.push_back('-' + name);
  for (const std::string& name : aOption.get_lnames()) text.names.push_back("--" + name);
  text.help = aOption.get_description();
  text.isRequired = aOption.get_required();
  text.isRepeated = aOption.get_items_expected_max() > 1;
  if (text.names.empty()) {
    text.value = aOption.get_name(true);
  } else if (aOption.get_items_expected_max() > 0) {
    text.value = aOption.get_type_name();
  }
  if (isWords(text.value)) {
    text.takesList = text.value.find('|') == std::string::npos;
    text.words = splitAt(text.value, text.takesList ? ',' : '|');
  } else {
    text.takesFile = !text.value.empty() && valuesThatAreNoFiles.count(text.value) == 0;
  }
  return text;
}

CommandText describeCommand(const CLI::App& aApp) {
  CommandText text;
  text.name = aApp.get_name();
  text.help = aApp.get_description();
  text.footer = aApp.get_footer();
  for (const CLI::Option* const option : aApp.get_options()) {
    if (option->get_group().empty()) continue;
    ParameterText parameter = describe(*option);
    parameter.isHelp = option == aApp.get_help_ptr();
    (parameter.names.empty() ? text.arguments : text.options).push_back(std::move(parameter));
  }
  return text;
}

const Choices<void (*)(const ToolText&, std::ostream&)> writers{{"man", writeManPage},
                                                                {"bash", writeBashCompletion},
                                                                {"zsh", writeZshCompletion},
                                                                {"fish", writeFishCompletion}};

}  // namespace

ToolText describe(const CLI::App& aApp) {
  ToolText text;
  text.tool = describeCommand(aApp);
  const auto isShown = [](const CLI::App* command) { return !command->get_group().empty(); };
  for (const CLI::App* const command : aApp.get_subcommands(isShown)) {
    text.commands.push_back(describeCommand(*command));
  }
  return text;
}

void addGenerate(CLI::App& aApp, std::ostream& aOut) {
  addChoice(aApp, "--generate", "Write the man page or the completion for a shell", writers,
            [&aApp, &aOut](auto write) {
              write(describe(aApp), aOut);
              throw CLI::Success();
            });
  aApp.get_option("--generate")->group("");
}

}  // namespace ksexpr
