// What only a process shows: devices, pipes, limits.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/tool/ModelFile.hpp"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

using KsExprProcess = ModelFile;

std::string contentOf(const char* aPath) {
  std::ifstream file(aPath, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// What the shell makes of a command in which "$ksexpr" stands for the program.
Outcome shell(const std::string& aCommand) {
  const std::string setup = "ksexpr='" KSEXPR_PATH "'; exec >out 2>err </dev/null; ";
  const int status = std::system((setup + aCommand).c_str());
  return {WEXITSTATUS(status), contentOf("out"), contentOf("err")};
}

const std::string sample = KSEXPR_SAMPLE;

const std::string values = [] {
  std::string path = testing::TempDir() + "ksexpr-values.csv";
  std::ofstream(path) << "Mains\n1\n";
  return path;
}();

// A command line for every command.
const std::vector<std::string> commands = {"--help",
                                           "--version",
                                           "simplify --help",
                                           "print a",
                                           "simplify a",
                                           "eval 1",
                                           "convert a",
                                           "cast-int a",
                                           "factor a",
                                           "symbols a",
                                           "dump a",
                                           "dot a",
                                           "conditions " + sample,
                                           "conditions --format json " + sample,
                                           "conditions --format csv " + sample,
                                           "conditions --style compact --wrap " + sample,
                                           "simplify --explain a",
                                           "vars " + sample,
                                           "uses " + sample + " Mains",
#ifdef KSEXPR_DECIDES
                                           "active --residual " + sample,
                                           "why --block Pump1 " + sample,
                                           "check " + sample,
                                           "diff " + sample + ' ' + sample,
                                           "cover " + sample,
#endif
                                           "eval --values " + values + " Mains"};

TEST_F(KsExprProcess, TellsThatOutputIsFullOrClosed) {
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    const Outcome fine = shell("$ksexpr " + command);
    EXPECT_EQ(fine.status, 0);
    EXPECT_NE(fine.out, "");
    const std::string message = "ksexpr: cannot write to standard output: ";
    for (const auto& [output, reason] :
         {std::pair("/dev/full", "No space left on device"), {"&-", "Bad file descriptor"}}) {
      const Outcome found = shell("$ksexpr " + command + " >" + output);
      EXPECT_EQ(found.status, 1);
      EXPECT_EQ(found.err, message + reason + '\n');
    }
    // A full standard error hides the message and nothing else.
    EXPECT_EQ(shell("$ksexpr " + command + " 2>/dev/full").out, fine.out);
  }
  EXPECT_EQ(shell("$ksexpr print 'a b' 2>/dev/full").status, 1);
  EXPECT_EQ(shell("$ksexpr bogus 2>/dev/full").status, 2);
}

// A file that may not grow further is like a disk that is full.
TEST_F(KsExprProcess, TellsThatAFileCannotGrow) {
  // What goes to "file" is limited; the message and the status go through a pipe.
  const auto limited = [](const std::string& aBlocks, const std::string& aCommand) {
    return shell("(ulimit -f " + aBlocks + "; exec $ksexpr " + aCommand +
                 " 2>&1 >file; ) > pipe & cat pipe; wait $!; echo $?");
  };
  ASSERT_EQ(std::system("mkfifo pipe"), 0);
  const std::string message = "ksexpr: cannot write to standard output: File too large\n1\n";
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    EXPECT_EQ(limited("0", command).out, message);
    EXPECT_EQ(contentOf("file"), "");
  }
  EXPECT_EQ(limited("1", "conditions --format json " + sample).out, message);
  EXPECT_NE(contentOf("file"), "");
#ifdef KSEXPR_DECIDES
  std::ofstream("page.html") << "of yesterday";
  EXPECT_EQ(limited("1", "report -o page.html " + sample).out,
            "ksexpr: cannot write page.html: File too large\n1\n");
  EXPECT_EQ(contentOf("page.html"), "of yesterday");
  EXPECT_FALSE(std::filesystem::exists("page.html.part"));
#endif
}

