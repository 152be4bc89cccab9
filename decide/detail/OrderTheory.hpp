// The theory of order: whether comparisons of terms can hold together, and for which values.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "decide/detail/Formula.hpp"

namespace KS::Decide::detail {

/// `lower < upper` or `lower <= upper`, because the literal holds.
struct OrderEdge {
  TermIndex lower;
  TermIndex upper;
  bool isStrict;
  Literal reason;
};

/// Numbers for the names of constants among some terms, by term: above the greatest number among
/// them, in the order of the names.
boost::unordered_flat_map<TermIndex, double> placeNames(const std::vector<Term>& aTerms,
                                                        const std::vector<TermIndex>& aUsed);

/// Decides conjunctions of comparisons over the reals and the whole numbers, and gives values.
///
/// These are difference constraints without sums, so no shortest paths have to be found. Terms that
/// are below each other in a circle are equal: the strongly connected components (Tarjan). What is
/// left has no circle, and one sweep from the top gives each component its greatest value: the
/// least of those above it, or the next one below that where the comparison is strict; whole
/// numbers are rounded down. Constants stay where they are, and one that would have to go down is a
/// conflict. A solution exists if and only if this greatest one does. Linear in the comparisons.
class OrderTheory {
 public:
  /// Values in steps of one over two to the power of this are the closest that are given.
  static constexpr int finestStep = 25;

  /// Borrows the terms, to which none may be added meanwhile. `aUsed` are the constants that can
  /// be met; names stand above the greatest number among them.
  OrderTheory(const std::vector<Term>& aTerms, const std::vector<TermIndex>& aUsed);

  using Conflict = std::vector<Literal>;

  /// Conflicts among the comparisons, each a set of literals that cannot hold together; none where
  /// they can.
  std::vector<Conflict> check(const std::vector<OrderEdge>& aEdges);

  /// After `check` found no conflict: finds values that are equal or at least 2 to the power -25
  /// apart where they are compared. Gives the conflicts that stand in the way, none if it found
  /// values.
  std::vector<Conflict> place();
  /// After `place` found values: that of a term which a comparison names, or of a constant.
  double value(TermIndex aTerm) const;
  /// Whether a comparison names the term.
  bool isPlaced(TermIndex aTerm) const { return vertexOf[aTerm] != none; }

 private:
  static constexpr std::uint32_t none = ~std::uint32_t{0};

  // A value less `below` steps that are smaller than any number.
  struct Bound {
    double value;
    std::uint32_t below;
  };
  // Terms that are equal. A bound has a cause, or is that of the member `top`.
  struct Component {
    Bound bound;
    std::uint32_t cause;     // the edge to what is above, or none
    std::uint32_t constant;  // these are members, or none
    std::uint32_t top;       // of the whole numbers the one with the least upper end
    std::uint32_t bottom;    // of the whole numbers the one with the greatest lower end
  };
  // How bounds go down: by steps smaller than any number, or by a number.
  struct Infinitesimal;
  struct Number;

  double fixedValue(std::uint32_t aVertex) const;
  void makeGraph(const std::vector<OrderEdge>& aEdges);
  std::uint32_t makeVertex(TermIndex aTerm);
  void findComponents();
  void describeComponents();
  void checkCircles(std::vector<Conflict>& aConflicts) const;
  template <class Steps>
  void sweep(const Steps& aSteps, std::vector<Conflict>& aConflicts);
  Conflict explain(std::uint32_t aVertex) const;
  void appendPath(std::uint32_t aFrom, std::uint32_t aTo, Conflict& aConflict) const;

  const std::vector<Term>& terms;
  boost::unordered_flat_map<TermIndex, double> nameValues;

  std::vector<OrderEdge> edges;
  std::vector<std::uint32_t> vertexOf;   // by term
  std::vector<TermIndex> termOf;         // by vertex
  std::vector<std::uint32_t> firstEdge;  // by vertex, into `outgoing`
  std::vector<std::uint32_t> outgoing;   // edges to what is above
  std::vector<std::uint32_t> componentOf;
  std::vector<Component> components;             // what is above comes first
  mutable std::vector<std::uint32_t> reachedBy;  // by vertex, the edge: of a search for a path
  mutable std::vector<std::uint32_t> queue;
};

}  // namespace KS::Decide::detail
