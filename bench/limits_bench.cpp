// What no reader can beat: copying, reading and inflating the bytes that hold the answers.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/os_file.h"
#include "bench/bench_files.h"
#include "qv/portable_executable/readers.h"
#include "tests/support/files/test_files.h"

namespace qv::bench {
namespace {

void copy(benchmark::State& state, const boost::filesystem::path& path) {
    const std::string bytes = qv::testing::read_file(path);
    const auto target = std::make_unique<char[]>(bytes.size());
    for (auto _ : state) {
        std::memcpy(target.get(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(target.get());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

// Into memory that is fresh each time, as a file that is loaded needs it.
void read(benchmark::State& state, const boost::filesystem::path& path) {
    std::uint64_t size = 0;
    for (auto _ : state) {
        os_file file;
        if (file.open(path, os_file::mode::read) != 0 || file.get_size(size) != 0) throw std::runtime_error("no file");
        const std::unique_ptr<char[]> bytes(new char[size]);
        if (file.read(0, bytes.get(), size) != 0) throw std::runtime_error("no bytes");
        benchmark::DoNotOptimize(bytes.get());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

void inflate_all(benchmark::State& state, const boost::filesystem::path& image) {
    constexpr std::size_t header = 8;
    std::vector<unsigned char> packed;
    std::uint32_t size = 0;
    for (auto& entry : portable_executable::read_image_file(image).debug_entries)
        if (entry.Type == portable_executable::debug_type_embedded_portable_pdb) packed = std::move(entry.data);
    std::memcpy(&size, packed.data() + 4, sizeof size);
    for (auto _ : state) {
        const std::unique_ptr<unsigned char[]> bytes(new unsigned char[size]);
        z_stream stream{};
        stream.next_in = packed.data() + header;
        stream.avail_in = static_cast<uInt>(packed.size() - header);
        stream.next_out = bytes.get();
        stream.avail_out = size;
        inflateInit2(&stream, -15);
        if (inflate(&stream, Z_FINISH) != Z_STREAM_END) throw std::runtime_error("no deflate stream");
        inflateEnd(&stream);
        benchmark::DoNotOptimize(bytes.get());
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t{size});
}

}  // namespace

void add_limits(const bench_files& files) {
    benchmark::RegisterBenchmark("limit/copy_pdb", copy, files.pdb)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("limit/read_pdb", read, files.pdb)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("limit/inflate", inflate_all, files.embedded_image)->Unit(benchmark::kMicrosecond);
}

}  // namespace qv::bench
