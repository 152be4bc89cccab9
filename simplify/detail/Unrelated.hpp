// Conjunctions of operands that have nothing to do with each other.
#pragma once

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "base/detail/Digest.hpp"
#include "simplify/detail/PairRules.hpp"
#include "simplify/detail/TextOrder.hpp"

namespace KS::detail {

/// A stack of plain values in one piece of memory, which moves as it grows.
template <class Value>
class Pool {
 public:
  std::size_t size() const { return used; }
  Value* data() { return values.data(); }
  const Value* data() const { return values.data(); }
  Value& operator[](std::size_t aIdx) { return values[aIdx]; }

  /// Adds so many values, which are anything, and returns where the first is.
  Value* add(std::size_t aCount) {
    if (values.size() - used < aCount) values.resize(std::max(2 * values.size(), used + aCount));
    return values.data() + std::exchange(used, used + aCount);
  }
  void push(const Value& aValue) { *add(1) = aValue; }
  /// Takes the last values off, down to so many. Much memory is given back with the last of all.
  void drop(std::size_t aSize) {
    constexpr std::size_t much = std::size_t{1} << 16;
    if (aSize == 0 && values.size() > much) values = {};
    used = aSize;
  }

 private:
  std::vector<Value> values;
  std::size_t used = 0;
};

/// Conjoins simplified conjunctions whose operands meet in no rule: the result is all of these in
/// text order.
///
/// An operand is about subjects: a relation about its left operand, a negation about what is below
/// it, anything else about itself. Operands whose subjects differ have nothing to do with each
/// other for any rule but distribution.
class Unrelated {
 public:
  /// Where the operands, or the subjects, of a part lie in their pool.
  struct Range {
    std::uint32_t first;
    std::uint32_t last;
    std::size_t size() const { return last - first; }
  };

  /// A simplified conjunction, or an operand of one, taken apart.
  struct Part {
    std::uint32_t id;
    bool isPlain;  ///< Not a constant; no operand is a disjunction or about too many.
    Range operands;
    Range subjects;
  };

  /// Borrows the table and the order.
  Unrelated(SymbolicExprTable& aTable, TextOrder& aOrder) : table(aTable), order(aOrder) {}

  /// What is taken apart lasts as long as this.
  class Scope {
   public:
    explicit Scope(Unrelated& aUser)
        : user(aUser), numTexts(aUser.texts.size()), numSubjects(aUser.subjects.size()) {}
    ~Scope() {
      user.texts.drop(numTexts);
      user.subjects.drop(numSubjects);
    }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    Unrelated& user;
    std::size_t numTexts;
    std::size_t numSubjects;
  };

  /// Takes an id apart.
  Part takeApart(SymbolicExprId aId);
  /// Whether nothing that the one range is about is what the other is about.
  bool areUnrelated(const Range& aSubjects, const Range& aOthers) const;
  /// Whether all of the parts are plain and no two are about the same.
  bool areUnrelated(const Part* aParts, std::size_t aCount) const;
  /// The conjunction of unrelated plain parts, which continues the chain of the first of those with
  /// the most operands. What it is about is not gathered.
  Part conjoin(const Part* aParts, std::size_t aCount);
  /// The key of a part by which disjunctions are ordered.
  TextOrder::Key key(const Part& aPart) const {
    return TextOrder::key(aPart.id, texts.data(), aPart.operands.first,
                          aPart.operands.last - aPart.operands.first);
  }
  /// Sorts such keys.
  void sort(TextOrder::Key* aFirst, TextOrder::Key* aLast) {
    order.sort(texts.data(), aFirst, aLast);
  }

  /// The conjunction of two that are simplified. Nothing where a rule might apply to operands of
  /// the two.
  std::optional<SymbolicExprId> extend(SymbolicExprId a, SymbolicExprId b);

 private:
  using Text = TextOrder::Text;
  using Texts = std::vector<Text>;

  // So many are searched for one by one.
  static constexpr std::size_t few = 8;
  // A negation is about so many at most.
  static constexpr std::size_t manySubjects = 64;
  // So many pairs of subjects are not compared one by one.
  static constexpr std::size_t manyPairs = 512;
  // A conjunction of more operands is long: it may be kept taken apart.
  static constexpr std::size_t manyOperands = 16;

  static bool haveCommon(const std::uint32_t* aFirst, const std::uint32_t* aLast,
                         const std::uint32_t* aOtherFirst, const std::uint32_t* aOtherLast) {
    for (; aFirst != aLast; ++aFirst) {
      for (const std::uint32_t* other = aOtherFirst; other != aOtherLast; ++other) {
        if (*aFirst == *other) return true;
      }
    }
    return false;
  }

