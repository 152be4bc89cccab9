#include "tools/Cli.hpp"

#include <chrono>
#include <filesystem>
#include <limits>
#include <optional>
#include <ostream>

#include "base/KSVersion.hpp"
#include "tools/CliOptions.hpp"
#include "tools/Conditions.hpp"
#include "tools/EvalTable.hpp"
#include "tools/Generate.hpp"
#include "tools/Jobs.hpp"
#include "tools/QuestionsCli.hpp"
#include "tools/Report.hpp"
#include "tools/Split.hpp"
#include "tools/Text.hpp"
#include "tools/ViewsCli.hpp"

namespace ksexpr {

namespace {

// How a model is cut.
struct SplitRequest {
  std::string path;
  std::size_t count = 0;
  std::optional<std::string> prefix;
};

// Everything that a command line can say; `run` does it and notes whether an answer has failed.
struct Options {
  Request request;
  ConditionsRequest conditions;
  SplitRequest split;
  Layout layout;
  bool isQuiet = false;
  Run run;
};

void runConditions(const Options& aOptions, Streams& aStreams, bool& aHasFailed) {
  const Layout layout = aOptions.layout.on(aStreams);
  ConditionsRequest request = aOptions.conditions;
  if (!request.style && layout.isOnTerminal && layout.format == Format::Table) {
    request.style = Style::Compact;
  }
  if (request.onlyDead) requireDecisions("conditions --dead");
  if (request.withDecision) requireDecisions("conditions --with decision");
  const bool isJson = layout.format == Format::Json || layout.format == Format::JsonLines;
  if ((request.withDecision || request.withCompact) && !isJson) {
    throw UsageError("conditions --with: only JSON (--format json or jsonl) has these");
  }
  if (request.isRelative && (request.onlyDead || request.withDecision)) {
    throw UsageError("conditions --relative: what is decided is the whole net condition");
  }
  request.withC = layout.cForm;
  request.withCOfCG = isJson;
  if (request.jobs == 0) request.jobs = countCores();
  const auto start = std::chrono::steady_clock::now();
  const auto model = readModel(request.path, aStreams, request.jobs);
  if (!model) {
    aHasFailed = true;
    return;
  }
  // A table is written when all is answered; other reports and a bar would disturb each other.
  ProgressBar bar(aStreams.err, aStreams.errIsTerminal && !aStreams.isQuiet &&
                                    (!aStreams.outIsTerminal || layout.format == Format::Table));
  const auto tell = [&](const std::string& message) {
    aHasFailed = true;
    bar.hide();
    // Answers and messages stay in order where both go to one terminal.
    if (!aStreams.out.flush()) throw WriteError();
    aStreams.err << message << std::flush;
  };
  const ConditionsObserver observer{
      [&bar](std::size_t done, std::size_t total) { bar.show(done, total); }, tell};
  Conditions conditions(*model, request, observer);
  writeReport(conditions, request, layout, aStreams.out);
  conditions.finish();
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  if (!aStreams.isQuiet) aStreams.err << summary(conditions, time.count());
}

const Choices<Form> dialects{{"m", Form::M}, {"c", Form::C}};
const Choices<Form> spellings{{"m", Form::M}, {"c", Form::C}, {"pp", Form::Preprocessor}};

// Whether a command's answer is printed: as an expression, with operators in it, or not at all.
enum class Printed { Expression, Operators, Nothing };

CLI::App* addCommand(CLI::App& aApp, Options& aOptions, const char* aName, const char* aHelp,
                     Command aCommand, Printed aPrinted) {
  CLI::App* command = aApp.add_subcommand(aName, aHelp);
  Request& request = aOptions.request;
  command->add_option("EXPR", request.expressions,
                      "Expressions; without one, every line of standard input is one");
  addChoice(*command, "--from", "The dialect that is read (default: m)", dialects,
            [&request](Form form) { request.from = form; });
  if (aPrinted != Printed::Nothing) {
    addChoice(*command, "--to", "The dialect that is written (default: as read)",
              aPrinted == Printed::Expression ? spellings : dialects,
              [&request](Form form) { request.to = form; });
  }
  addChoice<bool>(*command, "--format",
                  "Lines of text (default), or records: {\"id\": 1, \"text\": EXPR} gives "
                  "{\"id\": 1, \"text\": ANSWER}",
                  {{"text", false}, {"jsonl", true}},
                  [&request](bool asRecords) { request.asRecords = asRecords; });
  addQuiet(*command, aOptions.isQuiet);
  if (aPrinted == Printed::Expression) {
    command->add_flag("--spaces", request.spaces, "Set off logical operators by blanks");
  }
  command->callback([&aOptions, aCommand] {
    aOptions.run = [&aOptions, aCommand](Streams& streams, bool& hasFailed) {
      Command asked = aCommand;
      if (aOptions.request.explain) asked.manyLines = asked.isAboutTable = true;
      answerAll(asked, aOptions.request, streams, hasFailed);
      return 0;
    };
  });
  return command;
}

void defineExpressionCommands(CLI::App& aApp, Options& aOptions) {
  Request& request = aOptions.request;
  addCommand(aApp, aOptions, "print", "Parse and print", {answerPrint}, Printed::Expression);

  CLI::App* simplify = addCommand(aApp, aOptions, "simplify", "Simplify to the canonical form",
                                  {answerSimplify}, Printed::Expression);
  simplify->add_option("--max-passes", request.maxPasses, "The most passes to run (default: 10)")
      ->type_name("N")
      ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""));
  simplify->add_flag("--passes", request.passes, "Put the number of passes and a tab before");
  simplify->add_flag("--explain", request.explain,
                     "Print input, the result of every pass and what changed; the answer last");

