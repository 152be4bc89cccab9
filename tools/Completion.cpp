#include <ostream>

#include "tools/Generate.hpp"

namespace ksexpr {

namespace {

std::string joined(const std::vector<std::string>& aWords) {
  std::string out;
  for (const std::string& word : aWords) out += (out.empty() ? "" : " ") + word;
  return out;
}

// Each of the characters with a backslash before it.
std::string escaped(const std::string& aText, const std::string& aCharacters) {
  std::string out;
  for (const char c : aText) {
    if (aCharacters.find(c) != std::string::npos) out += '\\';
    out += c;
  }
  return out;
}

// As one word of a shell in which nothing but a quote means anything between quotes.
std::string quoted(const std::string& aText) {
  std::string out = "'";
  for (const char c : aText) {
    if (c == '\'') {
      out += "'\\''";
    } else {
      out += c;
    }
  }
  return out + '\'';
}

std::string namesOf(const std::vector<ParameterText>& aOptions) {
  std::vector<std::string> names;
  for (const ParameterText& option : aOptions) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return joined(names);
}

std::string namesOf(const std::vector<CommandText>& aCommands) {
  std::vector<std::string> names;
  names.reserve(aCommands.size());
  for (const CommandText& command : aCommands) names.push_back(command.name);
  return joined(names);
}

bool takesFiles(const CommandText& aCommand) {
  for (const ParameterText& argument : aCommand.arguments) {
    if (argument.takesFile) return true;
  }
  return false;
}

// The arms of a case over a command and the word before the cursor, for options that take values.
void writeBashValues(const CommandText& aCommand, std::ostream& aOut) {
  for (const ParameterText& option : aCommand.options) {
    if (option.value.empty()) continue;
    std::string pattern;
    for (const std::string& name : option.names) {
      pattern += (pattern.empty() ? "" : " | ") + quoted(aCommand.name + ' ' + name);
    }
    aOut << "    " << pattern << ") ";
    if (option.takesFile) aOut << "files=yes ";
    if (!option.words.empty()) aOut << "words=" << quoted(joined(option.words)) << ' ';
    if (option.takesList) aOut << "list=yes ";
    aOut << ";;\n";
  }
}

void writeBashNames(const std::string& aCommand, const std::string& aOptions,
                    const std::string& aOthers, std::ostream& aOut) {
  aOut << "        " << quoted(aCommand)
       << ")\n          case $current in\n            -*) words=" << quoted(aOptions)
       << " ;;\n            *) " << aOthers << " ;;\n          esac ;;\n";
}

std::string zshAction(const ParameterText& aParameter) {
  if (aParameter.takesFile) return "_files";
  if (aParameter.words.empty()) return "()";  // a message would keep options from being completed
  const std::string words = joined(aParameter.words);
  return aParameter.takesList ? "_sequence compadd - " + words : '(' + words + ')';
}

// ":value:action", as _arguments takes it.
std::string zshValue(const ParameterText& aParameter) {
  const std::string name = aParameter.words.empty() ? aParameter.value : "word";
  return ':' + escaped(name, ":\\") + ':' + zshAction(aParameter);
}

void writeZshParameters(const CommandText& aCommand, std::ostream& aOut) {
  for (const ParameterText& option : aCommand.options) {
    for (const std::string& name : option.names) {
      const bool isLong = name.compare(0, 2, "--") == 0;
      const std::string sign = option.value.empty() ? "" : isLong ? "=" : "+";
      aOut << " \\\n        "
           << quoted((option.isRepeated ? "*" : "") + name + sign + '[' +
                     escaped(option.help, "[]:\\") + ']' +
                     (option.value.empty() ? "" : zshValue(option)));
    }
  }
  for (const ParameterText& argument : aCommand.arguments) {
    aOut << " \\\n        " << quoted((argument.isRepeated ? "*" : "") + zshValue(argument));
  }
}

void writeFishOption(const std::string& aWhen, const ParameterText& aOption, std::ostream& aOut) {
  aOut << "complete -c ksexpr -n " << aWhen;
  for (const std::string& name : aOption.names) {
    const bool isLong = name.compare(0, 2, "--") == 0;
    aOut << (isLong ? " -l " + name.substr(2) : " -s " + name.substr(1));
  }
  if (aOption.takesFile) {
    aOut << " -r -F";
  } else if (aOption.takesList) {
    aOut << " -x -a "
         << quoted("(__fish_complete_list , 'string split \" \" \"" + joined(aOption.words) +
                   "\"')");
  } else if (!aOption.value.empty()) {
    aOut << " -x";
    if (!aOption.words.empty()) aOut << " -a " << quoted(joined(aOption.words));
  }
  aOut << " -d " << quoted(escaped(aOption.help, "\\")) << '\n';
}

}  // namespace

void writeBashCompletion(const ToolText& aTool, std::ostream& aOut) {
  aOut << R"(# Completion of ksexpr for bash.
_ksexpr() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command= words= list= files= before= i
  # bash breaks "--name=value" into three words.
  if [[ $current == = ]]; then
    current=
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      command=${COMP_WORDS[i]}
      break
    fi
  done
  case "$command $previous" in
)";
  for (const CommandText& command : aTool.commands) writeBashValues(command, aOut);
  aOut << "    *)\n      case $command in\n";
  writeBashNames("", namesOf(aTool.tool.options), "words=" + quoted(namesOf(aTool.commands)), aOut);
  for (const CommandText& command : aTool.commands) {
    writeBashNames(command.name, namesOf(command.options), takesFiles(command) ? "files=yes" : "",
                   aOut);
  }
  aOut << R"(      esac ;;
  esac
  if [[ $list && $current == *,* ]]; then
    before=${current%,*},
    current=${current##*,}
  fi
  COMPREPLY=()
  if [[ $words ]]; then
    mapfile -t COMPREPLY < <(compgen -P "$before" -W "$words" -- "$current")
  elif [[ $files ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
    compopt -o filenames 2> /dev/null
  fi
}
complete -F _ksexpr ksexpr
)";
}

void writeZshCompletion(const ToolText& aTool, std::ostream& aOut) {
  aOut << R"(#compdef ksexpr
# Completion of ksexpr for zsh.
_ksexpr() {
  local curcontext=$curcontext state line
  typeset -A opt_args
  local -a commands=(
)";
  for (const CommandText& command : aTool.commands) {
    aOut << "    " << quoted(command.name + ':' + escaped(command.help, ":\\")) << '\n';
  }
  aOut << "  )\n  _arguments -C";
  writeZshParameters(aTool.tool, aOut);
  aOut << R"( \
        '1: :->command' '*:: :->arguments'
  case $state in
    command) _describe command commands ;;
    arguments)
      case $line[1] in
)";
  for (const CommandText& command : aTool.commands) {
    aOut << "        " << command.name << ") _arguments";
    writeZshParameters(command, aOut);
    aOut << " ;;\n";
  }
  aOut << "      esac ;;\n  esac\n}\n_ksexpr \"$@\"\n";
}

void writeFishCompletion(const ToolText& aTool, std::ostream& aOut) {
  aOut << "# Completion of ksexpr for fish.\ncomplete -c ksexpr -f\n";
  const std::string isFirst = "__fish_use_subcommand";
  for (const ParameterText& option : aTool.tool.options) writeFishOption(isFirst, option, aOut);
  for (const CommandText& command : aTool.commands) {
    aOut << "complete -c ksexpr -n " << isFirst << " -a " << command.name << " -d "
         << quoted(escaped(command.help, "\\")) << '\n';
    const std::string isGiven = quoted("__fish_seen_subcommand_from " + command.name);
    if (takesFiles(command)) aOut << "complete -c ksexpr -n " << isGiven << " -F\n";
    for (const ParameterText& option : command.options) writeFishOption(isGiven, option, aOut);
  }
}

}  // namespace ksexpr
