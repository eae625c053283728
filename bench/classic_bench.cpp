// What opening a large classic PDB and asking for one method costs, against reading the lines of all methods.
//
// classic_bench [megabytes]: writes a file of that size (10 by default) into the temporary directory, measures on it in
// a warm cache and removes it. The best of several runs counts.
#include <algorithm>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "symbol_services/classic_reader/pdb.h"
#include "tests/support/pdb_writer/pdb_writer.h"

namespace {

namespace fs = boost::filesystem;
using qv::classic_reader::pdb;

constexpr int runs = 9;

// A file that is removed with the object.
class temporary_file {
public:
    explicit temporary_file(const qv::test::bytes& content) {
        fs::ofstream file(path_, std::ios::binary);
        file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    }
    ~temporary_file() {
        boost::system::error_code ignored;
        fs::remove(path_, ignored);
    }
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;

    const fs::path& path() const { return path_; }

private:
    fs::path path_ = fs::temp_directory_path() / fs::unique_path("classic-bench-%%%%-%%%%.pdb");
};

// Many modules of a few methods each, about as large as asked for.
qv::test::pdb_description large_pdb_description(std::size_t bytes_wanted) {
    constexpr unsigned methods_of_module = 8;
    constexpr unsigned points_of_method = 24;
    constexpr std::size_t module_size = methods_of_module * (240 + 12 * points_of_method) + 700;
    qv::test::pdb_description pdb;
    std::uint32_t token = 0x06000000;
    for (unsigned i = 0; i < bytes_wanted / module_size; ++i) {
        qv::test::pdb_module module{.name = "Company.Product.Component.Type" + std::to_string(i), .methods = {}};
        pdb.files.push_back({.name = "C:\\Code\\Company\\Product\\Component\\Type" + std::to_string(i) + ".cs",
                             .algorithm = qv::test::sha256,
                             .checksum = qv::test::bytes(32, static_cast<unsigned char>(i))});
        for (unsigned j = 0; j < methods_of_module; ++j) {
            qv::test::pdb_lines lines{i, {}};
            for (std::uint32_t k = 0; k < points_of_method; ++k)
                lines.points.push_back({k * 6, j * 40 + k + 1, 9, j * 40 + k + 1, 60});
            module.methods.push_back({++token, {lines}});
        }
        pdb.modules.push_back(std::move(module));
    }
    return pdb;
}

template <class Action>
double best_microseconds(Action action) {
    double best = 1e18;
    for (int i = 0; i < runs; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        action();
        const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - begin;
        best = std::min(best, elapsed.count());
    }
    return best;
}

}  // namespace

int main(int count, char** arguments) {
    const auto megabytes = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 10;
    const auto content = qv::test::write_pdb(large_pdb_description(megabytes << 20));
    const temporary_file file(content);

    const auto methods = pdb::open(file.path())->methods();
    const auto some_method = methods[methods.size() / 2];
    std::size_t points = 0;

    const auto first = best_microseconds([&] {
        const auto opened = pdb::open(file.path());
        const auto answer = opened->points(some_method);
        points += opened->document_url(answer.front().document).size();
    });
    const auto opening = best_microseconds([&] { points += pdb::open(file.path())->id().age; });
    const auto whole = best_microseconds([&] {
        const auto opened = pdb::open(file.path());
        points = 0;
        for (const auto token : methods) points += opened->points(token).size();
    });
    std::printf("file %.1f MB, %zu methods, %zu points\n", static_cast<double>(content.size()) / (1 << 20),
                methods.size(), points);
    std::printf("open %.0f us\nopen, first method %.0f us\nopen, all methods %.0f us\n", opening, first, whole);
    std::printf("first method / all methods = 1/%.1f\n", whole / first);
    return first * 10 < whole ? 0 : 1;
}
