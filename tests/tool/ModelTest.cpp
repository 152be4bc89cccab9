// What may be wrong with a model file, and how it is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/tool/JsonListener.hpp"
#include "tests/tool/ModelFile.hpp"
#include "tools/ModelSyntax.hpp"

namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::size_t count(const std::string& aText, const std::string& aPart) {
  std::size_t found = 0;
  for (std::size_t i = 0; (i = aText.find(aPart, i)) != std::string::npos; ++i) ++found;
  return found;
}

std::string repeated(const std::string& aText, std::size_t aTimes) {
  std::string out;
  for (std::size_t i = 0; i < aTimes; ++i) out += aText;
  return out;
}

struct Row {
  std::string model;
  std::string message;  // how standard error begins, after the file's name
};

class KsExprModel : public ModelFile {
 protected:
  // With `aOnce`, the message is the only one.
  template <std::size_t numRows>
  static void expectRefused(const Row (&aRows)[numRows], bool aOnce = false) {
    for (const Row& row : aRows) {
      SCOPED_TRACE(row.model);
      const Outcome found = conditions(row.model);
      EXPECT_EQ(found.status, 1);
      EXPECT_EQ(found.out, "");
      EXPECT_THAT(found.err, StartsWith("model.json:" + row.message));
      if (aOnce) {
        EXPECT_EQ(count(found.err, "model.json:"), 1U) << found.err;
      }
    }
  }
};

TEST_F(KsExprModel, BrokenJsonHasAPlace) {
  const Row rows[] = {
      // Texts that end too early.
      {"", "1:1: syntax error"},
      {" \n\t", "2:2: syntax error"},
      {"{", "1:2: syntax error"},
      {"{\"blocks\": [", "1:13: syntax error"},
      {"{\"blocks\": [{\"id\": \"a\", \"parent\": null}]", "1:41: syntax error"},
      {"{\"blocks\": [{\"id\": \"a", "1:22: syntax error while parsing value - invalid string"},
      // Something behind the end.
      {"{\"blocks\": []}x", "1:15: syntax error"},
      {"{\"blocks\": []}\n\n ]", "3:2: syntax error"},
      {"{\"blocks\": []} {\"blocks\": []}", "1:16: syntax error"},
      {"{\"blocks\": []},", "1:15: syntax error"},
      {"{\"blocks\": []}\0"s, "1:15: syntax error: a NUL byte\n{\"blocks\": []}?\n"},
      {"{\"blocks\": []}\n\0\n"s, "2:1: syntax error: a NUL byte"},
      {"{\"blocks\": []}\0x"s, "1:15: syntax error: a NUL byte"},
      // A NUL byte elsewhere.
      {"\0{\"blocks\": []}"s, "1:1: syntax error: a NUL byte"},
      {"{\"blocks\":\0 []}"s, "1:11: syntax error: a NUL byte"},
      {"{\"blocks\": [], \"a\": \"b\0\"}"s, "1:23: syntax error: a NUL byte"},
      // Tokens that are none.
      {"{'blocks': []}", "1:2: syntax error while parsing object key"},
      {"{blocks: []}", "1:2: syntax error"},
      {"// model\n{\"blocks\": []}", "1:1: syntax error"},
      {"{\"blocks\": [], \"a\": 01}", "1:22: syntax error"},
      {"{\"blocks\": [], \"a\": 1.}", "1:23: syntax error"},
      {"{\"blocks\": [], \"a\": +1}", "1:21: syntax error"},
      {"{\"blocks\": [], \"a\": .5}", "1:21: syntax error"},
      {"{\"blocks\": [], \"a\": 1e999}", "1:25: number overflow parsing '1e999'"},
      {"{\"blocks\": [], \"a\": NaN}", "1:21: syntax error"},
      {"{\"blocks\": [], \"a\": trUe}", "1:23: syntax error"},
      {"{\"blocks\": [], \"a\": \"\\q\"}", "1:23: syntax error"},
      {"{\"blocks\": [], \"a\": \"\\u12G4\"}", "1:26: syntax error"},
      {"{\"blocks\": [], \"a\": \"\\uD800\"}", "1:28: syntax error"},
      {"{\"blocks\": [], \"a\": \"b\nc\"}",
       "1:23: syntax error while parsing value - invalid string: control character U+000A (LF) "
       "must be escaped to \\u000A or \\n\n"},
      // Tokens in the wrong place.
      {"{\"blocks\" []}", "1:11: syntax error while parsing object separator"},
      {"{\"blocks\": [] \"a\": 1}", "1:17: syntax error"},
      {"{\"blocks\": [],}", "1:15: syntax error"},
      {"{\"blocks\": [}]}", "1:13: syntax error"},
      {"{\"blocks\": [{\"id\": \"\"]}", "1:22: syntax error"},
      {"{\r\n\"blocks\": [\r\n{\"id\": ]}", "3:8: syntax error while parsing value"},
      // What is no UTF-8: a byte that begins nothing, a form that is too long, half of a surrogate
      // pair, a character that is cut off, one beyond the last.
      {"{\"blocks\": [\n{\"id\": \"a\xFF\"}]}", "2:10: syntax error"},
      {"{\"\xC0\xAF\": 1}", "1:3: syntax error"},
      {"{\"\xED\xA0\x80\": 1}", "1:4: syntax error"},
      {"{\"\xC3\xA4\xE2\x82\": 1}", "1:6: syntax error"},
      {"{\"\xF4\x90\x80\x80\": 1}", "1:4: syntax error"},
      // Byte order marks: no part of the text where they are whole.
      {"\xEF\xBB", "1:3: syntax error"},
      {"\xEF\xBB\xBF[]x", "1:1: the model must be"},
      {"\xEF\xBB\xBF{\"\xC3\xA4\": x}", "1:7: syntax error"},
      {"\xFE\xFF\0{"s, "1:1: syntax error"},
  };
  expectRefused(rows, /*aOnce=*/true);
}

