#include "qv/portable_executable/metadata_pdb_unpacker.h"

#include <algorithm>
#include <boost/iostreams/categories.hpp>
#include <boost/iostreams/filter/zlib.hpp>
#include <cstring>

#include "base/exception.h"
#include "base/work_counter.h"

namespace qv::portable_executable {
namespace {

constexpr std::uint64_t header_size = 8;
constexpr std::uint32_t packed_signature = 0x4244504D;  // "MPDB"

constexpr const char* other_size = "Uncompressed buffer isn't the same as declared";

// Compilers' portable PDBs shrink to a third or half when packed; room for four times the packed bytes takes them
// without being moved, and costs nothing that the image does not have.
constexpr std::uint64_t usual_expansion = 4;

// Deflate can pack a thousand bytes into one. No PDB has so little to say: beyond this expansion, and beyond a size
// that is no burden, it is refused.
constexpr std::uint64_t most_expansion = 64;
constexpr std::uint64_t no_burden = 16u << 20;

constexpr throw_site here{
    "class std::vector<unsigned char,class std::allocator<unsigned char> > __cdecl "
    "qv::portable_executable::unpack_metadata_pdb(const unsigned char *,const unsigned __int64)",
    "sharedCommon/Native/Shared/include/qv/portable_executable/metadata_pdb_unpacker"};

// Receives the inflated bytes, and no more of them than were declared. Memory follows what has really come.
struct bounded_sink {
    using char_type = char;
    using category = boost::iostreams::sink_tag;

    std::vector<unsigned char>& result;
    std::uint64_t declared;
    std::uint64_t limit;

    std::streamsize write(const char* bytes, std::streamsize count) {
        const std::uint64_t size = result.size() + static_cast<std::uint64_t>(count);
        if (size > declared) throw_error(other_size, here);
        if (size > limit) throw_error("Too large uncompressed portable PDB", here);
        if (size > result.capacity()) reserve(std::max<std::uint64_t>(size, 2 * std::uint64_t{result.capacity()}));
        count_work(static_cast<std::uint64_t>(count));
        result.insert(result.end(), bytes, bytes + count);
        return count;
    }

    void reserve(std::uint64_t size) const {
        result.reserve(static_cast<std::size_t>(std::min({size, declared, limit})));
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
    if (size < header_size + 2) throw_error("Invalid packed portable PDB size", here);
    std::uint32_t signature = 0;
    std::uint32_t declared = 0;
    std::memcpy(&signature, data, sizeof signature);
    std::memcpy(&declared, data + sizeof signature, sizeof declared);
    if (signature != packed_signature) throw_error("Invalid packed portable PDB signature", here);

    const std::uint64_t packed_size = size - header_size;
    std::vector<unsigned char> result;
    // The filter is driven directly: a stream around it would turn the errors into state bits.
    bounded_sink sink{result, declared, std::max(no_burden, packed_size * most_expansion)};
    sink.reserve(packed_size * usual_expansion);
    boost::iostreams::zlib_decompressor filter(raw_deflate(), 4096);
    filter.write(sink, reinterpret_cast<const char*>(data + header_size), static_cast<std::streamsize>(packed_size));
    filter.close(sink, BOOST_IOS::out);
    if (result.size() != declared) throw_error(other_size, here);
    return result;
}

}  // namespace qv::portable_executable
