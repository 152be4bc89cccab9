// Expression nodes: the abstract node, its families and the 32 concrete classes.
//
// A node is immutable and names its inputs by id, so an expression is a graph inside one table.
// Constructing a node object interns an equal node in the table that is its first argument; the
// object itself is a probe, whose `getId(table)` names the interned node. Inputs are interned
// before the nodes that use them, so an input's id is smaller than its user's.
#pragma once

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/SymbolicExprId.hpp"
#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicOp.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

class SymbolicExprVisitor;

/// The abstract node. Hash and equality decide which nodes are one; they compare input ids and
/// never recurse.
class KS_API SymbolicExpr {
 public:
  virtual ~SymbolicExpr();
  SymbolicExpr& operator=(const SymbolicExpr&) = delete;

  /// The kind code of the concrete class, 0 to 31 (`SymbolicOp`).
  virtual int getKind() const = 0;
  /// Structural equality. A list or call of fixed size equals the vector form with the same inputs.
  virtual bool operator==(const SymbolicExpr& aOther) const = 0;
  /// A hash that depends on the kind, the payload and the input ids alone: the same in every run.
  virtual std::size_t getHash() const = 0;
  /// The number of inputs; 0 for leaves.
  virtual std::size_t getNumInputs() const;
  /// Whether this is a symbol, an integer or a real literal.
  virtual bool isLeaf() const;
  /// Whether this is an integer or a real literal.
  virtual bool isNumber() const;
  /// Whether the class belongs to the family with one input.
  virtual bool isUnary() const;
  /// Whether the class belongs to the family with two inputs.
  virtual bool isBinary() const;
  /// Whether the class belongs to the family with three inputs.
  virtual bool isTernary() const;
  /// Whether the class holds its inputs in a vector.
  virtual bool isMulti() const;
  /// Whether this is a call with 0, 1 or 2 arguments.
  virtual bool isFixedArityFcnCall() const;
  /// The value of a literal as a double; 2 to the 64th power for everything that is not a number.
  virtual double getNumericValue() const;
  /// The input at `aIdx`, 0 to `getNumInputs() - 1`. Anything else is an assertion failure, which
  /// does not return; unary and vector nodes ask the host's assertion switch first.
  virtual SymbolicExprId getInput(const std::size_t aIdx) const;
  /// The number of elements of a dimension list; 0 for everything else.
  virtual std::size_t getNumDimensions() const;
  /// The number of arguments of a call; 0 for everything else.
  virtual std::size_t getNumFcnArgs() const;
  /// Walks the expression, whose inputs lie in `aTable`: asks the visitor at every node with inputs
  /// whether to visit them first, visits them in order, and calls the visit of the node's class.
  /// One visit per occurrence, so a shared node is visited once for every path that leads to it.
  /// The walk keeps its own stack; depth is limited by memory alone. Throws `std::out_of_range`
  /// where an input is not an older node of `aTable`.
  virtual void accept(const SymbolicExprTable& aTable, SymbolicExprVisitor& aVisitor) const;

  /// The id of the equal node of `aTable`, or the invalid id.
  SymbolicExprId getId(const SymbolicExprTable& aTable) const;
  /// The element at `aIdx` of a dimension list; the same as `getInput`.
  SymbolicExprId getDimension(std::size_t aIdx) const;

 protected:
  SymbolicExpr() = default;
  SymbolicExpr(const SymbolicExpr&) = default;
};

/// Whether two nodes of known classes are equal: what the left one's member says. With the member
/// alone, C++20 takes `a == b` and `b == a` for equally good.
template <class Left, class Right,
          class = std::enable_if_t<std::is_base_of_v<SymbolicExpr, Left> &&
                                   std::is_base_of_v<SymbolicExpr, Right>>>
bool operator==(const Left& aLeft, const Right& aRight) {
  return aLeft.operator==(static_cast<const SymbolicExpr&>(aRight));
}

/// A new vector that holds `first` followed by all of `rest`.
KS_API std::vector<SymbolicExprId> concatExprIdVector(SymbolicExprId first,
                                                      const std::vector<SymbolicExprId>& rest);

/// An operand of a node constructor: an id, or a node whose id is looked up in the constructor's
/// table (the invalid id where the table does not hold it). Converts from both.
class SymbolicOperand {
 public:
  /// The operand with that id, taken as it is.
  SymbolicOperand(SymbolicExprId aId) : id(aId) {}  // NOLINT(google-explicit-constructor)
  /// The operand that equals the node.
  SymbolicOperand(const SymbolicExpr& aExpr)
      : expr(&aExpr) {}  // NOLINT(google-explicit-constructor)
  /// The operand's id in `aTable`.
  SymbolicExprId getId(const SymbolicExprTable& aTable) const {
    return expr == nullptr ? id : aTable.lookup(expr);
  }

