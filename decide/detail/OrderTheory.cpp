#include "decide/detail/OrderTheory.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace KS::Decide::detail {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::size_t maxConflicts = 30;  // of one check: others are found in the next

}  // namespace

// A bound goes down by next to nothing, which is exact.
struct OrderTheory::Infinitesimal {
  Bound unbounded() const { return {infinity, 1}; }
  Bound wholeTop(double aHigh) const { return {aHigh, 0}; }
  Bound below(Bound aBound, bool isStrict, bool isWhole) const {
    const std::uint32_t steps = aBound.below + (isStrict ? 1 : 0);
    if (!isWhole) return {aBound.value, steps};
    return {steps == 0 ? std::floor(aBound.value) : std::ceil(aBound.value) - 1, 0};
  }
};

// A bound goes down by `step`, or to the next double where that is farther.
struct OrderTheory::Number {
  double step;
  double realTop;
  double wholeTopValue;
  Bound unbounded() const { return {realTop, 0}; }
  Bound wholeTop(double aHigh) const { return {std::min(aHigh, wholeTopValue), 0}; }
  Bound below(Bound aBound, bool isStrict, bool isWhole) const {
    const double value = aBound.value;
    if (!isStrict) return {isWhole ? std::floor(value) : value, 0};
    if (isWhole) return {std::min(std::floor(value - step), std::ceil(value) - 1), 0};
    return {std::min(value - step, std::nextafter(value, -infinity)), 0};
  }
};

boost::unordered_flat_map<TermIndex, double> placeNames(const std::vector<Term>& aTerms,
                                                        const std::vector<TermIndex>& aUsed) {
  double greatest = 0x1p39;
  std::vector<TermIndex> names;
  for (const TermIndex term : aUsed) {
    if (aTerms[term].kind == Term::Name) names.push_back(term);
    if (aTerms[term].kind == Term::Number && std::isfinite(aTerms[term].value)) {
      greatest = std::max(greatest, std::abs(aTerms[term].value));
    }
  }
  std::sort(names.begin(), names.end(),
            [&](TermIndex a, TermIndex b) { return isBelow(aTerms[a], aTerms[b]); });
  const double distance = greatest * 0x1p-30;
  double value = 2 * greatest;
  boost::unordered_flat_map<TermIndex, double> places;
  for (const TermIndex name : names) places.emplace(name, value += distance);
  return places;
}

OrderTheory::OrderTheory(const std::vector<Term>& aTerms, const std::vector<TermIndex>& aUsed)
    : terms(aTerms), nameValues(placeNames(aTerms, aUsed)), vertexOf(aTerms.size(), none) {}

double OrderTheory::fixedValue(std::uint32_t aVertex) const {
  const Term& term = terms[termOf[aVertex]];
  return term.kind == Term::Number ? term.value : nameValues.at(termOf[aVertex]);
}

double OrderTheory::value(TermIndex aTerm) const {
  if (terms[aTerm].kind == Term::Number) return terms[aTerm].value;
  if (terms[aTerm].kind == Term::Name) return nameValues.at(aTerm);
  return components[componentOf[vertexOf[aTerm]]].bound.value;
}

// ---------------------------------------------------------------------------------------------
// The graph

std::uint32_t OrderTheory::makeVertex(TermIndex aTerm) {
  std::uint32_t& vertex = vertexOf[aTerm];
  if (vertex == none) {
    vertex = static_cast<std::uint32_t>(termOf.size());
    termOf.push_back(aTerm);
  }
  return vertex;
}

void OrderTheory::makeGraph(const std::vector<OrderEdge>& aEdges) {
  for (const TermIndex term : termOf) vertexOf[term] = none;
  termOf.clear();
  edges = aEdges;
  for (OrderEdge& edge : edges) {
    edge.lower = makeVertex(edge.lower);
    edge.upper = makeVertex(edge.upper);
  }
  firstEdge.assign(termOf.size() + 1, 0);
  for (const OrderEdge& edge : edges) ++firstEdge[edge.lower + 1];
  for (std::size_t i = 1; i < firstEdge.size(); ++i) firstEdge[i] += firstEdge[i - 1];
  outgoing.resize(edges.size());
  std::vector<std::uint32_t> next(firstEdge.begin(), firstEdge.end() - 1);
  for (std::size_t i = 0; i < edges.size(); ++i) {
    outgoing[next[edges[i].lower]++] = static_cast<std::uint32_t>(i);
  }
  reachedBy.assign(termOf.size(), none);
}

