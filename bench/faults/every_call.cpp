// Whether the tables of failing calls are complete: the linker's maps of the program and the two libraries tell which
// functions of the system they import, and whose sources call them.
#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <map>
#include <set>
#include <sstream>

#include "base/module_path.h"
#include "bench/faults/library_calls.h"
#include "bench/faults/program_calls.h"
#include "bench/faults/scenario.h"

namespace qv::bench {
namespace {

using boost::filesystem::path;
using names = std::set<std::string>;

constexpr const char* program = "pdb_server.exe";
constexpr const char* store_library = "SymSrv.dll";
constexpr const char* reader_library = "qv_symbols.dll";

// --- Who calls what.

// The functions of the system by name, each with the object files that call it. The C runtime's are called by nobody:
// they are the language's.
using callers = std::map<std::string, std::vector<std::string>>;

// Of the toolchain's own libraries, which lie in its folder: what calls the system for them is not ours to mend.
bool is_toolchain(const std::string& object) {
    return object.find("/x86_64-w64-mingw32/") != object.npos;
}

bool is_boost(const std::string& object) {
    return object.find("boost_") != object.npos;
}

// The table at the end of a map: a symbol, and below each other the object that has it and those that refer to it.
callers read_map(const std::string& binary) {
    const path place = path(module_path(nullptr)).parent_path() / (binary + ".map");
    std::istringstream map(testing::read_file(place));
    const std::string prefix = "__imp_";
    callers all;
    bool is_table = false, is_function = false, is_of_language = false;
    std::string symbol;
    for (std::string line; std::getline(map, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!is_table) {
            is_table = line == "Cross Reference Table";
            continue;
        }
        std::istringstream words(line);
        std::string object;
        const bool is_new = !line.empty() && line.front() != ' ';
        if (is_new) words >> symbol;
        std::getline(words >> std::ws, object);
        if (is_new) {
            is_function = symbol.starts_with(prefix);
            is_of_language = object.find("libmsvcrt") != object.npos;
            if (is_function) all[symbol.substr(prefix.size())];
        } else if (is_function && !is_of_language && !is_toolchain(object)) {
            all[symbol.substr(prefix.size())].push_back(object);
        }
    }
    return all;
}

// --- What needs no row.

struct reason {
    const char* text;
    names functions;
    names binaries = {};       // that it is true of; of all where there are none
    bool is_of_boost = false;  // nobody else calls them
};

std::vector<reason> reasons() {
    return {
        {"cannot fail, or is not able to say so",
         {"GetACP", "GetCommandLineW", "GetCurrentProcess", "GetCurrentProcessId", "GetCurrentThreadId", "GetLastError",
          "GetLengthSid", "GetNativeSystemInfo", "GetSidSubAuthority", "GetSidSubAuthorityCount", "GetSystemInfo",
          "GetSystemTimeAsFileTime", "GetTickCount", "SetLastError", "Sleep", "StringFromGUID2"}},
        {"lets go of something, and nobody could do it better",
         {"CloseHandle", "CoTaskMemFree", "CoUninitialize", "FreeLibrary", "FreeSid", "LocalFree", "RegCloseKey",
          "ReleaseMutex"}},
        {"fails as if the variable were not set, which is an answer", {"GetEnvironmentVariableW"}, {store_library}},
        {"is Boost.System's, for the words of exceptions that nobody has Boost throw",
         {"FormatMessageA", "FormatMessageW"}},
        {"is Boost.System's for those words, and Boost.Filesystem's for narrow paths, which it is not given",
         {"WideCharToMultiByte"},
         {program, reader_library}},
        {"is for callers of the narrow functions, which the server is not, and fails as for a character that the code "
         "page does not have: exports_test.cpp",
         {"WideCharToMultiByte"},
         {store_library}},
        {"is Boost.Filesystem's, for the folder of temporary files, which it is not asked",
         {"GetEnvironmentVariableW"},
         {reader_library},
         true},
        {"is made where the symbol server is a library of others: common/symbol_server_test.cpp",
         {"CreateMutexA", "WaitForSingleObject"},
         {program, reader_library}},
        {"is Boost.Filesystem's, for what it is not asked: copies, links, sizes, times, the current folder; or in "
         "place of newer calls, where the system does not have them",
         {"AreFileApisANSI", "CopyFileExW", "CreateDirectoryExW", "CreateDirectoryW", "DeleteFileW", "DeviceIoControl",
          "GetCurrentDirectoryW", "GetDiskFreeSpaceExW", "GetFileAttributesExW", "GetFileAttributesW", "GetFileTime",
          "GetModuleHandleW", "GetWindowsDirectoryW", "RemoveDirectoryW", "SetCurrentDirectoryW", "SetEndOfFile",
          "SetFileAttributesW", "SetFilePointerEx", "SetFileTime"},
         {},
         true},
    };
}

// --- The comparison.

names rows_of(const std::string& binary) {
    names rows;
    if (binary == program)
        for (const program_call& call : program_calls()) rows.insert(call.name);
    for (const auto& table : {library_calls(), http_first_calls(), http_calls(), first_search_calls(), reader_calls(),
                              registration_calls()})
        for (const library_call& call : table)
            if (path(call.library).string() == binary) rows.insert(call.name);
    return rows;
}

bool is_excused(const std::string& binary, const std::string& function, const std::vector<std::string>& objects) {
    const auto all = reasons();
    return std::any_of(all.begin(), all.end(), [&](const reason& each) {
        return each.functions.contains(function) && (each.binaries.empty() || each.binaries.contains(binary)) &&
               (!each.is_of_boost || std::all_of(objects.begin(), objects.end(), is_boost));
    });
}

std::string every_call(const circumstances&) {
    std::string text, missing;
    for (const std::string binary : {program, store_library, reader_library}) {
        const callers all = read_map(binary);
        const names rows = rows_of(binary);
        for (const std::string& row : rows)
            promise(all.contains(row), binary + " imports " + row);  // or the map has not been read right
        std::size_t calls = 0;
        for (const auto& [function, objects] : all) {
            if (objects.empty()) continue;
            ++calls;
            if (!rows.contains(function) && !is_excused(binary, function, objects))
                missing += "\n      " + binary + " calls " + function + " in " + objects.front();
        }
        text += "\n      " + binary + ": " + std::to_string(all.size()) + " functions imported, " +
                std::to_string(calls) + " of them called from outside the toolchain, " + std::to_string(rows.size()) +
                " made to fail";
    }
    promise(missing.empty(), "a row for every call, but" + missing);
    return "a row, or a reason for none, for every function that is imported:" + text;
}

}  // namespace

std::vector<scenario> completeness_scenarios() {
    return {{"every_call", every_call}};
}

}  // namespace qv::bench
