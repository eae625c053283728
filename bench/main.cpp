// What reading symbols costs, and beside it what the machine needs for the same bytes.
//
// qv_bench [--files=FOLDER] [options of Google Benchmark]: FOLDER holds Big.dll and Big.pdb as a compiler wrote them;
// Embedded.dll, the same in one file, is added. Without a folder such files are made.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <string_view>

#include "bench/bench_files.h"
#include "tests/support/builders/metadata_builder.h"
#include "tests/support/files/test_files.h"

namespace {

constexpr std::string_view files_option = "--files=";

// Takes the option out of the arguments.
boost::filesystem::path folder_of(int& count, char** arguments) {
    char** const end = arguments + count;
    char** const found = std::find_if(
        arguments + 1, end, [](const char* argument) { return std::string_view(argument).starts_with(files_option); });
    if (found == end) return {};
    const boost::filesystem::path folder = *found + files_option.size();
    std::copy(found + 1, end, found);
    --count;
    return folder;
}

}  // namespace

int main(int count, char** arguments) {
    using namespace qv::bench;
    constexpr GUID mvid = {0xB16, 0, 0, {}};
    const qv::testing::temporary_directory made;
    auto folder = folder_of(count, arguments);
    if (folder.empty()) {
        folder = made.path();
        write_module(folder, "Big", make_module(mvid, 32'000, 49));
    }
    const bench_files files = {folder / "Big.dll", folder / "Big.pdb", folder / "Embedded.dll"};
    if (!boost::filesystem::exists(files.embedded_image)) {
        const std::string pdb = qv::testing::read_file(files.pdb);
        write_embedded_module(folder, "Embedded", {qv::test::image_metadata(mvid).build(), {pdb.begin(), pdb.end()}});
    }
    add_limits(files);
    add_portable_pdb_benchmarks(files);
    add_classic_pdb_benchmarks();
    add_command_loop_benchmarks();
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
