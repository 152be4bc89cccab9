// Many expressions, compiled once, for one set of values after another.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "eval/Eval.hpp"
#include "eval/SymbolicExprBindings.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

namespace Eval::detail {
class ParameterRun;
struct NodeProgram;
}  // namespace Eval::detail

/// Expressions whose distinct nodes are all computed in one sweep for each set of values. Borrows
/// the table, which may grow; values that are registered in it later are not for a program that
/// exists. Costs time and memory in distinct nodes, those of registered values included, when it is
/// made and in every run; in a run, memory for the lists that are needed at the same time; and for
/// a root whose registered values lead back to themselves, as much as if it were alone. Any number
/// of threads may run one program at once over a table that nobody extends. Copies share what was
/// compiled.
///
///     const SymbolicExprProgram program(table, {parse("Mains == 3"), parse("Power / 2")});
///     for (const SymbolicExprBindings& bindings : questions) {
///       const auto outcomes = program.run(bindings);  // outcomes[1].value is that of Power / 2
///     }
class KS_API SymbolicExprProgram {
 public:
  /// What a root came to: its value, or why it has none.
  struct Outcome {
    std::optional<Eval::Value> value;  ///< nothing where it has none
    std::string error;                 ///< empty where there is a value
  };

  /// Whether a root holds, that is, whether its value is not 0.
  enum class Holds { No, Yes, Open, Error };
  /// Whether a root holds, and why that cannot be told.
  struct TruthOutcome {
    Holds holds = Holds::Error;  ///< what is known of the root
    std::string error;           ///< empty unless `holds` is `Error`
  };

  /// Compiles the roots. Throws `std::out_of_range` for a root, or a registered value that one
  /// needs, that is not in the table.
  SymbolicExprProgram(const SymbolicExprTable& aTable, const std::vector<SymbolicExprId>& aRoots);

  /// The value or the error of each root, as `SymbolicExprEval` gives or throws it: one root that
  /// fails does not keep the others from their values, and a root that is a call or a member access
  /// and not bound is the int 0. Throws `std::invalid_argument` for bindings of another table.
  std::vector<Outcome> run(const SymbolicExprBindings& aBindings) const;

  /// Whether each root holds, as far as the values decide it. A symbol, a call or a member access
  /// without a value is open, and so is what is computed from it, but for connectives: a
  /// conjunction with an operand that doesn't hold doesn't hold, a disjunction with one that holds
  /// holds (Kleene's logic). So `No` and `Yes` stay what they are whatever numbers the open ones
  /// get; `x == x` is open all the same. An error is what evaluation would fail with otherwise, or
  /// a list as the root or as an operand of a connective. Throws like `run`.
  std::vector<TruthOutcome> truths(const SymbolicExprBindings& aBindings) const;

  /// How a node gets its value where it is not bound.
  struct Step {
    SymbolicExprId id;  ///< the node
    /// The value of a literal, of true or of false.
    std::optional<Eval::Scalar> value;
    /// Indices of earlier steps: of what the node's operator is applied to, of the elements of a
    /// list, or of the value that is registered for a symbol.
    std::vector<std::size_t> operands;
  };
  /// What was compiled, for a machine of another make.
  struct Listing {
    /// Each distinct node once, behind its operands, in the order of evaluation. A step of a
    /// symbol, a call or a member access that has neither value nor operands needs to be bound; any
    /// other such step is an empty list or leads back to a node whose value is being computed.
    std::vector<Step> steps;
    std::vector<std::size_t> roots;  ///< the steps of the roots, in their order
  };
  Listing list() const;

 private:
  std::shared_ptr<const Eval::detail::NodeProgram> program;
};

/// A program for which it is settled beforehand what every run binds: its parameters. So a run
/// looks nothing up, and has the room of the one before. Borrows the table like a program; one
/// thread at a time uses a runner. Made and run at the costs of a program.
///
///     const SymbolicExprId power = parse("Power"), mains = parse("Mains");
///     SymbolicExprRunner runner(table, {parse("Mains == 3"), parse("Power / 2")}, {power, mains});
///     for (const auto& [watts, phases] : questions) {
///       const auto& outcomes = runner.run({watts, phases});  // outcomes[1].value: half the watts
///     }
class KS_API SymbolicExprRunner {
 public:
  /// Compiles the roots. Nothing below a parameter is entered. Throws `std::out_of_range` for a
  /// root, a parameter, or a registered value that is needed, that is not in the table;
  /// `std::invalid_argument` for a literal as a parameter, and for one that is there twice.
  SymbolicExprRunner(const SymbolicExprTable& aTable, const std::vector<SymbolicExprId>& aRoots,
                     const std::vector<SymbolicExprId>& aParameters);
  SymbolicExprRunner(SymbolicExprRunner&&) noexcept;
  SymbolicExprRunner& operator=(SymbolicExprRunner&&) noexcept;
  ~SymbolicExprRunner();

  /// What `SymbolicExprProgram::run` gives with each parameter bound to its value: as many values
  /// as there are parameters, in their order. Valid until the next run. Throws
  /// `std::invalid_argument` for another number of values or a list without elements, and changes
  /// nothing then.
  const std::vector<SymbolicExprProgram::Outcome>& run(const std::vector<Eval::Value>& aValues);

 private:
  std::unique_ptr<Eval::detail::ParameterRun> state;
};

}  // namespace KS
