// A bounded view of metadata bytes and the primitive reads of ECMA-335 II.23.2 and II.24.
//
// Every byte that is read by position comes through here. Positions are counted from the beginning of the view,
// taken by reference and advanced by what was read; a read that leaves the view throws qv::exception, and its position
// is where the failing byte would be. Nothing is owned: the bytes outlive the view. Immutable, so any number of threads
// may share one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

#include "base/exception.h"
#include "base/guid.h"
#include "base/work_counter.h"

namespace qv::metadata::detail_metadata {

struct STORAGESIGNATURE;
struct STORAGEHEADER;
struct STORAGESTREAM;
struct CMiniMdSchemaBase;
struct CMiniPdbSchemaBase;

// How reads fail that leave the view, and views that leave their parent. The wording is known as it stands.
constexpr const char* end_of_region_message = "End of region";
constexpr const char* out_of_region_message = "Out of arent region";

constexpr const char* metadata_source = "sharedCommon/Native/Shared/include/qv/metadata/metadata";

// As what a failing read_value reports itself.
template <class T>
extern const throw_site read_value_site;

// Compressed integers (ECMA-335 II.23.2) have 1, 2 or 4 bytes, as their lead byte says; one of 0xE0 or above is taken
// as that of four bytes with its low five bits. Signed ones are in two's complement, the sign in the lowest bit.
constexpr std::uint32_t longest_compressed = 4;

constexpr std::uint32_t compressed_size(std::uint32_t lead) noexcept {
    return lead < 0x80 ? 1 : lead < 0xC0 ? 2 : 4;
}

// The number whose bytes, the lead byte first, are these.
constexpr std::uint32_t compressed_unsigned(std::uint32_t bytes, std::uint32_t size) noexcept {
    return size == 1 ? bytes : size == 2 ? bytes & 0x3FFF : bytes & 0x1FFFFFFF;
}

// The signed number of such bits; those above the sign are filled with it.
constexpr std::uint32_t compressed_signed(std::uint32_t bits, std::uint32_t size) noexcept {
    const std::uint32_t below_sign = size == 1 ? 6 : size == 2 ? 13 : 28;
    return (bits >> 1) - ((bits & 1) << below_sign);
}

// Fetches the bytes of a view when they are first read: these `count` ones, all of them inside the view.
class byte_fetcher {
public:
    virtual void fetch(const unsigned char* begin, std::uint32_t count) const = 0;

protected:
    ~byte_fetcher() = default;
};

class md_region {
public:
    md_region() noexcept = default;
    // With a fetcher only those bytes are there that were read.
    md_region(const unsigned char* data, std::uint32_t size, const byte_fetcher* fetcher = nullptr) noexcept
        : data_(data), size_(size), fetcher_(fetcher) {}

    const unsigned char* data() const noexcept { return data_; }
    std::uint32_t size() const noexcept { return size_; }

    // The part of this view that begins at `offset`; fails when it is not inside.
    md_region create_child(std::uint32_t offset, std::uint32_t size) const {
        if (offset > size_ || size > size_ - offset) out_of_region();
        return {data_ + offset, size, fetcher_};
    }

    template <class T>
    T read_value(std::uint32_t& position) const {
        static_assert(std::is_trivially_copyable_v<T>);
        T value;
        std::memcpy(&value, take(position, sizeof value, read_value_site<T>), sizeof value);
        return value;
    }

    // One character of UTF-8, as long as its lead byte says; the bytes after it are not looked at. Returns where it
    // begins and, on request, where the next one does. Throws std::runtime_error for a byte that leads no character.
    const unsigned char* read_char_utf8(std::uint32_t& position, const unsigned char** next = nullptr) const;

    // Characters up to one whose first byte is 0, which is consumed. The text ends at its first zero byte.
    std::string_view read_string_utf8(std::uint32_t& position) const;

    // The whole region as text.
    std::string_view read_text_utf8() const;

    std::uint32_t read_compressed_unsigned(std::uint32_t& position) const {
        const std::uint32_t lead = read_value<unsigned char>(position);
        return lead < 0x80 ? lead : read_longer(lead, position);
    }
    std::uint32_t read_compressed_signed(std::uint32_t& position) const {
        const std::uint32_t lead = read_value<unsigned char>(position);
        return compressed_signed(lead < 0x80 ? lead : read_longer(lead, position), compressed_size(lead));
    }

    // What follows the position, for a reader that checks the bounds of several values at once; empty beyond the end.
    std::span<const unsigned char> rest(std::uint32_t position) const noexcept {
        return std::span(data_, size_).subspan(std::min(position, size_));
    }

private:
    // A number of several bytes, of which the first has been read.
    std::uint32_t read_longer(std::uint32_t lead, std::uint32_t& position) const;

    // The bounds gate: every byte that is read comes through here.
    const unsigned char* take(std::uint32_t& position, std::uint32_t count, const throw_site& site,
                              source_location here = source_location::current()) const {
        count_work(1);
        if (position > size_ || count > size_ - position) end_of_region({site, here});
        const unsigned char* const bytes = data_ + position;
        if (fetcher_ != nullptr) fetcher_->fetch(bytes, count);
        position += count;
        return bytes;
    }

    [[noreturn]] static void end_of_region(const throw_location& where);
    [[noreturn]] static void out_of_region();

    const unsigned char* data_ = nullptr;
    std::uint32_t size_ = 0;
    const byte_fetcher* fetcher_ = nullptr;
};

#define QV_READ_VALUE(type, name)                                                            \
    template <>                                                                              \
    inline constexpr throw_site read_value_site<type> = {                                    \
        "const " name " &__cdecl qv::metadata::detail_metadata::md_region::read_value<" name \
        ">(unsigned int &) const",                                                           \
        metadata_source}
QV_READ_VALUE(unsigned char, "unsigned char");
QV_READ_VALUE(unsigned short, "unsigned short");
QV_READ_VALUE(unsigned int, "unsigned int");
QV_READ_VALUE(GUID, "struct _GUID");
QV_READ_VALUE(STORAGESIGNATURE, "struct STORAGESIGNATURE");
QV_READ_VALUE(STORAGEHEADER, "struct STORAGEHEADER");
QV_READ_VALUE(STORAGESTREAM, "struct STORAGESTREAM");
QV_READ_VALUE(CMiniMdSchemaBase, "class CMiniMdSchemaBase");
QV_READ_VALUE(CMiniPdbSchemaBase, "class CMiniPdbSchemaBase");
#undef QV_READ_VALUE

}  // namespace qv::metadata::detail_metadata
