// The limit: programs written for one work alone. They read the same language, give each distinct
// expression one number, print and evaluate; but they have no other dialect, no host, no depth
// beyond their stack, no lists or reals to evaluate, and do not say what is wrong with a text.
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string_view>

#include "bench/Engine.hpp"
#include "bench/Measure.hpp"

namespace KSBench {

namespace {

using Id = std::uint32_t;

enum class Kind : std::uint8_t {
  Name,
  Int,
  Real,
  Or,
  And,
  BitOr,
  BitXor,
  BitAnd,
  Eq,
  Ne,
  Le,
  Lt,
  Ge,
  Gt,
  Shr,
  Shl,
  Plus,
  Minus,
  Times,
  Divide,
  Modulo,
  Negate,
  Not,
  Complement,
  Member,
  Call,
  List,
  Link  // of a chain of elements
};

// The spelling and the level of each operator in C syntax, by kind.
struct Spelling {
  const char* text;
  int level;
};
constexpr std::array<Spelling, 28> spellings{
    {{"", 12},  {"", 12},  {"", 12},  {"||", 1}, {"&&", 2}, {"|", 3},  {"^", 4},
     {"&", 5},  {"==", 6}, {"!=", 6}, {"<=", 7}, {"<", 7},  {">=", 7}, {">", 7},
     {">>", 8}, {"<<", 8}, {"+", 9},  {"-", 9},  {"*", 10}, {"/", 10}, {"%", 10},
     {"-", 11}, {"!", 11}, {"~", 11}, {"", 12},  {"", 12},  {"", 12},  {"", 12}}};
const Spelling& spelling(Kind aKind) { return spellings[static_cast<std::size_t>(aKind)]; }
bool isPrefix(Kind aKind) { return aKind >= Kind::Negate && aKind <= Kind::Complement; }

constexpr Id none = 0xFFFFFFFF;

// Every distinct expression once, inputs before their users.
class Nodes {
 public:
  struct Node {
    Kind kind;
    Id first, second;  // the inputs; the value of an Int; the place of a name or a Real
  };

  Id intern(Kind aKind, Id aFirst, Id aSecond = none) {
    const std::uint32_t hash =
        static_cast<std::uint32_t>((aFirst * 0x9e3779b97f4a7c15U ^ aSecond * 0xc2b2ae3d27d4eb4fU ^
                                    static_cast<std::uint64_t>(aKind) * 0x165667b19e3779f9U) >>
                                   32);
    std::size_t place = hash & (slots.size() - 1);
    for (; slots[place] != none; place = (place + 1) & (slots.size() - 1)) {
      const Node& node = nodes[slots[place]];
      if (node.first == aFirst && node.second == aSecond && node.kind == aKind) return slots[place];
    }
    const Id id = static_cast<Id>(nodes.size());
    slots[place] = id;
    nodes.push_back({aKind, aFirst, aSecond});
    hashes.push_back(hash);
    if (nodes.size() > slots.size() / 4 * 3) grow(slots, hashes);
    return id;
  }
  Id name(std::string_view aName) {
    std::uint32_t hash = 2166136261U;
    for (const char c : aName) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    std::size_t place = hash & (nameSlots.size() - 1);
    for (; nameSlots[place] != none; place = (place + 1) & (nameSlots.size() - 1)) {
      if (text(nameSlots[place]) == aName) return ofName[nameSlots[place]];
    }
    const Id number = static_cast<Id>(ofName.size());
    nameSlots[place] = number;
    names.append(aName);
    ends.push_back(static_cast<std::uint32_t>(names.size()));
    nameHashes.push_back(hash);
    ofName.push_back(intern(Kind::Name, number));
    const Id id = ofName.back();
    if (ofName.size() > nameSlots.size() / 2) grow(nameSlots, nameHashes);
    return id;
  }
  Id real(double aValue) {
    for (std::size_t i = 0; i < reals.size(); ++i) {
      if (reals[i] == aValue) return intern(Kind::Real, static_cast<Id>(i));
    }
    reals.push_back(aValue);
    return intern(Kind::Real, static_cast<Id>(reals.size() - 1));
  }

