#include "simplify/detail/TextOrder.hpp"

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <cassert>
#include <cstdint>
#include <utility>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Digest.hpp"
#include "print/detail/Operators.hpp"

namespace KS::detail {

namespace {

// A text with its first bytes as a number, which mostly decides without a look at the text.
struct SortKey {
  std::uint64_t start = 0;
  std::string_view text;
  SymbolicExprId id;

  SortKey(std::string_view aText, SymbolicExprId aId) : text(aText), id(aId) {
    for (std::size_t i = 0; i < sizeof start; ++i) {
      start = start << 8 | (i < aText.size() ? static_cast<unsigned char>(aText[i]) : 0U);
    }
  }
  bool operator<(const SortKey& aOther) const {
    if (start != aOther.start) return start < aOther.start;
    const int order = text.compare(aOther.text);
    return order != 0 ? order < 0 : id < aOther.id;
  }
};

}  // namespace

TextOrder::TextOrder(const SymbolicExprTable& aTable)
    : table(aTable), printer(aTable, false, false, false) {}

std::string_view TextOrder::text(SymbolicExprId aId) {
  // A symbol is its own text.
  if (Digests::kindOf(table, aId) == SymbolicOp::String) {
    return static_cast<const SymbolicString&>(*table.get(aId)).getText();
  }
  if (const auto known = texts.find(aId); known != texts.end()) return *known->second;
  auto rendered = std::make_unique<const std::string>(
      Digests::kindOf(table, aId) == SymbolicOp::And ? conjunctionText(aId) : printer(aId));
  return *texts.emplace(aId, std::move(rendered)).first->second;
}

// What the printer gives for a conjunction, from the texts of its operands, which are mostly known:
// conjunctions are what is sorted most.
std::string TextOrder::conjunctionText(SymbolicExprId aId) {
  boost::container::small_vector<SymbolicExprId, 12> operands;
  SymbolicExprId link = aId;
  for (; Digests::kindOf(table, link) == SymbolicOp::And; link = Digests::of(table)[link].first) {
    operands.push_back(Digests::of(table)[link].second);
    if (Digests::kindOf(table, operands.back()) == SymbolicOp::And) return printer(aId);
  }
  operands.push_back(link);
  std::string joined;
  for (auto operand = operands.rbegin(); operand != operands.rend(); ++operand) {
    const bool isOr = Digests::kindOf(table, *operand) == SymbolicOp::Or;
    if (!joined.empty()) joined += "&&";
    if (isOr) joined += '(';
    joined += text(*operand);
    if (isOr) joined += ')';
  }
  assert(joined == printer(aId));
  return joined;
}

// The first characters of the text. Of an operation whose left operand stands bare they are that
// operand's, so a chain that grows operand by operand is not rendered again with each of them.
const TextOrder::Start& TextOrder::start(SymbolicExprId aId) {
  boost::container::small_vector<SymbolicExprId, 12> path;
  SymbolicExprId id = aId;
  for (; !starts.contains(id); id = Digests::of(table)[id].first) {
    const SymbolicOp op = Digests::kindOf(table, id);
    if (op < SymbolicOp::Plus || op > SymbolicOp::ShiftRight || table.get(id)->isUnary()) break;
    const SymbolicOp left = Digests::kindOf(table, Digests::of(table)[id].first);
    const bool isBare = operatorText(left).spelling(false) == nullptr ||
                        operatorText(left).precedence <= operatorText(op).precedence;
    if (!isBare) break;
    path.push_back(id);
  }
  Start begin;
  if (const auto known = starts.find(id); known != starts.end()) {
    begin = known->second;
  } else {
    const std::string_view whole = text(id);
    begin = {std::string(whole.substr(0, startLength)), whole.size() <= startLength};
    starts.emplace(id, begin);
  }
  for (auto link = path.rbegin(); link != path.rend(); ++link) {
    if (begin.isWhole) begin.text += operatorText(Digests::kindOf(table, *link)).spelling(false);
    begin.isWhole = false;
    starts.emplace(*link, begin);
  }
  return starts.find(aId)->second;
}

int TextOrder::compare(SymbolicExprId a, SymbolicExprId b) {
  if (a == b) return 0;
  const auto isSymbol = [this](SymbolicExprId aId) {
    return Digests::kindOf(table, aId) == SymbolicOp::String;
  };
  if (!isSymbol(a) || !isSymbol(b)) {
    const Start first = start(a);
    const Start& second = start(b);
    const std::size_t common = std::min(first.text.size(), second.text.size());
    const int order = first.text.compare(0, common, second.text, 0, common);
    if (order != 0) return order;
    if (first.isWhole && first.text.size() == common)
      return second.isWhole && second.text.size() == common ? 0 : -1;
    if (second.isWhole && second.text.size() == common) return 1;
  }
  return text(a).compare(text(b));
}

void TextOrder::sort(SymbolicExprId* aFirst, SymbolicExprId* aLast) {
  if (aLast - aFirst < 2) return;
  boost::container::small_vector<SortKey, 12> keys;
  for (const SymbolicExprId* id = aFirst; id != aLast; ++id)
    keys.push_back(SortKey(text(*id), *id));
  std::sort(keys.begin(), keys.end());
  std::transform(keys.begin(), keys.end(), aFirst, [](const SortKey& key) { return key.id; });
}

}  // namespace KS::detail
