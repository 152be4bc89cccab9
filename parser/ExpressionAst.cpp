#include "parser/ExpressionAst.hpp"

namespace KS::Parser {

namespace {

bool isLeaf(const expression_ast& aTree) { return aTree.expr.which() < 4; }

// Makes a tree `nil`. Assigning a `nil` itself would look into what the tree holds, where a variant
// of that type looks at its kind alone.
void clear(expression_ast& aTree) noexcept { aTree.expr = expression_ast::type(nil()); }

// The alternative that a tree holds, or null. One that was moved out of is none: reading it as
// something to be written to would take memory.
template <class Alternative>
Alternative* held(expression_ast& aTree) {
  const auto* const read = boost::get<Alternative>(&std::as_const(aTree).expr);
  return read == &SubtreeBox<Alternative>::empty() ? nullptr : const_cast<Alternative*>(read);
}

// Destroys a tree piece by piece. It takes no memory: the trees that have subtrees left form a
// list, and each holds the next one in the place of a subtree that was taken from it.
void takeApart(expression_ast& aTree) noexcept {
  using Elements = std::vector<expression_ast>;
  expression_ast tree = std::move(aTree);
  expression_ast list;
  const auto descend = [&](expression_ast& aPlace) {
    expression_ast subtree = std::move(aPlace);
    aPlace = std::move(list);
    list = std::move(tree);
    tree = std::move(subtree);
  };
  const auto replace = [](expression_ast& aOld, expression_ast&& aNew) {
    clear(aOld);
    aOld = std::move(aNew);
  };
  while (!isLeaf(tree) || !isLeaf(list)) {
    expression_ast rest;
    if (isLeaf(tree)) {
      if (binary_op* const operation = held<binary_op>(list)) {
        tree = std::move(operation->right);
        rest = std::move(operation->left);
        replace(list, std::move(rest));
      } else {
        Elements& elements = *held<Elements>(list);
        rest = std::move(elements.back());
        elements.pop_back();
        tree = std::move(elements.back());
        if (elements.size() == 1) {
          replace(list, std::move(rest));
        } else {
          elements.back() = std::move(rest);
        }
      }
    } else if (binary_op* const operation = held<binary_op>(tree)) {
      descend(operation->left);
    } else if (Elements* const elements = held<Elements>(tree)) {
      if (elements->size() > 1) {
        descend(elements->back());
      } else {
        if (!elements->empty()) rest = std::move(elements->back());
        replace(tree, std::move(rest));
      }
    } else {
      unary_op* const prefix = held<unary_op>(tree);
      expression_ast* const only =
          prefix != nullptr ? &prefix->subject : held<expression_ast>(tree);
      if (only != nullptr) rest = std::move(*only);
      replace(tree, std::move(rest));
    }
  }
}

// Copies one level: gives the target the source's alternative with empty subtrees, and lists the
// pairs of subtrees that are still to be copied.
struct CopyLevel : boost::static_visitor<> {
  using Pair = std::pair<const expression_ast*, expression_ast*>;
  expression_ast& target;
  std::vector<Pair>& open;
  CopyLevel(expression_ast& aTarget, std::vector<Pair>& aOpen) : target(aTarget), open(aOpen) {}

  template <class Leaf>
  void operator()(const Leaf& aLeaf) const {
    target.expr = aLeaf;
  }
  void operator()(const expression_ast& aTree) const {
    open.emplace_back(&aTree, &become(expression_ast()));
  }
  void operator()(const std::vector<expression_ast>& aElements) const {
    auto& elements = become(std::vector<expression_ast>(aElements.size()));
    for (std::size_t i = 0; i < aElements.size(); ++i) {
      open.emplace_back(&aElements[i], &elements[i]);
    }
  }
  void operator()(const binary_op& aOperation) const {
    binary_op& operation = become(binary_op());
    operation.op = aOperation.op;
    open.emplace_back(&aOperation.left, &operation.left);
    open.emplace_back(&aOperation.right, &operation.right);
  }
  void operator()(const unary_op& aOperation) const {
    unary_op& operation = become(unary_op());
    operation.op = aOperation.op;
    open.emplace_back(&aOperation.subject, &operation.subject);
  }

