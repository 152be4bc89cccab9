# Debian packages, one for each component of the installation: `cpack` in a build folder that was
# configured for /usr, as the preset "package" does. packaging/control says what the packages are.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kssymbolicexpr)
set(CPACK_PACKAGE_VENDOR ${CPACK_PACKAGE_NAME})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/CPackOptions.cmake)
set(CPACK_STRIP_FILES ON)

set(CPACK_COMPONENTS_ALL host library development)
if(KS_BUILD_DECIDE)
  list(APPEND CPACK_COMPONENTS_ALL decide)
endif()
if(TARGET ksexpr)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(TARGET ksexpr_python)
  list(APPEND CPACK_COMPONENTS_ALL python)
  # The core of the package is for one version of Python.
  math(EXPR nextMinor "${Python3_VERSION_MINOR} + 1")
  set(CPACK_KS_PYTHON_DEPENDS "python3 (>= ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}), \
python3 (<< ${Python3_VERSION_MAJOR}.${nextMinor})")
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# A package's libraries are found here while those of the others are not installed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/decide)
include(CPack)
