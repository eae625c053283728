// Cabinets with changed bytes, unpacked as those of symbol stores are.
#include <windows.h>
// after <windows.h>
#include <psapi.h>
#include <zlib.h>

#include <boost/filesystem/operations.hpp>
#include <map>
#include <random>

#include "bench/faults/failing_call.h"
#include "bench/faults/scenario.h"
#include "symbol_services/symbol_server/cabinet.h"
#include "tests/support/builders/bytes.h"
#include "tests/support/server/handle_count.h"

namespace qv::bench {
namespace {

using namespace testing;
using symbol_store::expand_cabinet;
using symbol_store::temporary_file;

constexpr std::size_t largest_block = 32768;  // bytes of content in one block of MSZIP
constexpr std::uint64_t largest_file = std::uint64_t{1} << 20;

test::bytes deflated(const unsigned char* content, std::size_t size) {
    test::bytes out(compressBound(static_cast<uLong>(size)) + 16);
    z_stream stream{};
    promise(deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK,
            "a compressor");
    stream.next_in = const_cast<Bytef*>(content);
    stream.avail_in = static_cast<uInt>(size);
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    promise(result == Z_STREAM_END, "a compressed block");
    return out;
}

// Of a data block, as published: words of four bytes, the rest from its end, over the data and then its sizes.
std::uint32_t checksum(const test::bytes& data, std::uint32_t sum) {
    std::size_t at = 0;
    for (; at + 4 <= data.size(); at += 4)
        for (unsigned i = 0; i < 4; ++i) sum ^= std::uint32_t{data[at + i]} << 8 * i;
    std::uint32_t rest = 0;
    for (; at < data.size(); ++at) rest = rest << 8 | data[at];
    return sum ^ rest;
}

// A cabinet of one file, compressed with MSZIP.
test::bytes make_cabinet(const test::bytes& content) {
    constexpr std::uint32_t header_size = 36, folder_size = 8, file_size = 16;
    const std::string name = "module.pdb";
    const auto first_file = header_size + folder_size;
    const auto first_block = first_file + file_size + static_cast<std::uint32_t>(name.size()) + 1;
    test::byte_writer blocks;
    std::uint32_t count = 0;
    for (std::size_t at = 0; at < content.size(); at += largest_block, ++count) {
        const std::size_t size = std::min(largest_block, content.size() - at);
        test::bytes data = {'C', 'K'};
        const test::bytes packed = deflated(content.data() + at, size);
        data.insert(data.end(), packed.begin(), packed.end());
        const auto sizes = static_cast<std::uint32_t>(data.size() | size << 16);
        blocks.u32(checksum(data, 0) ^ sizes).u32(sizes).append(data);
    }
    const auto all = static_cast<std::uint32_t>(first_block + blocks.data().size());
    test::byte_writer cabinet;
    cabinet.text("MSCF").u32(0).u32(all).u32(0).u32(first_file).u32(0);
    cabinet.u8(3).u8(1).u16(1).u16(1).u16(0).u16(0x1234).u16(0);             // one folder, one file
    cabinet.u32(first_block).u16(static_cast<std::uint16_t>(count)).u16(1);  // of MSZIP
    cabinet.u32(static_cast<std::uint32_t>(content.size())).u32(0).u16(0).u16(0).u16(0).u16(0x20);
    cabinet.text(name).u8(0).append(blocks.data());
    return cabinet.data();
}

test::bytes make_content(std::size_t size) {
    std::mt19937 random(1);
    test::bytes content(size);
    for (auto& byte : content) byte = static_cast<unsigned char>('a' + random() % 7);
    return content;
}

void change(test::bytes& data, std::mt19937& random) {
    // Most of what there is to get wrong stands at the beginning.
    const auto any = [&] { return random() % (random() % 2 ? data.size() : std::min<std::size_t>(data.size(), 80)); };
    for (unsigned left = 1 + random() % 3; left != 0; --left) {
        const auto at = static_cast<std::ptrdiff_t>(any());
        switch (random() % 6) {
            case 0: data[static_cast<std::size_t>(at)] = static_cast<unsigned char>(random()); break;
            case 1: data[static_cast<std::size_t>(at)] ^= static_cast<unsigned char>(1u << random() % 8); break;
            case 2: data[static_cast<std::size_t>(at)] = random() % 2 ? 0xFF : 0; break;
            case 3: data.resize(std::max<std::size_t>(1, any())); break;
            case 4: data.insert(data.begin() + at, static_cast<unsigned char>(random())); break;
            default:
                if (data.size() > 1) data.erase(data.begin() + at);
        }
    }
}

struct unpacked {
    std::wstring refusal;
    std::string content;
};

unpacked unpack(const temporary_directory& folder, const test::bytes& cabinet) {
    const auto file = folder.write("module.pd_", {cabinet.begin(), cabinet.end()});
    const auto target = folder.path() / "module.pdb";
    unpacked result;
    {
        temporary_file to(folder.path());
        result.refusal = expand_cabinet(file, to, largest_file);
        if (!result.refusal.empty()) return result;
        promise(to.finish() && to.rename_to(target), "an unpacked file");
    }
    result.content = read_file(target);
    boost::filesystem::remove(target);
    return result;
}

std::uint64_t memory() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}

// What cannot be loaded at one moment can be at the next.
void fail_first_use(const temporary_directory& folder, const test::bytes& cabinet) {
    const auto import = failing_call<decltype(LoadLibraryExW)>::replace("LoadLibraryExW", nullptr);
    failing_calls::begin(1);
    const std::wstring refusal = unpack(folder, cabinet).refusal;
    promise(failing_calls::end() == 1 && refusal == L"compressed, and this system has no cabinet API",
            "a word about the missing API");
}

std::string cabinets(const circumstances& now) {
    constexpr std::uint64_t little = std::uint64_t{8} << 20;
    constexpr unsigned warm_up = 500;
    const temporary_directory folder;
    const test::bytes content = make_content(3 * largest_block / 2);
    const std::string text(content.begin(), content.end());
    const test::bytes cabinet = make_cabinet(content);
    fail_first_use(folder, cabinet);
    const auto whole = unpack(folder, cabinet);
    promise(whole.refusal.empty() && whole.content == text, "an unchanged cabinet unpacked");
    std::mt19937 random(static_cast<std::mt19937::result_type>(now.seed));
    unsigned tried = 0, taken = 0;
    std::map<std::wstring, unsigned> refusals;
    std::size_t handles = 0;
    std::uint64_t held = 0;
    for (const auto begin = clock::now(); clock::now() - begin < now.time || tried < 2 * warm_up; ++tried) {
        if (tried == warm_up) {
            handles = test::count_handles(GetCurrentProcessId());
            held = memory();
        }
        test::bytes changed = cabinet;
        change(changed, random);
        const auto result = unpack(folder, changed);
        if (!result.refusal.empty()) {
            ++refusals[result.refusal];
            continue;
        }
        // Data carry checksums, so what comes out is a part of what went in.
        promise(text.find(result.content) != text.npos, "content that was packed");
        ++taken;
    }
    promise(unpack(folder, cabinet).content == text, "the unchanged cabinet afterwards");
    promise(test::count_handles(GetCurrentProcessId()) <= handles + 4, "no handles kept");
    promise(memory() <= held + little, "no memory kept");
    std::string told;
    for (const auto& [refusal, count] : refusals)
        told += "\n        " + std::to_string(count) + " x " + std::string(refusal.begin(), refusal.end());
    return std::to_string(tried) + " changed cabinets, " + std::to_string(taken) + " taken, the others refused:" + told;
}

}  // namespace

std::vector<scenario> cabinet_scenarios() {
    return {{"cabinets", cabinets}};
}

}  // namespace qv::bench
