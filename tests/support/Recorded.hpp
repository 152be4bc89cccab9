// Answers as they were when they were recorded: what no other test calls wrong, but nobody meant to
// change either.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

namespace KS::test {

/// Compares answers of one kind with digests of them in tests/recorded, one for every
/// `linesOfDigest` lines. Where the environment names a folder in KS_RECORD, the digests and the
/// lines themselves are written there; the lines of an earlier version beside them show what has
/// changed.
class Recorded {
 public:
  static constexpr std::size_t linesOfDigest = 500;

  explicit Recorded(std::string aName) : name(std::move(aName)) {}

  void add(const std::string& aLine);

  /// Fails where answers differ. Fewer of them than were recorded may be compared, as many digests
  /// as there are.
  void compare() const;

 private:
  struct Digest {
    std::uint64_t hash = 0xcbf29ce484222325;
    std::size_t bytes = 0;
  };

  std::string name;
  std::size_t numLines = 0;
  std::vector<Digest> digests;
  std::string lines;
};

/// What an operation gives, or the text of the error that it throws.
template <class Give>
std::string outcome(const Give& aGive) {
  try {
    return aGive();
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace KS::test
