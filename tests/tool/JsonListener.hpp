// What a reader of JSON tells, written down.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/JsonReader.hpp"

/// Writes down what it is told.
class JsonListener final : public ksexpr::JsonHandler {
 public:
  bool null(std::size_t aOffset) override { return note("null", aOffset); }
  bool boolean(std::size_t aOffset, bool aValue) override {
    return note(aValue ? "true" : "false", aOffset);
  }
  bool number(std::size_t aOffset, double aValue) override {
    return note(std::to_string(aValue), aOffset);
  }
  bool string(std::size_t aOffset, std::string_view aValue) override {
    return note('"' + std::string(aValue), aOffset);
  }
  bool key(std::size_t aOffset, std::string_view aName) override {
    return note(std::string(aName) + ':', aOffset);
  }
  bool startObject(std::size_t aOffset) override { return note("{", aOffset); }
  bool endObject() override { return note("}", 0); }
  bool startArray(std::size_t aOffset) override { return note("[", aOffset); }
  bool endArray() override { return note("]", 0); }
  void syntaxError(std::size_t aOffset, const std::string& aMessage) override {
    note(aMessage, aOffset);
  }

  std::vector<std::string> told;

 private:
  bool note(const std::string& aText, std::size_t aOffset) {
    told.push_back(aText + " at " + std::to_string(aOffset));
    return true;
  }
};

/// What two threads tell of a text, as one would; nothing where they do not read it.
inline std::optional<std::vector<std::string>> toldByHalves(std::string& aText) {
  JsonListener first, second;
  if (!ksexpr::readSoundHalves(aText, first, second)) return std::nullopt;
  std::vector<std::string> told = std::move(first.told);
  // The second half is an array of its own, and nobody tells the end of the object.
  told.insert(told.end(), second.told.begin() + 1, second.told.end());
  told.emplace_back("} at 0");
  return told;
}
