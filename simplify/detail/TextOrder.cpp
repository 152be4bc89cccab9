#include "simplify/detail/TextOrder.hpp"

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <optional>
#include <utility>

#include "base/KSSymbolicExpr.hpp"
#include "print/detail/Operators.hpp"

namespace KS::detail {

TextOrder::TextOrder(const SymbolicExprTable& aTable)
    : table(aTable), digests(Digests::of(aTable)) {}

// ---------------------------------------------------------------------------------------------
// What decides mostly: the first bytes, and the first operands that differ

TextOrder::Key TextOrder::key(SymbolicExprId aId) {
  const auto id = static_cast<std::uint32_t>(aId);
  if (!node(aId).is(SymbolicOp::And)) {
    return {firstBytes(aId).number, FirstBytes::capacity, id, 0, 0};
  }
  const auto first = static_cast<std::uint32_t>(operands.size());
  const auto add = [&](SymbolicExprId aOperand) {
    operands.push_back(text(aOperand, leftOf(aOperand)));
  };
  SymbolicExprId link = aId;
  for (; node(link).is(SymbolicOp::And); link = node(link).left()) add(node(link).right());
  add(link);
  std::reverse(operands.begin() + first, operands.end());
  const auto count = static_cast<std::uint32_t>(operands.size()) - first;
  const Text& begins = operands[first];
  return {begins.number, isBare(link) ? begins.length : 0, id, first, count};
}

// Whether the operand stands without parentheses in a conjunction.
bool TextOrder::isBare(SymbolicExprId aOperand) const { return !node(aOperand).isConnective(); }

FirstBytes TextOrder::firstBytes(SymbolicExprId aId) {
  const Begun& kept = begun[aId % begun.size()];
  if (kept.id == aId) return {kept.number, kept.length};
  const FirstBytes bytes = readFirstBytes(aId);
  keep(aId, bytes);
  return bytes;
}

void TextOrder::keep(SymbolicExprId aId, const FirstBytes& aBytes) {
  begun[aId % begun.size()] = {aBytes.number, static_cast<std::uint32_t>(aId),
                               static_cast<std::uint8_t>(aBytes.length), isSymbol(aId)};
}

TextOrder::Text TextOrder::readText(SymbolicExprId aId, SymbolicExprId aLeft) {
  const FirstBytes bytes = firstBytes(isSymbol(aLeft) ? aLeft : aId);
  return {bytes.number, bytes.length, static_cast<std::uint32_t>(aId)};
}

FirstBytes TextOrder::readFirstBytes(SymbolicExprId aId) {
  // An operation begins as what is below it on its left edge. A long edge is walked once: what is
  // known of a node on it is known of all above, and every so often a node's bytes are kept.
  boost::container::small_vector<SymbolicExprId, 4> passed;
  SymbolicExprId first = aId;
  for (std::size_t links = 1; startsWithLeft(first); ++links) {
    first = node(first).left();
    const Begun& below = begun[first % begun.size()];
    if (below.id == first && below.length == FirstBytes::capacity) {
      return {below.number, below.length};
    }
    if (links % linksBetweenKept == 0) passed.push_back(first);
  }
  const FirstBytes bytes = bytesFromLeftmost(aId, first);
  // The last one may have a shorter text.
  for (std::size_t i = 0; i + 1 < passed.size(); ++i) keep(passed[i], bytes);
  return bytes;
}

// The first bytes of an operation with that leaf, or other node, at the end of its left edge.
FirstBytes TextOrder::bytesFromLeftmost(SymbolicExprId aId, SymbolicExprId aFirst) {
  if (!isSymbol(aFirst)) return FirstBytes(keptStart(aId).view());
  FirstBytes bytes(static_cast<const SymbolicString&>(*table.get(aFirst)).getText());
  if (aFirst == aId || bytes.isFull()) return bytes;
  const NodeView whole = node(aId);
  // Most relations by far are between a symbol and a literal or a symbol.
  const bool isOfLeaves = isBinaryOperator(whole.kind()) && whole.left() == aFirst &&
                          (isSymbol(whole.right()) || node(whole.right()).is(SymbolicOp::IntValue));
  if (!isOfLeaves) return FirstBytes(keptStart(aId).view());
  bytes.append(operatorText(whole.kind()).spelling(false));
  bytes.append(firstBytes(whole.right()));
  return bytes;
}

int TextOrder::compare(const Key& a, const Key& b) {
  if (areApart(a, b)) return a.number < b.number ? -1 : 1;
  if (a.id == b.id) return 0;
  if (a.numOperands > 0 && b.numOperands > 0) {
    if (const int order = compareOperands(a, b)) return order;
  }
  return compareBehind(a.id, b.id);
}

// The first operands in which two conjunctions differ order them, where their texts differ before
// one of them ends and both stand bare; else zero.
int TextOrder::compareOperands(const Key& a, const Key& b) {
  const Text* const ofA = operands.data() + a.firstOperand;
  const Text* const ofB = operands.data() + b.firstOperand;
  const auto [x, y] = std::mismatch(
      ofA, ofA + a.numOperands, ofB, ofB + b.numOperands,
      [](const Text& aFirst, const Text& aSecond) { return aFirst.id == aSecond.id; });
  if (x == ofA + a.numOperands || y == ofB + b.numOperands) return 0;
  return isBare(x->id) && isBare(y->id) ? compareBeginnings(*x, *y) : 0;
}

// The order of two texts that differ before one of them ends, if that is easily seen; else zero.
int TextOrder::compareBeginnings(const Text& a, const Text& b) {
  if (areApart(a, b)) return a.number < b.number ? -1 : 1;
  const FirstBytes x = firstBytes(a.id), y = firstBytes(b.id);
  if (areApart(x, y)) return x.number < y.number ? -1 : 1;
  if (const int order = compareLeads(a.id, b.id)) return order;
  return compareStarts(start(a.id), start(b.id));
}

// ---------------------------------------------------------------------------------------------
// What decides else

// The order of two different ids whose first bytes are the same.
int TextOrder::compareBehind(SymbolicExprId a, SymbolicExprId b) {
  if (const std::optional<int> order = compareLastLeaves(a, b)) return *order;
  if (const int order = compareLeads(a, b)) return order;
  const Start startA = start(a), startB = start(b);
  if (const int order = compareStarts(startA, startB)) return order;
  const std::size_t common = std::min(startA.text.size(), startB.text.size());
  const bool endsA = startA.isWhole && startA.text.size() == common;
  const bool endsB = startB.isWhole && startB.text.size() == common;
  if (endsA || endsB) return static_cast<int>(endsB) - static_cast<int>(endsA);
  return compareWholly(a, b);
}

// The order of relations of one kind about one operand to leaves, and of negations of symbols: they
// differ in these leaves alone.
std::optional<int> TextOrder::compareLastLeaves(SymbolicExprId a, SymbolicExprId b) {
  const NodeView x = node(a), y = node(b);
  const auto isBareLeaf = [this](SymbolicExprId aId) {
    return isSymbol(aId) || (node(aId).is(SymbolicOp::IntValue) && node(aId).intValue() >= 0);
  };
  const auto compareLeaves = [&](SymbolicExprId aLeft, SymbolicExprId aRight) {
    return isBareLeaf(aLeft) && isBareLeaf(aRight)
               ? std::optional(start(aLeft).text.compare(start(aRight).text))
               : std::nullopt;
  };
  if (x.kind() != y.kind()) return std::nullopt;
  if (x.isRelation() && x.left() == y.left()) return compareLeaves(x.right(), y.right());
  return x.is(SymbolicOp::Not) ? compareLeaves(x.left(), y.left()) : std::nullopt;
}

bool TextOrder::isBeforeBehind(SymbolicExprId a, SymbolicExprId b) {
  if (a == b) return false;
  const std::uint64_t x = firstBytes(a).number, y = firstBytes(b).number;
  if (x != y) return x < y;
  const int order = compareBehind(a, b);
  return order != 0 ? order < 0 : isStructureBefore(a, b);
}

// Behind an operand stands "&&", or nothing.
bool TextOrder::differInConjunctions(SymbolicExprId aFirst, SymbolicExprId aSecond) {
  const auto differ = [this](SymbolicExprId a, SymbolicExprId b) {
    const Start x = start(a), y = start(b);
    if (compareStarts(x, y) != 0) return true;
    const std::size_t common = x.text.size();
    return x.isWhole && common < y.text.size() && y.text[common] > '&';
  };
  const NodeView x = node(aFirst), y = node(aSecond);
  if (differ(aFirst, aSecond)) return true;
  if (x.isRelation() && x.kind() == y.kind() && x.left() == y.left()) {
    return differ(x.right(), y.right());
  }
  return compareLeads(aFirst, aSecond) != 0;
}

TextOrder::Start TextOrder::start(SymbolicExprId aId) {
  // A symbol is its own text.
  if (isSymbol(aId)) {
    return {static_cast<const SymbolicString&>(*table.get(aId)).getText(), true};
  }
  const TextStart& begin = keptStart(aId);
  return {begin.view(), begin.isWhole};
}

// An operation starts with its left operand where that stands bare, and is at least a character
// longer. So the start of a deep one is that of any operand on its left edge that has more others
// below it than the start has characters: it is written once for all of a growing chain. A long
// edge is walked once: every so often, a node's start is kept.
const TextStart& TextOrder::keptStart(SymbolicExprId aId) {
  if (const auto known = starts.find(aId); known != starts.end()) return *known->second;
  boost::container::small_vector<SymbolicExprId, 4> passed;
  SymbolicExprId deep = aId, below = aId;
  const TextStart* found = nullptr;
  for (std::size_t links = 1; startsWithLeft(below) && found == nullptr; ++links) {
    below = node(below).left();
    if (links > TextStart::capacity + 1) deep = node(deep).left();
    if (links % linksBetweenKept != 0) continue;
    passed.push_back(below);
    const auto known = starts.find(below);
    if (known != starts.end() && !known->second->isWhole) found = known->second;
  }
  if (found == nullptr) {
    pool.push_back(textStart(table, deep));
    found = &pool.back();
    starts.emplace(deep, found);
  }
  // Above the node whose start was found, all have it.
  for (const SymbolicExprId id : passed) {
    if (id > deep) starts.emplace(id, found);
  }
  return *starts.emplace(aId, found).first->second;
}

bool TextOrder::startsWithLeft(SymbolicExprId aId) const {
  const SymbolicOp op = node(aId).kind();
  if (!isBinaryOperator(op)) return false;
  const SymbolicOp left = node(node(aId).left()).kind();
  return operatorText(left).spelling(false) == nullptr ||
         operatorText(left).precedence <= operatorText(op).precedence;
}

// An order of two expressions with one text, such as the integer -3 and the negation of 3, by what
// they are alone: by their kinds, numbers of inputs and names or values where they first differ.
bool TextOrder::isStructureBefore(SymbolicExprId a, SymbolicExprId b) const {
  const auto payload = [](const SymbolicExpr& aNode) -> std::pair<std::string_view, double> {
    switch (static_cast<SymbolicOp>(aNode.getKind())) {
      case SymbolicOp::String: return {static_cast<const SymbolicString&>(aNode).getText(), 0};
      case SymbolicOp::MemberValue:
        return {static_cast<const SymbolicMemberValue&>(aNode).getMember(), 0};
      default: return {{}, aNode.getNumericValue()};
    }
  };
  while (a != b) {
    const SymbolicExpr& x = *table.get(a);
    const SymbolicExpr& y = *table.get(b);
    const std::size_t count = x.getNumInputs();
    if (x.getKind() != y.getKind()) return x.getKind() < y.getKind();
    if (y.getNumInputs() != count) return count < y.getNumInputs();
    if (payload(x) != payload(y)) return payload(x) < payload(y);
    std::size_t differing = 0;
    while (differing < count && x.getInput(differing) == y.getInput(differing)) ++differing;
    if (differing == count) return false;
    a = x.getInput(differing);
    b = y.getInput(differing);
  }
  return false;
}

int TextOrder::compareWholly(SymbolicExprId a, SymbolicExprId b) {
  if (a > b) return -compareWholly(b, a);
  if (const auto known = orders.find({a, b}); known != orders.end()) return known->second;
  const int order = compareTexts(table, a, b);
  if (orders.size() == maxOrders) orders.clear();
  orders.emplace(std::make_pair(a, b), order);
  return order;
}

// The symbols with which two expressions begin, where they differ before one of them ends; else
// zero. The text of a symbol is at hand however long it is.
int TextOrder::compareLeads(SymbolicExprId a, SymbolicExprId b) {
  constexpr int mostLinks = 8;
  const auto lead = [this](SymbolicExprId aId) {
    for (int i = 0; i < mostLinks && startsWithLeft(aId); ++i) aId = node(aId).left();
    return aId;
  };
  const SymbolicExprId x = lead(a), y = lead(b);
  return x == y || !isSymbol(x) || !isSymbol(y) ? 0 : compareStarts(start(x), start(y));
}

// What the starts of two texts decide.
int TextOrder::compareStarts(const Start& a, const Start& b) {
  const std::size_t common = std::min(a.text.size(), b.text.size());
  return a.text.compare(0, common, b.text, 0, common);
}

// ---------------------------------------------------------------------------------------------
// Comparing and sorting

int TextOrder::compare(SymbolicExprId a, SymbolicExprId b) {
  if (a == b) return 0;
  operands.clear();
  const Key keyA = key(a), keyB = key(b);
  return compare(keyA, keyB);
}

void TextOrder::trim() {
  if (starts.size() > maxStarts) {
    starts = {};
    pool.clear();
  }
  if (orders.size() > maxOrders / 4) orders = {};
}

TextOrder::Text* TextOrder::place(Text* aFirst, Text* aLast, const Text& aAdded) {
  // Up to so many are searched from the end on; more by halves.
  constexpr std::ptrdiff_t linearSearch = 16;
  const auto isLess = [this](const Text& a, const Text& b) { return isBefore(a, b); };
  if (aLast - aFirst > linearSearch) return std::lower_bound(aFirst, aLast, aAdded, isLess);
  while (aLast != aFirst && !isLess(aLast[-1], aAdded)) --aLast;
  return aLast;
}

std::size_t TextOrder::merge(Text* aFirst, std::size_t aCount, const Text* aAdded,
                             std::size_t aAddedCount) {
  Text* last = aFirst + aCount;
  for (std::size_t i = aAddedCount; i-- > 0;) {
    Text* const to = place(aFirst, last, aAdded[i]);
    std::move_backward(to, last, last + i + 1);
    to[i] = aAdded[i];
    last = to;
  }
  return static_cast<std::size_t>(last - aFirst);
}

void TextOrder::sort(Text* aFirst, Text* aLast) {
  std::sort(aFirst, aLast, [this](const Text& a, const Text& b) { return isBefore(a, b); });
}

void TextOrder::sort(SymbolicExprId* aFirst, SymbolicExprId* aLast) {
  if (aLast - aFirst < 2) return;
  operands.clear();
  boost::container::small_vector<Key, 12> keys;
  for (const SymbolicExprId* id = aFirst; id != aLast; ++id) keys.push_back(key(*id));
  const auto isBefore = [this](const Key& a, const Key& b) {
    const int order = compare(a, b);
    return order != 0 ? order < 0 : isStructureBefore(a.id, b.id);
  };
  // What is simplified again mostly is sorted.
  if (!std::is_sorted(keys.begin(), keys.end(), isBefore)) {
    std::sort(keys.data(), keys.data() + keys.size(), isBefore);
  }
  std::transform(keys.begin(), keys.end(), aFirst, [](const Key& k) { return k.id; });
}

}  // namespace KS::detail
