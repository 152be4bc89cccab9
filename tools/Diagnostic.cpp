#include "tools/Diagnostic.hpp"

#include <algorithm>

#include "tools/Text.hpp"

namespace ksexpr {

namespace {

// How much of a line is shown before and after the caret, in bytes.
constexpr std::size_t shownBefore = 70;
constexpr std::size_t shownAfter = 30;
// How much room these take at most, since tabs take more than one column.
constexpr std::size_t maxWidthBefore = 120;
constexpr std::size_t maxWidthAfter = 60;

bool isContinuation(char aByte) { return (static_cast<unsigned char>(aByte) & 0xC0) == 0x80; }

std::size_t lineStart(std::string_view aText, std::size_t aOffset) {
  const std::size_t newline =
      aOffset == 0 ? std::string_view::npos : aText.rfind('\n', aOffset - 1);
  return newline == std::string_view::npos ? 0 : newline + 1;
}

}  // namespace

Place placeOf(std::string_view aText, std::size_t aOffset) {
  aOffset = std::min(aOffset, aText.size());
  const std::string_view before = aText.substr(0, aOffset);
  const auto newlines = std::count(before.begin(), before.end(), '\n');
  return {static_cast<std::size_t>(newlines) + 1,
          countCharacters(before.substr(lineStart(aText, aOffset))) + 1};
}

Lines::Lines(std::string_view aText) {
  for (std::size_t i = 0; (i = aText.find('\n', i)) != std::string_view::npos; ++i) {
    ends.push_back(i);
  }
}

std::size_t Lines::lineOf(std::size_t aOffset) const {
  const auto end = std::lower_bound(ends.begin(), ends.end(), aOffset);
  return static_cast<std::size_t>(end - ends.begin()) + 1;
}

std::string excerpt(std::string_view aText, std::size_t aOffset) {
  aOffset = std::min(aOffset, aText.size());
  const std::size_t start = lineStart(aText, aOffset);
  const std::size_t end = std::min(aText.find('\n', aOffset), aText.size());
  std::size_t from = aOffset - std::min(aOffset - start, shownBefore);
  std::size_t to = aOffset + std::min(end - aOffset, shownAfter);
  while (printable(aText.substr(from, aOffset - from)).size() > maxWidthBefore) ++from;
  while (printable(aText.substr(aOffset, to - aOffset)).size() > maxWidthAfter) --to;
  // Cut between characters, so that a cut leaves no broken one behind.
  while (from > start && from < aOffset && isContinuation(aText[from])) ++from;
  while (to < end && to > aOffset && isContinuation(aText[to])) --to;

  std::string out = from > start ? "..." : "";
  const std::size_t column = appendPrintable(out, aText.substr(from, aOffset - from), out.size());
  appendPrintable(out, aText.substr(aOffset, to - aOffset), column);
  if (to < end) out += "...";
  return out + '\n' + std::string(column, ' ') + "^\n";
}

std::string diagnostic(const std::string& aSource, std::size_t aFirstLine, std::string_view aText,
                       std::size_t aOffset, const std::string& aMessage) {
  const Place place = placeOf(aText, aOffset);
  return printable(aSource) + ':' + std::to_string(aFirstLine + place.line - 1) + ':' +
         std::to_string(place.column) + ": " + aMessage + '\n' + excerpt(aText, aOffset);
}

bool ProblemCounts::add(std::string_view aKind) {
  auto found = std::find_if(counts.begin(), counts.end(),
                            [aKind](const auto& count) { return count.first == aKind; });
  if (found == counts.end()) found = counts.insert(found, {aKind, 0});
  return ++found->second <= maxTold;
}

void ProblemCounts::addUntold(const ProblemCounts& aOthers) {
  for (const auto& [kind, count] : aOthers.counts) {
    for (std::size_t i = maxTold; i < count; ++i) add(kind);
  }
}

std::string ProblemCounts::remaining(const std::string& aSource) const {
  std::string out;
  for (const auto& [kind, count] : counts) {
    if (count <= maxTold) continue;
    out += printable(aSource) + ": " + std::to_string(count - maxTold) + " more ";
    out.append(kind) += '\n';
  }
  return out;
}

std::string diagnostic(const std::string& aSource, std::size_t aFirstLine, std::string_view aText,
                       const KS::SymbolicExprParseError& aError) {
  return diagnostic(aSource, aFirstLine, aText, aError.offset, "expected " + aError.expected) +
         noteLine(aError.note);
}

std::string noteLine(const std::string& aNote) {
  return aNote.empty() ? std::string() : "note: " + aNote + '\n';
}

}  // namespace ksexpr
