#include "tools/QuestionsCli.hpp"

#include <memory>
#include <ostream>

#include "tools/CliOptions.hpp"
#include "tools/Question.hpp"
#include "tools/Vars.hpp"
#include "tools/Verdicts.hpp"
#ifdef KSEXPR_DECIDES
#include "tools/Active.hpp"
#include "tools/Check.hpp"
#include "tools/Cover.hpp"
#include "tools/Diff.hpp"
#include "tools/Why.hpp"
#endif

namespace ksexpr {

namespace {

// What a command line of any question can say.
struct QuestionOptions {
  QuestionRequest request;
  std::string olderPath;  // of "diff"
  std::string name;       // of "uses"
  std::string blockId;    // of "why"
  bool residual = false;  // of "active"
#ifdef KSEXPR_DECIDES
  CheckRequest check;
#endif
};

// Where a question is being asked.
struct Asking {
  const QuestionOptions& options;
  Streams& streams;
  bool& hasFailed;

  void sumUp(const std::string& aSummary) const {
    if (!streams.isQuiet) streams.err << aSummary;
  }

  // Messages of which those that are no warnings fail the answer.
  Question::Tell tell() const {
    return [this](const std::string& message) {
      const bool isWarning = message.compare(0, 9, "warning: ") == 0;
      if (!isWarning) hasFailed = true;
      if (isWarning && streams.isQuiet) return;
      streams.err << message << std::flush;
    };
  }
};

const Choices<Family> families{{"vv", VV}, {"cg", CG}, {"s", S}};
const Choices<Format> formats{
    {"table", Format::Table}, {"json", Format::Json}, {"csv", Format::Csv}};
const Choices<Format> formatsWithoutCsv{{"table", Format::Table}, {"json", Format::Json}};

// Reads the model and answers. `aAnswer` takes the question and the stream for the answer and
// returns a line that sums up.
template <class Answer>
void ask(const Asking& aAsking, const Answer& aAnswer) {
  const QuestionRequest& request = aAsking.options.request;
  const auto model = readModel(request.path, aAsking.streams);
  if (!model) {
    aAsking.hasFailed = true;
    return;
  }
  KS::SymbolicExprTable table;
  const Question question(*model, request, table, aAsking.tell());
  const std::string summary = aAnswer(question, aAsking.streams.out);
  aAsking.sumUp(summary);
}

class QuestionsDefinition {
 public:
  QuestionsDefinition(CLI::App& aApp, Run& aRun, bool& aQuiet)
      : app(aApp), run(aRun), quiet(aQuiet), options(std::make_shared<QuestionOptions>()) {}

  void define();

 private:
  // A question about one model; `aRun` takes an `Asking` and returns an exit status.
  template <class RunQuestion>
  CLI::App* add(const char* aName, const char* aHelp, const Choices<Format>& aFormats,
                RunQuestion aRunQuestion) {
    CLI::App* command = app.add_subcommand(aName, aHelp);
    const auto store = options;
    command
        ->add_option("-D", store->request.values.definitions,
                     "Give a variable a value; may be repeated")
        ->type_name("NAME=EXPR")
        ->allow_extra_args(false);
    command
        ->add_option(
            "--values", store->request.values.files,
            "Read values: a JSON object, or lines NAME=VALUE, from a file or - for standard input; "
            "may be repeated")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command
        ->add_option("--assume", store->request.assumptions,
                     "A condition that holds in every answer; may be repeated")
        ->type_name("EXPR")
        ->allow_extra_args(false);
    addChoice(*command, "--family", "The family that is asked about (default: vv)", families,
              [store](Family family) { store->request.family = family; });
    addChoice(*command, "--form", "The form of conditions (default: m)",
              Choices<bool>{{"m", false}, {"c", true}},
              [store](bool cForm) { store->request.layout.cForm = cForm; });
    addChoice(*command, "--format", "The layout (default: table)", aFormats,
              [store](Format format) { store->request.layout.format = format; });
    addTableOptions(*command, store->request.layout);
    addQuiet(*command, quiet);
    command->callback([&target = run, store, aRunQuestion] {
      target = [store, aRunQuestion](Streams& streams, bool& hasFailed) {
        store->request.layout = store->request.layout.on(streams);
        store->request.values.read = [&streams](const std::string& path) {
          return readWholeFile(path, streams);
        };
        return aRunQuestion(Asking{*store, streams, hasFailed});
      };
    });
    return command;
  }

  void addModel(CLI::App& aCommand) {
    aCommand.add_option("MODEL", options->request.path, modelHelp)->required();
  }

