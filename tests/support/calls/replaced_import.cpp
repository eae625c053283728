#include "tests/support/calls/replaced_import.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace qv::test {
namespace {

// The slot of the running program's import table through which it calls the function.
void** find_slot(const char* function) {
    auto* const base = reinterpret_cast<unsigned char*>(GetModuleHandleW(nullptr));
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

void write_slot(void** slot, void* value) {
    DWORD protection = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    *slot = value;
    VirtualProtect(slot, sizeof *slot, protection, &protection);
}

}  // namespace

replaced_import::replaced_import(const char* function, void* replacement)
    : slot_(find_slot(function)), original_(*slot_) {
    write_slot(slot_, replacement);
}

replaced_import::~replaced_import() {
    write_slot(slot_, original_);
}

}  // namespace qv::test
