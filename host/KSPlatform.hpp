// What only some compilers know. Nothing else in the library asks which compiler it is; the flags
// of compilers and linkers stand in cmake/KSPlatform.cmake.
#pragma once

#if defined(__GNUC__)  // g++ and clang++

/// Marks what a shared library exports; everything else in it is hidden.
#define KS_API __attribute__((visibility("default")))
/// Marks a private member of an exported class, which nobody outside calls.
#define KS_HIDDEN __attribute__((visibility("hidden")))
/// Marks a function that is always (never) part of its callers. Only speed depends on these.
#define KS_ALWAYS_INLINE __attribute__((always_inline))
#define KS_NEVER_INLINE __attribute__((noinline))
/// Has memory fetch what lies at `address`, soon to be read. Only speed depends on it.
#define KS_PREFETCH(address) __builtin_prefetch(address)
/// Marks a function that runs before the constructors of global objects.
#define KS_BEFORE_GLOBAL_OBJECTS __attribute__((constructor(101)))

#else  // a library that exports everything and is right all the same

#define KS_API
#define KS_HIDDEN
#define KS_ALWAYS_INLINE
#define KS_NEVER_INLINE
#define KS_PREFETCH(address) static_cast<void>(address)
#define KS_BEFORE_GLOBAL_OBJECTS

#endif
