// The model file: blocks with their parents and the texts of their conditions.
#pragma once

#include <array>
#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

/// A block as the condition service knows it: an address. The library leaves the class to its host,
/// which is this program.
class KSBlock {
 public:
  std::string id;
  const KSBlock* parent = nullptr;
  /// The condition texts by `ksexpr::Family`, and where each value stands in the model file.
  std::array<std::string, 3> texts;
  std::array<std::size_t, 3> textOffsets{};
  /// The parent's id as written (nothing for null), and where id and parent stand in the file.
  std::optional<std::string> parentId;
  std::size_t idOffset = 0;
  std::size_t parentOffset = 0;
};

namespace ksexpr {

/// The condition families, in the order in which they are answered.
enum Family : std::size_t { VV, CG, S };

/// How a family is named in messages and model files.
inline constexpr std::array<const char*, 3> familyNames{"VV", "CG", "S"};

/// A model in memory.
struct Model {
  std::string path;
  /// The file's content, to which offsets refer, and where its lines begin.
  std::string text;
  std::vector<std::size_t> lineStarts;
  /// The blocks in file order; addresses stay.
  std::vector<KSBlock> blocks;
  /// All blocks, every one after its parent.
  std::vector<const KSBlock*> parentsFirst;

  /// The line of the file that an offset lies in, counted from 1. Found by halving, since a model
  /// may be wrong in many places.
  std::size_t lineOf(std::size_t aOffset) const;
};

/// Reads a model file. Writes what is wrong with it to `aErrors`, with line and column, and returns
/// nothing if there is anything.
std::optional<Model> readModel(const std::string& aPath, std::ostream& aErrors);

}  // namespace ksexpr
