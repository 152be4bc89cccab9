// The syntax tree of expression text.
#pragma once

#include <boost/variant.hpp>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/SymbolicOp.hpp"
#include "host/KSPlatform.hpp"

namespace KS::Parser {

struct expression_ast;
struct binary_op;
struct unary_op;

/// Owns one subtree. Boost's own wrapper moves by allocating and moving the whole subtree again;
/// this one hands its pointer over, so a tree of any size moves at once. A box that was moved from
/// reads as an empty subtree, and gets one of its own when it is written to.
template <class T>
class SubtreeBox {
 public:
  using type = T;
  /// An empty subtree.
  SubtreeBox() : tree(new T) {}
  /// A box around a copy of, or around, the given subtree.
  SubtreeBox(const T& aTree) : tree(new T(aTree)) {}        // NOLINT(google-explicit-constructor)
  SubtreeBox(T&& aTree) : tree(new T(std::move(aTree))) {}  // NOLINT(google-explicit-constructor)
  /// A box around a copy of the other's subtree.
  SubtreeBox(const SubtreeBox& aOther) : tree(new T(aOther.get())) {}
  SubtreeBox(SubtreeBox&& aOther) noexcept : tree(std::exchange(aOther.tree, nullptr)) {}
  ~SubtreeBox() { delete tree; }
  SubtreeBox& operator=(SubtreeBox aOther) noexcept {
    swap(aOther);
    return *this;
  }
  /// Exchanges the two subtrees.
  void swap(SubtreeBox& aOther) noexcept { std::swap(tree, aOther.tree); }
  /// The subtree, to be read or written. Throws `std::bad_alloc` where a box that was moved from
  /// gets no new one.
  T& get() {
    if (tree == nullptr) tree = new T;
    return *tree;
  }
  T* get_pointer() { return &get(); }
  /// The subtree, to be read.
  const T& get() const { return tree == nullptr ? empty() : *tree; }
  const T* get_pointer() const { return &get(); }
  /// What all boxes that were moved from read as.
  static const T& empty() {
    static const T tree;
    return tree;
  }

 private:
  T* tree;
};

}  // namespace KS::Parser

namespace boost {

/// The recursive alternatives of the tree live in boxes that move at once.
template <>
class recursive_wrapper<KS::Parser::expression_ast>
    : public KS::Parser::SubtreeBox<KS::Parser::expression_ast> {
  using SubtreeBox::SubtreeBox;
};
template <>
class recursive_wrapper<std::vector<KS::Parser::expression_ast>>
    : public KS::Parser::SubtreeBox<std::vector<KS::Parser::expression_ast>> {
  using SubtreeBox::SubtreeBox;
};
template <>
class recursive_wrapper<KS::Parser::binary_op>
    : public KS::Parser::SubtreeBox<KS::Parser::binary_op> {
  using SubtreeBox::SubtreeBox;
};
template <>
class recursive_wrapper<KS::Parser::unary_op>
    : public KS::Parser::SubtreeBox<KS::Parser::unary_op> {
  using SubtreeBox::SubtreeBox;
};

}  // namespace boost

namespace KS::Parser {

/// The value of a tree that holds nothing.
struct nil {};

/// An identifier.
struct variable {
  /// The text exactly as written.
  std::string name;
};

/// A syntax tree. Moving costs the same for a tree of any size; copying and destroying take time in
/// its size and no call depth, and destroying takes no memory.
///
/// The operators build and never compute: each replaces the tree by a `binary_op` over what it was
/// and `rhs`, comparison and logical operators included, and returns the tree.
struct KS_API expression_ast {
  /// The alternatives; their order is the variant's index.
  using type =
      boost::variant<nil, int, double, variable, boost::recursive_wrapper<expression_ast>,
                     boost::recursive_wrapper<std::vector<expression_ast>>,
                     boost::recursive_wrapper<binary_op>, boost::recursive_wrapper<unary_op>>;
  type expr;

  /// A tree that holds `nil`, or the given alternative.
  expression_ast();
  expression_ast(nil aNil);                               // NOLINT(google-explicit-constructor)
  expression_ast(int aValue);                             // NOLINT(google-explicit-constructor)
  expression_ast(double aValue);                          // NOLINT(google-explicit-constructor)
  expression_ast(variable aVariable);                     // NOLINT(google-explicit-constructor)
  expression_ast(std::vector<expression_ast> aElements);  // NOLINT(google-explicit-constructor)
  expression_ast(binary_op aOperation);                   // NOLINT(google-explicit-constructor)
  expression_ast(unary_op aOperation);                    // NOLINT(google-explicit-constructor)
  expression_ast(const expression_ast& aOther);
  /// Leaves `nil` behind.
  expression_ast(expression_ast&& aOther) noexcept;
  expression_ast& operator=(expression_ast aOther) noexcept;
  ~expression_ast();

