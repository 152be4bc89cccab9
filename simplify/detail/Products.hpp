// Conjunctions among the operands of a disjunction.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "simplify/detail/Operands.hpp"

namespace KS::detail {

/// Applies the rules for the products of a disjunction, its operands that are conjunctions:
///
///     a || (a && b) -> a                     (a && b) || (a && b && c) -> a && b
///     a || b || (a || b) && c -> a || b      (a && b) || (a && !b) -> a
///     a || (!a && b) -> a || b
///
/// Rounds follow each other until nothing is new. A round applies one rule to all products before
/// the next; in the last one a product takes part once, in text order. From the second round on,
/// it looks at what came since the round before, and at products that share factors with that. One
/// object serves the operands of one disjunction.
class Products {
 public:
  Products(SimplifyContext& aContext, Operands& aOperands) : c(aContext), operands(aOperands) {}

  /// Applies the rules to what came since the last call, until none applies.
  void apply();

 private:
  using Index = std::uint32_t;
  using IdPair = std::pair<SymbolicExprId, SymbolicExprId>;

  // A product and its factors, ordered by id.
  struct Product {
    SymbolicExprId id;
    Index first, last;        // of the factors, in the pool
    std::uint64_t signature;  // one bit per factor: a subset's bits are a subset
    bool isChanged;           // it has lost a factor in this round
    bool isGone;              // it is no operand any more

    Index size() const { return last - first; }
  };

  bool takeNew();
  void findComplements();
  void takeProduct(SymbolicExprId aId);
  void dropAbsorbedByOperands();
  void dropImpliedFactors();
  void dropAbsorbedByProducts();
  void mergeComplementary();
  void replaceChanged();

  const SymbolicExprId* begin(const Product& p) const { return factors.data() + p.first; }
  const SymbolicExprId* end(const Product& p) const { return factors.data() + p.last; }
  bool hasFactor(const Product& aProduct, SymbolicExprId aFactor) const;
  bool isAbsorbedByOperands(const Product& aProduct) const;
  bool isSubset(const Product& aProduct, const Product& aOther) const;
  bool isWorthPairing() const;
  bool absorbs(Index aOther, Index aProduct) const;
  void sign(Product& aProduct) const;
  void removeFactor(Index aProduct, SymbolicExprId aFactor);
  void drop(Index aProduct);
  template <class Use>
  bool anyComplement(SymbolicExprId aId, Use aUse) const {
    return hasComplements && files->complements.findIf(aId, aUse);
  }
  const Product* findPartner(const Product& aProduct, SymbolicExprId aFactor) const;
  std::uint64_t hashOf(const SymbolicExprId* aFirst, const SymbolicExprId* aLast) const;
  SymbolicExprId rarestFactor(const Product& aProduct) const;
  void fileUsers(Index aEnd);
  void countUses();
  void fileByFactors();

  SimplifyContext& c;
  Operands& operands;
  std::size_t seen = 0;  // the operands up to this place have been taken
  std::vector<Product> products;
  std::vector<SymbolicExprId> factors;
  // Whether among operands and factors one holds where another does not. Mostly none does, and two
  // of the rules have nothing to do.
  bool hasComplements = false;

  std::uint32_t kindsSeen = 0;    // a bit per kind of operands and factors that came
  bool hasPlainOperands = false;  // an operand that is no product came

  // Of this round.
  Ids newOperands;  // products among them
  Index firstNew = 0, firstNewFactor = 0;
  std::vector<Index> changed;

  // Indexes of products, or ids, by key.
  template <class Key>
  class File {
   public:
    void add(const Key& aKey, Index aProduct) {
      const auto [head, isNew] = heads.try_emplace(aKey, none);
      entries.push_back({aProduct, head->second});
      head->second = static_cast<Index>(entries.size() - 1);
    }
    /// Calls `aUse` with the products that are filed under the key until it returns true; returns
    /// whether it did.
    template <class Use>
    bool findIf(const Key& aKey, Use aUse) const {
      const auto head = heads.find(aKey);
      if (head == heads.end()) return false;
      for (Index i = head->second; i != none; i = entries[i].next) {
        if (aUse(entries[i].product)) return true;
      }
      return false;
    }

   private:
    static constexpr Index none = 0xFFFFFFFF;
    struct Entry {
      Index product;
      Index next;  // of the same key
    };
    boost::unordered_flat_map<Key, Index> heads;
    std::vector<Entry> entries;
  };
  // Files of products, each made as far as it is asked for.
  struct Files {
    boost::unordered_flat_map<SymbolicExprId, Index> numUses;  // of factors
    Index inUses = 0;
    File<SymbolicExprId> complements;  // ids, by what they are the complement of
    File<SymbolicExprId> users;        // by factor, and by member of a factor that is a disjunction
    Index inUsers = 0;
    File<SymbolicExprId> byRarestFactor;
    File<std::uint64_t> byFactors;
    Index inByFactors = 0;
  };
  Files& filed() {
    if (files == nullptr) files = std::make_unique<Files>();
    return *files;
  }
  std::unique_ptr<Files> files;
};

/// Whether the conjunction holds a disjunction all of whose members `aIsOperand` accepts:
/// a || b || (a || b) && c -> a || b.
template <class IsOperand>
bool hasFactorOfOperands(const SimplifyContext& c, const SymbolicExprId* aFirst,
                         const SymbolicExprId* aLast, IsOperand aIsOperand) {
  return std::any_of(aFirst, aLast, [&](SymbolicExprId aFactor) {
    if (!c.node(aFactor).is(SymbolicOp::Or)) return false;
    Ids members;
    appendOperands(c, SymbolicOp::Or, aFactor, members);
    return std::all_of(members.begin(), members.end(), aIsOperand);
  });
}

}  // namespace KS::detail