  const Node& operator[](Id aId) const { return nodes[aId]; }
  std::size_t size() const { return nodes.size(); }
  std::size_t numNames() const { return ofName.size(); }
  std::string_view text(Id aName) const {
    const std::size_t begin = aName == 0 ? 0 : ends[aName - 1];
    return std::string_view(names).substr(begin, ends[aName] - begin);
  }
  double realAt(Id aPlace) const { return reals[aPlace]; }

 private:
  static void grow(std::vector<Id>& aSlots, const std::vector<std::uint32_t>& aHashes) {
    aSlots.assign(aSlots.size() * 2, none);
    for (std::size_t id = 0; id < aHashes.size(); ++id) {
      std::size_t place = aHashes[id] & (aSlots.size() - 1);
      while (aSlots[place] != none) place = (place + 1) & (aSlots.size() - 1);
      aSlots[place] = static_cast<Id>(id);
    }
  }

  std::vector<Node> nodes;
  std::vector<std::uint32_t> hashes;
  std::vector<Id> slots = std::vector<Id>(32, none);
  std::string names;
  std::vector<std::uint32_t> ends, nameHashes;
  std::vector<Id> ofName;
  std::vector<Id> nameSlots = std::vector<Id>(32, none);
  std::vector<double> reals;
};

// Reads by precedence, one character ahead.
class Reader {
 public:
  explicit Reader(Nodes& aNodes) : nodes(aNodes) {}

  // Throws `std::invalid_argument` for a text that is no expression.
  Id read(const std::string& aText) {
    next = aText.data();
    end = next + aText.size();
    skipSpace();
    const Id id = binary(1);
    if (next != end) fail();
    return id;
  }

 private:
  [[noreturn]] static void fail() { throw std::invalid_argument("no expression"); }
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }
  static bool isLetter(char c) { return (c | 32) >= 'a' && (c | 32) <= 'z'; }
  static bool isNamed(char c) { return isLetter(c) || isDigit(c) || c == '_'; }
  // A zero stands behind every text.
  void skipSpace() {
    while (*next == ' ' || (*next >= '\t' && *next <= '\r')) ++next;
  }
  bool take(char aCharacter) {
    if (*next != aCharacter) return false;
    ++next;
    skipSpace();
    return true;
  }

  // The operator that comes next, and its length; a name where none does.
  std::pair<Kind, int> infix() const {
    const char after = *next == '\0' ? '\0' : next[1];
    switch (*next) {
      case '|': return after == '|' ? std::pair{Kind::Or, 2} : std::pair{Kind::BitOr, 1};
      case '&': return after == '&' ? std::pair{Kind::And, 2} : std::pair{Kind::BitAnd, 1};
      case '^': return {Kind::BitXor, 1};
      case '=': return {after == '=' ? Kind::Eq : Kind::Name, 2};
      case '!':
      case '~': return {after == '=' ? Kind::Ne : Kind::Name, 2};
      case '<':
        return after == '='   ? std::pair{Kind::Le, 2}
               : after == '<' ? std::pair{Kind::Shl, 2}
                              : std::pair{Kind::Lt, 1};
      case '>':
        return after == '='   ? std::pair{Kind::Ge, 2}
               : after == '>' ? std::pair{Kind::Shr, 2}
                              : std::pair{Kind::Gt, 1};
      case '+': return {Kind::Plus, 1};
      case '-': return {Kind::Minus, 1};
      case '*': return {Kind::Times, 1};
      case '/': return {Kind::Divide, 1};
      case '%': return {Kind::Modulo, 1};
      default: return {Kind::Name, 0};
    }
  }

  Id binary(int aLevel) {
    Id left = operand();
    for (;;) {
      const auto [kind, length] = infix();
      if (kind == Kind::Name || spelling(kind).level < aLevel) return left;
      next += length;
      skipSpace();
      left = nodes.intern(kind, left, binary(spelling(kind).level + 1));
    }
  }