  CLI::App* eval =
      addCommand(aApp, aOptions, "eval", "Evaluate to numbers", {answerEval}, Printed::Nothing);
  eval->add_option("--values", request.valuesPath,
                   "A table (CSV) of values: a header of names, a row per configuration; - for "
                   "standard input")
      ->type_name("FILE");
  for (CLI::App* const command : {simplify, eval}) {
    command
        ->add_option("-D", request.bindings,
                     "Bind a symbol to an expression, or a member to a value; may be repeated")
        ->type_name("NAME=EXPR")
        ->allow_extra_args(false);
  }
  eval->callback([&aOptions] {
    aOptions.run = [&aOptions](Streams& streams, bool& hasFailed) {
      if (!aOptions.request.valuesPath.empty() && aOptions.request.asRecords) {
        throw UsageError("eval --values: the answers are CSV, no records");
      }
      if (aOptions.request.valuesPath.empty()) {
        answerAll({answerEval}, aOptions.request, streams, hasFailed);
      } else {
        answerTable(aOptions.request, streams, hasFailed);
      }
      return 0;
    };
  });

  CLI::App* convert =
      addCommand(aApp, aOptions, "convert",
                 "Convert to the other dialect: function calls to operators or back",
                 {answerConvert}, Printed::Expression);
  convert->get_option("--to")->description("The dialect that is written (default: the other one)");
  convert->parse_complete_callback([&request] {
    if (!request.to) request.to = request.from == Form::M ? Form::C : Form::M;
  });

  addCommand(aApp, aOptions, "cast-int", "Turn real numbers into integers", {answerCastInt},
             Printed::Expression);
  addCommand(aApp, aOptions, "factor", "Factor divisions out", {answerFactor}, Printed::Expression);
  addCommand(aApp, aOptions, "symbols", "List the symbols", {answerSymbols}, Printed::Nothing);
  addCommand(aApp, aOptions, "dump", "List the nodes: id, kind, class, inputs, payload",
             {answerDump, true, true}, Printed::Nothing);
  CLI::App* dot = addCommand(aApp, aOptions, "dot", "Draw the expression, or a model, for Graphviz",
                             {answerDot, false, true}, Printed::Operators);
  defineDotOfModel(*dot, request, aOptions.run, [&request](Streams& streams, bool& hasFailed) {
    answerAll({answerDot, false, true}, request, streams, hasFailed);
    return 0;
  });
}

