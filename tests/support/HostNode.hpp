// A node of a class of a host's own, which the library knows through the abstract class alone.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"

namespace KS::test {

/// Of any kind over any inputs, with any hash, and equal to nothing but itself.
class HostNode final : public SymbolicExpr {
 public:
  HostNode(int aKind, std::vector<SymbolicExprId> aInputs, std::size_t aHash = 1)
      : kind(aKind), inputs(std::move(aInputs)), hash(aHash) {}
  int getKind() const override { return kind; }
  bool operator==(const SymbolicExpr& aOther) const override { return &aOther == this; }
  std::size_t getHash() const override { return hash; }
  std::size_t getNumInputs() const override { return inputs.size(); }
  bool isUnary() const override { return inputs.size() == 1; }
  bool isBinary() const override { return inputs.size() == 2; }
  SymbolicExprId getInput(std::size_t aIdx) const override { return inputs.at(aIdx); }

 private:
  int kind;
  std::vector<SymbolicExprId> inputs;
  std::size_t hash;
};

}  // namespace KS::test
