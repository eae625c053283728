#include <windows.h>

// After <windows.h>, whose types it uses.
#include <bcrypt.h>

#include "base/exception.h"
#include "base/holders.h"
#include "pdb_client/program/file_checksum.h"

namespace qv::profiler::pdb_client {
namespace {

struct algorithm {
    const wchar_t* name;
    ULONG size;  // of a checksum
};

algorithm algorithm_of(checksum_kind kind) {
    switch (kind) {
        case checksum_kind::md5: return {BCRYPT_MD5_ALGORITHM, 16};
        case checksum_kind::sha1: return {BCRYPT_SHA1_ALGORITHM, 20};
        case checksum_kind::sha256: break;
    }
    return {BCRYPT_SHA256_ALGORITHM, 32};
}

struct deleter_provider {
    void operator()(BCRYPT_ALG_HANDLE provider) const noexcept { ::BCryptCloseAlgorithmProvider(provider, 0); }
};

void require(NTSTATUS status) {
    if (status < 0) throw_error("Can't compute a checksum", errtag_hresult{status});
}

}  // namespace

std::vector<std::uint8_t> checksum_of(std::string_view bytes, checksum_kind kind) {
    const algorithm wanted = algorithm_of(kind);
    BCRYPT_ALG_HANDLE opened = nullptr;
    require(::BCryptOpenAlgorithmProvider(&opened, wanted.name, nullptr, 0));
    const unique_hld<BCRYPT_ALG_HANDLE, deleter_provider> provider(opened);
    if (bytes.size() > MAXDWORD) throw_error("Too large file for a checksum");
    std::vector<std::uint8_t> checksum(wanted.size);
    // The input is not written to.
    auto* const input = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data()));
    require(::BCryptHash(provider.get(), nullptr, 0, input, static_cast<ULONG>(bytes.size()), checksum.data(),
                         wanted.size));
    return checksum;
}

}  // namespace qv::profiler::pdb_client