void defineConditions(CLI::App& aApp, Options& aOptions) {
  CLI::App* command = aApp.add_subcommand(
      "conditions", "Answer the local and net conditions of every block of a model file");
  ConditionsRequest& request = aOptions.conditions;
  command->add_option("MODEL", request.path, modelHelp)->required();
  addChoices<Family>(*command, "--family", "The families to answer (default: all)",
                     {{"vv", VV}, {"cg", CG}, {"s", S}},
                     [&request](const std::vector<Family>& families) {
                       request.families = {};
                       for (const Family family : families) request.families[family] = true;
                     });
  command
      ->add_option("--block", request.blockIds,
                   "A block to answer, or a pattern of ids such as \"Pump*\"; may be repeated")
      ->type_name("ID")
      ->allow_extra_args(false);
  CLI::Option* const under =
      command->add_option("--under", request.underId, "Answer only this block and those below it")
          ->type_name("ID");
  command
      ->add_flag("--relative", request.isRelative,
                 "Show net conditions below the block of --under: without its own and those above")
      ->needs(under);
  addChoice<Style>(
      *command, "--style",
      "The style of conditions (default: compact for a table on a terminal, else "
      "canonical)",
      {{"canonical", Style::Canonical}, {"compact", Style::Compact}, {"typed", Style::Typed}},
      [&request](Style style) { request.style = style; });
  addChoice(*command, "--form", "The form of tables and CSV (default: m)", dialects,
            [&aOptions](Form form) { aOptions.layout.cForm = form == Form::C; });
  addChoice<Format>(*command, "--format", "The layout (default: table)",
                    {{"table", Format::Table},
                     {"json", Format::Json},
                     {"jsonl", Format::JsonLines},
                     {"csv", Format::Csv}},
                    [&aOptions](Format format) { aOptions.layout.format = format; });
  command->add_flag("--dead", request.onlyDead,
                    "List only blocks with a net condition that is proven never to hold");
  addChoices<bool ConditionsRequest::*>(
      *command, "--with", "What JSON has in addition",
      {{"decision", &ConditionsRequest::withDecision},
       {"compact", &ConditionsRequest::withCompact}},
      [&request](const std::vector<bool ConditionsRequest::*>& members) {
        for (const auto member : members) request.*member = true;
      });
  command
      ->add_option("--jobs", request.jobs,
                   "How many blocks are answered side by side (default: the cores)")
      ->type_name("N")
      ->check(CLI::Range(1, 256).description(""));
  addTableOptions(*command, aOptions.layout);
  addQuiet(*command, aOptions.isQuiet);
  command->callback([&aOptions] {
    aOptions.run = [&aOptions](Streams& streams, bool& hasFailed) {
      runConditions(aOptions, streams, hasFailed);
      return 0;
    };
  });
}

// The parts of a model are named after its file.
std::string prefixOf(const std::string& aPath) {
  return aPath == "-" ? "part-" : std::filesystem::path(aPath).stem().string() + '-';
}

void defineSplit(CLI::App& aApp, Options& aOptions) {
  CLI::App* command = aApp.add_subcommand(
      "split", "Cut a model into models that answer by themselves; print the names of their files");
  SplitRequest& request = aOptions.split;
  command->add_option("MODEL", request.path, modelHelp)->required();
  command->add_option("--parts", request.count, "How many models to make")
      ->type_name("N")
      ->required()
      ->check(CLI::Range(1, 1000000).description(""));
  command
      ->add_option("--prefix", request.prefix,
                   "What the names of the files begin with, before the number and .json (default: "
                   "the name of the model's file and -)")
      ->type_name("PATH");
  addQuiet(*command, aOptions.isQuiet);
  command->callback([&aOptions] {
    aOptions.run = [&request = aOptions.split](Streams& streams, bool& hasFailed) {
      const auto model = readModel(request.path, streams);
      hasFailed = !model;
      if (model) {
        splitModel(*model, request.count, request.prefix.value_or(prefixOf(request.path)), streams);
      }
      return 0;
    };
  });
}