TEST_F(KsExprModel, TakesWhatJsonAllows) {
  for (const std::string& model : {
           "\xEF\xBB\xBF{\"blocks\": [{\"id\": \"a\", \"parent\": null}]}"s,
           "\r\n\t {\"blocks\":[{\"id\":\"a\",\"parent\":null}]} \r\n\t"s,
           "{\"a\": [1, -0.5e+3, {\"blocks\": 1}], \"blocks\": [{\"b\": {\"id\": 1}, \"b\": 7,"
           "\"\\u0069d\": \"\\u0061\", \"parent\": null, \"VV\": \"\"}], \"a\": {}}"s,
           "{\"nested\": " + std::string(1000000, '[') + std::string(1000000, ']') +
               ", \"blocks\": [{\"id\": \"a\", \"parent\": null}]}",
       }) {
    SCOPED_TRACE(model.substr(0, 200));
    const Outcome found = conditions(model, {"--family", "vv", "--format", "json"});
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(
        found.out,
        "[\n{\"block\": \"a\", \"parent\": null, \"vv\": {\"local\": \"\", \"net\": \"\"}}\n]\n");
  }
}

// Texts with escapes are not those that stand in the file.
TEST_F(KsExprModel, DecodesStrings) {
  const Outcome found = conditions(
      modelOf({blockOf("\\u0061\\ud83d\\ude00\\/", "null", ", \"VV\": \"x \\u003e 1\\t\""),
               blockOf("long enough to be on the heap\\n", "\"a\\ud83d\\ude00/\"",
                       ", \"VV\": \"y\", \"CG\": \"\\u007a\"")}),
      {"--family", "vv,cg"});
  EXPECT_EQ(found.err.find("2 blocks, "), 0U) << found.err;
  EXPECT_EQ(found.out,
            "BLOCK                             FAMILY  LOCAL  NET\n"
            "a\xF0\x9F\x98\x80/                              VV      x > 1  x > 1\n"
            "                                  CG      true   true\n"
            "  long enough to be on the heap?  VV      y      x > 1 && y\n"
            "                                  CG      z      z\n");
}

TEST_F(KsExprModel, BracketsOfMegabytesAreNoModel) {
  for (const char* bracket : {"[", "{\"a\":", "{\"blocks\":[", "[{\"id\":"}) {
    SCOPED_TRACE(bracket);
    for (const std::string& model :
         {repeated(bracket, 500000), "{\"blocks\": [{\"id\": " + repeated(bracket, 500000)}) {
      const Outcome found = conditions(model);
      EXPECT_EQ(found.status, 1);
      EXPECT_THAT(found.err, StartsWith("model.json:1:"));
      EXPECT_LT(found.err.size(), 1500U);
    }
  }
}

