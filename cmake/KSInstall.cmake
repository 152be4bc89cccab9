# Installation: the library, its headers, the CMake package and the pkg-config file. Everything in
# the prefix finds the rest relative to itself, so the prefix may be moved. The components are host,
# library, decide, tool, python, each of what runs, and development.
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/KSSymbolicExpr)
set_target_properties(KSSymbolicExpr PROPERTIES INSTALL_RPATH ${KS_BESIDE})

# What programs run with is of a component of its own; the link that they are built with is not.
function(ks_install_library target exportSet component)
  install(TARGETS ${target} EXPORT ${exportSet}
          LIBRARY COMPONENT ${component} NAMELINK_COMPONENT development)
endfunction()

ks_install_library(KSSymbolicExpr KSSymbolicExprTargets library)
ks_install_library(kshost KSSymbolicExprTargets host)
install(EXPORT KSSymbolicExprTargets NAMESPACE KSSymbolicExpr:: DESTINATION ${packageDir})

set(headers ${KS_PUBLIC_HEADERS})
if(KS_BUILD_DECIDE)
  # An export set of its own: a package without it is as good for those who don't ask for it.
  set_target_properties(KSDecide PROPERTIES INSTALL_RPATH ${KS_BESIDE})
  ks_install_library(KSDecide KSSymbolicExprDecideTargets decide)
  install(EXPORT KSSymbolicExprDecideTargets NAMESPACE KSSymbolicExpr:: DESTINATION ${packageDir})
  list(APPEND headers ${KS_DECIDE_HEADERS})
endif()
foreach(header IN LISTS headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KSSymbolicExpr/${folder})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/host/KSPlatform.hpp
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KSSymbolicExpr/host)
if(KS_HOST STREQUAL "standin")
  install(FILES ${PROJECT_SOURCE_DIR}/host/KSHost.hpp
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KSSymbolicExpr/host)
  set(pkgHostLibrary " -lkshost")
endif()

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KSSymbolicExprConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KSSymbolicExprConfig.cmake INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KSSymbolicExprConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KSSymbolicExprConfig.cmake
              ${PROJECT_BINARY_DIR}/KSSymbolicExprConfigVersion.cmake
        DESTINATION ${packageDir})

# pkg-config replaces ${pcfiledir} by the folder in which it found the file.
set(pkgConfigDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgPrefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
# Boost has no file for pkg-config, so this one names the folder where compilers don't look anyway.
set(pkgBoostFlags)
foreach(folder IN LISTS Boost_INCLUDE_DIRS)
  if(NOT folder IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    string(APPEND pkgBoostFlags " -I${folder}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/KSSymbolicExpr.pc.in
               ${PROJECT_BINARY_DIR}/KSSymbolicExpr.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/KSSymbolicExpr.pc DESTINATION ${pkgConfigDir})
if(KS_BUILD_DECIDE)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/KSSymbolicExprDecide.pc.in
                 ${PROJECT_BINARY_DIR}/KSSymbolicExprDecide.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/KSSymbolicExprDecide.pc DESTINATION ${pkgConfigDir})
endif()