  Id operand() {
    const char c = *next;
    if (c == '-' || c == '+' || c == '!' || c == '~') {
      if ((c == '-' || c == '+') && startsNumber(next + 1)) return number();
      ++next;
      skipSpace();
      const Id id = primary();
      return c == '+'   ? id
             : c == '-' ? nodes.intern(Kind::Negate, id)
             : c == '!' ? nodes.intern(Kind::Not, id)
                        : nodes.intern(Kind::Complement, id);
    }
    return primary();
  }

  bool startsNumber(const char* aText) const {
    return isDigit(*aText) || *aText == '.' || isWord(aText, "inf") || isWord(aText, "nan");
  }
  static bool isWord(const char* aText, const char* aWord) {
    for (; *aWord != '\0'; ++aText, ++aWord) {
      if ((*aText | 32) != *aWord) return false;
    }
    return true;
  }

  Id primary() {
    const char c = *next;
    if (isDigit(c) || c == '.' || ((c == '-' || c == '+') && startsNumber(next + 1)))
      return number();
    if (isLetter(c) || c == '_') {
      if (((c | 32) == 'i' || (c | 32) == 'n') && startsNumber(next)) return number();
      const Id id = name();
      if (take('(')) return nodes.intern(Kind::Call, id, take(')') ? none : elements(')'));
      if (take('.')) return nodes.intern(Kind::Member, id, name());
      return id;
    }
    if (take('(')) {
      const Id id = binary(1);
      if (!take(')')) fail();
      return id;
    }
    if (take('[')) return nodes.intern(Kind::List, elements(']'));
    fail();
  }

  Id name() {
    const char* const begin = next;
    if (!isLetter(*next) && *next != '_') fail();
    while (isNamed(*next)) ++next;
    const Id id = nodes.name({begin, static_cast<std::size_t>(next - begin)});
    skipSpace();
    return id;
  }

  Id elements(char aClose) {
    Id all = nodes.intern(Kind::Link, binary(1));
    while (take(',')) all = nodes.intern(Kind::Link, binary(1), all);
    if (!take(aClose)) fail();
    return all;
  }

  Id number() {
    const char* const begin = *next == '+' ? next + 1 : next;
    int value = 0;
    auto [stop, error] = std::from_chars(begin, end, value);
    const bool isReal = stop == begin || *stop == '.' || (*stop | 32) == 'e';
    if (!isReal && error == std::errc()) {
      next = stop;
      skipSpace();
      return nodes.intern(Kind::Int, static_cast<Id>(value));
    }
    double realValue = 0;
    const auto read = std::from_chars(begin, end, realValue);
    if (!isReal || read.ec != std::errc()) fail();
    next = read.ptr;
    skipSpace();
    return nodes.real(realValue);
  }

  Nodes& nodes;
  const char* next = nullptr;
  const char* end = nullptr;
};

// Writes C syntax with the brackets that it needs.
class Writer {
 public:
  explicit Writer(const Nodes& aNodes) : nodes(aNodes) {}

  std::string write(Id aId) {
    text.clear();
    add(aId, 0);
    return text;
  }

 private:
  void add(Id aId, int aLevel) {
    const Nodes::Node& node = nodes[aId];
    const Spelling& known = spelling(node.kind);
    const bool inBrackets = known.level < aLevel;
    if (inBrackets) text += '(';
    switch (node.kind) {
      case Kind::Name: text += nodes.text(node.first); break;
      case Kind::Int: {
        char digits[12];
        const auto result =
            std::to_chars(digits, digits + sizeof digits, static_cast<int>(node.first));
        text.append(digits, result.ptr);
        break;
      }
      case Kind::Real: {
        char digits[32];
        const auto result = std::to_chars(digits, digits + sizeof digits, nodes.realAt(node.first));
        text.append(digits, result.ptr);
        break;
      }
      case Kind::Member:
        add(node.first, 0);
        text += '.';
        add(node.second, 0);
        break;
      case Kind::Call:
        add(node.first, 0);
        text += '(';
        if (node.second != none) add(node.second, 0);
        text += ')';
        break;
      case Kind::List:
        text += '[';
        add(node.first, 0);
        text += ']';
        break;
      case Kind::Link:
        if (node.second != none) {
          add(node.second, 0);
          text += ',';
        }
        add(node.first, 0);
        break;
      default:
        if (isPrefix(node.kind)) {
          text += known.text;
          add(node.first, known.level + 1);
        } else {
          add(node.first, known.level);
          text += known.text;
          add(node.second, known.level + 1);
        }
    }
    if (inBrackets) text += ')';
  }

