#include "tests/support/Recorded.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/support/Instrumented.hpp"

namespace KS::test {

void Recorded::add(const std::string& aLine) {
  if (numLines++ % linesOfDigest == 0) digests.emplace_back();
  Digest& digest = digests.back();
  for (const char byte : aLine + "\n") {  // FNV-1a
    digest.hash = (digest.hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  }
  digest.bytes += aLine.size() + 1;
  lines += aLine + "\n";
}

void Recorded::compare() const {
  ASSERT_EQ(numLines % (tries(4) * linesOfDigest), 0U)
      << "a quarter of the lines, which is compared with sanitizers, takes no whole digests";
  std::vector<std::string> found;
  for (const Digest& digest : digests) {
    std::ostringstream row;
    row.imbue(std::locale::classic());
    row << std::hex << digest.hash << std::dec << ' ' << digest.bytes << " bytes";
    found.push_back(row.str());
  }
  const char* const folder = std::getenv("KS_RECORD");
  if (folder != nullptr) {
    std::ofstream(std::string(folder) + '/' + name + ".lines") << lines;
    std::ofstream digestFile(std::string(folder) + '/' + name + ".txt");
    for (const std::string& row : found) digestFile << row << '\n';
  }
  std::ifstream recorded(KS_SOURCE_DIR "/tests/recorded/" + name + ".txt");
  ASSERT_TRUE(recorded) << name;
  for (std::size_t i = 0; i < found.size(); ++i) {
    std::string row;
    std::getline(recorded, row);
    EXPECT_EQ(found[i], row) << "other answers among the lines from " << i * linesOfDigest + 1
                             << " of " << name << "; KS_RECORD=FOLDER writes them there";
  }
}

}  // namespace KS::test
