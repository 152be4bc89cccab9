// Exact answers about conditions: whether they can hold, always hold, imply or exclude each other.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "decide/SymbolicExprDomain.hpp"
#include "eval/SymbolicExprBindings.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Under how many of the values that its variables may have a condition holds.
enum class Truth : int { Never, Always, Sometimes, Unknown };

/// Why a verdict is `Truth::Unknown`.
enum class UnknownCause : int {
  None,           ///< It is not.
  ConflictLimit,  ///< The conflicts that were allowed were not enough.
  NarrowGap,      ///< Only values hold that evaluation, with its tolerance, takes for equal.
  Terms           ///< Arithmetic stands in the way: see `unknownTerms`.
};

/// A variable and its value.
struct SymbolicExprAssignment {
  SymbolicExprId id;  ///< A symbol, a member or a call.
  Eval::Value value;  ///< A number even where it is a constant with a name: one of its own.
  std::string name;   ///< That of the constant that the value is, for domains with names; or empty.
};

/// Conditions that cannot hold together.
struct SymbolicExprContradiction {
  /// Whether there is one at all, as far as the conflict limit shows.
  bool exists = false;
  /// Its conditions, in the order in which they were given. None if the assumptions alone exclude
  /// each other.
  std::vector<SymbolicExprId> ids;
  /// Whether it is proven that no condition can be left out.
  bool isMinimal = false;
  /// Whether it is proven that no other has fewer conditions.
  bool isShortest = false;
};

/// Decides conditions of a table by proof and by example. Borrows the table, never changes it, and
/// reads what is added to it later. Used by one thread at a time.
///
///     SymbolicExprDecider decider(table);
///     decider.decide(parse("M == 1 && N == M && N == 2"));  // Truth::Never
///     decider.setDomain(parse("N"), SymbolicExprDomain::integers());
///     decider.decide(parse("1 < N && N < 2"));              // Truth::Never
///
/// What is decided
/// - Variables are symbols, members and calls, except that functions of M syntax that are operators
///   count as these. Members and calls are equal where their nodes are. Values that the table has
///   registered for symbols are not looked at; `assume` gives values.
/// - Variables have real, finite values unless `setDomain` says otherwise, and comparison is exact.
///   So `x > 2 && x == 2` is never, although evaluation, which takes doubles closer than 2 to the
///   power -26 for equal in `==`, `<=` and `>=`, finds 1 at 2.0000000001. No variable is NaN: under
///   NaN, evaluation finds `x == x` true, every order false and `x` itself true. A constant NaN
///   (what a remainder by zero gives, and arithmetic over it) is equal to NaN alone.
/// - A condition holds where its value is not 0. In relations, truth values count as 0 and 1.
/// - Arithmetic over variables is a term of which nothing is known but that equal nodes are equal
///   and that it is a number, too, save for remainders by what may be 0 and for what an infinity
///   takes part in: numbers that grow beyond the largest double, and may come to NaN in evaluation,
///   are not thought of. Lists are such terms as well, and may hold NaN. `Never` and `Always` are
///   proofs all the same. `Sometimes` takes values under which evaluation confirms that the
///   condition holds, and others under which it does not, so it may stay `Unknown`.
///
/// The method is satisfiability modulo the theory of order, with a solver for the Boolean part that
/// learns from conflicts. An answer depends on the condition, the domains and the assumptions, not
/// on earlier questions. How hard a question may be is limited by conflicts, not by time
/// (`setConflictLimit`). Every query throws `std::out_of_range` for an id that is not in the table,
/// `std::length_error` for conditions with more than a billion parts, and `std::bad_alloc`; the
/// decider can be asked again afterwards. (Where memory ends within the solver, what that solver
/// has allocated is not given back.)
class KS_API SymbolicExprDecider {
 public:
  /// The conflicts that one search may take unless `setConflictLimit` says otherwise.
  static constexpr std::size_t defaultConflictLimit = 20000;

  /// Borrows the table.
  explicit SymbolicExprDecider(const SymbolicExprTable& aTable);
  ~SymbolicExprDecider();
  SymbolicExprDecider(const SymbolicExprDecider&) = delete;
  SymbolicExprDecider& operator=(const SymbolicExprDecider&) = delete;

