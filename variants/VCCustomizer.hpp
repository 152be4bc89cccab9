// What the host tells about its blocks.
#pragma once

#include <string>

#include "host/KSPlatform.hpp"

/// The host's block. The library uses pointers to it as keys and hands them back, nothing else.
class KSBlock;

namespace KS {

/// The source of the conditions that `VCService` answers with; the host derives from it.
class KS_API VCCustomizer {
 public:
  virtual ~VCCustomizer();

  /// The text of the block's own condition in a family: 1 is VV, 0 is CG, 2 is S. The empty text
  /// says that the block has none, which is always true. What it throws leaves the query.
  virtual std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const = 0;

  /// The enclosing block, whose net condition is part of this block's, or null at the top.
  virtual const KSBlock* getParentBlock(const KSBlock* aBlock) const = 0;
};

}  // namespace KS
