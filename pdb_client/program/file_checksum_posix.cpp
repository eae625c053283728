#include <openssl/evp.h>

#include "base/exception.h"
#include "pdb_client/program/file_checksum.h"

namespace qv::profiler::pdb_client {
namespace {

const EVP_MD* algorithm_of(checksum_kind kind) {
    switch (kind) {
        case checksum_kind::md5: return ::EVP_md5();
        case checksum_kind::sha1: return ::EVP_sha1();
        case checksum_kind::sha256: break;
    }
    return ::EVP_sha256();
}

}  // namespace

std::vector<std::uint8_t> checksum_of(std::string_view bytes, checksum_kind kind) {
    std::vector<std::uint8_t> checksum(EVP_MAX_MD_SIZE);
    unsigned size = 0;
    if (::EVP_Digest(bytes.data(), bytes.size(), checksum.data(), &size, algorithm_of(kind), nullptr) == 0)
        throw_error("Can't compute a checksum");
    checksum.resize(size);
    return checksum;
}

}  // namespace qv::profiler::pdb_client
