// A symbol-server library, as its caller sees it. Windows only.
#pragma once

#include <windows.h>

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>

#include "base/guid.h"
#include "base/holders.h"

namespace qv::symbol_server {

// The entry points are those that dbghelp publishes for such libraries. They promise nothing about threads, and the
// caller that they are made for has one; so two calls with the same parameters never run at the same time in this
// process, even when several of its modules hold a copy of this code. Calls with different parameters do: a slow server
// holds up only those who ask it.
//
// A library that exports "QvSymbolServerW" (symbol_services/symbol_server/exports.h) says by it that it takes any
// number of calls at a time, and gives paths of any length. It is asked through that function.
//
// Immutable; any thread may call.
class library {
public:
    // Owns a library that has been loaded, and tells it how it will be asked.
    explicit library(library_hld loaded);

    // Whether it has an entry point to ask.
    bool can_find() const noexcept { return find_ != nullptr || sized_find_ != nullptr; }

    // Asks for a file with what an element_walk says. Empty when the library does not have it or lacks the entry
    // points.
    boost::filesystem::path find(const std::wstring& parameters, const std::wstring& file_name, const GUID& id,
                                 std::uint32_t age) const;

    // What a library asks and tells while it searches. It does so on the thread that searches.
    struct callbacks {
        bool (*is_cancelled)() noexcept;                  // whether to give up
        void (*hear)(const std::wstring& line) noexcept;  // what it looks at and what comes of it; null: it is not told
    };
    // A library has one for the whole process, and so has this code: only the program itself sets it.
    void set_callbacks(const callbacks& functions) const;

private:
    using find_function = BOOL(WINAPI*)(PCWSTR parameters, PCWSTR file_name, PVOID id, DWORD two, DWORD three,
                                        PWSTR found);
    using sized_find_function = BOOL(WINAPI*)(PCWSTR parameters, PCWSTR file_name, PVOID id, DWORD two, DWORD three,
                                              PWSTR found, SIZE_T size);

    library_hld library_;
    find_function find_;
    sized_find_function sized_find_;
};

}  // namespace qv::symbol_server