 private:
  const SymbolicExpr* expr = nullptr;
  SymbolicExprId id = invalidSymbolicExprId;
};

// ---------------------------------------------------------------------------------------------
// Families

/// A node with one input.
class KS_API SymbolicUnaryExpr : public SymbolicExpr {
 public:
  ~SymbolicUnaryExpr() override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  std::size_t getNumInputs() const override;
  bool isUnary() const override;
  SymbolicExprId getInput(const std::size_t aIdx) const override;

 protected:
  explicit SymbolicUnaryExpr(SymbolicExprId aInput) : input(aInput) {}
  detail::InputId input;
};

/// A node with two inputs, left and right.
class KS_API SymbolicBinaryExpr : public SymbolicExpr {
 public:
  ~SymbolicBinaryExpr() override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  std::size_t getNumInputs() const override;
  bool isBinary() const override;
  SymbolicExprId getInput(const std::size_t aIdx) const override;

 protected:
  SymbolicBinaryExpr(SymbolicExprId aLeft, SymbolicExprId aRight) : inputs{aLeft, aRight} {}
  detail::InputId inputs[2];
};

/// A node with three inputs.
class KS_API SymbolicTernaryExpr : public SymbolicExpr {
 public:
  ~SymbolicTernaryExpr() override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  std::size_t getNumInputs() const override;
  bool isTernary() const override;
  SymbolicExprId getInput(const std::size_t aIdx) const override;

 protected:
  SymbolicTernaryExpr(SymbolicExprId aFirst, SymbolicExprId aSecond, SymbolicExprId aThird)
      : inputs{aFirst, aSecond, aThird} {}
  detail::InputId inputs[3];
};

/// A node with any number of inputs.
class KS_API SymbolicMultiExpr : public SymbolicExpr {
 public:
  ~SymbolicMultiExpr() override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  std::size_t getNumInputs() const override;
  bool isMulti() const override;
  SymbolicExprId getInput(const std::size_t aIdx) const override;

 protected:
  explicit SymbolicMultiExpr(std::vector<SymbolicExprId> aInputs) : inputs(std::move(aInputs)) {}
  std::vector<SymbolicExprId> inputs;
};

// ---------------------------------------------------------------------------------------------
// Leaves

/// An identifier: a symbol or a function name. "true" and "false" are the boolean symbols. Kind 0.
class KS_API SymbolicString final : public SymbolicExpr {
 public:
  SymbolicString(SymbolicExprTable& aTable, const std::string& aText);
  ~SymbolicString() override;
  /// The identifier as written.
  const std::string& getText() const { return text; }
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  bool isLeaf() const override;

 private:
  std::string text;
};

/// A 32-bit signed integer literal. Kind 1.
class KS_API SymbolicIntValue final : public SymbolicExpr {
 public:
  SymbolicIntValue(SymbolicExprTable& aTable, int aValue);
  ~SymbolicIntValue() override;
  /// The literal's value.
  int getValue() const { return value; }
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  bool isLeaf() const override;
  bool isNumber() const override;
  double getNumericValue() const override;

 private:
  int value;
};

/// A real literal. Kind 2. Two are equal when both are finite and differ by at most one machine
/// epsilon relative to the larger, or when their bits are the same. The hash is exact, so values
/// that differ in the last bits are equal and yet two nodes; +0.0 and -0.0 are one.
class KS_API SymbolicDoubleValue final : public SymbolicExpr {
 public:
  SymbolicDoubleValue(SymbolicExprTable& aTable, double aValue);
  ~SymbolicDoubleValue() override;
  /// The literal's value; infinities and NaN are possible.
  double getValue() const { return value; }
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  bool isLeaf() const override;
  bool isNumber() const override;
  double getNumericValue() const override;

 private:
  double value;
};

// ---------------------------------------------------------------------------------------------
// Operators. Each constructor takes the table and the operands, every one of them as an id or as a
// node, and interns the operation.

/// Addition, kind 3.
class KS_API SymbolicPlusExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicPlusExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicPlusExpr() override;
  int getKind() const override;
};

/// Subtraction, kind 4.
class KS_API SymbolicMinusExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicMinusExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicMinusExpr() override;
  int getKind() const override;
};

