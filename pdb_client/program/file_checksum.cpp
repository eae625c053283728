#include "pdb_client/program/file_checksum.h"

#include <algorithm>
#include <iterator>

namespace qv::profiler::pdb_client {
namespace {

constexpr checksum_algorithm known[] = {
    {{0xff1816ec, 0xaa5e, 0x4d10, {0x87, 0xf7, 0x6f, 0x49, 0x63, 0x83, 0x34, 0x60}}, "SHA-1", checksum_kind::sha1},
    {{0x8829d00f, 0x11b8, 0x4213, {0x87, 0x8b, 0x77, 0x0e, 0x85, 0x97, 0xac, 0x16}}, "SHA-256", checksum_kind::sha256},
    {{0x406ea660, 0x64cf, 0x4c82, {0xb6, 0xf0, 0x42, 0xd4, 0x81, 0x72, 0xa7, 0x99}}, "MD5", checksum_kind::md5},
};

}  // namespace

const checksum_algorithm* find_checksum_algorithm(const GUID& id) {
    const auto* const found =
        std::find_if(std::begin(known), std::end(known), [&](const checksum_algorithm& one) { return one.id == id; });
    return found != std::end(known) ? found : nullptr;
}

}  // namespace qv::profiler::pdb_client