TEST_F(KsExprModel, EveryValueHasAType) {
  const std::pair<std::string, std::string> values[] = {{"\"x\"", "a string"},
                                                        {"0", "a number"},
                                                        {"-1", "a number"},
                                                        {"1.5", "a number"},
                                                        {"1e3", "a number"},
                                                        {"18446744073709551616", "a number"},
                                                        {"true", "a boolean"},
                                                        {"false", "a boolean"},
                                                        {"null", "null"},
                                                        {"[]", "an array"},
                                                        {"[[\"id\"], 1, {}]", "an array"},
                                                        {"{}", "an object"},
                                                        {"{\"id\": [], \"S\": {}}", "an object"}};
  struct Place {
    std::string before;
    std::string after;
    std::string column;
    std::string wanted;
    std::vector<std::string> allowed;
  };
  const Place places[] = {
      {"", "", "1", "the model must be an object with \"blocks\"", {"an object"}},
      {"{\"blocks\": ", "}", "12", "\"blocks\" must be an array", {"an array"}},
      {"{\"blocks\": [", "]}", "13", "a block must be an object", {"an object"}},
      {"{\"blocks\": [{\"parent\": null, \"id\": ", "}]}", "36", "\"id\" must be a string", {}},
      {"{\"blocks\": [{\"id\":\"x\",\"parent\": ",
       "}]}",
       "33",
       "\"parent\" must be a string or null",
       {"null"}},
      {"{\"blocks\": [{\"VV\": ",
       ",\"id\":\"x\",\"parent\": null}]}",
       "20",
       "\"VV\" must be a string",
       {}},
      {"{\"blocks\": [{\"CG\": ",
       ",\"id\":\"x\",\"parent\": null}]}",
       "20",
       "\"CG\" must be a string",
       {}},
      {"{\"blocks\": [{\"S\": ",
       ",\"id\":\"x\",\"parent\": null}]}",
       "19",
       "\"S\" must be a string",
       {}},
      {"{\"blocks\": [{\"X\": ", ",\"id\":\"x\",\"parent\": null}]}", "", "", {}},
  };
  for (const Place& place : places) {
    for (const auto& [value, type] : values) {
      SCOPED_TRACE(place.before + value + place.after);
      const Outcome found = conditions(place.before + value + place.after);
      const std::string message =
          "model.json:1:" + place.column + ": " + place.wanted + ", not " + type + '\n';
      const bool isString = place.wanted.find("must be a string") != std::string::npos;
      if (place.wanted.empty() || (isString && type == "a string") ||
          std::count(place.allowed.begin(), place.allowed.end(), type) != 0) {
        EXPECT_THAT(found.err, Not(HasSubstr(place.wanted + ", not")));
        EXPECT_TRUE(found.status == 0 || !place.wanted.empty());
      } else {
        EXPECT_EQ(found.status, 1);
        EXPECT_EQ(found.out, "");
        EXPECT_THAT(found.err, StartsWith(message));
        EXPECT_EQ(count(found.err, "model.json:"), 1U) << found.err;
      }
    }
  }
}

TEST_F(KsExprModel, WhatIsMissingOrGivenTwice) {
  const Row rows[] = {
      {"{}", "1:2: the model has no \"blocks\""},
      {"{\"a\": 1}", "1:8: the model has no \"blocks\""},
      {"{\"a\": 1 }", "1:9: the model has no \"blocks\""},
      {"{\"blocks\": [], \"blocks\": []}", "1:16: \"blocks\" is given twice"},
      {"{\"blocks\": [\n {}]}",
       "2:2: the block has no \"id\"\n {}]}\n ^\nmodel.json:2:2: the block has no \"parent\""},
      {"{\"blocks\": [{\"id\": \"a\"}]}", "1:13: the block has no \"parent\""},
      {"{\"blocks\": [{\"parent\": null}]}", "1:13: the block has no \"id\""},
      {"{\"blocks\": [{\"id\": 1}, {\"parent\": null, \"id\": []}]}",
       "1:13: the block has no \"parent\"\n{\"blocks\": [{\"id\": 1}, {\"parent\": null, "
       "\"i...\n"
       "            ^\nmodel.json:1:20: \"id\" must be a string, not a number\n"},
      {"{\"blocks\": [{\"parent\": null, \"id\": \"a\", \"id\": \"a\"}]}",
       "1:41: \"id\" is given twice"},
      {"{\"blocks\": [{\"id\": \"a\", \"parent\": null, \"parent\": \"a\"}]}",
       "1:41: \"parent\" is given twice"},
      {"{\"blocks\": [{\"VV\": \"\", \"VV\": \"\"}]}", "1:13: the block has no \"id\""},
      {"{\"blocks\": [{\"CG\": \"\", \"id\": \"a\", \"parent\": null, \"\\u0043G\": \"\"}]}",
       "1:51: \"CG\" is given twice"},
      {"{\"blocks\": [{\"S\": \"\", \"id\": \"a\", \"parent\": null, \"S\": \"\"}]}",
       "1:50: \"S\" is given twice"},
      {modelOf({blockOf("a", "null"), blockOf("b", "null"), blockOf("\\u0061", "null")}),
       "4:8: block \"a\" is defined twice, first in line 2"},
      {modelOf({blockOf("a", "\"b\\n\"")}), "2:23: block \"a\" has an unknown parent \"b?\""},
      {modelOf({blockOf("a", "\"\"")}), "2:23: block \"a\" has an unknown parent \"\""},
      {modelOf({blockOf("b", "\"c\""), blockOf("a", "null"), blockOf("a", "null")}),
       "2:23: block \"b\" has an unknown parent \"c\"\n{\"id\": \"b\", \"parent\": \"c\"},\n" +
           std::string(22, ' ') +
           "^\nmodel.json:4:8: block \"a\" is defined twice, first in line 3"},
  };
  expectRefused(rows);
  // Other members of a block are nobody's business, however many they are.
  std::string members;
  for (int i = 0; i < 100000; ++i) members += ", \"m" + std::to_string(i) + "\": 0";
  EXPECT_EQ(conditions(modelOf({blockOf("a", "null", members)})).status, 0);
}