TEST_F(KsExprProcess, TellsWhatCannotBeRead) {
  std::ofstream("values.csv") << "a\n1\n";
  const std::string input = "ksexpr: cannot read standard input: ";
  struct Row {
    std::string command;
    std::string message;
  };
  const Row rows[] = {
      {"print <&-", input + "Bad file descriptor\n"},
      {"simplify <.", input + "Is a directory\n"},
      {"eval --values values.csv <&-", input + "Bad file descriptor\n"},
      {"eval --values values.csv <.", input + "Is a directory\n"},
      {"eval --values - a <&-", "ksexpr: <stdin>: cannot read: Bad file descriptor\n"},
      {"eval --values . a", "ksexpr: .: cannot read: Is a directory\n"},
      {"conditions - <&-", "<stdin>: cannot read: Bad file descriptor\n"},
      {"conditions .", ".: cannot read: Is a directory\n"},
      {"conditions values.csv/model", "values.csv/model: cannot read: Not a directory\n"},
      {"vars .", ".: cannot read: Is a directory\n"},
      {"tree .", ".: cannot read: Is a directory\n"},
#ifdef KSEXPR_DECIDES
      {"active .", ".: cannot read: Is a directory\n"},
      {"diff " + sample + " .", ".: cannot read: Is a directory\n"},
      {"report -o page.html .", ".: cannot read: Is a directory\n"},
#endif
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.command);
    const Outcome found = shell("$ksexpr " + row.command);
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.out, "");
    EXPECT_EQ(found.err, row.message);
  }
  // Nobody needs what is closed but not asked for.
  EXPECT_EQ(shell("$ksexpr print a <&-").out, "a\n");
  for (const auto& [command, status] :
       {std::pair("print a >&-", 1), {"print 'a b'", 1}, {"bogus", 2}, {"conditions .", 1}}) {
    EXPECT_EQ(shell(std::string("$ksexpr ") + command + " 2>&-").status, status) << command;
  }
}

TEST_F(KsExprProcess, TellsThatAFileIsNotForIt) {
  write(modelOf({}));
  ASSERT_EQ(std::system("chmod 755 . && chmod 000 model.json"), 0);
  // Nothing is unreadable for the superuser.
  const std::string somebody =
      geteuid() == 0 ? "setpriv --reuid 65534 --regid 65534 --clear-groups " : "";
  if (shell(somebody + "$ksexpr --version").status != 0) {
    GTEST_SKIP() << "no other user may run the program";
  }
  const Outcome found = shell(somebody + "$ksexpr conditions model.json");
  EXPECT_EQ(found.status, 1);
  EXPECT_EQ(found.out, "");
  EXPECT_EQ(found.err, "model.json: cannot read: Permission denied\n");
}

TEST_F(KsExprProcess, LinesBeginBehindAByteOrderMark) {
  const Outcome found = shell(R"(printf '\357\273\277a\r\n\357\273\277b\nc\0d' | $ksexpr print)");
  EXPECT_EQ(found.status, 1);
  EXPECT_EQ(found.out, "a\n\n\n");
  EXPECT_THAT(found.err, HasSubstr("<stdin>:2:1: expected an operand"));
  EXPECT_THAT(found.err,
              HasSubstr("<stdin>:3:2: expected an operator or the end of the expression\n"
                        "c?d\n ^\n"));
  std::ofstream("values.csv") << "\xEF\xBB\xBF"
                                 "a\n1\n";
  EXPECT_EQ(shell(R"(printf '\357\273\277a' | $ksexpr eval --values values.csv)").out,
            "a\r\n1\r\n");
}

TEST_F(KsExprProcess, EndsQuietlyWhereNobodyReadsOn) {
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    // The reader has gone before the first write.
    const Outcome found =
        shell("{ sleep 0.05; $ksexpr " + command + "; echo $? >status; } | true; cat status");
    EXPECT_EQ(found.out, "0\n");
    EXPECT_EQ(found.err, "");
  }
  EXPECT_EQ(shell("yes a | { $ksexpr print; echo $? >status; } | head -n 1; cat status").out,
            "a\n0\n");
  // What failed before the end is told.
  const Outcome failed =
      shell("yes 'a b' | { $ksexpr print; echo $? >status; } | head -n 1; cat status");
  EXPECT_EQ(failed.out, "\n1\n");
  EXPECT_THAT(failed.err, HasSubstr("<stdin>:1:3: expected an operator"));
}

