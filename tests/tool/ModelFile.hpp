// Model files for the tests that read one.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/tool/RunTool.hpp"

/// Works in a folder of its own, since tests run side by side.
class ModelFile : public testing::Test {
 protected:
  ModelFile() : folder(testing::TempDir() + "ksexprXXXXXX") {
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder " + folder);
    std::filesystem::current_path(folder);
  }
  ~ModelFile() override {
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
  }

  static void write(const std::string& aModel) {
    std::ofstream("model.json", std::ios::binary) << aModel;
  }

  /// Runs "conditions" on model.json with that text.
  static Outcome conditions(const std::string& aModel, std::vector<std::string> aOptions = {},
                            bool aOutIsTerminal = false) {
    write(aModel);
    aOptions.insert(aOptions.begin(), {"conditions", "model.json"});
    return run(aOptions, "", aOutIsTerminal);
  }

 private:
  std::string folder;
};

/// The text of a model with these blocks.
inline std::string modelOf(const std::vector<std::string>& aBlocks) {
  std::string text = "{\"blocks\": [";
  for (const std::string& block : aBlocks) text += (text.back() == '[' ? "\n" : ",\n") + block;
  return text + "\n]}\n";
}

/// A block; `aParent` and `aMore` are JSON.
inline std::string blockOf(const std::string& aId, const std::string& aParent,
                           const std::string& aMore = "") {
  return "{\"id\": \"" + aId + "\", \"parent\": " + aParent + aMore + '}';
}