TEST_F(KsExprModel, ParentsInACircle) {
  const auto chain = [](int first, int last, const std::string& top) {
    std::vector<std::string> blocks{blockOf(std::to_string(first), top)};
    for (int i = first + 1; i <= last; ++i) {
      blocks.push_back(blockOf(std::to_string(i), '"' + std::to_string(i - 1) + '"'));
    }
    return blocks;
  };
  const std::string longCycle =
      "cycle of parents: 1 -> 50000 -> 49999 -> 49998 -> 49997 -> 49996 "
      "-> 49995 -> 49994 -> 49993 -> 49992 -> ... -> 1\n";
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{blockOf("a", "\"a\"")}, "2:23: cycle of parents: a -> a\n"},
      {{blockOf("c", "\"a\""), blockOf("a", "\"b\""), blockOf("b", "\"a\"")},
       "3:23: cycle of parents: a -> b -> a\n"},
      {chain(1, 10, "\"10\""),
       "2:23: cycle of parents: 1 -> 10 -> 9 -> 8 -> 7 -> 6 -> 5 -> 4 -> 3 -> 2 -> 1\n"},
      {chain(1, 11, "\"11\""),
       "2:23: cycle of parents: 1 -> 11 -> 10 -> 9 -> 8 -> 7 -> 6 -> 5 -> 4 -> 3 -> ... -> 1\n"},
      {chain(1, 50000, "\"50000\""), "2:23: " + longCycle},
  };
  for (const auto& [blocks, message] : rows) {
    const Outcome found = conditions(modelOf(blocks));
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.out, "");
    EXPECT_THAT(found.err, StartsWith("model.json:" + message));
    EXPECT_EQ(count(found.err, "cycle of parents"), 1U);
  }
  // Each circle once, and none where ways up only meet.
  EXPECT_EQ(count(conditions(modelOf({blockOf("a", "\"a\""), blockOf("b", "\"c\""),
                                      blockOf("c", "\"b\""), blockOf("d", "\"b\"")}))
                      .err,
                  "cycle of parents"),
            2U);
  EXPECT_EQ(conditions(modelOf({blockOf("d", "\"b\""), blockOf("c", "\"b\""), blockOf("b", "\"a\""),
                                blockOf("a", "null")}))
                .status,
            0);
}

// Looking up all ancestors of every block, or forgetting them all before the next, would take the
// square of this.
TEST_F(KsExprModel, ParentsMayStandBehindTheirChildren) {
  constexpr int numBlocks = 300000;
  for (const int children : {1, 3, numBlocks}) {
    std::vector<std::string> blocks;
    for (int i = numBlocks - 1; i > 0; --i) {
      blocks.push_back(blockOf(std::to_string(i), '"' + std::to_string((i - 1) / children) + '"',
                               i % 1000 == 0 ? ", \"VV\": \"y\"" : ""));
    }
    blocks.push_back(blockOf("0", "null", ", \"VV\": \"x\""));
    const auto start = std::chrono::steady_clock::now();
    const Outcome found = conditions(modelOf(blocks), {"--format", "json", "--family", "vv"});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(std::count(found.out.begin(), found.out.end(), '\n'), numBlocks + 2);
    EXPECT_THAT(found.out,
                HasSubstr("{\"block\": \"1000\", \"parent\": \"" + std::to_string(999 / children) +
                          "\", \"vv\": {\"local\": \"y\", \"net\": \"x && y\"}},\n"));
    EXPECT_THAT(found.out, HasSubstr("\n{\"block\": \"0\", \"parent\": null, \"vv\": {\"local\": "
                                     "\"x\", \"net\": \"x\"}}\n]\n"));
  }
}

