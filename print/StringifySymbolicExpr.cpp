#include "print/StringifySymbolicExpr.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <stdexcept>

#include "host/KSHost.hpp"
#include "print/detail/Operators.hpp"
#include "print/detail/TextLength.hpp"

namespace KS {

using detail::operatorText;

namespace {

// The longest run that is moved to make room for an insertion.
constexpr std::uint32_t maxMove = 256;

// The longest left operand that is copied to the start of the right one.
constexpr std::uint32_t maxCopy = 32;

bool isLogical(std::string_view aOp) { return aOp == "&&" || aOp == "||"; }

}  // namespace

StringifySymbolicExpr::StringifySymbolicExpr(const SymbolicExprPrinter::Predicate& aPredicate,
                                             bool aMSyntax, bool aSpaceLogicalOps)
    : predicate(&aPredicate), mSyntax(aMSyntax), spaceLogicalOps(aSpaceLogicalOps) {}
StringifySymbolicExpr::~StringifySymbolicExpr() = default;
bool StringifySymbolicExpr::visitInputsFirst() const { return true; }
void StringifySymbolicExpr::setMaxTextLength(std::size_t aMaxLength) {
  maxLength = std::min<std::size_t>(aMaxLength, noPiece);
}

// ---------------------------------------------------------------------------------------------
// Visits

void StringifySymbolicExpr::visit(const SymbolicString& aExpr) { pushName(aExpr); }
void StringifySymbolicExpr::visit(const SymbolicIntValue& aExpr) {
  std::array<char, 16> digits;
  const char* end =
      std::to_chars(digits.data(), digits.data() + digits.size(), aExpr.getValue()).ptr;
  pushLeaf({digits.data(), static_cast<std::size_t>(end - digits.data())});
}
void StringifySymbolicExpr::visit(const SymbolicDoubleValue& aExpr) {
  pushLeaf(kssv_dtoa(aExpr.getValue(), true));
}

#define KS_UNARY(code, Op, Class)                                              \
  void StringifySymbolicExpr::visit(const Class&) {                            \
    constexpr const detail::OperatorText& text = operatorText(SymbolicOp::Op); \
    appendUnaryOp(text.spelling(mSyntax), text.precedence, 1);                 \
  }
#define KS_BINARY(code, Op, Class)                                             \
  void StringifySymbolicExpr::visit(const Class&) {                            \
    constexpr const detail::OperatorText& text = operatorText(SymbolicOp::Op); \
    appendBinaryOp(text.spelling(mSyntax), text.precedence, 0);                \
  }
#include "base/SymbolicExprKinds.def"

void StringifySymbolicExpr::visit(const Symbolic2DExpr& aExpr) {
  appendArraySelection(aExpr, "[", "]");
}
void StringifySymbolicExpr::visit(const Symbolic3DExpr& aExpr) {
  appendArraySelection(aExpr, "[", "]");
}
void StringifySymbolicExpr::visit(const SymbolicNDExpr& aExpr) {
  appendArraySelection(aExpr, "[", "]");
}
void StringifySymbolicExpr::visit(const SymbolicFcnCall0UExpr& aExpr) { appendFcnCall(aExpr); }
void StringifySymbolicExpr::visit(const SymbolicFcnCall1UExpr& aExpr) { appendFcnCall(aExpr); }
void StringifySymbolicExpr::visit(const SymbolicFcnCall2UExpr& aExpr) { appendFcnCall(aExpr); }
void StringifySymbolicExpr::visit(const SymbolicFcnCallExpr& aExpr) { appendFcnCall(aExpr); }
void StringifySymbolicExpr::visit(const SymbolicMemberValue& aExpr) {
  pushLeaf(aExpr.getMember());
  appendBinaryOp(".", detail::postfixPrecedence, 0);
}

// ---------------------------------------------------------------------------------------------
// Fragments on the stack

void StringifySymbolicExpr::appendBinaryOp(const char* aOp, unsigned aPrecedence,
                                           unsigned aRightToLeft) {
  const std::string_view op = given(aOp);
  const unsigned left = precedenceAt(1);
  const unsigned right = precedenceAt(0);
  join(op, spaceLogicalOps && isLogical(op),
       left > aPrecedence || (left == aPrecedence && aRightToLeft == 1),
       right > aPrecedence || (right == aPrecedence && aRightToLeft == 0), aPrecedence);
}

void StringifySymbolicExpr::appendUnaryOp(const char* aOp, unsigned aPrecedence,
                                          unsigned aRightToLeft) {
  const std::string_view op = given(aOp);
  requireFragments(1);
  Fragment& operand = stack.back();
  if (operand.precedence > aPrecedence ||
      (operand.precedence == aPrecedence && aRightToLeft == 1)) {
    append(operand, ")");
    prepend(operand, "(");
  }
  prepend(operand, op);
  operand.precedence = aPrecedence;
}

void StringifySymbolicExpr::appendArraySelection(const SymbolicExpr& aExpr, const char* aOpen,
                                                 const char* aClose) {
  const std::string_view open = given(aOpen);
  const std::string_view close = given(aClose);
  if (aExpr.getNumInputs() == 0) {
    pushLeaf("");
  } else {
    joinArguments(aExpr.getNumInputs());
  }
  append(stack.back(), close);
  prepend(stack.back(), open);
  stack.back().precedence = detail::postfixPrecedence;
}

void StringifySymbolicExpr::appendFcnCall(const SymbolicExpr& aExpr) {
  const std::size_t count = aExpr.getNumInputs();
  requireFragments(std::max<std::size_t>(count, 1));
  if (count > 1) {
    joinArguments(count - 1);
    append(stack.back(), ")");
    join("(", false, false, false, detail::postfixPrecedence);
  } else {
    append(stack.back(), "()");
    stack.back().precedence = detail::postfixPrecedence;
  }
}

std::string StringifySymbolicExpr::get() {
  if (stack.size() != 1) return std::string();
  const Fragment all = stack.back();
  std::string text;
  if (all.first == noPiece) {
    text = std::move(pool);
  } else {
    text.reserve(length);
    for (std::uint32_t i = all.first; i != noPiece; i = pieces[i].next) {
      const Piece& piece = pieces[i];
      if (isBackwards(piece)) {
        text.append(std::make_reverse_iterator(backwards.begin() + piece.begin),
                    std::make_reverse_iterator(backwards.begin() + piece.end));
      } else {
        text.append(pool, piece.begin, piece.end - piece.begin);
      }
    }
    text.append(pool, all.begin, all.end - all.begin);
  }
  stack.clear();
  pieces.clear();
  pool.clear();
  backwards.clear();
  length = 0;
  return text;
}

void StringifySymbolicExpr::pushLeaf(std::string_view aText) {
  const std::uint32_t begin = write(aText);
  stack.push_back(
      {begin, static_cast<std::uint32_t>(pool.size()), noPiece, noPiece, detail::leafPrecedence});
}

void StringifySymbolicExpr::pushName(const SymbolicString& aNode) {
  // Most printing renames nothing and is spared the copy that a predicate returns.
  if (predicate == &SymbolicExprPrinter::Predicate::instance()) {
    pushLeaf(aNode.getText());
  } else {
    pushLeaf(askName(aNode));
  }
}

std::string StringifySymbolicExpr::askName(const SymbolicString& aNode) const {
  return (*predicate)(aNode);
}

unsigned StringifySymbolicExpr::precedenceAt(std::size_t aDepth) const {
  requireFragments(aDepth + 1);
  return stack[stack.size() - 1 - aDepth].precedence;
}

void StringifySymbolicExpr::join(std::string_view aOp, bool aBlanks, bool aWrapLeft,
                                 bool aWrapRight, unsigned aPrecedence) {
  requireFragments(2);
  Fragment& left = stack[stack.size() - 2];
  Fragment& right = stack.back();
  std::string between;
  if (aWrapLeft) between += ')';
  if (aBlanks) between += ' ';
  between += aOp;
  if (aBlanks) between += ' ';
  if (aWrapRight) {
    between += '(';
    append(right, ")");
  }
  prepend(right, between);
  if (right.first == noPiece && left.end == right.begin) {
    left.end = right.end;
  } else {
    concat(left, right);
  }
  if (aWrapLeft) prepend(left, "(");
  left.precedence = aPrecedence;
  stack.pop_back();
}

// Joins the topmost fragments to one text with commas, from the right: what has been joined stays
// at the end of the pool.
void StringifySymbolicExpr::joinArguments(std::size_t aCount) {
  requireFragments(aCount);
  for (std::size_t i = 1; i < aCount; ++i) {
    join(",", false, false, false, detail::leafPrecedence);
  }
}

std::string_view StringifySymbolicExpr::given(const char* aText) {
  if (aText == nullptr) throw std::invalid_argument("KS::StringifySymbolicExpr: a text is null");
  return aText;
}

void StringifySymbolicExpr::requireFragments(std::size_t aCount) const {
  if (stack.size() < aCount) {
    throw std::logic_error("KS::StringifySymbolicExpr: a node was visited before its inputs");
  }
}

// ---------------------------------------------------------------------------------------------
// Runs and pieces

void StringifySymbolicExpr::addLength(std::size_t aMore) {
  if (length + aMore > maxLength) detail::failLength("KS::StringifySymbolicExpr", maxLength);
  length += aMore;
}

std::uint32_t StringifySymbolicExpr::write(std::string_view aText) {
  addLength(aText.size());
  const auto begin = static_cast<std::uint32_t>(pool.size());
  pool.append(aText);
  return begin;
}

bool StringifySymbolicExpr::canInsert(const Fragment& aFragment) const {
  return aFragment.first == noPiece && aFragment.end == pool.size() &&
         aFragment.end - aFragment.begin <= maxMove;
}

// Makes [aBegin, aEnd) the last piece of the fragment.
void StringifySymbolicExpr::link(Fragment& aFragment, std::uint32_t aBegin, std::uint32_t aEnd) {
  const auto added = static_cast<std::uint32_t>(pieces.size());
  pieces.push_back({aBegin, aEnd, noPiece});
  if (aFragment.first == noPiece) {
    aFragment.first = added;
  } else {
    pieces[aFragment.last].next = added;
  }
  aFragment.last = added;
}

// Whether the fragment begins with the text that was written backwards last.
bool StringifySymbolicExpr::canExtendStart(const Fragment& aFragment) const {
  return aFragment.first != noPiece && isBackwards(pieces[aFragment.first]) &&
         pieces[aFragment.first].begin == backwards.size();
}

void StringifySymbolicExpr::prepend(Fragment& aFragment, std::string_view aText) {
  addLength(aText.size());
  if (canInsert(aFragment)) {
    pool.insert(aFragment.begin, aText);
    aFragment.end += static_cast<std::uint32_t>(aText.size());
  } else if (!aText.empty()) {
    writeBefore(aFragment, aText);
  }
}

void StringifySymbolicExpr::writeBefore(Fragment& aFragment, std::string_view aText) {
  if (!canExtendStart(aFragment)) {
    const auto added = static_cast<std::uint32_t>(pieces.size());
    const auto end = static_cast<std::uint32_t>(backwards.size());
    pieces.push_back({end, end, aFragment.first});
    if (aFragment.first == noPiece) aFragment.last = added;
    aFragment.first = added;
  }
  backwards.append(aText.rbegin(), aText.rend());
  pieces[aFragment.first].begin = static_cast<std::uint32_t>(backwards.size());
}

void StringifySymbolicExpr::append(Fragment& aFragment, std::string_view aText) {
  const std::uint32_t end = aFragment.end;
  const std::uint32_t begin = write(aText);
  if (begin != end) {
    link(aFragment, aFragment.begin, end);
    aFragment.begin = begin;
  }
  aFragment.end = static_cast<std::uint32_t>(pool.size());
}

// Appends the right fragment to the left one, which does not end where the right one's run begins.
void StringifySymbolicExpr::concat(Fragment& aLeft, const Fragment& aRight) {
  const std::uint32_t leftSize = aLeft.end - aLeft.begin;
  if (aLeft.first == noPiece && leftSize <= maxCopy && canExtendStart(aRight)) {
    // What the left one leaves in the pool is forgotten.
    const std::uint32_t begin = aLeft.begin;
    aLeft = aRight;
    writeBefore(aLeft, std::string_view(pool).substr(begin, leftSize));
    return;
  }
  link(aLeft, aLeft.begin, aLeft.end);
  if (aRight.first != noPiece) {
    pieces[aLeft.last].next = aRight.first;
    aLeft.last = aRight.last;
  }
  aLeft.begin = aRight.begin;
  aLeft.end = aRight.end;
}

}  // namespace KS
