# How this project makes its targets: one function per kind, and the compiler's switches in one place.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

find_program(GPUPROWLER_CCACHE ccache)
if(GPUPROWLER_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${GPUPROWLER_CCACHE})
endif()

# What every target of ours is compiled with.
function(gpuprowler_target_defaults target)
  if(MSVC)
    set(options /EHsc /utf-8 /W4)
  else()
    # What a message tells of its place in the source is the same wherever it was built.
    set(options -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
    if(GPUPROWLER_DEVELOPER)
      list(APPEND options -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
    endif()
  endif()
  # The compiler of Windows' resources knows none of these.
  target_compile_options(${target} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:${options}>")
  if(GPUPROWLER_SANITIZE)
    # Assertions too. With a sanitizer's code in between, GCC takes initialized variables of the standard library for
    # uninitialized ones.
    set(flags -UNDEBUG $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized> -fsanitize=${GPUPROWLER_SANITIZE}
        -fno-omit-frame-pointer)
    if(GPUPROWLER_SANITIZE MATCHES undefined)
      list(APPEND flags -fno-sanitize-recover=undefined)
    endif()
    target_compile_options(${target} PRIVATE ${flags})
    target_link_options(${target} PRIVATE -fsanitize=${GPUPROWLER_SANITIZE})
  endif()
  if(GPUPROWLER_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    target_link_options(${target} PRIVATE --coverage)
  endif()
endfunction()

# A static library. What others may include stands in <folder>/include/.
function(gpuprowler_library name)
  add_library(${name} STATIC ${ARGN})
  add_library(gpuprowler::${name} ALIAS ${name})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>)
  target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/sources/all)
  gpuprowler_target_defaults(${name})
endfunction()

# A room of a library: names of its files, which stand in include/, in sources/all/<room> and in the
# platforms' folders. They may include what this room holds, and the rooms before it.
function(gpuprowler_room library room)
  foreach(name IN LISTS ARGN)
    file(GLOB found ${CMAKE_CURRENT_SOURCE_DIR}/include/*/${name}
         ${CMAKE_CURRENT_SOURCE_DIR}/sources/all/${room}/${name} ${CMAKE_CURRENT_SOURCE_DIR}/sources/linux/${name}
         ${CMAKE_CURRENT_SOURCE_DIR}/sources/win/${name})
    if(NOT found)
      message(FATAL_ERROR "${library} has no ${name} in room ${room}")
    endif()
    foreach(path IN LISTS found)
      set_property(TARGET ${library} APPEND PROPERTY GPUPROWLER_ROOMS "${room} ${path}")
      if(NOT path MATCHES "/sources/(linux|win)/" OR path MATCHES "/sources/${GPUPROWLER_PLATFORM}/")
        target_sources(${library} PRIVATE ${path})
      endif()
    endforeach()
  endforeach()
endfunction()

# Behind the last room: makes the build fail on an include against their order, and on a file without a room.
function(gpuprowler_check_rooms library)
  get_target_property(entries ${library} GPUPROWLER_ROOMS)
  list(JOIN entries "\n" text)
  file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/rooms.txt CONTENT "${text}\n")
  list(TRANSFORM entries REPLACE "^[^ ]+ " "" OUTPUT_VARIABLE paths)
  add_custom_command(
    OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/rooms.stamp
    COMMAND ${CMAKE_COMMAND} -DROOMS=${CMAKE_CURRENT_BINARY_DIR}/rooms.txt -P ${PROJECT_SOURCE_DIR}/cmake/CheckRooms.cmake
    COMMAND ${CMAKE_COMMAND} -E touch ${CMAKE_CURRENT_BINARY_DIR}/rooms.stamp
    DEPENDS ${paths} ${CMAKE_CURRENT_BINARY_DIR}/rooms.txt ${PROJECT_SOURCE_DIR}/cmake/CheckRooms.cmake
    COMMENT "Checking the rooms of ${library}"
    VERBATIM)
  add_custom_target(${library}_rooms DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/rooms.stamp)
  add_dependencies(${library} ${library}_rooms)
endfunction()

function(gpuprowler_program name)
  add_executable(${name} ${ARGN})
  gpuprowler_target_defaults(${name})
endfunction()

# Gives a program a manifest, by which its narrow texts are UTF-8, and a version. Windows alone has either.
function(gpuprowler_windows_resources target description)
  if(NOT WIN32)
    return()
  endif()
  set(manifest ${CMAKE_CURRENT_BINARY_DIR}/${target}.manifest)
  set(resources ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/win/program.manifest.in ${manifest} @ONLY)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/win/program.rc.in ${resources} @ONLY)
  set_source_files_properties(${resources} PROPERTIES OBJECT_DEPENDS ${manifest})
  target_sources(${target} PRIVATE ${resources})
  if(MSVC)
    target_link_options(${target} PRIVATE /MANIFEST:NO)  # the linker's own would be a second one
  endif()
endfunction()

# A library that a driver's loader opens: never linked.
function(gpuprowler_driver name)
  add_library(${name} MODULE ${ARGN})
  target_link_libraries(${name} PRIVATE ${CMAKE_DL_LIBS})
  gpuprowler_target_defaults(${name})
endfunction()

# A GoogleTest program; each of its tests is one of CTest's, with the program's name as label. ENVIRONMENT is followed
# by variables that they run with.
function(gpuprowler_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" ENVIRONMENT)
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE GTest::gtest GTest::gtest_main)
  gpuprowler_target_defaults(${name})
  set(timeout 300)
  if(GPUPROWLER_SANITIZE)
    set(timeout 600)  # ThreadSanitizer makes software drivers ten times slower
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT ${timeout}
                       LABELS ${name} ENVIRONMENT "${arg_ENVIRONMENT}")
endfunction()

# A program for libFuzzer, which brings main. The libraries are instrumented by GPUPROWLER_SANITIZE.
function(gpuprowler_fuzz name)
  gpuprowler_program(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE ztutil_inside)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
endfunction()