TEST(Json, HalvesAreReadAsTheWhole) {
  const std::string few = R"({"a": 1}, {"a": [2, {"b": null}]})";
  const std::string many = few + R"( , {"a": "x\u0041y}"},{"a": true},{}, {"a": {"b": []}} )";
  const struct {
    std::string text;
    bool isReadByHalves;
  } rows[] = {
      {"{\"blocks\": [" + many + "]}", true},
      {"{\"blocks\":[{\"a\":1},{\"a\":2},{\"a\":3}]}", true},
      {" { \"v\": {\"a\": 1}, \"blocks\": [" + many + "\n]\t} \r\n", true},
      {"{\"blocks\": [" + many + "], \"v\": [1]}", false},
      {"{\"blocks\": [" + many + "], \"v\": [" + few + "]}", false},
      {"{\"blocks\": [{\"a\": \"" + std::string(40, '-') + "}, {" + std::string(40, '-') + "\"}]}",
       false},
      {"{\"blocks\": [{}, {}" + std::string(60, ' ') + "]}", false},
      {"{\"blocks\": [" + many + ",]}", false},
      {"{\"blocks\": [" + many + "]]}", false},
      {"{\"blocks\": [" + many + "}", false},
      {"{\"blocks\": [" + many + "]", false},
      {"{\"blocks\": [" + many + "]} ]}", false},
      {"{\"blocks\": [[" + many + "]}", false},
      {"{\"blocks\": {\"c\": [" + many + "]}", false},
      {"{\"blocks\": [{]" + many + "]}", false},
      {"[" + many + "]", false},
      {"]}", false},
      {"}", false},
      {"", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    std::string text = row.text;
    const std::optional<std::vector<std::string>> told = toldByHalves(text);
    EXPECT_EQ(told.has_value(), row.isReadByHalves);
    EXPECT_EQ(text, row.text);
    if (!told) continue;
    JsonListener whole;
    EXPECT_TRUE(ksexpr::readSoundJson(text, whole));
    EXPECT_EQ(*told, whole.told);
  }
}

TEST(ModelSyntax, TwoThreadsParseAsOne) {
  constexpr std::size_t numBlocks = 4000;
  // What stands in some of the blocks, and in those of the second half.
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {R"(, "x": [1])", ""},
      {"", R"(, "y": {}, "x": 1)"},
      {R"(, "X": 1)", R"(, "y": 1)"},
      {R"(, "VV": "a", "CG": "\u0062")", R"(, "VV": "\u0063\t", "S": "d")"},
      {R"(, "VV": 1)", ""},
      {"", R"(, "id": "again")"},
      {R"(, "x": [1)", ""},
      {"", R"(, "y": ])"},
  };
  for (const auto& [some, others] : rows) {
    std::vector<std::string> blocks;
    for (std::size_t i = 0; i < numBlocks; ++i) {
      const std::string more = i % 100 == 0 ? some : i % 100 == 1 && i > 2500 ? others : "";
      blocks.push_back(blockOf(std::to_string(i) + std::string(200, 'x'), "null", more));
    }
    const auto parsed = [&](std::size_t aJobs) {
      ksexpr::Model model;
      model.text = modelOf(blocks);
      model.text.shrink_to_fit();
      ksexpr::ModelErrors errors, warnings;
      const std::vector<ksexpr::ParentName> parents =
          ksexpr::parseModel(model, errors, warnings, aJobs);
      std::string all = std::to_string(parents.size()) + errors.counts.remaining("m") +
                        warnings.counts.remaining("m");
      for (const auto* found : {&errors, &warnings}) {
        for (const auto& one : found->told) all += std::to_string(one.offset) + one.message + '\n';
      }
      for (const KSBlock& block : model.blocks) {
        for (const std::size_t family : {0, 1, 2}) all += block.texts[family];
        all += ' ' + std::to_string(model.offsetOf(block.id));
      }
      for (const std::string& one : model.decoded) all += one + std::to_string(model.offsetOf(one));
      return all;
    };
    EXPECT_EQ(parsed(2), parsed(1)) << some << others;
  }
}

