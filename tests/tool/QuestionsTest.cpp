// Questions about a model: values and where they come from, formats, exit statuses, messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tool/ModelFile.hpp"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

const char* const pumps = R"({"blocks": [
{"id": "Top", "parent": null, "VV": "Mains == 1 || Mains == 3", "CG": "Other"},
{"id": "Drive", "parent": "Top", "VV": "Power > 20 && Site.remote && ~Debug"},
{"id": "Arm", "parent": "Top", "VV": "ARCH == arm"},
{"id": "Mips", "parent": "Top", "VV": "ARCH == mips && bitand(Flags, 1) ~= 0"},
{"id": "Dead", "parent": "Drive", "VV": "Debug"}],
"variables": {"Mains": {"values": [0, 1, 3]}, "ARCH": {"values": ["arm", "mips"]},
              "Power": {"integer": true, "min": 0, "max": 100}, "Debug": {"boolean": true}}})";

class KsExprQuestions : public ModelFile {
 protected:
  KsExprQuestions() { write(pumps); }

  static Outcome ask(std::vector<std::string> aArguments) {
    aArguments.insert(aArguments.begin() + 1, "model.json");
    return run(aArguments);
  }
  // The states of the blocks, a letter each.
  static std::string states(const std::vector<std::string>& aOptions) {
    std::vector<std::string> arguments{"active", "--format", "json"};
    arguments.insert(arguments.end(), aOptions.begin(), aOptions.end());
    std::string found;
    for (const json& entry : json::parse(ask(arguments).out)) {
      found += entry["state"].get<std::string>()[0];
    }
    return found;
  }
  static void writeValues(const std::string& aText) {
    std::ofstream("values", std::ios::binary) << aText;
  }
};

#ifdef KSEXPR_DECIDES

TEST_F(KsExprQuestions, ValuesComeFromDefinitionsAndFiles) {
  const std::vector<std::string> file{"--values", "values"};
  struct Row {
    std::vector<std::string> options;
    std::string values;
    std::string states;  // of Top, Drive, Arm, Mips, Dead
  };
  const Row rows[] = {
      {{}, "", "ooooi"},
      {{"-D", "Mains=2+1"}, "", "aoooi"},
      {{"-D", "Mains=3", "-D", "ARCH=arm"}, "", "aoaii"},
      {{"-D", "Mains = bitor(1, 2)", "-D", "Site . remote=1", "-D", "Power=21", "-D",
        "Debug=false"},
       "",
       "aaooi"},
      {{"-D", "Mains=0"}, "", "iiiii"},
      {{"--assume", "Power < 5"}, "", "oiooi"},
      {{"--assume", "Mains ~= 0 && ARCH ~= mips"}, "", "aoaii"},
      {file, R"({"Mains": 3, "ARCH": "mips", "Debug": true, "none": "x", "more": [1]})", "aiioi"},
      {file, "\n# comment\n Mains = 0x3 \r\nARCH=\"arm\"\nDebug=n\nSite.remote=y\nPower=2.5e1\n",
       "aaaii"},
      {file, "Mains=1\nMains=3\n# Site.remote is not set\n# Mains is not set at all\nNone=m",
       "aiooi"},
      {file, "export Mains=1 # the first\nARCH=arm\t# the second\n", "aoaii"},
      {{"-D", "Mains=3", "--values", "values"}, "Mains=0", "aoooi"},
  };
  for (const Row& row : rows) {
    writeValues(row.values);
    EXPECT_EQ(states(row.options), row.states) << row.values << testing::PrintToString(row.options);
  }
}

