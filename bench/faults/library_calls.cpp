#include "bench/faults/library_calls.h"

// after <windows.h>
#include <objbase.h>

namespace qv::bench {
namespace {

template <class Signature>
library_call failing(const wchar_t* library, const char* name, std::set<std::string> texts,
                     result_of<Signature> failure = {}) {
    const auto replace = [=](HMODULE loaded) { return failing_call<Signature>::replace(name, failure, loaded); };
    return {library, name, replace, std::move(texts)};
}

template <class Signature>
library_call unused(const wchar_t* library, const char* name) {
    library_call call = failing<Signature>(library, name, {});
    call.is_called = false;
    return call;
}

}  // namespace

std::vector<library_call> library_calls() {
    const std::string scope = "Can't open metadata scope", points = "Can't get sequence point count",
                      algorithm = "Can't get document checksum algorithm id";
    return {
        failing<decltype(CreateFileW)>(reader, "CreateFileW", {no_symbols, scope}, INVALID_HANDLE_VALUE),
        failing<decltype(GetFileType)>(reader, "GetFileType", {no_symbols, scope}, FILE_TYPE_UNKNOWN),
        failing<decltype(GetFileInformationByHandle)>(reader, "GetFileInformationByHandle",
                                                      {no_symbols, algorithm, points}),
        failing<decltype(GetFileSizeEx)>(reader, "GetFileSizeEx", {scope}),
        failing<decltype(ReadFile)>(reader, "ReadFile", {no_symbols, algorithm, points, scope}),
        failing<decltype(MultiByteToWideChar)>(reader, "MultiByteToWideChar", {no_symbols}),
        unused<decltype(FlushFileBuffers)>(reader, "FlushFileBuffers"),
        unused<decltype(GetFinalPathNameByHandleW)>(reader, "GetFinalPathNameByHandleW"),
        unused<decltype(GetFullPathNameW)>(reader, "GetFullPathNameW"),
        unused<decltype(MoveFileExW)>(reader, "MoveFileExW"),
        unused<decltype(SetFileInformationByHandle)>(reader, "SetFileInformationByHandle"),
        unused<decltype(WriteFile)>(reader, "WriteFile"),
        failing<decltype(CreateFileW)>(store, "CreateFileW", {no_symbols}, INVALID_HANDLE_VALUE),
        failing<decltype(GetFileType)>(store, "GetFileType", {no_symbols}, FILE_TYPE_UNKNOWN),
        failing<decltype(GetFileSizeEx)>(store, "GetFileSizeEx", {no_symbols}),
        failing<decltype(ReadFile)>(store, "ReadFile", {no_symbols}),
        // What only a copy into the cache needs fails nobody: the file of the store serves.
        failing<decltype(WriteFile)>(store, "WriteFile", {}),
        failing<decltype(FlushFileBuffers)>(store, "FlushFileBuffers", {}),
        failing<decltype(MoveFileExW)>(store, "MoveFileExW", {}),
        failing<decltype(CreateDirectoryW)>(store, "CreateDirectoryW", {}),
        failing<decltype(GetModuleHandleExW)>(store, "GetModuleHandleExW", {}),
        failing<decltype(GetModuleFileNameW)>(store, "GetModuleFileNameW", {}),
        failing<decltype(MultiByteToWideChar)>(store, "MultiByteToWideChar", {no_symbols}),
        unused<decltype(GetFileInformationByHandle)>(store, "GetFileInformationByHandle"),
        unused<decltype(GetFinalPathNameByHandleW)>(store, "GetFinalPathNameByHandleW"),
        unused<decltype(GetFullPathNameW)>(store, "GetFullPathNameW"),
        unused<decltype(SetFileInformationByHandle)>(store, "SetFileInformationByHandle"),
    };
}

std::vector<library_call> http_first_calls() {
    return {
        failing<decltype(LoadLibraryExW)>(store, "LoadLibraryExW", {}),
        failing<decltype(GetProcAddress)>(store, "GetProcAddress", {}),
    };
}

std::vector<library_call> http_calls() {
    return {
        failing<decltype(CreateEventW)>(store, "CreateEventW", {}),
        failing<decltype(SetEvent)>(store, "SetEvent", {}),
        failing<decltype(WaitForSingleObject)>(store, "WaitForSingleObject", {}, WAIT_FAILED),
    };
}

std::vector<library_call> first_search_calls() {
    return {
        failing<decltype(GetModuleHandleExW)>(reader, "GetModuleHandleExW", {no_symbols}),
        failing<decltype(LoadLibraryW)>(reader, "LoadLibraryW", {no_symbols}),
        failing<decltype(GetProcAddress)>(reader, "GetProcAddress", {no_symbols}),
    };
}

std::vector<library_call> reader_calls() {
    return {
        failing<decltype(LCMapStringEx)>(reader, "LCMapStringEx", {"800705aa"}),
        failing<decltype(CoTaskMemAlloc)>(reader, "CoTaskMemAlloc", {"8007000e"}),
        failing<decltype(CoCreateFreeThreadedMarshaler)>(reader, "CoCreateFreeThreadedMarshaler", {"8007000e"},
                                                         E_OUTOFMEMORY),
    };
}

std::vector<library_call> registration_calls() {
    const std::set<std::string> refused = {"800705aa"}, no_memory = {"8007000e"};
    constexpr LSTATUS failure = ERROR_NO_SYSTEM_RESOURCES;
    return {
        failing<decltype(RegCreateKeyExW)>(reader, "RegCreateKeyExW", refused, failure),
        failing<decltype(RegGetValueW)>(reader, "RegGetValueW", refused, failure),
        failing<decltype(RegSetKeyValueW)>(reader, "RegSetKeyValueW", refused, failure),
        failing<decltype(RegDeleteTreeW)>(reader, "RegDeleteTreeW", refused, failure),
        failing<decltype(RegDeleteKeyValueW)>(reader, "RegDeleteKeyValueW", refused, failure),
        failing<decltype(CompareStringOrdinal)>(reader, "CompareStringOrdinal", refused),
        failing<decltype(GetModuleFileNameW)>(reader, "GetModuleFileNameW", refused),
        failing<decltype(CoInitializeEx)>(reader, "CoInitializeEx", no_memory, E_OUTOFMEMORY),
        // The library of the other one may only be short of memory, so it stays in charge.
        failing<decltype(CoGetClassObject)>(reader, "CoGetClassObject", {"80040201"}, E_OUTOFMEMORY),
    };
}

}  // namespace qv::bench