// Also where memory for the padding behind the text has to be made.
TEST(ModelSyntax, ErrorsHaveAPlaceInATextOfItsOwn) {
  ksexpr::Model model;
  model.text = R"({"variables": {"\u0061": {"integer": true}}, "constraints": ["\u0061 > 1"]} )";
  model.text.shrink_to_fit();
  ksexpr::ModelErrors errors, warnings;
  ksexpr::parseModel(model, errors, warnings, 1);
  ASSERT_EQ(errors.told.size(), 1U);
  EXPECT_EQ(errors.told[0].offset, model.text.size() - 2);
  ASSERT_EQ(model.constraints.size(), 1U);
  EXPECT_EQ(model.constraints[0], "a > 1");
  EXPECT_EQ(model.offsetOf(model.constraints[0]), model.text.find("\"\\u0061 >"));
}

// Several threads share the ids of a large model. Its blocks stand in no order.
TEST_F(KsExprModel, ParentsAreFoundAlikeByAnyNumberOfThreads) {
  constexpr int numBlocks = 140000, numWrong = 30;
  const struct {
    const char* wrong;  // of the blocks with the highest numbers
    int status;
    std::size_t told;
    std::string message;
  } rows[] = {
      {"", 0, 0, ""},
      {"id", 1, 20, "is defined twice, first in line"},
      {"parent", 1, 20, "has an unknown parent \"nobody"},
      {"cycle", 1, 1, "cycle of parents: 139971 -> 139970 -> 139999 -> "},
  };
  for (const auto& row : rows) {
    const std::string wrong = row.wrong;
    std::vector<std::string> blocks;
    for (int i = 0; i < numBlocks; ++i) {
      const int number = static_cast<int>(std::int64_t{i} * 99991 % numBlocks);
      const bool isWrong = number >= numBlocks - numWrong;
      const std::string id = std::to_string(isWrong && wrong == "id" ? number / 2 : number);
      std::string parent = number == 0 ? "null" : '"' + std::to_string(number / 3) + '"';
      if (isWrong && wrong == "parent") parent = "\"nobody" + id + '"';
      if (isWrong && wrong == "cycle") {
        const bool isFirst = number == numBlocks - numWrong;
        parent = '"' + std::to_string(isFirst ? numBlocks - 1 : number - 1) + '"';
      }
      blocks.push_back(blockOf(id, parent));
    }
    const std::string model = modelOf(blocks);
    const std::vector<std::string> options{"--format", "csv", "--family", "s", "--quiet", "--jobs"};
    const auto answer = [&](const char* jobs) {
      std::vector<std::string> all = options;
      all.emplace_back(jobs);
      return conditions(model, all);
    };
    const Outcome alone = answer("1");
    EXPECT_EQ(alone.status, row.status) << wrong;
    EXPECT_EQ(count(alone.err, row.message.empty() ? "model.json" : row.message), row.told)
        << alone.err;
    EXPECT_EQ(count(alone.out, "\n"), row.status == 0 ? numBlocks + 1U : 0U) << wrong;
    for (const char* const jobs : {"2", "3"}) {
      const Outcome found = answer(jobs);
      EXPECT_EQ(found.status, alone.status);
      EXPECT_EQ(found.err, alone.err);
      EXPECT_TRUE(found.out == alone.out) << wrong << jobs;
    }
  }
}

TEST_F(KsExprModel, MessagesStayShort) {
  const std::string large(1000000, 'x');
  const std::pair<std::string, std::string> rows[] = {
      {"{\"" + large, "missing closing quote"},
      {"{\"blocks\": [], \"" + large + "\": \"" + large + "\n\"}", "must be escaped"},
      {"{\"blocks\": [], \"a\": 1e" + std::string(1000000, '9') + "}", "number overflow"},
      {"{\"blocks\": [], \"a\": -" + large + "}", "expected digit after '-'"},
      {modelOf({blockOf(large, "null"), blockOf(large, "null")}), "defined twice"},
      {modelOf({blockOf(large, '"' + large + "y\"")}), "unknown parent"},
      {modelOf({blockOf(large, '"' + large + '"')}), "cycle of parents"},
      {modelOf({blockOf(large, "null", ", \"VV\": \"" + large + " " + large + '"'),
                blockOf("a", '"' + large + '"')}),
       "column 1000002: expected"},
  };
  for (const auto& [model, message] : rows) {
    SCOPED_TRACE(message);
    const Outcome found = conditions(model, {"--format", "csv"});
    EXPECT_EQ(found.status, 1);
    EXPECT_THAT(found.err, HasSubstr(message));
    EXPECT_LT(found.err.size(), 1500U) << found.err.substr(0, 3000);
  }
  const Outcome noBlock = conditions(modelOf({}), {"--block", large});
  EXPECT_EQ(noBlock.status, 1);
  EXPECT_LT(noBlock.err.size(), 200U);
}

