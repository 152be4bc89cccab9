// What a person sees on a terminal: lines that fit, styles, colours.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/tool/ModelFile.hpp"
#include "tools/Text.hpp"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using KsExprTerminal = ModelFile;

std::vector<std::string> linesOf(const std::string& aText) {
  std::vector<std::string> lines;
  std::string line;
  for (const char c : aText) {
    if (c == '\n')
      lines.push_back(std::exchange(line, ""));
    else if (c != '\r')
      line += c;
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

struct OnTerminal {
  int status;
  std::string text;  // both outputs, as the terminal gets them, without carriage returns
};

// Runs a shell command, in which "$ksexpr" stands for the program, on a terminal of that width.
OnTerminal onTerminal(unsigned short aColumns, const std::string& aCommand) {
  winsize size{};
  size.ws_row = 24;
  size.ws_col = aColumns;
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    unsetenv("NO_COLOR");
    setenv("TERM", "xterm", 1);
    setenv("ksexpr", KSEXPR_PATH, 1);
    execl("/bin/sh", "sh", "-c", aCommand.c_str(), nullptr);
    _exit(126);
  }
  OnTerminal found{-1, ""};
  char buffer[4096];
  // At the end, reading fails.
  for (ssize_t count; (count = read(terminal, buffer, sizeof buffer)) > 0;) {
    found.text.append(buffer, static_cast<std::size_t>(count));
  }
  int status = 0;
  waitpid(child, &status, 0);
  close(terminal);
  found.status = WEXITSTATUS(status);
  found.text.erase(std::remove(found.text.begin(), found.text.end(), '\r'), found.text.end());
  return found;
}

const std::string sample = KSEXPR_SAMPLE;
const std::string red = "\033[1;31m";
const std::string plain = "\033[0m";

std::string withoutColours(std::string aText) {
  for (const std::string& code : {red, plain}) {
    for (std::size_t at; (at = aText.find(code)) != std::string::npos;)
      aText.erase(at, code.size());
  }
  return aText;
}

// The words of a table without its layout, in the order of their characters.
std::string lettersOf(std::string aText) {
  aText.erase(
      std::remove_if(aText.begin(), aText.end(), [](char c) { return c == ' ' || c == '\n'; }),
      aText.end());
  std::sort(aText.begin(), aText.end());
  return aText;
}

TEST_F(KsExprTerminal, FitsAnyWidth) {
  const std::string options = " --family vv,cg --quiet " + sample;
  const std::string unlimited = onTerminal(80, "$ksexpr conditions --width 0" + options).text;
  for (const unsigned short width : std::vector<unsigned short>{30, 47, 80, 132, 400}) {
    SCOPED_TRACE(width);
    const std::string text = onTerminal(width, "$ksexpr conditions" + options).text;
    std::size_t widest = 0;
    for (const std::string& line : linesOf(withoutColours(text))) {
      widest = std::max(widest, ksexpr::displayWidth(line));
    }
    EXPECT_LE(widest, width);
    EXPECT_GT(widest + 12, std::min<std::size_t>(width, 80));
    // Wrapping loses nothing.
    EXPECT_TRUE(lettersOf(withoutColours(text)) == lettersOf(withoutColours(unlimited)));
    // The same where it goes elsewhere and the width is given.
    const Outcome given = run({"conditions", "--family", "vv,cg", "--style", "compact", "--width",
                               std::to_string(width), sample});
    EXPECT_EQ(given.out, withoutColours(text));
    const OnTerminal cut = onTerminal(width, "$ksexpr conditions --cut" + options);
    EXPECT_EQ(linesOf(cut.text).size(), linesOf(unlimited).size());
    for (const std::string& line : linesOf(withoutColours(cut.text))) {
      EXPECT_LE(ksexpr::displayWidth(line), width);
    }
  }
  // One that does not know its size.
  EXPECT_EQ(onTerminal(0, "$ksexpr conditions" + options).text,
            onTerminal(80, "$ksexpr conditions" + options).text);
}

TEST_F(KsExprTerminal, WrapsAtOperatorsAndCuts) {
  const std::string model = modelOf(
      {blockOf("a", "null", ", \"VV\": \"(first == 1 || second == 2) && third && ~fourth\""),
       blockOf("b", "\"a\"", ", \"VV\": \"second > 2\"")});
  const std::vector<std::string> options{"--family", "vv", "--style", "typed"};
  const auto with = [&](std::vector<std::string> more) {
    more.insert(more.end(), options.begin(), options.end());
    return conditions(model, more).out;
  };
  EXPECT_EQ(with({"--width", "60"}),
            "BLOCK  FAMILY  LOCAL (typed)          NET (typed)\n"
            "a      VV      (first == 1            (first == 1\n"
            "               || second == 2)        || second == 2)\n"
            "               && third && ~fourth    && third && ~fourth\n"
            "  b    VV      second > 2             (first == 1\n"
            "                                      || second == 2)\n"
            "                                      && third && ~fourth\n"
            "                                      && second > 2\n");
  EXPECT_EQ(with({"--cut", "--width", "60"}),
            "BLOCK  FAMILY  LOCAL (typed)          NET (typed)\n"
            "a      VV      (first == 1 || secon…  (first == 1 || secon…\n"
            "  b    VV      second > 2             (first == 1 || secon…\n");
  // Who asks for it elsewhere than on a terminal has the usual width.
  EXPECT_EQ(with({"--wrap"}), with({"--width", "80"}));
  EXPECT_EQ(with({"--cut"}), with({"--cut", "--width", "80"}));
  EXPECT_EQ(with({"--width", "0"}), with({}));
  EXPECT_THAT(with({}),
              HasSubstr("  (first == 1 || second == 2) && third && ~fourth && second > 2\n"));
  const Outcome both = conditions(model, {"--wrap", "--cut"});
  EXPECT_EQ(both.status, 2);
  // Questions have the same tables.
  write(model);
  for (const std::string& line :
       linesOf(run({"uses", "model.json", "first", "--width", "32"}).out)) {
    EXPECT_LE(line.size(), 32U) << line;
  }
}

TEST_F(KsExprTerminal, BreaksLinesOutsideOfBrackets) {
  const auto broken = [](std::string_view text, std::size_t width) {
    std::vector<std::string> lines;
    while (!text.empty()) {
      const std::size_t length = ksexpr::lengthOfFirstLine(text, width);
      lines.emplace_back(text.substr(0, length));
      text.remove_prefix(length);
    }
    return lines;
  };
  using testing::ElementsAre;
  EXPECT_THAT(broken("a && b || c", 11), ElementsAre("a && b || c"));
  EXPECT_THAT(broken("a && b || c", 10), ElementsAre("a && b ", "|| c"));
  EXPECT_THAT(broken("a && b || c", 6), ElementsAre("a && b ", "|| c"));
  EXPECT_THAT(broken("a && b || c", 5), ElementsAre("a ", "&& b ", "|| c"));
  // In the second half of a line, the outermost operator.
  EXPECT_THAT(broken("aaaa && (b || c || d || e)", 24),
              ElementsAre("aaaa && (b || c || d ", "|| e)"));
  EXPECT_THAT(broken("aaaa bbbb && (b || c || d)", 22),
              ElementsAre("aaaa bbbb && (b || c ", "|| d)"));
  EXPECT_THAT(broken("aaaaaaaaaa && (b || c || d)", 20),
              ElementsAre("aaaaaaaaaa ", "&& (b || c || d)"));
  EXPECT_THAT(broken("f(a && b) && [c && d]", 16), ElementsAre("f(a && b) ", "&& [c && d]"));
  EXPECT_THAT(broken("first + second", 9), ElementsAre("first + ", "second"));
  EXPECT_THAT(broken("abcdef", 4), ElementsAre("abcd", "ef"));
  EXPECT_THAT(broken("漢字漢", 3), ElementsAre("漢", "字", "漢"));
  EXPECT_THAT(broken("漢字", 1), ElementsAre("漢", "字"));
  EXPECT_THAT(broken("e\u0301e\u0301e", 2), ElementsAre("e\u0301e\u0301", "e"));
}

TEST_F(KsExprTerminal, CountsColumnsOfTheScreen) {
  const std::pair<const char*, std::size_t> rows[] = {
      {"", 0},       {"abc", 3}, {"\u00E4", 1},       {"e\u0301", 1}, {"漢字", 4},
      {"\uFF21", 2}, {"😀", 2},   {"a\u200Bb", 2},     {"한", 2},      {"\xFF?", 2},
      {"\u2026", 1}, {"Ж", 1},   {"\u0BB9\u0BCD", 1},
  };
  for (const auto& [text, width] : rows) {
    EXPECT_EQ(ksexpr::displayWidth(text), width) << text;
    EXPECT_EQ(ksexpr::displayWidth(text, 1), std::min<std::size_t>(width, 1)) << text;
  }
  EXPECT_EQ(ksexpr::cutToWidth("abc", 3), "abc");
  EXPECT_EQ(ksexpr::cutToWidth("abcd", 3), "ab…");
  EXPECT_EQ(ksexpr::cutToWidth("漢字漢", 5), "漢字…");
  EXPECT_EQ(ksexpr::cutToWidth("漢字漢", 4), "漢…");
  EXPECT_EQ(ksexpr::cutToWidth("e\u0301ab", 2), "e\u0301…");
  EXPECT_EQ(ksexpr::cutToWidth("abcd", 1), "…");
  EXPECT_EQ(
      conditions(modelOf({blockOf("漢字", "null", ", \"VV\": \"a\""),
                          blockOf("e\u0301", "\"漢字\"", ", \"VV\": \"b\"")}),
                 {"--family", "vv"})
          .out,
      "BLOCK  FAMILY  LOCAL  NET\n漢字   VV      a      a\n  e\u0301    VV      b      a && b\n");
  // The caret of a message stands below the place.
  EXPECT_THAT(run({"print", "漢 + "}).err, HasSubstr("\n漢 + \n^\n"));
}

TEST_F(KsExprTerminal, DeadBlocksStandOutInColour) {
  const std::string command = "$ksexpr conditions --family vv " + sample;
  const std::vector<std::string> lines = linesOf(onTerminal(200, command).text);
  for (const std::string& line : lines) {
    const bool isDead = line.find("StarDelta") != std::string::npos;
    EXPECT_EQ(line.find('\033') != std::string::npos, isDead) << line;
    if (isDead) {
      EXPECT_THAT(line, StartsWith(red));
      EXPECT_THAT(line, EndsWith(plain));
    }
  }
  EXPECT_THAT(onTerminal(200, command).text, HasSubstr(red + "      StarDelta"));
  EXPECT_THAT(onTerminal(200, "$ksexpr conditions --width 0 " + sample).text,
              HasSubstr("false" + plain + '\n'));
  EXPECT_THAT(onTerminal(200, "NO_COLOR= " + command).text, HasSubstr(red));
  for (const char* const plainly : {"NO_COLOR=1 ", "NO_COLOR=0 ", "TERM=dumb ", "unset TERM; "}) {
    EXPECT_THAT(onTerminal(200, plainly + command).text, Not(HasSubstr("\033"))) << plainly;
  }
  for (const char* const format : {"csv", "json"}) {
    EXPECT_THAT(onTerminal(200, command + " --format " + format).text, Not(HasSubstr("\033")));
  }
  EXPECT_THAT(onTerminal(200, command + " | cat").text, Not(HasSubstr("\033")));
}

TEST_F(KsExprTerminal, SaysTheStyleThatATerminalShows) {
  const std::string command = "$ksexpr conditions --quiet --family vv --block Generator " + sample;
  const std::string compact = "Site.remote && (Mains == 1 || Mains == 3)";
  const auto shown = onTerminal(200, command).text;
  EXPECT_THAT(shown, HasSubstr("NET (compact)\n"));
  EXPECT_THAT(shown, Not(HasSubstr("(Mains == 1 && ")));
  EXPECT_THAT(onTerminal(200, command + " --style typed").text, HasSubstr("NET (typed)\n"));
  const std::string canonical = onTerminal(200, command + " --style canonical").text;
  EXPECT_THAT(canonical, HasSubstr("  NET\n"));
  EXPECT_THAT(canonical, HasSubstr("(Mains == 1 && Power >= 8 && Site.remote) || (Mains == 3"));
  // What is no table on a terminal is canonical unless asked.
  EXPECT_EQ(onTerminal(200, command + " | cat").text, canonical);
  EXPECT_THAT(onTerminal(200, command + " --format csv").text, HasSubstr("(Mains == 1 && "));
}

TEST_F(KsExprTerminal, QuietLeavesOutWhatIsNoAnswer) {
  write("{\"blocks\": [{\"id\": \"a\", \"parent\": null, \"odd\": 1}]}");
  const std::vector<std::string> commands = {"conditions", "vars",
#ifdef KSEXPR_DECIDES
                                             "active", "check", "cover"
#endif
  };
  for (const std::string& command : commands) {
    const Outcome loud = run({command, "model.json"});
    const Outcome quiet = run({command, "model.json", "--quiet"});
    EXPECT_THAT(loud.err, HasSubstr("odd")) << command;
    EXPECT_EQ(quiet.err, "") << command;
    EXPECT_EQ(quiet.out, loud.out) << command;
    EXPECT_EQ(quiet.status, 0) << command;
  }
  EXPECT_THAT(run({"conditions", "none.json", "--quiet"}).err, HasSubstr("none.json: cannot read"));
  EXPECT_EQ(conditions(modelOf({blockOf("a", "null", ", \"VV\": \"(\"")}), {"--quiet"}).status, 1);
  EXPECT_THAT(run({"print", "--quiet", "a b"}).err, HasSubstr("expected an operator"));
}

TEST_F(KsExprTerminal, ReadsStandardInputOnce) {
  const std::string model = modelOf({blockOf("a", "null", ", \"VV\": \"x == 1\"")});
  write(model);
  std::ofstream("values") << "x=1\n";
  EXPECT_EQ(run({"uses", "-", "x"}, model).out, run({"uses", "model.json", "x"}).out);
  EXPECT_EQ(run({"vars", "--values", "-", "model.json"}, "x=1\n").out,
            run({"vars", "--values", "values", "model.json"}).out);
  EXPECT_EQ(run({"eval", "--values", "-", "x + 1"}, "x\n1\n2\n").out, "x + 1\r\n2\r\n3\r\n");
  const std::vector<std::vector<std::string>> twice = {
#ifdef KSEXPR_DECIDES
      {"diff", "-", "-"},
#endif
      {"vars", "-", "--values", "-"},
      {"eval", "--values", "-"}};
  for (const std::vector<std::string>& line : twice) {
    const Outcome found = run(line, line[0] == "eval" ? "x\n1\n" : model);
    EXPECT_EQ(found.status, 2) << line[0];
    EXPECT_THAT(found.err, EndsWith("standard input (-) can be read once only\n"));
  }
  EXPECT_THAT(run({"conditions", "-"}, "{").err, StartsWith("<stdin>:1:2: syntax error"));
  EXPECT_THAT(run({"vars", "--values", "-", "model.json"}, "x\n").err, StartsWith("<stdin>:1"));
  EXPECT_THAT(run({"eval", "--values", "-", "x"}, "1\n").err, StartsWith("ksexpr: <stdin>:1"));
  // An empty line is no expression; an empty condition is always true.
  EXPECT_EQ(run({"print"}, "\n").status, 1);
  EXPECT_EQ(conditions(modelOf({blockOf("a", "null", ", \"VV\": \"\"")}),
                       {"--family", "vv", "--format", "csv", "--style", "typed"})
                .out,
            "block,parent,vv_local,vv_net\r\na,,,\r\n");
}

}  // namespace
