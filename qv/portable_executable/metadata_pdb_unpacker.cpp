#include "qv/portable_executable/metadata_pdb_unpacker.h"

#include <algorithm>
#include <boost/iostreams/categories.hpp>
#include <boost/iostreams/filter/zlib.hpp>
#include <cstring>

#include "qv/diagnostics/exception.h"

namespace qv::portable_executable {
namespace {

constexpr std::uint64_t header_size = 8;
constexpr std::uint32_t packed_signature = 0x4244504D;  // "MPDB"

constexpr const char* other_size = "Uncompressed buffer isn't the same as declared";

// Deflate cannot expand further: the longest match, 258 bytes, takes two bits at least.
constexpr std::uint64_t deflate_limit = 1032;

[[noreturn]] void fail(const char* message, unsigned line) {
    throw_error(message,
                "class std::vector<unsigned char,class std::allocator<unsigned char> > __cdecl "
                "qv::portable_executable::unpack_metadata_pdb(const unsigned char *,const unsigned __int64)",
                "sharedCommon/Native/Shared/include/qv/portable_executable/metadata_pdb_unpacker", line);
}

// Receives the inflated bytes, and no more of them than were declared.
struct bounded_sink {
    using char_type = char;
    using category = boost::iostreams::sink_tag;

    std::vector<unsigned char>& result;
    std::uint64_t declared;

    std::streamsize write(const char* bytes, std::streamsize count) {
        if (static_cast<std::uint64_t>(count) > declared - result.size()) fail(other_size, __LINE__);
        result.insert(result.end(), bytes, bytes + count);
        return count;
    }
};

boost::iostreams::zlib_params raw_deflate() {
    boost::iostreams::zlib_params params;
    params.noheader = true;
    params.calculate_crc = false;
    return params;
}

}  // namespace

std::vector<unsigned char> unpack_metadata_pdb(const unsigned char* data, std::uint64_t size) {
    if (size < header_size + 2) fail("Invalid packed portable PDB size", __LINE__);
    std::uint32_t signature = 0;
    std::uint32_t declared = 0;
    std::memcpy(&signature, data, sizeof signature);
    std::memcpy(&declared, data + sizeof signature, sizeof declared);
    if (signature != packed_signature) fail("Invalid packed portable PDB signature", __LINE__);

    const std::uint64_t packed_size = size - header_size;
    std::vector<unsigned char> result;
    result.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(declared, packed_size * deflate_limit)));

    // The filter is driven directly: a stream around it would turn the errors into state bits.
    bounded_sink sink{result, declared};
    boost::iostreams::zlib_decompressor filter(raw_deflate(), 4096);
    filter.write(sink, reinterpret_cast<const char*>(data + header_size), static_cast<std::streamsize>(packed_size));
    filter.close(sink, BOOST_IOS::out);
    if (result.size() != declared) fail(other_size, __LINE__);
    return result;
}

}  // namespace qv::portable_executable
