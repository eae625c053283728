// Calls of the system that fail while the symbol-server library asks a store of another machine, those among them whose
// functions it looks up itself. Every search asks a host of its own: one that has failed is left alone for a while.
#include <windows.h>
// after <windows.h>
#include <fdi.h>
#include <winhttp.h>

#include <boost/filesystem/operations.hpp>
#include <map>

#include "base/module_path.h"
#include "bench/faults/http_host.h"
#include "bench/faults/library_calls.h"
#include "common/symbol_server.h"
#include "qv/portable_executable/readers.h"
#include "tests/support/builders/bytes.h"

namespace qv::bench {
namespace {

using boost::filesystem::path;

// --- Functions that the library looks up.

struct looked_up {
    std::string name;
    void* instead;
    void** original;
    bool* is_chosen;
};

template <class Signature>
class failing_function;

// One of a signature.
template <class Result, class... Arguments>
class failing_function<Result(Arguments...)> {
public:
    static looked_up of(const char* name, Result failure = {}) {
        failure_ = failure;
        return {name, reinterpret_cast<void*>(&instead), &original_, &is_chosen_};
    }

private:
    static Result WINAPI instead(Arguments... arguments) {
        if (!is_chosen_ || !failing_calls::next_fails())
            return reinterpret_cast<Result(WINAPI*)(Arguments...)>(original_)(arguments...);
        SetLastError(ERROR_NO_SYSTEM_RESOURCES);
        return failure_;
    }

    static inline void* original_ = nullptr;
    static inline bool is_chosen_ = false;
    static inline Result failure_{};
};

const std::vector<looked_up>& looked_up_functions() {
    static const std::vector<looked_up> all = {
        failing_function<decltype(WinHttpOpen)>::of("WinHttpOpen"),
        failing_function<decltype(WinHttpConnect)>::of("WinHttpConnect"),
        failing_function<decltype(WinHttpOpenRequest)>::of("WinHttpOpenRequest"),
        failing_function<decltype(WinHttpSetOption)>::of("WinHttpSetOption"),
        failing_function<decltype(WinHttpSetTimeouts)>::of("WinHttpSetTimeouts"),
        failing_function<decltype(WinHttpSetStatusCallback)>::of("WinHttpSetStatusCallback",
                                                                 WINHTTP_INVALID_STATUS_CALLBACK),
        failing_function<decltype(WinHttpSendRequest)>::of("WinHttpSendRequest"),
        failing_function<decltype(WinHttpReceiveResponse)>::of("WinHttpReceiveResponse"),
        failing_function<decltype(WinHttpQueryHeaders)>::of("WinHttpQueryHeaders"),
        failing_function<decltype(WinHttpReadData)>::of("WinHttpReadData"),
        failing_function<decltype(FDICreate)>::of("FDICreate"),
        failing_function<decltype(FDICopy)>::of("FDICopy"),
    };
    return all;
}

decltype(&GetProcAddress) real_get_proc_address = nullptr;

FARPROC WINAPI hand_out(HMODULE library, const char* name) {
    const FARPROC real = real_get_proc_address(library, name);
    for (const looked_up& each : looked_up_functions()) {
        if (real == nullptr || each.name != name) continue;
        *each.original = reinterpret_cast<void*>(real);
        return reinterpret_cast<FARPROC>(each.instead);
    }
    return real;
}

// --- The search.

// One block for each 32 KiB, not compressed.
std::string cabinet_of(const std::string& content) {
    constexpr std::size_t block = 32768;
    test::byte_writer data;
    std::uint16_t blocks = 0;
    for (std::size_t at = 0; at < content.size(); at += block, ++blocks) {
        const std::string part = content.substr(at, block);
        const auto size = static_cast<std::uint16_t>(part.size());
        data.u32(0).u16(size).u16(size).text(part);
    }
    constexpr std::uint32_t first_file = 44, first_block = 66;
    test::byte_writer out;
    out.text("MSCF").u32(0).u32(static_cast<std::uint32_t>(first_block + data.data().size())).u32(0);
    out.u32(first_file).u32(0).u8(3).u8(1).u16(1).u16(1).u16(0).u16(0).u16(0);
    out.u32(first_block).u16(blocks).u16(0);
    out.u32(static_cast<std::uint32_t>(content.size())).u32(0).u16(0).u16(0).u16(0).u16(0x20).text("a.pdb").u8(0);
    out.append(data.data());
    return {out.data().begin(), out.data().end()};
}

class searcher {
public:
    // Whether the file came; what has come is the file, and nothing else is left behind.
    bool search(bool compressed) const {
        const testing::temporary_directory cache;
        const http_host host([&](const std::string& asked) -> std::optional<std::string> {
            if (asked.ends_with(compressed ? "/Standalone.pd_" : "/Standalone.pdb"))
                return compressed ? cabinet_ : content_;
            return std::nullopt;
        });
        const auto parameters = cache.path().native() + L"*" + path(host.address() + "/store").native();
        const path found = library_.find(parameters, L"Standalone.pdb", id_, portable_age);
        promise(found.empty() || testing::read_file(found) == content_, "the file, or none");
        for (const auto& entry : boost::filesystem::recursive_directory_iterator(cache.path()))
            promise(entry.path().extension() != ".tmp", "nothing left behind");
        return !found.empty();
    }

private:
    static constexpr std::uint32_t portable_age = 0xFFFFFFFF;

