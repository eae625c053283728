#include "symbol_services/classic_reader/token_map.h"

#include <algorithm>
#include <cstring>

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t row_mask = 0x00FFFFFF;

constexpr std::uint64_t key(std::uint32_t image_row, std::uint64_t pdb_row) {
    return std::uint64_t{image_row} << 32 | pdb_row;
}

}  // namespace

token_map::token_map(std::span<const unsigned char> stream) : identity_(false) {
    image_rows_.resize(stream.size() / sizeof(std::uint32_t));
    if (image_rows_.empty()) return;
    std::memcpy(image_rows_.data(), stream.data(), image_rows_.size() * sizeof(std::uint32_t));
    by_image_row_.reserve(image_rows_.size());
    for (std::size_t row = 1; row < image_rows_.size(); ++row) by_image_row_.push_back(key(image_rows_[row], row));
    if (!std::is_sorted(by_image_row_.begin(), by_image_row_.end()))
        std::sort(by_image_row_.begin(), by_image_row_.end());
}

std::uint32_t token_map::to_image(std::uint32_t pdb_token) const noexcept {
    if (!is_method_def(pdb_token)) return 0;
    if (identity_) return pdb_token;
    const auto row = pdb_token & row_mask;
    if (row >= image_rows_.size()) return 0;
    const auto image_row = image_rows_[row];
    return image_row == 0 || image_row > row_mask ? 0 : method_def_token | image_row;
}

std::vector<std::uint32_t> token_map::to_pdb(std::uint32_t image_token, std::size_t most) const {
    if (!is_method_def(image_token)) return {};
    if (identity_) return {image_token};
    const auto image_row = image_token & row_mask;
    std::vector<std::uint32_t> tokens;
    for (auto at = std::lower_bound(by_image_row_.begin(), by_image_row_.end(), key(image_row, 0));
         at != by_image_row_.end() && *at >> 32 == image_row && tokens.size() < most; ++at)
        if (const auto row = static_cast<std::uint32_t>(*at); row <= row_mask) tokens.push_back(method_def_token | row);
    return tokens;
}

}  // namespace qv::classic_reader
