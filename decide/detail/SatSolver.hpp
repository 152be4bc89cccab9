// The Boolean solver.
#pragma once

#include <cadical.hpp>
#include <cstdint>

namespace KS::Decide::detail {

/// CaDiCaL, as far as it is needed, with a count of its conflicts. Where memory ends inside of it,
/// it is left in a state in which it cannot even be destroyed: then it is abandoned, and its memory
/// with it, rather than to take the process down.
class SatSolver {
 public:
  SatSolver() : solver(new CaDiCaL::Solver) {
    guarded([&] {
      solver->set("quiet", 1);
      solver->set("lucky", 0);  // tries that each call would repeat
      solver->connect_learner(&counter);
      return 0;
    });
  }
  ~SatSolver() { delete solver; }
  SatSolver(const SatSolver&) = delete;
  SatSolver& operator=(const SatSolver&) = delete;

  /// Makes room for that many variables.
  void reserve(int aVariables) {
    guarded([&] {
      solver->reserve(aVariables);
      return 0;
    });
  }
  /// Adds a literal to a clause; 0 ends the clause.
  void add(int aLiteral) {
    guarded([&] {
      solver->add(aLiteral);
      return 0;
    });
  }
  /// Has a literal hold in the next call of `solve`.
  void assume(int aLiteral) {
    guarded([&] {
      solver->assume(aLiteral);
      return 0;
    });
  }
  /// 10 where all clauses and assumptions can hold, 20 where they can't, 0 where the conflicts were
  /// not enough.
  int solve(int aConflicts) {
    return guarded([&] {
      solver->limit("conflicts", aConflicts);
      return solver->solve();
    });
  }
  /// After 10: whether a literal holds.
  bool holds(int aLiteral) {
    return guarded([&] { return solver->val(aLiteral); }) > 0;
  }
  /// After 20: whether an assumption is among the causes.
  bool failed(int aLiteral) {
    return guarded([&] { return solver->failed(aLiteral) ? 1 : 0; }) != 0;
  }

  /// The conflicts so far.
  std::int64_t conflicts() const { return counter.count; }

 private:
  // The solver offers each clause that it learns from a conflict.
  struct Counter : CaDiCaL::Learner {
    bool learning(int) override {
      ++count;
      return false;
    }
    void learn(int) override {}
    std::int64_t count = 0;
  };

  template <class Call>
  int guarded(Call aCall) {
    try {
      return aCall();
    } catch (...) {
      solver = nullptr;
      throw;
    }
  }

  Counter counter;
  CaDiCaL::Solver* solver;
};

}  // namespace KS::Decide::detail
