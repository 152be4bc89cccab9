// A run over compiled expressions for one set of values.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "eval/detail/NodeProgram.hpp"
#include "eval/detail/Operations.hpp"

namespace KS::Eval::detail {

/// What a run makes of symbols, calls and member accesses that have no value.
enum class Valueless {
  Fails,        ///< They fail, and so does whatever is computed from them.
  IsOpen,       ///< They are open, and so is whatever is computed from them.
  IsUndecided,  ///< They are open, and connectives are those of Kleene's three-valued logic.
};

/// What the nodes of a program come to, each computed once. A node fails with the error of its
/// first input that has failed. A list is freed when no node needs it any more; where what has no
/// value is open, those that a node which is not constant needs are kept.
class ProgramRun {
 public:
  /// Throws `std::invalid_argument` for bindings of another table.
  ProgramRun(const NodeProgram& aProgram, const SymbolicExprBindings& aBindings,
             Valueless aValueless);
  /// Nothing is computed before the first `restart`; what has no value fails.
  explicit ProgramRun(const NodeProgram& aProgram)
      : program(aProgram), valueless(Valueless::Fails), cells(aProgram.cells) {}

  /// A node that no step computes, and the index of its value.
  struct Parameter {
    std::uint32_t place;
    std::size_t index;
  };
  /// Forgets what was computed, and computes everything anew for these values.
  void restart(const std::vector<Parameter>& aParameters, const std::vector<Value>& aValues);

  /// What a node came to.
  const Cell& at(std::uint32_t aPlace) const { return cells[aPlace]; }
  /// The value of a constant node whose list has not been freed.
  Value valueAt(std::uint32_t aPlace) const {
    const Cell& cell = cells[aPlace];
    return cell.state == Cell::isList ? lists.at(aPlace).list : Value(cell.scalar);
  }
  /// The error of a node that has failed.
  std::string errorAt(std::uint32_t aPlace) const;

 private:
  struct Held {
    Value list;
    bool isKept = false;  // to the end of the run
  };

  std::vector<std::uint32_t> bind(const SymbolicExprBindings& aBindings);
  void computeAllBut(std::vector<std::uint32_t>&& aPlaces);
  void compute(const Step* aStep, const Step* aEnd);
  void compute(const Step& aStep);
  void computeList(const Step& aStep);
  void computeConnective(const Step& aStep);
  void computeFromConstants(const Step& aStep);
  const Value& valueAt(std::uint32_t aPlace, Value& aRoom) const;
  void put(std::uint32_t aPlace, Value aValue);
  void fail(std::uint32_t aPlace, std::string aError);
  void keep(std::uint32_t aPlace);
  void release(const Step& aStep);

  const NodeProgram& program;
  const Valueless valueless;
  bool isEveryStepScalar = false;  // so that the next run need not forget what they came to
  std::vector<Cell> cells;
  std::unordered_map<std::uint32_t, Held> lists;  // by place
  std::vector<std::string> errors;                // numbered behind those of the program
};

}  // namespace KS::Eval::detail
