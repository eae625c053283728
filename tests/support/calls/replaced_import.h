// Calls of the operating system that go elsewhere while an object lives: by the import table of the test program, or of
// a library that it has loaded, so that what is tested needs no seam of its own. Windows only.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>

namespace qv::test {

// Lets the program's calls of an imported function go to `replacement`, which has the same signature; those of the
// library where one is named, which must stay as long. Throws std::runtime_error for a function that is not imported.
class replaced_import {
public:
    replaced_import(const char* function, void* replacement, HMODULE library = nullptr)
        : slot_(find_slot(function, library ? library : GetModuleHandleW(nullptr))), original_(*slot_) {
        write_slot(replacement);
    }
    ~replaced_import() { write_slot(original_); }
    replaced_import(const replaced_import&) = delete;
    replaced_import& operator=(const replaced_import&) = delete;

    void* original() const noexcept { return original_; }

private:
    // The slot of the import table through which the function is called.
    static void** find_slot(const char* function, HMODULE caller) {
        auto* const base = reinterpret_cast<unsigned char*>(caller);
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
        for (; library->Name != 0; ++library) {
            const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
            auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(base + library->FirstThunk);
            for (; name->u1.AddressOfData != 0; ++name, ++slot) {
                if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
                const auto* import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
                if (std::strcmp(reinterpret_cast<const char*>(import->Name), function) == 0)
                    return reinterpret_cast<void**>(&slot->u1.Function);
            }
        }
        throw std::runtime_error(std::string(function) + " is not imported");
    }

    void write_slot(void* value) {
        DWORD protection = 0;
        VirtualProtect(slot_, sizeof *slot_, PAGE_READWRITE, &protection);
        *slot_ = value;
        VirtualProtect(slot_, sizeof *slot_, protection, &protection);
    }

    void** slot_;
    void* original_;
};

template <class Signature>
class failing_call;

// Lets one call of an imported function fail: the `turn`th from now on, which returns `result` and leaves `error` as
// the last error. The calls before and after it are real. One object of a signature at a time.
template <class Result, class... Arguments>
class failing_call<Result(Arguments...)> {
public:
    explicit failing_call(const char* function, int turn = 1, Result result = {}, DWORD error = ERROR_NOT_ENOUGH_MEMORY)
        : import_(function, reinterpret_cast<void*>(&call)) {
        original_ = import_.original();
        result_ = result;
        error_ = error;
        left_ = turn;
    }

private:
    static Result WINAPI call(Arguments... arguments) {
        if (left_ > 0 && --left_ == 0) {
            SetLastError(error_);
            return result_;
        }
        return reinterpret_cast<Result(WINAPI*)(Arguments...)>(original_)(arguments...);
    }

    static inline void* original_;
    static inline Result result_;
    static inline DWORD error_;
    static inline std::atomic<int> left_{0};
    replaced_import import_;
};

}  // namespace qv::test