TEST_F(KsExprQuestions, TellsWhatIsWrongWithValues) {
  struct Row {
    std::vector<std::string> options;
    std::string values;
    int status;
    std::string message;
  };
  const std::vector<std::string> file{"--values", "values"};
  const Row rows[] = {
      {{"-D", "Mains"}, "", 2, "-D Mains: expected NAME=EXPR"},
      {{"-D", "1=2"}, "", 2, "-D 1=2: expected NAME=EXPR"},
      {{"-D", "Mains=1 +"}, "", 2, "<-D Mains>:1:4: expected an operand"},
      {{"-D", "Mains=1", "-D", "Mains=1"}, "", 2, "-D Mains: bound twice"},
      {{"-D", "Mains=2"}, "", 1, "ksexpr: -D Mains is one of 0, 1, 3, not 2"},
      {{"-D", "Power=0.5"}, "", 1, "ksexpr: -D Power is whole, 0 to 100, not 0.5"},
      {{"-D", "Power=101"}, "", 1, "ksexpr: -D Power is whole, 0 to 100, not 101"},
      {{"-D", "Debug=2"}, "", 1, "ksexpr: -D Debug is true or false, not 2"},
      {{"-D", "Power=arm"}, "", 1, "ksexpr: -D Power is whole, 0 to 100, not arm"},
      {{"-D", "Mains=[1,3]"}, "", 1, "expected one value"},
      {{"-D", "Mains=x"}, "", 1, "the symbol 'x' has no value"},
      {{"-D", "Mians=1"},
       "",
       0,
       "warning: -D Mians: the model has no such variable; did you mean \"Mains\"?\n"},
      {{"-D", "Other=1"}, "", 0, "5 blocks: "},  // of another family
      {{"--assume", "Main == 1"},
       "",
       0,
       "warning: --assume: the model has no variable \"Main\"; did"},
      {{"--assume", "("}, "", 2, "<--assume>:1:2: expected"},
      {{"--assume", "Mains == 2"},
       "",
       1,
       "nothing satisfies the constraints together with the val"},
      {{"--assume", "Mains > Power", "-D", "Power=50"},
       "",
       1,
       "values: Mains > Power, Power == 50"},
      {file, "A\n", 1, "values:1: expected NAME=VALUE\n"},
      {file, "\nMains=m", 1, "values:2: no value for Mains: m is neither a number nor a constant"},
      {file, "Mains=7", 1, "values:1: Mains is one of 0, 1, 3, not 7\n"},
      {file, "{\"Mains\": \"m\"}", 1, "values: no value for Mains: \"m\" is neither"},
      {file, "{\"Mains\": ", 1, "values:1:11: no JSON"},
      {file, "a=1\nb=x\n", 0, "warning: values: 2 names that the model does not know\n5 blocks: "},
      {{"--values", "none"}, "", 1, "ksexpr: none: cannot read: No such file"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.values + testing::PrintToString(row.options));
    writeValues(row.values);
    std::vector<std::string> arguments{"active"};
    arguments.insert(arguments.end(), row.options.begin(), row.options.end());
    const Outcome found = ask(arguments);
    EXPECT_THAT(found.err, HasSubstr(row.message));
    EXPECT_EQ(found.status, row.status);
  }
}

TEST_F(KsExprQuestions, EveryFormat) {
  EXPECT_EQ(ask({"active", "-D", "Mains=3", "-D", "Power=30", "--residual"}).out,
            "BLOCK     STATE     RESIDUAL\n"
            "Top       active    \n"
            "  Drive   open      ~Debug && Site.remote\n"
            "  Arm     open      ARCH == arm\n"
            "  Mips    open      ARCH == mips && bitand(Flags,1) ~= 0\n"
            "    Dead  inactive  \n");
  EXPECT_EQ(ask({"active", "-D", "Mains=3", "--residual", "--format", "csv", "--form", "c"}).out,
            "block,parent,state,residual\r\nTop,,active,\r\n"
            "Drive,Top,open,!Debug && Power > 20 && Site_remote\r\nArm,Top,open,ARCH == arm\r\n"
            "Mips,Top,open,ARCH == mips && (Flags & 1) != 0\r\nDead,Drive,inactive,false\r\n");
  EXPECT_EQ(ask({"why", "--block", "Drive", "-D", "Mains=0", "-D", "Power=50"}).out,
            "BLOCK    CONDITION                            VALUE\n"
            "Top      Mains == 1 || Mains == 3             fails: Mains == 1, Mains == 3\n"
            "  Drive  Power > 20 && Site.remote && ~Debug  open\n"
            "Drive is inactive\n"
            "It would be on with Mains=3, and Site.remote=true Debug=false for what has no value; "
            "no fewer changes do\n");
  EXPECT_EQ(ask({"check"}).out,
            "BLOCK  LINE  VERDICT  BECAUSE\n"
            "Dead   6     never    Power > 20 && Site.remote && ~Debug (Drive), Debug (Dead)\n");
  EXPECT_EQ(json::parse(ask({"check", "--format", "json"}).out), json::parse(R"([
    {"block": "Dead", "verdict": "never", "line": 6, "inherited": false, "terms": [], "because": [
     {"block": "Drive", "condition": "Power > 20 && Site.remote && ~Debug"},
     {"block": "Dead", "condition": "Debug"}]}])"));
  const Outcome cover = ask({"cover", "--format", "csv"});
  EXPECT_THAT(cover.out, StartsWith("Mains,Power,Site.remote,Debug,ARCH,Flags\r\n"));
  EXPECT_THAT(cover.err, HasSubstr("; 1 block never on, 0 always, 0 unknown\n"));
}

