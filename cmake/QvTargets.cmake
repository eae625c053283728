# qv_add_library(NAME [SMALL] SOURCES ... [TESTS ...] [LINK ...] [TEST_LINK ...])
#
# A static library of our own, and beside it the test program NAME_test when TESTS are given. A library links only what
# lies below it in docs/architecture.md; test code is linked by test programs only. SMALL: of what programs do once.
function(qv_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "SMALL" "" "SOURCES;TESTS;LINK;TEST_LINK")
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC qv_options ${arg_LINK})
  get_target_property(linked ${name} LINK_LIBRARIES)
  if(arg_SMALL AND MINGW)
    target_link_libraries(${name} PRIVATE qv_small_build)
    qv_share_common_headers(${name} qv_small_headers qv_small_build)
  elseif(NOT "qv_quick_build" IN_LIST linked)
    qv_share_common_headers(${name} qv_headers)
  endif()
  if(QV_SANITIZE STREQUAL "thread")
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL TRUE)
  endif()
  if(arg_TESTS)
    qv_add_test(${name}_test SOURCES ${arg_TESTS} LINK ${name} ${arg_TEST_LINK})
  endif()
endfunction()

# qv_add_test(NAME SOURCES ... [LINK ...]): a GoogleTest program that ./test runs.
#
# With ThreadSanitizer only the programs whose sources start threads are built, and the libraries that they need.
function(qv_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  if(NOT QV_BUILD_TESTS)
    return()
  endif()
  if(QV_SANITIZE STREQUAL "thread")
    qv_starts_threads(threads ${arg_SOURCES})
    if(NOT threads)
      return()
    endif()
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE qv_options qv_quick_build ${arg_LINK} gmock gtest_main)
  qv_share_headers(${name} qv_test_headers "<gmock/gmock.h>" "qv_quick_build;gmock")
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  set_property(GLOBAL APPEND PROPERTY QV_TESTS "$<TARGET_FILE:${name}>")
endfunction()

# qv_share_headers(NAME SHARED HEADERS LINK): these headers are compiled once for all targets that share them.
function(qv_share_headers name shared headers link)
  if(QV_SYNTAX_ONLY OR MSVC)
    return()
  endif()
  if(NOT TARGET ${shared})
    file(WRITE "${CMAKE_BINARY_DIR}/${shared}.cpp" "")
    add_library(${shared} OBJECT "${CMAKE_BINARY_DIR}/${shared}.cpp")
    target_link_libraries(${shared} PRIVATE qv_options ${link})
    target_precompile_headers(${shared} PRIVATE ${headers})
  endif()
  target_precompile_headers(${name} REUSE_FROM ${shared})
endfunction()

# Headers of others that many sources include and that take longer to read than most of our own. Each source includes what
# it uses all the same.
# `shared` is one for all targets of the same settings, those of the libraries that follow it.
function(qv_share_common_headers name shared)
  set(headers <algorithm> <functional> <map> <memory> <mutex> <optional> <sstream> <string> <thread> <vector>
    <boost/filesystem/operations.hpp> <boost/filesystem/path.hpp>)
  if(WIN32)
    list(APPEND headers <windows.h> <objbase.h>)
  endif()
  qv_share_headers(${name} ${shared} "${headers}" "Boost::filesystem;${ARGN}")
endfunction()

function(qv_starts_threads result)
  set(found FALSE)
  foreach(source IN LISTS ARGN)
    file(STRINGS "${source}" lines REGEX "std::(thread|jthread|async)" LIMIT_COUNT 1)
    if(lines)
      set(found TRUE)
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${source}")
  endforeach()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

# Writes the paths of all test programs to tests.txt in the build folder, one a line, for ./test.
function(qv_write_test_list)
  get_property(tests GLOBAL PROPERTY QV_TESTS)
  list(JOIN tests "\n" lines)
  file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/tests.txt" CONTENT "${lines}\n")
endfunction()
