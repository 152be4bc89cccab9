# What the targets of this project have in common.

# For our own targets, never for those who use them. Whether a warning is an error is the presets'
# business (CMAKE_COMPILE_WARNING_AS_ERROR).
function(ks_own_target target)
  target_compile_options(${target} PRIVATE ${KS_WARNINGS} ${KS_EXACT_DOUBLES})
endfunction()

# Headers name each other from the root ("base/..."), users name them <KSSymbolicExpr/...>: both
# ways work in the source tree, through a link in the build tree, and after installation.
set(KS_LINKED_INCLUDES ${PROJECT_BINARY_DIR}/include CACHE PATH
    "Where the build finds the headers as <KSSymbolicExpr/...>")
mark_as_advanced(KS_LINKED_INCLUDES)
file(MAKE_DIRECTORY ${KS_LINKED_INCLUDES})
if(NOT EXISTS ${KS_LINKED_INCLUDES}/KSSymbolicExpr/core.hpp)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR} ${KS_LINKED_INCLUDES}/KSSymbolicExpr SYMBOLIC)
endif()
function(ks_include_directories target)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${KS_LINKED_INCLUDES}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/KSSymbolicExpr>)
  if(KS_HOST STREQUAL "external") # its host/KSHost.hpp hides the stand-in's
    target_include_directories(${target} BEFORE PUBLIC $<BUILD_INTERFACE:${KS_HOST_INCLUDE_DIR}>)
  endif()
endfunction()
