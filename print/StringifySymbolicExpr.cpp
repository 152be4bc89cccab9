#include "print/StringifySymbolicExpr.hpp"

#include <array>
#include <charconv>
#include <stdexcept>

#include "host/KSHost.hpp"
#include "print/detail/Operators.hpp"

namespace KS {

using detail::operatorText;

namespace {

// The longest run that is moved to make room for an insertion.
constexpr std::uint32_t maxMove = 256;

bool isLogical(std::string_view aOp) { return aOp == "&&" || aOp == "||"; }

}  // namespace

StringifySymbolicExpr::StringifySymbolicExpr(const SymbolicExprPrinter::Predicate& aPredicate,
                                             bool aMSyntax, bool aSpaceLogicalOps)
    : predicate(&aPredicate), mSyntax(aMSyntax), spaceLogicalOps(aSpaceLogicalOps) {}
StringifySymbolicExpr::~StringifySymbolicExpr() = default;
bool StringifySymbolicExpr::visitInputsFirst() const { return true; }

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
    text.reserve(pool.size());
    for (std::uint32_t i = all.first; i != noPiece; i = pieces[i].next) {
      text.append(pool, pieces[i].begin, pieces[i].end - pieces[i].begin);
    }
    text.append(pool, all.begin, all.end - all.begin);
  }
  stack.clear();
  pieces.clear();
  pool.clear();
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
    pushLeaf((*predicate)(aNode));
  }
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
  concat(left, right);
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

void StringifySymbolicExpr::checkLength(std::size_t aMore) const {
  if (pool.size() + aMore > SymbolicExprPrinter::maxTextLength) {
    throw std::length_error("KS::StringifySymbolicExpr: the text is longer than 256 MiB");
  }
}

std::uint32_t StringifySymbolicExpr::write(std::string_view aText) {
  checkLength(aText.size());
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

void StringifySymbolicExpr::prepend(Fragment& aFragment, std::string_view aText) {
  if (canInsert(aFragment)) {
    checkLength(aText.size());
    pool.insert(aFragment.begin, aText);
    aFragment.end += static_cast<std::uint32_t>(aText.size());
    return;
  }
  const std::uint32_t begin = write(aText);
  const auto added = static_cast<std::uint32_t>(pieces.size());
  pieces.push_back({begin, static_cast<std::uint32_t>(pool.size()), aFragment.first});
  if (aFragment.first == noPiece) aFragment.last = added;
  aFragment.first = added;
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

// Appends the right fragment, which stands after the left one in the pool, to the left one.
void StringifySymbolicExpr::concat(Fragment& aLeft, const Fragment& aRight) {
  if (aRight.first != noPiece || aLeft.end != aRight.begin) {
    link(aLeft, aLeft.begin, aLeft.end);
    aLeft.begin = aRight.begin;
    if (aRight.first != noPiece) {
      pieces[aLeft.last].next = aRight.first;
      aLeft.last = aRight.last;
    }
  }
  aLeft.end = aRight.end;
}

}  // namespace KS
