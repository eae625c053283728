#include "symbol_services/classic_reader/path_fold.h"

namespace qv::classic_reader {
namespace {

constexpr unsigned lower_case(unsigned code_point) {
    const auto within = [code_point](unsigned first, unsigned last) {
        return code_point >= first && code_point <= last;
    };
    if (within(0x00C0, 0x00DE) && code_point != 0x00D7) return code_point + 0x20;
    if (within(0x0100, 0x0137) || within(0x014A, 0x0177)) return code_point | 1;
    if (within(0x0139, 0x0148) || within(0x0179, 0x017E)) return code_point + (code_point & 1);
    if (within(0x0391, 0x03A9) && code_point != 0x03A2) return code_point + 0x20;
    if (within(0x0400, 0x040F)) return code_point + 0x50;
    if (within(0x0410, 0x042F)) return code_point + 0x20;
    return code_point;
}

constexpr bool is_two_byte_lead(unsigned char byte) {
    return (byte & 0xE0) == 0xC0;
}

constexpr bool is_continuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

}  // namespace

std::string fold_path(std::string_view path) {
    std::string folded(path);
    for (std::size_t i = 0; i < folded.size(); ++i) {
        const auto byte = static_cast<unsigned char>(folded[i]);
        if (byte >= 'A' && byte <= 'Z') folded[i] = static_cast<char>(byte - 'A' + 'a');
        if (byte == '/') folded[i] = '\\';
        if (!is_two_byte_lead(byte) || i + 1 == folded.size()) continue;
        const auto next = static_cast<unsigned char>(folded[i + 1]);
        if (!is_continuation(next)) continue;
        const unsigned lower = lower_case((byte & 0x1Fu) << 6 | (next & 0x3Fu));
        folded[i] = static_cast<char>(0xC0 | lower >> 6);
        folded[++i] = static_cast<char>(0x80 | (lower & 0x3F));
    }
    return folded;
}

}  // namespace qv::classic_reader