TEST_F(KsExprModel, TellsAFewProblemsOfEachKind) {
  struct Kind {
    std::string block;  // "#" becomes the block's number
    std::string message;
    std::string plural;
    std::string others;
  };
  const Kind kinds[] = {
      {"{\"id\": \"#\"}", "has no \"parent\"", "missing members", ""},
      {"{\"id\": \"#\", \"parent\": 1}", ", not a number", "values of a wrong type", ""},
      {"{\"id\": \"#\", \"id\": \"#\", \"parent\": null}", "is given twice",
       "members that are given twice", ""},
      {"{\"id\": \"a\", \"parent\": null}", "is defined twice", "ids that are defined twice",
       "{\"id\": \"a\", \"parent\": null},"},
      {"{\"id\": \"#\", \"parent\": \"a\"}", "an unknown parent", "unknown parents", ""},
      {"{\"id\": \"#\", \"parent\": \"#\"}", "cycle of parents", "cycles of parents", ""},
      {"{\"id\": \"#\", \"parent\": null, \"CG\": \")\"}", "CG, column 1: expected an operand",
       "conditions that cannot be answered", ""},
      {"{\"id\": \"#\", \"parent\": \"top\"}", "S: no net condition",
       "net conditions that are not available",
       "{\"id\": \"top\", \"parent\": null, \"S\": \"a b\"},"},
  };
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.message);
    const auto errorsOf = [&](int number) {
      std::string model = "{\"blocks\": [" + kind.others;
      for (int i = 0; i < number; ++i) {
        std::string block = (i == 0 ? "\n" : ",\n") + kind.block;
        for (std::size_t at = 0; (at = block.find('#')) != std::string::npos;) {
          block.replace(at, 1, std::to_string(i));
        }
        model += block;
      }
      return conditions(model + "]}", {"--format", "csv"}).err;
    };
    const std::string few = errorsOf(20);
    EXPECT_EQ(count(few, kind.message), 20U);
    EXPECT_EQ(count(few, " more "), 0U);
    const std::string many = errorsOf(1020);
    EXPECT_EQ(count(many, kind.message), 20U);
    EXPECT_THAT(many, HasSubstr("\nmodel.json: 1000 more " + kind.plural + '\n'));
  }
}

TEST_F(KsExprModel, FilesThatCannotBeRead) {
  EXPECT_THAT(run({"conditions", "/nonexistent/m\x1B[2J"}).err,
              StartsWith("/nonexistent/m?[2J: cannot read: No such file"));
  EXPECT_THAT(run({"conditions", "/"}).err, StartsWith("/: cannot read: Is a directory"));
}

// The text of a model with one block and these members beside "blocks".
std::string modelWith(const std::string& aMembers, const std::string& aBlockMembers = "") {
  return "{\"blocks\": [" + blockOf("a", "null", aBlockMembers) + "],\n" + aMembers + "}";
}

