// The calls of the system that the libraries make which the server loads. Windows only.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bench/faults/failing_call.h"

namespace qv::bench {

inline constexpr const wchar_t* reader = L"qv_symbols.dll";
inline constexpr const wchar_t* store = L"SymSrv.dll";

// Where the client is told nothing but that.
inline constexpr const char* no_symbols = "(no symbols)";

struct library_call {
    const wchar_t* library;
    const char* name;
    std::function<std::unique_ptr<test::replaced_import>(HMODULE)> replace;
    std::set<std::string> texts;  // what the failure may be called
    bool is_called = true;        // false: the library holds the call in a source that it shares with others
};

// While clients ask.
std::vector<library_call> library_calls();

// While a store of another machine is asked: for the first time, and each time.
std::vector<library_call> http_first_calls();
std::vector<library_call> http_calls();

// While the reader looks for the symbol-server library.
std::vector<library_call> first_search_calls();

// While the reader is used directly; the texts are results.
std::vector<library_call> reader_calls();

// While the reader is registered or taken out; the texts are results.
std::vector<library_call> registration_calls();

}  // namespace qv::bench