// The arguments as CLI11 takes them: the last one first. It would take the expression "[1,2]" for a
// list of two arguments; a blank at the end keeps it whole.
std::vector<std::string> forCLI11(const std::vector<std::string>& aArguments) {
  std::vector<std::string> out(aArguments.rbegin(), aArguments.rend());
  if (!out.empty() && out.back() == "conditions") return out;
  for (std::string& argument : out) {
    if (!argument.empty() && argument.front() == '[' && argument.back() == ']') argument += ' ';
  }
  return out;
}

std::vector<std::string_view> viewsOf(const std::vector<std::string>& aTexts) {
  return {aTexts.begin(), aTexts.end()};
}

// Words that nothing takes; of a command's options, the ones that may have been meant are named.
std::string extraWords(const CLI::App& aApp) {
  const auto commands = aApp.get_subcommands();
  const CLI::App& command = commands.empty() ? aApp : *commands.front();
  std::vector<std::string> names;
  for (const CLI::Option* const option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  std::string text;
  for (const std::string& word : command.remaining()) {
    const std::string option = word.substr(0, word.find('='));
    text += (text.empty() ? "" : "\n") + std::string("not expected: ") + shortened(word);
    if (word.compare(0, 2, "--") == 0) text += didYouMean(option, viewsOf(names), 1);
  }
  return text;
}

// CLI11 would not say which word it does not know, nor which one is like it.
std::string whatIsWrong(const CLI::ParseError& aError, const CLI::App& aApp,
                        const std::vector<std::string>& aArguments) {
  if (aApp.get_subcommands().empty() && !aArguments.empty() && aArguments[0][0] != '-') {
    std::vector<std::string> commands;
    for (const CLI::App* const command : aApp.get_subcommands({})) {
      commands.push_back(command->get_name());
    }
    return "no command \"" + shortened(aArguments[0]) + '"' +
           didYouMean(aArguments[0], viewsOf(commands), 1) + "\nSee ksexpr --help.";
  }
  std::string text;
  if (dynamic_cast<const CLI::ExtrasError*>(&aError) != nullptr) text = extraWords(aApp);
  if (text.empty()) text = shortened(aError.what());
  return text + "\nRun with --help for more information.";
}

int parseAndRun(const std::vector<std::string>& aArguments, Streams& aStreams, bool& aHasFailed) {
  Options options;
  CLI::App app("Symbolic expressions and variant conditions", "ksexpr");
  app.set_version_flag("--version", std::string("ksexpr ") + libtqKSSymbolicExpr_version);
  app.require_subcommand(1);
  defineExpressionCommands(app, options);
  defineConditions(app, options);
  defineSplit(app, options);
  defineQuestions(app, options.run, options.isQuiet);
  defineViews(app, options.run, options.isQuiet);
  addGenerate(app, aStreams.out);
  try {
    app.parse(forCLI11(aArguments));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      app.exit(error, aStreams.out, aStreams.err);
      if (!aStreams.out.flush()) throw WriteError();
      return 0;
    }
    throw UsageError(whatIsWrong(error, app, aArguments));
  }
  aStreams.isQuiet = options.isQuiet;
  return options.run(aStreams, aHasFailed);
}

}  // namespace

int runTool(const std::vector<std::string>& aArguments, Streams aStreams) {
  bool hasFailed = false;
  try {
    const int status = parseAndRun(aArguments, aStreams, hasFailed);
    return hasFailed ? 1 : status;
  } catch (const WriteError& error) {
    if (error.isClosedPipe()) return hasFailed ? 1 : 0;
    aStreams.err << "ksexpr: " << error.what() << '\n';
  } catch (const UsageError& error) {
    aStreams.err << error.what() << '\n';
    return 2;
  } catch (const AnswerError& error) {
    aStreams.err << "ksexpr: " << error.what() << '\n';
  } catch (const std::exception& error) {
    aStreams.err << "ksexpr: " << shortened(error.what()) << '\n';
  } catch (...) {
    aStreams.err << "ksexpr: the host reports an error\n";
  }
  return 1;
}

}  // namespace ksexpr
