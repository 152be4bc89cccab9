#include <gtest/gtest.h>

#include <algorithm>
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
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  std::string shape = libtqKSSymbolicExpr_build_date;
  std::replace_if(shape.begin(), shape.end(), isDigit, '9');
  EXPECT_EQ(shape, "9999-99-99") << libtqKSSymbolicExpr_build_date;
}

}  // namespace
