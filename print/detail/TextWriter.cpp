#include "print/detail/TextWriter.hpp"

#include <algorithm>
#include <array>
#include <boost/container/small_vector.hpp>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/detail/Digest.hpp"
#include "base/detail/Walk.hpp"
#include "host/KSHost.hpp"
#include "host/KSPlatform.hpp"
#include "print/detail/TextLength.hpp"

namespace KS::detail {

namespace {

// ---------------------------------------------------------------------------------------------
// Output

constexpr const char* printerName = "KS::SymbolicExprPrinter";

// Collects text in a buffer of its own, so that a short text costs one allocation of its size. A
// text that turns out to be long is measured before it goes on.
class Output {
 public:
  Output(const TextSource& aSource, std::size_t aMaxLength)
      : source(aSource), maxLength(aMaxLength), allowed(std::min(aMaxLength, longText)) {}

  void put(char aChar) {
    if (used == buffer.size()) flush();
    buffer[used++] = aChar;
  }
  void put(std::string_view aText) {
    if (aText.size() > buffer.size() - used) {
      flush();
      if (aText.size() > buffer.size()) {
        append(aText);
        return;
      }
    }
    std::memcpy(buffer.data() + used, aText.data(), aText.size());
    used += aText.size();
  }
  void put(const OperatorStyle& aStyle) {
    if (sizeof aStyle.text > buffer.size() - used) flush();
    std::memcpy(buffer.data() + used, aStyle.text, sizeof aStyle.text);
    used += aStyle.length;
  }
  void put(int aValue) {
    constexpr std::size_t longest = 11;
    if (longest > buffer.size() - used) flush();
    char* begin = buffer.data() + used;
    used =
        static_cast<std::size_t>(std::to_chars(begin, begin + longest, aValue).ptr - buffer.data());
  }
  std::string take() {
    flush();
    return std::move(text);
  }

 private:
  // Longer than all but a few texts, and written in no time.
  static constexpr std::size_t longText = std::size_t{1} << 20;

  void flush() {
    append({buffer.data(), used});
    used = 0;
  }
  void append(std::string_view aText) {
    if (aText.size() > allowed - text.size()) allowMore(aText.size());
    text.append(aText);
  }
  KS_NEVER_INLINE void allowMore(std::size_t aMore) {
    if (allowed < maxLength) {
      allowed = maxLength;
      const std::size_t length = textLength(source, maxLength);
      if (length > maxLength) failLength(printerName, maxLength);
      text.reserve(length);
    }
    if (aMore > allowed - text.size()) failLength(printerName, maxLength);
  }

  const TextSource source;
  const std::size_t maxLength;
  std::size_t allowed;  // how long the text may become before it is looked at again
  std::array<char, 512> buffer;
  std::size_t used = 0;
  std::string text;
};

// ---------------------------------------------------------------------------------------------
// The walk

// Most printing renames nothing and is spared the copy that a predicate returns.
bool isRenaming(const SymbolicExprPrinter::Predicate& aPredicate) {
  return &aPredicate != &SymbolicExprPrinter::Predicate::instance();
}

// A walk over a text from left to right. What comes next is pending, so whatever stands before a
// node is known before the node is entered, and depth needs no stack. `Sink` takes the text.
template <class Sink>
class TextWalk {
 protected:
  template <class... SinkArguments>
  TextWalk(const SymbolicExprTable& aTable, const SymbolicExprPrinter::Predicate& aPredicate,
           TextLayout aLayout, SinkArguments&&... aSinkArguments)
      : table(aTable),
        predicate(aPredicate),
        renames(isRenaming(aPredicate)),
        writesDigits(namesBooleans(aLayout)),
        styles(stylesOf(aLayout)),
        out(std::forward<SinkArguments>(aSinkArguments)...) {}