    static GUID id_of_standalone() {
        const auto entry = portable_executable::read_image_file(testing::fixture("Standalone.dll")).debug_entries.at(0);
        GUID id;
        std::copy_n(entry.data.begin() + 4, sizeof id, reinterpret_cast<unsigned char*>(&id));
        return id;
    }

    const GUID id_ = id_of_standalone();
    const std::string content_ = testing::read_file(testing::fixture("Standalone.pdb"));
    const std::string cabinet_ = cabinet_of(content_);
    const symbol_server::library library_{
        library_hld(LoadLibraryW((path(module_path(nullptr)).parent_path() / store).c_str()))};
};

unsigned fail_each(const searcher& someone, const std::string& name) {
    constexpr unsigned most = 12;  // beyond these the calls are the same again
    unsigned failures = 0;
    for (const bool compressed : {false, true}) {
        for (int turn = 1; turn <= static_cast<int>(most); ++turn, ++failures) {
            failing_calls::begin(turn);
            someone.search(compressed);
            if (failing_calls::end() == 0) break;
            promise(someone.search(compressed),
                    "a file that is found after " + name + ", call " + std::to_string(turn));
        }
    }
    promise(failures != 0, name + " is called at all");
    return failures;
}

// What the library has found once it keeps. So these come before it is there, and go on as long as it is not.
unsigned fail_first_uses(const searcher& someone, const library_call& row, bool compressed, int most) {
    const auto import = row.replace(GetModuleHandleW(store));
    for (int turn = 1;; ++turn) {
        if (turn > most) return static_cast<unsigned>(most);
        failing_calls::begin(turn);
        const bool found = someone.search(compressed);
        promise(found == (failing_calls::end() == 0), std::string(row.name) + " fails a search, or none does");
        if (found) return static_cast<unsigned>(turn) - 1;
    }
}

std::string http_calls_fail(const circumstances&) {
    const searcher someone;
    const test::replaced_import import("GetProcAddress", reinterpret_cast<void*>(&hand_out), GetModuleHandleW(store));
    real_get_proc_address = reinterpret_cast<decltype(&GetProcAddress)>(import.original());
    std::map<std::string, unsigned> times;
    // The session is made once, by what has just been looked up: it counts as one of the look-ups.
    const looked_up& open_session = looked_up_functions().front();
    *open_session.is_chosen = true;
    for (const bool compressed : {false, true})  // first WinHTTP, then the cabinet API
        for (const library_call& row : http_first_calls())
            times[row.name] +=
                fail_first_uses(someone, row, compressed, row.name == std::string("LoadLibraryExW") ? 1 : 100);
    *open_session.is_chosen = false;
    promise(times.at("GetProcAddress") == 11 + 1 + 3, "each look-up fails once, and the session");
    for (const library_call& row : http_calls()) {
        const auto failing = row.replace(GetModuleHandleW(store));
        times[row.name] = fail_each(someone, row.name);
    }
    for (const looked_up& each : looked_up_functions()) {
        if (&each == &open_session) continue;
        *each.is_chosen = true;
        times[each.name] = fail_each(someone, each.name);
        *each.is_chosen = false;
    }
    unsigned failures = 0;
    std::string text;
    for (const auto& [name, count] : times) {
        promise(count != 0, name + " is called at all");
        text += "\n      " + name + ", " + std::to_string(count) + " times";
        failures += count;
    }
    return std::to_string(failures) + " failing calls of " + std::to_string(times.size()) +
           " functions, the file or none, and the file afterwards:" + text;
}

}  // namespace

std::vector<scenario> http_scenarios() {
    return {{"http_calls", http_calls_fail}};
}

}  // namespace qv::bench
