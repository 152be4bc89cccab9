# An overlay port that builds the tree that it lies in: vcpkg install kssymbolicexpr
# --overlay-ports=<this folder>. The library that decides conditions is left out, since it takes
# CaDiCaL, which vcpkg would have to bring.
set(SOURCE_PATH ${CMAKE_CURRENT_LIST_DIR}/../..)

vcpkg_check_features(OUT_FEATURE_OPTIONS FEATURE_OPTIONS
  FEATURES tool KS_BUILD_TOOLS)
vcpkg_cmake_configure(
  SOURCE_PATH ${SOURCE_PATH}
  OPTIONS ${FEATURE_OPTIONS}
    -DKS_INSTALL=ON -DKS_BUILD_TESTS=OFF -DKS_BUILD_EXAMPLES=OFF -DKS_BUILD_DECIDE=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME KSSymbolicExpr CONFIG_PATH lib/cmake/KSSymbolicExpr)
vcpkg_fixup_pkgconfig()
if("tool" IN_LIST FEATURES)
  vcpkg_copy_tools(TOOL_NAMES ksexpr AUTO_CLEAN)
endif()
file(REMOVE_RECURSE ${CURRENT_PACKAGES_DIR}/debug/include ${CURRENT_PACKAGES_DIR}/debug/share)