TEST_F(KsExprQuestions, FindingsFailTheCheckWhereThatIsAskedFor) {
  EXPECT_EQ(ask({"check", "--fail-on", "always,implied,gap"}).status, 0);
  EXPECT_EQ(ask({"check", "--fail-on", "always,never"}).status, 3);
  EXPECT_EQ(ask({"check", "--fail-on", "gap", "--variants", "Top"}).status, 3);
  EXPECT_EQ(ask({"check", "--fail-on", "sometimes"}).status, 2);
  const Outcome noBlock = ask({"check", "--variants", "top"});
  EXPECT_EQ(noBlock.status, 1);
  EXPECT_EQ(noBlock.err, "ksexpr: model.json: no block \"top\"; did you mean \"Top\"?\n");
  EXPECT_EQ(ask({"why", "--block", "Drve"}).err,
            "ksexpr: model.json: no block \"Drve\"; did you mean \"Drive\"?\n");
}

// A term that no witness is found for is told, and nothing is claimed.
TEST_F(KsExprQuestions, WhatIsNotProvenIsUnknown) {
  write(modelOf({blockOf("a", "null", ", \"VV\": \"x * x == 2\""),
                 blockOf("b", "\"a\"", ", \"VV\": \"(\""), blockOf("c", "\"b\"")}));
  const Outcome found = ask({"check", "--format", "json", "--fail-on", "unknown"});
  EXPECT_EQ(found.status, 1);
  EXPECT_EQ(json::parse(found.out), json::parse(R"([{"block": "a", "verdict": "unknown", "line": 2,
      "because": [], "inherited": false, "terms": ["x * x"]}])"));
  EXPECT_THAT(found.err, HasSubstr("model.json:3: block \"b\", VV, column 2: expected"));
  EXPECT_THAT(found.err,
              HasSubstr("model.json: 1 block has no answer, because the condition of an"));
  EXPECT_EQ(json::parse(ask({"active", "--format", "json"}).out)[2], json::parse(R"(
      {"block": "c", "parent": "b", "state": null, "residual": null})"));
}

// What values leave is not decided by `active`, but by `why`.
TEST_F(KsExprQuestions, ActiveEvaluates) {
  write(modelOf({blockOf("a", "null", ", \"VV\": \"A || N == 1\""),
                 blockOf("b", "\"a\"", ", \"VV\": \"N == 2\""),
                 blockOf("c", "\"b\"", ", \"VV\": \"N > 2\"")}));
  EXPECT_EQ(states({"-D", "A=0"}), "ooi");  // "c" can never be on, whatever the values
  EXPECT_EQ(states({"-D", "A=1"}), "aoi");
  EXPECT_EQ(states({"-D", "A=0", "-D", "N=3"}), "iii");
  EXPECT_EQ(json::parse(ask({"why", "--block", "b", "-D", "A=0", "--format", "json"}).out)["state"],
            "inactive");
}