// Tarjan's algorithm, with a stack of its own. A component is complete after all that are above it.
void OrderTheory::findComponents() {
  const auto count = static_cast<std::uint32_t>(termOf.size());
  componentOf.assign(count, none);
  components.clear();
  struct Frame {
    std::uint32_t vertex, next;
  };
  std::vector<Frame> path;
  std::vector<std::uint32_t> order(count, none), least(count), open;
  std::uint32_t visited = 0;
  const auto enter = [&](std::uint32_t aVertex) {
    order[aVertex] = least[aVertex] = visited++;
    open.push_back(aVertex);
    path.push_back({aVertex, firstEdge[aVertex]});
  };
  for (std::uint32_t root = 0; root < count; ++root) {
    if (order[root] != none) continue;
    enter(root);
    while (!path.empty()) {
      Frame& top = path.back();
      const std::uint32_t vertex = top.vertex;
      if (top.next < firstEdge[vertex + 1]) {
        const std::uint32_t above = edges[outgoing[top.next++]].upper;
        if (order[above] == none) {
          enter(above);
        } else if (componentOf[above] == none) {
          least[vertex] = std::min(least[vertex], order[above]);
        }
        continue;
      }
      path.pop_back();
      if (!path.empty()) {
        least[path.back().vertex] = std::min(least[path.back().vertex], least[vertex]);
      }
      if (least[vertex] != order[vertex]) continue;
      std::uint32_t member = none;
      while (member != vertex) {
        member = open.back();
        open.pop_back();
        componentOf[member] = static_cast<std::uint32_t>(components.size());
      }
      components.push_back({{0, 0}, none, none, none, none});
    }
  }
}

