#include <windows.h>
// after <windows.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <boost/filesystem/path.hpp>
#include <stdexcept>

#include "base/holders.h"
#include "base/module_path.h"
#include "bench/soak.h"
#include "pdb_client/library/pipe_connection.h"
#include "pdb_client/program/spawned_server.h"
#include "tests/support/server/handle_count.h"

namespace qv::soak {
namespace {

using profiler::pdb_client::pipe_connection;
using profiler::pdb_client::spawned_server;

constexpr std::chrono::minutes patience{2};

class spawned : public server {
public:
    spawned(const std::wstring& program, const std::vector<std::wstring>& arguments) : server_(program, arguments) {
        server_.wait_until_ready(patience);
        const handle_hld pipe(
            valid_handle_or_null(CreateFileW((L"\\\\.\\pipe\\" + server_.pipe_id()).c_str(),
                                             GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
        if (pipe && GetNamedPipeServerProcessId(pipe.get(), &id_))
            process_.reset(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_VM_READ, FALSE, id_));
        if (!process_) throw std::runtime_error("the server cannot be looked into");
    }

    std::unique_ptr<ICoreStream> connect() override {
        const profiler::pdb_client::time_limits limits{patience, patience};
        return std::make_unique<pipe_connection>(server_.pipe_id(), limits);
    }

    holdings now() const override {
        PROCESS_MEMORY_COUNTERS memory{};
        if (!GetProcessMemoryInfo(process_.get(), &memory, sizeof memory))
            throw std::runtime_error("the server has no figures");
        return {memory.PagefileUsage, test::count_handles(id_), threads()};
    }

private:
    std::uint64_t threads() const {
        const handle_hld all(valid_handle_or_null(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)));
        PROCESSENTRY32W entry{};
        entry.dwSize = sizeof entry;
        for (BOOL more = Process32FirstW(all.get(), &entry); more; more = Process32NextW(all.get(), &entry))
            if (entry.th32ProcessID == id_) return entry.cntThreads;
        return 0;
    }

    spawned_server server_;
    ULONG id_ = 0;
    handle_hld process_;
};

}  // namespace

std::unique_ptr<server> start_server(const settings& chosen) {
    const auto own = boost::filesystem::path(module_path(nullptr)).parent_path() / L"pdb_server.exe";
    std::vector<std::wstring> arguments;
    if (!chosen.log.empty()) arguments = {L"--log_file", chosen.log, L"--log_mask", L"17"};
    return std::make_unique<spawned>(chosen.program.empty() ? own.native() : chosen.program, arguments);
}

}  // namespace qv::soak

extern "C" int wmain(int argc, wchar_t* argv[]);

int wmain(int argc, wchar_t* argv[]) {
    return qv::soak::soak({argv + 1, argv + argc});
}