// What is assumed says of what kind a variable is, and may bring variables of its own, however many
// the model has.
TEST_F(KsExprQuestions, AssumptionsHaveVariables) {
  std::string condition = "X";
  for (int count = 1; count < 18; ++count) {
    write(modelOf({blockOf("a", "null", ", \"VV\": \"" + condition + "\"")}));
    EXPECT_EQ(states({"-D", "X=1", "--assume", "E || F"}), "a") << count;
    EXPECT_EQ(states({"-D", "X=6", "--assume", "X > 5"}), "a") << count;
    condition += " || V" + std::to_string(count);
  }
  write(modelOf({blockOf("a", "null", ", \"VV\": \"X\"")}));
  const Outcome broken = ask({"active", "-D", "X=1", "-D", "E=3", "--assume", "X == E"});
  EXPECT_EQ(broken.status, 1);
  EXPECT_THAT(broken.err, HasSubstr("together with the values: X == E, X == 1, E == 3\n"));
  const Outcome why = ask({"why", "--block", "a", "-D", "X=1", "--assume", "X == 3"});
  EXPECT_THAT(why.out, HasSubstr("a is inactive\nNo block is on, because these exclude each other: "
                                 "X == 3, X == 1\nIt would be on with X=3; no fewer changes do\n"));
}

// A variable that only the older model has is of the kind that it has there.
TEST_F(KsExprQuestions, DifferencesOfVariablesThatAreGone) {
  const auto changed = [](const std::string& older, const std::string& newer,
                          const std::vector<std::string>& options) {
    write(modelOf({blockOf("a", "null", ", \"VV\": \"" + older + "\"")}));
    std::ofstream("new.json") << modelOf({blockOf("a", "null", ", \"VV\": \"" + newer + "\"")});
    std::vector<std::string> arguments{"diff", "new.json", "--format", "json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return json::parse(ask(arguments).out)[0];
  };
  EXPECT_EQ(changed("V > 5 && X", "X", {"-D", "V=6"})["change"], "spelling");
  EXPECT_EQ(changed("V > 5 && X", "X", {})["witness"], json::parse("{\"X\": true, \"V\": 5}"));
  const json dead = changed("V > 5 && X", "X && 1 == 2", {});
  EXPECT_EQ(dead["newlyNever"], true);
  EXPECT_EQ(dead["witness"], json::parse("{\"X\": true, \"V\": 6}"));
}

TEST_F(KsExprQuestions, AListIsNoTruthValue) {
  write(modelOf({blockOf("a", "null", ", \"VV\": \"[P,2]\""), blockOf("b", "\"a\""),
                 blockOf("c", "null", ", \"VV\": \"A && [1,2]\""),
                 blockOf("d", "\"c\"", ", \"VV\": \"D\"")}));
  const Outcome found = ask({"active", "--format", "csv", "-D", "P=1", "-D", "A=1"});
  EXPECT_EQ(found.status, 1);
  EXPECT_EQ(found.out, "block,parent,state\r\na,,?\r\nb,a,?\r\nc,,?\r\nd,c,?\r\n");
  EXPECT_THAT(found.err, HasSubstr("model.json:2: block \"a\", VV: "));
  EXPECT_THAT(found.err, HasSubstr("model.json:4: block \"c\", VV: "));
  EXPECT_THAT(found.err, HasSubstr("4 blocks: 0 active, 0 inactive, 0 open\n"));
}

TEST_F(KsExprQuestions, DeadConditionsAreProven) {
  write(modelOf({blockOf("a", "null", ", \"VV\": \"M == 1 && N == M\""),
                 blockOf("b", "\"a\"", ", \"VV\": \"N == 2\"")}));
  EXPECT_EQ(conditions(pumps, {"--dead", "--family", "vv", "--format", "csv"}).out,
            "block,parent,vv_local,vv_net\r\nDead,Drive,Debug,false\r\n");
  const Outcome found =
      conditions(modelOf({blockOf("a", "null", ", \"VV\": \"M == 1 && N == M\""),
                          blockOf("b", "\"a\"", ", \"VV\": \"N == 2\"")}),
                 {"--dead", "--family", "vv", "--format", "json", "--with", "decision,compact"});
  EXPECT_EQ(json::parse(found.out), json::parse(R"([{"block": "b", "parent": "a", "line": 3,
      "vv": {"local": "N == 2", "net": "M == 1 && M == N && N == 2", "decision": "never",
             "compact": "M == 1 && M == N && N == 2"}}])"));
  EXPECT_EQ(run({"conditions", "model.json", "--with", "decision"}).status, 2);
}

#endif

