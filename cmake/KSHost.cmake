# The services that the modelling host supplies (host/KSHost.hpp), as target kshost, with the alias
# KSSymbolicExpr::host.
#
#   -DKS_HOST=standin    the stand-in of this repository, a shared library of its own (default)
#   -DKS_HOST=external   the host's own:
#       KS_HOST_INCLUDE_DIR   a folder with the host's host/KSHost.hpp
#       KS_HOST_LIBRARY       the target or library file with the definitions; where it is empty,
#                             the process that loads the library brings them
set(KS_HOST standin CACHE STRING "Who supplies the host's services: standin or external")
set_property(CACHE KS_HOST PROPERTY STRINGS standin external)

if(KS_HOST STREQUAL "standin")
  add_library(kshost SHARED ${PROJECT_SOURCE_DIR}/host/KSHost.cpp)
  ks_own_target(kshost)
  target_compile_options(kshost PRIVATE ${KS_UNLOADABLE})
  ks_include_directories(kshost)
  set_target_properties(kshost PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME host)
elseif(KS_HOST STREQUAL "external")
  set(KS_HOST_INCLUDE_DIR "" CACHE PATH "Folder with the host's host/KSHost.hpp")
  set(KS_HOST_LIBRARY "" CACHE STRING "Target or library file with the host's services, or empty")
  if(NOT EXISTS "${KS_HOST_INCLUDE_DIR}/host/KSHost.hpp")
    message(FATAL_ERROR "KS_HOST=external needs KS_HOST_INCLUDE_DIR, a folder with the host's "
                        "host/KSHost.hpp; \"${KS_HOST_INCLUDE_DIR}\" has none.")
  endif()
  # The installed package names neither folder nor library: whoever links the package is the host.
  add_library(kshost INTERFACE)
  target_link_libraries(kshost INTERFACE $<BUILD_INTERFACE:${KS_HOST_LIBRARY}>)
  set_target_properties(kshost PROPERTIES EXPORT_NAME host)
else()
  message(FATAL_ERROR "KS_HOST is \"${KS_HOST}\"; it must be standin or external.")
endif()
add_library(KSSymbolicExpr::host ALIAS kshost)
