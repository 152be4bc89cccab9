# Whether the library that decides conditions is built: KS_BUILD_DECIDE, by default where CaDiCaL is
# found. KS_DECIDE_MISSING says what is missing where it isn't.
find_path(KS_CADICAL_INCLUDE_DIR cadical.hpp)
find_library(KS_CADICAL_LIBRARY cadical)
mark_as_advanced(KS_CADICAL_INCLUDE_DIR KS_CADICAL_LIBRARY)
if(KS_CADICAL_INCLUDE_DIR AND KS_CADICAL_LIBRARY)
  set(KS_CADICAL_FOUND ON)
else()
  set(KS_CADICAL_FOUND OFF)
endif()
option(KS_BUILD_DECIDE "Build the library that decides conditions (needs CaDiCaL)"
       ${KS_CADICAL_FOUND})
if(KS_BUILD_DECIDE AND NOT KS_CADICAL_FOUND)
  message(FATAL_ERROR "KS_BUILD_DECIDE needs CaDiCaL: cadical.hpp and libcadical, on Debian the "
                      "package libcadical-dev.")
elseif(NOT KS_CADICAL_FOUND)
  message(STATUS "Without the library that decides conditions: no CaDiCaL (Debian libcadical-dev)")
elseif(NOT KS_BUILD_DECIDE)
  message(STATUS "Without the library that decides conditions: KS_BUILD_DECIDE is off")
endif()
