#include "symbol_services/symbol_server/cabinet_check.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

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

    template <std::size_t Size>
    std::array<unsigned char, Size> take() {
        std::array<unsigned char, Size> taken;
        const std::uint64_t begin = position_;
        skip(Size);
        bytes_.read(begin, taken);
        return taken;
    }

private:
    const classic_reader::byte_source& bytes_;
    std::uint64_t position_ = 0;
};

template <std::size_t Size>
std::uint32_t u16(const std::array<unsigned char, Size>& bytes, std::size_t at) noexcept {
    return bytes[at] | std::uint32_t{bytes[at + 1]} << 8;
}

template <std::size_t Size>
std::uint32_t u32(const std::array<unsigned char, Size>& bytes, std::size_t at) noexcept {
    return u16(bytes, at) | u16(bytes, at + 2) << 16;
}

struct layout {
    std::uint32_t first_file;
    std::uint32_t first_block;
    std::uint32_t blocks;
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
    const auto header = at.take<36>();
    if (std::string_view(reinterpret_cast<const char*>(header.data()), 4) != "MSCF") throw fault{L"without signature"};
    if (u16(header, 24) != 0x0103) throw fault{L"of another version"};
    if (u16(header, 26) != 1 || u16(header, 28) != 1) throw fault{L"not of one file"};
    const std::uint32_t flags = u16(header, 30);
    if ((flags & 3) != 0) throw fault{L"part of a set"};
    layout result = {u32(header, 16), 0, 0, 0};
    if ((flags & 4) != 0) {
        const auto reserves = at.take<4>();
        at.skip(u16(reserves, 0));
        result.reserve_of_block = reserves[3];
    }
    const auto folder = at.take<8>();
    result.first_block = u32(folder, 0);
    result.blocks = u16(folder, 4);
    check_method(u16(folder, 6));
    return result;
}

// The end of the file in what the blocks hold.
std::uint64_t read_file(cursor& at) {
    constexpr unsigned longest_name = 256;
    const auto file = at.take<16>();
    if (u16(file, 8) != 0) throw fault{L"its file in no folder"};
    unsigned length = 0;
    while (at.take<1>()[0] != 0)
        if (++length == longest_name) throw fault{L"its file with an endless name"};
    return std::uint64_t{u32(file, 0)} + u32(file, 4);
}

// How many bytes the blocks hold when they are unpacked.
std::uint64_t read_blocks(cursor& at, const layout& cabinet) {
    constexpr std::uint32_t largest_unpacked = 0x8000, largest_packed = largest_unpacked + 6144;
    std::uint64_t unpacked = 0;
    for (std::uint32_t i = 0; i < cabinet.blocks; ++i) {
        const auto block = at.take<8>();
        const std::uint32_t packed = u16(block, 4), size = u16(block, 6);
        if (size == 0) throw fault{L"part of a set"};
        if (size > largest_unpacked || packed > largest_packed) throw fault{L"with too large a block"};
        at.skip(cabinet.reserve_of_block + packed);
        unpacked += size;
    }
    return unpacked;
}

void check(cursor at) {
    const layout cabinet = read_layout(at);
    at.go_to(cabinet.first_file);
    const std::uint64_t end_of_file = read_file(at);
    at.go_to(cabinet.first_block);
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
