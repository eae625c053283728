// How long the server takes from its start until clients may connect, against a process that does nothing but say so.
//
//     start_bench [SERVER.exe ...]
//
// They are started in turns; the best and the middle time of each are printed. Other servers can be named, so that
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

struct program {
    std::wstring path;
    std::vector<milliseconds> times;
};

int run(const std::vector<std::wstring>& servers) {
    const std::wstring own = qv::module_path(nullptr);
    std::vector<program> programs = {{own, {}}};
    for (const std::wstring& server : servers) programs.push_back({server, {}});
    if (servers.empty())
        programs.push_back({(boost::filesystem::path(own).parent_path() / L"pdb_server.exe").native(), {}});
    try {
        for (int i = 0; i < turns; ++i)
            for (program& each : programs) each.times.push_back(time_to_ready(each.path));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
    for (program& each : programs) {
        std::sort(each.times.begin(), each.times.end());
        std::printf("best %8.1f ms, middle %8.1f ms  %ls\n", each.times.front().count(), each.times[turns / 2].count(),
                    each.path.c_str());
    }
    return 0;
}

}  // namespace

extern "C" int wmain(int argc, wchar_t* argv[]);

int wmain(int argc, wchar_t* argv[]) {
    // Started like a server.
    if (argc > 2 && std::wstring(argv[1]) == L"--pipe")
        return qv::profiler::pdb_server::set_external_ready_signal(argv[2]) ? 0 : 1;
    return run({argv + 1, argv + argc});
}
