#include "pdb_server/src/dsr/method_points.h"

#include <algorithm>
#include <optional>

#include "base/exception.h"

namespace qv::profiler::pdb_server {
namespace {

constexpr const char* source = "pdb_server/src/pdb_processor_dsr";

// A point stands on an IL instruction, and no compiler gets through a method of this size: a count above it is none.
constexpr ULONG32 most_points = 1u << 20;

// The one text serves the count and the points.
constexpr const char* no_points = "Can't get sequence point count";

// Sizes above these are nonsense, and no memory is asked for on their account.
constexpr ULONG32 longest_url = 1u << 20;
constexpr ULONG32 longest_checksum = 1u << 16;

void check(HRESULT result, const char* message, const throw_location& where) {
    if (FAILED(result)) throw_hresult_error(message, result, where);
}

// The same for a call that gives a count or a size.
void check(HRESULT result, ULONG32 given, ULONG32 most, const char* message, const throw_location& where) {
    constexpr auto invalid_data = static_cast<HRESULT>(0x8007000D);
    check(SUCCEEDED(result) && given > most ? invalid_data : result, message, where);
}

// The reader could not look: there may well be something.
bool could_not_read(HRESULT result) {
    constexpr auto pdb_file_system = static_cast<HRESULT>(0x806D0004);
    return result == E_OUTOFMEMORY || result == pdb_file_system;
}

// Any other failure means that the reader has nothing on the method: readers differ in how they say so.
std::optional<com_hld<com::ISymUnmanagedMethod>> find_method(const com_hld<com::ISymUnmanagedReader>& reader,
                                                             std::uint32_t token, const throw_location& where) {
    com_hld<com::ISymUnmanagedMethod> method;
    const HRESULT result = reader->GetMethod(token, method.put());
    if (could_not_read(result)) throw_hresult_error(no_points, result, where);
    if (FAILED(result)) return {};
    return method;
}

ULONG32 read_count(const com_hld<com::ISymUnmanagedMethod>& method) {
    static constexpr throw_site here{
        "unsigned long __cdecl qv::profiler::pdb_server::`anonymous-namespace'::read_count(const class "
        "qv::com_hld<struct qv::com::ISymUnmanagedMethod> &)",
        source};
    ULONG32 count = 0;
    const HRESULT result = method->GetSequencePointCount(&count);
    check(result, count, most_points, no_points, here);
    return count;
}

// The reader's count may have changed meanwhile: only what was asked for and given counts.
template <class... Vectors>
void shorten(ULONG32 given, Vectors&... vectors) {
    (vectors.resize(std::min<std::size_t>(given, vectors.size())), ...);
}

}  // namespace

point_values read_point_offsets(const com_hld<com::ISymUnmanagedReader>& reader, std::uint32_t token) {
    static constexpr throw_site here{
        "class std::vector<unsigned int,class std::allocator<unsigned int> > __cdecl "
        "qv::profiler::pdb_server::read_point_offsets(const class qv::com_hld<struct qv::com::ISymUnmanagedReader> "
        "&,unsigned int)",
        source};
    const auto method = find_method(reader, token, here);
    if (!method) return {};
    point_values offsets(read_count(*method), 0);  // the reader may fill fewer than it says
    if (offsets.empty()) return offsets;
    ULONG32 given = 0;
    const HRESULT result = (*method)->GetSequencePoints(static_cast<ULONG32>(offsets.size()), &given, offsets.data(),
                                                        nullptr, nullptr, nullptr, nullptr, nullptr);
    check(result, no_points, here);
    shorten(given, offsets);
    return offsets;
}

method_points read_points(const com_hld<com::ISymUnmanagedReader>& reader, std::uint32_t token) {
    static constexpr throw_site here{
        "struct qv::profiler::pdb_server::method_points __cdecl qv::profiler::pdb_server::read_points(const class "
        "qv::com_hld<struct qv::com::ISymUnmanagedReader> &,unsigned int)",
        source};
    const auto method = find_method(reader, token, here);
    method_points points;
    const ULONG32 count = method ? read_count(*method) : 0;
    if (count == 0) return points;
    std::vector<com::ISymUnmanagedDocument*> documents(count);
    points.documents.reserve(count);
    for (auto* field :
         {&points.offsets, &points.start_lines, &points.start_columns, &points.end_lines, &points.end_columns})
        field->resize(count, 0);
    ULONG32 given = 0;
    const HRESULT result =
        (*method)->GetSequencePoints(count, &given, points.offsets.data(), documents.data(), points.start_lines.data(),
                                     points.start_columns.data(), points.end_lines.data(), points.end_columns.data());
    // Every document that the reader put there is owned before anything is asked: also those of a call that failed in
    // the middle, and those beyond the count.
    for (auto* document : documents) points.documents.emplace_back(document);
    check(result, no_points, here);
    shorten(given, points.offsets, points.documents, points.start_lines, points.start_columns, points.end_lines,
            points.end_columns);
    return points;
}

std::wstring read_document_url(const com_hld<com::ISymUnmanagedDocument>& document) {
    static constexpr const char* message = "Can't get document url";
    static constexpr throw_site here{
        "class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > __cdecl "
        "qv::profiler::pdb_server::read_document_url(const class qv::com_hld<struct qv::com::ISymUnmanagedDocument> &)",
        source};
    ULONG32 size = 0;
    const HRESULT result = document->GetURL(0, &size, nullptr);
    check(result, size, longest_url, message, here);
    std::wstring url(size, L'\0');
    ULONG32 given = 0;
    check(document->GetURL(size, &given, url.data()), message, here);
    url.erase(std::find(url.begin(), url.end(), L'\0'), url.end());
    return url;
}

GUID read_checksum_algorithm(const com_hld<com::ISymUnmanagedDocument>& document) {
    static constexpr throw_site here{
        "struct _GUID __cdecl qv::profiler::pdb_server::read_checksum_algorithm(const class qv::com_hld<struct "
        "qv::com::ISymUnmanagedDocument> &)",
        source};
    GUID algorithm{};
    check(document->GetCheckSumAlgorithmId(&algorithm), "Can't get document checksum algorithm id", here);
    return algorithm;
}

std::vector<std::uint8_t> read_checksum(const com_hld<com::ISymUnmanagedDocument>& document) {
    static constexpr throw_site here{
        "class std::vector<unsigned char,class std::allocator<unsigned char> > __cdecl "
        "qv::profiler::pdb_server::read_checksum(const class qv::com_hld<struct qv::com::ISymUnmanagedDocument> &)",
        source};
    ULONG32 size = 0;
    const HRESULT result = document->GetCheckSum(0, &size, nullptr);
    check(result, size, longest_checksum, "Can't get document checksum size", here);
    std::vector<std::uint8_t> checksum(size);
    ULONG32 given = 0;
    check(document->GetCheckSum(size, &given, checksum.data()), "Can't get document checksum", here);
    checksum.resize(std::min(given, size));
    return checksum;
}

}  // namespace qv::profiler::pdb_server