  // What is still to be written, the next on top: a text and the operand after it, if any. `bare`
  // holds the precedences that need no parentheses in the operand's place.
  struct Item {
    const char* text;
    std::uint32_t length;
    Bare bare;
    SymbolicExprId id;

    // Constructed in place: a copy of an item just written stalls on its parts.
    Item(std::string_view aText, SymbolicExprId aOperand, Bare aBare)
        : text(aText.data()),
          length(static_cast<std::uint32_t>(aText.size())),
          bare(aBare),
          id(aOperand) {}
    std::string_view view() const { return {text, length}; }
  };

  // Out of line, so that the vector's growth does not burden the walk's loop.
  KS_NEVER_INLINE void later(std::string_view aText,
                             SymbolicExprId aOperand = invalidSymbolicExprId,
                             Bare aBare = everything) {
    pending.emplace_back(aText, aOperand, aBare);
  }

  // Writes a node that has no first operand.
  bool writeLeaf(const SymbolicExpr& aNode, SymbolicOp aKind) {
    static_assert(numKinds == 32, "a new kind: how is it written, here and in `writeAround`?");
    switch (aKind) {
      case SymbolicOp::String: writeName(static_cast<const SymbolicString&>(aNode)); return true;
      case SymbolicOp::IntValue:
        out.put(static_cast<const SymbolicIntValue&>(aNode).getValue());
        return true;
      case SymbolicOp::DoubleValue:
        out.put(kssv_dtoa(static_cast<const SymbolicDoubleValue&>(aNode).getValue(), true));
        return true;
      case SymbolicOp::ND:
        if (aNode.getNumInputs() != 0) return false;
        out.put(std::string_view("[]"));
        return true;
      default: return false;
    }
  }

  // Writes what stands before the first operand and leaves pending what stands after it.
  void writeAround(const SymbolicExpr& aNode, SymbolicExprId aId, SymbolicOp aKind,
                   const OperatorStyle& aStyle) {
    switch (aKind) {
      case SymbolicOp::UnaryMinus:
      case SymbolicOp::Not:
      case SymbolicOp::BitCompl: out.put(aStyle); break;
      case SymbolicOp::_2D:
      case SymbolicOp::_3D:
      case SymbolicOp::ND:
        out.put(std::string_view("["));
        later("]");
        laterArguments(aNode, aId, 1);
        break;
      // The vector form takes any number of arguments, as long as it is not interned.
      case SymbolicOp::FcnCall0U:
      case SymbolicOp::FcnCall1U:
      case SymbolicOp::FcnCall2U:
      case SymbolicOp::FcnCall:
        if (aNode.getNumInputs() == 1) return later("()");
        later(")");
        laterArguments(aNode, aId, 2);
        later("(", checkedInput(aNode, aId, 1));
        break;
      case SymbolicOp::MemberValue:
        later(static_cast<const SymbolicMemberValue&>(aNode).getMember());
        later(aStyle.view());
        break;
      default: later(aStyle.view(), checkedInput(aNode, aId, 1), aStyle.right);
    }
  }

  const SymbolicExprTable& table;
  const SymbolicExprPrinter::Predicate& predicate;
  const bool renames;
  const bool writesDigits;  // for the boolean symbols
  const StyleTable& styles;
  Sink out;
  boost::container::small_vector<Item, 24> pending;

 private:
  void laterArguments(const SymbolicExpr& aNode, SymbolicExprId aId, std::size_t aFirst) {
    for (std::size_t i = aNode.getNumInputs(); i-- > aFirst;) {
      later(",", checkedInput(aNode, aId, i));
    }
  }

  void writeName(const SymbolicString& aNode) {
    if (renames) return writeRenamed(aNode);
    const std::string& name = aNode.getText();
    out.put(isDigit(name) ? std::string_view(name == "true" ? "1" : "0") : std::string_view(name));
  }

