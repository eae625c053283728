#include "pdb_server/src/dsr/document_data.h"

#include <algorithm>

#include "qv/diagnostics/exception.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor_dsr";

// Sizes above these are nonsense, and no memory is asked for on their account.
constexpr ULONG32 longest_url = 1u << 20;
constexpr ULONG32 longest_checksum = 1u << 16;
constexpr HRESULT invalid_data = static_cast<HRESULT>(0x8007000D);

void check(HRESULT result, const char* message, const char* function) {
    if (FAILED(result)) throw_hresult_error(message, result, function, source, __LINE__);
}

HRESULT check_size(HRESULT result, ULONG32 size, ULONG32 longest) {
    return SUCCEEDED(result) && size > longest ? invalid_data : result;
}

}  // namespace

std::wstring read_document_url(const com_hld<com::ISymUnmanagedDocument>& document) {
    static constexpr const char* message = "Can't get document url";
    static constexpr const char* function =
        "class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > __cdecl "
        "qv::profiler::pdb_server::read_document_url(const class qv::com_hld<struct qv::com::ISymUnmanagedDocument> &)";
    ULONG32 size = 0;
    const HRESULT result = document->GetURL(0, &size, nullptr);
    check(check_size(result, size, longest_url), message, function);
    std::wstring url(size, L'\0');
    ULONG32 given = 0;
    check(document->GetURL(size, &given, url.data()), message, function);
    url.erase(std::find(url.begin(), url.end(), L'\0'), url.end());
    return url;
}

GUID read_checksum_algorithm(const com_hld<com::ISymUnmanagedDocument>& document) {
    GUID algorithm{};
    check(document->GetCheckSumAlgorithmId(&algorithm), "Can't get document checksum algorithm id",
          "struct _GUID __cdecl qv::profiler::pdb_server::read_checksum_algorithm(const class qv::com_hld<struct "
          "qv::com::ISymUnmanagedDocument> &)");
    return algorithm;
}

std::vector<std::uint8_t> read_checksum(const com_hld<com::ISymUnmanagedDocument>& document) {
    static constexpr const char* function =
        "class std::vector<unsigned char,class std::allocator<unsigned char> > __cdecl "
        "qv::profiler::pdb_server::read_checksum(const class qv::com_hld<struct qv::com::ISymUnmanagedDocument> &)";
    ULONG32 size = 0;
    const HRESULT result = document->GetCheckSum(0, &size, nullptr);
    check(check_size(result, size, longest_checksum), "Can't get document checksum size", function);
    std::vector<std::uint8_t> checksum(size);
    ULONG32 given = 0;
    check(document->GetCheckSum(size, &given, checksum.data()), "Can't get document checksum", function);
    checksum.resize(std::min(given, size));
    return checksum;
}

}  // namespace qv::profiler::pdb_server
