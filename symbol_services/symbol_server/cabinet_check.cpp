#include "symbol_services/symbol_server/cabinet_check.h"

#include <array>
#include <cstdint>

namespace qv::symbol_store {
namespace {

struct fault {
    const wchar_t* reason;
};

// Goes through the cabinet; throws where it ends too early.
class cursor {
public:
    explicit cursor(const classic_reader::byte_source& bytes) noexcept : bytes_(bytes) {}

    void go_to(std::uint64_t position) {
        if (position > bytes_.size()) throw fault{L"cut off"};
        position_ = position;
    }
    void skip(std::uint64_t count) { go_to(position_ + count); }

    // All numbers of a cabinet are little-endian, as the processor's are.
    template <class T>
    T read() {
        T value;
        const std::uint64_t begin = position_;
        skip(sizeof value);
        bytes_.read(begin, {reinterpret_cast<unsigned char*>(&value), sizeof value});
        return value;
    }

private:
    const classic_reader::byte_source& bytes_;
    std::uint64_t position_ = 0;
};

struct cabinet_header {
    std::array<char, 4> signature;
    std::uint32_t reserved1, size, reserved2, first_file, reserved3;
    std::uint16_t version, folders, files, flags, set, index;
};
static_assert(sizeof(cabinet_header) == 36);

struct reserved_sizes {
    std::uint16_t header;
    std::uint8_t folder, block;
};
static_assert(sizeof(reserved_sizes) == 4);

struct folder_entry {
    std::uint32_t first_block;
    std::uint16_t blocks, method;
};
static_assert(sizeof(folder_entry) == 8);

struct file_entry {
    std::uint32_t size, begin;
    std::uint16_t folder, date, time, attributes;  // the name follows
};
static_assert(sizeof(file_entry) == 16);

struct block_header {
    std::uint32_t checksum;
    std::uint16_t packed, unpacked;
};
static_assert(sizeof(block_header) == 8);

struct layout {
    std::uint32_t first_file;
    folder_entry folder;
    std::uint32_t reserve_of_block;  // bytes before the data
};

void check_method(std::uint32_t type) {
    constexpr std::uint32_t none = 0, mszip = 1, lzx = 3;
    const std::uint32_t method = type & 0xF, window = type >> 8 & 0x1F;
    const bool is_known = method == none || method == mszip || (method == lzx && window >= 15 && window <= 21);
    if (!is_known) throw fault{L"compressed in an unknown way"};
}

// The header and the folder, which follows it.
layout read_layout(cursor& at) {
    const auto header = at.read<cabinet_header>();
    if (header.signature != std::array{'M', 'S', 'C', 'F'}) throw fault{L"without signature"};
    if (header.version != 0x0103) throw fault{L"of another version"};
    if (header.folders != 1 || header.files != 1) throw fault{L"not of one file"};
    if ((header.flags & 3) != 0) throw fault{L"part of a set"};
    reserved_sizes reserved = {};
    if ((header.flags & 4) != 0) {
        reserved = at.read<reserved_sizes>();
        at.skip(reserved.header);
    }
    const auto folder = at.read<folder_entry>();
    check_method(folder.method);
    return {header.first_file, folder, reserved.block};
}

// The end of the file in what the blocks hold.
std::uint64_t read_file(cursor& at) {
    constexpr unsigned longest_name = 256;
    const auto file = at.read<file_entry>();
    if (file.folder != 0) throw fault{L"its file in no folder"};
    unsigned length = 0;
    while (at.read<char>() != 0)
        if (++length == longest_name) throw fault{L"its file with an endless name"};
    return std::uint64_t{file.begin} + file.size;
}

// How many bytes the blocks hold when they are unpacked.
std::uint64_t read_blocks(cursor& at, const layout& cabinet) {
    constexpr std::uint32_t largest_unpacked = 0x8000, largest_packed = largest_unpacked + 6144;
    std::uint64_t unpacked = 0;
    for (std::uint32_t i = 0; i < cabinet.folder.blocks; ++i) {
        const auto block = at.read<block_header>();
        if (block.unpacked == 0) throw fault{L"part of a set"};
        if (block.unpacked > largest_unpacked || block.packed > largest_packed) throw fault{L"with too large a block"};
        at.skip(std::uint64_t{cabinet.reserve_of_block} + block.packed);
        unpacked += block.unpacked;
    }
    return unpacked;
}

void check(cursor at) {
    const layout cabinet = read_layout(at);
    at.go_to(cabinet.first_file);
    const std::uint64_t end_of_file = read_file(at);
    at.go_to(cabinet.folder.first_block);
    if (read_blocks(at, cabinet) < end_of_file) throw fault{L"cut off"};
}

}  // namespace

std::wstring cabinet_fault(const classic_reader::byte_source& cabinet) {
    try {
        check(cursor(cabinet));
        return {};
    } catch (const fault& found) {
        return std::wstring(L"malformed cabinet, ") + found.reason;
    }
}

}  // namespace qv::symbol_store
