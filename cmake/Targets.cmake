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

# A static library whose public headers stand in <folder>/sources/all and are included as <name/header.h>: a header of
# that name in the build folder includes each, since not every system lets everybody link a folder.
function(gpuprowler_library name)
  add_library(${name} STATIC ${ARGN})
  set(folder ${CMAKE_CURRENT_SOURCE_DIR}/sources/all)
  file(GLOB headers RELATIVE ${folder} CONFIGURE_DEPENDS ${folder}/*.h)
  foreach(header ${headers})
    file(CONFIGURE OUTPUT include/${name}/${header} CONTENT "#include \"${folder}/${header}\"\n" @ONLY)
  endforeach()
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_BINARY_DIR}/include PRIVATE ${folder})
  gpuprowler_target_defaults(${name})
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

# A library that a driver's loader opens: never linked, never installed.
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
  set(timeout 120)
  if(GPUPROWLER_SANITIZE)
    set(timeout 600)  # ThreadSanitizer makes software drivers ten times slower
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT ${timeout}
                       LABELS ${name} ENVIRONMENT "${arg_ENVIRONMENT}")
endfunction()

# A program for libFuzzer, which brings main. The libraries are instrumented by GPUPROWLER_SANITIZE.
function(gpuprowler_fuzz name)
  gpuprowler_program(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE ztutil)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
endfunction()
