// What opening a large classic PDB and asking for one method costs, against reading the lines of all methods.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench/bench_files.h"
#include "symbol_services/classic_reader/pdb.h"
#include "tests/support/files/test_files.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace qv::bench {
namespace {

using classic_reader::pdb;

constexpr std::size_t file_size = 10u << 20;

// Many modules of a few methods each, about as large as asked for.
test::pdb_description large_pdb_description(std::size_t bytes_wanted) {
    constexpr unsigned methods_of_module = 8;
    constexpr unsigned points_of_method = 24;
    constexpr std::size_t module_size = methods_of_module * (240 + 12 * points_of_method) + 700;
    test::pdb_description pdb;
    std::uint32_t token = 0x06000000;
    for (unsigned i = 0; i < bytes_wanted / module_size; ++i) {
        test::pdb_module module{.name = "Company.Product.Component.Type" + std::to_string(i), .methods = {}};
        pdb.files.push_back({.name = "C:\\Code\\Company\\Product\\Component\\Type" + std::to_string(i) + ".cs",
                             .algorithm = test::sha256,
                             .checksum = test::bytes(32, static_cast<unsigned char>(i))});
        for (unsigned j = 0; j < methods_of_module; ++j) {
            test::pdb_lines lines{i, {}};
            for (std::uint32_t k = 0; k < points_of_method; ++k)
                lines.points.push_back({k * 6, j * 40 + k + 1, 9, j * 40 + k + 1, 60});
            module.methods.push_back({++token, {lines}});
        }
        pdb.modules.push_back(std::move(module));
    }
    return pdb;
}

struct classic_file {
    testing::temporary_directory folder;
    boost::filesystem::path path;
    std::vector<std::uint32_t> methods;
};

std::shared_ptr<const classic_file> make_file() {
    const auto file = std::make_shared<classic_file>();
    const auto content = test::write_pdb(large_pdb_description(file_size));
    file->path = file->folder.write("classic.pdb", std::string(content.begin(), content.end()));
    file->methods = pdb::open(file->path)->methods();
    return file;
}

void open(benchmark::State& state, const std::shared_ptr<const classic_file>& file) {
    for (auto _ : state) benchmark::DoNotOptimize(pdb::open(file->path)->id().age);
}

// With the name of its document.
void first_method(benchmark::State& state, const std::shared_ptr<const classic_file>& file) {
    for (auto _ : state) {
        const auto opened = pdb::open(file->path);
        const auto points = opened->points(file->methods[file->methods.size() / 2]);
        benchmark::DoNotOptimize(opened->document_url(points.front().document));
    }
}

void all_methods(benchmark::State& state, const std::shared_ptr<const classic_file>& file) {
    std::size_t points = 0;
    for (auto _ : state) {
        const auto opened = pdb::open(file->path);
        points = 0;
        for (const auto token : file->methods) points += opened->points(token).size();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points));
}

}  // namespace

void add_classic_pdb_benchmarks() {
    const auto file = make_file();
    benchmark::RegisterBenchmark("classic_open", open, file)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("classic_first_method", first_method, file)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("classic_all_methods", all_methods, file)->Unit(benchmark::kMicrosecond);
}

}  // namespace qv::bench
