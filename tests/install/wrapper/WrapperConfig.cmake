include(CMakeFindDependencyMacro)
find_dependency(KSSymbolicExpr)
include(${CMAKE_CURRENT_LIST_DIR}/WrapperTargets.cmake)
