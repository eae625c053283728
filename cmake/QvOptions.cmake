# Compiler settings of our own code. This is the one place that knows compilers apart.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

add_library(qv_options INTERFACE)
target_include_directories(qv_options INTERFACE "${PROJECT_SOURCE_DIR}")

if(MSVC)
  target_compile_options(qv_options INTERFACE /W4 /WX /permissive- /utf-8 /EHsc)
  # Standard functions such as std::getenv are no errors.
  target_compile_definitions(qv_options INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
  # Failures and debug information name a source by its path below the root, also where a compiler cache gives the
  # compiler relative paths.
  file(RELATIVE_PATH way_to_sources "${CMAKE_BINARY_DIR}" "${PROJECT_SOURCE_DIR}/")
  target_compile_options(qv_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-align -Wimplicit-fallthrough
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${way_to_sources}=")
endif()

# For users of COM: no object is deleted through its interface, and an interface cannot have a virtual destructor.
add_library(qv_com INTERFACE)
if(NOT MSVC)
  target_compile_options(qv_com INTERFACE -Wno-non-virtual-dtor)
endif()

# For the sources of tests, which are compiled more often than they run. What they test keeps the build's own settings.
add_library(qv_quick_build INTERFACE)
if(NOT MSVC)
  target_compile_options(qv_quick_build INTERFACE -O0 -g0)
endif()

# For what a program does once and not for long: better small than fast.
add_library(qv_small_build INTERFACE)
if(MINGW)
  target_compile_options(qv_small_build INTERFACE -Os)
endif()

if(WIN32)
  enable_language(RC)
  target_compile_definitions(qv_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
  if(MINGW)
    # Nor does the debug information tell where dependencies lie, or the switches, to which such a cache adds its own.
    file(REAL_PATH "${QV_WINDOWS_DEPENDENCIES}" dependencies)
    file(RELATIVE_PATH way_to_dependencies "${CMAKE_BINARY_DIR}" "${QV_WINDOWS_DEPENDENCIES}")
    target_compile_options(qv_options INTERFACE -gno-record-gcc-switches
      "-ffile-prefix-map=${dependencies}=dependencies" "-ffile-prefix-map=${way_to_dependencies}=dependencies")
    # Nor do the programs tell, once for each source, which compiler made them.
    target_compile_options(qv_options INTERFACE -fno-ident)
    # No DLL of the compiler is needed beside the programs, and neither the time of day nor what is not used is in them.
    add_link_options(-static -Wl,--no-insert-timestamp,--gc-sections)
  endif()
endif()

# The compiler as the log names it: a bare version for the one that the log's key is named after.
if(MSVC)
  set(qv_compiler_version "${CMAKE_CXX_COMPILER_VERSION}")
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(qv_compiler_version "GCC ${CMAKE_CXX_COMPILER_VERSION}")
else()
  set(qv_compiler_version "${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}")
endif()

# qv_allow_deprecated(SOURCE): the file uses a deprecated part of the standard library, and says why.
function(qv_allow_deprecated source)
  if(MSVC)
    set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS /wd4996)
  else()
    set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -Wno-deprecated-declarations)
  endif()
endfunction()

if(QV_SANITIZE)
  add_compile_options(-fsanitize=${QV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QV_SANITIZE})
  # These builds are for tests alone: readers count their work (base/work_counter.h).
  target_compile_definitions(qv_options INTERFACE QV_COUNT_WORK)
endif()

if(QV_SYNTAX_ONLY)
  # What is built are empty marks of what has been read, so that only changes are read again.
  set(mark "\"${CMAKE_COMMAND}\" -E touch")
  set(CMAKE_CXX_COMPILE_OBJECT "<CMAKE_CXX_COMPILER> <DEFINES> <INCLUDES> <FLAGS> -fsyntax-only <SOURCE>" "${mark} <OBJECT>")
  foreach(rule IN ITEMS ARCHIVE_CREATE LINK_EXECUTABLE CREATE_SHARED_LIBRARY CREATE_SHARED_MODULE)
    set(CMAKE_CXX_${rule} "${mark} <TARGET>")
  endforeach()
  set(CMAKE_CXX_ARCHIVE_FINISH "")
endif()
