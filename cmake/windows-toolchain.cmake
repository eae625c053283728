# Cross-compiles to 64-bit Windows with mingw-w64. The posix thread model is the one with std::thread and std::mutex.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Boost for the cross compiler is built by cmake/setup.sh: no package carries it.
set(QV_WINDOWS_DEPENDENCIES "${CMAKE_CURRENT_LIST_DIR}/../build/deps/windows")
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 "${QV_WINDOWS_DEPENDENCIES}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