void OrderTheory::describeComponents() {
  for (std::uint32_t v = 0; v < termOf.size(); ++v) {
    const Term& term = terms[termOf[v]];
    Component& component = components[componentOf[v]];
    if (term.isConstant()) component.constant = v;
    if (!term.isInteger) continue;
    const auto isBetter = [&](std::uint32_t aOther, auto aIsBetter) {
      return aOther == none || aIsBetter(term, terms[termOf[aOther]]);
    };
    if (isBetter(component.top, [](auto& a, auto& b) { return a.high < b.high; })) {
      component.top = v;
    }
    if (isBetter(component.bottom, [](auto& a, auto& b) { return a.low > b.low; })) {
      component.bottom = v;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Conflicts

// A path upwards within the component, or nothing to do if it begins where it ends.
void OrderTheory::appendPath(std::uint32_t aFrom, std::uint32_t aTo, Conflict& aConflict) const {
  if (aFrom == aTo) return;
  queue.assign(1, aFrom);
  for (std::size_t i = 0; i < queue.size() && reachedBy[aTo] == none; ++i) {
    for (std::uint32_t out = firstEdge[queue[i]]; out < firstEdge[queue[i] + 1]; ++out) {
      const std::uint32_t above = edges[outgoing[out]].upper;
      if (above == aFrom || reachedBy[above] != none) continue;
      if (componentOf[above] != componentOf[aFrom]) continue;
      reachedBy[above] = outgoing[out];
      queue.push_back(above);
    }
  }
  for (std::uint32_t v = aTo; v != aFrom; v = edges[reachedBy[v]].lower) {
    aConflict.push_back(edges[reachedBy[v]].reason);
  }
  for (const std::uint32_t vertex : queue) reachedBy[vertex] = none;
}

// Terms that are equal although one is less than another, or although they are constants or out of
// the whole numbers that they may be.
void OrderTheory::checkCircles(std::vector<Conflict>& aConflicts) const {
  const auto add = [&](std::initializer_list<std::uint32_t> aStops) {
    Conflict conflict;
    for (const std::uint32_t* stop = aStops.begin(); stop + 1 != aStops.end(); ++stop) {
      appendPath(stop[0], stop[1], conflict);
    }
    aConflicts.push_back(std::move(conflict));
  };
  for (const OrderEdge& edge : edges) {
    if (!edge.isStrict || componentOf[edge.lower] != componentOf[edge.upper]) continue;
    add({edge.upper, edge.lower});
    aConflicts.back().push_back(edge.reason);
    if (aConflicts.size() >= maxConflicts) return;
  }
  for (std::uint32_t v = 0; v < termOf.size(); ++v) {
    const Term& term = terms[termOf[v]];
    const std::uint32_t constant = components[componentOf[v]].constant;
    if (constant == none || constant == v) continue;
    const double fixed = fixedValue(constant);
    if (term.isConstant()) {
      if (fixed < fixedValue(v)) add({v, constant});
      if (fixed > fixedValue(v)) add({constant, v});
    } else if (term.isInteger) {
      if (fixed > term.high) {
        add({constant, v});
      } else if (fixed < term.low) {
        add({v, constant});
      } else if (std::floor(fixed) != fixed) {
        add({constant, v, constant});
      }
    }
    if (aConflicts.size() >= maxConflicts) return;
  }
}

// Why the vertex has the bound that its component has.
OrderTheory::Conflict OrderTheory::explain(std::uint32_t aVertex) const {
  Conflict conflict;
  std::uint32_t vertex = aVertex;
  for (;;) {
    const Component& component = components[componentOf[vertex]];
    if (component.cause == none) {
      const std::uint32_t end = component.constant != none ? component.constant : component.top;
      if (end != none) appendPath(vertex, end, conflict);
      return conflict;
    }
    const OrderEdge& edge = edges[component.cause];
    // The bound was rounded for the sake of a whole number, which the path must not pass by.
    if (component.top != none) {
      appendPath(vertex, component.top, conflict);
      vertex = component.top;
    }
    appendPath(vertex, edge.lower, conflict);
    conflict.push_back(edge.reason);
    vertex = edge.upper;
  }
}

// ---------------------------------------------------------------------------------------------
// Bounds

template <class Steps>
void OrderTheory::sweep(const Steps& aSteps, std::vector<Conflict>& aConflicts) {
  // The members of each component, in the order of the components.
  std::vector<std::uint32_t> first(components.size() + 1, 0), members(termOf.size());
  for (const std::uint32_t component : componentOf) ++first[component + 1];
  for (std::size_t i = 1; i < first.size(); ++i) first[i] += first[i - 1];
  std::vector<std::uint32_t> next(first.begin(), first.end() - 1);
  for (std::uint32_t v = 0; v < termOf.size(); ++v) members[next[componentOf[v]]++] = v;

  for (std::uint32_t c = 0; c < components.size(); ++c) {
    Component& component = components[c];
    const bool isFixed = component.constant != none;
    const bool isWhole = component.top != none;
    component.cause = none;
    if (isFixed) {
      component.bound = {fixedValue(component.constant), 0};
    } else if (isWhole) {
      component.bound = aSteps.wholeTop(terms[termOf[component.top]].high);
    } else {
      component.bound = aSteps.unbounded();
    }
    const Bound own = component.bound;
    for (std::uint32_t i = first[c]; i < first[c + 1]; ++i) {
      for (std::uint32_t out = firstEdge[members[i]]; out < firstEdge[members[i] + 1]; ++out) {
        const OrderEdge& edge = edges[outgoing[out]];
        if (componentOf[edge.upper] == c) continue;
        const Bound bound = aSteps.below(components[componentOf[edge.upper]].bound, edge.isStrict,
                                         isWhole && !isFixed);
        if (bound.value < component.bound.value ||
            (bound.value == component.bound.value && bound.below > component.bound.below)) {
          component.bound = bound;
          component.cause = outgoing[out];
        }
      }
    }
    std::uint32_t offended = none;
    if (isFixed) {
      if (component.cause != none) offended = component.constant;
    } else if (isWhole) {
      if (component.bound.value < terms[termOf[component.bottom]].low) offended = component.bottom;
    } else if (component.bound.value == -infinity) {
      offended = members[first[c]];
    }
    if (offended != none) {
      aConflicts.push_back(explain(offended));
      if (aConflicts.size() >= maxConflicts) return;
    }
    if (isFixed) {
      component.bound = own;
      component.cause = none;
    }
  }
}

std::vector<OrderTheory::Conflict> OrderTheory::check(const std::vector<OrderEdge>& aEdges) {
  makeGraph(aEdges);
  findComponents();
  describeComponents();
  std::vector<Conflict> conflicts;
  checkCircles(conflicts);
  if (conflicts.empty()) sweep(Infinitesimal{}, conflicts);
  return conflicts;
}

std::vector<OrderTheory::Conflict> OrderTheory::place() {
  // Above all constants there is room for the whole numbers, and above these for the longest chain
  // of reals.
  double greatest = 0;
  std::uint32_t wholes = 0;
  std::uint32_t longest = 1;
  for (std::uint32_t v = 0; v < termOf.size(); ++v) {
    const Term& term = terms[termOf[v]];
    const Component& component = components[componentOf[v]];
    if (term.isConstant() && std::isfinite(fixedValue(v))) {
      greatest = std::max(greatest, fixedValue(v));
    }
    if (term.isInteger) {
      greatest = std::max(greatest, term.low);
      ++wholes;
    }
    if (component.bound.value == infinity) longest = std::max(longest, component.bound.below);
  }
  Number steps{1.0, 0, std::floor(greatest) + wholes};
  steps.realTop = std::max(steps.wholeTopValue, greatest) + longest;
  if (greatest > 0x1p40) {
    steps.realTop = std::min(greatest * (1 + 0x1p-10), std::numeric_limits<double>::max());
  }
  std::vector<Conflict> conflicts;
  sweep(steps, conflicts);
  if (conflicts.empty()) return conflicts;
  const auto tryStep = [&](int aHalvings) {
    conflicts.clear();
    steps.step = std::ldexp(1.0, -aHalvings);
    sweep(steps, conflicts);
    return conflicts.empty();
  };
  if (!tryStep(finestStep)) return conflicts;
  for (int halvings = 1; !tryStep(halvings);) ++halvings;
  return conflicts;
}

}  // namespace KS::Decide::detail