TEST_F(KsExprModel, WarnsOfKeysThatNothingReads) {
  const std::string read = "; what is read here is \"";
  const Row rows[] = {
      {modelWith("\"x\": 1", ", \"vv\": \"x\""),
       "1:41: warning: nothing reads \"vv\"; did you mean \"VV\"?\n"},
      {modelWith("\"x\": 1", ", \"Parent\": 1"),
       "1:41: warning: nothing reads \"Parent\"; did you mean \"parent\"?\n"},
      {modelWith("\"vv\": 1"), "2:1: warning: nothing reads \"vv\"" + read + "blocks\", \"var"},
      {modelWith("\"constrains\": [7]"),
       "2:1: warning: nothing reads \"constrains\"; did you mean \"constraints\"?\n"},
      {modelWith("\"variables\": {\"x\": {\"maximum\": 3, \"nax\": {}}}"),
       "2:21: warning: nothing reads \"maximum\"" + read + "values\", \"integer\", \"min\", \"max"},
      {modelWith("\"variables\": {\"x\": {\"value\": {\"blocks\": 1}}}"),
       "2:21: warning: nothing reads \"value\"; did you mean \"values\"?\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.model);
    const Outcome found = conditions(row.model);
    EXPECT_EQ(found.status, 0);
    EXPECT_THAT(found.err, StartsWith("model.json:" + row.message));
    EXPECT_THAT(found.err, HasSubstr("\n1 block, "));
  }
  // What is wrong comes first; many warnings are counted.
  const Outcome wrong = conditions("{\"block\": []}");
  EXPECT_EQ(wrong.status, 1);
  EXPECT_THAT(wrong.err, StartsWith("model.json:1:13: the model has no \"blocks\"\n"));
  EXPECT_THAT(wrong.err, HasSubstr("model.json:1:2: warning: nothing reads \"block\"; did you mean "
                                   "\"blocks\"?\n"));
  const Outcome many = conditions(modelWith(repeated("\"x\": 1, ", 29) + "\"x\": 1"));
  EXPECT_EQ(count(many.err, "warning: "), 20U);
  EXPECT_THAT(many.err, HasSubstr("model.json: 10 more keys that nothing reads\n"));
}

TEST_F(KsExprModel, VariablesAndConstraintsArePlacedToo) {
  const auto variable = [](const std::string& domain) {
    return modelWith("\"variables\": {\"x\": " + domain + "}");
  };
  const std::string range = "\"values\", \"boolean\", and a range";
  const Row rows[] = {
      {modelWith("\"variables\": []"), "2:14: \"variables\" must be an object, not an array"},
      {modelWith("\"constraints\": {}"), "2:16: \"constraints\" must be an array, not an object"},
      {modelWith("\"constraints\": [\"a\", 1]"),
       "2:22: a constraint must be a string, not a number"},
      {modelWith("\"constraints\": [\"a + \"]"), "2:17: constraint, column 5: expected"},
      {modelWith("\"constraints\": [], \"constraints\": []"),
       "2:20: \"constraints\" is given twice"},
      {variable("[]"), "2:20: a variable must be an object, not an array"},
      {variable("{\"values\": 3}"), "2:31: \"values\" must be an array, not a number"},
      {variable("{\"values\": [true]}"), "2:32: a value must be a number or the name of a const"},
      {variable("{\"values\": [\"a b\"]}"), "2:32: \"a b\" is not the name of a constant"},
      {variable("{\"values\": [\"true\"]}"), "2:32: \"true\" is not the name of a constant"},
      {variable("{\"values\": []}"), "2:20: the variable has no values"},
      {variable("{\"min\": \"1\"}"), "2:28: \"min\" must be a number, not a string"},
      {variable("{\"max\": true}"), "2:28: \"max\" must be a number, not a boolean"},
      {variable("{\"integer\": 1}"), "2:32: \"integer\" must be true or false, not a number"},
      {variable("{\"min\": 2, \"max\": 1.5}"),
       "2:20: the variable has a \"min\" above its \"max\""},
      {variable("{\"integer\": true, \"min\": 0.5}"),
       "2:20: the variable has an end that is no who"},
      {variable("{\"integer\": true, \"max\": 2147483648}"),
       "2:20: the variable has an end that is"},
      {variable("{\"boolean\": true, \"min\": 0}"),
       "2:20: the variable has more than one of " + range},
      {variable("{\"values\": [1], \"integer\": true}"), "2:20: the variable has more than one of"},
      {variable("{\"max\": 1, \"max\": 1}"), "2:31: \"max\" is given twice"},
      {modelWith("\"variables\": {\"a+b\": {}}"), "2:15: \"a+b\" is not the name of a variable"},
      {modelWith("\"variables\": {\"x\": {},\n\"x\": {}}"),
       "3:1: variable \"x\" is described twice, "
       "first in line 2"},
      {modelWith("\"variables\": {\"x\": {\"values\": [\"y\"]},\n\"y\": {}}"),
       "3:1: variable \"y\" is among the values of \"x\" and so a constant"},
  };
  expectRefused(rows);
  const Outcome fine = conditions(modelWith(
      R"("variables": {"A": {"values": [0, -1.5, "str_a"]}, "S.m": {"boolean": true, "integer": false},
         "N": {"integer": true, "min": -2147483648, "max": 2147483647}, "R": {"max": 2.5}, "Q": {}},
         "constraints": ["A + N <= 1"])"));
  EXPECT_EQ(fine.status, 0);
  EXPECT_THAT(fine.err, StartsWith("1 block, "));
}

}  // namespace
