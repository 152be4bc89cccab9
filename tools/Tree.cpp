#include "tools/Tree.hpp"

#include <ostream>

#include "tools/Commands.hpp"
#include "tools/Layout.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

// The lines of a row that begins deeper are not drawn, so that a chain of blocks takes no more than
// room in its length: its rows say how deep they lie instead.
constexpr std::size_t maxDrawnDepth = 40;

// A label of a drawing is broken into lines of about this many characters, and cut after a few.
constexpr std::size_t labelWidth = 40;
constexpr std::size_t maxLabelLength = 400;

// The condition of a block on its own, empty for one that always holds. One that does not parse is
// shown as the file has it.
std::string conditionText(const TypedModel& aModel, const KSBlock& aBlock, bool aCForm) {
  const KS::SymbolicExprId id = aModel.local(aBlock);
  if (id != KS::invalidSymbolicExprId) return aModel.text(id, aCForm);
  return std::string(aBlock.texts[aModel.getFamily()]);
}

// The text in a label, between quotes: lines are broken at blanks.
std::string escaped(std::string_view aText) {
  std::string text = printable(aText);
  if (text.size() > maxLabelLength) {
    std::size_t end = maxLabelLength;
    while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    text.replace(end, std::string::npos, "...");
  }
  std::string label;
  std::size_t column = 0;
  for (const char c : text) {
    if (c == ' ' && column >= labelWidth) {
      label += "\\n";
      column = 0;
      continue;
    }
    if (c == '"' || c == '\\') label += '\\';
    label += c;
    ++column;
  }
  return label;
}

// Whether an entry is shown, and whether what it holds is not.
bool isShown(const TreeEntry& aEntry, const TreeRequest& aRequest) {
  return !aRequest.maxDepth || aEntry.depth < *aRequest.maxDepth;
}
bool isFolded(const TreeEntry& aEntry, const TreeRequest& aRequest) {
  return aEntry.numBelow > 0 && aRequest.maxDepth && aEntry.depth + 1 >= *aRequest.maxDepth;
}

}  // namespace

std::vector<TreeEntry> treeOf(const Model& aModel) {
  std::vector<TreeEntry> entries;
  constexpr std::size_t none = static_cast<std::size_t>(-1);
  // Chains of siblings, by block; built from the end, so that they are in file order.
  std::vector<std::size_t> firstChild(aModel.blocks.size(), none);
  std::vector<std::size_t> nextSibling(aModel.blocks.size(), none);
  std::size_t firstRoot = none;
  for (std::size_t i = aModel.blocks.size(); i-- > 0;) {
    const KSBlock* parent = aModel.blocks[i].parent;
    std::size_t& first = parent == nullptr ? firstRoot : firstChild[aModel.indexOf(*parent)];
    nextSibling[i] = first;
    first = i;
  }
  std::vector<std::size_t> path;  // the entries that enclose the next block
  for (std::size_t next = firstRoot; next != none || !path.empty();) {
    if (next == none) {  // all blocks inside the last one on the path have been met
      TreeEntry& done = entries[path.back()];
      done.numBelow = entries.size() - path.back() - 1;
      path.pop_back();
      next = nextSibling[aModel.indexOf(*done.block)];
      continue;
    }
    entries.push_back({&aModel.blocks[next], path.size(), 0, nextSibling[next] == none});
    path.push_back(entries.size() - 1);
    next = firstChild[next];
  }
  return entries;
}

std::string writeTree(const TypedModel& aModel, const TreeRequest& aRequest, std::ostream& aOut) {
  const std::vector<TreeEntry> tree = treeOf(aModel.getModel());
  std::vector<bool> isLast;  // by depth, of the blocks that enclose the row and of its own
  for (const TreeEntry& entry : tree) {
    isLast.resize(entry.depth);
    isLast.push_back(entry.isLast);
    if (!isShown(entry, aRequest)) continue;
    std::string line;
    const std::size_t first = entry.depth > maxDrawnDepth ? entry.depth - maxDrawnDepth + 1 : 1;
    if (first > 1) line = "(+" + std::to_string(first - 1) + ") ";
    for (std::size_t depth = first; depth < entry.depth; ++depth) {
      line += isLast[depth] ? "   " : "│  ";
    }
    if (entry.depth > 0) line += entry.isLast ? "└─ " : "├─ ";
    line += printable(entry.block->id);
    const std::string condition = conditionText(aModel, *entry.block, aRequest.cForm);
    if (!condition.empty()) line += "  " + printable(condition);
    if (isFolded(entry, aRequest)) {
      line += "  (" + counted(entry.numBelow, "block") + " below)";
    }
    if (aRequest.width > 0) line = cutToWidth(line, aRequest.width);
    send(aOut, line + '\n');
  }
  if (!aOut.flush()) throw WriteError();
  return counted(tree.size(), "block") + '\n';
}

void drawTree(const TypedModel& aModel, const TreeRequest& aRequest, std::ostream& aOut) {
  const Model& model = aModel.getModel();
  send(aOut,
       "digraph model {\n"
       "  rankdir=LR;\n"
       "  node [fontname=\"Helvetica\", shape=box, style=\"rounded,filled\", "
       "fillcolor=\"#f5f5f5\"];\n"
       "  edge [fontname=\"Helvetica\", fontsize=10, arrowsize=0.7];\n");
  for (const TreeEntry& entry : treeOf(model)) {
    if (!isShown(entry, aRequest)) continue;
    const std::string name = "b" + std::to_string(model.indexOf(*entry.block));
    const std::string condition = conditionText(aModel, *entry.block, aRequest.cForm);
    std::string label = escaped(entry.block->id);
    if (!condition.empty()) label += "\\n" + escaped(condition);
    if (isFolded(entry, aRequest)) label += "\\n(" + counted(entry.numBelow, "block") + " below)";
    // The looks differ where a block has a condition.
    const char* const fill = condition.empty() ? "" : ", fillcolor=\"#dae8fc\"";
    send(aOut, "  " + name + " [label=\"" + label + '"' + fill + "];\n");
    if (entry.block->parent != nullptr) {
      send(aOut,
           "  b" + std::to_string(model.indexOf(*entry.block->parent)) + " -> " + name + ";\n");
    }
  }
  send(aOut, "}\n");
  if (!aOut.flush()) throw WriteError();
}

}  // namespace ksexpr
