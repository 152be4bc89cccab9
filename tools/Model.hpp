// The model file: blocks with their parents and the texts of their conditions, what is known of the
// variables, and constraints that always hold.
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <iosfwd>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

namespace ksexpr {

/// The condition texts of a block by `Family`. Blocks without any, as most are in a large model,
/// take no room for them.
class BlockTexts {
 public:
  using Room = std::array<std::string_view, 3>;
  BlockTexts() = default;
  /// The texts that stand there, as long as they do.
  explicit BlockTexts(const Room& aRoom) : room(&aRoom) {}
  bool hasRoom() const { return room != nullptr; }
  std::string_view operator[](std::size_t aFamily) const {
    return room == nullptr ? std::string_view() : room->at(aFamily);
  }

 private:
  const Room* room = nullptr;
};

}  // namespace ksexpr

/// A block as the condition service knows it: an address. The library leaves the class to its host,
/// which is this program. Its strings lie in the model.
class KSBlock {
 public:
  std::string_view id;
  const KSBlock* parent = nullptr;
  ksexpr::BlockTexts texts;
};

namespace ksexpr {

/// The condition families, in the order in which they are answered.
enum Family : std::size_t { VV, CG, S };

/// How a family is named in messages and model files.
inline constexpr std::array<const char*, 3> familyNames{"VV", "CG", "S"};

struct Streams;

/// What a variable may be.
struct Domain {
  enum class Kind { Values, Integer, Real, Boolean };
  /// A number, or the name of a constant that differs from every other and from all numbers.
  using Value = std::variant<double, std::string>;

  Kind kind = Kind::Real;
  /// The ends of a range, both included.
  double min = -std::numeric_limits<double>::infinity();
  double max = std::numeric_limits<double>::infinity();
  /// The values of a list.
  std::vector<Value> values;
};

/// What a model file says of a variable, which its name may spell as a member ("Site.remote").
struct DeclaredVariable {
  std::string_view name;
  Domain domain;
};

/// A model in memory, which stays where it is.
struct Model {
  Model() = default;
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  /// The number of a block, from 0 in file order.
  std::size_t indexOf(const KSBlock& aBlock) const {
    return static_cast<std::size_t>(&aBlock - blocks.data());
  }
  /// Where a string of the model begins in the file.
  std::size_t offsetOf(std::string_view aString) const;
  /// The line of the file that a string of the model stands in, counted from 1. Takes time in what
  /// stands before it.
  std::size_t lineOf(std::string_view aString) const;

  std::string path;
  /// The file's content, to which offsets refer. Strings without escapes are parts of it.
  std::string text;
  std::list<std::string> decoded;
  /// Where these begin in the file, by where they lie.
  std::unordered_map<const char*, std::size_t> offsetsOfDecoded;
  /// The blocks in file order.
  std::vector<KSBlock> blocks;
  /// The condition texts of the blocks that have some, in parts.
  std::list<std::deque<BlockTexts::Room>> texts;
  /// The variables that the file describes, in its order.
  std::vector<DeclaredVariable> variables;
  /// The texts of the constraints.
  std::vector<std::string_view> constraints;
};

/// How a file is named in messages: "-" is standard input.
std::string sourceName(const std::string& aPath);

/// The content of a file, or of standard input for "-", without a byte order mark. Throws
/// `AnswerError`, and `UsageError` for standard input that was read before.
std::string readWholeFile(const std::string& aPath, Streams& aStreams);

/// Reads a model file, or standard input for "-". Writes what is wrong with it to the errors, with
/// line and column, and returns null if there is anything. A key that nothing reads is only warned
/// of. Up to `aJobs` threads share what can be shared. Throws `UsageError` for standard input that
/// was read before.
std::unique_ptr<const Model> readModel(const std::string& aPath, Streams& aStreams,
                                       std::size_t aJobs = 1);

/// The model that the content of a file spells, which messages call `aName`. Writes what is wrong
/// with it to `aErrors`, and returns null if there is anything; writes warnings to `aWarnings`.
std::unique_ptr<const Model> modelOfText(const std::string& aName, std::string aText,
                                         std::ostream& aErrors, std::ostream& aWarnings,
                                         std::size_t aJobs = 1);

}  // namespace ksexpr