  expression_ast& operator+=(const expression_ast& rhs);  ///< Code 3.
  expression_ast& operator-=(const expression_ast& rhs);  ///< Code 4.
  expression_ast& operator*=(const expression_ast& rhs);  ///< Code 6.
  expression_ast& operator/=(const expression_ast& rhs);  ///< Code 7.
  expression_ast& operator==(const expression_ast& rhs);  ///< Code 9.
  expression_ast& operator!=(const expression_ast& rhs);  ///< Code 10.
  expression_ast& operator<(const expression_ast& rhs);   ///< Code 11.
  expression_ast& operator<=(const expression_ast& rhs);  ///< Code 12.
  expression_ast& operator>(const expression_ast& rhs);   ///< Code 13.
  expression_ast& operator>=(const expression_ast& rhs);  ///< Code 14.
  expression_ast& operator&&(const expression_ast& rhs);  ///< Code 15.
  expression_ast& operator||(const expression_ast& rhs);  ///< Code 16.
  expression_ast& operator&(const expression_ast& rhs);   ///< Code 18.
  expression_ast& operator|(const expression_ast& rhs);   ///< Code 19.
  expression_ast& operator^(const expression_ast& rhs);   ///< Code 20.
  expression_ast& operator<<(const expression_ast& rhs);  ///< Code 22.
  expression_ast& operator>>(const expression_ast& rhs);  ///< Code 23.
  expression_ast& operator[](const expression_ast& rhs);  ///< Code 29: arguments[name].
};

/// The members of these names. Where both trees may be changed, C++20 takes the members alone for
/// equally good either way round.
template <class Right,
          class = std::enable_if_t<std::is_same_v<std::decay_t<Right>, expression_ast>>>
expression_ast& operator==(expression_ast& aLeft, Right&& aRight) {
  return aLeft.operator==(std::as_const(aRight));
}
template <class Right,
          class = std::enable_if_t<std::is_same_v<std::decay_t<Right>, expression_ast>>>
expression_ast& operator!=(expression_ast& aLeft, Right&& aRight) {
  return aLeft.operator!=(std::as_const(aRight));
}

/// An operation on two trees. For a call (code 29) left holds the arguments and right the name; for
/// a member access (code 31) left is the object and right the member's name.
struct KS_API binary_op {
  /// An operation on nothing.
  binary_op();
  /// An operation on copies of, or on, the given trees.
  binary_op(SymbolicOp aOp, const expression_ast& aLeft, const expression_ast& aRight);
  binary_op(SymbolicOp aOp, expression_ast&& aLeft, expression_ast&& aRight);

  SymbolicOp op;
  expression_ast left;
  expression_ast right;
};

/// An operation on one tree. For a call without arguments (code 27) the subject is the name; prefix
/// "~" is code 21, complement or not as the dialect has it.
struct KS_API unary_op {
  /// An operation on nothing.
  unary_op();
  /// An operation on the given tree.
  unary_op(SymbolicOp aOp, expression_ast aSubject);

  SymbolicOp op;
  expression_ast subject;
};

/// Wraps a tree in `unary_op` 5, arithmetic negation.
struct KS_API negate_expr {
  using result_type = unary_op;
  unary_op operator()(const expression_ast& aTree) const;
};

/// Wraps a tree in `unary_op` 17, logical not.
struct KS_API not_expr {
  using result_type = unary_op;
  unary_op operator()(const expression_ast& aTree) const;
};

/// Wraps a tree in `unary_op` 21, prefix "~".
struct KS_API cmp_expr {
  using result_type = unary_op;
  unary_op operator()(const expression_ast& aTree) const;
};

/// Wraps a name in `unary_op` 27, a call without arguments.
struct KS_API void_fcn_call_expr {
  using result_type = unary_op;
  unary_op operator()(const expression_ast& aName) const;
};

/// Joins two trees in `binary_op` 8, remainder.
struct KS_API modulo_expr {
  using result_type = binary_op;
  binary_op operator()(const expression_ast& aLeft, const expression_ast& aRight) const;
};

/// Joins an object and a member's name in `binary_op` 31.
struct KS_API member_val {
  using result_type = binary_op;
  binary_op operator()(const expression_ast& aObject, const expression_ast& aMember) const;
};

}  // namespace KS::Parser
