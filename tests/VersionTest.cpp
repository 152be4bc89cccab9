#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "base/KSVersion.hpp"
#include "version.hpp"

namespace {

TEST(Version, IsOneForThePreprocessorAndTheLibrary) {
  EXPECT_STREQ(libtqKSSymbolicExpr_version, KS_VERSION_STRING);
  EXPECT_EQ(std::to_string(KS_VERSION_MAJOR) + '.' + std::to_string(KS_VERSION_MINOR) + '.' +
                std::to_string(KS_VERSION_PATCH),
            KS_VERSION_STRING);
  EXPECT_EQ(KS_VERSION / 10000, KS_VERSION_MAJOR);
  EXPECT_EQ(KS_VERSION % 10000, KS_VERSION_MINOR * 100 + KS_VERSION_PATCH);
}

TEST(Version, DateOfTheBuild) {
  EXPECT_TRUE(
      std::regex_match(libtqKSSymbolicExpr_build_date, std::regex(R"(\d{4}-[01]\d-[0-3]\d)")));
}

}  // namespace
