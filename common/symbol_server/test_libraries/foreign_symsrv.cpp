// A symbol-server library with nothing but the published interface. It tells a test of every call while the call lasts,
// and "finds" a path that spells out what it was asked.
#include <windows.h>

#include <cwchar>

namespace {

unsigned long long guid_pointer_option = 0;
void (*during_call)(const wchar_t* parameters) = nullptr;

}  // namespace

extern "C" {

__declspec(dllexport) void SetDuringCall(void (*function)(const wchar_t*)) {
    during_call = function;
}

__declspec(dllexport) BOOL WINAPI SymbolServerSetOptions(UINT_PTR options, ULONG64 data) {
    if (options == 0x8) guid_pointer_option = data;
    return TRUE;
}

__declspec(dllexport) BOOL WINAPI
    SymbolServerW(PCWSTR parameters, PCWSTR file_name, PVOID id, DWORD two, DWORD three, PWSTR found) {
    if (during_call != nullptr) during_call(parameters);
    std::swprintf(found, MAX_PATH, L"%ls|%ls|%08lX|%lX|%lu|%llu", parameters, file_name,
                  static_cast<unsigned long>(static_cast<const GUID*>(id)->Data1), two, three, guid_pointer_option);
    return std::wcscmp(file_name, L"absent.pdb") != 0;
}

}  // extern "C"
