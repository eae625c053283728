// Finds the number that belongs to a name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace qv::classic_reader {

// Names are ordered by their hash and then by themselves. Where a hash table would degrade, names that were chosen to
// have one hash only make this an ordinary binary search. Filled once, then immutable.
class name_index {
public:
    // The name outlives the index.
    void add(std::string_view name, std::uint32_t value);
    // Makes the index ready for questions. Of equal names the first one stays.
    void finish();

    std::size_t size() const noexcept { return entries_.size(); }
    std::optional<std::uint32_t> find(std::string_view name) const;

private:
    struct entry {
        std::size_t hash;
        std::string_view name;
        std::uint32_t value;
    };

    static entry make_entry(std::string_view name, std::uint32_t value);
    static bool before(const entry& left, const entry& right) noexcept;

    std::vector<entry> entries_;
};

}  // namespace qv::classic_reader
