# The same system and libraries as windows-toolchain.cmake, read by clang: a second opinion on the sources.
include("${CMAKE_CURRENT_LIST_DIR}/windows-toolchain.cmake")
execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=include
                OUTPUT_VARIABLE qv_gcc_headers OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
# clang does not find a standard library in a folder that is named after the thread model.
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${qv_gcc_headers}/c++ -isystem ${qv_gcc_headers}/c++/x86_64-w64-mingw32")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
