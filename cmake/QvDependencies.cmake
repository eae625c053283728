# Libraries that are not ours. They are found, never fetched, at configure time.
set(qv_boost_components program_options filesystem iostreams json)
if(MINGW)
  # The programs need no DLL beside them: no import library is found where a static one exists.
  set(CMAKE_FIND_LIBRARY_SUFFIXES ".a")
  # Boost's own CMake build installs one package for each library.
  foreach(component IN LISTS qv_boost_components)
    find_package(boost_${component} 1.81 REQUIRED CONFIG)
  endforeach()
else()
  set(Boost_USE_STATIC_LIBS ${WIN32})
  find_package(Boost 1.81 REQUIRED COMPONENTS ${qv_boost_components})
endif()
# Nothing is serialized with Boost, and the cross build goes without that library.
add_compile_definitions(BOOST_MULTI_INDEX_DISABLE_SERIALIZATION)
find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)

if(QV_BUILD_TESTS)
  if(EXISTS /usr/src/googletest/CMakeLists.txt)
    set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
  else()
    find_package(GTest REQUIRED)
    add_library(gmock ALIAS GTest::gmock)
    add_library(gtest_main ALIAS GTest::gtest_main)
  endif()
endif()
