// How the reader of classic PDB files fails.
//
// Every failure is a qv::hresult_exception: a plain message and one of the codes below, which Windows publishes for
// symbol files. Bad input never fails in another way, memory aside. What reads from a file throws e_pdb_corrupt for
// content that contradicts itself or leaves its bounds, and e_pdb_file_system; headers name the other codes.
#pragma once

#include <cstdint>

#include "base/exception.h"

namespace qv::classic_reader {

constexpr std::int32_t pdb_code(std::uint32_t number) {
    return static_cast<std::int32_t>(0x806D0000u | number);
}

constexpr std::int32_t e_pdb_file_system = pdb_code(0x04);      // the file cannot be read
constexpr std::int32_t e_pdb_not_found = pdb_code(0x05);        // no such file
constexpr std::int32_t e_pdb_invalid_sig = pdb_code(0x06);      // another build's file: the GUID differs
constexpr std::int32_t e_pdb_invalid_age = pdb_code(0x07);      // another link's file: the age differs
constexpr std::int32_t e_pdb_not_implemented = pdb_code(0x0A);  // well-formed, but of a kind not read here
constexpr std::int32_t e_pdb_v1_pdb = pdb_code(0x0B);           // the container before MSF 7.0
constexpr std::int32_t e_pdb_format = pdb_code(0x0C);           // no PDB file at all
constexpr std::int32_t e_pdb_corrupt = pdb_code(0x0E);          // a PDB file that contradicts itself
constexpr std::int32_t e_pdb_access_denied = pdb_code(0x10);    // the file may not be read
constexpr std::int32_t e_pdb_no_debug_info = pdb_code(0x14);    // the image names no PDB file

// For content that contradicts itself or leaves its bounds.
[[noreturn]] inline void throw_corrupt(const located_message& message) {
    throw_hresult_error(message, e_pdb_corrupt);
}

// Whether the content of the file is to blame, so that asking again would end in the same way. Otherwise the file could
// not be read just now.
inline bool lies_in_content(const hresult_exception& error) noexcept {
    const auto* code = error.find<errtag_hresult>();
    return code == nullptr || *code != e_pdb_file_system;
}

// Runs the action; false where the content of the file makes it fail. For parts whose loss leaves the rest as it is.
template <class Action>
bool content_allows(Action&& action) {
    try {
        action();
        return true;
    } catch (const hresult_exception& error) {
        if (!lies_in_content(error)) throw;
        return false;
    }
}

}  // namespace qv::classic_reader
