// Loads a part that uses the library, asks it and unloads both, a hundred times: the answers stay
// the same, the library goes each time, and keeps no memory but its grammar's.
//   ks_unload_test PART LIBRARY...
#include <dlfcn.h>
#include <malloc.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int numRounds = 100;
// By then everything that stays in the process was allocated.
constexpr int settledRounds = 20;
// A grammar, which is never destroyed, takes 5 KB.
constexpr std::size_t keptPerRound = 6 * 1024;

int fail(int aRound, const std::string& aMessage) {
  std::fprintf(stderr, "round %d: %s\n", aRound, aMessage.c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const char* const part = argv[1];
  const std::vector<const char*> files(argv + 1, argv + argc);  // that come and go
  const std::vector<std::string> texts{"(a || b) && (a || c) && x > 1.5 && x >= 2",
                                       "a && !a",
                                       "f(1, n) * 2 + m / 3 == 0.1",
                                       "a &&",
                                       "true[0] + 1",
                                       "(p == 1 || p == 2 || p == 3) && p != 2"};
  std::vector<std::string> first;
  std::size_t settled = 0;
  for (int round = 0; round < numRounds; ++round) {
    void* const handle = dlopen(part, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return fail(round, dlerror());
    const auto tell =
        reinterpret_cast<void (*)(const char*, char*, std::size_t)>(dlsym(handle, "tell"));
    if (tell == nullptr) return fail(round, dlerror());
    for (std::size_t i = 0; i < texts.size(); ++i) {
      std::array<char, 512> answer{};
      tell(texts[i].c_str(), answer.data(), answer.size());
      if (round == 0) {
        std::printf("%s: %s\n", texts[i].c_str(), answer.data());
        first.emplace_back(answer.data());
      }
      if (first[i] != answer.data()) return fail(round, answer.data());
    }
    if (dlclose(handle) != 0) return fail(round, dlerror());
    for (const char* const file : files) {
      if (dlopen(file, RTLD_NOW | RTLD_NOLOAD) != nullptr) {
        return fail(round, std::string(file) + " is still there");
      }
    }
    const std::size_t used = mallinfo2().uordblks;
    if (round <= settledRounds) {
      settled = used;
    } else if (used > settled + static_cast<std::size_t>(round - settledRounds) * keptPerRound) {
      return fail(round, std::to_string(used - settled) + " bytes more than before");
    }
  }
  return 0;
}