TEST_F(KsExprQuestions, VariablesAndTheirUses) {
  const json variables = json::parse(ask({"vars", "--format", "json"}).out);
  ASSERT_EQ(variables.size(), 6U);
  EXPECT_EQ(variables[0], json::parse(R"({"name": "Mains", "kind": "integer", "domain": [0, 1, 3],
      "constants": [1, 3], "compared": [], "own": 1, "all": 5})"));
  EXPECT_EQ(variables[1], json::parse(R"({"name": "Power", "kind": "integer", "domain": null,
      "constants": [20], "compared": [], "own": 1, "all": 2, "min": 0, "max": 100})"));
  EXPECT_EQ(variables[2]["kind"], "boolean");
  EXPECT_EQ(variables[3], json::parse(R"({"name": "Debug", "kind": "boolean",
      "domain": [false, true], "constants": [], "compared": [], "own": 2, "all": 2})"));
  EXPECT_EQ(variables[4]["constants"], json::parse(R"(["arm", "mips"])"));
  EXPECT_EQ(variables[5]["kind"], "real");
  EXPECT_EQ(ask({"uses", "Debug"}).out,
            "BLOCK     CONDITION\n"
            "  Drive   Power > 20 && Site.remote && ~Debug\n"
            "    Dead  Debug\n");
  EXPECT_EQ(json::parse(ask({"uses", "Site . remote", "--format", "json"}).out),
            json::parse(R"([{"block": "Drive", "own": true}, {"block": "Dead", "own": false}])"));
  const Outcome unknown = ask({"uses", "Site.remot"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.err,
            "ksexpr: model.json: no variable \"Site.remot\"; did you mean \"Site.remote\"?\n");
}

TEST_F(KsExprQuestions, TablesOfValues) {
  writeValues("N,\"S.m\",L\r\n1,2,\"[1,\n2]\"\n\n\"3\",,\"bitand(6,\"\"\"\")\"");
  EXPECT_THAT(run({"eval", "--values", "values", "N"}).err,
              StartsWith("ksexpr: values:5: field 3: expected an operand"));
  writeValues("\xEF\xBB\xBFN,\"S.m\",L\r\n1,2,\"[1,\n2]\"\n\n\"3\",,\"bitor(4,1)\"\n");
  const Outcome found =
      run({"eval", "--values", "values", "-D", "K=N+1", "K", "L*N", "S.m", "a,\"b"});
  EXPECT_EQ(found.status, 1);
  EXPECT_EQ(found.out, "K,L*N,S.m,\"a,\"\"b\"\r\n2,1 2,2,\r\n4,15,,\r\n");
  EXPECT_THAT(found.err, HasSubstr("<argument 4>:1:2: expected"));
  EXPECT_THAT(found.err, HasSubstr("configuration 2, S.m: the member 'S.m' has no value\n"));
  EXPECT_EQ(run({"eval", "--values", "values"}, "N\r\nN > 2\n").out, "N,N > 2\r\n1,0\r\n3,1\r\n");
  const std::pair<std::string, std::string> rows[] = {
      {"", "values: no header of names"},
      {"1\n", "values:1: field 1: \"1\" is no name"},
      {"N,N\n", "values:1: field 2: N is bound twice"},
      {"D\n", "values:1: field 1: D is bound twice"},
      {"N\n1,2\n", "values:2: field 2: a row of 2 fields under 1 names"},
      {"N\n\"1\n", "values:2: field 1: a quote that is not closed"},
      {"N\n\"1\"2\n", "values:2: field 1: something behind the closing quote"},
      {"N\n1\"\n", "values:2: field 1: a quote inside a field"},
      {"N\nf(1)\n", "values:2: field 1: the call of 'f' has no value"},
      {"N\nx\n", "values:2: field 1: the symbol 'x' has no value"},
  };
  for (const auto& [values, message] : rows) {
    writeValues(values);
    const Outcome wrong = run({"eval", "--values", "values", "-D", "D=1", "N"});
    EXPECT_EQ(wrong.status, 1) << values;
    EXPECT_EQ(wrong.out, "") << values;
    EXPECT_EQ(wrong.err, "ksexpr: " + message + '\n') << values;
  }
}

}  // namespace
