// Helpers for describing command lines.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

/// Adds an option that takes one of a few words.
template <class Value, class Store>
void addChoice(CLI::App& aCommand, const char* aName, const char* aHelp,
               const Choices<Value>& aChoices, Store aStore) {
  const std::string words = wordsOf(aChoices, "|");
  const auto store = [=](const std::string& word) { aStore(*choose(aChoices, word)); };
  const auto check = [=](const std::string& word) {
    return choose(aChoices, word) ? "" : '"' + word + "\" is not one of " + words;
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
        throw CLI::ValidationError(aName,
                                   '"' + word + "\" is not one of " + wordsOf(aChoices, ", "));
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

}  // namespace ksexpr
