#include "qv/metadata/md_region.h"

#include "text/utf.h"

namespace qv::metadata::detail_metadata {
namespace {

// A compressed integer: its bits and how many of them are the number, by the form it was written in.
struct compressed {
    std::uint32_t bits;
    std::uint32_t sign_extension;  // the bits to set when a number of this form is negative
};

compressed read_compressed(const md_region& region, std::uint32_t& position) {
    const auto get = [&]() -> std::uint32_t { return region.read_value<unsigned char>(position); };
    const std::uint32_t lead = get();
    if (lead < 0x80) return {lead, 0xFFFFFFC0};
    if (lead < 0xC0) return {(lead & 0x3F) << 8 | get(), 0xFFFFE000};
    std::uint32_t bits = lead & 0x1F;
    for (int i = 0; i < 3; ++i) bits = bits << 8 | get();
    return {bits, 0xF0000000};
}

}  // namespace

md_region md_region::create_child(std::uint32_t offset, std::uint32_t size) const {
    static constexpr throw_site here{
        "class qv::metadata::detail_metadata::md_region __cdecl "
        "qv::metadata::detail_metadata::md_region::create_child(const unsigned int,const unsigned int) const",
        metadata_source};
    if (offset > size_ || size > size_ - offset) throw_error(out_of_region_message, here);
    return {data_ + offset, size};
}

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
    const std::uint32_t magnitude = number.bits >> 1;
    return (number.bits & 1) != 0 ? magnitude | number.sign_extension : magnitude;
}

void md_region::end_of_region(const throw_location& where) {
    throw_error(end_of_region_message, where);
}

}  // namespace qv::metadata::detail_metadata
