// The library's version, for the preprocessor. `libtqKSSymbolicExpr_version` tells that of the
// library that a process has loaded.
#pragma once

#define KS_VERSION_MAJOR 1
#define KS_VERSION_MINOR 0
#define KS_VERSION_PATCH 0
#define KS_VERSION_STRING "1.0.0"

/// One number that grows with the version: 10203 is 1.2.3.
#define KS_VERSION (KS_VERSION_MAJOR * 10000 + KS_VERSION_MINOR * 100 + KS_VERSION_PATCH)
