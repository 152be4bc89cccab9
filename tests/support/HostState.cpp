// The state of the process that a host may have left: every program of tests runs in it where the
// environment variable KS_TEST_HOST_STATE says so, with one or several of these words:
//
// - "locale": numbers have a comma before their fraction and points between their thousands, in the
//   locale of C and in that of C++;
// - "threads": another thread keeps changing the locale's numbers;
// - "rounding": results of arithmetic are rounded up.
//
// tests/host-state.sh makes the locale that the first two need.
#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <locale>
#include <string>
#include <thread>

namespace {

constexpr const char* german = "de_DE.UTF-8";

class GermanNumbers final : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

class HostState final : public testing::Environment {
 public:
  void SetUp() override {
    const char* const words = std::getenv("KS_TEST_HOST_STATE");
    const std::string wanted = words == nullptr ? "" : words;
    const auto wants = [&](const char* word) { return wanted.find(word) != std::string::npos; };
    if (wants("locale")) {
      std::locale::global(std::locale(std::locale::classic(), new GermanNumbers));
      ASSERT_NE(std::setlocale(LC_NUMERIC, german), nullptr);
      ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    }
    if (wants("threads")) {
      // Held, so that none goes away while another thread reads it.
      ASSERT_NE(newlocale(LC_ALL_MASK, german, nullptr), nullptr);
      changer = std::thread([this] {
        while (!isOver) {
          std::setlocale(LC_NUMERIC, german);
          std::setlocale(LC_NUMERIC, "C");
          std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
      });
    }
    if (wants("rounding")) {
      ASSERT_EQ(std::fesetround(FE_UPWARD), 0);
    }
  }

  void TearDown() override {
    isOver = true;
    if (changer.joinable()) changer.join();
  }

 private:
  std::atomic<bool> isOver{false};
  std::thread changer;
};

[[maybe_unused]] const testing::Environment* const hostState =
    testing::AddGlobalTestEnvironment(new HostState);

}  // namespace
