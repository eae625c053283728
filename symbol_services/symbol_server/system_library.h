// A library of the operating system that is loaded when it is first needed, and stays.
#pragma once

#include <windows.h>

namespace qv::symbol_store {

// `name` is a literal without a directory: the system's own directory alone is searched.
class system_library {
public:
    explicit system_library(const wchar_t* name) noexcept
        : library_(LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {}

    // Null where the library or the function is not there.
    template <class Function>
    Function* function(const char* name) const noexcept {
        // By way of a pointer to data: compilers warn of a cast between unlike function types.
        return library_ == nullptr
                   ? nullptr
                   : reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library_, name)));
    }

private:
    HMODULE library_;
};

}  // namespace qv::symbol_store
