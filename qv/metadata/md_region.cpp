#include "qv/metadata/md_region.h"

#include "text/utf.h"

namespace qv::metadata::detail_metadata {

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

std::uint32_t md_region::read_longer(std::uint32_t lead, std::uint32_t& position) const {
    const std::uint32_t size = compressed_size(lead);
    for (std::uint32_t i = 1; i < size; ++i) lead = lead << 8 | read_value<unsigned char>(position);
    return compressed_unsigned(lead, size);
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
