#include "tools/ViewsCli.hpp"

#include <filesystem>
#include <limits>
#include <memory>
#include <ostream>

#include "tools/CliOptions.hpp"
#include "tools/Question.hpp"
#include "tools/Text.hpp"
#include "tools/Tree.hpp"
#ifdef KSEXPR_DECIDES
#include "tools/Page.hpp"
#endif

namespace ksexpr {

namespace {

// What a command line says of a view.
struct ViewOptions {
  QuestionRequest request;
  TreeRequest tree;
  std::string outputPath;
};

using Options = std::shared_ptr<ViewOptions>;

void addFamily(CLI::App& aCommand, const Options& aOptions) {
  const Choices<Family> families{{"vv", VV}, {"cg", CG}, {"s", S}};
  addChoice(aCommand, "--family", "The family that is shown (default: vv)", families,
            [aOptions](Family family) { aOptions->request.family = family; });
}

void addDepth(CLI::App& aCommand, const Options& aOptions) {
  aCommand
      .add_option_function<std::size_t>(
          "--depth", [aOptions](const std::size_t& depth) { aOptions->tree.maxDepth = depth; },
          "How deep blocks are shown; 1 is the outermost ones (default: all)")
      ->type_name("N")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""));
}

void addForm(CLI::App& aCommand, const Options& aOptions) {
  addChoice(aCommand, "--form", "The form of conditions (default: m)",
            Choices<bool>{{"m", false}, {"c", true}},
            [aOptions](bool cForm) { aOptions->tree.cForm = cForm; });
}

// Messages of which those that are no warnings fail the answer.
Question::Tell tellTo(Streams& aStreams, bool& aHasFailed) {
  return [&aStreams, &aHasFailed](const std::string& message) {
    const bool isWarning = message.compare(0, 9, "warning: ") == 0;
    if (!isWarning) aHasFailed = true;
    if (isWarning && aStreams.isQuiet) return;
    aStreams.err << message << std::flush;
  };
}

// Reads the model and shows it: `aShow` takes the conditions.
template <class Show>
void showTree(const ViewOptions& aOptions, Streams& aStreams, bool& aHasFailed, const Show& aShow) {
  const auto model = readModel(aOptions.request.path, aStreams);
  if (!model) {
    aHasFailed = true;
    return;
  }
  KS::SymbolicExprTable table;
  aShow(TypedModel(*model, aOptions.request.family, table, tellTo(aStreams, aHasFailed)));
}

// Throws where an expression is meant to be a model.
void requireNoFile(const std::vector<std::string>& aExpressions) {
  for (const std::string& text : aExpressions) {
    std::error_code error;
    const bool isModel = text.size() > 5 && text.compare(text.size() - 5, 5, ".json") == 0;
    if (!isModel && !std::filesystem::is_regular_file(text, error)) continue;
    throw UsageError("dot: \"" + shortened(text) +
                     "\" is the name of a file; \"ksexpr dot --model " + shortened(text) +
                     "\" draws a model");
  }
}

#ifdef KSEXPR_DECIDES

void writeReport(const ViewOptions& aOptions, Streams& aStreams, bool& aHasFailed) {
  const auto model = readModel(aOptions.request.path, aStreams);
  if (!model) {
    aHasFailed = true;
    return;
  }
  KS::SymbolicExprTable table;
  const Question question(*model, aOptions.request, table, tellTo(aStreams, aHasFailed));
  const std::string page = pageOf(question);
  if (aOptions.outputPath == "-") {
    send(aStreams.out, page);
    if (!aStreams.out.flush()) throw WriteError();
  } else {
    writePage(aOptions.outputPath, page);
  }
  if (aStreams.isQuiet) return;
  aStreams.err << counted(model->blocks.size(), "block") << ", " << counted(page.size(), "byte")
               << '\n';
}

#else

void writeReport(const ViewOptions&, Streams&, bool&) { requireDecisions("report"); }

#endif

}  // namespace

void defineViews(CLI::App& aApp, Run& aRun, bool& aQuiet) {
  const auto options = std::make_shared<ViewOptions>();
  CLI::App* tree = aApp.add_subcommand("tree", "Draw the tree of blocks with their own conditions");
  CLI::App* report =
      aApp.add_subcommand("report", "Write a page about a model that a browser shows on its own");
  for (CLI::App* const command : {tree, report}) {
    command->add_option("MODEL", options->request.path, modelHelp)->required();
    addFamily(*command, options);
    addQuiet(*command, aQuiet);
  }
  addDepth(*tree, options);
  addWidth(*tree, options->request.layout);
  addForm(*tree, options);
  report->add_option("-o", options->outputPath, "The page; \"-\" is standard output")
      ->type_name("FILE.html")
      ->required();
  tree->callback([&aRun, options] {
    aRun = [options](Streams& streams, bool& hasFailed) {
      showTree(*options, streams, hasFailed, [&](const TypedModel& model) {
        options->tree.width = options->request.layout.on(streams).room();
        const std::string summary = writeTree(model, options->tree, streams.out);
        if (!streams.isQuiet) streams.err << summary;
      });
      return 0;
    };
  });
  report->callback([&aRun, options] {
    aRun = [options](Streams& streams, bool& hasFailed) {
      writeReport(*options, streams, hasFailed);
      return 0;
    };
  });
}

void defineDotOfModel(CLI::App& aDot, const Request& aRequest, Run& aRun,
                      const Run& aDrawExpressions) {
  const auto options = std::make_shared<ViewOptions>();
  aDot.add_option("--model", options->request.path, "Draw the blocks of this model file (JSON)")
      ->type_name("FILE")
      ->excludes(aDot.get_option("EXPR"));
  addFamily(aDot, options);
  addDepth(aDot, options);
  aDot.callback([&aRun, &aRequest, options, aDrawExpressions] {
    aRun = [&aRequest, options, aDrawExpressions](Streams& streams, bool& hasFailed) {
      if (options->request.path.empty()) {
        requireNoFile(aRequest.expressions);
        return aDrawExpressions(streams, hasFailed);
      }
      options->tree.cForm = aRequest.to.value_or(aRequest.from) == Form::C;
      showTree(*options, streams, hasFailed,
               [&](const TypedModel& model) { drawTree(model, options->tree, streams.out); });
      return 0;
    };
  });
}

}  // namespace ksexpr
