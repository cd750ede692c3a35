# dtl, headers without CMake files: the target Dtl::Dtl.
include(FindPackageHandleStandardArgs)

find_path(Dtl_INCLUDE_DIR dtl/dtl.hpp)
mark_as_advanced(Dtl_INCLUDE_DIR)
find_package_handle_standard_args(Dtl REQUIRED_VARS Dtl_INCLUDE_DIR)

if(Dtl_FOUND AND NOT TARGET Dtl::Dtl)
  add_library(Dtl::Dtl INTERFACE IMPORTED)
  set_target_properties(Dtl::Dtl PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${Dtl_INCLUDE_DIR}")
endif()
