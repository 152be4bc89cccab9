// What the fuzz targets share: bytes as choices, and findings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace KS::fuzz {

/// Ends the process with a message; libFuzzer keeps the input that led here.
[[noreturn]] inline void fail(const std::string& aMessage) {
  std::fprintf(stderr, "==FINDING== %s\n", aMessage.c_str());
  std::abort();
}

/// Fails with what the callable tells, unless the condition holds.
template <class Tell>
void require(bool aCondition, const Tell& aTell) {
  if (!aCondition) fail(aTell());
}

/// Reads decisions from bytes. Beyond the end every byte is 0, so every input means something.
class Choices {
 public:
  Choices(const std::uint8_t* aData, std::size_t aSize) : data(aData), size(aSize) {}

  bool isAtEnd() const { return size == 0; }
  std::uint8_t byte() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
  /// 0 to `aCount - 1`; `aCount` is at most 65,536 and not 0.
  std::size_t pick(std::size_t aCount) {
    std::size_t value = byte();
    if (aCount > 256) value = value << 8 | byte();
    return value % aCount;
  }
  template <std::size_t count>
  const char* oneOf(const char* const (&aTexts)[count]) {
    return aTexts[pick(count)];
  }

 private:
  const std::uint8_t* data;
  std::size_t size;
};

/// A number that depends on all bytes, for choices that should not change with the input's layout.
inline std::uint64_t digestOf(const std::uint8_t* aData, std::size_t aSize) {
  std::uint64_t digest = 14695981039346656037U;
  for (std::size_t i = 0; i < aSize; ++i) digest = (digest ^ aData[i]) * 1099511628211U;
  return digest ^ digest >> 32;
}

}  // namespace KS::fuzz
