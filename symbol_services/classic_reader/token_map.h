// The token map: which method of the image a method of the PDB file became.
//
// Compilers that emit symbols before they sort the metadata leave 4 bytes for each MethodDef row of the PDB file: the
// row in the image, 0 for a method that was dropped. Without the stream both numbers are the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qv::classic_reader {

// Immutable. Tokens are MethodDef tokens.
class token_map {
public:
    // Tokens stay as they are.
    token_map() = default;
    // A last row that is cut off is left out.
    explicit token_map(std::span<const unsigned char> stream);

    // 0 when the method is not in the image.
    std::uint32_t to_image(std::uint32_t pdb_token) const noexcept;

    // The tokens that become the given one, in their order, as many as are asked for at most.
    std::vector<std::uint32_t> to_pdb(std::uint32_t image_token, std::size_t most) const;

private:
    bool identity_ = true;
    std::vector<std::uint32_t> image_rows_;    // by row of the PDB file
    std::vector<std::uint64_t> by_image_row_;  // image row, then row of the PDB file; ascending
};

constexpr std::uint32_t method_def_token = 0x06000000;

// Whether the token names a row of the MethodDef table.
constexpr bool is_method_def(std::uint32_t token) noexcept {
    return (token & 0xFF000000) == method_def_token && (token & 0x00FFFFFF) != 0;
}

}  // namespace qv::classic_reader
