// The library behind its exported functions: the options of the process and the searches made with them.
//
// Every function may be called on any thread at any time. A search uses the options as they are when it begins.
// Failures are Win32 error codes.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "symbol_services/symbol_server/options.h"

namespace qv::symbol_store::service {

// The longest path that is answered to callers who do not say what they can take, in code units without the terminator:
// what Win32 calls take without a prefix.
constexpr std::size_t usual_longest_path = MAX_PATH - 1;

// An error code, or ERROR_SUCCESS and a value.
template <class Value>
struct outcome {
    DWORD error;
    Value value;
};

DWORD set_options(UINT_PTR options, ULONG64 value, const std::wstring& text);
UINT_PTR get_options();
std::optional<ULONG64> get_option_value(UINT_PTR option);

// Lets go of the caller's callback. The library holds nothing else between calls.
void close();

// The index that the ids make, their kind being the one that the options say.
outcome<std::wstring> make_index(const void* id, DWORD second, DWORD third);

// The path of the file, which has at most `longest` code units. Each error means:
//     ERROR_INVALID_PARAMETER      the name or the index cannot name a file
//     ERROR_FILENAME_EXCED_RANGE   the name is longer than a file name can be
//     ERROR_FILE_NOT_FOUND         no store has the file
//     ERROR_PATH_NOT_FOUND         no store of the search string is there
//     ERROR_INSUFFICIENT_BUFFER    the file's path is longer
//     ERROR_CANCELLED              the callback wanted no more
outcome<std::wstring> find(const std::wstring& search_string, const std::wstring& name, const std::wstring& index,
                           std::size_t longest);

// ERROR_SUCCESS where a store of the search string is there, or bears the mark of a store; else ERROR_PATH_NOT_FOUND.
DWORD ping(const std::wstring& search_string);
DWORD is_store(const std::wstring& search_string);

}  // namespace qv::symbol_store::service