  CLI::App& app;
  Run& run;
  bool& quiet;
  const std::shared_ptr<QuestionOptions> options;
};

#ifdef KSEXPR_DECIDES

int runActive(const Asking& aAsking) {
  ask(aAsking, [&](const Question& question, std::ostream& out) {
    const bool withResiduals =
        aAsking.options.residual || question.getLayout().format == Format::Json;
    return writeActive(question, answerActive(question, withResiduals, aAsking.tell()), out);
  });
  return 0;
}

int runWhy(const Asking& aAsking) {
  ask(aAsking, [&](const Question& question, std::ostream& out) {
    const KSBlock& block = findBlock(question.getModel(), aAsking.options.blockId);
    writeWhy(question, answerWhy(question, block), out);
    return std::string();
  });
  return 0;
}

constexpr int statusOfFinding = 3;

int runCheck(const Asking& aAsking) {
  bool isFailed = false;
  ask(aAsking, [&](const Question& question, std::ostream& out) {
    const CheckRequest& request = aAsking.options.check;
    const CheckResult result = writeCheck(question, request, answerCheck(question, request), out);
    isFailed = result.isFailed;
    return result.summary;
  });
  return isFailed ? statusOfFinding : 0;
}

int runDiff(const Asking& aAsking) {
  const QuestionOptions& options = aAsking.options;
  const auto older = readModel(options.olderPath, aAsking.streams);
  const auto newer = readModel(options.request.path, aAsking.streams);
  if (!older || !newer) {
    aAsking.hasFailed = true;
    return 0;
  }
  KS::SymbolicExprTable table;
  const TypedModel typedOlder(*older, options.request.family, table, aAsking.tell());
  const Question question(*newer, options.request, table, aAsking.tell(), &typedOlder);
  const std::string summary =
      writeDiff(question, answerDiff(typedOlder, question), aAsking.streams.out);
  aAsking.sumUp(summary);
  return 0;
}

int runCover(const Asking& aAsking) {
  ask(aAsking, [](const Question& question, std::ostream& out) {
    return writeCover(question, answerCover(question), out);
  });
  return 0;
}

#else

// Stands for a question that takes proofs.
auto notAvailable(const char* aName) {
  return [aName](const Asking&) {
    requireDecisions(aName);
    return 2;
  };
}
const auto runActive = notAvailable("active");
const auto runWhy = notAvailable("why");
const auto runCheck = notAvailable("check");
const auto runDiff = notAvailable("diff");
const auto runCover = notAvailable("cover");

#endif

int runVars(const Asking& aAsking) {
  ask(aAsking, answerVars);
  return 0;
}

int runUses(const Asking& aAsking) {
  ask(aAsking, [&](const Question& question, std::ostream& out) {
    return answerUses(question, aAsking.options.name, out);
  });
  return 0;
}

void QuestionsDefinition::define() {
  CLI::App* active = add("active", "Answer which blocks of a model are active", formats, runActive);
  addModel(*active);
  active->add_flag("--residual", options->residual,
                   "Show the condition of blocks for which it is open");

  CLI::App* why = add("why", "Answer why a block is on or off, and what would turn it on",
                      formatsWithoutCsv, runWhy);
  addModel(*why);
  why->add_option("--block", options->blockId, "The block")
      ->type_name("ID")
      ->required()
      ->allow_extra_args(false);

  CLI::App* check =
      add("check", "Find blocks that are never or always on, and conditions without effect",
          formats, runCheck);
  addModel(*check);
#ifdef KSEXPR_DECIDES
  check
      ->add_option("--variants", options->check.variants,
                   "A block of whose children one is to be on, or \"all\"; may be repeated")
      ->type_name("ID")
      ->allow_extra_args(false);
  Choices<Finding> findings;
  for (std::size_t i = 0; i < std::size(findingNames); ++i) {
    findings.emplace_back(findingNames[i], static_cast<Finding>(i));
  }
  addChoices<Finding>(*check, "--fail-on", "End with status 3 if there is one of these", findings,
                      [store = options](const std::vector<Finding>& found) {
                        store->check.failOn.insert(found.begin(), found.end());
                      });
#endif

  CLI::App* diff = add("diff", "Answer what changed between two models", formats, runDiff);
  diff->add_option("OLD", options->olderPath, "The old model file, or - for standard input")
      ->required();
  diff->add_option("NEW", options->request.path, "The new model file, or - for standard input")
      ->required();

  addModel(*add("vars", "List the variables of a model", formats, runVars));
  CLI::App* uses = add("uses", "List the blocks that depend on a variable", formats, runUses);
  addModel(*uses);
  uses->add_option("NAME", options->name, "The variable")->required();
  addModel(
      *add("cover", "Find configurations that have every block on and off", formats, runCover));
}

}  // namespace

void defineQuestions(CLI::App& aApp, Run& aRun, bool& aQuiet) {
  QuestionsDefinition(aApp, aRun, aQuiet).define();
}

void requireDecisions([[maybe_unused]] const std::string& aWhat) {
#ifndef KSEXPR_DECIDES
  throw UsageError(aWhat + ": not available, because this ksexpr was built without CaDiCaL");
#endif
}

#ifndef KSEXPR_DECIDES
std::vector<Verdict> familyVerdicts(const Model&, Family) {
  requireDecisions("a verdict");
  return {};
}
#endif

}  // namespace ksexpr