  /// Says what a variable may be; the last word on it counts. Throws, and changes nothing:
  /// `std::out_of_range` for an id that is not in the table, `std::invalid_argument` for one that
  /// is no symbol, member or call, for a variable that is the name of a constant in a domain, and
  /// for a domain with a name that is the variable's own or that has a domain itself.
  void setDomain(SymbolicExprId aVariable, const SymbolicExprDomain& aDomain);
  /// Has what is bound stand for its value in all questions, in place of what an earlier call
  /// bound; a domain of what is bound is not looked at. Copies the bindings. Throws
  /// `std::invalid_argument` for bindings of another table.
  void assume(const SymbolicExprBindings& aBindings);
  /// Answers from now on only for values under which the condition holds, too. Under assumptions
  /// that exclude each other every condition is never. Throws `std::out_of_range` for an id that is
  /// not in the table.
  void assume(SymbolicExprId aCondition);
  /// Takes back all that was assumed.
  void clearAssumptions();
  /// Limits the conflicts of one search; a verdict takes two searches.
  void setConflictLimit(std::size_t aLimit);

  /// The verdict on a condition.
  Truth decide(SymbolicExprId aId);
  /// The verdict on the conjunction of conditions; that of none is always true.
  Truth decide(const std::vector<SymbolicExprId>& aIds);
  /// The verdicts on many conjunctions, such as the conditions along the path to each block of a
  /// model, faster than one by one. Where `decide` gives a verdict other than `Unknown`, this is
  /// it.
  std::vector<Truth> decideAll(const std::vector<std::vector<SymbolicExprId>>& aConjunctions);
  /// Why `decide` gives `Unknown` for the conjunction.
  UnknownCause unknownCause(const std::vector<SymbolicExprId>& aIds);
  /// The arithmetic that stands in the way of a verdict: the terms over which the condition and the
  /// assumptions have relations, by their ids in the table, in the order in which they are met.
  std::vector<SymbolicExprId> unknownTerms(SymbolicExprId aId);
  /// The same for a conjunction.
  std::vector<SymbolicExprId> unknownTerms(const std::vector<SymbolicExprId>& aIds);

  /// Whether the second condition holds wherever the first does; nothing where that is unknown.
  std::optional<bool> implies(SymbolicExprId aPremise, SymbolicExprId aConclusion);
  /// Whether the condition holds wherever all premises do; nothing where that is unknown.
  std::optional<bool> implies(const std::vector<SymbolicExprId>& aPremises,
                              SymbolicExprId aConclusion);
  /// Whether the conditions hold under the same values; nothing where that is unknown.
  std::optional<bool> equivalent(SymbolicExprId aLeft, SymbolicExprId aRight);
  /// Whether the conditions never hold together; nothing where that is unknown.
  std::optional<bool> exclusive(SymbolicExprId aLeft, SymbolicExprId aRight);

  /// Values for all variables of a condition and of the assumptions, and for the names of constants
  /// in them, under which the condition holds: evaluation has confirmed it (with functions of M
  /// syntax as operators). Nothing where there are none, or none were found. Values of variables
  /// that are compared are equal or at least 2 to the power -25 apart; whole numbers are ints,
  /// variables that are nothing but true or false are bools.
  std::optional<SymbolicExprBindings> witness(SymbolicExprId aId);
  /// Values under which all of the first conditions hold and none of the second ones.
  std::optional<SymbolicExprBindings> witness(const std::vector<SymbolicExprId>& aHolding,
                                              const std::vector<SymbolicExprId>& aFailing = {});
  /// The same values as a list, in the order in which the variables are met.
  std::optional<std::vector<SymbolicExprAssignment>> assignment(
      const std::vector<SymbolicExprId>& aHolding,
      const std::vector<SymbolicExprId>& aFailing = {});

  /// A set of the conditions that can never hold together, as small as the conflict limit permits:
  /// first one from which nothing can be left out, then the fewest, by implicit hitting sets. An id
  /// that is given twice counts once.
  SymbolicExprContradiction smallestContradiction(const std::vector<SymbolicExprId>& aIds);

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace KS
