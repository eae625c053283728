// Loading a module with a portable PDB, and its answers.
#include <benchmark/benchmark.h>

#include <memory>
#include <stdexcept>

#include "bench/bench_files.h"
#include "pdb_server/src/pdb_processor.h"
#include "pdb_server/src/pdb_processor_ppdb.h"
#include "pdb_server/src/ppdb/ppdb_module_data.h"
#include "qv/portable_executable/metadata_pdb_unpacker.h"
#include "qv/portable_executable/readers.h"
#include "tests/support/conversations/conversations.h"
#include "tests/support/files/test_files.h"

namespace qv::bench {
namespace {

using namespace profiler::pdb_server;

constexpr std::uint32_t first_method = 0x06000001;

// The vectors of a query, kept from one to the next.
struct answer {
    point_values columns[5];

    std::size_t ranges(module_data& module, std::uint32_t token) {
        module.get_method_ranges(token, columns[0], columns[1], columns[2], columns[3], columns[4]);
        return columns[0].size();
    }
    std::size_t offsets(module_data& module, std::uint32_t token) {
        module.get_method_offsets(token, columns[0]);
        return columns[0].size();
    }
};
using question = std::size_t (answer::*)(module_data&, std::uint32_t);

struct loaded {
    std::shared_ptr<module_data> module;
    std::uint32_t methods;
};

loaded load(const boost::filesystem::path& image, const boost::filesystem::path& pdb) {
    const auto read = portable_executable::read_image_file(image);
    const auto module = try_load_module({}, read, [&](const auto&, const auto&, const auto& visit) { visit(pdb); });
    if (!module) throw std::runtime_error("no symbols");
    std::uint32_t methods = 0;
    answer some;
    try {
        for (;; ++methods) some.offsets(*module, first_method + methods);
    } catch (const exception&) {  // of the first row that is not there
    }
    return {module, methods};
}

void ask_all(benchmark::State& state, const loaded& symbols, question ask) {
    answer some;
    std::size_t points = 0;
    for (auto _ : state) {
        points = 0;
        for (std::uint32_t i = 0; i < symbols.methods; ++i) points += (some.*ask)(*symbols.module, first_method + i);
        benchmark::DoNotOptimize(points);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points));
}

// Of the first method that has so many points.
void ask_one(benchmark::State& state, const loaded& symbols) {
    constexpr std::size_t points = 49;
    answer some;
    std::uint32_t method = first_method;
    while (some.ranges(*symbols.module, method) < points) ++method;
    for (auto _ : state) benchmark::DoNotOptimize(some.ranges(*symbols.module, method));
}

void load_and_unload(benchmark::State& state, const boost::filesystem::path& image) {
    const GUID mvid = qv::testing::mvid_of(image);
    pdb_processor processor;
    processor.init(0, {});
    for (auto _ : state) {
        const auto id = processor.load_module(image, mvid);
        if (id == 0) throw std::runtime_error("no symbols");
        processor.unload_module(id);
    }
}

void unpack(benchmark::State& state, const boost::filesystem::path& image) {
    const auto read = portable_executable::read_image_file(image);
    for (auto _ : state)
        for (const auto& entry : read.debug_entries)
            if (entry.Type == portable_executable::debug_type_embedded_portable_pdb)
                benchmark::DoNotOptimize(
                    portable_executable::unpack_metadata_pdb(entry.data.data(), entry.data.size()));
}

// All points of one module that has so many.
void ask_points(benchmark::State& state) {
    constexpr std::uint32_t points_of_method = 50;
    const auto methods = static_cast<std::uint32_t>(state.range(0)) / points_of_method;
    const auto made = make_module({}, methods, points_of_method);
    const auto module =
        std::make_shared<ppdb_module_data>(GUID{}, std::make_unique<metadata_container>(test::bytes(made.pdb)));
    ask_all(state, {module, methods}, &answer::ranges);
}

// Loads so many modules into one engine and asks each for a method.
void load_modules(benchmark::State& state) {
    const qv::testing::temporary_directory folder;
    std::vector<std::pair<boost::filesystem::path, GUID>> modules;
    for (std::uint32_t i = 0; i < state.range(0); ++i) {
        const GUID mvid = {i + 1, 0, 0, {}};
        const std::string name = "Module" + std::to_string(i);
        write_module(folder.path(), name, make_module(mvid, 20, 10));
        modules.emplace_back(folder.path() / (name + ".dll"), mvid);
    }
    for (auto _ : state) {
        pdb_processor processor;
        processor.init(0, {});
        answer some;
        for (const auto& [path, mvid] : modules) {
            const auto id = processor.load_module(path, mvid);
            auto& c = some.columns;
            processor.get_method_ranges(id, first_method, c[0], c[1], c[2], c[3], c[4]);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

void add_portable_pdb_benchmarks(const bench_files& files) {
    const auto big = load(files.image, files.pdb);
    const auto add = [](const char* name, auto&&... arguments) {
        return benchmark::RegisterBenchmark(name, arguments...)->Unit(benchmark::kMicrosecond);
    };
    add("ranges/Big", ask_all, big, &answer::ranges);
    add("offsets/Big", ask_all, big, &answer::offsets);
    add("one_method/Big", ask_one, big);
    add("load/Big", load_and_unload, files.image);
    add("unpack/Embedded", unpack, files.embedded_image);
    add("points", ask_points)->RangeMultiplier(10)->Range(1000, 1'000'000);
    add("modules", load_modules)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Arg(2000);
}

}  // namespace qv::bench
