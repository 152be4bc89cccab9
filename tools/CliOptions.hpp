// Helpers for describing command lines.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/Layout.hpp"
#include "tools/Nearest.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

/// Words that an option takes, and what they mean.
template <class Value>
using Choices = std::vector<std::pair<std::string, Value>>;

template <class Value>
std::optional<Value> choose(const Choices<Value>& aChoices, const std::string& aWord) {
  for (const auto& [word, value] : aChoices) {
    if (word == aWord) return value;
  }
  return std::nullopt;
}

/// The words as "a|b".
template <class Value>
std::string wordsOf(const Choices<Value>& aChoices, const char* aSeparator) {
  std::string words;
  for (const auto& [word, value] : aChoices) words += (words.empty() ? "" : aSeparator) + word;
  return words;
}

/// The message for a word that is none of the choices.
template <class Value>
std::string notOneOf(const Choices<Value>& aChoices, const char* aSeparator,
                     const std::string& aWord) {
  std::vector<std::string_view> words;
  for (const auto& choice : aChoices) words.push_back(choice.first);
  return '"' + shortened(aWord) + "\" is not one of " + wordsOf(aChoices, aSeparator) +
         didYouMean(aWord, words, 1);
}

/// Adds an option that takes one of a few words.
template <class Value, class Store>
void addChoice(CLI::App& aCommand, const char* aName, const char* aHelp,
               const Choices<Value>& aChoices, Store aStore) {
  const std::string words = wordsOf(aChoices, "|");
  const auto store = [=](const std::string& word) { aStore(*choose(aChoices, word)); };
  const auto check = [=](const std::string& word) {
    return choose(aChoices, word) ? "" : notOneOf(aChoices, "|", word);
  };
  aCommand.add_option_function<std::string>(aName, store, aHelp)->type_name(words)->check(check);
}

/// Adds an option that takes some of a few words, separated by commas.
template <class Value, class Store>
void addChoices(CLI::App& aCommand, const std::string& aName, const char* aHelp,
                const Choices<Value>& aChoices, Store aStore) {
  const auto store = [=](const std::vector<std::string>& words) {
    std::vector<Value> values;
    for (const std::string& word : words) {
      const auto value = choose(aChoices, word);
      if (!value) {
        throw CLI::ValidationError(aName, notOneOf(aChoices, ", ", word));
      }
      values.push_back(*value);
    }
    aStore(values);
  };
  aCommand.add_option_function<std::vector<std::string>>(aName, store, aHelp)
      ->type_name(wordsOf(aChoices, ","))
      ->delimiter(',')
      ->allow_extra_args(false);
}

/// What a command says of the model that it takes.
inline constexpr const char* modelHelp = "The model file (JSON), or - for standard input";

/// Adds how wide a command's answer may be.
inline void addWidth(CLI::App& aCommand, Layout& aLayout) {
  aCommand
      .add_option(
          "--width", aLayout.width,
          "The columns that a row may take, 0 for no limit (default: those of the terminal)")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{0}, maxTableWidth).description(""));
}

/// Adds how a command's tables fit a screen.
inline void addTableOptions(CLI::App& aCommand, Layout& aLayout) {
  addWidth(aCommand, aLayout);
  CLI::Option* const wrap = aCommand.add_flag_callback(
      "--wrap", [&aLayout] { aLayout.fit = Fit::Wrap; },
      "Wrap texts that are wider than their column (default)");
  aCommand
      .add_flag_callback(
          "--cut", [&aLayout] { aLayout.fit = Fit::Cut; },
          "Cut texts that are wider than their column")
      ->excludes(wrap);
}

/// Adds the flag that leaves out what is no answer.
inline void addQuiet(CLI::App& aCommand, bool& aQuiet) {
  aCommand.add_flag("--quiet", aQuiet, "Leave out summary, progress and warnings");
}

}  // namespace ksexpr
