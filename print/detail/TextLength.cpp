#include "print/detail/TextLength.hpp"

#include <algorithm>
#include <array>
#include <boost/core/bit.hpp>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/detail/Walk.hpp"
#include "host/KSHost.hpp"

namespace KS::detail {

namespace {

// Finds the nodes below the root in a bit per id, downwards, since every input is older than its
// user. Upwards then, their texts are listed in the order of their ids, so that a node's place in
// the list is the number of bits before its own: a map from ids that takes no hashing.
class Lengths {
 public:
  Lengths(const TextSource& aSource, std::size_t aLimit)
      : source(aSource), styles(stylesOf(aSource.layout)), tooLong(aLimit + 1) {}

  std::size_t ofRoot() {
    const SymbolicExprId size = source.table.size();
    words.resize(size / 64 + 1);
    mark(source.root, size);
    for (std::size_t w = words.size(); w-- > 0;) {
      // An input may lie in the same word, but only below its user.
      for (std::uint64_t left = words[w].bits; left != 0;) {
        const unsigned bit = 63 - static_cast<unsigned>(boost::core::countl_zero(left));
        mark(*source.table.get(w * 64 + bit), w * 64 + bit);
        left = words[w].bits & ((std::uint64_t{1} << bit) - 1);
      }
    }
    for (std::size_t w = 0; w < words.size(); ++w) {
      words[w].first = texts.size();
      for (std::uint64_t left = words[w].bits; left != 0; left &= left - 1) {
        const unsigned bit = static_cast<unsigned>(boost::core::countr_zero(left));
        texts.push_back(textOf(*source.table.get(w * 64 + bit)));
      }
    }
    return textOf(source.root).length;
  }

 private:
  struct Text {
    std::size_t length;
    std::uint8_t precedence;
  };
  struct Word {
    std::uint64_t bits = 0;
    std::size_t first = 0;  // the number of bits in the words before
  };

  // Marks the inputs of the node `aId`.
  void mark(const SymbolicExpr& aNode, SymbolicExprId aId) {
    for (std::size_t i = 0, count = aNode.getNumInputs(); i < count; ++i) {
      const SymbolicExprId input = checkedInput(aNode, aId, i);
      words[input / 64].bits |= std::uint64_t{1} << input % 64;
    }
  }

  const Text& known(SymbolicExprId aId) const {
    const Word& word = words[aId / 64];
    const std::uint64_t before = word.bits & ((std::uint64_t{1} << aId % 64) - 1);
    return texts[word.first + static_cast<std::size_t>(boost::core::popcount(before))];
  }

  // The text of a node whose inputs' texts are known.
  Text textOf(const SymbolicExpr& aNode) const {
    const auto kind = static_cast<SymbolicOp>(aNode.getKind());
    const OperatorStyle& style = styles[static_cast<std::size_t>(kind)];
    const std::size_t count = aNode.getNumInputs();
    std::size_t length = std::min(ownLength(aNode, kind, count), tooLong);
    for (std::size_t i = 0; i < count; ++i) {
      const Text& input = known(aNode.getInput(i));
      const bool isBare = ((i == 0 ? style.left : style.right) >> input.precedence & 1) != 0;
      length = std::min(length + input.length + (isBare ? 0 : 2), tooLong);
    }
    return {length, style.precedence};
  }

  // What a node writes itself, but for the parentheses around its operands.
  std::size_t ownLength(const SymbolicExpr& aNode, SymbolicOp aKind, std::size_t aCount) const {
    static_assert(numKinds == 32, "a new kind: how long is its text?");
    switch (aKind) {
      case SymbolicOp::String:
        return nameLength(static_cast<const SymbolicString&>(aNode).getText());
      case SymbolicOp::IntValue: {
        std::array<char, 11> digits;
        const int value = static_cast<const SymbolicIntValue&>(aNode).getValue();
        return static_cast<std::size_t>(
            std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr - digits.data());
      }
      case SymbolicOp::DoubleValue:
        return kssv_dtoa(static_cast<const SymbolicDoubleValue&>(aNode).getValue(), true).size();
      // Brackets, and a comma between two elements or arguments.
      case SymbolicOp::_2D:
      case SymbolicOp::_3D:
      case SymbolicOp::ND: return std::max<std::size_t>(aCount, 1) + 1;
      case SymbolicOp::FcnCall0U:
      case SymbolicOp::FcnCall1U:
      case SymbolicOp::FcnCall2U:
      case SymbolicOp::FcnCall: return std::max<std::size_t>(aCount, 2);
      case SymbolicOp::MemberValue:
        return styles[static_cast<std::size_t>(aKind)].length +
               static_cast<const SymbolicMemberValue&>(aNode).getMember().size();
      default: return styles[static_cast<std::size_t>(aKind)].length;
    }
  }

  std::size_t nameLength(const std::string& aName) const {
    if (namesBooleans(source.layout) && (aName == "true" || aName == "false")) return 1;
    return source.renames ? 0 : aName.size();
  }

  const TextSource& source;
  const StyleTable& styles;
  const std::size_t tooLong;
  std::vector<Word> words;
  std::vector<Text> texts;
};

}  // namespace

std::size_t textLength(const TextSource& aSource, std::size_t aLimit) {
  return Lengths(aSource, aLimit).ofRoot();
}

void failLength(const char* aRenderer, std::size_t aLimit) {
  constexpr std::size_t mebi = std::size_t{1} << 20;
  const bool isWhole = aLimit != 0 && aLimit % mebi == 0;
  const std::string limit =
      isWhole ? std::to_string(aLimit / mebi) + " MiB" : std::to_string(aLimit) + " bytes";
  throw std::length_error(std::string(aRenderer) + ": the text is longer than " + limit);
}

}  // namespace KS::detail