  SymbolicOp kindOf(SymbolicExprId aId) const { return Digests::kindOf(table, aId); }
  bool isConstant(SymbolicExprId aId) const {
    return aId == table.getIdTRUE() || aId == table.getIdFALSE();
  }
  // The last operand of a chain.
  SymbolicExprId operandOf(SymbolicExprId aLink) const { return Digests::of(table)[aLink].second; }
  // Adds what an operand of a conjunction is about. Returns the operand's `leftOf`; the invalid id
  // for a disjunction, which is distributed, and for an operand about too many.
  SymbolicExprId addSubjects(SymbolicExprId aOperand) {
    const NodeDigest& node = Digests::of(table)[aOperand];
    const auto kind = static_cast<SymbolicOp>(node.kind);
    if (isRelation(kind)) {
      subjects.push(node.first);
      return node.first;
    }
    if (kind == SymbolicOp::Or) return invalidSymbolicExprId;
    if (kind == SymbolicOp::Not) {
      return addSubjectsOfNot(aOperand) ? aOperand : invalidSymbolicExprId;
    }
    subjects.push(static_cast<std::uint32_t>(aOperand));
    return aOperand;
  }
  bool addSubjectsOfNot(SymbolicExprId aNot);
  Text* place(Text* aFirst, Text* aLast, const Text& aAdded);
  std::size_t merge(Text* aFirst, std::size_t aCount, const Text* aAdded, std::size_t aAddedCount);
  SymbolicExprId link(SymbolicExprId aChain, const Text* aFirst, std::size_t aCount);
  SymbolicExprId relink(SymbolicExprId aChain, std::size_t aLinks, std::size_t aKept,
                        const Text* aFirst, std::size_t aCount);
  std::size_t countOperands(SymbolicExprId aChain, std::size_t aMost = ~std::size_t{0}) const;
  bool excludes(SymbolicExprId aOperand) const;
  bool isUnrelated(SymbolicExprId aChain, const Part& aOther);
  SymbolicExprId append(SymbolicExprId aChain, const Part& aOther);
  std::optional<Part> withoutCommon(const Part& aPart, const Part& aOther);
  bool loadGrowing(SymbolicExprId aChain);
  void noteSubjects(SymbolicExprId aOperand);
  std::optional<Texts> newToGrowing(const Part& aPart);
  std::optional<SymbolicExprId> extendGrowing(SymbolicExprId aChain, const Part& aOther);
  template <class Value>
  static std::uint32_t endOf(const Pool<Value>& aPool) {
    return static_cast<std::uint32_t>(aPool.size());
  }

  SymbolicExprTable& table;
  TextOrder& order;
  Pool<Text> texts;
  Pool<std::uint32_t> subjects;

  // What the growing chain is about; each as often as it was added.
  class Subjects {
   public:
    void add(const std::uint32_t* aFirst, const std::uint32_t* aLast) {
      all.insert(all.end(), aFirst, aLast);
    }
    // Takes the last ones out again, which were no subjects before they were added.
    void dropLast(std::size_t aCount);
    void clear();
    bool containsAny(const std::uint32_t* aFirst, const std::uint32_t* aLast);

   private:
    std::vector<std::uint32_t> all;
    boost::unordered_flat_set<std::uint32_t> set;  // of the first `inSet` of these, if worth it
    std::size_t inSet = 0;
    bool wasAsked = false;  // a set that is asked once is not worth its making
  };

  // A long conjunction that was extended twice in a row, taken apart: one that grows operand by
  // operand, or to which one operand after the other is added for siblings, costs a look at the new
  // operand each time.
  struct GrowingChain {
    SymbolicExprId chain = invalidSymbolicExprId;
    Texts operands;  // in order
    Subjects subjects;
    // What operands `x != 1` are about, and how many of these: they do not meet in a rule.
    boost::unordered_flat_map<std::uint32_t, std::size_t> excluding;
    // What it was before it was extended, if it still is to be had, and by what.
    SymbolicExprId before = invalidSymbolicExprId;
    Texts added;
    std::size_t addedSubjects = 0;
  };
  GrowingChain growing;
  // The long conjunction that was extended last, and the result.
  SymbolicExprId lastExtended = invalidSymbolicExprId;
  std::optional<SymbolicExprId> lastResult;
};

}  // namespace KS::detail
