// The printer: the one way from an id to text.
#pragma once

#include <cstddef>
#include <string>

#include "base/KSSymbolicExpr.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Renders expressions of a table as text: in M or C syntax, or as a preprocessor condition.
/// Borrows the table and the predicate; calls do not influence each other. Costs time in the length
/// of the text, and no recursion.
///
///     SymbolicExprPrinter print(table, false, true, false);
///     std::string text = print(id);  // such as "a == 1 && !b"
class KS_API SymbolicExprPrinter {
 public:
  /// How symbols are named in the text. Derive from it to rename them on output.
  class KS_API Predicate {
   public:
    /// The text for a symbol or function name; the node's own name unless overridden. Asked once
    /// wherever the text has the symbol, `true` and `false` included where these become 1 and 0.
    virtual std::string operator()(const SymbolicString& aNode) const;
    virtual ~Predicate();
    /// The instance that changes no name.
    static Predicate& instance();
  };

  /// The longest text that is rendered, in bytes, unless the printer is told otherwise.
  static constexpr std::size_t maxTextLength = std::size_t{64} << 20;

  /// `aMSyntax` selects the M spellings, `aSpaceLogicalOps` sets off "&&" and "||" by blanks,
  /// `aPreprocessor` selects the form that a C preprocessor evaluates (`PreprocessorVCExpr`).
  SymbolicExprPrinter(const SymbolicExprTable& aTable, const Predicate& aPredicate, bool aMSyntax,
                      bool aSpaceLogicalOps, bool aPreprocessor);
  /// The same with names as they are.
  SymbolicExprPrinter(const SymbolicExprTable& aTable, bool aMSyntax, bool aSpaceLogicalOps,
                      bool aPreprocessor);

  /// The text of the table's expression `aId`. Throws `std::out_of_range` for an id that is not in
  /// the table, and `std::length_error`, which names the limit, where the text is longer: the text
  /// of a shared expression can double with every level. Memory beyond the text itself is in the
  /// distinct nodes; with a predicate, which alone knows how long names become, up to three times
  /// the limit.
  std::string operator()(SymbolicExprId aId) const;
  /// The same for a node whose inputs lie in the table, always in the form without preprocessor.
  /// The node need not be in the table itself: lists and calls of any length have a text.
  std::string operator()(const SymbolicExpr& aNode) const;

  /// Sets the longest text that is rendered from now on, in bytes.
  void setMaxTextLength(std::size_t aMaxLength);
  /// The longest text that is rendered, in bytes.
  std::size_t getMaxTextLength() const { return maxLength; }

 private:
  const SymbolicExprTable& table;
  const Predicate* predicate;
  bool mSyntax;
  bool spaceLogicalOps;
  bool preprocessor;
  std::size_t maxLength = maxTextLength;
};

}  // namespace KS
