// What files that are small and cost a careless reader much cost the running server.
//
//     costly_files_bench [SERVER.exe [SHAPE ...]]
//
// For each shape a server is started, asked about a good module, then everything about the shape's, then about the good
// one again. Printed are the longest wait for an answer, the number of questions, the time of all, and how much the
// server's peak of memory has grown. Ends with 1 when a wait was longer than 2 s, when memory grew by more than 100
// MiB, or when the good module's answers changed.
#include <windows.h>
// after <windows.h>
#include <psapi.h>

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "base/holders.h"
#include "pdb_client/library/pipe_connection.h"
#include "pdb_client/library/session.h"
#include "pdb_client/program/module_file.h"
#include "pdb_client/program/spawned_server.h"
#include "tests/support/costly_files/costly_files.h"
#include "tests/support/files/test_files.h"
#include "text/path.h"
#include "text/utf.h"

namespace {

using namespace qv::profiler::pdb_client;
using clock_type = std::chrono::steady_clock;
using seconds = std::chrono::duration<double>;

constexpr seconds longest_wait{2};
constexpr double most_memory = 100;  // MiB
constexpr std::chrono::seconds patience{200};
constexpr std::uint32_t method = 0x06000001;
constexpr std::size_t documents_asked = 8000;

// Looks into the process at the other end of a pipe.
class process_memory {
public:
    explicit process_memory(const std::wstring& pipe_id) {
        const qv::handle_hld pipe(CreateFileW((L"\\\\.\\pipe\\" + pipe_id).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                              nullptr, OPEN_EXISTING, 0, nullptr));
        ULONG id = 0;
        if (pipe && GetNamedPipeServerProcessId(pipe.get(), &id))
            process_.reset(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_VM_READ, FALSE, id));
    }

    double peak_mebibytes() const {
        PROCESS_MEMORY_COUNTERS counters{};
        if (!GetProcessMemoryInfo(process_.get(), &counters, sizeof counters)) throw std::runtime_error("no counters");
        const SIZE_T peak = std::max(counters.PeakPagefileUsage, counters.PeakWorkingSetSize);
        return static_cast<double>(peak) / (1 << 20);
    }

private:
    qv::handle_hld process_;
};

// Asks, and keeps what the waits came to and the last error that was answered.
class stop_watch {
public:
    template <class Question>
    auto operator()(Question question) {
        const auto begin = clock_type::now();
        auto answer = question();
        const seconds waited = clock_type::now() - begin;
        longest_ = std::max(longest_, waited);
        all_ += waited;
        ++questions_;
        if (!answer.ok()) error_ = answer.error();
        return answer;
    }
    seconds longest() const { return longest_; }
    seconds all() const { return all_; }
    unsigned questions() const { return questions_; }
    const std::string& error() const { return error_; }

private:
    seconds longest_{0};
    seconds all_{0};
    unsigned questions_ = 0;
    std::string error_;
};

// The outcome in a word, for a person to see that the shape did what it is for.
std::string ask_everything(session& symbols, const std::wstring& path, const GUID& mvid, stop_watch& watch) {
    const auto loaded = watch([&] { return symbols.load_module(path, mvid); });
    if (!loaded.ok()) return watch.error();
    const std::uint32_t module = loaded.value();
    if (module == 0) return "no symbols";
    const auto offsets = watch([&] { return symbols.get_method_offsets(module, method); });
    const auto ranges = watch([&] { return symbols.get_method_ranges(module, method); });
    const auto source_server = watch([&] { return symbols.get_source_server_data(module); });
    std::set<std::uint32_t> documents{1};
    if (ranges.ok())
        for (const auto& range : ranges.value())
            if (documents.size() < documents_asked) documents.insert(range.document_id);
    for (const std::uint32_t id : documents) static_cast<void>(watch([&] { return symbols.get_document(module, id); }));
    static_cast<void>(watch([&] { return symbols.unload_module(module); }));
    if (!watch.error().empty()) return watch.error();
    return std::to_string(offsets.value().size()) + " points, " + std::to_string(source_server.value().size()) +
           " bytes of source-server data";
}

bool measure(const qv::test::costly_shape& shape, const std::wstring& server_path) {
    const qv::testing::temporary_directory folder;
    const auto files = shape.make(shape.default_size);
    const auto text = [](const qv::test::bytes& bytes) { return std::string(bytes.begin(), bytes.end()); };
    const auto image = folder.write(shape.name + ".dll", text(files.image));
    if (!files.pdb.empty()) folder.write(qv::test::costly_pdb_name, text(files.pdb));

    const spawned_server server(server_path, {});
    server.wait_until_ready(patience);
    const process_memory memory(server.pipe_id());
    pipe_connection pipe(server.pipe_id(), {patience, patience});
    session symbols(pipe, {});
    const auto good = qv::testing::fixture("Standalone.dll");
    const GUID good_mvid = read_module_file(good).mvid;
    const auto ask_good = [&] { return symbols.load_module(qv::text::to_wide(good), good_mvid).value(); };
    ask_good();
    const double before = memory.peak_mebibytes();
    stop_watch watch;
    const std::string outcome = ask_everything(symbols, qv::text::to_wide(image), qv::test::costly_mvid, watch);
    const double grown = memory.peak_mebibytes() - before;
    const auto points = symbols.get_method_offsets(ask_good(), 0x06000004);
    const bool goes_on = points.ok() && !points.value().empty();
    const bool good_enough = watch.longest() <= longest_wait && grown <= most_memory && goes_on;
    std::printf("%-24s %8.2f MB %9.3f s %6u %9.3f s %8.0f MiB  %s%s%s\n", shape.name.c_str(),
                static_cast<double>(files.image.size() + files.pdb.size()) / 1e6, watch.longest().count(),
                watch.questions(), watch.all().count(), grown, outcome.c_str(),
                goes_on ? "" : ", and the conversation does not go on", good_enough ? "" : "  TOO MUCH");
    std::fflush(stdout);
    return good_enough;
}

int run(const std::vector<std::wstring>& arguments) {
    const auto server = arguments.empty()
                            ? qv::text::to_wide(qv::testing::source_root() / "build/windows/bin/pdb_server.exe")
                            : arguments[0];
    auto shapes = qv::test::portable_costly_shapes();
    for (const auto& shape : qv::test::classic_costly_shapes()) shapes.push_back(shape);
    const auto is_wanted = [&](const std::string& name) {
        return arguments.size() < 2 || std::find(arguments.begin() + 1, arguments.end(),
                                                 std::wstring(name.begin(), name.end())) != arguments.end();
    };
    std::printf("%-24s %11s %11s %6s %11s %12s  %s\n", "shape", "files", "longest", "asked", "all", "memory",
                "outcome");
    bool all_good = true;
    for (const auto& shape : shapes) {
        if (!is_wanted(shape.name)) continue;
        try {
            all_good = measure(shape, server) && all_good;
        } catch (const std::exception& error) {
            std::printf("%-24s %s\n", shape.name.c_str(), error.what());
            all_good = false;
        }
    }
    return all_good ? 0 : 1;
}

}  // namespace

extern "C" int wmain(int argc, wchar_t* argv[]);

int wmain(int argc, wchar_t* argv[]) {
    return run({argv + 1, argv + argc});
}
