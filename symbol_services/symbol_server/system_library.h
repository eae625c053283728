// A library of the operating system that is loaded when it is first needed, and stays.
#pragma once

#include <windows.h>

#include <memory>
#include <mutex>

#include "base/holders.h"

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
        return !library_ ? nullptr
                         : reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library_.get(), name)));
    }

private:
    library_hld library_;
};

// The functions of a system library, which `Functions` looks up when it is made. Null where they are not all there;
// then the next caller tries again: what the system cannot give at one moment is not missing for the whole process.
// Once there they stay, also when the process ends: nobody can say what the library still does then.
template <class Functions>
const Functions* system_functions() {
    static std::mutex mutex;
    static const Functions* functions = nullptr;
    const std::lock_guard<std::mutex> lock(mutex);
    if (functions == nullptr) {
        auto made = std::make_unique<const Functions>();
        if (made->are_there()) functions = made.release();
    }
    return functions;
}

}  // namespace qv::symbol_store
