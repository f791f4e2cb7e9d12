# RE2 as re2::re2: its own package, which a build of it brings along; or else Debian's, which has none. Debian's static
# library is made for programs, and a shared library can't take it in: that gets the shared one.
find_package(re2 CONFIG QUIET)
if(NOT TARGET re2::re2)
  find_path(RE2_INCLUDE_DIR re2/re2.h)
  find_library(RE2_STATIC_LIBRARY NAMES libre2.a re2)
  find_library(RE2_LIBRARY NAMES re2)
  mark_as_advanced(RE2_INCLUDE_DIR RE2_STATIC_LIBRARY RE2_LIBRARY)
  if(RE2_INCLUDE_DIR AND RE2_STATIC_LIBRARY AND RE2_LIBRARY)
    add_library(re2::re2 INTERFACE IMPORTED)
    set_target_properties(re2::re2 PROPERTIES
      INTERFACE_INCLUDE_DIRECTORIES "${RE2_INCLUDE_DIR}"
      INTERFACE_LINK_LIBRARIES
        "$<IF:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>,${RE2_STATIC_LIBRARY},${RE2_LIBRARY}>;Threads::Threads")
  endif()
endif()
if(TARGET re2::re2)
  set(RE2_TARGET re2::re2)
endif()
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(RE2 REQUIRED_VARS RE2_TARGET)