TEST_F(KsExprProcess, ReadsPipes) {
  write(
      modelOf({blockOf("b", "\"a\"", ", \"VV\": \"y\""), blockOf("a", "null", ", \"VV\": \"x\"")}));
  const std::string options = " --family vv --format csv";
  const std::string answer = "block,parent,vv_local,vv_net\r\nb,a,y,x && y\r\na,,x,x\r\n";
  EXPECT_EQ(shell("cat model.json | $ksexpr conditions /dev/stdin" + options).out, answer);
  EXPECT_EQ(shell("mkfifo pipe; cat model.json >pipe & $ksexpr conditions pipe" + options).out,
            answer);
  // Longer than what a pipe holds, in pieces.
  const std::string many = std::string(1000000, ' ');
  write(many + contentOf("model.json"));
  EXPECT_EQ(shell("{ head -c 70000 model.json; sleep 0.05; tail -c +70001 model.json; } | "
                  "$ksexpr conditions /dev/stdin" +
                  options)
                .out,
            answer);
  EXPECT_EQ(shell("cat model.json | $ksexpr conditions -" + options).out, answer);
  EXPECT_THAT(shell("$ksexpr conditions /dev/null").err, HasSubstr("/dev/null:1:1: syntax error"));

  const Outcome noText = shell("$ksexpr print </");
  EXPECT_EQ(noText.status, 1);
  EXPECT_EQ(noText.err, "ksexpr: cannot read standard input: Is a directory\n");
}

// The sanitizer takes terabytes of addresses.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool hasLimits = false;
#elif defined(__has_feature)
constexpr bool hasLimits = !__has_feature(address_sanitizer);
#else
constexpr bool hasLimits = true;
#endif

// Up from the least memory that the program is loaded in, a run either answers or says that the
// memory does not suffice.
TEST_F(KsExprProcess, TellsThatMemoryHasRunOut) {
  if (!hasLimits) GTEST_SKIP();
  std::vector<std::string> blocks{blockOf("0", "null")};
  for (int i = 1; i < 3000; ++i) {
    blocks.push_back(blockOf(std::to_string(i), '"' + std::to_string(i / 2) + '"',
                             ", \"CG\": \"bitand(x" + std::to_string(i % 100) + ", 1) == 1\""));
  }
  write(modelOf(blocks));
  std::ofstream("broken.json") << "{\"" << std::string(300000, 'x');
  std::ofstream("long") << std::string(250, '(') << 'a' << std::string(250, ')') << "\n[";
  struct Run {
    std::string command;
    int status;
    int step;  // from one limit to the next, in kilobytes
  };
  const Run runs[] = {
      {"$ksexpr --help", 0, 20},
      {"$ksexpr bogus", 2, 20},
      {"$ksexpr simplify <long", 1, 20},
      {"$ksexpr dot 'a + b'", 0, 20},
      {"$ksexpr conditions --format table " + sample, 0, 20},
      {"$ksexpr conditions --format json model.json", 0, 150},
      {"$ksexpr conditions --format csv --form c model.json", 0, 150},
      {"$ksexpr conditions broken.json", 1, 50},
  };
  for (const auto& [command, status, step] : runs) {
    SCOPED_TRACE(command);
    const Outcome answer = shell(command);
    EXPECT_EQ(answer.status, status);
    int numStarts = 0;
    int numAnswers = 0;
    for (int limit = 6000; numAnswers < 5 && limit < 100000; limit += step) {
      const Outcome found = shell("ulimit -v " + std::to_string(limit) + "; exec " + command);
      // The loader has its own words for it.
      if (numStarts == 0 && found.status == 127) continue;
      ++numStarts;
      if (found.err.find("out of memory") == std::string::npos) {
        ++numAnswers;
        EXPECT_EQ(found.status, status) << limit << ' ' << found.err;
        EXPECT_EQ(found.out, answer.out) << limit;
      } else {
        EXPECT_EQ(found.status, 1) << limit;
        EXPECT_EQ(found.err, "ksexpr: out of memory\n") << limit;
        EXPECT_EQ(found.out, answer.out.substr(0, found.out.size())) << limit;
      }
    }
    EXPECT_EQ(numAnswers, 5);
    EXPECT_GT(numStarts, 10);
  }
}

}  // namespace