 private:
  template <class Alternative>
  Alternative& become(Alternative aEmpty) const {
    target.expr = std::move(aEmpty);
    return boost::get<Alternative>(target.expr);
  }
};

expression_ast& fold(expression_ast& aLeft, SymbolicOp aOp, const expression_ast& aRight) {
  // What takes memory comes first, so that the left tree stays where there is none; and the right
  // tree may be the left one.
  expression_ast right(aRight);
  expression_ast joined{binary_op()};
  auto& operation = boost::get<binary_op>(joined.expr);
  operation.op = aOp;
  operation.left = std::move(aLeft);
  operation.right = std::move(right);
  return aLeft = std::move(joined);
}

}  // namespace

expression_ast::expression_ast() : expr(nil()) {}
expression_ast::expression_ast(nil aNil) : expr(aNil) {}
expression_ast::expression_ast(int aValue) : expr(aValue) {}
expression_ast::expression_ast(double aValue) : expr(aValue) {}
expression_ast::expression_ast(variable aVariable) : expr(std::move(aVariable)) {}
expression_ast::expression_ast(std::vector<expression_ast> aElements)
    : expr(std::move(aElements)) {}
expression_ast::expression_ast(binary_op aOperation) : expr(std::move(aOperation)) {}
expression_ast::expression_ast(unary_op aOperation) : expr(std::move(aOperation)) {}
expression_ast::expression_ast(const expression_ast& aOther) : expr(nil()) {
  std::vector<CopyLevel::Pair> open{{&aOther, this}};
  while (!open.empty()) {
    const auto [source, target] = open.back();
    open.pop_back();
    boost::apply_visitor(CopyLevel(*target, open), source->expr);
  }
}
expression_ast::expression_ast(expression_ast&& aOther) noexcept : expr(std::move(aOther.expr)) {
  clear(aOther);
}
expression_ast& expression_ast::operator=(expression_ast aOther) noexcept {
  // Through a temporary, so that what this tree held is taken apart like any other tree.
  expression_ast old(std::move(*this));
  expr = std::move(aOther.expr);
  clear(aOther);
  return *this;
}
expression_ast::~expression_ast() {
  if (!isLeaf(*this)) takeApart(*this);
}

expression_ast& expression_ast::operator+=(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::Plus, rhs);
}
expression_ast& expression_ast::operator-=(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::Minus, rhs);
}
expression_ast& expression_ast::operator*=(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::Multiply, rhs);
}
expression_ast& expression_ast::operator/=(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::Divide, rhs);
}
expression_ast& expression_ast::operator==(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::Equal, rhs);
}
expression_ast& expression_ast::operator!=(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::NotEqual, rhs);
}
expression_ast& expression_ast::operator<(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::LessThan, rhs);
}
expression_ast& expression_ast::operator<=(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::LessThanEqual, rhs);
}
expression_ast& expression_ast::operator>(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::GreaterThan, rhs);
}
expression_ast& expression_ast::operator>=(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::GreaterThanEqual, rhs);
}
expression_ast& expression_ast::operator&&(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::And, rhs);
}
expression_ast& expression_ast::operator||(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::Or, rhs);
}
expression_ast& expression_ast::operator&(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::BitAnd, rhs);
}
expression_ast& expression_ast::operator|(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::BitOr, rhs);
}
expression_ast& expression_ast::operator^(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::BitXOr, rhs);
}
expression_ast& expression_ast::operator<<(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::ShiftLeft, rhs);
}
expression_ast& expression_ast::operator>>(const expression_ast& rhs) {
  return fold(*this, SymbolicOp::ShiftRight, rhs);
}
expression_ast& expression_ast::operator[](const expression_ast& rhs) {
  return fold(*this, SymbolicOp::FcnCall2U, rhs);
}

binary_op::binary_op() : op(SymbolicOp::String) {}
binary_op::binary_op(SymbolicOp aOp, const expression_ast& aLeft, const expression_ast& aRight)
    : op(aOp), left(aLeft), right(aRight) {}
binary_op::binary_op(SymbolicOp aOp, expression_ast&& aLeft, expression_ast&& aRight)
    : op(aOp), left(std::move(aLeft)), right(std::move(aRight)) {}

unary_op::unary_op() : op(SymbolicOp::String) {}
unary_op::unary_op(SymbolicOp aOp, expression_ast aSubject)
    : op(aOp), subject(std::move(aSubject)) {}

unary_op negate_expr::operator()(const expression_ast& aTree) const {
  return {SymbolicOp::UnaryMinus, aTree};
}
unary_op not_expr::operator()(const expression_ast& aTree) const {
  return {SymbolicOp::Not, aTree};
}
unary_op cmp_expr::operator()(const expression_ast& aTree) const {
  return {SymbolicOp::BitCompl, aTree};
}
unary_op void_fcn_call_expr::operator()(const expression_ast& aName) const {
  return {SymbolicOp::FcnCall0U, aName};
}
binary_op modulo_expr::operator()(const expression_ast& aLeft, const expression_ast& aRight) const {
  return {SymbolicOp::Modulo, aLeft, aRight};
}
binary_op member_val::operator()(const expression_ast& aObject,
                                 const expression_ast& aMember) const {
  return {SymbolicOp::MemberValue, aObject, aMember};
}

}  // namespace KS::Parser