/// Arithmetic negation, kind 5.
class KS_API SymbolicUnaryMinusExpr final : public SymbolicUnaryExpr {
 public:
  SymbolicUnaryMinusExpr(SymbolicExprTable& aTable, SymbolicOperand aInput);
  ~SymbolicUnaryMinusExpr() override;
  int getKind() const override;
};

/// Multiplication, kind 6.
class KS_API SymbolicMultiplyExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicMultiplyExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicMultiplyExpr() override;
  int getKind() const override;
};

/// Division, kind 7.
class KS_API SymbolicDivideExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicDivideExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicDivideExpr() override;
  int getKind() const override;
};

/// Remainder, kind 8.
class KS_API SymbolicModuloExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicModuloExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicModuloExpr() override;
  int getKind() const override;
};

/// Equal, kind 9.
class KS_API SymbolicEqualExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicEqualExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicEqualExpr() override;
  int getKind() const override;
};

/// Not equal, kind 10.
class KS_API SymbolicNotEqualExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicNotEqualExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicNotEqualExpr() override;
  int getKind() const override;
};

/// Less than, kind 11.
class KS_API SymbolicLessThanExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicLessThanExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicLessThanExpr() override;
  int getKind() const override;
};

/// Less than or equal, kind 12.
class KS_API SymbolicLessThanEqualExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicLessThanEqualExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft,
                            SymbolicOperand aRight);
  ~SymbolicLessThanEqualExpr() override;
  int getKind() const override;
};

/// Greater than, kind 13.
class KS_API SymbolicGreaterThanExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicGreaterThanExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicGreaterThanExpr() override;
  int getKind() const override;
};

/// Greater than or equal, kind 14.
class KS_API SymbolicGreaterThanEqualExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicGreaterThanEqualExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft,
                               SymbolicOperand aRight);
  ~SymbolicGreaterThanEqualExpr() override;
  int getKind() const override;
};

/// Logical and, kind 15.
class KS_API SymbolicAndExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicAndExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicAndExpr() override;
  int getKind() const override;
};

/// Logical or, kind 16.
class KS_API SymbolicOrExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicOrExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicOrExpr() override;
  int getKind() const override;
};

/// Logical not, kind 17.
class KS_API SymbolicNotExpr final : public SymbolicUnaryExpr {
 public:
  SymbolicNotExpr(SymbolicExprTable& aTable, SymbolicOperand aInput);
  ~SymbolicNotExpr() override;
  int getKind() const override;
};

/// Bitwise and, kind 18.
class KS_API SymbolicBitAndExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicBitAndExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicBitAndExpr() override;
  int getKind() const override;
};

/// Bitwise or, kind 19.
class KS_API SymbolicBitOrExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicBitOrExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicBitOrExpr() override;
  int getKind() const override;
};

/// Bitwise exclusive or, kind 20.
class KS_API SymbolicBitXOrExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicBitXOrExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicBitXOrExpr() override;
  int getKind() const override;
};

/// Bitwise complement, kind 21.
class KS_API SymbolicBitComplExpr final : public SymbolicUnaryExpr {
 public:
  SymbolicBitComplExpr(SymbolicExprTable& aTable, SymbolicOperand aInput);
  ~SymbolicBitComplExpr() override;
  int getKind() const override;
};

/// Shift left, kind 22.
class KS_API SymbolicShiftLeftExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicShiftLeftExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicShiftLeftExpr() override;
  int getKind() const override;
};

/// Shift right, kind 23.
class KS_API SymbolicShiftRightExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicShiftRightExpr(SymbolicExprTable& aTable, SymbolicOperand aLeft, SymbolicOperand aRight);
  ~SymbolicShiftRightExpr() override;
  int getKind() const override;
};

// ---------------------------------------------------------------------------------------------
// Dimension lists

/// A list of two elements, kind 24. Equal to a `SymbolicNDExpr` with the same two inputs.
class KS_API Symbolic2DExpr final : public SymbolicBinaryExpr {
 public:
  Symbolic2DExpr(SymbolicExprTable& aTable, SymbolicOperand aFirst, SymbolicOperand aSecond);
  ~Symbolic2DExpr() override;
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getNumDimensions() const override;
};

/// A list of three elements, kind 25. Equal to a `SymbolicNDExpr` with the same three inputs.
class KS_API Symbolic3DExpr final : public SymbolicTernaryExpr {
 public:
  Symbolic3DExpr(SymbolicExprTable& aTable, SymbolicOperand aFirst, SymbolicOperand aSecond,
                 SymbolicOperand aThird);
  ~Symbolic3DExpr() override;
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getNumDimensions() const override;
};

