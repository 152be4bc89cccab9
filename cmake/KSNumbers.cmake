# Whether the standard library reads doubles (`std::from_chars`), or fast_float does in its place. On
# 32-bit x86 the standard library was compiled for registers of 80 bits, and rounds some numbers twice.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles("#include <cfloat>
#include <charconv>
static_assert(FLT_EVAL_METHOD == 0 || FLT_EVAL_METHOD == 1);
int main() { const char text[] = \"1\"; double value; return *std::from_chars(text, text + 1, value).ptr; }"
  KS_STANDARD_LIBRARY_READS_DOUBLES)
if(KS_STANDARD_LIBRARY_READS_DOUBLES)
  option(KS_USE_FAST_FLOAT "Read doubles by fast_float" OFF)
else()
  option(KS_USE_FAST_FLOAT "Read doubles by fast_float" ON)
endif()
if(KS_USE_FAST_FLOAT)
  find_path(KS_FAST_FLOAT_INCLUDE_DIR fast_float/fast_float.h REQUIRED)
endif()