  const Nodes& nodes;
  std::string text;
};

// Walks an expression; whole numbers of 32 bits that wrap.
class Walk {
 public:
  Walk(const Nodes& aNodes, const std::vector<int>& aValues) : nodes(aNodes), values(aValues) {}

  int value(Id aId) const {
    const Nodes::Node& node = nodes[aId];
    const auto left = [&] { return value(node.first); };
    const auto right = [&] { return value(node.second); };
    const auto wrapped = [](std::int64_t aValue) {
      return static_cast<int>(static_cast<std::uint32_t>(aValue));
    };
    switch (node.kind) {
      case Kind::Name: return values[node.first];
      case Kind::Int: return static_cast<int>(node.first);
      // Both operands, since either may be one that has no value.
      case Kind::Or: return (left() | right()) != 0 ? 1 : 0;
      case Kind::And: return static_cast<int>(left() != 0) & static_cast<int>(right() != 0);
      case Kind::Not: return left() == 0 ? 1 : 0;
      case Kind::Eq: return left() == right() ? 1 : 0;
      case Kind::Ne: return left() != right() ? 1 : 0;
      case Kind::Lt: return left() < right() ? 1 : 0;
      case Kind::Le: return left() <= right() ? 1 : 0;
      case Kind::Gt: return left() > right() ? 1 : 0;
      case Kind::Ge: return left() >= right() ? 1 : 0;
      case Kind::Negate: return wrapped(-std::int64_t{left()});
      case Kind::Plus: return wrapped(std::int64_t{left()} + right());
      case Kind::Minus: return wrapped(std::int64_t{left()} - right());
      case Kind::Times: return wrapped(std::int64_t{left()} * right());
      case Kind::Divide: {
        const int divisor = right();
        const int dividend = left();
        if (divisor != 0) return wrapped(std::int64_t{dividend} / divisor);
        return dividend == 0  ? 0
               : dividend > 0 ? std::numeric_limits<int>::max()
                              : std::numeric_limits<int>::min();
      }
      default: throw std::invalid_argument("an operator that the corpus does not have");
    }
  }

 private:
  const Nodes& nodes;
  const std::vector<int>& values;
};

class Limit : public Engine {
 public:
  using Engine::Engine;
  std::string name() const override { return "limit"; }
  std::string version() const override { return ""; }

  Trial trial(Work aWork) override {
    switch (aWork) {
      case Work::ParseDimensions: return parsing(inputs.corpus.dimensions);
      case Work::ParseConditions: return parsing(inputs.corpus.conditions);
      case Work::PrintDimensions: return printing(inputs.corpus.dimensions);
      case Work::PrintConditions: return printing(inputs.corpus.conditions);
      case Work::EvaluateDimensionsOnce:
        return evaluatingOnce(inputs.corpus.dimensions, inputs.dimensionSymbols);
      case Work::EvaluateConditionsOnce:
        return evaluatingOnce(inputs.corpus.conditions, inputs.conditionSymbols);
      case Work::EvaluateAgainCycling: return evaluatingAgain(1);
      case Work::EvaluateAgainHot:
      case Work::EvaluateAgainProgram: return evaluatingAgain(hotRounds);
      case Work::NetConditionsDenseByNode: return [this] { return interning(); };
      case Work::MemoryDimensions: return memory(inputs.corpus.dimensions);
      case Work::MemoryConditions: return memory(inputs.corpus.conditions);
      default: return {};
    }
  }

