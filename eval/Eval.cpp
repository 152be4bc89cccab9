#include "eval/Eval.hpp"

#include <algorithm>
#include <iostream>
#include <locale>
#include <sstream>

#include "eval/detail/Operations.hpp"

namespace KS::Eval {

using detail::elementwise;

Value plus(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::Plus{});
}
Value minus(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::Minus{});
}
Value times(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::Times{});
}
Value divide(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::Divide{});
}
Value modulo(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::Modulo{});
}
Value equals(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::Equals{});
}
Value notEquals(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::NotEquals{});
}
Value greaterThan(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::GreaterThan{});
}
Value lessThan(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::LessThan{});
}
Value greaterThanEqual(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::GreaterThanEqual{});
}
Value lessThanEqual(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::LessThanEqual{});
}
Value andOp(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::And{});
}
Value orOp(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::Or{});
}
Value bitAndOp(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::BitAnd{});
}
Value bitOrOp(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::BitOr{});
}
Value bitXorOp(const Value& aLeft, const Value& aRight) {
  return elementwise(aLeft, aRight, detail::BitXor{});
}
Value bitLeftShift(const Value& aValue, const Value& aCount) {
  return elementwise(aValue, aCount, detail::ShiftLeft{});
}
Value bitRightShift(const Value& aValue, const Value& aCount) {
  return elementwise(aValue, aCount, detail::ShiftRight{});
}
Value uminus(const Value& aValue) { return elementwise(aValue, detail::UnaryMinus{}); }
Value notOp(const Value& aValue) { return elementwise(aValue, detail::Not{}); }
Value bitCmp(const Value& aValue) { return elementwise(aValue, detail::BitCompl{}); }

bool all(const Value& aValue) {
  const auto isOne = [](const Scalar& scalar) { return scalar.toDouble() == 1.0; };
  if (aValue.tag() == Value::Single) return isOne(aValue.scalar());
  return std::all_of(aValue.vector().begin(), aValue.vector().end(), isOne);
}

std::vector<double> eval(const Value& aValue) {
  if (aValue.tag() == Value::Single) return {aValue.scalar().toDouble()};
  std::vector<double> numbers;
  numbers.reserve(aValue.vector().size());
  for (const Scalar& element : aValue.vector()) numbers.push_back(element.toDouble());
  return numbers;
}

void printValue(const Value& aValue) {
  // Written in a stream of its own and copied unformatted: nothing that is set on std::cout counts.
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::boolalpha;
  const auto write = [&text](const Scalar& scalar) {
    switch (scalar.tag()) {
      case Scalar::Bool: text << scalar.getBool(); break;
      case Scalar::Int: text << scalar.getInt(); break;
      case Scalar::Double: text << scalar.getDouble(); break;
    }
  };
  const bool isScalar = aValue.tag() == Value::Single;
  if (isScalar) {
    text << "Scalar: ";
    write(aValue.scalar());
    text << '\n';
  } else {
    text << "Vector: [ ";
    for (const Scalar& element : aValue.vector()) {
      write(element);
      text << ' ';
    }
    text << ']';
  }
  const std::string all = text.str();
  std::cout.write(all.data(), static_cast<std::streamsize>(all.size()));
  if (isScalar) std::cout.flush();
}

}  // namespace KS::Eval
