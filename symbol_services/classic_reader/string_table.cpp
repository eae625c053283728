#include "symbol_services/classic_reader/string_table.h"

#include <algorithm>

#include "symbol_services/classic_reader/pdb_errors.h"

namespace qv::classic_reader {
namespace {

constexpr std::uint32_t table_signature = 0xEFFEEFFE;
constexpr std::uint32_t longest_name = 0x7FFF;  // no path is longer

struct table_header {
    std::uint32_t signature;
    std::uint32_t version;
    std::uint32_t size;
};

}  // namespace

string_table::string_table(const msf_stream& stream) : stream_(stream) {
    const auto header = stream.read_value<table_header>(0);
    if (header.signature != table_signature || header.size > stream.size() - sizeof header)
        throw_corrupt("Invalid string table");
    size_ = header.size;
}

bool string_table::has_name(std::uint32_t offset) const {
    return offset < size_ &&
           (offset == 0 || stream_.read_value<char>(sizeof(table_header) + std::uint64_t{offset} - 1) == '\0');
}

std::string string_table::text(std::uint32_t offset) const {
    if (!has_name(offset)) throw_corrupt("Invalid name offset");
    return stream_.text(sizeof(table_header) + std::uint64_t{offset}, std::min(size_ - offset, longest_name));
}

}  // namespace qv::classic_reader
