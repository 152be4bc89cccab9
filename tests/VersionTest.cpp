#include "base/KSVersion.hpp"

#include <gtest/gtest.h>

#include <regex>

namespace {

TEST(Version, dataSymbols) {
  EXPECT_TRUE(std::regex_match(libtqKSSymbolicExpr_version, std::regex(R"(\d+\.\d+\.\d+)")));
  EXPECT_TRUE(
      std::regex_match(libtqKSSymbolicExpr_build_date, std::regex(R"(\d{4}-[01]\d-[0-3]\d)")));
}

}  // namespace
