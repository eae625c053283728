#include "qv/portable_executable/metadata_pdb_unpacker.h"

#include <zlib.h>

#include <algorithm>
#include <boost/iostreams/filter/zlib.hpp>
#include <cstring>
#include <span>

#include "base/exception.h"
#include "base/work_counter.h"

namespace qv::portable_executable {
namespace {

constexpr std::uint64_t header_size = 8;
constexpr std::uint32_t packed_signature = 0x4244504D;  // "MPDB"

constexpr const char* other_size = "Uncompressed buffer isn't the same as declared";

// Compilers' portable PDBs shrink to a half or third when packed, very large ones to a fifth; room for six times the
// packed bytes takes them without being moved, and costs nothing that the image does not have.
constexpr std::uint64_t usual_expansion = 6;

// Deflate can pack a thousand bytes into one. No PDB has so little to say: beyond this expansion, and beyond a size
// that is no burden, it is refused.
constexpr std::uint64_t most_expansion = 64;
constexpr std::uint64_t no_burden = 16u << 20;

constexpr throw_site here{
    "class std::vector<unsigned char,class std::allocator<unsigned char> > __cdecl "
    "qv::portable_executable::unpack_metadata_pdb(const unsigned char *,const unsigned __int64)",
    "sharedCommon/Native/Shared/include/qv/portable_executable/metadata_pdb_unpacker"};

// What comes out of the library at once. Whenever it is interrupted it copies its window of 32 KiB.
constexpr std::uint64_t step = 1u << 20;

// A raw deflate stream (RFC 1951), taken from memory.
class inflater {
public:
    inflater(const unsigned char* packed, std::uint64_t size) {
        check(inflateInit2(&stream_, -MAX_WBITS));
        stream_.next_in = const_cast<unsigned char*>(packed);  // the library does not write to it
        left_ = size;
    }
    ~inflater() { inflateEnd(&stream_); }
    inflater(const inflater&) = delete;
    inflater& operator=(const inflater&) = delete;

    // Fills the destination as far as the stream goes; returns how much that is.
    std::size_t read(std::span<unsigned char> destination) {
        stream_.next_out = destination.data();
        stream_.avail_out = static_cast<uInt>(destination.size());
        while (!ended_ && stream_.avail_out != 0) {
            const auto part = static_cast<uInt>(std::min<std::uint64_t>(left_, largest_part));
            stream_.avail_in = part;
            const int result = inflate(&stream_, Z_NO_FLUSH);
            left_ -= part - stream_.avail_in;
            check(result);
            ended_ = result == Z_STREAM_END;
        }
        return destination.size() - stream_.avail_out;
    }

private:
    static constexpr std::uint64_t largest_part = 1u << 30;  // the library counts in 32 bits

    // Failures are those of the library in the words of its C++ wrapper, as clients know them. A stream that is cut off
    // is one where the library cannot go on.
    static void check(int result) { boost::iostreams::zlib_error::check(result); }

    z_stream stream_{};
    std::uint64_t left_ = 0;
    bool ended_ = false;
};

// Memory follows what has really come.
void grow(std::vector<unsigned char>& bytes, std::uint64_t size, std::uint64_t most) {
    if (size > bytes.capacity()) {
        const std::uint64_t room = std::max<std::uint64_t>(size, 2 * std::uint64_t{bytes.capacity()});
        bytes.reserve(static_cast<std::size_t>(std::min(room, most)));
    }
    bytes.resize(static_cast<std::size_t>(size));
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
    const std::uint64_t limit = std::max(no_burden, packed_size * most_expansion);
    // One byte more than may come tells a stream that ends there from one that goes on.
    const std::uint64_t most = std::min<std::uint64_t>(declared, limit) + 1;
    result.reserve(static_cast<std::size_t>(std::min(packed_size * usual_expansion, most)));
    inflater packed(data + header_size, packed_size);
    for (bool more = true; more && result.size() < most;) {
        const std::size_t done = result.size();
        grow(result, std::min(done + step, most), most);
        const std::size_t part = packed.read(std::span(result).subspan(done));
        more = done + part == result.size();
        result.resize(done + part);
        count_work(part);
    }
    if (result.size() > limit && result.size() <= declared) throw_error("Too large uncompressed portable PDB", here);
    if (result.size() != declared) throw_error(other_size, here);
    return result;
}

}  // namespace qv::portable_executable