  std::vector<double> answers(Question aQuestion) override {
    const bool isNumber = aQuestion == Question::Dimensions;
    if (!isNumber && aQuestion != Question::Conditions) return {};
    std::vector<double> results;
    for (int binding = 0; binding < numBindings; ++binding) {
      Nodes nodes;
      const std::vector<Id> ids =
          parseAll(nodes, isNumber ? inputs.corpus.dimensions : inputs.corpus.conditions);
      const std::vector<int> values =
          bindAll(nodes, isNumber ? inputs.dimensionSymbols : inputs.conditionSymbols, binding,
                  isNumber ? 1 : 0);
      const Walk walk(nodes, values);
      for (const Id id : ids) {
        const int value = walk.value(id);
        results.push_back(isNumber ? value : static_cast<int>(value != 0));
      }
    }
    return results;
  }

 private:
  static std::vector<Id> parseAll(Nodes& aNodes, const std::vector<std::string>& aTexts) {
    Reader reader(aNodes);
    std::vector<Id> ids;
    ids.reserve(aTexts.size());
    for (const std::string& text : aTexts) ids.push_back(reader.read(text));
    return ids;
  }

  // By number of the name.
  static std::vector<int> bindAll(Nodes& aNodes, const std::vector<std::string>& aNames,
                                  int aBinding, int aLeast) {
    for (const std::string& name : aNames) aNodes.name(name);
    std::vector<int> values(aNodes.numNames());
    for (const std::string& name : aNames) {
      values[aNodes[aNodes.name(name)].first] = aLeast + boundValue(name, aBinding);
    }
    return values;
  }

  static Trial parsing(const std::vector<std::string>& aTexts) {
    return [&aTexts] {
      Nodes nodes;
      return timed([&] { parseAll(nodes, aTexts); });
    };
  }

  static Trial printing(const std::vector<std::string>& aTexts) {
    return [&aTexts] {
      Nodes nodes;
      const std::vector<Id> ids = parseAll(nodes, aTexts);
      Writer writer(nodes);
      std::size_t length = 0;
      const double time = timed([&] {
        for (const Id id : ids) length += writer.write(id).size();
      });
      return length == 0 ? NAN : time;
    };
  }

  static Trial evaluatingOnce(const std::vector<std::string>& aTexts,
                              const std::vector<std::string>& aSymbols) {
    return [&aTexts, &aSymbols] {
      Nodes nodes;
      double sum = 0;
      const double time = timed([&] {
        const std::vector<int> values = bindAll(nodes, aSymbols, 0, 1);
        Reader reader(nodes);
        const Walk walk(nodes, values);
        for (const std::string& text : aTexts) sum += walk.value(reader.read(text));
      });
      return std::isnan(sum) ? NAN : time;
    };
  }

  Trial evaluatingAgain(std::size_t aRounds) {
    return [this, aRounds] {
      Nodes nodes;
      const std::vector<Id> ids = parseAll(nodes, inputs.corpus.conditions);
      const std::vector<int> values = bindAll(nodes, inputs.conditionSymbols, 0, 0);
      const Walk walk(nodes, values);
      double sum = 0;
      const auto sweep = [&] {
        for (std::size_t i = 0; i < ids.size(); i += aRounds) {
          for (std::size_t j = 0; j < aRounds; ++j) sum += walk.value(ids[i]);
        }
      };
      sweep();
      const double time = timed(sweep);
      return std::isnan(sum) ? NAN : time;
    };
  }

  // Of the nodes of net conditions, for one who knows them beforehand.
  double interning() {
    Nodes nodes;
    for (Id i = 0; i < inputs.numLocalNodes; ++i) nodes.intern(Kind::Int, i);
    const double time = timed([&] {
      for (const NetNode& node : inputs.netNodes) {
        nodes.intern(static_cast<Kind>(node.kind), node.left, node.right);
      }
    });
    return nodes.size() == inputs.numLocalNodes + inputs.netNodes.size() ? time : NAN;
  }

  static Trial memory(const std::vector<std::string>& aTexts) {
    return [&aTexts] {
      const std::size_t before = heapBytes();
      Nodes nodes;
      parseAll(nodes, aTexts).clear();
      return static_cast<double>(heapBytes() - before) / static_cast<double>(nodes.size());
    };
  }
};

}  // namespace

std::unique_ptr<Engine> makeLimit(const Inputs& aInputs) {
  return std::make_unique<Limit>(aInputs);
}

}  // namespace KSBench
