// Runs a fuzz target where there is no libFuzzer: on files, and on changes of them from a seed.
//   replay_TARGET [--changes N] FILE-OR-FOLDER...
// Where one fails, it is left behind in the working folder as "failed-input".
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

// NOLINTBEGIN(readability-redundant-declaration): no header has them
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* aData, std::size_t aSize);
// Of targets that have one.
extern "C" [[gnu::weak]] std::size_t LLVMFuzzerCustomMutator(std::uint8_t* aData, std::size_t aSize,
                                                             std::size_t aMaxSize,
                                                             unsigned int aSeed);
// NOLINTEND(readability-redundant-declaration)

namespace {

constexpr std::size_t maxSize = 4096;
std::mt19937 randomNumbers(20241122);
std::size_t pick(std::size_t aCount) { return randomNumbers() % aCount; }

// The input that is being tried, for the case that it ends the process.
const char* const keptInput = "failed-input";

void test(const std::vector<std::uint8_t>& aInput) {
  std::ofstream(keptInput, std::ios::binary)
      .write(reinterpret_cast<const char*>(aInput.data()),
             static_cast<std::streamsize>(aInput.size()));
  // A copy of exactly that size, so that whoever reads on is found out.
  const std::vector<std::uint8_t> input(aInput.begin(), aInput.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

std::vector<std::uint8_t> changed(std::vector<std::uint8_t> aInput) {
  aInput.resize(std::min(aInput.size(), maxSize));
  const std::size_t size = aInput.size();
  aInput.resize(maxSize);
  const auto seed = static_cast<unsigned int>(randomNumbers());
  aInput.resize(LLVMFuzzerCustomMutator != nullptr
                    ? LLVMFuzzerCustomMutator(aInput.data(), size, maxSize, seed)
                    : size);
  return aInput;
}

}  // namespace

// Changes a few bytes, puts some in or takes some out.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* aData, std::size_t aSize,
                                        std::size_t aMaxSize) {
  std::vector<std::uint8_t> bytes(aData, aData + aSize);
  for (std::size_t i = 1 + pick(4); i > 0; --i) {
    const auto place = static_cast<std::ptrdiff_t>(pick(bytes.size() + 1));
    const std::size_t left = bytes.size() - static_cast<std::size_t>(place);
    const auto count = static_cast<std::ptrdiff_t>(std::min(left, 1 + pick(8)));
    switch (pick(4)) {
      case 0: bytes.erase(bytes.begin() + place, bytes.begin() + place + count); break;
      case 1: {
        const std::vector<std::uint8_t> part(bytes.begin() + place, bytes.begin() + place + count);
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(pick(bytes.size() + 1)),
                     part.begin(), part.end());
        break;
      }
      case 2: bytes.insert(bytes.begin() + place, static_cast<std::uint8_t>(pick(256))); break;
      default:
        if (left != 0)
          bytes[static_cast<std::size_t>(place)] = static_cast<std::uint8_t>(pick(256));
    }
  }
  bytes.resize(std::min(bytes.size(), aMaxSize));
  std::copy(bytes.begin(), bytes.end(), aData);
  return bytes.size();
}

int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape): that is a failure, too
  namespace fs = std::filesystem;
  std::vector<std::string> paths(argv + 1, argv + argc);
  std::size_t changes = 0;
  if (paths.size() > 1 && paths[0] == "--changes") {
    changes = std::strtoul(paths[1].c_str(), nullptr, 10);
    paths.erase(paths.begin(), paths.begin() + 2);
  }
  std::vector<fs::path> files;
  for (const std::string& path : paths) {
    if (!fs::is_directory(path)) {
      files.emplace_back(path);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(path)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<std::vector<std::uint8_t>> inputs;
  for (const fs::path& path : files) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
      std::cerr << "cannot read " << path << '\n';
      return 1;
    }
    inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  if (inputs.empty()) {
    std::cerr << "no inputs\n";
    return 1;
  }
  for (const auto& input : inputs) test(input);
  for (std::size_t i = 0; i < changes; ++i) {
    std::vector<std::uint8_t> input = inputs[i % inputs.size()];
    for (std::size_t k = 1 + pick(4); k > 0; --k) {
      if (LLVMFuzzerCustomMutator == nullptr || pick(3) == 0) {
        const std::size_t size = std::min(input.size(), maxSize);
        input.resize(maxSize);
        input.resize(LLVMFuzzerMutate(input.data(), size, maxSize));
      } else {
        input = changed(std::move(input));
      }
    }
    test(input);
  }
  fs::remove(keptInput);
  std::cout << inputs.size() << " inputs, " << changes << " changed ones\n";
  return 0;
}
