# What only some compilers and linkers know: flags, version scripts, folders beside a library. Where
# one does not know a flag, it is left out: the library then exports more and is right all the same.
# Attributes stand in host/KSPlatform.hpp.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  set(KS_WARNINGS -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
else()
  set(KS_WARNINGS)
endif()

# A double is rounded to its 64 bits after each operation, on every machine: not kept longer in
# registers of 80 bits, as 32-bit code for x86 does otherwise, and never multiplied and added at once.
check_cxx_compiler_flag(-ffp-contract=off KS_HAS_FP_CONTRACT)
set(KS_EXACT_DOUBLES $<$<BOOL:${KS_HAS_FP_CONTRACT}>:-ffp-contract=off>)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "86")
  list(APPEND KS_EXACT_DOUBLES -msse2 -mfpmath=sse)
endif()

# Nobody replaces the library's own functions from outside, so they may be inlined.
check_cxx_compiler_flag(-fno-semantic-interposition KS_HAS_NO_SEMANTIC_INTERPOSITION)
set(KS_OWN_FUNCTIONS $<$<BOOL:${KS_HAS_NO_SEMANTIC_INTERPOSITION}>:-fno-semantic-interposition>)

# What g++ marks as unique in the whole process keeps its library from ever being unloaded. Limited
# exports hide it; a library without a list of exports is compiled with this.
check_cxx_compiler_flag(-fno-gnu-unique KS_HAS_NO_GNU_UNIQUE)
set(KS_UNLOADABLE $<$<BOOL:${KS_HAS_NO_GNU_UNIQUE}>:-fno-gnu-unique>)

# Limits what a shared library exports: to the names in a version script, and to none of the static
# libraries that it is linked with.
check_linker_flag(CXX LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map
                  KS_HAS_VERSION_SCRIPTS)
check_linker_flag(CXX LINKER:--exclude-libs,ALL KS_HAS_EXCLUDE_LIBS)
function(ks_limit_exports target script)
  if(KS_HAS_VERSION_SCRIPTS)
    target_link_options(${target} PRIVATE LINKER:--version-script=${script})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  endif()
  if(KS_HAS_EXCLUDE_LIBS)
    target_link_options(${target} PRIVATE LINKER:--exclude-libs,ALL)
  endif()
endfunction()

# The folder of the file that loads a library, in the paths where it looks for that.
set(KS_BESIDE $<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>)
