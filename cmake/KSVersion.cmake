# The source of the data symbols libtqKSSymbolicExpr_version and libtqKSSymbolicExpr_build_date.
# The date is that of the build, not of the configuration, so the file is looked at in every build
# and written when the date has changed. SOURCE_DATE_EPOCH, where set, is the date.
set(KS_VERSION_SOURCE ${PROJECT_BINARY_DIR}/generated/KSVersion.cpp)
add_custom_target(KSSymbolicExpr_version
  COMMAND ${CMAKE_COMMAND} -DVERSION=${PROJECT_VERSION} -DOUTPUT=${KS_VERSION_SOURCE}
          -DTEMPLATE=${PROJECT_SOURCE_DIR}/cmake/KSVersion.cpp.in
          -P ${PROJECT_SOURCE_DIR}/cmake/WriteVersion.cmake
  BYPRODUCTS ${KS_VERSION_SOURCE}
  COMMENT "Version and build date")
