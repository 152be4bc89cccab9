// The most memory that is allocated at the same time.
#pragma once

#include <cstddef>

namespace KS::test {

/// Measures what the code allocates with `new` beyond what was allocated when the object was made.
/// The sanitizers count memory in their own way, so nothing is measured under them.
class HeapPeak {
 public:
#ifdef __SANITIZE_ADDRESS__
  static constexpr bool isMeasured = false;
#else
  static constexpr bool isMeasured = true;
#endif

  HeapPeak();
  /// The peak since then, in bytes; 0 where nothing is measured.
  std::size_t bytes() const;

 private:
  std::size_t before;
};

}  // namespace KS::test
