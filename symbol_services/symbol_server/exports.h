// The exported functions, as dbghelp publishes them for symbol-server libraries.
//
// All may be called on any thread. None lets an exception out. A function that fails returns FALSE and sets the last
// error; a path buffer then holds an empty text. Path buffers without a size have MAX_PATH + 1 characters. The codes of
// a search are those of service::find. Narrow texts are in the ANSI code page; what it cannot express fails with
// ERROR_NO_UNICODE_TRANSLATION. A null pointer for a text or a buffer, and a text longer than 32,767 characters, fail
// with ERROR_INVALID_PARAMETER.
#pragma once

#include <windows.h>

extern "C" {

// Searches `params` (search_string.h) for `file_name` with the index made from `id`, `two` and `three`. The options
// SSRVOPT_DWORD, SSRVOPT_DWORDPTR and SSRVOPT_GUIDPTR say what `id` is.
BOOL WINAPI SymbolServer(PCSTR params, PCSTR file_name, PVOID id, DWORD two, DWORD three, PSTR path);
BOOL WINAPI SymbolServerW(PCWSTR params, PCWSTR file_name, PVOID id, DWORD two, DWORD three, PWSTR path);

// SymbolServerW for a buffer of `size` characters. Only this library has it: a caller who finds it knows that paths of
// any length are given to him who has room for them, and that any number of threads may call at a time, which the
// published interface leaves open.
BOOL WINAPI QvSymbolServerW(PCWSTR params, PCWSTR file_name, PVOID id, DWORD two, DWORD three, PWSTR path, SIZE_T size);

// SymbolServer with a ready index.
BOOL WINAPI SymbolServerByIndex(PCSTR params, PCSTR file_name, PCSTR index, PSTR path);
BOOL WINAPI SymbolServerByIndexW(PCWSTR params, PCWSTR file_name, PCWSTR index, PWSTR path);

// The index that SymbolServer would look for. `size` is that of `index` in characters with the terminator; too little
// fails with ERROR_INSUFFICIENT_BUFFER.
BOOL WINAPI SymbolServerGetIndexString(PVOID id, DWORD two, DWORD three, PSTR index, SIZE_T size);
BOOL WINAPI SymbolServerGetIndexStringW(PVOID id, DWORD two, DWORD three, PWSTR index, SIZE_T size);

// Options of the whole process (options.h). An option that this library does not have fails with ERROR_NOT_SUPPORTED.
// Texts are narrow in the first and wide in the second form.
BOOL WINAPI SymbolServerSetOptions(UINT_PTR options, ULONG64 data);
BOOL WINAPI SymbolServerSetOptionsW(UINT_PTR options, ULONG64 data);
UINT_PTR WINAPI SymbolServerGetOptions();
BOOL WINAPI SymbolServerGetOptionData(UINT_PTR option, PULONG64 data);

// Whether a store of `params` is there, and whether it bears the mark of a symbol store.
BOOL WINAPI SymbolServerPing(PCSTR params);
BOOL WINAPI SymbolServerPingW(PCWSTR params);
BOOL WINAPI SymbolServerIsStore(PCSTR params);
BOOL WINAPI SymbolServerIsStoreW(PCWSTR params);

// Ends the caller's use of the library: its callback is not called again by later searches.
BOOL WINAPI SymbolServerClose();
}
