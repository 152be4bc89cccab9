// The library's version and build date, as data symbols that a host reads without calling it.
#pragma once

#include "host/KSPlatform.hpp"

extern "C" {

/// The project's version, such as "1.0.0".
KS_API extern const char libtqKSSymbolicExpr_version[];

/// The day of the build in UTC, such as "2025-03-31", or that of SOURCE_DATE_EPOCH where the build
/// had it in its environment.
KS_API extern const char libtqKSSymbolicExpr_build_date[];
}
