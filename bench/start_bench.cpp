// How long the server takes from its start until clients may connect, against a process that does nothing but say so.
//
//     start_bench [SERVER.exe]
//
// Both are started in turns; the best and the middle time of each are printed. Another server can be named, so that two
// builds are compared.
#include <windows.h>

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "base/module_path.h"
#include "pdb_client/program/spawned_server.h"
#include "pdb_server/src/host_events.h"

namespace {

using qv::profiler::pdb_client::spawned_server;
using milliseconds = std::chrono::duration<double, std::milli>;

constexpr int turns = 21;
constexpr std::chrono::seconds patience{60};

milliseconds time_to_ready(const std::wstring& program) {
    const auto begin = std::chrono::steady_clock::now();
    const spawned_server started(program, {});
    started.wait_until_ready(patience);
    return std::chrono::steady_clock::now() - begin;
}

void print(const char* what, std::vector<milliseconds>& times) {
    std::sort(times.begin(), times.end());
    std::printf("%-28s best %8.1f ms, middle %8.1f ms\n", what, times.front().count(), times[turns / 2].count());
}

int run(const std::vector<std::wstring>& arguments) {
    const std::wstring program = qv::module_path(nullptr);
    const auto own_server = boost::filesystem::path(program).parent_path() / L"pdb_server.exe";
    std::vector<milliseconds> bare, ours;
    try {
        for (int i = 0; i < turns; ++i) {
            bare.push_back(time_to_ready(program));
            ours.push_back(time_to_ready(arguments.empty() ? own_server.native() : arguments[0]));
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
    print("a process that says so", bare);
    print("the server", ours);
    return 0;
}

}  // namespace

extern "C" int wmain(int argc, wchar_t* argv[]);

int wmain(int argc, wchar_t* argv[]) {
    // Started like a server: --pipe ID and more.
    if (argc > 2) return qv::profiler::pdb_server::set_external_ready_signal(argv[2]) ? 0 : 1;
    return run({argv + 1, argv + argc});
}
