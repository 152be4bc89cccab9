#include "tools/Split.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <ostream>
#include <vector>

#include "tools/Layout.hpp"
#include "tools/Subtrees.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

constexpr std::size_t writtenLength = std::size_t{256} << 10;

// The blocks of each part in the order of the file: those of a stretch of the tree, and all that
// they continue.
std::vector<std::vector<std::uint32_t>> partsOf(const Model& aModel, std::size_t aCount) {
  const std::size_t numBlocks = aModel.blocks.size();
  std::vector<std::vector<std::uint32_t>> parts(aCount);
  const std::vector<std::uint32_t> positions = subtreePositions(aModel);
  for (std::size_t index = 0; index < numBlocks; ++index) {
    parts[positions[index] * aCount / numBlocks].push_back(static_cast<std::uint32_t>(index));
  }
  std::vector<std::size_t> lastPart(numBlocks, aCount);  // by block: the last one that it is in
  for (std::size_t part = 0; part < aCount; ++part) {
    std::vector<std::uint32_t>& blocks = parts[part];
    for (const std::uint32_t index : blocks) lastPart[index] = part;
    const std::size_t numOwn = blocks.size();
    for (std::size_t i = 0; i < numOwn; ++i) {
      const KSBlock* block = aModel.blocks[blocks[i]].parent;
      for (; block != nullptr && lastPart[aModel.indexOf(*block)] != part; block = block->parent) {
        lastPart[aModel.indexOf(*block)] = part;
        blocks.push_back(static_cast<std::uint32_t>(aModel.indexOf(*block)));
      }
    }
    const auto ownEnd = blocks.begin() + static_cast<std::ptrdiff_t>(numOwn);
    std::sort(ownEnd, blocks.end());
    std::inplace_merge(blocks.begin(), ownEnd, blocks.end());
  }
  return parts;
}

void appendBlock(std::string& aOut, const KSBlock& aBlock) {
  aOut += "{\"id\": ";
  appendJson(aOut, aBlock.id);
  aOut += ", \"parent\": ";
  appendJsonOrNull(aOut, aBlock.parent == nullptr ? nullptr : &aBlock.parent->id);
  for (const Family family : {VV, CG, S}) {
    if (aBlock.texts[family].empty()) continue;
    aOut += std::string(", \"") + familyNames[family] + "\": ";
    appendJson(aOut, aBlock.texts[family]);
  }
  aOut += '}';
}

void appendDomain(std::string& aOut, const Domain& aDomain) {
  aOut += '{';
  const char* separator = "";
  const auto member = [&](const char* name, const std::string& value) {
    aOut += std::string(separator) + '"' + name + "\": " + value;
    separator = ", ";
  };
  switch (aDomain.kind) {
    case Domain::Kind::Boolean: member("boolean", "true"); break;
    case Domain::Kind::Values: {
      std::string values;
      for (const Domain::Value& value : aDomain.values) {
        values += values.empty() ? "[" : ", ";
        if (const auto* number = std::get_if<double>(&value))
          values += numberText(*number);
        else
          appendJson(values, std::get<std::string>(value));
      }
      member("values", values + ']');
      break;
    }
    case Domain::Kind::Integer: member("integer", "true"); [[fallthrough]];
    case Domain::Kind::Real:
      if (std::isfinite(aDomain.min)) member("min", numberText(aDomain.min));
      if (std::isfinite(aDomain.max)) member("max", numberText(aDomain.max));
      break;
  }
  aOut += '}';
}

// What stands behind the blocks: variables and constraints.
std::string restOf(const Model& aModel) {
  std::string rest = "\n]";
  const char* separator = ",\n\"variables\": {\n";
  for (const DeclaredVariable& variable : aModel.variables) {
    rest += separator;
    appendJson(rest, variable.name);
    rest += ": ";
    appendDomain(rest, variable.domain);
    separator = ",\n";
  }
  if (!aModel.variables.empty()) rest += "\n}";
  separator = ",\n\"constraints\": [\n";
  for (const std::string_view constraint : aModel.constraints) {
    rest += separator;
    appendJson(rest, constraint);
    separator = ",\n";
  }
  if (!aModel.constraints.empty()) rest += "\n]";
  return rest + "}\n";
}

void writePart(const Model& aModel, const std::vector<std::uint32_t>& aBlocks,
               const std::string& aRest, const std::string& aPath) {
  errno = 0;
  std::ofstream file(aPath, std::ios::binary);
  std::string text = "{\"blocks\": [";
  const char* separator = "\n";
  for (const std::uint32_t index : aBlocks) {
    text += separator;
    separator = ",\n";
    appendBlock(text, aModel.blocks[index]);
    if (text.size() < writtenLength) continue;
    file << text;
    text.clear();
  }
  file << text << aRest;
  file.close();
  if (!file) {
    throw AnswerError(printable(aPath) +
                      ": cannot write: " + (errno != 0 ? std::strerror(errno) : "unknown error"));
  }
}

}  // namespace

void splitModel(const Model& aModel, std::size_t aCount, const std::string& aPrefix,
                Streams& aStreams) {
  const std::string rest = restOf(aModel);
  std::size_t number = 0;
  for (const std::vector<std::uint32_t>& blocks : partsOf(aModel, aCount)) {
    const std::string path = aPrefix + std::to_string(++number) + ".json";
    writePart(aModel, blocks, rest, path);
    send(aStreams.out, path + '\n');
  }
  if (!aStreams.out.flush()) throw WriteError();
}

}  // namespace ksexpr
