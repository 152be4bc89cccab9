#include "simplify/detail/TextOrder.hpp"

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <utility>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Digest.hpp"
#include "print/detail/Operators.hpp"

namespace KS::detail {

TextOrder::TextOrder(const SymbolicExprTable& aTable) : table(aTable) {}

TextOrder::Key TextOrder::key(SymbolicExprId aId) {
  if (Digests::kindOf(table, aId) == SymbolicOp::And) {
    // A conjunction begins with its first operand: mostly as many bytes as a key needs.
    SymbolicExprId first = aId;
    while (Digests::kindOf(table, first) == SymbolicOp::And)
      first = Digests::of(table)[first].first;
    if (Digests::kindOf(table, first) != SymbolicOp::Or) {
      Key key = this->key(first);
      key.id = aId;
      key.isWhole = false;
      if (key.start.size() >= sizeof key.number) return key;
    }
  }
  // A symbol is its own text.
  if (Digests::kindOf(table, aId) == SymbolicOp::String) {
    const std::string_view text = static_cast<const SymbolicString&>(*table.get(aId)).getText();
    return {aId, text, true, firstBytes(text)};
  }
  const TextStart& begin = start(aId);
  return {aId, begin.view(), begin.isWhole, begin.number};
}

// An operation starts with its left operand where that stands bare, and is at least a character
// longer. So the start of a deep one is that of an operand on its left edge that has more others
// below it than the start has characters: it is written once for all of a growing chain.
const TextStart& TextOrder::start(SymbolicExprId aId) {
  if (const auto known = starts.find(aId); known != starts.end()) return *known->second;
  const auto left = [this](SymbolicExprId id) {
    return SymbolicExprId{Digests::of(table)[id].first};
  };
  SymbolicExprId deep = aId;
  std::size_t links = 0;
  for (SymbolicExprId id = aId; startsWithLeft(id); id = left(id)) {
    if (++links > TextStart::capacity + 1) deep = left(deep);
  }
  if (deep != aId) return *starts.emplace(aId, &start(deep)).first->second;
  pool.push_back(textStart(table, aId));
  return *starts.emplace(aId, &pool.back()).first->second;
}

bool TextOrder::startsWithLeft(SymbolicExprId aId) const {
  const NodeDigest& node = Digests::of(table)[aId];
  const auto op = static_cast<SymbolicOp>(node.kind);
  const bool isBinary =
      op >= SymbolicOp::Plus && op <= SymbolicOp::ShiftRight && node.second != NodeDigest::none;
  if (!isBinary) return false;
  const SymbolicOp left = Digests::kindOf(table, node.first);
  return operatorText(left).spelling(false) == nullptr ||
         operatorText(left).precedence <= operatorText(op).precedence;
}

int TextOrder::compare(const Key& a, const Key& b) {
  if (a.number != b.number) return a.number < b.number ? -1 : 1;
  if (const int order = compareStarts(a, b)) return order;
  const std::size_t common = std::min(a.start.size(), b.start.size());
  const bool endsA = a.isWhole && a.start.size() == common;
  const bool endsB = b.isWhole && b.start.size() == common;
  if (endsA || endsB) return static_cast<int>(endsB) - static_cast<int>(endsA);
  return compareWholly(a.id, b.id);
}

int TextOrder::compareWholly(SymbolicExprId a, SymbolicExprId b) {
  if (const int order = compareLeads(a, b)) return order;
  if (const int order = compareConjunctions(a, b)) return order;
  if (a > b) return -compareWholly(b, a);
  if (const auto known = orders.find({a, b}); known != orders.end()) return known->second;
  const int order = compareTexts(table, a, b);
  if (orders.size() == maxOrders) orders.clear();
  orders.emplace(std::make_pair(a, b), order);
  return order;
}

// The operands with which two expressions begin, where their texts differ before one of them ends;
// else zero. The text of a symbol is at hand however long it is.
int TextOrder::compareLeads(SymbolicExprId a, SymbolicExprId b) {
  constexpr int mostLinks = 8;
  const auto lead = [this](SymbolicExprId aId) {
    for (int i = 0; i < mostLinks && startsWithLeft(aId); ++i) aId = Digests::of(table)[aId].first;
    return aId;
  };
  const SymbolicExprId x = lead(a), y = lead(b);
  return x == y ? 0 : compareStarts(key(x), key(y));
}

// What the starts of two texts decide.
int TextOrder::compareStarts(const Key& a, const Key& b) {
  const std::size_t common = std::min(a.start.size(), b.start.size());
  return a.start.compare(0, common, b.start, 0, common);
}

// The first operands in which two conjunctions differ order them, where their texts differ before
// one of them ends and both stand bare; else zero.
int TextOrder::compareConjunctions(SymbolicExprId a, SymbolicExprId b) {
  using Ids = boost::container::small_vector<SymbolicExprId, 16>;
  const auto operands = [this](SymbolicExprId aLink) {
    Ids ids;
    for (; Digests::kindOf(table, aLink) == SymbolicOp::And;
         aLink = Digests::of(table)[aLink].first)
      ids.push_back(Digests::of(table)[aLink].second);
    ids.push_back(aLink);
    return ids;
  };
  const auto isBare = [this](SymbolicExprId aId) {
    const SymbolicOp op = Digests::kindOf(table, aId);
    return op != SymbolicOp::And && op != SymbolicOp::Or;
  };
  const Ids ofA = operands(a), ofB = operands(b);
  const auto [x, y] = std::mismatch(ofA.rbegin(), ofA.rend(), ofB.rbegin(), ofB.rend());
  if (x == ofA.rend() || y == ofB.rend() || !isBare(*x) || !isBare(*y)) return 0;
  const int order = compareStarts(key(*x), key(*y));
  return order != 0 ? order : compareLeads(*x, *y);
}

int TextOrder::compare(SymbolicExprId a, SymbolicExprId b) {
  return a == b ? 0 : compare(key(a), key(b));
}

SymbolicExprId* TextOrder::place(SymbolicExprId* aFirst, SymbolicExprId* aLast,
                                 SymbolicExprId aId) {
  const Key added = key(aId);
  return std::lower_bound(aFirst, aLast, added, [this](SymbolicExprId aOther, const Key& aAdded) {
    return isBefore(key(aOther), aAdded);
  });
}

bool TextOrder::isBefore(const Key& a, const Key& b) {
  const int order = a.id == b.id ? 0 : compare(a, b);
  return order != 0 ? order < 0 : a.id < b.id;
}

void TextOrder::trim() {
  if (starts.size() > maxStarts) {
    starts = {};
    pool.clear();
  }
  if (orders.size() > maxOrders / 4) orders = {};
}

void TextOrder::sort(SymbolicExprId* aFirst, SymbolicExprId* aLast) {
  if (aLast - aFirst < 2) return;
  boost::container::small_vector<Key, 12> keys;
  for (const SymbolicExprId* id = aFirst; id != aLast; ++id) keys.push_back(key(*id));
  std::sort(keys.begin(), keys.end(),
            [this](const Key& a, const Key& b) { return isBefore(a, b); });
  std::transform(keys.begin(), keys.end(), aFirst, [](const Key& k) { return k.id; });
}

}  // namespace KS::detail
