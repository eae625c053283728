// Lower case of single characters, by the rules of no language: those by which the platform compares names.
#pragma once

namespace qv::classic_reader {

// The character itself where it has none. The argument is a code point and no surrogate.
char32_t lower_case(char32_t code_point);

}  // namespace qv::classic_reader
