// A symbol-server library for tests: it "finds" a file whose path spells out what it was asked.
#include <windows.h>

#include <cwchar>

namespace {

unsigned long long guid_pointer_option = 0;

}  // namespace

extern "C" {

__declspec(dllexport) BOOL WINAPI SymbolServerSetOptions(UINT_PTR options, ULONG64 data) {
    if (options == 0x8) guid_pointer_option = data;
    return TRUE;
}

__declspec(dllexport) BOOL WINAPI
    SymbolServerW(PCWSTR parameters, PCWSTR file_name, PVOID id, DWORD two, DWORD three, PWSTR found) {
    if (std::wcscmp(file_name, L"absent.pdb") == 0) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return FALSE;
    }
    const unsigned long first = static_cast<const GUID*>(id)->Data1;
    std::swprintf(found, MAX_PATH, L"%ls|%ls|%08lX|%lX|%lu|%llu", parameters, file_name, first, two, three,
                  guid_pointer_option);
    return TRUE;
}

}  // extern "C"