/// A list of any number of elements, kind 26. The constructor interns a `Symbolic2DExpr` for two
/// elements and a `Symbolic3DExpr` for three, and nothing at all for none or one.
class KS_API SymbolicNDExpr final : public SymbolicMultiExpr {
 public:
  SymbolicNDExpr(SymbolicExprTable& aTable, const std::vector<SymbolicExprId>& aElements);
  ~SymbolicNDExpr() override;
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  std::size_t getNumDimensions() const override;

 private:
  friend struct detail::Intern;
  KS_HIDDEN explicit SymbolicNDExpr(const std::vector<SymbolicExprId>& aElements);
};

// ---------------------------------------------------------------------------------------------
// Function calls. Input 0 is the function's name, a SymbolicString; a name given as text is
// interned first. A call of fixed arity equals a `SymbolicFcnCallExpr` with the same inputs.

/// A call without arguments, kind 27.
class KS_API SymbolicFcnCall0UExpr final : public SymbolicUnaryExpr {
 public:
  SymbolicFcnCall0UExpr(SymbolicExprTable& aTable, const std::string& aName);
  SymbolicFcnCall0UExpr(SymbolicExprTable& aTable, const SymbolicString& aName);
  SymbolicFcnCall0UExpr(SymbolicExprTable& aTable, SymbolicExprId aName);
  ~SymbolicFcnCall0UExpr() override;
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  bool isFixedArityFcnCall() const override;
};

/// A call with one argument, kind 28.
class KS_API SymbolicFcnCall1UExpr final : public SymbolicBinaryExpr {
 public:
  SymbolicFcnCall1UExpr(SymbolicExprTable& aTable, const std::string& aName,
                        SymbolicOperand aArgument);
  SymbolicFcnCall1UExpr(SymbolicExprTable& aTable, const SymbolicString& aName,
                        SymbolicOperand aArgument);
  SymbolicFcnCall1UExpr(SymbolicExprTable& aTable, SymbolicExprId aName, SymbolicExprId aArgument);
  ~SymbolicFcnCall1UExpr() override;
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  bool isFixedArityFcnCall() const override;
  std::size_t getNumFcnArgs() const override;
};

/// A call with two arguments, kind 29.
class KS_API SymbolicFcnCall2UExpr final : public SymbolicTernaryExpr {
 public:
  SymbolicFcnCall2UExpr(SymbolicExprTable& aTable, const std::string& aName, SymbolicOperand aFirst,
                        SymbolicOperand aSecond);
  SymbolicFcnCall2UExpr(SymbolicExprTable& aTable, const SymbolicString& aName,
                        SymbolicOperand aFirst, SymbolicOperand aSecond);
  SymbolicFcnCall2UExpr(SymbolicExprTable& aTable, SymbolicExprId aName, SymbolicExprId aFirst,
                        SymbolicExprId aSecond);
  ~SymbolicFcnCall2UExpr() override;
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  bool isFixedArityFcnCall() const override;
  std::size_t getNumFcnArgs() const override;
};

/// A call with any number of arguments, kind 30. The constructor interns the class of fixed arity
/// for fewer than three.
class KS_API SymbolicFcnCallExpr final : public SymbolicMultiExpr {
 public:
  SymbolicFcnCallExpr(SymbolicExprTable& aTable, SymbolicExprId aName,
                      const std::vector<SymbolicExprId>& aArguments);
  SymbolicFcnCallExpr(SymbolicExprTable& aTable, const SymbolicString& aName,
                      const std::vector<SymbolicExprId>& aArguments);
  SymbolicFcnCallExpr(SymbolicExprTable& aTable, const std::string& aName,
                      const std::vector<SymbolicExprId>& aArguments);
  ~SymbolicFcnCallExpr() override;
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;
  std::size_t getNumFcnArgs() const override;
};

/// A member of an object expression, kind 31. The member's name is a field, not an input.
class KS_API SymbolicMemberValue final : public SymbolicUnaryExpr {
 public:
  SymbolicMemberValue(SymbolicExprTable& aTable, SymbolicOperand aObject,
                      const std::string& aMember);
  ~SymbolicMemberValue() override;
  /// The member's name.
  const std::string& getMember() const { return member; }
  int getKind() const override;
  bool operator==(const SymbolicExpr& aOther) const override;
  std::size_t getHash() const override;

 private:
  std::string member;
};

}  // namespace KS