  // The predicate is asked even where its answer is not written.
  KS_NEVER_INLINE void writeRenamed(const SymbolicString& aNode) {
    std::string text = predicate(aNode);
    if (isDigit(aNode.getText())) text = aNode.getText() == "true" ? "1" : "0";
    out.put(std::move(text));
  }

  // Whether the name is that of a boolean symbol that is written as 1 or 0.
  bool isDigit(const std::string& aName) const {
    return writesDigits && (aName == "true" || aName == "false");
  }
};

class Writer : TextWalk<Output> {
 public:
  Writer(const SymbolicExprTable& aTable, const SymbolicExpr& aRoot,
         const SymbolicExprPrinter::Predicate& aPredicate, TextLayout aLayout,
         std::size_t aMaxLength)
      : TextWalk(aTable, aPredicate, aLayout,
                 TextSource{aTable, aRoot, aLayout, isRenaming(aPredicate)}, aMaxLength) {}

  std::string run(const SymbolicExpr& aRoot) {
    writeRoot(aRoot);
    while (!pending.empty()) {
      const Item item = pending.back();
      pending.pop_back();
      out.put(item.view());
      if (item.id != invalidSymbolicExprId) write(item.id, item.bare);
    }
    return out.take();
  }

 private:
  // The root need not be in the table.
  void writeRoot(const SymbolicExpr& aRoot) {
    const auto kind = static_cast<SymbolicOp>(aRoot.getKind());
    if (writeLeaf(aRoot, kind)) return;
    const OperatorStyle& style = styles[static_cast<std::size_t>(kind)];
    writeAround(aRoot, table.size(), kind, style);
    write(checkedInput(aRoot, table.size(), 0), style.left);
  }

  // Writes the expression down its left edge and leaves the rest pending.
  void write(SymbolicExprId aId, Bare aBare) {
    for (;;) {
      const NodeView node(table, aId);
      const SymbolicOp kind = node.kind();
      const OperatorStyle& style = styles[static_cast<std::size_t>(kind)];
      if ((aBare >> style.precedence & 1) == 0) {
        out.put('(');
        later(")");
      }
      aBare = style.left;
      // Most nodes by far are operators on two operands, symbols and integers.
      if (isBinaryOperator(kind)) {
        if (std::max(node.left(), node.right()) >= aId) failBadInput();
        later(style.view(), node.right(), style.right);
        aId = node.left();
        continue;
      }
      if (kind == SymbolicOp::IntValue) return out.put(node.intValue());
      const SymbolicExpr& expr = *table.get(aId);
      if (writeLeaf(expr, kind)) return;
      writeAround(expr, aId, kind, style);
      aId = checkedInput(expr, aId, 0);
    }
  }
};

// ---------------------------------------------------------------------------------------------
// Reading a text that is not written

// Holds one piece of text. What has no storage elsewhere is stored here.
class Piece {
 public:
  void put(std::string_view aText) { text = aText; }
  void put(const OperatorStyle& aStyle) { text = aStyle.view(); }
  void put(std::string&& aText) { text = owned = std::move(aText); }
  void put(int aValue) {
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), aValue).ptr;
    text = {digits.data(), static_cast<std::size_t>(end - digits.data())};
  }

  std::string_view text;

 private:
  std::array<char, 11> digits;
  std::string owned;
};

// A place in the text of an expression: before the rest of a piece of text, and behind that before
// a node that stands without parentheses, whose text follows unless it is skipped.
class TextCursor : TextWalk<Piece> {
 public:
  TextCursor(const SymbolicExprTable& aTable, SymbolicExprId aId)
      : TextWalk(aTable, SymbolicExprPrinter::Predicate::instance(), {false, false, false}) {
    place(aId, everything);
  }
  TextCursor(const TextCursor&) = delete;
  TextCursor& operator=(const TextCursor&) = delete;

