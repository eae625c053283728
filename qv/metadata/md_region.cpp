#include "qv/metadata/md_region.h"

#include "text/utf.h"

namespace qv::metadata::detail_metadata {
namespace {

// A compressed integer: its bits, and how many bytes it was written in.
struct compressed {
    std::uint32_t bits;
    std::uint32_t size;
};

compressed read_compressed(const md_region& region, std::uint32_t& position) {
    const auto get = [&]() -> std::uint32_t { return region.read_value<unsigned char>(position); };
    std::uint32_t bytes = get();
    const std::uint32_t size = compressed_size(bytes);
    for (std::uint32_t i = 1; i < size; ++i) bytes = bytes << 8 | get();
    return {compressed_unsigned(bytes, size), size};
}

}  // namespace

const unsigned char* md_region::read_char_utf8(std::uint32_t& position, const unsigned char** next) const {
    static constexpr throw_site here{
        "const unsigned char *__cdecl qv::metadata::detail_metadata::md_region::read_char_utf8(unsigned int &,const "
        "unsigned char **) const",
        metadata_source};
    std::uint32_t lead = position;
    const std::uint32_t length = text::utf8_length(*take(lead, 1, here));
    const unsigned char* const character = take(position, length, here);
    if (next != nullptr) *next = character + length;
    return character;
}

std::string_view md_region::read_string_utf8(std::uint32_t& position) const {
    const unsigned char* const first = read_char_utf8(position);
    for (const unsigned char* character = first; *character != 0;) character = read_char_utf8(position);
    return {reinterpret_cast<const char*>(first)};
}

std::string_view md_region::read_text_utf8() const {
    for (std::uint32_t position = 0; position != size_;) read_char_utf8(position);
    return {reinterpret_cast<const char*>(data_), size_};
}

std::uint32_t md_region::read_compressed_unsigned(std::uint32_t& position) const {
    return read_compressed(*this, position).bits;
}

std::uint32_t md_region::read_compressed_signed(std::uint32_t& position) const {
    const compressed number = read_compressed(*this, position);
    return compressed_signed(number.bits, number.size);
}

void md_region::out_of_region() {
    static constexpr throw_site here{
        "class qv::metadata::detail_metadata::md_region __cdecl "
        "qv::metadata::detail_metadata::md_region::create_child(const unsigned int,const unsigned int) const",
        metadata_source};
    throw_error(out_of_region_message, here);
}

void md_region::end_of_region(const throw_location& where) {
    throw_error(end_of_region_message, where);
}

}  // namespace qv::metadata::detail_metadata
