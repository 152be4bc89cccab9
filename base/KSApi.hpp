// Marks what the shared library exports; everything else in it is hidden.
#pragma once

#define KS_API __attribute__((visibility("default")))

/// Marks a private member of an exported class, which nobody outside calls.
#define KS_HIDDEN __attribute__((visibility("hidden")))
