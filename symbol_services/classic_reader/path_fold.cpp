#include "symbol_services/classic_reader/path_fold.h"

#include <cstdint>

#include "qv/diagnostics/work_counter.h"
#include "qv/text/utf.h"
#include "symbol_services/classic_reader/lower_case.h"

namespace qv::classic_reader {
namespace {

constexpr char32_t first_of_length[] = {0, 0, 0x80, 0x800, 0x10000};

// Takes the character of several bytes off the front; 0, and nothing is taken, where there is none.
char32_t take_character(std::string_view& rest) {
    const auto lead = static_cast<unsigned char>(rest.front());
    const std::size_t length = lead >= 0xC0 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xF0 ? 4 : 0;
    if (length == 0 || lead >= 0xF8 || rest.size() < length) return 0;
    char32_t code_point = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(rest[i]);
        if ((next & 0xC0) != 0x80) return 0;
        code_point = code_point << 6 | (next & 0x3Fu);
    }
    if (code_point < first_of_length[length] || code_point > 0x10FFFF || text::is_surrogate(code_point)) return 0;
    rest.remove_prefix(length);
    return code_point;
}

}  // namespace

std::string fold_path(std::string_view path) {
    count_work(path.size());
    std::string folded;
    folded.reserve(path.size());
    while (!path.empty()) {
        const char c = path.front();
        if (const char32_t character = (c & 0x80) != 0 ? take_character(path) : 0; character != 0) {
            text::code_point_to_utf8(lower_case(character), folded);
            continue;
        }
        path.remove_prefix(1);
        folded += c == '/' ? '\\' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return folded;
}

}  // namespace qv::classic_reader
