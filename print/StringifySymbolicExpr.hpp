// The text renderer: a visitor that writes an expression with the fewest parentheses.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/SymbolicExprVisitor.hpp"
#include "host/KSPlatform.hpp"
#include "print/SymbolicExprPrinter.hpp"

namespace KS {

/// Renders one expression as a line of text with C precedence and minimal parentheses. Keeps a
/// stack of fragments, each with the precedence of its outermost operator; every visit takes its
/// inputs' fragments and leaves its own. The cost is linear in the text, whichever way the
/// expression leans. Borrows the predicate.
///
///     StringifySymbolicExpr renderer(SymbolicExprPrinter::Predicate::instance(), true, false);
///     table.get(id)->accept(table, renderer);
///     std::string text = renderer.get();
///
/// A visit without its inputs' fragments throws `std::logic_error`, a null text
/// `std::invalid_argument`. Text beyond the limit, all fragments counted, throws
/// `std::length_error`, which names the limit; unlike the printer, a renderer sees nothing of an
/// expression before it is visited, and fails when the limit is reached.
class KS_API StringifySymbolicExpr : public SymbolicExprVisitor {
 public:
  /// `aMSyntax` selects the M spellings, `aSpaceLogicalOps` sets off "&&" and "||" by blanks.
  StringifySymbolicExpr(const SymbolicExprPrinter::Predicate& aPredicate, bool aMSyntax,
                        bool aSpaceLogicalOps);
  ~StringifySymbolicExpr() override;
  bool visitInputsFirst() const override;
#define KS_KIND(code, Op, Class) void visit(const Class& aExpr) override;
#include "base/SymbolicExprKinds.def"

  /// Sets the limit, in bytes: `SymbolicExprPrinter::maxTextLength` until then, below 4 GiB always.
  void setMaxTextLength(std::size_t aMaxLength);

  /// Replaces the two fragments on top by "left op right", a fragment of `aPrecedence`. An operand
  /// is wrapped in parentheses if it binds more loosely, or equally on the side that `aRightToLeft`
  /// does not group: 0 wraps such a right operand, 1 a left one.
  virtual void appendBinaryOp(const char* aOp, unsigned aPrecedence, unsigned aRightToLeft);
  /// Replaces the fragment on top by "op operand", a fragment of `aPrecedence`. The operand is
  /// wrapped unless it binds tighter, or equally where `aRightToLeft` is 0.
  virtual void appendUnaryOp(const char* aOp, unsigned aPrecedence, unsigned aRightToLeft);

  /// Replaces one fragment per input of the node by the list of them, in input order.
  void appendArraySelection(const SymbolicExpr& aExpr, const char* aOpen, const char* aClose);
  /// Replaces one fragment per input of the node by the call of the first with the others.
  void appendFcnCall(const SymbolicExpr& aExpr);

  /// The text of a walk: takes it if exactly one fragment is left, else changes nothing and returns
  /// the empty text.
  std::string get();

 protected:
  /// Pushes a text that is never wrapped.
  void pushLeaf(std::string_view aText);
  /// The predicate's text for the node.
  std::string askName(const SymbolicString& aNode) const;
  /// Pushes the predicate's text for the node.
  void pushName(const SymbolicString& aNode);
  /// A text that must not be null.
  static std::string_view given(const char* aText);
  /// Whether the M spellings are selected.
  bool isMSyntax() const { return mSyntax; }
  /// The precedence of the fragment `aDepth` places below the top.
  unsigned precedenceAt(std::size_t aDepth) const;
  /// Replaces the two fragments on top by left, operator and right, wrapped as told.
  void join(std::string_view aOp, bool aBlanks, bool aWrapLeft, bool aWrapRight,
            unsigned aPrecedence);

 private:
  // A fragment is a run of text in a pool, usually with pieces of earlier text linked before the
  // run. Short fragments stay in one run, since operators and parentheses are inserted where they
  // belong; from a certain length on, an insertion would cost more than a piece, so it becomes one.
  // What is put before a fragment again and again stands in a pool of its own, backwards, so that
  // it stays one piece.
  static constexpr std::uint32_t noPiece = 0xFFFFFFFF;
  struct Piece {
    std::uint32_t begin;  // behind the end for text that stands backwards
    std::uint32_t end;
    std::uint32_t next;
  };
  static bool isBackwards(const Piece& aPiece) { return aPiece.begin > aPiece.end; }
  struct Fragment {
    std::uint32_t begin;
    std::uint32_t end;
    std::uint32_t first;  // the pieces before the run, or noPiece
    std::uint32_t last;
    unsigned precedence;
  };

  KS_HIDDEN void addLength(std::size_t aMore);
  KS_HIDDEN std::uint32_t write(std::string_view aText);
  KS_HIDDEN void requireFragments(std::size_t aCount) const;
  KS_HIDDEN bool canInsert(const Fragment& aFragment) const;
  KS_HIDDEN void link(Fragment& aFragment, std::uint32_t aBegin, std::uint32_t aEnd);
  KS_HIDDEN bool canExtendStart(const Fragment& aFragment) const;
  KS_HIDDEN void prepend(Fragment& aFragment, std::string_view aText);
  KS_HIDDEN void append(Fragment& aFragment, std::string_view aText);
  KS_HIDDEN void writeBefore(Fragment& aFragment, std::string_view aText);
  KS_HIDDEN void concat(Fragment& aLeft, const Fragment& aRight);
  KS_HIDDEN void joinArguments(std::size_t aCount);

  std::vector<Fragment> stack;
  const SymbolicExprPrinter::Predicate* predicate;
  bool mSyntax;
  bool spaceLogicalOps;
  std::size_t maxLength = SymbolicExprPrinter::maxTextLength;
  std::size_t length = 0;  // of all fragments
  std::string pool;
  std::string backwards;
  std::vector<Piece> pieces;
};

}  // namespace KS