  // Goes on to the next piece or node, and returns false where there is neither.
  bool find() {
    while (out.text.empty() && next == invalidSymbolicExprId) {
      if (pending.empty()) return false;
      const Item item = pending.back();
      pending.pop_back();
      out.text = item.view();
      if (item.id != invalidSymbolicExprId) place(item.id, item.bare);
    }
    return true;
  }
  std::string_view piece() const { return out.text; }
  void skip(std::size_t aLength) { out.text.remove_prefix(aLength); }

  // The node, where no piece stands before it.
  SymbolicExprId node() const { return next; }
  void skipNode() { next = invalidSymbolicExprId; }
  void enterNode() {
    const SymbolicExprId id = next;
    const NodeView node(table, id);
    const SymbolicOp kind = node.kind();
    const OperatorStyle& style = styles[static_cast<std::size_t>(kind)];
    next = invalidSymbolicExprId;
    // Most nodes by far are operators on two operands.
    if (isBinaryOperator(kind)) {
      if (std::max(node.left(), node.right()) >= id) failBadInput();
      later(style.view(), node.right(), style.right);
      return place(node.left(), style.left);
    }
    const SymbolicExpr& expr = *table.get(id);
    if (writeLeaf(expr, kind)) return;
    writeAround(expr, id, kind, style);
    place(checkedInput(expr, id, 0), style.left);
  }

 private:
  void place(SymbolicExprId aId, Bare aBare) {
    const auto kind = static_cast<std::size_t>(NodeView(table, aId).kind());
    if ((aBare >> styles[kind].precedence & 1) != 0) {
      next = aId;
    } else {
      later(")");
      later("(", aId);
    }
  }

  SymbolicExprId next = invalidSymbolicExprId;
};

}  // namespace

std::string writeText(const SymbolicExprTable& aTable, const SymbolicExpr& aRoot,
                      const SymbolicExprPrinter::Predicate& aPredicate, TextLayout aLayout,
                      std::size_t aMaxLength) {
  return Writer(aTable, aRoot, aPredicate, aLayout, aMaxLength).run(aRoot);
}

TextStart textStart(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  TextStart start;
  start.isWhole = true;
  TextCursor cursor(aTable, aId);
  while (cursor.find()) {
    const std::string_view piece = cursor.piece();
    if (piece.empty()) {
      cursor.enterNode();
      continue;
    }
    const std::size_t count = std::min(piece.size(), start.text.size() - start.length);
    std::memcpy(start.text.data() + start.length, piece.data(), count);
    start.length = static_cast<std::uint8_t>(start.length + count);
    if (count < piece.size()) {
      start.isWhole = false;
      break;
    }
    cursor.skip(count);
  }
  return start;
}

int compareTexts(const SymbolicExprTable& aTable, SymbolicExprId a, SymbolicExprId b) {
  TextCursor first(aTable, a), second(aTable, b);
  std::size_t read = 0;
  for (;;) {
    const bool isFirst = first.find(), isSecond = second.find();
    if (!isFirst && !isSecond) return 0;
    const std::string_view x = first.piece(), y = second.piece();
    if (!x.empty() && !y.empty()) {
      const std::size_t common = std::min(x.size(), y.size());
      const int order = x.compare(0, common, y, 0, common);
      if (order != 0) return order < 0 ? -1 : 1;
      if ((read += common) > maxComparedLength) failLength("KS::compareTexts", maxComparedLength);
      first.skip(common);
      second.skip(common);
    } else if (x.empty() && y.empty() && isFirst && isSecond) {
      // An input is older than its user: where one of the two starts with the other, entering the
      // younger one comes to it.
      if (first.node() == second.node()) {
        first.skipNode();
        second.skipNode();
      } else if (first.node() > second.node()) {
        first.enterNode();
      } else {
        second.enterNode();
      }
    } else if (isFirst && x.empty()) {
      first.enterNode();
    } else if (isSecond && y.empty()) {
      second.enterNode();
    } else {
      return isFirst ? 1 : -1;
    }
  }
}

}  // namespace KS::detail
